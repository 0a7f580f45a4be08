// The convolution routines: what they refuse (silently, the destination untouched, nothing
// held), the precision each picks, the plane mask and the bytes of other bands. Results
// against the host are the differential suite's; reports the fault-injection suite's.
#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "kx_model.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

class ConvolveRoutines : public PluginTest {
 protected:
  void TearDown() override {
    for (ZelKernel* k : kernels_) k->destroy();
    PluginTest::TearDown();
  }
  ZelKernel* kernel(int width, int height, std::vector<float> values, int key_x, int key_y) {
    ZelKernel* k =
        state()->createKernel(width, height, values.data(), int16_t(key_x), int16_t(key_y));
    kernels_.push_back(k);
    return k;
  }
  ZelKernel* square(int n, float value) {
    return kernel(n, n, std::vector<float>(size_t(n * n), value), n / 2, n / 2);
  }
  // The identity scaled by `centre`.
  ZelKernel* point(int n, float centre) {
    std::vector<float> v(size_t(n * n), 0.0f);
    v[size_t(n * n / 2)] = centre;
    return kernel(n, n, v, n / 2, n / 2);
  }
  ZelOp* convolve(ZelImage* src, ZelImage* dst, const ZelKernel* k, long edge, bool wide) {
    ZelOp* o = op("convolve", src, nullptr, dst);
    if (wide) {
      o->setPtrParam(1, const_cast<ZelKernel*>(k));
    } else {
      o->setObjParam(1, const_cast<ZelKernel*>(k));
    }
    o->setLongParam(2, edge);
    return o;
  }
  // convolve8/convolve8: `row` on the inner operation, `column` on the outer.
  ZelOp* pair(ZelImage* src, ZelImage* dst, ZelKernel* row, long row_edge, ZelKernel* column,
              long column_edge) {
    ZelOp* o = op("x", nullptr, nullptr, dst);
    ZelOp* inner = op("y", src, nullptr, nullptr);
    o->setOp1(inner);
    inner->setObjParam(1, row);
    inner->setLongParam(2, row_edge);
    o->setObjParam(1, column);
    o->setLongParam(2, column_edge);
    return o;
  }
  static int ramp(unsigned x, unsigned y, unsigned b) {
    return int(x * 7 + y * 13 + b * 29) % 200;
  }

  // The queue words issued by one run.
  std::vector<uint32_t> queue_words(Routine routine, ZelOp* o, int* status) {
    std::vector<uint32_t> words;
    kxm::set_trace([&words](std::string_view line) {
      const std::string text(line);
      if (text.rfind("queue ", 0) == 0) {
        words.push_back(uint32_t(std::stoul(text.substr(text.rfind(' ') + 1), nullptr, 16)));
      }
    });
    *status = run(routine, o);
    kxm::drain();
    kxm::set_trace({});
    return words;
  }

 private:
  std::vector<ZelKernel*> kernels_;
};

