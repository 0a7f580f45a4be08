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
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "demo.h"
#include "kx_model.h"
#include "netpbm.h"
#include "parse.h"
#include "zel.h"
#include "zel_colour.h"
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
    "65535 is 16-bit (see --sample16). setvalue8 takes one input,\n"
    "the image it fills; extrema8 and extrema16 print the per-band maxima and minima as\n"
    "max=A,B,C and min=A,B,C lines and write no image.\n"
    "\n"
    "Channels: a 3-channel file (P6, P7 DEPTH 3) holds red, green, blue, and so does every\n"
    "per-band list you give or kxrun prints for a 3-band image (--const, --value, --scale,\n"
    "--offset, the rows and columns of --matrix, the columns of --table, max= and min=):\n"
    "inside the system an rgb image's bands are blue, green, red, and kxrun translates.\n"
    "Files of 1, 2 or 4 channels, and the side of a colorconvert whose space is ycc601,\n"
    "ycc709, photoycc (Y, Cb, Cr) or cmyk (C, M, Y, K), keep their channels in order.\n"
    "\n"
    "options:\n"
    "  -o FILE            the output image\n"
    "  --roi X,Y,W,H      the destination's region of interest, in destination pixels;\n"
    "                     outside it the output keeps the first input's pixels\n"
    "  --device kx|host   who runs the operation (default kx; the host's own software\n"
    "                     implementation takes over when the device refuses)\n"
    "  --no-fallback      exit 3 when the device refuses instead of letting the host do it\n"
    "  --trace FILE       write the bus trace (one line per bus transaction) to FILE\n"
    "                     (- for standard output)\n"
    "  --disasm           with --trace: each instruction word decoded, as kxdis shows it\n"
    "  --stats            print the processor's counters on stderr, one name=value a line\n"
    "  --sample16 MODE    how a 16-bit file's unsigned samples s become signed pixels:\n"
    "                     wrap (default) s as two's complement, so samples above 32767\n"
    "                     are negative numbers to the arithmetic; offset s - 32768 (order\n"
    "                     kept, every file written back as read, but a sum counts the\n"
    "                     shift twice); clamp min(s, 32767). Writing undoes the mapping,\n"
    "                     clamping what cannot be written\n"
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
    "  --threshold L,H,M  threshold8, threshold16: pixels from L to H become M\n"
    "  --table FILE       lookup8_8, lookup8_16, lookup16_8, lookup16_16: a text file, '#'\n"
    "                     comments, an optional first line \"offset K\" (the source value of\n"
    "                     the first entry, default 0), then one entry a line of 1, 3 or 4\n"
    "                     integers (0..255, or -32768..32767 for a 16-bit output); the\n"
    "                     entries' count of values is the output's band count. Source\n"
    "                     values before the first entry take it, values after the last\n"
    "                     take the last\n"
    "  --from SPACE --to SPACE  colorconvert: rgblinear, rgb709, photoycc, ycc601, ycc709\n"
    "                     (3 channels), ylinear (1), cmyk (4; written as P7 TUPLTYPE CMYK).\n"
    "                     The input has the --from space's channels, the output the --to\n"
    "                     space's; outside --roi it keeps the input's channels where the\n"
    "                     counts match, else 0\n"
    "  blend8a8, blend8a16, blend16a8, blend16a16 SRC1 SRC2 ALPHA: out = SRC1 + a (SRC2 -\n"
    "                     SRC1), a = ALPHA / 255 (a8: MAXVAL 255) or / 65535 (a16: MAXVAL\n"
    "                     65535, raw samples whatever --sample16); ALPHA has one channel\n"
    "  --brush FILE --color C[,C,C,C] --points 'X,Y;X,Y;...'  paint8: paints IMAGE in\n"
    "                     place with the brush of FILE (text: W H KEYX KEYY, then W x H\n"
    "                     weights 0..1 row by row) in colour C (a value a channel) with its\n"
    "                     key on each point in turn (rounded half away from zero)\n"
    "  --kernel \"W H KX KY V,V,...\" | --kernel @FILE  convolve8, convolve16: a W x H kernel\n"
    "                     (values row by row, separated by spaces or commas; the file holds\n"
    "                     the same text, '#' comments) whose element (KX, KY) stands over\n"
    "                     the pixel computed: out(x, y) = sum of V[v][u] in(x + KX - u,\n"
    "                     y + KY - v), band by band. convolve8/convolve8 takes --kernel\n"
    "                     twice: a row kernel (W x 1), then a column kernel (1 x H)\n"
    "  --edge none|zero|extend  convolutions: pixels whose kernel reaches past the image\n"
    "                     keep the input's values (none), become 0 (zero), or read the\n"
    "                     nearest edge pixels (extend, the default); convolve8/convolve8\n"
    "                     takes one --edge for both kernels or one each\n"
    "\n"
    "geometric operations (scale8nearest ... scale16bicubic, rotate8nearest,\n"
    "rotate16nearest, translate8nearest ... translate16bicubic, transpose8, transpose16):\n"
    "the output is a new image, of --size or\n"
    "of the source's size (turned for d, b, 90 and 270), filled with --background; pixels\n"
    "the operation does not reach keep the background.\n"
    "  --translate DX,DY  translate*: the offsets in pixels (a point moves right and down\n"
    "                     by them); nearest translations round them half up; the\n"
    "                     device interpolates whole offsets only (the host the others)\n"
    "  --factor SX[,SY]   scale*: the factors across and down (one for both), positive;\n"
    "                     the output defaults to the scaled size rounded up. The scales\n"
    "                     run on the host (--device host, or by fallback)\n"
    "  --angle DEG        rotate*: degrees counter-clockwise on screen about the\n"
    "                     operation-space origin (see --origin, --centre); the device\n"
    "                     turns whole images only (no --roi)\n"
    "  --transpose T      0..6 or v (top to bottom), h (left to right), d (main diagonal), b\n"
    "                     (anti-diagonal), 90 (a quarter turn counter-clockwise), 180, 270\n"
    "  --size W,H         the output's width and height (W, H >= 1)\n"
    "  --origin X,Y       the source's origin: its pixel (X, Y) is operation-space (0, 0)\n"
    "  --dst-origin X,Y   the output's origin\n"
    "  --centre           each image's origin at its centre, (w/2, h/2) rounded down (an\n"
    "                     --origin or --dst-origin given wins for its image)\n"
    "  --background A[,B,C,D]  the output's starting pixels, one value or one a channel\n"
    "                     (default 0)\n";

