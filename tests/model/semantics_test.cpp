// What words do (docs/kx-isa.md 3 and 4), as short word sequences through the bus.
#include <cstring>

#include "model_fixture.h"

namespace kxtest {
namespace {

uint16_t half_at(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}
void put_half(uint8_t* p, uint16_t v) {
  std::memcpy(p, &v, 2);
}

// ---- The routines' worked numbers

using WorkedChecks = Machine;

TEST_F(WorkedChecks, ScaledMultiplyIsMulfThenShiftAndSaturatesAtTheStore) {
  host[0] = 200;
  host[1] = 2;
  issue(mem(LD, T8, 2, 10), at(0));
  set(20, 32768);  // factor 1.0: m = 32768, s = 7
  set(21, 51200);  // factor 200: m = 51200, s = 0
  run(queue(0x1, 0b000, 1, 12, 10, 20));
  run(queue(0x1, 0b000, 1, 13, 11, 21));
  run(queue(0xC, 0b011, 1, 12, 12, 7));
  issue(mem(ST2, T8, 2, 12), at(16));
  EXPECT_EQ(host[16], 200);
  EXPECT_EQ(host[17], 255);
}

TEST_F(WorkedChecks, EightBitBlendDividesBy256) {
  host[0] = 100, host[1] = 0;    // first source
  host[8] = 200, host[9] = 255;  // second source
  set(30, 128);
  set(31, 255);
  issue(mem(LD, T8, 2, 10), at(0));
  issue(mem(LD, T8, 2, 12), at(8));
  run(queue(0xA, 0b100, 2, 14, 12, 10));  // diff
  run(queue(0x1, 0b000, 2, 14, 30, 14));  // alpha * diff >> 8
  run(queue(0xA, 0b000, 2, 14, 14, 10));
  issue(mem(ST3, T8, 2, 14), at(16));
  EXPECT_EQ(host[16], 150);
  EXPECT_EQ(host[17], 254);
}

TEST_F(WorkedChecks, BilinearVerticalThenHorizontalPass) {
  host[0] = 0, host[1] = 100;    // top row
  host[8] = 200, host[9] = 255;  // bottom row
  issue(mem(LD, T8, 2, 10), at(0));
  issue(mem(LD, T8, 2, 12), at(8));
  run(queue(0xA, 0b100, 2, 14, 12, 10));  // lower - upper
  run(queue(0xC, 0b101, 2, 16, 10, 8));   // upper << 8
  set(1, 128);
  run(queue(0x0, 0b010, 2, 16, 14, 16));  // upper << 8 + diff * w
  EXPECT_EQ(get(16), 25600u);
  EXPECT_EQ(get(17), 45440u);
  run(queue(0xA, 0b100, 1, 18, 17, 16));
  set(1, 64);
  run(queue(0x1, 0b110, 1, 19, 18, 16));  // ((diff * w) >> 8) + left
  issue(mem(ST0, 0x01, 1, 19), at(16));
  EXPECT_EQ(host[16], 119);
}

TEST_F(WorkedChecks, ColourTransformWithEightFractionBits) {
  // rgb709 -> ycc601, truncated to whole numbers; output j = (c[3j] ch0 + c[3j+1] ch1 +
  // c[3j+2] ch2 + offset_j) >> 8, the channels in bytes 1..3 of a 3-band pixel.
  const int32_t c[9] = {25, 129, 65, 112, -74, -37, -18, -94, 112};
  const int32_t offset[3] = {4096, 32768, 32768};
  host[1] = 50, host[2] = 100, host[3] = 200;
  issue(mem(LD, T4C, 1, 40), at(0));
  for (int j = 0; j < 3; ++j) {
    set(60 + j, uint32_t(offset[j]));
    set(1, uint32_t(c[3 * j]));
    run(queue(0x0, 0b010, 1, 50 + j, 41, 60 + j));
    set(1, uint32_t(c[3 * j + 1]));
    run(queue(0x0, 0b010, 1, 50 + j, 42, 50 + j));
    set(1, uint32_t(c[3 * j + 2]));
    run(queue(0x0, 0b110, 1, 50 + j, 43, 50 + j));
  }
  host[16] = 7;
  set(49, 7);
  issue(mem(ST3, 0x09, 1, 49), at(16));  // SL_ST3 ignores the sub-field
  EXPECT_EQ(host[16], 7);
  EXPECT_EQ(host[17], 122);
  EXPECT_EQ(host[18], 92);
  EXPECT_EQ(host[19], 175);
}

TEST_F(WorkedChecks, ThresholdMapsExactlyTheClosedBand) {
  const uint8_t pixels[8] = {9, 10, 15, 20, 21, 255, 0, 11};
  std::memcpy(host, pixels, 8);
  set(20, 10);  // lo
  set(21, 20);  // hi
  set(22, 99);  // map value
  issue(mem(LD, T8, 8, 10), at(0));
  run(queue(0xB, 0b111, 8, 30, 0, 22));  // spread the map value
  run(queue(0xD, 0b101, 8, 0, 10, 20));  // below lo
  run(queue(0x9, 0b110, 8, 40, 30, 10));
  run(queue(0xD, 0b111, 8, 0, 10, 21));  // above hi
  run(queue(0x9, 0b110, 8, 40, 40, 10));
  issue(mem(ST1, T8, 8, 40), at(16));
  const uint8_t expected[8] = {9, 99, 99, 99, 21, 255, 0, 99};
  EXPECT_EQ(std::memcmp(host + 16, expected, 8), 0);
}

TEST_F(WorkedChecks, SixteenBitExtremaAreSigned) {
  put_half(host + 0, 0xFFFE);
  put_half(host + 2, 0x7FFF);
  put_half(host + 4, 0x8000);
  issue(mem(LD, T16, 3, 10), at(0));
  run(queue(0xD, 0b000, 1, 20, 10, 11));
  run(queue(0xD, 0b000, 1, 20, 20, 12));
  run(queue(0xD, 0b100, 1, 21, 10, 11));
  run(queue(0xD, 0b100, 1, 21, 21, 12));
  EXPECT_EQ(get_signed(20), -32768);
  EXPECT_EQ(get_signed(21), 32767);
  issue(mem(LD, T16R, 1, 22), at(0));
  EXPECT_EQ(get(22), 0xFFFEu);
}

// ---- Queue forms

using QueueForms = Machine;

TEST_F(QueueForms, ArithmeticSaturatesAtThirtyTwoBits) {
  set(10, 0x7FFFFFFF), set(11, 0x80000000), set(12, 65536), set(13, 1);
  run(queue(0xA, 0b000, 1, 20, 10, 13));  // max + 1
  run(queue(0xA, 0b100, 1, 21, 11, 13));  // min - 1
  run(queue(0x0, 0b000, 1, 22, 12, 12));  // 2^32
  run(queue(0xA, 0b111, 1, 23, 0, 11));   // |0 - min|
  run(queue(0xA, 0b101, 1, 24, 13, 11));  // 1 - min
  EXPECT_EQ(get(20), 0x7FFFFFFFu);
  EXPECT_EQ(get(21), 0x80000000u);
  EXPECT_EQ(get(22), 0x7FFFFFFFu);
  EXPECT_EQ(get(23), 0x7FFFFFFFu);
  EXPECT_EQ(get(24), 0x7FFFFFFFu);
}

TEST_F(QueueForms, ScaledProductsShiftTowardMinusInfinity) {
  set(10, uint32_t(-1)), set(11, 1), set(12, 3 << 16), set(13, 5);
  run(queue(0x1, 0b000, 1, 20, 10, 11));  // -1 >> 8
  run(queue(0x3, 0b000, 1, 21, 12, 11));  // 3 << 16 >> 16
  set(1, 1 << 15);
  run(queue(0x3, 0b010, 1, 22, 12, 13));  // ((3 << 16) * 2^15 >> 16) + 5
  run(queue(0x0, 0b110, 1, 23, 10, 0));   // (-2^15) >> 8
  run(queue(0x4, 0b010, 1, 24, 13, 13));  // 5 * 2^15 + 5
  EXPECT_EQ(get_signed(20), -1);
  EXPECT_EQ(get(21), 3u);
  EXPECT_EQ(get(22), (3u << 15) + 5);
  EXPECT_EQ(get_signed(23), -128);
  EXPECT_EQ(get(24), 5u * 32768 + 5);
}

TEST_F(QueueForms, ShiftAmountsAreUnsignedAndLargeOnesEmptyTheValue) {
  set(10, 0x80000010), set(11, 32), set(12, 40), set(13, 4);
  run(queue(0xC, 0b000, 1, 20, 10, 11));  // srl by 32
  run(queue(0xC, 0b010, 1, 21, 10, 12));  // sra by 40: the sign
  run(queue(0xC, 0b100, 1, 22, 10, 11));  // sll by 32
  run(queue(0xC, 0b010, 1, 23, 10, 13));
  run(queue(0xC, 0b001, 1, 24, 10, 4));
  run(queue(0xC, 0b101, 1, 25, 10, 127));
  EXPECT_EQ(get(20), 0u);
  EXPECT_EQ(get(21), 0xFFFFFFFFu);
  EXPECT_EQ(get(22), 0u);
  EXPECT_EQ(get(23), 0xF8000001u);
  EXPECT_EQ(get(24), 0x08000001u);
  EXPECT_EQ(get(25), 0u);
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
    EXPECT_EQ(get(20), c.first) << c.shift;
    EXPECT_EQ(get(21), c.second) << c.shift;
  }
}

TEST_F(QueueForms, ElementsReadAllSourcesBeforeWriting) {
  for (int i = 0; i < 4; ++i) set(10 + i, uint32_t(i + 1));
  run(queue(0xB, 0b110, 4, 11, 10, 0));  // overlapping move up by one
  for (int i = 0; i < 4; ++i) EXPECT_EQ(get(11 + i), uint32_t(i + 1));
  set(1, 3);
  set(20, 2), set(21, 2);
  run(queue(0x0, 0b010, 2, 1, 20, 0));  // r1, r2 = A * r1: both use the old r1
  EXPECT_EQ(get(1), 6u);
  EXPECT_EQ(get(2), 6u);
}

TEST_F(QueueForms, AZeroFieldIsRZeroForEveryElement) {
  set(5, 0x40);
  run(queue(0xB, 0b111, 4, 10, 0, 5));   // broadcast r5
  run(queue(0xA, 0b000, 4, 20, 10, 0));  // B = r0 adds nothing
  run(queue(0xA, 0b000, 4, 0, 10, 10));  // D = r0 is dropped
  for (int i = 0; i < 4; ++i) EXPECT_EQ(get(20 + i), 0x40u);
  EXPECT_EQ(get(0), 0u);
  set(12, 0x3);
  run(queue(0xB, 0b111, 2, 30, 11, 12));  // A+i OR r(B)
  EXPECT_EQ(get(30), 0x43u);
  EXPECT_EQ(get(31), 0x3u);
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
  EXPECT_EQ(get(50), 7u);
  EXPECT_EQ(get(51), 80u);
  EXPECT_EQ(get(52), 9u);
}

TEST_F(QueueForms, ScatterAndGatherStepBySignedStrides) {
  for (int i = 0; i < 4; ++i) set(10 + i, uint32_t(100 + i));
  run(queue(0xE, 0b011, 4, 20, 13, 127));  // reverse
  run(queue(0xE, 0b010, 4, 30, 10, 4));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(get(20 + i), uint32_t(103 - i));
    EXPECT_EQ(get(30 + 4 * i), uint32_t(100 + i));
  }
  EXPECT_EQ(get(31), 0u);
  set(127, 7), set(126, 6);
  run(queue(0xE, 0b011, 2, 40, 127, 127));  // r127, r126: A+i would leave the file
  EXPECT_EQ(get(40), 7u);
  EXPECT_EQ(get(41), 6u);
}

