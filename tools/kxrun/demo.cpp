// The demonstration table.
#include "demo.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "kx_colour.h"
#include "kx_model.h"
#include "zel.h"
#include "zel_geometry.h"
#include "zel_params.h"

namespace {

// The largest difference each routine's words allow, from the registration table, by the
// operation's path ("convolve8/convolve8" for a two-level one).
std::string path_of(const char* name, const char* second) {
  return second != nullptr ? std::string(name) + "/" + second : std::string(name);
}
const std::map<std::string, int> kTolerance = {
#define KX_ROUTINE(Routine, name, second, data_type, tolerance) \
  {path_of(name, second), tolerance},
#include "kx_routines.def"
};

// Convolutions a row per kernel and edge condition: every size the device has, every
// condition, with kernels it takes (multiples of 1/256, sums within range).
struct DemoKernel {
  ZelParams params;
  std::string label;
  ZelParamValues::Kernel kernels[2];
  long edge;
};
std::vector<float> binomial(int n) {  // 1 2 1 / 4, 1 4 6 4 1 / 16, ...
  std::vector<float> row(size_t(n), 0.0f);
  row[0] = 1;
  for (int k = 1; k < n; ++k) {
    for (int i = k; i > 0; --i) row[size_t(i)] += row[size_t(i - 1)];
  }
  for (float& v : row) v /= float(1 << (n - 1));
  return row;
}
std::vector<float> sharpen(int n) {  // -1/256 around, the centre making the sum 1
  std::vector<float> k(size_t(n * n), -1.0f / 256);
  k[size_t(n * n / 2)] = 1.0f + float(n * n - 1) / 256;
  return k;
}
const std::vector<DemoKernel>& demo_kernels() {
  static const std::vector<DemoKernel> kernels = [] {
    std::vector<DemoKernel> k;
    const char* const names[] = {"none", "zero", "extend"};
    const auto square = [](int n, std::vector<float> values) {
      return ZelParamValues::Kernel{n, n, n / 2, n / 2, std::move(values)};
    };
    std::vector<float> blur5;  // 5 x 5 binomial: every value below 1, the h kernels
    for (float v : binomial(5)) {
      for (float u : binomial(5)) blur5.push_back(v * u);
    }
    const std::vector<float> sharp3 = {0, -0.25f, 0, -0.25f, 2, -0.25f, 0, -0.25f, 0};
    for (long e = ZEL_EDGE_NO_WRITE; e <= ZEL_EDGE_EXTEND; ++e) {
      const std::string edge = std::string(" ") + names[e];
      k.push_back({ZelParams::kernel, "3x3 sharpen" + edge, {square(3, sharp3), {}}, e});
      k.push_back({ZelParams::kernel, "5x5 blur" + edge, {square(5, blur5), {}}, e});
      k.push_back({ZelParams::kernel, "7x7 sharpen" + edge, {square(7, sharpen(7)), {}}, e});
    }
    k.push_back({ZelParams::kernel_pointer, "3x3 sharpen extend", {square(3, sharp3), {}}, 2});
    k.push_back({ZelParams::kernel_pointer, "5x5 blur zero", {square(5, blur5), {}}, 1});
    k.push_back(
        {ZelParams::kernel_pointer, "7x7 sharpen none", {square(7, sharpen(7)), {}}, 0});
    for (int n = 3; n <= 7; n += 2) {
      const std::vector<float> b = binomial(n);
      const long e = (7 - n) / 2;  // 3: extend, 5: zero, 7: none
      k.push_back({ZelParams::kernel_pair,
                   std::to_string(n) + "-tap blur " + names[e],
                   {{n, 1, n / 2, 0, b}, {1, n, 0, n / 2, b}},
                   e});
    }
    return k;
  }();
  return kernels;
}

// The colour conversions the device makes, with the largest difference of each.
struct ColourRow {
  int from, to;
  int tolerance;
};
constexpr int largest(std::initializer_list<int> bounds) {
  int most = 0;
  for (int b : bounds) most = std::max(most, b < 0 ? -b : b);
  return most;
}
const ColourRow kColourRows[] = {
#define KX_COLOUR(from, to, ...) {kx_space::from, kx_space::to, largest({__VA_ARGS__})},
#include "kx_colour.def"
};

// One arrangement of images an operation is run on.
struct Arrangement {
  unsigned bands;          // of the sources, and of the destination unless dst_bands says
  int origin_x, origin_y;  // of the first source
  bool region;             // a region of interest on the destination
  unsigned dst_bands = 0;
  bool band_child = false;  // the destination is bands 1..3 of a 4-band image
};
const std::vector<Arrangement> kArrangements = {
    {1, 0, 0, false}, {3, 0, 0, false}, {4, 0, 0, false}, {1, 5, -3, true}, {3, -7, 2, true},
};
// Lookups read one band: into one band, four bands and bands 1..3 of a 4-band image; the
// 16-bit ones into one band only.
const std::vector<Arrangement> kLookup8Arrangements = {
    {1, 0, 0, false, 1}, {1, 0, 0, false, 4}, {1, 0, 0, false, 3, true}, {1, 5, -3, true, 1}};
const std::vector<Arrangement> kLookupArrangements = {{1, 0, 0, false, 1}, {1, 5, -3, true, 1}};
constexpr unsigned kWidth = 320, kHeight = 200;

// Deterministic pixels: half small values, half anywhere in the type's range (or, with
// `magnitudes`, their absolute values).
void fill(ZelImage* image, unsigned seed, bool magnitudes = false) {
  uint32_t state = seed * 2654435761u + 12345u;
  const bool wide = image->getDataType() == ZEL_INT16;
  for (unsigned y = 0; y < image->getHeight(); ++y) {
    for (unsigned x = 0; x < image->getWidth(); ++x) {
      for (unsigned b = 0; b < image->getBands(); ++b) {
        state = state * 1664525u + 1013904223u;
        const int r = int(state >> 8);
        int v = wide ? (r & 1 ? (r >> 1) % 401 - 200 : (r >> 1) % 65536 - 32768) : r % 256;
        image->setPixel(x, y, b, magnitudes ? std::min(std::abs(v), 32767) : v);
      }
    }
  }
}

// Every band of every pixel, row by row.
std::vector<int> pixels_of(ZelImage* image) {
  std::vector<int> out;
  for (unsigned y = 0; y < image->getHeight(); ++y) {
    for (unsigned x = 0; x < image->getWidth(); ++x) {
      for (unsigned b = 0; b < image->getBands(); ++b) out.push_back(image->getPixel(x, y, b));
    }
  }
  return out;
}

struct Outcome {
  int arrangements = 0;
  int accepted = 0;  // arrangements the device ran; it refuses some by design
  int max_difference = 0;
  uint64_t words = 0;
  double pixels = 0;
  double seconds = 0;
};

// `example` holds the parameters: the operation's example ones, or a colour conversion's.
void run_arrangement(const ZelOperationInfo& info, const Arrangement& a,
                     const ZelParamValues& example, Outcome* out) {
  ZelSystemState* state = zel_default_state();
  unsigned bands = info.data_type == ZEL_INT16 && a.bands == 4 ? 3 : a.bands;
  if (info.bands != 0) bands = info.bands;
  const unsigned dst_bands = a.dst_bands ? a.dst_bands : bands;
  const int dst_type = info.dst_data_type ? info.dst_data_type : info.data_type;
  const bool has_dst = info.params != ZelParams::extrema;
  // A blend's alpha is one band of its own type; 16-bit blends take sources of one sign.
  const bool one_sign = info.src3_data_type != 0 && info.data_type == ZEL_INT16;
  std::vector<ZelImage*> sources;
  for (int s = 0; s < info.sources; ++s) {
    const bool alpha = s == 2 && info.src3_data_type != 0;
    ZelImage* image = state->createImage(kWidth, kHeight, alpha ? 1 : bands,
                                         alpha ? info.src3_data_type : info.data_type, 4 * s);
    fill(image, 17 * s + bands, one_sign && !alpha);
    sources.push_back(image);
  }
  if (!sources.empty()) sources[0]->setOrigin(a.origin_x, a.origin_y);
  // The destinations' roots (compared whole) and the images the operations write.
  ZelImage* dst[2] = {nullptr, nullptr};
  ZelImage* written[2] = {nullptr, nullptr};
  ZelParamValues params[2] = {example, example};
  if (info.params == ZelParams::lookup) {  // a table with the destination's bands
    for (ZelParamValues& p : params) {
      p.table_bands = dst_bands;
      zel_example_params(info, &p);
    }
  }
  for (int side = 0; side < 2 && has_dst; ++side) {
    dst[side] = state->createImage(kWidth, kHeight, a.band_child ? 4 : dst_bands, dst_type, 8);
    fill(dst[side], 99);
    written[side] =
        a.band_child ? dst[side]->createChild(0, 0, kWidth, kHeight, 1, 3) : dst[side];
  }
  // The region of interest goes on the destination, or on the image extrema reads.
  std::vector<ZelImage*> with_region = sources;
  if (has_dst) with_region.assign(written, written + 2);
  for (ZelImage* image : with_region) {
    if (!a.region) break;
    ZelRoi* roi = state->createRoi();
    roi->addRect(11, 13, kWidth / 2, kHeight / 2);
    roi->addRect(kWidth / 2 + 20, 3, 40, kHeight - 10);
    image->setRoi(roi);
    roi->destroy();
  }
  // A rotation is checked by position: the device's destination as it was before.
  const std::vector<int> before = has_dst ? pixels_of(written[0]) : std::vector<int>{};
  ZelRunResult result[2];
  for (int side = 0; side < 2; ++side) {
    ZelOp* op = state->createOp(info.name);
    for (int s = 0; s < info.sources; ++s) op->setSrc(s + 1, sources[size_t(s)]);
    if (has_dst) op->setDst(written[side]);
    if (info.params == ZelParams::paint) op->setSrc(1, written[side]);  // in place
    zel_attach_params(op, info.params, &params[side]);
    const kxm::Counters before = kxm::counters();
    const auto start = std::chrono::steady_clock::now();
    result[side] = zel_run(op, side == 0 ? ZelPath::device_only : ZelPath::host_only);
    kxm::drain();
    if (side == 0) {
      out->seconds +=
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      out->words += kxm::counters().memory_words + kxm::counters().queue_words -
                    before.memory_words - before.queue_words;
    }
    zel_release_params(op, info.params);
    op->destroy();
  }
  ++out->arrangements;
  const bool ran = result[0].status == 0 && result[0].device_ran;
  if (ran) {
    ++out->accepted;
    ZelRoi* region = nullptr;
    ZelImage* first = has_dst ? dst[0] : sources[0];
    ZelRectList* list =
        has_dst ? ZeliGetRoiList(&region, written[0], info.sources > 0 ? sources[0] : nullptr,
                                 info.sources > 1 ? sources[1] : nullptr, nullptr)
                : first->getImageSpaceRoi()->getRectList();
    int x, y, w, h;
    while (list != nullptr && list->getNextRect(&x, &y, &w, &h)) out->pixels += double(w) * h;
    if (list != nullptr) list->destroy();
    if (region != nullptr) region->destroy();
    const auto note = [out](int difference) {
      out->max_difference = std::max(out->max_difference, std::abs(difference));
    };
    if (info.params == ZelParams::rotate) {  // misplaced pixels, not differences
      note(int(zel_rotation_misplaced(sources[0], written[0], before, params[0].angle)));
    }
    for (unsigned y0 = 0; has_dst && y0 < kHeight && info.params != ZelParams::rotate; ++y0) {
      for (unsigned x0 = 0; x0 < kWidth; ++x0) {
        for (unsigned b = 0; b < dst[0]->getBands(); ++b) {
          note(dst[0]->getPixel(x0, y0, b) - dst[1]->getPixel(x0, y0, b));
        }
      }
    }
    for (unsigned b = 0; !has_dst && b < bands; ++b) {
      note(int(params[0].maxima[b] - params[1].maxima[b]));
      note(int(params[0].minima[b] - params[1].minima[b]));
    }
  }
  for (ZelImage* d : dst) {
    if (d != nullptr) d->destroy();
  }
  for (ZelImage* s : sources) s->destroy();
}

}  // namespace

