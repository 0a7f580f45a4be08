// Shared set-up of the host tests: a fresh processor model and a quiet, empty error log.
#ifndef HOST_TEST_H
#define HOST_TEST_H

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "kx_model.h"
#include "zel.h"

// Owns a host object for the length of a test.
struct Destroy {
  void operator()(ZelObject* object) const {
    if (object) object->destroy();
  }
};
template <typename T>
using Owned = std::unique_ptr<T, Destroy>;

class HostTest : public testing::Test {
 protected:
  void SetUp() override { reset({}); }
  void TearDown() override {
    images.clear();
    kxm::configure({});
  }
  // A fresh machine with the given configuration.
  void reset(const kxm::Config& config) {
    kxm::configure(config);
    zel_set_quiet(true);
    zel_clear_error_log();
  }
  // A width x 1 image, kept for the test, whose first values (band by band) are `values`.
  ZelImage* row(unsigned width, unsigned bands, int type, const std::vector<int>& values = {}) {
    ZelImage* image = images.emplace_back(state->createImage(width, 1, bands, type)).get();
    for (size_t k = 0; k < values.size(); ++k)
      image->setPixel(unsigned(k / bands), 0, unsigned(k % bands), values[k]);
    return image;
  }
  // The values of row 0, band by band.
  static std::vector<int> pixels(ZelImage* image) {
    std::vector<int> values;
    for (unsigned x = 0; x < image->getWidth(); ++x)
      for (unsigned band = 0; band < image->getBands(); ++band)
        values.push_back(image->getPixel(x, 0, band));
    return values;
  }
  ZelSystemState* state = zel_default_state();
  std::vector<Owned<ZelImage>> images;
};

#endif
