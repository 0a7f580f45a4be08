// Extrema, threshold-map and transform kernels on the processor model: results against plain
// references over shapes whose rows cross pages (the bytes around each rectangle left
// alone), and word streams where the sequence itself is what can go wrong.
#include <gtest/gtest.h>

#include <cmath>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;
using Lines = std::vector<std::string>;

namespace {

const Widths kWidths{1, 2, 5, 7, 8, 9, 10, 16, 17, 31, 32, 33, 70};

// ---- Extrema ----

using ExtremaKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, float*, float*);

// Elements near `middle`; per channel k one `low + k` and one `high - k` at the first, the
// last or random pixels, so that a missed pixel or channels mixed change the answer.
void check_extrema(ExtremaKernel kernel, int channels, int bytes, float start_min,
                   float start_max, int64_t middle, int64_t low, int64_t high) {
  const int pixel_bytes = channels * bytes;
  std::set<uint32_t> offsets;
  for (uint32_t offset : kOffsets) offsets.insert(offset & ~uint32_t(pixel_bytes - 1));
  AliasedBuffer image(3);
  std::mt19937 random(5);
  for (uint32_t offset : offsets) {
    for (int32_t width : kWidths) {
      const int pixels = width * kRows;
      const auto at = [&](int p, int k) {
        return image.host() + offset + (p / width) * kStride + (p % width) * pixel_bytes +
               k * bytes;
      };
      for (int trial = 0; trial < 3; ++trial) {
        for (int p = 0; p < pixels * channels; ++p) {
          put(at(p / channels, p % channels), bytes, middle + int(random() % 21) - 10);
        }
        for (int k = 0; k < channels; ++k) {
          const int lowest = trial == 0 ? pixels - 1 : trial == 1 ? 0 : int(random() % pixels);
          put(at(lowest, k), bytes, low + k);
          put(at(trial == 0 ? 0 : (lowest + 1 + int(random() % (pixels - 1))) % pixels, k),
              bytes, high - k);
        }
        float min[4] = {start_min, start_min, start_min, start_min};
        float max[4] = {start_max, start_max, start_max, start_max};
        kernel(image.alias() + offset, kStride, width, kRows, min, max);
        for (int k = 0; k < channels; ++k) {
          ASSERT_EQ(min[k], float(low + k)) << "offset " << offset << " width " << width;
          ASSERT_EQ(max[k], float(high - k)) << "offset " << offset << " width " << width;
        }
      }
    }
  }
}

TEST(Extrema, EveryShapeFindsTheSmallestAndLargestPixelOfEachChannel) {
  check_extrema(sl_rect_extrema_8, 1, 1, 255, 0, 120, 7, 240);
  check_extrema(sl_rect_extrema_16, 1, 2, 32767, -32768, 0, -30000, 30000);
  check_extrema(sl_rect_extrema_32, 4, 1, 255, 0, 120, 7, 240);
}

Words extrema8_words(int32_t width, int32_t height) {
  AliasedBuffer image(1);
  float min = 255, max = 0;
  TraceCapture trace;
  sl_rect_extrema_8(image.alias() + 0x100, 256, width, height, &min, &max);
  return trace.words();
}

TEST(Extrema, LanesReduceToOneAndAWidthOfSeventeenMergesASixteenAndAOnePixelBlockPerRow) {
  EXPECT_EQ(extrema8_words(5, 3),  // five lanes to three to two to one
            (Words{0x82500E00, 0xB4C01E1C, 0x82500600, 0xD4030E1C, 0xD4831E3C, 0x82500600,
                   0xD4030E1C, 0xD4831E3C, 0xD1070F1E, 0xD18F1F3E, 0xD0078F9F, 0xD08F9FBF,
                   0xD007D020, 0xD08FE040, 0xD0028520, 0xD082C5C0}));
  EXPECT_EQ(extrema8_words(17, 2),
            (Words{0x87D00E00, 0xBFC01E1C, 0x80500600, 0xD0030E1C, 0xD0831E3C, 0x87D00600,
                   0xDF030E1C, 0xDF831E3C, 0x80500600, 0xD0030E1C, 0xD0831E3C, 0xD7071624,
                   0xD78F2644, 0xD30B1A30, 0xD3932A50, 0xD10D1C36, 0xD1952C56, 0xD00E1D39,
                   0xD0962D59, 0xD002853A, 0xD082C5DA}));
}

