// andconst16: dst = src AND c[0] (each c above 32767 taken as 32767, in the array too); more
// than one band is refused at the first rectangle.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::AndConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("AndConst16KX", 102, ZelKXBandRule::any),
      .constants = ZelKXConstants::bits,
      .raster_op = kZelKXAnd,
      .one_band = sl_rect_bools_16,
      .one_band_per_rect = true};
  return zelkx_constant(op, routine);
}
