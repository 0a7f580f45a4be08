// A fresh machine with a few aliased pages, and word builders, for the model's tests.
#ifndef KX_TESTS_MODEL_FIXTURE_H
#define KX_TESTS_MODEL_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kx.h"
#include "kx_model.h"
#include "kx_sys.h"

namespace kxtest {

// Memory operations and data types (docs/kx-isa.md 3.2 to 3.5).
enum Op : unsigned {
  ST0 = 0,
  ST1 = 1,
  ST2 = 2,
  ST3 = 3,
  OP4 = 4,
  OP5 = 5,
  ST8 = 8,
  FILL = 9,
  LD = 10
};
enum Type : unsigned {
  T8 = 0x00,
  T4C = 0x08,
  T32C = 0x10,
  T16R = 0x18,
  T32 = 0x1B,
  T16 = 0x1C,
  T8P = 0x1F
};

// A memory-reference word without its low address bits.
constexpr uint32_t mem(Op op, unsigned type, int n, int reg) {
  return 0x80000000u | uint32_t(n - 1) << 23 | uint32_t(op) << 19 | type << 14 |
         uint32_t(reg) << 7;
}
// A queue word "D = A, B" of form group/variant.
constexpr uint32_t queue(unsigned group, unsigned variant, int n, int d, int a, int b) {
  return group << 28 | uint32_t(n - 1) << 24 | variant << 21 | uint32_t(a) << 14 |
         uint32_t(d) << 7 | (uint32_t(b) & 0x7F);
}

constexpr uint32_t kPage = 4096;

class Machine : public testing::Test {
 protected:
  static constexpr int kPages = 3;

  virtual kxm::Config machine() { return {}; }

  void SetUp() override {
    kxm::configure(machine());
    ctx = kx_ctx_get();
    ASSERT_NE(ctx, nullptr);
    host = static_cast<uint8_t*>(std::aligned_alloc(kPage, kPages * kPage));
    std::memset(host, 0, kPages * kPage);
    alias = map(host, kPages * kPage);
  }

  void TearDown() override {
    kxm::drain();
    unmap(alias, kPages * kPage);
    std::free(host);
  }

  static uint32_t map(void* memory, size_t length) {
    void* mapped = kx_sys_mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE,
                               kx_fd_get(), off_t(reinterpret_cast<uintptr_t>(memory)));
    EXPECT_NE(mapped, MAP_FAILED);
    return uint32_t(reinterpret_cast<uintptr_t>(mapped));
  }
  static void unmap(uint32_t address, size_t length) {
    EXPECT_EQ(kx_sys_munmap(reinterpret_cast<void*>(uintptr_t{address}), length), 0);
  }

  // The three issue paths.
  void issue(uint32_t word, uint32_t A) { kx_alias_store32(A & ~7u, word | (A & 7)); }
  void run(uint32_t word) { kx_ctx_store32(ctx, 0x020, word); }
  void set(int n, uint32_t value) { kx_ctx_store32(ctx, 0x300 + 4 * uint32_t(n), value); }
  uint32_t get(int n) { return kx_ctx_load32(ctx, 0x300 + 4 * uint32_t(n)); }
  int32_t get_signed(int n) { return int32_t(get(n)); }

  uint32_t at(uint32_t offset) const { return alias + offset; }

  static std::vector<std::string> fault_kinds() {
    std::vector<std::string> kinds;
    for (const kxm::Fault& fault : kxm::faults()) kinds.push_back(fault.kind);
    return kinds;
  }

  kx_ctx_t* ctx = nullptr;
  uint8_t* host = nullptr;
  uint32_t alias = 0;
};

// A machine that counts faults instead of reporting them.
class LenientMachine : public Machine {
 protected:
  kxm::Config machine() override {
    kxm::Config config;
    config.strict = false;
    return config;
  }
};

}  // namespace kxtest

#endif
