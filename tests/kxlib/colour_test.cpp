// Colour kernels on the processor model: results against plain references over shapes whose
// rows (and planes) cross pages, the bytes around each rectangle left alone; tables read only
// inside themselves; and word streams where a word is easy to get wrong.
#include <gtest/gtest.h>

#include <array>

#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;
using Issued = std::pair<uint32_t, uint32_t>;  // address, word

namespace {

Widths around(int32_t chunk) {
  return {0, 1, chunk - 1, chunk, chunk + 1, 2 * chunk + 3};
}

uint8_t clamp8(int64_t v) {
  return uint8_t(std::clamp<int64_t>(v, 0, 255));
}

// A 256-byte table in the middle of a page of 0xEE: a read outside it shows as 0xEE, which
// no entry the checks below expect holds.
class Table {
 public:
  Table() {
    std::fill_n(page_.host(), page_.size(), 0xEE);
    for (int i = 0; i < 256; ++i) page_.host()[kAt + i] = uint8_t(i * 167 + 13);
  }
  uint32_t alias() const { return page_.alias() + kAt; }
  uint8_t operator()(int64_t i) const { return page_.host()[kAt + i]; }

 private:
  static constexpr uint32_t kAt = 0x800;
  AliasedBuffer page_{1};
};

using Matrix = std::array<int32_t, 12>;  // 3 x 3 row by row, then 3 offsets

// ---- Results ----

// c0 + ((c1 * byte first) >> 8) + ... of the 4-byte source pixel, saturated to a byte.
Reference to_byte(int first, std::vector<int32_t> c) {
  return [=](const Pixel& p) {
    int64_t sum = c[0];
    for (size_t k = 1; k < c.size(); ++k) sum += (int64_t(c[k]) * p.in1[first + k - 1]) >> 8;
    *p.out = clamp8(sum);
  };
}

TEST(ColourResults, OneByteTransformsSumTermsRoundedDownThenSaturate) {
  for (const auto& c :
       {std::vector<int32_t>{0, 29, 150, 76}, {-20, 300, -150, 90}, {200, -1000, 17, 3}}) {
    check("trf24_8", one_source(sl_rect_trf24_8, c[0], c[1], c[2], c[3]), {1}, {4}, around(14),
          to_byte(1, c));
  }
  for (const auto& c : {std::vector<int32_t>{3, 64, 64, 64, 64}, {-50, 512, -90, 33, -300}}) {
    check("trf32_8", one_source(sl_rect_trf32_8, c[0], c[1], c[2], c[3], c[4]), {1}, {4},
          around(11), to_byte(0, c));
  }
}

TEST(ColourResults, LookupThenTransformAtSixteenFractionBits) {
  const Table table;
  const Matrix m = {19595, 38470,  7471,  -11059, -21709, 32768,
                    90000, -27439, -5329, 0,      128,    -9};
  check("luttrf24_32", one_source(sl_rect_luttrf24_32, table.alias(), m.data()), {4}, {4},
        around(9), [&](const Pixel& p) {
          std::memcpy(p.out, p.in1, 4);
          for (int j = 0; j < 3; ++j) {
            int64_t sum = m[9 + j];
            for (int c = 0; c < 3; ++c)
              sum += (int64_t(m[3 * j + c]) * table(p.in1[1 + c])) >> 16;
            p.out[1 + j] = clamp8(sum);
          }
        });
}

TEST(ColourResults, TransformThenLookupOfTheResultClampedToTheTable) {
  const Table table;
  const Matrix m = {66, 129, 25, -38, -74, 112, 600, -94, -300, 16 * 256, 128 * 256, -9 * 256};
  check("trflut24_32", one_source(sl_rect_trflut24_32, table.alias(), m.data()), {4}, {4},
        around(9), [&](const Pixel& p) {
          std::memcpy(p.out, p.in1, 4);
          for (int j = 0; j < 3; ++j) {
            int64_t sum = m[9 + j];
            for (int c = 0; c < 3; ++c) sum += int64_t(m[3 * j + c]) * p.in1[1 + c];
            p.out[1 + j] = table(clamp8(sum >> 8));
          }
        });
}

// Blue, green, red in bytes 1..3; cyan, magenta, yellow, black in bytes 0..3.
void rgb_to_cmyk(const uint8_t* in, uint8_t* out) {
  out[0] = uint8_t(255 - in[3]), out[1] = uint8_t(255 - in[2]), out[2] = uint8_t(255 - in[1]);
  out[3] = 0;
}
void cmyk_to_rgb(const uint8_t* in, uint8_t* out) {
  for (int lane = 1; lane < 4; ++lane) out[lane] = clamp8(255 - in[3 - lane] - in[3]);
}

TEST(ColourResults, PackedCmykConversions) {
  check("rgb2cmyk_32", one_source(sl_rect_rgb2cmyk_32), {4}, {4}, around(12),
        [](const Pixel& p) { rgb_to_cmyk(p.in1, p.out); });
  check("cmyk2rgb_32", one_source(sl_rect_cmyk2rgb_32), {4}, {4}, around(12),
        [](const Pixel& p) {
          p.out[0] = p.in1[0];
          cmyk_to_rgb(p.in1, p.out);
        });
}

// The planar kernels: plane k of a row at base + k * kPlaneStride (a positive or a negative
// distance), planes and pixel rows starting near page ends so that runs of both split.
void check_planar(bool to_planes) {
  AliasedBuffer pixels(3), planes(7);
  for (int32_t plane_stride : {0x1400, -0x1400}) {
    for (uint32_t plane_at : {0u, 1u, 0xFF8u, 0xFFDu}) {
      for (uint32_t pixel_at : {0u, 0xFA0u, 0xFF8u}) {
        for (int32_t width : around(16)) {
          randomize(pixels), randomize(planes);
          Bytes pixel(pixels.host(), pixels.host() + pixels.size());
          Bytes plane(planes.host(), planes.host() + planes.size());
          const uint32_t first = plane_stride > 0 ? plane_at : plane_at + 3 * 0x1400;
          const uint32_t p = pixels.alias() + pixel_at, q = planes.alias() + first;
          if (to_planes)
            sl_rect_rgbcmyk_8888(q, kStride, width, kRows, p, kStride, plane_stride);
          if (!to_planes)
            sl_rect_cmykrgb_32(p, kStride, width, kRows, q, kStride, plane_stride);
          for (uint32_t row = 0; row < kRows; ++row) {
            for (uint32_t x = 0; x < uint32_t(width); ++x) {
              uint8_t* px = &pixel[pixel_at + row * kStride + 4 * x];
              uint8_t* k[4];
              for (int i = 0; i < 4; ++i)
                k[i] = &plane[first + i * plane_stride + row * kStride + x];
              uint8_t cmyk[4] = {*k[0], *k[1], *k[2], *k[3]};
              if (to_planes) {
                rgb_to_cmyk(px, cmyk);
                for (int i = 0; i < 4; ++i) *k[i] = cmyk[i];
              } else {
                cmyk_to_rgb(cmyk, px);
              }
            }
          }
          const auto where = [&] {
            return ::testing::Message() << "planes +" << plane_at << " stride " << plane_stride
                                        << " pixels +" << pixel_at << " width " << width;
          };
          ASSERT_TRUE(same(pixel, pixels.host())) << where();
          ASSERT_TRUE(same(plane, planes.host())) << where();
        }
      }
    }
  }
}

TEST(ColourResults, PlanarCmykIsThePackedConversionOneByteAPlane) {
  check_planar(true);
  check_planar(false);  // byte 0 of the destination pixels is kept
}

// ---- Edges of the value range ----

TEST(ColourValues, EveryOneByteTermRoundsDownSoWhiteWithLuminanceWeightsIs252) {
  AliasedBuffer image(1);
  // White, red, green, blue: bytes 1, 2, 3 hold blue, green, red.
  const uint8_t rgb[4][4] = {
      {0, 255, 255, 255}, {0, 0, 0, 255}, {0, 0, 255, 0}, {0, 255, 0, 0}};
  std::memcpy(image.host(), rgb, sizeof rgb);
  sl_rect_trf24_8(image.alias() + 64, 0, 4, 1, image.alias(), 0, 0, 29, 150, 76);
  EXPECT_EQ(Bytes(image.host() + 64, image.host() + 68), (Bytes{252, 75, 149, 28}));
}

TEST(ColourValues, TransformThenLookupReadsOnlyTheTable) {
  const Table table;
  AliasedBuffer image(1);
  const uint8_t in[4] = {9, 255, 0, 128};
  std::memcpy(image.host(), in, 4);
  // Channel 1 far below 0, channel 2 far above 255, channel 3 at 128.
  const Matrix m = {256, 0, 0, 0, 256, 0, 0, 0, 256, -100000 * 256, 100000 * 256, 0};
  sl_rect_trflut24_32(image.alias() + 8, 0, 1, 1, image.alias(), 0, table.alias(), m.data());
  EXPECT_EQ(Bytes(image.host() + 8, image.host() + 12),
            (Bytes{9, table(0), table(255), table(128)}));
}

TEST(ColourValues, CmykToRgbSaturatesAtZero) {
  AliasedBuffer image(1);
  const uint8_t cmyk[4] = {200, 10, 0, 100};
  std::memcpy(image.host(), cmyk, 4);
  sl_rect_cmyk2rgb_32(image.alias() + 8, 0, 1, 1, image.alias(), 0);
  EXPECT_EQ(Bytes(image.host() + 8, image.host() + 12), (Bytes{200, 155, 145, 0}));
}

// ---- Word streams ----

class ColourWords : public ::testing::Test {
 protected:
  AliasedBuffer buffer{4};
  uint32_t page = buffer.alias();
  uint32_t src = page + 0x100, dst = page + 0x1100;
  Table table;
  TraceCapture trace;
};

TEST_F(ColourWords, OneByteTransformWritesEachWeightIntoR1BeforeItsTermAndTailsUseCountsOfOne) {
  sl_rect_trf24_8(dst, 64, 15, 1, src, 64, 5, 1, 2, 3);
  const std::vector<std::string> chunk = {
      "queue 0xed718d84", "queue 0xed71d484", "queue 0xed721b84",
      "reg 1 0x00000001", "queue 0x1d46e28d", "reg 1 0x00000002",
      "queue 0x1d4a62c5", "reg 1 0x00000003", "queue 0x1dcde2c5"};
  std::vector<std::string> expected = {"reg 10 0x00000001", "reg 11 0x00000002",
                                       "reg 12 0x00000003", "reg 13 0x00000005",
                                       "queue 0xbce0070d"};
  char line[40];
  std::snprintf(line, sizeof line, "mem 0x%08x 0x86d22280", src);
  expected.push_back(line);
  expected.insert(expected.end(), chunk.begin(), chunk.end());
  std::snprintf(line, sizeof line, "mem 0x%08x 0x86986280", dst);
  expected.push_back(line);
  EXPECT_EQ(std::vector<std::string>(trace.lines().begin(), trace.lines().begin() + 16),
            expected);
  // The fifteenth pixel, 56 bytes into the source and 14 into the destination.
  const Words words = trace.words();
  EXPECT_EQ(Words(words.end() - 8, words.end()),
            (Words{0x80522280, 0xE0718D84, 0xE071D484, 0xE0721B84, 0x1046E28D, 0x104A62C5,
                   0x10CDE2C5, 0x80186286}));
}

TEST_F(ColourWords, PackedRgbToCmykTailSubtractsTheSpanOfItsThreeRuns) {
  sl_rect_rgb2cmyk_32(dst, 64, 5, 1, src, 64);
  // 255 into r106..r121, two registers a store; runs r58, r70, r82: 24 + 5 registers.
  EXPECT_EQ(trace.lines().size(), 16 + 12u);
  EXPECT_EQ(trace.lines()[0], "reg 106 0x000000ff");
  EXPECT_EQ(trace.lines()[15], "reg 121 0x000000ff");
  EXPECT_EQ(trace.words(),
            (Words{0x82520500, 0xE4635D04, 0xE4632304, 0xE462E904, 0xAF9A9D3A, 0xAC9AA54A,
                   0xB4E02F00, 0xE44E8504, 0xE4518584, 0xE4548604, 0xE4578684, 0x821A0500}));
}

TEST_F(ColourWords, LookupsAreIssuedAtTheTableAndOnlyPixelRunsAreSplit) {
  const Matrix m{};
  sl_rect_luttrf24_32(page + 0x2FF0, 64, 9, 1, page + 0xFE0, 64, table.alias(), m.data());
  // Eight pixels before the page end and one after, into r82 + 4 * 8 = r114.
  const std::vector<Issued> memory = trace.memory();
  ASSERT_EQ(memory.size(), 7u);
  EXPECT_EQ(memory[0], Issued(page + 0xFE0, 0x83D22900));
  EXPECT_EQ(memory[1], Issued(page + 0x1000, 0x80523900));
  EXPECT_EQ(memory[2], Issued(table.alias(), 0x8450172E));
  EXPECT_EQ(memory[3], Issued(table.alias(), 0x84501BB7));
  EXPECT_EQ(memory[4], Issued(table.alias(), 0x84502040));
  EXPECT_EQ(memory[5], Issued(page + 0x2FF0, 0x819A6900));
  EXPECT_EQ(memory[6], Issued(page + 0x3000, 0x821A7100));

  trace.clear();
  sl_rect_trflut24_32(dst, 64, 9, 1, src, 64, table.alias(), m.data());
  const Issued lookup{table.alias(), 0x845024C9};
  EXPECT_EQ(trace.memory(), (std::vector<Issued>{
                                {src, 0x84522900}, lookup, lookup, lookup, {dst, 0x841A6900}}));
}

TEST_F(ColourWords, OneByteStoreSplitsByBytesAndTheSourceByPixels) {
  sl_rect_trf32_8(page + 0x1FF8, 64, 11, 1, page + 0xFF0, 64, 0, 1, 1, 1, 1);
  const std::vector<Issued> memory = trace.memory();
  ASSERT_EQ(memory.size(), 4u);
  EXPECT_EQ(memory[0], Issued(page + 0xFF0, 0x81D22280));   // 4 pixels
  EXPECT_EQ(memory[1], Issued(page + 0x1000, 0x83522A80));  // 7 more, from r69 + 16
  EXPECT_EQ(memory[2], Issued(page + 0x1FF8, 0x83986280));  // 8 bytes
  EXPECT_EQ(memory[3], Issued(page + 0x2000, 0x81186680));  // 3 more, from r69 + 8
}

TEST_F(ColourWords, EmptyRectanglesWriteNothing) {
  const Matrix m{};
  for (auto [width, height] : {std::pair{0, 3}, {5, 0}, {5, -1}}) {
    sl_rect_trf24_8(dst, 64, width, height, src, 64, 1, 2, 3, 4);
    sl_rect_trf32_8(dst, 64, width, height, src, 64, 1, 2, 3, 4, 5);
    sl_rect_luttrf24_32(dst, 64, width, height, src, 64, table.alias(), m.data());
    sl_rect_trflut24_32(dst, 64, width, height, src, 64, table.alias(), m.data());
    sl_rect_rgb2cmyk_32(dst, 64, width, height, src, 64);
    sl_rect_cmyk2rgb_32(dst, 64, width, height, src, 64);
    sl_rect_rgbcmyk_8888(dst, 64, width, height, src, 64, 256);
    sl_rect_cmykrgb_32(dst, 64, width, height, src, 64, 256);
  }
  EXPECT_TRUE(trace.memory().empty());
}

}  // namespace
