// threshold8: pixels from lo to hi take the map value (saturated to 0..255), others are
// copied (kx_threshold.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_threshold.h"

int ZelDeviceComputeTypeKX::Threshold8(ZelOp* op, int) {
  static const ZelKXOneSource routine = zelkx_threshold_frame("Threshold8KX", 128, 1);
  return zelkx_threshold(op, routine, sl_rect_mapthresh_8);
}
