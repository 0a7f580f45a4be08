// Running operations and the services around it: the error log, operation parameters, the
// operation tree, device types, the device-then-host path and loading a plug-in.
#include <algorithm>
#include <tuple>

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

bool listed(const std::string& path) {
  const auto& paths = zel_global_state->registeredPaths();
  return std::find(paths.begin(), paths.end(), path) != paths.end();
}

using ServicesTest = HostTest;

class RunTest : public HostTest {
 protected:
  void TearDown() override {
    root->removeFunctions(&a);
    root->removeFunctions(&b);
    zel_global_state->refuseRegistration(0);
    HostTest::TearDown();
  }
  ZelOpTreeNode* root = zel_global_state->getOpTreeBase();
  FakeDevice a, b;
};

TEST_F(ServicesTest, ErrorReportsAreLoggedAndPrintedUnlessQuiet) {
  Owned<ZelImage> image(state->createImage(1, 1, 1, ZEL_UINT8));
  zel_set_quiet(false);
  testing::internal::CaptureStderr();
  ZelSystemState::notifyError(state, 0, "di-12", 0, 139, "Add8KX", image.get());
  ZelSystemState::notifyError(nullptr, 1, "di-1", 1, 25, "ZelDeviceComputeTypeKX", nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "zel: error di-12 (category 0, flag 0) in Add8KX line 139\n"
            "zel: error di-1 (category 1, flag 1) in ZelDeviceComputeTypeKX line 25\n");
  zel_set_quiet(true);
  testing::internal::CaptureStderr();
  ZelSystemState::notifyError(nullptr, 4, nullptr, 0, 7, nullptr, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  const auto& log = zel_error_log();
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(std::tuple(log[0].state, log[0].category, log[0].id, log[0].flag, log[0].line,
                       log[0].file, log[0].object),
            std::tuple(static_cast<const ZelSystemState*>(state), 0, std::string("di-12"), 0,
                       139, std::string("Add8KX"), static_cast<const ZelObject*>(image.get())));
  EXPECT_EQ(log[1].state, nullptr);
  EXPECT_EQ(std::tuple(log[2].category, log[2].id, log[2].line), std::tuple(4, "", 7));
}

// Each parameter keeps a pointer, an object, a float and a long of its own; there is no
// parameter 0, and one never set reads as zero.
TEST_F(ServicesTest, OperationParametersAreNumberedFromOne) {
  Owned<ZelOp> op(state->createOp("multiply8"));
  int value = 0;
  op->setLongParam(3, -9);
  op->setPtrParam(1, &value);
  op->setLongParam(0, 1);
  EXPECT_EQ(std::tuple(op->getLongParam(3), op->getPtrParam(1), op->getLongParam(1),
                       op->getObjParam(2), op->getLongParam(0), op->getFloatParam(99)),
            std::tuple(-9L, static_cast<void*>(&value), 0L, nullptr, 0L, 0.0f));
}

// Deleting through the outermost base runs the compute type's destructor (once).
TEST_F(ServicesTest, DevicesPrintTheirNameAndAreDeletedThroughTheOutermostBase) {
  const int before = ZelDeviceComputeType::destructorRuns();
  ZelDeviceType* device = new FakeDevice;
  testing::internal::CaptureStdout();
  device->printStatus();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "FakeDevice\n");
  delete device;
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), before + 1);
}

TEST_F(RunTest, RegistrationListsPathsInOrderAndRemovalTakesADevicesFunctionsBelow) {
  ZelOpTreeNode* node = root->branch("treetest");
  EXPECT_EQ(root->branch("treetest"), node);
  ZelOpTreeNode* nested = node->branch("treetest");
  EXPECT_EQ(root->find("treetest")->find("treetest"), nested);

  const size_t before = zel_global_state->registeredPaths().size();
  ASSERT_EQ(nested->addFunction(&a, kDone), 0);
  ASSERT_EQ(node->addFunction(&a, kDone), 0);
  ASSERT_EQ(node->addFunction(&b, kDone), 0);
  const auto& paths = zel_global_state->registeredPaths();
  EXPECT_EQ(std::vector(paths.begin() + long(before), paths.end()),
            (std::vector<std::string>{"treetest/treetest", "treetest"}));

  root->removeFunctions(&a);
  EXPECT_TRUE(nested->functions().empty());
  ASSERT_EQ(node->functions().size(), 1u);
  EXPECT_EQ(node->functions()[0].device, &b);
  EXPECT_FALSE(listed("treetest/treetest"));
  EXPECT_TRUE(listed("treetest"));
  root->removeFunctions(&a);  // a second removal is harmless
  root->removeFunctions(&b);
  EXPECT_EQ(paths.size(), before);
}

