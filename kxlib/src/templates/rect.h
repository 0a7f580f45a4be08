// The rectangle a one-source kernel is given, as its arguments name it, and the walks over
// its rows and over the chunks of a row.
#ifndef KXLIB_RECT_H
#define KXLIB_RECT_H

#include <algorithm>
#include <cstdint>

namespace sl {

struct Rect {
  uint32_t dst;
  int32_t dst_stride;
  int32_t width;
  int32_t height;
  uint32_t src;
  int32_t src_stride;
};

// Backward copies serve overlapping areas whose destination lies after the source: the
// last row first, and within a row the chunks from the right end leftwards.
enum class Order { forward, backward };

template <typename Row>
void for_rows(const Rect& r, Order order, Row row) {
  if (r.width <= 0 || r.height <= 0) return;
  for (int32_t i = 0; i < r.height; ++i) {
    const uint32_t k = uint32_t(order == Order::forward ? i : r.height - 1 - i);
    row(r.dst + k * uint32_t(r.dst_stride), r.src + k * uint32_t(r.src_stride));
  }
}

// emit(x, n, ends_row) for pixels x .. x + n - 1 of a row, in chunks of `chunk`. Backward,
// the chunks start at the right end, so the leftmost one holds the remainder.
template <typename Emit>
void for_chunks(uint32_t width, uint32_t chunk, Order order, Emit emit) {
  if (order == Order::forward) {
    for (uint32_t x = 0; x < width; x += chunk) {
      const uint32_t n = std::min(chunk, width - x);
      emit(x, n, x + n == width);
    }
    return;
  }
  for (uint32_t end = width; end > 0;) {
    const uint32_t n = std::min(chunk, end);
    end -= n;
    emit(end, n, end + n == width);
  }
}

}  // namespace sl

// The arguments of SL_RECT_1SRC_ARGS, in order: sl::Rect{SL_RECT_1SRC_VALUES}.
#define SL_RECT_1SRC_VALUES dst, dst_stride, width, height, src, src_stride

#endif
