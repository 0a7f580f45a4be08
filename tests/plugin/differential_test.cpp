// Every registered operation through the loaded plug-in on the processor model, against the
// host's software implementation: random sizes, bands, origins, regions, children and
// in-place use. The device's destination must equal the host's (within the operation's
// tolerance) everywhere in its root image, or, when the device refuses, be untouched.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kx_model.h"
#include "zel.h"

namespace {

struct Operation {
  const char* name;
  int data_type;
  int tolerance;
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

const Operation kOperations[] = {
#define KX_ROUTINE(Routine, name, second, data_type, tolerance) {name, data_type, tolerance},
#include "kx_routines.def"
};

class Device : public ::testing::Environment {
 public:
  void SetUp() override {
    zel_set_quiet(true);
    std::string why;
    ASSERT_NE(zel_load_device(KX_PLUGIN_PATH, &why), nullptr) << why;
  }
  void TearDown() override { zel_unload_device(); }
};
const auto* const kDevice = ::testing::AddGlobalTestEnvironment(new Device);

// How one image of a case is made: a root, or a child of a root.
struct Shape {
  unsigned width, height, bands;
  unsigned root_bands, child_x, child_y, child_band;
  bool child;
  unsigned padding;
  int origin_x, origin_y;
  bool region;
  int rx, ry, rw, rh;
};

// An image made twice from one shape and seed: once for the device, once for the host.
struct Made {
  ZelImage* root = nullptr;
  ZelImage* image = nullptr;
  ~Made() {
    if (image != root && image != nullptr) image->destroy();
    if (root != nullptr) root->destroy();
  }
};

void fill(ZelImage* root, uint32_t seed) {
  std::mt19937 random(seed);
  const bool wide = root->getDataType() == ZEL_INT16;
  for (unsigned y = 0; y < root->getHeight(); ++y) {
    for (unsigned x = 0; x < root->getWidth(); ++x) {
      for (unsigned b = 0; b < root->getBands(); ++b) {
        const uint32_t r = random();
        const int small = int(r % 301) - 150;
        root->setPixel(x, y, b,
                       wide ? (r & 0x10000 ? small : int(r % 65536) - 32768) : int(r % 256));
      }
    }
  }
}

void make(const Shape& s, int type, uint32_t seed, Made* out) {
  ZelSystemState* state = zel_default_state();
  const unsigned root_w = s.width + (s.child ? s.child_x + 3 : 0);
  const unsigned root_h = s.height + (s.child ? s.child_y + 2 : 0);
  out->root = state->createImage(root_w, root_h, s.root_bands, type, s.padding);
  ASSERT_NE(out->root, nullptr);
  fill(out->root, seed);
  out->image = s.child ? out->root->createChild(s.child_x, s.child_y, s.width, s.height,
                                                s.child_band, s.bands)
                       : out->root;
  ASSERT_NE(out->image, nullptr);
  out->image->setOrigin(s.origin_x, s.origin_y);
  if (s.region) {
    ZelRoi* roi = state->createRoi();
    roi->addRect(s.rx, s.ry, s.rw, s.rh);
    out->image->setRoi(roi);
    roi->destroy();
  }
}

// The pixels of a root image, every band.
std::vector<int> pixels(ZelImage* root) {
  std::vector<int> out;
  for (unsigned y = 0; y < root->getHeight(); ++y) {
    for (unsigned x = 0; x < root->getWidth(); ++x) {
      for (unsigned b = 0; b < root->getBands(); ++b) out.push_back(root->getPixel(x, y, b));
    }
  }
  return out;
}

class Generator {
 public:
  explicit Generator(uint32_t seed) : random_(seed) {}

  unsigned bands(int type) {
    static const unsigned eight[] = {1, 3, 4}, sixteen[] = {1, 2, 3, 4};
    return type == ZEL_UINT8 ? eight[pick(3)] : sixteen[pick(4)];
  }

  Shape shape(int type, unsigned bands) {
    Shape s{};
    s.width = pick(8) == 0 ? 1 + pick(300) : 1 + pick(40);
    s.height = pick(6) == 0 ? 1 : 1 + pick(12);
    s.bands = s.root_bands = bands;
    // Rows of 4-byte pixels are padded by whole pixels, except now and then.
    const bool four_byte = type == ZEL_UINT8 && bands > 1;
    s.padding = pick(3) == 0 ? (four_byte && !chance(8) ? 4 * pick(3) : pick(9)) : 0;
    s.origin_x = int(pick(7)) - 3;
    s.origin_y = int(pick(5)) - 2;
    switch (pick(4)) {
      case 0:  // a rectangle of a root with the same bands
        s.child = true;
        s.child_x = pick(9);
        s.child_y = pick(4);
        break;
      case 1:  // three bands of a four-band 8-bit root, or of a three-band root
        if (type == ZEL_UINT8 && bands == 3) {
          s.child = true;
          s.root_bands = pick(2) ? 4 : 3;
          s.child_band = s.root_bands == 4 ? pick(2) : 0;
          s.child_x = pick(3);
        }
        break;
      default:
        break;
    }
    if (pick(3) == 0) {
      s.region = true;
      s.rx = int(pick(12)) - 4;
      s.ry = int(pick(6)) - 2;
      s.rw = int(pick(s.width + 4));  // sometimes 0: an empty region
      s.rh = int(pick(s.height + 2));
    }
    return s;
  }

