// add8: dst = src1 + src2, saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Add8(ZelOp* op, int) {
  static const ZelKXDyadic8 routine{"Add8KX", 139,           {0, 0, 0},
                                    false,    sl_rect_add_8, sl_rect_add_32};
  return zelkx_dyadic8(op, routine);
}