int run_demo() {
  std::string why;
  if (zel_load_device(zel_default_device_path().c_str(), &why) == nullptr) {
    std::fprintf(stderr, "kxrun: cannot load the KX plug-in: %s\n", why.c_str());
    return 1;
  }
  zel_set_quiet(true);
  std::printf(
      "The KX plug-in on the processor model: each operation on %ux%u images of 1, 3\n"
      "and 4 bands (3 for 16-bit), with origins and regions, against the host; lookups\n"
      "into 1 and 4 bands and bands 1..3 of a 4-band image, colour conversion a row per\n"
      "pair of spaces, convolutions a row per kernel and edge condition on whole images.\n\n",
      kWidth, kHeight);
  std::printf("%-24s %-8s %9s %10s %9s %11s\n", "operation", "device", "max diff", "tolerance",
              "words", "Mpixel/s");
  int partly = 0;
  bool positional = false;
  bool all_good = true;
  const auto row = [&](const std::string& label, const ZelOperationInfo& info,
                       const std::vector<Arrangement>& arrangements,
                       const ZelParamValues& example, int tolerance) {
    Outcome out;
    for (const Arrangement& a : arrangements) run_arrangement(info, a, example, &out);
    // A tolerance of -1 is one of position: no pixel may be misplaced.
    const bool good = out.accepted > 0 && out.max_difference <= std::max(tolerance, 0);
    positional = positional || tolerance < 0;
    all_good = all_good && good;
    partly += out.accepted < out.arrangements ? 1 : 0;
    const std::string ran =
        std::to_string(out.accepted) + "/" + std::to_string(out.arrangements);
    std::printf("%-24s %-8s %9d %10d %9llu %11.1f%s\n", label.c_str(), ran.c_str(),
                out.max_difference, tolerance, static_cast<unsigned long long>(out.words),
                out.seconds > 0 ? out.pixels / out.seconds / 1e6 : 0.0,
                good ? "" : "  MISMATCH");
  };
  for (const std::string& name : zel_global_state->registeredPaths()) {
    const ZelOperationInfo* info = zel_operation_info(name.c_str());
    const auto tolerance = kTolerance.find(name);
    if (info == nullptr || tolerance == kTolerance.end()) {
      std::printf("%-24s %-8s (no host implementation to compare with)\n", name.c_str(), "-");
      all_good = false;
      continue;
    }
    if (info->params == ZelParams::colorspaces) {  // a row per conversion
      std::printf("%s\n", name.c_str());
      for (const ColourRow& c : kColourRows) {
        ZelParamValues example;
        example.from_space = c.from;
        example.to_space = c.to;
        const unsigned in = zel_colorspace_info(c.from)->bands;
        const unsigned to = zel_colorspace_info(c.to)->bands;
        const std::string label = std::string("  ") + zel_colorspace_info(c.from)->name +
                                  " -> " + zel_colorspace_info(c.to)->name;
        row(label, *info, {{in, 0, 0, false, to}, {in, -7, 2, true, to}}, example, c.tolerance);
      }
      continue;
    }
    if (info->params == ZelParams::kernel || info->params == ZelParams::kernel_pointer ||
        info->params == ZelParams::kernel_pair) {  // a row per kernel and edge condition
      std::printf("%s\n", name.c_str());
      // The whole source in one rectangle (the device refuses parts of it, by design).
      const std::vector<Arrangement> whole =
          info->data_type == ZEL_INT16
              ? std::vector<Arrangement>{{1, 0, 0, false}}
              : std::vector<Arrangement>{{1, 0, 0, false}, {3, 0, 0, false}, {4, 0, 0, false}};
      for (const DemoKernel& k : demo_kernels()) {
        if (k.params != info->params) continue;
        ZelParamValues example;
        example.kernels[0] = k.kernels[0];
        example.kernels[1] = k.kernels[1];
        example.edges[0] = example.edges[1] = k.edge;
        row("  " + k.label, *info, whole, example, tolerance->second);
      }
      continue;
    }
    const bool lookup = info->params == ZelParams::lookup;
    const bool lookup8_8 = lookup && info->data_type == ZEL_UINT8 && info->dst_data_type == 0;
    ZelParamValues example;
    zel_example_params(*info, &example);
    row(name, *info,
        !lookup     ? kArrangements
        : lookup8_8 ? kLookup8Arrangements
                    : kLookupArrangements,
        example, tolerance->second);
  }
  if (positional) {
    std::printf(
        "\nA tolerance of -1 (the rotations) is one of position: \"max diff\" counts the "
        "pixels\n"
        "no nearest-neighbour rotation may hold (docs/operations.md).\n");
  }
  if (partly > 0) {
    std::printf(
        "\n\"device\" counts the arrangements the device ran; it refuses some by design\n"
        "(docs/operations.md), and the host then runs them.\n");
  }
  const uint64_t faults = kxm::counters().faults;
  std::printf("\nprocessor faults: %llu\n", static_cast<unsigned long long>(faults));
  all_good = all_good && faults == 0;
  std::printf("%s\n", all_good ? "every operation matches the host" : "FAILED");
  return all_good ? 0 : 1;
}
