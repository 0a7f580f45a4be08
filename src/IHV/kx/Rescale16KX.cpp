// rescale16: dst = scale * src + offset on 1-band 16-bit images, rounded down and saturated
// to -32768..32767. The kernel holds scale and offset to 1/256; any other factor would be
// off by up to |src| / 256, so only factors that are whole multiples of 1/256 are taken
// (then within 1 of the exact value rounded).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_tables.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Rescale16(ZelOp* op, int) {
  static const ZelKXOneSource routine{.file = "Rescale16KX",
                                      .list_report = {0, "di-12", 0, 111},
                                      .report_on_dst = false,
                                      .src_type = 2,
                                      .dst_type = 2,
                                      .bands = ZelKXBandRule::one_on_src1,
                                      .mask = ZelKXMaskRule::unchanged,
                                      .band_words = false};
  const auto* scales = static_cast<const float*>(op->getPtrParam(1));
  const auto* offsets = static_cast<const float*>(op->getPtrParam(2));
  if (scales == nullptr || offsets == nullptr) return 2;
  int32_t scale = 0, offset = 0;
  if (!zelkx_fixed8(scales[0], true, &scale) || !zelkx_fixed8(offsets[0], true, &offset)) {
    return 2;
  }
  ZelImage* src1 = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src1 == nullptr || dst == nullptr || src1->getParent() != nullptr ||
      dst->getParent() != nullptr) {
    return 2;
  }
  ZelKXOneSourceFrame frame;
  if (frame.open(op, routine) != 0) return 2;
  return frame.run([&](const ZelKXRect& r) {
    sl_rect_trf16_16(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, scale,
                     offset);
    return true;
  });
}
