// The lookup routines (kx_lookup.h).
#include "kx_lookup.h"

#include <algorithm>
#include <cstring>

#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

namespace {

// Splits the source values lo..hi into the spans of the clamping rule: values below the
// lookup's offset take entry 0, the next `entries` values take consecutive entries, later
// values take entry n - 1. clamped(first, count, entry) and copied(first, count, first
// entry) are called for the spans that are not empty, in increasing order of value.
template <typename Clamped, typename Copied>
void clamping_spans(int offset, int entries, int lo, int hi, Clamped clamped, Copied copied) {
  const long end = long(hi) + 1;
  const long copy_from = std::clamp<long>(offset, lo, end);
  const long copy_end = std::clamp<long>(long(offset) + entries, lo, end);
  if (copy_from > lo) clamped(long(lo), copy_from - lo, 0L);
  if (copy_end > copy_from) copied(copy_from, copy_end - copy_from, copy_from - offset);
  if (end > copy_end) clamped(copy_end, end - copy_end, long(entries) - 1);
}

struct Table {
  unsigned char* memory = nullptr;  // the host's view, for filling
  uint32_t alias = 0;               // the processor's
  int size = 0;
  int descriptor = -1;
};

// The host lookup as the routines read it: the band count as an unsigned 16-bit value, the
// offset as a signed 16-bit value.
struct HostLookup {
  int entries;
  unsigned bands;
  int offset;
  const unsigned char* data;  // bytes, or 16-bit words in host order
};

// 256 entries for an 8-bit source, written by the host. A 4-byte entry holds the bands of a
// 3-band entry in bytes 1..3 (byte 0 is not written), of a 4-band entry in bytes 0..3.
void fill_small(const Table& t, const HostLookup& l, uint32_t entry_bytes) {
  const uint32_t first = l.bands == 3 ? 1 : 0;
  const uint32_t values = entry_bytes == 2 ? 2 : l.bands;  // bytes taken from the host entry
  const auto put = [&](long v, long k) {
    std::memcpy(t.memory + entry_bytes * v + first, l.data + values * k, values);
  };
  clamping_spans(
      l.offset, l.entries, 0, 255,
      [&](long v, long count, long k) {
        for (long i = 0; i < count; ++i) put(v + i, k);
      },
      [&](long v, long count, long k) {
        for (long i = 0; i < count; ++i) put(v + i, k + i);
      });
}

// 65536 entries for a 16-bit source: values 0..32767 at entries 0..32767, -32768..-1 at
// 32768..65535 (the value taken as unsigned). Entries taken from the host's data are copied
// by the host, runs of one clamped entry filled by the processor.
void fill_large(const Table& t, const HostLookup& l, uint32_t entry_bytes) {
  const auto run = [&](uint32_t index, long count, long k) {
    const uint32_t address = t.alias + entry_bytes * index;
    const auto n = int32_t(count);
    if (entry_bytes == 2) {
      uint16_t e;
      std::memcpy(&e, l.data + 2 * k, 2);
      sl_ctx_foreground_set(uint32_t(e) | uint32_t(e) << 16);
      sl_rect_fill_16(address, 2 * n, n, 1);
    } else {
      sl_ctx_foreground_set(l.data[k] * 0x01010101u);
      sl_rect_fill_8(address, n, n, 1);
    }
  };
  const auto index = [](long v) { return uint32_t(uint16_t(v)); };  // the value as unsigned
  const auto half = [&](int lo, int hi) {
    clamping_spans(
        l.offset, l.entries, lo, hi,
        [&](long v, long count, long k) { run(index(v), count, k); },
        [&](long v, long count, long k) {
          std::memcpy(t.memory + entry_bytes * index(v), l.data + entry_bytes * k,
                      size_t(entry_bytes * count));
        });
  };
  half(0, 32767);
  half(-32768, -1);
}

}  // namespace

