// colorconvert: an 8-bit image from the colour space of object parameter 1 into that of
// object parameter 2, by the row of the conversion table for the pair (kx_colour.h), one
// call a rectangle.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_colour.h"
#include "kx_frame.h"
#include "kx_utils.h"

const ZelKXColourRow CSoperation[] = {
#define KX_COLOUR(from, to, ...)                                                    \
  {uint32_t(kx_space::from) << 16 | uint32_t(kx_space::to), zels_##from##2##to##_8, \
   zels_##from##2##to##_16},
#include "kx_colour.def"
    {0, nullptr, nullptr},
};

namespace {

constexpr const char* kFile = "ColorConvertKX";

// An image the rows can take for a space of `bands` bands: 8-bit; a 3-band image with its
// bands in bytes 1..3 of its pixels; and, for a destination, none of whose pixels' bytes
// belongs to another band (the rows write byte 0 too).
bool fits(ZelImage* image, unsigned bands, bool destination) {
  if (image->getDataType() != 1 || image->getBands() != bands) return false;
  if (bands != 3) return true;
  if (zelkx_band_lane(image) != 1) return false;
  return !destination || zelkx_has_child_offsets(image, nullptr, nullptr, nullptr) == 0;
}

}  // namespace

int ZelDeviceComputeTypeKX::ColorConvert(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || zelspm_check_child2(src, dst) == 2) return 2;
  const auto* from = static_cast<const ZelColorspace*>(op->getObjParam(1));
  const auto* to = static_cast<const ZelColorspace*>(op->getObjParam(2));
  if (from == nullptr) {
    zelkx_report(src, kFile, {4, "di-202", 1, 136});
    return 2;
  }
  if (to == nullptr) {
    zelkx_report(dst, kFile, {4, "di-203", 1, 141});
    return 2;
  }
  if (from->getOpcode() == to->getOpcode()) return 2;
  const uint32_t key = uint32_t(from->getOpcode()) << 16 | uint32_t(to->getOpcode());
  const ZelKXColourRow* row = CSoperation;
  while (row->key != 0 && row->key != key) ++row;
  if (row->key == 0) return 2;
  if (src->getDataType() != 1) return 2;  // the 16-bit rows convert nothing
  const ZelKXColourFunction convert = row->convert8;

  if (!fits(src, from->getBands(), false) || !fits(dst, to->getBands(), true)) return 2;
  KXImage s, d;
  if (!zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d)) return 2;
  if (!zelkx_aligned(s, 1, src->getBands() > 1 ? 4 : 1) ||
      !zelkx_aligned(d, 1, dst->getBands() > 1 ? 4 : 1)) {
    return 2;
  }

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (list == nullptr) {
    zelkx_report(src, kFile, {0, "di-12", 1, 210});
    return 2;
  }
  int status = 0;
  int x, y, width, height;
  while (status == 0 && list->getNextRect(&x, &y, &width, &height)) {
    status = convert(s.address(x, y, 1), d.address(x, y, 1), unsigned(width), unsigned(height),
                     int32_t(s.line_stride), int32_t(d.line_stride));
  }
  list->destroy();
  if (roi != nullptr) roi->destroy();
  return status;
}
