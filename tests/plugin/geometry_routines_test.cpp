// The geometric routines: where their flips read and write, what they keep and what they
// refuse. Pixel agreement on random arrangements is the differential suite's business.
#include <cmath>
#include <limits>

#include "kx_model.h"
#include "kx_utils.h"
#include "plugin_test.h"
#include "sl_ctx.h"

namespace {

using GeometryRoutines = PluginTest;

// A pixel's value names its place: x + 16 y + 64 b, modulo 256.
int place(unsigned x, unsigned y, unsigned b) {
  return int(x + 16 * y + 64 * b) % 256;
}

// The operation with its transpose type as long parameter 1.
ZelOp* typed(ZelOp* o, long type) {
  o->setLongParam(1, type);
  return o;
}

TEST_F(GeometryRoutines, Transpose8MainDiagonalOfA3x5SourceFillsA5x3Destination) {
  ZelImage* src = filled(3, 5, 1, ZEL_UINT8, place);
  ZelImage* dst = filled(5, 3, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 255; });
  ASSERT_EQ(run(&KX::Transpose8, typed(op("transpose8", src, nullptr, dst), 2)), 0);
  for (unsigned y = 0; y < 3; ++y) {
    for (unsigned x = 0; x < 5; ++x) {
      EXPECT_EQ(dst->getPixel(x, y, 0), place(y, x, 0)) << x << "," << y;
    }
  }
}

// A source that is a child inside a frame of 0xEE: a flip reading outside the source would
// bring a 0xEE into the destination.
TEST_F(GeometryRoutines, Transpose8TurnsIntoALargerDestinationReadOnlyTheSource) {
  for (unsigned bands : {1u, 4u}) {
    ZelImage* root =
        filled(11, 9, bands, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0xEE; });
    ZelImage* src = child(root, 3, 2, 5, 3, 0, bands);  // W = 5, H = 3
    for (unsigned y = 0; y < 3; ++y) {
      for (unsigned x = 0; x < 5; ++x) {
        for (unsigned b = 0; b < bands; ++b) src->setPixel(x, y, b, place(x, y, b));
      }
    }
    for (long t = 0; t <= 6; ++t) {
      ZelImage* dst =
          filled(9, 8, bands, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 7; });
      ZelImage* want =
          filled(9, 8, bands, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 7; });
      ASSERT_EQ(run(&KX::Transpose8, typed(op("t", src, nullptr, dst), t)), 0);
      ZelOp* host = typed(op("transpose8", src, nullptr, want), t);
      ASSERT_EQ(zel_run(host, ZelPath::host_only).status, 0);
      EXPECT_EQ(pixels(dst), pixels(want)) << "type " << t << ", " << bands << " bands";
      // Every source pixel lands once: 15 pixels written, the rest keep 7.
      int written = 0;
      for (unsigned y = 0; y < 8; ++y) {
        for (unsigned x = 0; x < 9; ++x) written += dst->getPixel(x, y, 0) != 7;
      }
      EXPECT_EQ(written, 15) << "type " << t;
    }
  }
}

TEST_F(GeometryRoutines, Transpose8PlacesTheTurnedSourceByBothOrigins) {
  ZelImage* src = filled(6, 4, 1, ZEL_UINT8, place);
  src->setOrigin(-2, 3);  // cancels: the whole source is turned into the quadrant at (0, 0)
  ZelImage* dst = filled(8, 8, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 255; });
  dst->setOrigin(1, 2);  // operation-space (X, Y) is the destination's pixel (X + 1, Y + 2)
  ASSERT_EQ(run(&KX::Transpose8, typed(op("t", src, nullptr, dst), 4)), 0);
  // A quarter turn counter-clockwise: the right-hand column becomes the top row.
  for (unsigned X = 0; X < 4; ++X) {
    EXPECT_EQ(dst->getPixel(X + 1, 2, 0), place(5, X, 0));
    EXPECT_EQ(dst->getPixel(X + 1, 2 + 5, 0), place(0, X, 0));
  }
  EXPECT_EQ(dst->getPixel(0, 2, 0), 255);
  EXPECT_EQ(dst->getPixel(1, 1, 0), 255);
}

