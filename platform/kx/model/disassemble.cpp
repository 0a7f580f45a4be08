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

}  // namespace kxm
