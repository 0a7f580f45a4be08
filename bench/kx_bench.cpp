// Throughput of operations through the plug-in on the processor model, beside the host's
// software implementation and a plain memcpy of one image's bytes, in one run.
//
// Each benchmark reports megapixels per second and, for device runs, instruction words
// issued per pixel; a table of ratios against the host and against memcpy follows.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "kx_model.h"
#include "zel.h"
#include "zel_params.h"

namespace {

constexpr unsigned kSide = 2048;

struct Case {
  const char* name;
  int data_type;
  unsigned bands;
  int from = 0, to = 0;  // colour spaces of a colour conversion
  int taps = 0;          // a convolution's kernel size
};
// Lookups include setting their table up: each call makes and releases it.
const Case kCases[] = {{"add8", ZEL_UINT8, 1},
                       {"add16", ZEL_INT16, 1},
                       {"add8", ZEL_UINT8, 4},
                       {"addconst8", ZEL_UINT8, 1},
                       {"and8", ZEL_UINT8, 1},
                       {"copy8", ZEL_UINT8, 1},
                       {"setvalue8", ZEL_UINT8, 1},
                       {"extrema8", ZEL_UINT8, 1},
                       {"lookup8_8", ZEL_UINT8, 1},
                       {"lookup16_16", ZEL_INT16, 1},
                       {"colorconvert", ZEL_UINT8, 3, ZEL_CS_RGB709, ZEL_CS_YCC601},
                       {"colorconvert", ZEL_UINT8, 3, ZEL_CS_RGBLINEAR, ZEL_CS_RGB709},
                       {"blend8a8", ZEL_UINT8, 1},
                       {"blend8a8", ZEL_UINT8, 4},
                       {"blend16a16", ZEL_INT16, 1},
                       {"paint8", ZEL_UINT8, 3},
                       {"convolve8", ZEL_UINT8, 1, 0, 0, 3},
                       {"convolve8", ZEL_UINT8, 1, 0, 0, 7},
                       {"convolve8/convolve8", ZEL_UINT8, 1, 0, 0, 7}};
// Painting: this many stamps of a brush this wide and high, at points spread over the image;
// its pixels are the stamps' pixels.
constexpr unsigned kStamps = 1000, kBrush = 15;

// Kernels the device takes (multiples of 1/256): an n x n sharpening kernel (-1/256 around,
// the centre making the sum 1) for a convolution, a binomial blur each way for a pair.
void convolution_params(const Case& c, ZelParamValues* v) {
  const int n = c.taps;
  if (std::strchr(c.name, '/') != nullptr) {
    std::vector<float> row(size_t(n), 0.0f);
    row[0] = 1;
    for (int k = 1; k < n; ++k) {
      for (int i = k; i > 0; --i) row[size_t(i)] += row[size_t(i - 1)];
    }
    for (float& x : row) x /= float(1 << (n - 1));
    v->kernels[0] = {n, 1, n / 2, 0, row};
    v->kernels[1] = {1, n, 0, n / 2, row};
    return;
  }
  std::vector<float> k(size_t(n * n), -1.0f / 256);
  k[size_t(n * n / 2)] = 1.0f + float(n * n - 1) / 256;
  v->kernels[0] = {n, n, n / 2, n / 2, k};
}

std::string label(const Case& c) {
  if (c.from != 0) {
    return std::string(c.name) + ":" + zel_colorspace_info(c.from)->name + ">" +
           zel_colorspace_info(c.to)->name;
  }
  char text[48];
  if (c.taps != 0) {
    if (std::strchr(c.name, '/') != nullptr) {
      std::snprintf(text, sizeof text, "%s:%d-tap", c.name, c.taps);
    } else {
      std::snprintf(text, sizeof text, "%s:%dx%d", c.name, c.taps, c.taps);
    }
    return text;
  }
  std::snprintf(text, sizeof text, c.bands > 1 ? "%sx%u" : "%s", c.name, c.bands);
  return text;
}

size_t pixel_bytes(const Case& c) {
  return c.data_type == ZEL_INT16 ? 2u * c.bands : (c.bands == 1 ? 1u : 4u);
}

void fill(ZelImage* image, unsigned seed) {
  auto* kx = static_cast<__ZelKXStorage*>(image->getStorage("kx"));
  const size_t bytes = size_t(kx->line_stride) * image->getHeight() *
                       (image->getDataType() == ZEL_INT16 ? 2 : 1);
  for (size_t i = 0; i < bytes; ++i) kx->host_address[i] = uint8_t(i * 31 + seed);
}

// Blends keep the plane mask in force: a one-band 8-bit addition sets it to all ones.
void all_ones_mask() {
  ZelSystemState* s = zel_default_state();
  ZelImage* a = s->createImage(1, 1, 1, ZEL_UINT8);
  ZelOp* op = s->createOp("add8");
  op->setSrc(1, a);
  op->setSrc(2, a);
  op->setDst(a);
  zel_run(op, ZelPath::device_only);
  op->destroy();
  a->destroy();
}

void non_negative(ZelImage* image) {
  for (unsigned y = 0; y < image->getHeight(); ++y) {
    for (unsigned x = 0; x < image->getWidth(); ++x) {
      image->setPixel(x, y, 0, image->getPixel(x, y, 0) & 0x7FFF);
    }
  }
}

// The operation on fresh 2048 x 2048 images, its parameters the examples the host offers.
void run(benchmark::State& state, const Case& c, ZelPath path) {
  ZelSystemState* s = zel_default_state();
  const ZelOperationInfo* info = zel_operation_info(c.name);
  if (info == nullptr) {
    state.SkipWithError("the host has no such operation");
    return;
  }
  std::vector<ZelImage*> images;
  const bool paint = info->params == ZelParams::paint;
  for (int i = 0; i < info->sources && !paint; ++i) {
    const bool alpha = i == 2 && info->src3_data_type != 0;  // one band of its own type
    images.push_back(s->createImage(kSide, kSide, alpha ? 1 : c.bands,
                                    alpha ? info->src3_data_type : c.data_type));
    fill(images.back(), unsigned(i + 1));
    if (info->src3_data_type == ZEL_INT16 && c.data_type == ZEL_INT16 && !alpha) {
      non_negative(images.back());  // 16-bit blends take sources of one sign
    }
  }
  ZelOp* op = s->createOp(c.name);
  for (int i = 0; i < info->sources && !paint; ++i) op->setSrc(i + 1, images[size_t(i)]);
  if (info->params != ZelParams::extrema) {
    images.push_back(s->createImage(kSide, kSide, c.bands, c.data_type));
    op->setDst(images.back());
    if (paint) op->setSrc(1, images.back());  // in place
  }
  ZelParamValues params;
  zel_example_params(*info, &params);
  if (c.from != 0) params.from_space = c.from, params.to_space = c.to;
  if (paint) {
    params.brush_width = params.brush_height = int(kBrush);
    params.brush.assign(kBrush * kBrush, 0.5f);
    params.points.clear();
    for (unsigned i = 0; i < kStamps; ++i) {
      params.points.push_back(float((i * 7919u) % kSide));
      params.points.push_back(float((i * 104729u) % kSide));
    }
  }
  if (c.taps != 0) convolution_params(c, &params);
  zel_attach_params(op, info->params, &params);
  if (info->src3_data_type != 0 || paint) all_ones_mask();
  const kxm::Counters before = kxm::counters();
  for (auto _ : state) {
    const ZelRunResult r = zel_run(op, path);
    if (r.status != 0) state.SkipWithError("the operation failed");
    kxm::drain();
  }
  const double pixels = paint ? double(kStamps) * kBrush * kBrush : double(kSide) * kSide;
  state.counters["Mpixel/s"] = benchmark::Counter(pixels * double(state.iterations()) / 1e6,
                                                  benchmark::Counter::kIsRate);
  if (path == ZelPath::device_only) {
    const double words = double(kxm::counters().memory_words + kxm::counters().queue_words -
                                before.memory_words - before.queue_words);
    state.counters["words/pixel"] = words / (pixels * double(state.iterations()));
  }
  zel_release_params(op, info->params);
  op->destroy();
  for (ZelImage* image : images) image->destroy();
}

void copy_bytes(benchmark::State& state, const Case& c) {
  const size_t bytes = size_t(kSide) * kSide * pixel_bytes(c);
  std::vector<uint8_t> from(bytes, 7), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.counters["Mpixel/s"] = benchmark::Counter(
      double(kSide) * kSide * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

// Collects each run's time per iteration and prints the ratios after the console table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) seconds_[run.benchmark_name()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nratios (time per image; below 1 the device is faster):\n");
    for (const Case& c : kCases) {
      const std::string l = label(c);
      const double device = seconds_["device/" + l], host = seconds_["host/" + l],
                   copy = seconds_["memcpy/" + l];
      if (device > 0 && host > 0 && copy > 0) {
        std::printf("  %-30s device/host %.2f   device/memcpy %.1f   host/memcpy %.1f\n",
                    l.c_str(), device / host, device / copy, host / copy);
      }
    }
  }

 private:
  std::map<std::string, double> seconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  zel_set_quiet(true);
  kxm::configure({});
  std::string why;
  if (zel_load_device(KX_PLUGIN_PATH, &why) == nullptr) {
    std::fprintf(stderr, "kx_bench: cannot load the plug-in: %s\n", why.c_str());
    return 1;
  }
  for (const Case& c : kCases) {
    const std::string l = label(c);
    benchmark::RegisterBenchmark(("device/" + l).c_str(), [c](benchmark::State& s) {
      run(s, c, ZelPath::device_only);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("host/" + l).c_str(), [c](benchmark::State& s) {
      run(s, c, ZelPath::host_only);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("memcpy/" + l).c_str(), [c](benchmark::State& s) {
      copy_bytes(s, c);
    })->Unit(benchmark::kMillisecond);
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  zel_unload_device();
  return 0;
}
