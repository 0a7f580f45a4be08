// A fresh machine with a few aliased pages, and word builders, for the model's tests.
#ifndef KX_TESTS_MODEL_FIXTURE_H
#define KX_TESTS_MODEL_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kx.h"
#include "kx_model.h"
#include "kx_sys.h"
#include "kx_test_support.h"

namespace kxtest {

// Memory operations and data types (docs/kx-isa.md 3.2 to 3.5).
enum Op { ST0, ST1, ST2, ST3, OP4, OP5, ST8 = 8, FILL, LD };
enum Type { T8, T4C = 0x08, T32C = 0x10, T16R = 0x18, T32 = 0x1B, T16 = 0x1C, T8P = 0x1F };

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
    buffer.emplace(kPages);
    host = buffer->host();
    alias = buffer->alias();
    ASSERT_NE(alias, 0u);
  }
  void TearDown() override {
    kxm::drain();
    buffer.reset();
  }

  // The three issue paths.
  void issue(uint32_t word, uint32_t A) { kx_alias_store32(A & ~7u, word | (A & 7)); }
  void run(uint32_t word) { kx_ctx_store32(ctx, 0x020, word); }
  void set(int n, uint32_t value) { kx_ctx_store32(ctx, 0x300 + 4 * uint32_t(n), value); }
  uint32_t get(int n) { return kx_ctx_load32(ctx, 0x300 + 4 * uint32_t(n)); }

  uint32_t at(uint32_t offset) const { return alias + offset; }

  // Registers first .. first + n - 1 and host bytes offset .. offset + n - 1, as lists.
  using Words = std::vector<uint32_t>;
  using Bytes = std::vector<uint8_t>;
  Words regs(int first, int n) {
    Words values;
    for (int i = 0; i < n; ++i) values.push_back(get(first + i));
    return values;
  }
  Bytes bytes(uint32_t offset, size_t n) const {
    return Bytes(host + offset, host + offset + n);
  }

  static std::vector<std::string> fault_kinds() {
    std::vector<std::string> kinds;
    for (const kxm::Fault& fault : kxm::faults()) kinds.push_back(fault.kind);
    return kinds;
  }

  kx_ctx_t* ctx = nullptr;
  std::optional<AliasedBuffer> buffer;
  uint8_t* host = nullptr;
  uint32_t alias = 0;
};

// A machine that counts faults instead of reporting them.
class LenientMachine : public Machine {
 protected:
  kxm::Config machine() override { return {.strict = false}; }
};

}  // namespace kxtest

#endif
