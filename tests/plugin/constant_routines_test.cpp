// The constant, bitwise and scaled-multiply routines: their tables, refusals, plane masks and
// raster ops, the conversion of a factor to a multiplier and shift, and the host's meanings
// they are held to.
#include <algorithm>
#include <limits>
#include <utility>

#include "kx_constant.h"
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using ConstantRoutines = PluginTest;

TEST(MulsSetup, FactorsGiveTheirMultiplierAndShiftOrAreRefusedWritingNothing) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  const struct {
    float factor;
    int status;
    int32_t multiplier, shift;
  } cases[] = {
      {1.0f, 0, 32768, 7},
      {0.5f, 0, 32768, 8},
      {200.0f, 0, 51200, 0},
      {256.0f, 0, 65536, 0},
      {3.0f, 0, 49152, 6},
      {1.0f / 256, 0, 32768, 15},
      // Below 1/256, and negative: shift 15 and a multiplier rounded half away from zero.
      {1.0f / 512, 0, 16384, 15},
      {0.0f, 0, 0, 15},
      {1e-9f, 0, 0, 15},
      {-1.0f, 0, -8388608, 15},          // v = -256
      {-256.0f, 0, INT32_MIN, 15},       // the lowest accepted factor
      {-1.5f / 32768 / 256, 0, -2, 15},  // v = -(1.5 / 32768)
      {300.0f, 2, -1, -1},
      {256.01f, 2, -1, -1},
      {-256.01f, 2, -1, -1},
      {inf, 2, -1, -1},
      {-inf, 2, -1, -1},
      {std::numeric_limits<float>::quiet_NaN(), 2, -1, -1},
      {3e38f, 2, -1, -1},
  };
  for (const auto& c : cases) {
    float factor = c.factor;
    int32_t multiplier = -1, shift = -1;
    EXPECT_EQ(zelspm_muls_setup(&factor, &multiplier, &shift), c.status) << c.factor;
    EXPECT_EQ(multiplier, c.multiplier) << c.factor;
    EXPECT_EQ(shift, c.shift) << c.factor;
  }
}

TEST_F(ConstantRoutines, AddConstTruncatesEachBandsConstantIntoItsByteLane) {
  float c[] = {1.7f, -2.2f, 300.0f};
  ZelImage* four = image(5, 2, 4, ZEL_UINT8);
  // sl_rect_adds_32 holds its four table entries in r58..r61. A 3-band image's bands lie in
  // bytes 1..3 with the spare entry first; bands 0..2 of a 4-band image in bytes 0..2.
  const struct {
    ZelImage* image;
    int32_t entries[4];
  } cases[] = {{image(5, 2, 3, ZEL_UINT8), {0, 1, -2, 300}},
               {child(four, 0, 0, 5, 2, 0, 3), {1, -2, 300, 0}}};
  for (const auto& k : cases) {
    ASSERT_EQ(run(&KX::AddConst8, op1(k.image, k.image, c)), 0);
    for (unsigned r = 0; r < 4; ++r) EXPECT_EQ(int32_t(kxm::reg(58 + r)), k.entries[r]) << r;
  }
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
  // Infinity as a divisor is a factor of 0, which the kernel holds.
  float inf = std::numeric_limits<float>::infinity();
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
  EXPECT_EQ(run(&KX::Not8, op1(three, four, nullptr)), 2) << "band counts differ";
  EXPECT_EQ(run(&KX::Not8, op1(filled(6, 3, 4, ZEL_UINT8, ramp), four, nullptr)), 0);
}

TEST_F(ConstantRoutines, AndKeepsTheSpareByteOfEvery3BandImageWhileOrWritesIt) {
  const auto make = [&](int spare) {
    ZelImage* i = filled(3, 2, 3, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0xF0; });
    for (unsigned p = 0; p < 6; ++p) record(i)->host_address[4 * p] = uint8_t(spare);
    return i;
  };
  ZelImage* a = make(0x0F);
  ZelImage* b = make(0xF1);
  ZelImage* dst = make(0xAB);
  ASSERT_EQ(run(&KX::And8, op("and8", a, b, dst)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  EXPECT_EQ(kxm::raster_op(), 0x88u);
  for (unsigned p = 0; p < 6; ++p) EXPECT_EQ(record(dst)->host_address[4 * p], 0xAB);
  EXPECT_EQ(dst->getPixel(2, 1, 2), 0xF0);

  ASSERT_EQ(run(&KX::Or8, op("or8", a, b, dst)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFFFFu);
  EXPECT_EQ(kxm::raster_op(), 0xEEu);
  EXPECT_EQ(record(dst)->host_address[0], 0xFF);

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
  const auto value = [](unsigned x, unsigned, unsigned b) { return int(x * 3 + b) - 5; };
  ZelImage* src = filled(9, 2, 3, ZEL_INT16, value);
  ZelImage* dst = image(9, 2, 3, ZEL_INT16);
  sl_ctx_planemask_set(0x00FFFFFF);
  ASSERT_EQ(run(&KX::Not16, op1(src, dst, nullptr)), 0);
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  for (unsigned x = 0; x < 9; ++x) {
    for (unsigned b = 0; b < 3; ++b) EXPECT_EQ(dst->getPixel(x, 1, b), ~value(x, 1, b));
  }
  sl_ctx_planemask_set(0x00FFFFFF);
  ASSERT_EQ(run(&KX::Add16, op("add16", src, src, dst)), 0);
  EXPECT_EQ(dst->getPixel(8, 1, 2), 2 * value(8, 1, 2));
}

TEST_F(ConstantRoutines, SixteenBitConstantRoutinesTakeOneBandCountedOnTheirImage) {
  float c[] = {1.0f, 1.0f};
  uint32_t bits[] = {1, 1};
  ZelImage* two = image(4, 2, 2, ZEL_INT16);
  for (const auto& [routine, params] : {std::pair<Routine, void*>{&KX::AddConst16, c},
                                        {&KX::MultiplyConst16, c},
                                        {&KX::OrConst16, bits},
                                        {&KX::XorConst16, bits}}) {
    EXPECT_EQ(run(routine, op1(two, two, params)), 2);
  }
  EXPECT_TRUE(zel_error_log().empty());
}

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

}  // namespace
