// The copy, fill, rescale, band-combine, threshold and extrema routines: where they put their
// addresses, what they make of their parameters, what they refuse and what they report.
#include <cmath>
#include <string>

#include "ZelDeviceComputeTypeKX.h"
#include "kx_tables.h"
#include "kx_test_support.h"
#include "plugin_test.h"

namespace {

using Routine = int (ZelDeviceComputeTypeKX::*)(ZelOp*, int);
using K = ZelDeviceComputeTypeKX;

class CopyRoutines : public PluginTest {
 protected:
  int run(Routine routine, ZelOp* o) { return (device_.*routine)(o, 0); }

  uint32_t kx(ZelImage* root) {
    return static_cast<__ZelKXStorage*>(root->getStorage("kx"))->kx_address;
  }
  // Band b of every pixel of a root image gets a value from its place.
  static void number(ZelImage* root, int base = 0) {
    for (unsigned y = 0; y < root->getHeight(); ++y)
      for (unsigned x = 0; x < root->getWidth(); ++x)
        for (unsigned b = 0; b < root->getBands(); ++b)
          root->setPixel(x, y, b, base + int(40 * b + 8 * y + x));
  }
  static std::vector<int> band(ZelImage* image, unsigned b) {
    std::vector<int> out;
    for (unsigned y = 0; y < image->getHeight(); ++y)
      for (unsigned x = 0; x < image->getWidth(); ++x) out.push_back(image->getPixel(x, y, b));
    return out;
  }
  void region(ZelImage* image, int x, int y, int w, int h) {
    ZelRoi* roi = state()->createRoi();
    roi->addRect(x, y, w, h);
    image->setRoi(roi);
    roi->destroy();
  }

