// The constant, bitwise and scaled-multiply routines: their tables, refusals, plane masks,
// raster ops and reports, the conversion of a factor to a multiplier and shift, and the
// host's meanings they are held to.
#include <algorithm>
#include <cmath>
#include <limits>

#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using Routine = int (ZelDeviceComputeTypeKX::*)(ZelOp*, int);
using KX = ZelDeviceComputeTypeKX;

class ConstantRoutines : public PluginTest {
 protected:
  int run(Routine routine, ZelOp* o) { return (device_.*routine)(o, 0); }
  // A one-source operation with the parameter array as pointer parameter 1.
  ZelOp* op1(ZelImage* src, ZelImage* dst, void* params) {
    ZelOp* o = op("x", src, nullptr, dst);
    o->setPtrParam(1, params);
    return o;
  }
  // Pixel values: band b of pixel (x, y) is f(x, y, b).
  template <typename F>
  ZelImage* filled(unsigned w, unsigned h, unsigned bands, int type, F f) {
    ZelImage* i = image(w, h, bands, type);
    for (unsigned y = 0; y < h; ++y) {
      for (unsigned x = 0; x < w; ++x) {
        for (unsigned b = 0; b < bands; ++b) i->setPixel(x, y, b, f(x, y, b));
      }
    }
    return i;
  }
  static std::vector<int> pixels(const ZelImage* i) {
    std::vector<int> out;
    for (unsigned y = 0; y < i->getHeight(); ++y) {
      for (unsigned x = 0; x < i->getWidth(); ++x) {
        for (unsigned b = 0; b < i->getBands(); ++b) out.push_back(i->getPixel(x, y, b));
      }
    }
    return out;
  }
  static uint8_t* bytes(ZelImage* i) {
    return static_cast<__ZelKXStorage*>(i->getStorage("kx"))->host_address;
  }
  ZelDeviceComputeTypeKX device_;
};

// ---- zelspm_muls_setup

struct Scaled {
  int status;
  int32_t multiplier, shift;
};
Scaled setup(float factor) {
  Scaled s{0, -1, -1};
  s.status = zelspm_muls_setup(&factor, &s.multiplier, &s.shift);
  return s;
}

TEST(MulsSetup, TheDocumentedExamplesGiveTheirMultiplierAndShift) {
  const struct {
    float factor;
    int32_t multiplier, shift;
  } cases[] = {{1.0f, 32768, 7},   {0.5f, 32768, 8}, {200.0f, 51200, 0},
               {256.0f, 65536, 0}, {3.0f, 49152, 6}, {1.0f / 256, 32768, 15}};
  for (const auto& c : cases) {
    const Scaled s = setup(c.factor);
    EXPECT_EQ(s.status, 0) << c.factor;
    EXPECT_EQ(s.multiplier, c.multiplier) << c.factor;
    EXPECT_EQ(s.shift, c.shift) << c.factor;
  }
}

TEST(MulsSetup, FactorsBeyondTheRangeOrNaNAreRefusedAndNothingIsWritten) {
  for (float factor : {300.0f, 256.01f, -256.01f, std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(),
                       std::numeric_limits<float>::quiet_NaN(), 3e38f}) {
    const Scaled s = setup(factor);
    EXPECT_EQ(s.status, 2) << factor;
    EXPECT_EQ(s.multiplier, -1) << factor;
    EXPECT_EQ(s.shift, -1) << factor;
  }
}

TEST(MulsSetup, FactorsBelowOneIn256TakeShift15AndARoundedMultiplier) {
  EXPECT_EQ(setup(1.0f / 512).multiplier, 16384);
  EXPECT_EQ(setup(1.0f / 512).shift, 15);
  EXPECT_EQ(setup(0.0f).multiplier, 0);
  EXPECT_EQ(setup(1e-9f).multiplier, 0);
  EXPECT_EQ(setup(-1.0f).multiplier, -8388608);  // v = -256
  EXPECT_EQ(setup(-1.0f).shift, 15);
  EXPECT_EQ(setup(-256.0f).multiplier, INT32_MIN);  // the lowest accepted factor
  // Halves round away from zero: v = -(1.5 / 32768).
  EXPECT_EQ(setup(-1.5f / 32768 / 256).multiplier, -2);
}

// ---- Tables, conversions and refusals

