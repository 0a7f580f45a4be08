// The convolution kernels: square N x N and separable, N = 3, 5, 7, on 8-bit, 16-bit and
// one-channel 32-bit pixels. Each kernel is the family's walk with one plan and one format.
#include "templates/rect_convolve.h"

#include "sl_kernels.h"

namespace sl::convolve {
namespace {

// Output columns a strip: the widest that lets the band and the results fit the registers
// with single or paired 16-element words.
constexpr uint32_t square_strip(uint32_t n) {
  return n == 3 ? 24 : n == 5 ? 16 : 8;
}
constexpr uint32_t separable_strip(uint32_t n) {
  return n == 3 ? 26 : n == 5 ? 16 : 12;
}

template <uint32_t N, bool Fine>
constexpr Plan kSquare{Family::square, N, square_strip(N), Fine};
template <uint32_t N>
constexpr Plan kSeparable{Family::separable, N, separable_strip(N), false};

// Loads take the base type; stores add the plan's sub-field. Borders are filled with the
// format's own fills, so a channel's border leaves the other bytes of its pixels alone.
constexpr Format kFormat8{SL_T8, SPAM_T8, 1, sl_rect_fill_8, sl_span_fill_8};
constexpr Format kFormat16{SL_T16, SPAM_T16, 2, sl_rect_fill_16, sl_span_fill_16};
constexpr Format kFormat32c{SL_T32C, SPAM_T32C, 4, sl_rect_fill_32c, sl_span_fill_32c};

// ---- The documented words, from the layout rule

constexpr Layout k3 = layout(kSquare<3, false>), k5 = layout(kSquare<5, false>),
                 k7 = layout(kSquare<7, false>);
static_assert(k3.coefficients == 12 && k3.rows == 21 && k3.cells == 99 && k3.results == 100);
static_assert(k5.coefficients == 0 && k5.rows == 10 && k5.cells == 110 && k5.results == 112);
static_assert(k7.coefficients == 0 && k7.rows == 10 && k7.cells == 108 && k7.results == 111);
static_assert(k3.load == 73 && k5.load == 90 && k7.load == 94);
constexpr Layout kS3 = layout(kSeparable<3>), kS5 = layout(kSeparable<5>),
                 kS7 = layout(kSeparable<7>);
static_assert(kS3.rows == 18 && kS3.cells == 96 && kS3.load == 97 && kS3.results == 97);
static_assert(kS5.rows == 22 && kS5.cells == 102 && kS5.load == 104 && kS5.results == 104);
static_assert(kS7.rows == 26 && kS7.cells == 110 && kS7.load == 110 && kS7.results == 113);
static_assert(!cells_loaded(kSquare<3, false>) && !cells_loaded(kSquare<7, true>));
static_assert(!cells_loaded(kSeparable<3>) && !cells_loaded(kSeparable<5>) &&
              cells_loaded(kSeparable<7>));

static_assert(issues(output_steps(kSquare<3, false>),
                     {0xB0E0008C, 0x0F457200, 0x07497A00, 0xB0E0008D, 0x0F45B264, 0x0749BA74,
                      0xB0E0008E, 0x0F45F264, 0x0749FA74, 0xB0E0008F, 0x0F4BF264, 0x074FFA74,
                      0xB0E00090, 0x0F4C3264, 0x07503A74, 0xB0E00091, 0x0F4C7264, 0x07507A74,
                      0xB0E00092, 0x0F527264, 0x07567A74, 0xB0E00093, 0x0F52B264, 0x0756BA74,
                      0xB0E00094, 0x0F52F264, 0x0756FA74}));
// The h twin: every multiply word XOR 0x10800000, nothing else.
static_assert(issues(output_steps(kSquare<3, true>),
                     {0xB0E0008C, 0x1FC57200, 0x17C97A00, 0xB0E0008D, 0x1FC5B264, 0x17C9BA74,
                      0xB0E0008E, 0x1FC5F264, 0x17C9FA74, 0xB0E0008F, 0x1FCBF264, 0x17CFFA74,
                      0xB0E00090, 0x1FCC3264, 0x17D03A74, 0xB0E00091, 0x1FCC7264, 0x17D07A74,
                      0xB0E00092, 0x1FD27264, 0x17D67A74, 0xB0E00093, 0x1FD2B264, 0x17D6BA74,
                      0xB0E00094, 0x1FD2F264, 0x17D6FA74}));
static_assert(output_steps(kSquare<5, false>).step[0].kind == Kind::multiplier &&
              output_steps(kSquare<5, false>).step[1].first == 0x0F42B800u &&
              output_steps(kSquare<5, false>).step[3].first == 0x0F42F870u);
static_assert(issues(roll_steps(kSquare<3, false>),
                     {0xBFC00AAF, 0xB9C012BF, 0xBFC017C9, 0xB9C01FD9}));
static_assert(issues(roll_steps(kSquare<5, false>),
                     {0xBFC0051E, 0xB3C00D2E, 0xBFC0051E + 2580, 0xB3C00D2E + 2580,
                      0xBFC0051E + 5160, 0xB3C00D2E + 5160, 0xBFC0235A, 0xB3C02B6A}));
static_assert(issues(roll_steps(kSquare<7, false>),
                     {0xBDC00518, 0xBDC00C26, 0xBDC01334, 0xBDC01A42, 0xBDC02150, 0xBDC0285E}));
static_assert(issues(row_steps(kSeparable<3>),
                     {0xB0E0008C, 0x0F586300, 0x095C6B00, 0xB0E0008D, 0x0F58A346, 0x095CAB56,
                      0xB0E0008E, 0x0F58E346, 0x095CEB56}));
static_assert(issues(output_steps(kSeparable<3>),
                     {0xB0E0008F, 0x4F44B080, 0x4948B880, 0xB0E00090, 0x4F4B30E1, 0x494F38F1,
                      0xB0E00091, 0x4F51B0E1, 0x4955B8F1}));
static_assert(issues(roll_steps(kSeparable<3>),
                     {0xBFC0092C, 0xB9C0113C, 0xBFC01646, 0xB9C01E56}));
// Memory and clearing words of the tables.
static_assert(mem_word(SL_LD, SL_T8, 26, k3.load) == 0x8CD02480u);
static_assert(mem_word(SL_LD, SL_T8, 25, k3.load + 1) == 0x8C502500u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 24, k3.cells) == 0x8B907180u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 23, k3.results) == 0x8B107200u);
static_assert(mem_word(SL_LD, SL_T8, 18, k5.load + 2) == 0x88D02E00u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 16, k5.cells) == 0x87907700u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 14, k5.results) == 0x86907800u);
static_assert(mem_word(SL_LD, SL_T8, 11, k7.load + 3) == 0x85503080u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 8, k7.results) == 0x83907780u);
static_assert(mem_word(SL_ST2, SL_T8 + 1, 5, k7.results) == 0x82107780u);
static_assert(mem_word(SL_LD, SL_T8, 28, kS3.load) == 0x8DD03080u);
static_assert(mem_word(SL_LD, SL_T8, 27, kS3.load + 1) == 0x8D503100u);
static_assert(mem_word(SL_ST2, SL_T8 + 2, 26, kS3.results) == 0x8C90B080u);
static_assert(mem_word(SL_ST2, SL_T8 + 2, 26, kS3.cells) == 0x8C90B000u);
static_assert(spread(1, k3.cells, 0) == 0xB0E03180u && spread(2, k5.cells, 0) == 0xB1E03700u);
static_assert(spread(3, k7.cells, 0) == 0xB2E03600u && spread(1, kS3.cells, 0) == 0xB0E03000u);
static_assert(spread(3, kS7.cells, 0) == 0xB2E03700u);
static_assert(spread(1, k3.load, k3.load + 1) == 0xB0E024CAu);
static_assert(spread(2, k5.load, k5.load + 2) == 0xB1E02D5Cu);
static_assert(spread(3, k7.load, k7.load + 3) == 0xB2E02F61u);
static_assert(spread(1, kS3.load, kS3.load + 1) == 0xB0E030E2u);

}  // namespace
}  // namespace sl::convolve

using namespace sl::convolve;

#define SL_SQUARE_CONVOLUTION(name, n, bits, fmt)                                              \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* coef, int32_t mode) {                     \
    walk<kSquare<n, #bits[0] == 'h'>, kFormat##fmt>(                                           \
        Args{dst, dst_stride, width, height, src, src_stride, limit_width, limit_height, x, y, \
             mode},                                                                            \
        coef);                                                                                 \
  }
#define SL_SEPARABLE_CONVOLUTION(name, n, fmt)                                              \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* hcoef, const float* vcoef,             \
                      int32_t mode) {                                                       \
    walk<kSeparable<n>, kFormat##fmt>(Args{dst, dst_stride, width, height, src, src_stride, \
                                           limit_width, limit_height, x, y, mode},          \
                                      hcoef, vcoef);                                        \
  }
SL_SQUARE_CONVOLUTIONS(SL_SQUARE_CONVOLUTION)
SL_SEPARABLE_CONVOLUTIONS(SL_SEPARABLE_CONVOLUTION)
