// subtractconst8: dst = src - c[band] (c truncated toward zero), saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::SubtractConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame8("SubtractConst8KX", 126),
      .constants = ZelKXConstants::truncated,
      .one_band = sl_rect_subs_8,
      .four_bytes = sl_rect_subs_32};
  return zelkx_constant(op, routine);
}
