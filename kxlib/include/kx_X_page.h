// Issuing memory-reference words, and splitting runs that cross a 4096-byte page.
#ifndef KX_X_PAGE_H
#define KX_X_PAGE_H

#include <cstdint>

#include "kx.h"
#include "sl_word.h"

// Page-crossing flags.
inline constexpr uint32_t SPAM_SIZE_SHIFT = 0x7;  // log2 of the element distance in bytes
inline constexpr uint32_t SPAM_KIND_SHIFT = 3;    // bits 4..3: the element kind
inline constexpr uint32_t SPAM_ADVANCE = 0x20;    // the second piece starts at a later register
inline constexpr uint32_t SPAM_SAVE_R2 = 0x40;  // wrap the pieces in the r2 save/shift/restore

enum spam_kind : uint32_t {
  SPAM_KIND_ONE = 0,      // one register per element
  SPAM_KIND_FOUR = 1,     // four registers per element (SL_T4C)
  SPAM_KIND_PACKED = 2,   // bytes packed four per register (SL_T8P)
  SPAM_KIND_CHANNEL = 3,  // one channel of 4-byte pixels (SL_T32C)
};

// The flags each element layout passes.
inline constexpr uint32_t SPAM_T8 = 0x20;
inline constexpr uint32_t SPAM_T16 = 0x21;
inline constexpr uint32_t SPAM_T32 = 0x22;
inline constexpr uint32_t SPAM_T4C = 0x2A;
inline constexpr uint32_t SPAM_T8P = 0x30;
inline constexpr uint32_t SPAM_T32C = 0x3A;

extern const uint32_t spam_kind_mask[4];

// Issues `word` (its count field holding the whole run) at A in two pieces, the second at
// the start of the next page; `reg` is the scratch register of the r2 sequence.
void spam_page_crossing(uint32_t A, uint32_t word, uint32_t flags, uint32_t reg);

// The split test, the one place every memory-reference word is issued: a run can cross only
// when it starts within the last 32 elements of its page, and does when the first byte of
// its last element lies in the next page.
inline void sl_mem_issue(uint32_t A, uint32_t word, uint32_t flags) {
  const uint32_t step = 1u << (flags & SPAM_SIZE_SHIFT);
  const uint32_t near_end = 0x1000u - 32u * step;
  if ((A & near_end) == near_end &&
      ((A ^ (A + (sl::mem_elements(word) - 1) * step)) & ~0xFFFu) != 0) {
    spam_page_crossing(A, word, flags, 4);
    return;
  }
  kx_alias_store32(A & ~7u, word | (A & 7u));
}

// An indexed load is stored at its table, 8-aligned, never split: its low bits name the
// index register, and its elements lie wherever the indices point.
inline void sl_mem_issue_indexed(uint32_t table, uint32_t word) {
  kx_alias_store32(table & ~7u, word);
}

#endif
