// The disassembler: words in a small assembly-like notation, decoded through the same
// tables as execution (decode.h) with the mnemonics of kx_isa.def.
//
//   queue:   add x16 r58 = r10, r58      srli x4 r10 = r10, #8      cmplt x16 r2 = r10, r20
//            gather x4 r40 = r13, #-1    .word 0x5f000000 ; undefined
//   memory:  ld.t8 x32 r10 @+5           st2.t16:2 x8 r20 @+0       ld.t8 x8 r40 @[r16]
//
// A memory word's "@+k" is the low address bits it carries (A & 7), "@[rX]" the index
// register of an indexed load; ":t" marks a type code with a non-zero sub-field.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "decode.h"
#include "isa.h"
#include "kx_model.h"

namespace kxm {

namespace {

std::string undefined_word(uint32_t word) {
  char text[48];
  std::snprintf(text, sizeof text, ".word 0x%08x ; undefined", word);
  return text;
}

}  // namespace

std::string disassemble_queue(uint32_t word) {
  if (detail::undefined_queue_word(word) != nullptr) return undefined_word(word);
  const isa::QueueWord q{word};
  const detail::QueueForm& form = detail::kQueueForms[q.opcode()];
  const char* format = "%s x%d r%d = r%d, r%d";
  int destination = q.d();
  int last = q.b();
  switch (form.walk) {
    case isa::Walk::elementwise:
    case isa::Walk::one_b:
      break;
    case isa::Walk::compare:
      destination = 2;
      break;
    case isa::Walk::immediate:
    case isa::Walk::funnel:
      format = "%s x%d r%d = r%d, #%d";
      break;
    case isa::Walk::scatter:
    case isa::Walk::gather:
      format = "%s x%d r%d = r%d, #%d";
      last = q.stride();
      break;
  }
  char text[64];
  std::snprintf(text, sizeof text, format, form.mnemonic, q.count(), destination, q.a(), last);
  return text;
}

std::string disassemble_memory(uint32_t word) {
  if (detail::undefined_memory_word(word) != nullptr) return undefined_word(word);
  const isa::MemoryWord w{word};
  const isa::DataType& type = isa::kDataTypes[w.type()];
  char sub_field[16] = "";
  if (type.t != 0) std::snprintf(sub_field, sizeof sub_field, ":%d", type.t);
  char where[16];
  if (w.indexed()) {
    std::snprintf(where, sizeof where, "@[r%u]", w.low());
  } else {
    std::snprintf(where, sizeof where, "@+%u", w.low());
  }
  char text[80];
  std::snprintf(text, sizeof text, "%s.%s%s x%d r%d %s",
                detail::kMemoryOperations[w.operation()].mnemonic,
                isa::info(type.base).mnemonic, sub_field, w.count(), w.reg(), where);
  return text;
}

std::string disassemble(uint32_t word) {
  return word >> 28 == isa::kMemoryClass ? disassemble_memory(word) : disassemble_queue(word);
}

namespace {

// The codes of the one encoding list, by mnemonic.
struct Named {
  const char* mnemonic;
  uint32_t code;
};
constexpr Named kOperationNames[] = {
#define KX_MEM_OP(NAME, code, mnemonic) {mnemonic, code},
#include "kx_isa.def"
};
constexpr Named kTypeNames[] = {
#define KX_DATA_TYPE(NAME, code, mnemonic) {mnemonic, code},
#include "kx_isa.def"
};
constexpr Named kFormNames[] = {
#define KX_QUEUE_FORM(NAME, group, variant, mnemonic) {mnemonic, isa::opcode(group, variant)},
#include "kx_isa.def"
};

template <size_t N>
bool code_of(const Named (&names)[N], const std::string& mnemonic, uint32_t* code) {
  for (const Named& n : names) {
    if (mnemonic == n.mnemonic) {
      *code = n.code;
      return true;
    }
  }
  return false;
}

bool memory_word(const std::string& mnemonic, const char* operands, uint32_t* word) {
  const size_t dot = mnemonic.find('.');
  const size_t colon = mnemonic.find(':', dot);
  uint32_t operation = 0, type = 0;
  if (!code_of(kOperationNames, mnemonic.substr(0, dot), &operation) ||
      !code_of(kTypeNames, mnemonic.substr(dot + 1, colon - dot - 1), &type)) {
    return false;
  }
  if (colon != std::string::npos) type += uint32_t(std::atoi(mnemonic.c_str() + colon + 1));
  int count = 0, reg = 0, end = 0;
  unsigned low = 0;
  if (std::sscanf(operands, " x%d r%d @+%u%n", &count, &reg, &low, &end) != 3 &&
      std::sscanf(operands, " x%d r%d @[r%u]%n", &count, &reg, &low, &end) != 3) {
    return false;
  }
  *word = 0x80000000u | (((uint32_t(count) - 1) & 0x1F) << 23) | (operation << 19) |
          ((type & 0x1F) << 14) | ((uint32_t(reg) & 0x7F) << 7) | (low & 0x7F);
  return true;
}

bool queue_word(const std::string& mnemonic, const char* operands, uint32_t* word) {
  uint32_t opcode = 0;
  if (!code_of(kFormNames, mnemonic, &opcode)) return false;
  int count = 0, d = 0, a = 0, b = 0;
  if (std::sscanf(operands, " x%d r%d = r%d, r%d", &count, &d, &a, &b) != 4 &&
      std::sscanf(operands, " x%d r%d = r%d, #%d", &count, &d, &a, &b) != 4) {
    return false;
  }
  if (detail::kQueueForms[opcode].walk == isa::Walk::compare) d = 0;  // shown as r2
  *word = (opcode >> 3) << 28 | (((uint32_t(count) - 1) & 0xF) << 24) | (opcode & 7) << 21 |
          (uint32_t(a) & 0x7F) << 14 | (uint32_t(d) & 0x7F) << 7 | (uint32_t(b) & 0x7F);
  return true;
}

}  // namespace

bool assemble(const std::string& text, uint32_t* word) {
  std::istringstream in(text);
  std::string mnemonic;
  in >> mnemonic;
  const char* operands =
      text.c_str() + std::min(text.size(), text.find(mnemonic) + mnemonic.size());
  uint32_t w = 0;
  if (mnemonic == ".word") {
    char* end = nullptr;
    const unsigned long v = std::strtoul(operands, &end, 16);
    if (end == operands || v > 0xFFFFFFFFul) return false;
    w = uint32_t(v);
  } else if (!(mnemonic.find('.') != std::string::npos ? memory_word(mnemonic, operands, &w)
                                                       : queue_word(mnemonic, operands, &w))) {
    return false;
  }
  // Only the one way of writing each word is accepted.
  if (disassemble(w) != text) return false;
  *word = w;
  return true;
}

std::string disassemble_trace_line(const std::string& line) {
  std::istringstream in(line);
  std::string kind, first, second;
  in >> kind >> first >> second;
  const auto hex = [](const std::string& text, uint32_t* out) {
    char* end = nullptr;
    const unsigned long v = std::strtoul(text.c_str(), &end, 16);
    // The whole token: a NUL byte inside it ends the number, not the token.
    if (text.empty() || end != text.c_str() + text.size() || v > 0xFFFFFFFFul) return false;
    *out = uint32_t(v);
    return true;
  };
  uint32_t address = 0, word = 0;
  char text[160];
  if (kind == "mem" && hex(first, &address) && hex(second, &word)) {
    std::snprintf(text, sizeof text, "%08x  @%08x  %s", word, address | (word & 7),
                  disassemble_memory(word).c_str());
  } else if (kind == "queue" && hex(first, &word)) {
    std::snprintf(text, sizeof text, "%08x             %s", word,
                  disassemble_queue(word).c_str());
  } else {
    return std::string(20, ' ') + line;  // whole, however long
  }
  return text;
}

}  // namespace kxm
