// The compute-routine frame.
#include "kx_frame.h"

#include "kx_utils.h"
#include "sl_ctx.h"

bool zelkx_open_image(ZelImage* image, KXImage* out) {
  out->image = image;
  image->getOrigin(&out->origin_x, &out->origin_y);
  const __ZelKXStorage* record = getKXStorage(image);
  if (record == nullptr) return false;
  out->kx_address = record->kx_address;
  out->line_stride = record->line_stride;
  out->pixel_stride = record->pixel_stride;
  return true;
}

bool zelkx_aligned(const KXImage& image, uint32_t element_size, uint32_t bytes) {
  return image.kx_address % bytes == 0 && (image.line_stride * element_size) % bytes == 0 &&
         (image.pixel_stride * element_size) % bytes == 0;
}

void zelkx_report(ZelImage* image, const char* file, const ZelKXReport& r) {
  ZelSystemState::notifyError(image->getSystemState(), r.category, r.id, r.flag, r.line, file,
                              nullptr);
}

uint32_t zelkx_plane_mask(ZelImage* dst, unsigned bands) {
  if (bands != 3) return 0xffffffff;
  if (zelkx_band_lane(dst) == 0) return 0xffffff00;
  return zelkx_has_child_offsets(dst, nullptr, nullptr, nullptr) ? 0x00ffffff : 0xffffffff;
}

bool zelkx_bands_agree(ZelImage* a, ZelImage* b, ZelImage* c) {
  int lane = -1;
  for (ZelImage* image : {a, b, c}) {
    if (image == nullptr || image->getDataType() != 1 || image->getBands() != 3) continue;
    const int own = int(zelkx_band_lane(image));
    if (lane >= 0 && own != lane) return false;
    lane = own;
  }
  return true;
}

namespace {

// Opens src1, src2 and dst in that order, reporting a missing record where asked to.
bool open_images(ZelImage* const (&images)[3], KXImage (&out)[3], const char* file,
                 const ZelKXStorageReports& reports) {
  static const char* const ids[3] = {"di-9", "di-15", "di-10"};
  const int lines[3] = {reports.src1, reports.src2, reports.dst};
  for (int i = 0; i < 3; ++i) {
    if (!zelkx_open_image(images[i], &out[i])) {
      if (lines[i] != 0) zelkx_report(images[i], file, {1, ids[i], 0, lines[i]});
      return false;
    }
  }
  return true;
}

bool same_shape(ZelImage* const (&images)[3], int data_type) {
  for (ZelImage* image : images) {
    if (image == nullptr || image->getDataType() != data_type ||
        image->getBands() != images[0]->getBands()) {
      return false;
    }
  }
  return true;
}

// ZelKXMaskRule::three_bands: a 3-band image's spare byte is protected even when it is not
// part of any other image.
uint32_t three_band_mask(ZelImage* dst, unsigned bands) {
  if (bands != 3) return 0xffffffff;
  return zelkx_band_lane(dst) == 0 ? 0xffffff00 : 0x00ffffff;
}

void release(ZelRectList* list, ZelRoi* roi) {
  list->destroy();
  if (roi != nullptr) roi->destroy();
}

}  // namespace

int zelkx_dyadic8(ZelOp* op, const ZelKXDyadic8& r) {
  ZelImage* const images[3] = {op->getSrc1(), op->getSrc2(), op->getDst()};
  ZelImage* src1 = images[0];
  ZelImage* dst = images[2];
  if (!same_shape(images, 1)) return 2;
  const unsigned bands = src1->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(src1, images[1], dst, nullptr) == 2) return 2;
  if (!zelkx_bands_agree(src1, images[1], dst)) return 2;
  KXImage a[3];
  if (!open_images(images, a, r.file, r.storage)) return 2;
  for (const KXImage& image : a) {
    if (!zelkx_aligned(image, 1, bands == 1 ? 1 : 4)) return 2;
  }

  const uint32_t mask =
      r.mask_every_three_bands ? three_band_mask(dst, bands) : zelkx_plane_mask(dst, bands);
  if (!r.mask_after_list) sl_ctx_planemask_set(mask);
  if (r.raster_op != 0) sl_ctx_rasterop_set(r.raster_op);
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, images[1], nullptr);
  if (list == nullptr) {
    zelkx_report(src1, r.file, {0, "di-12", 0, r.list_line});
    return 2;
  }
  if (r.mask_after_list) sl_ctx_planemask_set(mask);

  const ZelKXDyadicKernel kernel = bands == 1 ? r.one_band : r.four_bytes;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    kernel(a[2].address(x, y, 1), int32_t(a[2].line_stride), width, height,
           a[0].address(x, y, 1), int32_t(a[0].line_stride), a[1].address(x, y, 1),
           int32_t(a[1].line_stride));
  }
  release(list, roi);
  return 0;
}

