// The extrema routines.
#include "kx_extrema.h"

#include "kx_frame.h"
#include "kx_utils.h"
#include "sl_kernels.h"

int zelkx_extrema(ZelOp* op, const ZelKXExtrema& r) {
  ZelImage* src1 = op->getSrc1();
  if (src1 == nullptr || src1->getDataType() != r.data_type) return 2;
  const bool eight = r.data_type == 1;
  const unsigned bands = src1->getBands();
  if (eight ? bands != 1 && bands != 3 && bands != 4 : bands != 1) return 2;
  const int check = eight ? zelkx_check_child_8(src1, nullptr, nullptr, nullptr)
                          : zelkx_check_child_16(src1, nullptr, nullptr, nullptr);
  if (check == 2) return 2;
  KXImage s;
  const uint32_t e = eight ? 1 : 2;
  if (!zelkx_open_image(src1, &s) || !zelkx_aligned(s, e, bands == 1 ? e : 4)) return 2;

  // The image's own region, and its rectangles through the region's 25th virtual operation.
  ZelRoi* region = src1->getImageSpaceRoi();
  if (region == nullptr) {
    zelkx_report(src1, r.file, {1, "di-6", 0, r.region_line});
    return 2;
  }
  ZelRectList* list = region->getRectList();
  if (list == nullptr) {
    zelkx_report(src1, r.file, {1, "di-8", 0, r.list_line});
    return 2;
  }
  // One entry per byte of a 4-byte pixel; the kernels fold each rectangle in.
  float minima[4], maxima[4];
  for (int i = 0; i < 4; ++i) {
    minima[i] = eight ? 255.0f : 32767.0f;
    maxima[i] = eight ? 0.0f : -32768.0f;
  }
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    const uint32_t address = s.address(x, y, e);
    const int32_t stride = int32_t(e * s.line_stride);
    if (!eight) {
      sl_rect_extrema_16(address, stride, width, height, minima, maxima);
    } else if (bands == 1) {
      sl_rect_extrema_8(address, stride, width, height, minima, maxima);
    } else {
      sl_rect_extrema_32(address, stride, width, height, minima, maxima);
    }
  }
  list->destroy();  // the region belongs to the image

  // Band 0 of a 3-band image is byte 1 of its pixel, or byte 0 for bands 0..2 of a 4-band one.
  const unsigned first = bands == 3 ? zelkx_band_lane(src1) : 0;
  auto* max_out = static_cast<float*>(op->getPtrParam(1));
  auto* min_out = static_cast<float*>(op->getPtrParam(2));
  for (unsigned b = 0; b < bands; ++b) {
    if (max_out != nullptr) max_out[b] = maxima[first + b];
    if (min_out != nullptr) min_out[b] = minima[first + b];
  }
  return 0;
}
