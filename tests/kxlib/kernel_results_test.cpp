// Pointwise and copy kernels on the processor model, against plain references: every
// member, each format, widths around the chunk sizes, rows that cross pages, and the bytes
// around each rectangle left alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <random>

#include "kx_test_support.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

using kxtest::AliasedBuffer;

namespace {

constexpr int32_t kStride = 1000;  // bytes between rows: rows start at every alignment
constexpr int32_t kRows = 5;
constexpr size_t kPages = 3;

int64_t clamp(int64_t v, int64_t lo, int64_t hi) {
  return std::min(std::max(v, lo), hi);
}
int64_t sat32(int64_t v) {
  return clamp(v, INT32_MIN, INT32_MAX);
}

enum class Format { u8, s16, channels };

// An element of a format as the processor loads it, and the store's saturation.
struct Layout {
  Format format;
  int bytes;  // per element handed to a reference
  int64_t load(const uint8_t* p) const {
    if (format == Format::s16) {
      int16_t v;
      std::memcpy(&v, p, 2);
      return v;
    }
    return *p;
  }
  void store(uint8_t* p, int64_t v) const {
    if (format == Format::s16) {
      const int16_t s = int16_t(clamp(v, -32768, 32767));
      std::memcpy(p, &s, 2);
    } else {
      *p = uint8_t(clamp(v, 0, 255));
    }
  }
};
constexpr Layout kU8{Format::u8, 1}, kS16{Format::s16, 2}, kChannels{Format::channels, 1};

// Three images in separate buffers; the rectangle's width is given in pixels.
class Images {
 public:
  explicit Images(uint32_t seed) {
    std::mt19937 random(seed);
    for (auto* buffer : {&src1, &src2, &dst}) {
      for (size_t i = 0; i < buffer->size(); ++i) buffer->host()[i] = uint8_t(random());
    }
    before.assign(dst.host(), dst.host() + dst.size());
  }
  AliasedBuffer src1{kPages}, src2{kPages}, dst{kPages};
  std::vector<uint8_t> before;
};

// Offsets that put rows across a page boundary at every alignment (rounded down to the
// pixel size: pixels of 2 and 4 bytes are aligned).
const uint32_t kOffsets[] = {0, 1, 3, 4093, 0xFA0, 0xFF8};
const int32_t kWidths[] = {0, 1, 7, 11, 12, 13, 16, 17, 31, 32, 33, 64, 100};

using Reference = std::function<int64_t(int64_t a, int64_t b)>;
using Kernel2 = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, uint32_t,
                         int32_t);

// Runs `kernel` over every shape and checks each destination byte: inside the rectangle the
// reference of the two sources' elements, outside unchanged.
void check(const Layout& layout, int pixel_bytes,
           const std::function<void(Images&, uint32_t, int32_t)>& run,
           const Reference& reference, bool two_sources, const char* name) {
  uint32_t seed = 1;
  for (uint32_t any_offset : kOffsets) {
    const uint32_t offset = any_offset & ~uint32_t(pixel_bytes - 1);
    for (int32_t width : kWidths) {
      Images im(seed++);
      run(im, offset, width);
      std::vector<uint8_t> expected = im.before;
      const int elements = width * pixel_bytes / layout.bytes;
      for (int32_t row = 0; row < kRows; ++row) {
        for (int e = 0; e < elements; ++e) {
          const size_t at = offset + size_t(row) * kStride + size_t(e) * layout.bytes;
          const int64_t a = layout.load(im.src1.host() + at);
          const int64_t b = two_sources ? layout.load(im.src2.host() + at) : 0;
          layout.store(expected.data() + at, reference(a, b));
        }
      }
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), im.dst.host()))
          << name << " offset " << offset << " width " << width;
    }
  }
}

