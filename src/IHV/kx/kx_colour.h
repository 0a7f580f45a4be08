// Colour conversion: the conversion table, one function per row and data type, and the data
// the rows use. A row converts one rectangle of 4-byte (or, for ylinear, one-byte) pixels;
// addresses are alias byte addresses of the rectangles' first pixels, strides in bytes. The
// 8-bit functions return 0, or 2 when the processor cannot reach a table they need; the
// 16-bit ones convert nothing and return 2.
//
// Bands, as the coefficient tables and the cmyk kernels fix them: rgb blue, green, red in
// bytes 1, 2, 3 of a pixel; ycc601, ycc709 and photoycc luma, blue difference, red
// difference in bytes 1, 2, 3; cmyk cyan, magenta, yellow, black in bytes 0..3.
#ifndef KX_COLOUR_H
#define KX_COLOUR_H

#include <cstdint>

#include "zel.h"

// The colour spaces by the names the conversion functions carry.
namespace kx_space {
enum : int {
  rgblinear = ZEL_CS_RGBLINEAR,
  rgb709 = ZEL_CS_RGB709,
  photoycc = ZEL_CS_PHOTOYCC,
  ycc601 = ZEL_CS_YCC601,
  ycc709 = ZEL_CS_YCC709,
  ylinear = ZEL_CS_YLINEAR,
  cmyk = ZEL_CS_CMYK,
};
}

#define ZELS_ARGS                                                                  \
  uint32_t src, uint32_t dst, unsigned width, unsigned height, int32_t src_stride, \
      int32_t dst_stride
typedef int (*ZelKXColourFunction)(ZELS_ARGS);
// The arguments of ZELS_ARGS, passed on.
#define ZELS_VALUES src, dst, width, height, src_stride, dst_stride

#define KX_COLOUR(from, to, ...)         \
  int zels_##from##2##to##_8(ZELS_ARGS); \
  int zels_##from##2##to##_16(ZELS_ARGS);
#include "kx_colour.def"

// The 16-bit function of a row: it converts nothing.
#define ZELS_REFUSED_16(from, to)                                                         \
  int zels_##from##2##to##_16(uint32_t, uint32_t, unsigned, unsigned, int32_t, int32_t) { \
    return 2;                                                                             \
  }

// A row of the conversion table: the key (source opcode << 16 | destination opcode) and
// the functions for 8-bit and 16-bit images. The table ends with a row of zeros.
struct ZelKXColourRow {
  uint32_t key;
  ZelKXColourFunction convert8;
  ZelKXColourFunction convert16;
};
extern const ZelKXColourRow CSoperation[];

// The BT.709 transfer curve and its inverse as 256-byte tables (entry i = the curve at
// i / 255, times 255, rounded half up).
extern const unsigned char _L2NLbtable[256];
extern const unsigned char _NL2Lbtable[256];

// What the rows share. A transform row truncates its twelve coefficients (a 3 x 3 matrix
// row by row, then three offsets, 8 fraction bits) toward zero and runs sl_rect_trf24_32.
// A table row puts its transfer table in a page of its own that the processor can reach,
// then runs sl_rect_lut24_24, or with coefficients (16 fraction bits, whole offsets)
// sl_rect_luttrf24_32; 2 when the page cannot be had or aliased.
int zelkx_colour_transform(const float coefficients[12], ZELS_ARGS);
int zelkx_colour_table(const unsigned char table[256], const float* coefficients, ZELS_ARGS);

#endif
