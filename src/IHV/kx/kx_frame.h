// The frame every compute routine shares: images, storage, plane mask, rectangles, reports.
#ifndef KX_FRAME_H
#define KX_FRAME_H

#include <cstdint>

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
  ZelKXDyadicKernel one_band;    // _8
  ZelKXDyadicKernel four_bytes;  // _32, for 3 and 4 bands
};
int zelkx_dyadic8(ZelOp* op, const ZelKXDyadic8& routine);

struct ZelKXDyadic16 {
  const char* file;
  int list_line;
  ZelKXStorageReports storage;
  bool bands_from_dst;       // the band count is read from the destination, else from src1
  ZelKXDyadicKernel kernel;  // _16
};
int zelkx_dyadic16(ZelOp* op, const ZelKXDyadic16& routine);

#endif
