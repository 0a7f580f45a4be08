// Contiguous device memory, the lookup routines and colour conversion: what they refuse and
// report, what each failure of the memory service leaves behind (nothing), and the results
// only these routines can show.
#include <numeric>

#include "kx_colour.h"
#include "kx_test_support.h"
#include "kx_utils.h"
#include "plugin_test.h"
#include "sl_ctx.h"
#include "zel_colour.h"

namespace {

// What a machine has open: descriptors, aliases and allocations (libkx's own device, which
// it keeps open once used, opened first).
struct Held {
  int devices, mappings, allocations;
  bool operator==(const Held&) const = default;
};
Held held() {
  kx_fd_get();
  return {kxm::open_devices(), kxm::alias_mappings(), kxm::cmem_allocations()};
}
void PrintTo(const Held& h, std::ostream* out) {
  *out << h.devices << " descriptors, " << h.mappings << " aliases, " << h.allocations
       << " allocations";
}

class Cmem : public PluginTest {
 protected:
  void configure(void (*change)(kxm::Config&)) {
    kxm::Config config;
    change(config);
    kxm::configure(config);
  }
};

// How the memory service is made to fail.
struct Refusal {
  const char* what;
  void (*change)(kxm::Config&);
};
const Refusal kRefusals[] = {
    {"no /dev/kx_cmem", [](kxm::Config& c) { c.cmem_device = false; }},
    {"allocation refused", [](kxm::Config& c) { c.cmem_alloc = false; }},
    {"mapping refused", [](kxm::Config& c) { c.cmem_maps = false; }},
    {"alias refused", [](kxm::Config& c) { c.alias_maps = false; }},
    {"bounds refused", [](kxm::Config& c) { c.bounds_request = false; }},
};

TEST_F(Cmem, SizesAreRoundedToWholePagesAndStoredBackFirst) {
  for (long page : {4096L, 8192L}) {
    for (auto [wanted, rounded] : {std::pair{4096, page}, std::pair{int(page) + 1, 2 * page},
                                   std::pair{0x20000, 0x20000L}}) {
      kxm::Config config;
      config.page_size = page;
      config.cmem_device = false;  // the size is stored back before anything can fail
      kxm::configure(config);
      unsigned char* memory = nullptr;
      uint32_t alias = 0;
      int size = wanted;
      EXPECT_EQ(zelspm_get_cmem(&memory, &alias, &size), -1);
      EXPECT_EQ(size, rounded) << wanted << " with pages of " << page;
    }
  }
}

TEST_F(Cmem, MemoryIsTheProcessorsThroughItsAliasAndIsReleasedWhole) {
  const Held before = held();
  const int requests = kxm::bounds().requests;
  unsigned char* memory = nullptr;
  uint32_t alias = 0;
  int size = 0x20000;
  const int fd = zelspm_get_cmem(&memory, &alias, &size);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(kxm::host_of(alias), memory);
  EXPECT_EQ(kxm::host_of(alias + 0x1FFFF), memory + 0x1FFFF);
  EXPECT_EQ(kxm::bounds().requests, requests + 1);
  EXPECT_EQ(kxm::bounds().low, alias + 4096) << "a page in from each end";
  EXPECT_EQ(kxm::bounds().length, 0x20000u - 4096);
  zelspm_free_cmem(alias, size, fd);
  EXPECT_EQ(held(), before);

  // One page asks the device for no bounds.
  size = 100;
  const int one = zelspm_get_cmem(&memory, &alias, &size);
  ASSERT_GE(one, 0);
  EXPECT_EQ(kxm::bounds().requests, requests + 1);
  zelspm_free_cmem(alias, size, one);
  EXPECT_EQ(held(), before);
}

TEST_F(Cmem, EveryRefusedStepUndoesWhatCameBefore) {
  for (const Refusal& r : kRefusals) {
    configure(r.change);
    const Held before = held();
    unsigned char* memory = nullptr;
    uint32_t alias = 0;
    int size = 8192;  // two pages: the bounds go to the device
    EXPECT_EQ(zelspm_get_cmem(&memory, &alias, &size), -1) << r.what;
    EXPECT_EQ(held(), before) << r.what;
  }
}

TEST_F(Cmem, AFailedUnmappingIsPrintedAndOtherwiseIgnored) {
  configure([](kxm::Config& c) { c.cmem_unmaps = false; });
  unsigned char* memory = nullptr;
  uint32_t alias = 0;
  int size = 4096;
  const int fd = zelspm_get_cmem(&memory, &alias, &size);
  ASSERT_GE(fd, 0);
  const int descriptors = kxm::open_devices();
  testing::internal::CaptureStdout();
  zelspm_free_cmem(alias, size, fd);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Could not munmap cmem\n");
  EXPECT_EQ(kxm::open_devices(), descriptors - 1);
}

// ---- Lookups

class Lookups : public PluginTest {
 protected:
  ZelLookup* lookup(int entries, unsigned bands, int offset, int type,
                    const std::vector<int>& values) {
    ZelLookup* l = state()->createLookup(entries, bands, offset, type, values.data());
    EXPECT_NE(l, nullptr);
    tables_.emplace_back(l);
    return l;
  }
  ZelOp* lookup_op(ZelImage* src, ZelImage* dst, ZelLookup* table) {
    return op1(src, dst, table);
  }
  // Every source value of the type once, in a row (16-bit: 65536 values).
  ZelImage* every_value(int type) {
    const unsigned n = type == ZEL_UINT8 ? 256 : 65536;
    return filled(n, 1, 1, type, [type](unsigned x, unsigned, unsigned) {
      return type == ZEL_UINT8 ? int(x) : int(x) - 32768;
    });
  }