TEST(Extrema, RunningValuesEnterTruncatedAndSaturatedAndComeBackAsFloats) {
  AliasedBuffer image(1);
  std::fill_n(image.host(), 16, 50);
  float min = 3.7f, max = -1e20f;
  TraceCapture trace;
  sl_rect_extrema_8(image.alias(), 16, 16, 1, &min, &max);
  EXPECT_EQ(trace.lines()[0], "reg 10 0x00000003");
  EXPECT_EQ(trace.lines()[1], "reg 11 0x80000000");
  EXPECT_EQ(min, 3.0f);
  EXPECT_EQ(max, 50.0f);
  min = std::nanf("");
  sl_rect_extrema_8(image.alias(), 16, 16, 1, &min, &max);
  EXPECT_EQ(min, 0.0f) << "NaN enters as 0";
}

TEST(Extrema, SixteenBitPixelsAreSigned) {
  AliasedBuffer image(1);
  const uint16_t pixels[3] = {0xFFFE, 0x7FFF, 0x8000};
  std::memcpy(image.host(), pixels, sizeof pixels);
  float min = 32767, max = -32768;
  sl_rect_extrema_16(image.alias(), 6, 3, 1, &min, &max);
  EXPECT_EQ(min, -32768.0f);
  EXPECT_EQ(max, 32767.0f);
}

TEST(Extrema, AnEmptyRectangleIssuesNothingAndLeavesTheRunningValues) {
  AliasedBuffer image(1);
  float min[4] = {1.5f, 2, 3, 4}, max[4] = {5.5f, 6, 7, 8};
  TraceCapture trace;
  sl_rect_extrema_8(image.alias(), 16, 0, 3, min, max);
  sl_rect_extrema_32(image.alias(), 16, 3, 0, min, max);
  EXPECT_TRUE(trace.lines().empty());
  EXPECT_EQ(min[0], 1.5f);
  EXPECT_EQ(max[0], 5.5f);
}

// ---- Threshold maps ----

using ThresholdKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t,
                                 const float*, const float*, const float*);

// One row of `pixels` through the kernel; the values written.
std::vector<int64_t> threshold(ThresholdKernel kernel, int bytes,
                               const std::vector<int64_t>& pixels, float low, float high,
                               float map) {
  AliasedBuffer src(1), dst(1);
  for (size_t i = 0; i < pixels.size(); ++i) put(src.host() + i * bytes, bytes, pixels[i]);
  kernel(dst.alias(), 0, int32_t(pixels.size()), 1, src.alias(), 0, &low, &high, &map);
  std::vector<int64_t> out;
  for (size_t i = 0; i < pixels.size(); ++i) out.push_back(get(dst.host() + i * bytes, bytes));
  return out;
}

// The pixels a band maps: those whose result follows the map value.
std::vector<int64_t> band(ThresholdKernel kernel, int bytes, const std::vector<int64_t>& pixels,
                          float low, float high) {
  const auto one = threshold(kernel, bytes, pixels, low, high, 1);
  const auto two = threshold(kernel, bytes, pixels, low, high, 2);
  std::vector<int64_t> mapped;
  for (size_t i = 0; i < pixels.size(); ++i) {
    if (one[i] != two[i]) mapped.push_back(pixels[i]);
  }
  return mapped;
}

std::vector<int64_t> range(int64_t first, int64_t last) {
  std::vector<int64_t> v;
  for (int64_t p = first; p <= last; ++p) v.push_back(p);
  return v;
}

