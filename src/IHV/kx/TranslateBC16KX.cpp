// translate16bicubic: a one-band 16-bit image moved with interpolation. Only whole offsets run
// here, where the interpolation weighs one pixel fully: one copy a rectangle
// (docs/operations.md says why).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"

int ZelDeviceComputeTypeKX::Translate16bicubic(ZelOp* op, int) {
  return zelkx_translate(op, 2, {"TranslateBC16KX", 72, 90});
}
