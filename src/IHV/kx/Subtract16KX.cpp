// subtract16: dst = src1 - src2, saturated to -32768..32767.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Subtract16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"Subtract16KX", 114, {80, 92, 104}, true, sl_rect_sub_16};
  return zelkx_dyadic16(op, routine);
}
