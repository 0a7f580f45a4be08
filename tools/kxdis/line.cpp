// kxdis's lines (line.h).
#include "line.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "kx_model.h"

namespace {

// The whole token as a hexadecimal number of at most 32 bits. A token may hold a NUL byte
// (a binary file); the number must still reach the token's end, not the NUL's.
bool parse_hex(const std::string& text, uint32_t* out) {
  char* end = nullptr;
  const unsigned long v = std::strtoul(text.c_str(), &end, 16);
  if (end == text.c_str() || end != text.c_str() + text.size() || v > 0xFFFFFFFFul) {
    return false;
  }
  *out = uint32_t(v);
  return true;
}

std::string decoded(uint32_t word, const char* where, const std::string& text) {
  char head[32];
  std::snprintf(head, sizeof head, "%08x  %-9s  ", word, where);
  return head + text;
}

}  // namespace

bool kxdis_line(const std::string& line, std::string* out) {
  out->clear();
  std::istringstream in(line);
  std::string kind, a, b;
  in >> kind >> a >> b;
  uint32_t word = 0, address = 0;
  if (kind.empty() || kind[0] == '#') return true;
  if (kind == "mem" && parse_hex(a, &address) && parse_hex(b, &word)) {
    char where[16];
    std::snprintf(where, sizeof where, "@%08x", address | (word & 7));
    *out = decoded(word, where, kxm::disassemble_memory(word));
  } else if (kind == "queue" && parse_hex(a, &word)) {
    *out = decoded(word, "", kxm::disassemble_queue(word));
  } else if (kind == "reg" || kind == "ctx" || kind == "read") {
    *out = "                    " + line;
  } else if (parse_hex(kind, &word)) {
    *out = decoded(
        word, "",
        (word >> 28) == 8 ? kxm::disassemble_memory(word) : kxm::disassemble_queue(word));
  } else {
    return false;
  }
  return true;
}
