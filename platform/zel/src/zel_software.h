// Pieces shared by the host's software operations. The operations themselves are templates
// in zel_software_constant.h and zel_software_copy.h, instantiated by the one operation table
// in zel_software.cpp.
#ifndef ZEL_SOFTWARE_H
#define ZEL_SOFTWARE_H

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "zel.h"

namespace zel_software {

inline long long lowest(int data_type) {
  return data_type == ZEL_UINT8 ? 0 : -32768;
}
inline long long highest(int data_type) {
  return data_type == ZEL_UINT8 ? 255 : 32767;
}
inline long long saturate(int data_type, long long value) {
  return std::clamp(value, lowest(data_type), highest(data_type));
}
// The same on an int, wide enough for every sum of two pixels: loops over pixels that stay
// in int vectorise, where 64-bit comparisons do not.
inline int saturate(int data_type, int value) {
  return std::clamp(value, int(lowest(data_type)), int(highest(data_type)));
}

// Truncation toward zero, limited to the int range (NaN gives 0): a plain conversion of an
// out-of-range value would be undefined.
inline long long truncate_to_int(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<long long>(std::clamp(value, double(INT_MIN), double(INT_MAX)));
}

// The element type of a pixel type: bytes, or signed 16-bit numbers in the host's order.
template <int DataType>
using Element = std::conditional_t<DataType == ZEL_UINT8, uint8_t, int16_t>;

// One band of an image as rows of elements in host memory.
template <typename T>
struct Band {
  T* first = nullptr;  // band of pixel (0, 0)
  ptrdiff_t step = 0;  // elements from a pixel to the next
  ptrdiff_t line = 0;  // elements from a row to the next
  T* at(int x, int y) const { return first + x * step + y * line; }
};

template <typename T>
Band<T> band_of(const ZelImage* image, unsigned band) {
  const ZelImage::BandLayout layout = image->bandLayout(band);
  return {reinterpret_cast<T*>(layout.first), ptrdiff_t(layout.pixel_stride),
          ptrdiff_t(layout.line_stride)};
}

}  // namespace zel_software

#endif
