// addconst16: dst = src + c[0] (truncated toward zero), saturated to -32768..32767; 1 band.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::AddConst16(ZelOp* op, int) {
  static const ZelKXConstantRoutine routine{
      .frame = zelkx_constant_frame16("AddConst16KX", 104, ZelKXBandRule::one_on_src1),
      .constants = ZelKXConstants::truncated,
      .one_band = sl_rect_adds_16};
  return zelkx_constant(op, routine);
}
