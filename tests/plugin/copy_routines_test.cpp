// The copy, fill, rescale, band-combine and extrema routines: where they put their addresses,
// what they make of their parameters and what they refuse.
#include <string>

#include "kx_tables.h"
#include "kx_test_support.h"
#include "plugin_test.h"

namespace {

using CopyRoutines = PluginTest;

// Full byte address of the n-th memory word (its issue address holds A & ~7, its low bits
// A & 7), and whether that word moves byte channels of 4-byte pixels.
uint32_t address(const kxtest::TraceCapture& trace, size_t n) {
  const auto word = trace.memory().at(n);
  return word.first + (word.second & 7);
}
bool channel_word(const kxtest::TraceCapture& trace, size_t n) {
  return kxm::disassemble_memory(trace.memory().at(n).second).find("t32c") != std::string::npos;
}
const auto ramp = [](unsigned x, unsigned y, unsigned b) { return int(40 * b + 8 * y + x); };

TEST_F(CopyRoutines, Copy8MovesASingleBandsAddressToItsByteOfTheParentsPixel) {
  ZelImage* one = image(4, 2, 1, ZEL_UINT8);
  ZelImage* three = image(4, 2, 3, ZEL_UINT8);
  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  const struct {
    ZelImage *src, *dst;
    size_t word;  // 0 reads the source, 1 writes the destination
    uint32_t address;
    const char* why;
  } cases[] = {
      {child(three, 0, 0, 4, 2, 2, 1), one, 0, record(three)->kx_address + 3,
       "band 2 of a 3-band pixel is byte 3"},
      {one, child(four, 0, 0, 4, 2, 0, 1), 1, record(four)->kx_address,
       "band 0 of a 4-band pixel is byte 0"},
      {one, child(three, 0, 0, 4, 2, 0, 1), 1, record(three)->kx_address + 1,
       "band 0 of a 3-band pixel is byte 1"},
  };
  for (const auto& c : cases) {
    kxtest::TraceCapture trace;
    ASSERT_EQ(run(&KX::Copy8, op("copy8", c.src, nullptr, c.dst)), 0) << c.why;
    EXPECT_EQ(address(trace, c.word), c.address) << c.why;
    EXPECT_TRUE(channel_word(trace, c.word)) << c.why;
    EXPECT_FALSE(channel_word(trace, 1 - c.word)) << c.why;
  }
}

TEST_F(CopyRoutines, Copy8RefusesABandOfATwoBandImageAndBandsInDifferentBytes) {
  ZelImage* two = image(4, 2, 2, ZEL_UINT8);
  ZelImage* one = image(4, 2, 1, ZEL_UINT8);
  EXPECT_EQ(run(&KX::Copy8, op("copy8", child(two, 0, 0, 4, 2, 1, 1), nullptr, one)), 2);
  EXPECT_EQ(run(&KX::Copy8, op("copy8", one, nullptr, child(two, 0, 0, 4, 2, 0, 1))), 2);
  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  EXPECT_EQ(run(&KX::Copy8,
                op("copy8", child(four, 0, 0, 4, 2, 0, 3), nullptr, image(4, 2, 3, ZEL_UINT8))),
            2);
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(CopyRoutines, Copy16ExtractsOneBandAndRefusesChannelToChannelAndMultiBandCopies) {
  ZelImage* three = image(4, 2, 3, ZEL_INT16);
  ZelImage* target = image(4, 2, 3, ZEL_INT16);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&KX::Copy16, op("copy16", child(three, 0, 0, 4, 2, 1, 1), nullptr,
                                image(4, 2, 1, ZEL_INT16))),
            0);
  EXPECT_EQ(address(trace, 0), record(three)->kx_address + 2)
      << "band 1 is the second 16-bit element";
  // No kernel moves one channel into another; multi-band destinations are the host's.
  EXPECT_EQ(run(&KX::Copy16, op("copy16", child(three, 0, 0, 4, 2, 0, 1), nullptr,
                                child(target, 0, 0, 4, 2, 1, 1))),
            2);
  EXPECT_EQ(run(&KX::Copy16, op("copy16", three, nullptr, target)), 2);
}

TEST_F(CopyRoutines, SetValue8RoundsAndLimitsEachBandIntoItsByteOfThePixelWord) {
  float values[4] = {-3.0f, 127.4f, 300.0f, 0.0f};
  const auto fill = [&](ZelImage* dst) {
    ZelOp* o = op("setvalue8", nullptr, nullptr, dst);
    o->setPtrParam(1, values);
    EXPECT_EQ(run(&KX::SetValue8, o), 0);
    return kxm::reg(9);
  };
  EXPECT_EQ(fill(image(6, 3, 3, ZEL_UINT8)), 0x00007FFFu);
  values[0] = 7.5f;
  EXPECT_EQ(fill(image(5, 2, 1, ZEL_UINT8)), 0x08080808u);
  // Bands 0..2 of a 4-band image lie in bytes 0..2.
  EXPECT_EQ(fill(child(image(4, 2, 4, ZEL_UINT8), 0, 0, 4, 2, 0, 3)), 0x087FFF00u);
}

