// The error service, operation parameters, the operation tree and device types.
#include <algorithm>

#include "host_test.h"

namespace {

class FakeDevice : public ZelDeviceComputeType {
 public:
  FakeDevice() : ZelDeviceComputeType(const_cast<char*>("FakeDevice")) {}
  int Routine(ZelOp*, int) { return 0; }
};
const ZelComputeFunction kRoutine = static_cast<ZelComputeFunction>(&FakeDevice::Routine);

using ServicesTest = HostTest;

TEST_F(ServicesTest, ErrorReportsAreLoggedAndPrinted) {
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
  EXPECT_EQ(
      (std::tuple{log[0].state, log[0].category, log[0].id, log[0].flag, log[0].line,
                  log[0].file, log[0].object}),
      (std::tuple{static_cast<const ZelSystemState*>(state), 0, std::string("di-12"), 0, 139,
                  std::string("Add8KX"), static_cast<const ZelObject*>(image.get())}));
  EXPECT_EQ(log[1].state, nullptr);
  EXPECT_EQ(log[2].id, "");
}

TEST_F(ServicesTest, OperationParametersAreNumberedFromOne) {
  Owned<ZelOp> op(state->createOp("multiply8"));
  int value = 0;
  op->setLongParam(3, -9);
  op->setPtrParam(1, &value);
  op->setLongParam(0, 1);  // there is no parameter 0
  EXPECT_EQ(op->getLongParam(3), -9);
  EXPECT_EQ(op->getPtrParam(1), &value);
  EXPECT_EQ(op->getLongParam(1), 0);
  EXPECT_EQ(op->getObjParam(2), nullptr);
  EXPECT_EQ(op->getLongParam(0), 0);
  EXPECT_EQ(op->getFloatParam(99), 0.0f);
}

class TreeTest : public HostTest {
 protected:
  void TearDown() override {
    root->removeFunctions(&a);
    root->removeFunctions(&b);
    zel_global_state->refuseRegistration(0);
    HostTest::TearDown();
  }
  bool listed(const std::string& path) {
    const auto& paths = zel_global_state->registeredPaths();
    return std::find(paths.begin(), paths.end(), path) != paths.end();
  }
  ZelOpTreeNode* root = zel_global_state->getOpTreeBase();
  FakeDevice a, b;
};

TEST_F(TreeTest, RegistrationAndRemoval) {
  ZelOpTreeNode* node = root->branch("treetest");
  EXPECT_EQ(root->branch("treetest"), node);
  ZelOpTreeNode* nested = node->branch("treetest");
  EXPECT_EQ(root->find("treetest")->find("treetest"), nested);

  const size_t before = zel_global_state->registeredPaths().size();
  ASSERT_EQ(nested->addFunction(&a, kRoutine), 0);
  ASSERT_EQ(node->addFunction(&a, kRoutine), 0);
  ASSERT_EQ(node->addFunction(&b, kRoutine), 0);
  const auto& paths = zel_global_state->registeredPaths();
  ASSERT_EQ(paths.size(), before + 2);
  EXPECT_EQ(paths[before], "treetest/treetest");
  EXPECT_EQ(paths[before + 1], "treetest");

  // Removal takes the device's functions from the node and everything below it.
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

TEST_F(TreeTest, TheTreeRefusesTheNthRegistration) {
  zel_global_state->refuseRegistration(3);
  std::vector<int> results;
  for (const char* name : {"treetest-1", "treetest-2", "treetest-3", "treetest-4"})
    results.push_back(root->branch(name)->addFunction(&a, kRoutine));
  EXPECT_EQ(results, (std::vector<int>{0, 0, 2, 0}));
  EXPECT_TRUE(root->find("treetest-3")->functions().empty());
  EXPECT_FALSE(listed("treetest-3"));
  EXPECT_TRUE(listed("treetest-4"));
}

TEST_F(ServicesTest, DeviceDestructorRunsOnceThroughABasePointer) {
  const int before = ZelDeviceComputeType::destructorRuns();
  ZelDeviceType* device = new FakeDevice;
  testing::internal::CaptureStdout();
  device->printStatus();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "FakeDevice\n");
  delete device;
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), before + 1);
}

}  // namespace
