// Word streams, word for word, where the sequence itself is what can go wrong: memory words
// split at a page, and the edge cases of the pointwise, copy and fill kernels.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <tuple>

#include "kx_X_page.h"
#include "kx_test_support.h"
#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_word.h"

using kxtest::AliasedBuffer;
using kxtest::TraceCapture;
using sl::mem_word;
using Words = std::vector<uint32_t>;
using Issued = std::pair<uint32_t, uint32_t>;  // address, word

namespace {

class WordStream : public ::testing::Test {
 protected:
  AliasedBuffer buffer{6};
  uint32_t page = buffer.alias();  // page crossings: the second page starts at page + 0x1000
  // Three 8-aligned images in separate pages, away from page ends.
  uint32_t a = page + 0x100, b = page + 0x1100, d = page + 0x2100;
  TraceCapture trace;
  void SetUp() override {
    sl_ctx_planemask_set(0xFFFFFFFF);
    sl_ctx_rasterop_set(0xCC);
    sl_ctx_foreground_set(0x11223344);
    trace.clear();
  }
};
using PageCrossing = WordStream;
using KernelWords = WordStream;

TEST_F(PageCrossing, RunsSplitAtThePageAndAdvanceTheSecondPiecesRegisterPastTheHead) {
  // `pieces`: addresses from the first page's start.
  const auto expect = [&](uint32_t at, uint32_t word, uint32_t flags,
                          std::vector<Issued> pieces) {
    const uint64_t splits = kxm::counters().page_splits;
    trace.clear();
    sl_mem_issue(page + at, word, flags);
    for (Issued& piece : pieces) piece.first += page;
    EXPECT_EQ(trace.memory(), pieces) << "at +" << at << " word " << word;
    EXPECT_EQ(kxm::counters().page_splits, splits + pieces.size() - 1)
        << "at +" << at << " word " << word;
  };
  expect(0xFF0, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8,
         {{0xFF0, 0x87D00500}, {0x1000, 0x87D00D00}});
  // Four channels: split by pixels, four registers each.
  expect(0xFF8, mem_word(SL_LD, SL_T4C, 12, 10), SPAM_T4C,
         {{0xFF8, 0x80D20500}, {0x1000, 0x84D20900}});
  // Packed: by the registers its head occupies.
  expect(0xFF5, mem_word(SL_LD, SL_T8P, 32, 11), SPAM_T8P,
         {{0xFF0, 0x8557C585}, {0x1000, 0x8A57C700}});
  // The last element starts on the next page.
  expect(0xFE1, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8,
         {{0xFE0, 0x8F500501}, {0x1000, 0x80501480}});
  // Register zero is never advanced.
  expect(0xFF0, mem_word(SL_ST1, SL_T8, 32, 0), SPAM_T8,
         {{0xFF0, 0x87880000}, {0x1000, 0x87880000}});
  // Runs ending on the page's last byte are one piece.
  expect(0xFE0, mem_word(SL_LD, SL_T8, 32, 10), SPAM_T8, {{0xFE0, 0x8FD00500}});
  expect(0xFC0, mem_word(SL_LD, SL_T16, 32, 10), SPAM_T16, {{0xFC0, 0x8FD70500}});
}

TEST_F(PageCrossing, ChannelRunKeepsItsChannelInTheSecondPiece) {
  for (uint32_t flags : {SPAM_T32C, 0x5Au}) {
    trace.clear();
    sl_mem_issue(page + 0xF85, mem_word(SL_ST1, SL_T32C, 32, 10), flags);
    const uint32_t second_reg = flags & SPAM_ADVANCE ? 41 : 10;
    std::vector<Issued> expected{{page + 0xF80, 0x8F0C0505},
                                 {page + 0x1000, mem_word(SL_ST1, SL_T32C, 1, second_reg) | 1}};
    if (flags & SPAM_SAVE_R2) {
      // r2 saved in r4, shifted by the 31-element head for the second piece, restored.
      EXPECT_EQ(trace.words(),
                (std::vector<uint32_t>{0xB0C08200, expected[0].second, 0xC0A1011F,
                                       expected[1].second, 0xB0C10100}));
    }
    EXPECT_EQ(trace.memory(), expected) << "flags " << flags;
  }
}

TEST_F(PageCrossing, MaskedStoreSeesItsMaskShiftedForTheSecondPiece) {
  // Elements 2 and 3 enabled: after the split at element 2 they are the second piece's 0, 1.
  auto* words = reinterpret_cast<uint32_t*>(buffer.at(page + 0xFF8));
  kx_ctx_t* ctx = kx_ctx_get();
  for (uint32_t r = 10; r < 14; ++r) kx_ctx_store32(ctx, 0x300 + 4 * r, 0x11111111 * (r - 9));
  kx_ctx_store32(ctx, 0x300 + 4 * 2, 0x30000000);
  sl_mem_issue(page + 0xFF8, mem_word(SL_MEM_OP5, SL_T32, 4, 10), 0x62);
  EXPECT_EQ(std::vector<uint32_t>(words, words + 4),
            (std::vector<uint32_t>{0, 0, 0x33333333, 0x44444444}));
  EXPECT_EQ(kxm::reg(2), 0x30000000u) << "r2 is restored";
}

TEST_F(KernelWords, ChunksTailsAndAlignmentsAreIssuedAsTheirKernelsWords) {
  const int32_t mult = 32768, shift = 7, bits = 0x0F;
  const int32_t channels[4] = {1, 2, 3, 4}, shifts[4] = {0, 1, 2, 3};
  const auto add8 = [&](int32_t width) { sl_rect_add_8(d, 256, width, 1, a, 256, b, 256); };
  const auto add32 = [&](int32_t width) { sl_rect_add_32(d, 256, width, 1, a, 256, b, 256); };
  const std::tuple<const char*, std::function<void()>, Words> streams[] = {
      {"add_8 of 33: a chunk and a one-pixel tail",
       [&] { add8(33); },
       {0x8FD00500, 0x8FD01D00, 0xAF029D3A, 0xAF06A54A, 0x8F981D00, 0x80500500, 0x80501D00,
        0xA0029D3A, 0x80181D00}},
      {"add_8 of 17: a sixteen and a rest",
       [&] { add8(17); },
       {0x88500500, 0x88501D00, 0xAF029D3A, 0xA006A54A, 0x88181D00}},
      {"add_8 of 16", [&] { add8(16); }, {0x87D00500, 0x87D01D00, 0xAF029D3A, 0x87981D00}},
      {"add_32 of 8: halves",
       [&] { add32(8); },
       {0x83D20500, 0x83D21D00, 0xAF029D3A, 0xAF06A54A, 0x839A1D00}},
      {"add_32 of 9: sixteens",
       [&] { add32(9); },
       {0x84520500, 0x84521D00, 0xAF029D3A, 0xAF06A54A, 0xA30AAD5A, 0x841A1D00}},
      {"add_32 of 1",
       [&] { add32(1); },
       {0x80520500, 0x80521D00, 0xA1029D3A, 0xA1031E3C, 0x801A1D00}},
      {"diff_8: the subtraction, then the absolute value with the same split",
       [&] { sl_rect_diff_8(d, 256, 20, 1, a, 256, b, 256); },
       {0x89D00500, 0x89D01D00, 0xAF829D3A, 0xA386A54A, 0xAFE01D3A, 0xA3E0254A, 0x89981D00}},
      {"subs_32: channel constants replicated by doubling moves",
       [&] { sl_rect_subs_32(d, 256, 0, 1, a, 256, channels); },
       {0xB3C01F3A, 0xB7C0213A, 0xBFC0253A, 0xBFC02D3A}},
      {"muls_8: shifted by the immediate",
       [&] { sl_rect_muls_8(d, 256, 32, 1, a, 256, &mult, &shift); },
       {0xBFE015AA, 0xBFE01DAA, 0xBEE025AA, 0x8FD00500, 0x1F02852A, 0x1F068D3A, 0xCF628507,
        0xCF668D07, 0x8F900500}},
      {"muls_32: channels shifted by register",
       [&] { sl_rect_muls_32(d, 256, 3, 1, a, 256, channels, shifts); },
       {0xB3C0172A, 0xB7C0192A, 0xBFC01D2A, 0xBFC0252A, 0xB3C0274A, 0xB7C0294A, 0xBFC02D4A,
        0xBFC0354A, 0x81520500, 0x1502852A, 0x15040830, 0xC542854A, 0xC5440850, 0x811A0500}},
      {"bool_16: raw elements in a full chunk and a tail",
       [&] { sl_rect_bool_16(d, 256, 40, 1, a, 256, b, 256); },
       {0x8FD60500, 0x8FD61500, 0x9F22A52A, 0x9F26AD3A, 0x8F862500, 0x83D60500, 0x83D61500,
        0x9722A52A, 0x83862500}},
      {"bools_32 of 1",
       [&] { sl_rect_bools_32(d, 256, 1, 1, a, 256, &bits); },
       {0xBFE015AA, 0xBEE01DAA, 0x8056C500, 0x9022A52A, 0x800EE500}},
      {"copy_8 of 31: one run",
       [&] { sl_rect_copy_8(b, 0, 31, 1, a, 0); },
       {0x8F500500, 0x8F080500}},
      {"copy_8 of 32 at offset 1, equal alignment: 3 bytes, 7 words, 1 byte",
       [&] { sl_rect_copy_8(b + 1, 0, 32, 1, a + 1, 0); },
       {0x81500501, 0x81080501, 0x8356C504, 0x830EC504, 0x80500500, 0x80080500}},
      {"copy_8 of 32 to offset 1: 3 bytes, 8 words realigned into 7, 1 byte",
       [&] { sl_rect_copy_8(b + 1, 0, 32, 1, a, 0); },
       {0x81500500, 0x81080501, 0x83D6C500, 0xC7E28518, 0x830EC504, 0x80500507, 0x80080500}},
      {"span_fill_32 of 33: a full fill and one of one",
       [&] { sl_span_fill_32(a, 33); },
       {0xB1E00509, 0x8FCEC500, 0x804EC500}}};
  for (const auto& [what, run, words] : streams) {
    trace.clear();
    run();
    EXPECT_EQ(trace.words(), words) << what;
  }
}

TEST_F(KernelWords, ConstantIsReplicatedFirstEvenForAnEmptyRectangle) {
  const int32_t value = 7;
  sl_rect_adds_8(d, 256, 5, 0, a, 256, &value);
  EXPECT_EQ(trace.lines(), (std::vector<std::string>{"reg 58 0x00000007", "queue 0xbfe01dba",
                                                     "queue 0xbfe025ba", "queue 0xbee02dba"}));
}

TEST_F(KernelWords, ConstantDiffTailsUseTheShortRunForm) {
  const int32_t value = 7;
  sl_rect_diffs_8(d, 256, 50, 1, a, 256, &value);
  const Words words = trace.words();
  const Words tail(words.end() - 6, words.end());
  EXPECT_EQ(tail,
            (Words{0x88D00500, 0xAFA2853A, 0xA1A68D4A, 0xAFE0050A, 0xA1E00D1A, 0x88900500}));
}

TEST_F(KernelWords, ASourceEightBytesBeforeAPageEndIsLoadedInTwoPieces) {
  const uint32_t near_end = buffer.alias() + 0x3FF8;
  sl_rect_add_8(d, 256, 32, 1, near_end, 256, b, 256);
  const Words words = trace.words();
  ASSERT_GE(words.size(), 2u);
  EXPECT_EQ(words[0], 0x83D00500u);
  EXPECT_EQ(words[1], 0x8BD00900u);
}

TEST_F(KernelWords, RightToLeftWordCopyOfOneRowStartsAtItsRightEnd) {
  sl_rect_copyrl_32(b, 0, 40, 1, a, 0);
  EXPECT_EQ(trace.memory(),
            (std::vector<Issued>{
                {a + 32, 0x8FD6C500}, {b + 32, 0x8F8EC500}, {a, 0x83D6C500}, {b, 0x838EC500}}));
}

TEST_F(KernelWords, ChannelFillAcrossAPageKeepsItsChannel) {
  sl_span_fill_32c(page + 0xF85, 32);
  EXPECT_EQ(trace.memory().back(), Issued(page + 0x1000, 0x804C0501));
  EXPECT_EQ(buffer.host()[0x1001], 0x22);
  EXPECT_EQ(buffer.host()[0x1000], 0);
}

TEST_F(KernelWords, BitmapEdgesLoadTheirMaskAndClearItAfter) {
  sl_ctx_foreground_set(0xFFFFFFFF);
  trace.clear();
  sl_rect_fill_1(a, 4, 0, 3, 1);  // one edge within one word
  char fill[40];
  std::snprintf(fill, sizeof fill, "mem 0x%08x 0x804ec500", a);
  EXPECT_EQ(trace.lines(),
            (std::vector<std::string>{"queue 0xb1e00509", "ctx 0x00000000 0x0e000000", fill,
                                      "ctx 0x00000000 0x00000000"}));
  EXPECT_EQ(buffer.host()[0x100], 0x0E);
  EXPECT_EQ(buffer.host()[0x101], 0);
  trace.clear();
  sl_rect_fill_1(a, 0, 0, 40, 1);  // one middle word and a right edge
  EXPECT_EQ(trace.words(), (Words{0xB1E00509, 0x8046C500, 0x804EC504}));
  EXPECT_EQ(trace.lines()[2], "ctx 0x00000000 0xff000000");
  EXPECT_EQ(trace.lines().back(), "ctx 0x00000000 0x00000000");
}

}  // namespace
