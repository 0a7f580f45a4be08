// The rectangle a one-source kernel is given, as its arguments name it.
#ifndef KXLIB_RECT_H
#define KXLIB_RECT_H

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

}  // namespace sl

// The arguments of SL_RECT_1SRC_ARGS, in order: sl::Rect{SL_RECT_1SRC_VALUES}.
#define SL_RECT_1SRC_VALUES dst, dst_stride, width, height, src, src_stride

#endif
