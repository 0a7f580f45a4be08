// Deferred mode (docs/kx-isa.md 2): arrivals wait for a status read or a drain, so that a
// missing wait shows.
#include "model_fixture.h"

namespace kxtest {
namespace {

constexpr uint32_t kBusy = 0x8000;

class Deferred : public Machine {
 protected:
  kxm::Config machine() override { return {.deferred = true}; }
  uint32_t status() { return kx_ctx_load32(ctx, 0x000); }
};

TEST_F(Deferred, WordsWaitForAStatusReadWhichReportsBusyOnce) {
  host[0] = 21;
  issue(mem(LD, T8, 1, 10), at(0));
  run(queue(0xA, 0b000, 1, 10, 10, 10));
  issue(mem(ST1, T8, 1, 10), at(8));
  EXPECT_EQ(kxm::pending(), 3u);
  EXPECT_EQ(host[8], 0);
  int waits = 0;
  while (status() & kBusy) ++waits;
  EXPECT_EQ(waits, 1);
  EXPECT_EQ(host[8], 42);
  EXPECT_EQ(kxm::pending(), 0u);
  EXPECT_EQ(status(), 0x800u);  // idle now, and the store wrote
  EXPECT_EQ(kxm::counters().idle_waits, 2u);
}

TEST_F(Deferred, RegisterReadBackIsStaleUntilTheWait) {
  set(10, 5);
  run(queue(0xA, 0b000, 1, 11, 10, 10));
  EXPECT_EQ(get(11), 0u);
  EXPECT_EQ(status(), kBusy);
  EXPECT_EQ(regs(10, 2), (Words{5, 10}));
}

TEST_F(Deferred, DrainExecutesInIssueOrder) {
  set(10, 0x11223344), set(11, 0x55667788);
  issue(mem(FILL, T8, 1, 10), at(0));      // before M changes: all bits
  kx_ctx_store32(ctx, 0x000, 0x0F000000);  // M, held like a register write
  issue(mem(FILL, T8, 1, 10), at(8));
  set(10, 0);  // after both fills
  EXPECT_EQ(kxm::fill_mask(), 0u);
  kxm::drain();
  EXPECT_EQ(host[0], 0x11);
  EXPECT_EQ(host[8], 0x01);
  EXPECT_EQ(kxm::reg(10), 0u);
  EXPECT_EQ(status(), 0x800u);
}

class DeferredLenient : public Deferred {
 protected:
  kxm::Config machine() override { return {.deferred = true, .strict = false}; }
};

TEST_F(DeferredLenient, PlaneMaskOrRasterOpWriteUnderHeldWordsFaultsButTakesEffect) {
  set(10, 0xAABBCCDD);
  issue(mem(ST1, T32, 1, 10), at(0));
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);  // the missing wait
  kx_ctx_store32(ctx, 0x014, 0x88);
  EXPECT_EQ(fault_kinds(),
            (std::vector<std::string>{"busy-context-write", "busy-context-write"}));
  EXPECT_EQ(kxm::plane_mask(), 0x00FFFFFFu);
  EXPECT_EQ(kxm::raster_op(), 0x88u);
  kxm::drain();
  EXPECT_EQ(bytes(0, 2), (Bytes{0, 0xBB}));  // the held store met the new mask
  kx_ctx_store32(ctx, 0x010, 0xFFFFFFFF);    // idle: no fault
  EXPECT_EQ(kxm::counters().faults, 2u);
}

TEST_F(DeferredLenient, FaultsOfHeldWordsAppearWhenTheyExecute) {
  run(0x50000000);
  EXPECT_EQ(kxm::counters().faults, 0u);
  status();
  EXPECT_EQ(fault_kinds(), std::vector<std::string>{"undefined"});
}

}  // namespace
}  // namespace kxtest
