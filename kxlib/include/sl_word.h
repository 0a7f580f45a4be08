// Instruction words of the KX processor, built from named fields (docs/kx-isa.md 3.1, 4.1).
//
// Every word a kernel issues is built here with constexpr helpers; the checks at the end of
// this file pin the helpers to the words the instruction-set documents list.
#ifndef SL_WORD_H
#define SL_WORD_H

#include <cstdint>

// Memory operations, data types and queue forms, from the one list of encodings.
enum sl_mem_op : uint32_t {
#define KX_MEM_OP(NAME, code, mnemonic) NAME = code,
#include "kx_isa.def"
};

enum sl_type : uint32_t {
#define KX_DATA_TYPE(NAME, code, mnemonic) NAME = code,
#include "kx_isa.def"
};

struct sl_qop {
  uint32_t group;
  uint32_t variant;
};

#define KX_QUEUE_FORM(NAME, group, variant, mnemonic) \
  inline constexpr sl_qop NAME{group, variant};
#include "kx_isa.def"

namespace sl {

// Largest element counts of one word.
inline constexpr uint32_t kMemMax = 32;
inline constexpr uint32_t kQueueMax = 16;

// A run of `regs` registers as queue words of at most 16: piece(offset, count) for each.
template <typename Piece>
constexpr void in_pieces(uint32_t regs, Piece piece) {
  for (uint32_t o = 0; o < regs; o += kQueueMax) {
    piece(o, regs - o < kQueueMax ? regs - o : kQueueMax);
  }
}

// A memory-reference word: class 1000, count, operation, data type, register; the low bits
// are 0 (the issue ORs in A & 7) or the index register of an indexed load.
constexpr uint32_t mem_word(sl_mem_op op, uint32_t type, uint32_t count, uint32_t reg,
                            uint32_t index_reg = 0) {
  return 0x80000000u | (((count - 1) << 23) & 0x0F800000u) | (uint32_t(op) << 19) |
         ((type & 0x1Fu) << 14) | ((reg << 7) & 0x3F80u) | (index_reg & 0x7Fu);
}

// The same word with another element count.
constexpr uint32_t mem_count(uint32_t word, uint32_t count) {
  return (word & 0xF07FFFFFu) | (((count - 1) << 23) & 0x0F800000u);
}

constexpr uint32_t mem_elements(uint32_t word) {
  return ((word >> 23) & 0x1Fu) + 1;
}

// A queue word: group, count, variant, source A, destination, source B (or immediate).
constexpr uint32_t queue_word(sl_qop op, uint32_t count, uint32_t a, uint32_t d, uint32_t b) {
  return (op.group << 28) | (((count - 1) << 24) & 0x0F000000u) | (op.variant << 21) |
         ((a & 0x7Fu) << 14) | ((d & 0x7Fu) << 7) | (b & 0x7Fu);
}

constexpr uint32_t queue_count(uint32_t word, uint32_t count) {
  return (word & 0xF0FFFFFFu) | (((count - 1) << 24) & 0x0F000000u);
}

// Register r + offset, except that r0 stays r0 (a field of 0 is r0 for every element).
constexpr uint32_t advance(uint32_t reg, uint32_t offset) {
  return reg ? reg + offset : 0;
}

// Memory words the documents name.
static_assert(mem_word(SL_LD, SL_T8, 32, 10) == 0x8FD00500u);
static_assert(mem_word(SL_LD, SL_T8, 32, 58) == 0x8FD01D00u);
static_assert(mem_word(SL_LD, SL_T16, 1, 0) == 0x80570000u);
static_assert(mem_word(SL_LD, SL_T16R, 1, 0) == 0x80560000u);
static_assert(mem_word(SL_LD, SL_T32, 1, 0) == 0x8056C000u);
static_assert(mem_word(SL_LD, SL_T4C, 1, 0) == 0x80520000u);
static_assert(mem_word(SL_LD, SL_T32C, 1, 0) == 0x80540000u);
static_assert(mem_word(SL_LD, SL_T8P, 1, 0) == 0x8057C000u);
static_assert(mem_word(SL_LD, SL_T4C, 12, 10) == 0x85D20500u);
static_assert(mem_word(SL_ST3, SL_T8, 32, 58) == 0x8F981D00u);
static_assert(mem_word(SL_ST3, SL_T4C, 1, 0) == 0x801A0000u);
static_assert(mem_word(SL_ST3, SL_T4C, 12, 58) == 0x859A1D00u);
static_assert(mem_word(SL_ST2, SL_T8, 32, 10) == 0x8F900500u);
static_assert(mem_word(SL_ST2, SL_T16, 32, 58) == 0x8F971D00u);
static_assert(mem_word(SL_ST0, SL_T16R, 1, 0) == 0x80060000u);
static_assert(mem_word(SL_ST0, SL_T8, 32, 74) == 0x8F802500u);
static_assert(mem_word(SL_ST1, SL_T32, 32, 74) == 0x8F8EE500u);
static_assert(mem_word(SL_ST1, SL_T32, 32, 10) == 0x8F8EC500u);
static_assert(mem_word(SL_ST1, SL_T16, 1, 0) == 0x800F0000u);
static_assert(mem_word(SL_ST1, SL_T8P, 1, 0) == 0x800FC000u);
static_assert(mem_word(SL_FILL, SL_T32, 32, 10) == 0x8FCEC500u);
static_assert(mem_word(SL_LD, SL_T8, 32, 42, 10) == 0x8FD0150Au);
static_assert(mem_count(0x8FD00500u, 1) == 0x80500500u);

// Queue words the documents name.
static_assert(queue_word(SL_OP_ADD, 16, 10, 58, 58) == 0xAF029D3Au);
static_assert(queue_word(SL_OP_ADD, 16, 26, 74, 74) == 0xAF06A54Au);
static_assert(queue_word(SL_OP_SUB, 16, 42, 90, 90) == 0xAF8AAD5Au);
static_assert(queue_word(SL_OP_MUL, 16, 10, 58, 58) == 0x0F029D3Au);
static_assert(queue_word(SL_OP_MAX, 16, 42, 90, 90) == 0xDF8AAD5Au);
static_assert(queue_word(SL_OP_ABS, 16, 0, 58, 58) == 0xAFE01D3Au);
static_assert(queue_word(SL_OP_ARITH5, 1, 10, 10, 58) == 0xA0A2853Au);
static_assert(queue_word(SL_OP_SUB, 16, 58, 10, 10) == 0xAF8E850Au);
static_assert(queue_word(SL_OP_SRA, 16, 10, 10, 58) == 0xCF42853Au);
static_assert(queue_word(SL_OP_SLL, 16, 26, 26, 74) == 0xCF868D4Au);
static_assert(queue_word(SL_OP_SPREAD, 16, 0, 59, 58) == 0xBFE01DBAu);
static_assert(queue_word(SL_OP_SPREAD, 15, 0, 91, 58) == 0xBEE02DBAu);
static_assert(queue_word(SL_OP_MOVE, 4, 0, 62, 58) == 0xB3C01F3Au);
static_assert(queue_word(SL_OP_MULF, 16, 10, 10, 42) == 0x1F02852Au);
static_assert(queue_word(SL_OP_SRAI, 16, 26, 26, 0) == 0xCF668D00u);
static_assert(queue_word(SL_OP_ROP, 16, 10, 74, 42) == 0x9F22A52Au);
static_assert(queue_word(SL_OP_SPREAD, 2, 0, 10, 9) == 0xB1E00509u);
static_assert(queue_word(SL_OP_MOVE, 1, 2, 0, 0) == 0xB0C08000u);
static_assert(queue_word(SL_OP_SLLI, 1, 0, 2, 0) == 0xC0A00100u);
static_assert(queue_word(SL_OP_MOVE, 1, 0, 2, 0) == 0xB0C00100u);
static_assert(queue_word(SL_OP_FUNNEL, 16, 10, 10, 0) == 0xCFE28500u);
static_assert(queue_word(SL_OP_FUNNEL, 15, 26, 26, 0) == 0xCEE68D00u);
static_assert(queue_count(0xA0029D3Au, 16) == 0xAF029D3Au);

}  // namespace sl

#endif