TEST_F(QueueForms, DecodingUsesFieldsOnly) {
  set(46, 5), set(47, 10);
  run(0xa12b982f);  // r48, r49 = r46 + r47, r47 + r47
  EXPECT_EQ(get(48), 15u);
  EXPECT_EQ(get(49), 20u);
  set(83, 0xFFFFFFFF), set(2, 0x0F0F0F0F);
  run(0xb0808153);  // r2 = r2 xor r83
  EXPECT_EQ(get(2), 0xF0F0F0F0u);
}

// ---- Memory data types and byte order

using MemoryTypes = Machine;

TEST_F(MemoryTypes, FourChannelPixelsUseFourRegistersEach) {
  for (int i = 0; i < 8; ++i) host[i] = uint8_t(i + 1);
  issue(mem(LD, T4C, 2, 10), at(0));
  for (int j = 0; j < 8; ++j) EXPECT_EQ(get(10 + j), uint32_t(j + 1));
  issue(mem(ST1, T4C, 2, 10), at(64));
  EXPECT_EQ(std::memcmp(host + 64, host, 8), 0);
}

TEST_F(MemoryTypes, WordsHoldTheLowestAddressInTheMostSignificantLane) {
  const uint8_t bytes[4] = {0x11, 0x22, 0x33, 0x44};
  std::memcpy(host, bytes, 4);
  issue(mem(LD, T32, 1, 10), at(0));
  EXPECT_EQ(get(10), 0x11223344u);
  set(11, 0xA1B2C3D4);
  issue(mem(ST1, T32, 1, 11), at(8));
  const uint8_t stored[4] = {0xA1, 0xB2, 0xC3, 0xD4};
  EXPECT_EQ(std::memcmp(host + 8, stored, 4), 0);
}

