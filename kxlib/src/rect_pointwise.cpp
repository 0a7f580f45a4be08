// The pointwise kernels: two-source arithmetic, arithmetic with a constant, scaled multiply,
// and bitwise combination with an image or a constant. Each kernel is its family's walk
// with a plan and a row of steps (sl_pointwise.def and the tables below).
#include "templates/rect_pointwise.h"

#include "sl_kernels.h"

namespace sl::pointwise {
namespace {

// Plans: 1-byte pixels, signed 16-bit pixels, 4-byte pixels as four 8-bit channels.
constexpr Plan kDyadic8{SL_T8, SL_ST3, SL_T8, SPAM_T8, 32, 1, 1, Split::sixteens, false};
constexpr Plan kDyadic16{SL_T16, SL_ST2, SL_T16, SPAM_T16, 32, 1, 2, Split::sixteens, false};
constexpr Plan kDyadic32{SL_T4C, SL_ST3, SL_T4C, SPAM_T4C, 12, 4, 4, Split::halves, false};

constexpr Plan kConstant8{SL_T8, SL_ST2, SL_T8, SPAM_T8, 32, 1, 1, Split::sixteens, true};
constexpr Plan kConstant16{SL_T16, SL_ST2, SL_T16, SPAM_T16, 32, 1, 2, Split::sixteens, true};
constexpr Plan kConstant32{SL_T4C, SL_ST3, SL_T4C, SPAM_T4C, 12, 4, 4, Split::halves, false};

constexpr Plan kScaled32{SL_T4C, SL_ST3, SL_T4C, SPAM_T4C, 8, 4, 4, Split::halves, false};

// Bitwise kernels move whole elements: bytes, raw 16-bit words, 32-bit words.
constexpr Plan kBool8{SL_T8, SL_ST0, SL_T8, SPAM_T8, 32, 1, 1, Split::sixteens, false};
constexpr Plan kBool16{SL_T16R, SL_ST0, SL_T16R, SPAM_T16, 32, 1, 2, Split::sixteens, false};
constexpr Plan kBool32{SL_T32, SL_ST1, SL_T32, SPAM_T32, 32, 1, 4, Split::sixteens, false};

constexpr Registers kDyadicRegs{{10, 58}, 2, 58};
constexpr Registers kOneSourceRegs{{10, 0}, 1, 10};
constexpr Registers kBoolRegs{{10, 42}, 2, 74};
constexpr Registers kBoolConstantRegs{{10, 0}, 1, 74};

constexpr uint32_t kConstantReg = 58;  // the constant fills r58..r105
constexpr uint32_t kReplicated = 48;   // registers a constant is replicated into
constexpr uint32_t kMultiplierReg = 42;
constexpr uint32_t kShiftReg = 74;  // _32: per-channel shifts, written after the multipliers
constexpr uint32_t kBoolConstantReg = 42;  // the bitwise constant fills r42..r73

constexpr Step kScaledSteps[] = {STEP(SL_OP_MULF, 10, 10, 42), STEP_IMM(SL_OP_SRAI, 10, 10)};
constexpr Step kScaledSteps32[] = {STEP(SL_OP_MULF, 10, 10, 42), STEP(SL_OP_SRA, 10, 10, 74)};
constexpr Step kBoolSteps[] = {STEP(SL_OP_ROP, 10, 74, 42)};

Rect rect2(SL_RECT_2SRC_ARGS) {
  return {dst, dst_stride, width, height, {src1, src2}, {src1_stride, src2_stride}};
}
Rect rect1(SL_RECT_1SRC_ARGS) {
  return {dst, dst_stride, width, height, {src, 0}, {src_stride, 0}};
}

template <size_t N>
void dyadic(const Plan& plan, const Step (&steps)[N], Rect r) {
  walk(kx_ctx_get(), plan, kDyadicRegs, steps, r);
}

// The constant is replicated before anything else, also for an empty rectangle.
template <size_t N>
void constant(const Plan& plan, const Step (&steps)[N], Rect r, const int32_t* value) {
  kx_ctx_t* ctx = kx_ctx_get();
  if (plan.regs_per_pixel == 4) {
    replicate_channels(ctx, kConstantReg, value, kReplicated);
  } else {
    replicate_scalar(ctx, kConstantReg, uint32_t(*value), kReplicated);
  }
  walk(ctx, plan, kOneSourceRegs, steps, r);
}

void scaled(const Plan& plan, Rect r, const int32_t* mult, const int32_t* shift) {
  const uint32_t s = uint32_t(*shift) & 0x7Fu;
  kx_ctx_t* ctx = kx_ctx_get();
  replicate_scalar(ctx, kMultiplierReg, uint32_t(*mult), kReplicated);
  walk(ctx, plan, kOneSourceRegs, kScaledSteps, r, s);
}

}  // namespace
}  // namespace sl::pointwise

