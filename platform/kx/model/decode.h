// The decode tables: every encoding of kx_isa.def joined to its meaning in the model.
//
// memory_ops.cpp and queue_forms.cpp build them by expanding kx_isa.def next to their
// semantic functions, so an entry without semantics does not compile. Execution and the
// disassembler both decode through them.
#ifndef KX_MODEL_DECODE_H
#define KX_MODEL_DECODE_H

#include <array>
#include <cstdint>

#include "isa.h"

namespace kxm::detail {

class Processor;
struct Run;

struct MemoryOperation {
  const char* name = nullptr;  // nullptr: the code is undefined
  const char* mnemonic = nullptr;
  isa::TypeSet types{0, false};
  void (*execute)(Processor&, const Run&) = nullptr;
};
extern const std::array<MemoryOperation, 16> kMemoryOperations;  // by operation code

struct QueueForm {
  const char* name = nullptr;  // nullptr: the (group, variant) pair is undefined
  const char* mnemonic = nullptr;
  isa::Walk walk = isa::Walk::elementwise;
  void (*execute)(Processor&, uint32_t word) = nullptr;
};
extern const std::array<QueueForm, 128> kQueueForms;  // by opcode

// Why a word's encoding is undefined (docs/kx-isa.md 5), or nullptr when it is defined.
const char* undefined_memory_word(uint32_t word);
const char* undefined_queue_word(uint32_t word);

}  // namespace kxm::detail

#endif
