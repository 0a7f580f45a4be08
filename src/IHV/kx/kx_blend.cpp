// The blend routines (kx_blend.h).
#include "kx_blend.h"

#include <vector>

#include "kx_utils.h"
#include "sl_ctx.h"

bool zelkx_blend_mask_fits(ZelImage* dst, unsigned bands) {
  if (bands == 1) return true;  // byte and 16-bit stores ignore the mask
  if (bands == 3 && zelkx_band_lane(dst) != 1) return false;
  const uint32_t mask = sl_ctx_planemask_get();
  const ZelImage* parent = dst->getParent();
  const bool spare_is_another_band = bands == 3 && parent != nullptr && parent->getBands() == 4;
  for (unsigned k = 0; k < 4; ++k) {
    const uint32_t lane = (mask >> (24 - 8 * k)) & 0xFF;
    const bool band_byte = bands == 4 || k >= 1;
    if (band_byte && lane != 0xFF) return false;
    if (!band_byte && spare_is_another_band && lane != 0) return false;
  }
  return true;
}

bool zelkx_blend_walks(const KXImage& image, uint32_t element, uint32_t pixel_stride) {
  return image.pixel_stride == pixel_stride &&
         zelkx_aligned(image, element, pixel_stride == 4 ? 4 : element);
}

namespace {

bool same_sign(int a, int b) {
  return (a < 0) == (b < 0);
}

}  // namespace

int zelkx_blend(ZelOp* op, const ZelKXBlend& r) {
  ZelImage* src1 = op->getSrc1();
  ZelImage* src2 = op->getSrc2();
  ZelImage* alpha = op->getSrc3();
  ZelImage* dst = op->getDst();
  if (src1 == nullptr || src2 == nullptr || alpha == nullptr || dst == nullptr) return 2;
  for (ZelImage* image : {src1, src2, dst}) {
    if (image->getDataType() != r.pixel_type) return 2;
  }
  if (alpha->getDataType() != r.alpha_type || alpha->getBands() != 1) return 2;
  const unsigned bands = src1->getBands();
  if (r.src1_bands_check && bands != 1 && bands != 3 && bands != 4) return 2;
  if (r.dst_one_band && dst->getBands() != 1) return 2;
  // The kernels mix like elements: every pixel image has the same bands.
  if (src2->getBands() != bands || dst->getBands() != bands) return 2;
  if (r.pixel_type == 1 && zelkx_check_child_8(src1, src2, dst, nullptr) == 2) return 2;
  const bool four_bytes = bands > 1;
  if (four_bytes && r.four_bytes == nullptr) return 2;

  KXImage s1, s2, a, d;
  if (!zelkx_open_image(src1, &s1) || !zelkx_open_image(src2, &s2) ||
      !zelkx_open_image(alpha, &a) || !zelkx_open_image(dst, &d)) {
    return 2;
  }
  const uint32_t e = uint32_t(r.pixel_type), ea = uint32_t(r.alpha_type);
  const uint32_t step = four_bytes ? 4 : 1;
  for (const KXImage* image : {&s1, &s2, &d}) {
    if (!zelkx_blend_walks(*image, e, step)) return 2;
    if (bands == 3 && zelkx_band_lane(image->image) != 1) return 2;
  }
  if (!zelkx_blend_walks(a, ea, 1)) return 2;
  if (four_bytes && !zelkx_blend_mask_fits(dst, bands)) return 2;

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, src2, alpha);
  if (list == nullptr) {
    zelkx_report(dst, r.file, {1, "di-12", 0, r.list_line});
    return 2;
  }
  struct Rect {
    int x, y, width, height;
  };
  std::vector<Rect> rects;
  for (Rect t{}; list->getNextRect(&t.x, &t.y, &t.width, &t.height);) rects.push_back(t);
  list->destroy();
  if (roi != nullptr) roi->destroy();

  // 16-bit pixels are blended as unsigned numbers: only pairs of one sign come out right.
  if (r.pixel_type == 2) {
    for (const Rect& t : rects) {
      for (int y = t.y; y < t.y + t.height; ++y) {
        for (int x = t.x; x < t.x + t.width; ++x) {
          if (!same_sign(src1->getPixel(x + s1.origin_x, y + s1.origin_y, 0),
                         src2->getPixel(x + s2.origin_x, y + s2.origin_y, 0))) {
            return 2;
          }
        }
      }
    }
  }
  const ZelKXBlendKernel kernel = four_bytes ? r.four_bytes : r.one_band;
  for (const Rect& t : rects) {
    kernel(d.address(t.x, t.y, e), int32_t(e * d.line_stride), t.width, t.height,
           s2.address(t.x, t.y, e), int32_t(e * s2.line_stride), s1.address(t.x, t.y, e),
           int32_t(e * s1.line_stride), a.address(t.x, t.y, ea), int32_t(ea * a.line_stride));
  }
  return 0;
}
