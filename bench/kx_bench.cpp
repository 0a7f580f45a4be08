// Throughput of operations through the plug-in on the processor model, beside the host's
// software implementation, a plain loop doing the same work and a memcpy of the same bytes,
// all in one run.
//
// Each device and host benchmark reports megapixels per second and, for device runs,
// instruction words issued per pixel and millions of words per second. The seven operations
// of the speed table run at 512 x 512, 2048 x 2048 and 4096 x 4096; the others at 2048 x 2048.
// The plain loops and memcpy run over arrays of four times the last-level cache each, so that
// they measure memory, not cache. Times are CPU times of the benchmark thread (the machine
// may be shared); a table of per-pixel time ratios follows the console output.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
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
// The speed table: each at every side of kSides, with a plain loop and memcpy beside it.
const Case kTableCases[] = {{"add8", ZEL_UINT8, 1},      {"add16", ZEL_INT16, 1},
                            {"addconst8", ZEL_UINT8, 1}, {"copy8", ZEL_UINT8, 1},
                            {"setvalue8", ZEL_UINT8, 1}, {"threshold8", ZEL_UINT8, 1},
                            {"extrema8", ZEL_UINT8, 1}};
constexpr unsigned kSides[] = {512, 2048, 4096};
// Further operations at kSide. Lookups include setting their table up: each call makes and
// releases it.
const Case kCases[] = {{"add8", ZEL_UINT8, 4},
                       {"and8", ZEL_UINT8, 1},
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
                       {"convolve8/convolve8", ZEL_UINT8, 1, 0, 0, 7},
                       {"transpose8", ZEL_UINT8, 1},
                       {"translate8nearest", ZEL_UINT8, 4},
                       {"rotate8nearest", ZEL_UINT8, 1}};
// Rotations turn 30 degrees about the images' centres (their origins there); each run
// includes the host's contiguous copy of the source.
constexpr float kRotation = 0.5235988f;
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

// The operation on fresh side x side images, its parameters the examples the host offers.
void run(benchmark::State& state, const Case& c, ZelPath path, unsigned side) {
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
    images.push_back(s->createImage(side, side, alpha ? 1 : c.bands,
                                    alpha ? info->src3_data_type : c.data_type));
    fill(images.back(), unsigned(i + 1));
    if (info->src3_data_type == ZEL_INT16 && c.data_type == ZEL_INT16 && !alpha) {
      non_negative(images.back());  // 16-bit blends take sources of one sign
    }
  }
  ZelOp* op = s->createOp(c.name);
  for (int i = 0; i < info->sources && !paint; ++i) op->setSrc(i + 1, images[size_t(i)]);
  if (info->params != ZelParams::extrema) {
    images.push_back(s->createImage(side, side, c.bands, c.data_type));
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
      params.points.push_back(float((i * 7919u) % side));
      params.points.push_back(float((i * 104729u) % side));
    }
  }
  if (info->params == ZelParams::rotate) {
    params.angle = kRotation;
    for (ZelImage* image : images) image->setOrigin(int(kSide / 2), int(kSide / 2));
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
  const double pixels = paint ? double(kStamps) * kBrush * kBrush : double(side) * side;
  state.counters["Mpixel/s"] = benchmark::Counter(pixels * double(state.iterations()) / 1e6,
                                                  benchmark::Counter::kIsRate);
  state.counters["pixels"] = pixels;
  if (path == ZelPath::device_only) {
    const double words = double(kxm::counters().memory_words + kxm::counters().queue_words -
                                before.memory_words - before.queue_words);
    state.counters["words/pixel"] = words / (pixels * double(state.iterations()));
    state.counters["Mword/s"] = benchmark::Counter(words / 1e6, benchmark::Counter::kIsRate);
  }
  zel_release_params(op, info->params);
  op->destroy();
  for (ZelImage* image : images) image->destroy();
}

// ---- Baselines over arrays larger than the last-level cache

