// The constant, bitwise and scaled-multiply routines.
#include "kx_constant.h"

#include <cfloat>
#include <cmath>

#include "sl_saturate.h"

namespace {

// One entry per byte of a 4-byte pixel (entry 0 alone for 1-band and 16-bit images).
struct Table {
  int32_t value[4] = {0, 0, 0, 0};  // constants; the multipliers of a scaled routine
  int32_t shift[4] = {0, 0, 0, 0};  // the shifts of a scaled routine
};

// Truncation toward zero, saturated to the int32 range; false for NaN.
bool truncated(float f, int32_t* out) {
  if (std::isnan(f)) return false;
  *out = sl::truncate_saturate(f);
  return true;
}

// One band's entry (and shift): 0, or 2 when the constant cannot be represented.
int convert(ZelKXConstants kind, void* params, unsigned band, uint32_t bit_limit,
            int32_t* value, int32_t* shift) {
  switch (kind) {
    case ZelKXConstants::truncated:
      return truncated(static_cast<const float*>(params)[band], value) ? 0 : 2;
    case ZelKXConstants::bits: {
      // The limit is written back: the host's array keeps the clamped value.
      uint32_t& bits = static_cast<uint32_t*>(params)[band];
      if (bits > bit_limit) bits = bit_limit;
      *value = int32_t(bits);
      return 0;
    }
    case ZelKXConstants::none:
      *value = 0;
      return 0;
    case ZelKXConstants::factors:
      return zelspm_muls_setup(&static_cast<const float*>(params)[band], value, shift);
    case ZelKXConstants::reciprocals: {
      const double q = 1.0 / double(static_cast<const float*>(params)[band]);
      if (!(std::fabs(q) <= FLT_MAX)) return 2;  // 0, NaN, or beyond any float
      const float factor = float(q);
      return zelspm_muls_setup(&factor, value, shift);
    }
    case ZelKXConstants::quotients: {
      const double q = 65536.0 / double(static_cast<const float*>(params)[band]);
      if (!(q > -2147483649.0 && q < 2147483648.0)) return 2;  // 0, NaN, beyond int32
      *value = int32_t(q);
      *shift = 8;
      return 0;
    }
  }
  return 2;
}

bool is_scaled(ZelKXConstants kind) {
  return kind == ZelKXConstants::factors || kind == ZelKXConstants::reciprocals ||
         kind == ZelKXConstants::quotients;
}

// Entry lane + b holds band b. The spare entry of a 3-band table meets the byte outside the
// image: 0 for arithmetic, factor 1 (32768, 7) for scaled routines, and for bitwise routines
// the whole pixel word the band constants make (spare byte 0), which the _32 bitwise kernel
// applies to every pixel.
int build(const ZelKXConstantRoutine& r, void* params, unsigned bands, unsigned lane,
          Table* t) {
  const bool sixteen = r.frame.dst_type == 2;
  const unsigned entries = sixteen ? 1 : bands;  // the 16-bit routines take the first
  const uint32_t bit_limit = sixteen ? 32767 : 255;
  for (unsigned b = 0; b < bands; ++b) {
    int32_t value = 0, shift = 0;
    if (convert(r.constants, params, b, bit_limit, &value, &shift) != 0) return 2;
    if (b < entries) {
      t->value[lane + b] = value;
      t->shift[lane + b] = shift;
    }
  }
  if (bands != 3 || sixteen) return 0;
  const unsigned spare = lane == 0 ? 3 : 0;
  if (is_scaled(r.constants)) {
    t->value[spare] = 32768;
    t->shift[spare] = 7;
  } else if (r.raster_op != 0) {
    uint32_t word = 0;
    for (unsigned b = 0; b < 3; ++b) word |= uint32_t(t->value[lane + b]) << (16 - 8 * b);
    t->value[spare] = int32_t(word << (8 - 8 * lane));
  }
  return 0;
}

// The _32 bitwise kernel combines each whole pixel with entry 0 read as a pixel word (lane
// k = bits 31-8k..24-8k): exact only when every byte holding a band meets its own constant.
bool whole_pixel_word_exact(const Table& t, unsigned bands, unsigned lane) {
  const uint32_t word = uint32_t(t.value[0]);
  for (unsigned k = lane; k < lane + bands; ++k) {
    if (int32_t((word >> (24 - 8 * k)) & 0xff) != t.value[k]) return false;
  }
  return true;
}

}  // namespace

int zelspm_muls_setup(const float* factor, int32_t* multiplier, int32_t* shift) {
  const double v = double(*factor) * 256.0;  // exact: a float times a power of two
  if (!(v >= -65536.0 && v <= 65536.0)) return 2;
  float scaled = float(v);
  int32_t s = 0;
  if (scaled >= 1.0f) {
    while (scaled < 32768.0f) {
      scaled *= 2.0f;
      ++s;
    }
    *multiplier = int32_t(scaled + 0.5f);
  } else {
    s = 15;
    *multiplier = int32_t(std::round(double(scaled) * 32768.0));
  }
  *shift = s;
  return 0;
}

int zelkx_constant(ZelOp* op, const ZelKXConstantRoutine& r) {
  ZelKXOneSourceFrame frame;
  if (frame.open(op, r.frame) != 0) return 2;
  void* params = op->getPtrParam(1);
  if (params == nullptr && r.constants != ZelKXConstants::none) return 2;
  const unsigned bands = frame.bands();
  Table table;
  if (build(r, params, bands, frame.lane(), &table) != 0) return 2;
  const bool four_bytes = r.frame.dst_type == 1 && bands > 1;
  if (four_bytes && r.raster_op != 0 && !whole_pixel_word_exact(table, bands, frame.lane())) {
    return 2;
  }
  if (r.raster_op != 0) frame.setRasterOp(r.raster_op);
  return frame.run([&](const ZelKXRect& q) {
    if (r.one_band_per_rect && bands != 1) return false;
    if (is_scaled(r.constants)) {
      const ZelKXScaledKernel kernel = four_bytes ? r.scaled_four_bytes : r.scaled_one_band;
      kernel(q.dst, q.dst_stride, q.width, q.height, q.src, q.src_stride, table.value,
             table.shift);
    } else {
      const ZelKXConstantKernel kernel = four_bytes ? r.four_bytes : r.one_band;
      kernel(q.dst, q.dst_stride, q.width, q.height, q.src, q.src_stride, table.value);
    }
    return true;
  });
}
