// The extrema kernels: fold a rectangle's smallest and largest pixel (per byte channel for
// _32) into running values the caller carries between rectangles.
//
// Registers: r10.. the running minima and, after them, the running maxima (r11 for one
// channel, r14..r17 for four); each block of pixels is loaded into a block run and merged
// into a run of minimum lanes and a run of maximum lanes, which are reduced once at the end.
// These are the only kernels that wait for the processor: they read the running values back.
#include <algorithm>
#include <cstddef>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_saturate.h"
#include "sl_word.h"

namespace sl::extrema {
namespace {

constexpr uint32_t kRunningMin = 10;

// A MIN word and its MAX partner, issued together as one doubleword store.
struct Pair {
  uint32_t min, max;
};

struct Plan {
  uint32_t load_type;
  uint32_t flags;  // page-crossing flags of every load
  uint32_t bytes_per_pixel;
  uint32_t channels;     // registers per pixel; each keeps its own extrema
  uint32_t lane_pixels;  // pixels a block holds
  uint32_t running_max;  // first running maximum
  uint32_t block;        // where later blocks are loaded
  uint32_t min_lanes, max_lanes;
  const Pair* full;  // reduction when every lane is in use ...
  size_t full_pairs;
  uint32_t full_min, full_max;  // ... and the lanes it leaves the result in
};

constexpr Pair pair(uint32_t n, uint32_t min_a, uint32_t min_d, uint32_t min_b, uint32_t max_a,
                    uint32_t max_d, uint32_t max_b) {
  return {queue_word(SL_OP_MIN, n, min_a, min_d, min_b),
          queue_word(SL_OP_MAX, n, max_a, max_d, max_b)};
}

// Sixteen lanes: halves into scratch runs r44.. and r76.., ending in r58 and r90.
constexpr Pair kFull16[] = {
    pair(8, 28, 44, 36, 60, 76, 68),
    pair(4, 44, 52, 48, 76, 84, 80),
    pair(2, 52, 56, 54, 84, 88, 86),
    pair(1, 56, 58, 57, 88, 90, 89),
};
static_assert(kFull16[0].min == 0xD7071624u && kFull16[0].max == 0xD78F2644u);
static_assert(kFull16[3].min == 0xD00E1D39u && kFull16[3].max == 0xD0962D59u);

// Eight four-channel pixels: halves in place, channels kept apart, ending in r50 and r82.
constexpr Pair kFull32[] = {
    pair(16, 50, 50, 66, 82, 82, 98),
    pair(8, 50, 50, 58, 82, 82, 90),
    pair(4, 50, 50, 54, 82, 82, 86),
};
static_assert(kFull32[0].min == 0xDF0C9942u && kFull32[0].max == 0xDF94A962u);
static_assert(kFull32[2].min == 0xD30C9936u && kFull32[2].max == 0xD394A956u);

// Columns: load type, page flags, bytes a pixel, channels, pixels a block, first running
// maximum, block, minimum lanes, maximum lanes, full reduction and the lanes it ends in.
constexpr Plan kExtrema8{SL_T8, SPAM_T8, 1, 1, 16, 11, 12, 28, 60, kFull16, 4, 58, 90};
constexpr Plan kExtrema16{SL_T16, SPAM_T16, 2, 1, 16, 11, 12, 28, 60, kFull16, 4, 58, 90};
constexpr Plan kExtrema32{SL_T4C, SPAM_T4C, 4, 4, 8, 14, 18, 50, 82, kFull32, 3, 50, 82};

void merge(kx_ctx_t* ctx, const Plan& p, uint32_t src, uint32_t pixels) {
  sl_mem_issue(src, mem_word(SL_LD, p.load_type, pixels, p.block), p.flags);
  in_pieces(pixels * p.channels, [&](uint32_t o, uint32_t n) {
    sl_queue2(ctx, queue_word(SL_OP_MIN, n, p.block + o, p.min_lanes + o, p.min_lanes + o),
              queue_word(SL_OP_MAX, n, p.block + o, p.max_lanes + o, p.max_lanes + o));
  });
}

// Folds `lanes` registers of each lane run into the running values.
void reduce(kx_ctx_t* ctx, const Plan& p, uint32_t lanes) {
  uint32_t a = p.min_lanes, b = p.max_lanes;
  if (lanes == p.lane_pixels * p.channels) {
    for (size_t i = 0; i < p.full_pairs; ++i) sl_queue2(ctx, p.full[i].min, p.full[i].max);
    a = p.full_min;
    b = p.full_max;
  } else {
    // Halve in place, rounding the half down to whole pixels: the odd pixel rides along.
    for (uint32_t h; (h = (lanes / p.channels >> 1) * p.channels) > 0; lanes -= h) {
      sl_queue2(ctx, queue_word(SL_OP_MIN, h, a, a + h, a + h),
                queue_word(SL_OP_MAX, h, b, b + h, b + h));
      a += h;
      b += h;
    }
  }
  sl_queue2(ctx, queue_word(SL_OP_MIN, p.channels, kRunningMin, kRunningMin, a),
            queue_word(SL_OP_MAX, p.channels, p.running_max, p.running_max, b));
}

void extrema(const Plan& p, uint32_t src, int32_t src_stride, int32_t width, int32_t height,
             float* min, float* max) {
  if (width <= 0 || height <= 0) return;
  kx_ctx_t* ctx = kx_ctx_get();

  // Running minima then maxima, written two registers at a time from r10.
  int32_t running[8];
  for (uint32_t k = 0; k < p.channels; ++k) {
    running[k] = truncate_saturate(min[k]);
    running[p.channels + k] = truncate_saturate(max[k]);
  }
  for (uint32_t k = 0; k < 2 * p.channels; k += 2) {
    kx_ctx_store64(ctx, sl_ctx_reg(kRunningMin + k), uint32_t(running[k]),
                   uint32_t(running[k + 1]));
  }

  // The first block initialises both lane runs.
  const uint32_t w = uint32_t(width);
  const uint32_t first = std::min(w, p.lane_pixels);
  sl_mem_issue(src, mem_word(SL_LD, p.load_type, first, p.min_lanes), p.flags);
  in_pieces(first * p.channels, [&](uint32_t o, uint32_t n) {
    sl_queue(ctx, queue_word(SL_OP_MOVE, n, 0, p.max_lanes + o, p.min_lanes + o));
  });

  uint32_t x = first;
  for (int32_t row = 0; row < height; ++row, x = 0) {
    const uint32_t row_start = src + uint32_t(row) * uint32_t(src_stride);
    for (; x < w; x += p.lane_pixels) {
      merge(ctx, p, row_start + x * p.bytes_per_pixel, std::min(w - x, p.lane_pixels));
    }
  }

  reduce(ctx, p, first * p.channels);
  sl_ctx_sync_s2c();
  for (uint32_t k = 0; k < p.channels; ++k) {
    min[k] = float(int32_t(kx_ctx_load32(ctx, sl_ctx_reg(kRunningMin + k))));
    max[k] = float(int32_t(kx_ctx_load32(ctx, sl_ctx_reg(p.running_max + k))));
  }
}

}  // namespace
}  // namespace sl::extrema

using sl::extrema::extrema;

void sl_rect_extrema_8(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                       float* min, float* max) {
  extrema(sl::extrema::kExtrema8, src, src_stride, width, height, min, max);
}

void sl_rect_extrema_16(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                        float* min, float* max) {
  extrema(sl::extrema::kExtrema16, src, src_stride, width, height, min, max);
}

void sl_rect_extrema_32(uint32_t src, int32_t src_stride, int32_t width, int32_t height,
                        float* min, float* max) {
  extrema(sl::extrema::kExtrema32, src, src_stride, width, height, min, max);
}
