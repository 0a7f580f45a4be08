// Every registered operation through the loaded plug-in on the processor model, against the
// host's software implementation: random sizes, bands, origins, regions, children, in-place
// use and parameters. The device's destination must equal the host's (within the
// operation's tolerance) everywhere in its root image, or, when the device refuses for a
// documented reason, be untouched.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kx_colour.h"
#include "kx_model.h"
#include "zel.h"
#include "zel_colour.h"
#include "zel_geometry.h"
#include "zel_params.h"

namespace {

struct Operation {
  std::string name;  // the path: "convolve8/convolve8" for a two-level one
  int data_type;
  int tolerance;
};

std::string path_of(const char* name, const char* second) {
  return second != nullptr ? std::string(name) + "/" + second : std::string(name);
}

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

const Operation kOperations[] = {
#define KX_ROUTINE(Routine, name, second, data_type, tolerance) \
  {path_of(name, second), data_type, tolerance},
#include "kx_routines.def"
};

// The colour conversions the device makes, with each band's lowest and highest difference
// from the host.
struct ColourRow {
  int from, to;
  int bounds[3][2];
};
const ColourRow kColourRows[] = {
#define KX_COLOUR(from, to, lo0, hi0, lo1, hi1, lo2, hi2) \
  {kx_space::from, kx_space::to, {{lo0, hi0}, {lo1, hi1}, {lo2, hi2}}},
#include "kx_colour.def"
};

const ColourRow* colour_row(int from, int to) {
  for (const ColourRow& row : kColourRows) {
    if (row.from == from && row.to == to) return &row;
  }
  return nullptr;
}

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
  int type;
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

void make(const Shape& s, uint32_t seed, Made* out) {
  ZelSystemState* state = zel_default_state();
  const unsigned root_w = s.width + (s.child ? s.child_x + 3 : 0);
  const unsigned root_h = s.height + (s.child ? s.child_y + 2 : 0);
  out->root = state->createImage(root_w, root_h, s.root_bands, s.type, s.padding);
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

// Every pixel as its magnitude (one sign throughout).
void magnitudes(ZelImage* root) {
  for (unsigned y = 0; y < root->getHeight(); ++y) {
    for (unsigned x = 0; x < root->getWidth(); ++x) {
      for (unsigned b = 0; b < root->getBands(); ++b) {
        root->setPixel(x, y, b, std::min(std::abs(root->getPixel(x, y, b)), 32767));
      }
    }
  }
}

// A one-band 8-bit addition on the device sets the plane mask to all ones.
void reset_plane_mask() {
  ZelSystemState* state = zel_default_state();
  ZelImage* a = state->createImage(1, 1, 1, ZEL_UINT8);
  ZelOp* op = state->createOp("add8");
  op->setSrc(1, a);
  op->setSrc(2, a);
  op->setDst(a);
  ASSERT_EQ(zel_run(op, ZelPath::device_only).status, 0);
  op->destroy();
  a->destroy();
}

class Generator {
 public:
  explicit Generator(uint32_t seed) : random_(seed) {}

  unsigned bands(int type) {
    static const unsigned eight[] = {1, 3, 4}, sixteen[] = {1, 1, 2, 3, 4};
    return type == ZEL_UINT8 ? eight[pick(3)] : sixteen[pick(5)];
  }

  Shape shape(int type, unsigned bands) {
    Shape s{};
    s.type = type;
    s.width = pick(8) == 0 ? 1 + pick(300) : 1 + pick(40);
    s.height = pick(6) == 0 ? 1 : 1 + pick(12);
    s.bands = s.root_bands = bands;
    // Rows of 4-byte pixels are padded by whole pixels, except now and then.
    const bool four_byte = type == ZEL_UINT8 && bands > 1;
    s.padding = pick(3) == 0 ? (four_byte && !chance(8) ? 4 * pick(3) : pick(9)) : 0;
    s.origin_x = int(pick(7)) - 3;
    s.origin_y = int(pick(5)) - 2;
    switch (pick(5)) {
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
      case 2:  // one band of a multi-band root
        if (bands == 1) {
          s.child = true;
          s.root_bands = type == ZEL_UINT8 ? 3 + pick(2) : 3;
          s.child_band = pick(s.root_bands);
          s.child_x = pick(3);
          s.padding = four_byte_root(s) && !chance(8) ? 4 * pick(3) : s.padding;
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

  // Parameters for an operation: ordinary values mostly, limits and beyond now and then.
  void params(const std::string& name, int type, ZelParams kind, ZelParamValues* v) {
    const bool wide = type == ZEL_INT16;
    for (int b = 0; b < 4; ++b) {
      switch (kind) {
        case ZelParams::constants:
          v->lists[0][b] = constant(name, wide);
          break;
        case ZelParams::fill:
          v->lists[0][b] = float(int(pick(330)) - 15) + float(pick(4)) / 4;
          break;
        case ZelParams::bit_constants: {
          static const uint32_t edges[] = {0, 255, 256, 400, 32767, 40000, 0xFFFFFFFFu};
          v->bits[b] = chance(4) ? edges[pick(7)] : pick(wide ? 65536 : 256);
          break;
        }
        case ZelParams::rescale:
          v->lists[0][b] = fraction(wide, -600, 900);
          v->lists[1][b] = fraction(wide, wide ? -40000 * 256 : -300 * 256, 600 * 256);
          break;
        default:
          break;
      }
    }
    if (kind == ZelParams::matrix) {  // now and then one coefficient the device refuses
      for (int i = 0; i < 12; ++i) {
        v->matrix[i] =
            i % 4 == 3 ? float(int(pick(2001)) - 1000) : float(int(pick(600)) - 300) / 256;
      }
      if (chance(8)) v->matrix[pick(12)] += 0.3f;
    }
    if (kind == ZelParams::transpose) v->transpose = long(pick(7));
    if (kind == ZelParams::rotate) {  // none, quarter and half turns, any angle of both signs
      static const float turns[] = {0.0f, 1.5707964f, -1.5707964f, 3.1415927f};
      v->angle = chance(2) ? turns[pick(4)] : float(int(pick(20001)) - 10000) / 1000;
    }
    if (kind == ZelParams::translate) {  // whole, halves, tenths; now and then far away
      for (float& t : v->amounts) {
        // Negative offsets other than halves are refused by the nearest translations (their
        // region moves by (int)(t + 0.5)): mostly positive ones, so that most cases compare.
        static const float far[] = {1e6f, -1e6f, 3e7f, -0.5f, -2.5f, -1.3f};
        t = chance(10)  ? far[pick(6)]
            : chance(2) ? float(int(pick(16)) - 3)
                        : float(int(pick(151)) - 30) / 10;
        // The interpolating translations run whole offsets only: mostly give them those.
        if (name.find("nearest") == std::string::npos && !chance(5)) t = std::trunc(t);
      }
    }
    if (kind == ZelParams::threshold) {
      const int span = wide ? 70000 : 300;
      v->low = float(int(pick(unsigned(span))) - span / 2 + (wide ? 0 : 130));
      v->high = v->low + float(pick(wide ? 30000 : 150)) - (chance(6) ? 40.0f : 0.0f);
      if (chance(2)) v->low += float(pick(10)) / 10;
      if (chance(2)) v->high += float(pick(10)) / 10;
      v->map = float(int(pick(unsigned(span))) - span / 2 + (wide ? 0 : 130));
    }
  }

  // A lookup for a destination of `bands` bands: from one entry to 70000, offsets before,
  // inside and past the source's range; 16-bit entries anywhere, 0x8000 and above included.
  void table(bool wide_source, bool wide_entries, unsigned bands, ZelParamValues* v) {
    const int entries = chance(8)   ? 1 + int(pick(70000))
                        : chance(8) ? 1
                                    : 1 + int(pick(wide_source ? 4000 : 300));
    v->table_offset = wide_source ? int(pick(65536)) - 32768 : int(pick(700)) - 350;
    if (wide_source && chance(2)) v->table_offset = int(pick(600)) - 300;
    v->table_bands = bands;
    v->table.resize(size_t(entries) * bands);
    for (int& value : v->table)
      value = wide_entries ? int(pick(65536)) - 32768 : int(pick(256));
  }

  // A pair of colour spaces: mostly one the device converts, now and then any two.
  void spaces(ZelParamValues* v) {
    const std::vector<ZelColorspaceInfo>& all = zel_colorspaces();
    if (chance(6)) {
      v->from_space = all[pick(unsigned(all.size()))].opcode;
      v->to_space = all[pick(unsigned(all.size()))].opcode;
      return;
    }
    const ColourRow& row = kColourRows[pick(unsigned(std::size(kColourRows)))];
    v->from_space = row.from;
    v->to_space = row.to;
  }

  // A brush of 1..6 x 1..6 weights, its key near it, a colour and up to three points near
  // the image; now and then a weight or colour the device cannot take.
  void paint(const Shape& image, ZelParamValues* v) {
    v->brush_width = 1 + int(pick(6));
    v->brush_height = 1 + int(pick(6));
    v->brush_key_x = int(pick(unsigned(v->brush_width + 2))) - 1;
    v->brush_key_y = int(pick(unsigned(v->brush_height + 2))) - 1;
    v->brush.clear();
    for (int i = 0; i < v->brush_width * v->brush_height; ++i) {
      v->brush.push_back(chance(4) ? float(pick(2)) : float(pick(1001)) / 1000);
    }
    if (chance(12)) v->brush[pick(unsigned(v->brush.size()))] = 1.002f;
    for (float& c : v->lists[0]) c = float(pick(2560)) / 10;
    if (chance(12)) v->lists[0][pick(image.bands)] = chance(2) ? 255.6f : -0.7f;
    v->points.clear();
    for (unsigned i = pick(4); i > 0; --i) {
      v->points.push_back(float(int(pick(image.width + 8)) - 4) + float(pick(4)) / 4);
      v->points.push_back(float(int(pick(image.height + 6)) - 3) + float(pick(4)) / 4);
    }
  }

  // A convolution's kernels and edge conditions: mostly 3, 5 or 7 square kernels (a row
  // and a column for a pair) of multiples of 1/256; now and then arbitrary values, a
  // largest value of exactly 1.0, values up to 4, other shapes, keys off the centre; for a
  // pair unequal vectors, negative or heavy row kernels, unequal edge conditions.
  void kernels(bool pair, ZelParamValues* v) {
    static const int sizes[] = {3, 5, 7};
    const int n = sizes[pick(3)];
    v->edges[0] = v->edges[1] = long(pick(3));
    ZelParamValues::Kernel& first = v->kernels[0];
    if (!pair) {
      int w = n, h = n;
      if (chance(12)) w = 1 + int(pick(8)), h = 1 + int(pick(8));
      first = {w, h, w / 2, h / 2, {}};
      if (chance(16)) first.key_x = int(pick(unsigned(w)));
      const unsigned style = pick(8);
      for (int i = 0; i < w * h; ++i) {
        first.values.push_back(style == 0   ? float(int(pick(100001)) - 50000) / 70001
                               : style == 1 ? float(pick(256)) / 256
                               : style == 2 ? float(int(pick(2049)) - 1024) / 256
                                            : float(int(pick(97)) - 32) / 256);
      }
      if (style == 1) first.values[pick(unsigned(w * h))] = 1.0f;
      if (style > 2) first.values[size_t(w * h / 2)] = float(pick(513)) / 256;
      return;
    }
    ZelParamValues::Kernel& second = v->kernels[1];
    first = {n, 1, n / 2, 0, {}};
    second = {1, n, 0, n / 2, {}};
    for (int i = 0; i < n; ++i) {
      first.values.push_back(float(pick(unsigned(256 / n + 1))) / 256);
      second.values.push_back(float(int(pick(81)) - 16) / 256);
    }
    if (chance(10)) first.values[pick(unsigned(n))] = -1.0f / 256;
    if (chance(10)) first.values[pick(unsigned(n))] = 0.75f;  // the sum may pass 1
    if (chance(10)) second.values[pick(unsigned(n))] = float(pick(1000)) / 7001;
    if (chance(12)) v->edges[1] = (v->edges[0] + 1) % 3;
    if (chance(12)) std::swap(first, second);  // the column kernel first
    if (chance(12)) first.key_x = 0;
  }

  // A width that meets the strips of the kernels: their widths and one either side.
  unsigned strip_width() {
    static const unsigned widths[] = {1,  2,  3,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                                      16, 17, 18, 19, 24, 25, 26, 27, 28, 48, 49, 50, 53};
    return widths[pick(unsigned(std::size(widths)))];
  }

  bool chance(unsigned one_in) { return pick(one_in) == 0; }
  unsigned number(unsigned below) { return pick(below); }

 private:
  unsigned pick(unsigned n) { return unsigned(random_() % n); }

  static bool four_byte_root(const Shape& s) { return s.type == ZEL_UINT8 && s.root_bands > 2; }

  // Arithmetic constants, multiplier factors or divisors, by operation.
  float constant(const std::string& name, bool wide) {
    if (name.rfind("multiplyconst", 0) == 0) {
      static const float edges[] = {0.0f,   1.0f,   0.5f,    1.0f / 256, 1.0f / 300,
                                    255.9f, 256.0f, 256.01f, -2.0f,      1e-6f};
      return chance(3) ? edges[pick(10)] : float(pick(4000)) / 1000;
    }
    if (name.rfind("divideconst", 0) == 0) {
      static const float edges[] = {0.0f, 1.0f, 2.0f, 3.0f, 0.5f, 1.0f / 256, 1e-5f, -7.0f};
      return chance(3) ? edges[pick(8)] : float(1 + pick(3000)) / 100;
    }
    static const float edges[] = {0.0f,     255.0f,    256.0f, -256.0f, 32767.0f,
                                  40000.0f, -40000.0f, 3e9f,   -3e9f};
    if (chance(4)) return edges[pick(9)];
    const float whole = wide ? float(int(pick(70000)) - 35000) : float(int(pick(601)) - 300);
    return whole + float(pick(10)) / 10;
  }

  // A multiple of 1/256 between lo/256 and hi/256 mostly; 16-bit operations get an
  // arbitrary value now and then, which they refuse.
  float fraction(bool wide, int lo, int hi) {
    const float k = float(lo + int(pick(unsigned(hi - lo))));
    return wide && !chance(8) ? k / 256 : k / 256 + float(pick(1000)) / 7000;
  }

  std::mt19937 random_;
};

// The byte of its 4-byte pixel that band 0 of a 3-band 8-bit image occupies.
unsigned lane(const Shape& s) {
  return s.root_bands == 4 && s.bands == 3 ? s.child_band : 1;
}
bool channel_child(const Shape& s) {
  return s.child && s.bands == 1 && s.root_bands > 1;
}

struct Case {
  const ZelOperationInfo* info;
  std::string name;
  std::vector<Shape> shapes;  // the sources, then the destination when there is one
  ZelParamValues params;
  bool mixed_signs = false;  // 16-bit blend sources left with both signs
  bool in_place = false;     // the destination is the first source
  // Convolutions: the area is one rectangle, the source's extent (and the destination's),
  // or nothing at all.
  bool whole_source = false, whole_destination = false, empty_area = false;
};

bool one_of(const std::string& name, std::initializer_list<const char*> names) {
  for (const char* n : names) {
    if (name == n) return true;
  }
  return false;
}

bool convolution(const ZelOperationInfo& info) {
  return info.params == ZelParams::kernel || info.params == ZelParams::kernel_pointer ||
         info.params == ZelParams::kernel_pair;
}

// How far a convolution's device result may be from the host's, by docs/operations.md:
// B, the coefficients' truncation carried to the pixel range (and, for a pair, the host's
// rounded intermediate), and the h kernels' floors; false when the words cannot give the
// host's result (the device refuses).
struct Reach {
  double error = 0, floors = 0;
  int lowest() const { return -int(std::ceil(0.5 + error + floors)); }
  int highest() const { return int(std::floor(0.5 + error)); }
};
int32_t fixed(float value, double scale) {  // truncated toward zero, saturated
  const double v = double(value) * scale;
  return v != v               ? 0
         : v >= 2147483647.0  ? INT32_MAX
         : v <= -2147483648.0 ? INT32_MIN
                              : int32_t(v);
}
bool convolution_reach(const std::string& name, unsigned bands, const ZelParamValues& p,
                       Reach* reach) {
  const ZelParamValues::Kernel& k = p.kernels[0];
  const auto centred = [](const ZelParamValues::Kernel& q) {
    return q.key_x == q.width / 2 && q.key_y == q.height / 2;
  };
  const auto sized = [](int n) { return n == 3 || n == 5 || n == 7; };
  if (name == "convolve8/convolve8") {
    const ZelParamValues::Kernel& c = p.kernels[1];
    if (p.edges[0] != p.edges[1] || k.height != 1 || c.width != 1 || c.height != k.width ||
        !sized(k.width) || !centred(k) || !centred(c)) {
      return false;
    }
    double row = 0, column = 0, ch = 0, cv = 0;
    for (int i = 0; i < k.width; ++i) {
      if (!(k.values[size_t(i)] >= 0)) return false;
      row += k.values[size_t(i)];
      column += std::fabs(double(c.values[size_t(i)]));
      ch += std::abs(double(fixed(k.values[size_t(i)], 256)));
      cv += std::abs(double(fixed(c.values[size_t(i)], 256)));
    }
    if (row > 1.0 || 255 * ch * cv >= 2147483648.0) return false;
    for (float v : c.values) {
      for (float h : k.values) {
        reach->error +=
            255 * std::fabs(double(v) * h - fixed(v, 256) * double(fixed(h, 256)) / 65536);
      }
    }
    reach->error += column / 2;
    return reach->error < 1;
  }
  if (k.width != k.height || !sized(k.width) || !centred(k)) return false;
  const bool wide = name == "convolve16";
  bool fine = true;
  for (float v : k.values) fine = fine && (wide ? v <= 1.0f : v < 1.0f);
  if (!wide && bands == 1 && k.width == 7) fine = false;
  const double scale = fine ? 65536 : 256, m = wide ? 32768 : 255;
  double sum = 0;
  for (float v : k.values) {
    reach->error += m * std::fabs(double(v) - fixed(v, scale) / scale);
    sum += m * std::abs(double(fixed(v, scale))) / (fine ? 256 : 1);
  }
  reach->floors = fine ? double(k.values.size()) / 256 : 0;
  return reach->error < (wide ? 128 : 1) && sum < 2147483648.0;
}

bool representable(float value) {
  const double scaled = double(value) * 256;
  return std::fabs(scaled) < 2147483647.0 && scaled == std::trunc(scaled);
}

// The operations the device runs on one-band images only.
bool one_band_only(const std::string& name) {
  return one_of(name, {"addconst16",
                       "subtractconst16",
                       "subtractfromconst16",
                       "multiplyconst16",
                       "divideconst16",
                       "andconst16",
                       "orconst16",
                       "xorconst16",
                       "rescale16",
                       "threshold8",
                       "threshold16",
                       "extrema16",
                       "copy16",
                       "blend8a16",
                       "blend16a8",
                       "blend16a16",
                       "convolve16",
                       "transpose16",
                       "translate16nearest",
                       "translate16bilinear",
                       "translate16bicubic",
                       "rotate16nearest"});
}

// The refusals docs/operations.md documents, for this case.
bool documented_refusal(const Case& c) {
  const std::string& n = c.name;
  const Shape& first = c.shapes.front();
  const Shape& last = c.shapes.back();
  const unsigned bands = first.bands;
  const ZelParamValues& p = c.params;
  for (const Shape& s : c.shapes) {
    if (s.type == ZEL_UINT8 && s.bands == 3 && lane(s) != lane(first)) return true;
    if (s.type == ZEL_UINT8 && s.root_bands > 1 && s.padding % 4 != 0) return true;
    if (channel_child(s) && !one_of(n, {"copy8", "copy16"})) return true;
    const bool sixteen_bit_checks = s.type == ZEL_INT16 || c.info->dst_data_type == ZEL_INT16;
    if (s.child && s.root_bands != s.bands && sixteen_bit_checks && !channel_child(s)) {
      return true;
    }
  }
  if (n == "copy16" && (last.bands != 1 || (channel_child(first) && channel_child(last)))) {
    return true;
  }
  if (n == "rescale16" && (first.child || last.child)) return true;
  // Transposes move pixels about: never within one image. transpose16 turns whole images
  // at origin (0, 0) of one size, square where the turn crosses a diagonal.
  if (n.rfind("transpose", 0) == 0 && c.in_place) return true;
  // Nearest translations: not within one image; offsets within 2^24 whose (int)(t + 0.5)
  // is floor(t + 0.5).
  if (n.rfind("translate", 0) == 0 && n.find("nearest") != std::string::npos) {
    if (c.in_place) return true;
    for (float t : p.amounts) {
      const double moved = double(t) + 0.5;
      if (std::fabs(t) > 16777216.0f || std::trunc(moved) != std::floor(moved)) return true;
    }
  }
  // Rotations: whole images, not within one image; sources whose rows are packed (their
  // contiguous copy) on an 8-byte boundary; 16-bit ones root images of one size and origin.
  if (n.rfind("rotate", 0) == 0) {
    if (c.in_place || first.region || last.region || first.padding != 0) return true;
    if (first.child &&
        (first.child_x != 0 || first.child_y != 0 || first.bands != first.root_bands)) {
      return true;
    }
    if (n == "rotate16nearest" &&
        (first.child || last.child || first.origin_x != last.origin_x ||
         first.origin_y != last.origin_y || first.width != last.width ||
         first.height != last.height)) {
      return true;
    }
  }
  // Interpolating translations run whole offsets only, as copies.
  if (one_of(n, {"translate8bilinear", "translate16bilinear", "translate8bicubic",
                 "translate16bicubic"})) {
    if (c.in_place) return true;
    for (float t : p.amounts) {
      if (std::fabs(t) > 16777216.0f || t != std::trunc(t)) return true;
    }
  }
  if (n == "transpose16") {
    const auto whole = [](const Shape& s) {
      return s.origin_x == 0 && s.origin_y == 0 &&
             (!s.region || (s.rx <= 0 && s.ry <= 0 && s.rx + s.rw >= int(s.width) &&
                            s.ry + s.rh >= int(s.height)));
    };
    const bool across =
        p.transpose == 2 || p.transpose == 3 || p.transpose == 4 || p.transpose == 6;
    if (!whole(first) || !whole(last) || first.width != last.width ||
        first.height != last.height || (across && first.width != first.height)) {
      return true;
    }
  }
  if (one_band_only(n) && (bands != 1 || last.bands != 1)) return true;
  // Lookups: the 16-bit ones write one band; lookup8_8 writes 3 bands only as bands 1..3 of
  // a 4-band image (whose other band the plane mask keeps).
  if (c.info->params == ZelParams::lookup) {
    if (n != "lookup8_8" && last.bands != 1) return true;
    if (last.bands == 3 && !(last.root_bands == 4 && last.child_band == 1)) return true;
  }
  // Colour conversion: a pair of spaces the device has a row for; 3-band images with their
  // bands in bytes 1..3; a destination whose pixels' spare byte belongs to no other band.
  if (c.info->params == ZelParams::colorspaces) {
    if (colour_row(p.from_space, p.to_space) == nullptr) return true;
    for (const Shape& s : c.shapes) {
      if (s.bands == 3 && lane(s) == 0) return true;
    }
    if (last.bands == 3 && last.root_bands == 4) return true;
  }

  const bool blend = n.rfind("blend", 0) == 0;
  if (blend || n == "paint8") {
    // One element a pixel or whole 4-byte pixels with bands in bytes 1..3, and a mask of
    // all ones that may not reach another image's band.
    for (const Shape& s : c.shapes) {
      if (s.type == ZEL_UINT8 && s.bands == 3 && lane(s) != 1) return true;
      if (s.child && s.root_bands != s.bands) return true;  // alpha or pixels strided
    }
    if (last.bands == 3 && last.root_bands == 4) return true;
    if ((n == "blend8a16" || n.rfind("blend16", 0) == 0) && last.bands != 1) return true;
    if (n.rfind("blend16", 0) == 0 && c.mixed_signs) return true;  // sources of two signs
    if (n == "paint8") {
      for (unsigned b = 0; b < bands; ++b) {
        const double r = double(p.lists[0][b]) + 0.5;
        if (!(r >= 0 && r < 256)) return true;
      }
      for (float w : p.brush) {
        if (!(w >= 0 && w <= 1)) return true;
      }
    }
  }

  const unsigned used = first.type == ZEL_INT16 ? 1 : bands;
  for (unsigned b = 0; b < used; ++b) {
    const float f = p.lists[0][b];
    if (n.rfind("multiplyconst", 0) == 0 && !(float(double(f) * 256) <= 65536.0f)) return true;
    if (n == "divideconst8" &&
        (f == 0 || !(float(double(float(1.0 / double(f))) * 256) <= 65536.0f))) {
      return true;
    }
    if (n == "divideconst16" && (f == 0 || std::fabs(65536.0 / double(f)) >= 2147483648.0)) {
      return true;
    }
  }
  if (one_of(n, {"andconst8", "orconst8", "xorconst8"}) && (bands == 4 || lane(first) == 0)) {
    for (unsigned b = 0; b < bands; ++b) {
      if (p.bits[b] != 0) return true;
    }
  }
  // Convolutions: both images with their bands in bytes 1..3, apart, over one rectangle
  // that is the whole source (Convolve16: and the destination, of one origin), and kernels
  // the words can follow.
  // An empty area succeeds once images and kernels pass.
  if (convolution(*c.info)) {
    for (const Shape& s : c.shapes) {
      if (s.type == ZEL_UINT8 && s.bands == 3 && lane(s) != 1) return true;
    }
    Reach reach;
    if (c.in_place || !convolution_reach(n, bands, p, &reach)) return true;
    if (n == "convolve16" &&
        (first.origin_x != last.origin_x || first.origin_y != last.origin_y)) {
      return true;
    }
    if (!c.empty_area && (!c.whole_source || (n == "convolve16" && !c.whole_destination))) {
      return true;
    }
  }
  if (n == "rescale16" && !(representable(p.lists[0][0]) && representable(p.lists[1][0]))) {
    return true;
  }
  if (n == "bandCombine16") {
    for (int row = 0; row < 3; ++row) {
      double reach = 0;  // the largest partial sum a row can make, in 1/256
      for (int i = 4 * row; i < 4 * row + 4; ++i) {
        const float m = p.matrix[i];
        if (i % 4 == 3 ? m != std::trunc(m) : !representable(m)) return true;
        reach += std::fabs(double(m)) * 256 * (i % 4 == 3 ? 1 : 32768);
      }
      if (reach > 2147483647.0) return true;
    }
  }
  return false;
}

// Every band of every pixel of an image (a child's own pixels), row by row.
std::vector<int> image_pixels(ZelImage* image) {
  std::vector<int> out;
  for (unsigned y = 0; y < image->getHeight(); ++y) {
    for (unsigned x = 0; x < image->getWidth(); ++x) {
      for (unsigned b = 0; b < image->getBands(); ++b) out.push_back(image->getPixel(x, y, b));
    }
  }
  return out;
}

void run_case(const Operation& operation, Generator& g, uint32_t seed, int* accepted) {
  Case c;
  c.name = operation.name;
  c.info = zel_operation_info(operation.name.c_str());
  ASSERT_NE(c.info, nullptr) << operation.name;
  const ZelOperationInfo& info = *c.info;
  const int src_type = info.data_type;
  const int dst_type = info.dst_data_type ? info.dst_data_type : src_type;
  // Operations the device runs on one band only mostly get one band, so that most cases
  // compare pixels.
  unsigned bands = info.bands                              ? info.bands
                   : one_band_only(c.name) && !g.chance(4) ? 1
                                                           : g.bands(src_type);
  unsigned dst_bands = bands;
  // A lookup's destination has the lookup's bands (the 16-bit ones run on one band);
  // colour conversion has the bands of its two spaces.
  if (info.params == ZelParams::lookup) {
    dst_bands = c.name == "lookup8_8" || g.chance(5) ? g.bands(dst_type) : 1;
  } else if (info.params == ZelParams::colorspaces) {
    g.spaces(&c.params);
    bands = zel_colorspace_info(c.params.from_space)->bands;
    dst_bands = zel_colorspace_info(c.params.to_space)->bands;
  }
  const bool has_dst = info.params != ZelParams::extrema;
  for (int i = 0; i < info.sources; ++i) {
    const bool alpha = i == 2 && info.src3_data_type != 0;  // one band of its own type
    c.shapes.push_back(alpha ? g.shape(info.src3_data_type, 1) : g.shape(src_type, bands));
    if (alpha && !g.chance(4)) c.shapes.back().child = false;  // mostly a root of its own
    if (alpha && !c.shapes.back().child) c.shapes.back().root_bands = 1;
  }
  if (has_dst) c.shapes.push_back(g.shape(dst_type, dst_bands));
  if (c.name == "rescale16" && !g.chance(4)) {  // it refuses every child: mostly roots
    for (Shape& s : c.shapes) s.child = false, s.root_bands = s.bands;
  }
  const bool in_place =
      info.params == ZelParams::paint || (info.sources > 0 && has_dst && src_type == dst_type &&
                                          bands == dst_bands && g.chance(5));
  if (convolution(info)) {  // mostly whole images of one size and origin
    Shape& src = c.shapes.front();
    if (g.chance(2)) src.width = g.strip_width();
    if (g.chance(10)) {  // storage ending on a page: one page of one-byte pixels
      src.width = src.height = 64, src.child = false, src.padding = 0,
      src.root_bands = src.bands;
    }
    if (!g.chance(4)) {
      src.region = false;
      Shape& dst = c.shapes.back();
      dst.width = src.width, dst.height = src.height;
      dst.origin_x = src.origin_x, dst.origin_y = src.origin_y;
      dst.region = g.chance(10);  // an empty one now and then
      dst.rx = dst.ry = dst.rw = dst.rh = 0;
    }
    g.kernels(info.params == ZelParams::kernel_pair, &c.params);
  }
  if (in_place) c.shapes.back() = c.shapes.front();
  c.in_place = in_place;
  // Rotations read a packed copy of the source's root, whole images only; rotate16nearest
  // root images of one size and origin: mostly give them those.
  if (c.name.rfind("rotate", 0) == 0 && !in_place && !g.chance(4)) {
    for (Shape& s : c.shapes) {
      s.padding = 0;
      s.region = false;
      if (c.name == "rotate16nearest") {
        s.child = false, s.root_bands = s.bands;
        s.width = c.shapes.front().width, s.height = c.shapes.front().height;
        s.origin_x = c.shapes.front().origin_x, s.origin_y = c.shapes.front().origin_y;
      }
    }
  }
  // transpose16 turns whole square images at origin (0, 0): mostly give it those.
  if (c.name == "transpose16" && !in_place && !g.chance(4)) {
    const unsigned side = g.chance(3) ? 1 + g.number(70) : 1 + g.number(12);
    for (Shape& s : c.shapes) {
      s.width = s.height = side;
      s.origin_x = s.origin_y = 0;
      s.region = false;
    }
  }
  g.params(c.name, src_type, info.params, &c.params);
  if (info.params == ZelParams::lookup) {
    g.table(src_type == ZEL_INT16, dst_type == ZEL_INT16, dst_bands, &c.params);
  }
  if (info.params == ZelParams::paint) g.paint(c.shapes.front(), &c.params);
  // 16-bit blends take sources of one sign: mostly give them that.
  const bool blend16 = c.name.rfind("blend16", 0) == 0;
  const bool one_sign = blend16 && !g.chance(4);
  c.mixed_signs = blend16 && !one_sign;

  const size_t images = c.shapes.size();
  Made device[4], host[4];
  for (size_t i = 0; i < images; ++i) {
    make(c.shapes[i], seed + uint32_t(i), &device[i]);
    make(c.shapes[i], seed + uint32_t(i), &host[i]);
    if (one_sign && i < 2) {
      for (ZelImage* root : {device[i].root, host[i].root}) magnitudes(root);
    }
  }
  reset_plane_mask();  // the blends keep the mask in force: start each case from all ones
  ZelParamValues device_params = c.params, host_params = c.params;
  const auto build_op = [&](Made* made, ZelParamValues* params) {
    ZelOp* op = zel_default_state()->createOp(operation.name.c_str());
    for (int s = 0; s < info.sources; ++s) op->setSrc(s + 1, made[s].image);
    if (has_dst) op->setDst(in_place ? made[0].image : made[images - 1].image);
    zel_attach_params(op, info.params, params);
    return op;
  };
  // The image the operation writes (or, for extrema, reads).
  ZelImage* device_root = in_place ? device[0].root : device[images - 1].root;
  ZelImage* host_root = in_place ? host[0].root : host[images - 1].root;
  const std::vector<int> before = pixels(device_root);
  ZelImage* dst_image = in_place ? device[0].image : device[images - 1].image;
  const std::vector<int> dst_before = has_dst ? image_pixels(dst_image) : std::vector<int>{};
  if (convolution(info)) {  // the area, as the host lists it
    ZelImage* src = host[0].image;
    ZelImage* dst = in_place ? src : host[images - 1].image;
    ZelRoi* roi = nullptr;
    ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
    ASSERT_NE(list, nullptr);
    std::vector<ZelRoi::Rect> rects;
    int x, y, w, h;
    while (list->getNextRect(&x, &y, &w, &h)) rects.push_back({x, y, w, h});
    list->destroy();
    roi->destroy();
    const auto extent = [&rects](ZelImage* image) {
      int ox, oy;
      image->getOrigin(&ox, &oy);
      return rects.size() == 1 && rects[0].x == -ox && rects[0].y == -oy &&
             unsigned(rects[0].width) == image->getWidth() &&
             unsigned(rects[0].height) == image->getHeight();
    };
    c.empty_area = rects.empty();
    c.whole_source = extent(src);
    c.whole_destination = extent(dst);
  }

  ZelOp* device_op = build_op(device, &device_params);
  ZelOp* host_op = build_op(host, &host_params);
  const ZelRunResult on_device = zel_run(device_op, ZelPath::device_only);
  kxm::drain();  // in deferred mode, the words still held
  const ZelRunResult on_host = zel_run(host_op, ZelPath::host_only);
  zel_release_params(device_op, info.params);
  zel_release_params(host_op, info.params);
  device_op->destroy();
  host_op->destroy();
  std::string what = operation.name + " seed " + std::to_string(seed);
  if (on_host.status != 0) {  // only a pair of colour spaces the host does not convert
    ASSERT_TRUE(info.params == ZelParams::colorspaces &&
                !zel_converts_colour(c.params.from_space, c.params.to_space))
        << "the host refused " << what;
    EXPECT_NE(on_device.status, 0) << what;
    EXPECT_EQ(pixels(device_root), before) << "a refusal changed pixels: " << what;
    return;
  }
  if (on_device.status != 0) {
    EXPECT_TRUE(documented_refusal(c)) << "refused: " << what;
    EXPECT_EQ(pixels(device_root), before) << "a refusal changed pixels: " << what;
    return;
  }
  ++*accepted;
  if (info.params == ZelParams::rotate) {
    // A question of position (kx_routines.def's -1): every pixel one a rotation may hold.
    unsigned x = 0, y = 0;
    EXPECT_EQ(
        zel_rotation_misplaced(device[0].image, dst_image, dst_before, c.params.angle, &x, &y),
        0)
        << what << ": first at pixel " << x << "," << y;
    return;
  }
  const std::vector<int> got = pixels(device_root), want = pixels(host_root);
  ASSERT_EQ(got.size(), want.size());
  // A colour conversion's bands each have their bounds (its accepted destinations are
  // whole pixels of their roots); every other operation one tolerance.
  const ColourRow* row = info.params == ZelParams::colorspaces
                             ? colour_row(c.params.from_space, c.params.to_space)
                             : nullptr;
  const unsigned root_bands = device_root->getBands();
  // A convolution's bounds follow from its kernel, within the table's tolerance.
  Reach reach;
  const bool convolved =
      convolution(info) && convolution_reach(c.name, bands, c.params, &reach);
  if (convolved) {
    EXPECT_GE(reach.lowest(), -operation.tolerance) << what;
    EXPECT_LE(reach.highest(), operation.tolerance) << what;
  }
  for (size_t i = 0; i < got.size(); ++i) {
    const int lo = row         ? row->bounds[std::min(i % root_bands, size_t{2})][0]
                   : convolved ? reach.lowest()
                               : -operation.tolerance;
    const int hi = row         ? row->bounds[std::min(i % root_bands, size_t{2})][1]
                   : convolved ? reach.highest()
                               : operation.tolerance;
    ASSERT_TRUE(got[i] - want[i] >= lo && got[i] - want[i] <= hi)
        << what << ": element " << i << " of the destination's root is " << got[i]
        << ", the host's " << want[i];
  }
  if (info.params == ZelParams::extrema) {
    for (unsigned b = 0; b < bands; ++b) {
      EXPECT_EQ(device_params.maxima[b], host_params.maxima[b]) << what << " band " << b;
      EXPECT_EQ(device_params.minima[b], host_params.minima[b]) << what << " band " << b;
    }
  }
  if (info.params == ZelParams::bit_constants) {  // the clamped constants, written back
    EXPECT_EQ(0, std::memcmp(device_params.bits, host_params.bits, sizeof host_params.bits))
        << what;
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
  EXPECT_GT(accepted, kCases / 4) << "the device accepted too few cases to mean much";
  EXPECT_EQ(kxm::counters().faults, 0u);
}

// The same with the processor holding words until the status word is read: a routine that
// changes the plane mask or raster op without waiting, or reads registers back too early,
// faults or returns stale values.
TEST_P(Differential, DeviceMatchesTheHostWhenItsWordsAreHeld) {
  const Operation& operation = GetParam();
  kxm::Config deferred;
  deferred.deferred = true;
  kxm::configure(deferred);
  Generator g(std::hash<std::string>{}(operation.name) & 0xFFFF);
  int accepted = 0;
  constexpr int kCases = 40;
  for (int c = 0; c < kCases && !HasFatalFailure(); ++c) {
    run_case(operation, g, uint32_t(c * 16 + 1), &accepted);
  }
  EXPECT_EQ(kxm::counters().faults, 0u);
  kxm::configure({});
}

// Every word an operation issues, at either port, decodes to a named line (no undefined
// encoding), and the one list of encodings rebuilds the same word from that line.
TEST_P(Differential, EveryIssuedWordDecodesAndIsRebuiltFromItsLine) {
  const Operation& operation = GetParam();
  std::set<std::string> lines;  // "mem WORD" / "queue WORD", each once
  kxm::set_trace([&lines](std::string_view line) {
    const std::string text(line);
    if (text.rfind("mem ", 0) == 0) lines.insert("mem " + text.substr(text.rfind(' ') + 1));
    if (text.rfind("queue ", 0) == 0) lines.insert(text);
  });
  Generator g(std::hash<std::string>{}(operation.name) & 0xFFFF);
  int accepted = 0;
  for (int c = 0; c < 30 && !HasFatalFailure(); ++c) {
    run_case(operation, g, uint32_t(c * 16 + 1), &accepted);
  }
  kxm::set_trace({});
  EXPECT_FALSE(lines.empty());
  for (const std::string& line : lines) {
    const uint32_t word = uint32_t(std::stoul(line.substr(line.find(' ') + 1), nullptr, 16));
    const bool memory = line[0] == 'm';
    const std::string text =
        memory ? kxm::disassemble_memory(word) : kxm::disassemble_queue(word);
    EXPECT_EQ(text.find("undefined"), std::string::npos) << line;
    uint32_t rebuilt = 0;
    EXPECT_TRUE(kxm::assemble(text, &rebuilt)) << line << ": " << text;
    EXPECT_EQ(rebuilt, word) << line << ": " << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, Differential, ::testing::ValuesIn(kOperations),
                         [](const ::testing::TestParamInfo<Operation>& info) {
                           std::string name = info.param.name;
                           std::replace(name.begin(), name.end(), '/', '_');
                           return name;
                         });

}  // namespace
