// orconst8: dst = src OR c[band] (c above 255 taken as 255, in the parameter array too).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::OrConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{.frame = zelkx_constant_frame8("OrConst8KX", 137),
                                            .constants = ZelKXConstants::bits,
                                            .raster_op = kZelKXOr,
                                            .one_band = sl_rect_bools_8,
                                            .four_bytes = sl_rect_bools_32};
  return zelkx_constant(op, routine);
}
