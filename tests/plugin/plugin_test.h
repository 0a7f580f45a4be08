// Shared set-up of the plug-in suites: a fresh processor, a quiet host, images and ops.
#ifndef PLUGIN_TEST_H
#define PLUGIN_TEST_H

#include <gtest/gtest.h>

#include <vector>

#include "kx_model.h"
#include "zel.h"

class PluginTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kxm::configure({});
    zel_set_quiet(true);
    zel_clear_error_log();
  }
  void TearDown() override {
    for (auto it = objects_.rbegin(); it != objects_.rend(); ++it) (*it)->destroy();
    kxm::configure({});
  }

  ZelSystemState* state() { return zel_default_state(); }

  ZelImage* image(unsigned width, unsigned height, unsigned bands, int type,
                  unsigned padding = 0) {
    ZelImage* i = state()->createImage(width, height, bands, type, padding);
    EXPECT_NE(i, nullptr);
    objects_.push_back(i);
    return i;
  }
  ZelImage* child(ZelImage* parent, unsigned x, unsigned y, unsigned w, unsigned h,
                  unsigned band, unsigned bands) {
    ZelImage* c = parent->createChild(x, y, w, h, band, bands);
    EXPECT_NE(c, nullptr);
    objects_.push_back(c);
    return c;
  }
  ZelOp* op(const char* name, ZelImage* src1, ZelImage* src2, ZelImage* dst) {
    ZelOp* o = state()->createOp(name);
    o->setSrc(1, src1);
    o->setSrc(2, src2);
    o->setDst(dst);
    objects_.push_back(o);
    return o;
  }

 private:
  std::vector<ZelObject*> objects_;
};

#endif
