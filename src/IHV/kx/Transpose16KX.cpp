// transpose16: mirrors, diagonal reflections and quarter turns of a whole one-band 16-bit
// image into a destination of the same size, in one flip.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_geometry.h"
#include "kx_utils.h"

namespace {

constexpr const char* kFile = "Transpose16KX";

}  // namespace

int ZelDeviceComputeTypeKX::Transpose16(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!zelkx_one_band_16(src, dst)) return 2;
  const unsigned width = src->getWidth(), height = src->getHeight();
  // One call for the whole image at its pixel (0, 0): right only where operation space and
  // both images' pixels coincide.
  int sx, sy, dx, dy;
  src->getOrigin(&sx, &sy);
  dst->getOrigin(&dx, &dy);
  const long t = op->getLongParam(1);
  const ZelKXFlipKernel kernel = zelkx_flip_kernel(t, 2);
  if (sx != 0 || sy != 0 || dx != 0 || dy != 0 || kernel == nullptr ||
      zelkx_share_root(src, dst)) {
    return 2;
  }
  // The reflections across a diagonal and the quarter turns fit one image only on a square.
  const bool across = t == 2 || t == 3 || t == 4 || t == 6;
  if (across && width != height) return 2;

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (list == nullptr) {
    zelkx_report(src, kFile, {0, "di-12", 0, 115});
    return 2;
  }
  int x, y, w, h;
  const bool whole = list->getNextRect(&x, &y, &w, &h) != 0 && unsigned(w) == width &&
                     unsigned(w) == dst->getWidth() && unsigned(h) == height &&
                     unsigned(h) == dst->getHeight();
  list->destroy();
  roi->destroy();
  KXImage s, d;
  if (!whole || !zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d) ||
      !zelkx_aligned(s, 2, 2) || !zelkx_aligned(d, 2, 2) || !zelkx_packed_pixels(s, 1, 2) ||
      !zelkx_packed_pixels(d, 1, 2)) {
    return 2;
  }
  kernel(d.address(0, 0, 2), int32_t(2 * d.line_stride), int32_t(width), int32_t(height),
         s.address(0, 0, 2), int32_t(2 * s.line_stride));
  return 0;
}
