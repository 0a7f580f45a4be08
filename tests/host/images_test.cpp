// Images: storage records and layouts, children, pixel access and the storage kinds.
#include <cstring>
#include <tuple>

#include "host_test.h"

namespace {

using ImageTest = HostTest;

__ZelKXStorage* kx_of(ZelImage* image, const char* kind = "kx") {
  return static_cast<__ZelKXStorage*>(image->getStorage(kind));
}

// The byte of band `band` of root pixel (x, y), found from the record alone.
unsigned char* byte_at(ZelImage* root, unsigned x, unsigned y, unsigned band) {
  __ZelKXStorage* kx = kx_of(root);
  unsigned e = root->getDataType() == ZEL_INT16 ? 2 : 1;
  unsigned first = root->getDataType() == ZEL_UINT8 && root->getBands() == 3 ? 1 : 0;
  return kx->host_address + e * (y * kx->line_stride + x * kx->pixel_stride + first + band);
}

// The value stored there: a byte, or a signed 16-bit value in host order.
int element_at(ZelImage* root, unsigned x, unsigned y, unsigned band) {
  const unsigned char* p = byte_at(root, x, y, band);
  if (root->getDataType() == ZEL_UINT8) return *p;
  int16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

TEST_F(ImageTest, KxRecordsDescribeThePixels) {
  using Layout = std::tuple<unsigned, int, unsigned>;  // bands, type, pixel stride
  for (auto [bands, type, pixel_stride] :
       {Layout{1, ZEL_UINT8, 1}, Layout{2, ZEL_UINT8, 2}, Layout{3, ZEL_UINT8, 4},
        Layout{4, ZEL_UINT8, 4}, Layout{1, ZEL_INT16, 1}, Layout{3, ZEL_INT16, 3},
        Layout{4, ZEL_INT16, 4}}) {
    SCOPED_TRACE(testing::Message() << bands << " bands, type " << type);
    const int mappings = kxm::alias_mappings();
    Owned<ZelImage> image(state->createImage(7, 5, bands, type, 3));
    __ZelKXStorage* kx = kx_of(image.get());
    ASSERT_TRUE(kx);
    EXPECT_EQ(kx->pixel_stride, pixel_stride);
    EXPECT_EQ(kx->line_stride, 7u * pixel_stride + 3);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(kx->host_address) % 4096, 0u);
    EXPECT_EQ(kx->kx_address, kxm::alias_of(kx->host_address));
    // The alias covers the last pixel's last element as well.
    unsigned char* last = byte_at(image.get(), 6, 4, bands - 1);
    EXPECT_EQ(kxm::alias_of(last), kx->kx_address + (last - kx->host_address));
    EXPECT_NE(kx->opaque1, 0u);
    EXPECT_EQ(kxm::alias_mappings(), mappings + 1);
    for (unsigned band = 0; band < bands; ++band) {
      const int value = type == ZEL_INT16 ? -2 - int(band) : 200 + int(band);
      image->setPixel(6, 4, band, value);
      EXPECT_EQ(element_at(image.get(), 6, 4, band), value);
    }
    if (bands == 3 && type == ZEL_UINT8) {
      EXPECT_EQ(*(byte_at(image.get(), 6, 4, 0) - 1), 0) << "byte 0 is not a band";
    }
    image.reset();
    EXPECT_EQ(kxm::alias_mappings(), mappings) << "destroy removes the alias";
  }
  reset({.page_size = 16384});
  Owned<ZelImage> image(state->createImage(3, 3, 1, ZEL_UINT8));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(kx_of(image.get())->host_address) % 16384, 0u)
      << "larger system pages align the pixels";
}

TEST_F(ImageTest, PixelValuesAndBounds) {
  Owned<ZelImage> wide(state->createImage(2, 2, 1, ZEL_INT16));
  for (auto [in, out] : {std::pair{-1, -1}, {0xffff, -1}, {-32768, -32768}, {40000, -25536}}) {
    wide->setPixel(1, 1, 0, in);
    EXPECT_EQ(wide->getPixel(1, 1, 0), out) << in;
  }
  wide->setPixel(2, 0, 0, 5);  // outside: ignored
  EXPECT_EQ(wide->getPixel(2, 0, 0), 0);
  EXPECT_EQ(state->createImage(0, 4, 1, ZEL_UINT8), nullptr);
  EXPECT_EQ(state->createImage(4, 4, 5, ZEL_UINT8), nullptr);
}

TEST_F(ImageTest, ChildrenShareTheRootsRecordAndPixels) {
  // Root bands, type, the child's first band and its bands.
  using Child = std::tuple<unsigned, int, unsigned, unsigned>;
  for (auto [root_bands, type, first, bands] :
       {Child{3, ZEL_UINT8, 0, 3}, Child{3, ZEL_UINT8, 1, 2}, Child{4, ZEL_UINT8, 1, 3},
        Child{1, ZEL_UINT8, 0, 1}, Child{3, ZEL_INT16, 1, 2}, Child{4, ZEL_INT16, 0, 4}}) {
    SCOPED_TRACE(testing::Message() << root_bands << " bands, type " << type);
    Owned<ZelImage> root(state->createImage(9, 6, root_bands, type, 2));
    ZelImage* child = root->createChild(2, 3, 4, 2, first, bands);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->getStorage("kx"), root->getStorage("kx"));
    EXPECT_EQ(child->getParent(), root.get());
    unsigned x, y, band, w, h, n;
    child->getChildOffsets(&x, &y, &band);
    child->getDimensions(&w, &h, &n);
    EXPECT_EQ(std::tuple(x, y, band, w, h, n), std::tuple(2u, 3u, first, 4u, 2u, bands));
    for (unsigned b = 0; b < bands; ++b) {
      child->setPixel(3, 1, b, int(10 + b));
      EXPECT_EQ(element_at(root.get(), 5, 4, first + b), int(10 + b));
    }
    // A child of the child is folded into a child of the root.
    ZelImage* grandchild = child->createChild(1, 1, 3, 1, bands - 1, 1);
    ASSERT_TRUE(grandchild);
    EXPECT_EQ(grandchild->getParent(), root.get());
    grandchild->getChildOffsets(&x, &y, &band);
    EXPECT_EQ(std::tuple(x, y, band), std::tuple(3u, 4u, first + bands - 1));
    EXPECT_EQ(grandchild->getPixel(2, 0, 0), int(10 + bands - 1));
    // A child has its own origin and region: its own extent.
    child->setOrigin(1, 1);
    EXPECT_EQ(child->getImageSpaceRoi()->area(), 8);
    EXPECT_TRUE(child->getImageSpaceRoi()->contains(-1, -1));
    EXPECT_FALSE(root->getImageSpaceRoi()->contains(-1, -1));
    grandchild->destroy();
  }
}

