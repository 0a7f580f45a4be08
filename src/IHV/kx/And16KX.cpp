// and16: dst = src1 AND src2 on all 16 bits; rows of width x bands words.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::And16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"And16KX",       116,      {0, 0, 0}, false,
                                     sl_rect_bool_16, kZelKXAnd};
  return zelkx_dyadic16(op, routine);
}