TEST_F(GeometryRoutines, Transpose8KeepsTheOtherBandOfAThreeBandChildsParent) {
  for (unsigned band : {0u, 1u}) {
    ZelImage* sroot = filled(4, 4, 4, ZEL_UINT8, place);
    ZelImage* droot =
        filled(4, 4, 4, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0xAB; });
    ZelImage* src = child(sroot, 0, 0, 4, 4, band, 3);
    ZelImage* dst = child(droot, 0, 0, 4, 4, band, 3);
    ASSERT_EQ(run(&KX::Transpose8, typed(op("t", src, nullptr, dst), 5)), 0);
    const unsigned other = band == 0 ? 3 : 0;
    for (unsigned y = 0; y < 4; ++y) {
      for (unsigned x = 0; x < 4; ++x) {
        EXPECT_EQ(droot->getPixel(x, y, other), 0xAB) << "band " << band;
        for (unsigned b = 0; b < 3; ++b) {
          EXPECT_EQ(dst->getPixel(x, y, b), place(3 - x, 3 - y, band + b));
        }
      }
    }
  }
}

TEST_F(GeometryRoutines, Transpose16TurnsAWholeSquareAndLeavesThePlaneMaskAsFound) {
  const auto value = [](unsigned x, unsigned y, unsigned) {
    return int(x * 97 + y * 1000) - 3000;
  };
  ZelImage* src = filled(5, 5, 1, ZEL_INT16, value);
  sl_ctx_planemask_set(0x00ffffff);
  for (long t = 0; t <= 6; ++t) {
    ZelImage* dst = image(5, 5, 1, ZEL_INT16);
    ZelImage* want = image(5, 5, 1, ZEL_INT16);
    ASSERT_EQ(run(&KX::Transpose16, typed(op("t", src, nullptr, dst), t)), 0);
    ASSERT_EQ(
        zel_run(typed(op("transpose16", src, nullptr, want), t), ZelPath::host_only).status, 0);
    EXPECT_EQ(pixels(dst), pixels(want)) << "type " << t;
  }
  EXPECT_EQ(kxm::plane_mask(), 0x00ffffffu);
  sl_ctx_planemask_set(0xffffffff);
}

TEST_F(GeometryRoutines, TransposesRefuseWhatTheirFlipsCannotDoAndWriteNothing) {
  const auto v8 = [](unsigned x, unsigned y, unsigned b) { return place(x, y, b); };
  ZelImage* a8 = filled(6, 4, 1, ZEL_UINT8, v8);
  ZelImage* b8 = image(6, 4, 1, ZEL_UINT8);
  ZelImage* three = image(6, 4, 3, ZEL_UINT8);
  ZelImage* a16 = filled(4, 4, 1, ZEL_INT16, v8);
  ZelImage* b16 = image(4, 4, 1, ZEL_INT16);
  ZelImage* wide16 = image(6, 4, 1, ZEL_INT16);
  ZelImage* shifted16 = image(4, 4, 1, ZEL_INT16);
  shifted16->setOrigin(1, 1);
  ZelImage* shifted16b = image(4, 4, 1, ZEL_INT16);
  shifted16b->setOrigin(1, 1);
  ZelImage* region16 = image(4, 4, 1, ZEL_INT16);
  region(region16, 0, 0, 3, 4);
  const struct {
    Routine routine;
    ZelImage *src, *dst;
    long type;
    const char* why;
  } cases[] = {
      {&KX::Transpose8, a8, b8, 7, "a type beyond 6"},
      {&KX::Transpose8, a8, b8, -1, "a negative type"},
      {&KX::Transpose8, a8, three, 2, "different band counts"},
      {&KX::Transpose8, a8, a8, 1, "in place"},
      {&KX::Transpose16, a16, b16, 7, "a type beyond 6"},
      {&KX::Transpose16, a16, a16, 5, "in place"},
      {&KX::Transpose16, a16, shifted16, 0, "origins that differ"},
      {&KX::Transpose16, shifted16b, shifted16, 0, "equal origins other than (0, 0)"},
      {&KX::Transpose16, a16, region16, 1, "a destination region short of the whole image"},
      {&KX::Transpose16, wide16, wide16, 4, "a quarter turn of an oblong image"},
  };
  for (const auto& c : cases) {
    const std::vector<int> before = pixels(c.dst);
    ZelOp* o = typed(op("t", c.src, nullptr, c.dst), c.type);
    const long objects = ZelObject::liveObjects();
    EXPECT_EQ(run(c.routine, o), 2) << c.why;
    EXPECT_EQ(pixels(c.dst), before) << c.why;
    EXPECT_EQ(ZelObject::liveObjects(), objects) << c.why;
  }
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(GeometryRoutines, TransposesLeaveNoHostObjectBehind) {
  ZelImage* src = filled(7, 3, 3, ZEL_UINT8, place);
  ZelImage* dst = image(9, 9, 3, ZEL_UINT8);
  region(dst, 1, 1, 5, 6);
  ZelImage* s16 = image(6, 6, 1, ZEL_INT16);
  ZelImage* d16 = image(6, 6, 1, ZEL_INT16);
  ZelOp* o8 = typed(op("t", src, nullptr, dst), 3);
  ZelOp* o16 = typed(op("t", s16, nullptr, d16), 6);
  const long objects = ZelObject::liveObjects();
  ASSERT_EQ(run(&KX::Transpose8, o8), 0);
  ASSERT_EQ(run(&KX::Transpose16, o16), 0);
  EXPECT_EQ(ZelObject::liveObjects(), objects);
}

// The operation with its offsets as float parameters 1 and 2.
ZelOp* moved_by(ZelOp* o, float tx, float ty) {
  o->setFloatParam(1, tx);
  o->setFloatParam(2, ty);
  return o;
}

TEST_F(GeometryRoutines, NearestTranslationsMoveByTheOffsetRoundedHalfUp) {
  const struct {
    float t;
    int moves;
  } cases[] = {{2.5f, 3}, {-2.5f, -2}, {2.49f, 2}, {0.5f, 1}, {-0.5f, 0}, {4.0f, 4}};
  ZelImage* src = filled(12, 2, 1, ZEL_UINT8, place);
  for (const auto& c : cases) {
    ZelImage* dst =
        filled(12, 2, 1, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 255; });
    ASSERT_EQ(run(&KX::Translate8nearest, moved_by(op("t", src, nullptr, dst), c.t, 1.0f)), 0)
        << c.t;
    for (int x = 0; x < 12; ++x) {
      const int from = x - c.moves;
      EXPECT_EQ(dst->getPixel(unsigned(x), 1, 0),
                from >= 0 && from < 12 ? place(from, 0, 0) : 255)
          << "offset " << c.t << ", column " << x;
      EXPECT_EQ(dst->getPixel(unsigned(x), 0, 0), 255);  // row 0 takes source row -1
    }
  }
}

