// The walk shared by every transform kernel: each output channel is a linear combination of
// the input channels plus an offset.
//
// A member is a plan (formats, chunk size, channels, multiply forms, where a table enters);
// the register layout and every word follow from it. Set-up writes the coefficients (the
// outputs x inputs matrix row by row, then one offset per output channel) from r10 up, two
// registers a store, and spreads each offset over a run of one chunk. Per chunk: load the
// pixels; gather each input channel into its own run; for each output channel j,
// multiply-accumulate channel by channel (the coefficient brought into r1 before each term;
// the first term adds offset j, the last uses the closing form) and scatter the result back
// into channel j of the pixels; store the pixels. Lanes the transform does not name (byte 0
// of a three-channel 4-byte pixel) are stored as they were loaded. Pixels of one register
// are their own channel run: no gather or scatter, the result is formed in place. A
// destination narrower than the source (one byte from a 4-byte pixel) is the result run
// itself, formed over the loaded pixels' registers once they are gathered.
//
// A table enters in one of two places: each gathered channel looked up in place before the
// terms, or each result clamped to 0..255 (MAX with r0, MIN with a run of 255 written at
// set-up) and looked up in place before its scatter. Indexed loads are issued at the table.
#ifndef KXLIB_RECT_TRANSFORM_H
#define KXLIB_RECT_TRANSFORM_H

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_saturate.h"
#include "sl_word.h"
#include "templates/rect.h"

namespace sl::transform {

inline constexpr uint32_t kFirstCoefficient = 10;  // even: pairs are doubleword stores
inline constexpr uint32_t kMultiplier = 1;
inline constexpr uint32_t kMaxCoefficients = 24;

// The colour transforms' stores carry sub-field 1 (SL_ST3 clamps to 0..255 and ignores it):
// 4-byte pixels, and one byte a pixel.
inline constexpr uint32_t kColourStore = SL_T4C + 1;
inline constexpr uint32_t kColourByteStore = SL_T8 + 1;

// How r1 receives each term's coefficient.
enum class Multiplier : uint8_t {
  copied,   // a spread word copies it from its coefficient register
  written,  // a direct write of the value into r1
};

// Where a 256-byte table enters.
enum class Lookup : uint8_t {
  none,
  inputs,   // each gathered channel, in place, before the terms
  results,  // each result, clamped to 0..255, in place, before its scatter
};

// One side's memory word: operation, data type, page flags, bytes a pixel.
struct Memory {
  sl_mem_op op;
  uint32_t type;
  uint32_t flags;
  uint32_t bytes;
};

// How the terms are formed, and where a table enters.
struct Terms {
  sl_qop term = SL_OP_MAC;  // every term but the last
  sl_qop closing = SL_OP_MACR8;
  Multiplier multiplier = Multiplier::copied;
  Lookup lookup = Lookup::none;
};

struct Plan {
  Memory load, store;
  uint32_t chunk;               // pixels per chunk
  uint32_t elements_per_pixel;  // memory elements of one pixel, on either side
  uint32_t regs_per_pixel;      // registers of one loaded pixel: the gather stride
  uint32_t first_lane;          // register of input and output channel 0 within a pixel
  uint32_t inputs, outputs;     // channels
  int32_t offset_unit;          // offsets are multiplied by it at set-up
  Terms terms = {};

