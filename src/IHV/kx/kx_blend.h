// The blend routines and painting: two sources mixed under a one-band alpha image by the
// blend kernels, dst = src1 + alpha (x) (src2 - src1) (the kernels take src2 as their s1).
#ifndef KX_BLEND_H
#define KX_BLEND_H

#include "kx_frame.h"
#include "sl_kernels.h"

typedef void (*ZelKXBlendKernel)(SL_RECT_BLEND_ARGS);

struct ZelKXBlend {
  const char* file;             // "Blend8KX"
  int list_line;                // "di-12", category 1, on the destination's state
  int pixel_type;               // of src1, src2 and dst: 1 = 8-bit, 2 = 16-bit
  int alpha_type;               // of the alpha image
  bool src1_bands_check;        // src1 has 1, 3 or 4 bands (the 8-bit routines)
  bool dst_one_band;            // the destination has 1 band
  ZelKXBlendKernel one_band;    // one element a pixel
  ZelKXBlendKernel four_bytes;  // 3 and 4 bands of 8-bit pixels, or nullptr
};

int zelkx_blend(ZelOp* op, const ZelKXBlend& routine);

// Whether a blend kernel can write the destination through the plane mask in force: every
// byte of a band written, no byte of another image's band touched. Only whole 4-byte pixels
// pass the mask; a 3-band image must keep its bands in bytes 1..3.
bool zelkx_blend_mask_fits(ZelImage* dst, unsigned bands);

// Whether a storage record walks as the blend kernels do: one element a pixel, or whole
// 4-byte pixels, rows aligned to the element.
bool zelkx_blend_walks(const KXImage& image, uint32_t element, uint32_t pixel_stride);

// Releases what painting keeps between calls (with the device object).
void zelkx_paint_release();

#endif