TEST_F(ConstantRoutines, AddConstTruncatesEachBandsConstantIntoItsByteLane) {
  ZelImage* src = filled(5, 2, 3, ZEL_UINT8,
                         [](unsigned, unsigned, unsigned b) { return 10 * int(b + 1); });
  ZelImage* dst = image(5, 2, 3, ZEL_UINT8);
  float c[] = {1.7f, -2.2f, 300.0f};
  ASSERT_EQ(run(&KX::AddConst8, op1(src, dst, c)), 0);
  // sl_rect_adds_32 holds its four table entries in r58..r61.
  EXPECT_EQ(int32_t(kxm::reg(58)), 0) << "the spare entry";
  EXPECT_EQ(int32_t(kxm::reg(59)), 1);
  EXPECT_EQ(int32_t(kxm::reg(60)), -2);
  EXPECT_EQ(int32_t(kxm::reg(61)), 300);
  EXPECT_EQ(dst->getPixel(4, 1, 0), 11);
  EXPECT_EQ(dst->getPixel(4, 1, 1), 18);
  EXPECT_EQ(dst->getPixel(4, 1, 2), 255);

  // Bands 0..2 of a 4-band image lie in bytes 0..2: entries 0..2, the spare entry 3.
  ZelImage* four = image(5, 2, 4, ZEL_UINT8);
  ZelImage* low = child(four, 0, 0, 5, 2, 0, 3);
  ASSERT_EQ(run(&KX::AddConst8, op1(low, low, c)), 0);
  EXPECT_EQ(int32_t(kxm::reg(58)), 1);
  EXPECT_EQ(int32_t(kxm::reg(59)), -2);
  EXPECT_EQ(int32_t(kxm::reg(60)), 300);
  EXPECT_EQ(int32_t(kxm::reg(61)), 0);
}

TEST_F(ConstantRoutines, ConstantsThatCannotBeRepresentedAreRefusedBeforeAnyPixelChanges) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    Routine routine;
    int type;
    float c;
  } cases[] = {
      {&KX::AddConst8, ZEL_UINT8, nan},          {&KX::SubtractConst16, ZEL_INT16, nan},
      {&KX::MultiplyConst8, ZEL_UINT8, 256.01f}, {&KX::MultiplyConst16, ZEL_INT16, nan},
      {&KX::DivideConst8, ZEL_UINT8, 0.0f},      {&KX::DivideConst8, ZEL_UINT8, 1.0f / 300},
      {&KX::DivideConst16, ZEL_INT16, 0.0f},     {&KX::DivideConst16, ZEL_INT16, -0.0f},
      {&KX::DivideConst16, ZEL_INT16, 1e-6f},  // 65536 / c beyond int32
      {&KX::DivideConst16, ZEL_INT16, nan},
  };
  for (const Case& c : cases) {
    ZelImage* dst = filled(4, 3, 1, c.type, [](unsigned x, unsigned, unsigned) { return x; });
    float constant = c.c;
    kxtest::TraceCapture trace;
    EXPECT_EQ(run(c.routine, op1(image(4, 3, 1, c.type), dst, &constant)), 2) << c.c;
    EXPECT_TRUE(trace.words().empty()) << c.c;
    EXPECT_EQ(dst->getPixel(3, 2, 0), 3);
  }
  // In range, including infinity as a divisor (a factor of 0), the same routines run.
  float inf = std::numeric_limits<float>::infinity(), factor = 256.0f;
  EXPECT_EQ(run(&KX::MultiplyConst8,
                op1(image(4, 3, 1, ZEL_UINT8), image(4, 3, 1, ZEL_UINT8), &factor)),
            0);
  EXPECT_EQ(kxm::reg(42), 65536u) << "the multiplier, shift 0";
  EXPECT_EQ(
      run(&KX::DivideConst16, op1(image(4, 3, 1, ZEL_INT16), image(4, 3, 1, ZEL_INT16), &inf)),
      0);
}

