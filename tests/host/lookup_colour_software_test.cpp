// The host's lookups and colour conversions: the meanings device results are compared with.
#include <numeric>

#include "host_test.h"
#include "zel_colour.h"

namespace {

class LookupSoftware : public HostTest {
 protected:
  int run(const char* name, ZelImage* src, ZelImage* dst, ZelLookup* table) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, src);
    op->setDst(dst);
    op->setPtrParam(1, table);
    return zel_run(op.get(), ZelPath::host_only).status;
  }
  Owned<ZelLookup> lookup(int entries, unsigned bands, int offset, int type,
                          const std::vector<int>& values) {
    return Owned<ZelLookup>(state->createLookup(entries, bands, offset, type, values.data()));
  }
};

TEST_F(LookupSoftware, SourceValuesBeforeAndAfterTheEntriesTakeTheFirstAndLast) {
  std::vector<int> values(256);
  std::iota(values.begin(), values.end(), 0);
  ZelImage* src = row(256, 1, ZEL_UINT8, values);
  ZelImage* dst = row(256, 1, ZEL_UINT8);
  const Owned<ZelLookup> ten =
      lookup(10, 1, 100, ZEL_UINT8, {5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
  ASSERT_EQ(run("lookup8_8", src, dst, ten.get()), 0);
  const std::vector<int> out = pixels(dst);
  for (int v = 0; v < 256; ++v) EXPECT_EQ(out[size_t(v)], 5 + std::clamp(v - 100, 0, 9)) << v;

  // 16-bit sources are signed: offset -5 maps -32768..-5 to entry 0, 5..32767 to entry 9.
  ZelImage* wide = row(6, 1, ZEL_INT16, {-32768, -6, -5, 3, 5, 32767});
  ZelImage* wide_out = row(6, 1, ZEL_INT16);
  const Owned<ZelLookup> signed_entries =
      lookup(10, 1, -5, ZEL_INT16, {-30000, 1, 2, 3, 4, 5, 6, 7, 8, 0xfffe});
  ASSERT_EQ(run("lookup16_16", wide, wide_out, signed_entries.get()), 0);
  EXPECT_EQ(pixels(wide_out), (std::vector<int>{-30000, -30000, -30000, 8, -2, -2}));
}

TEST_F(LookupSoftware, EntriesOfSeveralBandsFillTheDestinationsBands) {
  ZelImage* src = row(2, 1, ZEL_UINT8, {0, 200});
  ZelImage* dst = row(2, 3, ZEL_UINT8);
  const Owned<ZelLookup> colours = lookup(2, 3, 0, ZEL_UINT8, {1, 2, 3, 4, 5, 6});
  ASSERT_EQ(run("lookup8_8", src, dst, colours.get()), 0);
  EXPECT_EQ(pixels(dst), (std::vector<int>{1, 2, 3, 4, 5, 6}));
  // Refused: other band counts, entries of another type, no entries.
  EXPECT_EQ(run("lookup8_8", src, row(2, 4, ZEL_UINT8), colours.get()), 2);
  EXPECT_EQ(run("lookup8_16", src, row(2, 3, ZEL_INT16), colours.get()), 2);
  EXPECT_EQ(run("lookup8_8", src, dst, lookup(0, 3, 0, ZEL_UINT8, {}).get()), 2);
  EXPECT_EQ(run("lookup8_8", src, dst, nullptr), 2);
  const int one = 1;
  EXPECT_EQ(state->createLookup(1, 1, 40000, ZEL_UINT8, &one), nullptr);
}

// A pixel through the host's conversion, in band order.
std::vector<int> convert(int from, int to, std::vector<int> in) {
  std::vector<int> out(4, -1);
  in.resize(4);
  EXPECT_TRUE(zel_convert_colour(from, to, in.data(), out.data()));
  out.resize(zel_colorspace_info(to)->bands);
  return out;
}

TEST(ColourSoftware, ConversionsMeanTheirFormulasOnBlueGreenRedBands) {
  // Red 200, green 100, blue 50: Y 122.67, Cb 91.22, Cr 175.49, rounded half up.
  EXPECT_EQ(convert(ZEL_CS_RGB709, ZEL_CS_YCC601, {50, 100, 200}),
            (std::vector<int>{123, 91, 175}));
  EXPECT_EQ(convert(ZEL_CS_YCC601, ZEL_CS_RGB709, {235, 128, 128}),
            (std::vector<int>{255, 255, 255}));
  EXPECT_EQ(convert(ZEL_CS_RGB709, ZEL_CS_PHOTOYCC, {0, 0, 0}),
            (std::vector<int>{0, 156, 137}));
  // Luminance weights: pure red, green and blue.
  EXPECT_EQ(convert(ZEL_CS_RGBLINEAR, ZEL_CS_YLINEAR, {0, 0, 255}), (std::vector<int>{76}));
  EXPECT_EQ(convert(ZEL_CS_RGBLINEAR, ZEL_CS_YLINEAR, {0, 255, 0}), (std::vector<int>{150}));
  EXPECT_EQ(convert(ZEL_CS_RGBLINEAR, ZEL_CS_YLINEAR, {255, 0, 0}), (std::vector<int>{29}));
  // The transfer curve's straight part at 1 and 3 is an exact half, rounded up.
  EXPECT_EQ(convert(ZEL_CS_RGBLINEAR, ZEL_CS_RGB709, {1, 3, 255}),
            (std::vector<int>{5, 14, 255}));
  EXPECT_EQ(convert(ZEL_CS_RGB709, ZEL_CS_RGBLINEAR, {3, 7, 255}),
            (std::vector<int>{1, 2, 255}));
  // cmyk: complements, black taken from each and saturated at 0.
  EXPECT_EQ(convert(ZEL_CS_RGBLINEAR, ZEL_CS_CMYK, {10, 20, 30}),
            (std::vector<int>{225, 235, 245, 0}));
  EXPECT_EQ(convert(ZEL_CS_CMYK, ZEL_CS_RGBLINEAR, {200, 100, 10, 100}),
            (std::vector<int>{145, 55, 0}));
  // The inverses bring a mid-range colour back within a step.
  for (int from : {ZEL_CS_YCC601, ZEL_CS_PHOTOYCC}) {
    const std::vector<int> there = convert(ZEL_CS_RGB709, from, {60, 130, 190});
    const std::vector<int> back = convert(from, ZEL_CS_RGB709, there);
    for (int b = 0; b < 3; ++b)
      EXPECT_NEAR(back[size_t(b)], (std::vector{60, 130, 190})[size_t(b)], 1);
  }
}

TEST_F(LookupSoftware, ColourConversionRefusesPairsItHasNoMeaningForAndWrongBands) {
  EXPECT_FALSE(zel_converts_colour(ZEL_CS_YLINEAR, ZEL_CS_RGB709));
  EXPECT_FALSE(zel_converts_colour(ZEL_CS_RGB709, ZEL_CS_RGB709));
  const auto run = [&](int from, int to, ZelImage* src, ZelImage* dst) {
    Owned<ZelOp> op(state->createOp("colorconvert"));
    op->setSrc(1, src);
    op->setDst(dst);
    Owned<ZelColorspace> a(state->createColorspace(from)), b(state->createColorspace(to));
    op->setObjParam(1, a.get());
    op->setObjParam(2, b.get());
    return zel_run(op.get(), ZelPath::host_only).status;
  };
  ZelImage* rgb = row(1, 3, ZEL_UINT8, {50, 100, 200});
  ZelImage* out = row(1, 3, ZEL_UINT8);
  EXPECT_EQ(run(ZEL_CS_RGB709, ZEL_CS_YCC601, rgb, out), 0);
  EXPECT_EQ(pixels(out), (std::vector<int>{123, 91, 175}));
  EXPECT_EQ(run(ZEL_CS_YLINEAR, ZEL_CS_RGB709, row(1, 1, ZEL_UINT8), out), 2);
  EXPECT_EQ(run(ZEL_CS_RGB709, ZEL_CS_CMYK, rgb, row(1, 4, ZEL_UINT8)), 2);
  EXPECT_EQ(run(ZEL_CS_RGBLINEAR, ZEL_CS_CMYK, rgb, out), 2);
  EXPECT_EQ(state->createColorspace(7), nullptr);
  EXPECT_EQ(zel_colorspace_named("cmyk")->bands, 4u);
}

}  // namespace
