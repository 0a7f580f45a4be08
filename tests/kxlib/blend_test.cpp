// Blend kernels on the processor model: every member against a plain reference of the
// documented arithmetic, dst = s2 + ((alpha * (s1 - s2)) >> 8 or >> 16) rounded toward minus
// infinity, exactly; and the word streams where the sequence is what can go wrong (the
// remainder forms, the counts of four-channel tails, page splits by element size).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;
using Issued = std::pair<uint32_t, uint32_t>;  // address, word

namespace {

using BlendKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, uint32_t,
                             int32_t, uint32_t, int32_t);

const Widths kWidths{0, 1, 2, 7, 8, 9, 15, 16, 17, 31, 32, 33, 47, 48, 70};

uint32_t u16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
void put_u16(uint8_t* p, int64_t v) {
  const uint16_t u = uint16_t(std::clamp<int64_t>(v, 0, 65535));
  std::memcpy(p, &u, 2);
}

// One element: the difference is exact, the product exact in 64 bits, the shift arithmetic.
int64_t blended(int64_t s1, int64_t s2, int64_t alpha, int shift) {
  return s2 + ((alpha * (s1 - s2)) >> shift);
}

Run3 blend(BlendKernel kernel, int32_t rows = kRows) {
  return [=](uint32_t d, uint32_t s1, uint32_t s2, uint32_t a, int32_t w) {
    kernel(d, kStride, w, rows, s1, kStride, s2, kStride, a, kStride);
  };
}

// Alpha and pixel widths of a one-channel member, in bytes.
struct Member {
  const char* name;
  BlendKernel kernel;
  uint32_t alpha_bytes, pixel_bytes;
};
const Member kOneChannel[] = {
    {"blend8_8", sl_rect_blend8_8, 1, 1},
    {"blend8_16", sl_rect_blend8_16, 1, 2},
    {"blend16_8", sl_rect_blend16_8, 2, 1},
    {"blend16_16", sl_rect_blend16_16, 2, 2},
};

int64_t read(const uint8_t* p, uint32_t bytes) {
  return bytes == 1 ? *p : u16(p);
}

TEST(Blend, EveryElementIsTheSecondSourcePlusTheAlphaScaledDifferenceRoundedDown) {
  for (const Member& m : kOneChannel) {
    const int shift = m.alpha_bytes == 1 ? 8 : 16;
    check(
        m.name, blend(m.kernel), {m.pixel_bytes}, {m.pixel_bytes}, {m.alpha_bytes}, kWidths,
        [&](const Pixel& p) {
          const int64_t v = blended(read(p.in1, m.pixel_bytes), read(p.in2, m.pixel_bytes),
                                    read(p.in3, m.alpha_bytes), shift);
          if (m.pixel_bytes == 1) *p.out = uint8_t(std::clamp<int64_t>(v, 0, 255));
          if (m.pixel_bytes == 2) put_u16(p.out, v);
        },
        Places::apart);
  }
}

TEST(Blend, FourChannelPixelsBlendEveryByteUnderTheirPixelsAlphaByte) {
  check(
      "blend32_32", blend(sl_rect_blend32_32), {4}, {4}, {1}, kWidths,
      [](const Pixel& p) {
        for (int k = 0; k < 4; ++k) {
          p.out[k] =
              uint8_t(std::clamp<int64_t>(blended(p.in1[k], p.in2[k], *p.in3, 8), 0, 255));
        }
      },
      Places::apart);
}

// Small images for the edge values: s1, s2, alpha and the destination, 8-aligned.
class BlendValues : public ::testing::Test {
 protected:
  AliasedBuffer buffer{1};
  uint8_t* host(uint32_t offset) { return buffer.host() + offset; }
  uint32_t at(uint32_t offset) { return buffer.alias() + offset; }
  static constexpr uint32_t kS1 = 0x000, kS2 = 0x400, kAlpha = 0x800, kDst = 0xC00;
  void run(BlendKernel kernel, int32_t width) {
    kernel(at(kDst), 0, width, 1, at(kS1), 0, at(kS2), 0, at(kAlpha), 0);
  }
};

