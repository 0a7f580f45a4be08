// translate8bilinear: an 8-bit image of 1, 3 or 4 bands moved with interpolation. Only whole
// offsets run here, where the interpolation weighs one pixel fully: one copy a rectangle
// (docs/operations.md says why).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"

int ZelDeviceComputeTypeKX::Translate8bilinear(ZelOp* op, int) {
  return zelkx_translate(op, 1, {"TranslateBL8KX", 71, 89});
}
