// kxrun's command line and the texts its options take: lists of numbers and lookup tables.
#ifndef KXRUN_PARSE_H
#define KXRUN_PARSE_H

#include <cstddef>
#include <istream>
#include <map>
#include <string>
#include <vector>

#include "netpbm.h"

// kxrun OPERATION [options] INPUT...: what the arguments say, before any file is read.
struct Options {
  std::string operation;
  std::vector<std::string> inputs;
  std::string output;
  bool has_roi = false;
  long roi[4] = {0, 0, 0, 0};  // X, Y, W, H
  bool host_only = false;
  bool no_fallback = false;
  std::string trace;  // "-": standard output
  bool disasm = false;
  bool stats = false;
  std::map<std::string, std::vector<double>> params;  // --const, --value, ... as given
  std::map<std::string, std::string> texts;  // --table, --from, --to, --brush, --points
  std::vector<std::string> kernels, edges;   // --kernel and --edge, in order
  Sample16 samples = Sample16::wrap;
  std::map<std::string, std::vector<long>> pairs;  // --size, --origin, --dst-origin
  bool centre = false;                             // --centre
};
// The parameter options, by name; each holds the numbers given.
inline constexpr const char* kParamOptions[] = {
    "--const", "--value",      "--scale",     "--offset", "--matrix", "--threshold",
    "--color", "--background", "--translate", "--angle",  "--factor"};
// Options of the geometric operations that take a pair of whole numbers.
inline constexpr const char* kPairOptions[] = {"--size", "--origin", "--dst-origin"};
// Options that take a file name or a word.
inline constexpr const char* kTextOptions[] = {"--table", "--from",   "--to",
                                               "--brush", "--points", "--transpose"};

// argv[1] is the operation, argv[2..argc) its options and inputs (argc >= 2). Returns an
// empty string, or the reason the arguments are bad.
std::string parse_arguments(int argc, char** argv, Options* o);

// "A,B,C,D" into exactly `count` integers.
bool parse_ints(const char* text, size_t count, std::vector<long>* out);
// "A,B,..." into 1..`most` finite numbers.
bool parse_numbers(const char* text, size_t most, std::vector<double>* out);

// A lookup table as a text: '#' starts a comment to the end of its line; an optional first
// line "offset K" (K in -32768..32767) gives the source value of entry 0; then one entry a
// line of 1, 3 or 4 integers from `lowest` to `highest`, separated by spaces or commas,
// every entry with as many as the first. Entries are in the file's order of channels.
struct LookupTable {
  int offset = 0;
  unsigned bands = 0;       // values an entry
  std::vector<int> values;  // entry by entry
};
// At most this many entries.
inline constexpr size_t kMostTableEntries = 1u << 20;
// False with a one-line reason (naming the line) in *why.
bool parse_table(std::istream& in, int lowest, int highest, LookupTable* table,
                 std::string* why);

// A brush as a text: "W H KEYX KEYY", then W x H weights row by row, separated by spaces,
// commas or line ends; '#' starts a comment to the end of its line. W and H in 1..1024, the
// key in -32768..32767, weights finite numbers a float holds (the operation decides which
// it takes).
struct BrushText {
  int width = 0, height = 0, key_x = 0, key_y = 0;
  std::vector<float> weights;
};
bool parse_brush(std::istream& in, BrushText* brush, std::string* why);
// The same text for any weights: `what` names them in the reasons ("kernel"). A convolution
// kernel is "W H KX KY V,V,...", the key point (KX, KY) the element over the pixel computed.
bool parse_weights(std::istream& in, const char* what, BrushText* weights, std::string* why);
// "X,Y;X,Y;..." into x, y pairs of finite numbers a float holds (at least one point).
bool parse_points(const char* text, std::vector<float>* out);

#endif
