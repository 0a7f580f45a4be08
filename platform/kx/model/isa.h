// Word fields and encoding facts of docs/kx-isa.md that the model decodes with.
//
// The list of encodings itself (names, codes, mnemonics) is kx_isa.def, shared with the
// pixel-processor library; this header adds what the model needs beyond it: field
// accessors, the layout of each data type, the operand shapes of the queue forms and the
// context-block map. The decode tables are built from kx_isa.def next to the semantics
// (memory_ops.cpp, queue_forms.cpp; see decode.h).
#ifndef KX_MODEL_ISA_H
#define KX_MODEL_ISA_H

#include <array>
#include <cstdint>

namespace kxm::isa {

// ---------------------------------------------------------------------------------------
// Memory-reference words (docs/kx-isa.md 3.1)

constexpr uint32_t kMemoryClass = 0x8;

struct MemoryWord {
  uint32_t bits;
  constexpr uint32_t word_class() const { return bits >> 28; }
  constexpr int count() const { return int((bits >> 23) & 0x1F) + 1; }
  constexpr uint32_t operation() const { return (bits >> 19) & 0xF; }
  constexpr uint32_t type() const { return (bits >> 14) & 0x1F; }
  constexpr int reg() const { return int((bits >> 7) & 0x7F); }
  constexpr uint32_t low() const { return bits & 0x7F; }
  // Bits 6..3 non-zero: the low field names the index register of an indexed load (3.6).
  constexpr bool indexed() const { return (bits & 0x78) != 0; }
};

// Operation codes (3.3 to 3.5) by name.
enum class Operation : uint32_t {
#define KX_MEM_OP(NAME, code, mnemonic) NAME = code,
#include "kx_isa.def"
};

// Base data types (3.2), in the order of kx_isa.def.
enum class Base : uint8_t {
#define KX_DATA_TYPE(NAME, code, mnemonic) NAME,
#include "kx_isa.def"
};

// What 3.2 says of a base type besides its code: the distance in bytes between elements,
// the bytes one element occupies, and the highest sub-field t its codes take (code + t).
struct Layout {
  uint8_t stride;
  uint8_t size;
  uint8_t max_t;
};

namespace layout {
constexpr Layout SL_T8{1, 1, 2};
constexpr Layout SL_T4C{4, 4, 1};
constexpr Layout SL_T32C{4, 1, 2};
constexpr Layout SL_T16R{2, 2, 2};
constexpr Layout SL_T32{4, 4, 0};
constexpr Layout SL_T16{2, 2, 2};
constexpr Layout SL_T8P{1, 1, 0};
}  // namespace layout

struct BaseInfo {
  const char* name;
  const char* mnemonic;
  Layout layout;
};

constexpr BaseInfo kBases[] = {
#define KX_DATA_TYPE(NAME, code, mnemonic) {#NAME, mnemonic, layout::NAME},
#include "kx_isa.def"
};

constexpr const BaseInfo& info(Base base) {
  return kBases[unsigned(base)];
}

// A data-type code: its base and sub-field, or undefined.
struct DataType {
  bool defined = false;
  Base base = Base::SL_T8;
  uint8_t t = 0;
};

constexpr std::array<DataType, 32> kDataTypes = [] {
  std::array<DataType, 32> table{};
#define KX_DATA_TYPE(NAME, code, mnemonic)           \
  for (unsigned t = 0; t <= layout::NAME.max_t; ++t) \
    table[(code) + t] = DataType{true, Base::NAME, uint8_t(t)};
#include "kx_isa.def"
  return table;
}();

// Which data types an operation accepts: a set of base types, and whether codes with a
// non-zero sub-field are among them.
struct TypeSet {
  uint8_t bases;
  bool any_t;
  constexpr bool contains(const DataType& type) const {
    return type.defined && (bases >> unsigned(type.base) & 1) && (any_t || type.t == 0);
  }
};

constexpr uint8_t bit(Base base) {
  return uint8_t(1u << unsigned(base));
}
constexpr uint8_t kAllBases = uint8_t((1u << std::size(kBases)) - 1);
constexpr uint8_t kByteBases = bit(Base::SL_T8) | bit(Base::SL_T4C) | bit(Base::SL_T32C);
constexpr uint8_t kAllButPacked = kAllBases & ~bit(Base::SL_T8P);

constexpr TypeSet kUnscaledTypes{kAllBases, false};  // the t = 0 codes
constexpr TypeSet kUnpackedTypes{kAllButPacked, true};
constexpr TypeSet kUnscaledUnpackedTypes{kAllButPacked, false};
constexpr TypeSet kByteTypes{kByteBases, true};
constexpr TypeSet kIndexedTypes{
    bit(Base::SL_T8) | bit(Base::SL_T16) | bit(Base::SL_T16R) | bit(Base::SL_T32), false};

// ---------------------------------------------------------------------------------------
// Queue words (docs/kx-isa.md 4.1)

struct QueueWord {
  uint32_t bits;
  constexpr uint32_t group() const { return bits >> 28; }
  constexpr int count() const { return int((bits >> 24) & 0xF) + 1; }
  constexpr uint32_t variant() const { return (bits >> 21) & 0x7; }
  constexpr int a() const { return int((bits >> 14) & 0x7F); }
  constexpr int d() const { return int((bits >> 7) & 0x7F); }
  constexpr int b() const { return int(bits & 0x7F); }
  // Bits 6..0 as a signed 7-bit number (the stride of the scatter and gather forms).
  constexpr int stride() const { return b() >= 64 ? b() - 128 : b(); }
  // The opcode: the pair (group, variant) as one index 0..127.
  constexpr unsigned opcode() const { return unsigned(group() << 3 | variant()); }
};

constexpr unsigned opcode(unsigned group, unsigned variant) {
  return group << 3 | variant;
}

// How a form reads its operands and where its result goes (4.2); the forms differ only in
// what one element computes.
enum class Walk : uint8_t {
  elementwise,  // D+i = f(A+i, B+i)
  one_b,        // D+i = f(A+i, r(B)): B one register
  immediate,    // D+i = f(A+i, imm): imm = bits 6..0, 0..127
  compare,      // r2 bit 31 - i = f(A+i, r(B)); the D field must be 0
  funnel,       // D+i = f(A+i : A+i+1 : A+i+2, s): s = bits 6..0, at most 64
  scatter,      // r(D + k*i) = A+i: k = bits 6..0 signed
  gather,       // D+i = r(A + k*i): k = bits 6..0 signed
};

constexpr unsigned kMaxFunnelShift = 64;

// ---------------------------------------------------------------------------------------
// The context block (docs/kx-isa.md 1.2): byte offsets and status bits.

constexpr uint32_t kStatus = 0x000;
constexpr uint32_t kPlaneMask = 0x010;
constexpr uint32_t kRasterOp = 0x014;
constexpr uint32_t kQueuePort = 0x020;
constexpr uint32_t kQueuePortSecond = 0x024;
constexpr uint32_t kRegisterFile = 0x300;
constexpr uint32_t kRegisterFileEnd = kRegisterFile + 4 * 128;

constexpr uint32_t kStatusBusy = 0x8000;
constexpr uint32_t kStatusWriteOccurred = 0x800;

constexpr int kRegisters = 128;

}  // namespace kxm::isa

#endif
