// The device context: context registers, the pixel-memory alias, the alias bounds and a
// save/restore stack for context registers.
#ifndef SL_CTX_H
#define SL_CTX_H

#include <cstdint>

#include "kx.h"

// Context block offsets (bytes).
inline constexpr uint32_t SL_CTX_STATUS = 0x000;  // also the fill bit mask when written
inline constexpr uint32_t SL_CTX_PLANEMASK_REG = 0x010;
inline constexpr uint32_t SL_CTX_RASTEROP_REG = 0x014;
inline constexpr uint32_t SL_CTX_QUEUE = 0x020;
constexpr uint32_t sl_ctx_reg(uint32_t n) {
  return 0x300u + 4u * n;
}

inline constexpr uint32_t SL_STATUS_BUSY = 0x8000;
inline constexpr uint32_t SL_STATUS_WRITE_OCCURRED = 0x800;
inline constexpr uint32_t SL_BOUNDS_REQUEST = 0x5301;
inline constexpr uint32_t SL_ALIAS_FAILED = 0xFFFFFFFFu;

// Push/pop flags.
inline constexpr uint32_t SL_CTX_PLANEMASK = 0x1;
inline constexpr uint32_t SL_CTX_BACKGROUND = 0x2;
inline constexpr uint32_t SL_CTX_FOREGROUND = 0x4;
inline constexpr uint32_t SL_CTX_RASTEROP = 0x8;
inline constexpr uint32_t SL_CTX_BOUNDS = 0x10;

// Alias of `length` bytes of KX-addressable memory at `address`: the alias address of the
// same byte, or SL_ALIAS_FAILED (errno says why).
uint32_t sl_ctx_spamify(const void* address, uint32_t length);
int sl_ctx_unspamify(uint32_t alias, uint32_t length);
int sl_ctx_bounds_set(uint32_t low, uint32_t length);
void sl_ctx_bounds_get(uint32_t* low, uint32_t* length);

void sl_ctx_rasterop_set(uint32_t value);  // waits until idle
void sl_ctx_planemask_set(uint32_t mask);  // waits until idle
void sl_ctx_foreground_set(uint32_t value);
void sl_ctx_background_set(uint32_t value);
uint32_t sl_ctx_rasterop_get();
uint32_t sl_ctx_planemask_get();
uint32_t sl_ctx_foreground_get();
uint32_t sl_ctx_background_get();
void sl_ctx_write_occurred_clear();    // waits until idle
uint32_t sl_ctx_write_occurred_get();  // waits until idle; 0 or 0x800
void sl_ctx_sync_c2s();
void sl_ctx_sync_s2c();  // waits until idle

// Save stack: `cursor` points at the next free word; a push writes at most six words.
void sl_ctx_push(uint32_t flags, uint32_t** cursor);
void sl_ctx_pop(uint32_t flags, uint32_t** cursor);

// Issue helpers for kernels: one queue word, two queue words in one doubleword store, a
// direct register write, and a run of registers set to one value.
inline void sl_queue(kx_ctx_t* ctx, uint32_t word) {
  kx_ctx_store32(ctx, SL_CTX_QUEUE, word);
}
inline void sl_queue2(kx_ctx_t* ctx, uint32_t first, uint32_t second) {
  kx_ctx_store64(ctx, SL_CTX_QUEUE, first, second);
}
inline void sl_reg_set(kx_ctx_t* ctx, uint32_t reg, uint32_t value) {
  kx_ctx_store32(ctx, sl_ctx_reg(reg), value);
}
// `count` registers from `first` set to `value`: two a doubleword store where the pair is
// 8-aligned (an even first register), one a store elsewhere.
inline void sl_reg_fill(kx_ctx_t* ctx, uint32_t first, uint32_t count, uint32_t value) {
  for (uint32_t r = first, end = first + count; r < end;) {
    if (r % 2 == 0 && r + 1 < end) {
      kx_ctx_store64(ctx, sl_ctx_reg(r), value, value);
      r += 2;
    } else {
      kx_ctx_store32(ctx, sl_ctx_reg(r++), value);
    }
  }
}

#endif
