// The frame every compute routine shares: images, storage, plane mask, rectangles, reports.
#ifndef KX_FRAME_H
#define KX_FRAME_H

#include <cstdint>
#include <functional>

#include "zel.h"

// One image as a routine addresses it: origin and storage record fields.
struct KXImage {
  ZelImage* image = nullptr;
  int origin_x = 0, origin_y = 0;
  uint32_t kx_address = 0;
  uint32_t line_stride = 0;   // elements
  uint32_t pixel_stride = 0;  // elements

  // Alias address of the pixel at operation-space (x, y), for element size e.
  uint32_t address(int x, int y, uint32_t e) const {
    return kx_address + e * (uint32_t(y + origin_y) * line_stride) +
           e * (uint32_t(x + origin_x) * pixel_stride);
  }
};

// Reads the origin, then the storage record (getKXStorage); false when there is none.
bool zelkx_open_image(ZelImage* image, KXImage* out);

// True when the image's first pixel and every row start lie on a multiple of `bytes`: the
// processor splits runs at pages by whole elements, so 2- and 4-byte pixels must be aligned.
bool zelkx_aligned(const KXImage& image, uint32_t element_size, uint32_t bytes);

// A report through the host's error service, on the image's system state.
struct ZelKXReport {
  int category;
  const char* id;
  int flag;
  int line;
};
void zelkx_report(ZelImage* image, const char* file, const ZelKXReport& report);

// The plane mask an 8-bit routine sets for its destination: byte 0 of each 4-byte pixel is
// protected when a 3-band destination is bands 1..3 of its parent, byte 3 when it is bands
// 0..2 of a 4-band parent; otherwise every byte is written.
uint32_t zelkx_plane_mask(ZelImage* dst, unsigned bands);

// True when the 3-band 8-bit images among the given ones keep their bands in the same bytes
// of their 4-byte pixels, so that whole-pixel kernels combine like bands.
bool zelkx_bands_agree(ZelImage* a, ZelImage* b, ZelImage* c);

// Two-source arithmetic (add, subtract, multiply) on 8-bit and 16-bit images.
typedef void (*ZelKXDyadicKernel)(uint32_t dst, int32_t dst_stride, int32_t width,
                                  int32_t height, uint32_t src1, int32_t src1_stride,
                                  uint32_t src2, int32_t src2_stride);

struct ZelKXStorageReports {  // lines of "di-9", "di-15", "di-10"; 0: refuse silently
  int src1, src2, dst;
};

struct ZelKXDyadic8 {
  const char* file;
  int list_line;  // "di-12"
  ZelKXStorageReports storage;
  bool mask_after_list;
  ZelKXDyadicKernel one_band;           // _8
  ZelKXDyadicKernel four_bytes;         // _32, for 3 and 4 bands
  uint32_t raster_op = 0;               // set before the list when not 0 (bitwise kernels)
  bool mask_every_three_bands = false;  // the plane mask of ZelKXMaskRule::three_bands
};
int zelkx_dyadic8(ZelOp* op, const ZelKXDyadic8& routine);

struct ZelKXDyadic16 {
  const char* file;
  int list_line;
  ZelKXStorageReports storage;
  bool bands_from_dst;       // the band count is read from the destination, else from src1
  ZelKXDyadicKernel kernel;  // _16
  uint32_t raster_op = 0;    // set before the list when not 0 (bitwise kernels)
};
int zelkx_dyadic16(ZelOp* op, const ZelKXDyadic16& routine);

// One-source routines (src1 -> dst): the frame of the constant, bitwise and scaled routines,
// of rescale, threshold and band combine.
//
//   ZelKXOneSourceFrame frame;
//   if (frame.open(op, routine) != 0) return 2;  // refusals so far are silent
//   ... tables from frame.bands() and frame.lane(); a refusal here returns 2 ...
//   return frame.run([&](const ZelKXRect& r) {
//     kernel(r.dst, r.dst_stride, r.width, r.height, r.src, r.src_stride, table);
//     return true;
//   });
//
// open: both images present, of the routine's data types and of one band count; the band
// rule; the child check on (src1, dst) (zelkx_check_child_8 or _16, by the destination's
// data type); 3-band 8-bit images in the same byte lanes; origins and storage records
// (missing: refused silently); rows and pixels aligned to the element (4 bytes for 8-bit
// pixels of 3 and 4 bands). Nothing is written and no host object is held after open.
// run: the plane mask (and the raster op when given), ZeliGetRoiList(&roi, dst, src1, null,
// null) (none: the routine's report, 2), then one call per rectangle with alias byte
// addresses and byte strides; a call that returns false stops the walk with 2. The list and
// region are released in every case.
enum class ZelKXBandRule {
  one_three_four,  // 8-bit: 1, 3 or 4 bands, counted on src1
  one_on_src1,     // 1 band only, counted on src1
  one_on_dst,      // 1 band only, counted on dst
  any,             // no band test
};

enum class ZelKXMaskRule {
  destination,  // zelkx_plane_mask(dst, bands)
  three_bands,  // every 3-band image protects its spare byte (0x00ffffff, or 0xffffff00 in
                // bytes 0..2); otherwise all ones
  unchanged,    // none set: 16-bit and 1-byte pixel stores ignore the plane mask
};

struct ZelKXOneSource {
  const char* file;         // "AddConst8KX"
  ZelKXReport list_report;  // made when the host gives no rectangle list
  bool report_on_dst;       // on the destination's system state, else on src1's
  int src_type, dst_type;   // data types: 1 = 8-bit, 2 = 16-bit
  ZelKXBandRule bands;
  ZelKXMaskRule mask;
  bool band_words;  // 16-bit: a rectangle row is width x bands words (pixels packed)
};

// A rectangle as a kernel takes it: alias byte addresses, signed byte strides, width in
// kernel elements (pixels, or words with band_words), height in rows.
struct ZelKXRect {
  uint32_t dst;
  int32_t dst_stride;
  int32_t width, height;
  uint32_t src;
  int32_t src_stride;
};

class ZelKXOneSourceFrame {
 public:
  int open(ZelOp* op, const ZelKXOneSource& routine);  // 0, or 2 (refused silently)

  ZelImage* src() const { return images_[0].image; }
  ZelImage* dst() const { return images_[1].image; }
  unsigned bands() const { return bands_; }  // of src1
  // The byte of a 4-byte pixel that holds band 0 of the 8-bit image(s): 1 for the usual
  // 3-band layout, 0 for 4 bands and for bands 0..2 of a 4-band image (zelkx_band_lane);
  // 0 for 1 band and 16-bit images.
  unsigned lane() const { return lane_; }
  // Raster op to set before the first kernel (bitwise routines); none by default.
  void setRasterOp(uint32_t code) {
    raster_op_ = code;
    has_raster_op_ = true;
  }

  int run(const std::function<bool(const ZelKXRect&)>& per_rect);

 private:
  const ZelKXOneSource* routine_ = nullptr;
  KXImage images_[2];  // src1, dst
  unsigned bands_ = 0, lane_ = 0;
  uint32_t raster_op_ = 0;
  bool has_raster_op_ = false;
};

#endif
