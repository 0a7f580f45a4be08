// The resampling set-up: the bicubic weights, the clips that find a destination rectangle's
// source, and the bicubic wrappers' table and scratch.
#include <cstdlib>
#include <vector>

#include "kx_resample.h"
#include "kx_test_support.h"
#include "plugin_test.h"
#include "sl_kernels.h"

namespace {

using ResampleSetup = PluginTest;

TEST_F(ResampleSetup, CatmullRomWeightsAtWholeAndHalfDistances) {
  EXPECT_EQ(bc_coeff(0.0f), 1.0f);
  EXPECT_EQ(bc_coeff(0.5f), 0.5625f);
  EXPECT_EQ(bc_coeff(1.0f), 0.0f);
  EXPECT_EQ(bc_coeff(1.5f), -0.0625f);
  EXPECT_EQ(bc_coeff(2.0f), 0.0f);
  EXPECT_EQ(bc_coeff(-0.5f), 0.0f);  // only distances count
}

TEST_F(ResampleSetup, TheWeightTableHoldsEveryPhaseInUnitsOf256th) {
  int16_t* table = make_CatMull_Rom_table();
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(std::vector<int>(table, table + 4), (std::vector<int>{0, 256, 0, 0}));
  EXPECT_EQ(std::vector<int>(table + 512, table + 516), (std::vector<int>{-16, 144, 144, -16}));
  // Truncated weights: a row sums to 255..257, the phases mirror each other.
  for (int row = 0; row < 256; ++row) {
    const int16_t* w = table + 4 * row;
    const int sum = w[0] + w[1] + w[2] + w[3];
    EXPECT_TRUE(sum >= 255 && sum <= 257) << "row " << row << " sums to " << sum;
    if (row > 0) {
      EXPECT_EQ(w[1], table[4 * (256 - row) + 2]) << "row " << row;
    }
  }
  std::free(table);
}

struct Clipped {
  long x, y;
  unsigned w, h;
  bool operator==(const Clipped&) const = default;
};
void PrintTo(const Clipped& c, std::ostream* out) {
  *out << "(" << c.x << ", " << c.y << ", " << c.w << ", " << c.h << ")";
}
Clipped scale(float fx, long x, unsigned w, unsigned limit, long off) {
  Clipped c;
  zelkx_clip_scale(fx, fx, x, x, w, w, limit, limit, off, off, &c.w, &c.h, &c.x, &c.y);
  return c;
}
Clipped trans(float t, long x, unsigned w, unsigned limit, long off) {
  Clipped c;
  zelkx_clip_trans(t, t, x, x, w, w, limit, limit, off, off, &c.w, &c.h, &c.x, &c.y);
  return c;
}

TEST_F(ResampleSetup, ClipsFindTheSourceRectangleAndKeepItInTheBuffer) {
  EXPECT_EQ(scale(0.5f, 10, 20, 1000, 0), (Clipped{5, 5, 10, 10})) << "a scale of 2";
  EXPECT_EQ(scale(2.0f, 10, 20, 1000, 0), (Clipped{20, 20, 40, 40})) << "a scale of 1/2";
  // A start left of the buffer moves to its edge, the size kept, then cut at the right.
  EXPECT_EQ(scale(1.0f, -10, 6, 1000, 3), (Clipped{-3, -3, 6, 6}));
  EXPECT_EQ(scale(1.0f, -10, 12, 8, 3), (Clipped{-3, -3, 8, 8}));
  EXPECT_EQ(scale(1.0f, 2, 5, 8, 1), (Clipped{2, 2, 5, 5})) << "ending on the edge";
  // Translations round x - t at 0.499 toward zero.
  EXPECT_EQ(trans(0.5f, 0, 4, 1000, 5).x, 0);
  EXPECT_EQ(trans(-0.6f, 0, 4, 1000, 5).x, 1);
  EXPECT_EQ(trans(0.6f, 0, 4, 1000, 5).x, 0);
  EXPECT_EQ(trans(1.6f, 0, 4, 1000, 5).x, -1);
  EXPECT_EQ(trans(1.6f, 0, 4, 1000, 0).x, 0) << "held at the buffer's edge";
}

// An 8-bit ramp resampled by the wrapper and by the kernel given a table of its own.
TEST_F(ResampleSetup, BicubicWrappersGiveTheKernelItsTableAndScratch) {
  kxtest::AliasedBuffer memory(4);
  for (int i = 0; i < 256; ++i) memory.host()[i] = uint8_t(i * 7 + (i >> 4) * 13);
  const float m[6] = {2.0f, 0, 0, 0, 2.0f, 0};
  const uint32_t src = memory.alias(), a = memory.alias() + 4096, b = memory.alias() + 8192;
  ASSERT_EQ(cubresiz_8(a, 64, 20, 12, src, 16, 12, 8, m), 0);
  ZelKXBicubic own;
  ASSERT_EQ(own.open(12), 0);
  sl_rect_cubresiz_8(b, 64, 20, 12, src, 16, 12, 8, m, own.table(), 256, own.scratch());
  kxm::drain();
  EXPECT_EQ(std::vector<uint8_t>(memory.at(a), memory.at(a) + 4096),
            std::vector<uint8_t>(memory.at(b), memory.at(b) + 4096));
  EXPECT_NE(memory.at(a)[64 * 5 + 7], 0);
  ZelKXBicubic narrow;
  ASSERT_EQ(narrow.open(4), 0);
  EXPECT_EQ(cubresiz_8(a, 64, 20, 12, src, 16, 12, 8, m, &narrow), 2) << "a narrower scratch";
}

TEST_F(ResampleSetup, BicubicWrappersRefuseWhenTheScratchCannotBeAliasedAndHoldNothing) {
  kxtest::AliasedBuffer memory(2);
  const float m[6] = {1.0f, 0, 0, 0, 1.0f, 0};
  const int aliases = kxm::alias_mappings();
  kxm::Config refusing;
  refusing.alias_maps = false;
  kxm::configure(refusing);
  for (auto wrapper : {cubresiz_8, cubresiz_16, cubresiz_24, cubresiz_32}) {
    EXPECT_EQ(wrapper(memory.alias() + 4096, 64, 8, 4, memory.alias(), 64, 8, 4, m, nullptr),
              2);
  }
  ZelKXBicubic prepared;
  EXPECT_EQ(prepared.open(8), 2);
  EXPECT_EQ(prepared.table(), nullptr);
  kxm::configure({});
  EXPECT_EQ(kxm::alias_mappings(), aliases);
  EXPECT_EQ(std::vector<uint8_t>(memory.host() + 4096, memory.host() + 8192),
            std::vector<uint8_t>(4096, 0));
}

}  // namespace
