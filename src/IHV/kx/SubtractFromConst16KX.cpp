// subtractfromconst16: dst = c[0] - src (truncated toward zero), saturated; 1 band.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::SubtractFromConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("SubtractFromConst16KX", 110, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::truncated,
      .one_band = sl_rect_subr_16};
  return zelkx_constant(op, routine);
}
