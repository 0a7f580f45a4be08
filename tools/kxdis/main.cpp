// kxdis: KX instruction words in readable form.
//
//   kxdis [FILE]   reads a bus trace (kxrun --trace) or hexadecimal words, one per line,
//                  from FILE or standard input, and prints each instruction word decoded.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "line.h"

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
  std::string line, text;
  for (int number = 1; std::getline(in, line); ++number) {
    if (kxdis_line(line, &text)) {
      if (!text.empty()) std::printf("%s\n", text.c_str());
    } else {
      std::fprintf(stderr, "kxdis: line %d is neither a trace line nor a word: %s\n", number,
                   line.c_str());
      return 1;
    }
  }
  return 0;
}
