// Issuing memory-reference words: the split test and the page-crossing routine.
#include <gtest/gtest.h>

#include "kx_X_page.h"
#include "kx_test_support.h"
#include "sl_word.h"

using kxtest::AliasedBuffer;
using kxtest::TraceCapture;
using sl::mem_word;

namespace {

struct Issued {
  uint32_t address;
  uint32_t word;
  bool operator==(const Issued&) const = default;
};

std::vector<Issued> issued(const TraceCapture& trace) {
  std::vector<Issued> out;
  for (auto [address, word] : trace.memory()) out.push_back({address, word});
  return out;
}

class PageCrossing : public ::testing::Test {
 protected:
  AliasedBuffer buffer{2};
  uint32_t page = buffer.alias();  // first page; the second starts at page + 0x1000
  uint64_t splits_before = kxm::counters().page_splits;
};

TEST_F(PageCrossing, ByteRunSplitsAtThePageWithTheSecondRegisterAdvanced) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFF0, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFF0, 0x87D00500}, {page + 0x1000, 0x87D00D00}}));
  EXPECT_EQ(kxm::counters().page_splits, splits_before + 1);
}

TEST_F(PageCrossing, FourChannelRunSplitsByPixelsAndAdvancesFourRegistersEach) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFF8, mem_word(SL_LD, SL_T4C, 12, 10), SPAM_T4C);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFF8, 0x80D20500}, {page + 0x1000, 0x84D20900}}));
}

TEST_F(PageCrossing, ChannelRunKeepsItsChannelInTheSecondPiece) {
  for (uint32_t flags : {SPAM_T32C, 0x5Au}) {
    TraceCapture trace;
    sl_mem_issue(page + 0xF85, mem_word(SL_ST1, SL_T32C, 32, 10), flags);
    const uint32_t second_reg = flags & SPAM_ADVANCE ? 41 : 10;
    std::vector<Issued> expected{{page + 0xF80, 0x8F0C0505},
                                 {page + 0x1000, mem_word(SL_ST1, SL_T32C, 1, second_reg) | 1}};
    if (flags & SPAM_SAVE_R2) {
      // r2 saved in r4, shifted by the 31-element head for the second piece, restored.
      EXPECT_EQ(trace.words(), (std::vector<uint32_t>{0xB0C08200, expected[0].word, 0xC0A1011F,
                                                      expected[1].word, 0xB0C10100}));
    }
    EXPECT_EQ(issued(trace), expected) << "flags " << flags;
  }
}

TEST_F(PageCrossing, PackedRunAdvancesByTheRegistersItsHeadOccupies) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFF5, mem_word(SL_LD, SL_T8P, 32, 11), SPAM_T8P);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFF0, 0x8557C585}, {page + 0x1000, 0x8A57C700}}));
}

TEST_F(PageCrossing, RunEndingOnTheLastByteOfAPageIsNotSplit) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFE0, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8);
  sl_mem_issue(page + 0xFC0, mem_word(SL_LD, SL_T16, 32, 10), SPAM_T16);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFE0, 0x8FD00500}, {page + 0xFC0, 0x8FD70500}}));
  EXPECT_EQ(kxm::counters().page_splits, splits_before);
}

TEST_F(PageCrossing, RunWhoseLastElementStartsOnTheNextPageIsSplit) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFE1, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFE0, 0x8F500501}, {page + 0x1000, 0x80501480}}));
}

TEST_F(PageCrossing, RegisterZeroIsNeverAdvanced) {
  TraceCapture trace;
  sl_mem_issue(page + 0xFF0, mem_word(SL_ST1, SL_T8, 32, 0), SPAM_T8);
  EXPECT_EQ(issued(trace),
            (std::vector<Issued>{{page + 0xFF0, 0x87880000}, {page + 0x1000, 0x87880000}}));
}

TEST_F(PageCrossing, MaskedStoreSeesItsMaskShiftedForTheSecondPiece) {
  // Elements 2 and 3 enabled: after the split at element 2 they are the second piece's 0, 1.
  auto* words = reinterpret_cast<uint32_t*>(buffer.at(page + 0xFF8));
  kx_ctx_t* ctx = kx_ctx_get();
  kx_ctx_store32(ctx, 0x300 + 4 * 10, 0x11111111);
  kx_ctx_store32(ctx, 0x300 + 4 * 11, 0x22222222);
  kx_ctx_store32(ctx, 0x300 + 4 * 12, 0x33333333);
  kx_ctx_store32(ctx, 0x300 + 4 * 13, 0x44444444);
  kx_ctx_store32(ctx, 0x300 + 4 * 2, 0x30000000);
  sl_mem_issue(page + 0xFF8, mem_word(SL_MEM_OP5, SL_T32, 4, 10), 0x62);
  EXPECT_EQ(words[0], 0u);
  EXPECT_EQ(words[1], 0u);
  EXPECT_EQ(words[2], 0x33333333u);
  EXPECT_EQ(words[3], 0x44444444u);
  EXPECT_EQ(kxm::reg(2), 0x30000000u) << "r2 is restored";
}

}  // namespace
