// rotate16nearest: a whole one-band 16-bit image turned about its origin to the nearest
// pixel into a destination of its size and origin, by the affine kernel from the source's
// contiguous copy.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"
#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

namespace {

constexpr const char* kFile = "RotateNN16KX";

}  // namespace

int ZelDeviceComputeTypeKX::Rotate16nearest(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!zelkx_one_band_16(src, dst)) return 2;
  const unsigned width = src->getWidth(), height = src->getHeight();
  float degrees;
  if (!zelkx_rotation_degrees(op->getFloatParam(1), &degrees)) return 2;
  KXImage s, d;
  if (!zelkx_open_contiguous(src, &s) || !zelkx_open_image(dst, &d)) return 2;
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = src_region != nullptr ? dst->getImageSpaceRoi() : nullptr;
  if (dst_region == nullptr) {
    zelkx_report(dst, kFile, {1, "di-6", 1, 133});
    return 2;
  }
  ZelRectList* src_list = src_region->getRectList();
  ZelRectList* dst_list = src_list != nullptr ? dst_region->getRectList() : nullptr;
  if (src_list != nullptr) src_list->destroy();
  if (dst_list == nullptr) {
    zelkx_report(dst, kFile, {1, "di-8", 1, 143});
    return 2;
  }
  dst_list->destroy();
  if (check_images(src, dst) != 0 || zelkx_share_root(src, dst) || s.kx_address % 8 != 0 ||
      !zelkx_aligned(s, 2, 2) || !zelkx_aligned(d, 2, 2) || !zelkx_packed_pixels(s, 1, 2) ||
      !zelkx_packed_pixels(d, 1, 2)) {
    return 2;
  }
  sl_ctx_planemask_set(0xffffffff);
  // The 8-bit routine's direction (counter-clockwise on screen for a positive angle); the
  // origins are equal, so the image turns about its origin in place.
  sl_rect_rst_16(d.kx_address, int32_t(2 * d.line_stride), int32_t(width), int32_t(height),
                 s.kx_address, int32_t(2 * s.line_stride), int32_t(width), int32_t(height),
                 0x808080, -degrees, float(s.origin_x), float(s.origin_y), 1.0f, 1.0f, 0.0f,
                 0.0f);
  return 0;
}
