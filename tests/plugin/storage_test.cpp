// Storage services: records with child offsets folded in, copies between storage kinds and
// the child checks.
#include <cstring>
#include <numeric>
#include <set>

#include "kx_utils.h"
#include "plugin_test.h"

namespace {

using Storage = PluginTest;

TEST_F(Storage, ImagesThatAreNotChildrenGetTheHostsOwnRecord) {
  ZelImage* plain = image(8, 8, 1, ZEL_UINT8);
  EXPECT_EQ(getKXStorage(plain), record(plain));
  ZelImage* spatial = image(8, 8, 4, ZEL_UINT8);
  EXPECT_EQ(getKXStorageWithBands(spatial), record(spatial));
}

TEST_F(Storage, ChildLookupsCycleThroughTenRecords) {
  ZelImage* parent = image(16, 16, 1, ZEL_UINT8);
  ZelImage* c = child(parent, 1, 1, 4, 4, 0, 1);
  std::vector<__ZelKXStorage*> seen;
  for (int i = 0; i < 11; ++i) seen.push_back(getKXStorage(c));
  EXPECT_EQ(std::set<__ZelKXStorage*>(seen.begin(), seen.begin() + 10).size(), 10u);
  EXPECT_EQ(seen[10], seen[0]);
}

TEST_F(Storage, SixteenBitChildAddressesAdvanceByElements) {
  ZelImage* parent = image(100, 4, 1, ZEL_INT16);
  ZelImage* c = child(parent, 5, 2, 10, 2, 0, 1);
  const __ZelKXStorage* r = getKXStorage(c);
  EXPECT_EQ(r->kx_address, record(parent)->kx_address + 410);
  EXPECT_EQ(r->host_address, record(parent)->host_address + 410);
  EXPECT_EQ(r->line_stride, 100u);
}

TEST_F(Storage, BandLookupMovesToTheImagesFirstBand) {
  ZelImage* three = image(4, 4, 3, ZEL_UINT8);
  EXPECT_EQ(getKXStorageWithBands(three)->kx_address, record(three)->kx_address + 1);
  ZelImage* four = image(4, 4, 4, ZEL_UINT8);
  ZelImage* band2 = child(four, 1, 0, 2, 2, 2, 1);
  EXPECT_EQ(getKXStorageWithBands(band2)->kx_address, record(four)->kx_address + 4 + 2);
  ZelImage* sixteen = image(4, 4, 3, ZEL_INT16);
  ZelImage* channel = child(sixteen, 0, 1, 4, 3, 2, 1);
  // A 1-band child of a 3-band 16-bit image fails the 16-bit check but folds its band in.
  EXPECT_EQ(getKXStorageWithBands(channel)->kx_address,
            record(sixteen)->kx_address + 2 * 12 + 4);
}

TEST_F(Storage, ChildChecksAcceptOnlyArrangementsWholePixelKernelsCanHandle) {
  ZelImage* three = image(8, 8, 3, ZEL_UINT8);
  ZelImage* four = image(8, 8, 4, ZEL_UINT8);
  ZelImage* two = image(8, 8, 2, ZEL_UINT8);
  ZelImage* one_of_three = child(three, 0, 0, 4, 4, 1, 1);
  EXPECT_EQ(zelkx_check_child_8(one_of_three, nullptr, nullptr, nullptr), 2);
  EXPECT_EQ(zelkx_check_child_16(one_of_three, nullptr, nullptr, nullptr), 2);
  EXPECT_EQ(zelkx_check_child_8(child(four, 0, 0, 4, 4, 1, 3), nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(zelkx_check_child_8(child(four, 0, 0, 4, 4, 0, 3), nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(zelkx_check_child_8(two, nullptr, nullptr, nullptr), 2);
  EXPECT_EQ(zelkx_check_child_16(two, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(zelkx_check_child_8(nullptr, three, nullptr, nullptr), 2);
  EXPECT_EQ(zelkx_check_child_8(three, four, nullptr, two), 2) << "the last image fails";
  EXPECT_EQ(zelkx_has_child_offsets(nullptr, child(four, 0, 0, 1, 1, 1, 3), three, nullptr), 1);
  EXPECT_EQ(zelkx_has_child_offsets(three, child(four, 0, 0, 1, 1, 1, 3), nullptr, nullptr), 0);
  EXPECT_EQ(zelkx_has_child_offsets(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(Storage, WideningPackedPixelsLeavesTheOddBytes) {
  unsigned char packed[31], wide[40] = {};
  for (int i = 0; i < 31; ++i) packed[i] = uint8_t(i + 1);
  EXPECT_EQ(three_to_four(packed, wide, 31), 1);
  for (int p = 0; p < 10; ++p) {
    EXPECT_EQ(std::memcmp(wide + 4 * p + 1, packed + 3 * p, 3), 0) << "pixel " << p;
  }
}

TEST_F(Storage, PackedThreeBandImagesCopyBothWays) {
  ZelImage* picture = image(10, 1, 3, ZEL_UINT8);
  ASSERT_TRUE(picture->addStorage("memory"));
  auto* memory = static_cast<__ZelMemoryStorage*>(picture->getStorage("memory"));
  for (int i = 0; i < 30; ++i) memory->host_address[i] = uint8_t(100 + i);
  copyMemory2KX(record(picture), memory, picture);
  std::vector<int> want(30);
  std::iota(want.begin(), want.end(), 100);
  EXPECT_EQ(pixels(picture), want);
  std::memset(memory->host_address, 0, 30);
  copyKX2Memory(record(picture), memory, picture);
  EXPECT_EQ(memory->host_address[29], 129);
}

TEST_F(Storage, PaddedImagesCopyElementByElement) {
  for (int type : {ZEL_UINT8, ZEL_INT16}) {
    for (unsigned bands : {1u, 3u, 4u}) {
      ZelImage* picture = image(5, 3, bands, type, 7);
      ASSERT_TRUE(picture->addStorage("memory"));
      auto* memory = static_cast<__ZelMemoryStorage*>(picture->getStorage("memory"));
      const size_t bytes = size_t(memory->line_stride) * 3 * (type == ZEL_INT16 ? 2 : 1);
      for (size_t i = 0; i < bytes; ++i) memory->host_address[i] = uint8_t(i * 7 + 1);
      copyMemory2KX(record(picture), memory, picture);
      std::vector<uint8_t> original(memory->host_address, memory->host_address + bytes);
      std::memset(memory->host_address, 0, bytes);
      copyKX2Memory(record(picture), memory, picture);
      EXPECT_EQ(std::vector<uint8_t>(memory->host_address, memory->host_address + bytes),
                original)
          << "type " << type << " bands " << bands;
    }
  }
}

TEST_F(Storage, ContiguousCopyMovesWholePackedImagesOnTheProcessor) {
  for (int type : {ZEL_UINT8, ZEL_INT16}) {
    for (unsigned bands : {1u, 3u, 4u}) {
      ZelImage* picture = filled(37, 5, bands, type, [](unsigned x, unsigned y, unsigned b) {
        return int(x * 5 + y + b);
      });
      ASSERT_TRUE(picture->addStorage("ckx"));
      __ZelKXStorage* ckx = record(picture, "ckx");
      copyKX2Ckx(record(picture), ckx, picture);
      const size_t bytes =
          size_t(37) * 5 * (bands == 3 ? 4 : bands) * (type == ZEL_INT16 ? 2 : 1);
      EXPECT_EQ(std::memcmp(ckx->host_address, record(picture)->host_address, bytes), 0)
          << "type " << type << " bands " << bands;
    }
  }
}

}  // namespace
