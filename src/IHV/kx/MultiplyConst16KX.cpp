// multiplyconst16: dst = src x c[0], as (src x m >> 8) >> s (zelspm_muls_setup); 1 band; at
// most 1 below the rounded product.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::MultiplyConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("MultiplyConst16KX", 110, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::factors,
      .scaled_one_band = sl_rect_muls_16};
  return zelkx_constant(op, routine);
}
