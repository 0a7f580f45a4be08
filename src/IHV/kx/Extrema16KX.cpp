// extrema16: the largest and smallest pixel of each band of an 16-bit image of 1 band over its
// own region, into pointer parameters 1 and 2.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_extrema.h"

int ZelDeviceComputeTypeKX::Extrema16(ZelOp* op, int) {
  static const ZelKXExtrema routine{"Extrema16KX", 2, 129, 137};
  return zelkx_extrema(op, routine);
}