// The last-level cache of the CPU running the benchmark: what the kernel lists for cpu0's
// level-3 cache (in a virtual machine sysconf may report the whole host's), else sysconf's
// figure, else 32 MiB.
size_t last_level_cache() {
  if (FILE* f = std::fopen("/sys/devices/system/cpu/cpu0/cache/index3/size", "r")) {
    unsigned long size = 0;
    char unit = 0;
    const int read = std::fscanf(f, "%lu%c", &size, &unit);
    std::fclose(f);
    if (read >= 1 && size > 0)
      return unit == 'M' ? size << 20 : unit == 'K' ? size << 10 : size;
  }
  long bytes = -1;
#ifdef _SC_LEVEL3_CACHE_SIZE
  bytes = sysconf(_SC_LEVEL3_CACHE_SIZE);
#endif
  return bytes > 0 ? size_t(bytes) : size_t{32} << 20;
}

// Bytes of each baseline array: four times the last-level cache.
size_t baseline_bytes() {
  return 4 * last_level_cache();
}

// The plain loop of a table operation over n contiguous one-band pixels: what a programmer
// writes for it in C++, left to the compiler, with the host's example parameters as run-time
// values.
template <typename T>
struct Arrays {
  std::vector<T> a, b, d;
  explicit Arrays(size_t n) : a(n), b(n), d(n) {
    for (size_t i = 0; i < n; ++i) a[i] = T(i * 31 + 1), b[i] = T(i * 17 + 2);
  }
};

void plain_loop(benchmark::State& state, const std::string& name) {
  const size_t n8 = baseline_bytes(), n16 = baseline_bytes() / 2;
  const bool wide = name == "add16";
  const size_t n = wide ? n16 : n8;
  Arrays<uint8_t> x(wide ? 0 : n);
  Arrays<int16_t> y(wide ? n : 0);
  uint8_t* d = x.d.data();
  const uint8_t* a = x.a.data();
  const uint8_t* b = x.b.data();
  // The operation's parameters are run-time values, as they are for the reference.
  int constant = 7, low = 61, high = 181, value = 255, colour = 12;
  benchmark::DoNotOptimize(constant);
  benchmark::DoNotOptimize(low);
  benchmark::DoNotOptimize(high);
  benchmark::DoNotOptimize(value);
  benchmark::DoNotOptimize(colour);
  for (auto _ : state) {
    if (name == "add8") {
      for (size_t i = 0; i < n; ++i) d[i] = uint8_t(std::clamp(a[i] + b[i], 0, 255));
    } else if (name == "add16") {
      int16_t* dw = y.d.data();
      const int16_t* aw = y.a.data();
      const int16_t* bw = y.b.data();
      for (size_t i = 0; i < n; ++i) dw[i] = int16_t(std::clamp(aw[i] + bw[i], -32768, 32767));
    } else if (name == "addconst8") {
      for (size_t i = 0; i < n; ++i) d[i] = uint8_t(std::clamp(a[i] + constant, 0, 255));
    } else if (name == "copy8") {
      for (size_t i = 0; i < n; ++i) d[i] = a[i];
    } else if (name == "setvalue8") {
      for (size_t i = 0; i < n; ++i) d[i] = uint8_t(colour);
    } else if (name == "threshold8") {
      for (size_t i = 0; i < n; ++i) d[i] = a[i] >= low && a[i] <= high ? uint8_t(value) : a[i];
    } else if (name == "extrema8") {
      int most = 0, least = 255;
      for (size_t i = 0; i < n; ++i)
        most = std::max(most, int(a[i])), least = std::min(least, int(a[i]));
      benchmark::DoNotOptimize(most);
      benchmark::DoNotOptimize(least);
    }
    benchmark::DoNotOptimize(d);
    benchmark::DoNotOptimize(y.d.data());
    benchmark::ClobberMemory();
  }
  state.counters["pixels"] = double(n);
  state.counters["Mpixel/s"] = benchmark::Counter(double(n) * double(state.iterations()) / 1e6,
                                                  benchmark::Counter::kIsRate);
}

