// The colour kernels: transforms to one byte a pixel, transforms with a table before or
// after, and the fixed conversions between RGB and CMYK, packed or in byte planes.
//
// The transforms are members of the transform family (templates/rect_transform.h); the
// CMYK kernels share their own walk (templates/rect_cmyk.h) and differ in their words.
#include "sl_kernels.h"
#include "templates/rect_cmyk.h"
#include "templates/rect_transform.h"

namespace sl::transform {
namespace {

constexpr Memory kPixels4{SL_LD, SL_T4C, SPAM_T4C, 4};
constexpr Memory kPixelStore{SL_ST3, kColourStore, SPAM_T4C, 4};
constexpr Memory kByteStore{SL_ST3, kColourByteStore, SPAM_T8, 1};

// Columns as in rect_transform.cpp, then the term and closing forms, how r1 is set and where
// the table enters.
//
// Three or four bytes to one, 14 and 11 pixels a chunk: weights c1.. from r10, c0 after
// them spread over one chunk, channel runs, then the pixels, over which the result is formed
// (r69..). Each term is ((channel x c) >> 8), so it rounds down at scale 1; c is written
// into r1 directly.
constexpr Terms kScaleOne{SL_OP_MACF8, SL_OP_MACF8B, Multiplier::written};
constexpr Plan kTrf24_8{kPixels4, kByteStore, 14, 1, 4, 1, 3, 1, 1, kScaleOne};
constexpr Plan kTrf32_8{kPixels4, kByteStore, 11, 1, 4, 0, 4, 1, 1, kScaleOne};
// trf24_32's registers and words, the channels looked up before the terms, which carry 16
// fraction bits and add whole offsets (no closing shift).
constexpr Terms kLookupFirst{SL_OP_MACF16, SL_OP_MACF16, Multiplier::copied, Lookup::inputs};
constexpr Plan kLuttrf24_32{kPixels4, kPixelStore, 9, 1, 4, 1, 3, 3, 1, kLookupFirst};
// trf24_32's registers and words, each result clamped and looked up before its scatter; the
// run of 255 follows the pixels (r118..r126).
constexpr Terms kLookupLast{SL_OP_MAC, SL_OP_MACR8, Multiplier::copied, Lookup::results};
constexpr Plan kTrflut24_32{kPixels4, kPixelStore, 9, 1, 4, 1, 3, 3, 1, kLookupLast};

static_assert(layout(kTrf24_8).end <= 128 && layout(kTrf32_8).end <= 128);
static_assert(layout(kLuttrf24_32).end <= 128 && layout(kTrflut24_32).end <= 128);
static_assert(kLuttrf24_32.chunk <= kMemMax && kTrflut24_32.chunk <= kMemMax);

// trf24_8: c1, c2, c3, c0 in r10..r13, c0 spread over r14..r26, pixels r69..r124, channel
// runs r27, r41, r55; r1 is written between the words.
static_assert(spreads(kTrf24_8).count == 1 && spreads(kTrf24_8).word[0] == 0xBCE0070Du);
static_assert(issues(chunk_words(kTrf24_8, 14),
                     {0x86D22280, 0xED718D84, 0xED71D484, 0xED721B84, 0x1D46E28D, 0x1D4A62C5,
                      0x1DCDE2C5, 0x86986280}));
static_assert(chunk_words(kTrf24_8, 14).steps[3].kind == Kind::multiplier &&
              chunk_words(kTrf24_8, 14).steps[3].word == 0);
// trf32_8: c1..c4 in r10..r13, c0 in r14 spread over r15..r24, channel runs r25, r36, r47,
// r58, pixels r69..r112.
static_assert(spreads(kTrf32_8).count == 1 && spreads(kTrf32_8).word[0] == 0xB9E0078Eu);
static_assert(issues(chunk_words(kTrf32_8, 11),
                     {0x85522280, 0xEA714C84, 0xEA719204, 0xEA71D784, 0xEA721D04, 0x1A46628E,
                      0x1A4922C5, 0x1A4BE2C5, 0x1ACEA2C5, 0x85186280}));
// luttrf24_32: indexed loads in place after the gathers, group 3 variant 010 for every term.
static_assert(issues(chunk_words(kLuttrf24_32, 9),
                     {0x84522900, 0xE874D704, 0xE8751B84, 0xE8756004, 0x8450172E, 0x84501BB7,
                      0x84502040, 0xB0E0008A, 0x384BA493, 0xB0E0008B, 0x384DE4C9, 0xB0E0008C,
                      0x385024C9, 0xE8526984, 0xB0E0008D, 0x384BA49C, 0xB0E0008E, 0x384DE4C9,
                      0xB0E0008F, 0x385024C9, 0xE8526A04, 0xB0E00090, 0x384BA4A5, 0xB0E00091,
                      0x384DE4C9, 0xB0E00092, 0x385024C9, 0xE8526A84, 0x841A6900}));
// trflut24_32: after each closing word, MAX with r0, MIN with r118.., the lookup in place.
static_assert(issues(chunk_words(kTrflut24_32, 9),
                     {0x84522900, 0xE874D704, 0xE8751B84, 0xE8756004, 0xB0E0008A, 0x084BA493,
                      0xB0E0008B, 0x084DE4C9, 0xB0E0008C, 0x08D024C9, 0xD8926480, 0xD81264F6,
                      0x845024C9, 0xE8526984, 0xB0E0008D, 0x084BA49C, 0xB0E0008E, 0x084DE4C9,
                      0xB0E0008F, 0x08D024C9, 0xD8926480, 0xD81264F6, 0x845024C9, 0xE8526A04,
                      0xB0E00090, 0x084BA4A5, 0xB0E00091, 0x084DE4C9, 0xB0E00092, 0x08D024C9,
                      0xD8926480, 0xD81264F6, 0x845024C9, 0xE8526A84, 0x841A6900}));
static_assert(layout(kTrflut24_32).limit == 118);

}  // namespace
}  // namespace sl::transform

