// How a queue word's elements read their operands and write their results (docs/kx-isa.md
// 4.2), one walk per operand shape. The forms of queue_forms.cpp say what one element
// computes; the walk checks the word's register runs, reads every source before any
// destination is written (vector semantics) and places the results.
#ifndef KX_MODEL_QUEUE_WALKS_H
#define KX_MODEL_QUEUE_WALKS_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "isa.h"
#include "processor.h"

namespace kxm::detail {

// The operands of element i.
struct Element {
  uint32_t a;   // A+i (gather: r(A + k*i))
  uint32_t a1;  // A+i+1 and A+i+2: the funnel shift's further words, when it needs them
  uint32_t a2;
  uint32_t b;  // B+i, r(B), the immediate or the stride, by the walk
  int i;
};

// Registers every element sees as they were before the word.
struct Shared {
  uint32_t r1;  // the multiplier
  uint32_t r2;  // the condition mask
  uint32_t rop;
};

using Form = uint32_t (*)(const Element&, const Shared&);

namespace walk {

using isa::Walk;

// A run of `count` registers from `first`; a field of 0 is r0 and never advances.
constexpr bool run_fits(int first, int count) {
  return first == 0 || first + count - 1 < isa::kRegisters;
}
constexpr bool strided_fits(int first, int stride, int count) {
  const int last = first + stride * (count - 1);
  return first == 0 || (last >= 0 && last < isa::kRegisters);
}

// The funnel shift reads A+i+1 from s > 0 on and A+i+2 from s > 32 on.
constexpr int funnel_extra(int s) {
  return s == 0 ? 0 : s <= 32 ? 1 : 2;
}

template <Walk W>
bool registers_fit(const isa::QueueWord& q) {
  const int n = q.count();
  switch (W) {
    case Walk::elementwise:
      return run_fits(q.a(), n) && run_fits(q.b(), n) && run_fits(q.d(), n);
    case Walk::one_b:
    case Walk::immediate:
    case Walk::compare:
      return run_fits(q.a(), n) && run_fits(q.d(), n);
    case Walk::funnel:
      return run_fits(q.a(), n + funnel_extra(q.b())) && run_fits(q.d(), n);
    case Walk::scatter:
      return run_fits(q.a(), n) && strided_fits(q.d(), q.stride(), n);
    case Walk::gather:
      return strided_fits(q.a(), q.stride(), n) && run_fits(q.d(), n);
  }
  return false;
}

template <Walk W>
Element operands(const Processor& p, const isa::QueueWord& q, int i) {
  auto run = [&](int first, int k) { return p.r[first ? first + k : 0]; };
  // A gather's A run is strided, every other walk's is A+i.
  Element e{run(q.a(), W == Walk::gather ? q.stride() * i : i), 0, 0, 0, i};
  switch (W) {
    case Walk::elementwise:
      e.b = run(q.b(), i);
      break;
    case Walk::one_b:
    case Walk::compare:
      e.b = p.r[q.b()];
      break;
    case Walk::immediate:
      e.b = uint32_t(q.b());
      break;
    case Walk::funnel:
      e.b = uint32_t(q.b());
      if (q.b() > 0) e.a1 = run(q.a(), i + 1);
      if (q.b() > 32) e.a2 = run(q.a(), i + 2);
      break;
    case Walk::scatter:
      e.b = uint32_t(q.stride());
      break;
    case Walk::gather:
      break;
  }
  return e;
}

template <Walk W>
void retire(Processor& p, const isa::QueueWord& q, const uint32_t* result) {
  const int n = q.count();
  if constexpr (W == Walk::compare) {
    uint32_t mask = 0;
    for (int i = 0; i < n; ++i) mask |= (result[i] & 1) << (31 - i);
    p.r[2] = mask;
  } else {
    if (q.d() == 0) return;
    if constexpr (W != Walk::scatter) {  // D+i, all in r1..r127
      // A whole word in one fixed-size move: the next word reads these registers as
      // vectors, which a copy of runtime length would write in pieces too small to forward.
      if (n == 16) {
        std::memcpy(&p.r[size_t(q.d())], result, 16 * sizeof(uint32_t));
      } else {
        std::copy(result, result + n, &p.r[size_t(q.d())]);
      }
      return;
    }
    const int step = q.stride();
    for (int i = 0; i < n; ++i) {
      const int target = q.d() + step * i;
      if (target != 0) p.r[size_t(target)] = result[i];
    }
  }
}

// One queue word of form F with operand shape W; its encoding has been found defined.
template <Walk W, Form F>
void execute(Processor& p, uint32_t word) {
  const isa::QueueWord q{word};
  if (!registers_fit<W>(q))
    return p.fault(FaultKind::register_run, word, isa::kQueuePort, "beyond r127");
  const Shared shared{p.r[1], p.r[2], p.raster_op};
  uint32_t result[16];
  const int n = q.count();
  if constexpr (W == Walk::elementwise || W == Walk::one_b || W == Walk::immediate) {
    // A+i and B+i (or one B) as plain arrays, a field of 0 reading r0 for every element:
    // one loop the compiler can vectorise.
    static constexpr uint32_t zeros[16] = {};
    const uint32_t* a = q.a() ? &p.r[size_t(q.a())] : zeros;
    const uint32_t* b = q.b() ? &p.r[size_t(q.b())] : zeros;
    const uint32_t one = W == Walk::one_b ? p.r[size_t(q.b())] : uint32_t(q.b());
    auto elements = [&](int count) {
      for (int i = 0; i < count; ++i) {
        result[i] = F(Element{a[i], 0, 0, W == Walk::elementwise ? b[i] : one, i}, shared);
      }
    };
    if (n == 16) {
      elements(16);  // the whole word: a loop of known length, without a remainder
    } else {
      elements(n);
    }
  } else {
    for (int i = 0; i < n; ++i) result[i] = F(operands<W>(p, q, i), shared);
  }
  retire<W>(p, q, result);
}

}  // namespace walk

}  // namespace kxm::detail

#endif
