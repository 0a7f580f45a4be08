// Shared set-up of the plug-in suites: a fresh processor, a quiet host, images and ops, and a
// device object whose routines the routine suites call directly.
#ifndef PLUGIN_TEST_H
#define PLUGIN_TEST_H

#include <gtest/gtest.h>

#include <vector>

#include "ZelDeviceComputeTypeKX.h"
#include "kx_model.h"
#include "zel.h"

using KX = ZelDeviceComputeTypeKX;
using Routine = int (KX::*)(ZelOp*, int);

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
  // Band b of pixel (x, y) is f(x, y, b).
  template <typename F>
  ZelImage* filled(unsigned width, unsigned height, unsigned bands, int type, F f) {
    ZelImage* i = image(width, height, bands, type);
    for (unsigned y = 0; y < height; ++y) {
      for (unsigned x = 0; x < width; ++x) {
        for (unsigned b = 0; b < bands; ++b) i->setPixel(x, y, b, f(x, y, b));
      }
    }
    return i;
  }
  ZelImage* child(ZelImage* parent, unsigned x, unsigned y, unsigned w, unsigned h,
                  unsigned band, unsigned bands) {
    ZelImage* c = parent->createChild(x, y, w, h, band, bands);
    EXPECT_NE(c, nullptr);
    objects_.push_back(c);
    return c;
  }
  void region(ZelImage* image, int x, int y, int w, int h) {
    ZelRoi* roi = state()->createRoi();
    roi->addRect(x, y, w, h);
    image->setRoi(roi);
    roi->destroy();
  }
  ZelOp* op(const char* name, ZelImage* src1, ZelImage* src2, ZelImage* dst) {
    ZelOp* o = state()->createOp(name);
    o->setSrc(1, src1);
    o->setSrc(2, src2);
    o->setDst(dst);
    objects_.push_back(o);
    return o;
  }
  // A one-source operation with its parameter array as pointer parameter 1.
  ZelOp* op1(ZelImage* src, ZelImage* dst, void* params) {
    ZelOp* o = op("x", src, nullptr, dst);
    o->setPtrParam(1, params);
    return o;
  }
  int run(Routine routine, ZelOp* o) { return (device_.*routine)(o, 0); }

  static __ZelKXStorage* record(ZelImage* image, const char* name = "kx") {
    return static_cast<__ZelKXStorage*>(image->getStorage(name));
  }
  // Every band of every pixel, row by row.
  static std::vector<int> pixels(const ZelImage* i) {
    std::vector<int> out;
    for (unsigned y = 0; y < i->getHeight(); ++y) {
      for (unsigned x = 0; x < i->getWidth(); ++x) {
        for (unsigned b = 0; b < i->getBands(); ++b) out.push_back(i->getPixel(x, y, b));
      }
    }
    return out;
  }

  KX device_;

 private:
  std::vector<ZelObject*> objects_;
};

#endif
