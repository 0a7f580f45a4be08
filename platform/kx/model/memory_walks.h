// How a memory run meets memory and registers, per data type (docs/kx-isa.md 3.2, 1.4, 3.4).
//
// The operations of memory_ops.cpp say what one element becomes; the walks here place the
// elements: which bytes, which registers, which lanes, through which masks. A run reaching
// a walk has been checked: it lies in one aliased page and its registers in r0..r127.
#ifndef KX_MODEL_MEMORY_WALKS_H
#define KX_MODEL_MEMORY_WALKS_H

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "isa.h"
#include "processor.h"

namespace kxm::detail {

// One plain run (not an indexed load).
struct Run {
  uint32_t address;  // A, the alias byte address of the first element
  int count;         // n
  int reg;           // R
  isa::Base base;
  int t;          // the type's sub-field
  uint8_t* host;  // the host byte behind A
};

// The element a store operation shapes a register value into.
enum class Width : uint8_t { byte, u16, s16, word };

constexpr Width width_of(isa::Base base) {
  switch (base) {
    case isa::Base::SL_T16R:
      return Width::u16;
    case isa::Base::SL_T16:
      return Width::s16;
    case isa::Base::SL_T32:
      return Width::word;
    default:
      return Width::byte;
  }
}

// Lane k of a 32-bit value: bits 31 - 8k .. 24 - 8k (docs/kx-isa.md 1.4).
constexpr uint8_t lane(uint32_t value, uint32_t k) {
  return uint8_t(value >> (24 - 8 * (k & 3)));
}

// True for the types whose bytes are lanes of 4-byte pixels: only their stores pass the
// plane mask (docs/kx-isa.md 3.4).
constexpr bool plane_masked(isa::Base base) {
  return base == isa::Base::SL_T32 || base == isa::Base::SL_T4C || base == isa::Base::SL_T32C;
}

// Writes bytes of one run through the plane mask (4-byte pixel types) and, for SL_FILL, the
// fill bit mask.
class ByteWriter {
 public:
  ByteWriter(Processor& processor, const Run& run, uint32_t extra_mask)
      : processor_(processor),
        run_(run),
        mask_((plane_masked(run.base) ? processor.plane_mask : 0xFFFFFFFF) & extra_mask) {}
  ~ByteWriter() {
    if (wrote_) processor_.write_occurred = true;
  }
  ByteWriter(const ByteWriter&) = delete;
  ByteWriter& operator=(const ByteWriter&) = delete;

  // The byte at A + offset keeps its old bits where its lane of the mask is 0.
  void byte(uint32_t offset, uint32_t value) {
    const uint8_t mask = lane(mask_, run_.address + offset);
    if (mask == 0) return;
    uint8_t& target = run_.host[offset];
    target = uint8_t((target & ~mask) | (value & mask));
    wrote_ = true;
  }
  // A 16-bit number in the host's byte order.
  void half(uint32_t offset, uint32_t value) {
    const uint16_t number = uint16_t(value);
    uint8_t bytes[2];
    std::memcpy(bytes, &number, 2);
    byte(offset, bytes[0]);
    byte(offset + 1, bytes[1]);
  }
  // A 32-bit word, lowest address in lane 0.
  void word(uint32_t offset, uint32_t value) {
    for (uint32_t k = 0; k < 4; ++k) byte(offset + k, lane(value, k));
  }

