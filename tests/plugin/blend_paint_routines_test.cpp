// Blends and painting through the routines: what the plane mask in force allows, the sign
// rule of 16-bit blends, and what painting keeps between calls. Results against the host
// are the differential suite's; reports and failures the fault-injection suite's.
#include "kx_blend.h"
#include "kx_model.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

class BlendPaint : public PluginTest {
 protected:
  ZelOp* blend(ZelImage* a, ZelImage* b, ZelImage* alpha, ZelImage* dst) {
    ZelOp* o = op("blend", a, b, dst);
    o->setSrc(3, alpha);
    return o;
  }
  ZelImage* alpha(unsigned width, int value, int type = ZEL_UINT8) {
    return filled(width, 1, 1, type, [value](unsigned, unsigned, unsigned) { return value; });
  }
  ZelOp* paint(ZelImage* image, float* colour, ZelKernel* brush, std::vector<float>* points) {
    ZelOp* o = op("paint8", image, nullptr, image);
    o->setPtrParam(1, colour);
    o->setPtrParam(2, brush);
    o->setLongParam(3, long(points->size() / 2));
    o->setPtrParam(4, points->data());
    return o;
  }
  ZelKernel* brush(int width, int height, std::vector<float> weights, int key_x, int key_y) {
    ZelKernel* k =
        state()->createKernel(width, height, weights.data(), int16_t(key_x), int16_t(key_y));
    brushes_.push_back(k);
    return k;
  }
  void TearDown() override {
    for (ZelKernel* k : brushes_) k->destroy();
    zelkx_paint_release();
    PluginTest::TearDown();
  }

 private:
  std::vector<ZelKernel*> brushes_;
};

TEST_F(BlendPaint, FourByteBlendsRunOnlyWhereTheMaskInForceWritesExactlyTheirBands) {
  const auto ones = [](unsigned, unsigned, unsigned) { return 255; };
  struct Case {
    uint32_t mask;
    unsigned root_bands;  // 3 or 4: the destination is its bands 1..3 (4) or the root (3)
    int status;
  };
  const Case cases[] = {
      {0xffffffff, 3, 0}, {0x00ffffff, 3, 0},  // a root's spare byte may go either way
      {0x00ffffff, 4, 0},                      // a child's byte 0 is its parent's band 0
      {0xffffffff, 4, 2}, {0xffff00ff, 3, 2},  // ... and no band may be dropped
  };
  for (const Case& c : cases) {
    ZelImage* root = image(4, 1, c.root_bands, ZEL_UINT8);
    ZelImage* dst = c.root_bands == 4 ? child(root, 0, 0, 4, 1, 1, 3) : root;
    const std::vector<int> before = pixels(root);
    sl_ctx_planemask_set(c.mask);
    const int status =
        run(&KX::Blend8a8, blend(filled(4, 1, 3, ZEL_UINT8, ones),
                                 filled(4, 1, 3, ZEL_UINT8, ones), alpha(4, 0), dst));
    EXPECT_EQ(status, c.status) << std::hex << c.mask << " over " << c.root_bands;
    if (status != 0) {
      EXPECT_EQ(pixels(root), before);
    }
    if (status == 0 && c.root_bands == 4) {
      for (unsigned x = 0; x < 4; ++x) EXPECT_EQ(root->getPixel(x, 0, 0), 0) << "band 0 kept";
    }
  }
}

TEST_F(BlendPaint, SixteenBitBlendsRefuseSourcesOfTwoSignsBeforeAnyWord) {
  const auto value = [](int v) { return [v](unsigned, unsigned, unsigned) { return v; }; };
  ZelImage* dst = image(3, 1, 1, ZEL_INT16);
  kxm::reset_counters();
  EXPECT_EQ(run(&KX::Blend16a16, blend(filled(3, 1, 1, ZEL_INT16, value(100)),
                                       filled(3, 1, 1, ZEL_INT16, value(-100)),
                                       alpha(3, 0x4000, ZEL_INT16), dst)),
            2);
  EXPECT_EQ(kxm::counters().memory_words, 0u);
  EXPECT_EQ(pixels(dst), std::vector<int>(3, 0));
  // Both negative is one sign: -300 + 0.25 (-100 + 300) = -250.
  EXPECT_EQ(run(&KX::Blend16a16, blend(filled(3, 1, 1, ZEL_INT16, value(-300)),
                                       filled(3, 1, 1, ZEL_INT16, value(-100)),
                                       alpha(3, 0x4000, ZEL_INT16), dst)),
            0);
  EXPECT_EQ(pixels(dst), std::vector<int>(3, -250));
}

