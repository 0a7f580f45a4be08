// kx_model.h: configuration, inspection and instrumentation of the one machine.
#include "kx_model.h"
#include "model.h"

namespace kxm {

namespace detail {

Model& model() {
  static Model* const machine = new Model;
  return *machine;
}

}  // namespace detail

using detail::model;

void configure(const Config& config) {
  auto& m = model();
  m.config = config;
  m.processor.reset(config.deferred, config.strict);
  m.processor.set_trace({});
  m.devices.bounds = Bounds{};
}

const Config& config() {
  return model().config;
}

const Counters& counters() {
  return model().processor.counters;
}
void reset_counters() {
  model().processor.counters = Counters{};
}

const std::vector<Fault>& faults() {
  return model().processor.faults();
}
void clear_faults() {
  model().processor.clear_faults();
}
void set_fault_hook(std::function<void(const Fault&)> hook) {
  model().processor.set_fault_hook(std::move(hook));
}
std::function<void(const Fault&)> fault_hook() {
  return model().processor.fault_hook();
}

void set_trace(std::function<void(std::string_view line)> sink) {
  model().processor.set_trace(std::move(sink));
}

void drain() {
  model().processor.drain();
}
size_t pending() {
  return model().processor.pending();
}

uint32_t reg(int n) {
  return n > 0 && n < isa::kRegisters ? model().processor.r[size_t(n)] : 0;
}
void set_reg(int n, uint32_t value) {
  if (n > 0 && n < isa::kRegisters) model().processor.r[size_t(n)] = value;
}
uint32_t plane_mask() {
  return model().processor.plane_mask;
}
uint32_t raster_op() {
  return model().processor.raster_op;
}
uint32_t fill_mask() {
  return model().processor.fill_mask;
}
bool write_occurred() {
  return model().processor.write_occurred;
}
Bounds bounds() {
  return model().devices.bounds;
}

uint32_t alias_of(const void* host) {
  return model().alias.alias_of(host);
}
void* host_of(uint32_t alias) {
  uint8_t* page = model().alias.page(alias);
  return page == nullptr ? nullptr : page + (alias & (detail::AliasSpace::kPageSize - 1));
}
int alias_mappings() {
  return model().alias.mappings();
}
int cmem_allocations() {
  return model().devices.cmem_count();
}
int open_devices() {
  return model().devices.open_count();
}

}  // namespace kxm
