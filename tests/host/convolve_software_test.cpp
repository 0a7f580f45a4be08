// The host's convolutions: the meanings device results are compared with, and the
// two-level operation a pair of convolutions is.
#include "host_test.h"
#include "zel_params.h"

namespace {

class ConvolveSoftware : public HostTest {
 protected:
  // A width x height one-band image of `values`, row by row.
  ZelImage* grid(unsigned width, unsigned height, int type, const std::vector<int>& values) {
    ZelImage* image = images.emplace_back(state->createImage(width, height, 1, type)).get();
    for (size_t k = 0; k < values.size(); ++k)
      image->setPixel(unsigned(k % width), unsigned(k / width), 0, values[k]);
    return image;
  }
  static std::vector<int> all(ZelImage* image) {
    std::vector<int> out;
    for (unsigned y = 0; y < image->getHeight(); ++y)
      for (unsigned x = 0; x < image->getWidth(); ++x) out.push_back(image->getPixel(x, y, 0));
    return out;
  }
  // Runs `path` on the host with the kernels and edge conditions of `v`.
  int convolve(const char* path, ZelImage* src, ZelImage* dst, ZelParamValues v) {
    const ZelOperationInfo* info = zel_operation_info(path);
    EXPECT_NE(info, nullptr) << path;
    Owned<ZelOp> op(state->createOp(path));
    op->setSrc(1, src);
    op->setDst(dst);
    zel_attach_params(op.get(), info->params, &v);
    const int status = zel_run(op.get(), ZelPath::host_only).status;
    zel_release_params(op.get(), info->params);
    return status;
  }
  static ZelParamValues one(ZelParamValues::Kernel k, long edge) {
    ZelParamValues v;
    v.kernels[0] = std::move(k);
    v.edges[0] = edge;
    return v;
  }
};

// D(x, y) = sum K[v][u] S(x + kx - u, y + ky - v): the kernel turned round, its key over
// the pixel. A lone 100 spreads as the kernel read backwards from the key.
TEST_F(ConvolveSoftware, IsATrueConvolutionAboutTheKeyPoint) {
  ZelImage* dot = grid(5, 1, ZEL_UINT8, {0, 0, 100, 0, 0});
  ZelImage* out = grid(5, 1, ZEL_UINT8, {});
  ASSERT_EQ(convolve("convolve8", dot, out, one({3, 1, 1, 0, {0.1f, 0.2f, 0.7f}}, 2)), 0);
  EXPECT_EQ(all(out), (std::vector<int>{0, 10, 20, 70, 0}));
  // Key (0, 0): every result reads the pixels at and before it.
  ASSERT_EQ(convolve("convolve8", dot, out, one({3, 1, 0, 0, {0.1f, 0.2f, 0.7f}}, 2)), 0);
  EXPECT_EQ(all(out), (std::vector<int>{0, 0, 10, 20, 70}));
  // A key outside the kernel reads further away: key -2 moves the image two to the right
  // (the extended edge supplies columns 0 and 1).
  ASSERT_EQ(convolve("convolve8", dot, out, one({1, 1, -2, 0, {1.0f}}, 2)), 0);
  EXPECT_EQ(all(out), (std::vector<int>{0, 0, 0, 0, 100}));
}

// Rounded to nearest with halves away from zero, then saturated.
TEST_F(ConvolveSoftware, RoundsHalvesAwayFromZeroAndSaturates) {
  ZelImage* src = grid(4, 1, ZEL_INT16, {3, -3, 32767, -32768});
  ZelImage* out = grid(4, 1, ZEL_INT16, {});
  ASSERT_EQ(convolve("convolve16", src, out, one({1, 1, 0, 0, {0.5f}}, 2)), 0);
  EXPECT_EQ(all(out), (std::vector<int>{2, -2, 16384, -16384}));
  ASSERT_EQ(convolve("convolve16", src, out, one({1, 1, 0, 0, {-2.0f}}, 2)), 0);
  EXPECT_EQ(all(out), (std::vector<int>{-6, 6, -32768, 32767}));
  ZelImage* bytes = grid(2, 1, ZEL_UINT8, {200, 1});
  ZelImage* b_out = grid(2, 1, ZEL_UINT8, {});
  ASSERT_EQ(convolve("convolve8", bytes, b_out, one({1, 1, 0, 0, {-1.5f}}, 2)), 0);
  EXPECT_EQ(all(b_out), (std::vector<int>{0, 0}));
  ASSERT_EQ(convolve("convolve8", bytes, b_out, one({1, 1, 0, 0, {1.5f}}, 2)), 0);
  EXPECT_EQ(all(b_out), (std::vector<int>{255, 2}));  // 1.5 rounds to 2
}

// Where the neighbourhood leaves the source: kept, zero, or the nearest source pixels.
TEST_F(ConvolveSoftware, EdgeConditionsDecideTheBorder) {
  ZelImage* src = grid(4, 3, ZEL_UINT8, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120});
  const ZelParamValues::Kernel box = {3, 3, 1, 1, std::vector<float>(9, 1.0f / 9)};
  ZelImage* kept = grid(4, 3, ZEL_UINT8, std::vector<int>(12, 7));
  ASSERT_EQ(convolve("convolve8", src, kept, one(box, ZEL_EDGE_NO_WRITE)), 0);
  EXPECT_EQ(all(kept), (std::vector<int>{7, 7, 7, 7, 7, 60, 70, 7, 7, 7, 7, 7}));
  ZelImage* zero = grid(4, 3, ZEL_UINT8, std::vector<int>(12, 7));
  ASSERT_EQ(convolve("convolve8", src, zero, one(box, ZEL_EDGE_ZERO)), 0);
  EXPECT_EQ(all(zero), (std::vector<int>{0, 0, 0, 0, 0, 60, 70, 0, 0, 0, 0, 0}));
  ZelImage* extended = grid(4, 3, ZEL_UINT8, {});
  ASSERT_EQ(convolve("convolve8", src, extended, one(box, ZEL_EDGE_EXTEND)), 0);
  // Corner: (10 + 10 + 20) x 2 + (50 + 50 + 60) over 9 = 240 / 9 = 26.7.
  EXPECT_EQ(all(extended)[0], 27);
  EXPECT_EQ(convolve("convolve8", src, extended, one(box, 3)), 2);
  EXPECT_EQ(convolve("convolve8", src, extended, one({}, ZEL_EDGE_EXTEND)), 2);  // no kernel
}