int zelkx_dyadic16(ZelOp* op, const ZelKXDyadic16& r) {
  ZelImage* const images[3] = {op->getSrc1(), op->getSrc2(), op->getDst()};
  ZelImage* src1 = images[0];
  ZelImage* dst = images[2];
  if (!same_shape(images, 2)) return 2;
  if (zelkx_check_child_16(src1, images[1], dst, nullptr) == 2) return 2;
  KXImage a[3];
  if (!open_images(images, a, r.file, r.storage)) return 2;
  for (const KXImage& image : a) {
    if (!zelkx_aligned(image, 2, 2)) return 2;
  }

  if (r.raster_op != 0) sl_ctx_rasterop_set(r.raster_op);
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, images[1], nullptr);
  if (list == nullptr) {
    zelkx_report(src1, r.file, {0, "di-12", 0, r.list_line});
    return 2;
  }
  // Pixels are packed: a rectangle is one block of width x bands 16-bit words a row.
  const int32_t bands = int32_t(r.bands_from_dst ? dst->getBands() : src1->getBands());
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    r.kernel(a[2].address(x, y, 2), int32_t(2 * a[2].line_stride), width * bands, height,
             a[0].address(x, y, 2), int32_t(2 * a[0].line_stride), a[1].address(x, y, 2),
             int32_t(2 * a[1].line_stride));
  }
  release(list, roi);
  return 0;
}

int ZelKXOneSourceFrame::open(ZelOp* op, const ZelKXOneSource& r) {
  routine_ = &r;
  ZelImage* src1 = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src1 == nullptr || dst == nullptr || src1->getDataType() != r.src_type ||
      dst->getDataType() != r.dst_type || src1->getBands() != dst->getBands()) {
    return 2;
  }
  bands_ = src1->getBands();
  switch (r.bands) {
    case ZelKXBandRule::one_three_four:
      if (bands_ != 1 && bands_ != 3 && bands_ != 4) return 2;
      break;
    case ZelKXBandRule::one_on_src1:
    case ZelKXBandRule::one_on_dst:  // the band counts agree
      if (bands_ != 1) return 2;
      break;
    case ZelKXBandRule::any:
      break;
  }
  const int check = r.dst_type == 1 ? zelkx_check_child_8(src1, dst, nullptr, nullptr)
                                    : zelkx_check_child_16(src1, dst, nullptr, nullptr);
  if (check == 2 || !zelkx_bands_agree(src1, dst, nullptr)) return 2;
  ZelImage* eight_bit = r.dst_type == 1 ? dst : r.src_type == 1 ? src1 : nullptr;
  lane_ = eight_bit != nullptr && bands_ == 3 ? zelkx_band_lane(eight_bit) : 0;
  ZelImage* const images[2] = {src1, dst};
  const int types[2] = {r.src_type, r.dst_type};
  for (int i = 0; i < 2; ++i) {
    if (!zelkx_open_image(images[i], &images_[i])) return 2;
    const uint32_t e = types[i] == 1 ? 1 : 2;
    if (!zelkx_aligned(images_[i], e, types[i] == 1 && bands_ > 1 ? 4 : e)) return 2;
  }
  return 0;
}

int ZelKXOneSourceFrame::run(const std::function<bool(const ZelKXRect&)>& per_rect) {
  const ZelKXOneSource& r = *routine_;
  switch (r.mask) {
    case ZelKXMaskRule::destination:
      sl_ctx_planemask_set(zelkx_plane_mask(dst(), bands_));
      break;
    case ZelKXMaskRule::three_bands:
      sl_ctx_planemask_set(three_band_mask(dst(), bands_));
      break;
    case ZelKXMaskRule::unchanged:
      break;
  }
  if (has_raster_op_) sl_ctx_rasterop_set(raster_op_);
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst(), src(), nullptr, nullptr);
  if (list == nullptr) {
    zelkx_report(r.report_on_dst ? dst() : src(), r.file, r.list_report);
    return 2;
  }
  const KXImage& s = images_[0];
  const KXImage& d = images_[1];
  const uint32_t es = r.src_type == 1 ? 1 : 2, ed = r.dst_type == 1 ? 1 : 2;
  const int32_t per_pixel = r.band_words ? int32_t(bands_) : 1;
  int status = 0;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    const ZelKXRect rect{.dst = d.address(x, y, ed),
                         .dst_stride = int32_t(ed * d.line_stride),
                         .width = width * per_pixel,
                         .height = height,
                         .src = s.address(x, y, es),
                         .src_stride = int32_t(es * s.line_stride)};
    if (!per_rect(rect)) {
      status = 2;
      break;
    }
  }
  release(list, roi);
  return status;
}
