// Plain copies of 8-, 16- and 32-bit pixels.
#include "templates/rect_copy.h"

#include "sl_ctx.h"
#include "sl_kernels.h"

using namespace sl;
using namespace sl::copy;

namespace {

constexpr Format kBytes{SL_T8, SPAM_T8, 1};
constexpr Format kHalfwords{SL_T16R, SPAM_T16, 2};
constexpr Format kWords{SL_T32, SPAM_T32, 4};

// Whole words from a source that is equally aligned: 32, then 16, then the rest.
void aligned_words(uint32_t& d, uint32_t& s, uint32_t& w) {
  for (; w >= 4 * kMemMax; w -= 4 * kMemMax, d += 4 * kMemMax, s += 4 * kMemMax) {
    run(kWords, d, s, kMemMax);
  }
  if (w >= 64) {
    run(kWords, d, s, 16);
    d += 64, s += 64, w -= 64;
  }
  if (w >= 4) {
    const uint32_t k = w >> 2;
    run(kWords, d, s, k);
    d += 4 * k, s += 4 * k, w &= 3;
  }
}

// Whole words from a source `b` bits further into its word than the destination: words are
// loaded from the source's word and realigned in registers, k loaded words giving k - 1.
// Loads never reach past the row's last source byte.
void realigned_words(kx_ctx_t* ctx, uint32_t& d, uint32_t& s, uint32_t& w) {
  const uint32_t lead = s & 3;
  const uint32_t b = 8 * lead;
  const uint32_t load32 = mem_word(SL_LD, SL_T32, 32, kCopyReg);
  const uint32_t store31 = mem_word(SL_ST1, SL_T32, 31, kCopyReg);
  for (; w >= 4 * kMemMax; w -= 124, d += 124, s += 124) {
    sl_mem_issue(s & ~3u, load32, SPAM_T32);
    sl_queue(ctx, queue_word(SL_OP_FUNNEL, 16, 10, 10, b));
    sl_queue(ctx, queue_word(SL_OP_FUNNEL, 15, 26, 26, b));
    sl_mem_issue(d, store31, SPAM_T32);
  }
  if (w + lead >= 68) {
    sl_mem_issue(s & ~3u, mem_word(SL_LD, SL_T32, 17, kCopyReg), SPAM_T32);
    sl_queue(ctx, queue_word(SL_OP_FUNNEL, 16, 10, 10, b));
    sl_mem_issue(d, mem_word(SL_ST1, SL_T32, 16, kCopyReg), SPAM_T32);
    d += 64, s += 64, w -= 64;
  }
  const uint32_t k = (w + lead) >> 2;  // source words wholly inside the row
  if (k >= 2) {
    sl_mem_issue(s & ~3u, mem_word(SL_LD, SL_T32, k, kCopyReg), SPAM_T32);
    sl_queue(ctx, queue_word(SL_OP_FUNNEL, k, 10, 10, b));
    sl_mem_issue(d, mem_word(SL_ST1, SL_T32, k - 1, kCopyReg), SPAM_T32);
    d += 4 * (k - 1), s += 4 * (k - 1), w -= 4 * (k - 1);
  }
}

}  // namespace

void sl_rect_copy_8(SL_RECT_1SRC_ARGS) {
  if (width <= 0) return;
  kx_ctx_t* ctx = kx_ctx_get();
  for (int32_t row = 0; row < height; ++row) {
    uint32_t d = dst, s = src, w = uint32_t(width);
    if (w >= kMemMax) {
      if (d & 3) {
        const uint32_t head = 4 - (d & 3);
        run(kBytes, d, s, head);
        d += head, s += head, w -= head;
      }
      if ((s & 3) == 0) {
        aligned_words(d, s, w);
      } else {
        realigned_words(ctx, d, s, w);
      }
    }
    if (w) run(kBytes, d, s, w);
    dst += uint32_t(dst_stride);
    src += uint32_t(src_stride);
  }
}

void sl_rect_copy_16(SL_RECT_1SRC_ARGS) {
  rows(kHalfwords, dst, dst_stride, width, height, src, src_stride);
}

void sl_rect_copy_32(SL_RECT_1SRC_ARGS) {
  rows(kWords, dst, dst_stride, width, height, src, src_stride);
}
