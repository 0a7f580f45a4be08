// The rectangle kernels: each turns one rectangle of one operation into instruction words.
//
// Addresses are alias byte addresses of the rectangles' top-left pixels, strides signed byte
// distances between rows, width in pixels (16-bit words for _16) and height in rows. Kernels
// never validate their arguments, never wait for the processor and never fail.
#ifndef SL_KERNELS_H
#define SL_KERNELS_H

#include <cstdint>

#define SL_RECT_2SRC_ARGS                                                         \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src1, \
      int32_t src1_stride, uint32_t src2, int32_t src2_stride
#define SL_RECT_1SRC_ARGS                                                        \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src, \
      int32_t src_stride

// Two-source arithmetic (sl_rect_add_8, ...) and arithmetic with a constant (sl_rect_adds_8,
// ...). For _8 and _16 `value` points at one word; for _32 at four, one per byte channel.
#define SL_DYADIC(name, ...)                   \
  void sl_rect_##name##_8(SL_RECT_2SRC_ARGS);  \
  void sl_rect_##name##_16(SL_RECT_2SRC_ARGS); \
  void sl_rect_##name##_32(SL_RECT_2SRC_ARGS);
#define SL_CONSTANT(name, ...)                                       \
  void sl_rect_##name##_8(SL_RECT_1SRC_ARGS, const int32_t* value);  \
  void sl_rect_##name##_16(SL_RECT_1SRC_ARGS, const int32_t* value); \
  void sl_rect_##name##_32(SL_RECT_1SRC_ARGS, const int32_t* value);
#include "sl_pointwise.def"

// Scaled multiply: dst = (src * m) >> 8 >> s, m and s per channel for _32.
void sl_rect_muls_8(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift);
void sl_rect_muls_16(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift);
void sl_rect_muls_32(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift);

// Bitwise combination through the raster-op register: two images, or an image and a
// constant (for _32 one word: the whole 4-byte pixel).
void sl_rect_bool_8(SL_RECT_2SRC_ARGS);
void sl_rect_bool_16(SL_RECT_2SRC_ARGS);
void sl_rect_bool_32(SL_RECT_2SRC_ARGS);
void sl_rect_bools_8(SL_RECT_1SRC_ARGS, const int32_t* value);
void sl_rect_bools_16(SL_RECT_1SRC_ARGS, const int32_t* value);
void sl_rect_bools_32(SL_RECT_1SRC_ARGS, const int32_t* value);

