// The resampling families: scaled and translated copies of a source rectangle (nearest
// neighbour at any scale, nearest neighbour at whole-number magnifications, bilinear,
// bicubic) and the general affine mapping.
//
// A member is its format: the element type whole pixels move with (SL_T8, SL_T16R, SL_T32),
// the type the interpolating kernels read one element or byte lane with (SL_T8, SL_T16R,
// SL_T32C: `_32` interpolates the byte lane its addresses' low two bits pick), and their
// page flags. The walks own everything else. Positions and steps are 16.16 fixed point.
#ifndef KXLIB_RECT_RESAMPLE_H
#define KXLIB_RECT_RESAMPLE_H

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/mem_format.h"
#include "templates/rect.h"

namespace sl::resample {

inline constexpr uint32_t kOne = 0x10000;  // one source pixel in 16.16

struct Format {
  uint32_t type;       // whole elements: nearest neighbour and affine
  uint32_t lane_type;  // elements or byte lanes the interpolating kernels read
  uint32_t lane_flags;
  constexpr uint32_t bytes() const { return pixel_bytes(type); }
  constexpr uint32_t flags() const { return page_flags(type); }
  constexpr uint32_t load(uint32_t n, uint32_t reg) const {
    return mem_word(SL_LD, type, n, reg);
  }
  constexpr uint32_t store(uint32_t n, uint32_t reg) const {
    return mem_word(SL_ST0, type, n, reg);
  }
};

inline constexpr Format k8{SL_T8, SL_T8, SPAM_T8};
inline constexpr Format k16{SL_T16R, SL_T16R, SPAM_T16};
inline constexpr Format k32{SL_T32, SL_T32C, SPAM_T32C};

// One call's arguments. The matrix is {a, b, tx, c, d, ty}; the resize families read a, d,
// tx and ty.
struct Args {
  uint32_t dst;
  int32_t dst_stride, width, height;
  uint32_t src;
  int32_t src_stride, src_width, src_height;
  const float* m;
};

// The clipping prologue's constants by family.
struct Prologue {
  float round;         // added to an offset before it is truncated
  float k, k_avail;    // added to the source counts of a clipped and of a narrowed output
  int32_t margin;      // source pixels the family needs beyond the last one it starts from
  bool clipped_size;   // the output size comes from the clipped source size
  bool step_plus_one;  // the column step is one 16.16 unit longer
};
inline constexpr Prologue kNearest{0.4999f, 0.9999f, 0.999f, 0, false, true};
inline constexpr Prologue kBilinear{0.0f, 0.4999f, 0.4999f, 1, false, true};
inline constexpr Prologue kBicubic{0.0f, 0.4999f, 0.4999f, 2, true, false};

// Where a resize starts and what it covers.
struct Clip {
  uint32_t dst, src;      // moved rectangle starts
  int32_t cols, rows;     // output columns and rows
  int32_t n, nrows;       // source columns and rows they spread over
  int32_t last_row;       // the source rectangle's last row after the offset
  uint32_t xstep, ystep;  // 16.16
  uint32_t fx, fy;        // start fractions, 16.16
  bool empty;
};

// The offset of one axis: a non-negative one moves the destination start, a negative one
// the source start. Counts in pixels, `unit` bytes a pixel (or a row).
inline void offset(int32_t t, uint32_t& dst, int32_t dst_unit, int32_t& dst_size, uint32_t& src,
                   int32_t src_unit, int32_t& src_size) {
  if (t >= 0) {
    dst += uint32_t(t) * uint32_t(dst_unit);
    dst_size -= t;
  } else {
    src += uint32_t(-t) * uint32_t(src_unit);
    src_size += t;
  }
}

// The output size of one axis and the source pixels it spreads over, in single precision.
inline void extent(const Prologue& p, float scale, int32_t given, int32_t avail, int32_t room,
                   int32_t& out, int32_t& used) {
  out = int32_t(scale * float(given));
  used = given;
  if (out > room) {
    out = room;
    used = int32_t(float(room) / scale + p.k);
  }
  if (used > avail) {
    out = int32_t(float(avail) * scale + p.k_avail);
    used = avail;
  }
}

inline uint32_t fraction(float t) {
  return uint32_t(int32_t(std::fabs(t) * 65536.0f)) & 0xFFFFu;
}

inline Clip clip(const Prologue& p, const Format& f, const Args& a) {
  Clip c{};
  const float* m = a.m;
  const int32_t tx = int32_t(m[2] + p.round), ty = int32_t(m[5] + p.round);
  int32_t W = a.width, H = a.height, w = a.src_width, h = a.src_height;
  c.dst = a.dst, c.src = a.src;
  offset(tx, c.dst, int32_t(f.bytes()), W, c.src, int32_t(f.bytes()), w);
  offset(ty, c.dst, a.dst_stride, H, c.src, a.src_stride, h);
  const int32_t w0 = p.clipped_size ? w : a.src_width;
  const int32_t h0 = p.clipped_size ? h : a.src_height;
  extent(p, m[0], w0, w - p.margin, W, c.cols, c.n);
  extent(p, m[4], h0, h - p.margin, H, c.rows, c.nrows);
  c.last_row = h - 1;
  c.empty = c.cols <= 0 || c.rows < 1 || c.n < 1 || c.nrows < 1;
  if (c.empty) return c;
  c.ystep = uint32_t(int32_t(float(c.nrows) / float(c.rows) * 65536.0f));
  const float xstep = float(c.n) / float(c.cols) * 65536.0f;
  c.xstep = uint32_t(int32_t(p.step_plus_one ? xstep + 1.0f : xstep));
  c.fx = fraction(m[2]);
  c.fy = fraction(m[5]);
  return c;
}

// Strips of source columns. A nearest-neighbour strip takes the next `width` columns; a
// bilinear strip starts at the last column of the one before (the two share it).
template <typename Strip>
void for_strips(int32_t n, int32_t width, bool shared, Strip strip) {
  for (int32_t s0 = 0;;) {
    const int32_t c = std::min(width, n - s0);
    const bool last = s0 + c >= n;
    strip(s0, c, last);
    if (last) return;
    s0 += shared ? c - 1 : c;
  }
}

// ---- Nearest neighbour at any scale -----------------------------------------------------
//
// Strips of up to 7 source columns, chunks of up to 7 destination rows. r10..r16 the current
// source row piece, r24.. the chunk's selected rows (c registers each), r73.. the output
// columns (r registers each), r17..r23 one assembled output row.
namespace nearest {

inline constexpr uint32_t kRow = 10, kAssembled = 17, kSelected = 24, kColumns = 73;
inline constexpr int32_t kStrip = 7, kChunk = 7;

constexpr uint32_t select_row(uint32_t c, uint32_t to) {
  return queue_word(SL_OP_MOVE, c, 0, to, kRow);
}
constexpr uint32_t gather(uint32_t n, uint32_t from, uint32_t to, uint32_t stride) {
  return queue_word(SL_OP_GATHER, n, from, to, stride);
}
static_assert(select_row(1, 0) == 0xB0C0000Au);
static_assert(gather(1, 0, 0, 0) == 0xE0600000u);

inline void walk(const Format& f, const Args& a) {
  kx_ctx_t* ctx = kx_ctx_get();
  const Clip c = clip(kNearest, f, a);
  if (c.empty) return;
  const uint32_t s = f.bytes();
  uint32_t x_start = c.fx;  // carried from strip to strip
  uint32_t column = 0;      // the strip's first destination column
  for_strips(c.n, kStrip, false, [&](int32_t s0, int32_t cw, bool) {
    const uint32_t width = uint32_t(cw);
    uint32_t from = c.src + uint32_t(s0) * s;
    int32_t row = 0;
    sl_mem_issue(from, f.load(width, kRow), f.flags());
    uint32_t y = c.fy, x_end = x_start, produced = 0;
    for (int32_t r0 = 0; r0 < c.rows; r0 += kChunk) {
      const uint32_t rows = uint32_t(std::min(kChunk, c.rows - r0));
      for (uint32_t i = 0; i < rows; ++i) {
        if (y >= kOne) {
          // A start fraction can carry the last positions past the last row: they keep it.
          for (; y >= kOne; y -= kOne) {
            if (row < c.last_row) ++row, from += uint32_t(a.src_stride);
          }
          sl_mem_issue(from, f.load(width, kRow), f.flags());
        }
        y += c.ystep;
        sl_queue(ctx, select_row(width, kSelected + i * width));
      }
      uint32_t x = x_start, j = 0, g = 0, out = column;
      const auto flush = [&] {
        for (uint32_t i = 0; i < rows; ++i) {
          sl_queue(ctx, gather(g, kColumns + i, kAssembled, rows));
          sl_mem_issue(c.dst + (uint32_t(r0) + i) * uint32_t(a.dst_stride) + out * s,
                       f.store(g, kAssembled), f.flags());
        }
        out += g, g = 0;
      };
      for (;;) {
        if (x >= kOne) {
          x -= kOne;
          if (++j == width) break;
          continue;
        }
        sl_queue(ctx, gather(rows, kSelected + j, kColumns + g * rows, width));
        x += c.xstep;
        if (++g == uint32_t(kStrip)) flush();
      }
      if (g > 0) flush();
      x_end = x, produced = out - column;
    }
    x_start = x_end;
    column += produced;
  });
}

}  // namespace nearest

// ---- Nearest neighbour at whole-number magnifications 1..6 ------------------------------
//
// Pieces of 16 source columns: a source row into r10.., every element scattered fx times
// into r26.., then fx stores of the piece's count into each of fy destination rows.
namespace replicate {

inline constexpr uint32_t kRow = 10, kReplicated = 26;
inline constexpr int32_t kPiece = 16;

constexpr uint32_t scatter(uint32_t n, uint32_t phase, uint32_t factor) {
  return queue_word(SL_OP_SCATTER, n, kRow, kReplicated + phase, factor);
}
static_assert(scatter(16, 1, 2) == 0xEF428D82u && scatter(16, 0, 2) == 0xEF428D02u);
static_assert(k8.load(16, kRow) == 0x87D00500u &&
              k8.store(16, kReplicated + 16) == 0x87801500u &&
              k8.store(16, kReplicated + 80) == 0x87803500u);

inline void walk(const Format& f, const Args& a) {
  kx_ctx_t* ctx = kx_ctx_get();
  const float* m = a.m;
  const int32_t fx = int32_t(m[0] + 0.4999f), fy = int32_t(m[4] + 0.4999f);
  if (fx < 1 || fx > 6 || fy < 1 || fy > 6) return;
  const uint32_t s = f.bytes();
  int32_t W = a.width, H = a.height, w = a.src_width, h = a.src_height;
  uint32_t dst = a.dst, src = a.src;
  offset(int32_t(m[2] + 0.4999f), dst, int32_t(s), W, src, int32_t(s), w);
  offset(int32_t(m[5] + 0.4999f), dst, a.dst_stride, H, src, a.src_stride, h);
  const auto span = [](int32_t factor, int32_t room, int32_t avail, int32_t& used) {
    int32_t out = factor * avail;
    used = avail;
    if (out > room) {
      out = room;
      used = int32_t(float(room) / float(factor));
      if (used > avail) used = avail, out = used * factor;
    }
    return out;
  };
  int32_t n = 0, nrows = 0;
  const int32_t cols = span(fx, W, w, n), rows = span(fy, H, h, nrows);
  if (cols <= 0 || rows < 1 || n < 1 || nrows < 1) return;
  for (int32_t p0 = 0; p0 < n; p0 += kPiece) {
    const uint32_t pn = uint32_t(std::min(kPiece, n - p0));
    uint32_t from = src + uint32_t(p0) * s;
    uint32_t to = dst + uint32_t(p0 * fx) * s;
    for (int32_t row = 0; row < nrows; ++row, from += uint32_t(a.src_stride)) {
      sl_mem_issue(from, f.load(pn, kRow), f.flags());
      for (int32_t i = fx - 1; i >= 0; --i)
        sl_queue(ctx, scatter(pn, uint32_t(i), uint32_t(fx)));
      for (int32_t k = 0; k < fy; ++k, to += uint32_t(a.dst_stride)) {
        for (int32_t i = fx - 1; i >= 0; --i) {
          sl_mem_issue(to + pn * uint32_t(i) * s, f.store(pn, kReplicated + pn * uint32_t(i)),
                       f.flags());
        }
      }
    }
  }
}

}  // namespace replicate

// ---- Bilinear ---------------------------------------------------------------------------
//
// Strips of up to 9 source columns (consecutive strips share one), chunks of up to 3
// destination rows. Vertical pass: upper row r10.. (x 256), lower row r19.., their difference
// r28..; row k of the chunk interpolated into r(73 + k c). Horizontal pass: left column
// r37.., right r46.., difference r55..; output column g into r(100 + g r); a row of up to 9
// gathered into r64... r1 is the weight, written before each interpolation word.
namespace bilinear {

inline constexpr uint32_t kUpper = 10, kLower = 19, kVDiff = 28, kLeft = 37, kRight = 46,
                          kHDiff = 55, kAssembled = 64, kRows = 73, kColumns = 100;
inline constexpr int32_t kStrip = 9, kChunk = 3;

constexpr uint32_t lower_up(uint32_t c) {
  return queue_word(SL_OP_MOVE, c, 0, kUpper, kLower);
}
constexpr uint32_t vdiff(uint32_t c) {
  return queue_word(SL_OP_SUB, c, kLower, kVDiff, kUpper);
}
constexpr uint32_t upper_x256(uint32_t c) {
  return queue_word(SL_OP_SLLI, c, kUpper, kUpper, 8);
}
constexpr uint32_t vertical(uint32_t c, uint32_t k) {
  return queue_word(SL_OP_MAC, c, kVDiff, kRows + k * c, kUpper);
}
constexpr uint32_t first_column(uint32_t r, uint32_t c) {
  return queue_word(SL_OP_GATHER, r, kRows, kRight, c);
}
constexpr uint32_t right_left(uint32_t r) {
  return queue_word(SL_OP_MOVE, r, 0, kLeft, kRight);
}
constexpr uint32_t next_column(uint32_t r, uint32_t j, uint32_t c) {
  return queue_word(SL_OP_GATHER, r, kRows + j, kRight, c);
}
constexpr uint32_t hdiff(uint32_t r) {
  return queue_word(SL_OP_SUB, r, kRight, kHDiff, kLeft);
}
constexpr uint32_t horizontal(uint32_t r, uint32_t g) {
  return queue_word(SL_OP_MACF8B, r, kHDiff, kColumns + g * r, kLeft);
}
constexpr uint32_t last_column(uint32_t r, uint32_t g) {
  return queue_word(SL_OP_ADD, r, kLeft, kColumns + g * r, kHDiff);
}
constexpr uint32_t assemble(uint32_t g, uint32_t i, uint32_t r) {
  return queue_word(SL_OP_GATHER, g, kColumns + i, kAssembled, r);
}
// The lane is stored with the sub-field 1: the 8 fraction bits the weights added go.
constexpr uint32_t store(const Format& f, uint32_t g) {
  return mem_word(SL_ST0, f.lane_type + 1, g, kAssembled);
}
constexpr uint32_t load(const Format& f, uint32_t c) {
  return mem_word(SL_LD, f.lane_type, c, kLower);
}

static_assert(lower_up(1) == 0xB0C00513u && vdiff(1) == 0xA084CE0Au &&
              upper_x256(1) == 0xC0A28508u && vertical(1, 0) == 0x0047000Au + (73u << 7));
static_assert(first_column(1, 0) == 0xE0725700u && right_left(1) == 0xB0C012AEu &&
              next_column(1, 0, 0) == 0xE0601700u + (73u << 14) && hdiff(1) == 0xA08B9BA5u);
static_assert(horizontal(1, 0) == (0x10CDC025u | (100u << 7)) &&
              last_column(1, 0) == (0xA0094037u | (100u << 7)));
static_assert(assemble(9, 0, 0) == (0xE8602000u | (100u << 14)));
static_assert(store(k8, 9) == 0x84006000u && store(k16, 9) == 0x84066000u &&
              store(k32, 9) == 0x84046000u);
static_assert(load(k8, 1) == 0x80500980u && load(k16, 1) == 0x80560980u &&
              load(k32, 1) == 0x80540980u);

inline void walk(const Format& f, const Args& a) {
  kx_ctx_t* ctx = kx_ctx_get();
  const Clip c = clip(kBilinear, f, a);
  if (c.empty) return;
  const uint32_t s = f.bytes();
  uint32_t x_start = c.fx + kOne;  // carried from strip to strip
  uint32_t column = 0;
  for_strips(c.n, kStrip, true, [&](int32_t s0, int32_t cw, bool last) {
    const uint32_t width = uint32_t(cw);
    uint32_t from = c.src + uint32_t(s0) * s;
    int32_t row = 0;
    sl_mem_issue(from, load(f, width), f.lane_flags);
    uint32_t y = c.fy + kOne, x_end = x_start, produced = 0;
    for (int32_t r0 = 0; r0 < c.rows; r0 += kChunk) {
      const uint32_t rows = uint32_t(std::min(kChunk, c.rows - r0));
      for (uint32_t k = 0; k < rows; ++k) {
        if (y >= kOne) {
          // Each row stepped over moves the lower row up and loads the next one.
          while (y >= kOne) {
            y -= kOne;
            if (row < c.last_row) ++row, from += uint32_t(a.src_stride);
            sl_queue(ctx, lower_up(width));
            sl_mem_issue(from, load(f, width), f.lane_flags);
          }
          sl_queue(ctx, vdiff(width));
          sl_queue(ctx, upper_x256(width));
        }
        sl_reg_set(ctx, 1, y >> 8);
        sl_queue(ctx, vertical(width, k));
        y += c.ystep;
      }
      uint32_t x = x_start, j = 0, g = 0, out = column;
      const auto flush = [&] {
        for (uint32_t i = 0; i < rows; ++i) {
          sl_queue(ctx, assemble(g, i, rows));
          sl_mem_issue(c.dst + (uint32_t(r0) + i) * uint32_t(a.dst_stride) + out * s,
                       store(f, g), f.lane_flags);
        }
        out += g, g = 0;
      };
      const auto produce = [&](uint32_t word) {
        sl_queue(ctx, word);
        if (++g == uint32_t(kStrip)) flush();
      };
      sl_queue(ctx, first_column(rows, width));
      for (;;) {
        if (x >= kOne) {
          x -= kOne;
          if (++j == width) {
            // The last column itself when the position lands exactly on it; the words
            // before it make left and difference this chunk's even in a strip of one.
            if (last && x == 0) {
              if (width == 1) sl_queue(ctx, right_left(rows)), sl_queue(ctx, hdiff(rows));
              produce(last_column(rows, g));
            }
            x += kOne;
            break;
          }
          sl_queue(ctx, right_left(rows));
          sl_queue(ctx, next_column(rows, j, width));
          sl_queue(ctx, hdiff(rows));
          continue;
        }
        sl_reg_set(ctx, 1, x >> 8);
        produce(horizontal(rows, g));
        x += c.xstep;
      }
      if (g > 0) flush();
      x_end = x, produced = out - column;
    }
    x_start = x_end;
    column += produced;
  });
}

}  // namespace bilinear

// ---- Bicubic ----------------------------------------------------------------------------
//
// Bands of up to 8 output rows. For each band a vertical pass runs over strips of up to 8
// source columns: four source rows (-1, 0, +1, +2 around the position) in r10, r18, r26,
// r34, each output row their weighted sum (4 multiply-accumulates into r42.., the last into
// r(50 + 8k)); the band's rows are regrouped by column (r42..r49) and stored as 16-bit
// values into the scratch buffer, 32 bytes a source column. The horizontal pass reads four
// such columns into the same registers, sums them the same way with the horizontal weights
// (each term >> 8) into r(50 + 8k) for output column k, and stores the band's rows of up to 8
// columns from r42. r1 takes every weight by a direct write before the word that uses it.
// The first row and column replicate row and column 0 when nothing of the image lies above
// or left of the source start (the offsets moved the source start: then they are read).
namespace bicubic {

inline constexpr uint32_t kTaps[4] = {10, 18, 26, 34};
inline constexpr uint32_t kSum = 42, kResults = 50;
inline constexpr int32_t kBand = 8, kStrip = 8, kGroup = 8;
inline constexpr uint32_t kGroupBytes = 32;

constexpr uint32_t vertical(uint32_t n, uint32_t tap, uint32_t k) {
  return tap < 3 ? queue_word(SL_OP_MAC, n, kTaps[tap], kSum, tap ? kSum : 0)
                 : queue_word(SL_OP_MAC, n, kTaps[3], kResults + 8 * k, kSum);
}
constexpr uint32_t horizontal(uint32_t n, uint32_t tap, uint32_t k) {
  return tap < 3 ? queue_word(SL_OP_MACF8, n, kTaps[tap], kSum, tap ? kSum : 0)
                 : queue_word(SL_OP_MACF8B, n, kTaps[3], kResults + 8 * k, kSum);
}
// Rows (or columns) 0, +1, +2 move up to -1, 0, +1.
constexpr uint32_t roll(uint32_t n, uint32_t tap) {
  return queue_word(SL_OP_MOVE, n, 0, kTaps[tap], kTaps[tap + 1]);
}
// Row i of up to 8 output columns, or column j of up to 8 output rows, into r42...
constexpr uint32_t regroup(uint32_t n, uint32_t i) {
  return queue_word(SL_OP_GATHER, n, kResults + i, kSum, 8);
}
constexpr uint32_t source_load(const Format& f, uint32_t n, uint32_t tap) {
  return mem_word(SL_LD, f.lane_type, n, kTaps[tap]);
}
constexpr uint32_t scratch_store(uint32_t n) {
  return mem_word(SL_ST2, SL_T16R, n, kSum);
}
constexpr uint32_t scratch_load(uint32_t n, uint32_t tap) {
  return mem_word(SL_LD, SL_T16R, n, kTaps[tap]);
}
// The result keeps 8 fraction bits until the store: sub-field 1.
constexpr uint32_t store(const Format& f, uint32_t n) {
  return mem_word(SL_ST2, f.lane_type + 1, n, kSum);
}

static_assert(vertical(8, 0, 0) == 0x07429500u && vertical(8, 1, 0) == 0x0744952Au &&
              vertical(8, 2, 0) == 0x0746952Au &&
              vertical(8, 3, 1) == (0x0748802Au | 58u << 7));
static_assert(horizontal(8, 0, 0) == 0x17429500u && horizontal(8, 1, 0) == 0x1744952Au &&
              horizontal(8, 2, 0) == 0x1746952Au &&
              horizontal(8, 3, 2) == (0x17C8802Au | 66u << 7));
static_assert(roll(8, 0) == 0xB7C00512u && roll(8, 1) == 0xB7C0091Au &&
              roll(8, 2) == 0xB7C00D22u);
static_assert(regroup(8, 3) == (0xE7600000u | 53u << 14 | 42u << 7 | 8u));
static_assert(scratch_store(8) == 0x83961500u && scratch_load(8, 0) == 0x83D60500u &&
              scratch_load(8, 2) == 0x83D60D00u && scratch_load(8, 3) == 0x83D61100u);
static_assert(store(k8, 1) == 0x80105500u && store(k16, 1) == 0x80165500u &&
              store(k32, 1) == 0x80145500u);
static_assert(source_load(k32, 1, 0) == 0x80540500u);

// Four taps along one axis: the source rows or scratch columns -1..+2 around `base`, moved
// along by rolls and one new load as the position advances. `load(at, tap)` loads one;
// `replicate_first` copies tap 1 into tap 0 instead of loading at -1.
template <typename Load>
struct Taps {
  kx_ctx_t* ctx;
  uint32_t n;
  bool replicate_first;
  Load load;
  int32_t base = 0;