bool has(const std::vector<uint32_t>& words, uint32_t word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST_F(ConvolveRoutines, RefusalsAreSilentLeaveTheDestinationAndHoldNothing) {
  struct Case {
    const char* what;
    std::function<std::pair<Routine, ZelOp*>()> make;
  };
  ZelImage* src8 = filled(12, 9, 1, ZEL_UINT8, ramp);
  ZelImage* dst8 = filled(12, 9, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 77; });
  ZelImage* src16 = filled(12, 9, 1, ZEL_INT16, ramp);
  ZelImage* dst16 =
      filled(12, 9, 1, ZEL_INT16, [](unsigned, unsigned, unsigned) { return -5; });
  ZelImage* quad = filled(12, 9, 4, ZEL_UINT8, ramp);
  ZelImage* low_three = child(quad, 0, 0, 12, 9, 0, 3);  // bands in bytes 0..2
  ZelImage* rgb = filled(12, 9, 3, ZEL_UINT8, ramp);
  ZelImage* wide_dst = filled(13, 9, 1, ZEL_UINT8, ramp);
  ZelImage* inner_part = child(wide_dst, 1, 0, 12, 9, 0, 1);
  const auto c8 = [&](const ZelKernel* k, long edge = 2) {
    return std::pair{Routine(&KX::Convolve8), convolve(src8, dst8, k, edge, false)};
  };
  const auto c16 = [&](const ZelKernel* k, long edge = 2) {
    return std::pair{Routine(&KX::Convolve16), convolve(src16, dst16, k, edge, true)};
  };
  const auto sep = [&](ZelKernel* row, ZelKernel* column, long e1 = 2, long e2 = 2) {
    return std::pair{Routine(&KX::Convolve8Convolve8), pair(src8, dst8, row, e1, column, e2)};
  };
  const auto row = [&](int n, float v, int key) {
    return kernel(n, 1, std::vector<float>(size_t(n), v), key, 0);
  };
  const auto column = [&](int n, float v, int key) {
    return kernel(1, n, std::vector<float>(size_t(n), v), 0, key);
  };
  const Case cases[] = {
      {"key at (0, 0)", [&] { return c8(kernel(3, 3, std::vector<float>(9, 0.1f), 0, 0)); }},
      {"4 x 4", [&] { return c8(square(4, 0.0625f)); }},
      {"3 x 5", [&] { return c8(kernel(3, 5, std::vector<float>(15, 0.0625f), 1, 2)); }},
      {"9 x 9", [&] { return c8(square(9, 1.0f / 128)); }},
      {"no kernel", [&] { return c8(nullptr); }},
      {"edge condition 3", [&] { return c8(point(3, 1), 3); }},
      {"edge condition -1", [&] { return c16(point(3, 1), -1); }},
      // A 1/49 box over 255 gives 244 with 1/256 steps; 4/3 in those steps is 3 off over 255.
      {"7 x 7 box of 1/49 on one band", [&] { return c8(square(7, 1.0f / 49)); }},
      {"3 x 3 of 4/3 in 1/256 steps", [&] { return c8(square(3, 4.0f / 3)); }},
      {"sums past 32 bits", [&] { return c8(square(3, 1e10f)); }},
      {"16-bit sums past 32 bits", [&] { return c16(square(7, 512.0f)); }},
      {"16-bit truncation of 1/300 steps", [&] { return c16(square(3, 4.0f / 3)); }},
      {"NaN", [&] { return c8(point(3, std::nanf(""))); }},
      {"in place",
       [&] {
         return std::pair{Routine(&KX::Convolve8), convolve(dst8, dst8, point(3, 1), 2, false)};
       }},
      {"band counts differ",
       [&] {
         return std::pair{Routine(&KX::Convolve8), convolve(rgb, dst8, point(3, 1), 2, false)};
       }},
      {"bands in bytes 0..2",
       [&] {
         return std::pair{Routine(&KX::Convolve8),
                          convolve(low_three, rgb, point(3, 1), 2, false)};
       }},
      {"16-bit source of 3 bands",
       [&] {
         ZelImage* three = image(12, 9, 3, ZEL_INT16);
         return std::pair{Routine(&KX::Convolve16),
                          convolve(three, image(12, 9, 3, ZEL_INT16), point(3, 1), 2, true)};
       }},
      {"destination narrower than the source",
       [&] {
         ZelImage* narrow = image(11, 9, 1, ZEL_UINT8);
         return std::pair{Routine(&KX::Convolve8),
                          convolve(src8, narrow, point(3, 1), 2, false)};
       }},
      {"a region of interest on the source",
       [&] {
         ZelImage* s = filled(12, 9, 1, ZEL_UINT8, ramp);
         region(s, 0, 0, 12, 8);
         return std::pair{Routine(&KX::Convolve8), convolve(s, dst8, point(3, 1), 2, false)};
       }},
      {"16-bit origins differ",
       [&] {
         ZelImage* moved = image(12, 9, 1, ZEL_INT16);
         moved->setOrigin(1, 0);
         region(moved, -1, 0, 13, 9);
         return std::pair{Routine(&KX::Convolve16),
                          convolve(src16, moved, point(3, 1), 2, true)};
       }},
      {"16-bit destination larger than the source",
       [&] {
         ZelImage* big = image(13, 9, 1, ZEL_INT16);
         return std::pair{Routine(&KX::Convolve16), convolve(src16, big, point(3, 1), 2, true)};
       }},
      {"a part of a wider image, source in place",
       [&] {
         return std::pair{Routine(&KX::Convolve8),
                          convolve(inner_part, wide_dst, point(3, 1), 2, false)};
       }},
      {"pair: edge conditions differ",
       [&] { return sep(row(3, 0.25f, 1), column(3, 0.25f, 1), 1, 2); }},
      {"pair: column kernel first", [&] { return sep(column(3, 0.25f, 1), row(3, 0.25f, 1)); }},
      {"pair: lengths differ", [&] { return sep(row(3, 0.25f, 1), column(5, 0.125f, 2)); }},
      {"pair: key off the centre",
       [&] { return sep(row(5, 0.125f, 0), column(5, 0.125f, 2)); }},
      {"pair: negative row value",
       [&] {
         return sep(kernel(3, 1, {-0.25f, 0.75f, 0.25f}, 1, 0), column(3, 0.25f, 1));
       }},
      {"pair: row sum above 1", [&] { return sep(row(3, 0.5f, 1), column(3, 0.25f, 1)); }},
      {"pair: heavy column (rounded intermediate)",
       [&] { return sep(row(3, 0.25f, 1), column(3, 1.0f, 1)); }},
      {"pair: no inner operation",
       [&] {
         ZelOp* o = op("x", src8, nullptr, dst8);
         o->setObjParam(1, column(3, 0.25f, 1));
         return std::pair{Routine(&KX::Convolve8Convolve8), o};
       }},
  };
  for (const Case& c : cases) {
    const auto [routine, o] = c.make();
    ZelImage* dst = o->getDst();
    const std::vector<int> before = pixels(dst);
    const long live = ZelObject::liveObjects();
    zel_clear_error_log();
    EXPECT_EQ(run(routine, o), 2) << c.what;
    kxm::drain();
    EXPECT_EQ(pixels(dst), before) << c.what;
    EXPECT_TRUE(zel_error_log().empty()) << c.what;
    EXPECT_EQ(ZelObject::liveObjects(), live) << c.what;
  }
  EXPECT_EQ(kxm::counters().faults, 0u);
}

