// The lookup kernels: each member of the family is its four words and its shape.
#include "templates/rect_lut.h"

#include "sl_kernels.h"

namespace sl::lookup {
namespace {

// name, index load, first indexed load, store, pixels a chunk, indices a pixel, indices an
// indexed load, how an index becomes an offset.
#define SL_LOOKUP_MEMBERS(X)                                                     \
  X(lut8_8, 0x8FD00500u, 0x8FD0150Au, 0x8F901500u, 32, 1, 32, as_is)             \
  X(lut8_16, 0x8FD00500u, 0x8FD6150Au, 0x8F961500u, 32, 1, 32, halfwords)        \
  X(lut8_32, 0x8FD00500u, 0x8FD6D50Au, 0x8F96D500u, 32, 1, 32, words)            \
  X(lut12_16, 0x8FD60500u, 0x8FD6150Au, 0x8F961500u, 32, 1, 32, low12_halfwords) \
  X(lut16_16, 0x8FD60500u, 0x8FD6150Au, 0x8F961500u, 32, 1, 32, halfwords)       \
  X(lut16_32, 0x8FD60500u, 0x8FD6D50Au, 0x8F96D500u, 32, 1, 32, words)           \
  X(lut16_8, 0x8FD60500u, 0x8FD0150Au, 0x8F901500u, 32, 1, 32, as_is)            \
  X(lut8_32_4, 0x8FD00500u, 0x8FD6C50Au, 0x8F8EC500u, 32, 1, 32, words)          \
  X(lut32_32, 0x83D20500u, 0x8FD0154Au, 0x83921500u, 8, 4, 32, byte_planes)      \
  X(lut24_24, 0x87D20500u, 0x87D0050Au, 0x879A0500u, 16, 4, 16, as_is)

#define SL_MEMBER(name, load, indexed, store, chunk, per_pixel, piece, index) \
  constexpr Member k_##name{load, indexed, store, chunk, per_pixel, piece, Index::index};
SL_LOOKUP_MEMBERS(SL_MEMBER)
#undef SL_MEMBER

// Every word is what its fields say: the documented words from the helpers.
static_assert(k_lut8_8.load == mem_word(SL_LD, SL_T8, 32, 10));
static_assert(k_lut8_8.indexed == mem_word(SL_LD, SL_T8, 32, 42, 10));
static_assert(k_lut8_8.store == mem_word(SL_ST2, SL_T8, 32, 42));
static_assert(k_lut16_16.load == mem_word(SL_LD, SL_T16R, 32, 10));
static_assert(k_lut16_16.indexed == mem_word(SL_LD, SL_T16R, 32, 42, 10));
static_assert(k_lut8_32.store == mem_word(SL_ST2, SL_T32, 32, 42));
static_assert(k_lut8_32_4.store == mem_word(SL_ST1, SL_T32, 32, 10));
static_assert(k_lut24_24.load == mem_word(SL_LD, SL_T4C, 16, 10));
static_assert(k_lut24_24.store == mem_word(SL_ST3, SL_T4C, 16, 10));
static_assert(k_lut32_32.load == mem_word(SL_LD, SL_T4C, 8, 10));
static_assert(k_lut32_32.store == mem_word(SL_ST2, SL_T4C, 8, 42));

// Chunk words the documents list.
constexpr ChunkWords kLut8_8Tail = chunk_words(k_lut8_8, 1);
static_assert(kLut8_8Tail.load == 0x80500500u && kLut8_8Tail.indexed[0] == 0x8050150Au &&
              kLut8_8Tail.store == 0x80101500u);
constexpr ChunkWords kLut16_16 = chunk_words(k_lut16_16, 32);
static_assert(kLut16_16.queued == 2 && kLut16_16.queue[0] == 0xCFA28501u &&
              kLut16_16.queue[1] == 0xCFA68D01u);
constexpr ChunkWords kLut24_24 = chunk_words(k_lut24_24, 16);
static_assert(kLut24_24.indexed_count == 4 && kLut24_24.indexed[1] == 0x87D00D1Au &&
              kLut24_24.indexed[2] == 0x87D0152Au && kLut24_24.indexed[3] == 0x87D01D3Au);
// The byte-plane indices are r74.., filled from the pixels and the plane offsets.
constexpr ChunkWords kLut32_32 = chunk_words(k_lut32_32, 8);
static_assert(kLut32_32.queued == 2 && kLut32_32.indexed_count == 1 &&
              kLut32_32.queue[0] == queue_word(SL_OP_ADD, 16, 10, 74, kPlaneOffsets));

}  // namespace
}  // namespace sl::lookup

#define SL_DEFINE(name, ...)                                                      \
  void sl_rect_##name(SL_RECT_1SRC_ARGS, uint32_t table) {                        \
    sl::lookup::walk(sl::lookup::k_##name, sl::Rect{SL_RECT_1SRC_VALUES}, table); \
  }
SL_LOOKUP_MEMBERS(SL_DEFINE)
#undef SL_DEFINE