  void start(int32_t at) {
    base = at;
    const bool copy = replicate_first && at == 0;
    for (uint32_t t = copy ? 1 : 0; t < 4; ++t) load(at - 1 + int32_t(t), t);
    if (copy) sl_queue(ctx, roll(n, 0));
  }
  void advance_to(int32_t at) {
    for (; base < at; ++base) {
      for (uint32_t t = 0; t < 3; ++t) sl_queue(ctx, roll(n, t));
      load(base + 3, 3);
    }
  }
};
template <typename Load>
Taps<Load> taps(kx_ctx_t* ctx, uint32_t n, bool replicate_first, Load load) {
  return Taps<Load>{ctx, n, replicate_first, load};
}

// The weights of a position: the table row of its phase, `phases` rows of four.
struct Weights {
  const int16_t* table;
  uint32_t shift, mask;
  Weights(const int16_t* t, int32_t phases) : table(t) {
    uint32_t log = 0;
    while ((1u << log) < uint32_t(phases)) ++log;
    shift = 14 - log;
    mask = (uint32_t(phases) - 1) * 4;
  }
  const int16_t* at(uint32_t position) const { return table + ((position >> shift) & mask); }
};

inline void walk(const Format& f, const Args& a, const int16_t* table, int32_t phases,
                 uint32_t scratch) {
  kx_ctx_t* ctx = kx_ctx_get();
  const Clip c = clip(kBicubic, f, a);
  if (c.empty) return;
  const uint32_t s = f.bytes();
  const Weights weights(table, phases);
  // The image has a row above and a column left of the source start where a negative
  // offset moved it.
  const bool has_above = int32_t(a.m[5]) < 0, has_left = int32_t(a.m[2]) < 0;
  const int32_t first = has_left ? -1 : 0;  // the first scratch column
  const int32_t columns = c.n + 2 - first;  // source columns -1 or 0 .. n + 1
  const auto weigh = [&](uint32_t position, uint32_t tap) {
    sl_reg_set(ctx, 1, uint32_t(int32_t(weights.at(position)[tap])));
  };
  const auto group = [&](int32_t column) {
    return scratch + uint32_t(column - first) * kGroupBytes;
  };
  for (int32_t b0 = 0; b0 < c.rows; b0 += kBand) {
    const uint32_t band = uint32_t(std::min(kBand, c.rows - b0));
    // Vertical pass, strip by strip, into the scratch columns.
    for (int32_t x0 = 0; x0 < columns; x0 += kStrip) {
      const uint32_t m = uint32_t(std::min(kStrip, columns - x0));
      const uint32_t at = c.src + uint32_t(first + x0) * s;
      auto rows = taps(ctx, m, !has_above, [&](int32_t row, uint32_t tap) {
        sl_mem_issue(at + uint32_t(row) * uint32_t(a.src_stride), source_load(f, m, tap),
                     f.lane_flags);
      });
      for (uint32_t k = 0; k < band; ++k) {
        const uint32_t y = uint32_t(b0 + int32_t(k)) * c.ystep;
        if (k == 0) rows.start(int32_t(y >> 16));
        rows.advance_to(int32_t(y >> 16));
        for (uint32_t tap = 0; tap < 4; ++tap) {
          weigh(y, tap);
          sl_queue(ctx, vertical(m, tap, k));
        }
      }
      for (uint32_t j = 0; j < m; ++j) {
        sl_queue(ctx, regroup(band, j));
        sl_mem_issue(group(first + x0 + int32_t(j)), scratch_store(band), SPAM_T16);
      }
    }
    // Horizontal pass: groups of up to 8 output columns.
    auto cols = taps(ctx, band, !has_left, [&](int32_t column, uint32_t tap) {
      sl_mem_issue(group(column), scratch_load(band, tap), SPAM_T16);
    });
    cols.start(0);
    for (int32_t g0 = 0; g0 < c.cols; g0 += kGroup) {
      const uint32_t g = uint32_t(std::min(kGroup, c.cols - g0));
      for (uint32_t k = 0; k < g; ++k) {
        const uint32_t x = uint32_t(g0 + int32_t(k)) * c.xstep;
        cols.advance_to(int32_t(x >> 16));
        for (uint32_t tap = 0; tap < 4; ++tap) {
          weigh(x, tap);
          sl_queue(ctx, horizontal(band, tap, k));
        }
      }
      for (uint32_t i = 0; i < band; ++i) {
        sl_queue(ctx, regroup(g, i));
        sl_mem_issue(
            c.dst + uint32_t(b0 + int32_t(i)) * uint32_t(a.dst_stride) + uint32_t(g0) * s,
            store(f, g), f.lane_flags);
      }
    }
  }
}

}  // namespace bicubic

// ---- Affine -----------------------------------------------------------------------------
//
// Each destination pixel is mapped back into the source through the inverse matrix, 16 at a
// time on the processor: x positions in r10..r25, y in r26..r41 (16.16, then whole), the
// chunk's start in r42, r43 and the row's in r44, r45; the steps 1..16 times the column step
// in r46..r61 (x) and r62..r77 (y), the row steps in r80, r81, the last source column and
// row in r78, r79, the failure mask in r82, -1 in r83, the source stride in r1. A pixel whose
// source position lies outside the source is not written (the store is masked by r2).
namespace affine {

inline constexpr uint32_t kX = 10, kY = 26, kChunkStart = 42, kRowStart = 44, kXSteps = 46,
                          kYSteps = 62, kLast = 78, kRowSteps = 80, kFailed = 82, kOnes = 83;
inline constexpr uint32_t kChunk = 16;

// Ramps: with r46 = dxc and r47 = 2 dxc, three additions of a single register give 3..16.
constexpr uint32_t ramp(uint32_t base, uint32_t k) {
  // k = 0, 1, 2: registers base + 2.., base + 4.., base + 8.. from base.. plus the last
  return queue_word(SL_OP_ADDS, 2u << k, base, base + (2u << k), base + (2u << k) - 1);
}
static_assert(ramp(kXSteps, 0) == 0xA12B982Fu && ramp(kXSteps, 1) == 0xA32B9931u &&
              ramp(kXSteps, 2) == 0xA72B9B35u && ramp(kYSteps, 0) == 0xA12FA03Fu &&
              ramp(kYSteps, 1) == 0xA32FA141u && ramp(kYSteps, 2) == 0xA72FA345u);

inline constexpr uint32_t kRowStartWord = queue_word(SL_OP_MOVE, 2, 0, kChunkStart, kRowStart);
inline constexpr uint32_t kNextRow = queue_word(SL_OP_ADD, 2, kRowStart, kRowStart, kRowSteps);
static_assert(kRowStartWord == 0xB1C0152Cu && kNextRow == 0xA10B1650u);

struct ChunkWords {
  uint32_t queue[21];  // the queue words before the indexed load, then the mask's XOR
  uint32_t before;     // how many come before the indexed load
  uint32_t count;
  uint32_t indexed, store;
};

// The words of a chunk of n pixels, for elements of 1 << shift bytes.
constexpr ChunkWords chunk_words(const Format& f, uint32_t n) {
  ChunkWords w{};
  const uint32_t shift = f.bytes() == 4 ? 2 : f.bytes() == 2 ? 1 : 0;
  const auto q = [&w](uint32_t word) { w.queue[w.count++] = word; };
  for (uint32_t axis = 0; axis < 2; ++axis) {
    const uint32_t run = axis ? kY : kX, steps = axis ? kYSteps : kXSteps;
    q(queue_word(SL_OP_SPREAD, n, 0, run, kChunkStart + axis));
    if (n > 1) q(queue_word(SL_OP_ADD, n - 1, run + 1, run + 1, steps));
    q(queue_word(SL_OP_ADDS, 1, run + n - 1, kChunkStart + axis, steps));
    q(queue_word(SL_OP_SRAI, n, run, run, 16));
  }
  q(queue_word(SL_OP_CMPGT, n, kX, 0, kLast));
  q(queue_word(SL_OP_SPREAD, 1, 0, kFailed, 2));
  q(queue_word(SL_OP_CMPGT, n, kY, 0, kLast + 1));
  q(queue_word(SL_OP_SPREAD, 1, 2, kFailed, kFailed));
  q(queue_word(SL_OP_CMPLT, n, kX, 0, 0));
  q(queue_word(SL_OP_SPREAD, 1, 2, kFailed, kFailed));
  q(queue_word(SL_OP_CMPLT, n, kY, 0, 0));
  q(queue_word(SL_OP_SPREAD, 1, 2, 2, kFailed));
  q(queue_word(SL_OP_SELECT, n, kX, kX, 0));
  q(queue_word(SL_OP_SELECT, n, kY, kY, 0));
  q(queue_word(SL_OP_SLLI, n, kX, kX, shift));
  q(queue_word(SL_OP_MAC, n, kY, kX, kX));
  w.before = w.count;
  q(queue_word(SL_OP_XOR, 1, 2, 2, kOnes));
  w.indexed = mem_word(SL_LD, f.type, n, kY, kX);
  w.store = mem_word(SL_MEM_OP5, f.type, n, kY);
  return w;
}

constexpr bool documented(const ChunkWords& w, const uint32_t (&expected)[21]) {
  for (uint32_t i = 0; i < 21; ++i) {
    if (w.queue[i] != expected[i]) return false;
  }
  return w.count == 21 && w.before == 20;
}
inline constexpr uint32_t kChunk8[21] = {
    0xBFE0052Au, 0xAE02C5AEu, 0xA026552Eu, 0xCF628510u, 0xBFE00D2Bu, 0xAE06CDBEu, 0xA02A55BEu,
    0xCF668D10u, 0xDFE2804Eu, 0xB0E02902u, 0xDFE6804Fu, 0xB0E0A952u, 0xDFA28000u, 0xB0E0A952u,
    0xDFA68000u, 0xB0E08152u, 0x9FC28500u, 0x9FC68D00u, 0xCFA28500u, 0x0F46850Au, 0xB0808153u};
static_assert(documented(chunk_words(k8, kChunk), kChunk8));
static_assert(chunk_words(k16, kChunk).queue[18] == 0xCFA28501u &&
              chunk_words(k32, kChunk).queue[18] == 0xCFA28502u);
static_assert(chunk_words(k8, kChunk).indexed == 0x87D00D0Au &&
              chunk_words(k16, kChunk).indexed == 0x87D60D0Au &&
              chunk_words(k32, kChunk).indexed == 0x87D6CD0Au);
static_assert(chunk_words(k8, kChunk).store == 0x87A80D00u &&
              chunk_words(k16, kChunk).store == 0x87AE0D00u &&
              chunk_words(k32, kChunk).store == 0x87AECD00u);

inline int32_t fixed(float v) {
  return int32_t(v * 65536.0f);
}

inline void walk(const Format& f, uint32_t dst, int32_t dst_stride, int32_t width,
                 int32_t height, uint32_t src, int32_t src_stride, int32_t src_width,
                 int32_t src_height, const float* m) {
  kx_ctx_t* ctx = kx_ctx_get();
  if (width <= 0 || height <= 0) return;
  const float a = m[0], b = m[1], tx = m[2], c = m[3], d = m[4], ty = m[5];
  const float det = a * d - b * c;
  const int32_t x0 = fixed((b * ty - d * tx) / det), y0 = fixed((c * tx - a * ty) / det);
  const int32_t dxc = fixed(d / det), dyc = fixed(-c / det);
  const int32_t dxr = fixed(-b / det), dyr = fixed(a / det);
  kx_ctx_store64(ctx, sl_ctx_reg(kChunkStart), uint32_t(x0), uint32_t(y0));
  kx_ctx_store64(ctx, sl_ctx_reg(kRowStart), uint32_t(x0), uint32_t(y0));
  kx_ctx_store64(ctx, sl_ctx_reg(kXSteps), uint32_t(dxc), uint32_t(2 * dxc));
  kx_ctx_store64(ctx, sl_ctx_reg(kYSteps), uint32_t(dyc), uint32_t(2 * dyc));
  kx_ctx_store64(ctx, sl_ctx_reg(kRowSteps), uint32_t(dxr), uint32_t(dyr));
  kx_ctx_store64(ctx, sl_ctx_reg(kLast), uint32_t(src_width - 1), uint32_t(src_height - 1));
  sl_reg_set(ctx, 1, uint32_t(src_stride));
  sl_reg_set(ctx, kOnes, 0xFFFFFFFFu);
  for (uint32_t k = 0; k < 3; ++k) sl_queue(ctx, ramp(kXSteps, k));
  for (uint32_t k = 0; k < 3; ++k) sl_queue(ctx, ramp(kYSteps, k));
  const ChunkWords full = chunk_words(f, kChunk);
  const uint32_t remainder = uint32_t(width) % kChunk;
  const ChunkWords tail = chunk_words(f, remainder ? remainder : 1);
  const uint32_t flags = SPAM_ADVANCE | SPAM_SAVE_R2 | (f.flags() & SPAM_SIZE_SHIFT);
  for (int32_t y = 0; y < height; ++y, dst += uint32_t(dst_stride)) {
    sl_queue(ctx, kRowStartWord);
    for_chunks(uint32_t(width), kChunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      const ChunkWords& w = n == kChunk ? full : tail;
      for (uint32_t i = 0; i < w.before; ++i) sl_queue(ctx, w.queue[i]);
      sl_mem_issue_indexed(src, w.indexed);
      for (uint32_t i = w.before; i < w.count; ++i) sl_queue(ctx, w.queue[i]);
      sl_mem_issue(dst + x * f.bytes(), w.store, flags);
    });
    sl_queue(ctx, kNextRow);
  }
}

// Rotation by `degrees` about (cx, cy), scaled by (gx, gy), then offset by (ox, oy) in
// scaled units: the matrix the affine walk takes.
inline void rst_matrix(float degrees, float cx, float cy, float gx, float gy, float ox,
                       float oy, float* m) {
  const float theta = float(double(degrees) * (M_PI / 180.0));
  const double c = std::cos(double(theta)), s = std::sin(double(theta));
  m[0] = float(c * gx);
  m[1] = float(-s * gy);
  m[2] = float(cx * (1.0 - c * gx) + s * gy * cy + double(ox) * gx);
  m[3] = float(s * gx);
  m[4] = float(c * gy);
  m[5] = float(cy * (1.0 - c * gy) - s * gx * cx + double(oy) * gy);
}

}  // namespace affine

}  // namespace sl::resample

#endif
