#include "processor.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace kxm::detail {

namespace {

void print_fault(const Fault& fault) {
  std::fprintf(stderr, "kx fault %s: %s\n", fault.kind.c_str(), fault.message.c_str());
}

bool in_register_file(uint32_t offset) {
  return offset >= isa::kRegisterFile && offset < isa::kRegisterFileEnd;
}

uint32_t register_at(uint32_t offset) {
  return (offset - isa::kRegisterFile) / 4;
}

}  // namespace

const char* fault_name(FaultKind kind) {
  switch (kind) {
    case FaultKind::undefined:
      return "undefined";
    case FaultKind::page_crossing:
      return "page-crossing";
    case FaultKind::unaliased:
      return "unaliased";
    case FaultKind::register_run:
      return "register-run";
    case FaultKind::misaligned_issue:
      return "misaligned-issue";
    case FaultKind::busy_context_write:
      return "busy-context-write";
    case FaultKind::bad_context_access:
      return "bad-context-access";
  }
  return "?";
}

Processor::Processor(AliasSpace& space) : alias(space), hook_(print_fault) {
  held_.reserve(1 << 16);
}

void Processor::reset(bool deferred, bool strict) {
  deferred_ = deferred;
  strict_ = strict;
  r.fill(0);
  plane_mask = 0xFFFFFFFF;
  raster_op = 0xCC;
  fill_mask = 0;
  write_occurred = false;
  held_.clear();
  faults_.clear();
  counters = Counters{};
}

// ---- Arrivals (docs/kx-isa.md 2)

void Processor::context_store_other(uint32_t offset, uint32_t value) {
  if (offset % 4 == 0 && in_register_file(offset)) {
    if (trace_) trace("reg %u 0x%08x", register_at(offset), value);
    ++counters.register_writes;
    arrive(Arrival::register_write, register_at(offset), value);
    return;
  }
  if (trace_) trace("ctx 0x%08x 0x%08x", offset, value);
  switch (offset) {
    case isa::kStatus:
      arrive(Arrival::fill_mask, 0, value);
      return;
    case isa::kPlaneMask:
      context_write(offset, value, plane_mask);
      return;
    case isa::kRasterOp:
      context_write(offset, value, raster_op);
      return;
    default:
      fault(FaultKind::bad_context_access, value, offset,
            offset == isa::kQueuePortSecond ? "store to +0x024 outside a doubleword store"
                                            : "store to an undefined context offset");
  }
}

// Plane mask and raster op change at once, so a change under held words is a fault.
void Processor::context_write(uint32_t offset, uint32_t value, uint32_t& target) {
  if (busy()) fault(FaultKind::busy_context_write, value, offset, "write while words are held");
  target = value;
}

void Processor::context_store64(uint32_t offset, uint32_t first, uint32_t second) {
  const bool register_pair = offset % 8 == 0 && in_register_file(offset);
  if (offset != isa::kQueuePort && !register_pair) {
    if (trace_) {
      trace("ctx 0x%08x 0x%08x", offset, first);
      trace("ctx 0x%08x 0x%08x", offset + 4, second);
    }
    fault(FaultKind::bad_context_access, first, offset, "doubleword store at this offset");
    return;
  }
  if (register_pair) {
    context_store(offset, first);
    context_store(offset + 4, second);
    return;
  }
  for (const uint32_t word : {first, second}) {
    if (trace_) trace("queue 0x%08x", word);
    ++counters.queue_words;
    arrive(Arrival::queue_word, 0, word);
  }
}

uint32_t Processor::context_load(uint32_t offset) {
  uint32_t value = 0;
  bool execute_held = false;
  if (offset == isa::kStatus) {
    value = write_occurred ? isa::kStatusWriteOccurred : 0;
    if (busy()) {
      value |= isa::kStatusBusy;
      execute_held = true;
    } else {
      ++counters.idle_waits;
    }
  } else if (offset == isa::kPlaneMask) {
    value = plane_mask;
  } else if (offset == isa::kRasterOp) {
    value = raster_op;
  } else if (offset % 4 == 0 && in_register_file(offset)) {
    value = r[register_at(offset)];
  } else {
    if (trace_) trace("read 0x%08x 0x%08x", offset, 0);
    fault(FaultKind::bad_context_access, 0, offset, "load from a write-only or undefined word");
    return 0;
  }
  if (trace_) trace("read 0x%08x 0x%08x", offset, value);
  if (execute_held) drain();
  return value;
}

void Processor::bad_context(uint32_t offset, uint32_t value) {
  fault(FaultKind::bad_context_access, value, offset, "access through an unknown context");
}

void Processor::arrive(Arrival kind, uint32_t where, uint32_t value) {
  if (deferred_) {
    hold(kind, where, value);
  } else {
    execute(kind, where, value);
  }
}

// The held queue grows by reserving room for as many arrivals again as it holds (at least
// 64 Ki), never one arrival at a time.
void Processor::hold(Arrival kind, uint32_t where, uint32_t value) {
  if (held_.size() == held_.capacity())
    held_.reserve(std::max<size_t>(2 * held_.size(), 1 << 16));
  held_.push_back(Held{kind, where, value});
}

void Processor::drain() {
  // Execution adds nothing to the queue, so the held words can be walked in place.
  for (size_t i = 0; i < held_.size(); ++i)
    execute(held_[i].kind, held_[i].where, held_[i].value);
  held_.clear();
}

void Processor::execute(Arrival kind, uint32_t where, uint32_t value) {
  switch (kind) {
    case Arrival::memory_word:
      execute_memory_word(*this, where, value);
      return;
    case Arrival::queue_word:
      execute_queue_word(*this, value);
      return;
    case Arrival::register_write:
      if (where != 0) r[where] = value;
      return;
    case Arrival::fill_mask:
      fill_mask = value;
      write_occurred = false;
      return;
  }
}

// ---- Faults and trace

void Processor::fault(FaultKind kind, uint32_t word, uint32_t address,
                      std::string_view detail) {
  ++counters.faults;
  if (faults_.size() >= kKeptFaults && !strict_) return;
  char head[96];
  std::snprintf(head, sizeof head, "word 0x%08x at 0x%08x: ", word, address);
  Fault record{fault_name(kind), word, address, std::string(head).append(detail)};
  if (strict_) hook_(record);
  if (faults_.size() < kKeptFaults) faults_.push_back(std::move(record));
}

void Processor::set_fault_hook(std::function<void(const Fault&)> hook) {
  hook_ = hook ? std::move(hook) : std::function<void(const Fault&)>(print_fault);
}

void Processor::set_trace(std::function<void(std::string_view)> sink) {
  trace_ = std::move(sink);
}

void Processor::trace(const char* format, uint32_t first, uint32_t second) {
  char line[64];
  const int length = std::snprintf(line, sizeof line, format, first, second);
  trace_(std::string_view(line, size_t(length)));
}

}  // namespace kxm::detail