// Accepted edges of the rules: a 16-bit 1/49 box (16 fraction bits), an empty region (no
// rectangle: success, nothing written), a 3-band image that is bands 1..3 of a 4-band one.
TEST_F(ConvolveRoutines, AcceptsWhatTheWordsCanFollow) {
  ZelImage* src16 = filled(9, 9, 1, ZEL_INT16, ramp);
  ZelImage* dst16 = image(9, 9, 1, ZEL_INT16);
  EXPECT_EQ(run(&KX::Convolve16, convolve(src16, dst16, square(7, 1.0f / 49), 2, true)), 0);

  ZelImage* src = filled(9, 9, 1, ZEL_UINT8, ramp);
  ZelImage* dst = filled(9, 9, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 3; });
  region(dst, 20, 20, 4, 4);  // outside everything
  ZelOp* o = convolve(src, dst, point(3, 1), 1, false);
  const long live = ZelObject::liveObjects();
  EXPECT_EQ(run(&KX::Convolve8, o), 0);
  EXPECT_EQ(pixels(dst), std::vector<int>(81, 3));
  EXPECT_EQ(ZelObject::liveObjects(), live);

  // Byte 0 of the parent's pixels is its own band 0: untouched.
  ZelImage* parent = filled(10, 4, 4, ZEL_UINT8,
                            [](unsigned, unsigned, unsigned b) { return int(b) * 40 + 10; });
  ZelImage* bands = child(parent, 0, 0, 10, 4, 1, 3);
  ZelImage* rgb =
      filled(10, 4, 3, ZEL_UINT8, [](unsigned, unsigned, unsigned b) { return int(b) + 1; });
  EXPECT_EQ(run(&KX::Convolve8, convolve(rgb, bands, point(5, 3), 2, false)), 0);
  kxm::drain();
  for (unsigned y = 0; y < 4; ++y) {
    for (unsigned x = 0; x < 10; ++x) {
      EXPECT_EQ(parent->getPixel(x, y, 0), 10);
      for (unsigned b = 0; b < 3; ++b) EXPECT_EQ(bands->getPixel(x, y, b), 3 * int(b + 1));
    }
  }
  EXPECT_EQ(kxm::counters().faults, 0u);
}

