// The two-source arithmetic routines: what they accept, refuse and report, and how a
// rectangle becomes a kernel call.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using Routine = int (ZelDeviceComputeTypeKX::*)(ZelOp*, int);

class Routines : public PluginTest {
 protected:
  int run(Routine routine, ZelOp* o) { return (device_.*routine)(o, 0); }
  ZelDeviceComputeTypeKX device_;
};

struct ListReport {
  Routine routine;
  int type;
  const char* file;
  int line;
};

TEST_F(Routines, AMissingRectangleListIsReportedOnTheFirstSource) {
  const ListReport cases[] = {
      {&ZelDeviceComputeTypeKX::Add8, ZEL_UINT8, "Add8KX", 139},
      {&ZelDeviceComputeTypeKX::Add16, ZEL_INT16, "Add16KX", 113},
      {&ZelDeviceComputeTypeKX::Multiply8, ZEL_UINT8, "Multiply8KX", 117},
      {&ZelDeviceComputeTypeKX::Multiply16, ZEL_INT16, "Multiply16KX", 115},
      {&ZelDeviceComputeTypeKX::Subtract8, ZEL_UINT8, "Subtract8KX", 127},
      {&ZelDeviceComputeTypeKX::Subtract16, ZEL_INT16, "Subtract16KX", 114},
  };
  for (const ListReport& c : cases) {
    zel_clear_error_log();
    ZelImage* a = image(4, 4, 1, c.type);
    zel_global_state->failRoiLists(1);
    EXPECT_EQ(run(c.routine, op("x", a, image(4, 4, 1, c.type), image(4, 4, 1, c.type))), 2);
    ASSERT_EQ(zel_error_log().size(), 1u) << c.file;
    const ZelErrorReport& r = zel_error_log()[0];
    EXPECT_EQ(r.id, "di-12");
    EXPECT_EQ(r.category, 0);
    EXPECT_EQ(r.flag, 0);
    EXPECT_EQ(r.line, c.line);
    EXPECT_EQ(r.file, c.file);
    EXPECT_EQ(r.state, a->getSystemState());
    EXPECT_EQ(r.object, nullptr);
  }
}

TEST_F(Routines, SubtractionReportsWhichImageLacksStorage) {
  struct Case {
    Routine routine;
    int type;
    int missing;  // 0 src1, 1 src2, 2 dst
    const char* id;
    int line;
  };
  const Case cases[] = {
      {&ZelDeviceComputeTypeKX::Subtract8, ZEL_UINT8, 0, "di-9", 86},
      {&ZelDeviceComputeTypeKX::Subtract8, ZEL_UINT8, 1, "di-15", 98},
      {&ZelDeviceComputeTypeKX::Subtract8, ZEL_UINT8, 2, "di-10", 110},
      {&ZelDeviceComputeTypeKX::Subtract16, ZEL_INT16, 0, "di-9", 80},
      {&ZelDeviceComputeTypeKX::Subtract16, ZEL_INT16, 1, "di-15", 92},
      {&ZelDeviceComputeTypeKX::Subtract16, ZEL_INT16, 2, "di-10", 104},
  };
  for (const Case& c : cases) {
    zel_clear_error_log();
    ZelImage* images[3] = {image(4, 4, 1, c.type), image(4, 4, 1, c.type),
                           image(4, 4, 1, c.type)};
    images[c.missing]->removeStorage("kx");
    EXPECT_EQ(run(c.routine, op("x", images[0], images[1], images[2])), 2);
    ASSERT_EQ(zel_error_log().size(), 1u);
    EXPECT_EQ(zel_error_log()[0].id, c.id);
    EXPECT_EQ(zel_error_log()[0].category, 1);
    EXPECT_EQ(zel_error_log()[0].line, c.line);
    EXPECT_EQ(zel_error_log()[0].state, images[c.missing]->getSystemState());
  }
  // The other routines refuse the same images silently.
  ZelImage* a = image(4, 4, 1, ZEL_INT16);
  ZelImage* b = image(4, 4, 1, ZEL_INT16);
  b->removeStorage("kx");
  zel_clear_error_log();
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add16, op("add16", a, b, image(4, 4, 1, ZEL_INT16))),
            2);
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(Routines, BandCountsAndArrangementsTheKernelsCannotTakeAreRefusedSilently) {
  ZelImage* two = image(4, 4, 2, ZEL_UINT8);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8, op("add8", two, two, image(4, 4, 2, ZEL_UINT8))),
            2);
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  ZelImage* single = child(four, 0, 0, 4, 4, 1, 1);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8,
                op("add8", single, image(4, 4, 1, ZEL_UINT8), image(4, 4, 1, ZEL_UINT8))),
            2);
  // Bands 0..2 and bands 1..3 of 4-byte pixels would combine unlike bands.
  ZelImage* low = child(four, 0, 0, 4, 4, 0, 3);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8,
                op("add8", low, image(4, 4, 3, ZEL_UINT8), image(4, 4, 3, ZEL_UINT8))),
            2);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8,
                op("add8", image(4, 4, 1, ZEL_UINT8), image(4, 4, 3, ZEL_UINT8),
                   image(4, 4, 1, ZEL_UINT8))),
            2)
      << "mixed band counts";
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(Routines, SixteenBitImagesWithTwoBandsAndSpatialChildrenAreAccepted) {
  ZelImage* parent = image(10, 10, 2, ZEL_INT16);
  ZelImage* part = child(parent, 2, 3, 4, 4, 0, 2);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add16,
                op("add16", part, image(4, 4, 2, ZEL_INT16), image(4, 4, 2, ZEL_INT16))),
            0);
}

