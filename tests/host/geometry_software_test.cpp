// The host's geometric operations: which destination pixels they write and what they take.
#include <cmath>
#include <vector>

#include "host_test.h"

namespace {

class GeometrySoftware : public HostTest {
 protected:
  int translate(const char* name, ZelImage* src, ZelImage* dst, float tx, float ty) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, src);
    op->setDst(dst);
    op->setFloatParam(1, tx);
    op->setFloatParam(2, ty);
    return zel_run(op.get(), ZelPath::host_only).status;
  }
  ZelImage* filled_row(unsigned width, int value) {
    return row(width, 1, ZEL_UINT8, std::vector<int>(width, value));
  }
};

TEST_F(GeometrySoftware, BilinearTranslationWeighsTheTwoNeighboursAndRoundsHalfUp) {
  ZelImage* src = row(4, 1, ZEL_UINT8, {10, 21, 40, 200});
  ZelImage* dst = filled_row(6, 7);
  ASSERT_EQ(translate("translate8bilinear", src, dst, 0.5f, 0), 0);
  // X samples X - 0.5: column 0 lies left of the source (unwritten); the last source
  // column's right neighbour repeats it.
  EXPECT_EQ(pixels(dst), (std::vector<int>{7, 16, 31, 120, 200, 7}));
  ASSERT_EQ(translate("translate8bilinear", src, dst, -1.25f, 0), 0);
  EXPECT_EQ(pixels(dst)[0], 26) << "21 + 0.25 (40 - 21) = 25.75";
}

TEST_F(GeometrySoftware, BicubicTranslationIsExactOnRampsAndCopiesAtWholeOffsets) {
  ZelImage* ramp = row(8, 1, ZEL_UINT8, {0, 10, 20, 30, 40, 50, 60, 70});
  ZelImage* dst = filled_row(8, 255);
  ASSERT_EQ(translate("translate8bicubic", ramp, dst, 0.5f, 0), 0);
  // Catmull-Rom reproduces a straight line away from the edges.
  for (int x = 2; x < 7; ++x) EXPECT_EQ(pixels(dst)[size_t(x)], 10 * x - 5) << x;
  ZelImage* bumpy = row(5, 1, ZEL_UINT8, {0, 255, 0, 255, 0});
  ZelImage* moved = filled_row(8, 9);
  ASSERT_EQ(translate("translate8bicubic", bumpy, moved, 2.0f, 0), 0);
  EXPECT_EQ(pixels(moved), (std::vector<int>{9, 9, 0, 255, 0, 255, 0, 9}));
  // X = 2 samples 1.5: -0.0625 (0 + 255) + 0.5625 (255 + 0) = 127.5, halves up.
  ASSERT_EQ(translate("translate8bicubic", bumpy, moved, 0.5f, 0), 0);
  EXPECT_EQ(pixels(moved)[2], 128);
  // Ringing beyond the pixel range is limited: 0.5625 (255 + 255) between 0s.
  ZelImage* hump = row(4, 1, ZEL_UINT8, {0, 255, 255, 0});
  ASSERT_EQ(translate("translate8bicubic", hump, moved, 0.5f, 0), 0);
  EXPECT_EQ(pixels(moved)[2], 255);
}

TEST_F(GeometrySoftware, SixteenBitTranslationsKeepSignsAndReadTheSourceBeforeWriting) {
  ZelImage* src = row(3, 1, ZEL_INT16, {-300, 100, -32768});
  ZelImage* dst = row(3, 1, ZEL_INT16);
  ASSERT_EQ(translate("translate16bilinear", src, dst, 0.5f, 0), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{0, -100, -16334}));
  ZelImage* same = row(4, 1, ZEL_UINT8, {1, 2, 3, 4});
  ASSERT_EQ(translate("translate8nearest", same, same, 1, 0), 0);
  EXPECT_EQ(pixels(same), (std::vector<int>{1, 1, 2, 3})) << "in place";
}

TEST_F(GeometrySoftware, ScalesSampleAtTheScaledBackPointFromTheOrigin) {
  ZelImage* src = row(3, 1, ZEL_UINT8, {10, 50, 90});
  const auto scaled = [&](const char* name, float q, unsigned width) {
    ZelImage* dst = filled_row(width, 7);
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, src);
    op->setDst(dst);
    op->setFloatParam(1, q);
    op->setFloatParam(2, 1.0f);
    return zel_run(op.get(), ZelPath::host_only).status == 0 ? pixels(dst) : std::vector<int>{};
  };
  // X samples X / 2: nearest floors it; bilinear weighs the neighbours, the last repeated.
  EXPECT_EQ(scaled("scale8nearest", 2.0f, 7), (std::vector<int>{10, 10, 50, 50, 90, 90, 7}));
  EXPECT_EQ(scaled("scale8bilinear", 2.0f, 7), (std::vector<int>{10, 30, 50, 70, 90, 90, 7}));
  EXPECT_EQ(scaled("scale8nearest", 0.5f, 3), (std::vector<int>{10, 90, 7}));
  EXPECT_EQ(scaled("scale8bicubic", 1.0f, 4), (std::vector<int>{10, 50, 90, 7}));
  EXPECT_TRUE(scaled("scale8nearest", 0.0f, 3).empty()) << "a factor of 0 is refused";
  EXPECT_TRUE(scaled("scale8nearest", std::nanf(""), 3).empty());
}

}  // namespace
