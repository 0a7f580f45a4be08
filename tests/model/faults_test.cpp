// Faults (docs/kx-isa.md 5): each kind is raised where the page says, and the faulting word
// is not executed.
#include <cstring>

#include "model_fixture.h"

namespace kxtest {
namespace {

using Faults = LenientMachine;
using Kinds = std::vector<std::string>;

TEST_F(Faults, RunAcrossAPageFaultsAndWritesNothingWhileRunsEndingOnItsLastByteAreWhole) {
  set(10, 0xFF);
  run(queue(0xB, 0b111, 16, 10, 0, 10));
  run(queue(0xB, 0b111, 16, 26, 0, 10));
  issue(mem(ST1, T8, 32, 10), at(kPage - 16));
  EXPECT_EQ(fault_kinds(), Kinds{"page-crossing"});
  EXPECT_EQ(kxm::faults()[0].address, at(kPage - 16));
  for (uint32_t i = kPage - 16; i < kPage + 16; ++i) ASSERT_EQ(host[i], 0) << i;
  EXPECT_FALSE(kxm::write_occurred());
  issue(mem(ST8, T8, 32, 0), at(kPage - 32));         // runs ending on the last byte are whole
  issue(mem(LD, T32C, 32, 10), at(kPage - 128 + 3));  // last byte 0xfff
  issue(mem(LD, T4C, 2, 10), at(kPage - 8));
  EXPECT_EQ(kxm::counters().faults, 1u);
  issue(mem(LD, T16, 4, 10), at(kPage - 7));  // its last byte starts the next page
  EXPECT_EQ(fault_kinds(), (Kinds{"page-crossing", "page-crossing"}));
}

TEST_F(Faults, AccessesOutsideTheMappingAndIndexedElementsAcrossPagesAreUnaliased) {
  issue(mem(ST1, T8, 1, 0), at(kPages * kPage));  // the guard page after the mapping
  issue(mem(LD, T8, 1, 10), alias - kPage);       // the page before it
  issue(mem(LD, T8, 1, 10), 0x00000008);
  EXPECT_EQ(fault_kinds(), (Kinds{"unaliased", "unaliased", "unaliased"}));
  host[0] = 9;  // an indexed load with one unaliased element loads nothing
  set(20, 0), set(21, kPages * kPage), set(30, 0x77), set(31, 0x77);
  issue(mem(LD, T8, 2, 30) | 20, at(0));
  EXPECT_EQ(get(30), 0x77u);
  set(21, kPage - 1);  // a 16-bit element across a page boundary
  issue(mem(LD, T16R, 2, 30) | 20, at(0));
  EXPECT_EQ(fault_kinds(), Kinds(5, "unaliased"));
}

TEST_F(Faults, UndefinedEncodingsAreRefusedWholesale) {
  const uint32_t memory_words[] = {
      (mem(ST1, T8, 1, 10) & 0x0FFFFFFF) | 0x90000000,  // class 1001
      mem(Op(0b0110), T8, 1, 10),                       // no such operation
      mem(ST1, 0x03, 1, 10),                            // no such type
      mem(LD, 0x01, 1, 10),                             // load with a sub-field
      mem(ST3, T16, 1, 10),                             // SL_ST3 on a 16-bit type
      mem(ST0, T8P, 1, 10),                             // SL_ST0 on packed bytes
      mem(ST1, 0x09, 1, 10),                            // SL_ST1 with a sub-field
      mem(OP4, T8P, 1, 10),                             // masked packed bytes
      mem(ST1, T8, 1, 10) | 0x10,                       // an indexed store
      mem(LD, T4C, 1, 10) | 0x10,                       // an indexed four-channel load
  };
  set(10, 0xAB), set(16, 0);
  for (const uint32_t word : memory_words) issue(word, at(0));
  EXPECT_EQ(host[0], 0);
  const uint32_t queue_words[] = {
      queue(0x5, 0b010, 1, 20, 10, 10),  // no such form
      queue(0xB, 0b001, 1, 20, 10, 10),
      queue(0xD, 0b101, 1, 20, 10, 10),  // compare naming a destination
      queue(0xC, 0b111, 1, 20, 10, 65),  // funnel shift above 64
  };
  for (const uint32_t word : queue_words) run(word);
  EXPECT_EQ(get(20), 0u);
  EXPECT_EQ(fault_kinds(),
            Kinds(std::size(memory_words) + std::size(queue_words), "undefined"));
  EXPECT_EQ(kxm::faults().back().word, queue_words[3]);
}

TEST_F(Faults, RegisterRunsMustEndByRegister127) {
  run(queue(0xA, 0b000, 16, 112, 0, 0));     // ends at r127: fine
  run(queue(0xA, 0b000, 16, 113, 0, 0));     // D run beyond
  run(queue(0xA, 0b000, 2, 10, 0, 127));     // B run beyond
  run(queue(0xC, 0b111, 1, 10, 127, 8));     // funnel needs r128
  run(queue(0xC, 0b111, 1, 10, 126, 40));    // and from s > 32 on, A+i+2
  run(queue(0xE, 0b011, 4, 10, 2, 127));     // gather down to r-1
  run(queue(0xE, 0b010, 4, 120, 10, 3));     // scatter up to r129
  issue(mem(LD, T4C, 8, 100), at(0));        // 32 registers from r100
  issue(mem(FILL, T8, 1, 127), at(0));       // the pattern pair r127:r128
  issue(mem(LD, T8P, 8, 127), at(2));        // bytes 2..9 span three registers
  issue(mem(LD, T8, 2, 126) | 0x7F, at(0));  // index run r127, r128
  EXPECT_EQ(fault_kinds(), Kinds(10, "register-run"));
  run(queue(0xC, 0b111, 1, 10, 127, 0));   // s = 0 reads A+i only
  run(queue(0xC, 0b111, 1, 10, 126, 32));  // s = 32 reads A+i+1 only
  issue(mem(LD, T8P, 4, 127), at(0));      // one register
  EXPECT_EQ(kxm::counters().faults, 10u);
}

TEST_F(Faults, IssueAddressesAreMultiplesOfEight) {
  kx_alias_store32(at(4), mem(ST1, T8, 1, 0));
  EXPECT_EQ(fault_kinds(), Kinds{"misaligned-issue"});
  EXPECT_EQ(kxm::faults()[0].address, at(4));
}

TEST_F(Faults, ContextAccessesOutsideTheBlockMap) {
  EXPECT_EQ(kx_ctx_load32(ctx, 0x020), 0u);  // write-only
  kx_ctx_store32(ctx, 0x024, 1);             // only as a second half
  kx_ctx_store32(ctx, 0x100, 1);
  kx_ctx_store32(ctx, 0x302, 1);
  kx_ctx_store32(ctx, 0x500, 1);      // just past r127
  kx_ctx_store64(ctx, 0x010, 1, 2);   // doubleword at the plane mask
  kx_ctx_store64(ctx, 0x304, 1, 2);   // odd register pair
  kx_ctx_store32(nullptr, 0x010, 0);  // not the block libkx handed out
  EXPECT_EQ(fault_kinds(), Kinds(8, "bad-context-access"));
  EXPECT_EQ(kxm::plane_mask(), 0xFFFFFFFFu);
  EXPECT_EQ(get(1), 0u);
}

TEST(FaultReports, StrictModeCallsTheHookAtOnceAndLenientModeOnlyCounts) {
  std::vector<kxm::Fault> reported;
  const auto previous = kxm::fault_hook();
  kxm::set_fault_hook([&](const kxm::Fault& fault) { reported.push_back(fault); });
  kxm::configure({});
  kx_ctx_t* ctx = kx_ctx_get();
  kx_ctx_store32(ctx, 0x020, 0x50000000);
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0].kind, "undefined");
  EXPECT_EQ(reported[0].word, 0x50000000u);
  EXPECT_NE(reported[0].message.find("0x50000000"), std::string::npos);

  kxm::configure({.strict = false});
  kx_ctx_store32(ctx, 0x020, 0x50000000);
  kx_alias_store32(4, 0);
  EXPECT_EQ(reported.size(), 1u);
  EXPECT_EQ(kxm::counters().faults, 2u);
  EXPECT_EQ(kxm::faults().size(), 2u);
  kxm::set_fault_hook(previous);
  kxm::configure({});
}

}  // namespace
}  // namespace kxtest
