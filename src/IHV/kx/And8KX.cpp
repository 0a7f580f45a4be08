// and8: dst = src1 AND src2. Every 3-band image keeps its spare byte.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::And8(ZelOp* op, int) {
  static const ZelKXDyadic8 routine{
      "And8KX", 123, {0, 0, 0}, false, sl_rect_bool_8, sl_rect_bool_32, kZelKXAnd, true};
  return zelkx_dyadic8(op, routine);
}
