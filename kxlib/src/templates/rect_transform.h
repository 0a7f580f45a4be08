// The walk shared by every transform kernel: each output channel is a linear combination of
// the input channels plus an offset, with 8 fraction bits.
//
// A member is a plan (pixel format, chunk size, channels); the register layout and every
// word follow from it. Set-up writes the coefficients (the channels x channels matrix row by
// row, then one offset per output channel) from r10 up, two registers a store, and spreads
// each offset over a run of one chunk. Per chunk: load the pixels; gather each input channel
// into its own run; for each output channel j, multiply-accumulate channel by channel (the
// coefficient copied into r1 before each term; the first term adds offset j, the last is
// the closing form that shifts right by 8, rounding toward minus infinity) and scatter the
// result back into channel j of the pixels; store the pixels. Lanes the transform does not
// name (byte 0 of a three-channel 4-byte pixel) are stored as they were loaded. Pixels of
// one register are their own channel run: no gather or scatter, the result is formed in
// place.
#ifndef KXLIB_RECT_TRANSFORM_H
#define KXLIB_RECT_TRANSFORM_H

#include <algorithm>
#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_saturate.h"
#include "sl_word.h"
#include "templates/rect.h"

namespace sl::transform {

inline constexpr uint32_t kFirstCoefficient = 10;  // even: pairs are doubleword stores
inline constexpr uint32_t kMultiplier = 1;

struct Plan {
  uint32_t load_type;
  sl_mem_op store_op;
  uint32_t store_type;
  uint32_t flags;  // page-crossing flags of the load and the store
  uint32_t chunk;  // pixels per chunk
  uint32_t bytes_per_pixel;
  uint32_t elements_per_pixel;  // memory elements of one pixel
  uint32_t regs_per_pixel;      // registers of one loaded pixel: the gather stride
  uint32_t first_lane;          // register of input and output channel 0 within a pixel
  uint32_t channels;            // in and out
  int32_t offset_unit;          // offsets are given in units of 1/256 (1) or whole units (256)

  constexpr bool in_place() const { return regs_per_pixel == 1; }
  constexpr uint32_t coefficients() const { return channels * channels + channels; }
};

// Registers, packed from r10 up: coefficients, offset runs, channel runs, accumulator,
// pixels (one chunk each).
struct Layout {
  uint32_t offsets, channels, accumulator, pixels, end;
};

constexpr Layout layout(const Plan& p) {
  const uint32_t offsets = kFirstCoefficient + p.channels * p.channels;
  const uint32_t channels = offsets + p.channels * p.chunk;
  if (p.in_place()) return {offsets, channels, channels, channels, channels + p.chunk};
  const uint32_t accumulator = channels + p.channels * p.chunk;
  const uint32_t pixels = accumulator + p.chunk;
  return {offsets, channels, accumulator, pixels, pixels + p.chunk * p.regs_per_pixel};
}

struct ChunkWords {
  uint32_t load;
  uint32_t queue[48];
  uint32_t queued;
  uint32_t store;
};

// The words of a chunk (or tail) of `pixels` pixels; a tail uses the registers of a chunk.
constexpr ChunkWords chunk_words(const Plan& p, uint32_t pixels) {
  const Layout r = layout(p);
  const uint32_t k = p.regs_per_pixel;
  ChunkWords w{};
  const auto queue = [&w](uint32_t word) { w.queue[w.queued++] = word; };
  w.load = mem_word(SL_LD, p.load_type, pixels * p.elements_per_pixel, r.pixels);
  for (uint32_t c = 0; c < p.channels && !p.in_place(); ++c) {
    in_pieces(pixels, [&](uint32_t o, uint32_t n) {
      queue(queue_word(SL_OP_GATHER, n, r.pixels + p.first_lane + c + k * o,
                       r.channels + c * p.chunk + o, k));
    });
  }
  for (uint32_t j = 0; j < p.channels; ++j) {
    for (uint32_t c = 0; c < p.channels; ++c) {
      queue(
          queue_word(SL_OP_SPREAD, 1, 0, kMultiplier, kFirstCoefficient + p.channels * j + c));
      const sl_qop form = c + 1 == p.channels ? SL_OP_MACR8 : SL_OP_MAC;
      in_pieces(pixels, [&](uint32_t o, uint32_t n) {
        const uint32_t b = c == 0 ? r.offsets + j * p.chunk + o : r.accumulator + o;
        queue(queue_word(form, n, r.channels + c * p.chunk + o, r.accumulator + o, b));
      });
    }
    if (p.in_place()) continue;
    in_pieces(pixels, [&](uint32_t o, uint32_t n) {
      queue(queue_word(SL_OP_SCATTER, n, r.accumulator + o, r.pixels + p.first_lane + j + k * o,
                       k));
    });
  }
  w.store = mem_word(p.store_op, p.store_type, pixels * p.elements_per_pixel, r.pixels);
  return w;
}

// Set-up: coefficients from r10, offsets brought to 8 fraction bits (saturated), and each
// offset spread over its run. The last offset is spread first: every run lies above the
// offsets not yet spread, so none is overwritten before it is read.
inline void load_coefficients(kx_ctx_t* ctx, const Plan& p, const int32_t* given) {
  const uint32_t matrix = p.channels * p.channels;
  int32_t values[24] = {};
  for (uint32_t i = 0; i < p.coefficients(); ++i) {
    values[i] = i < matrix ? given[i] : saturate32(int64_t(given[i]) * p.offset_unit);
  }
  for (uint32_t i = 0; i < p.coefficients(); i += 2) {
    kx_ctx_store64(ctx, sl_ctx_reg(kFirstCoefficient + i), uint32_t(values[i]),
                   uint32_t(values[i + 1]));
  }
  const Layout r = layout(p);
  for (uint32_t j = p.channels; j-- > 0;) {
    const uint32_t from = r.offsets + j;
    const uint32_t start = j == 0 ? 1 : 0;  // offset 0 already heads its run
    in_pieces(p.chunk - start, [&](uint32_t o, uint32_t n) {
      sl_queue(ctx, queue_word(SL_OP_SPREAD, n, 0, r.offsets + j * p.chunk + start + o, from));
    });
  }
}

inline void issue_chunk(kx_ctx_t* ctx, const Plan& p, const ChunkWords& w, uint32_t d,
                        uint32_t s) {
  sl_mem_issue(s, w.load, p.flags);
  for (uint32_t q = 0; q < w.queued; ++q) sl_queue(ctx, w.queue[q]);
  sl_mem_issue(d, w.store, p.flags);
}

inline void walk(const Plan& p, Rect r, const int32_t* coefficients) {
  kx_ctx_t* ctx = kx_ctx_get();
  load_coefficients(ctx, p, coefficients);
  if (r.width <= 0 || r.height <= 0) return;
  const ChunkWords full = chunk_words(p, p.chunk);
  const ChunkWords tail = chunk_words(p, std::max(uint32_t(r.width) % p.chunk, 1u));
  for_rows(r, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), p.chunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      const uint32_t offset = x * p.bytes_per_pixel;
      issue_chunk(ctx, p, n == p.chunk ? full : tail, d + offset, s + offset);
    });
  });
}

}  // namespace sl::transform

#endif
