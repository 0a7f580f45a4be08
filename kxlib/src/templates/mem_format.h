// What a walk reads from a memory-reference word: its data type and register, the bytes one
// pixel of the type occupies, and the page-test flags of the type (docs/kx-isa.md 3.1, 3.2).
#ifndef KXLIB_MEM_FORMAT_H
#define KXLIB_MEM_FORMAT_H

#include <cstdint>

#include "kx_X_page.h"
#include "sl_word.h"

namespace sl {

constexpr uint32_t type_of(uint32_t word) {
  return (word >> 14) & 0x1Fu;
}
constexpr uint32_t reg_of(uint32_t word) {
  return (word >> 7) & 0x7Fu;
}
constexpr uint32_t index_reg_of(uint32_t word) {
  return word & 0x7Fu;
}

// Bytes of one pixel (or element) of a memory word's data type, and its page-test flags.
constexpr uint32_t pixel_bytes(uint32_t type) {
  if (type == SL_T4C || type == SL_T32) return 4;
  if (type >= SL_T16R && type <= SL_T16R + 2) return 2;
  if (type >= SL_T16 && type <= SL_T16 + 2) return 2;
  return 1;
}
constexpr uint32_t page_flags(uint32_t type) {
  if (type == SL_T4C) return SPAM_T4C;
  switch (pixel_bytes(type)) {
    case 4:
      return SPAM_T32;
    case 2:
      return SPAM_T16;
    default:
      return SPAM_T8;
  }
}

}  // namespace sl

#endif