TEST(Threshold, TheBandIsTheThresholdsPlusPointNineNineNineTruncated) {
  const auto band8 = [](float low, float high) {
    return band(sl_rect_mapthresh_8, 1, range(0, 255), low, high);
  };
  EXPECT_EQ(band8(10.0f, 20.0f), range(10, 20));
  EXPECT_EQ(band8(10.2f, 20.0f), range(11, 20));
  EXPECT_EQ(band8(10.0f, 20.5f), range(10, 21));
  EXPECT_EQ(band8(-5.0f, 300.0f), range(0, 255));
  EXPECT_EQ(band8(-1.5f, 0.0f), range(0, 0));
  EXPECT_EQ(band8(254.5f, 255.0f), range(255, 255));
  EXPECT_EQ(band8(20.0f, 10.0f), range(0, -1));

  const std::vector<int64_t> edges = {-32768, -32767, -50, -49, 200, 201, 32767};
  const auto band16 = [&](float low, float high) {
    return band(sl_rect_mapthresh_16, 2, edges, low, high);
  };
  EXPECT_EQ(band16(-50.0f, 200.0f), (std::vector<int64_t>{-49, 200}));
  EXPECT_EQ(band16(-32768.0f, 32767.0f), std::vector<int64_t>(edges.begin() + 1, edges.end()))
      << "a low bound of -32768 means -32767";
  EXPECT_EQ(band16(-1e30f, 1e30f), edges);
}

TEST(Threshold, TheMapValueIsTruncatedAndSaturatedToThePixelType) {
  for (auto [kernel, bytes, map, written] : {std::tuple{&sl_rect_mapthresh_8, 1, 77.9f, 77},
                                             {&sl_rect_mapthresh_8, 1, 300.0f, 255},
                                             {&sl_rect_mapthresh_8, 1, -7.0f, 0},
                                             {&sl_rect_mapthresh_16, 2, -77.9f, -77},
                                             {&sl_rect_mapthresh_16, 2, 40000.0f, 32767},
                                             {&sl_rect_mapthresh_16, 2, -1e20f, -32768}}) {
    EXPECT_EQ(threshold(kernel, bytes, {5}, 0, 10, map)[0], written) << map;
  }
}

TEST(Threshold, EveryShapeMapsTheBandAndCopiesTheRest) {
  const float low = 60, high = 180, low16 = -9000, high16 = 9000, map = 33;
  check("mapthresh_8", one_source(sl_rect_mapthresh_8, &low, &high, &map), {1}, {1}, kWidths,
        [](const Pixel& p) { *p.out = *p.in1 >= 60 && *p.in1 <= 180 ? 33 : *p.in1; });
  check("mapthresh_16", one_source(sl_rect_mapthresh_16, &low16, &high16, &map), {2}, {2},
        kWidths, [](const Pixel& p) {
          const int64_t v = get(p.in1, 2);
          put(p.out, 2, v >= -8999 && v <= 9000 ? 33 : v);
        });
}

// ---- Transforms ----

// Channel j of a pixel becomes floor((sum of m[j][c] * channel c + offset j * unit) / 256),
// saturated; `first` is the element of channel 0, elements that are no channel are copied.
Reference transformed(uint32_t pixel_bytes, int element_bytes, int first, int channels,
                      const std::vector<int32_t>& m, int unit) {
  return [=](const Pixel& p) {
    std::memcpy(p.out, p.in1, pixel_bytes);
    for (int j = 0; j < channels; ++j) {
      int64_t sum = int64_t(m[channels * channels + j]) * unit;
      for (int c = 0; c < channels; ++c)
        sum += m[channels * j + c] * get(p.in1 + (first + c) * element_bytes, element_bytes);
      put(p.out + (first + j) * element_bytes, element_bytes, sum >> 8);
    }
  };
}

