// translate16nearest: a one-band 16-bit image moved by whole pixels, the offsets rounded half
// up; one copy a rectangle.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"

int ZelDeviceComputeTypeKX::Translate16nearest(ZelOp* op, int) {
  return zelkx_translate(op, 2, {nullptr, 0, 0});
}
