// Lookup kernels on the processor model: every member against a plain table lookup over
// shapes whose rows cross pages, and the word streams where the sequence is what can go
// wrong (tails, page splits, indexed loads stored at the table).
#include <gtest/gtest.h>

#include <cstring>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;

namespace {

const Widths kWidths{0, 1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 70};

using LookupKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, uint32_t);

// A table of random entries, big enough for 65536 4-byte entries, in processor memory.
class Lookup : public ::testing::Test {
 protected:
  Lookup() : table_(64) { randomize(table_); }
  const uint8_t* entry(uint32_t offset) const { return table_.host() + offset; }
  sweep::Run through(LookupKernel kernel) const { return one_source(kernel, table_.alias()); }

  AliasedBuffer table_;
};

uint32_t u16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

// Each pixel's index (read from `in_bytes` bytes, masked) picks an entry of `out_bytes`.
struct Member {
  const char* name;
  LookupKernel kernel;
  uint32_t in_bytes, out_bytes, index_mask;
};

TEST_F(Lookup, EveryPixelTakesTheEntryItsValueIndexesTakenAsUnsigned) {
  sl_ctx_planemask_set(0xFFFFFFFF);
  const Member members[] = {
      {"lut8_8", sl_rect_lut8_8, 1, 1, 0xFF},
      {"lut8_16", sl_rect_lut8_16, 1, 2, 0xFF},
      {"lut8_32", sl_rect_lut8_32, 1, 4, 0xFF},
      {"lut8_32_4", sl_rect_lut8_32_4, 1, 4, 0xFF},
      {"lut16_8", sl_rect_lut16_8, 2, 1, 0xFFFF},
      {"lut16_16", sl_rect_lut16_16, 2, 2, 0xFFFF},
      {"lut16_32", sl_rect_lut16_32, 2, 4, 0xFFFF},
      {"lut12_16", sl_rect_lut12_16, 2, 2, 0xFFF},
  };
  for (const Member& m : members) {
    check(m.name, through(m.kernel), {m.out_bytes}, {m.in_bytes}, kWidths, [&](const Pixel& p) {
      const uint32_t index = (m.in_bytes == 1 ? *p.in1 : u16(p.in1)) & m.index_mask;
      std::memcpy(p.out, entry(index * m.out_bytes), m.out_bytes);
    });
  }
}

TEST_F(Lookup, FourBytePixelsAreLookedUpBytewiseInOneTableOrInOnePerByte) {
  check("lut24_24", through(sl_rect_lut24_24), {4}, {4}, kWidths, [&](const Pixel& p) {
    for (int k = 0; k < 4; ++k) p.out[k] = *entry(p.in1[k]);
  });
  check("lut32_32", through(sl_rect_lut32_32), {4}, {4}, kWidths, [&](const Pixel& p) {
    for (int k = 0; k < 4; ++k) p.out[k] = *entry(256 * k + p.in1[k]);
  });
}

TEST_F(Lookup, ARowOfThirtyThreeIsAChunkOfThirtyTwoAndATailOfOne) {
  AliasedBuffer image(1);
  TraceCapture trace;
  const uint32_t t = table_.alias();
  sl_rect_lut8_8(image.alias() + 0x800, 64, 33, 1, image.alias(), 64, t);
  // The indexed loads carry their index register in the low bits, at the table itself.
  EXPECT_EQ(trace.memory(),
            (std::vector<std::pair<uint32_t, uint32_t>>{{image.alias(), 0x8FD00500},
                                                        {t, 0x8FD0150A},
                                                        {image.alias() + 0x800, 0x8F901500},
                                                        {image.alias() + 32, 0x80500500},
                                                        {t, 0x8050150A},
                                                        {image.alias() + 0x820, 0x80101500}}));
}

TEST_F(Lookup, IndexRunsCrossingAPageAreSplitButTheIndexedLoadNeverIs) {
  AliasedBuffer image(2);
  const std::tuple<LookupKernel, uint32_t, uint32_t> cases[] = {
      {sl_rect_lut8_8, 0xFE1u, 0x8FD00500u}, {sl_rect_lut16_16, 0xFE0u, 0x8FD60500u}};
  for (const auto& [kernel, offset, flags_word] : cases) {
    TraceCapture trace;
    kernel(image.alias() + 0x1000 + offset % 64, 64, 32, 1, image.alias() + offset, 64,
           table_.alias());
    const auto stores = trace.memory();
    ASSERT_GE(stores.size(), 2u);
    // The index load comes as two pieces, the second at the next page.
    EXPECT_EQ(stores[0].first, image.alias() + (offset & ~7u));
    EXPECT_NE(stores[0].second, flags_word | (offset & 7));
    EXPECT_EQ(stores[1].first, image.alias() + 0x1000);
    size_t at_table = 0;
    for (const auto& [address, word] : stores) at_table += address == table_.alias();
    EXPECT_EQ(at_table, 1u) << "one indexed load of 32";
  }
}

TEST_F(Lookup, SixteenBitAndFourByteEntriesShiftTheirIndicesIntoByteOffsets) {
  AliasedBuffer image(1);
  TraceCapture trace;
  sl_rect_lut16_16(image.alias() + 0x800, 64, 32, 1, image.alias(), 64, table_.alias());
  EXPECT_EQ(trace.words(), (Words{0x8FD60500, 0xCFA28501, 0xCFA68D01, 0x8FD6150A, 0x8F961500}));
}

TEST_F(Lookup, EmptyRectanglesIssueNothing) {
  AliasedBuffer image(1);
  TraceCapture trace;
  sl_rect_lut8_8(image.alias(), 16, 0, 3, image.alias(), 16, table_.alias());
  sl_rect_lut32_32(image.alias(), 16, 4, 0, image.alias(), 16, table_.alias());
  EXPECT_TRUE(trace.lines().empty());
}

}  // namespace