TEST_F(MemoryTypes, ChannelRunsTouchOneByteOfEachPixel) {
  for (int i = 0; i < 16; ++i) host[i] = uint8_t(i);
  issue(mem(LD, T32C, 4, 10), at(1));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(get(10 + i), uint32_t(1 + 4 * i));
  set(20, 0xEE), set(21, 0xEE);
  issue(mem(ST1, T32C, 2, 20), at(2));
  const uint8_t expected[8] = {0, 1, 0xEE, 3, 4, 5, 0xEE, 7};
  EXPECT_EQ(std::memcmp(host, expected, 8), 0);
}

TEST_F(MemoryTypes, PackedBytesGoToTheirLanesAndKeepTheOthers) {
  for (int i = 0; i < 16; ++i) host[i] = uint8_t(0x10 + i);
  set(10, 0xAAAAAAAA), set(11, 0xBBBBBBBB);
  issue(mem(LD, T8P, 6, 10), at(5));  // bytes 5..10
  EXPECT_EQ(get(10), 0xAA151617u);
  EXPECT_EQ(get(11), 0x18191ABBu);
  set(20, 0x00C1C2C3), set(21, 0xC4C5C6C7);
  host[32] = 0x30, host[37] = 0x35;
  issue(mem(ST1, T8P, 4, 20), at(33));  // bytes 33..36
  const uint8_t expected[6] = {0x30, 0xC1, 0xC2, 0xC3, 0xC4, 0x35};
  EXPECT_EQ(std::memcmp(host + 32, expected, 6), 0);
}

