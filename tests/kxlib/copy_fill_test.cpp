// Copy, fill and span kernels on the processor model: every kernel against a plain
// reference over widths around its chunk sizes, alignments and rows across pages, with the
// bytes around each rectangle left alone; then the word streams of the edge cases.
#include <gtest/gtest.h>

#include <tuple>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;

namespace {

class CopyFill : public ::testing::Test {
 protected:
  void SetUp() override {
    sl_ctx_planemask_set(0xFFFFFFFF);
    sl_ctx_rasterop_set(0xCC);
  }
  void TearDown() override { sl_ctx_rasterop_set(0xCC); }
};

Reference combined(uint32_t bytes, uint32_t code = 0xCC) {  // the source with the destination
  return [=](const Pixel& p) {
    for (uint32_t i = 0; i < bytes; ++i) p.out[i] = uint8_t(rop(code, p.in1[i], p.out[i]));
  };
}
Reference copied(uint32_t bytes) {  // the first `bytes` of the source pixel
  return [=](const Pixel& p) { std::memcpy(p.out, p.in1, bytes); };
}
void widened(const Pixel& p) {  // bytes 1..3 to 16 bits
  for (int i = 0; i < 3; ++i) {
    const uint16_t v = p.in1[1 + i];
    std::memcpy(p.out + 2 * i, &v, 2);
  }
}

const Widths kByteWidths{0,  1,  3,  4,   5,   31,  32,  33,  35,  63, 64,
                         65, 67, 68, 100, 127, 128, 129, 131, 200, 300};
const Widths kWholeWidths{0, 1, 15, 16, 17, 31, 32, 33, 64, 65, 100};
const Widths kChannelWidths{0, 1, 9, 10, 11, 29, 30, 31, 33, 61, 100};

// Destination and source at every pair of alignments.
#define COPY(kernel, ...) check(#kernel, one_source(kernel), __VA_ARGS__, Places::apart)

TEST_F(CopyFill, CopiesMoveEveryPixelForwardOrBackwardAndNothingElse) {
  COPY(sl_rect_copy_8, {1}, {1}, kByteWidths, combined(1));
  COPY(sl_rect_copy_16, {2}, {2}, kWholeWidths, combined(2));
  COPY(sl_rect_copy_32, {4}, {4}, kWholeWidths, combined(4));
  COPY(sl_rect_copyrl_8, {1}, {1}, kByteWidths, combined(1));
  COPY(sl_rect_copyrl_16, {2}, {2}, kWholeWidths, combined(2));
  COPY(sl_rect_copyrl_32, {4}, {4}, kWholeWidths, combined(4));
  COPY(sl_rect_fcopy_32, {4}, {4}, Widths{0, 1, 32, 117, 118, 119, 236, 250}, combined(4));
}

TEST_F(CopyFill, RasterOpCopiesCombineTheSourceWithTheDestination) {
  for (uint32_t code : {0x66u, 0x88u, 0xEEu, 0x11u}) {
    sl_ctx_rasterop_set(code);
    COPY(sl_rect_copy_8_rop, {1}, {1}, kByteWidths, combined(1, code));
    COPY(sl_rect_copy_16_rop, {2}, {2}, kWholeWidths, combined(2, code));
    COPY(sl_rect_copy_32_rop, {4}, {4}, kWholeWidths, combined(4, code));
    COPY(sl_rect_copyrl_8_rop, {1}, {1}, kByteWidths, combined(1, code));
    COPY(sl_rect_copyrl_16_rop, {2}, {2}, kWholeWidths, combined(2, code));
    COPY(sl_rect_copyrl_32_rop, {4}, {4}, kWholeWidths, combined(4, code));
  }
}

TEST_F(CopyFill, ChannelCopiesMoveOnlyTheirChannel) {
  // 32c addresses carry the channel in their low bits; 16-bit slots are 2-byte aligned.
  COPY(sl_rect_copy_32c, {4, 1}, {4, 1}, kWholeWidths, copied(1));
  COPY(sl_rect_copy_8_32c, {4, 1}, {1}, kWholeWidths, copied(1));
  COPY(sl_rect_copy_32c_8, {1}, {4, 1}, kWholeWidths, copied(1));
  COPY(sl_rect_copy_48c_16, {2}, {6, 2}, kChannelWidths, copied(2));
  COPY(sl_rect_copy_16_48c, {6, 2}, {2}, kChannelWidths, copied(2));
  COPY(sl_rect_convert_8_16_3, {6, 2}, {4}, kChannelWidths, widened);
}

TEST_F(CopyFill, BackwardCopiesMoveAnAreaOntoAnOverlappingLaterOne) {
  AliasedBuffer image(4);
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
          expected[dst + at] = uint8_t(rop(code, before[src + at], before[dst + at]));
      }
      ASSERT_TRUE(same(expected, image.host())) << "size " << size << " shift " << shift;
    }
  }
}

