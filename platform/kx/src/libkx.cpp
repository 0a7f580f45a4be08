// libkx over the processor model: the device handles and the bus accessors of kx.h.
#include <fcntl.h>

#include "kx.h"
#include "kx_sys.h"
#include "model.h"

// The context block libkx hands out. Its address is all a caller ever sees; every access
// goes through the accessors below, which pass it to the processor.
struct kx_ctx {
  int unused;
};

namespace {

kx_ctx the_context{0};
int own_fd = -1;  // libkx's own descriptor, opened on first use

// The one processor, looked up once: every bus access goes straight to it.
kxm::detail::Processor& processor() {
  static kxm::detail::Processor& the_processor = kxm::detail::model().processor;
  return the_processor;
}

bool known(const kx_ctx_t* ctx) {
  return ctx == &the_context;
}

}  // namespace

extern "C" {

int kx_open(void) {
  return kx_sys_open(KX_SYS_DEVICE_PATH, O_RDWR);
}

void kx_close(int handle) {
  if (handle >= 0) kx_sys_close(handle);
}

int kx_fd_get(void) {
  auto& m = kxm::detail::model();
  if (!m.config.processor) return -1;
  if (own_fd < 0 || !m.devices.is_kx(own_fd)) own_fd = kx_sys_open(KX_SYS_DEVICE_PATH, O_RDWR);
  return own_fd;
}

kx_ctx_t* kx_ctx_get(void) {
  return kx_fd_get() < 0 ? nullptr : &the_context;
}

void kx_ctx_store32(kx_ctx_t* ctx, uint32_t offset, uint32_t value) {
  if (!known(ctx)) return processor().bad_context(offset, value);
  processor().context_store(offset, value);
}

void kx_ctx_store64(kx_ctx_t* ctx, uint32_t offset, uint32_t first, uint32_t second) {
  if (!known(ctx)) return processor().bad_context(offset, first);
  processor().context_store64(offset, first, second);
}

uint32_t kx_ctx_load32(kx_ctx_t* ctx, uint32_t offset) {
  if (!known(ctx)) {
    processor().bad_context(offset, 0);
    return 0;
  }
  return processor().context_load(offset);
}

void kx_alias_store32(uint32_t alias_address, uint32_t value) {
  processor().alias_store(alias_address, value);
}

void kx_note_page_split(void) {
  ++processor().counters.page_splits;
}

}  // extern "C"
