// The flip kernels: four base walks in three element sizes, and the three turns as the
// walks reading the source upwards.
#include "templates/rect_flip.h"

#include "sl_kernels.h"

namespace sl::flip {
namespace {

template <Kind kind>
void base(const Format& f, const Rect& r) {
  walk<kind>(f, r);
}

// Quarter turn anticlockwise: the anti-diagonal reflection of the source read upwards.
void turn90(const Format& f, const Rect& r) {
  walk<Kind::antidiagonal>(f, upwards(f, r, r.width - 1));
}
void turn180(const Format& f, const Rect& r) {
  walk<Kind::horizontal>(f, upwards(f, r, r.height - 1));
}
// Quarter turn clockwise: the diagonal reflection of the source read upwards.
void turn270(const Format& f, const Rect& r) {
  walk<Kind::diagonal>(f, upwards(f, r, r.width - 1));
}

}  // namespace
}  // namespace sl::flip

#define SL_FLIP_KIND(name, how)                                  \
  void sl_rect_flip_##name##_8(SL_RECT_1SRC_ARGS) {              \
    sl::flip::how(sl::flip::k8, sl::Rect{SL_RECT_1SRC_VALUES});  \
  }                                                              \
  void sl_rect_flip_##name##_16(SL_RECT_1SRC_ARGS) {             \
    sl::flip::how(sl::flip::k16, sl::Rect{SL_RECT_1SRC_VALUES}); \
  }                                                              \
  void sl_rect_flip_##name##_32(SL_RECT_1SRC_ARGS) {             \
    sl::flip::how(sl::flip::k32, sl::Rect{SL_RECT_1SRC_VALUES}); \
  }
SL_FLIP_KIND(v, base<sl::flip::Kind::vertical>)
SL_FLIP_KIND(h, base<sl::flip::Kind::horizontal>)
SL_FLIP_KIND(d, base<sl::flip::Kind::diagonal>)
SL_FLIP_KIND(b, base<sl::flip::Kind::antidiagonal>)
SL_FLIP_KIND(90, turn90)
SL_FLIP_KIND(180, turn180)
SL_FLIP_KIND(270, turn270)
#undef SL_FLIP_KIND
