// The two convolution families and the walk they share: N x N neighbourhoods streamed
// through a band of registers, one strip of output columns at a time.
//
// A member is a family template instance (Square<N, Fine> or Separable<N>: its shape,
// register layout and the words of a row) and a format (data type, page flags, bytes a
// pixel, border fills). The walk owns everything else: clipping, the small-rectangle rule,
// the border, the strips, the rows, the band roll and the page tests. Each source row of a
// strip is loaded once into the band and the band is rolled down by register moves after
// every row. Square kernels multiply the N band rows by the N x N coefficients straight into
// the results; separable kernels filter each new row horizontally into the newest of N
// filtered rows, then combine the N filtered rows vertically into the results. Every
// multiply takes its coefficient from r1.
//
// Geometry of a strip. Its results are up to S output columns; output column j of the strip
// needs band columns j .. j + 2r (r = N / 2). Band column 0 is the source column r left of
// the strip's first output column, except in the first strip of the modes that leave a
// border (zero, unwritten): there it is source column 0 and the strip's first r output
// columns are border, stored from the r border cells placed right before the results. The
// walk never loads a column outside the rectangle: an extended edge is repeated by spreading
// the first or last loaded column, and a strip that would need columns past the right edge
// (S < remaining < S + r) is shortened to remaining - r output columns, which leaves the last
// r to a final narrow strip.
#ifndef KXLIB_RECT_CONVOLVE_H
#define KXLIB_RECT_CONVOLVE_H

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_saturate.h"
#include "sl_word.h"

namespace sl::convolve {

// Edge modes as callers pass them.
inline constexpr int32_t kUnwritten = -1;  // the border keeps its old values
inline constexpr int32_t kZero = 0;        // the border is filled with zero
inline constexpr int32_t kExtend = 1;      // edge pixels repeated outwards; no border

inline constexpr uint32_t kMultiplier = 1;
inline constexpr uint32_t kFirstCoefficient = 12;  // even: pairs are doubleword stores
inline constexpr uint32_t kFirstBandRow = 10;      // when the coefficients are not held
inline constexpr uint32_t kRegisters = 128;

struct Shape {
  uint32_t n;      // 3, 5 or 7
  uint32_t strip;  // output columns a strip

  constexpr uint32_t r() const { return n / 2; }
  constexpr uint32_t band() const { return strip + 2 * r(); }  // source columns a row
};

struct Layout {
  uint32_t coefficients;  // first coefficient register, or 0: each written into r1
  uint32_t rows;          // first of the N rolled rows
  uint32_t row;           // registers a rolled row
  uint32_t load;          // where band column 0 of a new source row is loaded
  uint32_t cells;         // r border cells
  uint32_t results;       // strip columns, right after the cells

  constexpr uint32_t rolled_end(const Shape& s) const { return rows + s.n * row; }
};

// Every run inside the register file.
constexpr bool fits(const Shape& s, const Layout& l) {
  return l.load + s.band() <= kRegisters && l.results + s.strip <= kRegisters &&
         l.cells + s.r() == l.results && l.cells >= l.rolled_end(s);
}

// Border cells the source load overwrites must be cleared again before each store of them.
constexpr bool cells_loaded(const Shape& s, const Layout& l) {
  return l.load < l.cells + s.r() && l.load + s.band() > l.cells;
}

// ---- Word lists

enum class Kind : uint8_t {
  queue,       // one queue word
  pair,        // two queue words in one doubleword store
  multiplier,  // r1 = coefficient `first` (its index), a direct register write
};

struct Step {
  Kind kind;
  uint32_t first, second;
};

struct Steps {
  Step step[2 * 7 * 7];
  uint32_t count = 0;

