// or16: dst = src1 OR src2 on all 16 bits; rows of width x bands words.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Or16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"Or16KX",        115,     {0, 0, 0}, false,
                                     sl_rect_bool_16, kZelKXOr};
  return zelkx_dyadic16(op, routine);
}