TEST_F(RunTest, TheTreeRefusesTheNthRegistration) {
  zel_global_state->refuseRegistration(3);
  std::vector<int> results;
  for (const char* name : {"treetest-1", "treetest-2", "treetest-3", "treetest-4"})
    results.push_back(root->branch(name)->addFunction(&a, kDone));
  EXPECT_EQ(results, (std::vector<int>{0, 0, 2, 0}));
  EXPECT_TRUE(root->find("treetest-3")->functions().empty());
  EXPECT_FALSE(listed("treetest-3"));
  EXPECT_TRUE(listed("treetest-4"));
}

TEST_F(RunTest, DeviceFirstThenHostWhenTheDeviceRefuses) {
  Owned<ZelOp> op(state->createOp("add8"));
  op->setSrc(1, row(2, 1, ZEL_UINT8, {1, 2}));
  op->setSrc(2, row(2, 1, ZEL_UINT8, {3, 4}));
  op->setDst(row(2, 1, ZEL_UINT8));
  auto run = [&](ZelPath path) {
    op->setLongParam(1, 0);
    op->setLongParam(2, 0);
    op->getDst()->setPixel(0, 0, 0, 0);
    const ZelRunResult r = zel_run(op.get(), path);
    const int pixel = op->getDst()->getPixel(0, 0, 0);
    return std::tuple{r.status, r.device_ran,        r.device_status,    r.host_ran,
                      pixel,    op->getLongParam(1), op->getLongParam(2)};
  };
  // status, device ran, device status, host ran, pixel, calls of Done, calls of Refuse
  // Nothing registered: the host's software.
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, false, 2, true, 4, 0L, 0L}));
  EXPECT_EQ(run(ZelPath::device_only), (std::tuple{2, false, 2, false, 0, 0L, 0L}));
  // The first registered routine runs; a later one is never called.
  ASSERT_EQ(root->branch("add8")->addFunction(&a, kDone), 0);
  ASSERT_EQ(root->branch("add8")->addFunction(&a, kRefuse), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 0, false, 0, 1L, 0L}));
  EXPECT_EQ(run(ZelPath::host_only), (std::tuple{0, false, 2, true, 4, 0L, 0L}));
  // A refusing device: the host takes over unless the path forbids it.
  root->removeFunctions(&a);
  ASSERT_EQ(root->branch("add8")->addFunction(&a, kRefuse), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 2, true, 4, 0L, 1L}));
  EXPECT_EQ(run(ZelPath::device_only), (std::tuple{2, true, 2, false, 0, 0L, 1L}));
  // With an inner operation the node is root -> inner name -> name, and the software the
  // host has for the path "inner/name" (none for this one).
  Owned<ZelOp> inner(state->createOp("multiply8"));
  op->setOp1(inner.get());
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{2, false, 2, false, 0, 0L, 0L}));
  ASSERT_EQ(root->branch("multiply8")->branch("add8")->addFunction(&a, kDone), 0);
  EXPECT_EQ(run(ZelPath::device_then_host), (std::tuple{0, true, 0, false, 0, 1L, 0L}));
}

// Operation point (x, y) is pixel (x + ox, y + oy) of each image; only the pixels where the
// regions meet change, the rest of the destination stays.
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
  src->setOrigin(1, 0);                                   // covers (-1, 0, 6, 4)
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
        // Parent pixel (x, y) is operation point (x - 1, y + 1), source pixel (x, y + 1);
        // visited: x - 1 in 2..4, y + 1 in 1..2.
        const bool visited = band > 0 && x >= 3 && x <= 5 && y <= 1;
        EXPECT_EQ(parent->getPixel(x, y, band), visited ? 2 * (10 * x + y + 1) : 9)
            << x << "," << y << "," << band;
      }
}

TEST_F(RunTest, SoftwareRefusesOperandsItCannotTake) {
  ZelImage* narrow = row(2, 1, ZEL_UINT8, {5});
  ZelImage* three = row(2, 3, ZEL_UINT8);
  using Case = std::tuple<const char*, ZelImage*, int>;  // operation, second source, failures
  // No second source, a type the operation cannot take, unequal bands, no rectangle list.
  for (auto [name, second, fail_lists] : {Case{"add8", nullptr, 0}, Case{"add16", narrow, 0},
                                          Case{"add8", three, 0}, Case{"add8", narrow, 1}}) {
    Owned<ZelOp> op(state->createOp(name));
    op->setSrc(1, narrow);
    op->setSrc(2, second);
    op->setDst(narrow);
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
  EXPECT_TRUE(listed("hosttest"));
  Owned<ZelOp> op(state->createOp("hosttest"));
  EXPECT_EQ(zel_run(op.get()).status, 0);
  EXPECT_EQ(op->getLongParam(1), 1);
  zel_unload_device();
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), runs + 1);
  EXPECT_FALSE(listed("hosttest"));

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
