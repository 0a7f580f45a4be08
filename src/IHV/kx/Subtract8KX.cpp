// subtract8: dst = src1 - src2, saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Subtract8(ZelOp* op, int) {
  static const ZelKXDyadic8 routine{"Subtract8KX", 127,           {86, 98, 110},
                                    false,         sl_rect_sub_8, sl_rect_sub_32};
  return zelkx_dyadic8(op, routine);
}