// Exactly 1.0 takes the 8-fraction-bit words in Convolve8 and keeps the 16-bit ones in
// Convolve16; one band of 7 x 7 always takes 8 fraction bits. The first term's multiply
// is 0x0F457200 (f) or 0x1FC57200 (h).
TEST_F(ConvolveRoutines, PrecisionFollowsTheLargestValue) {
  constexpr uint32_t kF = 0x0F457200, kH = 0x1FC57200;
  struct Case {
    const char* what;
    bool wide;
    unsigned bands;
    int n;
    float largest;
    uint32_t multiply;
  };
  const Case cases[] = {
      {"Convolve8 at 1.0", false, 1, 3, 1.0f, kF},
      {"Convolve8 below 1.0", false, 1, 3, 0.99609375f, kH},
      {"Convolve16 at 1.0", true, 1, 3, 1.0f, kH},
      {"Convolve16 above 1.0", true, 1, 3, 1.00390625f, kF},
      {"Convolve8 7 x 7 on one band", false, 1, 7, 0.5f, 0},
      {"Convolve8 7 x 7 on four bands", false, 4, 7, 0.5f, 0},
  };
  for (const Case& c : cases) {
    const int type = c.wide ? ZEL_INT16 : ZEL_UINT8;
    ZelImage* src = filled(30, 8, c.bands, type, ramp);
    ZelImage* dst = image(30, 8, c.bands, type);
    int status = 2;
    const std::vector<uint32_t> words =
        queue_words(c.wide ? Routine(&KX::Convolve16) : Routine(&KX::Convolve8),
                    convolve(src, dst, point(c.n, c.largest), 2, c.wide), &status);
    ASSERT_EQ(status, 0) << c.what;
    if (c.multiply != 0) {
      EXPECT_TRUE(has(words, c.multiply)) << c.what;
      EXPECT_FALSE(has(words, c.multiply ^ 0x10800000)) << c.what;
    } else {  // 7 x 7: f and h differ in the same bits of their multiplies
      const bool fine = std::any_of(words.begin(), words.end(), [](uint32_t w) {
        return (w & 0x10800000) == 0x10800000 && (w >> 28) == 1;
      });
      EXPECT_EQ(fine, c.bands != 1) << c.what;
    }
  }
}

// A mask of 0x00ffffff left by a 3-band child's routine would drop byte 0 of a 4-band
// image: every convolution sets all ones first.
TEST_F(ConvolveRoutines, PlaneMaskIsAllOnesWhateverWasLeft) {
  ZelImage* parent = image(8, 4, 4, ZEL_UINT8);
  ZelImage* three = child(parent, 0, 0, 8, 4, 1, 3);
  ASSERT_EQ(run(&KX::Add8, op("add8", three, three, three)), 0);
  ASSERT_EQ(sl_ctx_planemask_get(), 0x00ffffffu);
  ZelImage* src =
      filled(8, 4, 4, ZEL_UINT8, [](unsigned, unsigned, unsigned b) { return int(b) + 10; });
  ZelImage* dst = image(8, 4, 4, ZEL_UINT8);
  ASSERT_EQ(run(&KX::Convolve8, convolve(src, dst, point(3, 2), 2, false)), 0);
  EXPECT_EQ(sl_ctx_planemask_get(), 0xffffffffu);
  for (unsigned b = 0; b < 4; ++b) EXPECT_EQ(dst->getPixel(3, 2, b), 2 * (int(b) + 10)) << b;

  ZelImage* one = filled(8, 4, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 9; });
  ZelImage* out = image(8, 4, 1, ZEL_UINT8);
  ASSERT_EQ(run(&KX::Add8, op("add8", three, three, three)), 0);
  ZelOp* p = pair(one, out, kernel(3, 1, {0.25f, 0.5f, 0.25f}, 1, 0), 1,
                  kernel(1, 3, {0, 1, 0}, 0, 1), 1);
  ASSERT_EQ(run(&KX::Convolve8Convolve8, p), 0);
  EXPECT_EQ(sl_ctx_planemask_get(), 0xffffffffu);
  EXPECT_EQ(out->getPixel(3, 2, 0), 9);
  EXPECT_EQ(out->getPixel(0, 2, 0), 0);  // the zero border
}

}  // namespace
