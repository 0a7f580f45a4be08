// subtractfromconst8: dst = c[band] - src (c truncated toward zero), saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::SubtractFromConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame8("SubtractFromConst8KX", 123),
      .constants = ZelKXConstants::truncated,
      .one_band = sl_rect_subr_8,
      .four_bytes = sl_rect_subr_32};
  return zelkx_constant(op, routine);
}
