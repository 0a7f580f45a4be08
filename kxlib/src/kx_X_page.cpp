// Splitting a memory-reference run at a 4096-byte page boundary.
#include "kx_X_page.h"

#include "sl_ctx.h"

const uint32_t spam_kind_mask[4] = {0xFFF, 0xFFF, 0xFFF, 0xFFC};

namespace {

void issue(uint32_t address, uint32_t word) {
  kx_alias_store32(address & ~7u, word | (address & 7u));
}

// Registers the first piece occupies, by element kind; a field of 0 (r0) never advances.
uint32_t second_register(uint32_t reg, uint32_t kind, uint32_t head, uint32_t A) {
  if (reg == 0) return 0;
  switch (kind) {
    case SPAM_KIND_FOUR:
      return reg + 4 * head;
    case SPAM_KIND_PACKED:
      return reg + ((0x1Fu & ~A) >> 2) + 1;
    default:
      return reg + head;
  }
}

}  // namespace

void spam_page_crossing(uint32_t A, uint32_t word, uint32_t flags, uint32_t reg) {
  kx_note_page_split();
  const uint32_t shift = flags & SPAM_SIZE_SHIFT;
  const uint32_t kind = (flags >> SPAM_KIND_SHIFT) & 3;
  const uint32_t head = (0x1000u - (A & spam_kind_mask[kind])) >> shift;
  const uint32_t word1 = (word & 0xF07FFFFFu) | (((head - 1) << 23) & 0x0F800000u);

  uint32_t A2 = (A + 0x1000u) & ~0xFFFu;
  if (kind == SPAM_KIND_CHANNEL) A2 |= A & 3;  // the second piece stays in its channel

  uint32_t r = (word >> 7) & 0x7F;
  if (flags & SPAM_ADVANCE) r = second_register(r, kind, head, A);
  const uint32_t whole = (word >> 23) & 0x1F;  // the run's count minus one
  const uint32_t word2 =
      (word & 0xF07FC07Fu) | (((whole - head) << 23) & 0x0F800000u) | ((r << 7) & 0x3F80u);

  if (!(flags & SPAM_SAVE_R2)) {
    issue(A, word1);
    issue(A2, word2);
    return;
  }
  // Masked stores read r2 from element 0: the second piece needs it shifted by the head.
  kx_ctx_t* ctx = kx_ctx_get();
  sl_queue(ctx, sl::queue_word(SL_OP_MOVE, 1, 2, reg, 0));
  issue(A, word1);
  sl_queue(ctx, sl::queue_word(SL_OP_SLLI, 1, reg, 2, head & 0x7F));
  issue(A2, word2);
  sl_queue(ctx, sl::queue_word(SL_OP_MOVE, 1, reg, 2, 0));
}