 private:
  Processor& processor_;
  const Run& run_;
  uint32_t mask_;
  bool wrote_ = false;
};

// The register of element i of a run naming R; a field of 0 is r0 for every element.
inline uint32_t run_reg(const Processor& p, int first, int i) {
  return p.r[first ? first + i : 0];
}

// The register holding byte A + offset of an SL_T8P run, and that byte's lane.
inline int packed_reg(const Run& run, uint32_t offset) {
  if (run.reg == 0) return 0;
  return run.reg + int(((run.address + offset) >> 2) - (run.address >> 2));
}

// What a register field of 0 reads for every element of a run: r0, never advanced.
inline constexpr uint32_t kZeroRun[4 * 32] = {};

// The registers element i of a run naming R reads from: R + i, or r0 throughout.
inline const uint32_t* run_source(const Processor& p, int first) {
  return first ? &p.r[size_t(first)] : kZeroRun;
}

// The selection that writes every element (all but the masked stores).
struct EveryElement {
  constexpr bool operator()(uint32_t) const { return true; }
};

// A store whose every byte passes its masks (no plane-mask lane cleared, every element
// selected): each element's bytes go straight to host memory, one loop per data type over
// the run. SL_T8P, whose bytes come from lanes, always takes the byte-wise walk below.
template <isa::Base B, typename Value>
void store_unmasked(Processor& p, const Run& run, Value value) {
  constexpr Width width = width_of(B);
  const uint32_t* v = run_source(p, run.reg);
  const uint32_t n = uint32_t(run.count);
  const int t = run.t;
  uint8_t* host = run.host;
  if constexpr (B == isa::Base::SL_T8) {
    for (uint32_t i = 0; i < n; ++i) host[i] = uint8_t(value(int32_t(v[i]), t, width));
  } else if constexpr (B == isa::Base::SL_T4C) {  // byte k of pixel i from R + 4i + k
    for (uint32_t j = 0; j < 4 * n; ++j) host[j] = uint8_t(value(int32_t(v[j]), t, width));
  } else if constexpr (B == isa::Base::SL_T32C) {
    for (uint32_t i = 0; i < n; ++i) host[4 * i] = uint8_t(value(int32_t(v[i]), t, width));
  } else if constexpr (B == isa::Base::SL_T16 || B == isa::Base::SL_T16R) {
    uint16_t numbers[32];
    for (uint32_t i = 0; i < n; ++i) numbers[i] = uint16_t(value(int32_t(v[i]), t, width));
    std::memcpy(host, numbers, 2 * n);  // numbers in the host's byte order
  } else if constexpr (B == isa::Base::SL_T32) {
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t word = value(int32_t(v[i]), t, width);
      for (uint32_t k = 0; k < 4; ++k) host[4 * i + k] = lane(word, k);
    }
  }
  p.write_occurred = true;  // n >= 1 elements, every byte written
}

// Element i of any store, through Value (register value, sub-field, width -> element) and
// Select (element index -> written?).
template <typename Value, typename Select>
[[gnu::always_inline]] inline void store_run(Processor& p, const Run& run, Value value,
                                             Select selected) {
  if constexpr (std::is_same_v<Select, EveryElement>) {
    const bool unmasked = !plane_masked(run.base) || p.plane_mask == 0xFFFFFFFF;
    if (unmasked) {
      switch (run.base) {
        case isa::Base::SL_T8:
          return store_unmasked<isa::Base::SL_T8>(p, run, value);
        case isa::Base::SL_T4C:
          return store_unmasked<isa::Base::SL_T4C>(p, run, value);
        case isa::Base::SL_T32C:
          return store_unmasked<isa::Base::SL_T32C>(p, run, value);
        case isa::Base::SL_T16R:
          return store_unmasked<isa::Base::SL_T16R>(p, run, value);
        case isa::Base::SL_T16:
          return store_unmasked<isa::Base::SL_T16>(p, run, value);
        case isa::Base::SL_T32:
          return store_unmasked<isa::Base::SL_T32>(p, run, value);
        case isa::Base::SL_T8P:
          break;
      }
    }
  }
  ByteWriter out(p, run, 0xFFFFFFFF);
  const uint32_t n = uint32_t(run.count);
  const Width width = width_of(run.base);
  auto v = [&](int i) { return value(int32_t(run_reg(p, run.reg, i)), run.t, width); };
  switch (run.base) {
    case isa::Base::SL_T8:
      for (uint32_t i = 0; i < n; ++i)
        if (selected(i)) out.byte(i, v(int(i)));
      return;
    case isa::Base::SL_T4C:  // byte k of pixel i from R + 4i + k
      for (uint32_t j = 0; j < 4 * n; ++j)
        if (selected(j / 4)) out.byte(j, v(int(j)));
      return;
    case isa::Base::SL_T32C:
      for (uint32_t i = 0; i < n; ++i)
        if (selected(i)) out.byte(4 * i, v(int(i)));
      return;
    case isa::Base::SL_T16R:
    case isa::Base::SL_T16:
      for (uint32_t i = 0; i < n; ++i)
        if (selected(i)) out.half(2 * i, v(int(i)));
      return;
    case isa::Base::SL_T32:
      for (uint32_t i = 0; i < n; ++i)
        if (selected(i)) out.word(4 * i, v(int(i)));
      return;
    case isa::Base::SL_T8P:  // each byte of the run from its lane
      for (uint32_t i = 0; i < n; ++i) {
        const uint32_t byte = lane(p.r[packed_reg(run, i)], run.address + i);
        if (selected(i)) out.byte(i, value(int32_t(byte), run.t, Width::byte));
      }
      return;
  }
}

