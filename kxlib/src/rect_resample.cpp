// The resampling kernels: nearest neighbour, whole-number magnification, bilinear, bicubic,
// affine and rotate-scale-translate, each family one walk in three formats.
#include "templates/rect_resample.h"

#include "sl_kernels.h"

#define SL_RESIZE_ARGS_VALUES \
  dst, dst_stride, width, height, src, src_stride, src_width, src_height, matrix

#define SL_RESAMPLE_SIZE(size)                                                             \
  void sl_rect_nearresiz_##size(SL_RESIZE_ARGS) {                                          \
    sl::resample::nearest::walk(sl::resample::k##size,                                     \
                                sl::resample::Args{SL_RESIZE_ARGS_VALUES});                \
  }                                                                                        \
  void sl_rect_nearintresiz_##size(SL_RESIZE_ARGS) {                                       \
    sl::resample::replicate::walk(sl::resample::k##size,                                   \
                                  sl::resample::Args{SL_RESIZE_ARGS_VALUES});              \
  }                                                                                        \
  void sl_rect_linresiz_##size(SL_RESIZE_ARGS) {                                           \
    sl::resample::bilinear::walk(sl::resample::k##size,                                    \
                                 sl::resample::Args{SL_RESIZE_ARGS_VALUES});               \
  }                                                                                        \
  void sl_rect_cubresiz_##size(SL_RESIZE_ARGS, const int16_t* table, int32_t phases,       \
                               uint32_t scratch) {                                         \
    sl::resample::bicubic::walk(sl::resample::k##size,                                     \
                                sl::resample::Args{SL_RESIZE_ARGS_VALUES}, table, phases,  \
                                scratch);                                                  \
  }                                                                                        \
  void sl_rect_affine_##size(SL_RECT_1SRC_ARGS, int32_t src_width, int32_t src_height,     \
                             uint32_t, const float* matrix) {                              \
    sl::resample::affine::walk(sl::resample::k##size, dst, dst_stride, width, height, src, \
                               src_stride, src_width, src_height, matrix);                 \
  }                                                                                        \
  void sl_rect_rst_##size(SL_RECT_1SRC_ARGS, int32_t src_width, int32_t src_height,        \
                          uint32_t ninth, float degrees, float cx, float cy, float gx,     \
                          float gy, float ox, float oy) {                                  \
    float matrix[6];                                                                       \
    sl::resample::affine::rst_matrix(degrees, cx, cy, gx, gy, ox, oy, matrix);             \
    sl_rect_affine_##size(dst, dst_stride, width, height, src, src_stride, src_width,      \
                          src_height, ninth, matrix);                                      \
  }
SL_RESAMPLE_SIZE(8)
SL_RESAMPLE_SIZE(16)
SL_RESAMPLE_SIZE(32)
#undef SL_RESAMPLE_SIZE
