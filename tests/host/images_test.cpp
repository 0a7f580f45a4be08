// Images: storage records and layouts, children, pixel access and the storage kinds.
#include <cstring>

#include "host_test.h"

namespace {

using ImageTest = HostTest;

__ZelKXStorage* kx_of(ZelImage* image) {
  return static_cast<__ZelKXStorage*>(image->getStorage("kx"));
}

// The byte of band `band` of root pixel (x, y), found from the record alone.
unsigned char* byte_at(ZelImage* root, unsigned x, unsigned y, unsigned band) {
  __ZelKXStorage* kx = kx_of(root);
  unsigned e = root->getDataType() == ZEL_INT16 ? 2 : 1;
  unsigned first = root->getDataType() == ZEL_UINT8 && root->getBands() == 3 ? 1 : 0;
  return kx->host_address + e * (y * kx->line_stride + x * kx->pixel_stride + first + band);
}

TEST_F(ImageTest, KxRecordsDescribeThePixels) {
  struct Case {
    unsigned bands;
    int type;
    uint16_t pixel_stride;
  };
  for (Case c : {Case{1, ZEL_UINT8, 1}, Case{2, ZEL_UINT8, 2}, Case{3, ZEL_UINT8, 4},
                 Case{4, ZEL_UINT8, 4}, Case{1, ZEL_INT16, 1}, Case{3, ZEL_INT16, 3},
                 Case{4, ZEL_INT16, 4}}) {
    SCOPED_TRACE(testing::Message() << c.bands << " bands, type " << c.type);
    const int mappings = kxm::alias_mappings();
    Owned<ZelImage> image(state->createImage(7, 5, c.bands, c.type, 3));
    ASSERT_TRUE(image);
    __ZelKXStorage* kx = kx_of(image.get());
    ASSERT_TRUE(kx);
    EXPECT_EQ(kx->pixel_stride, c.pixel_stride);
    EXPECT_EQ(kx->line_stride, 7u * c.pixel_stride + 3);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(kx->host_address) % 4096, 0u);
    EXPECT_EQ(kx->kx_address, kxm::alias_of(kx->host_address));
    EXPECT_EQ(kxm::host_of(kx->kx_address), kx->host_address);
    // The alias covers the last pixel's last element as well.
    unsigned char* last = byte_at(image.get(), 6, 4, c.bands - 1);
    EXPECT_EQ(kxm::alias_of(last), kx->kx_address + (last - kx->host_address));
    EXPECT_NE(kx->opaque1, 0u);
    EXPECT_EQ(kxm::alias_mappings(), mappings + 1);
    // Pixels land where the record says, 16-bit values in host order and signed.
    for (unsigned band = 0; band < c.bands; ++band) {
      image->setPixel(6, 4, band, c.type == ZEL_INT16 ? -2 - band : 200 + band);
      if (c.type == ZEL_INT16) {
        int16_t v;
        std::memcpy(&v, byte_at(image.get(), 6, 4, band), 2);
        EXPECT_EQ(v, -2 - static_cast<int>(band));
      } else {
        EXPECT_EQ(*byte_at(image.get(), 6, 4, band), 200 + band);
      }
    }
    if (c.bands == 3 && c.type == ZEL_UINT8) {
      EXPECT_EQ(*(byte_at(image.get(), 6, 4, 0) - 1), 0) << "byte 0 is not a band";
    }
    image.reset();
    EXPECT_EQ(kxm::alias_mappings(), mappings) << "destroy removes the alias";
  }
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
  struct Case {
    unsigned root_bands;
    int type;
    unsigned band, bands;
  };
  for (Case c :
       {Case{3, ZEL_UINT8, 0, 3}, Case{3, ZEL_UINT8, 1, 2}, Case{4, ZEL_UINT8, 1, 3},
        Case{1, ZEL_UINT8, 0, 1}, Case{3, ZEL_INT16, 1, 2}, Case{4, ZEL_INT16, 0, 4}}) {
    SCOPED_TRACE(testing::Message() << c.root_bands << " bands, type " << c.type);
    Owned<ZelImage> root(state->createImage(9, 6, c.root_bands, c.type, 2));
    ZelImage* child = root->createChild(2, 3, 4, 2, c.band, c.bands);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->getStorage("kx"), root->getStorage("kx"));
    EXPECT_EQ(child->getParent(), root.get());
    unsigned x, y, band, w, h, bands;
    child->getChildOffsets(&x, &y, &band);
    child->getDimensions(&w, &h, &bands);
    EXPECT_EQ((std::vector<unsigned>{x, y, band, w, h, bands}),
              (std::vector<unsigned>{2, 3, c.band, 4, 2, c.bands}));
    for (unsigned b = 0; b < c.bands; ++b) {
      child->setPixel(3, 1, b, 10 + b);
      EXPECT_EQ(root->getPixel(5, 4, c.band + b), 10 + b);
      unsigned char* p = byte_at(root.get(), 5, 4, c.band + b);
      EXPECT_EQ(c.type == ZEL_INT16 ? *reinterpret_cast<int16_t*>(p) : *p, 10 + b);
    }
    // A child of the child is folded into a child of the root.
    ZelImage* grandchild = child->createChild(1, 1, 3, 1, c.bands - 1, 1);
    ASSERT_TRUE(grandchild);
    EXPECT_EQ(grandchild->getParent(), root.get());
    grandchild->getChildOffsets(&x, &y, &band);
    EXPECT_EQ((std::vector<unsigned>{x, y, band}),
              (std::vector<unsigned>{3, 4, c.band + c.bands - 1}));
    EXPECT_EQ(grandchild->getPixel(2, 0, 0), 10 + static_cast<int>(c.bands) - 1);
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
  Owned<ZelImage> a(state->createImage(3, 2, 3, ZEL_UINT8));
  ASSERT_TRUE(a);
  EXPECT_EQ(a->getStorage("kx"), nullptr);
  EXPECT_FALSE(a->addStorage("kx"));
  EXPECT_FALSE(a->addStorage("ckx"));
  a->setPixel(2, 1, 2, 100);
  Owned<ZelOp> op(state->createOp("add8"));
  op->setSrc(1, a.get());
  op->setSrc(2, a.get());
  op->setDst(a.get());
  EXPECT_EQ(zel_run(op.get()).status, 0);
  EXPECT_EQ(a->getPixel(2, 1, 2), 200);
}