TEST_F(MemoryTypes, SixteenBitElementsAreHostOrderNumbers) {
  put_half(host, 0x1234);
  put_half(host + 2, 0xFEDC);
  issue(mem(LD, T16R, 2, 10), at(0));
  EXPECT_EQ(get(10), 0x1234u);
  EXPECT_EQ(get(11), 0xFEDCu);
  issue(mem(ST1, T16, 2, 10), at(8));
  EXPECT_EQ(half_at(host + 8), 0x1234);
  EXPECT_EQ(half_at(host + 10), 0xFEDC);
}

TEST_F(MemoryTypes, IndexedLoadsReadTableBasePlusEachIndex) {
  for (int i = 0; i < 256; ++i) host[i] = uint8_t(3 * i);
  host[kPage + 5] = 77;  // an element in the next page
  set(16, 5), set(17, 0), set(18, kPage + 5), set(19, 255);
  issue(mem(LD, T8, 4, 16) | 16, at(0));  // into the index run itself
  EXPECT_EQ(get(16), 15u);
  EXPECT_EQ(get(17), 0u);
  EXPECT_EQ(get(18), 77u);
  EXPECT_EQ(get(19), uint32_t(uint8_t(3 * 255)));
  put_half(host + 8 + 6, 0xBEEF);
  set(20, 6);
  issue(mem(LD, T16, 1, 21) | 20, at(8));
  EXPECT_EQ(get(21), 0xFFFFBEEFu);
}

