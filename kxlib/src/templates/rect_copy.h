// The walk of the whole-element copies: per row, runs of up to 32 elements loaded into r10
// and stored back, with no queue words.
#ifndef KXLIB_RECT_COPY_H
#define KXLIB_RECT_COPY_H

#include <cstdint>

#include "kx_X_page.h"
#include "sl_word.h"

namespace sl::copy {

struct Format {
  uint32_t type;
  uint32_t flags;
  uint32_t bytes_per_element;  // distance between elements
};

constexpr uint32_t kCopyReg = 10;

// One run of n elements from src to dst.
inline void run(const Format& f, uint32_t dst, uint32_t src, uint32_t n) {
  sl_mem_issue(src, mem_word(SL_LD, f.type, n, kCopyReg), f.flags);
  sl_mem_issue(dst, mem_word(SL_ST1, f.type, n, kCopyReg), f.flags);
}

inline void rows(const Format& f, uint32_t dst, int32_t dst_stride, int32_t width,
                 int32_t height, uint32_t src, int32_t src_stride) {
  if (width <= 0) return;
  const uint32_t chunk_bytes = kMemMax * f.bytes_per_element;
  for (int32_t row = 0; row < height; ++row) {
    uint32_t d = dst, s = src;
    uint32_t w = uint32_t(width);
    for (; w >= kMemMax; w -= kMemMax, d += chunk_bytes, s += chunk_bytes)
      run(f, d, s, kMemMax);
    if (w) run(f, d, s, w);
    dst += uint32_t(dst_stride);
    src += uint32_t(src_stride);
  }
}

}  // namespace sl::copy

#endif
