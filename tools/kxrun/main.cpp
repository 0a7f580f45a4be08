// kxrun: runs the plug-in's operations on the processor model.
//
//   kxrun demo                       every registered operation, device against host
//   kxrun list                       the registered operation names, in order
//   kxrun OPERATION [options] INPUT... -o OUTPUT
//   kxrun extrema8|extrema16 [options] INPUT     prints max= and min= lists
//
// Exit status: 0 success; 1 bad file, argument, size or type (one line on stderr); 3 the
// device refused and --no-fallback was given.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "demo.h"
#include "kx_model.h"
#include "netpbm.h"
#include "zel.h"
#include "zel_params.h"

namespace {

const char kUsage[] =
    "usage: kxrun demo\n"
    "       kxrun list\n"
    "       kxrun OPERATION [options] INPUT... -o OUTPUT\n"
    "       kxrun extrema8|extrema16 [options] INPUT\n"
    "\n"
    "Runs an operation of the KX compute plug-in on the processor model. Images are netpbm\n"
    "files: P5 (1 band), P6 (3 bands), P7 PAM (DEPTH 1, 3 or 4); MAXVAL 255 is 8-bit,\n"
    "65535 is 16-bit with signed samples in two's complement. setvalue8 takes one input,\n"
    "the image it fills; extrema8 and extrema16 print the per-band maxima and minima as\n"
    "max=A,B,C and min=A,B,C lines and write no image.\n"
    "\n"
    "options:\n"
    "  -o FILE            the output image\n"
    "  --roi X,Y,W,H      the destination's region of interest, in destination pixels;\n"
    "                     outside it the output keeps the first input's pixels\n"
    "  --device kx|host   who runs the operation (default kx; the host's own software\n"
    "                     implementation takes over when the device refuses)\n"
    "  --no-fallback      exit 3 when the device refuses instead of letting the host do it\n"
    "  --trace FILE       write the bus trace (one line per bus transaction) to FILE\n"
    "  --stats            print the processor's counters on stderr, one name=value a line\n"
    "  -h, --help         this text\n"
    "\n"
    "operation parameters (one value, or one per band; the operations that take them):\n"
    "  --const A[,B,C,D]  constants: addconst*, subtractconst*, subtractfromconst*,\n"
    "                     multiplyconst*, divideconst* (numbers); andconst*, orconst*,\n"
    "                     xorconst* (whole numbers 0..4294967295)\n"
    "  --value A[,B,C,D]  the fill colour of setvalue8\n"
    "  --scale A[,B,C,D]  rescale8, rescale16: scales (default 1)\n"
    "  --offset A[,B,C,D] rescale8, rescale16: offsets (default 0)\n"
    "  --matrix M         bandCombine16: twelve numbers, three rows of three coefficients\n"
    "                     and an offset: band j = Mj0*b0 + Mj1*b1 + Mj2*b2 + Mj3\n"
    "  --threshold L,H,M  threshold8, threshold16: pixels from L to H become M\n";

int fail(const std::string& reason) {
  std::fprintf(stderr, "kxrun: %s\n", reason.c_str());
  return 1;
}

// Parses "A,B,C,D" into exactly `count` integers.
bool parse_ints(const char* text, size_t count, std::vector<long>* out) {
  out->clear();
  const char* p = text;
  while (true) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(p, &end, 10);
    if (end == p || errno != 0) return false;
    out->push_back(v);
    if (*end == '\0') break;
    if (*end != ',') return false;
    p = end + 1;
  }
  return out->size() == count;
}

// Parses "A,B,..." into 1..`most` numbers.
bool parse_numbers(const char* text, size_t most, std::vector<double>* out) {
  out->clear();
  const char* p = text;
  while (true) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(p, &end);
    if (end == p || errno != 0 || !std::isfinite(v)) return false;
    out->push_back(v);
    if (*end == '\0') break;
    if (*end != ',') return false;
    p = end + 1;
  }
  return out->size() <= most;
}

// The parameter options, by name; each holds the numbers given.
const char* const kParamOptions[] = {"--const",  "--value",  "--scale",
                                     "--offset", "--matrix", "--threshold"};

