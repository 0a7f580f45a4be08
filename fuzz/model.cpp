// Fuzz target: the processor model at every port.
//
// The input is a flag byte (bit 1: bus trace on) and then records,
// each a selector byte and its operands: queue words (single and doubleword stores),
// memory-reference words stored at alias addresses inside an aliased buffer and around and
// outside it, context-block stores and loads at every offset (plane mask, raster op, status,
// registers, undefined offsets), register writes with small values (indices and offsets
// that land inside the buffer) and drains.
//
// The buffer is two aliased pages with an unaliased host page before and after them. What
// must hold, from docs/kx-isa.md:
// - the guard pages never change, and r0 reads 0;
// - every fault is counted and reported once, with a documented kind; a word has at most
//   one fault, and a faulting word changes nothing (registers, memory, context words);
// - a word that does not fault has a documented encoding, and it touches only its
//   documented footprint: a memory word the bytes of its run (stores and fills) or the
//   registers of its run (loads), a queue word its destination run (r2 for compares, the
//   strided run for scatters), a register write its register; queue words and loads write
//   no memory; a changed byte sets write-occurred;
// - in immediate mode, a queue or memory word leaves exactly the registers, bytes and
//   write-occurred bit a second reading of the instruction-set page gives
//   (queue_reference, memory_reference: element by element, with the plane and fill masks),
//   and raises exactly the fault that reading names;
// - context words take what is stored to them, and the busy bit shows only with held words;
// - the records run once with words executing as they arrive and once held (deferred mode);
//   both end alike unless a plane-mask or raster-op write came while words were held.
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz.h"
#include "kx.h"
#include "kx_model.h"
#include "kx_sys.h"

