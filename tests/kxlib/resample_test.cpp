// Resampling kernels on the processor model. Every member against a plain model of its own
// arithmetic, written pixel by pixel rather than strip by strip: the clipping prologue, one
// 16.16 position per output column and row (nearest: the pixel it lies in; bilinear: the
// two neighbours weighed by the top 8 fraction bits), the replication factors, the inverse
// affine mapping. Results are exact: every word these kernels issue is exact on the values
// the references take. Bytes outside what a call writes must keep their values. Word streams
// where the sequence is what can go wrong: replication order, partial groups, bilinear's
// last column, the affine chunk, short chunks and masked stores across a page.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "kx_model.h"
#include "sl_kernels.h"
#include "sweep.h"

using namespace sweep;
using kxtest::TraceCapture;
using Words = std::vector<uint32_t>;

namespace {

using ResizeKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, int32_t,
                              int32_t, const float*);
using AffineKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, int32_t,
                              int32_t, uint32_t, const float*);

// An element as the kernels see it: a byte, an unsigned 16-bit number, or (lane kernels)
// one byte of a 4-byte pixel; whole 4-byte pixels are compared as bytes.
struct Element {
  uint32_t bytes;  // distance between pixels
  uint32_t size;   // bytes the element itself occupies
};

int64_t read(const uint8_t* p, uint32_t size) {
  if (size == 2) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
  }
  return *p;
}
void write(uint8_t* p, uint32_t size, int64_t v) {
  if (size == 2) {
    const uint16_t u = uint16_t(v);
    std::memcpy(p, &u, 2);
  } else {
    *p = uint8_t(v);
  }
}

// The documented clipping prologue.
struct Clip {
  int32_t dx = 0, dy = 0, sx = 0, sy = 0;  // moved starts, in pixels and rows
  int32_t cols = 0, rows = 0, n = 0, nrows = 0;
  uint32_t xstep = 0, ystep = 0, fx = 0, fy = 0;
  bool empty = true;
};

enum Family { kNearest, kBilinear, kBicubic };

Clip prologue(Family family, int32_t W, int32_t H, int32_t w, int32_t h, const float* m) {
  Clip c;
  const bool interpolating = family != kNearest;
  const float round = interpolating ? 0.0f : 0.4999f;
  const int32_t tx = int32_t(m[2] + round), ty = int32_t(m[5] + round);
  int32_t w0 = w, h0 = h;
  if (tx >= 0) {
    c.dx = tx, W -= tx;
  } else {
    c.sx = -tx, w += tx;
  }
  if (ty >= 0) {
    c.dy = ty, H -= ty;
  } else {
    c.sy = -ty, h += ty;
  }
  if (family == kBicubic) w0 = w, h0 = h;
  const float k = interpolating ? 0.4999f : 0.9999f, k2 = interpolating ? 0.4999f : 0.999f;
  const int32_t margin = family == kNearest ? 0 : family == kBilinear ? 1 : 2;
  const auto axis = [&](float scale, int32_t given, int32_t avail, int32_t room, int32_t& out,
                        int32_t& used) {
    out = int32_t(scale * float(given));
    used = given;
    if (out > room) out = room, used = int32_t(float(room) / scale + k);
    if (used > avail) out = int32_t(float(avail) * scale + k2), used = avail;
  };
  axis(m[0], w0, w - margin, W, c.cols, c.n);
  axis(m[4], h0, h - margin, H, c.rows, c.nrows);
  c.empty = c.cols <= 0 || c.rows < 1 || c.n < 1 || c.nrows < 1;
  if (c.empty) return c;
  c.ystep = uint32_t(int32_t(float(c.nrows) / float(c.rows) * 65536.0f));
  const float xstep = float(c.n) / float(c.cols) * 65536.0f;
  c.xstep = uint32_t(int32_t(family == kBicubic ? xstep : xstep + 1.0f));
  if (family == kBicubic) return c;
  c.fx = uint32_t(int32_t(std::fabs(m[2]) * 65536.0f)) & 0xFFFF;
  c.fy = uint32_t(int32_t(std::fabs(m[5]) * 65536.0f)) & 0xFFFF;
  return c;
}