 private:
  struct Release {
    void operator()(ZelLookup* l) const { l->destroy(); }
  };
  std::vector<std::unique_ptr<ZelLookup, Release>> tables_;
};

struct LookupRoutine {
  const char* name;
  Routine routine;
  int src_type, dst_type;
};
const LookupRoutine kLookups[] = {
    {"lookup8_8", &KX::Lookup8_8, ZEL_UINT8, ZEL_UINT8},
    {"lookup8_16", &KX::Lookup8_16, ZEL_UINT8, ZEL_INT16},
    {"lookup16_8", &KX::Lookup16_8, ZEL_INT16, ZEL_UINT8},
    {"lookup16_16", &KX::Lookup16_16, ZEL_INT16, ZEL_INT16},
};

TEST_F(Lookups, ALookupWithoutEntriesIsRefusedBeforeAnyMemoryIsAsked) {
  // An allocation made and released would print and stay, as the unmapping fails.
  kxm::Config config;
  config.cmem_unmaps = false;
  kxm::configure(config);
  for (const LookupRoutine& l : kLookups) {
    ZelImage* src = image(4, 1, 1, l.src_type);
    ZelImage* dst = image(4, 1, 1, l.dst_type);
    const Held was = held();
    testing::internal::CaptureStdout();
    EXPECT_EQ(run(l.routine, lookup_op(src, dst, lookup(0, 1, 0, l.dst_type, {}))), 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << l.name;
    EXPECT_EQ(held(), was) << l.name;
  }
}

TEST_F(Lookups, SixteenBitSourcesIndexByTheirUnsignedValueAndEntriesKeepAllSixteenBits) {
  // 65536 entries from -32768: value v takes entry v + 32768, so -1 reads table entry 65535.
  std::vector<int> values(65536);
  for (int i = 0; i < 65536; ++i) values[size_t(i)] = (i * 7 + 0x8000) & 0xFFFF;
  ZelImage* src = every_value(ZEL_INT16);
  ZelImage* dst = image(65536, 1, 1, ZEL_INT16);
  ASSERT_EQ(
      run(&KX::Lookup16_16, lookup_op(src, dst, lookup(65536, 1, -32768, ZEL_INT16, values))),
      0);
  const std::vector<int> out = pixels(dst);
  for (size_t i = 0; i < out.size(); ++i) {
    ASSERT_EQ(out[i], int16_t(values[i])) << "value " << int(i) - 32768;
  }
  // A clamped table: runs filled by the processor, copies by the host, both halves.
  ZelImage* bytes = image(65536, 1, 1, ZEL_UINT8);
  ASSERT_EQ(
      run(&KX::Lookup16_8, lookup_op(src, bytes, lookup(3, 1, -1, ZEL_UINT8, {10, 20, 30}))),
      0);
  const std::vector<int> clamped = pixels(bytes);
  for (int v = -32768; v < 32768; ++v) {
    ASSERT_EQ(clamped[size_t(v + 32768)], 10 * (1 + std::clamp(v + 1, 0, 2))) << v;
  }
}

TEST_F(Lookups, EightBitEntriesOfThreeBandsKeepTheFourthBandOfTheirImage) {
  ZelImage* src = filled(5, 3, 1, ZEL_UINT8,
                         [](unsigned x, unsigned y, unsigned) { return int(40 * x + y); });
  ZelImage* four =
      filled(5, 3, 4, ZEL_UINT8, [](unsigned, unsigned, unsigned b) { return 200 + int(b); });
  ZelImage* bands1to3 = child(four, 0, 0, 5, 3, 1, 3);
  std::vector<int> values(3 * 256);
  std::iota(values.begin(), values.end(), 0);
  for (int& v : values) v &= 0xFF;
  ASSERT_EQ(
      run(&KX::Lookup8_8, lookup_op(src, bands1to3, lookup(256, 3, 0, ZEL_UINT8, values))), 0);
  for (unsigned y = 0; y < 3; ++y) {
    for (unsigned x = 0; x < 5; ++x) {
      const int v = int(40 * x + y);
      EXPECT_EQ(four->getPixel(x, y, 0), 200);
      for (unsigned b = 0; b < 3; ++b)
        EXPECT_EQ(bands1to3->getPixel(x, y, b), (3 * v + int(b)) & 0xFF);
    }
  }
  // A plain 3-band destination has no fourth band to spare: refused at its first rectangle.
  ZelImage* plain = image(5, 3, 3, ZEL_UINT8);
  EXPECT_EQ(run(&KX::Lookup8_8, lookup_op(src, plain, lookup(1, 3, 0, ZEL_UINT8, {1, 2, 3}))),
            2);
  EXPECT_EQ(pixels(plain), std::vector<int>(45, 0));
}

TEST_F(Lookups, EveryLookupGivesTheSameResultWhenTheProcessorHoldsItsWords) {
  for (const LookupRoutine& l : kLookups) {
    std::vector<int> results[2];
    for (bool deferred : {false, true}) {
      kxm::Config config;
      config.deferred = deferred;
      kxm::configure(config);
      ZelImage* src = every_value(l.src_type);
      ZelImage* dst = image(src->getWidth(), 1, 1, l.dst_type);
      std::vector<int> values(300);
      for (size_t i = 0; i < values.size(); ++i) values[i] = int(i * 13 % 256);
      ASSERT_EQ(run(l.routine, lookup_op(src, dst, lookup(300, 1, -20, l.dst_type, values))),
                0);
      kxm::drain();  // the table is gone already; the words that read it ran before
      results[deferred] = pixels(dst);
      EXPECT_EQ(kxm::counters().faults, 0u) << l.name;
    }
    EXPECT_EQ(results[0], results[1]) << l.name;
  }
}

// ---- Colour conversion

class Colour : public PluginTest {
 protected:
  ZelOp* convert_op(ZelImage* src, ZelImage* dst, int from, int to) {
    ZelOp* o = op("colorconvert", src, nullptr, dst);
    for (int n : {1, 2}) {
      const int opcode = n == 1 ? from : to;
      ZelColorspace* space = opcode ? state()->createColorspace(opcode) : nullptr;
      if (space != nullptr) spaces_.push_back(space);
      o->setObjParam(n, space);
    }
    return o;
  }
  void TearDown() override {
    for (ZelColorspace* s : spaces_) s->destroy();
    PluginTest::TearDown();
  }

 private:
  std::vector<ZelColorspace*> spaces_;
};

TEST_F(Colour, MissingSpacesAndListsAreReportedWithFlagOne) {
  struct Case {
    int from, to;
    bool no_list;
    const char* id;
    int category, line;
    bool on_source;
  };
  ZelSystemState source_state;
  for (const Case& c : {Case{0, ZEL_CS_YCC601, false, "di-202", 4, 136, true},
                        Case{ZEL_CS_RGB709, 0, false, "di-203", 4, 141, false},
                        Case{ZEL_CS_RGB709, ZEL_CS_YCC601, true, "di-12", 0, 210, true}}) {
    zel_clear_error_log();
    ZelImage* src = source_state.createImage(3, 3, 3, ZEL_UINT8);
    if (c.no_list) zel_global_state->failRoiLists(1);
    EXPECT_EQ(run(&KX::ColorConvert, convert_op(src, image(3, 3, 3, ZEL_UINT8), c.from, c.to)),
              2);
    src->destroy();
    ASSERT_EQ(zel_error_log().size(), 1u) << c.id;
    const ZelErrorReport& r = zel_error_log()[0];
    EXPECT_EQ(
        std::tuple(r.id, r.category, r.flag, r.line, r.file),
        std::tuple(std::string(c.id), c.category, 1, c.line, std::string("ColorConvertKX")));
    EXPECT_EQ(r.state, c.on_source ? &source_state : state()) << c.id;
  }
}

TEST_F(Colour, PairsWithoutARowAndSixteenBitImagesAreRefusedWithoutAWord) {
  struct Case {
    int from, to;
    unsigned src_bands, dst_bands;
    int type;
  };
  for (const Case& c : {Case{ZEL_CS_RGB709, ZEL_CS_RGB709, 3, 3, ZEL_UINT8},
                        Case{ZEL_CS_YLINEAR, ZEL_CS_RGB709, 1, 3, ZEL_UINT8},
                        Case{ZEL_CS_RGBLINEAR, ZEL_CS_RGB709, 3, 3, ZEL_INT16},
                        Case{ZEL_CS_RGB709, ZEL_CS_YCC601, 1, 3, ZEL_UINT8},
                        Case{ZEL_CS_RGBLINEAR, ZEL_CS_CMYK, 3, 3, ZEL_UINT8}}) {
    zel_clear_error_log();
    kxtest::TraceCapture trace;
    ZelImage* dst = image(4, 2, c.dst_bands, c.type);
    EXPECT_EQ(
        run(&KX::ColorConvert, convert_op(image(4, 2, c.src_bands, c.type), dst, c.from, c.to)),
        2);
    EXPECT_TRUE(trace.words().empty()) << c.from << " to " << c.to;
    EXPECT_TRUE(zel_error_log().empty());
  }
}

TEST_F(Colour, DestinationsWhoseSpareByteBelongsToAnotherBandAreRefused) {
  ZelImage* four = image(4, 2, 4, ZEL_UINT8);
  ZelImage* rgb = image(4, 2, 3, ZEL_UINT8);
  for (unsigned band : {0u, 1u}) {
    ZelImage* part = child(four, 0, 0, 4, 2, band, 3);
    EXPECT_EQ(run(&KX::ColorConvert, convert_op(rgb, part, ZEL_CS_RGB709, ZEL_CS_YCC601)), 2);
    EXPECT_EQ(run(&KX::ColorConvert, convert_op(part, rgb, ZEL_CS_RGB709, ZEL_CS_YCC601)),
              band == 0 ? 2 : 0)
        << "a source in bytes 1..3 may share its pixels";
  }
}

TEST_F(Colour, RefusedMappingsOfATransferTableRefuseTheConversion) {
  kxm::Config config;
  config.alias_maps = false;
  kxm::configure(config);
  ZelImage* dst = image(4, 2, 3, ZEL_UINT8);
  const Held was = held();
  EXPECT_EQ(run(&KX::ColorConvert,
                convert_op(image(4, 2, 3, ZEL_UINT8), dst, ZEL_CS_RGBLINEAR, ZEL_CS_RGB709)),
            2);
  EXPECT_EQ(pixels(dst), std::vector<int>(24, 0));
  EXPECT_EQ(held(), was);
}

TEST_F(Colour, TransferTablesAreTheCurveRoundedHalfUp) {
  for (int i = 0; i < 256; ++i) {
    int grey[4] = {i, i, i, 0}, there[4], back[4];
    zel_convert_colour(ZEL_CS_RGBLINEAR, ZEL_CS_RGB709, grey, there);
    zel_convert_colour(ZEL_CS_RGB709, ZEL_CS_RGBLINEAR, grey, back);
    EXPECT_EQ(_L2NLbtable[i], there[0]) << i;
    EXPECT_EQ(_NL2Lbtable[i], back[0]) << i;
  }
}

TEST_F(Colour, CmykComplementsAndSaturatesWhereBlackAndInkExceedWhite) {
  ZelImage* cmyk = filled(3, 1, 4, ZEL_UINT8, [](unsigned x, unsigned, unsigned b) {
    static const int pixels[3][4] = {{200, 100, 10, 100}, {0, 0, 0, 0}, {255, 255, 255, 255}};
    return pixels[x][b];
  });
  ZelImage* rgb = image(3, 1, 3, ZEL_UINT8);
  ASSERT_EQ(run(&KX::ColorConvert, convert_op(cmyk, rgb, ZEL_CS_CMYK, ZEL_CS_RGBLINEAR)), 0);
  EXPECT_EQ(pixels(rgb), (std::vector<int>{145, 55, 0, 255, 255, 255, 0, 0, 0}));
  ZelImage* back = image(3, 1, 4, ZEL_UINT8);
  ASSERT_EQ(run(&KX::ColorConvert, convert_op(rgb, back, ZEL_CS_RGBLINEAR, ZEL_CS_CMYK)), 0);
  EXPECT_EQ(pixels(back), (std::vector<int>{255, 200, 110, 0, 0, 0, 0, 0, 255, 255, 255, 0}));
}

}  // namespace
