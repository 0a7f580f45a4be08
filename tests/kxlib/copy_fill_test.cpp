// Copy, fill and span kernels on the processor model: every kernel against a plain
// reference over widths around its chunk sizes, alignments and rows across pages, with the
// bytes around each rectangle left alone; then the word streams of the edge cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <tuple>

#include "kx_test_support.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

using kxtest::AliasedBuffer;
using kxtest::TraceCapture;
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint32_t>;

namespace {

constexpr int32_t kStride = 1000;  // rows start at every alignment and cross pages
constexpr int32_t kRows = 5;
constexpr size_t kPages = 4;
constexpr uint32_t kOffsets[] = {0, 1, 2, 3, 0xFF9};  // the last puts short runs across a page

uint8_t rop(uint32_t code, uint8_t a, uint8_t b) {  // a: the source or the foreground
  uint8_t out = 0;
  for (int bit = 0; bit < 8; ++bit)
    out |= uint8_t(((code >> (2 * ((a >> bit) & 1) + ((b >> bit) & 1))) & 1) << bit);
  return out;
}

std::mt19937 random_bytes{7};
void randomize(AliasedBuffer& buffer) {
  for (size_t i = 0; i < buffer.size(); ++i) buffer.host()[i] = uint8_t(random_bytes());
}

::testing::AssertionResult same(const Bytes& expected, const uint8_t* actual) {
  const auto at = std::mismatch(expected.begin(), expected.end(), actual).first;
  if (at == expected.end()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "first difference at byte " << at - expected.begin();
}

class CopyFill : public ::testing::Test {
 protected:
  void SetUp() override {
    sl_ctx_planemask_set(0xFFFFFFFF);
    sl_ctx_rasterop_set(0xCC);
  }
  void TearDown() override { sl_ctx_rasterop_set(0xCC); }
};

// out: the destination row as it was, to become the expected row; in: the source row.
using RowRef = std::function<void(uint8_t* out, const uint8_t* in, uint32_t width)>;
using Copy = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t);
using Widths = std::vector<int32_t>;

RowRef bytes(uint32_t size, uint32_t code = 0xCC) {  // pixels of `size` bytes, combined
  return [=](uint8_t* out, const uint8_t* in, uint32_t width) {
    for (uint32_t i = 0; i < width * size; ++i) out[i] = rop(code, in[i], out[i]);
  };
}
RowRef strided(uint32_t size, uint32_t to, uint32_t from) {  // element i: in + i*from
  return [=](uint8_t* out, const uint8_t* in, uint32_t width) {
    for (uint32_t i = 0; i < width; ++i) std::memcpy(out + i * to, in + i * from, size);
  };
}
void widened(uint8_t* out, const uint8_t* in, uint32_t width) {  // bytes 1..3 to 16 bits
  for (uint32_t i = 0; i < 3 * width; ++i) {
    const uint16_t v = in[4 * (i / 3) + 1 + i % 3];
    std::memcpy(out + 2 * i, &v, 2);
  }
}

const Widths kByteWidths{0,  1,  3,  4,   5,   31,  32,  33,  35,  63, 64,
                         65, 67, 68, 100, 127, 128, 129, 131, 200, 300};
const Widths kWholeWidths{0, 1, 15, 16, 17, 31, 32, 33, 64, 65, 100};
const Widths kChannelWidths{0, 1, 9, 10, 11, 29, 30, 31, 33, 61, 100};

// Every destination and source offset (rounded to each side's alignment) and width.
void check_copy(const char* name, Copy kernel, uint32_t dst_align, uint32_t src_align,
                const Widths& widths, const RowRef& ref) {
  AliasedBuffer src(kPages), dst(kPages);
  for (uint32_t d_off : kOffsets) {
    for (uint32_t s_off : kOffsets) {
      const uint32_t d0 = d_off & ~(dst_align - 1), s0 = s_off & ~(src_align - 1);
      for (int32_t width : widths) {
        randomize(src), randomize(dst);
        Bytes expected(dst.host(), dst.host() + dst.size());
        kernel(dst.alias() + d0, kStride, width, kRows, src.alias() + s0, kStride);
        for (int32_t row = 0; row < kRows; ++row)
          ref(&expected[d0 + row * kStride], src.host() + s0 + row * kStride, width);
        ASSERT_TRUE(same(expected, dst.host()))
            << name << " dst +" << d0 << " src +" << s0 << " width " << width;
      }
    }
  }
}

#define CHECK_COPY(kernel, ...) check_copy(#kernel, kernel, __VA_ARGS__)

TEST_F(CopyFill, CopiesMoveEveryPixelForwardOrBackwardAndNothingElse) {
  CHECK_COPY(sl_rect_copyrl_8, 1, 1, kByteWidths, bytes(1));
  CHECK_COPY(sl_rect_copyrl_16, 2, 2, kWholeWidths, bytes(2));
  CHECK_COPY(sl_rect_copyrl_32, 4, 4, kWholeWidths, bytes(4));
  CHECK_COPY(sl_rect_fcopy_32, 4, 4, (Widths{0, 1, 32, 117, 118, 119, 236, 250}), bytes(4));
}

TEST_F(CopyFill, RasterOpCopiesCombineTheSourceWithTheDestination) {
  for (uint32_t code : {0x66u, 0x88u, 0xEEu, 0x11u}) {
    sl_ctx_rasterop_set(code);
    CHECK_COPY(sl_rect_copy_8_rop, 1, 1, kByteWidths, bytes(1, code));
    CHECK_COPY(sl_rect_copy_16_rop, 2, 2, kWholeWidths, bytes(2, code));
    CHECK_COPY(sl_rect_copy_32_rop, 4, 4, kWholeWidths, bytes(4, code));
    CHECK_COPY(sl_rect_copyrl_8_rop, 1, 1, kByteWidths, bytes(1, code));
    CHECK_COPY(sl_rect_copyrl_16_rop, 2, 2, kWholeWidths, bytes(2, code));
    CHECK_COPY(sl_rect_copyrl_32_rop, 4, 4, kWholeWidths, bytes(4, code));
  }
}

TEST_F(CopyFill, ChannelCopiesMoveOnlyTheirChannel) {
  // 32c addresses carry the channel in their low bits; 16-bit slots are 2-byte aligned.
  CHECK_COPY(sl_rect_copy_32c, 1, 1, kWholeWidths, strided(1, 4, 4));
  CHECK_COPY(sl_rect_copy_8_32c, 1, 1, kWholeWidths, strided(1, 4, 1));
  CHECK_COPY(sl_rect_copy_32c_8, 1, 1, kWholeWidths, strided(1, 1, 4));
  CHECK_COPY(sl_rect_copy_48c_16, 2, 2, kChannelWidths, strided(2, 2, 6));
  CHECK_COPY(sl_rect_copy_16_48c, 2, 2, kChannelWidths, strided(2, 6, 2));
  CHECK_COPY(sl_rect_convert_8_16_3, 2, 4, kChannelWidths, widened);
}

TEST_F(CopyFill, BackwardCopiesMoveAnAreaOntoAnOverlappingLaterOne) {
  AliasedBuffer image(kPages);
  for (auto [kernel, size, code] : {std::tuple{&sl_rect_copyrl_8, 1u, 0xCCu},
                                    {&sl_rect_copyrl_16, 2u, 0xCCu},
                                    {&sl_rect_copyrl_32, 4u, 0xCCu},
                                    {&sl_rect_copyrl_8_rop, 1u, 0x66u}}) {
    for (uint32_t shift : {1u, 3u, 4u, 8u, 68u, 1000u, 1004u}) {
      if (shift % size) continue;
      sl_ctx_rasterop_set(code);
      randomize(image);
      const Bytes before(image.host(), image.host() + image.size());
      Bytes expected = before;
      const uint32_t src = 0xF00, dst = src + shift, width = 150;
      kernel(image.alias() + dst, kStride, width, kRows, image.alias() + src, kStride);
      for (uint32_t row = 0; row < kRows; ++row) {
        for (uint32_t at = row * kStride; at < row * kStride + width * size; ++at)
          expected[dst + at] = rop(code, before[src + at], before[dst + at]);
      }
      ASSERT_TRUE(same(expected, image.host())) << "size " << size << " shift " << shift;
    }
  }
}

TEST_F(CopyFill, ChannelCopiesStopAtTheLastPixelOfARowThatEndsItsBuffer) {
  // A slot past the last pixel's channel lies in an unmapped page: touching it faults.
  for (uint32_t channel : {0u, 1u, 2u}) {
    for (int32_t width : {10, 11, 30, 40}) {
      AliasedBuffer wide(1), narrow(1);
      const uint32_t at = 4096 - 6 * uint32_t(width) + 2 * channel;
      randomize(wide), randomize(narrow);
      sl_rect_copy_48c_16(narrow.alias(), 0, width, 1, wide.alias() + at, 0);
      for (int32_t i = 0; i < width; ++i)
        EXPECT_EQ(0, std::memcmp(narrow.host() + 2 * i, wide.host() + at + 6 * i, 2));
      sl_rect_copy_16_48c(wide.alias() + at, 0, width, 1, narrow.alias() + 100, 0);
      for (int32_t i = 0; i < width; ++i)
        EXPECT_EQ(0, std::memcmp(wide.host() + at + 6 * i, narrow.host() + 100 + 2 * i, 2));
    }
  }
}

// ---- Fills

constexpr uint32_t kForeground = 0xA5C3A5C3;  // a 16-bit fill takes its value in both halves

// The byte of the foreground a solid fill of `size`-byte pixels writes at address a.
uint8_t foreground_byte(uint32_t size, uint32_t a) {
  const uint16_t half = uint16_t(kForeground);
  return size == 2 ? reinterpret_cast<const uint8_t*>(&half)[a & 1]
                   : uint8_t(kForeground >> (24 - 8 * (a & 3)));
}

struct FillCase {
  void (*rect)(uint32_t, int32_t, int32_t, int32_t);
  void (*span)(uint32_t, int32_t);
  uint32_t size;     // bytes per pixel, also their alignment
  uint32_t written;  // bytes of a pixel the fill writes (a channel: 1, at any offset)
};

void check_fill(const FillCase& c, uint32_t code) {
  AliasedBuffer dst(kPages);
  sl_ctx_foreground_set(kForeground);
  for (uint32_t off : {0u, 1u, 2u, 3u, 0xF85u, 0xFFBu}) {
    const uint32_t d0 = c.written == 1 ? off : off & ~(c.size - 1);
    for (int32_t width : {0, 1, 3, 5, 16, 31, 32, 33, 37, 64, 65, 100, 250}) {
      for (int32_t rows : {kRows, 0}) {  // 0: the span fill
        randomize(dst);
        Bytes expected(dst.host(), dst.host() + dst.size());
        if (rows)
          c.rect(dst.alias() + d0, kStride, width, rows);
        else
          c.span(dst.alias() + d0, width);
        for (uint32_t row = 0; row < uint32_t(std::max(rows, 1)); ++row) {
          for (uint32_t i = 0; i < uint32_t(width) * c.size; i += c.size) {
            for (uint32_t k = 0, at = d0 + row * kStride + i; k < c.written; ++k, ++at)
              expected[at] = rop(code, foreground_byte(c.size, at), expected[at]);
          }
        }
        ASSERT_TRUE(same(expected, dst.host()))
            << c.size << (rows ? " rect +" : " span +") << d0 << " width " << width;
      }
    }
  }
}

TEST_F(CopyFill, FillsCombineTheForegroundWithEveryPixelOfTheArea) {
  check_fill((FillCase{sl_rect_fill_8, sl_span_fill_8, 1, 1}), 0xCC);
  check_fill((FillCase{sl_rect_fill_16, sl_span_fill_16, 2, 2}), 0xCC);
  check_fill((FillCase{sl_rect_fill_32, sl_span_fill_32, 4, 4}), 0xCC);
  check_fill((FillCase{sl_rect_fill_32c, sl_span_fill_32c, 4, 1}), 0xCC);
  for (uint32_t code : {0xCCu, 0x66u, 0x88u, 0xEEu, 0x11u}) {  // 0xCC: as the solid fill
    sl_ctx_rasterop_set(code);
    check_fill((FillCase{sl_rect_fill_8_rop, sl_span_fill_8_rop, 1, 1}), code);
    check_fill((FillCase{sl_rect_fill_16_rop, sl_span_fill_16_rop, 2, 2}), code);
    check_fill((FillCase{sl_rect_fill_32_rop, sl_span_fill_32_rop, 4, 4}), code);
    check_fill((FillCase{sl_rect_fill_32c_rop, sl_span_fill_32c_rop, 4, 1}), code);
  }
}

TEST_F(CopyFill, BitmapFillsChangeExactlyTheRectanglesBitsAndLeaveTheMaskClear) {
  AliasedBuffer bitmap(kPages);
  for (auto [kernel, code, foreground] : {std::tuple{&sl_rect_fill_1, 0xCCu, 0xFFFFFFFFu},
                                          {&sl_rect_fill_1, 0xCCu, 0x5A0FF0A5u},
                                          {&sl_rect_fill_1_rop, 0x66u, 0xFFFFFFFFu},
                                          {&sl_rect_fill_1_rop, 0x88u, 0x5A0FF0A5u},
                                          {&sl_rect_fill_1_rop, 0xEEu, 0x5A0FF0A5u},
                                          {&sl_rect_fill_1_rop, 0x11u, 0x0u}}) {
    sl_ctx_rasterop_set(code);
    sl_ctx_foreground_set(foreground);
    for (uint32_t word : {0u, 4u, 0xF80u}) {
      for (uint32_t x : {0u, 1u, 4u, 31u, 32u, 45u}) {
        for (uint32_t width : {0u, 1u, 3u, 27u, 28u, 29u, 32u, 40u, 64u, 100u, 1100u}) {
          randomize(bitmap);
          Bytes expected(bitmap.host(), bitmap.host() + bitmap.size());
          kernel(bitmap.alias() + word, int32_t(x), kStride, int32_t(width), kRows);
          for (uint32_t row = 0; row < kRows; ++row) {
            for (uint32_t p = x; p < x + width; ++p) {  // pixel p: bit 7 - p % 8 of byte p / 8
              uint8_t& byte = expected[word + row * kStride + p / 8];
              const uint8_t bit = uint8_t(0x80 >> (p % 8));
              const uint8_t fg = (foreground >> (31 - p % 32)) & 1 ? 0xFF : 0;
              byte = uint8_t((byte & ~bit) | (rop(code, fg, byte) & bit));
            }
          }
          ASSERT_TRUE(same(expected, bitmap.host()))
              << "rop " << code << " +" << word << " x " << x << " width " << width;
          ASSERT_EQ(kxm::fill_mask(), 0u);
        }
      }
    }
  }
}

// ---- Word streams

class CopyFillWords : public CopyFill {
 protected:
  AliasedBuffer buffer{4};
  uint32_t a = buffer.alias() + 0x100, b = buffer.alias() + 0x1100;
  TraceCapture trace;
  void SetUp() override {
    CopyFill::SetUp();
    sl_ctx_foreground_set(0x11223344);
    trace.clear();
  }
};

TEST_F(CopyFillWords, ByteCopyOf31IsOneRunAnd32AtOffsetOneAlignsItsDestinationFirst) {
  sl_rect_copy_8(b, 0, 31, 1, a, 0);
  EXPECT_EQ(trace.words(), (Words{0x8F500500, 0x8F080500}));
  trace.clear();
  sl_rect_copy_8(b + 1, 0, 32, 1, a + 1, 0);  // equal alignment: 3 bytes, 7 words, 1 byte
  EXPECT_EQ(trace.words(),
            (Words{0x81500501, 0x81080501, 0x8356C504, 0x830EC504, 0x80500500, 0x80080500}));
  trace.clear();
  sl_rect_copy_8(b + 1, 0, 32, 1, a, 0);  // 3 bytes, 8 words realigned into 7, 1 byte
  EXPECT_EQ(trace.words(), (Words{0x81500500, 0x81080501, 0x83D6C500, 0xC7E28518, 0x830EC504,
                                  0x80500507, 0x80080500}));
}

TEST_F(CopyFillWords, RightToLeftWordCopyOfOneRowStartsAtItsRightEnd) {
  sl_rect_copyrl_32(b, 0, 40, 1, a, 0);
  EXPECT_EQ(trace.memory(),
            (std::vector<std::pair<uint32_t, uint32_t>>{
                {a + 32, 0x8FD6C500}, {b + 32, 0x8F8EC500}, {a, 0x83D6C500}, {b, 0x838EC500}}));
}

TEST_F(CopyFillWords, SpanFillOf33IsAFullFillAndOneOfOne) {
  sl_span_fill_32(a, 33);
  EXPECT_EQ(trace.words(), (Words{0xB1E00509, 0x8FCEC500, 0x804EC500}));
}

TEST_F(CopyFillWords, ChannelFillAcrossAPageKeepsItsChannel) {
  sl_span_fill_32c(buffer.alias() + 0xF85, 32);
  EXPECT_EQ(trace.memory().back(), std::pair(buffer.alias() + 0x1000, 0x804C0501u));
  EXPECT_EQ(buffer.host()[0x1001], 0x22);
  EXPECT_EQ(buffer.host()[0x1000], 0);
}

TEST_F(CopyFillWords, BitmapEdgeWithinOneWordLoadsItsMaskAndClearsItAfter) {
  sl_ctx_foreground_set(0xFFFFFFFF);
  trace.clear();
  sl_rect_fill_1(a, 4, 0, 3, 1);
  char fill[40];
  std::snprintf(fill, sizeof fill, "mem 0x%08x 0x804ec500", a);
  EXPECT_EQ(trace.lines(),
            (std::vector<std::string>{"queue 0xb1e00509", "ctx 0x00000000 0x0e000000", fill,
                                      "ctx 0x00000000 0x00000000"}));
  EXPECT_EQ(buffer.host()[0x100], 0x0E);
  EXPECT_EQ(buffer.host()[0x101], 0);
}

TEST_F(CopyFillWords, BitmapOfFortyBitsIsOneMiddleWordAndARightEdge) {
  sl_rect_fill_1(a, 0, 0, 40, 1);
  EXPECT_EQ(trace.words(), (Words{0xB1E00509, 0x8046C500, 0x804EC504}));
  EXPECT_EQ(trace.lines()[2], "ctx 0x00000000 0xff000000");
  EXPECT_EQ(trace.lines().back(), "ctx 0x00000000 0x00000000");
}

}  // namespace
