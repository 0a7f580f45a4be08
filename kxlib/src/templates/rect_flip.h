// The flip family: one rectangle copied with its pixels re-ordered, no value changed.
//
// Four base walks (vertical and horizontal mirror, reflection about the main diagonal and
// about the anti-diagonal) serve every element size; a member is its format: the data type
// of its loads and stores (SL_LD and SL_ST0), the bytes of an element and its page flags.
// The mirrors move runs of 32; the reflections move blocks of 12 source rows by 8 source
// columns through registers r10..r105 and gather each destination row into r116..r127.
#ifndef KXLIB_RECT_FLIP_H
#define KXLIB_RECT_FLIP_H

#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/mem_format.h"
#include "templates/rect.h"

namespace sl::flip {

struct Format {
  uint32_t type;  // SL_T8, SL_T16R or SL_T32
  constexpr uint32_t bytes() const { return pixel_bytes(type); }
  constexpr uint32_t flags() const { return page_flags(type); }
  constexpr uint32_t load(uint32_t n, uint32_t reg) const {
    return mem_word(SL_LD, type, n, reg);
  }
  constexpr uint32_t store(uint32_t n, uint32_t reg) const {
    return mem_word(SL_ST0, type, n, reg);
  }
  // Strides and row offsets are rounded down to whole elements (toward minus infinity).
  constexpr int32_t whole(int32_t bytes_) const { return bytes_ & ~int32_t(bytes() - 1); }
};

inline constexpr Format k8{SL_T8}, k16{SL_T16R}, k32{SL_T32};

// Registers: loads from r10, the mirrored run in r42..r73, a gathered block row in r116...
inline constexpr uint32_t kLoaded = 10, kMirrored = 42, kMirrorEnd = 74, kGathered = 116;
// A reflection block: 12 source rows of 8 source columns.
inline constexpr uint32_t kBlockRows = 12, kBlockColumns = 8;

// The two gathers that reverse r10..r41 into r42..r73 (stride -1 is 127).
inline constexpr uint32_t kReverseLow = queue_word(SL_OP_GATHER, 16, 25, 58, 127);
inline constexpr uint32_t kReverseHigh = queue_word(SL_OP_GATHER, 16, 41, 42, 127);
// Column c of a block (registers c, c + 8, ..., c + 88) into r116..r127.
constexpr uint32_t gather_column(uint32_t c) {
  return queue_word(SL_OP_GATHER, kBlockRows, c, kGathered, kBlockColumns);
}

static_assert(kReverseLow == 0xEF665D7Fu && kReverseHigh == 0xEF6A557Fu);
static_assert(gather_column(0) == 0xEB603A08u && gather_column(10) == 0xEB62BA08u);
static_assert(k8.load(32, 10) == 0x8FD00500u && k16.load(32, 10) == 0x8FD60500u &&
              k32.load(32, 10) == 0x8FD6C500u);
static_assert(k8.store(12, 116) == 0x85803A00u && k16.store(12, 116) == 0x85863A00u &&
              k32.store(12, 116) == 0x8586FA00u);
static_assert(k8.flags() == SPAM_T8 && k16.flags() == SPAM_T16 && k32.flags() == SPAM_T32);

enum class Kind { vertical, horizontal, diagonal, antidiagonal };

// dst[y][x] = src[H-1-y][x]: rows copied bottom to top in runs of 32.
inline void mirror_rows(const Format& f, const Rect& r) {
  const uint32_t s = f.bytes();
  const int32_t ds = f.whole(r.dst_stride), ss = f.whole(r.src_stride);
  uint32_t d = r.dst, from = r.src + uint32_t(r.height - 1) * uint32_t(ss);
  for (int32_t y = 0; y < r.height; ++y, d += uint32_t(ds), from -= uint32_t(ss)) {
    for_chunks(uint32_t(r.width), kMemMax, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      sl_mem_issue(from + x * s, f.load(n, kLoaded), f.flags());
      sl_mem_issue(d + x * s, f.store(n, kLoaded), f.flags());
    });
  }
}

