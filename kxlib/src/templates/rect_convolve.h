// The walk shared by every convolution kernel: N x N neighbourhoods streamed through a band
// of registers, one strip of output columns at a time.
//
// A member is a plan (family, N, strip width, fraction bits) and a format (data type, page
// flags, bytes a pixel, border fills); every register and word follows from them. Each
// source row of a strip is loaded once into the newest row of the band, and the band is
// rolled down by register moves after every row. Square kernels multiply the N rows of the
// band by the N x N coefficients straight into the results; separable kernels first filter
// the newly loaded row horizontally into the newest of N filtered rows, then combine the N
// filtered rows vertically into the results. Every multiply takes its coefficient from r1.
//
// Geometry of a strip. Its results are S output columns (fewer in the last strip); output
// column j of the strip needs band columns j .. j + 2r (r = N / 2). Band column 0 is the
// source column r left of the strip's first output column, except in the first strip of
// the modes that leave a border (zero, unwritten): there it is source column 0 and the
// strip's first r output columns are border, stored from the r border cells placed right
// before the results. The walk never loads a column outside the rectangle: an extended edge
// is repeated by spreading the first or last loaded column, and a strip that would need
// columns past the right edge (S < remaining < S + r) is shortened to remaining - r output
// columns, which leaves the last r to a final narrow strip.
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

enum class Family : uint8_t { square, separable };

// Edge modes as callers pass them.
inline constexpr int32_t kUnwritten = -1;  // the border keeps its old values
inline constexpr int32_t kZero = 0;        // the border is filled with zero
inline constexpr int32_t kExtend = 1;      // edge pixels repeated outwards; no border

inline constexpr uint32_t kMultiplier = 1;
inline constexpr uint32_t kFirstCoefficient = 12;  // even: pairs are doubleword stores
inline constexpr uint32_t kFirstBandRow = 10;      // when the coefficients are not held
inline constexpr uint32_t kRegisters = 128;

struct Plan {
  Family family;
  uint32_t n;      // 3, 5 or 7
  uint32_t strip;  // output columns a strip
  bool fine;       // 16 fraction bits (the h kernels), else 8

  constexpr uint32_t r() const { return n / 2; }
  constexpr uint32_t band() const { return strip + 2 * r(); }  // source columns a row
  constexpr uint32_t coefficients() const { return family == Family::square ? n * n : 2 * n; }
  constexpr double scale() const { return fine ? 65536.0 : 256.0; }
  // The stores shift the sum down by 8 t: 8 or 16 fraction bits in all.
  constexpr uint32_t store_subfield() const { return family == Family::square ? 1 : 2; }
  // 8-fraction-bit terms are exact; 16-fraction-bit terms shift each product down by 8.
  constexpr sl_qop term() const { return fine ? SL_OP_MACF8B : SL_OP_MAC; }
};

// Registers. Square: the coefficients from r12 when they fit beside the band (else each is
// written into r1 before its term), N band rows of `band` registers, the border cells,
// the results. Separable: the horizontal then the vertical coefficients from r12, N
// filtered rows of `strip` registers, the border cells, the results; the source row is
// loaded at the cells when it would not fit after them.
struct Layout {
  uint32_t coefficients;  // first coefficient register, or 0
  uint32_t rows;          // first of the N rolled rows
  uint32_t row;           // registers a rolled row
  uint32_t load;          // where band column 0 of a new source row is loaded
  uint32_t cells;         // r border cells
  uint32_t results;       // strip columns, right after the cells
};

constexpr Layout layout(const Plan& p) {
  const uint32_t r = p.r(), w = p.band();
  if (p.family == Family::square) {
    const uint32_t held = kFirstCoefficient + p.coefficients();
    const bool fits = held + p.n * w + r + p.strip <= kRegisters;
    const uint32_t rows = fits ? held : kFirstBandRow;
    const uint32_t cells = rows + p.n * w;
    return {fits ? kFirstCoefficient : 0, rows, w, rows + (p.n - 1) * w, cells, cells + r};
  }
  const uint32_t rows = kFirstCoefficient + p.coefficients();
  const uint32_t cells = rows + p.n * p.strip;
  return {kFirstCoefficient, rows, p.strip, std::min(cells + r, kRegisters - w), cells,
          cells + r};
}

