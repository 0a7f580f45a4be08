// What words do (docs/kx-isa.md 3 and 4), as short word sequences through the bus.
#include <bit>
#include <cstring>

#include "model_fixture.h"

namespace kxtest {
namespace {

uint16_t half_at(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

// ---- Queue forms

using QueueForms = Machine;

TEST_F(QueueForms, ArithmeticSaturatesProductsShiftDownAndShiftAmountsAreUnsigned) {
  // One element: D = r20, A = r10, B = r11 or the immediate, multiplier r1.
  const struct {
    unsigned group, variant;
    int64_t a, b, r1, result;
    bool immediate = false;
  } cases[] = {
      {0xA, 0b000, INT32_MAX, 1, 0, INT32_MAX},  // add: max + 1
      {0xA, 0b100, INT32_MIN, 1, 0, INT32_MIN},  // sub: min - 1
      {0x0, 0b000, 65536, 65536, 0, INT32_MAX},  // mul: 2^32
      {0xA, 0b111, 0, INT32_MIN, 0, INT32_MAX},  // |0 - min|
      {0xA, 0b101, 1, INT32_MIN, 0, INT32_MAX},  // 1 - min
      {0x0, 0b010, 65536, 1, 32768, INT32_MAX},  // mac: 2^31 + 1
      {0x1, 0b000, -1, 1, 0, -1},                // mulf: -1 >> 8
      {0x3, 0b000, 3 << 16, 1, 0, 3},            // mulf16
      {0x3, 0b010, 3 << 16, 5, 1 << 15, (3 << 15) + 5},
      {0x0, 0b110, -1, 0, 1 << 15, -128},  // macr8: -2^15 >> 8
      {0x4, 0b010, 5, 5, 1 << 15, 5 * 32768 + 5},
      {0x1, 0b010, -3, 10, 64, 9},  // macf8: (-192 >> 8) + 10
      {0x1, 0b110, -1, 5, 1, 4},    // macf8b: (-1 >> 8) + 5
      {0xD, 0b000, -2, 5, 0, -2},   // min and max are signed
      {0xD, 0b100, -2, 5, 0, 5},
      {0xC, 0b000, 0x80000010, 32, 0, 0},   // srl
      {0xC, 0b000, 0x80000010, -1, 0, 0},   // by 2^32 - 1
      {0xC, 0b010, 0x80000010, 40, 0, -1},  // sra: the sign
      {0xC, 0b010, 0x80000010, 4, 0, 0xF8000001},
      {0xC, 0b100, 0x80000010, 32, 0, 0},  // sll
      {0xC, 0b001, 0x80000010, 4, 0, 0x08000001, true},
      {0xC, 0b011, 0x80000010, 7, 0, 0xFF000000, true},
      {0xC, 0b101, 0x80000010, 127, 0, 0, true},
  };
  for (const auto& c : cases) {
    set(10, uint32_t(c.a)), set(11, uint32_t(c.b)), set(1, uint32_t(c.r1));
    run(queue(c.group, c.variant, 1, 20, 10, c.immediate ? int(c.b) : 11));
    EXPECT_EQ(get(20), uint32_t(c.result))
        << std::hex << c.group << "/" << c.variant << " " << c.b;
  }
}

TEST_F(QueueForms, RasterOpIndexesItsTruthTableByTheFirstOperandBitTimesTwo) {
  set(10, 0xC), set(11, 0xA);
  const struct {
    uint32_t rop, result;
  } cases[] = {{0x88, 0x8},        {0xEE, 0xE}, {0x66, 0x6},
               {0x11, 0xFFFFFFF1}, {0xCC, 0xC}, {0xAA, 0xA}};
  for (const auto& c : cases) {
    kx_ctx_store32(ctx, 0x014, c.rop);
    run(queue(0x9, 0b001, 1, 20, 10, 11));
    EXPECT_EQ(get(20), c.result) << std::hex << c.rop;
  }
}

TEST_F(QueueForms, FunnelShiftTakesThirtyTwoBitsOfThreeWords) {
  set(10, 0x11223344), set(11, 0x55667788), set(12, 0x99AABBCC), set(13, 0xDDEEFF00);
  const struct {
    int shift;
    uint32_t first, second;
  } cases[] = {{0, 0x11223344, 0x55667788},
               {8, 0x22334455, 0x66778899},
               {32, 0x55667788, 0x99AABBCC},
               {40, 0x66778899, 0xAABBCCDD},
               {64, 0x99AABBCC, 0xDDEEFF00}};
  for (const auto& c : cases) {
    run(queue(0xC, 0b111, 2, 20, 10, c.shift));
    EXPECT_EQ(regs(20, 2), (Words{c.first, c.second})) << c.shift;
  }
}

TEST_F(QueueForms, ElementsReadAllSourcesBeforeWriting) {
  for (int i = 0; i < 4; ++i) set(10 + i, uint32_t(i + 1));
  run(queue(0xB, 0b110, 4, 11, 10, 0));  // overlapping move up by one
  EXPECT_EQ(regs(11, 4), (Words{1, 2, 3, 4}));
  set(1, 3), set(20, 2), set(21, 2);
  run(queue(0x0, 0b010, 2, 1, 20, 0));  // r1, r2 = A * r1: both use the old r1
  EXPECT_EQ(regs(1, 2), (Words{6, 6}));
}

TEST_F(QueueForms, AZeroFieldIsRZeroForEveryElement) {
  set(5, 0x40);
  run(queue(0xB, 0b111, 4, 10, 0, 5));   // broadcast r5
  run(queue(0xA, 0b000, 4, 20, 10, 0));  // B = r0 adds nothing
  run(queue(0xA, 0b000, 4, 0, 10, 10));  // D = r0 is dropped
  EXPECT_EQ(regs(20, 4), Words(4, 0x40));
  EXPECT_EQ(get(0), 0u);
  set(12, 0x3);
  run(queue(0xB, 0b111, 2, 30, 11, 12));  // A+i OR r(B)
  EXPECT_EQ(regs(30, 2), (Words{0x43, 0x3}));
}

TEST_F(QueueForms, ComparesWriteOnlyRTwoMostSignificantBitFirst) {
  set(2, 0xFFFFFFFF);
  set(10, 1), set(11, 5), set(12, uint32_t(-3)), set(20, 2);
  run(queue(0xD, 0b101, 3, 0, 10, 20));
  EXPECT_EQ(get(2), 0xA0000000u);
  run(queue(0xD, 0b111, 3, 0, 10, 20));
  EXPECT_EQ(get(2), 0x40000000u);
  set(30, 7), set(31, 8), set(32, 9), set(40, 70), set(41, 80), set(42, 90);
  run(queue(0x9, 0b110, 3, 50, 30, 40));
  EXPECT_EQ(regs(50, 3), (Words{7, 80, 9}));
}

TEST_F(QueueForms, ScatterAndGatherStepBySignedStrides) {
  for (int i = 0; i < 4; ++i) set(10 + i, uint32_t(100 + i));
  run(queue(0xE, 0b011, 4, 20, 13, 127));  // reverse
  run(queue(0xE, 0b010, 4, 30, 10, 4));
  EXPECT_EQ(regs(20, 4), (Words{103, 102, 101, 100}));
  EXPECT_EQ(regs(30, 13), (Words{100, 0, 0, 0, 101, 0, 0, 0, 102, 0, 0, 0, 103}));
  set(127, 7), set(126, 6);
  run(queue(0xE, 0b011, 2, 40, 127, 127));  // r127, r126: A+i would leave the file
  EXPECT_EQ(regs(40, 2), (Words{7, 6}));
}

TEST_F(QueueForms, DecodingUsesFieldsOnly) {
  set(46, 5), set(47, 10);
  run(0xa12b982f);  // r48, r49 = r46 + r47, r47 + r47
  EXPECT_EQ(regs(48, 2), (Words{15, 20}));
  set(83, 0xFFFFFFFF), set(2, 0x0F0F0F0F);
  run(0xb0808153);  // r2 = r2 xor r83
  EXPECT_EQ(get(2), 0xF0F0F0F0u);
}

// ---- Memory data types and byte order

using MemoryTypes = Machine;

TEST_F(MemoryTypes, FourChannelPixelsUseFourRegistersEach) {
  for (int i = 0; i < 8; ++i) host[i] = uint8_t(i + 1);
  issue(mem(LD, T4C, 2, 10), at(0));
  EXPECT_EQ(regs(10, 8), (Words{1, 2, 3, 4, 5, 6, 7, 8}));
  issue(mem(ST1, T4C, 2, 10), at(64));
  EXPECT_EQ(bytes(64, 8), bytes(0, 8));
}

TEST_F(MemoryTypes, ChannelRunsTouchOneByteOfEachPixel) {
  for (int i = 0; i < 16; ++i) host[i] = uint8_t(i);
  issue(mem(LD, T32C, 4, 10), at(1));
  EXPECT_EQ(regs(10, 4), (Words{1, 5, 9, 13}));
  set(20, 0xEE), set(21, 0xEE);
  issue(mem(ST1, T32C, 2, 20), at(2));
  EXPECT_EQ(bytes(0, 8), (Bytes{0, 1, 0xEE, 3, 4, 5, 0xEE, 7}));
}

TEST_F(MemoryTypes, PackedBytesGoToTheirLanesAndKeepTheOthers) {
  for (int i = 0; i < 16; ++i) host[i] = uint8_t(0x10 + i);
  set(10, 0xAAAAAAAA), set(11, 0xBBBBBBBB);
  issue(mem(LD, T8P, 6, 10), at(5));  // bytes 5..10
  EXPECT_EQ(regs(10, 2), (Words{0xAA151617, 0x18191ABB}));
  set(20, 0x00C1C2C3), set(21, 0xC4C5C6C7);
  host[32] = 0x30, host[37] = 0x35;
  issue(mem(ST1, T8P, 4, 20), at(33));  // bytes 33..36
  EXPECT_EQ(bytes(32, 6), (Bytes{0x30, 0xC1, 0xC2, 0xC3, 0xC4, 0x35}));
}

TEST_F(MemoryTypes, WordsPutTheLowestAddressInTheTopLaneAndSixteenBitNumbersAreHostOrder) {
  const uint8_t word[4] = {0x11, 0x22, 0x33, 0x44};
  std::memcpy(host, word, 4);
  issue(mem(LD, T32, 1, 10), at(0));
  EXPECT_EQ(get(10), 0x11223344u);
  set(11, 0xA1B2C3D4);
  issue(mem(ST1, T32, 1, 11), at(8));
  EXPECT_EQ(bytes(8, 4), (Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  const uint16_t numbers[2] = {0x1234, 0xFEDC};
  std::memcpy(host + 16, numbers, 4);
  issue(mem(LD, T16R, 2, 20), at(16));
  EXPECT_EQ(regs(20, 2), (Words{0x1234, 0xFEDC}));
  issue(mem(ST1, T16, 2, 20), at(24));
  EXPECT_EQ(bytes(24, 4), bytes(16, 4));
}

// The workstation is big-endian, where both byte-order rules are plain memory access; on a
// little-endian host a word's lanes are its bytes reversed and a 16-bit number is still plain.
TEST_F(MemoryTypes, PlainAccessMeetsTheLanesExactlyOnABigEndianHost) {
#ifdef KX_EXPECT_BIG_ENDIAN
  ASSERT_EQ(std::endian::native, std::endian::big) << "the big-endian build is not big-endian";
#endif
  set(10, 0x8899AABB);
  set(11, 0xFFFFC3D4);
  issue(mem(ST1, T32, 1, 10), at(0));
  issue(mem(ST1, T16, 1, 11), at(4));
  uint32_t word;
  std::memcpy(&word, host, 4);
  EXPECT_EQ(word, std::endian::native == std::endian::big ? 0x8899AABBu : 0xBBAA9988u);
  EXPECT_EQ(half_at(host + 4), 0xC3D4);
}

TEST_F(MemoryTypes, IndexedLoadsReadTableBasePlusEachIndex) {
  for (int i = 0; i < 256; ++i) host[i] = uint8_t(3 * i);
  host[kPage + 5] = 77;  // an element in the next page
  set(16, 5), set(17, 0), set(18, kPage + 5), set(19, 255);
  issue(mem(LD, T8, 4, 16) | 16, at(0));  // into the index run itself
  EXPECT_EQ(regs(16, 4), (Words{15, 0, 77, uint8_t(3 * 255)}));
  const uint16_t number = 0xBEEF;
  std::memcpy(host + 8 + 6, &number, 2);
  set(20, 6);
  issue(mem(LD, T16, 1, 21) | 20, at(8));
  EXPECT_EQ(get(21), 0xFFFFBEEFu);
}

// ---- Stores

using Stores = Machine;

TEST_F(Stores, ShiftingStoresScaleBySubFieldThenTruncateOrSaturateToTheElement) {
  const struct {
    Op op;
    unsigned type;
    int32_t value;
    uint32_t expected;
  } cases[] = {{ST0, T8, 0x1FF, 0xFF},
               {ST0, 0x01, 0x1234, 0x12},
               {ST0, 0x01, -256, 0xFF},
               {ST0, T16R, 70000, 4464},
               {ST0, 0x1E, 0x12345678, 0x1234},
               {ST2, T8, -5, 0},
               {ST2, T8, 300, 255},
               {ST2, 0x01, 0x1FF00, 255},
               {ST2, T32C, 256, 255},
               {ST2, T16, 40000, 32767},
               {ST2, T16, -40000, 0x8000},
               {ST2, T16R, 70000, 65535},
               {ST2, T16R, -1, 0},
               {ST2, T16R, 0x8000, 0x8000},
               {ST2, 0x1E, 0x12345678, 0x1234},
               {ST2, T32, -5, 0xFFFFFFFB}};
  for (const auto& c : cases) {
    std::memset(host, 0, 8);
    set(10, uint32_t(c.value));
    issue(mem(c.op, c.type, 1, 10), at(0));
    uint32_t stored = host[0];
    if ((c.type & 0x18) == 0x18 && c.type != T32) stored = half_at(host);
    if (c.type == T32)
      stored = uint32_t(host[0]) << 24 | host[1] << 16 | host[2] << 8 | host[3];
    EXPECT_EQ(stored, c.expected)
        << "op " << c.op << " type " << c.type << " value " << c.value;
  }
}

TEST_F(Stores, StoreThreeClampsBytesAndIgnoresTheSubField) {
  set(10, 535), set(11, uint32_t(-5)), set(12, 200), set(13, 7);
  issue(mem(ST3, 0x02, 4, 10), at(0));  // four bytes, t = 2
  issue(mem(ST3, 0x09, 1, 10), at(8));  // one four-channel pixel, t = 1
  EXPECT_EQ(bytes(0, 4), (Bytes{255, 0, 200, 7}));
  EXPECT_EQ(bytes(8, 4), bytes(0, 4));
}

TEST_F(Stores, MaskedStoresWriteWhereRTwoHasTheElementBit) {
  for (int i = 0; i < 4; ++i) set(10 + i, 0x50 + uint32_t(i));
  set(2, 0xA0000000);
  issue(mem(OP4, T8, 4, 10), at(0));
  EXPECT_EQ(bytes(0, 4), (Bytes{0x50, 0, 0x52, 0}));
  for (int j = 0; j < 8; ++j) set(20 + j, 0x60 + uint32_t(j));
  set(2, 0x40000000);
  issue(mem(OP5, T4C, 2, 20), at(16));  // the second pixel only
  EXPECT_EQ(bytes(16, 8), (Bytes{0, 0, 0, 0, 0x64, 0x65, 0x66, 0x67}));
}

TEST_F(Stores, StoresFromRZeroWriteZero) {
  std::memset(host, 0xFF, 4);
  issue(mem(ST1, T8, 4, 0), at(0));
  EXPECT_EQ(bytes(0, 4), Bytes(4, 0));
}

// ---- Fills, the fill bit mask and the plane mask

class Fills : public Machine {
 protected:
  void SetUp() override {
    Machine::SetUp();
    set(10, 0x11223344);
    set(11, 0x55667788);
  }
  static uint8_t pattern(uint32_t a) {
    static const uint8_t bytes[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    return bytes[a & 7];
  }
};

TEST_F(Fills, ElementsTakeThePatternFieldTheirAddressSelects) {
  issue(mem(FILL, T8, 16, 10), at(3));
  issue(mem(FILL, T4C, 2, 10), at(19));  // pixels need not be aligned
  for (uint32_t a = 3; a < 27; ++a) EXPECT_EQ(host[a], pattern(a)) << a;
  issue(mem(FILL, T32C, 2, 10), at(33));
  EXPECT_EQ(bytes(33, 5), (Bytes{0x22, 0, 0, 0, 0x66}));
  issue(mem(FILL, T8P, 3, 10), at(45));
  EXPECT_EQ(bytes(45, 3), (Bytes{0x66, 0x77, 0x88}));
  issue(mem(FILL, T16, 3, 10), at(58));
  EXPECT_EQ(half_at(host + 58), 0x3344);
  EXPECT_EQ(half_at(host + 60), 0x5566);
  EXPECT_EQ(half_at(host + 62), 0x7788);
  issue(mem(ST8, T32, 2, 10), at(68));
  EXPECT_EQ(bytes(68, 8), (Bytes{0x55, 0x66, 0x77, 0x88, 0x11, 0x22, 0x33, 0x44}));
}

TEST_F(Fills, FillBitMaskLimitsFillButNotStoreEight) {
  kx_ctx_store32(ctx, 0x000, 0x0F0F0F0F);
  issue(mem(FILL, T8, 4, 10), at(0));
  EXPECT_EQ(bytes(0, 4), (Bytes{0x01, 0x02, 0x03, 0x04}));
  issue(mem(ST8, T8, 4, 10), at(8));
  EXPECT_EQ(host[8], 0x11);
  kx_ctx_store32(ctx, 0x000, 0);  // M = 0: all bits
  issue(mem(FILL, T8, 1, 10), at(16));
  EXPECT_EQ(host[16], 0x11);
}

TEST_F(Fills, PlaneMaskMergesPixelLanesBitwiseAndLeavesBytesAndSixteenBitNumbersAlone) {
  std::memset(host, 0x5A, 8);
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);
  set(20, 0xAABBCCDD), set(21, 0x11223344);
  issue(mem(ST1, T32, 2, 20), at(0));
  EXPECT_EQ(bytes(0, 8), (Bytes{0x5A, 0xBB, 0xCC, 0xDD, 0x5A, 0x22, 0x33, 0x44}));
  set(22, 0x11), set(23, 0x1234);
  issue(mem(ST1, T8, 1, 22), at(8));  // lane 0 by address, but not a pixel lane
  issue(mem(ST1, T16R, 1, 23), at(12));
  EXPECT_EQ(host[8], 0x11);
  EXPECT_EQ(half_at(host + 12), 0x1234);
  kx_ctx_store32(ctx, 0x010, 0x0F000000);
  issue(mem(ST1, T32C, 2, 20), at(16));  // lane 0 of the pixels at 16 and 20
  EXPECT_EQ(host[16], 0x0D);
  EXPECT_EQ(host[20], 0x04);
}

TEST_F(Fills, WriteOccurredNeedsAByteWithSomeMaskBitSet) {
  kx_ctx_store32(ctx, 0x000, 0);
  kx_ctx_store32(ctx, 0x010, 0);
  issue(mem(FILL, T32, 1, 10), at(0));
  EXPECT_EQ(kx_ctx_load32(ctx, 0x000), 0u);
  kx_ctx_store32(ctx, 0x010, 0x01000000);
  issue(mem(FILL, T32, 1, 10), at(8));  // lane 0's low bit: one byte written
  EXPECT_EQ(kx_ctx_load32(ctx, 0x000), 0x800u);
  kx_ctx_store32(ctx, 0x000, 0);  // clears it
  EXPECT_FALSE(kxm::write_occurred());
}

}  // namespace
}  // namespace kxtest
