// orconst16: dst = src OR c[0] (above 32767 taken as 32767, in the array too); 1 band.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::OrConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("OrConst16KX", 104, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::bits,
      .raster_op = kZelKXOr,
      .one_band = sl_rect_bools_16};
  return zelkx_constant(op, routine);
}
