// What the model reports about the traffic: the bus trace, counters, the disassembler.
#include <cstdio>

#include "model_fixture.h"

namespace kxtest {
namespace {

using Instrumentation = Machine;

TEST_F(Instrumentation, TraceHasOneLineAndCountersOneCountPerBusTransactionAtArrival) {
  kxm::reset_counters();
  std::vector<std::string> lines;
  kxm::set_trace([&](std::string_view line) { lines.emplace_back(line); });
  kx_ctx_store32(ctx, 0x300 + 4 * 58, 0x1234ABCD);
  kx_ctx_store32(ctx, 0x020, 0xA0000000);
  kx_ctx_store64(ctx, 0x020, 0xB0C00000, 0xB0C00001);
  kx_ctx_store64(ctx, 0x308, 7, 8);
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);
  kx_alias_store32(at(8), mem(ST1, T8, 1, 0) | 3);
  kx_ctx_load32(ctx, 0x000);
  kx_ctx_load32(ctx, 0x300 + 4 * 58);
  kxm::set_trace({});
  kx_ctx_store32(ctx, 0x020, 0xA0000000);

  char mem_line[40];
  std::snprintf(mem_line, sizeof mem_line, "mem 0x%08x 0x80080003", at(8));
  const std::vector<std::string> expected = {
      "reg 58 0x1234abcd",          "queue 0xa0000000", "queue 0xb0c00000",
      "queue 0xb0c00001",           "reg 2 0x00000007", "reg 3 0x00000008",
      "ctx 0x00000010 0x00ffffff",  mem_line,           "read 0x00000000 0x00000800",
      "read 0x000003e8 0x1234abcd",
  };
  EXPECT_EQ(lines, expected);
  const kxm::Counters& c = kxm::counters();
  EXPECT_EQ(c.queue_words, 4u);  // the last one untraced
  EXPECT_EQ(c.register_writes, 3u);
  EXPECT_EQ(c.memory_words, 1u);
  EXPECT_EQ(c.idle_waits, 1u);
}

TEST(Disassembler, WritesWordsInTheAssemblyNotation) {
  EXPECT_EQ(kxm::disassemble_queue(queue(0xA, 0b000, 16, 58, 10, 58)),
            "add x16 r58 = r10, r58");
  EXPECT_EQ(kxm::disassemble_queue(0xa12b982f), "adds x2 r48 = r46, r47");
  EXPECT_EQ(kxm::disassemble_queue(queue(0xC, 0b001, 4, 10, 10, 8)), "srli x4 r10 = r10, #8");
  EXPECT_EQ(kxm::disassemble_queue(queue(0xE, 0b011, 4, 20, 13, 127)),
            "gather x4 r20 = r13, #-1");
  EXPECT_EQ(kxm::disassemble_queue(queue(0xD, 0b101, 16, 0, 10, 20)),
            "cmplt x16 r2 = r10, r20");
  EXPECT_EQ(kxm::disassemble_queue(0x50000000), ".word 0x50000000 ; undefined");
  EXPECT_EQ(kxm::disassemble_queue(queue(0xD, 0b101, 1, 3, 10, 20)),
            ".word 0xd0a28194 ; undefined");
  EXPECT_EQ(kxm::disassemble_memory(mem(LD, T8, 32, 10) | 5), "ld.t8 x32 r10 @+5");
  EXPECT_EQ(kxm::disassemble_memory(mem(ST2, 0x1E, 8, 20)), "st2.t16:2 x8 r20 @+0");
  EXPECT_EQ(kxm::disassemble_memory(mem(LD, T8, 8, 40) | 16), "ld.t8 x8 r40 @[r16]");
  EXPECT_EQ(kxm::disassemble_memory(mem(FILL, T32, 32, 10) | 4), "fill.t32 x32 r10 @+4");
  EXPECT_EQ(kxm::disassemble_memory(mem(ST1, T8, 1, 0) | 16), ".word 0x80080010 ; undefined");
}

TEST(Disassembler, AssemblesOnlyItsOwnSpellingOfAWord) {
  uint32_t word = 0;
  for (uint32_t w :
       {0xa12b982fu, 0xcfa28501u, 0xed718d84u, 0x8fd0150au, 0x86986280u | 5, 0x50000000u}) {
    const std::string text = kxm::disassemble(w);
    EXPECT_TRUE(kxm::assemble(text, &word)) << text;
    EXPECT_EQ(word, w) << text;
  }
  word = 7;
  for (const char* text :
       {"add x16 r58 = r10,r58", "add x17 r58 = r10, r58", "nop x1 r1 = r1, r1",
        "ld.t9 x32 r10 @+5", "ld.t8 x32 r10 @+9", "st2.t16:3 x8 r20 @+0", ""}) {
    EXPECT_FALSE(kxm::assemble(text, &word)) << text;
  }
  EXPECT_EQ(word, 7u);
  EXPECT_EQ(kxm::disassemble_trace_line("queue 0xa12b982f"),
            "a12b982f             adds x2 r48 = r46, r47");
  EXPECT_EQ(kxm::disassemble_trace_line("mem 0x00001000 0x8fd00505"),
            "8fd00505  @00001005  ld.t8 x32 r10 @+5");
}

}  // namespace
}  // namespace kxtest
