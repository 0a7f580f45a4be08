// Conversions of caller-supplied floating-point parameters to register values.
#ifndef KXLIB_SL_SATURATE_H
#define KXLIB_SL_SATURATE_H

#include <cstdint>

namespace sl {

// Truncation toward zero, saturated to the 32-bit range; NaN gives 0. A plain cast would be
// undefined for values outside the range.
constexpr int32_t truncate_saturate(double v) {
  if (v != v) return 0;
  if (v >= 2147483647.0) return INT32_MAX;
  if (v <= -2147483648.0) return INT32_MIN;
  return int32_t(v);
}

// A coefficient in fixed point: value x scale (a power of two, so the product is exact),
// truncated toward zero and saturated.
constexpr int32_t to_fixed(float value, double scale) {
  return truncate_saturate(double(value) * scale);
}

constexpr int32_t saturate32(int64_t v) {
  return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : int32_t(v);
}

static_assert(truncate_saturate(3.7) == 3);
static_assert(truncate_saturate(-3.7) == -3);
static_assert(truncate_saturate(1e30) == INT32_MAX);
static_assert(truncate_saturate(-1e30) == INT32_MIN);
static_assert(to_fixed(0.999f, 256.0) == 255 && to_fixed(0.999f, 65536.0) == 65470);
static_assert(to_fixed(-0.5f, 256.0) == -128 && to_fixed(-0.5f, 65536.0) == -32768);
static_assert(to_fixed(1e10f, 256.0) == INT32_MAX);

}  // namespace sl

#endif