// Every run inside the register file; a square kernel loads into its newest band row, a
// separable one after its filtered rows.
constexpr bool fits(const Plan& p) {
  const Layout l = layout(p);
  const uint32_t rolled_end = l.rows + p.n * l.row;
  const bool load_placed =
      p.family == Family::square ? l.load + l.row == rolled_end : l.load >= rolled_end;
  return load_placed && l.load + p.band() <= kRegisters && l.results + p.strip <= kRegisters;
}

// Border cells the source load overwrites must be cleared again before each store of them.
constexpr bool cells_loaded(const Plan& p) {
  const Layout l = layout(p);
  return l.load < l.cells + p.r() && l.load + p.band() > l.cells;
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

// One term over the strip: r1 = coefficient, then `form` over `count` registers from a
// into d (the first term of a sum starts it: B = r0), in words of at most 16.
constexpr void term(Steps& s, const Plan& p, sl_qop form, uint32_t coefficient, uint32_t a,
                    uint32_t d, bool starts) {
  const Layout l = layout(p);
  if (l.coefficients) {
    s.add(Kind::queue,
          queue_word(SL_OP_SPREAD, 1, 0, kMultiplier, l.coefficients + coefficient));
  } else {
    s.add(Kind::multiplier, coefficient);
  }
  uint32_t words[2] = {}, n = 0;
  in_pieces(p.strip, [&](uint32_t o, uint32_t k) {
    words[n++] = queue_word(form, k, a + o, d + o, starts ? 0 : d + o);
  });
  s.add_words(words, n);
}

// Words of every row, before the output test: the separable horizontal pass.
constexpr Steps row_steps(const Plan& p) {
  Steps s;
  if (p.family == Family::square) return s;
  const Layout l = layout(p);
  const uint32_t newest = l.rows + (p.n - 1) * l.row;
  for (uint32_t v = 0; v < p.n; ++v) term(s, p, SL_OP_MAC, v, l.load + v, newest, v == 0);
  return s;
}

// Words of an output row: the N x N terms, or the separable vertical pass. Coefficient k of a
// square kernel multiplies neighbourhood row k / N, column k % N.
constexpr Steps output_steps(const Plan& p) {
  Steps s;
  const Layout l = layout(p);
  if (p.family == Family::square) {
    for (uint32_t k = 0; k < p.n * p.n; ++k) {
      term(s, p, p.term(), k, l.rows + (k / p.n) * l.row + k % p.n, l.results, k == 0);
    }
  } else {
    for (uint32_t u = 0; u < p.n; ++u) {
      term(s, p, SL_OP_MAC4, p.n + u, l.rows + u * l.row, l.results, u == 0);
    }
  }
  return s;
}

// The band roll: rolled row u + 1 into row u, lowest first.
constexpr Steps roll_steps(const Plan& p) {
  const Layout l = layout(p);
  uint32_t words[12] = {}, n = 0;
  for (uint32_t u = 0; u + 1 < p.n; ++u) {
    in_pieces(l.row, [&](uint32_t o, uint32_t k) {
      words[n++] =
          queue_word(SL_OP_MOVE, k, 0, l.rows + u * l.row + o, l.rows + (u + 1) * l.row + o);
    });
  }
  Steps s;
  s.add_words(words, n);
  return s;
}

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

// ---- The walk

struct Format {
  uint32_t type;   // load type; stores add the plan's sub-field
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

// A run of r registers from `d` set to register b's value (b = 0: cleared).
constexpr uint32_t spread(uint32_t r, uint32_t d, uint32_t b) {
  return queue_word(SL_OP_SPREAD, r, 0, d, b);
}

// `second` is the separable kernels' vertical vector.
template <Plan P, const Format& F>
void walk(Args a, const float* first, const float* second = nullptr) {
  static_assert(fits(P));
  static constexpr Layout L = layout(P);
  static constexpr Steps kRow = row_steps(P), kOutput = output_steps(P), kRoll = roll_steps(P);
  constexpr int32_t n = int32_t(P.n), r = int32_t(P.r()), S = int32_t(P.strip);
  constexpr int32_t W = int32_t(P.band());

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
  for (uint32_t k = 0; k < P.coefficients(); ++k) {
    const float c = P.family == Family::square || k < P.n ? first[k] : second[k - P.n];
    values.v[k] = to_fixed(c, P.scale());
  }
  if (L.coefficients) {
    for (uint32_t k = 0; k < P.coefficients(); k += 2) {
      if (k + 1 < P.coefficients()) {
        kx_ctx_store64(ctx, sl_ctx_reg(L.coefficients + k), uint32_t(values.v[k]),
                       uint32_t(values.v[k + 1]));
      } else {
        sl_reg_set(ctx, L.coefficients + k, uint32_t(values.v[k]));
      }
    }
  }
  sl_queue(ctx, spread(P.r(), L.cells, 0));

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
    const int32_t remaining = a.width - c0;
    const bool first_strip = c0 == 0;
    if (!first_strip && a.mode == kUnwritten && remaining <= r) break;
    const bool narrow = remaining <= S;
    const int32_t out = remaining >= S + r ? S : narrow ? remaining : remaining - r;
    // Band column 0: source column c0 itself in the first strip of a bordered mode.
    const bool bordered_first = first_strip && a.mode != kExtend;
    const int32_t origin = bordered_first ? c0 : c0 - r;
    const int32_t from = std::max(origin, 0), to = std::min(origin + W, a.width);
    const uint32_t load =
        mem_word(SL_LD, F.type, uint32_t(to - from), L.load + uint32_t(from - origin));
    const bool left_edge = origin < 0;
    const bool right_edge = a.mode == kExtend && narrow;
    const uint32_t last_loaded = L.load + uint32_t(a.width - origin) - 1;

    // Columns [lo, hi) of the strip hold results; [0, lo) and [hi, out) are border.
    const uint32_t base = bordered_first ? L.cells : L.results;
    const int32_t lo = bordered_first ? r : 0;
    const int32_t hi = narrow && a.mode != kExtend ? out - r : out;
    const bool clear_left = bordered_first && a.mode == kZero && cells_loaded(P);
    const bool clear_right = narrow && a.mode == kZero;
    const int32_t stored_from = a.mode == kUnwritten ? lo : 0;
    const int32_t stored_to = a.mode == kUnwritten ? hi : out;
    const uint32_t store =
        mem_word(SL_ST2, F.type + P.store_subfield(), uint32_t(stored_to - stored_from),
                 base + uint32_t(stored_from));

    uint32_t s = source + uint32_t(from) * F.bytes;
    uint32_t d = dst + uint32_t(c0 + stored_from) * F.bytes;
    for (int32_t i = 1; i <= rows; ++i) {
      sl_mem_issue(s, load, F.flags);
      if (left_edge) sl_queue(ctx, spread(P.r(), L.load, L.load + P.r()));
      if (right_edge) sl_queue(ctx, spread(P.r(), last_loaded + 1, last_loaded));
      issue(ctx, kRow, values);
      if (i >= n) {
        issue(ctx, kOutput, values);
        if (clear_left) sl_queue(ctx, spread(P.r(), L.cells, 0));
        if (clear_right) sl_queue(ctx, spread(P.r(), base + uint32_t(out - r), 0));
        sl_mem_issue(d, store, F.flags);
        d += uint32_t(a.dst_stride);
      }
      issue(ctx, kRoll, values);
      // Extended: the first and the last source rows are each taken r + 1 times.
      if (a.mode != kExtend || (i > r && i < rows - r)) s += uint32_t(a.src_stride);
    }
    c0 += out;
  }
}

}  // namespace sl::convolve

#endif