  constexpr void add(Kind kind, uint32_t first, uint32_t second = 0) {
    step[count++] = {kind, first, second};
  }
  // Queue words, two a doubleword store.
  constexpr void add_words(const uint32_t* words, uint32_t n) {
    for (uint32_t i = 0; i < n; i += 2) {
      if (i + 1 < n) {
        add(Kind::pair, words[i], words[i + 1]);
      } else {
        add(Kind::queue, words[i]);
      }
    }
  }
};

// One term over the strip: r1 = coefficient, then `form` from the run at a into the run at
// d (the first term of a sum starts it: B = r0), in words of at most 16.
constexpr void term(Steps& steps, const Shape& s, const Layout& l, sl_qop form,
                    uint32_t coefficient, uint32_t a, uint32_t d, bool starts) {
  if (l.coefficients) {
    steps.add(Kind::queue,
              queue_word(SL_OP_SPREAD, 1, 0, kMultiplier, l.coefficients + coefficient));
  } else {
    steps.add(Kind::multiplier, coefficient);
  }
  uint32_t words[2] = {}, n = 0;
  in_pieces(s.strip, [&](uint32_t o, uint32_t k) {
    words[n++] = queue_word(form, k, a + o, d + o, starts ? 0 : d + o);
  });
  steps.add_words(words, n);
}

// The band roll: rolled row u + 1 into row u, lowest first.
constexpr Steps roll(const Shape& s, const Layout& l) {
  uint32_t words[12] = {}, n = 0;
  for (uint32_t u = 0; u + 1 < s.n; ++u) {
    in_pieces(l.row, [&](uint32_t o, uint32_t k) {
      words[n++] =
          queue_word(SL_OP_MOVE, k, 0, l.rows + u * l.row + o, l.rows + (u + 1) * l.row + o);
    });
  }
  Steps steps;
  steps.add_words(words, n);
  return steps;
}

// ---- The square family: N x N coefficients over N band rows of source

// Coefficients from r12 when they fit beside the band, else each written into r1 before its
// term; then N band rows of `band` registers, the border cells, the results.
constexpr Layout square_layout(const Shape& s) {
  const uint32_t held = kFirstCoefficient + s.n * s.n, w = s.band();
  const bool fits = held + s.n * w + s.r() + s.strip <= kRegisters;
  const uint32_t rows = fits ? held : kFirstBandRow;
  const uint32_t cells = rows + s.n * w;
  return {fits ? kFirstCoefficient : 0, rows, w, rows + (s.n - 1) * w, cells, cells + s.r()};
}

// Coefficient k multiplies band row k / N, column k % N.
constexpr Steps square_terms(const Shape& s, const Layout& l, sl_qop form) {
  Steps steps;
  for (uint32_t k = 0; k < s.n * s.n; ++k) {
    term(steps, s, l, form, k, l.rows + (k / s.n) * l.row + k % s.n, l.results, k == 0);
  }
  return steps;
}

// Fine: 16 fraction bits, each product shifted down by 8 before it is added (the twin's
// multiply words XOR 0x10800000); the store shifts by the other 8.
template <uint32_t N, bool Fine>
struct Square {
  static constexpr Shape shape{N, N == 3 ? 24u : N == 5 ? 16u : 8u};
  static constexpr uint32_t coefficients = N * N;
  static constexpr double scale = Fine ? 65536.0 : 256.0;
  static constexpr uint32_t store_subfield = 1;
  static constexpr Layout layout = square_layout(shape);
  static constexpr Steps row{};
  static constexpr Steps output = square_terms(shape, layout, Fine ? SL_OP_MACF8B : SL_OP_MAC);
  static_assert(fits(shape, layout) && layout.load + layout.row == layout.cells);

  static float coefficient(uint32_t k, const float* coef, const float*) { return coef[k]; }
};

// ---- The separable family: each source row filtered horizontally, N filtered rows combined
// vertically

// The horizontal then the vertical coefficients from r12, N filtered rows of `strip`
// registers, the border cells, the results; the source row is loaded after the cells, or
// at them when it would not fit there.
constexpr Layout separable_layout(const Shape& s) {
  const uint32_t rows = kFirstCoefficient + 2 * s.n;
  const uint32_t cells = rows + s.n * s.strip;
  return {
      kFirstCoefficient, rows, s.strip, std::min(cells + s.r(), kRegisters - s.band()), cells,
      cells + s.r()};
}

// Every row: the new source row into the newest filtered row.
constexpr Steps horizontal_pass(const Shape& s, const Layout& l) {
  Steps steps;
  const uint32_t newest = l.rows + (s.n - 1) * l.row;
  for (uint32_t v = 0; v < s.n; ++v) {
    term(steps, s, l, SL_OP_MAC, v, l.load + v, newest, v == 0);
  }
  return steps;
}

// Every output row: the N filtered rows into the results.
constexpr Steps vertical_pass(const Shape& s, const Layout& l) {
  Steps steps;
  for (uint32_t u = 0; u < s.n; ++u) {
    term(steps, s, l, SL_OP_MAC4, s.n + u, l.rows + u * l.row, l.results, u == 0);
  }
  return steps;
}

// Both passes keep 8 fraction bits exactly; the store shifts by 16.
template <uint32_t N>
struct Separable {
  static constexpr Shape shape{N, N == 3 ? 26u : N == 5 ? 16u : 12u};
  static constexpr uint32_t coefficients = 2 * N;
  static constexpr double scale = 256.0;
  static constexpr uint32_t store_subfield = 2;
  static constexpr Layout layout = separable_layout(shape);
  static constexpr Steps row = horizontal_pass(shape, layout);
  static constexpr Steps output = vertical_pass(shape, layout);
  static_assert(fits(shape, layout) && layout.load >= layout.cells);