// Buffers for one call: the source rectangle and the destination start well inside theirs,
// rows 160 elements apart so that rows cross pages.
struct Images {
  AliasedBuffer src{12}, out{12};
  static constexpr uint32_t kSrc = 0x1FA0, kDst = 0x1F9C;
  int32_t stride(const Element& e) const { return int32_t(160 * e.bytes); }
};

struct Case {
  int32_t W, H, w, h;
  float m[6];
};

std::ostream& operator<<(std::ostream& os, const Case& c) {
  return os << c.W << "x" << c.H << " from " << c.w << "x" << c.h << " scale " << c.m[0] << ","
            << c.m[4] << " offset " << c.m[2] << "," << c.m[5];
}

// Random resize cases: destinations and sources around the strip and chunk sizes, scales
// from reduction to magnification, offsets whole, fractional and negative.
std::vector<Case> resize_cases(int count) {
  std::mt19937 random(11);
  const int32_t sizes[] = {1, 2, 3, 5, 7, 8, 9, 10, 14, 17, 23, 40};
  const float scales[] = {0.3f, 0.5f, 0.77f, 1.0f, 1.02f, 1.5f, 2.0f, 2.5f, 3.3f};
  const float offsets[] = {0.0f, 0.0f, 1.0f, 2.7f, 0.5f, -1.0f, -3.2f, 5.0f, -0.6f};
  const auto pick = [&random](const auto& list) {
    return list[random() % (sizeof(list) / sizeof(list[0]))];
  };
  std::vector<Case> cases;
  for (int i = 0; i < count; ++i) {
    cases.push_back({pick(sizes) + 3,
                     pick(sizes),
                     pick(sizes),
                     pick(sizes),
                     {pick(scales), 0, pick(offsets), 0, pick(scales), pick(offsets)}});
  }
  return cases;
}

using Expect = std::function<void(const Case&, const Images&, Bytes&, uint32_t d, uint32_t s,
                                  int32_t stride)>;

using Resize = std::function<void(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t,
                                  int32_t, int32_t, const float*)>;

// `small`: 16-bit sources hold 0..255 only.
void check(const char* name, const Resize& kernel, const Element& e, uint32_t lane,
           const std::vector<Case>& cases, const Expect& expect, bool small = false) {
  static Images images;
  const int32_t stride = images.stride(e);
  const uint32_t d = Images::kDst + lane, s = Images::kSrc + lane;
  for (const Case& c : cases) {
    randomize(images.src), randomize(images.out);
    if (small) {
      for (size_t i = 0; i < images.src.size(); i += 2) images.src.host()[i ^ 1] = 0;
    }
    Bytes expected(images.out.host(), images.out.host() + images.out.size());
    kernel(images.out.alias() + d, stride, c.W, c.H, images.src.alias() + s, stride, c.w, c.h,
           c.m);
    if (kxm::config().deferred) kxm::drain();
    expect(c, images, expected, d, s, stride);
    ASSERT_TRUE(same(expected, images.out.host())) << name << " " << c;
  }
}

// Nearest neighbour: one position per output column and row, the pixel it lies in.
Expect nearest(const Element& e) {
  return [e](const Case& k, const Images& im, Bytes& out, uint32_t d, uint32_t s, int32_t st) {
    const Clip c = prologue(kNearest, k.W, k.H, k.w, k.h, k.m);
    if (c.empty) return;
    std::vector<int32_t> rows, cols;
    for (uint32_t y = c.fy, row = 0; int32_t(rows.size()) < c.rows; y += c.ystep) {
      for (; y >= 0x10000; y -= 0x10000) ++row;
      rows.push_back(std::min(int32_t(row), k.h - c.sy - 1));  // never past the last row
    }
    for (uint32_t x = c.fx, col = 0;; x += c.xstep) {
      for (; x >= 0x10000; x -= 0x10000) ++col;
      if (int32_t(col) >= c.n) break;
      cols.push_back(int32_t(col));
    }
    ASSERT_LE(int32_t(cols.size()), c.cols);
    for (size_t i = 0; i < rows.size(); ++i) {
      for (size_t j = 0; j < cols.size(); ++j) {
        const uint32_t to = d + uint32_t((c.dy + int32_t(i)) * st) + (c.dx + j) * e.bytes;
        const uint32_t from = s + uint32_t((c.sy + rows[i]) * st) + (c.sx + cols[j]) * e.bytes;
        std::memcpy(&out[to], im.src.host() + from, e.size);
      }
    }
  };
}

