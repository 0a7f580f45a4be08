// kxrun: runs the plug-in's operations on the processor model.
//
//   kxrun demo                       every registered operation, device against host
//   kxrun list                       the registered operation names, in order
//   kxrun OPERATION [options] INPUT... -o OUTPUT
//
// Exit status: 0 success; 1 bad file, argument, size or type (one line on stderr); 3 the
// device refused and --no-fallback was given.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "demo.h"
#include "kx_model.h"
#include "netpbm.h"
#include "zel.h"

namespace {

const char kUsage[] =
    "usage: kxrun demo\n"
    "       kxrun list\n"
    "       kxrun OPERATION [options] INPUT... -o OUTPUT\n"
    "\n"
    "Runs an operation of the KX compute plug-in on the processor model. Images are netpbm\n"
    "files: P5 (1 band), P6 (3 bands), P7 PAM (DEPTH 1, 3 or 4); MAXVAL 255 is 8-bit,\n"
    "65535 is 16-bit with signed samples in two's complement.\n"
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
    "  -h, --help         this text\n";

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
  if (o->output.empty()) return "no output file (-o FILE)";
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

int run_operation(int argc, char** argv) {
  Options o;
  const std::string bad = parse(argc, argv, &o);
  if (!bad.empty()) return fail(bad);

  const ZelOperationInfo* info = zel_operation_info(o.operation.c_str());
  if (info == nullptr) return fail("unknown operation " + o.operation + " (see kxrun list)");
  if (o.inputs.size() != size_t(info->sources)) {
    return fail(o.operation + " takes " + std::to_string(info->sources) + " input image" +
                (info->sources == 1 ? "" : "s") + ", not " + std::to_string(o.inputs.size()));
  }

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
    if (image->getWidth() != first->getWidth() || image->getHeight() != first->getHeight() ||
        image->getBands() != first->getBands()) {
      return fail(path + " is not the size and band count of " + o.inputs.front());
    }
  }
  ZelImage* first = images.all.front();
  ZelImage* dst = state->createImage(first->getWidth(), first->getHeight(), first->getBands(),
                                     first->getDataType());
  if (dst == nullptr) return fail("cannot create the output image");
  images.all.push_back(dst);
  for (unsigned y = 0; y < first->getHeight(); ++y) {
    for (unsigned x = 0; x < first->getWidth(); ++x) {
      for (unsigned b = 0; b < first->getBands(); ++b)
        dst->setPixel(x, y, b, first->getPixel(x, y, b));
    }
  }
  if (o.has_roi) {
    ZelRoi* roi = state->createRoi();
    roi->addRect(int(o.roi[0]), int(o.roi[1]), int(o.roi[2]), int(o.roi[3]));
    dst->setRoi(roi);
    roi->destroy();
  }

  ZelOp* op = state->createOp(o.operation.c_str());
  for (size_t i = 0; i + 1 < images.all.size(); ++i) op->setSrc(int(i) + 1, images.all[i]);
  op->setDst(dst);

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
  op->destroy();
  if (o.stats) print_stats();

  if (o.no_fallback && !o.host_only && result.device_status != 0) {
    std::fprintf(stderr, "kxrun: the device refused %s\n", o.operation.c_str());
    return 3;
  }
  if (result.status != 0) return fail(o.operation + " failed on these images");
  if (!write_netpbm(dst, o.output, &why)) return fail(o.output + ": " + why);
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
