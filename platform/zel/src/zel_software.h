// Pieces shared by the host's software operations. The operations themselves are templates
// in zel_software_constant.h and zel_software_copy.h, instantiated by the one operation table
// in zel_software.cpp.
#ifndef ZEL_SOFTWARE_H
#define ZEL_SOFTWARE_H

#include <algorithm>
#include <climits>
#include <cmath>

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

// Truncation toward zero, limited to the int range (NaN gives 0): a plain conversion of an
// out-of-range value would be undefined.
inline long long truncate_to_int(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<long long>(std::clamp(value, double(INT_MIN), double(INT_MAX)));
}

}  // namespace zel_software

#endif