void check_dyadic(Kernel2 k8, Kernel2 k16, Kernel2 k32, const Reference& r, const char* name) {
  const auto run = [](Kernel2 k) {
    return [k](Images& im, uint32_t offset, int32_t width) {
      k(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset, kStride,
        im.src2.alias() + offset, kStride);
    };
  };
  check(kU8, 1, run(k8), r, true, name);
  check(kS16, 2, run(k16), r, true, name);
  check(kChannels, 4, run(k32), r, true, name);
}

TEST(KernelResults, TwoSourceArithmeticSaturatesToThePixelRange) {
  check_dyadic(
      sl_rect_add_8, sl_rect_add_16, sl_rect_add_32, [](int64_t a, int64_t b) { return a + b; },
      "add");
  check_dyadic(
      sl_rect_sub_8, sl_rect_sub_16, sl_rect_sub_32, [](int64_t a, int64_t b) { return a - b; },
      "sub");
  check_dyadic(
      sl_rect_mul_8, sl_rect_mul_16, sl_rect_mul_32, [](int64_t a, int64_t b) { return a * b; },
      "mul");
  check_dyadic(
      sl_rect_min_8, sl_rect_min_16, sl_rect_min_32,
      [](int64_t a, int64_t b) { return std::min(a, b); }, "min");
  check_dyadic(
      sl_rect_max_8, sl_rect_max_16, sl_rect_max_32,
      [](int64_t a, int64_t b) { return std::max(a, b); }, "max");
  check_dyadic(
      sl_rect_diff_8, sl_rect_diff_16, sl_rect_diff_32,
      [](int64_t a, int64_t b) { return a > b ? a - b : b - a; }, "diff");
}

using KernelC = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t,
                         const int32_t*);

// A constant kernel with one value (8, 16) or four channel values (32).
void check_constant(KernelC k8, KernelC k16, KernelC k32,
                    const std::function<int64_t(int64_t p, int32_t c)>& r, const char* name,
                    std::initializer_list<int32_t> constants) {
  for (int32_t c : constants) {
    const auto run = [c](KernelC k) {
      return [k, c](Images& im, uint32_t offset, int32_t width) {
        const int32_t values[4] = {c, c, c, c};
        k(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset, kStride,
          values);
      };
    };
    const auto ref = [&](int64_t p, int64_t) { return r(p, c); };
    check(kU8, 1, run(k8), ref, false, name);
    check(kS16, 2, run(k16), ref, false, name);
    check(kChannels, 4, run(k32), ref, false, name);
  }
}

int64_t shift_left(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? 0 : int32_t(uint32_t(p) << c);
}
int64_t shift_right_logical(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? 0 : int32_t(uint32_t(p) >> c);
}
int64_t shift_right_arithmetic(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? (p < 0 ? -1 : 0) : int64_t(int32_t(p) >> c);
}

TEST(KernelResults, ConstantArithmeticMatchesItsOperation) {
  const auto arithmetic = {0, 10, -300, 40000, INT32_MAX, INT32_MIN};
  check_constant(
      sl_rect_adds_8, sl_rect_adds_16, sl_rect_adds_32,
      [](int64_t p, int32_t c) { return sat32(p + c); }, "adds", arithmetic);
  check_constant(
      sl_rect_subs_8, sl_rect_subs_16, sl_rect_subs_32,
      [](int64_t p, int32_t c) { return sat32(p - c); }, "subs", arithmetic);
  check_constant(
      sl_rect_subr_8, sl_rect_subr_16, sl_rect_subr_32,
      [](int64_t p, int32_t c) { return sat32(c - p); }, "subr", arithmetic);
  check_constant(
      sl_rect_mins_8, sl_rect_mins_16, sl_rect_mins_32,
      [](int64_t p, int32_t c) { return std::min<int64_t>(p, c); }, "mins", arithmetic);
  check_constant(
      sl_rect_maxs_8, sl_rect_maxs_16, sl_rect_maxs_32,
      [](int64_t p, int32_t c) { return std::max<int64_t>(p, c); }, "maxs", arithmetic);
  check_constant(
      sl_rect_diffs_8, sl_rect_diffs_16, sl_rect_diffs_32,
      [](int64_t p, int32_t c) { return sat32(p > c ? p - c : c - p); }, "diffs", arithmetic);
  const auto shifts = {0, 1, 7, 31, 32, 100};
  check_constant(sl_rect_sll_8, sl_rect_sll_16, sl_rect_sll_32, shift_left, "sll", shifts);
  check_constant(sl_rect_srl_8, sl_rect_srl_16, sl_rect_srl_32, shift_right_logical, "srl",
                 shifts);
  check_constant(sl_rect_sra_8, sl_rect_sra_16, sl_rect_sra_32, shift_right_arithmetic, "sra",
                 shifts);
}