TEST_F(ConstantRoutines, DivideConst16UsesTheTruncatedQuotientWithShift8) {
  const int values[] = {7, -7, 32767, -32768, 1, 0};
  ZelImage* src =
      filled(6, 1, 1, ZEL_INT16, [&](unsigned x, unsigned, unsigned) { return values[x]; });
  ZelImage* dst = image(6, 1, 1, ZEL_INT16);
  float c = 2.0f;
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&KX::DivideConst16, op1(src, dst, &c)), 0);
  EXPECT_EQ(kxm::reg(42), 32768u);
  const std::vector<uint32_t> words = trace.words();
  EXPECT_NE(std::find_if(words.begin(), words.end(),
                         [](uint32_t w) { return (w & 0xF0FFFFFF) == (0xC0628500u | 8); }),
            words.end())
      << "a shift-right-by-8 word";
  // (x * 32768 >> 8) >> 8 rounds toward minus infinity.
  EXPECT_EQ(pixels(dst), (std::vector<int>{3, -4, 16383, -16384, 0, 0}));
}

TEST_F(ConstantRoutines, BitConstantsAboveTheLimitAreClampedInTheHostsArray) {
  ZelImage* src = image(4, 2, 1, ZEL_UINT8);
  uint32_t c8[] = {400};
  ASSERT_EQ(run(&KX::OrConst8, op1(src, src, c8)), 0);
  EXPECT_EQ(c8[0], 255u);
  EXPECT_EQ(src->getPixel(3, 1, 0), 255);

  // AndConst16 clamps every band's constant, then refuses more than one band at the first
  // rectangle, with no pixel changed.
  ZelImage* two = filled(4, 2, 2, ZEL_INT16, [](unsigned, unsigned, unsigned) { return -1; });
  uint32_t c16[] = {70000, 40000};
  EXPECT_EQ(run(&KX::AndConst16, op1(two, two, c16)), 2);
  EXPECT_EQ(c16[0], 32767u);
  EXPECT_EQ(c16[1], 32767u);
  EXPECT_EQ(pixels(two), std::vector<int>(16, -1));
  EXPECT_TRUE(zel_error_log().empty());
  // Without a rectangle there is no first rectangle to refuse at.
  ZelRoi* none = state()->createRoi();
  two->setRoi(none);
  none->destroy();
  EXPECT_EQ(run(&KX::AndConst16, op1(two, two, c16)), 0);
}

TEST_F(ConstantRoutines, FourByteBitConstantsRunOnlyWhenOneWordMeetsEveryBand) {
  const auto ramp = [](unsigned x, unsigned y, unsigned b) { return int(x * 16 + y * 4 + b); };
  // An ordinary 3-band image: the spare entry is the packed word, so any constants work.
  ZelImage* three = filled(6, 3, 3, ZEL_UINT8, ramp);
  uint32_t c3[] = {0x0F, 0xF0, 0x3C};
  ASSERT_EQ(run(&KX::XorConst8, op1(three, three, c3)), 0);
  EXPECT_EQ(kxm::reg(42), 0x000FF03Cu);
  EXPECT_EQ(three->getPixel(5, 2, 0), ramp(5, 2, 0) ^ 0x0F);
  EXPECT_EQ(three->getPixel(5, 2, 2), ramp(5, 2, 2) ^ 0x3C);

  // Four bands, and three bands in bytes 0..2: entry 0 holds band 0 and cannot also be the
  // pixel word; refused with the array clamped and the pixels untouched.
  ZelImage* four = filled(6, 3, 4, ZEL_UINT8, ramp);
  for (ZelImage* image : {four, child(four, 0, 0, 6, 3, 0, 3)}) {
    const std::vector<int> before = pixels(four);
    uint32_t c[] = {1, 0, 0, 900};
    kxtest::TraceCapture trace;
    EXPECT_EQ(run(&KX::OrConst8, op1(image, image, c)), 2);
    EXPECT_TRUE(trace.words().empty());
    EXPECT_EQ(pixels(four), before);
    EXPECT_EQ(c[3], image->getBands() == 4 ? 255u : 900u) << "clamped where it is a band";
  }
  // Constants of 0 and not are the same in every lane.
  uint32_t zeros[] = {0, 0, 0, 0};
  EXPECT_EQ(run(&KX::AndConst8, op1(four, four, zeros)), 0);
  EXPECT_EQ(pixels(four), std::vector<int>(6 * 3 * 4, 0));
  ASSERT_EQ(run(&KX::Not8, op1(three, four, nullptr)), 2) << "band counts differ";
  ZelImage* src = filled(6, 3, 4, ZEL_UINT8, ramp);
  ASSERT_EQ(run(&KX::Not8, op1(src, four, nullptr)), 0);
  EXPECT_EQ(four->getPixel(5, 2, 3), 255 - ramp(5, 2, 3));
}

