// Word streams of the pointwise kernels, word for word.
#include <gtest/gtest.h>

#include "kx_test_support.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

using kxtest::AliasedBuffer;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;

namespace {

class PointwiseWords : public ::testing::Test {
 protected:
  AliasedBuffer buffer{6};
  // Three 8-aligned images in separate pages, away from page ends.
  uint32_t a = buffer.alias() + 0x100, b = buffer.alias() + 0x1100, d = buffer.alias() + 0x2100;

  Words add8(int32_t width) {
    TraceCapture trace;
    sl_rect_add_8(d, 256, width, 1, a, 256, b, 256);
    return trace.words();
  }
};

TEST_F(PointwiseWords, Add8OfThirtyThreePixelsIsAChunkAndAOnePixelTail) {
  EXPECT_EQ(add8(33), (Words{0x8FD00500, 0x8FD01D00, 0xAF029D3A, 0xAF06A54A, 0x8F981D00,
                             0x80500500, 0x80501D00, 0xA0029D3A, 0x80181D00}));
}

TEST_F(PointwiseWords, TailsAboveSixteenPixelsTakeASixteenAndARest) {
  EXPECT_EQ(add8(17), (Words{0x88500500, 0x88501D00, 0xAF029D3A, 0xA006A54A, 0x88181D00}));
  EXPECT_EQ(add8(16), (Words{0x87D00500, 0x87D01D00, 0xAF029D3A, 0x87981D00}));
}

TEST_F(PointwiseWords, FourChannelTailsSplitIntoHalvesOrSixteens) {
  TraceCapture trace;
  sl_rect_add_32(d, 256, 8, 1, a, 256, b, 256);
  EXPECT_EQ(trace.words(), (Words{0x83D20500, 0x83D21D00, 0xAF029D3A, 0xAF06A54A, 0x839A1D00}));
  trace.clear();
  sl_rect_add_32(d, 256, 9, 1, a, 256, b, 256);
  EXPECT_EQ(trace.words(),
            (Words{0x84520500, 0x84521D00, 0xAF029D3A, 0xAF06A54A, 0xA30AAD5A, 0x841A1D00}));
  trace.clear();
  sl_rect_add_32(d, 256, 1, 1, a, 256, b, 256);
  EXPECT_EQ(trace.words(), (Words{0x80520500, 0x80521D00, 0xA1029D3A, 0xA1031E3C, 0x801A1D00}));
}

TEST_F(PointwiseWords, DiffIssuesTheSubtractionThenTheAbsoluteValueWithTheSameSplit) {
  TraceCapture trace;
  sl_rect_diff_8(d, 256, 20, 1, a, 256, b, 256);
  EXPECT_EQ(trace.words(), (Words{0x89D00500, 0x89D01D00, 0xAF829D3A, 0xA386A54A, 0xAFE01D3A,
                                  0xA3E0254A, 0x89981D00}));
}

TEST_F(PointwiseWords, ConstantIsReplicatedFirstEvenForAnEmptyRectangle) {
  const int32_t value = 7;
  TraceCapture trace;
  sl_rect_adds_8(d, 256, 5, 0, a, 256, &value);
  EXPECT_EQ(trace.lines(), (std::vector<std::string>{"reg 58 0x00000007", "queue 0xbfe01dba",
                                                     "queue 0xbfe025ba", "queue 0xbee02dba"}));
}

TEST_F(PointwiseWords, ChannelConstantsAreReplicatedByDoublingMoves) {
  const int32_t values[4] = {1, 2, 3, 4};
  TraceCapture trace;
  sl_rect_subs_32(d, 256, 0, 1, a, 256, values);
  EXPECT_EQ(trace.words(), (Words{0xB3C01F3A, 0xB7C0213A, 0xBFC0253A, 0xBFC02D3A}));
}

TEST_F(PointwiseWords, ConstantDiffTailsUseTheShortRunForm) {
  const int32_t value = 7;
  TraceCapture trace;
  sl_rect_diffs_8(d, 256, 50, 1, a, 256, &value);
  const Words words = trace.words();
  const Words tail(words.end() - 6, words.end());
  EXPECT_EQ(tail,
            (Words{0x88D00500, 0xAFA2853A, 0xA1A68D4A, 0xAFE0050A, 0xA1E00D1A, 0x88900500}));
}

TEST_F(PointwiseWords, ScaledMultiplyShiftsByTheImmediateAndChannelsByRegister) {
  const int32_t mult = 32768, shift = 7;
  TraceCapture trace;
  sl_rect_muls_8(d, 256, 32, 1, a, 256, &mult, &shift);
  EXPECT_EQ(trace.words(), (Words{0xBFE015AA, 0xBFE01DAA, 0xBEE025AA, 0x8FD00500, 0x1F02852A,
                                  0x1F068D3A, 0xCF628507, 0xCF668D07, 0x8F900500}));
  const int32_t mults[4] = {1, 2, 3, 4}, shifts[4] = {0, 1, 2, 3};
  trace.clear();
  sl_rect_muls_32(d, 256, 3, 1, a, 256, mults, shifts);
  EXPECT_EQ(trace.words(), (Words{0xB3C0172A, 0xB7C0192A, 0xBFC01D2A, 0xBFC0252A, 0xB3C0274A,
                                  0xB7C0294A, 0xBFC02D4A, 0xBFC0354A, 0x81520500, 0x1502852A,
                                  0x15040830, 0xC542854A, 0xC5440850, 0x811A0500}));
}

TEST_F(PointwiseWords, BitwiseKernelsStoreRawElementsInFullChunksAndTails) {
  TraceCapture trace;
  sl_rect_bool_16(d, 256, 40, 1, a, 256, b, 256);
  EXPECT_EQ(trace.words(), (Words{0x8FD60500, 0x8FD61500, 0x9F22A52A, 0x9F26AD3A, 0x8F862500,
                                  0x83D60500, 0x83D61500, 0x9722A52A, 0x83862500}));
  const int32_t value = 0x0F;
  trace.clear();
  sl_rect_bools_32(d, 256, 1, 1, a, 256, &value);
  EXPECT_EQ(trace.words(), (Words{0xBFE015AA, 0xBEE01DAA, 0x8056C500, 0x9022A52A, 0x800EE500}));
}

TEST_F(PointwiseWords, RowsAdvanceByTheirOwnStrides) {
  TraceCapture trace;
  sl_rect_add_8(d, 300, 4, 2, a, 100, b, -8);
  const auto memory = trace.memory();
  ASSERT_EQ(memory.size(), 6u);
  EXPECT_EQ(memory[3].first, (a + 100) & ~7u);
  EXPECT_EQ(memory[3].second & 7, (a + 100) & 7);
  EXPECT_EQ(memory[4].first, b - 8);
  EXPECT_EQ(memory[5].first, (d + 300) & ~7u);
}

TEST_F(PointwiseWords, ASourceEightBytesBeforeAPageEndIsLoadedInTwoPieces) {
  const uint32_t near_end = buffer.alias() + 0x3FF8;
  TraceCapture trace;
  sl_rect_add_8(d, 256, 32, 1, near_end, 256, b, 256);
  const Words words = trace.words();
  ASSERT_GE(words.size(), 2u);
  EXPECT_EQ(words[0], 0x83D00500u);
  EXPECT_EQ(words[1], 0x8BD00900u);
}

}  // namespace