TEST_F(ImageTest, LargerSystemPagesAlignThePixels) {
  reset({.page_size = 16384});
  Owned<ZelImage> image(state->createImage(3, 3, 1, ZEL_UINT8));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(kx_of(image.get())->host_address) % 16384, 0u);
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

TEST_F(ImageTest, CkxStorageIsContiguousAliasedAndPacked) {
  Owned<ZelImage> image(state->createImage(5, 3, 3, ZEL_UINT8, 11));
  const int allocations = kxm::cmem_allocations(), devices = kxm::open_devices();
  ASSERT_TRUE(image->addStorage("ckx"));
  auto* ckx = static_cast<__ZelKXStorage*>(image->getStorage("ckx"));
  ASSERT_TRUE(ckx);
  EXPECT_NE(static_cast<void*>(ckx), image->getStorage("kx"));
  EXPECT_EQ(ckx->pixel_stride, 4);
  EXPECT_EQ(ckx->line_stride, 20u);
  EXPECT_EQ(ckx->kx_address, kxm::alias_of(ckx->host_address));
  EXPECT_EQ(kxm::cmem_allocations(), allocations + 1);
  EXPECT_EQ(image->createChild(0, 0, 1, 1, 0, 3)->getStorage("ckx"), ckx);
  image.reset();
  EXPECT_EQ(kxm::cmem_allocations(), allocations);
  EXPECT_EQ(kxm::open_devices(), devices);
}

TEST_F(ImageTest, CkxStorageFailsCleanlyWithoutContiguousMemory) {
  for (kxm::Config config :
       {kxm::Config{.cmem_device = false}, kxm::Config{.cmem_alloc = false},
        kxm::Config{.cmem_maps = false}}) {
    reset(config);
    Owned<ZelImage> image(state->createImage(5, 3, 1, ZEL_UINT8));
    const int allocations = kxm::cmem_allocations(), devices = kxm::open_devices();
    EXPECT_FALSE(image->addStorage("ckx"));
    EXPECT_EQ(image->getStorage("ckx"), nullptr);
    EXPECT_TRUE(image->getStorage("kx"));
    EXPECT_EQ(kxm::open_devices(), devices);
    EXPECT_EQ(kxm::cmem_allocations(), allocations);
  }
}

}  // namespace
