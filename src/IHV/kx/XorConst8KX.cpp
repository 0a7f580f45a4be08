// xorconst8: dst = src XOR c[band] (c above 255 taken as 255, in the parameter array too).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::XorConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{.frame = zelkx_constant_frame8("XorConst8KX", 133),
                                            .constants = ZelKXConstants::bits,
                                            .raster_op = kZelKXXor,
                                            .one_band = sl_rect_bools_8,
                                            .four_bytes = sl_rect_bools_32};
  return zelkx_constant(op, routine);
}
