// Fuzz target: kxdis's input lines (tools/kxdis/line.h), the decoder behind them, the
// assembler that inverts it and kxrun --disasm's trace lines (kx_model.h).
//
// The input is split into lines as kxdis reads them. What must hold: every line is either
// refused or gives one line of text; a word is decoded the same way whether it comes bare,
// from a "queue" line or from a "mem" line; a decoded word's text starts with the word as
// it was written and is either an instruction or ".word 0x........ ; undefined"; a line
// taken as a word is nothing but the word's hexadecimal digits; kxdis and kxrun --disasm
// print a trace line alike; every word's text assembles back to the word, and a line the
// assembler takes is the text of the word it gives.
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>

#include "fuzz.h"
#include "kx_model.h"
#include "line.h"

namespace {

bool hex_token(const std::string& t) {
  size_t i = 0;
  if (t.size() > 1 && (t[0] == '+' || t[0] == '-')) i = 1;  // strtoul's sign
  if (t.size() > i + 2 && t[i] == '0' && (t[i + 1] == 'x' || t[i + 1] == 'X')) i += 2;
  if (i == t.size()) return false;
  for (; i < t.size(); ++i) {
    if (!std::isxdigit(static_cast<unsigned char>(t[i]))) return false;
  }
  return true;
}

void check_decoding(uint32_t word, const std::string& text) {
  FUZZ_CHECK(!text.empty() && text.find('\n') == std::string::npos);
  const bool undefined = text.rfind(".word ", 0) == 0;
  if (undefined) {
    char expected[48];
    std::snprintf(expected, sizeof expected, ".word 0x%08x ; undefined", word);
    FUZZ_CHECK(text == expected);
  } else {
    FUZZ_CHECK(std::islower(static_cast<unsigned char>(text[0])));
    FUZZ_CHECK(text.find(" x") != std::string::npos);
  }
}

void check_line(const std::string& line) {
  std::string out;
  const bool taken = kxdis_line(line, &out);
  std::istringstream words(line);
  std::string kind, a, b;
  words >> kind >> a >> b;
  if (!taken) {
    FUZZ_CHECK(out.empty() && !kind.empty() && kind[0] != '#');
    // Nor does kxrun --disasm decode it: the line passes through as it is.
    FUZZ_CHECK(kxm::disassemble_trace_line(line) == std::string(20, ' ') + line);
    return;
  }
  FUZZ_CHECK(out.find('\n') == std::string::npos);
  // kxrun --disasm shows trace lines as kxdis does.
  if (kind == "mem" || kind == "queue" || kind == "reg" || kind == "ctx" || kind == "read") {
    FUZZ_CHECK(out == kxm::disassemble_trace_line(line));
  }
  if (kind.empty() || kind[0] == '#') {
    FUZZ_CHECK(out.empty());
    return;
  }
  if (kind == "reg" || kind == "ctx" || kind == "read") return;
  FUZZ_CHECK(out.size() > 22);
  uint32_t word = 0;
  FUZZ_CHECK(std::sscanf(out.c_str(), "%8x", &word) == 1);
  const std::string text = out.substr(21);
  if (kind == "mem") {
    FUZZ_CHECK(hex_token(a) && hex_token(b));
    FUZZ_CHECK(text == kxm::disassemble_memory(word));
  } else if (kind == "queue") {
    FUZZ_CHECK(hex_token(a));
    FUZZ_CHECK(text == kxm::disassemble_queue(word));
  } else {
    FUZZ_CHECK(hex_token(kind));
    FUZZ_CHECK(text == ((word >> 28) == 8 ? kxm::disassemble_memory(word)
                                          : kxm::disassemble_queue(word)));
  }
  check_decoding(word, text);
}

void check_assembly(const std::string& line) {
  uint32_t word = 0;
  if (kxm::assemble(line, &word)) FUZZ_CHECK(kxm::disassemble(word) == line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    check_line(line);
    check_assembly(line);
  }
  // The decoder alone, on every word of the input.
  for (size_t i = 0; i + 4 <= size; i += 4) {
    const uint32_t word = uint32_t(data[i]) | uint32_t(data[i + 1]) << 8 |
                          uint32_t(data[i + 2]) << 16 | uint32_t(data[i + 3]) << 24;
    check_decoding(word, kxm::disassemble_queue(word));
    check_decoding(word, kxm::disassemble_memory(word));
    FUZZ_CHECK((kxm::disassemble_memory(word).rfind(".word", 0) == 0) || (word >> 28) == 8);
    uint32_t back = 0;
    FUZZ_CHECK(kxm::assemble(kxm::disassemble(word), &back) && back == word);
  }
  return 0;
}