namespace sl::cmyk {
namespace {

// Packed: 12 pixels in r10..r57, channel runs r58, r70, r82, r94, 255 in r106..r121.
constexpr Plan kPacked12{kPacked, kPacked, 12, 4};
// Planar: 16 pixels in r10..r73, one channel run r74..r89 used plane after plane, 255 in
// r90..r105, and for cmykrgb the black plane in r106..r121.
constexpr Plan kToPlanes{kPacked, kPlanar, 16, 1};
constexpr Plan kFromPlanes{kPlanar, kPacked, 16, 1};

constexpr Layout kPackedRegs = layout(kPacked12);
constexpr Layout kPlanarRegs = layout(kToPlanes);
static_assert(kPackedRegs.ones == 106 && kPackedRegs.after <= 128 && kPlanarRegs.ones == 90 &&
              kPlanarRegs.after + 16 <= 128);
static_assert(layout(kFromPlanes).ones == kPlanarRegs.ones);

// C, M, Y = 255 - R, G, B (bytes 3, 2, 1), K = 0, into bytes 0..3. The subtraction covers
// the span of the three runs, r58 to the last register of the third, in words of 16.
constexpr ChunkWords rgb2cmyk_words(uint32_t n) {
  const uint32_t run = kPacked12.chunk;
  ChunkWords w{};
  w.memory(To::src, 0, mem_word(SL_LD, SL_T4C, n, kPixels));
  for (uint32_t j = 0; j < 3; ++j) w.queue(gather(n, 3 - j, kPackedRegs.runs + run * j));
  in_pieces(2 * run + n, [&](uint32_t o, uint32_t count) {
    w.queue(queue_word(SL_OP_SUB, count, kPackedRegs.ones, kPackedRegs.runs + o,
                       kPackedRegs.runs + o));
  });
  w.queue(queue_word(SL_OP_SPREAD, n, 0, kPackedRegs.runs + 3 * run, 0));
  for (uint32_t j = 0; j < 4; ++j) w.queue(scatter(n, kPackedRegs.runs + run * j, j));
  w.memory(To::dst, 0, mem_word(SL_ST3, SL_T4C, n, kPixels));
  return w;
}

// R, G, B (bytes 3, 2, 1) = 255 - C, M, Y (bytes 0, 1, 2) - K (byte 3); the store
// saturates at 0 and writes byte 0 back as read.
constexpr ChunkWords cmyk2rgb_words(uint32_t n) {
  const uint32_t run = kPacked12.chunk;
  ChunkWords w{};
  w.memory(To::src, 0, mem_word(SL_LD, SL_T4C, n, kPixels));
  for (uint32_t c = 0; c < 4; ++c) w.queue(gather(n, c, kPackedRegs.runs + run * c));
  for (uint32_t c = 0; c < 3; ++c) {
    w.queue(queue_word(SL_OP_SUB, n, kPackedRegs.ones, kPackedRegs.runs + run * c,
                       kPackedRegs.runs + run * c));
  }
  for (uint32_t c = 0; c < 3; ++c) {
    w.queue(queue_word(SL_OP_SUB, n, kPackedRegs.runs + run * c, kPackedRegs.runs + run * c,
                       kPackedRegs.runs + 3 * run));
  }
  for (uint32_t lane = 1; lane < 4; ++lane)
    w.queue(scatter(n, kPackedRegs.runs + run * (3 - lane), lane));
  w.memory(To::dst, 0, mem_word(SL_ST3, SL_T4C, n, kPixels));
  return w;
}

// Plane k = 255 - byte 3 - k for k = 0..2, each gathered into r74, subtracted and stored
// before the next is gathered; the black plane is stored from r0 (zeros).
constexpr ChunkWords rgbcmyk_words(uint32_t n) {
  ChunkWords w{};
  w.memory(To::src, 0, mem_word(SL_LD, SL_T4C, n, kPixels));
  for (uint32_t k = 0; k < 3; ++k) {
    w.queue(gather(n, 3 - k, kPlanarRegs.runs));
    w.queue(queue_word(SL_OP_SUB, n, kPlanarRegs.ones, kPlanarRegs.runs, kPlanarRegs.runs));
    w.memory(To::dst, k, mem_word(SL_ST3, SL_T8, n, kPlanarRegs.runs));
  }
  w.memory(To::dst, 3, mem_word(SL_ST3, SL_T8, n, 0));
  return w;
}

// The destination pixels loaded (byte 0 is kept), the black plane into r106 and made
// 255 - K once; then plane k into r74, r74 = (255 - K) - r74, scattered into byte 3 - k.
constexpr ChunkWords cmykrgb_words(uint32_t n) {
  const uint32_t black = kPlanarRegs.after;
  ChunkWords w{};
  w.memory(To::dst, 0, mem_word(SL_LD, SL_T4C, n, kPixels));
  w.memory(To::src, 3, mem_word(SL_LD, SL_T8, n, black));
  w.queue(queue_word(SL_OP_SUB, n, kPlanarRegs.ones, black, black));
  for (uint32_t k = 0; k < 3; ++k) {
    w.memory(To::src, k, mem_word(SL_LD, SL_T8, n, kPlanarRegs.runs));
    w.queue(queue_word(SL_OP_SUB, n, black, kPlanarRegs.runs, kPlanarRegs.runs));
    w.queue(scatter(n, kPlanarRegs.runs, 3 - k));
  }
  w.memory(To::dst, 0, mem_word(SL_ST3, SL_T4C, n, kPixels));
  return w;
}

static_assert(issues(rgb2cmyk_words(12),
                     {0x85D20500, 0xEB635D04, 0xEB632304, 0xEB62E904, 0xAF9A9D3A, 0xAF9AA54A,
                      0xA39AAD5A, 0xBBE02F00, 0xEB4E8504, 0xEB518584, 0xEB548604, 0xEB578684,
                      0x859A0500}));
static_assert(issues(cmyk2rgb_words(12),
                     {0x85D20500, 0xEB629D04, 0xEB62E304, 0xEB632904, 0xEB636F04, 0xAB9A9D3A,
                      0xAB9AA346, 0xAB9AA952, 0xAB8E9D5E, 0xAB91A35E, 0xAB94A95E, 0xEB548584,
                      0xEB518604, 0xEB4E8684, 0x859A0500}));
static_assert(issues(rgbcmyk_words(16),
                     {0x87D20500, 0xEF636504, 0xAF96A54A, 0x87982500, 0xEF632504, 0xAF96A54A,
                      0x87982500, 0xEF62E504, 0xAF96A54A, 0x87982500, 0x87980000}));
static_assert(issues(cmykrgb_words(16),
                     {0x87D20500, 0x87D03500, 0xAF96B56A, 0x87D02500, 0xAF9AA54A, 0xEF528684,
                      0x87D02500, 0xAF9AA54A, 0xEF528604, 0x87D02500, 0xAF9AA54A, 0xEF528584,
                      0x879A0500}));

}  // namespace
}  // namespace sl::cmyk

