// Fuzz target: kxrun's command line and option texts (tools/kxrun/parse.h).
//
// The input split at NUL bytes is an argument vector after "kxrun"; each argument is also
// given to the list and point parsers, and the whole input to the table and brush parsers
// (its first byte picks 8- or 16-bit table entries). What must hold: a refusal has a
// one-line reason; accepted lists have the count asked for and finite values; points come
// in pairs of finite numbers; an accepted region is a rectangle the host can hold (every
// field, and both far edges, within int, sides not negative); an accepted table has 1, 3 or
// 4 values an entry, every value in range, at most kMostTableEntries entries and an offset
// within -32768..32767; an accepted brush has sides 1..1024, a key within -32768..32767 and
// as many finite weights as its sides say.
#include <climits>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz.h"
#include "parse.h"

namespace {

void one_line(const std::string& why) {
  FUZZ_CHECK(!why.empty() && why.find('\n') == std::string::npos);
}

bool fits_int(long v) {
  return v >= INT_MIN && v <= INT_MAX;
}

void check_arguments(std::vector<std::string> words) {
  words.insert(words.begin(), "kxrun");
  if (words.size() < 2) return;
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  Options o;
  const std::string bad = parse_arguments(int(words.size()), argv.data(), &o);
  if (!bad.empty()) {
    // Reasons quote arguments, which may hold anything but NUL.
    FUZZ_CHECK(bad.size() < 64 + 2 * words.size() * 4096);
    return;
  }
  FUZZ_CHECK(o.operation == words[1]);
  if (o.has_roi) {
    for (long v : o.roi) FUZZ_CHECK(fits_int(v));
    FUZZ_CHECK(o.roi[2] >= 0 && o.roi[3] >= 0);
    FUZZ_CHECK(fits_int(o.roi[0] + o.roi[2]) && fits_int(o.roi[1] + o.roi[3]));
  }
  for (const auto& [option, values] : o.params) {
    const size_t most = option == "--matrix" ? 12 : option == "--threshold" ? 3 : 4;
    FUZZ_CHECK(!values.empty() && values.size() <= most);
    for (double v : values) FUZZ_CHECK(std::isfinite(v));
  }
  for (const std::string& input : o.inputs)
    FUZZ_CHECK(input == "-" || input.rfind('-', 0) != 0);
}

void check_lists(const std::string& text) {
  std::vector<long> ints;
  if (parse_ints(text.c_str(), 4, &ints)) FUZZ_CHECK(ints.size() == 4);
  std::vector<double> numbers;
  if (parse_numbers(text.c_str(), 12, &numbers)) {
    FUZZ_CHECK(!numbers.empty() && numbers.size() <= 12);
    for (double v : numbers) FUZZ_CHECK(std::isfinite(v));
  }
}

void check_points(const std::string& text) {
  std::vector<float> points;
  if (!parse_points(text.c_str(), &points)) return;
  FUZZ_CHECK(!points.empty() && points.size() % 2 == 0);
  for (float v : points) FUZZ_CHECK(std::isfinite(v));
}

void check_brush(const std::string& text) {
  std::istringstream in(text);
  BrushText brush;
  std::string why;
  if (!parse_brush(in, &brush, &why)) {
    one_line(why);
    return;
  }
  FUZZ_CHECK(brush.width >= 1 && brush.width <= 1024 && brush.height >= 1 &&
             brush.height <= 1024);
  FUZZ_CHECK(brush.key_x >= -32768 && brush.key_x <= 32767 && brush.key_y >= -32768 &&
             brush.key_y <= 32767);
  FUZZ_CHECK(brush.weights.size() == size_t(brush.width) * size_t(brush.height));
  for (float w : brush.weights) FUZZ_CHECK(std::isfinite(w));
}

void check_table(const std::string& text, bool wide) {
  const int lowest = wide ? -32768 : 0, highest = wide ? 32767 : 255;
  std::istringstream in(text);
  LookupTable table;
  std::string why;
  if (!parse_table(in, lowest, highest, &table, &why)) {
    one_line(why);
    return;
  }
  FUZZ_CHECK(table.bands == 1 || table.bands == 3 || table.bands == 4);
  FUZZ_CHECK(!table.values.empty() && table.values.size() % table.bands == 0);
  FUZZ_CHECK(table.values.size() / table.bands <= kMostTableEntries);
  FUZZ_CHECK(table.offset >= -32768 && table.offset <= 32767);
  for (int v : table.values) FUZZ_CHECK(v >= lowest && v <= highest);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> words;
  size_t start = 0;
  for (size_t i = 0; i <= size; ++i) {
    if (i == size || text[i] == '\0') {
      words.push_back(text.substr(start, i - start));
      start = i + 1;
    }
  }
  check_arguments(words);
  for (const std::string& w : words) {
    check_lists(w);
    check_points(w);
  }
  check_table(size > 0 ? text.substr(1) : text, size > 0 && (data[0] & 1) != 0);
  check_brush(text);
  return 0;
}
