// The constant, bitwise and scaled-multiply routines: one description per routine, one walk
// for all of them (on the one-source frame of kx_frame.h), and the conversion of a real
// factor to the scaled multiply's multiplier and shift.
#ifndef KX_CONSTANT_H
#define KX_CONSTANT_H

#include <cstdint>

#include "kx_frame.h"

// Raster-op codes of the bitwise routines (result bit = bit (2a + b) of the code).
constexpr uint32_t kZelKXAnd = 0x88, kZelKXOr = 0xee, kZelKXXor = 0x66, kZelKXNot = 0x11;

// A real factor f as (x * multiplier >> 8) >> shift. With v = f * 256 (as a float): the
// smallest shift s in 0..15 that brings v * 2^s to at least 32768, and multiplier = v * 2^s
// + 0.5 truncated. Below v = 1 (tiny, zero and negative factors) the shift is 15 and the
// multiplier v * 32768 rounded half away from zero. Returns 2 and writes nothing when v
// exceeds 65536, is below -65536 or is NaN; else 0.
int zelspm_muls_setup(const float* factor, int32_t* multiplier, int32_t* shift);

// How a routine turns the operation's first pointer parameter into its kernel table.
enum class ZelKXConstants {
  truncated,    // floats truncated toward zero (add, subtract, subtract from)
  bits,         // unsigned integers, clamped in the array to 255 (8-bit) or 32767 (16-bit)
  none,         // no parameter: every entry 0 (not)
  factors,      // floats through zelspm_muls_setup (multiply)
  reciprocals,  // 1 / c through zelspm_muls_setup (divide, 8-bit)
  quotients,    // 65536 / c truncated, shift 8 (divide, 16-bit)
};

typedef void (*ZelKXConstantKernel)(uint32_t dst, int32_t dst_stride, int32_t width,
                                    int32_t height, uint32_t src, int32_t src_stride,
                                    const int32_t* value);
typedef void (*ZelKXScaledKernel)(uint32_t dst, int32_t dst_stride, int32_t width,
                                  int32_t height, uint32_t src, int32_t src_stride,
                                  const int32_t* multiplier, const int32_t* shift);

// A routine's row, written with designated initializers; what it leaves out is 0.
struct ZelKXConstantRoutine {
  ZelKXOneSource frame;
  ZelKXConstants constants;
  uint32_t raster_op = 0;  // 0: none
  // The _8 (or _16) kernel and the _32 kernel for 3 and 4 bands; the scaled routines use
  // the second pair.
  ZelKXConstantKernel one_band = nullptr, four_bytes = nullptr;
  ZelKXScaledKernel scaled_one_band = nullptr, scaled_four_bytes = nullptr;
  bool one_band_per_rect = false;  // more than one band refuses at the first rectangle
};

int zelkx_constant(ZelOp* op, const ZelKXConstantRoutine& routine);

// Frames of the two shapes of constant routine.
constexpr ZelKXOneSource zelkx_constant_frame8(
    const char* file, int list_line, ZelKXMaskRule mask = ZelKXMaskRule::destination) {
  return {file, {0, "di-12", 0, list_line},    false, 1,
          1,    ZelKXBandRule::one_three_four, mask,  false};
}
constexpr ZelKXOneSource zelkx_constant_frame16(const char* file, int list_line,
                                                ZelKXBandRule bands) {
  return {file, {0, "di-12", 0, list_line}, false, 2, 2, bands, ZelKXMaskRule::unchanged, true};
}

#endif
