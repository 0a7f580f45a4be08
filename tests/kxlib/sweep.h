// Shared by the kernel suites: a kernel over random images whose rows start at every
// alignment and cross pages, checked byte for byte against a plain per-pixel reference, the
// bytes around each rectangle included.
#ifndef KXLIB_SWEEP_H
#define KXLIB_SWEEP_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "kx_test_support.h"

namespace sweep {

using Bytes = std::vector<uint8_t>;
using Widths = std::vector<int32_t>;
using kxtest::AliasedBuffer;

// Rows 1000 bytes apart: the fifth row of a wide rectangle at offsets 0..3 crosses a page.
constexpr int32_t kStride = 1000;
constexpr int32_t kRows = 5;
// The last ones put short runs across a page at every alignment of 1, 2 and 4 bytes.
constexpr uint32_t kOffsets[] = {0, 1, 2, 3, 0xFA0, 0xFF8, 0xFF9, 0xFFB, 0xFFE};

// Bit by bit, the raster op's bit 2a + b: a from the source or foreground, b the other.
inline uint32_t rop(uint32_t code, uint32_t a, uint32_t b) {
  uint32_t out = 0;
  for (int bit = 0; bit < 32; ++bit)
    out |= ((code >> (2 * ((a >> bit) & 1) + ((b >> bit) & 1))) & 1) << bit;
  return out;
}

// An element of 1 byte (unsigned) or 2 bytes (signed, host order); stores saturate.
inline int64_t get(const uint8_t* p, int bytes) {
  int16_t v = *p;
  if (bytes == 2) std::memcpy(&v, p, 2);
  return bytes == 1 ? *p : v;
}
inline void put(uint8_t* p, int bytes, int64_t v) {
  const int16_t s = int16_t(std::clamp<int64_t>(v, -32768, 32767));
  if (bytes == 1) *p = uint8_t(std::clamp<int64_t>(v, 0, 255));
  if (bytes == 2) std::memcpy(p, &s, 2);
}

inline void randomize(AliasedBuffer& buffer) {
  static std::mt19937 random(7);
  std::generate_n(buffer.host(), buffer.size(), [] { return uint8_t(random()); });
}

inline ::testing::AssertionResult same(const Bytes& expected, const uint8_t* actual) {
  const auto at = std::mismatch(expected.begin(), expected.end(), actual).first;
  if (at == expected.end()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "first difference at byte " << at - expected.begin();
}

struct Pixel {
  uint8_t* out;              // the destination pixel as it was, to become the expected one
  const uint8_t *in1, *in2;  // the sources' pixels at the same place
  uint32_t at;               // the destination pixel's offset in its page-aligned buffer
  const uint8_t* in3;        // the third source's pixel (alpha of the blends)
};
using Reference = std::function<void(const Pixel&)>;
using Run = std::function<void(uint32_t dst, uint32_t src1, uint32_t src2, int32_t width)>;
using Run3 = std::function<void(uint32_t dst, uint32_t src1, uint32_t src2, uint32_t src3,
                                int32_t width)>;

struct Side {
  uint32_t bytes;          // per pixel
  uint32_t align = bytes;  // offsets are rounded down to it
};
enum class Places { shared, apart };  // apart: sources also at other alignments

// `run` over every place and width on fresh random images; every destination pixel must be
// what `reference` makes of it, every other byte unchanged. A third source (`third` bytes a
// pixel) starts where the first two do, rounded down to its alignment.
inline void check(const char* name, const Run3& run, Side dst, Side src, Side third,
                  const Widths& widths, const Reference& reference,
                  Places places = Places::shared) {
  std::set<std::pair<uint32_t, uint32_t>> offsets;
  for (uint32_t d : kOffsets) {
    for (uint32_t s : {d, 0u, 1u, 2u, 3u}) {
      if (s == d || places == Places::apart)
        offsets.emplace(d & ~(dst.align - 1), s & ~(src.align - 1));
    }
  }
  AliasedBuffer src1(3), src2(3), src3(3), out(3);
  for (auto [d, s] : offsets) {
    const uint32_t s3 = s & ~(third.align - 1);
    for (int32_t width : widths) {
      randomize(src1), randomize(src2), randomize(src3), randomize(out);
      Bytes expected(out.host(), out.host() + out.size());
      run(out.alias() + d, src1.alias() + s, src2.alias() + s, src3.alias() + s3, width);
      for (uint32_t row = 0; row < kRows; ++row) {
        for (uint32_t x = 0; x < uint32_t(width); ++x) {
          const uint32_t at = d + row * kStride + x * dst.bytes;
          const uint32_t from = s + row * kStride + x * src.bytes;
          const uint32_t from3 = s3 + row * kStride + x * third.bytes;
          reference(
              {&expected[at], src1.host() + from, src2.host() + from, at, src3.host() + from3});
        }
      }
      ASSERT_TRUE(same(expected, out.host()))
          << name << " dst +" << d << " src +" << s << " width " << width;
    }
  }
}

inline void check(const char* name, const Run& run, Side dst, Side src, const Widths& widths,
                  const Reference& reference, Places places = Places::shared) {
  check(
      name,
      [&](uint32_t d, uint32_t s1, uint32_t s2, uint32_t, int32_t w) { run(d, s1, s2, w); },
      dst, src, {1}, widths, reference, places);
}

template <class Kernel, class... Extra>
Run one_source(Kernel kernel, Extra... extra) {
  return [=](uint32_t d, uint32_t s, uint32_t, int32_t w) {
    kernel(d, kStride, w, kRows, s, kStride, extra...);
  };
}
template <class Kernel>
Run two_sources(Kernel kernel) {
  return [=](uint32_t d, uint32_t s1, uint32_t s2, int32_t w) {
    kernel(d, kStride, w, kRows, s1, kStride, s2, kStride);
  };
}

}  // namespace sweep

#endif