struct Options {
  std::string operation;
  std::vector<std::string> inputs;
  std::string output;
  bool has_roi = false;
  long roi[4] = {0, 0, 0, 0};
  bool host_only = false;
  bool no_fallback = false;
  std::string trace;
  bool stats = false;
  std::map<std::string, std::vector<double>> params;
};

// Returns an empty string, or the reason the arguments are bad.
std::string parse(int argc, char** argv, Options* o) {
  o->operation = argv[1];
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool has_value = i + 1 < argc;
    if (arg == "-o" || arg == "--roi" || arg == "--device" || arg == "--trace") {
      if (!has_value) return arg + " needs a value";
      const char* value = argv[++i];
      if (arg == "-o") {
        o->output = value;
      } else if (arg == "--trace") {
        o->trace = value;
      } else if (arg == "--device") {
        if (std::strcmp(value, "kx") == 0) {
          o->host_only = false;
        } else if (std::strcmp(value, "host") == 0) {
          o->host_only = true;
        } else {
          return std::string("--device takes kx or host, not ") + value;
        }
      } else {
        std::vector<long> v;
        if (!parse_ints(value, 4, &v) || v[2] < 0 || v[3] < 0) {
          return std::string("--roi takes X,Y,W,H with W, H >= 0, not ") + value;
        }
        o->has_roi = true;
        std::copy(v.begin(), v.end(), o->roi);
      }
    } else if (std::find(std::begin(kParamOptions), std::end(kParamOptions), arg) !=
               std::end(kParamOptions)) {
      if (!has_value) return arg + " needs a value";
      const size_t most = arg == "--matrix" ? 12 : arg == "--threshold" ? 3 : 4;
      std::vector<double> v;
      if (!parse_numbers(argv[++i], most, &v)) {
        return arg + " takes up to " + std::to_string(most) + " comma-separated numbers, not " +
               argv[i];
      }
      o->params[arg] = v;
    } else if (arg == "--no-fallback") {
      o->no_fallback = true;
    } else if (arg == "--stats") {
      o->stats = true;
    } else if (arg.size() > 1 && arg[0] == '-') {
      return "unknown option " + arg;
    } else {
      o->inputs.push_back(arg);
    }
  }
  return "";
}

void print_stats() {
  const kxm::Counters& c = kxm::counters();
  std::fprintf(stderr,
               "memory_words=%llu\nqueue_words=%llu\nregister_writes=%llu\npage_splits=%llu\n"
               "idle_waits=%llu\nfaults=%llu\n",
               static_cast<unsigned long long>(c.memory_words),
               static_cast<unsigned long long>(c.queue_words),
               static_cast<unsigned long long>(c.register_writes),
               static_cast<unsigned long long>(c.page_splits),
               static_cast<unsigned long long>(c.idle_waits),
               static_cast<unsigned long long>(c.faults));
}

const char* type_name(int data_type) {
  return data_type == ZEL_INT16 ? "16-bit" : "8-bit";
}

// Images released at exit, in reverse order of creation.
struct Images {
  std::vector<ZelImage*> all;
  ~Images() {
    for (auto it = all.rbegin(); it != all.rend(); ++it) (*it)->destroy();
  }
};

