// Memory-reference words: what each operation of kx_isa.def does (docs/kx-isa.md 3.3 to
// 3.6), one function per operation in the order of the page, each with the data types it
// accepts; then the decode table and the decoder.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "decode.h"
#include "isa.h"
#include "memory_walks.h"
#include "processor.h"

namespace kxm::detail {

namespace {

// An operation: NAME_types, the data types it accepts, and NAME(p, run), what it does.
#define OPERATION(NAME, accepted_types)                 \
  constexpr isa::TypeSet NAME##_types = accepted_types; \
  [[gnu::always_inline]] inline void NAME(Processor& p, const Run& run)

int32_t saturate(int32_t v, int32_t lo, int32_t hi) {
  return std::clamp(v, lo, hi);
}
uint32_t truncated(int32_t v, int, Width) {
  return uint32_t(v);
}
constexpr EveryElement every_element;
// Element i is written where r2 bit 31 - i is set.
auto where_r2(const Processor& p) {
  return [r2 = p.r[2]](uint32_t i) { return (r2 >> (31 - i) & 1) != 0; };
}

// ---- 3.3 Loads

// SL_LD (1010): element i to its register(s): bytes and channels zero-extended, SL_T16R
// zero-extended, SL_T16 sign-extended, SL_T32 with lane 0 most significant; SL_T8P bytes
// replace their lanes and leave the others. A load into r0 is dropped.
OPERATION(SL_LD, isa::kUnscaledTypes) {
  if (run.reg == 0) return;
  // One plain loop over host memory per data type.
  const uint32_t n = uint32_t(run.count);
  uint32_t* r = &p.r[size_t(run.reg)];
  const uint8_t* host = run.host;
  switch (run.base) {
    case isa::Base::SL_T8:
      for (uint32_t i = 0; i < n; ++i) r[i] = host[i];
      return;
    case isa::Base::SL_T4C:  // byte k of pixel i in R + 4i + k
      for (uint32_t j = 0; j < 4 * n; ++j) r[j] = host[j];
      return;
    case isa::Base::SL_T32C:
      for (uint32_t i = 0; i < n; ++i) r[i] = host[4 * i];
      return;
    case isa::Base::SL_T16R: {  // numbers in the host's byte order, zero-extended
      uint16_t numbers[32];
      std::memcpy(numbers, host, 2 * n);
      for (uint32_t i = 0; i < n; ++i) r[i] = numbers[i];
      return;
    }
    case isa::Base::SL_T16: {  // numbers in the host's byte order, sign-extended
      int16_t numbers[32];
      std::memcpy(numbers, host, 2 * n);
      for (uint32_t i = 0; i < n; ++i) r[i] = uint32_t(int32_t(numbers[i]));
      return;
    }
    case isa::Base::SL_T32:
      for (uint32_t i = 0; i < n; ++i) r[i] = load_element(isa::Base::SL_T32, host + 4 * i);
      return;
    case isa::Base::SL_T8P:
      for (uint32_t i = 0; i < n; ++i) {
        const uint32_t shift = 24 - 8 * ((run.address + i) & 3);
        uint32_t& target = p.r[packed_reg(run, i)];
        target = (target & ~(0xFFu << shift)) | uint32_t(host[i]) << shift;
      }
      return;
  }
}

// ---- 3.4 Stores. v is the register value, t the sub-field; the walk truncates what the
// operation returns to the element (low 8 or 16 bits, or the word).

// SL_ST0 (0000): v >> 8t (arithmetic), truncated to the element.
OPERATION(SL_ST0, isa::kUnpackedTypes) {
  store_run(
      p, run, [](int32_t v, int t, Width) { return uint32_t(v >> (8 * t)); }, every_element);
}

// SL_ST1 (0001): v truncated to the element; SL_T8P: each byte of the run from its lane.
OPERATION(SL_ST1, isa::kUnscaledTypes) {
  store_run(p, run, truncated, every_element);
}

// SL_ST2 (0010): v >> 8t (arithmetic), saturated to the element: bytes and channels 0..255,
// SL_T16 -32768..32767, SL_T16R 0..65535; SL_T32 as is.
OPERATION(SL_ST2, isa::kUnpackedTypes) {
  auto shifted_saturated = [](int32_t v, int t, Width width) {
    const int32_t scaled = v >> (8 * t);
    switch (width) {
      case Width::byte:
        return uint32_t(saturate(scaled, 0, 255));
      case Width::s16:
        return uint32_t(saturate(scaled, -32768, 32767));
      case Width::u16:
        return uint32_t(saturate(scaled, 0, 65535));
      case Width::word:
        break;
    }
    return uint32_t(scaled);
  };
  store_run(p, run, shifted_saturated, every_element);
}

// SL_ST3 (0011): v saturated to 0..255; the sub-field has no effect.
OPERATION(SL_ST3, isa::kByteTypes) {
  store_run(
      p, run, [](int32_t v, int, Width) { return uint32_t(saturate(v, 0, 255)); },
      every_element);
}

// SL_MEM_OP4 (0100): as SL_ST1, element i only where r2 bit 31 - i is set (SL_T4C: the
// pixel's four bytes).
OPERATION(SL_MEM_OP4, isa::kUnscaledUnpackedTypes) {
  store_run(p, run, truncated, where_r2(p));
}

// SL_MEM_OP5 (0101): the same as SL_MEM_OP4.
OPERATION(SL_MEM_OP5, isa::kUnscaledUnpackedTypes) {
  store_run(p, run, truncated, where_r2(p));
}

// ---- 3.5 Fills

// SL_ST8 (1000): the pattern pair r(R):r(R+1); M is ignored.
OPERATION(SL_ST8, isa::kUnscaledTypes) {
  store_pattern(p, run, 0xFFFFFFFF);
}

// SL_FILL (1001): the pattern pair, through the fill bit mask M (M = 0: all bits).
OPERATION(SL_FILL, isa::kUnscaledTypes) {
  store_pattern(p, run, p.fill_mask == 0 ? 0xFFFFFFFF : p.fill_mask);
}

#undef OPERATION

// ---- 3.6 Indexed loads

// Element i from T + r(X + i) (unsigned, modulo 2^32) with the load rules of 3.3. Every
// index is read and every element checked before any register is written.
[[gnu::noinline]] void load_indexed(Processor& p, uint32_t word, uint32_t table,
                                    const isa::DataType& type) {
  const isa::MemoryWord w{word};
  const int n = w.count();
  const int index = int(w.low());
  const uint32_t size = isa::info(type.base).layout.size;
  std::array<const uint8_t*, 32> element{};
  for (int i = 0; i < n; ++i) {
    const uint32_t a = table + p.r[size_t(index + i)];
    const uint8_t* page = p.alias.page(a);
    if (page == nullptr || (a & 0xFFF) + size > AliasSpace::kPageSize) {
      char detail[48];
      std::snprintf(detail, sizeof detail, "indexed element %d at 0x%08x", i, a);
      p.fault(FaultKind::unaliased, word, table, detail);
      return;
    }
    element[size_t(i)] = page + (a & 0xFFF);
  }
  if (w.reg() == 0) return;
  for (int i = 0; i < n; ++i)
    p.r[size_t(w.reg() + i)] = load_element(type.base, element[size_t(i)]);
}

// Registers a plain run names from R on (3.2; 3.5 for the pattern pair).
uint32_t registers_named(uint32_t operation, const isa::DataType& type, int n, uint32_t A) {
  if (operation == uint32_t(isa::Operation::SL_ST8) ||
      operation == uint32_t(isa::Operation::SL_FILL))
    return 2;
  switch (type.base) {
    case isa::Base::SL_T4C:
      return 4 * uint32_t(n);
    case isa::Base::SL_T8P:
      return uint32_t(((uint64_t{A} + uint32_t(n) - 1) >> 2) - (A >> 2)) + 1;
    default:
      return uint32_t(n);
  }
}

bool run_fits(int first, uint32_t registers) {
  return first == 0 || uint32_t(first) + registers <= isa::kRegisters;
}

}  // namespace

// ---- Decoding (3.1, 3.2, 5)

namespace {

using Execute = void (*)(Processor&, const Run&);
// A checked run of one base type: A, n, R, the sub-field t and the host byte behind A.
using ExecuteOnBase = void (*)(Processor&, uint32_t, int, int, int, uint8_t*);

// An operation on runs of one base type. The decode table picks it by the word's type field,
// so the operation's own choice among types is made once, when the table is built; the run
// arrives in registers and is assembled here.
template <isa::Base B, Execute Operation>
void on_base(Processor& p, uint32_t address, int count, int reg, int t, uint8_t* host) {
  Operation(p, Run{address, count, reg, B, t, host});
}

template <Execute Operation, size_t... B>
constexpr std::array<ExecuteOnBase, sizeof...(B)> per_base(std::index_sequence<B...>) {
  return {&on_base<isa::Base(B), Operation>...};
}

constexpr size_t kBaseCount = std::size(isa::kBases);

// By operation code, then base type.
constexpr std::array<std::array<ExecuteOnBase, kBaseCount>, 16> kOperationsByBase = [] {
  std::array<std::array<ExecuteOnBase, kBaseCount>, 16> table{};
#define KX_MEM_OP(NAME, code, mnemonic) \
  table[code] = per_base<&NAME>(std::make_index_sequence<kBaseCount>{});
#include "kx_isa.def"
  return table;
}();

}  // namespace

constexpr std::array<MemoryOperation, 16> kMemoryOperations = [] {
  std::array<MemoryOperation, 16> table{};
#define KX_MEM_OP(NAME, code, mnemonic) \
  table[code] = MemoryOperation{#NAME, mnemonic, NAME##_types, &NAME};
#include "kx_isa.def"
  return table;
}();

namespace {

// Why the operation and type fields (and whether the word is an indexed load) make an
// undefined encoding, or nullptr.
constexpr const char* undefined_fields(uint32_t operation_code, uint32_t type_code,
                                       bool indexed) {
  const MemoryOperation& operation = kMemoryOperations[operation_code];
  if (operation.name == nullptr) return "no such operation";
  const isa::DataType& type = isa::kDataTypes[type_code];
  if (!operation.types.contains(type)) return "data type not defined for this operation";
  if (indexed && operation_code != uint32_t(isa::Operation::SL_LD)) return "indexed store";
  if (indexed && !isa::kIndexedTypes.contains(type)) return "data type of an indexed load";
  return nullptr;
}

// Everything the operation and type fields decide, for every value of them, built once: a
// word is decoded by one index (bits 22..14, and whether bits 6..3 make it indexed).
struct MemoryDecode {
  const char* undefined = nullptr;  // why the encoding is undefined, or nullptr
  ExecuteOnBase execute = nullptr;
  isa::DataType type{};
  isa::Layout layout{};
};

constexpr std::array<MemoryDecode, 1024> kMemoryDecode = [] {
  std::array<MemoryDecode, 1024> table{};
  for (uint32_t index = 0; index < 1024; ++index) {
    const uint32_t operation = index >> 5 & 0xF, type = index & 0x1F;
    MemoryDecode& d = table[index];
    d.undefined = undefined_fields(operation, type, (index & 0x200) != 0);
    if (d.undefined != nullptr) continue;
    d.type = isa::kDataTypes[type];
    d.layout = isa::info(d.type.base).layout;
    d.execute = kOperationsByBase[operation][unsigned(d.type.base)];
  }
  return table;
}();

const MemoryDecode& decode(const isa::MemoryWord& w) {
  return kMemoryDecode[(w.indexed() ? 0x200u : 0u) | (w.bits >> 14 & 0x1FF)];
}

}  // namespace

const char* undefined_memory_word(uint32_t word) {
  const isa::MemoryWord w{word};
  if (w.word_class() != isa::kMemoryClass) return "not a memory-reference class";
  return decode(w).undefined;
}

// Faults are checked in the order misaligned-issue, undefined, register-run, unaliased,
// page-crossing; the first that applies is the word's one fault. Every check is made once
// for the whole run; the operation then executes the run as loops over host memory.
void execute_memory_word(Processor& p, uint32_t address, uint32_t word) {
  auto fault = [&](FaultKind kind, const char* detail) {
    p.fault(kind, word, address, detail);
  };
  if (address % 8 != 0) return fault(FaultKind::misaligned_issue, "alias store not 8-aligned");
  const isa::MemoryWord w{word};
  if (w.word_class() != isa::kMemoryClass)
    return fault(FaultKind::undefined, "not a memory-reference class");
  const MemoryDecode& d = decode(w);
  if (d.undefined != nullptr) return fault(FaultKind::undefined, d.undefined);
  const int n = w.count();

  if (w.indexed()) {
    if (!run_fits(w.reg(), uint32_t(n)) || !run_fits(int(w.low()), uint32_t(n)))
      return fault(FaultKind::register_run, "beyond r127");
    if (p.alias.page(address) == nullptr) return fault(FaultKind::unaliased, "table address");
    return load_indexed(p, word, address, d.type);
  }

  const uint32_t A = address | w.low();
  if (!run_fits(w.reg(), registers_named(w.operation(), d.type, n, A)))
    return fault(FaultKind::register_run, "beyond r127");
  uint8_t* page = p.alias.page(A);
  if (page == nullptr) return fault(FaultKind::unaliased, "run in an unmapped page");
  const uint64_t last = uint64_t{A} + uint64_t(n - 1) * d.layout.stride + d.layout.size - 1;
  if ((last >> 12) != (A >> 12)) return fault(FaultKind::page_crossing, "run crosses a page");

  d.execute(p, A, n, w.reg(), d.type.t, page + (A & 0xFFF));
}

}  // namespace kxm::detail