// Bilinear: upper x 256 + (lower - upper) wy, then left + ((right - left) wx >> 8), the 8
// fraction bits truncated at the store; a position exactly on the last column takes it.
Expect bilinear(const Element& e) {
  return [e](const Case& k, const Images& im, Bytes& out, uint32_t d, uint32_t s, int32_t st) {
    const Clip c = prologue(kBilinear, k.W, k.H, k.w, k.h, k.m);
    if (c.empty) return;
    const auto pixel = [&](int32_t row, int32_t col) {
      row = std::min(row, k.h - c.sy - 1);  // never past the last row
      return read(im.src.host() + s + uint32_t((c.sy + row) * st) + (c.sx + col) * e.bytes,
                  e.size);
    };
    for (int32_t i = 0; i < c.rows; ++i) {
      const uint32_t py = c.fy + uint32_t(i) * c.ystep;
      const int32_t upper = int32_t(py >> 16);
      const int64_t wy = (py & 0xFFFF) >> 8;
      const auto v = [&](int32_t col) {
        return pixel(upper, col) * 256 + (pixel(upper + 1, col) - pixel(upper, col)) * wy;
      };
      for (uint32_t j = 0;; ++j) {
        const uint32_t px = c.fx + j * c.xstep;
        const int32_t left = int32_t(px >> 16);
        const int64_t wx = (px & 0xFFFF) >> 8;
        int64_t value;
        if (left + 1 <= c.n - 1) {
          value = (((v(left + 1) - v(left)) * wx) >> 8) + v(left);
        } else if (left == c.n - 1 && (px & 0xFFFF) == 0) {
          value = v(left);
        } else {
          break;
        }
        ASSERT_LT(int32_t(j), c.cols);
        write(&out[d + uint32_t((c.dy + i) * st) + (c.dx + j) * e.bytes], e.size, value >> 8);
        if (left + 1 > c.n - 1) break;
      }
    }
  };
}

TEST(Resample, NearestNeighbourTakesThePixelEachPositionLiesIn) {
  const auto cases = resize_cases(300);
  check("nearresiz_8", sl_rect_nearresiz_8, {1, 1}, 0, cases, nearest({1, 1}));
  check("nearresiz_16", sl_rect_nearresiz_16, {2, 2}, 0, cases, nearest({2, 2}));
  kxm::reset_counters();
  check("nearresiz_32", sl_rect_nearresiz_32, {4, 4}, 0, cases, nearest({4, 4}));
  EXPECT_GT(kxm::counters().page_splits, 0u) << "rows cross pages";
}

TEST(Resample, BilinearWeighsTheFourNeighboursByTheTopEightFractionBits) {
  const auto cases = resize_cases(300);
  check("linresiz_8", sl_rect_linresiz_8, {1, 1}, 0, cases, bilinear({1, 1}));
  check("linresiz_16", sl_rect_linresiz_16, {2, 2}, 0, cases, bilinear({2, 2}));
  // One byte lane of 4-byte pixels: lane 2, the other three bytes untouched.
  kxm::reset_counters();
  check("linresiz_32", sl_rect_linresiz_32, {4, 1}, 2, cases, bilinear({4, 1}));
  EXPECT_GT(kxm::counters().page_splits, 0u) << "rows cross pages";
}

// Whole-number magnification: (int)(a + 0.4999) by (int)(d + 0.4999) copies of each pixel,
// whole replications only.
Expect replicated(const Element& e) {
  return [e](const Case& k, const Images& im, Bytes& out, uint32_t d, uint32_t s, int32_t st) {
    const int32_t fx = int32_t(k.m[0] + 0.4999f), fy = int32_t(k.m[4] + 0.4999f);
    if (fx < 1 || fx > 6 || fy < 1 || fy > 6) return;
    int32_t W = k.W, H = k.H, w = k.w, h = k.h, dx = 0, dy = 0, sx = 0, sy = 0;
    const int32_t tx = int32_t(k.m[2] + 0.4999f), ty = int32_t(k.m[5] + 0.4999f);
    if (tx >= 0)
      dx = tx, W -= tx;
    else
      sx = -tx, w += tx;
    if (ty >= 0)
      dy = ty, H -= ty;
    else
      sy = -ty, h += ty;
    const int32_t n = fx * w > W ? std::min(int32_t(float(W) / float(fx)), w) : w;
    const int32_t nrows = fy * h > H ? std::min(int32_t(float(H) / float(fy)), h) : h;
    for (int32_t y = 0; y < nrows * fy; ++y) {
      for (int32_t x = 0; x < n * fx; ++x) {
        std::memcpy(&out[d + uint32_t((dy + y) * st) + (dx + x) * e.bytes],
                    im.src.host() + s + uint32_t((sy + y / fy) * st) + (sx + x / fx) * e.bytes,
                    e.size);
      }
    }
  };
}

