// Option texts (parse.h).
#include "parse.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>

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

bool parse_numbers(const char* text, size_t most, std::vector<double>* out) {
  out->clear();
  const char* p = text;
  while (true) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(p, &end);
    if (end == p || errno != 0 || !std::isfinite(v)) return false;
    out->push_back(v);
    if (out->size() > most) return false;
    if (*end == '\0') break;
    if (*end != ',') return false;
    p = end + 1;
  }
  return true;
}

namespace {

bool fail(std::string* why, size_t line, const std::string& reason) {
  *why = "line " + std::to_string(line) + ": " + reason;
  return false;
}

// The whole-number fields of a line, commas counting as spaces; false at anything else.
bool fields(const std::string& text, std::vector<long>* out) {
  std::string spaced = text;
  for (char& c : spaced) {
    if (c == ',') c = ' ';
  }
  std::istringstream words(spaced);
  std::string word;
  out->clear();
  while (words >> word) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(word.c_str(), &end, 10);
    if (*end != '\0' || errno != 0) return false;
    out->push_back(v);
  }
  return true;
}

}  // namespace

bool parse_table(std::istream& in, int lowest, int highest, LookupTable* table,
                 std::string* why) {
  *table = LookupTable{};
  std::string line;
  size_t number = 0;
  bool first = true;
  std::vector<long> values;
  while (std::getline(in, line)) {
    ++number;
    line = line.substr(0, line.find('#'));
    if (line.find_first_not_of(" \t\r,") == std::string::npos) continue;
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "offset") {
      long k = 0;
      std::string rest;
      if (!first || !(words >> k) || (words >> rest)) {
        return fail(why, number, "\"offset K\" may only be the first line, with one number");
      }
      if (k < -32768 || k > 32767) return fail(why, number, "offset outside -32768..32767");
      table->offset = int(k);
      first = false;
      continue;
    }
    first = false;
    if (!fields(line, &values)) return fail(why, number, "not a list of whole numbers");
    if (values.size() != 1 && values.size() != 3 && values.size() != 4) {
      return fail(why, number,
                  std::to_string(values.size()) + " values; an entry has 1, 3 or 4 (bands)");
    }
    if (table->bands == 0) table->bands = unsigned(values.size());
    if (values.size() != table->bands) {
      return fail(why, number,
                  std::to_string(values.size()) + " values where the first entry has " +
                      std::to_string(table->bands));
    }
    for (long v : values) {
      if (v < lowest || v > highest) {
        return fail(why, number,
                    std::to_string(v) + " outside " + std::to_string(lowest) + ".." +
                        std::to_string(highest));
      }
      table->values.push_back(int(v));
    }
    if (table->values.size() / table->bands > kMostTableEntries) {
      return fail(why, number, "more than " + std::to_string(kMostTableEntries) + " entries");
    }
  }
  if (in.bad()) {
    *why = "cannot read";
    return false;
  }
  if (table->bands == 0) {
    *why = "no entries";
    return false;
  }
  return true;
}

namespace {

// Brushes and points are floats: a larger number would become infinite.
bool fits_float(double v) {
  return std::isfinite(v) && std::fabs(v) <= double(FLT_MAX);
}

}  // namespace

bool parse_weights(std::istream& in, const char* what, BrushText* brush, std::string* why) {
  *brush = BrushText{};
  std::vector<double> numbers;
  std::string line;
  constexpr size_t kMostWeights = 1024 * 1024;
  while (std::getline(in, line)) {
    line = line.substr(0, line.find('#'));
    for (char& c : line) {
      if (c == ',') c = ' ';
    }
    std::istringstream words(line);
    std::string word;
    while (words >> word) {
      char* end = nullptr;
      const double v = std::strtod(word.c_str(), &end);
      if (*end != '\0' || !fits_float(v)) {
        *why = "\"" + word + "\" is not a number a float holds";
        return false;
      }
      if (numbers.size() > kMostWeights + 4) {
        *why = std::string("more values than a ") + what + " of 1024 x 1024 holds";
        return false;
      }
      numbers.push_back(v);
    }
  }
  if (numbers.size() < 4) {
    *why = std::string("a ") + what + " starts with W H KEYX KEYY";
    return false;
  }
  for (int i = 0; i < 4; ++i) {
    const double lo = i < 2 ? 1 : -32768, hi = i < 2 ? 1024 : 32767;
    if (numbers[size_t(i)] != std::trunc(numbers[size_t(i)]) || numbers[size_t(i)] < lo ||
        numbers[size_t(i)] > hi) {
      *why = i < 2 ? "W and H are whole numbers 1..1024"
                   : "the key is whole numbers -32768..32767";
      return false;
    }
  }
  brush->width = int(numbers[0]);
  brush->height = int(numbers[1]);
  brush->key_x = int(numbers[2]);
  brush->key_y = int(numbers[3]);
  const size_t count = size_t(brush->width) * size_t(brush->height);
  if (numbers.size() - 4 != count) {
    *why = "a " + std::to_string(brush->width) + " x " + std::to_string(brush->height) + " " +
           what + " has " + std::to_string(count) + " values, not " +
           std::to_string(numbers.size() - 4);
    return false;
  }
  for (size_t i = 4; i < numbers.size(); ++i) brush->weights.push_back(float(numbers[i]));
  return true;
}

