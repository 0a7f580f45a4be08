// The host's own copies, fills, rescale, band combine, thresholds and extrema: the meanings
// every device result is compared with.
#include <vector>

#include "host_test.h"

namespace {

class CopySoftware : public HostTest {
 protected:
  // Runs the host's software for the operation on src -> dst with pointer parameters.
  int run(const char* name, ZelImage* src, ZelImage* dst, std::vector<void*> pointers = {},
          ZelObject* object = nullptr) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, src);
    op->setDst(dst);
    for (size_t n = 0; n < pointers.size(); ++n) op->setPtrParam(int(n) + 1, pointers[n]);
    op->setObjParam(1, object);
    return zel_run(op.get(), ZelPath::host_only).status;
  }
};

TEST_F(CopySoftware, SetValueRoundsTruncatesAndLimitsOverTheDestinationsRegion) {
  ZelImage* dst = row(3, 3, ZEL_UINT8);
  Owned<ZelRoi> roi(state->createRoi());
  roi->addRect(1, 0, 5, 1);
  dst->setRoi(roi.get());
  float values[3] = {-3.0f, 127.4f, 300.0f};
  ASSERT_EQ(run("setvalue8", nullptr, dst, {values}), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{0, 0, 0, 0, 127, 255, 0, 127, 255}));
  values[0] = -0.6f, values[1] = 254.5f, values[2] = 0.49f;
  ASSERT_EQ(run("setvalue8", nullptr, dst, {values}), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{0, 0, 0, 0, 255, 0, 0, 255, 0}));
}

TEST_F(CopySoftware, RescaleAndBandCombineRoundToNearestAndSaturate) {
  ZelImage* src = row(3, 1, ZEL_UINT8, {3, 5, 200});
  ZelImage* dst = row(3, 1, ZEL_UINT8);
  float scale = 0.5f, offset = 0.0f;
  ASSERT_EQ(run("rescale8", src, dst, {&scale, &offset}), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{2, 3, 100})) << "halves go up";
  scale = 2.0f, offset = -7.0f;
  ASSERT_EQ(run("rescale8", src, dst, {&scale, &offset}), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{0, 3, 255}));

  ZelImage* wide = row(1, 3, ZEL_INT16, {100, -200, 30000});
  ZelImage* out = row(1, 3, ZEL_INT16);
  const float matrix[12] = {0.5f, 0.25f, 0, 0.4f, 0, 0, 2, 0, 0, 1, -2, -1.9f};
  Owned<ZelKernel> kernel(state->createKernel(4, 3, matrix));
  ASSERT_EQ(run("bandCombine16", wide, out, {}, kernel.get()), 0);
  EXPECT_EQ(pixels(out), (std::vector<int>{0, 32767, -32768}))
      << "50 - 50 + 0.4 rounds to 0; 60000 and -200 - 60000 - 1.9 saturate";
  Owned<ZelKernel> wrong(state->createKernel(3, 3, matrix));
  EXPECT_EQ(run("bandCombine16", wide, out, {}, wrong.get()), 2);
}

TEST_F(CopySoftware, ThresholdMapsThePixelsFromTheRoundedUpLowToTheRoundedUpHigh) {
  ZelImage* src = row(6, 1, ZEL_UINT8, {9, 10, 11, 20, 21, 22});
  ZelImage* dst = row(6, 1, ZEL_UINT8);
  float low = 10.2f, high = 20.5f, map = -4.0f;
  ASSERT_EQ(run("threshold8", src, dst, {&low, &high, &map}), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{9, 10, 0, 0, 0, 22}));
  ZelImage* wide = row(3, 1, ZEL_INT16, {-50, -49, 200});
  low = -50.0f, high = 200.0f, map = 1e9f;
  ASSERT_EQ(run("threshold16", wide, wide, {&low, &high, &map}), 0);
  EXPECT_EQ(pixels(wide), (std::vector<int>{-50, 32767, 32767}));
}

TEST_F(CopySoftware, ExtremaCoverTheImagesRegionAndStartFromTheOppositeEnds) {
  ZelImage* src = row(3, 3, ZEL_UINT8, {5, 6, 7, 1, 200, 9, 3, 4, 250});
  float most[3] = {}, least[3] = {};
  ASSERT_EQ(run("extrema8", src, nullptr, {most, least}), 0);
  EXPECT_EQ(std::vector<float>(most, most + 3), (std::vector<float>{5, 200, 250}));
  EXPECT_EQ(std::vector<float>(least, least + 3), (std::vector<float>{1, 4, 7}));
  Owned<ZelRoi> outside(state->createRoi());
  outside->addRect(10, 10, 1, 1);
  src->setRoi(outside.get());
  ASSERT_EQ(run("extrema8", src, nullptr, {nullptr, least}), 0);
  EXPECT_EQ(std::vector<float>(least, least + 3), std::vector<float>(3, 255.0f));
  ZelImage* wide = row(2, 1, ZEL_INT16, {-7, 9});
  wide->setRoi(outside.get());
  ASSERT_EQ(run("extrema16", wide, nullptr, {most, least}), 0);
  EXPECT_EQ(most[0], -32768.0f);
  EXPECT_EQ(least[0], 32767.0f);
}

}  // namespace
