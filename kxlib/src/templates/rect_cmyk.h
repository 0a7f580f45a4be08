// The walk shared by the fixed colour kernels between RGB and CMYK: no coefficients, only
// gathers, subtractions from a run of 255 and scatters between loads and stores.
//
// A member is a plan (the format of each side, the chunk, how many channel runs it keeps)
// and a constexpr function giving the words of a chunk of n pixels; the walk owns the
// set-up (255 into a run of 16, the longest queue word), rows, chunks and tails, and where
// each memory word goes: packed 4-byte pixels at the row's pixel, or byte plane k at the
// row's byte + k * plane_stride. A tail uses the registers of a chunk.
//
// Registers: loaded pixels from r10 (four a pixel), then the channel runs (one chunk each),
// then the run of 255; anything a member needs beyond that follows it.
#ifndef KXLIB_RECT_CMYK_H
#define KXLIB_RECT_CMYK_H

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/rect.h"

namespace sl::cmyk {

inline constexpr uint32_t kPixels = 10;
inline constexpr uint32_t kOnes = kQueueMax;  // registers holding 255

// How a side lies in memory: bytes a pixel (in one plane) and the page flags.
struct Format {
  uint32_t bytes;
  uint32_t flags;
};
inline constexpr Format kPacked{4, SPAM_T4C};
inline constexpr Format kPlanar{1, SPAM_T8};

struct Plan {
  Format src, dst;
  uint32_t chunk;
  uint32_t runs;  // channel runs
};

struct Layout {
  uint32_t runs, ones, after;
};

constexpr Layout layout(const Plan& p) {
  const uint32_t runs = kPixels + 4 * p.chunk;
  const uint32_t ones = runs + p.runs * p.chunk;
  return {runs, ones, ones + kOnes};
}

// Where a step's word goes.
enum class To : uint8_t { queue, src, dst };

struct Step {
  To to;
  uint32_t plane;  // of a planar side; 0 for packed pixels
  uint32_t word;
};

struct ChunkWords {
  Step steps[24];
  uint32_t count;

  constexpr void queue(uint32_t word) { steps[count++] = {To::queue, 0, word}; }
  constexpr void memory(To side, uint32_t plane, uint32_t word) {
    steps[count++] = {side, plane, word};
  }
};

// True when the chunk issues exactly `words`, for pinning them.
constexpr bool issues(const ChunkWords& w, std::initializer_list<uint32_t> words) {
  if (w.count != words.size()) return false;
  const uint32_t* next = words.begin();
  for (uint32_t i = 0; i < w.count; ++i) {
    if (w.steps[i].word != *next++) return false;
  }
  return true;
}

// The lanes of n loaded pixels as one run, and a run into one lane of each pixel.
constexpr uint32_t gather(uint32_t n, uint32_t lane, uint32_t run) {
  return queue_word(SL_OP_GATHER, n, kPixels + lane, run, 4);
}
constexpr uint32_t scatter(uint32_t n, uint32_t run, uint32_t lane) {
  return queue_word(SL_OP_SCATTER, n, run, kPixels + lane, 4);
}

template <typename Words>
void walk(const Plan& p, const Rect& r, int32_t plane_stride, Words words) {
  kx_ctx_t* ctx = kx_ctx_get();
  sl_reg_fill(ctx, layout(p).ones, kOnes, 255);
  if (r.width <= 0 || r.height <= 0) return;
  const ChunkWords full = words(p.chunk);
  const ChunkWords tail = words(std::max(uint32_t(r.width) % p.chunk, 1u));
  for_rows(r, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), p.chunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      const ChunkWords& w = n == p.chunk ? full : tail;
      for (uint32_t i = 0; i < w.count; ++i) {
        const Step& step = w.steps[i];
        if (step.to == To::queue) {
          sl_queue(ctx, step.word);
          continue;
        }
        const Format& f = step.to == To::src ? p.src : p.dst;
        const uint32_t row = step.to == To::src ? s : d;
        sl_mem_issue(row + step.plane * uint32_t(plane_stride) + x * f.bytes, step.word,
                     f.flags);
      }
    });
  });
}

}  // namespace sl::cmyk

#endif