TEST_F(BlendValues, AlphaZeroGivesTheSecondSourceInEveryElement) {
  const std::pair<BlendKernel, uint32_t> kernels[] = {
      {sl_rect_blend8_8, 1},   {sl_rect_blend8_16, 2},  {sl_rect_blend16_8, 1},
      {sl_rect_blend16_16, 2}, {sl_rect_blend32_32, 4},
  };
  for (const auto& [kernel, bytes] : kernels) {
    randomize(buffer);
    std::memset(host(kAlpha), 0, 0x400);
    run(kernel, int32_t(0x100 / bytes));
    EXPECT_EQ(std::memcmp(host(kDst), host(kS2), 0x100), 0) << bytes;
  }
}

TEST_F(BlendValues, SixteenBitAlphaTimesTheFullSixteenBitRangeIsExact) {
  // 65535 * 65535 does not fit 32 bits; its exact product >> 16 is 65534.
  const uint16_t one = 65535, zero = 0;
  std::memcpy(host(kS1), &one, 2);
  std::memcpy(host(kS2), &zero, 2);
  std::memcpy(host(kAlpha), &one, 2);
  run(sl_rect_blend16_16, 1);
  EXPECT_EQ(u16(host(kDst)), 65534u);
}

TEST_F(BlendValues, ANegativeDifferenceRoundsTowardMinusInfinity) {
  // 138 + floor(243 * -138 / 256) = 138 - 131 = 7 (truncation would give 8).
  *host(kS1) = 0, *host(kS2) = 138, *host(kAlpha) = 243;
  run(sl_rect_blend8_8, 1);
  EXPECT_EQ(*host(kDst), 7);
  // 1 + floor(1 * -1 / 65536) = 0.
  const uint16_t alpha = 1;
  *host(kS1) = 0, *host(kS2) = 1;
  std::memcpy(host(kAlpha), &alpha, 2);
  run(sl_rect_blend16_8, 1);
  EXPECT_EQ(*host(kDst), 0);
}

TEST_F(BlendValues, SixteenBitAlphaIsReadUnsigned) {
  // 0xFFFF is 65535, not -1: (65535 * 255) >> 16 = 254.
  *host(kS1) = 255, *host(kS2) = 0;
  host(kAlpha)[0] = host(kAlpha)[1] = 0xFF;
  run(sl_rect_blend16_8, 1);
  EXPECT_EQ(*host(kDst), 254);
  // Pixels too: 0xFFFF blended with 0 under alpha 0x8000 is 32767, not negative.
  const uint16_t pixel = 0xFFFF, zero = 0, half = 0x8000;
  std::memcpy(host(kS1), &pixel, 2);
  std::memcpy(host(kS2), &zero, 2);
  std::memcpy(host(kAlpha), &half, 2);
  run(sl_rect_blend16_16, 1);
  EXPECT_EQ(u16(host(kDst)), 32767u);
}

// Word streams: the images lie away from page ends, 8-aligned, in separate pages.
class BlendWords : public ::testing::Test {
 protected:
  AliasedBuffer buffer{8};
  uint32_t page = buffer.alias();
  uint32_t s1 = page + 0x100, s2 = page + 0x1100, alpha = page + 0x2100, dst = page + 0x3100;
  TraceCapture trace;
};

// The words of one remainder of n pixels in blend16_8 (0 < n < 32 or a whole chunk).
Words blend16_8_words(uint32_t n) {
  const auto mem = [&](uint32_t word) { return (word & 0xF07FFFFFu) | ((n - 1) << 23); };
  const auto q = [](uint32_t word, uint32_t count) {
    return (word & 0xF0FFFFFFu) | ((count - 1) << 24);
  };
  Words w{mem(0x8FD60500), mem(0x8FD01500), mem(0x8FD02500)};
  const uint32_t first = std::min(n, 16u);
  for (const auto& [lo, hi] : {std::pair{0xAF8A954Au, 0xAF8E9D5Au},
                               {0x3F02952Au, 0x3F069D3Au},
                               {0xAF12952Au, 0xAF169D3Au}}) {
    w.push_back(q(lo, first));
    if (n > 16) w.push_back(q(hi, n - 16));
  }
  w.push_back(mem(0x8F901500));
  return w;
}

