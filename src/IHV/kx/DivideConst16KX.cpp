// divideconst16: dst = src / c[0], as (src x (65536 / c truncated) >> 8) >> 8; 1 band; at most
// 1 from the rounded quotient; c = 0 and quotients beyond int32 are refused.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::DivideConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("DivideConst16KX", 114, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::quotients,
      .scaled_one_band = sl_rect_muls_16};
  return zelkx_constant(op, routine);
}
