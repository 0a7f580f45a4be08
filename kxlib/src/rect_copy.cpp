// The copy kernels: plain, raster-op and right-to-left copies of 8-, 16- and 32-bit pixels,
// the fast four-run copy, and the channel copies. Each kernel is one of the walks of
// templates/rect_copy.h with its format and combine policy; the channel copies add their
// own chunk words.
#include "templates/rect_copy.h"

#include "sl_kernels.h"

using namespace sl;
using namespace sl::copy;

namespace {

constexpr Format kHalfwordCopy{kHalfwords, kHalfwords, kMemMax};
constexpr Format kWordCopy{kWords, kWords, kMemMax};
constexpr Format kChannelCopy{kChannel, kChannel, kMemMax};
constexpr Format kByteToChannel{kBytes, kChannel, kMemMax};
constexpr Format kChannelToByte{kChannel, kBytes, kMemMax};
constexpr Format kFastWordCopy{kWords, kWords, 3 * kMemMax + 22};  // r10..r127

// ---- Channel copies: chunk shapes (pixels, destination and source bytes per pixel) and
// the words of one chunk.

constexpr ChunkShape k48cTo16{10, 2, 6};
constexpr ChunkShape k16To48c{30, 6, 2};
constexpr ChunkShape kBytesTo48c{10, 6, 4};
constexpr uint32_t kChannelReg = 42;  // where gathers and scatters put a chunk's channel
// 16-bit slots of a 48c pixel: a channel is every third slot in memory and every third
// register once loaded.
constexpr uint32_t kSlots = 3;
constexpr uint32_t kThirdSlots = 0x92492492u;  // r2: slots 0, 3, 6, ... of a 30-slot run
constexpr uint32_t kMaskedStoreFlags = SPAM_T16 | SPAM_SAVE_R2;

// The slots a run of n 48c pixels spans from its first pixel's channel. At a row's end the
// run stops at the last pixel's channel, so that it never reaches memory past the row.
constexpr uint32_t slots(uint32_t n, bool ends_row) {
  return kSlots * n - (ends_row ? kSlots - 1 : 0);
}

// One channel of three-channel 16-bit pixels to 16-bit pixels: 10 pixels per chunk.
void channel_48c_to_16(kx_ctx_t* ctx, uint32_t d, uint32_t s, uint32_t n, bool ends_row) {
  sl_mem_issue(s, mem_word(SL_LD, SL_T16, slots(n, ends_row), kCopyReg), SPAM_T16);
  sl_queue(ctx, queue_word(SL_OP_GATHER, n, kCopyReg, kChannelReg, kSlots));
  sl_mem_issue(d, mem_word(SL_ST1, SL_T16, n, kChannelReg), SPAM_T16);
}

// 16-bit pixels into one channel of three-channel 16-bit pixels: 30 pixels per chunk, in
// groups of 10 scattered to every third register and stored under the r2 mask.
void channel_16_to_48c(kx_ctx_t* ctx, uint32_t d, uint32_t s, uint32_t n, bool ends_row) {
  constexpr uint32_t kGroup = 10;
  sl_mem_issue(s, mem_word(SL_LD, SL_T16, n, kCopyReg), SPAM_T16);
  for (uint32_t x = 0; x < n; x += kGroup) {
    const uint32_t m = std::min(kGroup, n - x);
    sl_queue(ctx, queue_word(SL_OP_SCATTER, m, kCopyReg + x, kChannelReg, kSlots));
    const uint32_t count = slots(m, ends_row && x + m == n);
    sl_mem_issue(d + x * 2 * kSlots, mem_word(SL_MEM_OP4, SL_T16, count, kChannelReg),
                 kMaskedStoreFlags);
  }
}

// Bytes 1, 2, 3 of 4-byte pixels to three-channel 16-bit pixels: 10 pixels per chunk.
// Byte k of pixel i lands in r10 + 4i + k (four channels, or bytes for tails); the gathers
// take each channel into its own run and the scatters interleave them in r10 + 3i + c.
void convert_bytes_to_48c(kx_ctx_t* ctx, uint32_t d, uint32_t s, uint32_t n, bool) {
  constexpr uint32_t kChannelRuns = 50;  // channel c (1..3) gathered into r40 + 10c
  if (n == kBytesTo48c.chunk) {
    sl_mem_issue(s, mem_word(SL_LD, SL_T4C, n, kCopyReg), SPAM_T4C);
  } else {
    for (uint32_t x = 0; x < 4 * n; x += kMemMax)
      sl_mem_issue(s + x, mem_word(SL_LD, SL_T8, std::min(kMemMax, 4 * n - x), kCopyReg + x),
                   SPAM_T8);
  }
  for (uint32_t c = 1; c <= 3; ++c)
    sl_queue(ctx, queue_word(SL_OP_GATHER, n, kCopyReg + c, kChannelRuns + 10 * (c - 1), 4));
  for (uint32_t c = 1; c <= 3; ++c)
    sl_queue(ctx, queue_word(SL_OP_SCATTER, n, kChannelRuns + 10 * (c - 1), kCopyReg + c - 1,
                             kSlots));
  sl_mem_issue(d, mem_word(SL_ST1, SL_T16R, 3 * n, kCopyReg), SPAM_T16);
}

}  // namespace

