// The threshold-map kernels: a pixel p with lo <= p <= hi (signed) takes the map value, every
// other pixel is copied.
//
// Registers: r10..r25 sixteen source pixels, r26..r41 the map value, r42 lo, r43 hi,
// r44..r59 the result. Per chunk of up to 16 pixels: compare with lo (r2 marks p < lo),
// select the pixel there and the map value elsewhere, compare with hi (r2 marks p > hi),
// select the pixel there and keep the first selection elsewhere, store saturated to the
// pixel type (so a map value outside it is clamped).
#include <algorithm>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_saturate.h"
#include "sl_word.h"
#include "templates/rect.h"

namespace sl::threshold {
namespace {

constexpr uint32_t kChunk = 16;
constexpr uint32_t kPixels = 10, kMap = 26, kLow = 42, kHigh = 43, kResult = 44;

struct Plan {
  uint32_t type;  // of the loads and the store
  uint32_t flags;
  uint32_t bytes_per_pixel;
};

constexpr Plan kThreshold8{SL_T8, SPAM_T8, 1};
constexpr Plan kThreshold16{SL_T16, SPAM_T16, 2};

// The words of a chunk of `n` pixels: two (compare, select) pairs.
struct ChunkWords {
  uint32_t load, below, keep_below, above, keep_above, store;
};

constexpr ChunkWords chunk_words(const Plan& p, uint32_t n) {
  return {mem_word(SL_LD, p.type, n, kPixels),
          queue_word(SL_OP_CMPLT, n, kPixels, 0, kLow),
          queue_word(SL_OP_SELECT, n, kMap, kResult, kPixels),
          queue_word(SL_OP_CMPGT, n, kPixels, 0, kHigh),
          queue_word(SL_OP_SELECT, n, kResult, kResult, kPixels),
          mem_word(SL_ST2, p.type, n, kResult)};
}
static_assert(chunk_words(kThreshold8, 16).load == 0x87D00500u);
static_assert(chunk_words(kThreshold8, 16).below == 0xDFA2802Au);
static_assert(chunk_words(kThreshold8, 16).keep_below == 0x9FC6960Au);
static_assert(chunk_words(kThreshold8, 16).above == 0xDFE2802Bu);
static_assert(chunk_words(kThreshold8, 16).keep_above == 0x9FCB160Au);
static_assert(chunk_words(kThreshold8, 16).store == 0x87901600u);
static_assert(queue_word(SL_OP_SPREAD, kChunk - 1, 0, kMap + 1, kMap) == 0xBEE00D9Au);

void issue(kx_ctx_t* ctx, const Plan& p, const ChunkWords& w, uint32_t d, uint32_t s) {
  sl_mem_issue(s, w.load, p.flags);
  sl_queue2(ctx, w.below, w.keep_below);
  sl_queue2(ctx, w.above, w.keep_above);
  sl_mem_issue(d, w.store, p.flags);
}

// The bounds are the thresholds plus 0.999 in double precision, truncated: a fractional low
// bound excludes its floor, a fractional high bound includes its ceiling.
void mapthresh(const Plan& p, SL_RECT_1SRC_ARGS, const float* low, const float* high,
               const float* map) {
  const int32_t lo = truncate_saturate(double(*low) + 0.999);
  const int32_t hi = truncate_saturate(double(*high) + 0.999);
  const int32_t m = truncate_saturate(*map);

  kx_ctx_t* ctx = kx_ctx_get();
  sl_reg_set(ctx, kMap, uint32_t(m));
  sl_queue(ctx, queue_word(SL_OP_SPREAD, kChunk - 1, 0, kMap + 1, kMap));
  kx_ctx_store64(ctx, sl_ctx_reg(kLow), uint32_t(lo), uint32_t(hi));
  if (width <= 0 || height <= 0) return;

  const ChunkWords full = chunk_words(p, kChunk);
  const ChunkWords tail = chunk_words(p, std::max(uint32_t(width) % kChunk, 1u));
  for_rows(Rect{SL_RECT_1SRC_VALUES}, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(width), kChunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      const uint32_t offset = x * p.bytes_per_pixel;
      issue(ctx, p, n == kChunk ? full : tail, d + offset, s + offset);
    });
  });
}

}  // namespace
}  // namespace sl::threshold

using sl::threshold::mapthresh;

void sl_rect_mapthresh_8(SL_RECT_1SRC_ARGS, const float* low, const float* high,
                         const float* map) {
  mapthresh(sl::threshold::kThreshold8, dst, dst_stride, width, height, src, src_stride, low,
            high, map);
}

void sl_rect_mapthresh_16(SL_RECT_1SRC_ARGS, const float* low, const float* high,
                          const float* map) {
  mapthresh(sl::threshold::kThreshold16, dst, dst_stride, width, height, src, src_stride, low,
            high, map);
}
