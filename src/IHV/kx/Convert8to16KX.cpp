// convert8to16: 3-band 8-bit pixels become 3-band 16-bit pixels of the same values.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Convert8to16(ZelOp* op, int) {
  // No plane mask is set: 16-bit stores ignore it.
  static const ZelKXOneSource routine{.file = "Convert8to16KX",
                                      .list_report = {0, "di-12", 0, 114},
                                      .report_on_dst = false,
                                      .src_type = 1,
                                      .dst_type = 2,
                                      .bands = ZelKXBandRule::any,
                                      .mask = ZelKXMaskRule::unchanged,
                                      .band_words = false};
  ZelKXOneSourceFrame frame;
  if (frame.open(op, routine) != 0 || frame.bands() != 3) return 2;
  return frame.run([](const ZelKXRect& r) {
    sl_rect_convert_8_16_3(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride);
    return true;
  });
}