TEST(Resample, WholeNumberMagnificationRepeatsEachPixelAndNothingOutsideOneToSix) {
  auto cases = resize_cases(200);
  const float factors[] = {0.4f, 1.0f, 2.0f, 2.6f, 3.0f, 4.0f, 5.0f, 6.0f, 6.6f, 7.0f};
  for (size_t i = 0; i < cases.size(); ++i) {
    cases[i].m[0] = factors[i % 10];
    cases[i].m[4] = factors[(i / 10) % 10];
    cases[i].W = cases[i].W * 3 + int32_t(i % 7);
    cases[i].w += 12;  // pieces of 16 and the piece remainder
  }
  check("nearintresiz_8", sl_rect_nearintresiz_8, {1, 1}, 0, cases, replicated({1, 1}));
  check("nearintresiz_16", sl_rect_nearintresiz_16, {2, 2}, 0, cases, replicated({2, 2}));
  check("nearintresiz_32", sl_rect_nearintresiz_32, {4, 4}, 0, cases, replicated({4, 4}));
}

// The bicubic weight table: rows of trunc(256 w) for the Catmull-Rom weights of the pixels
// at -1, 0, +1, +2 from phase t = k / 256.
std::vector<int16_t> catmull_rom() {
  const auto weight = [](double x) {
    if (x < 1.0) return float(1.5 * x * x * x - 2.5 * x * x + 1);
    if (x < 2.0) return float(-0.5 * x * x * x + 2.5 * x * x - 4 * x + 2);
    return 0.0f;
  };
  std::vector<int16_t> table;
  float t = 0.0f;
  for (int k = 0; k < 256; ++k, t += 1.0f / 256) {
    for (double x : {1.0 + t, double(t), 1.0 - t, 2.0 - t})
      table.push_back(int16_t(int32_t(256.0f * weight(x))));
  }
  return table;
}

// Bicubic: vertical sums exact, clamped to 0..65535 in the scratch; horizontal terms each
// floored at 1/256; the result floored and clamped at the store. Row -1 and column -1 are
// row and column 0 unless a negative offset left image above or to the left.
Expect bicubic(const Element& e, const std::vector<int16_t>& table) {
  return [e, &table](const Case& k, const Images& im, Bytes& out, uint32_t d, uint32_t s,
                     int32_t st) {
    const Clip c = prologue(kBicubic, k.W, k.H, k.w, k.h, k.m);
    if (c.empty) return;
    const bool above = int32_t(k.m[5]) < 0, left = int32_t(k.m[2]) < 0;
    const auto pixel = [&](int32_t row, int32_t col) {
      if (row < 0 && !above) row = 0;
      if (col < 0 && !left) col = 0;
      return read(im.src.host() + s + uint32_t((c.sy + row) * st) + (c.sx + col) * e.bytes,
                  e.size);
    };
    const int64_t top = e.size == 2 ? 65535 : 255;
    for (int32_t i = 0; i < c.rows; ++i) {
      const uint32_t y = uint32_t(i) * c.ystep;
      const int16_t* wy = &table[((y >> 8) & 255) * 4];
      const auto v = [&](int32_t col) {
        int64_t sum = 0;
        for (int t = 0; t < 4; ++t) sum += wy[t] * pixel(int32_t(y >> 16) - 1 + t, col);
        return std::clamp<int64_t>(sum, 0, 65535);
      };
      for (int32_t j = 0; j < c.cols; ++j) {
        const uint32_t x = uint32_t(j) * c.xstep;
        const int16_t* wx = &table[((x >> 8) & 255) * 4];
        int64_t sum = 0;
        for (int t = 0; t < 4; ++t) sum += (v(int32_t(x >> 16) - 1 + t) * wx[t]) >> 8;
        write(&out[d + uint32_t((c.dy + i) * st) + (c.dx + j) * e.bytes], e.size,
              std::clamp<int64_t>(sum >> 8, 0, top));
      }
    }
  };
}