TEST_F(CopyRoutines, RescaleTablesHoldTheScalesOnTheDiagonalAndTheOffsetsLast) {
  const float scales[4] = {1.0f, 2.0f, 0.5f, 3.0f}, offsets[4] = {0.0f, 10.0f, -1.0f, 0.5f};
  int32_t s[4], o[4];
  for (int b = 0; b < 4; ++b) {
    ASSERT_TRUE(zelkx_fixed8(scales[b], false, &s[b]));
    ASSERT_TRUE(zelkx_fixed8(offsets[b], false, &o[b]));
  }
  int32_t table[20];
  ASSERT_EQ(zelkx_rescale_table(s, o, 3, 1, table), 12);
  EXPECT_EQ(std::vector<int32_t>(table, table + 12),
            (std::vector<int32_t>{256, 0, 0, 0, 512, 0, 0, 0, 128, 0, 2560, -256}));
  // Bands in bytes 0..2: the 4 x 4 form, byte 3 kept as it is.
  ASSERT_EQ(zelkx_rescale_table(s, o, 3, 0, table), 20);
  EXPECT_EQ(
      std::vector<int32_t>(table, table + 20),
      (std::vector<int32_t>{256, 0,    0,    0, 0, 512, 0, 0, 0, 0, 128, 0, 0, 0, 0, 256,  //
                            0,   2560, -256, 0}));
  ASSERT_EQ(zelkx_rescale_table(s, o, 4, 0, table), 20);
  EXPECT_EQ(table[15], 768);
  EXPECT_EQ(table[19], 128);

  int32_t value = 0;
  EXPECT_TRUE(zelkx_fixed8(0.3f, false, &value));
  EXPECT_EQ(value, 76) << "truncated toward zero";
  EXPECT_FALSE(zelkx_fixed8(0.3f, true, &value)) << "not a whole number of 1/256";
  EXPECT_FALSE(zelkx_fixed8(1e8f, false, &value)) << "beyond 32 bits";
  EXPECT_EQ(value, INT32_MAX);
}

TEST_F(CopyRoutines, SixteenBitTransformsTakeOnlyFactorsTheKernelHoldsExactly) {
  ZelImage* src = filled(12, 2, 1, ZEL_INT16, ramp);
  ZelImage* dst = filled(12, 2, 1, ZEL_INT16, ramp);
  float scale = 0.3f, offset = 3.25f;
  ZelOp* rescale = op("rescale16", src, nullptr, dst);
  rescale->setPtrParam(1, &scale);
  rescale->setPtrParam(2, &offset);
  EXPECT_EQ(run(&KX::Rescale16, rescale), 2) << "0.3 is not a whole number of 1/256";
  scale = 1.0f;
  EXPECT_EQ(run(&KX::Rescale16, op("rescale16", child(src, 0, 0, 4, 2, 0, 1), nullptr, dst)),
            2);
  EXPECT_EQ(pixels(dst), pixels(src)) << "a refusal writes nothing";

  const float near_identity[12] = {1, 0, 0, 1.9f, 0, 1, 0, 0, 0, 0, 1, -1.9f};
  int32_t table[12];
  EXPECT_FALSE(zelkx_band_combine_table(near_identity, table));
  EXPECT_EQ(std::vector<int32_t>(table, table + 12),
            (std::vector<int32_t>{256, 0, 0, 0, 256, 0, 0, 0, 256, 1, 0, -1}));
  const float too_large[12] = {200, 100, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
  EXPECT_FALSE(zelkx_band_combine_table(too_large, table)) << "partial sums could saturate";

  ZelImage* mixed = image(5, 2, 3, ZEL_INT16);
  ZelKernel* kernel = state()->createKernel(4, 3, near_identity);
  ZelOp* combine = op("bandCombine16", filled(5, 2, 3, ZEL_INT16, ramp), nullptr, mixed);
  combine->setObjParam(1, kernel);
  EXPECT_EQ(run(&KX::BandCombine16, combine), 2);
  EXPECT_EQ(pixels(mixed), std::vector<int>(30, 0));
  kernel->destroy();
}

TEST_F(CopyRoutines, ExtremaOfAnEmptyRegionAreTheStartingValuesAndEitherArrayMayBeMissing) {
  ZelImage* low = child(image(6, 3, 4, ZEL_UINT8), 0, 0, 6, 3, 0, 3);  // bands in bytes 0..2
  region(low, 50, 50, 2, 2);
  float most[4] = {7, 7, 7, 7}, least[4] = {7, 7, 7, 7};
  ZelOp* extrema = op("extrema8", low, nullptr, nullptr);
  extrema->setPtrParam(1, most);
  extrema->setPtrParam(2, least);
  ASSERT_EQ(run(&KX::Extrema8, extrema), 0);
  EXPECT_EQ(std::vector<float>(most, most + 3), std::vector<float>(3, 0.0f));
  EXPECT_EQ(std::vector<float>(least, least + 3), std::vector<float>(3, 255.0f));

  ZelImage* wide = image(3, 1, 1, ZEL_INT16);
  wide->setPixel(0, 0, 0, -2);
  wide->setPixel(1, 0, 0, 32767);
  wide->setPixel(2, 0, 0, -32768);
  extrema = op("extrema16", wide, nullptr, nullptr);
  extrema->setPtrParam(2, least);  // no maxima wanted
  ASSERT_EQ(run(&KX::Extrema16, extrema), 0);
  EXPECT_EQ(least[0], -32768.0f);
  region(wide, 9, 9, 1, 1);
  extrema->setPtrParam(1, most);
  ASSERT_EQ(run(&KX::Extrema16, extrema), 0);
  EXPECT_EQ(most[0], -32768.0f);
  EXPECT_EQ(least[0], 32767.0f);
}

}  // namespace