TEST_F(ImageTest, ChildrenOutsideTheParentAreRefused) {
  Owned<ZelImage> root(state->createImage(8, 8, 4, ZEL_UINT8));
  EXPECT_EQ(root->createChild(7, 0, 2, 1, 0, 1), nullptr);
  EXPECT_EQ(root->createChild(0xffffffffu, 0, 2, 1, 0, 1), nullptr);
  EXPECT_EQ(root->createChild(0, 0, 1, 1, 2, 3), nullptr);
  ZelImage* child = root->createChild(4, 4, 4, 4, 0, 2);
  EXPECT_EQ(child->createChild(1, 0, 4, 1, 0, 1), nullptr);
  EXPECT_EQ(child->createChild(0, 0, 1, 1, 1, 2), nullptr);
  child->createChild(0, 0, 1, 1, 0, 1);  // destroyed with the root
}

// Without a processor the image has no "kx" storage but still holds pixels that the host
// can compute on.
TEST_F(ImageTest, ImagesWithoutAProcessor) {
  reset({.processor = false});
  ZelImage* a = row(3, 3, ZEL_UINT8, {0, 0, 0, 0, 0, 0, 0, 0, 100});
  EXPECT_EQ(a->getStorage("kx"), nullptr);
  EXPECT_FALSE(a->addStorage("kx"));
  EXPECT_FALSE(a->addStorage("ckx"));
  Owned<ZelOp> op(state->createOp("add8"));
  op->setSrc(1, a);
  op->setSrc(2, a);
  op->setDst(a);
  EXPECT_EQ(zel_run(op.get()).status, 0);
  EXPECT_EQ(pixels(a), (std::vector<int>{0, 0, 0, 0, 0, 0, 0, 0, 200}));
}

TEST_F(ImageTest, MemoryStorageIsPackedAndZeroed) {
  for (auto [bands, type, bytes] : {std::tuple{3u, ZEL_UINT8, 1u}, {4u, ZEL_INT16, 2u}}) {
    Owned<ZelImage> image(state->createImage(5, 2, bands, type, 7));
    EXPECT_EQ(image->getStorage("memory"), nullptr);
    ASSERT_TRUE(image->addStorage("memory"));
    auto* m = static_cast<__ZelMemoryStorage*>(image->getStorage("memory"));
    EXPECT_EQ(m->line_stride, 5 * bands);
    EXPECT_EQ(m->pixel_stride, bands);
    for (unsigned k = 0; k < 10 * bands * bytes; ++k) ASSERT_EQ(m->host_address[k], 0) << k;
    ZelImage* child = image->createChild(1, 1, 1, 1, 0, 1);
    EXPECT_EQ(child->getStorage("memory"), m);
    EXPECT_FALSE(child->addStorage("memory"));
  }
}

// Contiguous storage needs the contiguous-memory device, an allocation and a mapping; when
// one fails the image keeps its "kx" storage and nothing is left allocated or open.
TEST_F(ImageTest, CkxStorageIsContiguousAliasedAndPackedOrFailsCleanly) {
  for (kxm::Config config :
       {kxm::Config{}, kxm::Config{.cmem_device = false}, kxm::Config{.cmem_alloc = false},
        kxm::Config{.cmem_maps = false}}) {
    reset(config);
    const bool available = config.cmem_device && config.cmem_alloc && config.cmem_maps;
    SCOPED_TRACE(available);
    Owned<ZelImage> image(state->createImage(5, 3, 3, ZEL_UINT8, 11));
    const int allocations = kxm::cmem_allocations(), devices = kxm::open_devices();
    EXPECT_EQ(image->addStorage("ckx"), available);
    __ZelKXStorage* ckx = kx_of(image.get(), "ckx");
    EXPECT_TRUE(image->getStorage("kx"));
    if (available) {
      ASSERT_TRUE(ckx);
      EXPECT_NE(ckx, kx_of(image.get()));
      EXPECT_EQ(std::tuple(ckx->pixel_stride, ckx->line_stride), std::tuple(4, 20u));
      EXPECT_EQ(ckx->kx_address, kxm::alias_of(ckx->host_address));
      EXPECT_EQ(kxm::cmem_allocations(), allocations + 1);
      EXPECT_EQ(image->createChild(0, 0, 1, 1, 0, 3)->getStorage("ckx"), ckx);
    } else {
      EXPECT_EQ(ckx, nullptr);
    }
    image.reset();
    EXPECT_EQ(kxm::cmem_allocations(), allocations);
    EXPECT_EQ(kxm::open_devices(), devices);
  }
}

}  // namespace
