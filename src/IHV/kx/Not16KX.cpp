// not16: dst = NOT src (all 16 bits), raster op 0x11 against 0; rows of width x bands words.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Not16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("Not16KX", 113, ZelKXBandRule::any),
      .constants = ZelKXConstants::none,
      .raster_op = kZelKXNot,
      .one_band = sl_rect_bools_16};
  return zelkx_constant(op, routine);
}
