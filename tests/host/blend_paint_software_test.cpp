// The host's blends and painting: the meanings device results are compared with, and the
// host services painting leans on (versions, kernel keys, failures on demand).
#include "host_test.h"

namespace {

class BlendPaintSoftware : public HostTest {
 protected:
  int blend(const char* name, ZelImage* a, ZelImage* b, ZelImage* alpha, ZelImage* dst) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, a);
    op->setSrc(2, b);
    op->setSrc(3, alpha);
    op->setDst(dst);
    return zel_run(op.get(), ZelPath::host_only).status;
  }
  int paint(ZelImage* image, const float* colour, ZelKernel* brush,
            const std::vector<float>& points) {
    Owned<ZelOp> op(state->createOp("paint8"));
    op->setSrc(1, image);
    op->setDst(image);
    op->setPtrParam(1, const_cast<float*>(colour));
    op->setPtrParam(2, brush);
    op->setLongParam(3, long(points.size() / 2));
    op->setPtrParam(4, const_cast<float*>(points.data()));
    return zel_run(op.get(), ZelPath::host_only).status;
  }
};

TEST_F(BlendPaintSoftware, BlendsRoundHalvesAwayFromZeroAndReadSixteenBitAlphaUnsigned) {
  // 8-bit alpha: 0 + 243/255 * 138 = 131.506; 100 - 128/255 * 100 = 49.8; alpha 0 keeps src1.
  ZelImage* out = row(4, 1, ZEL_UINT8);
  ASSERT_EQ(blend("blend8a8", row(4, 1, ZEL_UINT8, {0, 100, 200, 7}),
                  row(4, 1, ZEL_UINT8, {138, 0, 255, 255}),
                  row(4, 1, ZEL_UINT8, {243, 128, 255, 0}), out),
            0);
  EXPECT_EQ(pixels(out), (std::vector<int>{132, 50, 255, 7}));
  // 16-bit alpha is its raw sample: -1 is 65535, full; -32768 is 32768, just over half.
  ZelImage* wide = row(3, 1, ZEL_INT16);
  ASSERT_EQ(blend("blend16a16", row(3, 1, ZEL_INT16, {-1000, -1000, 1}),
                  row(3, 1, ZEL_INT16, {1000, 1000, 2}),
                  row(3, 1, ZEL_INT16, {-1, -32768, 32767}), wide),
            0);
  // -1000 + 1000.015 and 1 + 0.49999 round to 0 and 1.
  EXPECT_EQ(pixels(wide), (std::vector<int>{1000, 0, 1}));
  // Band counts must agree and the alpha must have one band.
  EXPECT_EQ(blend("blend8a8", row(2, 3, ZEL_UINT8), row(2, 3, ZEL_UINT8), row(2, 3, ZEL_UINT8),
                  row(2, 3, ZEL_UINT8)),
            2);
}

TEST_F(BlendPaintSoftware, StampsLandByTheirKeyInOrderAndStayInsideTheImage) {
  const float weights[9] = {0, 0.5f, 0, 0.5f, 1, 0.5f, 0, 0.5f, 0};
  Owned<ZelKernel> brush(state->createKernel(3, 3, weights, 1, 1));
  ZelImage* image = row(5, 1, ZEL_UINT8, {10, 10, 10, 10, 10});
  const float white[1] = {255};
  // 1.5 rounds to 2, -0.5 to -1 (the stamp's middle column falls off the left edge).
  ASSERT_EQ(paint(image, white, brush.get(), {1.5f, 0, -0.5f, 0, 2, 0}), 0);
  // Pixel 1: 10 -> 133 (second stamp's right 0.5) -> under the third stamp 0.5 -> 194.
  EXPECT_EQ(pixels(image), (std::vector<int>{133, 194, 255, 194, 10}));
  const float dark[1] = {-20};  // clamped to 0 before it is used
  ASSERT_EQ(paint(image, dark, brush.get(), {4, 0}), 0);
  EXPECT_EQ(pixels(image), (std::vector<int>{133, 194, 255, 97, 0}));
}

TEST_F(BlendPaintSoftware, VersionsNeverRepeatAndKernelKeysAreKept) {
  const float one = 1;
  Owned<ZelKernel> a(state->createKernel(1, 1, &one, -3, 40000 - 65536));
  Owned<ZelKernel> b(state->createKernel(1, 1, &one));
  EXPECT_NE(a->getVersion(), b->getVersion());
  EXPECT_NE(a->getVersion(), ZelVersionNumber());
  ZelVersionNumber kept = a->getVersion();
  EXPECT_EQ(kept, a->getVersion());
  EXPECT_EQ(a->getKeyX(), -3);
  EXPECT_EQ(a->getKeyY(), 40000 - 65536);
  EXPECT_EQ(b->getKeyX(), 0);
}

TEST_F(BlendPaintSoftware, ServicesFailOnDemandOnceEach) {
  zel_global_state->failImages(1);
  EXPECT_EQ(state->createImage(2, 2, 1, ZEL_UINT8), nullptr);
  Owned<ZelImage> made(state->createImage(2, 2, 1, ZEL_UINT8));
  EXPECT_NE(made, nullptr);
  zel_global_state->failRois(1);
  EXPECT_EQ(state->createRoi(), nullptr);
  Owned<ZelRoi> roi(state->createRoi());
  ASSERT_NE(roi, nullptr);
  zel_global_state->failAddRects(1);
  EXPECT_EQ(roi->addRect(0, 0, 4, 4), 2);
  EXPECT_EQ(roi->addRect(0, 0, 4, 4), 0);
  zel_global_state->failIntersects(1);
  EXPECT_EQ(roi->intersect(roi.get()), nullptr);
  Owned<ZelRoi> common(roi->intersect(roi.get()));
  EXPECT_EQ(common->area(), 16);
}

}  // namespace