// memcpy of the destination's bytes: n pixels of `bytes_per_pixel`.
void copy_bytes(benchmark::State& state, size_t bytes_per_pixel) {
  const size_t bytes = baseline_bytes();
  std::vector<uint8_t> from(bytes, 7), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  const double pixels = double(bytes / bytes_per_pixel);
  state.counters["pixels"] = pixels;
  state.counters["Mpixel/s"] = benchmark::Counter(pixels * double(state.iterations()) / 1e6,
                                                  benchmark::Counter::kIsRate);
}

std::string sized(const std::string& label, unsigned side) {
  return label + "/" + std::to_string(side);
}

// Collects each run's CPU time per pixel and prints the table after the console output.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const auto pixels = run.counters.find("pixels");
      if (run.iterations == 0 || pixels == run.counters.end()) continue;
      Figures& f = figures_[run.benchmark_name()];
      f.seconds_per_pixel = run.cpu_accumulated_time / double(run.iterations) / pixels->second;
      const auto words = run.counters.find("words/pixel");
      if (words != run.counters.end()) f.words_per_pixel = words->second;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf(
        "\nspeed table (CPU time per pixel; ratios of times, below 1 the first is faster; "
        "plain "
        "loop and memcpy over %zu MiB arrays, 4x the last-level cache)\n",
        baseline_bytes() >> 20);
    std::printf("%-12s %5s %10s %9s %9s %9s %10s %11s %11s\n", "operation", "side", "dev Mpx/s",
                "words/px", "M words/s", "dev/host", "dev/plain", "dev/memcpy", "host/plain");
    for (const Case& c : kTableCases) {
      const Figures plain = figures_["plain/" + label(c)],
                    copy = figures_["memcpy/" + label(c)];
      for (unsigned side : kSides) {
        const Figures device = figures_["device/" + sized(label(c), side)];
        const Figures host = figures_["host/" + sized(label(c), side)];
        if (device.seconds_per_pixel <= 0) continue;
        const double px = 1e-6 / device.seconds_per_pixel;
        std::printf("%-12s %5u %10.0f %9.4f %9.1f %9.3f %10.2f %11.2f %11.2f\n",
                    label(c).c_str(), side, px, device.words_per_pixel,
                    px * device.words_per_pixel, ratio(device, host), ratio(device, plain),
                    ratio(device, copy), ratio(host, plain));
      }
    }
    std::printf("\nother operations at %u x %u (device/host, time per image):\n", kSide, kSide);
    for (const Case& c : kCases) {
      const std::string l = label(c);
      std::printf("  %-30s device/host %.3f\n", l.c_str(),
                  ratio(figures_["device/" + l], figures_["host/" + l]));
    }
  }

 private:
  struct Figures {
    double seconds_per_pixel = 0;
    double words_per_pixel = 0;
  };
  static double ratio(const Figures& a, const Figures& b) {
    return a.seconds_per_pixel > 0 && b.seconds_per_pixel > 0
               ? a.seconds_per_pixel / b.seconds_per_pixel
               : 0.0;
  }
  std::map<std::string, Figures> figures_;
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
  for (const Case& c : kTableCases) {
    const std::string l = label(c);
    for (unsigned side : kSides) {
      benchmark::RegisterBenchmark(
          ("device/" + sized(l, side)).c_str(),
          [c, side](benchmark::State& s) { run(s, c, ZelPath::device_only, side); })
          ->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(
          ("host/" + sized(l, side)).c_str(),
          [c, side](benchmark::State& s) { run(s, c, ZelPath::host_only, side); })
          ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark(("plain/" + l).c_str(), [l](benchmark::State& s) {
      plain_loop(s, l);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("memcpy/" + l).c_str(), [c](benchmark::State& s) {
      copy_bytes(s, pixel_bytes(c));
    })->Unit(benchmark::kMillisecond);
  }
  for (const Case& c : kCases) {
    const std::string l = label(c);
    benchmark::RegisterBenchmark(("device/" + l).c_str(), [c](benchmark::State& s) {
      run(s, c, ZelPath::device_only, kSide);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("host/" + l).c_str(), [c](benchmark::State& s) {
      run(s, c, ZelPath::host_only, kSide);
    })->Unit(benchmark::kMillisecond);
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  zel_unload_device();
  return 0;
}
