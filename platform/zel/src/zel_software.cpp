// The host's own implementations of its operations: the reference every device result is
// compared with. They are written from what each operation means, pixel by pixel, through
// getPixel and setPixel, so that they hold for every layout and every child.
#include <cstring>

#include "zel.h"
#include "zel_software_blend.h"
#include "zel_software_constant.h"
#include "zel_software_convolve.h"
#include "zel_software_copy.h"
#include "zel_software_geometry.h"
#include "zel_software_lookup.h"

using namespace zel_software;

namespace {

long long multiply(long long a, long long b) {
  return a * b;
}

// dst = combine(src1, src2), saturated, in every band of every pixel where the regions of
// the three images meet.
template <int Type, long long (*Combine)(long long, long long)>
int dyadic(ZelOp* op) {
  return pointwise<Type>(
      op, 2, [](long long a, long long b, unsigned) { return saturate(Type, Combine(a, b)); });
}

}  // namespace

const std::vector<ZelOperationInfo>& zel_operations() {
  // One row per operation.
  static const std::vector<ZelOperationInfo> operations = {
      {"add8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, add>},
      {"add16", 2, ZEL_INT16, dyadic<ZEL_INT16, add>},
      {"subtract8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, subtract>},
      {"subtract16", 2, ZEL_INT16, dyadic<ZEL_INT16, subtract>},
      {"multiply8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, multiply>},
      {"multiply16", 2, ZEL_INT16, dyadic<ZEL_INT16, multiply>},
      {"addconst8", 1, ZEL_UINT8, whole_constant<ZEL_UINT8, add>, ZelParams::constants},
      {"addconst16", 1, ZEL_INT16, whole_constant<ZEL_INT16, add>, ZelParams::constants},
      {"subtractconst8", 1, ZEL_UINT8, whole_constant<ZEL_UINT8, subtract>,
       ZelParams::constants},
      {"subtractconst16", 1, ZEL_INT16, whole_constant<ZEL_INT16, subtract>,
       ZelParams::constants},
      {"subtractfromconst8", 1, ZEL_UINT8, whole_constant<ZEL_UINT8, subtract_from>,
       ZelParams::constants},
      {"subtractfromconst16", 1, ZEL_INT16, whole_constant<ZEL_INT16, subtract_from>,
       ZelParams::constants},
      {"multiplyconst8", 1, ZEL_UINT8, multiply_constant<ZEL_UINT8>, ZelParams::constants},
      {"multiplyconst16", 1, ZEL_INT16, multiply_constant<ZEL_INT16>, ZelParams::constants},
      {"divideconst8", 1, ZEL_UINT8, divide_constant<ZEL_UINT8>, ZelParams::constants},
      {"divideconst16", 1, ZEL_INT16, divide_constant<ZEL_INT16>, ZelParams::constants},
      {"and8", 2, ZEL_UINT8, bitwise_images<ZEL_UINT8, bit_and>},
      {"and16", 2, ZEL_INT16, bitwise_images<ZEL_INT16, bit_and>},
      {"andconst8", 1, ZEL_UINT8, bitwise_constant<ZEL_UINT8, bit_and>,
       ZelParams::bit_constants},
      {"andconst16", 1, ZEL_INT16, bitwise_constant<ZEL_INT16, bit_and>,
       ZelParams::bit_constants},
      {"or8", 2, ZEL_UINT8, bitwise_images<ZEL_UINT8, bit_or>},
      {"or16", 2, ZEL_INT16, bitwise_images<ZEL_INT16, bit_or>},
      {"orconst8", 1, ZEL_UINT8, bitwise_constant<ZEL_UINT8, bit_or>, ZelParams::bit_constants},
      {"orconst16", 1, ZEL_INT16, bitwise_constant<ZEL_INT16, bit_or>,
       ZelParams::bit_constants},
      {"xor8", 2, ZEL_UINT8, bitwise_images<ZEL_UINT8, bit_xor>},
      {"xor16", 2, ZEL_INT16, bitwise_images<ZEL_INT16, bit_xor>},
      {"xorconst8", 1, ZEL_UINT8, bitwise_constant<ZEL_UINT8, bit_xor>,
       ZelParams::bit_constants},
      {"xorconst16", 1, ZEL_INT16, bitwise_constant<ZEL_INT16, bit_xor>,
       ZelParams::bit_constants},
      {"not8", 1, ZEL_UINT8, bitwise_not<ZEL_UINT8>},
      {"not16", 1, ZEL_INT16, bitwise_not<ZEL_INT16>},
      {"copy8", 1, ZEL_UINT8, copy<ZEL_UINT8>},
      {"copy16", 1, ZEL_INT16, copy<ZEL_INT16>},
      {"setvalue8", 0, ZEL_UINT8, setvalue8, ZelParams::fill},
      {"convert8to16", 1, ZEL_UINT8, convert8to16, ZelParams::none, ZEL_INT16, 3},
      {"rescale8", 1, ZEL_UINT8, rescale<ZEL_UINT8>, ZelParams::rescale},
      {"rescale16", 1, ZEL_INT16, rescale<ZEL_INT16>, ZelParams::rescale},
      {"bandCombine16", 1, ZEL_INT16, band_combine16, ZelParams::matrix, 0, 3},
      {"threshold8", 1, ZEL_UINT8, threshold<ZEL_UINT8>, ZelParams::threshold},
      {"threshold16", 1, ZEL_INT16, threshold<ZEL_INT16>, ZelParams::threshold},
      {"extrema8", 1, ZEL_UINT8, extrema<ZEL_UINT8>, ZelParams::extrema},
      {"extrema16", 1, ZEL_INT16, extrema<ZEL_INT16>, ZelParams::extrema},
      {"lookup8_8", 1, ZEL_UINT8, lookup<ZEL_UINT8, ZEL_UINT8>, ZelParams::lookup, 0, 1},
      {"lookup8_16", 1, ZEL_UINT8, lookup<ZEL_UINT8, ZEL_INT16>, ZelParams::lookup, ZEL_INT16,
       1},
      {"lookup16_8", 1, ZEL_INT16, lookup<ZEL_INT16, ZEL_UINT8>, ZelParams::lookup, ZEL_UINT8,
       1},
      {"lookup16_16", 1, ZEL_INT16, lookup<ZEL_INT16, ZEL_INT16>, ZelParams::lookup, 0, 1},
      {"colorconvert", 1, ZEL_UINT8, colorconvert, ZelParams::colorspaces},
      {"blend16a8", 3, ZEL_INT16, blend<ZEL_INT16, ZEL_UINT8>, ZelParams::none, 0, 0,
       ZEL_UINT8},
      {"blend16a16", 3, ZEL_INT16, blend<ZEL_INT16, ZEL_INT16>, ZelParams::none, 0, 0,
       ZEL_INT16},
      {"blend8a8", 3, ZEL_UINT8, blend<ZEL_UINT8, ZEL_UINT8>, ZelParams::none, 0, 0, ZEL_UINT8},
      {"blend8a16", 3, ZEL_UINT8, blend<ZEL_UINT8, ZEL_INT16>, ZelParams::none, 0, 0,
       ZEL_INT16},
      {"paint8", 1, ZEL_UINT8, paint8, ZelParams::paint},
      {"rotate8nearest", 1, ZEL_UINT8, rotate_nearest<ZEL_UINT8>, ZelParams::rotate, 0, 0, 0,
       true},
      {"rotate16nearest", 1, ZEL_INT16, rotate_nearest<ZEL_INT16>, ZelParams::rotate, 0, 0, 0,
       true},
      {"scale8nearest", 1, ZEL_UINT8, scale<ZEL_UINT8, Sampling::nearest>, ZelParams::scale},
      {"scale16nearest", 1, ZEL_INT16, scale<ZEL_INT16, Sampling::nearest>, ZelParams::scale},
      {"scale8bilinear", 1, ZEL_UINT8, scale<ZEL_UINT8, Sampling::bilinear>, ZelParams::scale},
      {"scale16bilinear", 1, ZEL_INT16, scale<ZEL_INT16, Sampling::bilinear>, ZelParams::scale},
      {"scale8bicubic", 1, ZEL_UINT8, scale<ZEL_UINT8, Sampling::bicubic>, ZelParams::scale},
      {"scale16bicubic", 1, ZEL_INT16, scale<ZEL_INT16, Sampling::bicubic>, ZelParams::scale},
      {"translate8nearest", 1, ZEL_UINT8, translate_nearest<ZEL_UINT8>, ZelParams::translate},
      {"translate16nearest", 1, ZEL_INT16, translate_nearest<ZEL_INT16>, ZelParams::translate},
      {"translate8bilinear", 1, ZEL_UINT8,
       translate_interpolated<ZEL_UINT8, Interpolation::bilinear>, ZelParams::translate},
      {"translate16bilinear", 1, ZEL_INT16,
       translate_interpolated<ZEL_INT16, Interpolation::bilinear>, ZelParams::translate},
      {"translate8bicubic", 1, ZEL_UINT8,
       translate_interpolated<ZEL_UINT8, Interpolation::bicubic>, ZelParams::translate},
      {"translate16bicubic", 1, ZEL_INT16,
       translate_interpolated<ZEL_INT16, Interpolation::bicubic>, ZelParams::translate},
      {"transpose8", 1, ZEL_UINT8, transpose<ZEL_UINT8>, ZelParams::transpose},
      {"transpose16", 1, ZEL_INT16, transpose<ZEL_INT16>, ZelParams::transpose},
      {"convolve8", 1, ZEL_UINT8, convolve<ZEL_UINT8>, ZelParams::kernel},
      {"convolve16", 1, ZEL_INT16, convolve<ZEL_INT16>, ZelParams::kernel_pointer},
      // A two-level path: the inner operation, then the outer one.
      {"convolve8/convolve8", 1, ZEL_UINT8, convolve_pair8, ZelParams::kernel_pair},
  };
  return operations;
}

const ZelOperationInfo* zel_operation_info(const char* name) {
  if (!name) return nullptr;
  for (const ZelOperationInfo& info : zel_operations()) {
    if (std::strcmp(info.name, name) == 0) return &info;
  }
  return nullptr;
}