// ---- Plane masks, raster ops and the 16-bit routines

TEST_F(ConstantRoutines, AndKeepsTheSpareByteOfEvery3BandImageWhileOrWritesIt) {
  const auto make = [&](int spare) {
    ZelImage* i = filled(3, 2, 3, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0xF0; });
    for (unsigned p = 0; p < 6; ++p) bytes(i)[4 * p] = uint8_t(spare);
    return i;
  };
  ZelImage* a = make(0x0F);
  ZelImage* b = make(0xF1);
  ZelImage* dst = make(0xAB);
  ASSERT_EQ(run(&KX::And8, op("and8", a, b, dst)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  EXPECT_EQ(kxm::raster_op(), 0x88u);
  for (unsigned p = 0; p < 6; ++p) EXPECT_EQ(bytes(dst)[4 * p], 0xAB);
  EXPECT_EQ(dst->getPixel(2, 1, 2), 0xF0);

  ASSERT_EQ(run(&KX::Or8, op("or8", a, b, dst)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFFFFu);
  EXPECT_EQ(kxm::raster_op(), 0xEEu);
  EXPECT_EQ(bytes(dst)[0], 0xFF);

  // The same rule for the constant forms; bands 0..2 of a 4-band image keep byte 3.
  uint32_t c[] = {0x0F, 0x0F, 0x0F};
  ASSERT_EQ(run(&KX::AndConst8, op1(a, a, c)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  ASSERT_EQ(run(&KX::OrConst8, op1(a, a, c)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFFFFu);
  ZelImage* low = child(image(3, 2, 4, ZEL_UINT8), 0, 0, 3, 2, 0, 3);
  ASSERT_EQ(run(&KX::And8, op("and8", low, low, low)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFF00u);
}

TEST_F(ConstantRoutines, EachBitwiseRoutineSetsItsRasterOp) {
  const struct {
    Routine routine;
    int type;
    bool two_images;
    uint32_t code;
  } cases[] = {
      {&KX::And16, ZEL_INT16, true, 0x88},       {&KX::AndConst16, ZEL_INT16, false, 0x88},
      {&KX::Or16, ZEL_INT16, true, 0xEE},        {&KX::OrConst16, ZEL_INT16, false, 0xEE},
      {&KX::Xor8, ZEL_UINT8, true, 0x66},        {&KX::Xor16, ZEL_INT16, true, 0x66},
      {&KX::XorConst16, ZEL_INT16, false, 0x66}, {&KX::Not16, ZEL_INT16, false, 0x11}};
  for (const auto& c : cases) {
    sl_ctx_rasterop_set(0xCC);
    uint32_t constant[] = {1};
    ZelImage* a = image(4, 2, 1, c.type);
    ZelOp* o = c.two_images ? op("x", a, a, image(4, 2, 1, c.type)) : op1(a, a, constant);
    ASSERT_EQ(run(c.routine, o), 0);
    EXPECT_EQ(kxm::raster_op(), c.code);
  }
}

TEST_F(ConstantRoutines, SixteenBitRoutinesWriteEveryByteWhateverMaskWasLeft) {
  // A 3-band 8-bit routine leaves 0x00ffffff; 16-bit routines leave it, and their stores
  // ignore it.
  ZelImage* src = filled(9, 2, 3, ZEL_INT16,
                         [](unsigned x, unsigned, unsigned b) { return int(x * 3 + b) - 5; });
  ZelImage* dst = image(9, 2, 3, ZEL_INT16);
  sl_ctx_planemask_set(0x00FFFFFF);
  ASSERT_EQ(run(&KX::Not16, op1(src, dst, nullptr)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  for (unsigned x = 0; x < 9; ++x) {
    for (unsigned b = 0; b < 3; ++b) EXPECT_EQ(dst->getPixel(x, 1, b), ~(int(x * 3 + b) - 5));
  }
  sl_ctx_planemask_set(0x00FFFFFF);
  ASSERT_EQ(run(&KX::Add16, op("add16", src, src, dst)), 0);
  EXPECT_EQ(dst->getPixel(8, 1, 2), 2 * (8 * 3 + 2 - 5));
}

TEST_F(ConstantRoutines, SixteenBitConstantRoutinesTakeOneBandCountedOnTheirImage) {
  float c[] = {1.0f, 1.0f};
  uint32_t bits[] = {1, 1};
  ZelImage* two = image(4, 2, 2, ZEL_INT16);
  EXPECT_EQ(run(&KX::AddConst16, op1(two, two, c)), 2);
  EXPECT_EQ(run(&KX::MultiplyConst16, op1(two, two, c)), 2);
  EXPECT_EQ(run(&KX::OrConst16, op1(two, two, bits)), 2);
  EXPECT_EQ(run(&KX::XorConst16, op1(two, two, bits)), 2);
  EXPECT_EQ(run(&KX::AddConst16, op1(image(4, 2, 1, ZEL_INT16), image(4, 2, 1, ZEL_INT16), c)),
            0);
  EXPECT_TRUE(zel_error_log().empty());
}

// ---- Reports

TEST_F(ConstantRoutines, AMissingRectangleListIsReportedWithTheRoutinesFileAndLine) {
  static float f[] = {1.0f};
  static uint32_t u[] = {1};
  const struct {
    Routine routine;
    int type;
    bool two_images;
    const char* file;
    int line;
    void* params = nullptr;
  } cases[] = {
      {&KX::AddConst8, ZEL_UINT8, false, "AddConst8KX", 114, f},
      {&KX::AddConst16, ZEL_INT16, false, "AddConst16KX", 104, f},
      {&KX::SubtractConst8, ZEL_UINT8, false, "SubtractConst8KX", 126, f},
      {&KX::SubtractConst16, ZEL_INT16, false, "SubtractConst16KX", 107, f},
      {&KX::SubtractFromConst8, ZEL_UINT8, false, "SubtractFromConst8KX", 123, f},
      {&KX::SubtractFromConst16, ZEL_INT16, false, "SubtractFromConst16KX", 110, f},
      {&KX::MultiplyConst8, ZEL_UINT8, false, "MultiplyConst8KX", 132, f},
      {&KX::MultiplyConst16, ZEL_INT16, false, "MultiplyConst16KX", 110, f},
      {&KX::DivideConst8, ZEL_UINT8, false, "DivideConst8KX", 120, f},
      {&KX::DivideConst16, ZEL_INT16, false, "DivideConst16KX", 114, f},
      {&KX::And8, ZEL_UINT8, true, "And8KX", 123},
      {&KX::And16, ZEL_INT16, true, "And16KX", 116},
      {&KX::AndConst8, ZEL_UINT8, false, "AndConst8KX", 136, u},
      {&KX::AndConst16, ZEL_INT16, false, "AndConst16KX", 102, u},
      {&KX::Or8, ZEL_UINT8, true, "Or8KX", 124},
      {&KX::Or16, ZEL_INT16, true, "Or16KX", 115},
      {&KX::OrConst8, ZEL_UINT8, false, "OrConst8KX", 137, u},
      {&KX::OrConst16, ZEL_INT16, false, "OrConst16KX", 104, u},
      {&KX::Xor8, ZEL_UINT8, true, "Xor8KX", 124},
      {&KX::Xor16, ZEL_INT16, true, "Xor16KX", 119},
      {&KX::XorConst8, ZEL_UINT8, false, "XorConst8KX", 133, u},
      {&KX::XorConst16, ZEL_INT16, false, "XorConst16KX", 115, u},
      {&KX::Not8, ZEL_UINT8, false, "Not8KX", 121},
      {&KX::Not16, ZEL_INT16, false, "Not16KX", 113},
  };
  for (const auto& c : cases) {
    zel_clear_error_log();
    ZelImage* a = image(4, 4, 1, c.type);
    ZelOp* o = c.two_images ? op("x", a, image(4, 4, 1, c.type), image(4, 4, 1, c.type))
                            : op1(a, image(4, 4, 1, c.type), c.params);
    zel_global_state->failRoiLists(1);
    EXPECT_EQ(run(c.routine, o), 2) << c.file;
    ASSERT_EQ(zel_error_log().size(), 1u) << c.file;
    const ZelErrorReport& r = zel_error_log()[0];
    EXPECT_EQ(r.id, "di-12");
    EXPECT_EQ(r.category, 0);
    EXPECT_EQ(r.flag, 0);
    EXPECT_EQ(r.line, c.line) << c.file;
    EXPECT_EQ(r.file, c.file);
    EXPECT_EQ(r.state, a->getSystemState());
  }
}

// ---- The host's meanings, and the bound the scaled multiply keeps to them

TEST_F(ConstantRoutines, TheHostTruncatesAddendsRoundsProductsAndComplementsBits) {
  const auto host = [&](const char* name, int type, int pixel, void* params) {
    ZelImage* src = filled(1, 1, 1, type, [&](unsigned, unsigned, unsigned) { return pixel; });
    ZelImage* dst = image(1, 1, 1, type);
    ZelOp* o = op(name, src, nullptr, dst);
    o->setPtrParam(1, params);
    EXPECT_EQ(zel_run(o, ZelPath::host_only).status, 0) << name;
    return dst->getPixel(0, 0, 0);
  };
  float c = -2.9f, big = 1e30f, half = 0.5f, three = 3.0f;
  EXPECT_EQ(host("addconst8", ZEL_UINT8, 10, &c), 8);
  EXPECT_EQ(host("subtractfromconst16", ZEL_INT16, 100, &c), -102);
  EXPECT_EQ(host("subtractconst16", ZEL_INT16, 0, &big), -32768);
  EXPECT_EQ(host("multiplyconst8", ZEL_UINT8, 5, &half), 3) << "2.5 rounds away from zero";
  EXPECT_EQ(host("multiplyconst16", ZEL_INT16, -5, &half), -3);
  EXPECT_EQ(host("divideconst16", ZEL_INT16, -100, &three), -33);
  EXPECT_EQ(host("not8", ZEL_UINT8, 0x5A, nullptr), 0xA5);
  EXPECT_EQ(host("not16", ZEL_INT16, 5, nullptr), -6);
  uint32_t bits = 70000;
  EXPECT_EQ(host("andconst16", ZEL_INT16, -1, &bits), 32767);
  EXPECT_EQ(bits, 32767u);
  float zero = 0.0f, negative_zero = -0.0f;
  EXPECT_EQ(host("divideconst8", ZEL_UINT8, 3, &zero), 255) << "3 / 0 saturates";
  EXPECT_EQ(host("divideconst16", ZEL_INT16, 3, &negative_zero), -32768);
  EXPECT_EQ(host("divideconst16", ZEL_INT16, 0, &zero), 0);
}

TEST_F(ConstantRoutines, ScaledMultiplyStaysWithinOneOfTheHostForEveryPixelValue) {
  ZelImage* src8 =
      filled(256, 1, 1, ZEL_UINT8, [](unsigned x, unsigned, unsigned) { return int(x); });
  ZelImage* src16 = filled(256, 4, 1, ZEL_INT16, [](unsigned x, unsigned y, unsigned) {
    return int(y * 256 + x) * 64 - 32768 + int(y);
  });
  const struct {
    const char* name;
    Routine routine;
    ZelImage* src;
  } routines[] = {{"multiplyconst8", &KX::MultiplyConst8, src8},
                  {"divideconst8", &KX::DivideConst8, src8},
                  {"multiplyconst16", &KX::MultiplyConst16, src16},
                  {"divideconst16", &KX::DivideConst16, src16}};
  int compared = 0;
  for (const auto& r : routines) {
    for (float c : {1.0f, 0.37f, 255.9f, 1.0f / 3, 0.001f, -0.7f, 7.0f, -3.0f, 99.5f}) {
      ZelImage* device = image(r.src->getWidth(), r.src->getHeight(), 1, r.src->getDataType());
      ZelImage* host = image(r.src->getWidth(), r.src->getHeight(), 1, r.src->getDataType());
      float on_device = c, on_host = c;
      if (run(r.routine, op1(r.src, device, &on_device)) != 0) continue;  // documented refusal
      ZelOp* o = op(r.name, r.src, nullptr, host);
      o->setPtrParam(1, &on_host);
      ASSERT_EQ(zel_run(o, ZelPath::host_only).status, 0);
      ++compared;
      const std::vector<int> got = pixels(device), want = pixels(host);
      for (size_t i = 0; i < got.size(); ++i) {
        ASSERT_LE(std::abs(got[i] - want[i]), 1) << r.name << " by " << c << " at " << i;
      }
    }
  }
  EXPECT_EQ(compared, 35) << "only divideconst8 by 0.001 is refused";
}

}  // namespace