// Fills `v` with the parameters the operation takes from the options; returns an empty
// string, or why the options do not fit the operation.
std::string operation_params(const ZelOperationInfo& info, const Options& o, unsigned bands,
                             ZelParamValues* v) {
  std::vector<std::string> takes;
  switch (info.params) {
    case ZelParams::constants:
    case ZelParams::bit_constants:
      takes = {"--const"};
      break;
    case ZelParams::fill:
      takes = {"--value"};
      break;
    case ZelParams::rescale:
      takes = {"--scale", "--offset"};
      break;
    case ZelParams::matrix:
      takes = {"--matrix"};
      break;
    case ZelParams::threshold:
      takes = {"--threshold"};
      break;
    case ZelParams::none:
    case ZelParams::extrema:
      break;
  }
  for (const auto& [option, values] : o.params) {
    if (std::find(takes.begin(), takes.end(), option) == takes.end()) {
      return std::string(info.name) + " does not take " + option;
    }
  }
  const auto given = [&](const char* option) { return o.params.count(option) != 0; };
  // A per-band list: one value for every band, or one value a band.
  const auto per_band = [&](const char* option, double fallback,
                            std::vector<double>* out) -> std::string {
    *out = given(option) ? o.params.at(option) : std::vector<double>(1, fallback);
    if (out->size() != 1 && out->size() != bands) {
      return std::string(option) + " has " + std::to_string(out->size()) +
             " values; the image has " + std::to_string(bands) + " bands";
    }
    out->resize(4, out->back());
    return "";
  };
  if (!takes.empty() && info.params != ZelParams::rescale && !given(takes[0].c_str())) {
    return std::string(info.name) + " needs " + takes[0];
  }
  std::vector<double> values, offsets;
  std::string bad;
  switch (info.params) {
    case ZelParams::constants:
    case ZelParams::fill:
      bad = per_band(takes[0].c_str(), 0, &values);
      for (unsigned b = 0; b < 4 && bad.empty(); ++b) v->lists[0][b] = float(values[b]);
      break;
    case ZelParams::bit_constants:
      bad = per_band("--const", 0, &values);
      for (unsigned b = 0; b < 4 && bad.empty(); ++b) {
        if (values[b] < 0 || values[b] > 4294967295.0 || values[b] != std::trunc(values[b])) {
          return "--const of " + std::string(info.name) + " takes whole numbers 0..4294967295";
        }
        v->bits[b] = uint32_t(values[b]);
      }
      break;
    case ZelParams::rescale:
      if (!given("--scale") && !given("--offset")) {
        return std::string(info.name) + " needs --scale or --offset";
      }
      bad = per_band("--scale", 1, &values);
      if (bad.empty()) bad = per_band("--offset", 0, &offsets);
      for (unsigned b = 0; b < 4 && bad.empty(); ++b) {
        v->lists[0][b] = float(values[b]);
        v->lists[1][b] = float(offsets[b]);
      }
      break;
    case ZelParams::matrix:
      if (o.params.at("--matrix").size() != 12) return "--matrix takes twelve numbers";
      for (int i = 0; i < 12; ++i) v->matrix[i] = float(o.params.at("--matrix")[size_t(i)]);
      break;
    case ZelParams::threshold:
      if (o.params.at("--threshold").size() != 3) return "--threshold takes LOW,HIGH,MAP";
      v->low = float(o.params.at("--threshold")[0]);
      v->high = float(o.params.at("--threshold")[1]);
      v->map = float(o.params.at("--threshold")[2]);
      break;
    case ZelParams::none:
    case ZelParams::extrema:
      break;
  }
  return bad;
}

// "name=A,B,C" with the first `bands` values.
void print_list(const char* name, const float* values, unsigned bands) {
  std::printf("%s=", name);
  for (unsigned b = 0; b < bands; ++b) std::printf(b ? ",%g" : "%g", double(values[b]));
  std::printf("\n");
}

