// What the routines accept, refuse and report, and how a rectangle becomes a kernel call.
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using Routines = PluginTest;

// How a routine is made to fail: a host service failing once, or an image without storage.
enum Fail { roi_list, rect_list, image_region, no_src1, no_src2, no_dst };
constexpr int u8 = ZEL_UINT8, s16 = ZEL_INT16;

struct Report {
  Routine routine;
  int type;  // of the sources (0: none) and, unless dst_type is set, the destination
  int line;
  const char* file;
  const char* id = "di-12";  // nullptr: refused without a report
  int category = 0;
  Fail fail = roi_list;
  unsigned bands = 1;
  int dst_type = -1;  // 0: no destination
  bool bit_constants = false;
};

TEST_F(Routines, EachFailureIsReportedOnceWithItsIdCategoryAndTheRoutinesPlace) {
  const Report cases[] = {
      {&KX::Add8, u8, 139, "Add8KX"},
      {&KX::Add16, s16, 113, "Add16KX"},
      {&KX::Multiply8, u8, 117, "Multiply8KX"},
      {&KX::Multiply16, s16, 115, "Multiply16KX"},
      {&KX::Subtract8, u8, 127, "Subtract8KX"},
      {&KX::Subtract16, s16, 114, "Subtract16KX"},
      {&KX::AddConst8, u8, 114, "AddConst8KX"},
      {&KX::AddConst16, s16, 104, "AddConst16KX"},
      {&KX::SubtractConst8, u8, 126, "SubtractConst8KX"},
      {&KX::SubtractConst16, s16, 107, "SubtractConst16KX"},
      {&KX::SubtractFromConst8, u8, 123, "SubtractFromConst8KX"},
      {&KX::SubtractFromConst16, s16, 110, "SubtractFromConst16KX"},
      {&KX::MultiplyConst8, u8, 132, "MultiplyConst8KX"},
      {&KX::MultiplyConst16, s16, 110, "MultiplyConst16KX"},
      {&KX::DivideConst8, u8, 120, "DivideConst8KX"},
      {&KX::DivideConst16, s16, 114, "DivideConst16KX"},
      {&KX::And8, u8, 123, "And8KX"},
      {&KX::And16, s16, 116, "And16KX"},
      {&KX::Or8, u8, 124, "Or8KX"},
      {&KX::Or16, s16, 115, "Or16KX"},
      {&KX::Xor8, u8, 124, "Xor8KX"},
      {&KX::Xor16, s16, 119, "Xor16KX"},
      {&KX::Not8, u8, 121, "Not8KX"},
      {&KX::Not16, s16, 113, "Not16KX"},
      {&KX::AndConst8, u8, 136, "AndConst8KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::AndConst16, s16, 102, "AndConst16KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::OrConst8, u8, 137, "OrConst8KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::OrConst16, s16, 104, "OrConst16KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::XorConst8, u8, 133, "XorConst8KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::XorConst16, s16, 115, "XorConst16KX", "di-12", 0, roi_list, 1, -1, true},
      {&KX::Copy8, u8, 129, "Copy8KX"},
      {&KX::Copy16, s16, 133, "Copy16KX"},
      {&KX::SetValue8, 0, 119, "SetValue8KX", "di-12", 0, rect_list, 3, u8},
      {&KX::Convert8to16, u8, 114, "Convert8to16KX", "di-12", 0, roi_list, 3, s16},
      {&KX::Rescale8, u8, 111, "Rescale8KX", "di-12", 0, roi_list, 4},
      {&KX::Rescale16, s16, 111, "Rescale16KX"},
      {&KX::BandCombine16, s16, 117, "BandCombine16KX", "di-12", 0, roi_list, 3},
      {&KX::Threshold8, u8, 128, "Threshold8KX", "di-12", 1},
      {&KX::Threshold16, s16, 117, "Threshold16KX", "di-12", 1},
      {&KX::Extrema8, u8, 127, "Extrema8KX", "di-6", 1, image_region, 3, 0},
      {&KX::Extrema8, u8, 135, "Extrema8KX", "di-8", 1, rect_list, 3, 0},
      {&KX::Extrema16, s16, 129, "Extrema16KX", "di-6", 1, image_region, 1, 0},
      {&KX::Extrema16, s16, 137, "Extrema16KX", "di-8", 1, rect_list, 1, 0},
      // Subtraction names the image that lacks storage; the other routines refuse silently.
      {&KX::Subtract8, u8, 86, "Subtract8KX", "di-9", 1, no_src1},
      {&KX::Subtract8, u8, 98, "Subtract8KX", "di-15", 1, no_src2},
      {&KX::Subtract8, u8, 110, "Subtract8KX", "di-10", 1, no_dst},
      {&KX::Subtract16, s16, 80, "Subtract16KX", "di-9", 1, no_src1},
      {&KX::Subtract16, s16, 92, "Subtract16KX", "di-15", 1, no_src2},
      {&KX::Subtract16, s16, 104, "Subtract16KX", "di-10", 1, no_dst},
      {&KX::Add16, s16, 0, "Add16KX", nullptr, 0, no_src2},
  };
  const float matrix[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
  ZelKernel* identity = state()->createKernel(4, 3, matrix);
  for (const Report& c : cases) {
    zel_clear_error_log();
    float ones[4] = {1, 1, 1, 1};
    uint32_t bits[4] = {1, 1, 1, 1};
    const int dst_type = c.dst_type < 0 ? c.type : c.dst_type;
    ZelImage* src1 = c.type ? image(4, 2, c.bands, c.type) : nullptr;
    ZelImage* src2 = c.type ? image(4, 2, c.bands, c.type) : nullptr;
    ZelImage* dst = dst_type ? image(4, 2, c.bands, dst_type) : nullptr;
    ZelOp* o = op("x", src1, src2, dst);
    o->setPtrParam(1, c.bit_constants ? static_cast<void*>(bits) : ones);
    o->setPtrParam(2, ones);
    o->setPtrParam(3, ones);
    o->setObjParam(1, identity);
    if (c.fail == roi_list) zel_global_state->failRoiLists(1);
    if (c.fail == rect_list) zel_global_state->failRectLists(1);
    if (c.fail == image_region) zel_global_state->failImageRegions(1);
    ZelImage* bare = c.fail == no_src1 ? src1 : c.fail == no_src2 ? src2 : dst;
    if (c.fail >= no_src1) bare->removeStorage("kx");
    EXPECT_EQ(run(c.routine, o), 2) << c.file;
    if (c.id == nullptr) {
      EXPECT_TRUE(zel_error_log().empty()) << c.file;
      continue;
    }
    ASSERT_EQ(zel_error_log().size(), 1u) << c.file << " " << c.id;
    const ZelErrorReport& r = zel_error_log()[0];
    EXPECT_EQ(r.id, c.id) << c.file;
    EXPECT_EQ(r.category, c.category) << c.file;
    EXPECT_EQ(r.flag, 0);
    EXPECT_EQ(r.line, c.line) << c.file;
    EXPECT_EQ(r.file, c.file);
    EXPECT_EQ(r.state, state());
    EXPECT_EQ(r.object, nullptr);
  }
  identity->destroy();
}

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