  ZelDeviceComputeTypeKX device_;
};

// Full byte address of the n-th memory word (its issue address holds A & ~7, its low bits
// A & 7), and whether that word moves byte channels of 4-byte pixels.
uint32_t address(const kxtest::TraceCapture& trace, size_t n) {
  const auto word = trace.memory().at(n);
  return word.first + (word.second & 7);
}
bool channel_word(const kxtest::TraceCapture& trace, size_t n) {
  return kxm::disassemble_memory(trace.memory().at(n).second).find("t32c") != std::string::npos;
}

TEST_F(CopyRoutines, Copy8MovesASingleBandsAddressToItsByteOfTheParentsPixel) {
  ZelImage* three = image(4, 2, 3, ZEL_UINT8);
  number(three);
  ZelImage* one = image(4, 2, 1, ZEL_UINT8);
  {
    kxtest::TraceCapture trace;
    ASSERT_EQ(run(&K::Copy8, op("copy8", child(three, 0, 0, 4, 2, 2, 1), nullptr, one)), 0);
    EXPECT_EQ(address(trace, 0), kx(three) + 3) << "band 2 of a 3-band pixel is byte 3";
    EXPECT_TRUE(channel_word(trace, 0));
    EXPECT_FALSE(channel_word(trace, 1));
  }
  EXPECT_EQ(band(one, 0), band(three, 2));

  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  number(four, 1);
  const std::vector<int> kept = band(four, 1);
  {
    kxtest::TraceCapture trace;
    ASSERT_EQ(run(&K::Copy8, op("copy8", one, nullptr, child(four, 0, 0, 4, 2, 0, 1))), 0);
    EXPECT_EQ(address(trace, 1), kx(four)) << "band 0 of a 4-band pixel is byte 0";
    EXPECT_TRUE(channel_word(trace, 1));
  }
  EXPECT_EQ(band(four, 0), band(three, 2));
  EXPECT_EQ(band(four, 1), kept);

  ZelImage* other = image(4, 2, 3, ZEL_UINT8);
  kxtest::TraceCapture trace;
  ASSERT_EQ(run(&K::Copy8, op("copy8", one, nullptr, child(other, 0, 0, 4, 2, 0, 1))), 0);
  EXPECT_EQ(address(trace, 1), kx(other) + 1) << "band 0 of a 3-band pixel is byte 1";
  EXPECT_EQ(band(other, 0), band(three, 2));
}

TEST_F(CopyRoutines, Copy8RefusesABandOfATwoBandImageAndBandsInDifferentBytes) {
  ZelImage* two = image(4, 2, 2, ZEL_UINT8);
  ZelImage* one = image(4, 2, 1, ZEL_UINT8);
  EXPECT_EQ(run(&K::Copy8, op("copy8", child(two, 0, 0, 4, 2, 1, 1), nullptr, one)), 2);
  EXPECT_EQ(run(&K::Copy8, op("copy8", one, nullptr, child(two, 0, 0, 4, 2, 0, 1))), 2);
  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  EXPECT_EQ(run(&K::Copy8,
                op("copy8", child(four, 0, 0, 4, 2, 0, 3), nullptr, image(4, 2, 3, ZEL_UINT8))),
            2);
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(CopyRoutines, Copy16ExtractsAndInsertsOneBandOfAThreeBandImage) {
  ZelImage* three = image(4, 2, 3, ZEL_INT16);
  number(three, -100);
  ZelImage* one = image(4, 2, 1, ZEL_INT16);
  {
    kxtest::TraceCapture trace;
    ASSERT_EQ(run(&K::Copy16, op("copy16", child(three, 0, 0, 4, 2, 1, 1), nullptr, one)), 0);
    EXPECT_EQ(address(trace, 0), kx(three) + 2) << "band 1 is the second 16-bit element";
  }
  EXPECT_EQ(band(one, 0), band(three, 1));

  ZelImage* target = image(4, 2, 3, ZEL_INT16);
  ASSERT_EQ(run(&K::Copy16, op("copy16", one, nullptr, child(target, 0, 0, 4, 2, 2, 1))), 0);
  EXPECT_EQ(band(target, 2), band(three, 1));
  EXPECT_EQ(band(target, 0), std::vector<int>(8, 0));
  EXPECT_EQ(band(target, 1), std::vector<int>(8, 0));

  // No kernel moves one channel into another; multi-band destinations are the host's.
  EXPECT_EQ(run(&K::Copy16, op("copy16", child(three, 0, 0, 4, 2, 0, 1), nullptr,
                               child(target, 0, 0, 4, 2, 1, 1))),
            2);
  EXPECT_EQ(run(&K::Copy16, op("copy16", three, nullptr, target)), 2);
}

TEST_F(CopyRoutines, SetValue8RoundsAndLimitsEachBandAndFillsOnlyTheImagesRegion) {
  ZelImage* three = image(6, 3, 3, ZEL_UINT8);
  region(three, 1, 1, 3, 2);
  float values[4] = {-3.0f, 127.4f, 300.0f, 0.0f};
  ZelOp* fill = op("setvalue8", nullptr, nullptr, three);
  fill->setPtrParam(1, values);
  ASSERT_EQ(run(&K::SetValue8, fill), 0);
  EXPECT_EQ(kxm::reg(9), 0x00007FFFu);
  EXPECT_EQ(three->getPixel(2, 1, 1), 127);
  EXPECT_EQ(three->getPixel(3, 2, 2), 255);
  EXPECT_EQ(three->getPixel(0, 1, 1), 0) << "outside the region";
  EXPECT_EQ(three->getPixel(4, 1, 2), 0) << "outside the region";

  values[0] = 7.5f;
  ZelImage* one = image(5, 2, 1, ZEL_UINT8);
  fill = op("setvalue8", nullptr, nullptr, one);
  fill->setPtrParam(1, values);
  ASSERT_EQ(run(&K::SetValue8, fill), 0);
  EXPECT_EQ(kxm::reg(9), 0x08080808u);
  EXPECT_EQ(band(one, 0), std::vector<int>(10, 8));

  // Bands 0..2 of a 4-band image lie in bytes 0..2; its band 3 stays.
  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  number(four);
  const std::vector<int> kept = band(four, 3);
  fill = op("setvalue8", nullptr, nullptr, child(four, 0, 0, 4, 2, 0, 3));
  fill->setPtrParam(1, values);
  ASSERT_EQ(run(&K::SetValue8, fill), 0);
  EXPECT_EQ(kxm::reg(9), 0x087FFF00u);
  EXPECT_EQ(band(four, 3), kept);
  EXPECT_EQ(band(four, 1), std::vector<int>(8, 127));
}

TEST_F(CopyRoutines, RescaleTablesHoldTheScalesOnTheDiagonalAndTheOffsetsLast) {
  const float scales[4] = {1.0f, 2.0f, 0.5f, 3.0f}, offsets[4] = {0.0f, 10.0f, -1.0f, 0.5f};
  int32_t s[4], o[4];
  for (int b = 0; b < 4; ++b) {
    ASSERT_TRUE(zelkx_fixed8(scales[b], false, &s[b]));
    ASSERT_TRUE(zelkx_fixed8(offsets[b], false, &o[b]));
  }
  int32_t table[20];
  ASSERT_EQ(zelkx_rescale_table(s, o, 3, 1, table), 12);
  EXPECT_EQ(std::vector<int32_t>(table, table + 12),
            (std::vector<int32_t>{256, 0, 0, 0, 512, 0, 0, 0, 128, 0, 2560, -256}));
  // Bands in bytes 0..2: the 4 x 4 form, byte 3 kept as it is.
  ASSERT_EQ(zelkx_rescale_table(s, o, 3, 0, table), 20);
  EXPECT_EQ(
      std::vector<int32_t>(table, table + 20),
      (std::vector<int32_t>{256, 0,    0,    0, 0, 512, 0, 0, 0, 0, 128, 0, 0, 0, 0, 256,  //
                            0,   2560, -256, 0}));
  ASSERT_EQ(zelkx_rescale_table(s, o, 4, 0, table), 20);
  EXPECT_EQ(table[15], 768);
  EXPECT_EQ(table[19], 128);

  int32_t value = 0;
  EXPECT_TRUE(zelkx_fixed8(0.3f, false, &value));
  EXPECT_EQ(value, 76) << "truncated toward zero";
  EXPECT_FALSE(zelkx_fixed8(0.3f, true, &value)) << "not a whole number of 1/256";
  EXPECT_FALSE(zelkx_fixed8(1e8f, false, &value)) << "beyond 32 bits";
  EXPECT_EQ(value, INT32_MAX);
}

TEST_F(CopyRoutines, Rescale8OfBandsInBytesZeroToTwoKeepsTheParentsFourthBand) {
  ZelImage* four = image(9, 2, 4, ZEL_UINT8);
  number(four, 3);
  const std::vector<int> kept = band(four, 3), before = band(four, 1);
  ZelImage* part = child(four, 0, 0, 9, 2, 0, 3);
  float scales[3] = {1.0f, 0.5f, 2.0f}, offsets[3] = {0.0f, 1.0f, 0.0f};
  ZelOp* rescale = op("rescale8", part, nullptr, part);
  rescale->setPtrParam(1, scales);
  rescale->setPtrParam(2, offsets);
  ASSERT_EQ(run(&K::Rescale8, rescale), 0);
  EXPECT_EQ(band(four, 3), kept);
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_NEAR(band(four, 1)[i], before[i] / 2.0 + 1.0, 2.0) << i;
  }
}

TEST_F(CopyRoutines, SixteenBitTransformsTakeOnlyFactorsTheKernelHoldsExactly) {
  ZelImage* src = image(12, 2, 1, ZEL_INT16);
  number(src, -300);
  ZelImage* dst = image(12, 2, 1, ZEL_INT16);
  float scale = 0.5f, offset = 3.25f;
  ZelOp* rescale = op("rescale16", src, nullptr, dst);
  rescale->setPtrParam(1, &scale);
  rescale->setPtrParam(2, &offset);
  ASSERT_EQ(run(&K::Rescale16, rescale), 0);
  const std::vector<int> in = band(src, 0), out = band(dst, 0);
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_EQ(out[i], int(std::floor(in[i] * 0.5 + 3.25))) << "rounded down";
  }
  scale = 0.3f;
  EXPECT_EQ(run(&K::Rescale16, rescale), 2);
  EXPECT_EQ(band(dst, 0), out) << "a refusal writes nothing";
  scale = 1.0f;
  EXPECT_EQ(run(&K::Rescale16, op("rescale16", child(src, 0, 0, 4, 2, 0, 1), nullptr, dst)), 2);

