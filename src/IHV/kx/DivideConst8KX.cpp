// divideconst8: dst = src / c[band], a scaled multiply by 1 / c; at most 1 below the rounded
// quotient; c = 0 is refused.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::DivideConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame8("DivideConst8KX", 120),
      .constants = ZelKXConstants::reciprocals,
      .scaled_one_band = sl_rect_muls_8,
      .scaled_four_bytes = sl_rect_muls_32};
  return zelkx_constant(op, routine);
}