// Only the area where the regions meet is written, in operation space; the source is read
// whole, and may be the destination.
TEST_F(ConvolveSoftware, WritesTheAreaAndReadsTheWholeSource) {
  ZelImage* src = grid(5, 1, ZEL_UINT8, {10, 20, 30, 40, 50});
  src->setOrigin(1, 0);  // covers -1..3
  ZelImage* dst = grid(4, 1, ZEL_UINT8, {1, 1, 1, 1});
  Owned<ZelRoi> roi(state->createRoi());
  roi->addRect(0, 0, 2, 1);
  dst->setRoi(roi.get());
  ASSERT_EQ(convolve("convolve8", src, dst, one({3, 1, 1, 0, {0, 0, 1}}, ZEL_EDGE_ZERO)), 0);
  // dst x reads src x - 1 in operation space: pixels 0 and 1 of the source.
  EXPECT_EQ(all(dst), (std::vector<int>{10, 20, 1, 1}));
  ASSERT_EQ(convolve("convolve8", src, src, one({3, 1, 1, 0, {0, 0, 1}}, ZEL_EDGE_ZERO)), 0);
  EXPECT_EQ(all(src), (std::vector<int>{0, 10, 20, 30, 0}));
}

// "convolve8/convolve8" makes an outer operation with an inner one; the host runs the
// inner kernel into an 8-bit intermediate, then the outer, and under condition 0 leaves
// every pixel whose rows or columns reach past the source.
TEST_F(ConvolveSoftware, APairRunsInnerThenOuterThroughEightBits) {
  Owned<ZelOp> op(state->createOp("convolve8/convolve8"));
  ASSERT_NE(op->getOp1(), nullptr);
  EXPECT_STREQ(op->getName(), "convolve8");
  EXPECT_STREQ(op->getOp1()->getName(), "convolve8");
  const long live = ZelObject::liveObjects();
  op.reset();
  EXPECT_EQ(ZelObject::liveObjects(), live - 2);

  ZelImage* src = grid(3, 3, ZEL_UINT8, {0, 1, 0, 0, 1, 0, 0, 1, 0});
  ZelImage* out = grid(3, 3, ZEL_UINT8, {});
  ZelParamValues v;
  v.kernels[0] = {3, 1, 1, 0, {0.25f, 0.5f, 0.25f}};  // 1 -> 0.5 -> 1, 0.25 -> 0
  v.kernels[1] = {1, 3, 0, 1, {0, 2, 0}};
  ASSERT_EQ(convolve("convolve8/convolve8", src, out, v), 0);
  EXPECT_EQ(all(out), (std::vector<int>{0, 2, 0, 0, 2, 0, 0, 2, 0}));  // not round(0.25 x 2)
  ZelImage* kept = grid(3, 3, ZEL_UINT8, std::vector<int>(9, 9));
  v.edges[0] = v.edges[1] = ZEL_EDGE_NO_WRITE;
  ASSERT_EQ(convolve("convolve8/convolve8", src, kept, v), 0);
  EXPECT_EQ(all(kept), (std::vector<int>{9, 9, 9, 9, 2, 9, 9, 9, 9}));
}

}  // namespace
