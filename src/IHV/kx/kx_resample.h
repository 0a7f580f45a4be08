// Set-up of the resampling kernels: the source rectangle a destination rectangle needs
// (scale and translation clips), the bicubic weight table, and the bicubic wrappers that
// give a kernel call its table and scratch.
#ifndef KX_RESAMPLE_H
#define KX_RESAMPLE_H

#include <cstdint>

// The cubic convolution weight of the (B, C) = (0, 1/2) family (Catmull-Rom) at distance x
// from the sample: 1.5x^3 - 2.5x^2 + 1 below 1, -0.5x^3 + 2.5x^2 - 4x + 2 below 2, else 0
// (negative x too). Computed in double, returned as float.
float bc_coeff(float x);

// A new table of 256 rows (phases k/256) of four signed 16-bit weights in 1/256 for the
// pixels at -1, 0, +1, +2: trunc(256 bc_coeff(1 + t)), (t), (1 - t), (2 - t). malloc'd; the
// caller frees it. nullptr when memory cannot be had.
int16_t* make_CatMull_Rom_table();

// The source rectangle (*out_x, *out_y, *out_w, *out_h) a destination rectangle (x, y, w, h)
// needs: scaled by the reciprocal factors fx, fy (zelkx_clip_scale) or moved by -tx, -ty
// (zelkx_clip_trans), rounded at 0.499 toward zero; a start before the buffer (out + off < 0)
// moves to its edge keeping the size, then the size is cut at limit_w, limit_h (compared as
// unsigned numbers). off_x, off_y turn rectangle coordinates into buffer positions.
void zelkx_clip_scale(float fx, float fy, long x, long y, unsigned w, unsigned h,
                      unsigned limit_w, unsigned limit_h, long off_x, long off_y,
                      unsigned* out_w, unsigned* out_h, long* out_x, long* out_y);
void zelkx_clip_trans(float tx, float ty, long x, long y, unsigned w, unsigned h,
                      unsigned limit_w, unsigned limit_h, long off_x, long off_y,
                      unsigned* out_w, unsigned* out_h, long* out_x, long* out_y);

// What a bicubic kernel call needs besides its rectangles: the weight table and a scratch of
// (src_width + 8) x 32 bytes in whole pages, aliased. Obtained once, before a routine's first
// rectangle, so that a failure refuses with nothing written; released by the destructor.
class ZelKXBicubic {
 public:
  ZelKXBicubic() = default;
  ~ZelKXBicubic();
  ZelKXBicubic(const ZelKXBicubic&) = delete;
  ZelKXBicubic& operator=(const ZelKXBicubic&) = delete;

  int open(int32_t src_width);  // 0, or 2 with nothing held
  const int16_t* table() const { return table_; }
  uint32_t scratch() const { return scratch_alias_; }
  int32_t width() const { return width_; }  // the widest source it serves

 private:
  void release();
  int16_t* table_ = nullptr;
  void* scratch_ = nullptr;
  uint32_t scratch_alias_ = 0, scratch_size_ = 0;
  int32_t width_ = 0;
};

// One bicubic kernel call for pixels of one byte, one 16-bit element, three bands in bytes
// 1..3 (three lane calls) or four bands (four lane calls). With `prepared` null the wrapper
// obtains and releases its own table and scratch. 0, or 2 (nothing written) when the table
// or the scratch cannot be had or `prepared` is narrower than the source.
#define ZELKX_CUBRESIZ_ARGS                                                           \
  uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src,      \
      int32_t src_stride, int32_t src_width, int32_t src_height, const float *matrix, \
      const ZelKXBicubic *prepared
int cubresiz_8(ZELKX_CUBRESIZ_ARGS = nullptr);
int cubresiz_16(ZELKX_CUBRESIZ_ARGS = nullptr);
int cubresiz_24(ZELKX_CUBRESIZ_ARGS = nullptr);
int cubresiz_32(ZELKX_CUBRESIZ_ARGS = nullptr);

#endif
