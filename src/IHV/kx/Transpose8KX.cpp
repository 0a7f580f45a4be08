// transpose8: mirrors, diagonal reflections and quarter turns of an 8-bit image of 1, 3 or
// 4 bands. The source's region, moved to image coordinates and transposed into the
// destination's space, meets the destination's region; each rectangle of that is one flip
// of the source rectangle that lands on it.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"
#include "kx_utils.h"
#include "sl_ctx.h"

namespace {

constexpr const char* kFile = "Transpose8KX";

void release(ZelRectList* list, ZelRoi* inter, ZelRoi* transformed) {
  if (list != nullptr) list->destroy();
  if (inter != nullptr) inter->destroy();
  if (transformed != nullptr) transformed->destroy();
}

// The source's region in the destination's space: moved by the origin (and, for the types
// that turn about (0, 0), by the size) and transposed.
ZelRoi* transformed_region(ZelRoi* region, long t, long W, long H, int ox, int oy) {
  double cx = 0, cy = 0;
  long dx = ox, dy = oy;
  switch (t) {
    case 0:
    case 1:
    case 5:
      cx = double(unsigned(W) - 1) * 0.5;
      cy = double(unsigned(H) - 1) * 0.5;
      break;
    case 3:
      dx = ox - W + 1, dy = oy - H + 1;
      break;
    case 4:
      dx = ox - W + 1;
      break;
    case 6:
      dy = oy - H + 1;
      break;
    default:  // 2
      break;
  }
  ZelRoi* moved = region->translate(int(dx), int(dy));
  if (moved == nullptr) return nullptr;
  ZelRoi* turned = moved->transpose(int(t), cx, cy);
  moved->destroy();
  return turned;
}

}  // namespace

int ZelDeviceComputeTypeKX::Transpose8(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || src->getDataType() != 1 || dst->getDataType() != 1) {
    return 2;
  }
  const unsigned bands = src->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(src, dst, nullptr, nullptr) == 2) return 2;
  const long t = op->getLongParam(1);
  const ZelKXFlipKernel kernel = zelkx_flip_kernel(t, bands == 1 ? 1 : 4);
  if (kernel == nullptr || dst->getBands() != bands || !zelkx_bands_agree(src, dst, nullptr) ||
      zelkx_share_root(src, dst)) {
    return 2;
  }

  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = src_region != nullptr ? dst->getImageSpaceRoi() : nullptr;
  if (src_region == nullptr || dst_region == nullptr) {
    zelkx_report(src, kFile, {0, "di-12", 0, 105});
    return 2;
  }
  unsigned W, H, unused;
  src->getDimensions(&W, &H, &unused);
  int ox, oy;
  src->getOrigin(&ox, &oy);
  ZelRoi* transformed = transformed_region(src_region, t, long(W), long(H), ox, oy);
  ZelRoi* inter = transformed != nullptr ? dst_region->intersect(transformed) : nullptr;
  ZelRectList* list = inter != nullptr ? inter->getRectList() : nullptr;
  if (list == nullptr) {
    release(nullptr, inter, transformed);
    zelkx_report(dst, kFile, {1, "di-8", 1, 161});
    return 2;
  }
  KXImage s, d;
  const uint32_t pixel_bytes = bands == 1 ? 1 : 4;
  if (!zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d) ||
      !zelkx_aligned(s, 1, pixel_bytes) || !zelkx_aligned(d, 1, pixel_bytes) ||
      !zelkx_packed_pixels(s, bands, 1) || !zelkx_packed_pixels(d, bands, 1)) {
    release(list, inter, transformed);
    return 2;
  }
  sl_ctx_planemask_set(zelkx_plane_mask(dst, bands));
  // The source rectangle's top-left pixel (row r, column c of the source's storage) for
  // the destination rectangle (x, y, w, h): the whole W x H source transposed into the
  // quadrant at (0, 0), so the turns count from the source's far edges.
  const long Wl = long(W), Hl = long(H);
  int x, y, w, h;
  while (list->getNextRect(&x, &y, &w, &h)) {
    long r, c;
    switch (t) {
      case 0:
        r = Hl - y - h, c = x;
        break;
      case 1:
        r = y, c = Wl - x - w;
        break;
      case 2:
        r = x, c = y;
        break;
      case 3:
        r = Hl - x - w, c = Wl - y - h;
        break;
      case 4:
        r = x, c = Wl - y - h;
        break;
      case 5:
        r = Hl - y - h, c = Wl - x - w;
        break;
      default:
        r = Hl - x - w, c = y;
        break;
    }
    const uint32_t source =
        s.kx_address + uint32_t(r) * s.line_stride + uint32_t(c) * s.pixel_stride;
    kernel(d.address(x, y, 1), int32_t(d.line_stride), w, h, source, int32_t(s.line_stride));
  }
  release(list, inter, transformed);
  return 0;
}
