// Shared set-up of the host tests: a fresh processor model and a quiet, empty error log.
#ifndef HOST_TEST_H
#define HOST_TEST_H

#include <gtest/gtest.h>

#include <memory>

#include "kx_model.h"
#include "zel.h"

class HostTest : public testing::Test {
 protected:
  void SetUp() override { reset({}); }
  void TearDown() override { kxm::configure({}); }
  // A fresh machine with the given configuration.
  void reset(const kxm::Config& config) {
    kxm::configure(config);
    zel_set_quiet(true);
    zel_clear_error_log();
  }
  ZelSystemState* state = zel_default_state();
};

// Owns a host object for the length of a test.
struct Destroy {
  void operator()(ZelObject* object) const {
    if (object) object->destroy();
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Destroy>;

#endif