namespace {

constexpr uint32_t kPage = 4096;
constexpr uint32_t kAliased = 2 * kPage;
constexpr int kMostRecords = 512;

struct Machine {
  uint8_t* block = nullptr;  // guard page, two aliased pages, guard page
  uint8_t* aliased = nullptr;
  uint32_t base = 0;  // the alias address of aliased[0]
  kx_ctx_t* ctx = nullptr;
  uint64_t reported = 0;  // faults through the hook
};

bool documented_kind(const std::string& kind) {
  static const char* const kKinds[] = {
      "undefined",        "page-crossing",      "unaliased",         "register-run",
      "misaligned-issue", "busy-context-write", "bad-context-access"};
  return std::any_of(std::begin(kKinds), std::end(kKinds),
                     [&](const char* k) { return kind == k; });
}

Machine& machine() {
  static Machine* const m = [] {
    auto* m = new Machine;
    m->block = static_cast<uint8_t*>(std::aligned_alloc(kPage, 4 * kPage));
    FUZZ_CHECK(m->block != nullptr);
    m->aliased = m->block + kPage;
    std::memset(m->block, 0xA5, 4 * kPage);
    kxm::configure(kxm::Config{});
    m->ctx = kx_ctx_get();
    FUZZ_CHECK(m->ctx != nullptr);
    void* alias = kx_sys_mmap(nullptr, kAliased, PROT_READ | PROT_WRITE, MAP_SHARED,
                              kx_fd_get(), off_t(reinterpret_cast<uintptr_t>(m->aliased)));
    FUZZ_CHECK(alias != MAP_FAILED);
    m->base = uint32_t(reinterpret_cast<uintptr_t>(alias));
    FUZZ_CHECK(kxm::alias_of(m->aliased) == m->base);
    FUZZ_CHECK(kxm::host_of(m->base - 1) == nullptr &&
               kxm::host_of(m->base + kAliased) == nullptr);
    kxm::set_fault_hook([m](const kxm::Fault& f) {
      FUZZ_CHECK(documented_kind(f.kind));
      FUZZ_CHECK(!f.message.empty() && f.message.find('\n') == std::string::npos);
      ++m->reported;
    });
    return m;
  }();
  return *m;
}

// Everything a word may change, and what it may not.
struct State {
  std::array<uint32_t, 128> r{};
  std::array<uint8_t, kAliased> memory{};
  uint32_t plane_mask = 0, raster_op = 0, fill_mask = 0;
  bool write_occurred = false;
  uint64_t faults = 0;
};

State snapshot(const Machine& m) {
  State s;
  for (int n = 0; n < 128; ++n) s.r[size_t(n)] = kxm::reg(n);
  std::memcpy(s.memory.data(), m.aliased, kAliased);
  s.plane_mask = kxm::plane_mask();
  s.raster_op = kxm::raster_op();
  s.fill_mask = kxm::fill_mask();
  s.write_occurred = kxm::write_occurred();
  s.faults = kxm::counters().faults;
  return s;
}

// What one arrival may touch: registers and bytes of the aliased buffer.
struct Footprint {
  std::array<bool, 128> regs{};
  std::array<bool, kAliased> bytes{};
  bool context = false;  // plane mask, raster op, fill mask, write-occurred
  void reg(long n) {
    if (n > 0 && n < 128) regs[size_t(n)] = true;
  }
  void run(long first, long count) {
    if (first == 0) return;
    for (long i = 0; i < count; ++i) reg(first + i);
  }
  void memory(const Machine& m, uint64_t address, uint64_t length) {
    for (uint64_t a = address; a < address + length; ++a) {
      if (a >= m.base && a < uint64_t{m.base} + kAliased) bytes[size_t(a - m.base)] = true;
    }
  }
};

// The defined queue forms: (group, variant) pairs of the instruction set's table.
bool queue_pair_defined(uint32_t group, uint32_t variant) {
  switch (group) {
    case 0xA:
      return variant == 0 || variant == 1 || variant == 4 || variant == 5 || variant == 7;
    case 0x0:
    case 0x1:
      return variant == 0 || variant == 2 || variant == 6;
    case 0x3:
      return variant == 0 || variant == 2;
    case 0x4:
      return variant == 2;
    case 0xD:
      return variant == 0 || variant == 4 || variant == 5 || variant == 7;
    case 0x9:
      return variant == 1 || variant == 6;
    case 0xB:
      return variant == 4 || variant == 6 || variant == 7;
    case 0xC:
      return variant != 6;
    case 0xE:
      return variant == 2 || variant == 3;
    default:
      return false;
  }
}

// The registers a queue word writes: its destination run, r2 for the compares, the strided
// run for a scatter.
void queue_destinations(uint32_t word, Footprint* f) {
  const uint32_t group = word >> 28, variant = (word >> 21) & 7;
  const long n = long((word >> 24) & 0xF) + 1;
  const long d = long((word >> 7) & 0x7F);
  const long b = long(word & 0x7F);
  if (group == 0xD && (variant == 5 || variant == 7)) {
    f->reg(2);
  } else if (group == 0xE && variant == 2) {
    const long k = b >= 64 ? b - 128 : b;
    if (d != 0) {
      for (long i = 0; i < n; ++i) f->reg(d + k * i);
    }
  } else {
    f->run(d, n);
  }
}

// A queue word that did not fault: its encoding is defined.
void queue_footprint(uint32_t word, Footprint* f) {
  const uint32_t group = word >> 28, variant = (word >> 21) & 7;
  FUZZ_CHECK(queue_pair_defined(group, variant));
  if (group == 0xD && (variant == 5 || variant == 7)) FUZZ_CHECK(((word >> 7) & 0x7F) == 0);
  if (group == 0xC && variant == 7) FUZZ_CHECK((word & 0x7F) <= 64);  // funnel shift
  queue_destinations(word, f);
}

// ---- A second reading of the queue forms (docs/kx-isa.md 4), element by element, to hold
// the model's results to: what a word leaves in the registers, or that it faults.

int64_t sx(uint32_t v) {
  return int32_t(v);
}
uint32_t sat(int64_t v) {
  return uint32_t(int32_t(v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : v));
}
int64_t floor_shift(int64_t v, int s) {  // arithmetic: toward minus infinity
  return v >= 0 ? v >> s : -((-v + (int64_t{1} << s) - 1) >> s);
}

// The expected registers after a queue word, or the kind of fault it must raise.
const char* queue_reference(uint32_t word, const std::array<uint32_t, 128>& in, uint32_t rop,
                            std::array<uint32_t, 128>* out) {
  const uint32_t g = word >> 28, v = (word >> 21) & 7;
  const int n = int((word >> 24) & 0xF) + 1;
  const int A = int((word >> 14) & 0x7F), D = int((word >> 7) & 0x7F), B = int(word & 0x7F);
  if (!queue_pair_defined(g, v)) return "undefined";
  const bool compare = g == 0xD && (v == 5 || v == 7);
  const bool one_b = compare || (g == 0xA && v == 1) || (g == 0xB && v == 7);
  const bool immediate = g == 0xC && (v & 1) && v != 7;
  const bool funnel = g == 0xC && v == 7;
  const bool scatter = g == 0xE && v == 2, gather = g == 0xE && v == 3;
  if (compare && D != 0) return "undefined";
  if (funnel && B > 64) return "undefined";
  const int k = B >= 64 ? B - 128 : B;
  // Runs: a field of 0 never advances; every other register named must be r1..r127.
  auto fits = [](int first, int step, int count) {
    if (first == 0) return true;
    const int last = first + step * (count - 1);
    return last >= 0 && last <= 127;
  };
  const int extra = funnel ? (B == 0 ? 0 : B <= 32 ? 1 : 2) : 0;
  if (!fits(A, gather ? k : 1, n + extra)) return "register-run";
  if (!fits(D, scatter ? k : 1, compare ? 1 : n)) return "register-run";
  if (!one_b && !immediate && !funnel && !scatter && !gather && !fits(B, 1, n))
    return "register-run";

  auto r = [&](int first, int i) { return first == 0 ? 0u : in[size_t(first + i)]; };
  const int64_t r1 = sx(in[1]);
  uint32_t result[16];
  uint32_t mask = 0;
  for (int i = 0; i < n; ++i) {
    const uint32_t a = gather ? r(A, k * i) : r(A, i);
    const uint32_t b = one_b                                        ? in[size_t(B)]
                       : (immediate || funnel || scatter || gather) ? uint32_t(B)
                                                                    : r(B, i);
    const bool cond = (in[2] >> (31 - i) & 1) != 0;
    uint32_t x = 0;
    switch (g << 3 | v) {
      case 0xA << 3 | 0:
      case 0xA << 3 | 1:
        x = sat(sx(a) + sx(b));
        break;
      case 0xA << 3 | 4:
      case 0xA << 3 | 5:
        x = sat(sx(a) - sx(b));
        break;
      case 0xA << 3 | 7:
        x = sat(sx(a) > sx(b) ? sx(a) - sx(b) : sx(b) - sx(a));
        break;
      case 0x0 << 3 | 0:
        x = sat(sx(a) * sx(b));
        break;
      case 0x0 << 3 | 2:
      case 0x4 << 3 | 2:
        x = sat(sx(a) * r1 + sx(b));
        break;
      case 0x0 << 3 | 6:
        x = sat(floor_shift(sx(a) * r1 + sx(b), 8));
        break;
      case 0x1 << 3 | 0:
        x = sat(floor_shift(sx(a) * sx(b), 8));
        break;
      case 0x1 << 3 | 2:
      case 0x1 << 3 | 6:
        x = sat(floor_shift(sx(a) * r1, 8) + sx(b));
        break;
      case 0x3 << 3 | 0:
        x = sat(floor_shift(sx(a) * sx(b), 16));
        break;
      case 0x3 << 3 | 2:
        x = sat(floor_shift(sx(a) * r1, 16) + sx(b));
        break;
      case 0xD << 3 | 0:
        x = uint32_t(std::min(sx(a), sx(b)));
        break;
      case 0xD << 3 | 4:
        x = uint32_t(std::max(sx(a), sx(b)));
        break;
      case 0xD << 3 | 5:
        mask |= uint32_t(sx(a) < sx(b)) << (31 - i);
        break;
      case 0xD << 3 | 7:
        mask |= uint32_t(sx(a) > sx(b)) << (31 - i);
        break;
      case 0x9 << 3 | 1:
        for (int bit = 0; bit < 32; ++bit) {
          const uint32_t index = ((a >> bit) & 1) * 2 + ((b >> bit) & 1);
          x |= ((rop >> index) & 1) << bit;
        }
        break;
      case 0x9 << 3 | 6:
        x = cond ? b : a;
        break;
      case 0xB << 3 | 6:
      case 0xB << 3 | 7:
        x = a | b;
        break;
      case 0xB << 3 | 4:
        x = a ^ b;
        break;
      case 0xC << 3 | 0:
      case 0xC << 3 | 1:
        x = b >= 32 ? 0 : a >> b;
        break;
      case 0xC << 3 | 2:
      case 0xC << 3 | 3:
        x = uint32_t(int32_t(a) >> (b >= 32 ? 31 : b));
        break;
      case 0xC << 3 | 4:
      case 0xC << 3 | 5:
        x = b >= 32 ? 0 : a << b;
        break;
      case 0xC << 3 | 7: {  // bits s..s+31 of A+i : A+i+1 : A+i+2, bit 0 the leftmost
        const uint32_t words[3] = {a, B > 0 ? r(A, i + 1) : 0, B > 32 ? r(A, i + 2) : 0};
        for (int bit = 0; bit < 32; ++bit) {
          const int at = B + bit;  // from the left of the 96 bits
          x |= ((words[at / 32] >> (31 - at % 32)) & 1) << (31 - bit);
        }
        break;
      }
      case 0xE << 3 | 2:
      case 0xE << 3 | 3:
        x = a;
        break;
      default:
        FUZZ_CHECK(false);
    }
    result[i] = x;
  }
  *out = in;
  if (compare) {
    (*out)[2] = mask;
  } else if (D != 0) {
    for (int i = 0; i < n; ++i) {
      const int target = D + (scatter ? k : 1) * i;
      if (target != 0) (*out)[size_t(target)] = result[i];
    }
  }
  (*out)[0] = 0;
  return nullptr;
}

// Whether an operation takes a type code: the table of memory operations.
bool memory_type_defined(uint32_t operation, uint32_t code, bool indexed) {
  const bool unscaled = code == 0x00 || code == 0x08 || code == 0x10 || code == 0x18 ||
                        code == 0x1B || code == 0x1C || code == 0x1F;
  const bool packed = code == 0x1F;
  const bool bytes =
      code <= 0x02 || code == 0x08 || code == 0x09 || (code >= 0x10 && code <= 0x12);
  if (indexed && operation != 0xA) return false;  // only loads are indexed
  switch (operation) {
    case 0xA:  // loads; indexed: SL_T8, SL_T16R, SL_T32, SL_T16
      return indexed ? code == 0x00 || code == 0x18 || code == 0x1B || code == 0x1C : unscaled;
    case 0x0:
    case 0x2:
      return !packed;
    case 0x1:
    case 0x8:
    case 0x9:
      return unscaled;
    case 0x3:
      return bytes;
    case 0x4:
    case 0x5:
      return unscaled && !packed;
    default:
      return false;
  }
}

// A memory word stored at `address` that did not fault.
void memory_footprint(const Machine& m, uint32_t address, uint32_t word, Footprint* f) {
  FUZZ_CHECK(address % 8 == 0);
  FUZZ_CHECK(word >> 28 == 0x8);
  const uint32_t operation = (word >> 19) & 0xF;
  const uint32_t code = (word >> 14) & 0x1F;
  const long n = long((word >> 23) & 0x1F) + 1;
  const long r = long((word >> 7) & 0x7F);
  const uint32_t low = word & 0x7F;
  // Element stride and size by type code; 0: undefined.
  uint32_t stride = 0, size = 0;
  bool four_channels = false, packed = false;
  if (code <= 0x02) {
    stride = size = 1;
  } else if (code == 0x08 || code == 0x09) {
    stride = size = 4;
    four_channels = true;
  } else if (code >= 0x10 && code <= 0x12) {
    stride = 4, size = 1;
  } else if ((code >= 0x18 && code <= 0x1A) || (code >= 0x1C && code <= 0x1E)) {
    stride = size = 2;
  } else if (code == 0x1B) {
    stride = size = 4;
  } else if (code == 0x1F) {
    stride = size = 1;
    packed = true;
  }
  FUZZ_CHECK(stride != 0);
  const bool indexed = (low & 0x78) != 0;
  FUZZ_CHECK(memory_type_defined(operation, code, indexed));
  FUZZ_CHECK(address >= m.base && address < m.base + kAliased);  // the one aliased buffer
  if (indexed) {  // loads from the table at `address` into R..R+n-1
    FUZZ_CHECK(operation == 0xA);
    f->run(r, n);
    return;
  }
  const uint64_t A = uint64_t{address} | low;
  const uint64_t last = A + uint64_t(n - 1) * stride + size - 1;
  FUZZ_CHECK((A >> 12) == (last >> 12) && last < uint64_t{m.base} + kAliased);
  if (operation == 0xA) {  // loads write registers only
    if (four_channels) {
      f->run(r, 4 * n);
    } else if (packed) {
      if (r != 0) {
        for (long i = 0; i < n; ++i) f->reg(r + long(((A + uint64_t(i)) >> 2) - (A >> 2)));
      }
    } else {
      f->run(r, n);
    }
    return;
  }
  for (long i = 0; i < n; ++i) f->memory(m, A + uint64_t(i) * stride, size);
}

// ---- A second reading of the memory-reference words (docs/kx-isa.md 1.4, 3).

struct Expected {
  std::array<uint32_t, 128> r;
  std::array<uint8_t, kAliased> memory;
  bool write_occurred;
};

// Base type of a type code: element stride and size, sub-field; stride 0 when undefined.
struct TypeCode {
  uint32_t stride = 0, size = 0;
  int t = 0;
  char base = '?';  // '8' T8, 'c' T4C, 'l' T32C (a lane), 'r' T16R, 'w' T32, 's' T16, 'p' T8P
};

TypeCode type_code(uint32_t code) {
  if (code <= 0x02) return {1, 1, int(code), '8'};
  if (code == 0x08 || code == 0x09) return {4, 4, int(code - 0x08), 'c'};
  if (code >= 0x10 && code <= 0x12) return {4, 1, int(code - 0x10), 'l'};
  if (code >= 0x18 && code <= 0x1A) return {2, 2, int(code - 0x18), 'r'};
  if (code == 0x1B) return {4, 4, 0, 'w'};
  if (code >= 0x1C && code <= 0x1E) return {2, 2, int(code - 0x1C), 's'};
  if (code == 0x1F) return {1, 1, 0, 'p'};
  return {};
}

uint8_t lane_of(uint32_t value, uint32_t address) {  // lane address & 3, lane 0 the top byte
  return uint8_t(value >> (24 - 8 * (address & 3)));
}

// The expected state after a memory word stored at `address`, or the kind of its fault.
const char* memory_reference(const Machine& m, uint32_t address, uint32_t word,
                             const State& before, Expected* e) {
  if (address % 8 != 0) return "misaligned-issue";
  const uint32_t op = (word >> 19) & 0xF, code = (word >> 14) & 0x1F, low = word & 0x7F;
  const int n = int((word >> 23) & 0x1F) + 1;
  const int R = int((word >> 7) & 0x7F);
  const bool indexed = (low & 0x78) != 0;
  const TypeCode type = type_code(code);
  if (word >> 28 != 0x8 || type.stride == 0 || !memory_type_defined(op, code, indexed))
    return "undefined";
  auto mapped = [&](uint64_t a) { return a >= m.base && a < uint64_t{m.base} + kAliased; };
  auto at = [&](uint64_t a) -> uint8_t& { return e->memory[size_t(a - m.base)]; };
  auto fits = [](int first, uint64_t count) { return first == 0 || first + count <= 128; };
  const auto& r = before.r;
  auto set = [&](int reg, uint32_t value) {
    if (reg != 0) e->r[size_t(reg)] = value;
  };
  // One element of a load from byte address a.
  auto element = [&](uint64_t a) -> uint32_t {
    const uint8_t* p = &before.memory[size_t(a - m.base)];
    uint16_t half;
    std::memcpy(&half, p, 2 <= kAliased - size_t(a - m.base) ? 2 : 1);
    switch (type.base) {
      case 'r':
        return half;
      case 's':
        return uint32_t(int32_t(int16_t(half)));
      case 'w':
        return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
      default:
        return p[0];
    }
  };

  if (indexed) {  // table T = address, element i at T + r(X + i)
    const int X = int(low);
    if (!fits(R, uint64_t(n)) || !fits(X, uint64_t(n))) return "register-run";
    if (!mapped(address)) return "unaliased";
    uint32_t values[32];
    for (int i = 0; i < n; ++i) {
      const uint32_t a = address + r[size_t(X + i)];
      if (!mapped(a) || (a & 0xFFF) + type.size > 4096) return "unaliased";
      values[i] = element(a);
    }
    for (int i = 0; i < n && R != 0; ++i) set(R + i, values[i]);
    return nullptr;
  }

  const uint64_t A = uint64_t{address} | low;
  const bool fill = op == 0x8 || op == 0x9;
  const uint64_t registers = fill               ? 2
                             : type.base == 'c' ? 4 * uint64_t(n)
                             : type.base == 'p' ? ((A + uint64_t(n) - 1) >> 2) - (A >> 2) + 1
                                                : uint64_t(n);
  if (!fits(R, registers)) return "register-run";
  if (!mapped(A)) return "unaliased";
  const uint64_t last = A + uint64_t(n - 1) * type.stride + type.size - 1;
  if ((A >> 12) != (last >> 12)) return "page-crossing";

  // The register holding byte a of a packed run.
  auto packed_reg = [&](uint64_t a) { return R == 0 ? 0 : R + int((a >> 2) - (A >> 2)); };
  if (op == 0xA) {
    for (int i = 0; i < n && R != 0; ++i) {
      const uint64_t a = A + uint64_t(i) * type.stride;
      if (type.base == 'c') {
        for (int k = 0; k < 4; ++k) set(R + 4 * i + k, at(a + uint64_t(k)));
      } else if (type.base == 'p') {
        const int reg = packed_reg(a);
        const uint32_t shift = 24 - 8 * uint32_t(a & 3);
        set(reg, (e->r[size_t(reg)] & ~(0xFFu << shift)) | uint32_t(at(a)) << shift);
      } else {
        set(R + i, element(a));
      }
    }
    return nullptr;
  }

  // Stores and fills: each byte through its mask.
  const bool pixel_lanes = type.base == 'w' || type.base == 'c' || type.base == 'l';
  const uint32_t plane = pixel_lanes ? before.plane_mask : 0xFFFFFFFF;
  const uint32_t fill_bits = op == 0x9 && before.fill_mask != 0 ? before.fill_mask : 0xFFFFFFFF;
  auto put = [&](uint64_t a, uint32_t value) {
    const uint8_t mask = uint8_t(lane_of(plane, uint32_t(a)) & lane_of(fill_bits, uint32_t(a)));
    if (mask == 0) return;
    at(a) = uint8_t((at(a) & ~mask) | (value & mask));
    e->write_occurred = true;
  };
  auto put_element = [&](uint64_t a, uint32_t value) {
    if (type.size == 1) {
      put(a, value);
    } else if (type.size == 2) {
      const uint16_t half = uint16_t(value);
      uint8_t bytes[2];
      std::memcpy(bytes, &half, 2);
      put(a, bytes[0]);
      put(a + 1, bytes[1]);
    } else {
      for (uint32_t k = 0; k < 4; ++k) put(a + k, lane_of(value, k));
    }
  };
  if (fill) {
    const uint64_t P = R == 0 ? 0 : uint64_t{r[size_t(R)]} << 32 | r[size_t(R + 1)];
    auto pattern_byte = [&](uint64_t a) { return uint32_t(P >> (56 - 8 * (a & 7))) & 0xFF; };
    for (int i = 0; i < n; ++i) {
      const uint64_t a = A + uint64_t(i) * type.stride;
      if (type.base == 'r' || type.base == 's') {
        put_element(a, uint32_t(P >> (48 - 8 * (a & 6))) & 0xFFFF);
      } else if (type.base == 'w') {
        put_element(a, uint32_t(P >> (32 - 8 * (a & 4))));
      } else if (type.base == 'c') {
        for (uint64_t k = 0; k < 4; ++k) put(a + k, pattern_byte(a + k));
      } else {
        put(a, pattern_byte(a));
      }
    }
    return nullptr;
  }
  // The value one element is written as.
  auto shaped = [&](int32_t v) -> uint32_t {
    const int32_t scaled = v >> (8 * type.t);
    switch (op) {
      case 0x0:
        return uint32_t(scaled);
      case 0x2:
        if (type.base == 's') return uint32_t(std::clamp(scaled, -32768, 32767));
        if (type.base == 'r') return uint32_t(std::clamp(scaled, 0, 65535));
        if (type.base == 'w') return uint32_t(scaled);
        return uint32_t(std::clamp(scaled, 0, 255));
      case 0x3:
        return uint32_t(std::clamp(v, 0, 255));
      default:  // st1, and the masked stores
        return uint32_t(v);
    }
  };
  auto reg_value = [&](int reg) { return int32_t(reg == 0 ? 0 : r[size_t(reg)]); };
  for (int i = 0; i < n; ++i) {
    if ((op == 0x4 || op == 0x5) && (r[2] >> (31 - i) & 1) == 0) continue;
    const uint64_t a = A + uint64_t(i) * type.stride;
    if (type.base == 'c') {
      for (int k = 0; k < 4; ++k)
        put(a + uint64_t(k), shaped(reg_value(R == 0 ? 0 : R + 4 * i + k)));
    } else if (type.base == 'p') {
      put(a, shaped(int32_t(lane_of(uint32_t(reg_value(packed_reg(a))), uint32_t(a)))));
    } else {
      put_element(a, shaped(reg_value(R == 0 ? 0 : R + i)));
    }
  }
  return nullptr;
}

enum class Port { queue, queue_pair, memory, context, context_pair, load, register_write };

// Checks one arrival in immediate mode against the state before it.
void check_arrival(const Machine& m, const State& before, Port port, uint32_t where,
                   uint32_t word, uint32_t second) {
  const State after = snapshot(m);
  const uint64_t faults = after.faults - before.faults;
  FUZZ_CHECK(faults <= (port == Port::queue_pair ? 2u : 1u));
  // The model against the second reading: the same fault, or the same registers, memory
  // and write-occurred.
  if (port == Port::queue || port == Port::memory) {
    Expected e{before.r, before.memory, before.write_occurred};
    const char* fault = port == Port::queue
                            ? queue_reference(word, before.r, before.raster_op, &e.r)
                            : memory_reference(m, where, word, before, &e);
    const std::string raised = faults == 0             ? "none"
                               : kxm::faults().empty() ? "?"
                                                       : kxm::faults().back().kind;
    if (raised != (fault != nullptr ? fault : "none") && kxm::faults().size() < 4096) {
      std::fprintf(stderr, "word 0x%08x at 0x%08x (buffer at 0x%08x): model %s, reading %s\n",
                   word, where, m.base, raised.c_str(), fault != nullptr ? fault : "none");
    }
    FUZZ_CHECK(faults == (fault != nullptr ? 1u : 0u));
    if (fault != nullptr) {
      FUZZ_CHECK(kxm::faults().empty() || kxm::faults().size() >= 4096 ||
                 kxm::faults().back().kind == fault);
    } else {
      FUZZ_CHECK(after.r == e.r);
      FUZZ_CHECK(after.memory == e.memory);
      FUZZ_CHECK(after.write_occurred == e.write_occurred);
    }
  }
  Footprint f;
  if (faults == 0 || port == Port::queue_pair) {
    switch (port) {
      case Port::queue:
        queue_footprint(word, &f);
        break;
      case Port::queue_pair:
        // Each half either faulted or wrote its run; the footprint is their union.
        if (faults == 0) {
          queue_footprint(word, &f);
          queue_footprint(second, &f);
        } else {  // one half faulted and did nothing; the other may have run
          queue_destinations(word, &f);
          queue_destinations(second, &f);
        }
        break;
      case Port::memory:
        memory_footprint(m, where, word, &f);
        break;
      case Port::context:
      case Port::context_pair:
        f.context = true;
        if (where >= 0x300 && where < 0x500) {
          f.reg(long(where - 0x300) / 4);
          if (port == Port::context_pair) f.reg(long(where - 0x300) / 4 + 1);
        }
        break;
      case Port::register_write:
        f.reg(long(where));
        break;
      case Port::load:
        break;
    }
  }
  for (size_t n = 0; n < 128; ++n) {
    if (!f.regs[n]) FUZZ_CHECK(after.r[n] == before.r[n]);
  }
  const bool changed = std::memcmp(after.memory.data(), before.memory.data(), kAliased) != 0;
  for (size_t a = 0; changed && a < kAliased; ++a) {
    if (after.memory[a] != before.memory[a]) FUZZ_CHECK(f.bytes[a]);
  }
  if (changed) FUZZ_CHECK(after.write_occurred);
  if (!f.context) {
    FUZZ_CHECK(after.plane_mask == before.plane_mask);
    FUZZ_CHECK(after.raster_op == before.raster_op);
    FUZZ_CHECK(after.fill_mask == before.fill_mask);
    if (port != Port::memory) FUZZ_CHECK(after.write_occurred == before.write_occurred);
  }
  if (port == Port::memory && ((word >> 19) & 0xF) == 0xA) {
    FUZZ_CHECK(after.write_occurred == before.write_occurred);  // loads write nothing
  }
  if (port == Port::context && faults == 0) {
    if (where == 0x010) FUZZ_CHECK(after.plane_mask == word);
    if (where == 0x014) FUZZ_CHECK(after.raster_op == word);
    if (where == 0x000) FUZZ_CHECK(after.fill_mask == word && !after.write_occurred);
  }
  if (port == Port::register_write) FUZZ_CHECK(after.r[where] == (where == 0 ? 0 : word));
}

// The alias addresses a memory word is stored at outside the buffer's interior.
uint32_t edge_address(const Machine& m, uint8_t choice, uint32_t random) {
  switch (choice % 8) {
    case 0:
      return m.base - 8;
    case 1:
      return m.base - kPage;
    case 2:
      return m.base + kAliased - 8;
    case 3:
      return m.base + kAliased;
    case 4:
      return m.base + kPage - 8;  // the last doubleword of the first page
    case 5:
      return 0;
    case 6:
      return 0xFFFFFFF8u;
    default:
      return random;
  }
}

uint32_t context_offset(uint8_t choice, uint32_t random) {
  switch (choice % 8) {
    case 0:
      return 0x000;
    case 1:
      return 0x010;
    case 2:
      return 0x014;
    case 3:
      return 0x020;
    case 4:
      return 0x024;
    case 5:
      return 0x300 + 4 * (random & 0x7F);
    case 6:
      return 0x300 + (random & 0x3FF);  // unaligned, and past the register file
    default:
      return random & 0xFFFF;
  }
}

}  // namespace

