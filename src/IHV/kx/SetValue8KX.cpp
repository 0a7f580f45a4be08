// setvalue8: every pixel of the destination's own region takes the colour: each band's float
// plus 0.5, truncated, limited to 0..255.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_tables.h"
#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::SetValue8(ZelOp* op, int) {
  ZelImage* dst = op->getDst();
  const auto* values = static_cast<const float*>(op->getPtrParam(1));
  if (dst == nullptr || values == nullptr || dst->getDataType() != 1) return 2;
  const unsigned bands = dst->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(dst, nullptr, nullptr, nullptr) == 2) return 2;
  KXImage d;
  if (!zelkx_open_image(dst, &d) || !zelkx_aligned(d, 1, bands == 1 ? 1 : 4)) return 2;

  sl_ctx_planemask_set(zelkx_plane_mask(dst, bands));
  const uint32_t colour =
      zelkx_fill_colour(values, bands, bands == 3 ? zelkx_band_lane(dst) : 0);
  // The destination's own region, through the region's 25th virtual operation.
  ZelRoi* region = dst->getImageSpaceRoi();
  ZelRectList* list = region != nullptr ? region->getRectList() : nullptr;
  if (list == nullptr) {
    zelkx_report(dst, "SetValue8KX", {0, "di-12", 0, 119});
    return 2;
  }
  sl_ctx_foreground_set(colour);
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    if (bands == 1) {
      sl_rect_fill_8(d.address(x, y, 1), int32_t(d.line_stride), width, height);
    } else {
      sl_rect_fill_32(d.address(x, y, 1), int32_t(d.line_stride), width, height);
    }
  }
  list->destroy();  // the region belongs to the image
  return 0;
}