// ---- Stores

using Stores = Machine;

TEST_F(Stores, ShiftingStoresScaleByTheSubField) {
  set(10, 0x1FF), set(11, 0x1234), set(12, uint32_t(-256));
  issue(mem(ST0, T8, 1, 10), at(0));    // truncated
  issue(mem(ST0, 0x01, 2, 11), at(1));  // >> 8
  EXPECT_EQ(host[0], 0xFF);
  EXPECT_EQ(host[1], 0x12);
  EXPECT_EQ(host[2], 0xFF);
  set(13, 0x12345678);
  issue(mem(ST0, 0x1E, 1, 13), at(4));  // SL_T16, >> 16
  EXPECT_EQ(half_at(host + 4), 0x1234);
}

TEST_F(Stores, SaturatingStoresClampToTheElement) {
  const struct {
    unsigned type;
    int32_t value;
    uint32_t expected;
  } cases[] = {
      {T8, -5, 0},
      {T8, 300, 255},
      {0x01, 0x1FF00, 255},
      {T32C, 256, 255},
      {T16, 40000, 32767},
      {T16, -40000, 0x8000},
      {T16R, 70000, 65535},
      {T16R, -1, 0},
      {T16R, 0x8000, 0x8000},
      {0x1E, 0x12345678, 0x1234},
      {T32, -5, 0xFFFFFFFB},
  };
  for (const auto& c : cases) {
    std::memset(host, 0, 8);
    set(10, uint32_t(c.value));
    issue(mem(ST2, c.type, 1, 10), at(0));
    uint32_t stored = host[0];
    if ((c.type & 0x18) == 0x18 && c.type != T32) stored = half_at(host);
    if (c.type == T32)
      stored = uint32_t(host[0]) << 24 | host[1] << 16 | host[2] << 8 | host[3];
    EXPECT_EQ(stored, c.expected) << "type " << c.type << " value " << c.value;
  }
}

TEST_F(Stores, StoreThreeClampsBytesAndIgnoresTheSubField) {
  set(10, 535), set(11, uint32_t(-5)), set(12, 200);
  issue(mem(ST3, 0x02, 3, 10), at(0));
  EXPECT_EQ(host[0], 255);
  EXPECT_EQ(host[1], 0);
  EXPECT_EQ(host[2], 200);
}

TEST_F(Stores, MaskedStoresWriteWhereRTwoHasTheElementBit) {
  for (int i = 0; i < 4; ++i) set(10 + i, 0x50 + uint32_t(i));
  set(2, 0xA0000000);
  issue(mem(OP4, T8, 4, 10), at(0));
  const uint8_t expected[4] = {0x50, 0, 0x52, 0};
  EXPECT_EQ(std::memcmp(host, expected, 4), 0);
  for (int j = 0; j < 8; ++j) set(20 + j, 0x60 + uint32_t(j));
  set(2, 0x40000000);
  issue(mem(OP5, T4C, 2, 20), at(16));  // the second pixel only
  const uint8_t pixels[8] = {0, 0, 0, 0, 0x64, 0x65, 0x66, 0x67};
  EXPECT_EQ(std::memcmp(host + 16, pixels, 8), 0);
}