  const float near_identity[12] = {1, 0, 0, 1.9f, 0, 1, 0, 0, 0, 0, 1, -1.9f};
  int32_t table[12];
  EXPECT_FALSE(zelkx_band_combine_table(near_identity, table));
  EXPECT_EQ(std::vector<int32_t>(table, table + 12),
            (std::vector<int32_t>{256, 0, 0, 0, 256, 0, 0, 0, 256, 1, 0, -1}));
  const float too_large[12] = {200, 100, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
  EXPECT_FALSE(zelkx_band_combine_table(too_large, table)) << "partial sums could saturate";

  ZelImage* three = image(5, 2, 3, ZEL_INT16);
  number(three, -60);
  ZelImage* mixed = image(5, 2, 3, ZEL_INT16);
  ZelKernel* kernel = state()->createKernel(4, 3, near_identity);
  ZelOp* combine = op("bandCombine16", three, nullptr, mixed);
  combine->setObjParam(1, kernel);
  EXPECT_EQ(run(&K::BandCombine16, combine), 2);
  EXPECT_EQ(band(mixed, 0), std::vector<int>(10, 0));
  kernel->destroy();
  const float swap[12] = {0, 1, 0, 5, 0.5f, 0, 0.25f, 0, -1, 0, 0, -2};
  kernel = state()->createKernel(4, 3, swap);
  combine->setObjParam(1, kernel);
  ASSERT_EQ(run(&K::BandCombine16, combine), 0);
  kernel->destroy();
  const std::vector<int> b0 = band(three, 0), b1 = band(three, 1), b2 = band(three, 2);
  for (size_t i = 0; i < b0.size(); ++i) {
    EXPECT_EQ(band(mixed, 0)[i], b1[i] + 5);
    EXPECT_EQ(band(mixed, 1)[i], int(std::floor(0.5 * b0[i] + 0.25 * b2[i])));
    EXPECT_EQ(band(mixed, 2)[i], -b0[i] - 2);
  }
}

TEST_F(CopyRoutines, ExtremaReturnEachBandsLimitsAndTheStartingValuesForAnEmptyRegion) {
  ZelImage* four = image(6, 3, 4, ZEL_UINT8);
  number(four, 1);
  ZelImage* low = child(four, 0, 0, 6, 3, 0, 3);  // bands in bytes 0..2
  float most[4] = {}, least[4] = {};
  ZelOp* extrema = op("extrema8", low, nullptr, nullptr);
  extrema->setPtrParam(1, most);
  extrema->setPtrParam(2, least);
  ASSERT_EQ(run(&K::Extrema8, extrema), 0);
  EXPECT_EQ(std::vector<float>(most, most + 3), (std::vector<float>{22, 62, 102}));
  EXPECT_EQ(std::vector<float>(least, least + 3), (std::vector<float>{1, 41, 81}));

  region(low, 50, 50, 2, 2);
  ASSERT_EQ(run(&K::Extrema8, extrema), 0);
  EXPECT_EQ(std::vector<float>(most, most + 3), std::vector<float>(3, 0.0f));
  EXPECT_EQ(std::vector<float>(least, least + 3), std::vector<float>(3, 255.0f));

  ZelImage* wide = image(3, 1, 1, ZEL_INT16);
  wide->setPixel(0, 0, 0, -2);
  wide->setPixel(1, 0, 0, 32767);
  wide->setPixel(2, 0, 0, -32768);
  extrema = op("extrema16", wide, nullptr, nullptr);
  extrema->setPtrParam(2, least);  // no maxima wanted
  ASSERT_EQ(run(&K::Extrema16, extrema), 0);
  EXPECT_EQ(least[0], -32768.0f);
  region(wide, 9, 9, 1, 1);
  extrema->setPtrParam(1, most);
  ASSERT_EQ(run(&K::Extrema16, extrema), 0);
  EXPECT_EQ(most[0], -32768.0f);
  EXPECT_EQ(least[0], 32767.0f);
}

TEST_F(CopyRoutines, FailuresToGetRegionsAndListsAreReportedOnceWithTheRoutinesPlace) {
  enum Fail { roi_list, rect_list, image_region };
  struct Case {
    Routine routine;
    const char* name;
    int src_type, dst_type;  // 0: no such image
    unsigned bands;
    Fail fail;
    const char* id;
    int category, line;
    const char* file;
  };
  const Case cases[] = {
      {&K::Copy8, "copy8", 1, 1, 1, roi_list, "di-12", 0, 129, "Copy8KX"},
      {&K::Copy16, "copy16", 2, 2, 1, roi_list, "di-12", 0, 133, "Copy16KX"},
      {&K::SetValue8, "setvalue8", 0, 1, 3, rect_list, "di-12", 0, 119, "SetValue8KX"},
      {&K::Convert8to16, "convert8to16", 1, 2, 3, roi_list, "di-12", 0, 114, "Convert8to16KX"},
      {&K::Rescale8, "rescale8", 1, 1, 4, roi_list, "di-12", 0, 111, "Rescale8KX"},
      {&K::Rescale16, "rescale16", 2, 2, 1, roi_list, "di-12", 0, 111, "Rescale16KX"},
      {&K::BandCombine16, "bandCombine16", 2, 2, 3, roi_list, "di-12", 0, 117,
       "BandCombine16KX"},
      {&K::Threshold8, "threshold8", 1, 1, 1, roi_list, "di-12", 1, 128, "Threshold8KX"},
      {&K::Threshold16, "threshold16", 2, 2, 1, roi_list, "di-12", 1, 117, "Threshold16KX"},
      {&K::Extrema8, "extrema8", 1, 0, 3, image_region, "di-6", 1, 127, "Extrema8KX"},
      {&K::Extrema8, "extrema8", 1, 0, 3, rect_list, "di-8", 1, 135, "Extrema8KX"},
      {&K::Extrema16, "extrema16", 2, 0, 1, image_region, "di-6", 1, 129, "Extrema16KX"},
      {&K::Extrema16, "extrema16", 2, 0, 1, rect_list, "di-8", 1, 137, "Extrema16KX"},
  };
  float values[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, ones[4] = {1, 1, 1, 1};
  ZelKernel* identity = state()->createKernel(4, 3, values);
  for (const Case& c : cases) {
    zel_clear_error_log();
    ZelImage* src = c.src_type ? image(4, 2, c.bands, c.src_type) : nullptr;
    ZelImage* dst = c.dst_type ? image(4, 2, c.bands, c.dst_type) : nullptr;
    ZelOp* o = op(c.name, src, nullptr, dst);
    o->setPtrParam(1, ones);
    o->setPtrParam(2, ones);
    o->setPtrParam(3, ones);
    o->setObjParam(1, identity);
    switch (c.fail) {
      case roi_list:
        zel_global_state->failRoiLists(1);
        break;
      case rect_list:
        zel_global_state->failRectLists(1);
        break;
      case image_region:
        zel_global_state->failImageRegions(1);
        break;
    }
    EXPECT_EQ(run(c.routine, o), 2) << c.file;
    ASSERT_EQ(zel_error_log().size(), 1u) << c.file << " " << c.id;
    const ZelErrorReport& r = zel_error_log()[0];
    EXPECT_EQ(r.id, c.id);
    EXPECT_EQ(r.category, c.category) << c.file;
    EXPECT_EQ(r.flag, 0);
    EXPECT_EQ(r.line, c.line) << c.file;
    EXPECT_EQ(r.file, c.file);
    EXPECT_EQ(r.state, state());
    EXPECT_EQ(r.object, nullptr);
  }
  identity->destroy();
}

}  // namespace
