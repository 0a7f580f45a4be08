// Queue words: what one element of each form of kx_isa.def computes (docs/kx-isa.md 4.3),
// one function per table row in the table's order, each with its operand shape (isa.h,
// Walk); then the decode table and the decoder.
//
// e.a is A+i, e.b is B+i, r(B) or the immediate as the shape says, e.i the element number;
// x holds r1, r2 and the raster op as they were before the word. Sums, differences and
// products are exact and saturate when written; right shifts of them are arithmetic.
#include <algorithm>
#include <array>
#include <cstdint>

#include "decode.h"
#include "isa.h"
#include "processor.h"
#include "queue_walks.h"

namespace kxm::detail {

namespace {

// A form: NAME_walk, its operand shape, and NAME(e, x), what element i computes.
#define FORM(NAME, shape)                             \
  constexpr isa::Walk NAME##_walk = isa::Walk::shape; \
  uint32_t NAME([[maybe_unused]] const Element& e, [[maybe_unused]] const Shared& x)

int64_t s(uint32_t v) {
  return int32_t(v);
}
uint32_t saturate(int64_t v) {
  return uint32_t(int32_t(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)));
}
bool r2_bit(const Shared& x, int i) {
  return (x.r2 >> (31 - i) & 1) != 0;
}
// Shift amounts are unsigned; 32 or more gives 0 (logical) or the sign (arithmetic).
uint32_t shift_right_logical(uint32_t v, uint32_t n) {
  return n >= 32 ? 0 : v >> n;
}
uint32_t shift_right_arithmetic(uint32_t v, uint32_t n) {
  return uint32_t(int32_t(v) >> std::min(n, 31u));
}
uint32_t shift_left(uint32_t v, uint32_t n) {
  return n >= 32 ? 0 : v << n;
}

// The exact a + b and a - b, saturated, in 32-bit steps that vectorise (the 64-bit clamp
// above does not, and the sums are the commonest words): the result taken modulo 2^32 is
// exact unless the operands' signs give it the wrong sign, and then the exact value lies
// beyond the limit on a's side, INT32_MIN for a negative a, INT32_MAX otherwise.
uint32_t limit_of_sign(uint32_t a) {
  return (a >> 31) + 0x7FFFFFFFu;
}
uint32_t saturated_sum(uint32_t a, uint32_t b) {
  const uint32_t sum = a + b;
  return int32_t((a ^ sum) & (b ^ sum)) < 0 ? limit_of_sign(a) : sum;
}
uint32_t saturated_difference(uint32_t a, uint32_t b) {
  const uint32_t difference = a - b;
  return int32_t((a ^ b) & (a ^ difference)) < 0 ? limit_of_sign(a) : difference;
}

// A/000: D+i = A+i + B+i
FORM(SL_OP_ADD, elementwise) {
  return saturated_sum(e.a, e.b);
}

// A/100: D+i = A+i - B+i
FORM(SL_OP_SUB, elementwise) {
  return saturated_difference(e.a, e.b);
}

// A/101: D+i = A+i - B+i (the same as SL_OP_SUB)
FORM(SL_OP_ARITH5, elementwise) {
  return saturated_difference(e.a, e.b);
}

// A/111: D+i = |A+i - B+i|
FORM(SL_OP_ABS, elementwise) {
  const int64_t difference = s(e.a) - s(e.b);
  return saturate(difference < 0 ? -difference : difference);
}

// A/001: D+i = A+i + r(B)
FORM(SL_OP_ADDS, one_b) {
  return saturated_sum(e.a, e.b);
}

// 0/000: D+i = A+i * B+i
FORM(SL_OP_MUL, elementwise) {
  return saturate(s(e.a) * s(e.b));
}

// 0/010: D+i = A+i * r1 + B+i
FORM(SL_OP_MAC, elementwise) {
  return saturate(s(e.a) * s(x.r1) + s(e.b));
}

// 0/110: D+i = (A+i * r1 + B+i) >> 8
FORM(SL_OP_MACR8, elementwise) {
  return saturate((s(e.a) * s(x.r1) + s(e.b)) >> 8);
}

// 1/000: D+i = (A+i * B+i) >> 8
FORM(SL_OP_MULF, elementwise) {
  return saturate((s(e.a) * s(e.b)) >> 8);
}

// 1/010: D+i = ((A+i * r1) >> 8) + B+i
FORM(SL_OP_MACF8, elementwise) {
  return saturate(((s(e.a) * s(x.r1)) >> 8) + s(e.b));
}

// 1/110: the same as 1/010
FORM(SL_OP_MACF8B, elementwise) {
  return saturate(((s(e.a) * s(x.r1)) >> 8) + s(e.b));
}

// 3/000: D+i = (A+i * B+i) >> 16
FORM(SL_OP_MULF16, elementwise) {
  return saturate((s(e.a) * s(e.b)) >> 16);
}

// 3/010: D+i = ((A+i * r1) >> 16) + B+i
FORM(SL_OP_MACF16, elementwise) {
  return saturate(((s(e.a) * s(x.r1)) >> 16) + s(e.b));
}

// 4/010: D+i = A+i * r1 + B+i (as 0/010)
FORM(SL_OP_MAC4, elementwise) {
  return saturate(s(e.a) * s(x.r1) + s(e.b));
}

// D/000: D+i = min(A+i, B+i)
FORM(SL_OP_MIN, elementwise) {
  return uint32_t(std::min(s(e.a), s(e.b)));
}

// D/100: D+i = max(A+i, B+i)
FORM(SL_OP_MAX, elementwise) {
  return uint32_t(std::max(s(e.a), s(e.b)));
}

// D/101: r2 bit 31-i = (A+i < r(B))
FORM(SL_OP_CMPLT, compare) {
  return s(e.a) < s(e.b);
}

// D/111: r2 bit 31-i = (A+i > r(B))
FORM(SL_OP_CMPGT, compare) {
  return s(e.a) > s(e.b);
}

// 9/001: result bit = bit (2a + b) of the raster op, a and b the bits of A+i and B+i
FORM(SL_OP_ROP, elementwise) {
  uint32_t result = 0;
  if (x.rop & 1) result |= ~e.a & ~e.b;
  if (x.rop & 2) result |= ~e.a & e.b;
  if (x.rop & 4) result |= e.a & ~e.b;
  if (x.rop & 8) result |= e.a & e.b;
  return result;
}

// 9/110: D+i = (r2 bit 31-i) ? B+i : A+i
FORM(SL_OP_SELECT, elementwise) {
  return r2_bit(x, e.i) ? e.b : e.a;
}

// B/110: D+i = A+i OR B+i
FORM(SL_OP_MOVE, elementwise) {
  return e.a | e.b;
}

// B/111: D+i = A+i OR r(B)
FORM(SL_OP_SPREAD, one_b) {
  return e.a | e.b;
}

// B/100: D+i = A+i XOR B+i
FORM(SL_OP_XOR, elementwise) {
  return e.a ^ e.b;
}

// C/000: D+i = A+i >> B+i (logical)
FORM(SL_OP_SRL, elementwise) {
  return shift_right_logical(e.a, e.b);
}

// C/010: D+i = A+i >> B+i (arithmetic)
FORM(SL_OP_SRA, elementwise) {
  return shift_right_arithmetic(e.a, e.b);
}

// C/100: D+i = A+i << B+i
FORM(SL_OP_SLL, elementwise) {
  return shift_left(e.a, e.b);
}

// C/001: D+i = A+i >> imm (logical)
FORM(SL_OP_SRLI, immediate) {
  return shift_right_logical(e.a, e.b);
}

// C/011: D+i = A+i >> imm (arithmetic)
FORM(SL_OP_SRAI, immediate) {
  return shift_right_arithmetic(e.a, e.b);
}

// C/101: D+i = A+i << imm
FORM(SL_OP_SLLI, immediate) {
  return shift_left(e.a, e.b);
}

// C/111: D+i = the 32 bits at bit s of A+i : A+i+1 : A+i+2 (s = imm, at most 64)
FORM(SL_OP_FUNNEL, funnel) {
  const uint32_t shift = e.b;
  const uint64_t pair = shift <= 32 ? uint64_t{e.a} << 32 | e.a1 : uint64_t{e.a1} << 32 | e.a2;
  return uint32_t((pair << (shift <= 32 ? shift : shift - 32)) >> 32);
}

// E/010: r(D + k*i) = A+i (k = imm, signed)
FORM(SL_OP_SCATTER, scatter) {
  return e.a;
}

// E/011: D+i = r(A + k*i) (k = imm, signed)
FORM(SL_OP_GATHER, gather) {
  return e.a;
}

#undef FORM

}  // namespace

