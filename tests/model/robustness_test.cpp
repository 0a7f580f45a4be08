// Decoder robustness: pseudo-random traffic on every port gives defined execution or counted
// faults, never a crash or a sanitizer report.
#include <functional>
#include <iterator>
#include <random>

#include "model_fixture.h"

namespace kxtest {
namespace {

class RandomTraffic : public Machine, public testing::WithParamInterface<bool> {
 protected:
  kxm::Config machine() override { return {.deferred = GetParam(), .strict = false}; }
};

TEST_P(RandomTraffic, EndsInDefinedStateOrCountedFaults) {
  std::mt19937 random(20240611);
  auto bits = [&] { return uint32_t(random()); };
  auto below = [&](uint32_t n) { return bits() % n; };
  // Words with a plausible class or group reach deeper into the decoder.
  auto memory_word = [&] { return below(2) ? (bits() & 0x0FFFFFFF) | 0x80000000 : bits(); };
  auto queue_word = [&] {
    static const uint32_t groups[] = {0x0, 0x1, 0x3, 0x4, 0x9, 0xA, 0xB, 0xC, 0xD, 0xE};
    return below(4) ? bits() : (bits() & 0x0FFFFFFF) | groups[below(10)] << 28;
  };
  auto context_offset = [&] { return below(4) ? below(0x600) & ~3u : bits(); };

  auto queue_store = [&] { run(queue_word()); };
  auto alias_store = [&] {
    const uint32_t offset = below(kPages * kPage);
    kx_alias_store32(at(below(8) ? offset & ~7u : offset), memory_word());
  };
  // One bus transaction each; repeated entries weigh the common ones.
  const std::function<void()> transactions[] = {
      queue_store,
      queue_store,
      [&] { kx_ctx_store64(ctx, 0x020, queue_word(), queue_word()); },
      alias_store,
      alias_store,
      [&] { kx_alias_store32(bits(), memory_word()); },
      [&] { kx_ctx_store32(ctx, context_offset(), bits()); },
      [&] { kx_ctx_load32(ctx, context_offset()); },
      [&] { kx_ctx_store64(ctx, context_offset(), bits(), bits()); },
      [&] { set(int(below(128)), below(4) ? below(64) : bits()); },  // small values: indices
  };
  constexpr int kTransactions = 200000;
  for (int i = 0; i < kTransactions; ++i) transactions[below(std::size(transactions))]();
  kxm::drain();
  const kxm::Counters& c = kxm::counters();
  EXPECT_GT(c.faults, 0u);
  EXPECT_GT(c.memory_words, uint64_t{kTransactions} / 5);
  EXPECT_LE(kxm::faults().size(), c.faults);
  EXPECT_EQ(kxm::reg(0), 0u);
  EXPECT_EQ(get(0), 0u);
  EXPECT_EQ(kxm::pending(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Modes, RandomTraffic, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) {
                           return info.param ? "Deferred" : "Immediate";
                         });

}  // namespace
}  // namespace kxtest
