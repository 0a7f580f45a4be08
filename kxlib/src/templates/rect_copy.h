// The walks of the copy family. A copy kernel is a walk plus a format (the element types
// and page-crossing flags of its two sides) plus a combine policy: what happens to a chunk
// between its load and its store. Plain copies do nothing there; the raster-op forms load
// the destination and combine it with the source through the raster-op register.
//
// Walks: whole elements (forward or from the right end and the last row up), bytes with
// aligned or realigned words in the middle of long rows, packed bytes from the right end,
// and the chunk walk of the channel copies. Every memory word goes through sl_mem_issue.
#ifndef KXLIB_RECT_COPY_H
#define KXLIB_RECT_COPY_H

#include <algorithm>
#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/rect.h"

namespace sl::copy {

// One side of a copy in memory: element type, page-crossing flags, bytes between elements.
struct Side {
  uint32_t type;
  uint32_t flags;
  uint32_t bytes;
};

inline constexpr Side kBytes{SL_T8, SPAM_T8, 1};
inline constexpr Side kPacked{SL_T8P, SPAM_T8P, 1};
inline constexpr Side kHalfwords{SL_T16R, SPAM_T16, 2};
inline constexpr Side kWords{SL_T32, SPAM_T32, 4};
inline constexpr Side kChannel{SL_T32C, SPAM_T32C, 4};

struct Format {
  Side load;
  Side store;
  uint32_t step;  // elements moved per step: 32, or 118 for the fast copy (r10..r127)
};

inline constexpr uint32_t kCopyReg = 10;  // sources are loaded here and stored from here
inline constexpr uint32_t kDstReg = 42;   // the raster-op forms load the destination here

// Raster-op words over `regs` registers, 16 and the rest: d + i = rop(a + i, b + i).
inline void rop_words(kx_ctx_t* ctx, uint32_t a, uint32_t d, uint32_t b, uint32_t regs) {
  for (uint32_t done = 0; done < regs; done += kQueueMax) {
    const uint32_t n = std::min(kQueueMax, regs - done);
    sl_queue(ctx, queue_word(SL_OP_ROP, n, a + done, d + done, b + done));
  }
}

// Combine policies, called with the destination side, its address, the chunk's element
// count and the registers the chunk occupies from r10.
struct Plain {
  void operator()(kx_ctx_t*, const Side&, uint32_t, uint32_t, uint32_t) const {}
};

struct RasterOp {
  void operator()(kx_ctx_t* ctx, const Side& side, uint32_t d, uint32_t n,
                  uint32_t regs) const {
    sl_mem_issue(d, mem_word(SL_LD, side.type, n, kDstReg), side.flags);
    rop_words(ctx, kCopyReg, kCopyReg, kDstReg, regs);
  }
};

// One step of whole elements: all loads (runs of 32 into r10, r42, r74, r106), the combine
// (single-run steps only), then all stores from the same registers.
template <typename Combine>
void whole_step(kx_ctx_t* ctx, const Format& f, uint32_t d, uint32_t s, uint32_t n,
                const Combine& combine) {
  for (uint32_t x = 0; x < n; x += kMemMax) {
    const uint32_t k = std::min(kMemMax, n - x);
    sl_mem_issue(s + x * f.load.bytes, mem_word(SL_LD, f.load.type, k, kCopyReg + x),
                 f.load.flags);
  }
  combine(ctx, f.store, d, n, n);
  for (uint32_t x = 0; x < n; x += kMemMax) {
    const uint32_t k = std::min(kMemMax, n - x);
    sl_mem_issue(d + x * f.store.bytes, mem_word(SL_ST1, f.store.type, k, kCopyReg + x),
                 f.store.flags);
  }
}

template <typename Combine>
void whole_rows(kx_ctx_t* ctx, const Format& f, Order order, const Rect& r,
                const Combine& combine) {
  for_rows(r, order, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), f.step, order, [&](uint32_t x, uint32_t n, bool) {
      whole_step(ctx, f, d + x * f.store.bytes, s + x * f.load.bytes, n, combine);
    });
  });
}

// ---- Bytes moved as words in the middle of long rows

inline constexpr Format kByteRun{kBytes, kBytes, kMemMax};
inline constexpr Format kWordRun{kWords, kWords, kMemMax};

// Whole words from an equally aligned source: 32 at a time, then 16, then the rest.
template <typename Combine>
void aligned_words(kx_ctx_t* ctx, uint32_t& d, uint32_t& s, uint32_t& w,
                   const Combine& combine) {
  for (; w >= 4 * kMemMax; w -= 4 * kMemMax, d += 4 * kMemMax, s += 4 * kMemMax)
    whole_step(ctx, kWordRun, d, s, kMemMax, combine);
  if (w >= 64) {
    whole_step(ctx, kWordRun, d, s, 16, combine);
    d += 64, s += 64, w -= 64;
  }
  if (w >= 4) {
    const uint32_t k = w >> 2;
    whole_step(ctx, kWordRun, d, s, k, combine);
    d += 4 * k, s += 4 * k, w &= 3;
  }
}

