// rescale8: dst band b = scale[b] * src band b + offset[b], with scale and offset held to
// 1/256 (x 256, truncated toward zero) and the result rounded down, saturated to 0..255:
// within 2 of the exact value rounded (docs/operations.md).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_tables.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Rescale8(ZelOp* op, int) {
  static const ZelKXOneSource routine{.file = "Rescale8KX",
                                      .list_report = {0, "di-12", 0, 111},
                                      .report_on_dst = false,
                                      .src_type = 1,
                                      .dst_type = 1,
                                      .bands = ZelKXBandRule::one_three_four,
                                      .mask = ZelKXMaskRule::destination,
                                      .band_words = false};
  const auto* scales = static_cast<const float*>(op->getPtrParam(1));
  const auto* offsets = static_cast<const float*>(op->getPtrParam(2));
  if (scales == nullptr || offsets == nullptr) return 2;
  ZelKXOneSourceFrame frame;
  if (frame.open(op, routine) != 0) return 2;

  // A scale or offset whose x 256 lies beyond 32 bits would saturate into another factor.
  const unsigned bands = frame.bands();
  int32_t scale[4], offset[4];
  for (unsigned b = 0; b < bands; ++b) {
    if (!zelkx_fixed8(scales[b], false, &scale[b]) ||
        !zelkx_fixed8(offsets[b], false, &offset[b])) {
      return 2;
    }
  }
  int32_t table[20];
  const int entries =
      bands == 1 ? 0 : zelkx_rescale_table(scale, offset, bands, frame.lane(), table);
  return frame.run([&](const ZelKXRect& r) {
    if (bands == 1) {
      sl_rect_trf8_8(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, scale[0],
                     offset[0]);
    } else if (entries == 12) {
      sl_rect_trf24_32(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, table);
    } else {
      sl_rect_trf32_32(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, table);
    }
    return true;
  });
}
