// xor16: dst = src1 XOR src2 on all 16 bits; rows of width x bands words.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_constant.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Xor16(ZelOp* op, int) {
  static const ZelKXDyadic16 routine{"Xor16KX",       119,      {0, 0, 0}, false,
                                     sl_rect_bool_16, kZelKXXor};
  return zelkx_dyadic16(op, routine);
}