TEST_F(GeometryRoutines, NearestTranslationsRefuseOffsetsTheyCannotRoundAlikeAndWriteNothing) {
  const float inf = std::numeric_limits<float>::infinity();
  const float offsets[] = {-2.3f, -3.0f, std::nanf(""), inf, -inf, 16777218.0f};
  for (Routine routine : {&KX::Translate8nearest, &KX::Translate16nearest}) {
    const int type = routine == &KX::Translate8nearest ? ZEL_UINT8 : ZEL_INT16;
    ZelImage* src = filled(6, 3, 1, type, place);
    ZelImage* dst = image(6, 3, 1, type);
    for (float t : offsets) {
      for (bool across : {true, false}) {
        ZelOp* o = moved_by(op("t", src, nullptr, dst), across ? t : 1.0f, across ? 1.0f : t);
        EXPECT_EQ(run(routine, o), 2) << t;
      }
    }
    EXPECT_EQ(run(routine, moved_by(op("t", src, nullptr, src), 1.0f, 0.0f)), 2) << "in place";
    EXPECT_EQ(pixels(dst), std::vector<int>(18, 0));
  }
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(GeometryRoutines, NearestTranslationsKeepAParentsOtherBandAndSetTheirMask) {
  ZelImage* sroot = filled(5, 3, 4, ZEL_UINT8, place);
  ZelImage* droot =
      filled(5, 3, 4, ZEL_UINT8, [](unsigned, unsigned, unsigned) { return 0xAB; });
  ZelImage* dst = child(droot, 0, 0, 5, 3, 1, 3);
  ASSERT_EQ(run(&KX::Translate8nearest,
                moved_by(op("t", child(sroot, 0, 0, 5, 3, 1, 3), nullptr, dst), 1.0f, 0.0f)),
            0);
  EXPECT_EQ(kxm::plane_mask(), 0x00ffffffu);
  for (unsigned x = 1; x < 5; ++x) {
    EXPECT_EQ(droot->getPixel(x, 2, 0), 0xAB);
    EXPECT_EQ(droot->getPixel(x, 2, 3), place(x - 1, 2, 3));
  }
  ZelImage* s16 = filled(5, 3, 1, ZEL_INT16, place);
  ZelOp* o = moved_by(op("t", s16, nullptr, image(5, 3, 1, ZEL_INT16)), 0.0f, 1.0f);
  const long objects = ZelObject::liveObjects();
  ASSERT_EQ(run(&KX::Translate16nearest, o), 0);
  EXPECT_EQ(kxm::plane_mask(), 0xffffffffu);
  EXPECT_EQ(ZelObject::liveObjects(), objects) << "a region or list left behind";
}

TEST_F(GeometryRoutines, InterpolatingTranslationsCopyWholeOffsetsAndRefuseFractions) {
  const Routine routines[] = {&KX::Translate8bilinear, &KX::Translate16bilinear,
                              &KX::Translate8bicubic, &KX::Translate16bicubic};
  for (Routine routine : routines) {
    const bool wide = routine == &KX::Translate16bilinear || routine == &KX::Translate16bicubic;
    const int type = wide ? ZEL_INT16 : ZEL_UINT8;
    // Signed 16-bit pixels of both signs: a copy keeps every one.
    ZelImage* src = filled(9, 4, 1, type, [wide](unsigned x, unsigned y, unsigned) {
      return wide ? int(x * 3001 + y * 7) - 20000 : place(x, y, 0);
    });
    ZelImage* dst = image(9, 4, 1, type);
    // -3 runs here: a whole offset needs no rounding (the nearest routine refuses it).
    ASSERT_EQ(run(routine, moved_by(op("t", src, nullptr, dst), -3.0f, 1.0f)), 0);
    for (unsigned y = 1; y < 4; ++y) {
      for (unsigned x = 0; x < 6; ++x) {
        EXPECT_EQ(dst->getPixel(x, y, 0), src->getPixel(x + 3, y - 1, 0)) << x << "," << y;
      }
      EXPECT_EQ(dst->getPixel(6, y, 0), 0);
    }
    const std::vector<int> before = pixels(dst);
    for (float t : {0.5f, 1.0f / 512, -2.999f}) {
      EXPECT_EQ(run(routine, moved_by(op("t", src, nullptr, dst), 1.0f, t)), 2) << t;
    }
    EXPECT_EQ(pixels(dst), before);
  }
  EXPECT_TRUE(zel_error_log().empty());
}

// The source's contiguous copy, as the host makes it before a rotation.
ZelImage* contiguous(ZelImage* image) {
  ZelImage* root = image->getParent() != nullptr ? image->getParent() : image;
  EXPECT_TRUE(root->addStorage("ckx"));
  copyKX2Ckx(static_cast<__ZelKXStorage*>(root->getStorage("kx")),
             static_cast<__ZelKXStorage*>(root->getStorage("ckx")), root);
  return image;
}
ZelOp* turned_by(ZelOp* o, float radians) {
  o->setFloatParam(1, radians);
  return o;
}

// A quarter turn about the centre of an odd square is exact: the rotation and the transpose
// write the same pixels, 8-bit (1 and 4 bands) and 16-bit, for either direction.
TEST_F(GeometryRoutines, QuarterTurnsOfAnOddSquareAboutItsCentreEqualTheTransposes) {
  const float quarter = 1.5707964f;
  for (unsigned side : {5u, 9u, 31u}) {
    for (const auto& [bands, type] :
         {std::pair{1u, ZEL_UINT8}, std::pair{4u, ZEL_UINT8}, std::pair{1u, ZEL_INT16}}) {
      ZelImage* src =
          contiguous(filled(side, side, bands, type, [](unsigned x, unsigned y, unsigned b) {
            return int(x * 7 + y * 13 + b * 3) % 251;
          }));
      src->setOrigin(int(side / 2), int(side / 2));
      const bool wide = type == ZEL_INT16;
      for (const auto& [angle, t] : {std::pair{quarter, 4L}, std::pair{-quarter, 6L}}) {
        ZelImage* turned = image(side, side, bands, type);
        turned->setOrigin(int(side / 2), int(side / 2));
        ZelImage* flipped = image(side, side, bands, type);
        ASSERT_EQ(run(wide ? &KX::Rotate16nearest : &KX::Rotate8nearest,
                      turned_by(op("r", src, nullptr, turned), angle)),
                  0);
        ZelImage* plain = filled(
            side, side, bands, type,
            [src](unsigned x, unsigned y, unsigned b) { return src->getPixel(x, y, b); });
        ASSERT_EQ(run(wide ? &KX::Transpose16 : &KX::Transpose8,
                      typed(op("t", plain, nullptr, flipped), t)),
                  0);
        EXPECT_EQ(pixels(turned), pixels(flipped))
            << side << " square, " << bands << " bands, type " << t;
      }
    }
  }
}

// The routine names a destination of other than 1, 3 or 4 bands on standard error, but the
// child check before it passes only images of 1, 3 or 4 bands: a two-band destination (root
// or child) is refused there, silently.
TEST_F(GeometryRoutines, Rotate8RefusesATwoBandDestinationAtTheChildCheck) {
  ZelImage* src = contiguous(filled(6, 4, 1, ZEL_UINT8, place));
  ZelImage* two = image(6, 4, 2, ZEL_UINT8);
  testing::internal::CaptureStderr();
  EXPECT_EQ(run(&KX::Rotate8nearest, turned_by(op("r", src, nullptr, two), 0.5f)), 2);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(zelkx_check_child_8(src, child(image(6, 4, 4, ZEL_UINT8), 0, 0, 6, 4, 0, 2),
                                nullptr, nullptr),
            2);
  EXPECT_EQ(pixels(two), std::vector<int>(48, 0));
}

TEST_F(GeometryRoutines, RotationsRefuseWhatTheyCannotTurnWholeAndLeaveNoObject) {
  const float inf = std::numeric_limits<float>::infinity();
  ZelImage* src8 = contiguous(filled(8, 6, 1, ZEL_UINT8, place));
  ZelImage* roi8 = contiguous(filled(8, 6, 1, ZEL_UINT8, place));
  region(roi8, 1, 1, 3, 3);
  ZelImage* bare8 = filled(8, 6, 1, ZEL_UINT8, place);  // no contiguous copy
  ZelImage* shifted8 = contiguous(child(image(12, 6, 1, ZEL_UINT8), 1, 0, 8, 6, 0, 1));
  ZelImage* dst8 = image(8, 6, 1, ZEL_UINT8);
  ZelImage* dst8_roi = image(8, 6, 1, ZEL_UINT8);
  region(dst8_roi, 0, 0, 4, 4);
  ZelImage* four = image(8, 6, 4, ZEL_UINT8);
  ZelImage* src16 = contiguous(filled(6, 6, 1, ZEL_INT16, place));
  ZelImage* moved16 = image(6, 6, 1, ZEL_INT16);
  moved16->setOrigin(1, 0);
  ZelImage* small16 = image(5, 6, 1, ZEL_INT16);
  const struct {
    Routine routine;
    ZelImage *src, *dst;
    float angle;
    const char* why;
  } cases[] = {
      {&KX::Rotate8nearest, roi8, dst8, 0.5f, "a source region of interest"},
      {&KX::Rotate8nearest, src8, dst8_roi, 0.5f, "a destination region of interest"},
      {&KX::Rotate8nearest, bare8, dst8, 0.5f, "no contiguous copy"},
      {&KX::Rotate8nearest, shifted8, dst8, 0.5f, "a source off an 8-byte boundary"},
      {&KX::Rotate8nearest, src8, four, 0.5f, "different band counts"},
      {&KX::Rotate8nearest, src8, src8, 0.5f, "in place"},
      {&KX::Rotate8nearest, src8, dst8, std::nanf(""), "an angle of NaN"},
      {&KX::Rotate8nearest, src8, dst8, inf, "an infinite angle"},
      {&KX::Rotate8nearest, src8, dst8, 4e7f, "an angle beyond 2^24"},
      {&KX::Rotate16nearest, src16, moved16, 0.5f, "origins that differ"},
      {&KX::Rotate16nearest, src16, small16, 0.5f, "sizes that differ"},
      {&KX::Rotate16nearest, src16, src16, 0.5f, "in place"},
  };
  for (const auto& c : cases) {
    const std::vector<int> before = pixels(c.dst);
    ZelOp* o = turned_by(op("r", c.src, nullptr, c.dst), c.angle);
    const long objects = ZelObject::liveObjects();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run(c.routine, o), 2) << c.why;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << c.why;
    EXPECT_EQ(pixels(c.dst), before) << c.why;
    EXPECT_EQ(ZelObject::liveObjects(), objects) << c.why;
  }
  EXPECT_TRUE(zel_error_log().empty());
}

}  // namespace
