// What the fuzz targets share: the entry point, invariant checks that abort (so that both
// the seeded driver and libFuzzer report them), a reader of the input's bytes and the
// allocation watch.
#ifndef KX_FUZZ_H
#define KX_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

[[noreturn]] inline void fuzz_violation(const char* what, const char* file, int line) {
  std::fprintf(stderr, "fuzz invariant violated at %s:%d: %s\n", file, line, what);
  std::abort();
}
#define FUZZ_CHECK(condition) \
  ((condition) ? void(0) : fuzz_violation(#condition, __FILE__, __LINE__))

// The input consumed from the front; past its end every read gives zeros.
class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  uint8_t byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  uint32_t word() {  // little-endian
    uint32_t value = 0;
    for (int k = 0; k < 4; ++k) value |= uint32_t(byte()) << (8 * k);
    return value;
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

// The largest single allocation (operator new, posix_memalign) since the last reset, where
// the build watches them (the seeded driver); under libFuzzer its -malloc_limit_mb does
// the same and fuzz_allocations_watched() is false.
bool fuzz_allocations_watched();
void fuzz_reset_largest_allocation();
size_t fuzz_largest_allocation();

#endif
