// Flip kernels on the processor model: every member maps every pixel as its table says and
// touches no other byte, at odd, negative and page-crossing strides and at block and run
// sizes and their neighbours; the word streams where the order is what can go wrong (the
// mirrored remainder, a whole reflection block, remainder-only blocks, page splits).
#include <gtest/gtest.h>

#include <cstring>

#include "kx_model.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;

namespace {

using FlipKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t);

enum class Map { v, h, d, b, r90, r180, r270 };

struct Member {
  const char* name;
  FlipKernel kernel;
  uint32_t bytes;
  Map map;
};

#define SL_MEMBERS(t, m)                                    \
  {"flip_" #t "_8", sl_rect_flip_##t##_8, 1, Map::m},       \
      {"flip_" #t "_16", sl_rect_flip_##t##_16, 2, Map::m}, \
      {"flip_" #t "_32", sl_rect_flip_##t##_32, 4, Map::m},
const Member kMembers[] = {SL_MEMBERS(v, v) SL_MEMBERS(h, h) SL_MEMBERS(d, d) SL_MEMBERS(b, b)
                               SL_MEMBERS(90, r90) SL_MEMBERS(180, r180) SL_MEMBERS(270, r270)};
#undef SL_MEMBERS

bool transposes(Map m) {
  return m == Map::d || m == Map::b || m == Map::r90 || m == Map::r270;
}

// The source pixel (row, column) that destination (y, x) of a W x H destination takes.
std::pair<int32_t, int32_t> source_of(Map m, int32_t W, int32_t H, int32_t y, int32_t x) {
  switch (m) {
    case Map::v:
      return {H - 1 - y, x};
    case Map::h:
      return {y, W - 1 - x};
    case Map::d:
      return {x, y};
    case Map::b:
      return {W - 1 - x, H - 1 - y};
    case Map::r90:
      return {x, H - 1 - y};
    case Map::r180:
      return {H - 1 - y, W - 1 - x};
    case Map::r270:
      return {W - 1 - x, y};
  }
  return {0, 0};
}

// One call on fresh random images: the destination's rectangle must hold the mapped source
// pixels, every other byte of its buffer must be unchanged.
struct Place {
  uint32_t dst, src;  // offsets of the top-left pixels' rows in their buffers
  bool upwards;       // destination rows at a negative stride
};

void check(const Member& m, int32_t W, int32_t H, const Place& place) {
  static AliasedBuffer src(7), out(7);
  const int32_t stride = int32_t(75 * m.bytes);  // odd for _8; crosses pages every few rows
  const int32_t src_w = transposes(m.map) ? H : W, src_h = transposes(m.map) ? W : H;
  const uint32_t align = ~(m.bytes - 1);
  const uint32_t s0 = place.src & align;
  const uint32_t d0 = (place.dst & align) + (place.upwards ? uint32_t(H - 1) * stride : 0);
  const int32_t dst_stride = place.upwards ? -stride : stride;
  randomize(src), randomize(out);
  Bytes expected(out.host(), out.host() + out.size());
  m.kernel(out.alias() + d0, dst_stride, W, H, src.alias() + s0, stride);
  if (kxm::config().deferred) kxm::drain();
  for (int32_t y = 0; y < H; ++y) {
    for (int32_t x = 0; x < W; ++x) {
      const auto [row, col] = source_of(m.map, W, H, y, x);
      ASSERT_TRUE(row >= 0 && row < src_h && col >= 0 && col < src_w);
      std::memcpy(&expected[d0 + y * dst_stride + x * m.bytes],
                  src.host() + s0 + row * stride + col * m.bytes, m.bytes);
    }
  }
  ASSERT_TRUE(same(expected, out.host()))
      << m.name << " " << W << " x " << H << " dst +" << place.dst << " src +" << place.src
      << (place.upwards ? " upwards" : "");
}

const std::pair<int32_t, int32_t> kSizes[] = {
    {1, 1},  {5, 3},  {12, 8}, {11, 7}, {13, 9}, {24, 16}, {25, 17}, {31, 2},
    {32, 3}, {33, 1}, {64, 2}, {65, 5}, {3, 45}, {1, 20},  {20, 1},
};
const Place kPlaces[] = {{0, 0, false}, {0xFF8, 0xFFB, false}, {0x7FD, 3, true}};

TEST(Flip, EveryMemberPutsEachSourcePixelWhereItsMappingSaysAndNothingElse) {
  for (const Member& m : kMembers) {
    for (auto [W, H] : kSizes) {
      for (const Place& place : kPlaces) check(m, W, H, place);
    }
  }
}

TEST(Flip, DeferredExecutionGivesTheSameResults) {
  kxm::Config config;
  config.deferred = true;
  kxm::configure(config);
  for (const char* name : {"flip_h_16", "flip_b_32", "flip_270_8", "flip_d_16"}) {
    for (const Member& m : kMembers) {
      if (std::strcmp(m.name, name) != 0) continue;
      for (auto [W, H] : {std::pair{33, 9}, std::pair{13, 17}}) {
        check(m, W, H, kPlaces[1]);
      }
    }
  }
  kxm::configure({});
}

class FlipWords : public ::testing::Test {
 protected:
  AliasedBuffer buffer{4};
  uint32_t at(uint32_t offset) { return buffer.alias() + offset; }
};

TEST_F(FlipWords, AShortMirroredRowIsOneLoadTwoReversalsAndAStoreFromTheReversedEnd) {
  TraceCapture trace;
  sl_rect_flip_h_8(at(0x1000), 100, 5, 1, at(0), 100);
  EXPECT_EQ(trace.words(), (Words{0x82500500u, 0xEF665D7Fu, 0xEF6A557Fu, 0x82002280u}));
}

TEST_F(FlipWords, WholeRunsOfThirtyTwoNeedNoRemainderWords) {
  TraceCapture trace;
  sl_rect_flip_v_32(at(0x2000), 256, 64, 2, at(0), 256);
  EXPECT_EQ(trace.words(), (Words{0x8FD6C500u, 0x8F86C500u, 0x8FD6C500u, 0x8F86C500u,
                                  0x8FD6C500u, 0x8F86C500u, 0x8FD6C500u, 0x8F86C500u}));
  // The bottom source row comes first.
  EXPECT_EQ(trace.memory().front().first, at(256));
}

TEST_F(FlipWords, TwelveByEightIsOneBlockOfTwelveLoadsAndEightGatherStorePairs) {
  TraceCapture trace;
  sl_rect_flip_d_8(at(0x2000), 64, 12, 8, at(0), 64);
  Words expected;
  for (uint32_t i = 0; i < 12; ++i) expected.push_back(0x83D00500u + ((8 * i) << 7));
  for (uint32_t j = 0; j < 8; ++j) {
    expected.push_back(0xEB62BA08u + (j << 14));
    expected.push_back(0x85803A00u);
  }
  EXPECT_EQ(trace.words(), expected);
}

TEST_F(FlipWords, AnAntiDiagonalRemainderBlockGathersItsColumnsRightToLeft) {
  // 5 x 3: three destination rows from the three source columns, five source rows.
  TraceCapture trace;
  sl_rect_flip_b_16(at(0x2000), 64, 5, 3, at(0), 64);
  Words expected;
  for (uint32_t i = 0; i < 5; ++i) expected.push_back(0x81560500u + ((8 * i) << 7));
  for (uint32_t j = 0; j < 3; ++j) {
    expected.push_back(0xEB603A08u + ((12 - j) << 14));
    expected.push_back(0x82063A00u);
  }
  EXPECT_EQ(trace.words(), expected);
  // The first load is the last source row, the first store the top destination row.
  const auto memory = trace.memory();
  EXPECT_EQ(memory.front().first, at(4 * 64));
  EXPECT_EQ(memory[5].first, at(0x2000));
}

TEST_F(FlipWords, EmptyRectanglesIssueNothing) {
  TraceCapture trace;
  sl_rect_flip_v_8(at(0), 64, 5, 0, at(0x1000), 64);
  sl_rect_flip_180_16(at(0), 64, 5, 0, at(0x1000), 64);
  sl_rect_flip_h_32(at(0), 64, 0, 5, at(0x1000), 64);
  sl_rect_flip_d_8(at(0), 64, 0, 5, at(0x1000), 64);
  sl_rect_flip_90_32(at(0), 64, 5, 0, at(0x1000), 64);
  EXPECT_TRUE(trace.words().empty());
}

TEST_F(FlipWords, ARunEndingOnAPagesLastByteIsWholeAndOneElementMoreIsSplit) {
  const std::pair<FlipKernel, uint32_t> kernels[] = {
      {sl_rect_flip_v_8, 1}, {sl_rect_flip_v_16, 2}, {sl_rect_flip_v_32, 4}};
  for (const auto& [kernel, bytes] : kernels) {
    const uint32_t end = at(0x1000), run = 32 * bytes;
    kxm::reset_counters();
    kernel(at(0x2000), 0, 32, 1, end - run, 0);
    EXPECT_EQ(kxm::counters().page_splits, 0u) << bytes;
    TraceCapture trace;
    kernel(at(0x2000), 0, 32, 1, end - run + bytes, 0);
    EXPECT_EQ(kxm::counters().page_splits, 1u) << bytes;
    const auto memory = trace.memory();
    ASSERT_EQ(memory.size(), 3u);
    // 31 elements into r10.., then the last one at the next page into r41.
    EXPECT_EQ(memory[0].second & 0xFF803F80u, 0x8F000500u) << bytes;
    EXPECT_EQ(memory[1].first, end);
    EXPECT_EQ(memory[1].second & 0xFF803F80u, 0x80001480u) << bytes;
  }
}

}  // namespace
