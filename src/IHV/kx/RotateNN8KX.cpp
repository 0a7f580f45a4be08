// rotate8nearest: an 8-bit image of 1, 3 or 4 bands turned about its origin to the nearest
// pixel, whole images only, by the affine kernels from the source's contiguous copy.
#include <cmath>
#include <cstdio>

#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"
#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

int ZelDeviceComputeTypeKX::Rotate8nearest(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || src->getDataType() != 1 || dst->getDataType() != 1) {
    return 2;
  }
  const unsigned bands = src->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(src, dst, nullptr, nullptr) == 2) return 2;
  // Whole images only: a region of interest on either refuses.
  ZelRoi* src_roi = src->getRoi();
  ZelRoi* dst_roi = dst->getRoi();
  if (src_roi != nullptr || dst_roi != nullptr) {
    if (src_roi != nullptr) src_roi->destroy();
    if (dst_roi != nullptr) dst_roi->destroy();
    return 2;
  }
  float degrees;
  if (!zelkx_rotation_degrees(op->getFloatParam(1), &degrees)) return 2;
  KXImage s, d;
  if (!zelkx_open_contiguous(src, &s) || !zelkx_open_image(dst, &d)) return 2;
  unsigned dst_width, dst_height, dst_bands;
  dst->getDimensions(&dst_width, &dst_height, &dst_bands);
  typedef void (*Rotation)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, int32_t,
                           int32_t, uint32_t, float, float, float, float, float, float, float);
  Rotation kernel = nullptr;
  if (dst_bands == 3 || dst_bands == 4) {
    kernel = sl_rect_rst_32;
  } else if (dst_bands == 1) {
    kernel = sl_rect_rst_8;
  } else {
    std::fprintf(stderr, "RotateNN8KX: Unsupported #Bands\n");
    return 2;
  }
  // The affine load reads at the source rounded down to 8 bytes.
  const uint32_t pixel_bytes = bands == 1 ? 1 : 4;
  if (dst_bands != bands || !zelkx_bands_agree(src, dst, nullptr) ||
      zelkx_share_root(src, dst) || s.kx_address % 8 != 0 ||
      !zelkx_aligned(s, 1, pixel_bytes) || !zelkx_aligned(d, 1, pixel_bytes) ||
      !zelkx_packed_pixels(s, bands, 1) || !zelkx_packed_pixels(d, bands, 1)) {
    return 2;
  }
  sl_ctx_planemask_set(zelkx_plane_mask(dst, bands));
  unsigned src_width, src_height, unused;
  src->getDimensions(&src_width, &src_height, &unused);
  // The source turns about its origin and moves by the difference of the origins.
  kernel(d.kx_address, int32_t(d.line_stride), int32_t(dst_width), int32_t(dst_height),
         s.kx_address, int32_t(s.line_stride), int32_t(src_width), int32_t(src_height),
         0x808080, -degrees, float(s.origin_x), float(s.origin_y), 1.0f, 1.0f,
         float(d.origin_x - s.origin_x), float(d.origin_y - s.origin_y));
  return 0;
}
