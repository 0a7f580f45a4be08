// threshold16: pixels from lo to hi take the map value (saturated to -32768..32767), others are
// copied (kx_threshold.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_threshold.h"

int ZelDeviceComputeTypeKX::Threshold16(ZelOp* op, int) {
  static const ZelKXOneSource routine = zelkx_threshold_frame("Threshold16KX", 117, 2);
  return zelkx_threshold(op, routine, sl_rect_mapthresh_16);
}