TEST(KernelResults, ChannelConstantsMeetTheirOwnChannel) {
  AliasedBuffer image(1);
  const int32_t values[4] = {1, 2, 3, 4};
  sl_rect_adds_32(image.alias() + 64, 0, 13, 1, image.alias(), 0, values);
  for (int p = 0; p < 13; ++p) {
    for (int k = 0; k < 4; ++k) EXPECT_EQ(image.host()[64 + 4 * p + k], k + 1);
  }
}

TEST(KernelResults, ScaledMultiplyShiftsTheFixedPointProduct) {
  // (p * m) >> 8 >> s, rounding toward minus infinity; factor 1.0 is m = 32768, s = 7.
  for (auto [m, s] : {std::pair{32768, 7}, {32768, 8}, {51200, 0}, {65536, 0}, {40000, 15}}) {
    const auto run = [m, s](auto kernel) {
      return [kernel, m, s](Images& im, uint32_t offset, int32_t width) {
        const int32_t mult[4] = {m, m, m, m}, shift[4] = {s, s, s, s};
        kernel(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset,
               kStride, mult, shift);
      };
    };
    const auto ref = [m, s](int64_t p, int64_t) { return sat32((p * m) >> 8) >> s; };
    check(kU8, 1, run(sl_rect_muls_8), ref, false, "muls");
    check(kS16, 2, run(sl_rect_muls_16), ref, false, "muls");
    check(kChannels, 4, run(sl_rect_muls_32), ref, false, "muls");
  }
}

TEST(KernelResults, ScaledMultiplyOfFourChannelsUsesEachChannelsFactor) {
  AliasedBuffer image(1);
  std::fill(image.host(), image.host() + 40, 200);
  const int32_t mult[4] = {32768, 32768, 65536, 51200}, shift[4] = {7, 8, 0, 0};
  sl_rect_muls_32(image.alias() + 64, 0, 10, 1, image.alias(), 0, mult, shift);
  for (int p = 0; p < 10; ++p) {
    EXPECT_EQ(image.host()[64 + 4 * p + 0], 200);
    EXPECT_EQ(image.host()[64 + 4 * p + 1], 100);
    EXPECT_EQ(image.host()[64 + 4 * p + 2], 255);
    EXPECT_EQ(image.host()[64 + 4 * p + 3], 255);
  }
}

int64_t rop(uint32_t code, int64_t a, int64_t b) {
  int64_t out = 0;
  for (int bit = 0; bit < 32; ++bit) {
    const int index = 2 * int((a >> bit) & 1) + int((b >> bit) & 1);
    out |= int64_t((code >> index) & 1) << bit;
  }
  return out;
}

