#include "kx_geometry.h"

#include <cmath>

#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

ZelKXFlipKernel zelkx_flip_kernel(long type, unsigned pixel_bytes) {
  static const ZelKXFlipKernel kFlips[7][3] = {
      {sl_rect_flip_v_8, sl_rect_flip_v_16, sl_rect_flip_v_32},
      {sl_rect_flip_h_8, sl_rect_flip_h_16, sl_rect_flip_h_32},
      {sl_rect_flip_d_8, sl_rect_flip_d_16, sl_rect_flip_d_32},
      {sl_rect_flip_b_8, sl_rect_flip_b_16, sl_rect_flip_b_32},
      {sl_rect_flip_90_8, sl_rect_flip_90_16, sl_rect_flip_90_32},
      {sl_rect_flip_180_8, sl_rect_flip_180_16, sl_rect_flip_180_32},
      {sl_rect_flip_270_8, sl_rect_flip_270_16, sl_rect_flip_270_32},
  };
  const int size = pixel_bytes == 1 ? 0 : pixel_bytes == 2 ? 1 : pixel_bytes == 4 ? 2 : -1;
  if (type < 0 || type > 6 || size < 0) return nullptr;
  return kFlips[type][size];
}

bool zelkx_share_root(ZelImage* a, ZelImage* b) {
  const ZelImage* root_a = a->getParent() != nullptr ? a->getParent() : a;
  const ZelImage* root_b = b->getParent() != nullptr ? b->getParent() : b;
  return root_a == root_b;
}

bool zelkx_packed_pixels(const KXImage& image, unsigned bands, int data_type) {
  return image.pixel_stride == (data_type == 1 && bands > 1 ? 4u : 1u);
}

bool zelkx_whole_offset(float t, int* out) {
  if (!std::isfinite(t) || std::fabs(t) > 16777216.0f) return false;
  const double moved = double(t) + 0.5;
  if (double(int(moved)) != std::floor(moved)) return false;
  *out = int(moved);
  return true;
}

int zelkx_translate(ZelOp* op, int data_type, const ZelKXTranslation& routine) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || src->getDataType() != data_type ||
      dst->getDataType() != data_type) {
    return 2;
  }
  unsigned width, height, bands;
  src->getDimensions(&width, &height, &bands);
  const bool eight = data_type == 1;
  if (eight ? bands != 1 && bands != 3 && bands != 4 : bands != 1) return 2;
  const int checked = eight ? zelkx_check_child_8(src, dst, nullptr, nullptr)
                            : zelkx_check_child_16(src, dst, nullptr, nullptr);
  const float tx = op->getFloatParam(1), ty = op->getFloatParam(2);
  // Interpolating translations: whole offsets only (a fraction would weigh two pixels).
  const auto whole = [](float t, int* out) {
    if (!(std::fabs(t) <= 16777216.0f) || t != std::trunc(t)) return false;
    *out = int(t);
    return true;
  };
  int dx = 0, dy = 0;
  const bool offsets = routine.file == nullptr
                           ? zelkx_whole_offset(tx, &dx) && zelkx_whole_offset(ty, &dy)
                           : whole(tx, &dx) && whole(ty, &dy);
  if (checked == 2 || dst->getBands() != bands || !zelkx_bands_agree(src, dst, nullptr) ||
      zelkx_share_root(src, dst) || !offsets) {
    return 2;
  }
  // The source's region moved by the offset meets the destination's.
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = src_region != nullptr ? dst->getImageSpaceRoi() : nullptr;
  if (dst_region == nullptr) {
    if (routine.file != nullptr)
      zelkx_report(src, routine.file, {0, "di-12", 0, routine.region_line});
    return 2;
  }
  ZelRoi* moved = src_region->translate(dx, dy);
  ZelRoi* inter = moved != nullptr ? dst_region->intersect(moved) : nullptr;
  ZelRectList* list = inter != nullptr ? inter->getRectList() : nullptr;
  const auto release = [&] {
    if (list != nullptr) list->destroy();
    if (inter != nullptr) inter->destroy();
    if (moved != nullptr) moved->destroy();
  };
  if (list == nullptr) {
    release();
    if (routine.file != nullptr)
      zelkx_report(dst, routine.file, {1, "di-8", 1, routine.list_line});
    return 2;
  }
  KXImage s, d;
  const uint32_t e = eight ? 1 : 2, pixel_bytes = eight && bands > 1 ? 4 : e;
  if (!zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d) ||
      !zelkx_aligned(s, e, pixel_bytes) || !zelkx_aligned(d, e, pixel_bytes) ||
      !zelkx_packed_pixels(s, bands, data_type) || !zelkx_packed_pixels(d, bands, data_type)) {
    release();
    return 2;
  }
  sl_ctx_planemask_set(eight ? zelkx_plane_mask(dst, bands) : 0xffffffff);
  void (*kernel)(SL_RECT_1SRC_ARGS) = !eight       ? sl_rect_copy_16
                                      : bands == 1 ? sl_rect_copy_8
                                                   : sl_rect_copy_32;
  int x, y, w, h;
  while (list->getNextRect(&x, &y, &w, &h)) {
    kernel(d.address(x, y, e), int32_t(e * d.line_stride), w, h, s.address(x - dx, y - dy, e),
           int32_t(e * s.line_stride));
  }
  release();
  return 0;
}

bool zelkx_rotation_degrees(float radians, float* degrees) {
  if (!std::isfinite(radians) || std::fabs(radians) > 16777216.0f) return false;
  *degrees = float((180.0 / 3.141592654) * double(radians));
  return true;
}

bool zelkx_open_contiguous(ZelImage* image, KXImage* out) {
  out->image = image;
  image->getOrigin(&out->origin_x, &out->origin_y);
  const __ZelKXStorage* record = getCKXStorage(image);
  if (record == nullptr) return false;
  out->kx_address = record->kx_address;
  out->line_stride = record->line_stride;
  out->pixel_stride = record->pixel_stride;
  return true;
}

namespace {

// True when the region's first rectangle is (x, y, w, h); false without a region or list.
bool first_rect_is(ZelRoi* region, int x, int y, unsigned w, unsigned h) {
  ZelRectList* list = region != nullptr ? region->getRectList() : nullptr;
  if (list == nullptr) return false;
  int rx, ry, rw, rh;
  const bool same = list->getNextRect(&rx, &ry, &rw, &rh) != 0 && rx == x && ry == y &&
                    unsigned(rw) == w && unsigned(rh) == h;
  list->destroy();
  return same;
}

}  // namespace

bool zelkx_one_band_16(ZelImage* src, ZelImage* dst) {
  return src != nullptr && dst != nullptr && src->getDataType() == 2 &&
         dst->getDataType() == 2 && src->getBands() == 1 && dst->getBands() == 1 &&
         zelkx_check_child_16(src, dst, nullptr, nullptr) != 2;
}

int check_images(ZelImage* src, ZelImage* dst) {
  for (ZelImage* image : {src, dst}) {
    unsigned x, y, band;
    image->getChildOffsets(&x, &y, &band);
    if (image->getParent() != nullptr || x != 0 || y != 0 || band != 0) return 2;
  }
  int sx, sy, dx, dy;
  src->getOrigin(&sx, &sy);
  dst->getOrigin(&dx, &dy);
  if (sx != dx || sy != dy) return 2;
  const unsigned w = src->getWidth(), h = src->getHeight();
  if (!first_rect_is(src->getImageSpaceRoi(), -sx, -sy, w, h)) return 2;
  if (!first_rect_is(dst->getImageSpaceRoi(), -dx, -dy, w, h)) return 2;
  return 0;
}
