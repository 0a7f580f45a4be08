#include "kx_resample.h"

#include <unistd.h>

#include <cstdlib>

#include "kx_sys.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

float bc_coeff(float x) {
  constexpr double C = 0.5;
  const double d = x;
  if (x >= 0.0f && d < 1.0) {
    return float(((12 - 6 * C) * d * d * d + (-18 + 6 * C) * d * d + 6) / 6);
  }
  if (d >= 1.0 && d < 2.0) {
    return float((-6 * C * d * d * d + 30 * C * d * d - 48 * C * d + 24 * C) / 6);
  }
  return 0.0f;
}

int16_t* make_CatMull_Rom_table() {
  auto* table = static_cast<int16_t*>(std::malloc(2048));
  if (table == nullptr) return nullptr;
  float t = 0.0f;
  for (int row = 0; row < 256; ++row, t += 1.0f / 256) {
    const float at[4] = {1 + t, t, 1 - t, 2 - t};
    for (int k = 0; k < 4; ++k) table[4 * row + k] = int16_t(int(256.0f * bc_coeff(at[k])));
  }
  return table;
}

namespace {

// Steps 3 and 4 of both clips: a start before the buffer moves to its edge, then the size is
// cut at the limit.
void limit(long off, unsigned limit, long* out, unsigned* size) {
  if (*out + off < 0) *out = -off;
  if (unsigned(*out + off) + *size >= limit) *size = limit - unsigned(*out + off);
}

}  // namespace

void zelkx_clip_scale(float fx, float fy, long x, long y, unsigned w, unsigned h,
                      unsigned limit_w, unsigned limit_h, long off_x, long off_y,
                      unsigned* out_w, unsigned* out_h, long* out_x, long* out_y) {
  *out_w = unsigned(float(double(fx * float(w)) + 0.499));
  *out_h = unsigned(float(double(fy * float(h)) + 0.499));
  *out_x = long(double(float(x) * fx) + 0.499);
  *out_y = long(double(float(y) * fy) + 0.499);
  limit(off_x, limit_w, out_x, out_w);
  limit(off_y, limit_h, out_y, out_h);
}

void zelkx_clip_trans(float tx, float ty, long x, long y, unsigned w, unsigned h,
                      unsigned limit_w, unsigned limit_h, long off_x, long off_y,
                      unsigned* out_w, unsigned* out_h, long* out_x, long* out_y) {
  *out_w = unsigned(double(w) + 0.499);
  *out_h = unsigned(double(h) + 0.499);
  *out_x = long(double(float(x) - tx) + 0.499);
  *out_y = long(double(float(y) - ty) + 0.499);
  limit(off_x, limit_w, out_x, out_w);
  limit(off_y, limit_h, out_y, out_h);
}

ZelKXBicubic::~ZelKXBicubic() {
  release();
}

void ZelKXBicubic::release() {
  if (scratch_alias_ != 0) sl_ctx_unspamify(scratch_alias_, scratch_size_);  // waits
  std::free(scratch_);
  std::free(table_);
  table_ = nullptr, scratch_ = nullptr, scratch_alias_ = 0, scratch_size_ = 0, width_ = 0;
}

int ZelKXBicubic::open(int32_t src_width) {
  release();
  const long page = kx_sys_sysconf(_SC_PAGESIZE);
  if (src_width < 0 || src_width > (1 << 24) || page <= 0) return 2;
  const uint32_t bytes = (uint32_t(src_width) + 8) * 32;
  scratch_size_ = uint32_t((bytes + uint32_t(page) - 1) / uint32_t(page) * uint32_t(page));
  table_ = make_CatMull_Rom_table();
  scratch_ = table_ != nullptr ? valloc(scratch_size_) : nullptr;
  const uint32_t alias =
      scratch_ != nullptr ? sl_ctx_spamify(scratch_, scratch_size_) : SL_ALIAS_FAILED;
  if (alias == SL_ALIAS_FAILED) {
    release();
    return 2;
  }
  scratch_alias_ = alias;
  width_ = src_width;
  return 0;
}

namespace {

// The kernel on each byte lane given (a whole-element kernel: lane 0 only).
template <void (*Kernel)(SL_RESIZE_ARGS, const int16_t*, int32_t, uint32_t)>
int lanes(uint32_t first, uint32_t count, ZELKX_CUBRESIZ_ARGS) {
  ZelKXBicubic own;
  if (prepared == nullptr) {
    if (own.open(src_width) != 0) return 2;
    prepared = &own;
  }
  if (prepared->table() == nullptr || prepared->width() < src_width) return 2;
  for (uint32_t lane = first; lane < first + count; ++lane) {
    Kernel(dst + lane, dst_stride, width, height, src + lane, src_stride, src_width, src_height,
           matrix, prepared->table(), 256, prepared->scratch());
  }
  return 0;
}

}  // namespace

int cubresiz_8(ZELKX_CUBRESIZ_ARGS) {
  return lanes<sl_rect_cubresiz_8>(0, 1, dst, dst_stride, width, height, src, src_stride,
                                   src_width, src_height, matrix, prepared);
}
int cubresiz_16(ZELKX_CUBRESIZ_ARGS) {
  return lanes<sl_rect_cubresiz_16>(0, 1, dst, dst_stride, width, height, src, src_stride,
                                    src_width, src_height, matrix, prepared);
}
int cubresiz_24(ZELKX_CUBRESIZ_ARGS) {
  return lanes<sl_rect_cubresiz_32>(1, 3, dst, dst_stride, width, height, src, src_stride,
                                    src_width, src_height, matrix, prepared);
}
int cubresiz_32(ZELKX_CUBRESIZ_ARGS) {
  return lanes<sl_rect_cubresiz_32>(0, 4, dst, dst_stride, width, height, src, src_stride,
                                    src_width, src_height, matrix, prepared);
}