int run_operation(int argc, char** argv) {
  Options o;
  const std::string bad = parse(argc, argv, &o);
  if (!bad.empty()) return fail(bad);

  const ZelOperationInfo* info = zel_operation_info(o.operation.c_str());
  if (info == nullptr) return fail("unknown operation " + o.operation + " (see kxrun list)");
  // An operation without a source fills the one image it is given.
  const size_t inputs = size_t(std::max(info->sources, 1));
  if (o.inputs.size() != inputs) {
    return fail(o.operation + " takes " + std::to_string(inputs) + " input image" +
                (inputs == 1 ? "" : "s") + ", not " + std::to_string(o.inputs.size()));
  }
  const bool writes_image = info->params != ZelParams::extrema;
  if (writes_image && o.output.empty()) return fail("no output file (-o FILE)");
  if (!writes_image && !o.output.empty()) return fail(o.operation + " writes no image");

  std::string why;
  if (!o.host_only && zel_load_device(zel_default_device_path().c_str(), &why) == nullptr) {
    return fail("cannot load the KX plug-in: " + why);
  }

  Images images;
  ZelSystemState* state = zel_default_state();
  for (const std::string& path : o.inputs) {
    ZelImage* image = read_netpbm(state, path, &why);
    if (image == nullptr) return fail(path + ": " + why);
    images.all.push_back(image);
    ZelImage* first = images.all.front();
    if (image->getDataType() != info->data_type) {
      return fail(o.operation + " takes " + type_name(info->data_type) + " images; " + path +
                  " is " + type_name(image->getDataType()));
    }
    if (info->bands != 0 && image->getBands() != info->bands) {
      return fail(o.operation + " takes " + std::to_string(info->bands) + "-band images; " +
                  path + " has " + std::to_string(image->getBands()));
    }
    if (image->getWidth() != first->getWidth() || image->getHeight() != first->getHeight() ||
        image->getBands() != first->getBands()) {
      return fail(path + " is not the size and band count of " + o.inputs.front());
    }
  }
  ZelImage* first = images.all.front();
  ZelParamValues params;
  const std::string bad_params = operation_params(*info, o, first->getBands(), &params);
  if (!bad_params.empty()) return fail(bad_params);

  // The destination starts as a copy of the first input.
  ZelImage* dst = nullptr;
  if (writes_image) {
    dst = state->createImage(first->getWidth(), first->getHeight(), first->getBands(),
                             info->dst_data_type ? info->dst_data_type : info->data_type);
    if (dst == nullptr) return fail("cannot create the output image");
    images.all.push_back(dst);
    for (unsigned y = 0; y < first->getHeight(); ++y) {
      for (unsigned x = 0; x < first->getWidth(); ++x) {
        for (unsigned b = 0; b < first->getBands(); ++b)
          dst->setPixel(x, y, b, first->getPixel(x, y, b));
      }
    }
  }
  if (o.has_roi) {
    ZelRoi* roi = state->createRoi();
    roi->addRect(int(o.roi[0]), int(o.roi[1]), int(o.roi[2]), int(o.roi[3]));
    (dst != nullptr ? dst : first)->setRoi(roi);
    roi->destroy();
  }

  ZelOp* op = state->createOp(o.operation.c_str());
  for (int i = 0; i < info->sources; ++i) op->setSrc(i + 1, images.all[size_t(i)]);
  if (dst != nullptr) op->setDst(dst);
  zel_attach_params(op, info->params, &params);

  std::unique_ptr<std::ofstream> trace;
  if (!o.trace.empty()) {
    trace = std::make_unique<std::ofstream>(o.trace);
    if (!*trace) {
      op->destroy();
      return fail("cannot write " + o.trace);
    }
    kxm::set_trace([&trace](std::string_view line) { *trace << line << '\n'; });
  }
  const ZelPath path = o.host_only     ? ZelPath::host_only
                       : o.no_fallback ? ZelPath::device_only
                                       : ZelPath::device_then_host;
  const ZelRunResult result = zel_run(op, path);
  kxm::drain();
  kxm::set_trace({});
  zel_release_params(op, info->params);
  op->destroy();
  if (o.stats) print_stats();

  if (o.no_fallback && !o.host_only && result.device_status != 0) {
    std::fprintf(stderr, "kxrun: the device refused %s\n", o.operation.c_str());
    return 3;
  }
  if (result.status != 0) return fail(o.operation + " failed on these images");
  if (!writes_image) {
    print_list("max", params.maxima, first->getBands());
    print_list("min", params.minima, first->getBands());
  } else if (!write_netpbm(dst, o.output, &why)) {
    return fail(o.output + ": " + why);
  }
  return kxm::counters().faults == 0 ? 0 : fail("the processor reported faults");
}

int list() {
  std::string why;
  if (zel_load_device(zel_default_device_path().c_str(), &why) == nullptr) {
    return fail("cannot load the KX plug-in: " + why);
  }
  for (const std::string& name : zel_global_state->registeredPaths()) {
    std::printf("%s\n", name.c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return fail("no command (kxrun --help lists them)");
  const std::string command = argv[1];
  if (command == "-h" || command == "--help") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  kxm::Config config;
  config.strict = true;
  kxm::configure(config);
  kxm::set_fault_hook([](const kxm::Fault& f) {
    std::fprintf(stderr, "kxrun: processor fault %s: %s\n", f.kind.c_str(), f.message.c_str());
  });
  int status;
  if (command == "demo") {
    status = argc == 2 ? run_demo() : fail("demo takes no arguments");
  } else if (command == "list") {
    status = argc == 2 ? list() : fail("list takes no arguments");
  } else {
    status = run_operation(argc, argv);
  }
  zel_unload_device();
  return status;
}
