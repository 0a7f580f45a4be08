// The device context: context registers, aliases, bounds and the save stack.
#include "sl_ctx.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "kx_sys.h"

namespace {

// The bounds pair last handed to the device: low address, length.
uint32_t bound[2] = {0, 0};

uintptr_t page_size() {
  return uintptr_t(kx_sys_sysconf(_SC_PAGESIZE));
}

void wait_idle(kx_ctx_t* ctx) {
  while (kx_ctx_load32(ctx, SL_CTX_STATUS) & SL_STATUS_BUSY) {
  }
}

void store_waiting(uint32_t offset, uint32_t value) {
  kx_ctx_t* ctx = kx_ctx_get();
  wait_idle(ctx);
  kx_ctx_store32(ctx, offset, value);
}

uint32_t load(uint32_t offset) {
  return kx_ctx_load32(kx_ctx_get(), offset);
}

int bounds_request() {
  return kx_sys_ioctl(kx_fd_get(), SL_BOUNDS_REQUEST, bound);
}

}  // namespace

uint32_t sl_ctx_spamify(const void* address, uint32_t length) {
  const int fd = kx_fd_get();
  if (fd < 0) {
    errno = EINVAL;
    return SL_ALIAS_FAILED;
  }
  const uintptr_t page = page_size();
  const uintptr_t host = reinterpret_cast<uintptr_t>(address);
  const uintptr_t base = host & ~(page - 1);
  const uintptr_t offset = host - base;
  const size_t map_length = (length + offset + page - 1) & ~(page - 1);
  void* alias =
      kx_sys_mmap(nullptr, map_length, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, off_t(base));
  if (alias == MAP_FAILED) return SL_ALIAS_FAILED;
  // The mapping's value is the 32-bit device address of the alias.
  return uint32_t(reinterpret_cast<uintptr_t>(alias) + offset);
}

int sl_ctx_unspamify(uint32_t alias, uint32_t length) {
  const uint32_t base = alias & ~uint32_t(page_size() - 1);
  return kx_sys_munmap(reinterpret_cast<void*>(uintptr_t(base)), alias - base + length);
}

int sl_ctx_bounds_set(uint32_t low, uint32_t length) {
  const uint32_t page = uint32_t(page_size());
  bound[0] = low + page;
  bound[1] = length - page;
  if (bound[1] < page) return 0;
  return bounds_request();
}

void sl_ctx_bounds_get(uint32_t* low, uint32_t* length) {
  *low = bound[0];
  *length = bound[1];
}

void sl_ctx_rasterop_set(uint32_t value) {
  store_waiting(SL_CTX_RASTEROP_REG, value);
}
void sl_ctx_planemask_set(uint32_t mask) {
  store_waiting(SL_CTX_PLANEMASK_REG, mask);
}
void sl_ctx_foreground_set(uint32_t value) {
  sl_reg_set(kx_ctx_get(), 9, value);
}
void sl_ctx_background_set(uint32_t value) {
  sl_reg_set(kx_ctx_get(), 8, value);
}
uint32_t sl_ctx_rasterop_get() {
  return load(SL_CTX_RASTEROP_REG);
}
uint32_t sl_ctx_planemask_get() {
  return load(SL_CTX_PLANEMASK_REG);
}
uint32_t sl_ctx_foreground_get() {
  return load(sl_ctx_reg(9));
}
uint32_t sl_ctx_background_get() {
  return load(sl_ctx_reg(8));
}

void sl_ctx_write_occurred_clear() {
  kx_ctx_t* ctx = kx_ctx_get();
  wait_idle(ctx);
  kx_ctx_store32(ctx, SL_CTX_STATUS,
                 kx_ctx_load32(ctx, SL_CTX_STATUS) & ~SL_STATUS_WRITE_OCCURRED);
}

uint32_t sl_ctx_write_occurred_get() {
  kx_ctx_t* ctx = kx_ctx_get();
  wait_idle(ctx);
  return kx_ctx_load32(ctx, SL_CTX_STATUS) & SL_STATUS_WRITE_OCCURRED;
}

void sl_ctx_sync_c2s() {}
void sl_ctx_sync_s2c() {
  wait_idle(kx_ctx_get());
}

void sl_ctx_push(uint32_t flags, uint32_t** cursor) {
  uint32_t* p = *cursor;
  if (flags & SL_CTX_RASTEROP) *p++ = sl_ctx_rasterop_get();
  if (flags & SL_CTX_PLANEMASK) *p++ = sl_ctx_planemask_get();
  if (flags & SL_CTX_FOREGROUND) *p++ = sl_ctx_foreground_get();
  if (flags & SL_CTX_BACKGROUND) *p++ = sl_ctx_background_get();
  if (flags & SL_CTX_BOUNDS) {
    *p++ = bound[0];
    *p++ = bound[1];
  }
  *cursor = p;
}

void sl_ctx_pop(uint32_t flags, uint32_t** cursor) {
  uint32_t* p = *cursor;
  kx_ctx_t* ctx = kx_ctx_get();
  if (flags & (SL_CTX_PLANEMASK | SL_CTX_RASTEROP)) wait_idle(ctx);
  if (flags & SL_CTX_BOUNDS) {
    p -= 2;
    bound[0] = p[0];
    bound[1] = p[1];
    if (bound[1] >= uint32_t(page_size())) bounds_request();
  }
  if (flags & SL_CTX_BACKGROUND) sl_ctx_background_set(*--p);
  if (flags & SL_CTX_FOREGROUND) sl_ctx_foreground_set(*--p);
  if (flags & SL_CTX_PLANEMASK) sl_ctx_planemask_set(*--p);
  if (flags & SL_CTX_RASTEROP) sl_ctx_rasterop_set(*--p);
  *cursor = p;
}
