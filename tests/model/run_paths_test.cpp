// The whole-run paths of the model: checks made once per word must still catch the one
// element too many, loops over a run must give what element-by-element execution gives,
// and the deferred queue must hold more arrivals than it first reserves.
#include <algorithm>

#include "model_fixture.h"

namespace kxtest {
namespace {

// ---- Runs at the end of a page

using RunEdges = LenientMachine;

TEST_F(RunEdges, ARunEndingOnThePagesLastByteExecutesAndOneElementMoreFaults) {
  // Each data type's longest run ending at byte 4095 of page 0, then the same run starting
  // one element later; the second crosses into page 1.
  const struct {
    unsigned type;
    int n;
    uint32_t stride, last;  // element distance, bytes of an element after its first
  } cases[] = {{T8, 32, 1, 0},  {T16, 32, 2, 1}, {T16R, 32, 2, 1},
               {T32, 32, 4, 3}, {T4C, 8, 4, 3},  {T32C, 32, 4, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    kxm::clear_faults();
    for (uint32_t i = 0; i < 2 * kPage; ++i) host[i] = uint8_t(i * 7 + 1);
    const uint32_t run_bytes = (uint32_t(c.n) - 1) * c.stride + c.last + 1;
    const uint32_t start = kPage - run_bytes;
    issue(mem(LD, c.type, c.n, 10), at(start));
    issue(mem(ST1, c.type, c.n, 10), at(kPage + 512 + (start & 7)));
    EXPECT_TRUE(kxm::faults().empty());
    for (uint32_t i = 0; i < run_bytes; i += c.stride) {
      EXPECT_EQ(host[kPage + 512 + (start & 7) + i], host[start + i]) << i;
    }
    const uint32_t later = start + c.stride;
    issue(mem(LD, c.type, c.n, 10), at(later));
    issue(mem(ST1, c.type, c.n, 10), at(later));
    EXPECT_EQ(fault_kinds(), (std::vector<std::string>{"page-crossing", "page-crossing"}));
  }
}

TEST_F(RunEdges, ARunInTheUnmappedPageAfterABufferFaultsWithoutWriting) {
  set(10, 0x55);
  issue(mem(ST1, T8, 1, 10), at(kPages * kPage));
  EXPECT_EQ(fault_kinds(), std::vector<std::string>{"unaliased"});
  EXPECT_FALSE(kxm::write_occurred());
}

// ---- Whole runs against element-by-element meaning

using WholeRuns = Machine;

int64_t clamp32(int64_t v) {
  return std::clamp<int64_t>(v, INT32_MIN, INT32_MAX);
}

TEST_F(WholeRuns, SixteenElementSumsAndDifferencesSaturateExactly) {
  const int64_t edges[] = {INT32_MIN, INT32_MIN + 1, -65536,        -2,       -1, 0, 1,
                           2,         65535,         INT32_MAX - 1, INT32_MAX};
  for (const int64_t b : edges) {
    for (int i = 0; i < 16; ++i) {
      set(20 + i, uint32_t(edges[size_t(i) % std::size(edges)]));
      set(40 + i, uint32_t(b));
    }
    set(60, uint32_t(b));
    run(queue(0xA, 0b000, 16, 70, 20, 40));   // add
    run(queue(0xA, 0b100, 16, 90, 20, 40));   // sub
    run(queue(0xA, 0b001, 16, 110, 20, 60));  // adds: one B
    for (int i = 0; i < 16; ++i) {
      const int64_t a = edges[size_t(i) % std::size(edges)];
      EXPECT_EQ(int32_t(get(70 + i)), clamp32(a + b)) << a << " + " << b;
      EXPECT_EQ(int32_t(get(90 + i)), clamp32(a - b)) << a << " - " << b;
      EXPECT_EQ(int32_t(get(110 + i)), clamp32(a + b)) << a << " + r(B) " << b;
    }
  }
}

TEST_F(WholeRuns, SixteenElementWordsOverlappingTheirSourcesReadBeforeWriting) {
  for (int i = 0; i < 17; ++i) set(10 + i, uint32_t(i + 1));
  run(queue(0xB, 0b110, 16, 11, 10, 0));  // move up by one: r11..r26 = old r10..r25
  Words up(16);
  for (int i = 0; i < 16; ++i) up[size_t(i)] = uint32_t(i + 1);
  EXPECT_EQ(regs(11, 16), up);
  set(27, 17);
  run(queue(0xA, 0b000, 16, 10, 11, 12));  // r10+i = r11+i + r12+i, D one below A
  for (int i = 0; i < 16; ++i) EXPECT_EQ(get(10 + i), uint32_t(2 * i + 3)) << i;
}

TEST_F(WholeRuns, StoresThroughAPlaneMaskKeepTheMaskedLanesAndUnmaskedOnesWriteAll) {
  for (int i = 0; i < 32; ++i) set(10 + i, 0x11223344u + uint32_t(i));
  std::fill(host, host + 256, uint8_t(0xEE));
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);
  issue(mem(ST3, T4C, 8, 10), at(0));  // four channels of 8 pixels, saturated
  issue(mem(ST1, T32, 8, 10), at(64));
  kx_ctx_store32(ctx, 0x010, 0xFFFFFFFF);
  issue(mem(ST1, T32, 8, 10), at(128));
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(host[4 * i], 0xEE) << i;  // byte 0 of each pixel kept
    EXPECT_EQ(host[4 * i + 1], 255) << i;
    EXPECT_EQ(host[64 + 4 * i], 0xEE) << i;
    EXPECT_EQ(bytes(64 + 4 * uint32_t(i) + 1, 3), (Bytes{0x22, 0x33, uint8_t(0x44 + i)}));
    EXPECT_EQ(bytes(128 + 4 * uint32_t(i), 4), (Bytes{0x11, 0x22, 0x33, uint8_t(0x44 + i)}));
  }
}

TEST_F(WholeRuns, AStoreFromRZeroWritesZerosAndALoadIntoRZeroIsDropped) {
  std::fill(host, host + 64, uint8_t(9));
  issue(mem(ST1, T16, 16, 0), at(0));
  issue(mem(LD, T8, 32, 0), at(32));
  EXPECT_EQ(bytes(0, 32), Bytes(32, 0));
  EXPECT_EQ(get(0), 0u);
  EXPECT_TRUE(kxm::write_occurred());
}

// ---- The deferred queue

class DeferredQueue : public Machine {
 protected:
  kxm::Config machine() override { return {.deferred = true}; }
};

TEST_F(DeferredQueue, HoldsFarMoreArrivalsThanItFirstReservesInIssueOrder) {
  constexpr int kWords = 300000;  // several times the first reservation
  set(11, 1);
  for (int i = 0; i < kWords; ++i) run(queue(0xA, 0b000, 1, 10, 10, 11));
  host[0] = 7;
  issue(mem(LD, T8, 1, 12), at(0));
  EXPECT_EQ(kxm::pending(), size_t(kWords) + 2);
  EXPECT_EQ(get(10), 0u);  // still held
  kxm::drain();
  EXPECT_EQ(kxm::pending(), 0u);
  EXPECT_EQ(get(10), uint32_t(kWords));
  EXPECT_EQ(get(12), 7u);
  EXPECT_EQ(kxm::counters().queue_words, uint64_t(kWords));
}

}  // namespace
}  // namespace kxtest
