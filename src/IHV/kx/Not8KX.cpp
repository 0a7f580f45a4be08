// not8: dst = NOT src, raster op 0x11 against a constant 0.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Not8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{.frame = zelkx_constant_frame8("Not8KX", 121),
                                            .constants = ZelKXConstants::none,
                                            .raster_op = kZelKXNot,
                                            .one_band = sl_rect_bools_8,
                                            .four_bytes = sl_rect_bools_32};
  return zelkx_constant(op, routine);
}