TEST_F(BlendPaint, PaintingMakesItsImagesAgainOnlyWhenColourBandsOrBrushChange) {
  for (bool deferred : {false, true}) {
    kxm::Config config;
    config.deferred = deferred;
    kxm::configure(config);
    zelkx_paint_release();
    ZelImage* one = image(8, 4, 1, ZEL_UINT8);
    ZelImage* three = image(8, 4, 3, ZEL_UINT8);
    ZelKernel* dot = brush(2, 2, {1, 1, 1, 1}, 0, 0);
    float colour[4] = {40, 50, 60, 70};
    std::vector<float> points = {1, 1};
    const auto made = [&](ZelImage* image, ZelKernel* b) {
      const long before = zel_global_state->imagesCreated();
      EXPECT_EQ(run(&KX::Paint8, paint(image, colour, b, &points)), 0);
      kxm::drain();
      return zel_global_state->imagesCreated() - before;
    };
    EXPECT_EQ(made(one, dot), 2) << "the first call makes both";
    EXPECT_EQ(made(one, dot), 0) << "same colour and brush";
    colour[0] = 41;
    EXPECT_EQ(made(one, dot), 1) << "a new colour: the colour image only";
    colour[2] = 99;
    EXPECT_EQ(made(one, dot), 0) << "a component the image does not use";
    EXPECT_EQ(made(three, dot), 1) << "another band count is another colour image";
    EXPECT_EQ(made(three, brush(2, 2, {1, 1, 1, 1}, 0, 0)), 2) << "another brush: both";
    EXPECT_EQ(one->getPixel(1, 1, 0), 40) << "41 at full weight is 40 on the device";
    EXPECT_EQ(three->getPixel(2, 2, 2), 98);
  }
}

TEST_F(BlendPaint, StampsAreClippedAtEveryEdgeAndFarPointsPaintNothing) {
  ZelImage* canvas = filled(6, 5, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0; });
  ZelKernel* square = brush(3, 3, std::vector<float>(9, 1), 5, -2);  // key outside the brush
  float white[1] = {255};
  // Each point puts the brush at (x - 5, y + 2): corners hanging over every edge, and points
  // whose rectangles would overflow an int.
  std::vector<float> points = {4, -3, 10, -3, 4, 2, 10, 2, 1e12f, 0, -1e12f, -1e12f};
  ASSERT_EQ(run(&KX::Paint8, paint(canvas, white, square, &points)), 0);
  const std::vector<int> expected = {254, 254, 0, 0, 0, 254,  //
                                     254, 254, 0, 0, 0, 254,  //
                                     0,   0,   0, 0, 0, 0,    //
                                     0,   0,   0, 0, 0, 0,    //
                                     254, 254, 0, 0, 0, 254};
  std::vector<int> got;
  for (unsigned y = 0; y < 5; ++y) {
    for (unsigned x = 0; x < 6; ++x) got.push_back(canvas->getPixel(x, y, 0));
  }
  EXPECT_EQ(got, expected);
}

TEST_F(BlendPaint, PaintingIntoAnotherImageIsRefused) {
  ZelImage* src = image(4, 4, 1, ZEL_UINT8);
  ZelImage* dst = image(4, 4, 1, ZEL_UINT8);
  float colour[1] = {9};
  std::vector<float> points = {1, 1};
  ZelOp* o = paint(src, colour, brush(1, 1, {1}, 0, 0), &points);
  o->setDst(dst);
  EXPECT_EQ(run(&KX::Paint8, o), 2);
}

}  // namespace
