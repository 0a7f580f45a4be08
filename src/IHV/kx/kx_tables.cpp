// The fill colour and the fixed-point tables of the rescale and band-combine routines.
#include "kx_tables.h"

#include <cmath>
#include <cstdlib>

#include "sl_saturate.h"

namespace {

constexpr double kLargest = 2147483647.0, kSmallest = -2147483648.0;

// *out = v truncated toward zero, saturated to 32 bits, NaN giving 0 (a plain conversion of
// an out-of-range value would be undefined); false when that changed more than the fraction
// or, with `whole`, anything at all.
bool truncate32(double v, bool whole, int32_t* out) {
  const bool fits = v >= kSmallest && v <= kLargest;  // false for NaN
  *out = sl::truncate_saturate(v);
  return fits && (!whole || std::trunc(v) == v);
}

uint32_t band_value(float value) {
  const double v = double(value) + 0.5;
  if (!(v > 0.0)) return 0;  // also NaN
  return v >= 255.0 ? 255u : uint32_t(v);
}

}  // namespace

uint32_t zelkx_fill_colour(const float* values, unsigned bands, unsigned lane) {
  if (bands == 1) return band_value(values[0]) * 0x01010101u;
  uint32_t colour = 0;
  for (unsigned b = 0; b < bands; ++b) colour = colour << 8 | band_value(values[b]);
  return bands == 3 ? colour << (8 * (1 - lane)) : colour;
}

bool zelkx_fixed8(float value, bool whole, int32_t* out) {
  return truncate32(double(value) * 256.0, whole, out);
}

int zelkx_rescale_table(const int32_t* scales, const int32_t* offsets, unsigned bands,
                        unsigned lane, int32_t table[20]) {
  const bool bytes_1_to_3 = bands == 3 && lane == 1;
  const unsigned columns = bytes_1_to_3 ? 3 : 4;
  const unsigned first = bytes_1_to_3 ? 0 : lane;  // column of band 0
  for (unsigned i = 0; i < columns * (columns + 1); ++i) table[i] = 0;
  for (unsigned c = 0; c < columns; ++c)
    table[c * columns + c] = 256;  // a spare byte keeps its value
  for (unsigned b = 0; b < bands; ++b) {
    const unsigned c = first + b;
    table[c * columns + c] = scales[b];
    table[columns * columns + c] = offsets[b];
  }
  return int(columns * (columns + 1));
}

bool zelkx_band_combine_table(const float values[12], int32_t table[12]) {
  bool exact = true;
  for (int j = 0; j < 3; ++j) {
    // The kernel adds the terms one by one to offset x 256, saturating each partial sum:
    // with |pixel| <= 32768 none saturates while this bound holds.
    int64_t largest = 0;
    for (int k = 0; k < 3; ++k) {
      exact = zelkx_fixed8(values[4 * j + k], true, &table[3 * j + k]) && exact;
      largest += std::llabs(table[3 * j + k]) * 32768;
    }
    exact = truncate32(double(values[4 * j + 3]), true, &table[9 + j]) && exact;
    largest += std::llabs(table[9 + j]) * 256;
    exact = exact && largest <= INT32_MAX;
  }
  return exact;
}