// The fill pattern P = r(R):r(R+1) (docs/kx-isa.md 3.5), through `extra_mask`.
[[gnu::always_inline]] inline void store_pattern(Processor& p, const Run& run,
                                                 uint32_t extra_mask) {
  const uint64_t pattern = run.reg == 0 ? 0 : uint64_t{p.r[run.reg]} << 32 | p.r[run.reg + 1];
  // Byte a & 7 of P, byte 0 the most significant.
  auto pattern_byte = [&](uint32_t a) { return uint8_t(pattern >> (56 - 8 * (a & 7))); };
  ByteWriter out(p, run, extra_mask);
  const uint32_t n = uint32_t(run.count);
  const uint32_t A = run.address;
  switch (run.base) {
    case isa::Base::SL_T8:
    case isa::Base::SL_T8P:
      for (uint32_t i = 0; i < n; ++i) out.byte(i, pattern_byte(A + i));
      return;
    case isa::Base::SL_T4C:
      for (uint32_t j = 0; j < 4 * n; ++j) out.byte(j, pattern_byte(A + j));
      return;
    case isa::Base::SL_T32C:
      for (uint32_t i = 0; i < n; ++i) out.byte(4 * i, pattern_byte(A + 4 * i));
      return;
    case isa::Base::SL_T16R:
    case isa::Base::SL_T16:  // the 16-bit field of P at byte a & 6, stored as a number
      for (uint32_t i = 0; i < n; ++i) {
        const uint32_t a = A + 2 * i;
        out.half(2 * i, uint32_t(pattern >> (48 - 8 * (a & 6))) & 0xFFFF);
      }
      return;
    case isa::Base::SL_T32:  // the word of P at byte a & 4
      for (uint32_t i = 0; i < n; ++i) {
        const uint32_t a = A + 4 * i;
        out.word(4 * i, uint32_t(pattern >> (32 - 8 * (a & 4))));
      }
      return;
  }
}

// Reading one element from host memory (docs/kx-isa.md 3.3). SL_T8P is not an element type
// here; its bytes go to lanes.
inline uint32_t load_element(isa::Base base, const uint8_t* at) {
  switch (base) {
    case isa::Base::SL_T16R: {
      uint16_t number;
      std::memcpy(&number, at, 2);
      return number;
    }
    case isa::Base::SL_T16: {
      int16_t number;
      std::memcpy(&number, at, 2);
      return uint32_t(int32_t(number));
    }
    case isa::Base::SL_T32:
      return uint32_t(at[0]) << 24 | uint32_t(at[1]) << 16 | uint32_t(at[2]) << 8 | at[3];
    default:
      return at[0];
  }
}

}  // namespace kxm::detail

#endif
