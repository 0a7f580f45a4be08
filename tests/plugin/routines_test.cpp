// What the routines accept, refuse and report, and how a rectangle becomes a kernel call.
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using Routines = PluginTest;

TEST_F(Routines, BandCountsAndArrangementsTheKernelsCannotTakeAreRefusedSilently) {
  const auto add8 = [&](ZelImage* a, ZelImage* b, ZelImage* d) {
    return run(&KX::Add8, op("add8", a, b, d));
  };
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  ZelImage* one = image(4, 4, 1, ZEL_UINT8);
  ZelImage* three = image(4, 4, 3, ZEL_UINT8);
  ZelImage* two = image(4, 4, 2, ZEL_UINT8);
  EXPECT_EQ(add8(two, two, image(4, 4, 2, ZEL_UINT8)), 2);
  EXPECT_EQ(add8(child(four, 0, 0, 4, 4, 1, 1), one, one), 2) << "one band of four";
  // Bands 0..2 and bands 1..3 of 4-byte pixels would combine unlike bands.
  EXPECT_EQ(add8(child(four, 0, 0, 4, 4, 0, 3), three, three), 2);
  EXPECT_EQ(add8(one, three, one), 2) << "mixed band counts";
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(Routines, ARegionWithoutRectanglesCallsNoKernel) {
  ZelImage* dst = image(8, 8, 1, ZEL_UINT8);
  region(dst, 100, 100, 5, 5);
  kxtest::TraceCapture trace;
  EXPECT_EQ(
      run(&KX::Add8, op("add8", image(8, 8, 1, ZEL_UINT8), image(8, 8, 1, ZEL_UINT8), dst)), 0);
  EXPECT_TRUE(trace.memory().empty());
}

TEST_F(Routines, ThePlaneMaskProtectsTheBytesOutsideAThreeBandDestination) {
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  const auto mask_for = [&](ZelImage* dst) {
    sl_ctx_planemask_set(0x12345678);
    EXPECT_EQ(
        run(&KX::Add8, op("add8", image(4, 4, 3, ZEL_UINT8), image(4, 4, 3, ZEL_UINT8), dst)),
        0);
    return kxm::plane_mask();
  };
  EXPECT_EQ(mask_for(child(four, 0, 0, 4, 4, 1, 3)), 0x00FFFFFFu);
  EXPECT_EQ(mask_for(image(4, 4, 3, ZEL_UINT8)), 0xFFFFFFFFu);
  sl_ctx_planemask_set(0x12345678);
  ZelImage* low = child(four, 0, 0, 4, 4, 0, 3);
  EXPECT_EQ(run(&KX::Add8, op("add8", low, low, low)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFF00u);
}

TEST_F(Routines, MultiplySetsThePlaneMaskOnlyOnceItHasRectangles) {
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  ZelImage* dst = child(four, 0, 0, 4, 4, 1, 3);
  ZelImage* a = image(4, 4, 3, ZEL_UINT8);
  sl_ctx_planemask_set(0x12345678);
  zel_global_state->failRoiLists(1);
  EXPECT_EQ(run(&KX::Multiply8, op("multiply8", a, a, dst)), 2);
  EXPECT_EQ(kxm::plane_mask(), 0x12345678u);
  zel_global_state->failRoiLists(1);
  EXPECT_EQ(run(&KX::Add8, op("add8", a, a, dst)), 2);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
}

TEST_F(Routines, ARectangleIsAddressedThroughOriginsAndStrides) {
  // Destination origin (10, 20), line stride 640, pixel stride 4: operation-space (2, 3) is
  // pixel (12, 23).
  ZelImage* dst = image(160, 40, 4, ZEL_UINT8);
  dst->setOrigin(10, 20);
  region(dst, 2, 3, 1, 1);
  ZelImage* a = image(200, 200, 4, ZEL_UINT8);
  a->setOrigin(10, 20);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&KX::Add8, op("add8", a, a, dst)), 0);
  const uint32_t expected = record(dst)->kx_address + 23 * 640 + 12 * 4;
  ASSERT_EQ(trace.memory().size(), 3u);
  EXPECT_EQ(trace.memory()[2].first, expected & ~7u);
  EXPECT_EQ(trace.memory()[2].second & 7, expected & 7);
}

TEST_F(Routines, SixteenBitRectanglesAreRowsOfWidthTimesBandsWords) {
  ZelImage* a = image(10, 2, 3, ZEL_INT16);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&KX::Subtract16, op("subtract16", a, a, image(10, 2, 3, ZEL_INT16))), 0);
  ASSERT_FALSE(trace.memory().empty());
  EXPECT_EQ((trace.memory()[0].second >> 23) & 0x1F, 29u) << "30 words a row";
}

}  // namespace
