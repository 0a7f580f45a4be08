// The blend kernels: each member of the family is its loads, multiply form and store.
#include "templates/rect_blend.h"

#include "sl_kernels.h"

namespace sl::blend {
namespace {

// One-channel members: alpha into r10.., s1 into r42.., s2 into r74..; the result is formed
// over s1 and stored from r42. They differ only in the types of their loads and store and in
// the multiply: (alpha x difference) >> 8 for 8-bit alpha, >> 16 for 16-bit alpha (loaded
// raw, 0..65535).
constexpr Member k_blend8_8{{{alpha, 0x8FD00500u}, {s1, 0x8FD01500u}, {s2, 0x8FD02500u}},
                            SL_OP_MULF,
                            0x8F901500u,
                            10,
                            1};
constexpr Member k_blend8_16{{{alpha, 0x8FD00500u}, {s1, 0x8FD61500u}, {s2, 0x8FD62500u}},
                             SL_OP_MULF,
                             0x8F961500u,
                             10,
                             1};
constexpr Member k_blend16_8{{{alpha, 0x8FD60500u}, {s1, 0x8FD01500u}, {s2, 0x8FD02500u}},
                             SL_OP_MULF16,
                             0x8F901500u,
                             10,
                             2};
constexpr Member k_blend16_16{{{alpha, 0x8FD60500u}, {s1, 0x8FD61500u}, {s2, 0x8FD62500u}},
                              SL_OP_MULF16,
                              0x8F961500u,
                              10,
                              1};
// Eight four-channel pixels: s1 into r10..r41, s2 into r42..r73, one alpha byte a pixel into
// r74..r81, scattered to r82 + 4j + k for the four channels k of pixel j.
constexpr Member k_blend32_32{{{s1, 0x83D20500u}, {s2, 0x83D21500u}, {alpha, 0x83D02500u}},
                              SL_OP_MULF,
                              0x839A0500u,
                              82,
                              1};

// Every word is what its fields say.
static_assert(load_of(k_blend16_8, alpha) == mem_word(SL_LD, SL_T16R, 32, 10));
static_assert(load_of(k_blend16_8, s1) == mem_word(SL_LD, SL_T8, 32, 42));
static_assert(load_of(k_blend16_8, s2) == mem_word(SL_LD, SL_T8, 32, 74));
static_assert(k_blend16_8.store == mem_word(SL_ST2, SL_T8, 32, 42));
static_assert(k_blend8_8.store == mem_word(SL_ST2, SL_T8, 32, 42));
static_assert(load_of(k_blend8_16, alpha) == mem_word(SL_LD, SL_T8, 32, 10));
static_assert(load_of(k_blend8_16, s1) == mem_word(SL_LD, SL_T16R, 32, 42));
static_assert(load_of(k_blend8_16, s2) == mem_word(SL_LD, SL_T16R, 32, 74));
static_assert(k_blend8_16.store == mem_word(SL_ST2, SL_T16R, 32, 42));
static_assert(k_blend16_16.store == mem_word(SL_ST2, SL_T16R, 32, 42));
static_assert(load_of(k_blend32_32, s1) == mem_word(SL_LD, SL_T4C, 8, 10));
static_assert(load_of(k_blend32_32, s2) == mem_word(SL_LD, SL_T4C, 8, 42));
static_assert(load_of(k_blend32_32, alpha) == mem_word(SL_LD, SL_T8, 8, 74));
static_assert(k_blend32_32.store == mem_word(SL_ST3, SL_T4C, 8, 10));

// The chunk words the documents list.
constexpr ChunkWords kBlend16_8 = chunk_words(k_blend16_8, 32);
static_assert(kBlend16_8.scatters == 0 && kBlend16_8.queued == 6);
static_assert(kBlend16_8.queue[0] == 0xAF8A954Au && kBlend16_8.queue[1] == 0xAF8E9D5Au);
static_assert(kBlend16_8.queue[2] == 0x3F02952Au && kBlend16_8.queue[3] == 0x3F069D3Au);
static_assert(kBlend16_8.queue[4] == 0xAF12952Au && kBlend16_8.queue[5] == 0xAF169D3Au);
// The multiply pair of each one-channel member; SUB and ADD are the same in all four.
constexpr bool multiplies(const Member& m, uint32_t first, uint32_t second) {
  const ChunkWords w = chunk_words(m, 32), v = chunk_words(k_blend16_8, 32);
  return w.queue[2] == first && w.queue[3] == second && w.queue[0] == v.queue[0] &&
         w.queue[1] == v.queue[1] && w.queue[4] == v.queue[4] && w.queue[5] == v.queue[5];
}
static_assert(multiplies(k_blend8_8, 0x1F02952Au, 0x1F069D3Au));
static_assert(multiplies(k_blend8_16, 0x1F02952Au, 0x1F069D3Au));
static_assert(multiplies(k_blend16_16, 0x3F02952Au, 0x3F069D3Au));
static_assert(queue_word(SL_OP_MULF16, 16, 10, 42, 42) == 0x3F02952Au);
static_assert(queue_word(SL_OP_SCATTER, 8, 74, 82, 4) == 0xE752A904u);
constexpr ChunkWords kBlend16_8Sixteen = chunk_words(k_blend16_8, 16);
static_assert(kBlend16_8Sixteen.queued == 3 && kBlend16_8Sixteen.load[0] == 0x87D60500u &&
              kBlend16_8Sixteen.load[1] == 0x87D01500u &&
              kBlend16_8Sixteen.load[2] == 0x87D02500u &&
              kBlend16_8Sixteen.store == 0x87901500u);
constexpr ChunkWords kBlend16_8One = chunk_words(k_blend16_8, 1);
static_assert(kBlend16_8One.queue[0] == 0xA08A954Au && kBlend16_8One.queue[1] == 0x3002952Au &&
              kBlend16_8One.queue[2] == 0xA012952Au && kBlend16_8One.store == 0x80101500u &&
              kBlend16_8One.load[0] == 0x80560500u);
constexpr ChunkWords kBlend16_8Seventeen = chunk_words(k_blend16_8, 17);
static_assert(kBlend16_8Seventeen.queued == 6 && kBlend16_8Seventeen.queue[1] == 0xA08E9D5Au &&
              kBlend16_8Seventeen.queue[3] == 0x30069D3Au &&
              kBlend16_8Seventeen.queue[5] == 0xA0169D3Au);
constexpr ChunkWords kBlend32_32 = chunk_words(k_blend32_32, 8);
static_assert(kBlend32_32.scatters == 4 && kBlend32_32.scatter[0] == 0xE752A904u &&
              kBlend32_32.scatter[1] == 0xE752A984u && kBlend32_32.scatter[2] == 0xE752AA04u &&
              kBlend32_32.scatter[3] == 0xE752AA84u);
static_assert(kBlend32_32.queued == 6 && kBlend32_32.queue[0] == 0xAF82852Au &&
              kBlend32_32.queue[1] == 0xAF868D3Au && kBlend32_32.queue[2] == 0x1F14850Au &&
              kBlend32_32.queue[3] == 0x1F188D1Au && kBlend32_32.queue[4] == 0xAF0A850Au &&
              kBlend32_32.queue[5] == 0xAF0E8D1Au);
// A tail of 3 four-channel pixels: 12 elements, one word of each kind.
constexpr ChunkWords kBlend32_32Three = chunk_words(k_blend32_32, 3);
static_assert(kBlend32_32Three.queued == 3 && kBlend32_32Three.scatter[0] == 0xE252A904u &&
              kBlend32_32Three.queue[1] == queue_word(SL_OP_MULF, 12, 82, 10, 10));

}  // namespace
}  // namespace sl::blend

#define SL_BLEND_MEMBERS(X) X(blend8_8) X(blend8_16) X(blend16_8) X(blend16_16) X(blend32_32)

#define SL_DEFINE(name)                                                     \
  void sl_rect_##name(SL_RECT_BLEND_ARGS) {                                 \
    sl::blend::walk(sl::blend::k_##name,                                    \
                    sl::blend::Rect{dst,                                    \
                                    dst_stride,                             \
                                    width,                                  \
                                    height,                                 \
                                    {alpha, s1, s2},                        \
                                    {alpha_stride, s1_stride, s2_stride}}); \
  }
SL_BLEND_MEMBERS(SL_DEFINE)
#undef SL_DEFINE
