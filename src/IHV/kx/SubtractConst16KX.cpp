// subtractconst16: dst = src - c[0] (truncated toward zero), saturated; 1 band.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::SubtractConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("SubtractConst16KX", 107, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::truncated,
      .one_band = sl_rect_subs_16};
  return zelkx_constant(op, routine);
}
