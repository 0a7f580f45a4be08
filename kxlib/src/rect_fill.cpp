// The fill kernels: rectangles and spans of 8-, 16-, 32-bit pixels and of one channel of
// 4-byte pixels, plainly or through the raster-op register, and bitmap rectangles. Each
// format is one row of the table below; the walks are in templates/rect_fill.h.
#include "templates/rect_fill.h"

#include "sl_kernels.h"

using namespace sl;
using namespace sl::fill;

namespace {

// Raster-op forms move the elements the copies of the same format move.
constexpr Format kFill8{kFillPacked, true, copy::kPacked};
constexpr Format kFill16{kFillHalfwords, false, copy::kHalfwords};
constexpr Format kFill32{kFillWords, false, copy::kWords};
constexpr Format kFill32c{kFillChannel, false, copy::kChannel};

void solid(const Format& f, uint32_t dst, int32_t dst_stride, int32_t width, int32_t height) {
  replicate_pair(kx_ctx_get());
  fill_rows(dst, dst_stride, width, height,
            [&](uint32_t d, uint32_t n) { solid_row(f, d, n); });
}

void combined(const Format& f, uint32_t dst, int32_t dst_stride, int32_t width,
              int32_t height) {
  kx_ctx_t* ctx = kx_ctx_get();
  replicate_run(ctx, f.combined, dst);
  fill_rows(dst, dst_stride, width, height,
            [&](uint32_t d, uint32_t n) { combined_run(ctx, f.combined, d, n); });
}

void solid_span(const Format& f, uint32_t dst, int32_t count) {
  replicate_pair(kx_ctx_get());
  if (count > 0) solid_run(f.span, dst, uint32_t(count));
}

}  // namespace

#define SL_FILL_FORMAT(fmt, format)                            \
  void sl_rect_fill_##fmt(SL_RECT_FILL_ARGS) {                 \
    solid(format, dst, dst_stride, width, height);             \
  }                                                            \
  void sl_rect_fill_##fmt##_rop(SL_RECT_FILL_ARGS) {           \
    combined(format, dst, dst_stride, width, height);          \
  }                                                            \
  void sl_span_fill_##fmt(uint32_t dst, int32_t count) {       \
    solid_span(format, dst, count);                            \
  }                                                            \
  void sl_span_fill_##fmt##_rop(uint32_t dst, int32_t count) { \
    combined(format, dst, 0, count, 1);                        \
  }
SL_FILL_FORMAT(8, kFill8)
SL_FILL_FORMAT(16, kFill16)
SL_FILL_FORMAT(32, kFill32)
SL_FILL_FORMAT(32c, kFill32c)
#undef SL_FILL_FORMAT

// Bitmaps. Solid: edge words through M, middle words with SL_ST8 (which ignores M).
void sl_rect_fill_1(uint32_t dst, int32_t x, int32_t dst_stride, int32_t width,
                    int32_t height) {
  kx_ctx_t* ctx = kx_ctx_get();
  replicate_pair(ctx);
  bitmap_rows(
      ctx, dst, uint32_t(x), dst_stride, width, height,
      [](kx_ctx_t*, uint32_t word) { solid_run(kFillWords, word, 1); },
      [](kx_ctx_t*, uint32_t word, uint32_t words) {
        solid_run(kFillWords, word, words, SL_ST8);
      });
}

// Raster op: middle words combined like any raster-op fill of words. An edge word is
// loaded into the half of the pair r42:r43 that SL_FILL takes at its address (byte
// a & 4), combined there and written back through M.
void sl_rect_fill_1_rop(uint32_t dst, int32_t x, int32_t dst_stride, int32_t width,
                        int32_t height) {
  kx_ctx_t* ctx = kx_ctx_get();
  replicate_run(ctx, copy::kWords, dst);
  bitmap_rows(
      ctx, dst, uint32_t(x), dst_stride, width, height,
      [](kx_ctx_t* c, uint32_t word) {
        const uint32_t half = kDstReg + ((word >> 2) & 1);
        sl_mem_issue(word, mem_word(SL_LD, SL_T32, 1, half), SPAM_T32);
        sl_queue(c, queue_word(SL_OP_ROP, 1, kPatternReg, half, half));
        sl_mem_issue(word, mem_word(SL_FILL, SL_T32, 1, kDstReg), kFillWords.flags);
      },
      [](kx_ctx_t* c, uint32_t word, uint32_t words) {
        combined_run(c, copy::kWords, word, words);
      });
}