TEST_F(BlendWords, Blend16_8TakesTheFourRemainderFormsWordForWord) {
  // The documented words of a chunk and of the remainders of 16 and of 1.
  ASSERT_EQ(blend16_8_words(32),
            (Words{0x8FD60500, 0x8FD01500, 0x8FD02500, 0xAF8A954A, 0xAF8E9D5A, 0x3F02952A,
                   0x3F069D3A, 0xAF12952A, 0xAF169D3A, 0x8F901500}));
  ASSERT_EQ(blend16_8_words(16), (Words{0x87D60500, 0x87D01500, 0x87D02500, 0xAF8A954A,
                                        0x3F02952A, 0xAF12952A, 0x87901500}));
  ASSERT_EQ(blend16_8_words(1), (Words{0x80560500, 0x80501500, 0x80502500, 0xA08A954A,
                                       0x3002952A, 0xA012952A, 0x80101500}));
  ASSERT_EQ(blend16_8_words(17)[4], 0xA08E9D5Au);
  const std::pair<int32_t, std::vector<uint32_t>> cases[] = {
      {31, {31}}, {32, {32}}, {33, {32, 1}}, {16, {16}}, {17, {17}}, {1, {1}}};
  for (const auto& [width, pieces] : cases) {
    trace.clear();
    sl_rect_blend16_8(dst, 64, width, 1, s1, 64, s2, 64, alpha, 64);
    Words expected;
    for (uint32_t n : pieces) {
      const Words w = blend16_8_words(n);
      expected.insert(expected.end(), w.begin(), w.end());
    }
    EXPECT_EQ(trace.words(), expected) << "width " << width;
  }
}

TEST_F(BlendWords, TheRemainderStartsAfterTheChunksAtEachImagesOwnElementSize) {
  sl_rect_blend16_8(dst, 64, 33, 1, s1, 64, s2, 64, alpha, 64);
  const auto stores = trace.memory();
  ASSERT_EQ(stores.size(), 8u);
  EXPECT_EQ(stores[4], Issued(alpha + 64, 0x80560500));
  EXPECT_EQ(stores[5], Issued(s1 + 32, 0x80501500));
  EXPECT_EQ(stores[6], Issued(s2 + 32, 0x80502500));
  EXPECT_EQ(stores[7], Issued(dst + 32, 0x80101500));
}

TEST_F(BlendWords, Blend16_8RoundsItsAlphaStrideDownToAMultipleOfTwo) {
  for (const auto& [stride, rounded] : {std::pair{129, 128}, {-127, -128}}) {
    trace.clear();
    const uint32_t a = alpha + 0x400;
    sl_rect_blend16_8(dst + 0x400, 64, 4, 2, s1 + 0x400, 64, s2 + 0x400, 64, a, stride);
    // Four memory words a row; the second row's first is its alpha load.
    const auto stores = trace.memory();
    ASSERT_EQ(stores.size(), 8u);
    EXPECT_EQ(stores[4].first, (a + uint32_t(rounded)) & ~7u) << stride;
    EXPECT_EQ(stores[4].second & 7, (a + uint32_t(rounded)) & 7) << stride;
  }
  // The other members keep theirs: an odd stride is a byte stride.
  trace.clear();
  sl_rect_blend8_8(dst, 64, 4, 2, s1, 64, s2, 64, alpha, 129);
  EXPECT_EQ(trace.memory()[4], Issued(alpha + 128, 0x81D00501));
}