  static float coefficient(uint32_t k, const float* hcoef, const float* vcoef) {
    return k < N ? hcoef[k] : vcoef[k - N];
  }
};

// True when `s` issues exactly these queue words, in order (register writes left out).
constexpr bool issues(const Steps& s, std::initializer_list<uint32_t> words) {
  const uint32_t* next = words.begin();
  const auto match = [&](uint32_t word) { return next != words.end() && *next++ == word; };
  for (uint32_t i = 0; i < s.count; ++i) {
    const Step& step = s.step[i];
    if (step.kind == Kind::multiplier) continue;
    if (!match(step.first)) return false;
    if (step.kind == Kind::pair && !match(step.second)) return false;
  }
  return next == words.end();
}

// ---- Strips

// What one strip issues besides the family's words; everything here follows from where the
// strip lies. Strip columns [0, columns) are output columns c0 ..; of them [lo, hi) are
// results and the rest border (the first r of the first strip and the last r of the last,
// in the bordered modes).
struct Strip {
  int32_t columns;      // output columns the strip covers; 0: nothing left to write
  int32_t load_column;  // first source column loaded
  uint32_t load;        // the load word
  uint32_t edges[2];    // after the load: the first or last loaded column repeated
  uint32_t edge_count;
  uint32_t clears[2];  // before the store: border cells that must read zero
  uint32_t clear_count;
  int32_t store_column;  // first output column stored
  uint32_t store;        // the store word
};

// A run of r registers from `d` set to register b's value (b = 0: cleared).
constexpr uint32_t spread(uint32_t r, uint32_t d, uint32_t b) {
  return queue_word(SL_OP_SPREAD, r, 0, d, b);
}

constexpr Strip strip(const Shape& s, const Layout& l, uint32_t type, uint32_t store_type,
                      int32_t mode, int32_t width, int32_t c0) {
  const int32_t r = int32_t(s.r()), S = int32_t(s.strip), W = int32_t(s.band());
  const int32_t remaining = width - c0;
  Strip out{};
  if (c0 > 0 && mode == kUnwritten && remaining <= r) return out;  // only border is left
  const bool narrow = remaining <= S;
  // A strip that would need columns past the edge stops r short of it.
  out.columns = remaining >= S + r ? S : narrow ? remaining : remaining - r;

  // Band column 0 is source column c0 - r, or column 0 itself in the first strip of a
  // bordered mode. Only columns inside the rectangle are loaded.
  const bool bordered_first = c0 == 0 && mode != kExtend;
  const int32_t origin = bordered_first ? 0 : c0 - r;
  const int32_t to = std::min(origin + W, width);
  out.load_column = std::max(origin, 0);
  out.load = mem_word(SL_LD, type, uint32_t(to - out.load_column),
                      l.load + uint32_t(out.load_column - origin));
  if (origin < 0) out.edges[out.edge_count++] = spread(s.r(), l.load, l.load + s.r());
  if (mode == kExtend && narrow) {
    const uint32_t last = l.load + uint32_t(width - origin) - 1;
    out.edges[out.edge_count++] = spread(s.r(), last + 1, last);
  }

  // Strip column j is register base + j: the first r of a bordered first strip are cells.
  const uint32_t base = bordered_first ? l.cells : l.results;
  const int32_t lo = bordered_first ? r : 0;
  const int32_t hi = narrow && mode != kExtend ? out.columns - r : out.columns;
  if (mode == kZero && bordered_first && cells_loaded(s, l)) {
    out.clears[out.clear_count++] = spread(s.r(), l.cells, 0);
  }
  if (mode == kZero && narrow) {
    out.clears[out.clear_count++] = spread(s.r(), base + uint32_t(hi), 0);
  }
  const int32_t first = mode == kUnwritten ? lo : 0;
  const int32_t last = mode == kUnwritten ? hi : out.columns;
  out.store_column = c0 + first;
  out.store = mem_word(SL_ST2, store_type, uint32_t(last - first), base + uint32_t(first));
  return out;
}

// ---- The walk

struct Format {
  uint32_t type;   // load type; stores add the family's sub-field
  uint32_t flags;  // page-crossing flags
  uint32_t bytes;  // a pixel
  void (*fill)(uint32_t dst, int32_t dst_stride, int32_t width, int32_t height);
  void (*span)(uint32_t dst, int32_t count);
};

struct Args {
  uint32_t dst;
  int32_t dst_stride, width, height;
  uint32_t src;
  int32_t src_stride, limit_width, limit_height, x, y, mode;
};

struct Values {
  int32_t v[7 * 7];
};

inline void issue(kx_ctx_t* ctx, const Steps& s, const Values& values) {
  for (uint32_t i = 0; i < s.count; ++i) {
    const Step& step = s.step[i];
    switch (step.kind) {
      case Kind::queue:
        sl_queue(ctx, step.first);
        break;
      case Kind::pair:
        sl_queue2(ctx, step.first, step.second);
        break;
      case Kind::multiplier:
        sl_reg_set(ctx, kMultiplier, uint32_t(values.v[step.first]));
        break;
    }
  }
}

// The walk of every member: `Family` is Square<N, Fine> or Separable<N>; `second` is the
// separable kernels' vertical vector.
template <class Family, const Format& F>
void walk(Args a, const float* first, const float* second = nullptr) {
  static constexpr Shape kShape = Family::shape;
  static constexpr Layout kLayout = Family::layout;
  static constexpr Steps kRoll = roll(kShape, kLayout);
  constexpr int32_t n = int32_t(kShape.n), r = int32_t(kShape.r());

  kx_ctx_t* ctx = kx_ctx_get();
  if (a.y + a.height > a.limit_height) a.height = a.limit_height - a.y;
  if (a.x + a.width > a.limit_width) a.width = a.limit_width - a.x;
  if (a.height < n || a.width < n) {
    if (a.width <= 0 || a.height <= 0) return;
    if (a.mode == kZero) {
      sl_ctx_foreground_set(0);
      F.fill(a.dst, a.dst_stride, a.width, a.height);
      return;
    }
    if (a.mode != kExtend) return;
  }

  Values values{};
  constexpr uint32_t kCoefficients = Family::coefficients;
  for (uint32_t k = 0; k < kCoefficients; ++k) {
    values.v[k] = to_fixed(Family::coefficient(k, first, second), Family::scale);
  }
  if (kLayout.coefficients) {
    for (uint32_t k = 0; k < kCoefficients; k += 2) {
      if (k + 1 < kCoefficients) {
        kx_ctx_store64(ctx, sl_ctx_reg(kLayout.coefficients + k), uint32_t(values.v[k]),
                       uint32_t(values.v[k + 1]));
      } else {
        sl_reg_set(ctx, kLayout.coefficients + k, uint32_t(values.v[k]));
      }
    }
  }
  sl_queue(ctx, spread(kShape.r(), kLayout.cells, 0));

  const uint32_t source =
      a.src + uint32_t(a.y) * uint32_t(a.src_stride) + uint32_t(a.x) * F.bytes;
  uint32_t dst = a.dst;
  int32_t rows = a.height;
  if (a.mode == kExtend) {
    rows += 2 * r;
  } else {
    if (a.mode == kZero) {
      sl_ctx_foreground_set(0);
      const uint32_t last = a.dst + uint32_t(a.height - r) * uint32_t(a.dst_stride);
      if (r == 1) {
        F.span(a.dst, a.width);
        F.span(last, a.width);
      } else {
        F.fill(a.dst, a.dst_stride, a.width, r);
        F.fill(last, a.dst_stride, a.width, r);
      }
    }
    dst += uint32_t(r) * uint32_t(a.dst_stride);
  }

  for (int32_t c0 = 0; c0 < a.width;) {
    const Strip t =
        strip(kShape, kLayout, F.type, F.type + Family::store_subfield, a.mode, a.width, c0);
    if (t.columns == 0) break;
    uint32_t s = source + uint32_t(t.load_column) * F.bytes;
    uint32_t d = dst + uint32_t(t.store_column) * F.bytes;
    for (int32_t i = 1; i <= rows; ++i) {
      sl_mem_issue(s, t.load, F.flags);
      for (uint32_t e = 0; e < t.edge_count; ++e) sl_queue(ctx, t.edges[e]);
      issue(ctx, Family::row, values);
      if (i >= n) {
        issue(ctx, Family::output, values);
        for (uint32_t c = 0; c < t.clear_count; ++c) sl_queue(ctx, t.clears[c]);
        sl_mem_issue(d, t.store, F.flags);
        d += uint32_t(a.dst_stride);
      }
      issue(ctx, kRoll, values);
      // Extended: the first and the last source rows are each taken r + 1 times.
      if (a.mode != kExtend || (i > r && i < rows - r)) s += uint32_t(a.src_stride);
    }
    c0 += t.columns;
  }
}

}  // namespace sl::convolve

#endif
