// The plug-in entry, the device object and registration.
#include <algorithm>

#include "plugin_test.h"

namespace {

std::string path(const char* name, const char* second) {
  return second ? std::string(name) + "/" + second : name;
}

// The registration table's names, in order.
const std::vector<std::string> kRegistered = {
#define KX_ROUTINE(Routine, name, second, ...) path(name, second),
#include "kx_routines.def"
};

using Entry = PluginTest;

TEST_F(Entry, NoPixelProcessorMeansNoDeviceAndNoReport) {
  kxm::Config config;
  config.processor = false;
  kxm::configure(config);
  EXPECT_EQ(ZelCreateComputeType(), nullptr);
  EXPECT_TRUE(zel_error_log().empty());
}

TEST_F(Entry, DeviceIsNamedAndTheProbeKeepsNothingOpen) {
  const int open_before = kxm::open_devices();
  ZelDeviceComputeType* device = ZelCreateComputeType();
  ASSERT_NE(device, nullptr);
  EXPECT_STREQ(device->getName(), "ZelDeviceComputeKX");
  EXPECT_EQ(kxm::open_devices(), open_before);
  zel_global_state->getOpTreeBase()->removeFunctions(device);
  const int runs = ZelDeviceComputeType::destructorRuns();
  delete device;  // through the base class's virtual destructor
  EXPECT_EQ(ZelDeviceComputeType::destructorRuns(), runs + 1);
}

TEST_F(Entry, EveryRoutineIsRegisteredInTableOrder) {
  ZelDeviceComputeTypeKX device;
  ASSERT_EQ(device.describeMembers(), 0);
  const auto& paths = zel_global_state->registeredPaths();
  ASSERT_GE(paths.size(), kRegistered.size());
  EXPECT_TRUE(
      std::equal(kRegistered.begin(), kRegistered.end(), paths.end() - kRegistered.size()));
  ZelOpTreeNode* node = zel_global_state->getOpTreeBase()->find("add8");
  ASSERT_NE(node, nullptr);
  ASSERT_FALSE(node->functions().empty());
  EXPECT_EQ(node->functions().back().device, &device);
  zel_global_state->getOpTreeBase()->removeFunctions(&device);
}

TEST_F(Entry, ARefusedRegistrationRemovesEveryEarlierOneAndStops) {
  const size_t paths_before = zel_global_state->registeredPaths().size();
  for (size_t refused = 1; refused <= kRegistered.size(); ++refused) {
    ZelDeviceComputeTypeKX device;
    zel_global_state->refuseRegistration(int(refused));
    EXPECT_EQ(device.describeMembers(), 2) << "registration " << refused;
    // Nothing stays attached: neither the rows before the refused one nor any after it.
    EXPECT_EQ(zel_global_state->registeredPaths().size(), paths_before) << refused;
    EXPECT_EQ(device.describeMembers(), 0) << "registration " << refused;
    zel_global_state->getOpTreeBase()->removeFunctions(&device);
    zel_global_state->getOpTreeBase()->removeFunctions(&device);  // a second is harmless
    EXPECT_EQ(zel_global_state->registeredPaths().size(), paths_before) << refused;
  }
}

}  // namespace
