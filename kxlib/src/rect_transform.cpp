// The transform kernels: dst channel j = (sum over c of m[j][c] * src channel c + offset j)
// >> 8, saturated to the pixel format. Each kernel is the family's walk with one plan.
#include "templates/rect_transform.h"

#include "sl_kernels.h"

namespace sl::transform {
namespace {

// Columns: load and store (operation, type, page flags, bytes a pixel), pixels a chunk,
// memory elements a pixel, registers a pixel, lane of channel 0, inputs, outputs, offset unit.
// One channel, 32 pixels a chunk: scale in r10, offset in r11..r42, pixels in r43..r74.
constexpr Plan kTrf8_8{
    {SL_LD, SL_T8, SPAM_T8, 1}, {SL_ST2, SL_T8, SPAM_T8, 1}, 32, 1, 1, 0, 1, 1, 1};
constexpr Plan kTrf16_16{
    {SL_LD, SL_T16, SPAM_T16, 2}, {SL_ST2, SL_T16, SPAM_T16, 2}, 32, 1, 1, 0, 1, 1, 1};
// Bytes 1..3 of 4-byte pixels, 9 a chunk: the words the colour conversions were built on.
constexpr Plan kTrf24_32{
    {SL_LD, SL_T4C, SPAM_T4C, 4}, {SL_ST3, kColourStore, SPAM_T4C, 4}, 9, 1, 4, 1, 3, 3, 1};
// All four bytes, 7 a chunk: the most that fits the register file with 20 coefficients.
constexpr Plan kTrf32_32{
    {SL_LD, SL_T4C, SPAM_T4C, 4}, {SL_ST3, kColourStore, SPAM_T4C, 4}, 7, 1, 4, 0, 4, 4, 1};
// Three signed 16-bit channels, 10 pixels (30 elements) a chunk; offsets in whole units.
constexpr Plan kTrf16_16_3{
    {SL_LD, SL_T16, SPAM_T16, 6}, {SL_ST2, SL_T16, SPAM_T16, 6}, 10, 3, 3, 0, 3, 3, 256};

static_assert(layout(kTrf8_8).end <= 128 && layout(kTrf16_16).end <= 128);
static_assert(layout(kTrf24_32).end <= 128 && layout(kTrf32_32).end <= 128);
static_assert(layout(kTrf16_16_3).end <= 128);

static_assert(issues(chunk_words(kTrf24_32, 9),
                     {0x84522900, 0xE874D704, 0xE8751B84, 0xE8756004, 0xB0E0008A, 0x084BA493,
                      0xB0E0008B, 0x084DE4C9, 0xB0E0008C, 0x08D024C9, 0xE8526984, 0xB0E0008D,
                      0x084BA49C, 0xB0E0008E, 0x084DE4C9, 0xB0E0008F, 0x08D024C9, 0xE8526A04,
                      0xB0E00090, 0x084BA4A5, 0xB0E00091, 0x084DE4C9, 0xB0E00092, 0x08D024C9,
                      0xE8526A84, 0x841A6900}));
static_assert(spreads(kTrf24_32).count == 3 && spreads(kTrf24_32).word[0] == 0xB8E01295u &&
              spreads(kTrf24_32).word[1] == 0xB8E00E14u &&
              spreads(kTrf24_32).word[2] == 0xB7E00A13u);

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
