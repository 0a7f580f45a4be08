// The convolution kernels: square N x N and separable, N = 3, 5, 7, on 8-bit, 16-bit and
// one-channel 32-bit pixels. Each kernel is the shared walk with one family member and one
// format; the static checks pin the words the layout rule gives to the documented ones.
#include "templates/rect_convolve.h"

#include <algorithm>
#include <initializer_list>

#include "sl_kernels.h"

namespace sl::convolve {
namespace {

// Loads take the base type; stores add the family's sub-field. Borders are filled with the
// format's own fills, so a channel's border leaves the other bytes of its pixels alone.
constexpr Format kFormat8{SL_T8, SPAM_T8, 1, sl_rect_fill_8, sl_span_fill_8};
constexpr Format kFormat16{SL_T16, SPAM_T16, 2, sl_rect_fill_16, sl_span_fill_16};
constexpr Format kFormat32c{SL_T32C, SPAM_T32C, 4, sl_rect_fill_32c, sl_span_fill_32c};

// ---- The documented words, from the layout rule

constexpr Layout k3 = Square<3, false>::layout, k5 = Square<5, false>::layout,
                 k7 = Square<7, false>::layout;
static_assert(k3.coefficients == 12 && k3.rows == 21 && k3.cells == 99 && k3.results == 100);
static_assert(k5.coefficients == 0 && k5.rows == 10 && k5.cells == 110 && k5.results == 112);
static_assert(k7.coefficients == 0 && k7.rows == 10 && k7.cells == 108 && k7.results == 111);
static_assert(k3.load == 73 && k5.load == 90 && k7.load == 94);
constexpr Layout kS3 = Separable<3>::layout, kS5 = Separable<5>::layout,
                 kS7 = Separable<7>::layout;
static_assert(kS3.rows == 18 && kS3.cells == 96 && kS3.load == 97 && kS3.results == 97);
static_assert(kS5.rows == 22 && kS5.cells == 102 && kS5.load == 104 && kS5.results == 104);
static_assert(kS7.rows == 26 && kS7.cells == 110 && kS7.load == 110 && kS7.results == 113);
static_assert(!cells_loaded(Square<3, false>::shape, k3) &&
              !cells_loaded(Square<7, true>::shape, k7));
static_assert(!cells_loaded(Separable<3>::shape, kS3) &&
              !cells_loaded(Separable<5>::shape, kS5) &&
              cells_loaded(Separable<7>::shape, kS7));

static_assert(issues(Square<3, false>::output,
                     {0xB0E0008C, 0x0F457200, 0x07497A00, 0xB0E0008D, 0x0F45B264, 0x0749BA74,
                      0xB0E0008E, 0x0F45F264, 0x0749FA74, 0xB0E0008F, 0x0F4BF264, 0x074FFA74,
                      0xB0E00090, 0x0F4C3264, 0x07503A74, 0xB0E00091, 0x0F4C7264, 0x07507A74,
                      0xB0E00092, 0x0F527264, 0x07567A74, 0xB0E00093, 0x0F52B264, 0x0756BA74,
                      0xB0E00094, 0x0F52F264, 0x0756FA74}));
// The h twin: every multiply word XOR 0x10800000, nothing else.
static_assert(issues(Square<3, true>::output,
                     {0xB0E0008C, 0x1FC57200, 0x17C97A00, 0xB0E0008D, 0x1FC5B264, 0x17C9BA74,
                      0xB0E0008E, 0x1FC5F264, 0x17C9FA74, 0xB0E0008F, 0x1FCBF264, 0x17CFFA74,
                      0xB0E00090, 0x1FCC3264, 0x17D03A74, 0xB0E00091, 0x1FCC7264, 0x17D07A74,
                      0xB0E00092, 0x1FD27264, 0x17D67A74, 0xB0E00093, 0x1FD2B264, 0x17D6BA74,
                      0xB0E00094, 0x1FD2F264, 0x17D6FA74}));
static_assert(Square<5, false>::output.step[0].kind == Kind::multiplier &&
              Square<5, false>::output.step[1].first == 0x0F42B800u &&
              Square<5, false>::output.step[3].first == 0x0F42F870u);
static_assert(issues(roll(Square<3, false>::shape, k3),
                     {0xBFC00AAF, 0xB9C012BF, 0xBFC017C9, 0xB9C01FD9}));
static_assert(issues(roll(Square<5, false>::shape, k5),
                     {0xBFC0051E, 0xB3C00D2E, 0xBFC0051E + 2580, 0xB3C00D2E + 2580,
                      0xBFC0051E + 5160, 0xB3C00D2E + 5160, 0xBFC0235A, 0xB3C02B6A}));
static_assert(issues(roll(Square<7, false>::shape, k7),
                     {0xBDC00518, 0xBDC00C26, 0xBDC01334, 0xBDC01A42, 0xBDC02150, 0xBDC0285E}));
static_assert(issues(Separable<3>::row,
                     {0xB0E0008C, 0x0F586300, 0x095C6B00, 0xB0E0008D, 0x0F58A346, 0x095CAB56,
                      0xB0E0008E, 0x0F58E346, 0x095CEB56}));
static_assert(issues(Separable<3>::output,
                     {0xB0E0008F, 0x4F44B080, 0x4948B880, 0xB0E00090, 0x4F4B30E1, 0x494F38F1,
                      0xB0E00091, 0x4F51B0E1, 0x4955B8F1}));
static_assert(issues(roll(Separable<3>::shape, kS3),
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

// Strips: the narrow words of the tables, with their count fields and cleared cells.
template <class Family>
constexpr Strip strip8(int32_t mode, int32_t width, int32_t c0) {
  return strip(Family::shape, Family::layout, SL_T8, SL_T8 + Family::store_subfield, mode,
               width, c0);
}
constexpr bool strip_is(const Strip& t, int32_t columns, uint32_t load,
                        std::initializer_list<uint32_t> edges,
                        std::initializer_list<uint32_t> clears, int32_t store_column,
                        uint32_t store) {
  const auto same = [](const uint32_t* words, uint32_t count,
                       std::initializer_list<uint32_t> l) {
    return count == l.size() && std::equal(l.begin(), l.end(), words);
  };
  return t.columns == columns && t.load == load && same(t.edges, t.edge_count, edges) &&
         same(t.clears, t.clear_count, clears) && t.store_column == store_column &&
         t.store == store;
}
using S3 = Square<3, false>;
// 26 x 3, zero border: the wide first strip, then two columns.
static_assert(strip_is(strip8<S3>(kZero, 26, 0), 24, 0x8CD02480, {}, {}, 0, 0x8B907180));
static_assert(strip_is(strip8<S3>(kZero, 26, 24), 2, 0x81502480, {}, {0xB0E03280}, 24,
                       0x80907200));
// Narrow first strips: zero border, unwritten border, edges repeated on both sides.
static_assert(strip_is(strip8<S3>(kZero, 10, 0), 10, 0x84D02480, {}, {0xB0E03600}, 0,
                       0x84907180));
static_assert(strip_is(strip8<S3>(kUnwritten, 10, 0), 10, 0x84D02480, {}, {}, 1, 0x83907200));
static_assert(strip_is(strip8<S3>(kExtend, 10, 0), 10, 0x84D02500, {0xB0E024CA, 0xB0E02A53}, {},
                       0, 0x84907200));
static_assert(strip_is(strip8<S3>(kExtend, 30, 0), 24, 0x8C502500, {0xB0E024CA}, {}, 0,
                       0x8B907200));
static_assert(strip_is(strip8<S3>(kUnwritten, 30, 0), 24, 0x8CD02480, {}, {}, 1, 0x8B107200));
// Narrow later strips.
static_assert(strip_is(strip8<S3>(kExtend, 30, 24), 6, 0x83502480, {0xB0E0284F}, {}, 24,
                       0x82907200));
static_assert(strip_is(strip8<S3>(kUnwritten, 30, 24), 6, 0x83502480, {}, {}, 24, 0x82107200));
static_assert(strip8<S3>(kUnwritten, 25, 24).columns == 0);  // the border column is left
// The first strip of 25 in a bordered mode loads only the 25 columns there are.
static_assert(strip8<S3>(kZero, 25, 0).load == 0x8C502480);
// 5x5 of 17: 15 columns (none needing column 17), then the last two.
static_assert(strip_is(strip8<Square<5, false>>(kExtend, 17, 0), 15, 0x88502E00, {0xB1E02D5C},
                       {}, 0, 0x87107800));
static_assert(strip8<Square<5, false>>(kExtend, 17, 15).columns == 2);
static_assert(strip8<Square<5, false>>(kExtend, 20, 16).edges[0] == 0xB1E0305F);
// Separable 7x7: its cells are loaded over, so they are cleared before the first store.
static_assert(strip_is(strip8<Separable<7>>(kZero, 12, 0), 12, 0x85D03700, {},
                       {0xB2E03700, 0xB2E03B80}, 0, 0x8590B700));

}  // namespace
}  // namespace sl::convolve

using namespace sl::convolve;

#define SL_SQUARE_CONVOLUTION(name, n, bits, fmt)                                              \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* coef, int32_t mode) {                     \
    walk<Square<n, #bits[0] == 'h'>, kFormat##fmt>(                                            \
        Args{dst, dst_stride, width, height, src, src_stride, limit_width, limit_height, x, y, \
             mode},                                                                            \
        coef);                                                                                 \
  }
#define SL_SEPARABLE_CONVOLUTION(name, n, fmt)                                             \
  void sl_rect_##name(SL_CONVOLVE_ARGS, const float* hcoef, const float* vcoef,            \
                      int32_t mode) {                                                      \
    walk<Separable<n>, kFormat##fmt>(Args{dst, dst_stride, width, height, src, src_stride, \
                                          limit_width, limit_height, x, y, mode},          \
                                     hcoef, vcoef);                                        \
  }
SL_SQUARE_CONVOLUTIONS(SL_SQUARE_CONVOLUTION)
SL_SEPARABLE_CONVOLUTIONS(SL_SEPARABLE_CONVOLUTION)