// Whole-element copies: kernel, format, order, combine.
#define SL_WHOLE_COPY(name, format, order, combine)                                       \
  void sl_rect_##name(SL_RECT_1SRC_ARGS) {                                                \
    whole_rows(kx_ctx_get(), format, Order::order, Rect{SL_RECT_1SRC_VALUES}, combine{}); \
  }
SL_WHOLE_COPY(copy_16, kHalfwordCopy, forward, Plain)
SL_WHOLE_COPY(copy_32, kWordCopy, forward, Plain)
SL_WHOLE_COPY(copy_16_rop, kHalfwordCopy, forward, RasterOp)
SL_WHOLE_COPY(copy_32_rop, kWordCopy, forward, RasterOp)
SL_WHOLE_COPY(copyrl_16, kHalfwordCopy, backward, Plain)
SL_WHOLE_COPY(copyrl_32, kWordCopy, backward, Plain)
SL_WHOLE_COPY(copyrl_16_rop, kHalfwordCopy, backward, RasterOp)
SL_WHOLE_COPY(copyrl_32_rop, kWordCopy, backward, RasterOp)
SL_WHOLE_COPY(fcopy_32, kFastWordCopy, forward, Plain)
SL_WHOLE_COPY(copy_32c, kChannelCopy, forward, Plain)
SL_WHOLE_COPY(copy_8_32c, kByteToChannel, forward, Plain)
SL_WHOLE_COPY(copy_32c_8, kChannelToByte, forward, Plain)
#undef SL_WHOLE_COPY

// Byte copies: words in the middle of long rows forward, packed bytes backward.
#define SL_BYTE_COPY(name, walk, combine)                     \
  void sl_rect_##name(SL_RECT_1SRC_ARGS) {                    \
    walk(kx_ctx_get(), Rect{SL_RECT_1SRC_VALUES}, combine{}); \
  }
SL_BYTE_COPY(copy_8, byte_rows, Plain)
SL_BYTE_COPY(copy_8_rop, byte_rows, RasterOp)
SL_BYTE_COPY(copyrl_8, packed_rows_backward, Plain)
SL_BYTE_COPY(copyrl_8_rop, packed_rows_backward, RasterOp)
#undef SL_BYTE_COPY

void sl_rect_copy_48c_16(SL_RECT_1SRC_ARGS) {
  chunk_rows(kx_ctx_get(), k48cTo16, Rect{SL_RECT_1SRC_VALUES}, channel_48c_to_16);
}

void sl_rect_copy_16_48c(SL_RECT_1SRC_ARGS) {
  kx_ctx_t* ctx = kx_ctx_get();
  sl_reg_set(ctx, 2, kThirdSlots);
  chunk_rows(ctx, k16To48c, Rect{SL_RECT_1SRC_VALUES}, channel_16_to_48c);
}

void sl_rect_convert_8_16_3(SL_RECT_1SRC_ARGS) {
  chunk_rows(kx_ctx_get(), kBytesTo48c, Rect{SL_RECT_1SRC_VALUES}, convert_bytes_to_48c);
}
