// The walk shared by the blend kernels: dst = s2 + alpha (x) (s1 - s2), element by element.
//
// A member is a row of words: the three loads of a whole chunk in the order they are
// issued (each tagged with the image it reads), the multiply form, the store, and the
// register run the multiply takes alpha from. The rest follows from the loads' registers:
// SUB s1.. = s1.. - s2.., the multiply s1.. = alpha.. (x) s1.., ADD s1.. = s2.. + s1.., in
// pairs of queue words of 16 elements, the store from s1... Where alpha is loaded one per
// pixel but the pixel has several channels (four-channel pixels), it is first scattered
// into the multiply's run, each channel k with a stride of the channels a pixel.
//
// Per chunk: loads, scatters, the SUB pair, the multiply pair, the ADD pair, the store. A
// tail of m pixels uses the same words with the counts reduced: memory words and scatters
// m, the element words min(e, 16) and, when e > 16, e - 16 (e the tail's elements).
#ifndef KXLIB_RECT_BLEND_H
#define KXLIB_RECT_BLEND_H

#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/mem_format.h"
#include "templates/rect.h"

namespace sl::blend {

enum Source : uint32_t { alpha, s1, s2 };

struct Load {
  Source from;
  uint32_t word;  // of a whole chunk
};

struct Member {
  Load load[3];                // in issue order
  sl_qop multiply;             // (alpha x difference) >> 8 or >> 16
  uint32_t store;              // of a whole chunk, from the s1 run
  uint32_t alpha_at;           // first register of the multiply's alpha run
  int32_t alpha_stride_align;  // the alpha stride is rounded down to a multiple of it
};

constexpr uint32_t load_of(const Member& m, Source from) {
  for (const Load& l : m.load)
    if (l.from == from) return l.word;
  return 0;
}

// Pixels a chunk, and registers (elements) a pixel: from the first source's load.
constexpr uint32_t chunk_of(const Member& m) {
  return mem_elements(load_of(m, s1));
}
constexpr uint32_t channels_of(const Member& m) {
  return type_of(load_of(m, s1)) == SL_T4C ? 4 : 1;
}

struct ChunkWords {
  uint32_t load[3];
  uint32_t scatter[4];
  uint32_t scatters;
  uint32_t queue[6];
  uint32_t queued;
  uint32_t store;
};

// The words of a chunk (or tail) of `pixels` pixels.
constexpr ChunkWords chunk_words(const Member& m, uint32_t pixels) {
  ChunkWords w{};
  for (int i = 0; i < 3; ++i) w.load[i] = mem_count(m.load[i].word, pixels);
  const uint32_t channels = channels_of(m);
  const uint32_t loaded_alpha = reg_of(load_of(m, alpha));
  if (loaded_alpha != m.alpha_at) {
    for (uint32_t k = 0; k < channels; ++k) {
      w.scatter[w.scatters++] =
          queue_word(SL_OP_SCATTER, pixels, loaded_alpha, m.alpha_at + k, channels);
    }
  }
  const uint32_t r1 = reg_of(load_of(m, s1)), r2 = reg_of(load_of(m, s2));
  const struct {
    sl_qop op;
    uint32_t a, d, b;
  } steps[] = {
      {SL_OP_SUB, r1, r1, r2}, {m.multiply, m.alpha_at, r1, r1}, {SL_OP_ADD, r2, r1, r1}};
  for (const auto& s : steps) {
    in_pieces(pixels * channels, [&](uint32_t o, uint32_t n) {
      w.queue[w.queued++] =
          queue_word(s.op, n, advance(s.a, o), advance(s.d, o), advance(s.b, o));
    });
  }
  w.store = mem_count(m.store, pixels);
  return w;
}

struct Rect {
  uint32_t dst;
  int32_t dst_stride;
  int32_t width;
  int32_t height;
  uint32_t src[3];  // by Source
  int32_t src_stride[3];
};

inline void issue_chunk(kx_ctx_t* ctx, const Member& m, const ChunkWords& w, uint32_t d,
                        const uint32_t (&s)[3]) {
  for (int i = 0; i < 3; ++i) {
    sl_mem_issue(s[m.load[i].from], w.load[i], page_flags(type_of(w.load[i])));
  }
  for (uint32_t i = 0; i < w.scatters; ++i) sl_queue(ctx, w.scatter[i]);
  for (uint32_t q = 0; q < w.queued; ++q) sl_queue(ctx, w.queue[q]);
  sl_mem_issue(d, w.store, page_flags(type_of(w.store)));
}

inline void walk(const Member& m, Rect r) {
  if (r.width <= 0 || r.height <= 0) return;
  kx_ctx_t* ctx = kx_ctx_get();
  r.src_stride[alpha] =
      int32_t(uint32_t(r.src_stride[alpha]) & ~uint32_t(m.alpha_stride_align - 1));
  const uint32_t chunk = chunk_of(m);
  const uint32_t remainder = uint32_t(r.width) % chunk;
  const ChunkWords full = chunk_words(m, chunk);
  const ChunkWords tail = chunk_words(m, remainder ? remainder : 1);
  const uint32_t dst_bytes = pixel_bytes(type_of(m.store));
  uint32_t src_bytes[3];
  for (uint32_t from : {alpha, s1, s2})
    src_bytes[from] = pixel_bytes(type_of(load_of(m, Source(from))));
  for (int32_t row = 0; row < r.height; ++row) {
    const uint32_t k = uint32_t(row);
    for_chunks(uint32_t(r.width), chunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      uint32_t s[3];
      for (int i = 0; i < 3; ++i)
        s[i] = r.src[i] + k * uint32_t(r.src_stride[i]) + x * src_bytes[i];
      issue_chunk(ctx, m, n == chunk ? full : tail,
                  r.dst + k * uint32_t(r.dst_stride) + x * dst_bytes, s);
    });
  }
}

}  // namespace sl::blend

#endif
