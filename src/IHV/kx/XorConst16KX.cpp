// xorconst16: dst = src XOR c[0] (above 32767 taken as 32767, in the array too); 1 band,
// counted on the destination.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::XorConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("XorConst16KX", 115, ZelKXBandRule::one_on_dst),
      .constants = ZelKXConstants::bits,
      .raster_op = kZelKXXor,
      .one_band = sl_rect_bools_16};
  return zelkx_constant(op, routine);
}
