// Pointwise kernels on the processor model against plain references: every member in each
// format, widths around the chunk sizes, rows across pages, the bytes around each rectangle
// left alone.
#include <gtest/gtest.h>

#include <array>
#include <climits>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;

namespace {

const Widths kWidths{0, 1, 7, 11, 12, 13, 16, 17, 31, 32, 33, 64, 100};

int64_t sat32(int64_t v) {
  return std::clamp<int64_t>(v, INT32_MIN, INT32_MAX);
}

// Element k of a pixel (its channel) from the sources' elements a and b.
using ElementRef = std::function<int64_t(int64_t a, int64_t b, int k)>;

// A family's formats: bytes, signed 16-bit numbers (or, `raw`, two bytes), four channels.
void check_formats(const char* name, const std::array<Run, 3>& runs, const ElementRef& ref,
                   bool raw = false) {
  const int element[3] = {1, raw ? 1 : 2, 1}, count[3] = {1, raw ? 2 : 1, 4};
  for (int f = 0; f < 3; ++f) {
    const uint32_t bytes = uint32_t(element[f] * count[f]);
    check(name, runs[f], {bytes}, {bytes}, kWidths, [&](const Pixel& p) {
      for (int k = 0, e = 0; k < count[f]; ++k, e += element[f]) {
        put(p.out + e, element[f],
            ref(get(p.in1 + e, element[f]), get(p.in2 + e, element[f]), k));
      }
    });
  }
}

#define FORMATS(name) #name, sl_rect_##name##_8, sl_rect_##name##_16, sl_rect_##name##_32

using Kernel2 = void (*)(SL_RECT_2SRC_ARGS);
struct DyadicFamily {
  const char* name;
  Kernel2 k8, k16, k32;
  int64_t (*ref)(int64_t a, int64_t b);
};

TEST(KernelResults, TwoSourceArithmeticSaturatesToThePixelRange) {
  const DyadicFamily families[] = {
      {FORMATS(add), [](int64_t a, int64_t b) { return a + b; }},
      {FORMATS(sub), [](int64_t a, int64_t b) { return a - b; }},
      {FORMATS(mul), [](int64_t a, int64_t b) { return a * b; }},
      {FORMATS(min), [](int64_t a, int64_t b) { return std::min(a, b); }},
      {FORMATS(max), [](int64_t a, int64_t b) { return std::max(a, b); }},
      {FORMATS(diff), [](int64_t a, int64_t b) { return a > b ? a - b : b - a; }}};
  for (const DyadicFamily& f : families) {
    check_formats(f.name, {two_sources(f.k8), two_sources(f.k16), two_sources(f.k32)},
                  [&](int64_t a, int64_t b, int) { return f.ref(a, b); });
  }
}

using KernelC = void (*)(SL_RECT_1SRC_ARGS, const int32_t*);
struct ConstantFamily {
  const char* name;
  KernelC k8, k16, k32;
  int64_t (*ref)(int64_t p, int32_t c);
  std::vector<int32_t> constants;
};

int64_t shift_left(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? 0 : int32_t(uint32_t(p) << c);
}
int64_t shift_right_logical(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? 0 : int32_t(uint32_t(p) >> c);
}
int64_t shift_right_arithmetic(int64_t p, int32_t c) {
  return uint32_t(c) >= 32 ? (p < 0 ? -1 : 0) : int32_t(p) >> c;
}

TEST(KernelResults, ConstantArithmeticMatchesItsOperationWithEachChannelsConstant) {
  const std::vector<int32_t> arithmetic{0, 10, -300, 40000, INT32_MAX, INT32_MIN};
  const std::vector<int32_t> shifts{0, 1, 7, 31, 32, 100};
  const ConstantFamily families[] = {
      {FORMATS(adds), [](int64_t p, int32_t c) { return sat32(p + c); }, arithmetic},
      {FORMATS(subs), [](int64_t p, int32_t c) { return sat32(p - c); }, arithmetic},
      {FORMATS(subr), [](int64_t p, int32_t c) { return sat32(c - p); }, arithmetic},
      {FORMATS(mins), [](int64_t p, int32_t c) { return std::min<int64_t>(p, c); }, arithmetic},
      {FORMATS(maxs), [](int64_t p, int32_t c) { return std::max<int64_t>(p, c); }, arithmetic},
      {FORMATS(diffs), [](int64_t p, int32_t c) { return sat32(p > c ? p - c : c - p); },
       arithmetic},
      {FORMATS(sll), shift_left, shifts},
      {FORMATS(srl), shift_right_logical, shifts},
      {FORMATS(sra), shift_right_arithmetic, shifts}};
  for (const ConstantFamily& f : families) {
    for (int32_t c : f.constants) {
      const int32_t values[4] = {c, c ^ 1, c ^ 2, c ^ 3};  // _32: one per channel
      check_formats(
          f.name,
          {one_source(f.k8, values), one_source(f.k16, values), one_source(f.k32, values)},
          [&](int64_t p, int64_t, int k) { return f.ref(p, values[k]); });
    }
  }
}

TEST(KernelResults, ScaledMultiplyShiftsTheFixedPointProductWithEachChannelsFactor) {
  // (p * m) >> 8 >> s, rounding toward minus infinity; factor 1.0 is m = 32768, s = 7.
  const std::pair<int32_t, int32_t> factors[] = {
      {32768, 7}, {32768, 8}, {51200, 0}, {65536, 0}, {40000, 15}};
  for (int i = 0; i < 5; ++i) {
    int32_t mult[4], shift[4];  // _8, _16: the first; _32: one per channel
    for (int k = 0; k < 4; ++k) std::tie(mult[k], shift[k]) = factors[(i + k) % 5];
    check_formats(
        "muls",
        {one_source(sl_rect_muls_8, mult, shift), one_source(sl_rect_muls_16, mult, shift),
         one_source(sl_rect_muls_32, mult, shift)},
        [&](int64_t p, int64_t, int k) { return sat32((p * mult[k]) >> 8) >> shift[k]; });
  }
}

TEST(KernelResults, BitwiseKernelsApplyTheRasterOpToRawElements) {
  // A constant's bytes as each format meets them: the low byte, the low 16 bits in host
  // order, the whole word with lane 0 at the lowest address.
  const int32_t constant = int32_t(0xA5C3F00Fu);
  const uint16_t half = uint16_t(constant);
  uint8_t half_bytes[2];
  std::memcpy(half_bytes, &half, 2);
  const uint8_t word_bytes[4] = {0xA5, 0xC3, 0xF0, 0x0F};
  for (uint32_t code : {0x88u, 0xEEu, 0x66u, 0x11u, 0xCCu}) {
    sl_ctx_rasterop_set(code);
    check_formats(
        "bool",
        {two_sources(sl_rect_bool_8), two_sources(sl_rect_bool_16),
         two_sources(sl_rect_bool_32)},
        [code](int64_t a, int64_t b, int) {
          return uint8_t(rop(code, uint32_t(a), uint32_t(b)));
        },
        true);
    const KernelC bools[3] = {sl_rect_bools_8, sl_rect_bools_16, sl_rect_bools_32};
    const uint8_t* constant_bytes[3] = {word_bytes + 3, half_bytes, word_bytes};
    for (uint32_t f = 0; f < 3; ++f) {
      check("bools", one_source(bools[f], &constant), {1u << f}, {1u << f}, kWidths,
            [&](const Pixel& p) {
              for (uint32_t k = 0; k < 1u << f; ++k)
                p.out[k] = uint8_t(rop(code, p.in1[k], constant_bytes[f][k]));
            });
    }
  }
  sl_ctx_rasterop_set(0xCC);
}

}  // namespace
