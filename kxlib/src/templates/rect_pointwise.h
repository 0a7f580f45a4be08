// The walk shared by every pointwise kernel family.
//
// A family member is a plan (formats and register budget) plus a row of steps (the queue
// forms one chunk issues). The walk owns rows, chunks and tails: per chunk it issues the
// loads, the steps' queue words and the store, in that order; all words are built once
// before the row loop.
#ifndef KXLIB_RECT_POINTWISE_H
#define KXLIB_RECT_POINTWISE_H

#include <cstddef>
#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"

namespace sl::pointwise {

// How a run of registers is cut into queue words of at most 16 elements.
enum class Split {
  sixteens,  // 16, then the rest
  halves,    // up to 32: two equal halves; above: 16, 16, the rest
};

struct Plan {
  uint32_t load_type;
  sl_mem_op store_op;
  uint32_t store_type;
  uint32_t flags;  // page-crossing flags of every load and the store
  uint32_t chunk;  // pixels per chunk
  uint32_t regs_per_pixel;
  uint32_t bytes_per_pixel;
  Split split;
  bool tail_forms;  // tails use each step's tail form
};

struct Step {
  sl_qop op;       // form of full chunks
  sl_qop tail_op;  // form of tails, when the plan asks for tail forms
  uint32_t a, d, b;
  bool b_is_run;  // B advances with the elements; otherwise one register or an immediate
};

constexpr Step STEP(sl_qop op, uint32_t a, uint32_t d, uint32_t b) {
  return {op, op, a, d, b, true};
}
constexpr Step STEP_TAIL(sl_qop op, sl_qop tail_op, uint32_t a, uint32_t d, uint32_t b) {
  return {op, tail_op, a, d, b, true};
}
// A step whose B field is an immediate supplied at run time.
constexpr Step STEP_IMM(sl_qop op, uint32_t a, uint32_t d) {
  return {op, op, a, d, 0, false};
}

struct Pieces {
  uint32_t offset[3];
  uint32_t count[3];
  int n;
};

constexpr Pieces split(Split how, uint32_t regs) {
  if (how == Split::halves && regs <= 2 * kQueueMax) {
    return {{0, regs / 2, 0}, {regs / 2, regs - regs / 2, 0}, 2};
  }
  Pieces p{};
  for (uint32_t done = 0; done < regs && p.n < 3; done += kQueueMax, ++p.n) {
    p.offset[p.n] = done;
    p.count[p.n] = regs - done < kQueueMax ? regs - done : kQueueMax;
  }
  return p;
}

// Registers of a member: where each source is loaded and where the result is stored from.
struct Registers {
  uint32_t load[2];
  int loads;
  uint32_t store;
};

// The words of one chunk (or tail) of `pixels` pixels.
struct ChunkWords {
  uint32_t load[2];
  uint32_t queue[9];
  int queued;
  uint32_t store;
};

template <size_t N>
ChunkWords chunk_words(const Plan& plan, const Registers& regs, const Step (&steps)[N],
                       uint32_t pixels, bool tail, uint32_t immediate = 0) {
  static_assert(N <= 3, "a chunk holds at most nine queue words");
  ChunkWords w{};
  for (int i = 0; i < regs.loads; ++i) {
    w.load[i] = mem_word(SL_LD, plan.load_type, pixels, regs.load[i]);
  }
  const Pieces pieces = split(plan.split, pixels * plan.regs_per_pixel);
  for (const Step& s : steps) {
    const sl_qop op = tail && plan.tail_forms ? s.tail_op : s.op;
    for (int p = 0; p < pieces.n; ++p) {
      const uint32_t o = pieces.offset[p];
      const uint32_t b = s.b_is_run ? advance(s.b, o) : (s.b ? s.b : immediate);
      w.queue[w.queued++] =
          queue_word(op, pieces.count[p], advance(s.a, o), advance(s.d, o), b);
    }
  }
  w.store = mem_word(plan.store_op, plan.store_type, pixels, regs.store);
  return w;
}

// Rows of a rectangle with one or two sources.
struct Rect {
  uint32_t dst;
  int32_t dst_stride;
  int32_t width;
  int32_t height;
  uint32_t src[2];
  int32_t src_stride[2];
};

inline void issue_chunk(kx_ctx_t* ctx, const Plan& plan, const Registers& regs,
                        const ChunkWords& w, uint32_t d, const uint32_t (&s)[2]) {
  for (int i = 0; i < regs.loads; ++i) sl_mem_issue(s[i], w.load[i], plan.flags);
  for (int q = 0; q < w.queued; ++q) sl_queue(ctx, w.queue[q]);
  sl_mem_issue(d, w.store, plan.flags);
}

template <size_t N>
void walk(kx_ctx_t* ctx, const Plan& plan, const Registers& regs, const Step (&steps)[N],
          Rect r, uint32_t immediate = 0) {
  if (r.height <= 0 || r.width <= 0) return;
  const uint32_t tail_pixels = uint32_t(r.width) % plan.chunk;
  const ChunkWords full = chunk_words(plan, regs, steps, plan.chunk, false, immediate);
  const ChunkWords tail =
      chunk_words(plan, regs, steps, tail_pixels ? tail_pixels : 1, true, immediate);
  const uint32_t chunk_bytes = plan.chunk * plan.bytes_per_pixel;
  const uint32_t chunks = uint32_t(r.width) / plan.chunk;
  for (int32_t row = 0; row < r.height; ++row) {
    uint32_t d = r.dst;
    uint32_t s[2] = {r.src[0], r.src[1]};
    for (uint32_t c = 0; c < chunks; ++c) {
      issue_chunk(ctx, plan, regs, full, d, s);
      d += chunk_bytes;
      s[0] += chunk_bytes;
      s[1] += chunk_bytes;
    }
    if (tail_pixels) issue_chunk(ctx, plan, regs, tail, d, s);
    r.dst += uint32_t(r.dst_stride);
    r.src[0] += uint32_t(r.src_stride[0]);
    r.src[1] += uint32_t(r.src_stride[1]);
  }
}

// Set-up: `value` written to register `reg` and replicated so that `total` registers from
// `reg` hold it (spread words of at most 16).
inline void replicate_scalar(kx_ctx_t* ctx, uint32_t reg, uint32_t value, uint32_t total) {
  sl_reg_set(ctx, reg, value);
  for (uint32_t filled = 1; filled < total; filled += kQueueMax) {
    const uint32_t n = total - filled < kQueueMax ? total - filled : kQueueMax;
    sl_queue(ctx, queue_word(SL_OP_SPREAD, n, 0, reg + filled, reg));
  }
}

// Set-up: four channel values written to reg..reg+3 and replicated by doubling moves so that
// `total` registers repeat them, pixel after pixel.
inline void replicate_channels(kx_ctx_t* ctx, uint32_t reg, const int32_t* values,
                               uint32_t total) {
  for (uint32_t k = 0; k < 4; ++k) sl_reg_set(ctx, reg + k, uint32_t(values[k]));
  for (uint32_t filled = 4; filled < total;) {
    const uint32_t n = filled < kQueueMax ? filled : kQueueMax;
    sl_queue(ctx, queue_word(SL_OP_MOVE, n, 0, reg + filled, reg));
    filled += n;
  }
}

}  // namespace sl::pointwise

#endif