TEST_F(Stores, StoresFromRZeroWriteZero) {
  std::memset(host, 0xFF, 4);
  issue(mem(ST1, T8, 4, 0), at(0));
  EXPECT_EQ(host[0] | host[1] | host[2] | host[3], 0);
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

TEST_F(Fills, BytesTakeThePatternByteTheirAddressSelects) {
  issue(mem(FILL, T8, 16, 10), at(3));
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(host[3 + i], pattern(3 + i)) << i;
  issue(mem(FILL, T32C, 2, 10), at(33));
  EXPECT_EQ(host[33], 0x22);
  EXPECT_EQ(host[37], 0x66);
  EXPECT_EQ(host[34], 0);
  issue(mem(FILL, T8P, 3, 10), at(45));
  EXPECT_EQ(host[45], 0x66);
  EXPECT_EQ(host[47], 0x88);
}

TEST_F(Fills, SixteenAndThirtyTwoBitElementsTakeTheirFieldOfThePattern) {
  issue(mem(FILL, T16, 3, 10), at(2));
  EXPECT_EQ(half_at(host + 2), 0x3344);
  EXPECT_EQ(half_at(host + 4), 0x5566);
  EXPECT_EQ(half_at(host + 6), 0x7788);
  issue(mem(ST8, T32, 2, 10), at(12));
  const uint8_t words[8] = {0x55, 0x66, 0x77, 0x88, 0x11, 0x22, 0x33, 0x44};
  EXPECT_EQ(std::memcmp(host + 12, words, 8), 0);
}

TEST_F(Fills, ForegroundReplicatedIntoBothRegistersFillsEveryPixel) {
  set(9, 0xCAFEF00D);
  run(0xB1E00509);  // spread r9 into r10, r11
  issue(mem(FILL, T4C, 4, 10), at(0));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(host[4 * i], 0xCA);
    EXPECT_EQ(host[4 * i + 3], 0x0D);
  }
}

TEST_F(Fills, FillBitMaskLimitsFillButNotStoreEight) {
  kx_ctx_store32(ctx, 0x000, 0x0F0F0F0F);
  EXPECT_EQ(kxm::fill_mask(), 0x0F0F0F0Fu);
  issue(mem(FILL, T8, 4, 10), at(0));
  EXPECT_EQ(host[0], 0x01);
  EXPECT_EQ(host[3], 0x04);
  issue(mem(ST8, T8, 4, 10), at(8));
  EXPECT_EQ(host[8], 0x11);
  kx_ctx_store32(ctx, 0x000, 0);  // M = 0: all bits
  issue(mem(FILL, T8, 1, 10), at(16));
  EXPECT_EQ(host[16], 0x11);
}

TEST_F(Fills, PlaneMaskMergesBitwiseByLane) {
  std::memset(host, 0x5A, 8);
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);
  set(20, 0xAABBCCDD), set(21, 0x11223344);
  issue(mem(ST1, T32, 2, 20), at(0));
  const uint8_t expected[8] = {0x5A, 0xBB, 0xCC, 0xDD, 0x5A, 0x22, 0x33, 0x44};
  EXPECT_EQ(std::memcmp(host, expected, 8), 0);
  kx_ctx_store32(ctx, 0x010, 0x0F000000);
  issue(mem(ST1, T32C, 2, 20), at(16));  // lane 0 of the pixels at 16 and 20
  EXPECT_EQ(host[16], 0x0D);
  EXPECT_EQ(host[20], 0x04);
}

TEST_F(Fills, PlaneMaskLeavesBytePixelsAndSixteenBitNumbersAlone) {
  kx_ctx_store32(ctx, 0x010, 0x00FFFFFF);
  set(20, 0x11), set(21, 0x1234);
  issue(mem(ST1, T8, 1, 20), at(0));
  issue(mem(ST1, T16R, 1, 21), at(4));
  EXPECT_EQ(host[0], 0x11);
  uint16_t number;
  std::memcpy(&number, host + 4, 2);
  EXPECT_EQ(number, 0x1234);
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
