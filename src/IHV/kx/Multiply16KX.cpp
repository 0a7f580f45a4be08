// multiply16: dst = src1 * src2, saturated to -32768..32767.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Multiply16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"Multiply16KX", 115, {0, 0, 0}, true, sl_rect_mul_16};
  return zelkx_dyadic16(op, routine);
}