using namespace sl;

void sl_rect_trf24_8(SL_RECT_1SRC_ARGS, int32_t c0, int32_t c1, int32_t c2, int32_t c3) {
  const int32_t coefficients[4] = {c1, c2, c3, c0};
  transform::walk(transform::kTrf24_8, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_trf32_8(SL_RECT_1SRC_ARGS, int32_t c0, int32_t c1, int32_t c2, int32_t c3,
                     int32_t c4) {
  const int32_t coefficients[5] = {c1, c2, c3, c4, c0};
  transform::walk(transform::kTrf32_8, Rect{SL_RECT_1SRC_VALUES}, coefficients);
}

void sl_rect_luttrf24_32(SL_RECT_1SRC_ARGS, uint32_t table, const int32_t* coefficients) {
  transform::walk(transform::kLuttrf24_32, Rect{SL_RECT_1SRC_VALUES}, coefficients, table);
}

void sl_rect_trflut24_32(SL_RECT_1SRC_ARGS, uint32_t table, const int32_t* coefficients) {
  transform::walk(transform::kTrflut24_32, Rect{SL_RECT_1SRC_VALUES}, coefficients, table);
}

void sl_rect_rgb2cmyk_32(SL_RECT_1SRC_ARGS) {
  cmyk::walk(cmyk::kPacked12, Rect{SL_RECT_1SRC_VALUES}, 0, cmyk::rgb2cmyk_words);
}

void sl_rect_cmyk2rgb_32(SL_RECT_1SRC_ARGS) {
  cmyk::walk(cmyk::kPacked12, Rect{SL_RECT_1SRC_VALUES}, 0, cmyk::cmyk2rgb_words);
}

void sl_rect_rgbcmyk_8888(SL_RECT_1SRC_ARGS, int32_t plane_stride) {
  cmyk::walk(cmyk::kToPlanes, Rect{SL_RECT_1SRC_VALUES}, plane_stride, cmyk::rgbcmyk_words);
}

void sl_rect_cmykrgb_32(SL_RECT_1SRC_ARGS, int32_t plane_stride) {
  cmyk::walk(cmyk::kFromPlanes, Rect{SL_RECT_1SRC_VALUES}, plane_stride, cmyk::cmykrgb_words);
}