int fail(const std::string& reason) {
  std::fprintf(stderr, "kxrun: %s\n", reason.c_str());
  return 1;
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

// How the channels of the files on each side of an operation meet the bands of its images
// (netpbm.h): red, green, blue files and lists, except on the side of a colour conversion
// whose space is a ycc one, whose files are in band order already.
struct Sides {
  Channels in = Channels::rgb, out = Channels::rgb;
  const ZelColorspaceInfo *from = nullptr, *to = nullptr;  // colorconvert only
};

Channels order_of(const ZelColorspaceInfo* space) {
  const bool ycc =
      space != nullptr && (space->opcode == ZEL_CS_YCC601 || space->opcode == ZEL_CS_YCC709 ||
                           space->opcode == ZEL_CS_PHOTOYCC);
  return ycc ? Channels::as_bands : Channels::rgb;
}

// `list` given in file channels, as bands: entry band_of_channel(c) = list[c].
template <typename T>
std::vector<T> as_bands(const std::vector<T>& list, Channels order) {
  std::vector<T> out(list.size());
  const unsigned n = unsigned(list.size());
  for (unsigned c = 0; c < n; ++c) out[band_of_channel(c, n, order)] = list[c];
  return out;
}

// Operations that move pixels about: their output is a new image of its own size.
bool geometric(const ZelOperationInfo& info) {
  return info.params == ZelParams::transpose || info.params == ZelParams::translate ||
         info.params == ZelParams::rotate || info.params == ZelParams::scale;
}

// The convolution kernels and edge conditions of --kernel and --edge, or why they are bad.
std::string convolution_params(const ZelOperationInfo& info, const Options& o,
                               ZelParamValues* v) {
  const size_t count = info.params == ZelParams::kernel_pair ? 2 : 1;
  if (o.kernels.size() != count) {
    return std::string(info.name) +
           (count == 1 ? " takes one --kernel"
                       : " takes --kernel twice (the row kernel, then the column kernel)");
  }
  for (size_t i = 0; i < count; ++i) {
    const std::string& text = o.kernels[i];
    std::ifstream file;
    std::istringstream inline_text(text);
    if (!text.empty() && text[0] == '@') {
      file.open(text.substr(1));
      if (!file) return text.substr(1) + ": " + std::strerror(errno);
    }
    std::istream& in = file.is_open() ? static_cast<std::istream&>(file) : inline_text;
    BrushText kernel;
    std::string why;
    if (!parse_weights(in, "kernel", &kernel, &why)) {
      return (file.is_open() ? text.substr(1) : std::string("--kernel")) + ": " + why;
    }
    v->kernels[i] = {kernel.width, kernel.height, kernel.key_x, kernel.key_y, kernel.weights};
  }
  if (o.edges.size() > count) {
    return std::string(info.name) + " takes at most " + std::to_string(count) + " --edge";
  }
  for (size_t i = 0; i < count; ++i) {
    const std::string edge =
        o.edges.empty() ? "extend" : o.edges[std::min(i, o.edges.size() - 1)];
    if (edge == "none") {
      v->edges[i] = ZEL_EDGE_NO_WRITE;
    } else if (edge == "zero") {
      v->edges[i] = ZEL_EDGE_ZERO;
    } else if (edge == "extend") {
      v->edges[i] = ZEL_EDGE_EXTEND;
    } else {
      return "--edge takes none, zero or extend, not " + edge;
    }
  }
  return "";
}

// Fills `v` with the parameters the operation takes from the options; returns an empty
// string, or why the options do not fit the operation. `bands` is the first input's band
// count; 16-bit outputs take 16-bit table entries.
std::string operation_params(const ZelOperationInfo& info, const Options& o, unsigned bands,
                             const Sides& sides, ZelParamValues* v) {
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
    case ZelParams::lookup:
      takes = {"--table"};
      break;
    case ZelParams::colorspaces:
      takes = {"--from", "--to"};
      break;
    case ZelParams::paint:
      takes = {"--brush", "--color", "--points"};
      break;
    case ZelParams::transpose:
      takes = {"--transpose"};
      break;
    case ZelParams::translate:
      takes = {"--translate"};
      break;
    case ZelParams::rotate:
      takes = {"--angle"};
      break;
    case ZelParams::scale:
      takes = {"--factor"};
      break;
    case ZelParams::none:
    case ZelParams::extrema:
    case ZelParams::kernel:
    case ZelParams::kernel_pointer:
    case ZelParams::kernel_pair:
      break;
  }
  if (geometric(info)) takes.push_back("--background");
  const auto taken = [&](const std::string& option) {
    return std::find(takes.begin(), takes.end(), option) != takes.end();
  };
  for (const auto& entry : o.params) {
    if (!taken(entry.first)) return std::string(info.name) + " does not take " + entry.first;
  }
  for (const auto& entry : o.texts) {
    if (!taken(entry.first)) return std::string(info.name) + " does not take " + entry.first;
  }
  const bool convolution = info.params == ZelParams::kernel ||
                           info.params == ZelParams::kernel_pointer ||
                           info.params == ZelParams::kernel_pair;
  if (convolution) return convolution_params(info, o, v);
  if (!o.kernels.empty() || !o.edges.empty()) {
    return std::string(info.name) + " does not take " +
           (o.kernels.empty() ? "--edge" : "--kernel");
  }
  const auto given = [&](const std::string& option) {
    return o.params.count(option) != 0 || o.texts.count(option) != 0;
  };
  for (const std::string& option : takes) {
    if (info.params != ZelParams::rescale && option != "--background" && !given(option)) {
      return std::string(info.name) + " needs " + option;
    }
  }
  // A per-band list: one value for every band, or one value a band (in file channels).
  const auto per_band = [&](const char* option, double fallback,
                            std::vector<double>* out) -> std::string {
    *out = given(option) ? o.params.at(option) : std::vector<double>(1, fallback);
    if (out->size() != 1 && out->size() != bands) {
      return std::string(option) + " has " + std::to_string(out->size()) +
             " values; the image has " + std::to_string(bands) + " bands";
    }
    if (out->size() == bands) *out = as_bands(*out, sides.in);
    out->resize(4, out->back());
    return "";
  };
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
    case ZelParams::matrix: {
      const std::vector<double>& m = o.params.at("--matrix");
      if (m.size() != 12) return "--matrix takes twelve numbers";
      // Row j and column k of the file's channels are row and column band_of_channel(j, k).
      for (unsigned j = 0; j < 3; ++j) {
        for (unsigned k = 0; k < 4; ++k) {
          const unsigned column = k < 3 ? band_of_channel(k, 3, sides.in) : 3;
          v->matrix[4 * band_of_channel(j, 3, sides.in) + column] = float(m[4 * j + k]);
        }
      }
      break;
    }
    case ZelParams::threshold:
      if (o.params.at("--threshold").size() != 3) return "--threshold takes LOW,HIGH,MAP";
      v->low = float(o.params.at("--threshold")[0]);
      v->high = float(o.params.at("--threshold")[1]);
      v->map = float(o.params.at("--threshold")[2]);
      break;
    case ZelParams::lookup: {
      const std::string& path = o.texts.at("--table");
      std::ifstream file(path);
      if (!file) return path + ": " + std::strerror(errno);
      const bool wide = (info.dst_data_type ? info.dst_data_type : info.data_type) == ZEL_INT16;
      LookupTable table;
      std::string why;
      if (!parse_table(file, wide ? -32768 : 0, wide ? 32767 : 255, &table, &why)) {
        return path + ": " + why;
      }
      // The columns are the output's file channels.
      v->table_bands = table.bands;
      v->table_offset = table.offset;
      v->table.resize(table.values.size());
      for (size_t e = 0; e < table.values.size(); e += table.bands) {
        for (unsigned c = 0; c < table.bands; ++c) {
          v->table[e + band_of_channel(c, table.bands, sides.out)] = table.values[e + c];
        }
      }
      break;
    }
    case ZelParams::colorspaces:
      v->from_space = sides.from->opcode;
      v->to_space = sides.to->opcode;
      break;
    case ZelParams::paint: {
      const std::string& path = o.texts.at("--brush");
      std::ifstream file(path);
      if (!file) return path + ": " + std::strerror(errno);
      BrushText brush;
      std::string why;
      if (!parse_brush(file, &brush, &why)) return path + ": " + why;
      v->brush_width = brush.width;
      v->brush_height = brush.height;
      v->brush_key_x = brush.key_x;
      v->brush_key_y = brush.key_y;
      v->brush = brush.weights;
      if (o.params.at("--color").size() != bands) {
        return "--color takes a value a channel (" + std::to_string(bands) + ")";
      }
      bad = per_band("--color", 0, &values);
      for (unsigned b = 0; b < 4 && bad.empty(); ++b) v->lists[0][b] = float(values[b]);
      if (!parse_points(o.texts.at("--points").c_str(), &v->points)) {
        return "--points takes X,Y;X,Y;... with finite numbers, not " + o.texts.at("--points");
      }
      break;
    }
    case ZelParams::scale: {  // one factor for both axes, or one each
      const std::vector<double>& q = o.params.at("--factor");
      for (unsigned i = 0; i < 2; ++i) {
        const double f = q[std::min<size_t>(i, q.size() - 1)];
        if (!(f > 0) || f > 16777216.0) {
          return "--factor takes positive numbers up to 16777216, not " + std::to_string(f);
        }
        v->amounts[i] = float(f);
      }
      break;
    }
    case ZelParams::rotate:  // degrees given, radians taken
      v->angle = float(o.params.at("--angle")[0] * 3.14159265358979323846 / 180.0);
      break;
    case ZelParams::translate: {
      const std::vector<double>& t = o.params.at("--translate");
      if (t.size() != 2) return "--translate takes DX,DY";
      v->amounts[0] = float(t[0]);
      v->amounts[1] = float(t[1]);
      break;
    }
    case ZelParams::transpose: {
      static const char* const kNames[] = {"v", "h", "d", "b", "90", "180", "270"};
      const std::string& text = o.texts.at("--transpose");
      const auto named = std::find(std::begin(kNames), std::end(kNames), text);
      if (named != std::end(kNames)) {
        v->transpose = long(named - std::begin(kNames));
      } else if (text.size() == 1 && text[0] >= '0' && text[0] <= '6') {
        v->transpose = text[0] - '0';
      } else {
        return "--transpose takes 0..6 or v, h, d, b, 90, 180, 270, not " + text;
      }
      break;
    }
    case ZelParams::none:
    case ZelParams::extrema:
    case ZelParams::kernel:
    case ZelParams::kernel_pointer:
    case ZelParams::kernel_pair:
      break;
  }
  return bad;
}