  constexpr bool in_place() const { return regs_per_pixel == 1; }
  // A destination pixel the size of the source's takes each result in its lane; a narrower
  // one is the result run itself.
  constexpr bool scattered() const { return !in_place() && store.bytes == load.bytes; }
  constexpr uint32_t matrix() const { return inputs * outputs; }
  constexpr uint32_t coefficients() const { return matrix() + outputs; }
};

// Registers, packed from r10 up: coefficients, offset runs, channel runs, accumulator,
// pixels (one chunk each), and for clamped lookups the run of 255.
struct Layout {
  uint32_t offsets, channels, accumulator, pixels, limit, end;
};

constexpr Layout layout(const Plan& p) {
  const uint32_t offsets = kFirstCoefficient + p.matrix();
  const uint32_t channels = offsets + p.outputs * p.chunk;
  Layout r{offsets, channels, channels, channels, 0, channels + p.chunk};
  if (!p.in_place()) {
    r.accumulator = channels + p.inputs * p.chunk;
    r.pixels = p.scattered() ? r.accumulator + p.chunk : r.accumulator;
    r.end = r.pixels + p.chunk * p.regs_per_pixel;
  }
  if (p.terms.lookup == Lookup::results) {
    r.limit = r.end;
    r.end += p.chunk;
  }
  return r;
}

// What a chunk issues between its load and its store, in order.
enum class Kind : uint8_t {
  queue,       // a queue word
  multiplier,  // r1 = coefficient `word` (its index), a direct register write
  indexed,     // an indexed load, issued at the table
};

struct Step {
  Kind kind;
  uint32_t word;
};

struct ChunkWords {
  uint32_t load;
  Step steps[48];
  uint32_t count;
  uint32_t store;
};

// The words of a chunk (or tail) of `pixels` pixels; a tail uses the registers of a chunk.
constexpr ChunkWords chunk_words(const Plan& p, uint32_t pixels) {
  const Layout r = layout(p);
  const uint32_t k = p.regs_per_pixel;
  ChunkWords w{};
  const auto step = [&w](Kind kind, uint32_t word) { w.steps[w.count++] = {kind, word}; };
  const auto queue = [&](uint32_t word) { step(Kind::queue, word); };
  // Every entry replaces its index.
  const auto look_up = [&](uint32_t run) {
    step(Kind::indexed, mem_word(SL_LD, SL_T8, pixels, run, run));
  };
  w.load = mem_word(SL_LD, p.load.type, pixels * p.elements_per_pixel, r.pixels);
  for (uint32_t c = 0; c < p.inputs && !p.in_place(); ++c) {
    in_pieces(pixels, [&](uint32_t o, uint32_t n) {
      queue(queue_word(SL_OP_GATHER, n, r.pixels + p.first_lane + c + k * o,
                       r.channels + c * p.chunk + o, k));
    });
  }
  for (uint32_t c = 0; c < p.inputs && p.terms.lookup == Lookup::inputs; ++c) {
    look_up(r.channels + c * p.chunk);
  }
  for (uint32_t j = 0; j < p.outputs; ++j) {
    for (uint32_t c = 0; c < p.inputs; ++c) {
      const uint32_t coefficient = p.inputs * j + c;
      if (p.terms.multiplier == Multiplier::copied) {
        queue(queue_word(SL_OP_SPREAD, 1, 0, kMultiplier, kFirstCoefficient + coefficient));
      } else {
        step(Kind::multiplier, coefficient);
      }
      const sl_qop form = c + 1 == p.inputs ? p.terms.closing : p.terms.term;
      in_pieces(pixels, [&](uint32_t o, uint32_t n) {
        const uint32_t b = c == 0 ? r.offsets + j * p.chunk + o : r.accumulator + o;
        queue(queue_word(form, n, r.channels + c * p.chunk + o, r.accumulator + o, b));
      });
    }
    if (p.terms.lookup == Lookup::results) {
      in_pieces(pixels, [&](uint32_t o, uint32_t n) {
        queue(queue_word(SL_OP_MAX, n, r.accumulator + o, r.accumulator + o, 0));
      });
      in_pieces(pixels, [&](uint32_t o, uint32_t n) {
        queue(queue_word(SL_OP_MIN, n, r.accumulator + o, r.accumulator + o, r.limit + o));
      });
      look_up(r.accumulator);
    }
    if (!p.scattered()) continue;
    in_pieces(pixels, [&](uint32_t o, uint32_t n) {
      queue(queue_word(SL_OP_SCATTER, n, r.accumulator + o, r.pixels + p.first_lane + j + k * o,
                       k));
    });
  }
  w.store = mem_word(p.store.op, p.store.type, pixels * p.elements_per_pixel, r.pixels);
  return w;
}

// True when the chunk issues exactly `words` (register writes left out), for pinning them.
constexpr bool issues(const ChunkWords& w, std::initializer_list<uint32_t> words) {
  const uint32_t* next = words.begin();
  const auto match = [&](uint32_t word) { return next != words.end() && *next++ == word; };
  if (!match(w.load)) return false;
  for (uint32_t i = 0; i < w.count; ++i) {
    if (w.steps[i].kind != Kind::multiplier && !match(w.steps[i].word)) return false;
  }
  return match(w.store) && next == words.end();
}

// The set-up's spread words. The last offset is spread first: every run lies above the
// offsets not yet spread, so none is overwritten before it is read.
struct Spreads {
  uint32_t word[8];
  uint32_t count;
};

constexpr Spreads spreads(const Plan& p) {
  const Layout r = layout(p);
  Spreads s{};
  for (uint32_t j = p.outputs; j-- > 0;) {
    const uint32_t from = r.offsets + j;
    const uint32_t start = j == 0 ? 1 : 0;  // offset 0 already heads its run
    in_pieces(p.chunk - start, [&](uint32_t o, uint32_t n) {
      s.word[s.count++] =
          queue_word(SL_OP_SPREAD, n, 0, r.offsets + j * p.chunk + start + o, from);
    });
  }
  return s;
}

// The coefficients as the registers hold them: offsets brought to their unit (saturated).
struct Values {
  int32_t v[kMaxCoefficients];
};

inline Values values(const Plan& p, const int32_t* given) {
  Values out{};
  for (uint32_t i = 0; i < p.coefficients(); ++i) {
    out.v[i] = i < p.matrix() ? given[i] : saturate32(int64_t(given[i]) * p.offset_unit);
  }
  return out;
}

// Set-up: coefficients from r10, the offsets spread, the run of 255 of clamped lookups.
inline void load_coefficients(kx_ctx_t* ctx, const Plan& p, const Values& values) {
  for (uint32_t i = 0; i < p.coefficients(); i += 2) {
    kx_ctx_store64(ctx, sl_ctx_reg(kFirstCoefficient + i), uint32_t(values.v[i]),
                   uint32_t(values.v[i + 1]));
  }
  const Spreads s = spreads(p);
  for (uint32_t i = 0; i < s.count; ++i) sl_queue(ctx, s.word[i]);
  if (p.terms.lookup == Lookup::results) sl_reg_fill(ctx, layout(p).limit, p.chunk, 255);
}

inline void issue_chunk(kx_ctx_t* ctx, const Plan& p, const ChunkWords& w, const Values& values,
                        uint32_t table, uint32_t d, uint32_t s) {
  sl_mem_issue(s, w.load, p.load.flags);
  for (uint32_t i = 0; i < w.count; ++i) {
    const Step& step = w.steps[i];
    switch (step.kind) {
      case Kind::queue:
        sl_queue(ctx, step.word);
        break;
      case Kind::multiplier:
        sl_reg_set(ctx, kMultiplier, uint32_t(values.v[step.word]));
        break;
      case Kind::indexed:
        sl_mem_issue_indexed(table, step.word);
        break;
    }
  }
  sl_mem_issue(d, w.store, p.store.flags);
}

// `table` is read only by plans with a lookup.
inline void walk(const Plan& p, Rect r, const int32_t* coefficients, uint32_t table = 0) {
  kx_ctx_t* ctx = kx_ctx_get();
  const Values v = values(p, coefficients);
  load_coefficients(ctx, p, v);
  if (r.width <= 0 || r.height <= 0) return;
  const ChunkWords full = chunk_words(p, p.chunk);
  const ChunkWords tail = chunk_words(p, std::max(uint32_t(r.width) % p.chunk, 1u));
  for_rows(r, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), p.chunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      issue_chunk(ctx, p, n == p.chunk ? full : tail, v, table, d + x * p.store.bytes,
                  s + x * p.load.bytes);
    });
  });
}

}  // namespace sl::transform

#endif
