// Test main shared by every suite: the processor model runs strict, and any fault it
// reports fails the test that caused it.
#include <gtest/gtest.h>

#include "kx_model.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  kxm::set_fault_hook([](const kxm::Fault& fault) {
    ADD_FAILURE() << "processor fault " << fault.kind << ": " << fault.message;
  });
  return RUN_ALL_TESTS();
}