// Copies: plain, through the raster-op register (source combined with the destination),
// right to left (bottom row first, for overlaps where the destination lies after the
// source), and the four-word fast copy of 4-byte pixels.
void sl_rect_copy_8(SL_RECT_1SRC_ARGS);
void sl_rect_copy_16(SL_RECT_1SRC_ARGS);
void sl_rect_copy_32(SL_RECT_1SRC_ARGS);
void sl_rect_copy_8_rop(SL_RECT_1SRC_ARGS);
void sl_rect_copy_16_rop(SL_RECT_1SRC_ARGS);
void sl_rect_copy_32_rop(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_8(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_16(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_32(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_8_rop(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_16_rop(SL_RECT_1SRC_ARGS);
void sl_rect_copyrl_32_rop(SL_RECT_1SRC_ARGS);
void sl_rect_fcopy_32(SL_RECT_1SRC_ARGS);

// Channel copies. `32c` is one byte channel of 4-byte pixels (the address's low two bits
// pick it), `48c` one 16-bit channel of three-channel 16-bit pixels.
void sl_rect_copy_32c(SL_RECT_1SRC_ARGS);
void sl_rect_copy_8_32c(SL_RECT_1SRC_ARGS);
void sl_rect_copy_32c_8(SL_RECT_1SRC_ARGS);
void sl_rect_copy_48c_16(SL_RECT_1SRC_ARGS);
void sl_rect_copy_16_48c(SL_RECT_1SRC_ARGS);
// Bytes 1, 2, 3 of 4-byte pixels to three-channel 16-bit pixels.
void sl_rect_convert_8_16_3(SL_RECT_1SRC_ARGS);

// Fills with the foreground register (sl_ctx_foreground_set), plainly or through the
// raster-op register (the foreground combined with the destination).
#define SL_RECT_FILL_ARGS uint32_t dst, int32_t dst_stride, int32_t width, int32_t height
void sl_rect_fill_8(SL_RECT_FILL_ARGS);
void sl_rect_fill_16(SL_RECT_FILL_ARGS);
void sl_rect_fill_32(SL_RECT_FILL_ARGS);
void sl_rect_fill_32c(SL_RECT_FILL_ARGS);
void sl_rect_fill_8_rop(SL_RECT_FILL_ARGS);
void sl_rect_fill_16_rop(SL_RECT_FILL_ARGS);
void sl_rect_fill_32_rop(SL_RECT_FILL_ARGS);
void sl_rect_fill_32c_rop(SL_RECT_FILL_ARGS);
// Bitmaps: `dst` is the 32-bit word holding the row's first bit, `x` the rectangle's left
// edge in bits from that word's most significant bit; width in bits.
void sl_rect_fill_1(uint32_t dst, int32_t x, int32_t dst_stride, int32_t width, int32_t height);
void sl_rect_fill_1_rop(uint32_t dst, int32_t x, int32_t dst_stride, int32_t width,
                        int32_t height);
void sl_span_fill_8(uint32_t dst, int32_t count);
void sl_span_fill_16(uint32_t dst, int32_t count);
void sl_span_fill_32(uint32_t dst, int32_t count);
void sl_span_fill_32c(uint32_t dst, int32_t count);
void sl_span_fill_8_rop(uint32_t dst, int32_t count);
void sl_span_fill_16_rop(uint32_t dst, int32_t count);
void sl_span_fill_32_rop(uint32_t dst, int32_t count);
void sl_span_fill_32c_rop(uint32_t dst, int32_t count);

// Transforms with 8 fraction bits. Single channel: dst = (src * scale + offset) >> 8,
// saturated. trf24_32: bytes 1..3 of 4-byte pixels, 12 coefficients (a 3 x 3 matrix row by
// row, then 3 offsets, all x 256); byte 0 is written back as read. trf32_32: all four bytes,
// 20 coefficients (4 x 4 matrix, then 4 offsets, all x 256). trf16_16_3: three-channel
// 16-bit pixels, 12 coefficients (matrix x 256, then 3 offsets in whole units).
void sl_rect_trf8_8(SL_RECT_1SRC_ARGS, int32_t scale, int32_t offset);
void sl_rect_trf16_16(SL_RECT_1SRC_ARGS, int32_t scale, int32_t offset);
void sl_rect_trf24_32(SL_RECT_1SRC_ARGS, const int32_t* coefficients);
void sl_rect_trf32_32(SL_RECT_1SRC_ARGS, const int32_t* coefficients);
void sl_rect_trf16_16_3(SL_RECT_1SRC_ARGS, const int32_t* coefficients);

// Convolutions of one rectangle. `src` is the source pixel (0, 0), `limit_width` x
// `limit_height` the source's extent and (x, y) the rectangle's place in it; the rectangle
// is clipped to the extent, and its sides are the image's edges. Square kernels take N x N
// coefficients row by row, coefficient k multiplying the pixel at row k / N, column k % N of
// the neighbourhood (callers mirror a true convolution's kernel); separable kernels take a
// horizontal and a vertical vector of N. Coefficients are taken x 256 (f) or x 65536 (h),
// truncated toward zero. `mode`: 1 repeats the edge pixels outwards, 0 fills the border
// (the r = N / 2 outermost rows and columns) with zero, -1 leaves it unwritten. `_8` one
// byte a pixel, `_16` signed 16-bit pixels, `_32c` the byte channel of 4-byte pixels that
// the addresses' low two bits pick.
#define SL_CONVOLVE_ARGS                                                         \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src, \
      int32_t src_stride, int32_t limit_width, int32_t limit_height, int32_t x, int32_t y

// Members: X(name, N, fraction bits f or h, format) and X(name, N, format).
// clang-format off
#define SL_SQUARE_CONVOLUTIONS(X) \
  X(cnv3x3f_8, 3, f, 8)     \
  X(cnv3x3f_16, 3, f, 16)   \
  X(cnv3x3f_32c, 3, f, 32c) \
  X(cnv3x3h_8, 3, h, 8)     \
  X(cnv3x3h_16, 3, h, 16)   \
  X(cnv3x3h_32c, 3, h, 32c) \
  X(cnv5x5f_8, 5, f, 8)     \
  X(cnv5x5f_16, 5, f, 16)   \
  X(cnv5x5f_32c, 5, f, 32c) \
  X(cnv5x5h_8, 5, h, 8)     \
  X(cnv5x5h_16, 5, h, 16)   \
  X(cnv5x5h_32c, 5, h, 32c) \
  X(cnv7x7f_8, 7, f, 8)     \
  X(cnv7x7f_16, 7, f, 16)   \
  X(cnv7x7f_32c, 7, f, 32c) \
  X(cnv7x7h_8, 7, h, 8)     \
  X(cnv7x7h_16, 7, h, 16)   \
  X(cnv7x7h_32c, 7, h, 32c)
#define SL_SEPARABLE_CONVOLUTIONS(X) \
  X(scnv3x3f_8, 3, 8)     \
  X(scnv3x3f_16, 3, 16)   \
  X(scnv3x3f_32c, 3, 32c) \
  X(scnv5x5f_8, 5, 8)     \
  X(scnv5x5f_16, 5, 16)   \
  X(scnv5x5f_32c, 5, 32c) \
  X(scnv7x7f_8, 7, 8)     \
  X(scnv7x7f_16, 7, 16)   \
  X(scnv7x7f_32c, 7, 32c)
// clang-format on

#define SL_SQUARE_CONVOLUTION(name, n, bits, fmt) \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* coef, int32_t mode);
#define SL_SEPARABLE_CONVOLUTION(name, n, fmt) \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* hcoef, const float* vcoef, int32_t mode);
SL_SQUARE_CONVOLUTIONS(SL_SQUARE_CONVOLUTION)
SL_SEPARABLE_CONVOLUTIONS(SL_SEPARABLE_CONVOLUTION)
#undef SL_SQUARE_CONVOLUTION
#undef SL_SEPARABLE_CONVOLUTION

// Lookups: each pixel of the source indexes a table in processor-addressable memory at an
// 8-aligned alias address `table`; the processor fetches the entries itself. In the name, the
// source's bits, then the entry's: `lut8_16` maps 8-bit pixels through 256 16-bit entries.
// Entries are stored as the destination's elements (16-bit entries unsigned, so values of
// 0x8000 and above survive). 16-bit sources index by their value taken as unsigned (-1 reads
// entry 65535); `lut12_16` by the low 12 bits of each 16-bit pixel (4096 entries).
// `lut8_32_4` writes a 4-byte entry per 8-bit pixel through the plane mask; `lut24_24` passes
// all four bytes of each 4-byte pixel through one 256-byte table; `lut32_32` passes byte k
// of each 4-byte pixel through its own 256-byte table at table + 256k.
#define SL_LOOKUP(name) void sl_rect_##name(SL_RECT_1SRC_ARGS, uint32_t table);
SL_LOOKUP(lut8_8)
SL_LOOKUP(lut8_16)
SL_LOOKUP(lut8_32)
SL_LOOKUP(lut12_16)
SL_LOOKUP(lut16_16)
SL_LOOKUP(lut16_32)
SL_LOOKUP(lut16_8)
SL_LOOKUP(lut8_32_4)
SL_LOOKUP(lut32_32)
SL_LOOKUP(lut24_24)
#undef SL_LOOKUP

// Colour transforms. trf24_8: one byte a pixel, c0 + ((c1 * byte 1) >> 8) + ((c2 * byte 2)
// >> 8) + ((c3 * byte 3) >> 8) of the 4-byte source pixel, saturated to 0..255 (each term
// rounds toward minus infinity); trf32_8 the same over bytes 0..3 with c1..c4.
// luttrf24_32: bytes 1..3 each looked up in a 256-byte table, then transformed with 12
// coefficients of 16 fraction bits (offsets in whole units), each term rounding down.
// trflut24_32: transformed as trf24_32, clamped to 0..255, then looked up in the table.
// Byte 0 of a 4-byte destination pixel is written back as the source pixel's byte 0.
void sl_rect_trf24_8(SL_RECT_1SRC_ARGS, int32_t c0, int32_t c1, int32_t c2, int32_t c3);
void sl_rect_trf32_8(SL_RECT_1SRC_ARGS, int32_t c0, int32_t c1, int32_t c2, int32_t c3,
                     int32_t c4);
void sl_rect_luttrf24_32(SL_RECT_1SRC_ARGS, uint32_t table, const int32_t* coefficients);
void sl_rect_trflut24_32(SL_RECT_1SRC_ARGS, uint32_t table, const int32_t* coefficients);

// Fixed colour kernels on 4-byte pixels with blue, green, red in bytes 1, 2, 3 and cyan,
// magenta, yellow, black in bytes 0..3. rgb2cmyk_32: C, M, Y = 255 - R, G, B and K = 0.
// cmyk2rgb_32: R, G, B = 255 - C, M, Y - K, saturated at 0; byte 0 written back as read.
// rgbcmyk_8888 writes the four results to four byte planes (plane k at dst + k *
// plane_stride, each with the row stride dst_stride); cmykrgb_32 reads four such planes
// (at src + k * plane_stride) and writes bytes 1..3 of the destination pixels, keeping
// byte 0.
void sl_rect_rgb2cmyk_32(SL_RECT_1SRC_ARGS);
void sl_rect_cmyk2rgb_32(SL_RECT_1SRC_ARGS);
void sl_rect_rgbcmyk_8888(SL_RECT_1SRC_ARGS, int32_t plane_stride);
void sl_rect_cmykrgb_32(SL_RECT_1SRC_ARGS, int32_t plane_stride);

// Blends: dst = s2 + alpha (x) (s1 - s2) element by element, with an alpha rectangle of
// its own (address and stride). In the name, alpha's bits, then the pixel's: 8-bit alpha
// (0..255) multiplies as (alpha * d) >> 8, 16-bit alpha (0..65535) as (alpha * d) >> 16,
// rounding toward minus infinity, d = s1 - s2 exact. 16-bit pixels are taken as unsigned.
// blend32_32 blends the four bytes of each 4-byte pixel under one alpha byte a pixel.
// blend16_8 rounds its alpha stride down to a multiple of 2.
#define SL_RECT_BLEND_ARGS                                                      \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t s1, \
      int32_t s1_stride, uint32_t s2, int32_t s2_stride, uint32_t alpha, int32_t alpha_stride
void sl_rect_blend8_8(SL_RECT_BLEND_ARGS);
void sl_rect_blend8_16(SL_RECT_BLEND_ARGS);
void sl_rect_blend16_8(SL_RECT_BLEND_ARGS);
void sl_rect_blend16_16(SL_RECT_BLEND_ARGS);
void sl_rect_blend32_32(SL_RECT_BLEND_ARGS);

// Extrema: fold the rectangle's smallest and largest pixel into the running values (one
// float each; four, one per byte channel, for _32). The only kernels that wait.
void sl_rect_extrema_8(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                       float* min, float* max);
void sl_rect_extrema_16(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                        float* min, float* max);
void sl_rect_extrema_32(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                        float* min, float* max);

// Threshold maps: a pixel p with lo <= p <= hi takes the map value, every other pixel is
// copied; lo and hi are the thresholds plus 0.999, truncated.
void sl_rect_mapthresh_8(SL_RECT_1SRC_ARGS, const float* low, const float* high,
                         const float* map);
void sl_rect_mapthresh_16(SL_RECT_1SRC_ARGS, const float* low, const float* high,
                          const float* map);

// Flips: the source rectangle copied with its pixels re-ordered, no value changed. width x
// height is the destination; the source is width x height for v, h and 180, height pixels
// wide and width rows high for d, b, 90 and 270. With dst[y][x] the destination pixel in
// row y, column x, W = width and H = height:
//   v    dst[y][x] = src[H-1-y][x]          h    dst[y][x] = src[y][W-1-x]
//   d    dst[y][x] = src[x][y]              b    dst[y][x] = src[W-1-x][H-1-y]
//   90   dst[y][x] = src[x][H-1-y]  (the right-hand source column becomes the top row)
//   180  dst[y][x] = src[H-1-y][W-1-x]
//   270  dst[y][x] = src[W-1-x][y]  (the left-hand column, read bottom to top, the top row)
// `_8` one byte a pixel, `_16` one 16-bit element, `_32` one 4-byte pixel (through the plane
// mask). Strides may be negative; `_16` and `_32` round them down to whole elements. An empty
// rectangle issues nothing.
#define SL_FLIP(t)                               \
  void sl_rect_flip_##t##_8(SL_RECT_1SRC_ARGS);  \
  void sl_rect_flip_##t##_16(SL_RECT_1SRC_ARGS); \
  void sl_rect_flip_##t##_32(SL_RECT_1SRC_ARGS);
SL_FLIP(v)
SL_FLIP(h)
SL_FLIP(d)
SL_FLIP(b)
SL_FLIP(90)
SL_FLIP(180)
SL_FLIP(270)
#undef SL_FLIP

// Resampling. `matrix` points at six floats {a, b, tx, c, d, ty}: destination = (a x + b y +
// tx, c x + d y + ty) for a source point (x, y), both relative to the rectangles' top-left
// pixels. src_width x src_height is the source rectangle, width x height the destination.
// `_8` one byte a pixel, `_16` 16-bit elements (taken as unsigned by the interpolating
// kernels), `_32` 4-byte pixels: whole pixels for the nearest-neighbour and affine kernels,
// the byte lane the addresses' low two bits pick for linresiz and cubresiz.
//
// The resize kernels read a (horizontal scale), d (vertical scale), tx and ty. An offset is
// truncated toward zero after adding 0.4999 (nearest neighbour) or as it is (bilinear,
// bicubic); a non-negative one moves the destination start, a negative one the source start.
// The output covers cols = (int)(a x source width) columns (likewise rows), clipped to the
// destination and to the source pixels left (bilinear keeps one column and row in reserve
// for its right and lower neighbours, bicubic two), and nothing is written past it. Positions
// are 16.16: the column step is n / cols + 1/65536 for the n source columns used (rows:
// nrows / rows), starting at the fraction of |tx| (|ty|); positions that a start fraction
// carries past the last source row keep that row. Nearest neighbour takes the pixel a
// position lies in; bilinear weighs the two neighbours by the top 8 fraction bits (upper +
// (lower - upper) w, x 256, then left + ((right - left) w >> 8)) and truncates the 8
// fraction bits at the store.
// cubresiz sums 4 x 4 neighbours (rows and columns -1..+2 around the pixel a position lies
// in; position 0 is source pixel 0, without a start fraction; offsets truncate; two columns
// and rows in reserve) with the weights of the position's phase: row (position >> 8) & 255
// of `table`, `phases` (256) rows of four signed 16-bit weights in units of 1/256, a host
// array. Vertically the sums are exact and stored as 16-bit values in `scratch` (processor
// memory of (src_width + 8) x 32 bytes, page-aligned), clamped to 0..65535; horizontally each
// term is floored at 1/256 before it is added, and the result is floored and clamped at the
// store (0..255, 0..65535). The row above and the column left of the source are its first
// row and column repeated, unless a negative offset moved the start (then they are read).
// 16-bit pixels of 256 and more overflow the scratch.
// nearintresiz replicates every source pixel (int)(a + 0.4999) times across and (int)(d +
// 0.4999) times down, writing whole replications only; a factor outside 1..6 writes nothing.
#define SL_RESIZE_ARGS                                                           \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src, \
      int32_t src_stride, int32_t src_width, int32_t src_height, const float *matrix
// The affine kernels map each destination pixel back through the inverse matrix (16.16,
// truncated toward zero) to the source pixel its position lies in, and leave it unwritten
// when that pixel is outside the source (x < 0, y < 0, x > src_width - 1, y > src_height - 1).
// The source is read at src rounded down to 8 bytes: callers pass 8-aligned sources. The
// ninth argument is not read. rst builds the matrix of a rotation by `degrees` about (cx,
// cy), scales (gx, gy) and offset (ox, oy): a = cos gx, b = -sin gy, c = sin gx, d = cos gy,
// tx = cx (1 - cos gx) + sin gy cy + ox gx, ty = cy (1 - cos gy) - sin gx cx + oy gy.
#define SL_RESAMPLE(size)                                                              \
  void sl_rect_nearresiz_##size(SL_RESIZE_ARGS);                                       \
  void sl_rect_nearintresiz_##size(SL_RESIZE_ARGS);                                    \
  void sl_rect_linresiz_##size(SL_RESIZE_ARGS);                                        \
  void sl_rect_cubresiz_##size(SL_RESIZE_ARGS, const int16_t* table, int32_t phases,   \
                               uint32_t scratch);                                      \
  void sl_rect_affine_##size(SL_RECT_1SRC_ARGS, int32_t src_width, int32_t src_height, \
                             uint32_t ninth, const float* matrix);                     \
  void sl_rect_rst_##size(SL_RECT_1SRC_ARGS, int32_t src_width, int32_t src_height,    \
                          uint32_t ninth, float degrees, float cx, float cy, float gx, \
                          float gy, float ox, float oy);
SL_RESAMPLE(8)
SL_RESAMPLE(16)
SL_RESAMPLE(32)
#undef SL_RESAMPLE

#endif
