// bandCombine16: dst band j = m[j][0] * b0 + m[j][1] * b1 + m[j][2] * b2 + m[j][3] on
// 3-band 16-bit images, rounded down and saturated to -32768..32767. The kernel holds the
// coefficients to 1/256 and the offsets to whole units; other values would be off by up to
// |pixel| / 256 a term, so only a kernel it reproduces exactly is taken (then within 1 of
// the exact value rounded).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_tables.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::BandCombine16(ZelOp* op, int) {
  static const ZelKXOneSource routine{.file = "BandCombine16KX",
                                      .list_report = {0, "di-12", 0, 117},
                                      .report_on_dst = false,
                                      .src_type = 2,
                                      .dst_type = 2,
                                      .bands = ZelKXBandRule::any,
                                      .mask = ZelKXMaskRule::unchanged,
                                      .band_words = false};
  const auto* kernel = static_cast<const ZelKernel*>(op->getObjParam(1));
  // Only 3 rows of 4 values mean anything (the host refuses other shapes too).
  if (kernel == nullptr || kernel->getWidth() != 4 || kernel->getHeight() != 3) return 2;
  int32_t table[12];
  if (!zelkx_band_combine_table(kernel->getValue(), table)) return 2;
  ZelKXOneSourceFrame frame;
  if (frame.open(op, routine) != 0 || frame.bands() != 3) return 2;
  return frame.run([&](const ZelKXRect& r) {
    sl_rect_trf16_16_3(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, table);
    return true;
  });
}
