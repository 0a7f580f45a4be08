// The walk shared by every lookup kernel: the processor fetches table entries itself.
//
// A member is four words and a shape. Per chunk: load the pixels' indices into registers
// (the index load); turn each index into the byte offset of its entry (nothing for byte
// entries, a left shift for 16-bit and 4-byte entries, the low 12 bits for 12-bit indices,
// or the offset of its byte's own table for pixels looked up bytewise); fetch the entries
// with indexed loads stored at the table, never split at a page; store the entries. A tail
// uses the same words with smaller counts.
#ifndef KXLIB_RECT_LUT_H
#define KXLIB_RECT_LUT_H

#include <cstdint>

#include "kx_X_page.h"
#include "sl_ctx.h"
#include "sl_word.h"
#include "templates/mem_format.h"
#include "templates/rect.h"

namespace sl::lookup {

// How an index becomes the byte offset of its entry in the table.
enum class Index {
  as_is,            // byte entries
  halfwords,        // 16-bit entries: index << 1
  words,            // 4-byte entries: index << 2
  low12_halfwords,  // 16-bit entries by the low 12 bits: (index << 20) >> 19
  byte_planes,      // byte k of a 4-byte pixel in its own 256-byte table: index + 256 k
};

struct Member {
  uint32_t load;       // index load of a whole chunk
  uint32_t indexed;    // first indexed load of a whole chunk: entries into D from indices at X
  uint32_t store;      // store of a whole chunk
  uint32_t chunk;      // pixels a chunk
  uint32_t per_pixel;  // indices a pixel (4: every byte of a 4-byte pixel)
  uint32_t piece;      // indices an indexed load takes
  Index index;
};

// Byte-plane offsets {0, 256, 512, 768} repeated over 16 registers, written once a call.
inline constexpr uint32_t kPlaneOffsets = 106;

struct ChunkWords {
  uint32_t load;
  uint32_t queue[8];
  uint32_t queued;
  uint32_t indexed[4];
  uint32_t indexed_count;
  uint32_t store;
};

// The words of a chunk (or tail) of `pixels` pixels.
constexpr ChunkWords chunk_words(const Member& m, uint32_t pixels) {
  ChunkWords w{};
  const uint32_t indices = pixels * m.per_pixel;
  const uint32_t loaded = reg_of(m.load);
  const uint32_t entries = reg_of(m.indexed), at = index_reg_of(m.indexed);
  const auto queue = [&w](uint32_t word) { w.queue[w.queued++] = word; };
  w.load = mem_count(m.load, pixels);
  in_pieces(indices, [&](uint32_t o, uint32_t n) {
    const uint32_t r = loaded + o;
    switch (m.index) {
      case Index::as_is:
        break;
      case Index::halfwords:
        queue(queue_word(SL_OP_SLLI, n, r, r, 1));
        break;
      case Index::words:
        queue(queue_word(SL_OP_SLLI, n, r, r, 2));
        break;
      case Index::low12_halfwords:
        queue(queue_word(SL_OP_SLLI, n, r, r, 20));
        queue(queue_word(SL_OP_SRLI, n, r, r, 19));
        break;
      case Index::byte_planes:
        queue(queue_word(SL_OP_ADD, n, r, at + o, kPlaneOffsets));
        break;
    }
  });
  for (uint32_t o = 0; o < indices; o += m.piece) {
    const uint32_t n = indices - o < m.piece ? indices - o : m.piece;
    w.indexed[w.indexed_count++] =
        mem_word(SL_LD, type_of(m.indexed), n, advance(entries, o), at + o);
  }
  w.store = mem_count(m.store, pixels);
  return w;
}

inline void issue_chunk(kx_ctx_t* ctx, const Member& m, const ChunkWords& w, uint32_t d,
                        uint32_t s, uint32_t table) {
  sl_mem_issue(s, w.load, page_flags(type_of(m.load)));
  for (uint32_t q = 0; q < w.queued; ++q) sl_queue(ctx, w.queue[q]);
  for (uint32_t i = 0; i < w.indexed_count; ++i) sl_mem_issue_indexed(table, w.indexed[i]);
  sl_mem_issue(d, w.store, page_flags(type_of(m.store)));
}

inline void walk(const Member& m, const Rect& r, uint32_t table) {
  kx_ctx_t* ctx = kx_ctx_get();
  if (r.width <= 0 || r.height <= 0) return;
  if (m.index == Index::byte_planes) {
    for (uint32_t i = 0; i < kQueueMax; i += 2) {
      kx_ctx_store64(ctx, sl_ctx_reg(kPlaneOffsets + i), (i % 4) * 256, (i % 4 + 1) * 256);
    }
  }
  const uint32_t src_bytes = pixel_bytes(type_of(m.load));
  const uint32_t dst_bytes = pixel_bytes(type_of(m.store));
  const ChunkWords full = chunk_words(m, m.chunk);
  const uint32_t remainder = uint32_t(r.width) % m.chunk;
  const ChunkWords tail = chunk_words(m, remainder ? remainder : 1);
  for_rows(r, Order::forward, [&](uint32_t d, uint32_t s) {
    for_chunks(uint32_t(r.width), m.chunk, Order::forward, [&](uint32_t x, uint32_t n, bool) {
      issue_chunk(ctx, m, n == m.chunk ? full : tail, d + x * dst_bytes, s + x * src_bytes,
                  table);
    });
  });
}

}  // namespace sl::lookup

#endif
