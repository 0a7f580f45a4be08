// The walks of the fill family. Solid fills replicate the foreground r9 into the pattern
// pair r10:r11 and issue SL_FILL words naming r10. Raster-op fills replicate it into
// r10..r41 (r10..r18 for packed bytes), and per chunk load the destination into r42,
// combine r42 = rop(foreground, r42) and store r42 back. Bitmap fills write their edge
// words through the fill bit mask M, and set M back to 0 before they return.
#ifndef KXLIB_RECT_FILL_H
#define KXLIB_RECT_FILL_H

#include <algorithm>
#include <cstdint>

#include "templates/rect_copy.h"

namespace sl::fill {

using copy::Side;

inline constexpr uint32_t kForegroundReg = 9;
inline constexpr uint32_t kPatternReg = 10;  // the pair r10:r11, or the run r10..r41
inline constexpr uint32_t kDstReg = 42;      // raster-op forms load the destination here
inline constexpr uint32_t kFillMask = SL_CTX_STATUS;  // a store there loads M

// Solid fills do not advance the register (the pair is named by every piece) and keep r2.
constexpr uint32_t solid_flags(uint32_t flags) {
  return (flags & ~SPAM_ADVANCE) | SPAM_SAVE_R2;
}

inline constexpr Side kFillBytes{SL_T8, solid_flags(SPAM_T8), 1};
inline constexpr Side kFillPacked{SL_T8P, solid_flags(SPAM_T8P), 1};
inline constexpr Side kFillHalfwords{SL_T16R, solid_flags(SPAM_T16), 2};
inline constexpr Side kFillWords{SL_T32, solid_flags(SPAM_T32), 4};
inline constexpr Side kFillChannel{SL_T32C, solid_flags(SPAM_T32C), 4};

struct Format {
  Side span;        // solid spans, and rectangle rows unless they have byte edges
  bool byte_edges;  // rectangle rows: SL_T8 edges around an aligned SL_T32 middle
  Side combined;    // loads and stores of the raster-op forms
};

inline void replicate_pair(kx_ctx_t* ctx) {
  sl_queue(ctx, queue_word(SL_OP_SPREAD, 2, 0, kPatternReg, kForegroundReg));
}

// The raster-op forms combine each element with the foreground bits the solid fill of the
// same format writes there. Packed bytes meet their own lane of the foreground; a channel
// of 4-byte pixels is loaded into the low byte of its register, so the foreground is
// shifted to bring the channel's lane (dst & 3; rows of 4-byte pixels keep it) down there.
inline void replicate_run(kx_ctx_t* ctx, const Side& side, uint32_t dst) {
  if (side.type == SL_T8P) {
    sl_queue(ctx, queue_word(SL_OP_SPREAD, 9, 0, kPatternReg, kForegroundReg));
    return;
  }
  sl_queue2(ctx, queue_word(SL_OP_SPREAD, kQueueMax, 0, kPatternReg, kForegroundReg),
            queue_word(SL_OP_SPREAD, kQueueMax, 0, kPatternReg + kQueueMax, kForegroundReg));
  if (side.type == SL_T32C && (dst & 3) != 3) {
    const uint32_t shift = 8 * (3 - (dst & 3));
    sl_queue2(ctx, queue_word(SL_OP_SRLI, kQueueMax, kPatternReg, kPatternReg, shift),
              queue_word(SL_OP_SRLI, kQueueMax, kPatternReg + kQueueMax,
                         kPatternReg + kQueueMax, shift));
  }
}

// n elements of the pattern pair, in words of up to 32.
inline void solid_run(const Side& side, uint32_t d, uint32_t n, sl_mem_op op = SL_FILL) {
  for (uint32_t x = 0; x < n; x += kMemMax) {
    const uint32_t k = std::min(kMemMax, n - x);
    sl_mem_issue(d + x * side.bytes, mem_word(op, side.type, k, kPatternReg), side.flags);
  }
}

// Bytes: short rows as one byte run, long rows as byte edges around aligned words.
inline void byte_edge_row(uint32_t d, uint32_t n) {
  if (n < kMemMax) {
    solid_run(kFillBytes, d, n);
    return;
  }
  const uint32_t head = (4 - (d & 3)) & 3;
  solid_run(kFillBytes, d, head);
  d += head, n -= head;
  solid_run(kFillWords, d, n >> 2);
  solid_run(kFillBytes, d + (n & ~3u), n & 3);
}

inline void solid_row(const Format& f, uint32_t d, uint32_t n) {
  if (f.byte_edges) {
    byte_edge_row(d, n);
  } else {
    solid_run(f.span, d, n);
  }
}

// n elements combined with the foreground, in chunks of up to 32.
inline void combined_run(kx_ctx_t* ctx, const Side& side, uint32_t d, uint32_t n) {
  for (uint32_t x = 0; x < n; x += kMemMax) {
    const uint32_t a = d + x * side.bytes;
    const uint32_t k = std::min(kMemMax, n - x);
    const uint32_t regs = side.type == SL_T8P ? copy::packed_registers(a, k) : k;
    sl_mem_issue(a, mem_word(SL_LD, side.type, k, kDstReg), side.flags);
    copy::rop_words(ctx, kPatternReg, kDstReg, kDstReg, regs);
    sl_mem_issue(a, mem_word(SL_ST1, side.type, k, kDstReg), side.flags);
  }
}

template <typename Row>
void fill_rows(uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, Row row) {
  if (width <= 0) return;
  for (int32_t i = 0; i < height; ++i, dst += uint32_t(dst_stride)) row(dst, uint32_t(width));
}

// ---- Bitmaps: one bit a pixel, most significant bit first in 32-bit words

// Bits of pixels p .. p + n - 1 of a word (0 < n, p + n <= 32).
constexpr uint32_t pixel_bits(uint32_t p, uint32_t n) {
  return uint32_t((uint64_t{1} << n) - 1) << (32 - p - n);
}
static_assert(pixel_bits(4, 3) == 0x0E000000u);
static_assert(pixel_bits(0, 8) == 0xFF000000u);
static_assert(pixel_bits(0, 32) == 0xFFFFFFFFu);

// The left edge words of every row (through M), the whole middle words of every row, the
// right edge words of every row (through M); then M back to 0 if it was loaded.
// edge(ctx, word) writes one edge word under the mask in M, middle(ctx, word, count) the
// middle words of one row.
template <typename Edge, typename Middle>
void bitmap_rows(kx_ctx_t* ctx, uint32_t dst, uint32_t x, int32_t dst_stride, int32_t width,
                 int32_t height, Edge edge, Middle middle) {
  if (width <= 0 || height <= 0) return;
  const auto each_row = [&](uint32_t word, auto part) {
    for (int32_t i = 0; i < height; ++i, word += uint32_t(dst_stride)) part(word);
  };
  const auto edge_rows = [&](uint32_t mask, uint32_t word) {
    kx_ctx_store32(ctx, kFillMask, mask);
    each_row(word, [&](uint32_t w) { edge(ctx, w); });
  };
  uint32_t word = dst + (x >> 5) * 4;
  uint32_t bits = uint32_t(width);
  const uint32_t p = x & 31;
  if (p != 0) {
    const uint32_t first = 32 - p;
    edge_rows(pixel_bits(p, std::min(bits, first)), word);
    bits -= std::min(bits, first), word += 4;
  }
  const uint32_t words = bits >> 5;
  if (words) each_row(word, [&](uint32_t w) { middle(ctx, w, words); });
  if (bits & 31) edge_rows(pixel_bits(0, bits & 31), word + 4 * words);
  if (p != 0 || (bits & 31)) kx_ctx_store32(ctx, kFillMask, 0);
}

}  // namespace sl::fill

#endif