TEST(KernelResults, BitwiseKernelsApplyTheRasterOp) {
  // Stores keep the element's low bits: a byte, a raw 16-bit word, a whole word.
  const Layout raw8{Format::u8, 1};
  for (uint32_t code : {0x88u, 0xEEu, 0x66u, 0x11u, 0xCCu}) {
    sl_ctx_rasterop_set(code);
    const auto two = [](auto k) {
      return [k](Images& im, uint32_t offset, int32_t width) {
        k(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset, kStride,
          im.src2.alias() + offset, kStride);
      };
    };
    const auto bytes = [code](int64_t a, int64_t b) { return rop(code, a, b) & 0xFF; };
    check(raw8, 1, two(sl_rect_bool_8), bytes, true, "bool_8");
    check(raw8, 4, two(sl_rect_bool_32), bytes, true, "bool_32");
    // 16-bit words as raw numbers: compare them byte by byte in host order.
    const auto words = [code](int64_t a, int64_t b) { return rop(code, a, b) & 0xFF; };
    check(raw8, 2, two(sl_rect_bool_16), words, true, "bool_16");

    const int32_t constant = int32_t(0xA5C3F00Fu);
    const auto one = [constant](auto k) {
      return [k, constant](Images& im, uint32_t offset, int32_t width) {
        k(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset, kStride,
          &constant);
      };
    };
    check(
        raw8, 1, one(sl_rect_bools_8),
        [code](int64_t a, int64_t) { return rop(code, a, 0x0F) & 0xFF; }, false, "bools_8");
  }
  sl_ctx_rasterop_set(0xCC);
}

TEST(KernelResults, BitwiseConstantOfFourBytePixelsIsOneWholeWord) {
  AliasedBuffer image(1);
  std::fill(image.host(), image.host() + 64, 0xFF);
  const int32_t constant = 0x11223344;
  sl_ctx_rasterop_set(0x88);
  sl_rect_bools_32(image.alias() + 64, 0, 16, 1, image.alias(), 0, &constant);
  sl_ctx_rasterop_set(0xCC);
  for (int p = 0; p < 16; ++p) {
    EXPECT_EQ(image.host()[64 + 4 * p], 0x11) << "lane 0 is the lowest address";
    EXPECT_EQ(image.host()[64 + 4 * p + 3], 0x44);
  }
}

TEST(KernelResults, CopiesMoveEveryByteOfTheRectangleAndNothingElse) {
  const auto copy = [](auto k) {
    return [k](Images& im, uint32_t offset, int32_t width) {
      k(im.dst.alias() + offset, kStride, width, kRows, im.src1.alias() + offset, kStride);
    };
  };
  const auto same = [](int64_t a, int64_t) { return a; };
  check(kU8, 1, copy(sl_rect_copy_8), same, false, "copy_8");
  check(kU8, 2, copy(sl_rect_copy_16), same, false, "copy_16");
  check(kU8, 4, copy(sl_rect_copy_32), same, false, "copy_32");
}

TEST(KernelResults, ByteCopiesRealignEveryCombinationOfAlignments) {
  for (uint32_t from = 0; from < 4; ++from) {
    for (uint32_t to = 0; to < 4; ++to) {
      for (int32_t width : {31, 32, 33, 63, 64, 65, 67, 68, 127, 128, 129, 200, 300}) {
        Images im(from * 16 + to);
        sl_rect_copy_8(im.dst.alias() + 8 + to, 512, width, 3, im.src1.alias() + 8 + from, 512);
        for (int32_t row = 0; row < 3; ++row) {
          const uint8_t* s = im.src1.host() + 8 + from + row * 512;
          const uint8_t* d = im.dst.host() + 8 + to + row * 512;
          ASSERT_TRUE(std::equal(s, s + width, d)) << from << "->" << to << " width " << width;
          EXPECT_EQ(d[-1], im.before[8 + to + row * 512 - 1]);
          EXPECT_EQ(d[width], im.before[8 + to + row * 512 + width]);
        }
      }
    }
  }
}

TEST(KernelResults, ByteCopiesNeverReadPastTheLastSourceByte) {
  // Each row ends on the last byte of the source's mapping; a read beyond would fault.
  for (uint32_t from = 0; from < 4; ++from) {
    for (int32_t width : {37, 66, 67, 130}) {
      AliasedBuffer src(1), dst(1);
      const uint32_t start = 4096 - uint32_t(width);
      sl_rect_copy_8(dst.alias() + 1 + from, 0, width - int32_t(from), 1,
                     src.alias() + start + from, 0);
      EXPECT_TRUE(
          std::equal(src.host() + start + from, src.host() + 4096, dst.host() + 1 + from));
    }
  }
}

}  // namespace