TEST(Transform, EveryShapeMatchesThePlainCombinationSaturated) {
  for (auto [scale, offset] : {std::pair{600, -20 * 256}, {-300, 200 * 256}, {256, 0}}) {
    check("trf8_8", one_source(sl_rect_trf8_8, scale, offset), {1}, {1}, kWidths,
          transformed(1, 1, 0, 1, {scale, offset}, 1));
    check("trf16_16", one_source(sl_rect_trf16_16, scale, offset * 40), {2}, {2}, kWidths,
          transformed(2, 2, 0, 1, {scale, offset * 40}, 1));
  }
  const std::vector<int32_t> colour = {66,  129, 25,  -38,      -74,       112,
                                       112, -94, -18, 16 * 256, 128 * 256, 128 * 256};
  check("trf24_32", one_source(sl_rect_trf24_32, colour.data()), {4}, {4}, kWidths,
        transformed(4, 1, 1, 3, colour, 1));
  const std::vector<int32_t> four = {300, -20, 5,    0, 0, 512, 0, -64,  77,   77,
                                     77,  77,  -256, 0, 0, 128, 0, 2560, -256, 40 * 256};
  check("trf32_32", one_source(sl_rect_trf32_32, four.data()), {4}, {4}, kWidths,
        transformed(4, 1, 0, 4, four, 1));
  const std::vector<int32_t> combine = {200, 60, -4, 0, 256, 0, -90, 300, 31, 3, -1000, 20000};
  check("trf16_16_3", one_source(sl_rect_trf16_16_3, combine.data()), {6, 2}, {6, 2}, kWidths,
        transformed(6, 2, 0, 3, combine, 256));
}

TEST(Transform, ResultsRoundTowardMinusInfinityAndWholeUnitOffsetsSaturate) {
  AliasedBuffer image(1);
  const int16_t pixels[3] = {-3, 3, -32768};
  std::memcpy(image.host(), pixels, 6);
  sl_rect_trf16_16(image.alias() + 16, 0, 2, 1, image.alias(), 0, 128, 0);
  const int32_t identity[12] = {256, 0, 0, 0, 256, 0, 0, 0, 256, 1, 1 << 30, -1};
  sl_rect_trf16_16_3(image.alias() + 32, 0, 1, 1, image.alias(), 0, identity);
  int16_t out[2][8];
  std::memcpy(out, image.host() + 16, sizeof out);
  EXPECT_EQ(out[0][0], -2);
  EXPECT_EQ(out[0][1], 1);
  EXPECT_EQ(out[1][0], -2);
  EXPECT_EQ(out[1][1], 32767) << "an offset beyond the register range saturates";
  EXPECT_EQ(out[1][2], -32768);
}

TEST(Transform, EightBitRowOfThirtyThreeIsAChunkAndAOnePixelTail) {
  AliasedBuffer image(1);
  TraceCapture trace;
  sl_rect_trf8_8(image.alias() + 0x800, 64, 33, 1, image.alias(), 64, 300, -7);
  EXPECT_EQ(Lines(trace.lines().begin(), trace.lines().begin() + 2),
            (Lines{"reg 10 0x0000012c", "reg 11 0xfffffff9"}));
  EXPECT_EQ(trace.words(),
            (Words{0xBFE0060B, 0xBEE00E0B, 0x8FD01580, 0xB0E0008A, 0x0FCAD58B, 0x0FCEDD9B,
                   0x8F901580, 0x80501580, 0xB0E0008A, 0x00CAD58B, 0x80101580}));
}

TEST(Transform, ColourTransformChunksAreNinePixelsWithTheDocumentedWords) {
  AliasedBuffer image(1);
  const int32_t m[12] = {};
  TraceCapture trace;
  sl_rect_trf24_32(image.alias() + 0x800, 64, 10, 1, image.alias(), 64, m);
  const Words chunk = {0x84522900, 0xE874D704, 0xE8751B84, 0xE8756004, 0xB0E0008A, 0x084BA493,
                       0xB0E0008B, 0x084DE4C9, 0xB0E0008C, 0x08D024C9, 0xE8526984, 0xB0E0008D,
                       0x084BA49C, 0xB0E0008E, 0x084DE4C9, 0xB0E0008F, 0x08D024C9, 0xE8526A04,
                       0xB0E00090, 0x084BA4A5, 0xB0E00091, 0x084DE4C9, 0xB0E00092, 0x08D024C9,
                       0xE8526A84, 0x841A6900};
  Words expected = {0xB8E01295, 0xB8E00E14, 0xB7E00A13};
  expected.insert(expected.end(), chunk.begin(), chunk.end());
  for (uint32_t word : chunk) {  // the one-pixel tail, 36 bytes in: counts of one
    expected.push_back(word >> 28 == 8 ? (word & 0xF07FFFFF) | 4 : word & 0xF0FFFFFF);
  }
  EXPECT_EQ(trace.words(), expected);
}

}  // namespace