TEST_F(CopyFill, CopiesNeverTouchABytePastTheLastPixelOfARowThatEndsItsBuffer) {
  // The page after each buffer is unmapped: touching it faults.
  for (uint32_t from = 0; from < 4; ++from) {
    for (int32_t width : {37, 66, 67, 130}) {
      AliasedBuffer src(1), dst(1);
      randomize(src);
      const uint32_t start = 4096 - uint32_t(width) + from;
      sl_rect_copy_8(dst.alias() + 1 + from, 0, width - int32_t(from), 1, src.alias() + start,
                     0);
      EXPECT_TRUE(std::equal(src.host() + start, src.host() + 4096, dst.host() + 1 + from));
    }
  }
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

// The byte of the foreground a solid fill of `size`-byte pixels writes at offset a.
uint8_t foreground_byte(uint32_t size, uint32_t a) {
  const uint16_t half = uint16_t(kForeground);
  return size == 2 ? reinterpret_cast<const uint8_t*>(&half)[a & 1]
                   : uint8_t(kForeground >> (24 - 8 * (a & 3)));
}

// A rectangle fill and, row by row, its span fill; `written` bytes of each `size`-byte pixel
// (a channel: 1, at any offset).
void check_fill(const char* name, void (*rect)(uint32_t, int32_t, int32_t, int32_t),
                void (*span)(uint32_t, int32_t), uint32_t size, uint32_t written,
                uint32_t code) {
  sl_ctx_foreground_set(kForeground);
  const Side side{size, written == 1 ? 1 : size};
  const Widths widths{0, 1, 3, 5, 16, 31, 32, 33, 37, 64, 65, 100, 250};
  const auto ref = [=](const Pixel& p) {
    for (uint32_t k = 0; k < written; ++k)
      p.out[k] = uint8_t(rop(code, foreground_byte(size, p.at + k), p.out[k]));
  };
  check(
      name, [=](uint32_t d, uint32_t, uint32_t, int32_t w) { rect(d, kStride, w, kRows); },
      side, side, widths, ref);
  const auto spans = [=](uint32_t d, uint32_t, uint32_t, int32_t w) {
    for (int32_t row = 0; row < kRows; ++row) span(d + uint32_t(row * kStride), w);
  };
  check(name, spans, side, side, widths, ref);
}

#define FILL(name, ...) check_fill(#name, sl_rect_##name, sl_span_##name, __VA_ARGS__)

TEST_F(CopyFill, FillsCombineTheForegroundWithEveryPixelOfTheArea) {
  FILL(fill_8, 1, 1, 0xCC);
  FILL(fill_16, 2, 2, 0xCC);
  FILL(fill_32, 4, 4, 0xCC);
  FILL(fill_32c, 4, 1, 0xCC);
  for (uint32_t code : {0xCCu, 0x66u, 0x88u, 0xEEu, 0x11u}) {  // 0xCC: as the solid fill
    sl_ctx_rasterop_set(code);
    FILL(fill_8_rop, 1, 1, code);
    FILL(fill_16_rop, 2, 2, code);
    FILL(fill_32_rop, 4, 4, code);
    FILL(fill_32c_rop, 4, 1, code);
  }
}

TEST_F(CopyFill, BitmapFillsChangeExactlyTheRectanglesBitsAndLeaveTheMaskClear) {
  AliasedBuffer bitmap(4);
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

}  // namespace
