// Running operations: device routines, the host's software fallback and its arithmetic, and
// loading a plug-in.
#include <algorithm>
#include <functional>

#include "host_test.h"

namespace {

// A device whose routines note that they ran: Done succeeds, Refuse returns 2.
class FakeDevice : public ZelDeviceComputeType {
 public:
  FakeDevice() : ZelDeviceComputeType(const_cast<char*>("FakeDevice")) {}
  int Done(ZelOp* op, int) {
    op->setLongParam(1, op->getLongParam(1) + 1);
    return 0;
  }
  int Refuse(ZelOp* op, int) {
    op->setLongParam(2, op->getLongParam(2) + 1);
    return 2;
  }
};
const ZelComputeFunction kDone = static_cast<ZelComputeFunction>(&FakeDevice::Done);
const ZelComputeFunction kRefuse = static_cast<ZelComputeFunction>(&FakeDevice::Refuse);

class RunTest : public HostTest {
 protected:
  void TearDown() override {
    root->removeFunctions(&device);
    HostTest::TearDown();
  }
  // An operation on three fresh w x 1 images of the given kind, sources filled from lists.
  Owned<ZelOp> binary(const char* name, int type, unsigned bands, std::vector<int> a,
                      std::vector<int> b) {
    Owned<ZelOp> op(state->createOp(name));
    const unsigned width = static_cast<unsigned>(a.size()) / bands;
    for (int n = 0; n < 3; ++n) {
      images.emplace_back(state->createImage(width, 1, bands, type));
      const std::vector<int>& values = n == 0 ? a : b;
      for (unsigned k = 0; n < 2 && k < values.size(); ++k)
        images.back()->setPixel(k / bands, 0, k % bands, values[k]);
    }
    op->setSrc(1, images[images.size() - 3].get());
    op->setSrc(2, images[images.size() - 2].get());
    op->setDst(images.back().get());
    return op;
  }
  static std::vector<int> pixels(ZelImage* image) {
    std::vector<int> values;
    for (unsigned x = 0; x < image->getWidth(); ++x)
      for (unsigned band = 0; band < image->getBands(); ++band)
        values.push_back(image->getPixel(x, 0, band));
    return values;
  }
  ZelOpTreeNode* root = zel_global_state->getOpTreeBase();
  FakeDevice device;
  std::vector<Owned<ZelImage>> images;
};

TEST_F(RunTest, DeviceFirstThenHostWhenTheDeviceRefuses) {
  Owned<ZelOp> op = binary("add8", ZEL_UINT8, 1, {1, 2}, {3, 4});
  auto run = [&](ZelPath path) {
    op->setLongParam(1, 0);
    op->setLongParam(2, 0);
    op->getDst()->setPixel(0, 0, 0, 0);
    ZelRunResult r = zel_run(op.get(), path);
    return std::tuple{r.status, r.device_ran, r.device_status, r.host_ran,
                      op->getDst()->getPixel(0, 0, 0)};
  };
  // Nothing registered: the host's software.
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, false, 2, true, 4}));
  EXPECT_EQ(run(ZelPath::device_only), (std::tuple{2, false, 2, false, 0}));
  // The first registered routine runs; a later one is never called.
  ASSERT_EQ(root->branch("add8")->addFunction(&device, kDone), 0);
  ASSERT_EQ(root->branch("add8")->addFunction(&device, kRefuse), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 0, false, 0}));
  EXPECT_EQ(op->getLongParam(1), 1);
  EXPECT_EQ(op->getLongParam(2), 0);
  EXPECT_EQ(run(ZelPath::host_only), (std::tuple{0, false, 2, true, 4}));
  EXPECT_EQ(op->getLongParam(1), 0);
  // A refusing device: the host takes over unless the path forbids it.
  root->removeFunctions(&device);
  ASSERT_EQ(root->branch("add8")->addFunction(&device, kRefuse), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 2, true, 4}));
  EXPECT_EQ(run(ZelPath::device_only), (std::tuple{2, true, 2, false, 0}));
  // With an inner operation the node is root -> inner name -> name; no software then.
  Owned<ZelOp> inner(state->createOp("multiply8"));
  op->setOp1(inner.get());
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{2, false, 2, false, 0}));
  ASSERT_EQ(root->branch("multiply8")->branch("add8")->addFunction(&device, kDone), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 0, false, 0}));
}

TEST_F(RunTest, SoftwareArithmeticSaturates) {
  struct Case {
    const char* name;
    int type;
    std::function<long long(long long, long long)> meaning;
  };
  const std::vector<int> a8 = {0, 1, 100, 200, 255, 255, 17, 16};
  const std::vector<int> b8 = {0, 255, 100, 100, 255, 0, 15, 16};
  const std::vector<int> a16 = {0, 32767, -32768, -30000, 300, -3, 181, -181};
  const std::vector<int> b16 = {-1, 1, 1, -10000, -200, -4, 181, 182};
  for (const Case& c : {Case{"add8", ZEL_UINT8, std::plus<long long>()},
                        Case{"subtract8", ZEL_UINT8, std::minus<long long>()},
                        Case{"multiply8", ZEL_UINT8, std::multiplies<long long>()},
                        Case{"add16", ZEL_INT16, std::plus<long long>()},
                        Case{"subtract16", ZEL_INT16, std::minus<long long>()},
                        Case{"multiply16", ZEL_INT16, std::multiplies<long long>()}}) {
    SCOPED_TRACE(c.name);
    const bool wide = c.type == ZEL_INT16;
    const std::vector<int>& a = wide ? a16 : a8;
    const std::vector<int>& b = wide ? b16 : b8;
    std::vector<int> want;
    for (size_t k = 0; k < a.size(); ++k) {
      want.push_back(static_cast<int>(
          std::clamp(c.meaning(a[k], b[k]), wide ? -32768LL : 0LL, wide ? 32767LL : 255LL)));
    }
    for (unsigned bands : {1u, 2u, 4u}) {
      Owned<ZelOp> op = binary(c.name, c.type, bands, a, b);
      ASSERT_EQ(zel_run(op.get(), ZelPath::host_only).status, 0);
      EXPECT_EQ(pixels(op->getDst()), want) << bands << " bands";
    }
  }
}