TEST_F(Routines, ARegionWithoutRectanglesCallsNoKernel) {
  ZelImage* dst = image(8, 8, 1, ZEL_UINT8);
  ZelRoi* outside = state()->createRoi();
  outside->addRect(100, 100, 5, 5);
  dst->setRoi(outside);
  outside->destroy();
  kxtest::TraceCapture trace;
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8,
                op("add8", image(8, 8, 1, ZEL_UINT8), image(8, 8, 1, ZEL_UINT8), dst)),
            0);
  EXPECT_TRUE(trace.memory().empty());
}

TEST_F(Routines, ThePlaneMaskProtectsTheBytesOutsideAThreeBandDestination) {
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  const auto mask_for = [&](ZelImage* dst) {
    sl_ctx_planemask_set(0x12345678);
    EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8,
                  op("add8", image(4, 4, 3, ZEL_UINT8), image(4, 4, 3, ZEL_UINT8), dst)),
              0);
    return kxm::plane_mask();
  };
  EXPECT_EQ(mask_for(child(four, 0, 0, 4, 4, 1, 3)), 0x00FFFFFFu);
  EXPECT_EQ(mask_for(image(4, 4, 3, ZEL_UINT8)), 0xFFFFFFFFu);
  sl_ctx_planemask_set(0x12345678);
  ZelImage* low = child(four, 0, 0, 4, 4, 0, 3);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8, op("add8", low, low, low)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFF00u);
}

TEST_F(Routines, MultiplySetsThePlaneMaskOnlyOnceItHasRectangles) {
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  ZelImage* dst = child(four, 0, 0, 4, 4, 1, 3);
  ZelImage* a = image(4, 4, 3, ZEL_UINT8);
  sl_ctx_planemask_set(0x12345678);
  zel_global_state->failRoiLists(1);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Multiply8, op("multiply8", a, a, dst)), 2);
  EXPECT_EQ(kxm::plane_mask(), 0x12345678u);
  zel_global_state->failRoiLists(1);
  EXPECT_EQ(run(&ZelDeviceComputeTypeKX::Add8, op("add8", a, a, dst)), 2);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
}

TEST_F(Routines, ARectangleIsAddressedThroughOriginsAndStrides) {
  // Destination origin (10, 20), line stride 640, pixel stride 4: operation-space (2, 3) is
  // pixel (12, 23).
  ZelImage* dst = image(160, 40, 4, ZEL_UINT8);
  dst->setOrigin(10, 20);
  ZelRoi* roi = state()->createRoi();
  roi->addRect(2, 3, 1, 1);
  dst->setRoi(roi);
  roi->destroy();
  ZelImage* a = image(200, 200, 4, ZEL_UINT8);
  a->setOrigin(10, 20);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&ZelDeviceComputeTypeKX::Add8, op("add8", a, a, dst)), 0);
  const uint32_t expected =
      static_cast<__ZelKXStorage*>(dst->getStorage("kx"))->kx_address + 23 * 640 + 12 * 4;
  ASSERT_EQ(trace.memory().size(), 3u);
  EXPECT_EQ(trace.memory()[2].first, expected & ~7u);
  EXPECT_EQ(trace.memory()[2].second & 7, expected & 7);
}

TEST_F(Routines, SixteenBitRectanglesAreRowsOfWidthTimesBandsWords) {
  ZelImage* a = image(10, 2, 3, ZEL_INT16);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&ZelDeviceComputeTypeKX::Subtract16,
                op("subtract16", a, a, image(10, 2, 3, ZEL_INT16))),
            0);
  ASSERT_FALSE(trace.memory().empty());
  EXPECT_EQ((trace.memory()[0].second >> 23) & 0x1F, 29u) << "30 words a row";
}

}  // namespace
