// kxdis: KX instruction words in readable form.
//
//   kxdis [FILE]   reads a bus trace (kxrun --trace) or hexadecimal words, one per line,
//                  from FILE or standard input, and prints each instruction word decoded.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "kx_model.h"

namespace {

bool parse_hex(const std::string& text, uint32_t* out) {
  char* end = nullptr;
  const unsigned long v = std::strtoul(text.c_str(), &end, 16);
  if (end == text.c_str() || *end != '\0' || v > 0xFFFFFFFFul) return false;
  *out = uint32_t(v);
  return true;
}

// One line of input: "mem ADDRESS VALUE", "queue WORD", other trace lines, or a bare word.
bool print_line(const std::string& line) {
  std::istringstream in(line);
  std::string kind, a, b;
  in >> kind >> a >> b;
  uint32_t word = 0, address = 0;
  if (kind.empty() || kind[0] == '#') return true;
  if (kind == "mem" && parse_hex(a, &address) && parse_hex(b, &word)) {
    std::printf("%08x  @%08x  %s\n", word, address | (word & 7),
                kxm::disassemble_memory(word).c_str());
  } else if (kind == "queue" && parse_hex(a, &word)) {
    std::printf("%08x             %s\n", word, kxm::disassemble_queue(word).c_str());
  } else if (kind == "reg" || kind == "ctx" || kind == "read") {
    std::printf("                    %s\n", line.c_str());
  } else if (parse_hex(kind, &word)) {
    std::printf("%08x             %s\n", word,
                (word >> 28) == 8 ? kxm::disassemble_memory(word).c_str()
                                  : kxm::disassemble_queue(word).c_str());
  } else {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 ||
      (argc == 2 && (std::string(argv[1]) == "-h" || std::string(argv[1]) == "--help"))) {
    std::fputs("usage: kxdis [FILE]  (a bus trace or hexadecimal words, one per line)\n",
               argc > 2 ? stderr : stdout);
    return argc > 2 ? 1 : 0;
  }
  std::ifstream file;
  if (argc == 2) {
    file.open(argv[1]);
    if (!file) {
      std::fprintf(stderr, "kxdis: cannot read %s\n", argv[1]);
      return 1;
    }
  }
  std::istream& in = argc == 2 ? static_cast<std::istream&>(file) : std::cin;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (!print_line(line)) {
      std::fprintf(stderr, "kxdis: line %d is neither a trace line nor a word: %s\n", number,
                   line.c_str());
      return 1;
    }
  }
  return 0;
}
