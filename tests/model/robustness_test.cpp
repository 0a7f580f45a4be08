// Decoder robustness: pseudo-random traffic on every port gives defined execution or counted
// faults, never a crash or a sanitizer report.
#include <random>

#include "model_fixture.h"

namespace kxtest {
namespace {

class RandomTraffic : public LenientMachine, public testing::WithParamInterface<bool> {
 protected:
  kxm::Config machine() override {
    kxm::Config config = LenientMachine::machine();
    config.deferred = GetParam();
    return config;
  }
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

  constexpr int kTransactions = 200000;
  for (int i = 0; i < kTransactions; ++i) {
    switch (below(10)) {
      case 0:
      case 1:
        run(queue_word());
        break;
      case 2:
        kx_ctx_store64(ctx, 0x020, queue_word(), queue_word());
        break;
      case 3:
      case 4: {
        const uint32_t offset = below(kPages * kPage);
        kx_alias_store32(at(below(8) ? offset & ~7u : offset), memory_word());
        break;
      }
      case 5:
        kx_alias_store32(bits(), memory_word());
        break;
      case 6:
        kx_ctx_store32(ctx, context_offset(), bits());
        break;
      case 7:
        kx_ctx_load32(ctx, context_offset());
        break;
      case 8:
        kx_ctx_store64(ctx, context_offset(), bits(), bits());
        break;
      case 9:
        set(int(below(128)),
            below(4) ? below(64) : bits());  // small values make useful indices
        break;
    }
  }
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