using CubicKernel = void (*)(uint32_t, int32_t, int32_t, int32_t, uint32_t, int32_t, int32_t,
                             int32_t, const float*, const int16_t*, int32_t, uint32_t);

// A bicubic member with its table and a page-aligned scratch buffer of its own.
Resize run(CubicKernel kernel, const std::vector<int16_t>& table) {
  static AliasedBuffer scratch(1);
  return [kernel, &table](uint32_t d, int32_t ds, int32_t W, int32_t H, uint32_t s, int32_t ss,
                          int32_t w, int32_t h, const float* m) {
    kernel(d, ds, W, H, s, ss, w, h, m, table.data(), 256, scratch.alias());
  };
}

TEST(Resample, BicubicSumsFourByFourNeighboursWithThePhasesWeights) {
  const auto cases = resize_cases(250);
  const std::vector<int16_t> table = catmull_rom();
  ASSERT_EQ(std::vector<int16_t>(table.begin(), table.begin() + 4),
            (std::vector<int16_t>{0, 256, 0, 0}));
  ASSERT_EQ(std::vector<int16_t>(table.begin() + 512, table.begin() + 516),
            (std::vector<int16_t>{-16, 144, 144, -16}));
  check("cubresiz_8", run(sl_rect_cubresiz_8, table), {1, 1}, 0, cases, bicubic({1, 1}, table));
  check("cubresiz_32", run(sl_rect_cubresiz_32, table), {4, 1}, 3, cases,
        bicubic({4, 1}, table));
  const uint16_t little = 1;
  check("cubresiz_16", run(sl_rect_cubresiz_16, table), {2, 2}, 0, cases,
        bicubic({2, 2}, table), *reinterpret_cast<const uint8_t*>(&little) == 1);
  // Weights far from the table's: negative sums and sums past 65535 are clamped in the
  // scratch, results past 255 at the store.
  std::mt19937 random(5);
  std::vector<int16_t> wild(1024);
  for (int16_t& w : wild) w = int16_t(int32_t(random() % 700) - 250);
  check("cubresiz_8 wild weights", run(sl_rect_cubresiz_8, wild), {1, 1}, 0, cases,
        bicubic({1, 1}, wild));
}

// Affine: the inverse matrix in 16.16 (truncated), one position per destination pixel, the
// pixel it lies in if that lies in the source; other pixels unwritten.
struct Inverse {
  int32_t x0, y0, dxc, dyc, dxr, dyr;
};
Inverse inverse(const float* m) {
  const float det = m[0] * m[4] - m[1] * m[3];
  const auto fixed = [](float v) { return int32_t(v * 65536.0f); };
  return {fixed((m[1] * m[5] - m[4] * m[2]) / det),
          fixed((m[3] * m[2] - m[0] * m[5]) / det),
          fixed(m[4] / det),
          fixed(-m[3] / det),
          fixed(-m[1] / det),
          fixed(m[0] / det)};
}

void expect_affine(const float* m, const Element& e, int32_t W, int32_t H, int32_t w, int32_t h,
                   const uint8_t* src, int32_t src_stride, uint8_t* out, int32_t dst_stride) {
  const Inverse v = inverse(m);
  for (int32_t Y = 0; Y < H; ++Y) {
    for (int32_t X = 0; X < W; ++X) {
      const int32_t x = (v.x0 + Y * v.dxr + X * v.dxc) >> 16;
      const int32_t y = (v.y0 + Y * v.dyr + X * v.dyc) >> 16;
      if (x < 0 || y < 0 || x > w - 1 || y > h - 1) continue;
      std::memcpy(out + Y * dst_stride + X * int32_t(e.bytes),
                  src + y * src_stride + x * e.bytes, e.size);
    }
  }
}

struct AffineMember {
  const char* name;
  AffineKernel kernel;
  uint32_t bytes;
};
const AffineMember kAffine[] = {{"affine_8", sl_rect_affine_8, 1},
                                {"affine_16", sl_rect_affine_16, 2},
                                {"affine_32", sl_rect_affine_32, 4}};

