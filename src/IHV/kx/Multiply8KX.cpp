// multiply8: dst = src1 * src2, saturated to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Multiply8(ZelOp* op, int) {
  // This routine sets the plane mask once the rectangle list exists.
  static const ZelKXDyadic8 routine{"Multiply8KX", 117,           {0, 0, 0},
                                    true,          sl_rect_mul_8, sl_rect_mul_32};
  return zelkx_dyadic8(op, routine);
}