bool parse_points(const char* text, std::vector<float>* out) {
  out->clear();
  std::string all(text);
  size_t start = 0;
  while (true) {
    const size_t end = std::min(all.find(';', start), all.size());
    std::vector<double> xy;
    if (!parse_numbers(all.substr(start, end - start).c_str(), 2, &xy) || xy.size() != 2 ||
        !fits_float(xy[0]) || !fits_float(xy[1])) {
      return false;
    }
    out->push_back(float(xy[0]));
    out->push_back(float(xy[1]));
    if (end == all.size()) break;
    start = end + 1;
  }
  return true;
}

bool parse_brush(std::istream& in, BrushText* brush, std::string* why) {
  return parse_weights(in, "brush", brush, why);
}

std::string parse_arguments(int argc, char** argv, Options* o) {
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
        // The host's rectangles are ints, far edges included: a larger number would wrap.
        const auto fits = [](long n) { return n >= INT_MIN && n <= INT_MAX; };
        if (!parse_ints(value, 4, &v) || v[2] < 0 || v[3] < 0 ||
            !std::all_of(v.begin(), v.end(), fits) || !fits(v[0] + v[2]) ||
            !fits(v[1] + v[3])) {
          return std::string("--roi takes X,Y,W,H with W, H >= 0 and X + W, Y + H within ") +
                 std::to_string(INT_MAX) + ", not " + value;
        }
        o->has_roi = true;
        std::copy(v.begin(), v.end(), o->roi);
      }
    } else if (std::find(std::begin(kParamOptions), std::end(kParamOptions), arg) !=
               std::end(kParamOptions)) {
      if (!has_value) return arg + " needs a value";
      const size_t most = arg == "--matrix"                           ? 12
                          : arg == "--threshold"                      ? 3
                          : arg == "--translate" || arg == "--factor" ? 2
                          : arg == "--angle"                          ? 1
                                                                      : 4;
      std::vector<double> v;
      if (!parse_numbers(argv[++i], most, &v)) {
        return arg + " takes up to " + std::to_string(most) + " comma-separated numbers, not " +
               argv[i];
      }
      o->params[arg] = v;
    } else if (std::find(std::begin(kTextOptions), std::end(kTextOptions), arg) !=
               std::end(kTextOptions)) {
      if (!has_value) return arg + " needs a value";
      o->texts[arg] = argv[++i];
    } else if (arg == "--kernel" || arg == "--edge") {
      if (!has_value) return arg + " needs a value";
      (arg == "--kernel" ? o->kernels : o->edges).push_back(argv[++i]);
    } else if (arg == "--sample16") {
      if (!has_value) return arg + " needs a value";
      const std::string value = argv[++i];
      if (value == "wrap") {
        o->samples = Sample16::wrap;
      } else if (value == "offset") {
        o->samples = Sample16::offset;
      } else if (value == "clamp") {
        o->samples = Sample16::clamp;
      } else {
        return "--sample16 takes wrap, offset or clamp, not " + value;
      }
    } else if (std::find(std::begin(kPairOptions), std::end(kPairOptions), arg) !=
               std::end(kPairOptions)) {
      if (!has_value) return arg + " needs a value";
      std::vector<long> v;
      const bool size = arg == "--size";
      if (!parse_ints(argv[++i], 2, &v) || (size && (v[0] < 1 || v[1] < 1)) ||
          std::abs(v[0]) > (1L << 24) || std::abs(v[1]) > (1L << 24)) {
        return arg +
               (size ? " takes W,H with W, H from 1 to 16777216, not "
                     : " takes X,Y, whole numbers within +-16777216, not ") +
               argv[i];
      }
      o->pairs[arg] = v;
    } else if (arg == "--centre") {
      o->centre = true;
    } else if (arg == "--disasm") {
      o->disasm = true;
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
