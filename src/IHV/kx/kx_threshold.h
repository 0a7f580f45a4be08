// The threshold routines: on 1-band images, a pixel p with lo <= p <= hi takes the map value
// (truncated, saturated to the pixel type), every other pixel is copied; lo and hi are the
// thresholds plus 0.999, truncated (the kernel computes them from pointer parameters 1, 2
// and 3).
#ifndef KX_THRESHOLD_H
#define KX_THRESHOLD_H

#include "kx_frame.h"
#include "sl_kernels.h"

typedef void (*ZelKXThresholdKernel)(SL_RECT_1SRC_ARGS, const float* low, const float* high,
                                     const float* map);

// The destination's state takes the report (category 1). No plane mask is set: byte and
// 16-bit stores ignore it.
constexpr ZelKXOneSource zelkx_threshold_frame(const char* file, int list_line, int data_type) {
  return {.file = file,
          .list_report = {1, "di-12", 0, list_line},
          .report_on_dst = true,
          .src_type = data_type,
          .dst_type = data_type,
          .bands = ZelKXBandRule::one_on_src1,
          .mask = ZelKXMaskRule::unchanged,
          .band_words = false};
}

inline int zelkx_threshold(ZelOp* op, const ZelKXOneSource& routine,
                           ZelKXThresholdKernel kernel) {
  const auto* low = static_cast<const float*>(op->getPtrParam(1));
  const auto* high = static_cast<const float*>(op->getPtrParam(2));
  const auto* map = static_cast<const float*>(op->getPtrParam(3));
  if (low == nullptr || high == nullptr || map == nullptr) return 2;
  ZelKXOneSourceFrame frame;
  if (frame.open(op, routine) != 0) return 2;
  return frame.run([&](const ZelKXRect& r) {
    kernel(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, low, high, map);
    return true;
  });
}

#endif
