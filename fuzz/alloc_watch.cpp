// The seeded driver's allocation watch: the program's operator new and posix_memalign
// (which libzel makes image pixels with) record the largest request. The replacements are
// the process's own, so they see the libraries' requests too.
#include <dlfcn.h>

#include <atomic>
#include <new>

#include "fuzz.h"

namespace {

std::atomic<size_t> largest{0};

void note(size_t size) {
  size_t seen = largest.load(std::memory_order_relaxed);
  while (size > seen && !largest.compare_exchange_weak(seen, size)) {
  }
}

using PosixMemalign = int (*)(void**, size_t, size_t);

}  // namespace

bool fuzz_allocations_watched() {
  return true;
}
void fuzz_reset_largest_allocation() {
  largest = 0;
}
size_t fuzz_largest_allocation() {
  return largest;
}

extern "C" int posix_memalign(void** memory, size_t alignment, size_t size) {
  static const auto real = reinterpret_cast<PosixMemalign>(dlsym(RTLD_NEXT, "posix_memalign"));
  note(size);
  return real(memory, alignment, size);
}

void* operator new(size_t size) {
  note(size);
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](size_t size) {
  return operator new(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