// Whole words from a source `b` bits further into its word than the destination: words
// are loaded from the source's word and realigned by the funnel shift, k loaded words
// giving k - 1 (the last step's one funnel word has count k, as it fits in 16). Loads never
// reach past the row's last source byte.
template <typename Combine>
void realigned_words(kx_ctx_t* ctx, uint32_t& d, uint32_t& s, uint32_t& w,
                     const Combine& combine) {
  const uint32_t lead = s & 3;
  const uint32_t b = 8 * lead;
  const auto step = [&](uint32_t loaded, uint32_t funneled) {
    const uint32_t stored = loaded - 1;
    sl_mem_issue(s & ~3u, mem_word(SL_LD, SL_T32, loaded, kCopyReg), SPAM_T32);
    for (uint32_t done = 0; done < funneled; done += kQueueMax) {
      const uint32_t n = std::min(kQueueMax, funneled - done);
      sl_queue(ctx, queue_word(SL_OP_FUNNEL, n, kCopyReg + done, kCopyReg + done, b));
    }
    combine(ctx, kWords, d, stored, stored);
    sl_mem_issue(d, mem_word(SL_ST1, SL_T32, stored, kCopyReg), SPAM_T32);
    d += 4 * stored, s += 4 * stored, w -= 4 * stored;
  };
  while (w >= 4 * kMemMax) step(kMemMax, kMemMax - 1);
  if (w + lead >= 68) step(17, 16);
  const uint32_t k = (w + lead) >> 2;  // source words wholly inside the row
  if (k >= 2) step(k, k);
}

// One row of bytes: short rows as one byte run; long rows as leading bytes up to the
// destination's word, whole words, and the last bytes.
template <typename Combine>
void byte_row(kx_ctx_t* ctx, uint32_t d, uint32_t s, uint32_t w, const Combine& combine) {
  if (w >= kMemMax) {
    if (d & 3) {
      const uint32_t head = 4 - (d & 3);
      whole_step(ctx, kByteRun, d, s, head, combine);
      d += head, s += head, w -= head;
    }
    if ((s & 3) == 0) {
      aligned_words(ctx, d, s, w, combine);
    } else {
      realigned_words(ctx, d, s, w, combine);
    }
  }
  if (w) whole_step(ctx, kByteRun, d, s, w, combine);
}

template <typename Combine>
void byte_rows(kx_ctx_t* ctx, const Rect& r, const Combine& combine) {
  for_rows(r, Order::forward,
           [&](uint32_t d, uint32_t s) { byte_row(ctx, d, s, uint32_t(r.width), combine); });
}

// ---- Packed bytes from the right end

// Registers a packed run of n bytes at A occupies.
constexpr uint32_t packed_registers(uint32_t A, uint32_t n) {
  return ((A & 3) + n + 3) >> 2;
}

// Chunks of 32 bytes from the right end. The source is loaded into r11 and funnel-shifted
// into r10 so that every byte lies in the register and lane the destination's packing
// gives it: loaded byte j sits 4 + (src & 3) + j bytes into r10.., stored byte j is read
// (dst & 3) + j bytes into it, so the shift is 32 + 8((src & 3) - (dst & 3)), 8..56 bits.
template <typename Combine>
void packed_rows_backward(kx_ctx_t* ctx, const Rect& r, const Combine& combine) {
  for_rows(r, Order::backward, [&](uint32_t d_row, uint32_t s_row) {
    for_chunks(uint32_t(r.width), kMemMax, Order::backward, [&](uint32_t x, uint32_t n, bool) {
      const uint32_t d = d_row + x, s = s_row + x;
      const uint32_t regs = packed_registers(d, n);
      const uint32_t shift = 32 + 8 * (s & 3) - 8 * (d & 3);
      sl_mem_issue(s, mem_word(SL_LD, SL_T8P, n, kCopyReg + 1), SPAM_T8P);
      sl_queue(ctx, queue_word(SL_OP_FUNNEL, regs, kCopyReg, kCopyReg, shift));
      combine(ctx, kPacked, d, n, regs);
      sl_mem_issue(d, mem_word(SL_ST1, SL_T8P, n, kCopyReg), SPAM_T8P);
    });
  });
}

// ---- Channel copies: chunks of `chunk` pixels with their own words

struct ChunkShape {
  uint32_t chunk;      // pixels per chunk
  uint32_t dst_bytes;  // bytes per pixel on each side
  uint32_t src_bytes;
};

// emit(ctx, d, s, n, ends_row) per chunk of every row, top down.
template <typename Emit>
void chunk_rows(kx_ctx_t* ctx, const ChunkShape& shape, const Rect& r, Emit emit) {
  for_rows(r, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), shape.chunk, Order::forward,
               [&](uint32_t x, uint32_t n, bool ends_row) {
                 emit(ctx, d + x * shape.dst_bytes, s + x * shape.src_bytes, n, ends_row);
               });
  });
}

}  // namespace sl::copy

#endif
