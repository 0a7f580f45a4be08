// addconst8: dst = src + c[band] (c truncated toward zero), saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::AddConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{.frame = zelkx_constant_frame8("AddConst8KX", 114),
                                            .constants = ZelKXConstants::truncated,
                                            .one_band = sl_rect_adds_8,
                                            .four_bytes = sl_rect_adds_32};
  return zelkx_constant(op, routine);
}
