// extrema8: the largest and smallest pixel of each band of an 8-bit image of 1, 3 or 4 bands
// over its own region, into pointer parameters 1 and 2.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_extrema.h"

int ZelDeviceComputeTypeKX::Extrema8(ZelOp* op, int) {
  static const ZelKXExtrema routine{"Extrema8KX", 1, 127, 135};
  return zelkx_extrema(op, routine);
}
