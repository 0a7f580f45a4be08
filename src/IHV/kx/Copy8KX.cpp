// copy8: dst = src, band by band. 1, 3 and 4-band images are copied as whole pixels; a
// 1-band image may also be one band of a 3- or 4-band image on either side, copied through
// the byte-channel kernels.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_frame.h"
#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

namespace {

typedef void (*CopyKernel)(uint32_t dst, int32_t dst_stride, int32_t width, int32_t height,
                           uint32_t src, int32_t src_stride);

// A 1-band image that is one band of a 3- or 4-band image: the byte of the 4-byte pixel
// that holds it (band 0 of a 3-band pixel is byte 1).
struct Channel {
  bool in_pixel = false;
  uint32_t byte = 0;
};

Channel channel_of(ZelImage* image) {
  const ZelImage* parent = image->getParent();
  const unsigned parent_bands = parent != nullptr ? parent->getBands() : 1;
  if (parent_bands != 3 && parent_bands != 4) return {};
  unsigned x, y, band;
  image->getChildOffsets(&x, &y, &band);
  return {true, band + (parent_bands == 3 ? 1 : 0)};
}

// A child check failed: a single band of a 3- or 4-band image is still copied, from or to
// a single band of another or any part of a 1-band image.
bool single_bands(ZelImage* a, ZelImage* b, unsigned bands) {
  if (bands != 1) return false;
  for (ZelImage* image : {a, b}) {
    const ZelImage* parent = image->getParent();
    if (parent != nullptr && parent->getBands() == 2) return false;
  }
  return true;
}

}  // namespace

int ZelDeviceComputeTypeKX::Copy8(ZelOp* op, int) {
  ZelImage* src1 = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src1 == nullptr || dst == nullptr || src1->getDataType() != 1 ||
      dst->getDataType() != 1 || src1->getBands() != dst->getBands()) {
    return 2;
  }
  const unsigned bands = src1->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(src1, dst, nullptr, nullptr) == 2 &&
      !single_bands(src1, dst, bands)) {
    return 2;
  }
  if (!zelkx_bands_agree(src1, dst, nullptr)) return 2;

  const Channel from = bands == 1 ? channel_of(src1) : Channel{};
  const Channel to = bands == 1 ? channel_of(dst) : Channel{};
  KXImage s, d;
  if (!zelkx_open_image(src1, &s) || !zelkx_open_image(dst, &d)) return 2;
  // The channel kernels find the byte by the address's low two bits: pixels start on 4.
  if (!zelkx_aligned(s, 1, bands > 1 || from.in_pixel ? 4 : 1) ||
      !zelkx_aligned(d, 1, bands > 1 || to.in_pixel ? 4 : 1)) {
    return 2;
  }

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, nullptr, nullptr);
  if (list == nullptr) {
    zelkx_report(src1, "Copy8KX", {0, "di-12", 0, 129});
    return 2;
  }
  sl_ctx_planemask_set(zelkx_plane_mask(dst, bands));

  CopyKernel kernel = sl_rect_copy_8;
  if (bands > 1) {
    kernel = sl_rect_copy_32;
  } else if (from.in_pixel) {
    kernel = to.in_pixel ? sl_rect_copy_32c : sl_rect_copy_32c_8;
  } else if (to.in_pixel) {
    kernel = sl_rect_copy_8_32c;
  }
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    kernel(d.address(x, y, 1) + to.byte, int32_t(d.line_stride), width, height,
           s.address(x, y, 1) + from.byte, int32_t(s.line_stride));
  }
  list->destroy();
  roi->destroy();
  return 0;
}
