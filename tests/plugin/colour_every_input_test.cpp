// Every input through every colour conversion row on the processor, against the host's
// conversion: device minus host, band by band, lies within the row's declared bounds, and
// (over every input) reaches them, so that a bound too loose to mean anything shows up.
// Optimised native builds take all 2^24 inputs of a row; debug builds and builds run under
// an emulator (the big-endian target) every 61st.
#include <algorithm>

#include "kx_colour.h"
#include "plugin_test.h"
#include "zel_colour.h"

namespace {

struct Row {
  int from, to;
  int bounds[3][2];
};
void PrintTo(const Row& row, std::ostream* out) {
  *out << zel_colorspace_info(row.from)->name << " to " << zel_colorspace_info(row.to)->name;
}
const Row kRows[] = {
#define KX_COLOUR(from, to, lo0, hi0, lo1, hi1, lo2, hi2) \
  {kx_space::from, kx_space::to, {{lo0, hi0}, {lo1, hi1}, {lo2, hi2}}},
#include "kx_colour.def"
};

#if defined(NDEBUG) && !defined(KX_EMULATED)
constexpr uint32_t kStep = 1;
#else
constexpr uint32_t kStep = 61;
#endif
constexpr uint32_t kInputs = 1u << 24;

// Input i: bands 0, 1, 2 are its bytes from the lowest; a cmyk input adds black from them.
void input(uint32_t i, unsigned bands, int* out) {
  out[0] = int(i & 0xFF), out[1] = int(i >> 8 & 0xFF), out[2] = int(i >> 16);
  out[3] = (out[0] * 7 + out[1] * 3 + out[2]) & 0xFF;
  if (bands == 1) out[0] = int(i & 0xFF);
}

class EveryInput : public PluginTest, public testing::WithParamInterface<Row> {};

TEST_P(EveryInput, DeviceMinusHostStaysWithinTheRowsBounds) {
  const Row& row = GetParam();
  const unsigned in_bands = zel_colorspace_info(row.from)->bands;
  const unsigned out_bands = zel_colorspace_info(row.to)->bands;
  const uint32_t count = (kInputs + kStep - 1) / kStep;
  const unsigned width = 4096, height = (count + width - 1) / width;
  ZelImage* src = image(width, height, in_bands, ZEL_UINT8);
  ZelImage* dst = image(width, height, out_bands, ZEL_UINT8);
  // Pixels straight in the images' memory: 4-byte pixels, bands 0..2 in bytes 1..3 (cmyk in
  // bytes 0..3); the last row's tail repeats input 0.
  const auto byte_of = [](unsigned bands, unsigned b) { return bands == 3 ? b + 1 : b; };
  unsigned char* in = record(src)->host_address;
  const unsigned in_step = in_bands == 1 ? 1 : 4, out_step = out_bands == 1 ? 1 : 4;
  for (uint32_t k = 0; k < width * height; ++k) {
    int values[4];
    input(k < count ? k * kStep : 0, in_bands, values);
    for (unsigned b = 0; b < in_bands; ++b)
      in[k * in_step + byte_of(in_bands, b)] = uint8_t(values[b]);
  }
  ZelColorspace* from = state()->createColorspace(row.from);
  ZelColorspace* to = state()->createColorspace(row.to);
  ZelOp* o = op("colorconvert", src, nullptr, dst);
  o->setObjParam(1, from);
  o->setObjParam(2, to);
  ASSERT_EQ(run(&KX::ColorConvert, o), 0);
  from->destroy();
  to->destroy();

  int low[4] = {0, 0, 0, 0}, high[4] = {0, 0, 0, 0};
  const unsigned char* out = record(dst)->host_address;
  for (uint32_t k = 0; k < count; ++k) {
    int values[4], want[4];
    input(k * kStep, in_bands, values);
    zel_convert_colour(row.from, row.to, values, want);
    for (unsigned b = 0; b < out_bands; ++b) {
      const int difference = int(out[k * out_step + byte_of(out_bands, b)]) - want[b];
      low[b] = std::min(low[b], difference);
      high[b] = std::max(high[b], difference);
    }
  }
  for (unsigned b = 0; b < out_bands; ++b) {
    const int lo = row.bounds[std::min(b, 2u)][0], hi = row.bounds[std::min(b, 2u)][1];
    EXPECT_GE(low[b], lo) << "band " << b;
    EXPECT_LE(high[b], hi) << "band " << b;
    if (kStep == 1) {
      EXPECT_EQ(std::pair(low[b], high[b]), std::pair(lo, hi)) << "band " << b << " reaches";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, EveryInput, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<Row>& info) {
                           return std::string(zel_colorspace_info(info.param.from)->name) +
                                  "_to_" + zel_colorspace_info(info.param.to)->name;
                         });

}  // namespace