// The words of a blend32_32 step of m pixels: 4m elements in words of at most 16.
Words blend32_32_words(uint32_t m) {
  const auto mem = [&](uint32_t word) { return (word & 0xF07FFFFFu) | ((m - 1) << 23); };
  const auto q = [](uint32_t word, uint32_t count) {
    return (word & 0xF0FFFFFFu) | ((count - 1) << 24);
  };
  Words w{mem(0x83D20500), mem(0x83D21500), mem(0x83D02500)};
  for (uint32_t scatter : {0xE752A904u, 0xE752A984u, 0xE752AA04u, 0xE752AA84u})
    w.push_back(q(scatter, m));
  for (const auto& [lo, hi] : {std::pair{0xAF82852Au, 0xAF868D3Au},
                               {0x1F14850Au, 0x1F188D1Au},
                               {0xAF0A850Au, 0xAF0E8D1Au}}) {
    w.push_back(q(lo, std::min(4 * m, 16u)));
    if (m > 4) w.push_back(q(hi, 4 * m - 16));
  }
  w.push_back(mem(0x839A0500));
  return w;
}

TEST_F(BlendWords, Blend32_32StepsOfMPixelsCountMScattersAnd4MElements) {
  ASSERT_EQ(blend32_32_words(8),
            (Words{0x83D20500, 0x83D21500, 0x83D02500, 0xE752A904, 0xE752A984, 0xE752AA04,
                   0xE752AA84, 0xAF82852A, 0xAF868D3A, 0x1F14850A, 0x1F188D1A, 0xAF0A850A,
                   0xAF0E8D1A, 0x839A0500}));
  for (uint32_t m = 1; m <= 8; ++m) {
    trace.clear();
    sl_rect_blend32_32(dst, 64, int32_t(m), 1, s1, 64, s2, 64, alpha, 64);
    EXPECT_EQ(trace.words(), blend32_32_words(m)) << m << " pixels";
  }
  // 13 pixels: a step of 8 and one of 5, the alpha bytes 8 on.
  trace.clear();
  sl_rect_blend32_32(dst, 64, 13, 1, s1, 64, s2, 64, alpha, 64);
  const auto stores = trace.memory();
  ASSERT_EQ(stores.size(), 8u);
  EXPECT_EQ(stores[4], Issued(s1 + 32, 0x82520500));
  EXPECT_EQ(stores[6], Issued(alpha + 8, 0x82502500));
  EXPECT_EQ(stores[7], Issued(dst + 32, 0x821A0500));
}

TEST_F(BlendWords, RunsCrossingAPageSplitByTheirOwnElementSize) {
  // 16-bit alpha at 0xFC2: 31 elements, then 1 into r41 (flags 0x21).
  sl_rect_blend16_8(dst, 64, 32, 1, s1, 64, s2, 64, page + 0x4FC2, 64);
  auto stores = trace.memory();
  ASSERT_GE(stores.size(), 2u);
  EXPECT_EQ(stores[0], Issued(page + 0x4FC0, 0x8F560502));
  EXPECT_EQ(stores[1], Issued(page + 0x5000, 0x80561480));
  // Four-channel pixels at 0xFF8: 2 pixels, then 6 from r18 (flags 0x2A); alpha bytes at
  // 0xFFC: 4, then 4 into r78 (flags 0x20); the store of pixels at 0xFF8 as the load.
  trace.clear();
  sl_rect_blend32_32(page + 0x6FF8, 64, 8, 1, page + 0x4FF8, 64, s2, 64, page + 0x5FFC, 64);
  stores = trace.memory();
  EXPECT_EQ(stores, (std::vector<Issued>{{page + 0x4FF8, 0x80D20500},
                                         {page + 0x5000, 0x82D20900},
                                         {s2, 0x83D21500},
                                         {page + 0x5FF8, 0x81D02504},
                                         {page + 0x6000, 0x81D02700},
                                         {page + 0x6FF8, 0x809A0500},
                                         {page + 0x7000, 0x829A0900}}));
}

TEST_F(BlendWords, EmptyRectanglesIssueNothing) {
  sl_rect_blend16_8(dst, 64, 0, 3, s1, 64, s2, 64, alpha, 64);
  sl_rect_blend32_32(dst, 64, 4, 0, s1, 64, s2, 64, alpha, 64);
  EXPECT_TRUE(trace.lines().empty());
}

}  // namespace