// ---- Decoding (4.1, 4.2, 5)

constexpr std::array<QueueForm, 128> kQueueForms = [] {
  std::array<QueueForm, 128> table{};
#define KX_QUEUE_FORM(NAME, group, variant, mnemonic) \
  table[isa::opcode(group, variant)] =                \
      QueueForm{#NAME, mnemonic, NAME##_walk, &walk::execute<NAME##_walk, &NAME>};
#include "kx_isa.def"
  return table;
}();

namespace {

const char* undefined_fields(const isa::QueueWord& q, const QueueForm& form) {
  if (form.name == nullptr) return "no form for this group and variant";
  if (form.walk == isa::Walk::compare && q.d() != 0) return "compare with a D field";
  if (form.walk == isa::Walk::funnel && unsigned(q.b()) > isa::kMaxFunnelShift)
    return "funnel shift above 64";
  return nullptr;
}

}  // namespace

const char* undefined_queue_word(uint32_t word) {
  const isa::QueueWord q{word};
  return undefined_fields(q, kQueueForms[q.opcode()]);
}

void execute_queue_word(Processor& p, uint32_t word) {
  const isa::QueueWord q{word};
  const QueueForm& form = kQueueForms[q.opcode()];
  if (const char* why = undefined_fields(q, form)) {
    p.fault(FaultKind::undefined, word, isa::kQueuePort, why);
    return;
  }
  form.execute(p, word);
}

}  // namespace kxm::detail
