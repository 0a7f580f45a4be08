// multiplyconst8: dst = src x c[band], as (src x m >> 8) >> s (zelspm_muls_setup); at most 1
// below the rounded product.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::MultiplyConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame8("MultiplyConst8KX", 132),
      .constants = ZelKXConstants::factors,
      .scaled_one_band = sl_rect_muls_8,
      .scaled_four_bytes = sl_rect_muls_32};
  return zelkx_constant(op, routine);
}
