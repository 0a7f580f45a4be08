// The KX processor: machine state (docs/kx-isa.md 1), the bus side of the issue paths and
// the execution queue (2), and fault reporting (5).
//
// Bus transactions arrive through libkx's accessors. Each is traced and counted at arrival;
// its execution happens at once (immediate mode) or when the status word is read or the
// model is drained (deferred mode). What a word does is decided in memory_ops.cpp and
// queue_forms.cpp.
#ifndef KX_MODEL_PROCESSOR_H
#define KX_MODEL_PROCESSOR_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "alias_space.h"
#include "isa.h"
#include "kx_model.h"

namespace kxm::detail {

enum class FaultKind : uint8_t {
  undefined,
  page_crossing,
  unaliased,
  register_run,
  misaligned_issue,
  busy_context_write,
  bad_context_access,
};

const char* fault_name(FaultKind kind);

class Processor;

// The semantics: one word each, already past the bus (memory_ops.cpp, queue_forms.cpp).
void execute_memory_word(Processor& processor, uint32_t address, uint32_t word);
void execute_queue_word(Processor& processor, uint32_t word);

class Processor {
 public:
  explicit Processor(AliasSpace& alias);

  // Back to the reset state of docs/kx-isa.md 1.2; drops held work, counters and faults.
  void reset(bool deferred, bool strict);

  // The bus (arrivals). The two paths every kernel word takes, memory words and single
  // queue words, are here so that libkx reaches the semantics without further calls.
  void alias_store(uint32_t address, uint32_t value) {
    if (trace_) trace("mem 0x%08x 0x%08x", address, value);
    ++counters.memory_words;
    if (deferred_) return hold(Arrival::memory_word, address, value);
    execute_memory_word(*this, address, value);
  }
  void context_store(uint32_t offset, uint32_t value) {
    if (offset != isa::kQueuePort) return context_store_other(offset, value);
    if (trace_) trace("queue 0x%08x", value);
    ++counters.queue_words;
    if (deferred_) return hold(Arrival::queue_word, 0, value);
    execute_queue_word(*this, value);
  }
  void context_store64(uint32_t offset, uint32_t first, uint32_t second);
  uint32_t context_load(uint32_t offset);
  // A bus access through something that is not the context block libkx handed out.
  void bad_context(uint32_t offset, uint32_t value);

  // Executes everything held.
  void drain();
  size_t pending() const { return held_.size(); }
  bool busy() const { return !held_.empty(); }

  // Faults and instrumentation.
  void fault(FaultKind kind, uint32_t word, uint32_t address, std::string_view detail);
  void set_fault_hook(std::function<void(const Fault&)> hook);
  const std::function<void(const Fault&)>& fault_hook() const { return hook_; }
  void set_trace(std::function<void(std::string_view)> sink);
  const std::vector<Fault>& faults() const { return faults_; }
  void clear_faults() { faults_.clear(); }
  Counters counters;

  // Machine state, read and written by the semantics of memory_ops.cpp and queue_forms.cpp.
  // r[0] is always 0: every write to it is dropped.
  std::array<uint32_t, isa::kRegisters> r{};
  uint32_t plane_mask = 0xFFFFFFFF;
  uint32_t raster_op = 0xCC;
  uint32_t fill_mask = 0;  // M of docs/kx-isa.md 3.5
  bool write_occurred = false;
  AliasSpace& alias;

  // At most this many faults are kept for inspection; the counter counts them all.
  static constexpr size_t kKeptFaults = 4096;

 private:
  enum class Arrival : uint8_t { memory_word, queue_word, register_write, fill_mask };
  struct Held {
    Arrival kind;
    uint32_t where;  // alias address or register number
    uint32_t value;
  };

  void arrive(Arrival kind, uint32_t where, uint32_t value);
  void hold(Arrival kind, uint32_t where, uint32_t value);
  void context_store_other(uint32_t offset, uint32_t value);
  void execute(Arrival kind, uint32_t where, uint32_t value);
  void context_write(uint32_t offset, uint32_t value, uint32_t& target);
  void trace(const char* format, uint32_t first, uint32_t second = 0);

  bool deferred_ = false;
  bool strict_ = true;
  std::vector<Held> held_;
  std::vector<Fault> faults_;
  std::function<void(const Fault&)> hook_;
  std::function<void(std::string_view)> trace_;
};

}  // namespace kxm::detail

#endif
