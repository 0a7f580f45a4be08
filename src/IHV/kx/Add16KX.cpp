// add16: dst = src1 + src2, saturated to -32768..32767.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Add16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"Add16KX", 113, {0, 0, 0}, false, sl_rect_add_16};
  return zelkx_dyadic16(op, routine);
}