using namespace sl::pointwise;

#define SL_DYADIC(name, ...)                                                             \
  namespace {                                                                            \
  constexpr Step k_##name##_steps[] = {__VA_ARGS__};                                     \
  }                                                                                      \
  void sl_rect_##name##_8(SL_RECT_2SRC_ARGS) {                                           \
    dyadic(kDyadic8, k_##name##_steps,                                                   \
           rect2(dst, dst_stride, width, height, src1, src1_stride, src2, src2_stride)); \
  }                                                                                      \
  void sl_rect_##name##_16(SL_RECT_2SRC_ARGS) {                                          \
    dyadic(kDyadic16, k_##name##_steps,                                                  \
           rect2(dst, dst_stride, width, height, src1, src1_stride, src2, src2_stride)); \
  }                                                                                      \
  void sl_rect_##name##_32(SL_RECT_2SRC_ARGS) {                                          \
    dyadic(kDyadic32, k_##name##_steps,                                                  \
           rect2(dst, dst_stride, width, height, src1, src1_stride, src2, src2_stride)); \
  }
#define SL_CONSTANT(name, ...)                                               \
  namespace {                                                                \
  constexpr Step k_##name##_steps[] = {__VA_ARGS__};                         \
  }                                                                          \
  void sl_rect_##name##_8(SL_RECT_1SRC_ARGS, const int32_t* value) {         \
    constant(kConstant8, k_##name##_steps,                                   \
             rect1(dst, dst_stride, width, height, src, src_stride), value); \
  }                                                                          \
  void sl_rect_##name##_16(SL_RECT_1SRC_ARGS, const int32_t* value) {        \
    constant(kConstant16, k_##name##_steps,                                  \
             rect1(dst, dst_stride, width, height, src, src_stride), value); \
  }                                                                          \
  void sl_rect_##name##_32(SL_RECT_1SRC_ARGS, const int32_t* value) {        \
    constant(kConstant32, k_##name##_steps,                                  \
             rect1(dst, dst_stride, width, height, src, src_stride), value); \
  }
#include "sl_pointwise.def"

void sl_rect_muls_8(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift) {
  scaled(kConstant8, rect1(dst, dst_stride, width, height, src, src_stride), mult, shift);
}

void sl_rect_muls_16(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift) {
  scaled(kConstant16, rect1(dst, dst_stride, width, height, src, src_stride), mult, shift);
}

// Per-channel multipliers in r42.. and shifts in r74..; the shifts overwrite the
// multipliers' replication above r73, which eight pixels never reach.
void sl_rect_muls_32(SL_RECT_1SRC_ARGS, const int32_t* mult, const int32_t* shift) {
  kx_ctx_t* ctx = kx_ctx_get();
  replicate_channels(ctx, kMultiplierReg, mult, kReplicated);
  replicate_channels(ctx, kShiftReg, shift, kReplicated);
  walk(ctx, kScaled32, kOneSourceRegs, kScaledSteps32,
       rect1(dst, dst_stride, width, height, src, src_stride));
}

#define SL_BOOL_FORMAT(fmt, plan)                                                      \
  void sl_rect_bool_##fmt(SL_RECT_2SRC_ARGS) {                                         \
    walk(kx_ctx_get(), plan, kBoolRegs, kBoolSteps,                                    \
         rect2(dst, dst_stride, width, height, src1, src1_stride, src2, src2_stride)); \
  }                                                                                    \
  void sl_rect_bools_##fmt(SL_RECT_1SRC_ARGS, const int32_t* value) {                  \
    kx_ctx_t* ctx = kx_ctx_get();                                                      \
    replicate_scalar(ctx, kBoolConstantReg, uint32_t(*value), 32);                     \
    walk(ctx, plan, kBoolConstantRegs, kBoolSteps,                                     \
         rect1(dst, dst_stride, width, height, src, src_stride));                      \
  }
SL_BOOL_FORMAT(8, kBool8)
SL_BOOL_FORMAT(16, kBool16)
SL_BOOL_FORMAT(32, kBool32)