// Rotations, scalings and shears of a 8-aligned source; destinations at odd places.
void check_affine(const AffineMember& a, const float* m, int32_t W, int32_t H, int32_t w,
                  int32_t h, uint32_t d_offset) {
  static Images images;
  const int32_t stride = int32_t(600 * a.bytes);
  const uint32_t d = Images::kDst + d_offset * a.bytes, s = 0x1FA0;
  randomize(images.src), randomize(images.out);
  Bytes expected(images.out.host(), images.out.host() + images.out.size());
  a.kernel(images.out.alias() + d, stride, W, H, images.src.alias() + s, stride, w, h, 0x808080,
           m);
  if (kxm::config().deferred) kxm::drain();
  expect_affine(m, {a.bytes, a.bytes}, W, H, w, h, images.src.host() + s, stride, &expected[d],
                stride);
  ASSERT_TRUE(same(expected, images.out.host()))
      << a.name << " " << W << "x" << H << " from " << w << "x" << h << " matrix " << m[0]
      << " " << m[1] << " " << m[2] << " " << m[3] << " " << m[4] << " " << m[5];
}

const float kMatrices[][6] = {
    {1, 0, 0, 0, 1, 0},    {1, 0, 3, 0, 1, -2},
    {0, -1, 9, 1, 0, 0},   {0.866f, -0.5f, 6, 0.5f, 0.866f, -3},
    {2, 0, 0, 0, 1.5f, 0}, {0.5f, 0.2f, 1, -0.1f, 0.7f, 2},
    {-1, 0, 12, 0, -1, 8}, {0.3f, -0.95f, 10, 0.95f, 0.3f, 1},
};

TEST(Resample, AffineTakesThePixelEachInversePositionLiesInAndLeavesOutsidersAlone) {
  const std::pair<int32_t, int32_t> sizes[] = {{1, 1},  {5, 3},   {16, 2},
                                               {17, 9}, {33, 12}, {48, 4}};
  for (const AffineMember& a : kAffine) {
    for (const auto& m : kMatrices) {
      for (auto [W, H] : sizes) {
        for (uint32_t d : {0u, 3u, 0x7Fu}) check_affine(a, m, W, H, 13, 11, d);
      }
    }
  }
}

TEST(Resample, RotateScaleTranslateIsTheAffineKernelWithItsMatrix) {
  static Images images;
  const int32_t stride = 600;
  const float params[][7] = {{0, 0, 0, 1, 1, 3, -2},
                             {90, 6, 6, 1, 1, 0, 0},
                             {30, 8, 5, 1.5f, 0.8f, 1, 2},
                             {-45, 3, 9, 1, 1, -2, 0},
                             {180, 6, 4, 1, 1, 0, 0}};
  for (const auto& p : params) {
    const double t = double(float(double(p[0]) * (M_PI / 180.0)));
    const double c = std::cos(t), sn = std::sin(t);
    float m[6] = {float(c * p[3]),
                  float(-sn * p[4]),
                  float(p[1] * (1.0 - c * p[3]) + sn * p[4] * p[2] + double(p[5]) * p[3]),
                  float(sn * p[3]),
                  float(c * p[4]),
                  float(p[2] * (1.0 - c * p[4]) - sn * p[3] * p[1] + double(p[6]) * p[4])};
    // No turn and no scale passes the offset alone.
    if (p[0] == 0 && p[3] == 1 && p[4] == 1) {
      const float offset[6] = {1, 0, p[5], 0, 1, p[6]};
      std::memcpy(m, offset, sizeof m);
    }
    randomize(images.src), randomize(images.out);
    Bytes expected(images.out.host(), images.out.host() + images.out.size());
    sl_rect_rst_8(images.out.alias() + Images::kDst, stride, 21, 14,
                  images.src.alias() + 0x1FA0, stride, 13, 11, 0x808080, p[0], p[1], p[2], p[3],
                  p[4], p[5], p[6]);
    expect_affine(m, {1, 1}, 21, 14, 13, 11, images.src.host() + 0x1FA0, stride,
                  &expected[Images::kDst], stride);
    ASSERT_TRUE(same(expected, images.out.host())) << "rst angle " << p[0];
  }
}