// dst[y][x] = src[y][W-1-x]: each run of 32 reversed by two gathers and stored from the
// right end of the row leftwards; a remainder of n sits reversed in r(74 - n)..r73.
inline void mirror_columns(kx_ctx_t* ctx, const Format& f, const Rect& r) {
  const uint32_t s = f.bytes();
  const int32_t ds = f.whole(r.dst_stride), ss = f.whole(r.src_stride);
  uint32_t d = r.dst, from = r.src;
  for (int32_t y = 0; y < r.height; ++y, d += uint32_t(ds), from += uint32_t(ss)) {
    uint32_t at = d + uint32_t(r.width) * s;
    for_chunks(uint32_t(r.width), kMemMax, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      sl_mem_issue(from + x * s, f.load(n, kLoaded), f.flags());
      sl_queue(ctx, kReverseLow);
      sl_queue(ctx, kReverseHigh);
      at -= n * s;
      sl_mem_issue(at, f.store(n, kMirrorEnd - n), f.flags());
    });
  }
}

// Reflections. Destination rows come in groups of 8 (source columns), destination columns in
// blocks of 12 (source rows); the last group and block take what is left. Source row i of a
// block is loaded into r(10 + 8i); destination row j of the group is gathered from column
// j (diagonal) or from the mirrored column (anti-diagonal: the group's columns read right to
// left, and its source rows bottom to top).
template <bool anti>
void reflect(kx_ctx_t* ctx, const Format& f, const Rect& r) {
  if (r.width <= 0 || r.height <= 0) return;
  const uint32_t s = f.bytes();
  const int32_t ds = f.whole(r.dst_stride), ss = f.whole(r.src_stride);
  const uint32_t W = uint32_t(r.width), H = uint32_t(r.height);
  for (uint32_t y = 0; y < H; y += kBlockColumns) {
    const uint32_t rows = std::min(kBlockColumns, H - y);  // destination rows of the group
    // The group's source columns: y .. y + rows - 1, or H - y - rows .. H - y - 1.
    const uint32_t column = anti ? H - y - rows : y;
    for (uint32_t x = 0; x < W; x += kBlockRows) {
      const uint32_t columns = std::min(kBlockRows, W - x);  // destination columns
      for (uint32_t i = 0; i < columns; ++i) {
        const uint32_t row = anti ? W - 1 - x - i : x + i;
        sl_mem_issue(r.src + row * uint32_t(ss) + column * s,
                     f.load(rows, kLoaded + kBlockColumns * i), f.flags());
      }
      for (uint32_t j = 0; j < rows; ++j) {
        sl_queue(ctx, gather_column(kLoaded + (anti ? rows - 1 - j : j)));
        sl_mem_issue(r.dst + (y + j) * uint32_t(ds) + x * s, f.store(columns, kGathered),
                     f.flags());
      }
    }
  }
}

template <Kind kind>
void walk(const Format& f, const Rect& r) {
  kx_ctx_t* ctx = kx_ctx_get();
  if (r.width <= 0 || r.height <= 0) return;
  if constexpr (kind == Kind::vertical) mirror_rows(f, r);
  if constexpr (kind == Kind::horizontal) mirror_columns(ctx, f, r);
  if constexpr (kind == Kind::diagonal) reflect<false>(ctx, f, r);
  if constexpr (kind == Kind::antidiagonal) reflect<true>(ctx, f, r);
}

// The turns read the source from its last row upwards: the base kernel gets the last row
// (its offset rounded down to whole elements) and the negated stride.
constexpr Rect upwards(const Format& f, Rect r, int32_t last_row) {
  r.src += uint32_t(f.whole(int32_t(uint32_t(last_row) * uint32_t(r.src_stride))));
  r.src_stride = -r.src_stride;
  return r;
}

}  // namespace sl::flip

#endif