int zelkx_lookup(ZelOp* op, const ZelKXLookup& r) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || src->getDataType() != r.src_type ||
      dst->getDataType() != r.dst_type || src->getBands() != 1) {
    return 2;
  }
  const unsigned bands = dst->getBands();
  const bool four_byte_entries = r.src_type == 1 && r.dst_type == 1;  // Lookup8_8
  if (four_byte_entries ? bands != 1 && bands != 3 && bands != 4 : bands != 1) return 2;
  const int dst_check = r.dst_type == 1 ? zelkx_check_child_8(dst, nullptr, nullptr, nullptr)
                                        : zelkx_check_child_16(dst, nullptr, nullptr, nullptr);
  if (zelkx_check_child_16(src, nullptr, nullptr, nullptr) == 2 || dst_check == 2) return 2;
  const auto* lookup = static_cast<const ZelLookup*>(op->getPtrParam(1));
  if (lookup == nullptr || lookup->getNumEntries() <= 0 ||
      lookup->getDataType() != r.dst_type) {
    return 2;
  }
  const HostLookup host{lookup->getNumEntries(), uint16_t(lookup->getNBands()),
                        int16_t(lookup->getOffset()),
                        static_cast<const unsigned char*>(lookup->getData())};

  // Storage records, the one with the lower report line first.
  KXImage s, d;
  const auto open = [&](bool source) {
    if (zelkx_open_image(source ? src : dst, source ? &s : &d)) return true;
    const int line = source ? r.src_storage_line : r.dst_storage_line;
    ZelImage* reported = source && r.src_report_on_src ? src : dst;
    if (line != 0) zelkx_report(reported, r.file, {1, source ? "di-9" : "di-10", 0, line});
    return false;
  };
  const bool source_first = r.src_storage_line <= r.dst_storage_line;
  if (!open(source_first) || !open(!source_first)) return 2;
  const uint32_t es = r.src_type == 1 ? 1 : 2, ed = r.dst_type == 1 ? 1 : 2;
  if (!zelkx_aligned(s, es, es) || !zelkx_aligned(d, ed, bands > 1 ? 4 : ed)) return 2;
  if (host.bands != bands) return 2;

  Table t;
  t.size = r.table_bytes;
  t.descriptor = zelspm_get_cmem(&t.memory, &t.alias, &t.size);
  if (t.descriptor == -1) return 2;
  const auto release_table = [&t] { zelspm_free_cmem(t.alias, t.size, t.descriptor); };
  const uint32_t entry_bytes = four_byte_entries && bands > 1 ? 4 : ed;
  if (r.src_type == 1) {
    fill_small(t, host, entry_bytes);
  } else {
    sl_ctx_planemask_set(0xffffffff);  // the byte runs' middle words are 4-byte words
    fill_large(t, host, entry_bytes);
  }

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (list == nullptr) {
    release_table();
    zelkx_report(dst, r.file, {6, "di-12", 0, r.list_line});
    return 2;
  }
  // A 3-band destination is written as whole 4-byte pixels with byte 0 protected, which
  // only a child holding bands 1..3 of a 4-band image has room for.
  void (*kernel)(SL_RECT_1SRC_ARGS, uint32_t) = nullptr;
  uint32_t mask = 0xffffffff;
  if (r.src_type == 2) {
    kernel = r.dst_type == 1 ? sl_rect_lut16_8 : sl_rect_lut16_16;
  } else if (r.dst_type == 2) {
    kernel = sl_rect_lut8_16;
  } else if (bands == 1) {
    kernel = sl_rect_lut8_8;
  } else if (bands == 4 || zelkx_has_child_offsets(dst, nullptr, nullptr, nullptr)) {
    kernel = sl_rect_lut8_32_4;
    mask = bands == 4 ? 0xffffffff : 0x00ffffff;
  }
  int status = 0;
  int x, y, width, height;
  for (bool first = true; list->getNextRect(&x, &y, &width, &height); first = false) {
    if (kernel == nullptr) {
      status = 2;
      break;
    }
    if (first && r.src_type == 1 && r.dst_type == 1) sl_ctx_planemask_set(mask);
    kernel(d.address(x, y, ed), int32_t(ed * d.line_stride), width, height, s.address(x, y, es),
           int32_t(es * s.line_stride), t.alias);
  }
  release_table();
  list->destroy();
  if (roi != nullptr) roi->destroy();
  return status;
}