namespace {

// What a run of the records left.
struct Outcome {
  State state;
  std::vector<std::string> kinds;  // of the faults, sorted
  size_t trace_lines = 0;
};

// Runs the records from `in` in one mode and checks what holds in it.
Outcome run(Machine& m, FuzzInput in, bool deferred, bool traced) {
  kxm::Config config;
  config.deferred = deferred;
  kxm::configure(config);
  size_t trace_lines = 0;
  if (traced) {
    kxm::set_trace([&trace_lines](std::string_view line) {
      FUZZ_CHECK(!line.empty() && line.size() < 64);
      ++trace_lines;
    });
  }
  m.reported = 0;
  for (uint32_t a = 0; a < kAliased; ++a) m.aliased[a] = uint8_t(a * 37 + 11);

  for (int record = 0; record < kMostRecords && !in.empty(); ++record) {
    const uint8_t selector = in.byte();
    const bool immediate = !config.deferred;
    const State before = immediate ? snapshot(m) : State{};
    const size_t held = kxm::pending();
    switch (selector % 9) {
      case 0: {  // a queue word
        const uint32_t word = in.word();
        kx_ctx_store32(m.ctx, 0x020, word);
        if (immediate) check_arrival(m, before, Port::queue, 0, word, 0);
        break;
      }
      case 1: {  // two queue words by a doubleword store
        const uint32_t first = in.word(), second = in.word();
        kx_ctx_store64(m.ctx, 0x020, first, second);
        if (immediate) check_arrival(m, before, Port::queue_pair, 0, first, second);
        break;
      }
      case 2:    // a memory word inside the buffer (any alignment), memory class forced
      case 3: {  // or as it comes
        const uint32_t address = m.base + (in.word() % kAliased);
        uint32_t word = in.word();
        if (selector % 9 == 2) word = (word & 0x0FFFFFFF) | 0x80000000;
        kx_alias_store32(address, word);
        if (immediate) check_arrival(m, before, Port::memory, address, word, 0);
        break;
      }
      case 4: {  // a memory word at the buffer's edges or outside it
        const uint8_t choice = in.byte();
        const uint32_t address = edge_address(m, choice, in.word());
        const uint32_t word = (in.word() & 0x0FFFFFFF) | 0x80000000;
        kx_alias_store32(address, word);
        if (immediate) check_arrival(m, before, Port::memory, address, word, 0);
        break;
      }
      case 5: {  // a context store
        const uint8_t choice = in.byte();
        const uint32_t offset = context_offset(choice, in.word());
        const uint32_t value = in.word();
        const uint64_t faults = kxm::counters().faults;
        kx_ctx_store32(m.ctx, offset, value);
        if (immediate) {
          const Port port = offset == 0x020 ? Port::queue : Port::context;
          if (offset >= 0x300 && offset < 0x500 && offset % 4 == 0) {
            check_arrival(m, before, Port::register_write, (offset - 0x300) / 4, value, 0);
          } else {
            check_arrival(m, before, port, offset, value, 0);
          }
        } else if (offset == 0x010 || offset == 0x014) {
          // Under held words a plane-mask or raster-op write faults and still takes effect.
          FUZZ_CHECK((offset == 0x010 ? kxm::plane_mask() : kxm::raster_op()) == value);
          FUZZ_CHECK(kxm::counters().faults == faults + (held > 0 ? 1 : 0));
        }
        break;
      }
      case 6: {  // a doubleword context store
        const uint8_t choice = in.byte();
        const uint32_t offset = context_offset(choice, in.word()) & ~4u;
        const uint32_t first = in.word(), second = in.word();
        kx_ctx_store64(m.ctx, offset, first, second);
        if (immediate) {
          check_arrival(m, before, offset == 0x020 ? Port::queue_pair : Port::context_pair,
                        offset, first, second);
        }
        break;
      }
      case 7: {  // a context load
        const uint8_t choice = in.byte();
        const uint32_t offset = context_offset(choice, in.word());
        const uint32_t value = kx_ctx_load32(m.ctx, offset);
        if (offset == 0x000) {
          FUZZ_CHECK((value & ~0x8800u) == 0);
          FUZZ_CHECK(((value & 0x8000) != 0) == (held > 0));
          FUZZ_CHECK(kxm::pending() == 0);
        }
        if (offset == 0x300) FUZZ_CHECK(value == 0);
        if (immediate) check_arrival(m, before, Port::load, offset, 0, 0);
        break;
      }
      case 8: {  // a register write of a small value (an index or offset into the buffer),
                 // or a drain
        const uint8_t n = in.byte();
        const uint32_t value = in.word();
        if (n == 0xFF) {
          kxm::drain();
          FUZZ_CHECK(kxm::pending() == 0);
          break;
        }
        kx_ctx_store32(m.ctx, 0x300 + 4u * (n & 0x7F), value % (kAliased + 64));
        if (immediate) {
          check_arrival(m, before, Port::register_write, n & 0x7F, value % (kAliased + 64), 0);
        }
        break;
      }
    }
  }
  kxm::drain();
  FUZZ_CHECK(kxm::pending() == 0);
  FUZZ_CHECK(kx_ctx_load32(m.ctx, 0x300) == 0);
  FUZZ_CHECK(m.reported == kxm::counters().faults);
  FUZZ_CHECK(kxm::faults().size() == std::min<uint64_t>(kxm::counters().faults, 4096));
  for (uint32_t a = 0; a < kPage; ++a) {
    FUZZ_CHECK(m.block[a] == 0xA5);
    FUZZ_CHECK(m.block[kPage + kAliased + a] == 0xA5);
  }
  kxm::set_trace({});
  Outcome outcome{snapshot(m), {}, trace_lines};
  for (const kxm::Fault& f : kxm::faults()) outcome.kinds.push_back(f.kind);
  std::sort(outcome.kinds.begin(), outcome.kinds.end());
  return outcome;
}

}  // namespace

// The records run twice: words executing as they arrive, then held until a status read or
// the end. Unless a plane-mask or raster-op write came while words were held (a fault in the
// second run, and a different order of effects), both runs end in the same state with the
// same faults, and their bus traces have as many lines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Machine& m = machine();
  FuzzInput in(data, size);
  const bool traced = (in.byte() & 2) != 0;
  const Outcome immediate = run(m, in, false, traced);
  const Outcome deferred = run(m, in, true, traced);
  if (traced) FUZZ_CHECK(immediate.trace_lines == deferred.trace_lines);
  if (std::find(deferred.kinds.begin(), deferred.kinds.end(), "busy-context-write") !=
      deferred.kinds.end()) {
    return 0;
  }
  FUZZ_CHECK(immediate.kinds == deferred.kinds);
  const State& a = immediate.state;
  const State& b = deferred.state;
  FUZZ_CHECK(a.r == b.r && a.memory == b.memory && a.write_occurred == b.write_occurred);
  FUZZ_CHECK(a.plane_mask == b.plane_mask && a.raster_op == b.raster_op &&
             a.fill_mask == b.fill_mask && a.faults == b.faults);
  return 0;
}
