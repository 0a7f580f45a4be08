// The transform kernels: dst channel j = (sum over c of m[j][c] * src channel c + offset j)
// >> 8, saturated to the pixel format. Each kernel is the family's walk with one plan.
#include "templates/rect_transform.h"

#include "sl_kernels.h"

namespace sl::transform {
namespace {

// The colour-transform store: SL_T4C with sub-field 1 (SL_ST3 clamps to 0..255 and ignores it).
constexpr uint32_t kColourStore = SL_T4C + 1;

// Columns: load type, store, store type, page flags, pixels a chunk, bytes a pixel, memory
// elements a pixel, registers a pixel, lane of channel 0, channels, offset unit.
// One channel, 32 pixels a chunk: scale in r10, offset in r11..r42, pixels in r43..r74.
constexpr Plan kTrf8_8{SL_T8, SL_ST2, SL_T8, SPAM_T8, 32, 1, 1, 1, 0, 1, 1};
constexpr Plan kTrf16_16{SL_T16, SL_ST2, SL_T16, SPAM_T16, 32, 2, 1, 1, 0, 1, 1};
// Bytes 1..3 of 4-byte pixels, 9 a chunk: the words the colour conversions were built on.
constexpr Plan kTrf24_32{SL_T4C, SL_ST3, kColourStore, SPAM_T4C, 9, 4, 1, 4, 1, 3, 1};
// All four bytes, 7 a chunk: the most that fits the register file with 20 coefficients.
constexpr Plan kTrf32_32{SL_T4C, SL_ST3, kColourStore, SPAM_T4C, 7, 4, 1, 4, 0, 4, 1};
// Three signed 16-bit channels, 10 pixels (30 elements) a chunk; offsets in whole units.
constexpr Plan kTrf16_16_3{SL_T16, SL_ST2, SL_T16, SPAM_T16, 10, 6, 3, 3, 0, 3, 256};

static_assert(layout(kTrf8_8).end <= 128 && layout(kTrf16_16).end <= 128);
static_assert(layout(kTrf24_32).end <= 128 && layout(kTrf32_32).end <= 128);
static_assert(layout(kTrf16_16_3).end <= 128);

}  // namespace
}  // namespace sl::transform

using namespace sl;
using namespace sl::transform;

void sl_rect_trf8_8(SL_RECT_1SRC_ARGS, int32_t scale, int32_t offset) {
  const int32_t coefficients[2] = {scale, offset};
  walk(kTrf8_8, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_trf16_16(SL_RECT_1SRC_ARGS, int32_t scale, int32_t offset) {
  const int32_t coefficients[2] = {scale, offset};
  walk(kTrf16_16, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_trf24_32(SL_RECT_1SRC_ARGS, const int32_t* coefficients) {
  walk(kTrf24_32, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_trf32_32(SL_RECT_1SRC_ARGS, const int32_t* coefficients) {
  walk(kTrf32_32, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_trf16_16_3(SL_RECT_1SRC_ARGS, const int32_t* coefficients) {
  walk(kTrf16_16_3, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}