TEST(Resample, DeferredExecutionGivesTheSameResults) {
  // The interpolating and affine kernels write registers directly between queued words.
  kxm::Config config;
  config.deferred = true;
  kxm::configure(config);
  const auto cases = resize_cases(40);
  check("linresiz_16", sl_rect_linresiz_16, {2, 2}, 0, cases, bilinear({2, 2}));
  check("nearresiz_8", sl_rect_nearresiz_8, {1, 1}, 0, cases, nearest({1, 1}));
  check_affine(kAffine[2], kMatrices[3], 33, 12, 13, 11, 3);
  const std::vector<int16_t> table = catmull_rom();
  check("cubresiz_32", run(sl_rect_cubresiz_32, table), {4, 1}, 1, cases,
        bicubic({4, 1}, table));
  kxm::configure({});
}

class ResampleWords : public ::testing::Test {
 protected:
  AliasedBuffer buffer{4};
  uint32_t at(uint32_t offset) { return buffer.alias() + offset; }
};

TEST_F(ResampleWords, DoublingSixteenPixelsScattersTwiceThenStoresTheHighHalfFirst) {
  const float m[6] = {2, 0, 0, 0, 2, 0};
  TraceCapture trace;
  sl_rect_nearintresiz_8(at(0x1000), 64, 40, 4, at(0), 64, 16, 1, m);
  EXPECT_EQ(trace.words(), (Words{0x87D00500u, 0xEF428D82u, 0xEF428D02u, 0x87801500u,
                                  0x87800D00u, 0x87801500u, 0x87800D00u}));
  EXPECT_EQ(trace.memory()[1].first, at(0x1000 + 16));
}

TEST_F(ResampleWords, MagnificationOutsideOneToSixIssuesNothing) {
  TraceCapture trace;
  for (float f : {7.0f, 0.4f, 6.6f}) {
    const float m[6] = {f, 0, 0, 0, 2, 0};
    sl_rect_nearintresiz_16(at(0x1000), 64, 40, 4, at(0), 64, 8, 2, m);
    const float n[6] = {2, 0, 0, 0, f, 0};
    sl_rect_nearintresiz_16(at(0x1000), 64, 40, 4, at(0), 64, 8, 2, n);
  }
  EXPECT_TRUE(trace.words().empty());
}

TEST_F(ResampleWords, ANearestStripEndingInsideAGroupWritesThePartialGroup) {
  // Ten source columns at scale 1: a strip of 7 (one group of 7), then one of 3.
  const float m[6] = {1, 0, 0, 0, 1, 0};
  TraceCapture trace;
  sl_rect_nearresiz_8(at(0x1000), 64, 10, 1, at(0), 64, 10, 1, m);
  std::vector<std::pair<uint32_t, uint32_t>> stores;
  for (auto [address, word] : trace.memory()) {
    if (((word >> 19) & 0xF) == 0) stores.emplace_back(address, word);
  }
  ASSERT_EQ(stores.size(), 2u);
  EXPECT_EQ(stores[0].second, 0x83000880u);  // 7 from r17
  EXPECT_EQ(stores[1].second, 0x81000880u | (at(0x1007) & 7));
}

TEST_F(ResampleWords, ABilinearPositionOnTheLastColumnTakesItWithAnAdd) {
  // 50 output columns over 49 source columns, starting 62880/65536 in: output 48 lands
  // exactly on column 48, the last.
  const float m[6] = {1.02f, 0, 62880.0f / 65536.0f, 0, 1, 0};
  TraceCapture trace;
  sl_rect_linresiz_8(at(0x1000), 64, 50, 1, at(0), 64, 50, 2, m);
  const Words words = trace.words();
  EXPECT_NE(std::find_if(words.begin(), words.end(),
                         [](uint32_t w) { return (w & 0xFFFFC07Fu) == 0xA0094037u; }),
            words.end());
}

TEST_F(ResampleWords, BicubicRepeatsTheFirstRowUnlessTheImageHasOneAbove) {
  static const std::vector<int16_t> table = catmull_rom();
  AliasedBuffer scratch{1};
  for (float ty : {0.0f, -1.0f}) {
    const float m[6] = {1, 0, 0, 0, 1, ty};
    TraceCapture trace;
    sl_rect_cubresiz_8(at(0x1000), 64, 20, 6, at(0x40), 64, 10, 6, m, table.data(), 256,
                       scratch.alias());
    const Words words = trace.words();
    ASSERT_GE(words.size(), 4u);
    // Eight columns of rows 0, +1, +2; row -1 a copy of row 0, or loaded.
    const Words top = ty == 0 ? Words{0x83D00900u, 0x83D00D00u, 0x83D01100u, 0xB7C00512u}
                              : Words{0x83D00500u, 0x83D00900u, 0x83D00D00u, 0x83D01100u};
    EXPECT_EQ(Words(words.begin(), words.begin() + 4), top) << ty;
  }
}