// Only the pixels where the regions meet change; the rest of the destination stays.
TEST_F(RunTest, SoftwareWritesOnlyTheVisitedPixels) {
  Owned<ZelImage> parent(state->createImage(6, 4, 4, ZEL_UINT8));
  Owned<ZelImage> src(state->createImage(6, 4, 3, ZEL_UINT8));
  for (unsigned y = 0; y < 4; ++y)
    for (unsigned x = 0; x < 6; ++x)
      for (unsigned band = 0; band < 4; ++band) {
        parent->setPixel(x, y, band, 9);
        src->setPixel(x, y, band, static_cast<int>(10 * x + y));
      }
  ZelImage* dst = parent->createChild(1, 0, 5, 4, 1, 3);  // bands 1..3 of the parent
  dst->setOrigin(0, -1);                                  // covers (0, 1, 5, 4)
  Owned<ZelRoi> roi(state->createRoi());
  roi->addRect(2, 0, 10, 3);
  src->setRoi(roi.get());
  Owned<ZelOp> op(state->createOp("add8"));
  op->setSrc(1, src.get());
  op->setSrc(2, src.get());
  op->setDst(dst);
  ASSERT_EQ(zel_run(op.get()).status, 0);
  for (unsigned y = 0; y < 4; ++y)
    for (unsigned x = 0; x < 6; ++x)
      for (unsigned band = 0; band < 4; ++band) {
        // Operation point (x - 1, y + 1) holds parent pixel (x, y); visited: x - 1 in 2..4,
        // y + 1 in 1..2.
        const bool visited = band > 0 && x >= 3 && x <= 5 && y <= 1;
        EXPECT_EQ(parent->getPixel(x, y, band), visited ? 2 * (10 * (x - 1) + y + 1) : 9)
            << x << "," << y << "," << band;
      }
}

TEST_F(RunTest, SoftwareRefusesOperandsItCannotTake) {
  Owned<ZelImage> narrow(state->createImage(2, 2, 1, ZEL_UINT8));
  Owned<ZelImage> three(state->createImage(2, 2, 3, ZEL_UINT8));
  narrow->setPixel(0, 0, 0, 5);
  for (auto [name, a, b, fail_lists] :
       {std::tuple<const char*, ZelImage*, ZelImage*, int>{"add8", narrow.get(), nullptr, 0},
        {"add16", narrow.get(), narrow.get(), 0},
        {"add8", narrow.get(), three.get(), 0},
        {"add8", narrow.get(), narrow.get(), 1}}) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, a);
    op->setSrc(2, b);
    op->setDst(narrow.get());
    zel_global_state->failRoiLists(fail_lists);
    EXPECT_EQ(zel_run(op.get()).status, 2) << name;
  }
  EXPECT_EQ(narrow->getPixel(0, 0, 0), 5);
}

TEST_F(RunTest, LoadingAPlugin) {
  std::string why;
  const int runs = ZelDeviceComputeType::destructorRuns();
  ZelDeviceComputeType* loaded = zel_load_device(HOST_TEST_PLUGIN, &why);
  ASSERT_TRUE(loaded) << why;
  EXPECT_STREQ(loaded->getName(), "HostTestDevice");
  EXPECT_EQ(zel_load_device(HOST_TEST_PLUGIN, &why), nullptr);
  EXPECT_FALSE(why.empty());
  const auto& paths = zel_global_state->registeredPaths();
  EXPECT_NE(std::find(paths.begin(), paths.end(), "hosttest"), paths.end());
  Owned<ZelOp> op(state->createOp("hosttest"));
  EXPECT_EQ(zel_run(op.get()).status, 0);
  EXPECT_EQ(op->getLongParam(1), 1);
  zel_unload_device();
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), runs + 1);
  EXPECT_EQ(std::find(paths.begin(), paths.end(), "hosttest"), paths.end());

  // The plug-in shares the program's libkx: it finds no processor when the model has none.
  reset({.processor = false});
  EXPECT_EQ(zel_load_device(HOST_TEST_PLUGIN, &why), nullptr);
  EXPECT_EQ(why, "no pixel processor");
  zel_unload_device();
  EXPECT_EQ(zel_load_device("/nonexistent/plugin.so", &why), nullptr);
  EXPECT_NE(why.find("/nonexistent/plugin.so"), std::string::npos);
  EXPECT_EQ(zel_load_device(HOST_TEST_KX_LIBRARY, &why), nullptr);
  EXPECT_NE(why.find("ZelCreateComputeType"), std::string::npos) << why;
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), runs + 1);

  EXPECT_TRUE(zel_default_device_path().ends_with("/bin/../lib/ZelDeviceComputeKX.so"));
}

}  // namespace
