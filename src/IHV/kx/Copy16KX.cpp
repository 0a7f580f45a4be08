// copy16: dst = src on 1-band 16-bit images; either side may instead be one band of a 3-band
// image (extraction and insertion through the three-channel kernels).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

namespace {

unsigned parent_bands(ZelImage* image) {
  const ZelImage* parent = image->getParent();
  return parent != nullptr ? parent->getBands() : 1;
}

// The origin and the storage record with the first band folded in.
bool open_with_bands(ZelImage* image, KXImage* out) {
  out->image = image;
  image->getOrigin(&out->origin_x, &out->origin_y);
  const __ZelKXStorage* record = getKXStorageWithBands(image);
  if (record == nullptr) return false;
  out->kx_address = record->kx_address;
  out->line_stride = record->line_stride;
  out->pixel_stride = record->pixel_stride;
  return true;
}

}  // namespace

int ZelDeviceComputeTypeKX::Copy16(ZelOp* op, int) {
  ZelImage* src1 = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src1 == nullptr || dst == nullptr || src1->getDataType() != 2 ||
      dst->getDataType() != 2) {
    return 2;
  }
  unsigned width_unused, height_unused, dst_bands;
  dst->getDimensions(&width_unused, &height_unused, &dst_bands);
  if (dst_bands != 1 || src1->getBands() != 1) return 2;
  // One band of a 3-band image on one side; the other side must then be a plain 1-band
  // image (no kernel moves one channel into another).
  const bool extraction = parent_bands(src1) == 3 && parent_bands(dst) == 1;
  const bool insertion = parent_bands(dst) == 3 && parent_bands(src1) == 1;
  if (!extraction && !insertion && zelkx_check_child_16(src1, dst, nullptr, nullptr) == 2) {
    return 2;
  }
  KXImage s, d;
  if (!open_with_bands(src1, &s) || !open_with_bands(dst, &d)) return 2;
  if (!zelkx_aligned(s, 2, 2) || !zelkx_aligned(d, 2, 2)) return 2;

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, nullptr, nullptr);
  if (list == nullptr) {
    zelkx_report(src1, "Copy16KX", {0, "di-12", 0, 133});
    return 2;
  }
  sl_ctx_planemask_set(0xffffffff);
  void (*kernel)(SL_RECT_1SRC_ARGS) = extraction  ? sl_rect_copy_48c_16
                                      : insertion ? sl_rect_copy_16_48c
                                                  : sl_rect_copy_16;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    kernel(d.address(x, y, 2), int32_t(2 * d.line_stride), width, height, s.address(x, y, 2),
           int32_t(2 * s.line_stride));
  }
  list->destroy();
  roi->destroy();
  return 0;
}