TEST_F(ResampleWords, AnAffineChunkIsTwentyThreeWordsInOrderAndARowTwoMore) {
  const float m[6] = {1, 0, 0, 0, 1, 0};
  TraceCapture trace;
  sl_rect_affine_8(at(0x1000), 64, 16, 1, at(0x10), 64, 16, 1, 0x808080, m);
  const Words words = trace.words();
  ASSERT_EQ(words.size(), 6u + 2 + 23);
  const Words chunk{0xBFE0052Au, 0xAE02C5AEu, 0xA026552Eu, 0xCF628510u, 0xBFE00D2Bu,
                    0xAE06CDBEu, 0xA02A55BEu, 0xCF668D10u, 0xDFE2804Eu, 0xB0E02902u,
                    0xDFE6804Fu, 0xB0E0A952u, 0xDFA28000u, 0xB0E0A952u, 0xDFA68000u,
                    0xB0E08152u, 0x9FC28500u, 0x9FC68D00u, 0xCFA28500u, 0x0F46850Au,
                    0x87D00D0Au, 0xB0808153u, 0x87A80D00u};
  EXPECT_EQ(
      Words(words.begin(), words.begin() + 6),
      (Words{0xA12B982Fu, 0xA32B9931u, 0xA72B9B35u, 0xA12FA03Fu, 0xA32FA141u, 0xA72FA345u}));
  EXPECT_EQ(words[6], 0xB1C0152Cu);
  EXPECT_EQ(Words(words.begin() + 7, words.begin() + 30), chunk);
  EXPECT_EQ(words[30], 0xA10B1650u);
  EXPECT_EQ(trace.memory()[0].first, at(0x10));  // the indexed load at the source
}

TEST_F(ResampleWords, AShortAffineChunkCountsItsPixelsAndTakesTheNextStartFromItsLast) {
  const float m[6] = {1, 0, 0, 0, 1, 0};
  TraceCapture trace;
  sl_rect_affine_16(at(0x1000), 64, 5, 1, at(0x10), 64, 16, 1, 0x808080, m);
  const Words words = trace.words();
  ASSERT_EQ(words.size(), 6u + 2 + 23);
  EXPECT_EQ(words[7], 0xB4E0052Au);   // spread of 5
  EXPECT_EQ(words[8], 0xA302C5AEu);   // 4 additions
  EXPECT_EQ(words[9], 0xA023952Eu);   // r42 = r14 + r46
  EXPECT_EQ(words[27], 0x82560D0Au);  // indexed load of 5
  EXPECT_EQ(words[29], 0x822E0D00u);  // masked store of 5
}

TEST_F(ResampleWords, AMaskedStoreAcrossAPageShiftsTheMaskForItsSecondPiece) {
  // Sixteen pixels, eight before a page end: the first six and the last two map outside
  // the eight source pixels.
  const float m[6] = {1, 0, 6, 0, 1, 0};
  for (const AffineMember& a : kAffine) {
    randomize(buffer);
    Bytes expected(buffer.host(), buffer.host() + buffer.size());
    const uint32_t d = 0x1000 - 8 * a.bytes;
    TraceCapture trace;
    a.kernel(at(d), 0, 16, 1, at(0x2000), 0, 8, 1, 0x808080, m);
    expect_affine(m, {a.bytes, a.bytes}, 16, 1, 8, 1, buffer.host() + 0x2000, 0, &expected[d],
                  0);
    EXPECT_TRUE(same(expected, buffer.host())) << a.name;
    const Words words = trace.words();
    // r2 into r4, the first 8, r2 = r4 << 8, the second 8, r4 back into r2.
    ASSERT_GE(words.size(), 5u);
    const Words tail(words.end() - 6, words.end() - 1);
    EXPECT_EQ(tail[0], 0xB0C08200u) << a.name;
    EXPECT_EQ(tail[2], 0xC0A10108u) << a.name;
    EXPECT_EQ(tail[4], 0xB0C10100u) << a.name;
  }
}

}  // namespace
