// translate8nearest: an 8-bit image of 1, 3 or 4 bands moved by whole pixels, the offsets
// rounded half up; one copy a rectangle.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"

int ZelDeviceComputeTypeKX::Translate8nearest(ZelOp* op, int) {
  return zelkx_translate(op, 1, {nullptr, 0, 0});
}
