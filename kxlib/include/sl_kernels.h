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

// Plain copies.
void sl_rect_copy_8(SL_RECT_1SRC_ARGS);
void sl_rect_copy_16(SL_RECT_1SRC_ARGS);
void sl_rect_copy_32(SL_RECT_1SRC_ARGS);

#endif