// "name=A,B,C" with the first `bands` values, in file channels.
void print_list(const char* name, const float* values, unsigned bands, Channels order) {
  std::printf("%s=", name);
  for (unsigned c = 0; c < bands; ++c) {
    std::printf(c ? ",%g" : "%g", double(values[band_of_channel(c, bands, order)]));
  }
  std::printf("\n");
}

// The colour spaces of a colorconvert, or why they are missing or unknown.
std::string colour_sides(const Options& o, Sides* sides) {
  for (const char* option : {"--from", "--to"}) {
    const auto it = o.texts.find(option);
    if (it == o.texts.end()) return std::string("colorconvert needs ") + option;
    const ZelColorspaceInfo* space = zel_colorspace_named(it->second.c_str());
    if (space == nullptr) {
      std::string names;
      for (const ZelColorspaceInfo& known : zel_colorspaces()) {
        names += std::string(names.empty() ? "" : ", ") + known.name;
      }
      return "unknown colour space " + it->second + " (" + names + ")";
    }
    (std::string(option) == "--from" ? sides->from : sides->to) = space;
  }
  sides->in = order_of(sides->from);
  sides->out = order_of(sides->to);
  return "";
}

int run_operation(int argc, char** argv) {
  Options o;
  const std::string bad = parse_arguments(argc, argv, &o);
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
  Sides sides;
  if (info->params == ZelParams::colorspaces) {
    const std::string bad_spaces = colour_sides(o, &sides);
    if (!bad_spaces.empty()) return fail(bad_spaces);
  }

  std::string why;
  if (!o.host_only && zel_load_device(zel_default_device_path().c_str(), &why) == nullptr) {
    return fail("cannot load the KX plug-in: " + why);
  }

  Images images;
  ZelSystemState* state = zel_default_state();
  for (const std::string& path : o.inputs) {
    // A blend's alpha (the third input) is one band of raw unsigned samples.
    const bool alpha = images.all.size() == 2 && info->src3_data_type != 0;
    unsigned long long above = 0;
    ZelImage* image =
        read_netpbm(state, path, &why, {sides.in, alpha ? Sample16::wrap : o.samples}, &above);
    if (image == nullptr) return fail(path + ": " + why);
    images.all.push_back(image);
    if (alpha) {
      if (image->getDataType() != info->src3_data_type || image->getBands() != 1) {
        return fail(o.operation + " takes a one-channel " + type_name(info->src3_data_type) +
                    " alpha image; " + path + " is not");
      }
      if (image->getWidth() != images.all.front()->getWidth() ||
          image->getHeight() != images.all.front()->getHeight()) {
        return fail(path + " is not the size of " + o.inputs.front());
      }
      continue;
    }
    if (above > 0 && o.samples == Sample16::wrap) {
      std::fprintf(stderr,
                   "kxrun: %s: %llu samples above 32767 read as negative numbers (--sample16 "
                   "offset or clamp reads them otherwise)\n",
                   path.c_str(), above);
    }
    ZelImage* first = images.all.front();
    if (image->getDataType() != info->data_type) {
      return fail(o.operation + " takes " + type_name(info->data_type) + " images; " + path +
                  " is " + type_name(image->getDataType()));
    }
    if (info->bands != 0 && image->getBands() != info->bands) {
      return fail(o.operation + " takes " + std::to_string(info->bands) + "-band images; " +
                  path + " has " + std::to_string(image->getBands()));
    }
    if (sides.from != nullptr && image->getBands() != sides.from->bands) {
      return fail(std::string("--from ") + sides.from->name + " takes images of " +
                  std::to_string(sides.from->bands) + " channels; " + path + " has " +
                  std::to_string(image->getBands()));
    }
    if (image->getWidth() != first->getWidth() || image->getHeight() != first->getHeight() ||
        image->getBands() != first->getBands()) {
      return fail(path + " is not the size and band count of " + o.inputs.front());
    }
  }
  if (!geometric(*info) && (!o.pairs.empty() || o.centre)) {
    return fail(o.operation + " does not take " +
                (o.centre ? std::string("--centre") : o.pairs.begin()->first));
  }
  ZelImage* first = images.all.front();
  ZelParamValues params;
  const std::string bad_params = operation_params(*info, o, first->getBands(), sides, &params);
  if (!bad_params.empty()) return fail(bad_params);

  // The destination has the first input's bands, or those its parameters give; it starts
  // as a copy of the first input's file channels where the counts match, else 0.
  ZelImage* dst = nullptr;
  if (writes_image && geometric(*info)) {
    // A new image of its own size, filled with the background.
    // Transposes across a diagonal swap the sides; scales take the scaled extent rounded up.
    const bool across = info->params == ZelParams::transpose &&
                        (params.transpose == 2 || params.transpose == 3 ||
                         params.transpose == 4 || params.transpose == 6);
    unsigned width = across ? first->getHeight() : first->getWidth();
    unsigned height = across ? first->getWidth() : first->getHeight();
    if (info->params == ZelParams::scale && o.pairs.count("--size") == 0) {
      const double w = std::ceil(double(first->getWidth()) * params.amounts[0]);
      const double h = std::ceil(double(first->getHeight()) * params.amounts[1]);
      if (w < 1 || h < 1 || w > 65536 || h > 65536) {
        return fail("the scaled image would be " + std::to_string(w) + " x " +
                    std::to_string(h) + " pixels; give --size");
      }
      width = unsigned(w), height = unsigned(h);
    }
    if (o.pairs.count("--size")) {
      width = unsigned(o.pairs.at("--size")[0]);
      height = unsigned(o.pairs.at("--size")[1]);
    }
    const unsigned bands = first->getBands();
    dst = state->createImage(width, height, bands, info->data_type);
    if (dst == nullptr) return fail("cannot create the output image");
    images.all.push_back(dst);
    std::vector<double> background(1, 0.0);
    if (o.params.count("--background")) background = o.params.at("--background");
    if (background.size() != 1 && background.size() != bands) {
      return fail("--background takes one value or one a channel (" + std::to_string(bands) +
                  ")");
    }
    const double lo = info->data_type == ZEL_INT16 ? -32768 : 0;
    const double hi = info->data_type == ZEL_INT16 ? 65535 : 255;
    for (double value : background) {
      if (value < lo || value > hi || value != std::trunc(value)) {
        return fail("--background takes whole numbers from " + std::to_string(long(lo)) +
                    " to " + std::to_string(long(hi)));
      }
    }
    if (background.size() == 1) background.resize(bands, background[0]);
    background = as_bands(background, sides.out);
    for (unsigned y = 0; y < height; ++y) {
      for (unsigned x = 0; x < width; ++x) {
        for (unsigned b = 0; b < bands; ++b) dst->setPixel(x, y, b, int(background[b]));
      }
    }
    const auto origin = [&](ZelImage* image, const char* option) {
      if (o.pairs.count(option)) {
        image->setOrigin(int(o.pairs.at(option)[0]), int(o.pairs.at(option)[1]));
      } else if (o.centre) {
        image->setOrigin(int(image->getWidth() / 2), int(image->getHeight() / 2));
      }
    };
    origin(first, "--origin");
    origin(dst, "--dst-origin");
  } else if (writes_image) {
    const unsigned bands = info->params == ZelParams::lookup        ? params.table_bands
                           : info->params == ZelParams::colorspaces ? sides.to->bands
                                                                    : first->getBands();
    dst = state->createImage(first->getWidth(), first->getHeight(), bands,
                             info->dst_data_type ? info->dst_data_type : info->data_type);
    if (dst == nullptr) return fail("cannot create the output image");
    images.all.push_back(dst);
    for (unsigned c = 0; c < bands && bands == first->getBands(); ++c) {
      const unsigned from = band_of_channel(c, bands, sides.in);
      const unsigned to = band_of_channel(c, bands, sides.out);
      for (unsigned y = 0; y < first->getHeight(); ++y) {
        for (unsigned x = 0; x < first->getWidth(); ++x)
          dst->setPixel(x, y, to, first->getPixel(x, y, from));
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
  // Painting works in place: the output, a copy of the input, is painted.
  if (info->params == ZelParams::paint) op->setSrc(1, dst);
  if (dst != nullptr) op->setDst(dst);
  zel_attach_params(op, info->params, &params);

  std::unique_ptr<std::ofstream> trace_file;
  if (!o.trace.empty()) {
    if (o.trace != "-") trace_file = std::make_unique<std::ofstream>(o.trace);
    if (trace_file && !*trace_file) {
      zel_release_params(op, info->params);
      op->destroy();
      return fail("cannot write " + o.trace);
    }
    std::ostream& out = trace_file ? *trace_file : std::cout;
    const bool disasm = o.disasm;
    kxm::set_trace([&out, disasm](std::string_view line) {
      out << (disasm ? kxm::disassemble_trace_line(std::string(line)) : std::string(line))
          << '\n';
    });
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
  if (result.status != 0) {
    if (sides.from != nullptr && !zel_converts_colour(sides.from->opcode, sides.to->opcode)) {
      return fail(std::string("no conversion from ") + sides.from->name + " to " +
                  sides.to->name);
    }
    return fail(o.operation + " failed on these images");
  }
  if (!writes_image) {
    print_list("max", params.maxima, first->getBands(), sides.in);
    print_list("min", params.minima, first->getBands(), sides.in);
  } else if (!write_netpbm(
                 dst, o.output, &why,
                 {sides.out, o.samples,
                  sides.to != nullptr && sides.to->opcode == ZEL_CS_CMYK ? "CMYK" : nullptr})) {
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
