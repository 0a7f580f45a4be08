// or8: dst = src1 OR src2.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Or8(ZelOp* op, int) {
  static const ZelKXDyadic8 routine{"Or8KX",         124,      {0, 0, 0}, false, sl_rect_bool_8,
                                    sl_rect_bool_32, kZelKXOr, false};
  return zelkx_dyadic8(op, routine);
}
