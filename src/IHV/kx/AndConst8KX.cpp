// andconst8: dst = src AND c[band] (c above 255 taken as 255, in the parameter array too).
// Every 3-band image keeps its spare byte.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::AndConst8(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame8("AndConst8KX", 136, ZelKXMaskRule::three_bands),
      .constants = ZelKXConstants::bits,
      .raster_op = kZelKXAnd,
      .one_band = sl_rect_bools_8,
      .four_bytes = sl_rect_bools_32};
  return zelkx_constant(op, routine);
}
