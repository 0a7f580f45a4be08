// Convolution kernels on the processor model: every member against a plain per-rectangle
// reference (converted coefficients, exact products, every accumulate saturated, the store's
// shift and clamp), over every edge mode, sizes around N and around the strip changes,
// rows across pages; then the word streams where the sequence itself can go wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_word.h"
#include "sweep.h"

using kxtest::AliasedBuffer;
using kxtest::TraceCapture;
using sweep::Bytes;
using Words = std::vector<uint32_t>;

namespace {

using SquareFn = void (*)(SL_CONVOLVE_ARGS, const float*, int32_t);
using SeparableFn = void (*)(SL_CONVOLVE_ARGS, const float*, const float*, int32_t);

struct Kernel {
  std::string name;
  int32_t n;
  bool separable, fine;
  uint32_t bytes;  // distance between pixels: 1, 2, or 4 for one channel of 4-byte pixels
  int32_t strip;
  SquareFn square;
  SeparableFn split;

  int32_t r() const { return n / 2; }
  double scale() const { return fine ? 65536.0 : 256.0; }
  void operator()(uint32_t dst, int32_t dst_stride, int32_t width, int32_t height, uint32_t src,
                  int32_t src_stride, int32_t limit_width, int32_t limit_height, int32_t x,
                  int32_t y, const float* c, int32_t mode) const {
    if (split) {
      split(dst, dst_stride, width, height, src, src_stride, limit_width, limit_height, x, y, c,
            c + n, mode);
    } else {
      square(dst, dst_stride, width, height, src, src_stride, limit_width, limit_height, x, y,
             c, mode);
    }
  }
};

constexpr uint32_t bytes_of(const char* format) {
  return format[0] == '8' ? 1 : format[1] == '6' ? 2 : 4;
}

// Output columns a strip.
constexpr int32_t strip(int32_t n, bool separable) {
  return n == 3 ? (separable ? 26 : 24) : n == 5 ? 16 : separable ? 12 : 8;
}

const std::vector<Kernel>& kernels() {
  static const std::vector<Kernel> all = [] {
    std::vector<Kernel> out;
#define SQUARE(name, n, bits, fmt)                                                  \
  out.push_back({#name, n, false, #bits[0] == 'h', bytes_of(#fmt), strip(n, false), \
                 sl_rect_##name, nullptr});
#define SEPARABLE(name, n, fmt) \
  out.push_back(                \
      {#name, n, true, false, bytes_of(#fmt), strip(n, true), nullptr, sl_rect_##name});
    SL_SQUARE_CONVOLUTIONS(SQUARE)
    SL_SEPARABLE_CONVOLUTIONS(SEPARABLE)
#undef SQUARE
#undef SEPARABLE
    return out;
  }();
  return all;
}

const Kernel& kernel(const std::string& name) {
  for (const Kernel& k : kernels()) {
    if (k.name == name) return k;
  }
  throw std::out_of_range(name);
}

// ---- The reference

int32_t fixed(float c, double scale) {
  const double v = std::trunc(double(c) * scale);
  return v >= 2147483647.0 ? INT32_MAX : v <= -2147483648.0 ? INT32_MIN : int32_t(v);
}
int32_t sat(int64_t v) {
  return int32_t(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
}

int64_t sample(const Kernel& k, const uint8_t* p) {
  if (k.bytes != 2) return *p;
  int16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
void put(const Kernel& k, uint8_t* p, int64_t v) {
  if (k.bytes != 2) {
    *p = uint8_t(std::clamp<int64_t>(v, 0, 255));
    return;
  }
  const int16_t s = int16_t(std::clamp<int64_t>(v, -32768, 32767));
  std::memcpy(p, &s, 2);
}

// One rectangle: source and destination host pointers at its top-left pixel.
struct Rect {
  const uint8_t* src;
  int32_t src_stride;
  uint8_t* dst;
  int32_t dst_stride, width, height;
};

// What the kernel makes of the rectangle, written into `out.dst`.
void reference(const Kernel& k, const float* coefficients, const Rect& out, int32_t mode) {
  const int32_t n = k.n, r = k.r(), w = out.width, h = out.height;
  std::vector<int32_t> c(size_t(k.separable ? 2 * n : n * n));
  for (size_t i = 0; i < c.size(); ++i) c[i] = fixed(coefficients[i], k.scale());
  const auto at = [&](int32_t x, int32_t y) {  // edges repeated
    x = std::clamp(x, 0, w - 1), y = std::clamp(y, 0, h - 1);
    return sample(k, out.src + y * out.src_stride + x * int32_t(k.bytes));
  };
  const bool small = w < n || h < n;
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      uint8_t* d = out.dst + y * out.dst_stride + x * int32_t(k.bytes);
      const bool border = small || x < r || y < r || x >= w - r || y >= h - r;
      if (mode != 1 && border) {
        if (mode == 0) put(k, d, 0);
        continue;
      }
      int32_t sum = 0;
      if (k.separable) {
        for (int32_t u = 0; u < n; ++u) {
          int32_t filtered = 0;
          for (int32_t v = 0; v < n; ++v)
            filtered = sat(filtered + at(x - r + v, y - r + u) * c[size_t(v)]);
          sum = sat(sum + int64_t(filtered) * c[size_t(n + u)]);
        }
        put(k, d, sum >> 16);
        continue;
      }
      for (int32_t i = 0; i < n * n; ++i) {
        const int64_t product = at(x - r + i % n, y - r + i / n) * c[size_t(i)];
        sum = sat(sum + (k.fine ? product >> 8 : product));
      }
      put(k, d, sum >> 8);
    }
  }
}

// ---- Running kernels against the reference

// Random coefficients: multiples of 1/256 and arbitrary values, both signs.
std::vector<float> coefficients(const Kernel& k, std::mt19937& random) {
  std::vector<float> c(size_t(k.separable ? 2 * k.n : k.n * k.n));
  std::uniform_real_distribution<float> any(-1.5f, 1.5f);
  for (float& v : c) v = random() % 2 ? float(int(random() % 769) - 384) / 256.0f : any(random);
  return c;
}

class Convolve : public ::testing::Test {
 protected:
  static constexpr int32_t kStride = 1000;  // wide rows of the lower rows cross pages
  AliasedBuffer src{4}, dst{4};
  std::mt19937 random{11};
  uint32_t runs = 0;

  void SetUp() override { sl_ctx_planemask_set(0xFFFFFFFF); }

  // The kernel over a width x height rectangle at (x, y) of a source clipped to it: the
  // kernel is asked for `extra` more columns and rows than the source has. Destination
  // rows start at every alignment near a page end; 32c works on a rotating channel. Every
  // byte of the destination buffer must be as the reference says.
  void check(const Kernel& k, int32_t width, int32_t height, int32_t mode,
             int32_t stride = kStride, const std::vector<float>* given = nullptr) {
    const uint32_t spot = sweep::kOffsets[runs % std::size(sweep::kOffsets)];
    const uint32_t channel = k.bytes == 4 ? runs % 4 : 0;
    const uint32_t d = (spot & ~(k.bytes - 1)) + channel;
    const uint32_t s = ((spot * 7) & 0x7FF & ~(k.bytes - 1)) + channel;
    const int32_t x = int32_t(runs % 3), y = int32_t(runs % 2), extra = int32_t(runs % 2) * 3;
    ++runs;
    sweep::randomize(src), sweep::randomize(dst);
    const std::vector<float> c = given ? *given : coefficients(k, random);
    Bytes expected(dst.host(), dst.host() + dst.size());
    k(dst.alias() + d, stride, width + extra, height + extra, src.alias() + s, stride,
      x + width, y + height, x, y, c.data(), mode);
    if (kxm::config().deferred) kxm::drain();
    const uint8_t* first = src.host() + s + y * stride + x * int32_t(k.bytes);
    reference(k, c.data(), Rect{first, stride, expected.data() + d, stride, width, height},
              mode);
    ASSERT_TRUE(sweep::same(expected, dst.host()))
        << k.name << " mode " << mode << " " << width << " x " << height << " at +" << d;
  }

  // Widths 1 .. N + 1 and every width around the strip changes.
  static std::vector<int32_t> widths(const Kernel& k) {
    std::vector<int32_t> out;
    for (int32_t w = 1; w <= k.n + 1; ++w) out.push_back(w);
    for (int32_t w = k.strip - 1; w <= k.strip + 2 * k.r() + 1; ++w) out.push_back(w);
    for (int32_t w : {2 * k.strip - 1, 2 * k.strip, 2 * k.strip + k.r(), 2 * k.strip + k.n})
      out.push_back(w);
    return out;
  }
};

TEST_F(Convolve, EveryMemberMatchesTheReferenceInEveryModeAroundNAndTheStripChanges) {
  for (const Kernel& k : kernels()) {
    for (int32_t mode : {-1, 0, 1}) {
      for (int32_t width : widths(k)) {
        check(k, width, k.n + 2, mode);
        if (width <= k.n + 1 || width == k.strip + 1) {
          for (int32_t height = 1; height <= k.n + 1; ++height) check(k, width, height, mode);
        }
      }
    }
  }
}

TEST_F(Convolve, DeferredExecutionGivesTheSameResults) {
  // The 5x5 and 7x7 kernels write r1 directly between queued multiplies.
  kxm::Config config;
  config.deferred = true;
  kxm::configure(config);
  for (const Kernel& k : kernels()) {
    for (int32_t mode : {-1, 0, 1}) {
      for (int32_t width : {k.n, k.strip + 1, 2 * k.strip + k.n})
        check(k, width, k.n + 1, mode);
    }
  }
  kxm::configure({});
}

TEST_F(Convolve, TwoByAHundredIsZeroFilledLeftAloneOrConvolvedWithTheEdgesRepeated) {
  const Kernel& k = kernel("cnv3x3f_8");
  for (int32_t mode : {-1, 0, 1}) {
    TraceCapture trace;
    check(k, 2, 100, mode, 64);
    if (mode == -1) {
      EXPECT_TRUE(trace.lines().empty()) << "nothing issued";
    }
    if (mode == 0) {
      for (const auto& [address, word] : trace.memory())
        EXPECT_NE((word >> 19) & 0xF, uint32_t(SL_LD)) << "only the fill";
    }
  }
}

TEST_F(Convolve, ExtremeCoefficientsAndSamplesSaturateAsTheReferenceDoes) {
  for (const char* name : {"cnv3x3f_16", "cnv5x5h_16", "scnv7x7f_16", "cnv7x7f_8"}) {
    const Kernel& k = kernel(name);
    std::vector<float> c(size_t(k.separable ? 2 * k.n : k.n * k.n), -1e10f);
    for (size_t i = 0; i < c.size(); i += 2) c[i] = 1e10f;
    for (int32_t mode : {0, 1}) check(k, k.strip + 3, k.n + 1, mode, kStride, &c);
  }
}

// ---- Word streams

// The memory words of a trace as (address, word): loads and stores told apart by the op.
struct Access {
  uint32_t address, count, op, reg;
};
std::vector<Access> accesses(const TraceCapture& trace) {
  std::vector<Access> out;
  for (auto [address, word] : trace.memory())
    out.push_back({address | (word & 7), ((word >> 23) & 0x1F) + 1, (word >> 19) & 0xF,
                   (word >> 7) & 0x7F});
  return out;
}

TEST(ConvolveWords, TheDocumentedRowsOfA26By3ZeroBorderedRectangle) {
  AliasedBuffer buffer(2);
  const uint32_t src = buffer.alias(), dst = buffer.alias() + 0x1000;
  const float c[9] = {9, 8, 7, 6, 5, 4, 3, 2, 1};
  TraceCapture trace;
  sl_rect_cnv3x3f_8(dst, 32, 26, 3, src, 32, 26, 3, 0, 0, c, 0);
  for (int i = 0; i < 9; ++i) {
    char line[32];
    std::snprintf(line, sizeof line, "reg %d 0x%08x", 12 + i, (9 - i) * 256);
    EXPECT_EQ(trace.lines()[size_t(i)], line);
  }
  const Words roll{0xBFC00AAF, 0xB9C012BF, 0xBFC017C9, 0xB9C01FD9};
  const Words multiplies{0xB0E0008C, 0x0F457200, 0x07497A00, 0xB0E0008D, 0x0F45B264, 0x0749BA74,
                         0xB0E0008E, 0x0F45F264, 0x0749FA74, 0xB0E0008F, 0x0F4BF264, 0x074FFA74,
                         0xB0E00090, 0x0F4C3264, 0x07503A74, 0xB0E00091, 0x0F4C7264, 0x07507A74,
                         0xB0E00092, 0x0F527264, 0x07567A74, 0xB0E00093, 0x0F52B264, 0x0756BA74,
                         0xB0E00094, 0x0F52F264, 0x0756FA74};
  Words strips;
  const auto add = [&](const Words& w) { strips.insert(strips.end(), w.begin(), w.end()); };
  for (const auto& [load, last] : {std::pair{0x8CD02480u, Words{0x8B907180}},
                                   std::pair{0x81502480u, Words{0xB0E03280, 0x80907200}}}) {
    add({load}), add(roll), add({load}), add(roll), add({load}), add(multiplies), add(last);
    add(roll);
  }
  // Memory words compared without the address's low bits (the strip after the first loads
  // from column 23).
  Words words = trace.words();
  for (uint32_t& w : words) {
    if (w >> 28 == 8) w &= ~7u;
  }
  ASSERT_EQ(words.front(), 0xB0E03180u) << "r99 cleared first";
  const auto first_load = std::find(words.begin(), words.end(), 0x8CD02480u);
  EXPECT_EQ(Words(first_load, words.end()), strips);
}

TEST(ConvolveWords, HTwinsDifferOnlyInMultiplyWordsAndCoefficientValues) {
  AliasedBuffer buffer(2);
  std::vector<float> c(49, 0.25f);
  for (const char* format : {"_8", "_16", "_32c"}) {
    for (int n : {3, 5, 7}) {
      const std::string size = std::to_string(n) + "x" + std::to_string(n);
      std::vector<std::string> lines[2];
      for (int fine = 0; fine < 2; ++fine) {
        TraceCapture trace;
        kernel("cnv" + size + (fine ? "h" : "f") + format)(
            buffer.alias() + 0x1000, 128, 40, 9, buffer.alias(), 128, 40, 9, 0, 0, c.data(), 1);
        lines[fine] = trace.lines();
      }
      ASSERT_EQ(lines[0].size(), lines[1].size());
      for (size_t i = 0; i < lines[0].size(); ++i) {
        const std::string &f = lines[0][i], &h = lines[1][i];
        if (f == h) continue;
        if (f.rfind("reg ", 0) == 0) {
          EXPECT_EQ(f.substr(0, f.rfind(' ')), h.substr(0, h.rfind(' '))) << "same register";
          continue;
        }
        const uint32_t fw = uint32_t(std::stoul(f.substr(6), nullptr, 16));
        const uint32_t hw = uint32_t(std::stoul(h.substr(6), nullptr, 16));
        EXPECT_EQ(fw & 0xF0E00000u, 0x00400000u) << f << " is a 0/010 multiply";
        EXPECT_EQ(fw ^ 0x10800000u, hw) << size << format;
      }
    }
  }
}

TEST(ConvolveWords, CoefficientsAreTruncatedAndSaturatedIntoTheirRegisters) {
  AliasedBuffer buffer(2);
  const float c[9] = {0.999f, -0.5f, 1e10f, -1e10f, 1.0f, -0.001f, 0, 2.5f, -2.5f};
  const auto values = [&](SquareFn kernel) {
    TraceCapture trace;
    kernel(buffer.alias() + 0x1000, 16, 3, 3, buffer.alias(), 16, 3, 3, 0, 0, c, 1);
    Words out;
    for (size_t i = 0; i < 9; ++i) {
      const std::string& line = trace.lines()[i];
      out.push_back(uint32_t(std::stoul(line.substr(line.rfind(' ') + 1), nullptr, 16)));
    }
    return out;
  };
  EXPECT_EQ(values(sl_rect_cnv3x3f_8), (Words{255, uint32_t(-128), 0x7FFFFFFF, 0x80000000, 256,
                                              0, 0, 640, uint32_t(-640)}));
  EXPECT_EQ(values(sl_rect_cnv3x3h_8),
            (Words{65470, uint32_t(-32768), 0x7FFFFFFF, 0x80000000, 65536, uint32_t(-65), 0,
                   163840, uint32_t(-163840)}));
}

TEST(ConvolveWords, LoadsAndStoresStayInsideTheRectangleAtEveryStripChange) {
  AliasedBuffer buffer(3);
  std::vector<float> c(49, 0.125f);
  constexpr int32_t kStride = 256, kHeight = 8;
  for (const Kernel& k : kernels()) {
    for (int32_t mode : {-1, 0, 1}) {
      for (int32_t width = 1; width <= 2 * k.strip + 2 * k.n; ++width) {
        if (int32_t(k.bytes) * width > kStride) continue;
        const uint32_t src = buffer.alias(), dst = buffer.alias() + 0x2000;
        TraceCapture trace;
        k(dst, kStride, width, kHeight, src, kStride, width, kHeight, 0, 0, c.data(), mode);
        for (const Access& a : accesses(trace)) {
          const bool load = a.op == SL_LD;
          const uint32_t base = load ? src : dst;
          const uint32_t column = (a.address - base) % kStride;
          const uint32_t row = (a.address - base) / kStride;
          const uint32_t last = column + (a.count - 1) * k.bytes;
          ASSERT_TRUE(a.address >= base && row < kHeight && last < uint32_t(width) * k.bytes)
              << k.name << " mode " << mode << " width " << width << (load ? " load" : " store")
              << " at column " << column / k.bytes << " of " << a.count;
        }
      }
    }
  }
}

TEST(ConvolveWords, AStoreAcrossAPageSplitsWithItsFormatsFlagsAndKeepsItsChannel) {
  AliasedBuffer buffer(4);
  const float c[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
  for (const char* name : {"cnv3x3f_8", "cnv3x3f_16", "cnv3x3f_32c"}) {
    const Kernel& k = kernel(name);
    const uint32_t channel = k.bytes == 4 ? 2 : 0;
    // Eight pixels before the page end, sixteen after it.
    const uint32_t dst = buffer.alias() + 0x2000 - 8 * k.bytes + channel;
    TraceCapture trace;
    k(dst, 0x400, 24, 1, buffer.alias() + channel, 0x400, 24, 1, 0, 0, c, 1);
    std::vector<Access> stores;
    for (const Access& a : accesses(trace))
      if (a.op == SL_ST2) stores.push_back(a);
    ASSERT_EQ(stores.size(), 2u) << name;
    EXPECT_EQ(stores[0].address, dst);
    EXPECT_EQ(stores[0].count, 8u);
    EXPECT_EQ(stores[1].address, buffer.alias() + 0x2000 + channel) << name;
    EXPECT_EQ(stores[1].count, 16u);
    EXPECT_EQ(stores[1].reg, stores[0].reg + 8) << "the second piece's registers follow";
  }
}

}  // namespace
