// The demonstration table.
#include "demo.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "kx_model.h"
#include "zel.h"

namespace {

// The largest difference each routine's words allow, from the registration table.
const std::map<std::string, int> kTolerance = {
#define KX_ROUTINE(Routine, name, second, data_type, tolerance) {name, tolerance},
#include "kx_routines.def"
};

// One arrangement of images an operation is run on.
struct Arrangement {
  unsigned bands;
  int origin_x, origin_y;  // of the first source
  bool region;             // a region of interest on the destination
};
const Arrangement kArrangements[] = {
    {1, 0, 0, false}, {3, 0, 0, false}, {4, 0, 0, false}, {1, 5, -3, true}, {3, -7, 2, true},
};
constexpr unsigned kWidth = 320, kHeight = 200;

// Deterministic pixels: half small values, half anywhere in the type's range.
void fill(ZelImage* image, unsigned seed) {
  uint32_t state = seed * 2654435761u + 12345u;
  const bool wide = image->getDataType() == ZEL_INT16;
  for (unsigned y = 0; y < image->getHeight(); ++y) {
    for (unsigned x = 0; x < image->getWidth(); ++x) {
      for (unsigned b = 0; b < image->getBands(); ++b) {
        state = state * 1664525u + 1013904223u;
        const int r = int(state >> 8);
        int v = wide ? (r & 1 ? (r >> 1) % 401 - 200 : (r >> 1) % 65536 - 32768) : r % 256;
        image->setPixel(x, y, b, v);
      }
    }
  }
}

struct Outcome {
  bool device_ok = true;
  int max_difference = 0;
  uint64_t words = 0;
  double pixels = 0;
  double seconds = 0;
};

void run_arrangement(const ZelOperationInfo& info, const Arrangement& a, Outcome* out) {
  ZelSystemState* state = zel_default_state();
  const unsigned bands = info.data_type == ZEL_INT16 && a.bands == 4 ? 3 : a.bands;
  std::vector<ZelImage*> sources;
  for (int s = 0; s < info.sources; ++s) {
    ZelImage* image = state->createImage(kWidth, kHeight, bands, info.data_type, 4 * s);
    fill(image, 17 * s + bands);
    sources.push_back(image);
  }
  sources[0]->setOrigin(a.origin_x, a.origin_y);
  ZelImage* dst[2];
  for (ZelImage*& d : dst) {
    d = state->createImage(kWidth, kHeight, bands, info.data_type, 8);
    fill(d, 99);
    if (a.region) {
      ZelRoi* roi = state->createRoi();
      roi->addRect(11, 13, kWidth / 2, kHeight / 2);
      roi->addRect(kWidth / 2 + 20, 3, 40, kHeight - 10);
      d->setRoi(roi);
      roi->destroy();
    }
  }
  ZelRunResult result[2];
  for (int side = 0; side < 2; ++side) {
    ZelOp* op = state->createOp(info.name);
    for (int s = 0; s < info.sources; ++s) op->setSrc(s + 1, sources[size_t(s)]);
    op->setDst(dst[side]);
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
    op->destroy();
  }
  out->device_ok = out->device_ok && result[0].status == 0 && result[0].device_ran;
  ZelRoi* region = nullptr;
  ZelRectList* list = ZeliGetRoiList(&region, dst[0], sources[0],
                                     info.sources > 1 ? sources[1] : nullptr, nullptr);
  int x, y, w, h;
  while (list != nullptr && list->getNextRect(&x, &y, &w, &h)) out->pixels += double(w) * h;
  if (list != nullptr) list->destroy();
  if (region != nullptr) region->destroy();
  for (unsigned y0 = 0; y0 < kHeight; ++y0) {
    for (unsigned x0 = 0; x0 < kWidth; ++x0) {
      for (unsigned b = 0; b < bands; ++b) {
        const int diff = std::abs(dst[0]->getPixel(x0, y0, b) - dst[1]->getPixel(x0, y0, b));
        if (diff > out->max_difference) out->max_difference = diff;
      }
    }
  }
  for (ZelImage* d : dst) d->destroy();
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
      "and 4 bands (3 for 16-bit), with origins and regions, against the host.\n\n",
      kWidth, kHeight);
  std::printf("%-20s %-8s %9s %10s %9s %11s\n", "operation", "device", "max diff", "tolerance",
              "words", "Mpixel/s");
  bool all_good = true;
  for (const std::string& name : zel_global_state->registeredPaths()) {
    const ZelOperationInfo* info = zel_operation_info(name.c_str());
    const auto tolerance = kTolerance.find(name);
    if (info == nullptr || tolerance == kTolerance.end()) {
      std::printf("%-20s %-8s (no host implementation to compare with)\n", name.c_str(), "-");
      all_good = false;
      continue;
    }
    Outcome out;
    for (const Arrangement& a : kArrangements) run_arrangement(*info, a, &out);
    const bool good = out.device_ok && out.max_difference <= tolerance->second;
    all_good = all_good && good;
    std::printf(
        "%-20s %-8s %9d %10d %9llu %11.1f%s\n", name.c_str(), out.device_ok ? "ok" : "refused",
        out.max_difference, tolerance->second, static_cast<unsigned long long>(out.words),
        out.seconds > 0 ? out.pixels / out.seconds / 1e6 : 0.0, good ? "" : "  MISMATCH");
  }
  const uint64_t faults = kxm::counters().faults;
  std::printf("\nprocessor faults: %llu\n", static_cast<unsigned long long>(faults));
  all_good = all_good && faults == 0;
  std::printf("%s\n", all_good ? "every operation matches the host" : "FAILED");
  return all_good ? 0 : 1;
}