  bool chance(unsigned one_in) { return pick(one_in) == 0; }

 private:
  unsigned pick(unsigned n) { return unsigned(random_() % n); }
  std::mt19937 random_;
};

// 3-band 8-bit images keep band 0 in byte 1 of their pixel, or in byte 0 when they are
// bands 0..2 of a four-band root; whole-pixel kernels cannot mix the two.
unsigned lane(const Shape& s) {
  return s.root_bands == 4 && s.bands == 3 ? s.child_band : 1;
}

// The arrangements the device is documented to refuse: 3-band images in different byte
// lanes, and 4-byte pixels on rows that are not 4-byte aligned.
bool refusable(const std::vector<Shape>& shapes, int type) {
  if (type != ZEL_UINT8) return false;
  for (const Shape& s : shapes) {
    if (s.bands == 3 && lane(s) != lane(shapes[0])) return true;
    if (s.root_bands > 1 && s.padding % 4 != 0) return true;
  }
  return false;
}

void run_case(const Operation& operation, Generator& g, uint32_t seed, int* accepted) {
  const ZelOperationInfo* info = zel_operation_info(operation.name);
  ASSERT_NE(info, nullptr) << operation.name;
  const unsigned bands = g.bands(operation.data_type);
  const int images = info->sources + 1;  // sources, then the destination
  std::vector<Shape> shapes;
  for (int i = 0; i < images; ++i) shapes.push_back(g.shape(operation.data_type, bands));
  const bool in_place = g.chance(5);
  if (in_place) shapes.back() = shapes.front();

  Made device[4], host[4];
  for (int i = 0; i < images; ++i) {
    make(shapes[size_t(i)], operation.data_type, seed + uint32_t(i), &device[i]);
    make(shapes[size_t(i)], operation.data_type, seed + uint32_t(i), &host[i]);
  }
  const auto build_op = [&](Made* made) {
    ZelOp* op = zel_default_state()->createOp(operation.name);
    for (int s = 0; s < info->sources; ++s) op->setSrc(s + 1, made[s].image);
    op->setDst(in_place ? made[0].image : made[images - 1].image);
    return op;
  };
  ZelImage* device_root = in_place ? device[0].root : device[images - 1].root;
  ZelImage* host_root = in_place ? host[0].root : host[images - 1].root;
  const std::vector<int> before = pixels(device_root);

  ZelOp* device_op = build_op(device);
  ZelOp* host_op = build_op(host);
  const ZelRunResult on_device = zel_run(device_op, ZelPath::device_only);
  const ZelRunResult on_host = zel_run(host_op, ZelPath::host_only);
  device_op->destroy();
  host_op->destroy();
  ASSERT_EQ(on_host.status, 0);

  std::string what = std::string(operation.name) + " seed " + std::to_string(seed);
  if (on_device.status != 0) {
    EXPECT_TRUE(refusable(shapes, operation.data_type)) << "refused: " << what;
    EXPECT_EQ(pixels(device_root), before) << "a refusal changed pixels: " << what;
    return;
  }
  ++*accepted;
  const std::vector<int> got = pixels(device_root), want = pixels(host_root);
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) {
    ASSERT_LE(std::abs(got[i] - want[i]), operation.tolerance)
        << what << ": element " << i << " of the destination's root";
  }
}

class Differential : public ::testing::TestWithParam<Operation> {};

TEST_P(Differential, DeviceMatchesTheHostOnRandomArrangements) {
  const Operation& operation = GetParam();
  Generator g(std::hash<std::string>{}(operation.name) & 0xFFFF);
  int accepted = 0;
  constexpr int kCases = 150;
  for (int c = 0; c < kCases; ++c) {
    run_case(operation, g, uint32_t(c * 16 + 1), &accepted);
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(accepted, kCases * 3 / 4) << "the device accepted too few cases to mean much";
  EXPECT_EQ(kxm::counters().faults, 0u);
}

INSTANTIATE_TEST_SUITE_P(Operations, Differential, ::testing::ValuesIn(kOperations),
                         [](const ::testing::TestParamInfo<Operation>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
