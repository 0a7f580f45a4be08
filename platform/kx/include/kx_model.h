// Control of the KX processor model, for tests and tools.
//
// The model sits behind libkx's bus accessors and the system-call seam (kx.h, kx_sys.h)
// and executes every word it receives as docs/kx-isa.md defines. This header is how a test
// or a tool configures it, watches it and inspects it; the plug-in never includes it.
#ifndef KX_MODEL_H
#define KX_MODEL_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kxm {

// What the machine has and how its devices answer. configure() resets the processor
// (registers, context words, held words, counters, faults, fill bit mask, bounds record),
// turns the bus trace off and applies the new configuration. Alias mappings, cmem
// allocations and open descriptors stay valid, so a fixture may create images first and
// reconfigure afterwards; the fault hook stays installed.
struct Config {
  bool processor = true;       // false: the KX device cannot be opened (kx_open gives -1)
  bool alias_maps = true;      // false: mapping the KX device fails
  bool bounds_request = true;  // false: the bounds request fails
  bool cmem_device = true;     // false: "/dev/kx_cmem" does not exist
  bool cmem_alloc = true;      // false: the allocation request fails
  bool cmem_maps = true;       // false: mapping the allocated memory fails
  bool cmem_unmaps = true;     // false: unmapping allocated memory fails
  long page_size = 0;          // what sysconf reports for the page size; 0: the system's
  bool deferred = false;       // hold words until the status word is read (docs/kx-isa.md 2)
  bool strict = true;          // report every fault through the fault hook at once
};

void configure(const Config& config);
const Config& config();

struct Counters {
  uint64_t memory_words = 0;     // alias stores
  uint64_t queue_words = 0;      // words through the queue port
  uint64_t register_writes = 0;  // direct register writes
  uint64_t page_splits = 0;      // splits reported by the page-crossing routine
  uint64_t idle_waits = 0;       // status reads that found the processor idle
  uint64_t faults = 0;
};
const Counters& counters();
void reset_counters();

struct Fault {
  std::string kind;  // as in docs/kx-isa.md section 5: "undefined", "page-crossing", ...
  uint32_t word = 0;
  uint32_t address = 0;  // alias address (or context offset for context faults)
  std::string message;   // one line for people
};
// The faults since the last configure() or clear_faults(), oldest first. Only the first
// few thousand are kept; counters().faults counts them all.
const std::vector<Fault>& faults();
void clear_faults();
// Called for every fault in strict mode. The default hook prints the fault on stderr;
// the test suites install one that fails the running test.
// An empty function restores the default hook.
void set_fault_hook(std::function<void(const Fault&)> hook);
// The hook now installed (so that a test can replace it for a while and put it back).
std::function<void(const Fault&)> fault_hook();

// Bus trace: every bus transaction as one line, without a newline:
//   mem 0xADDRESS 0xVALUE   queue 0xWORD   reg N 0xVALUE   ctx 0xOFFSET 0xVALUE
//   read 0xOFFSET 0xVALUE
// A doubleword store gives two lines. An empty function turns the trace off.
void set_trace(std::function<void(std::string_view line)> sink);

// Executes everything held in deferred mode.
void drain();
// Number of arrivals held (deferred mode).
size_t pending();

// Inspection of processor state (after drain() in deferred mode).
uint32_t reg(int n);
void set_reg(int n, uint32_t value);  // test set-up only; not a bus transaction
uint32_t plane_mask();
uint32_t raster_op();
uint32_t fill_mask();
bool write_occurred();
// The bounds pair last handed to the device by the bounds request, and how many requests.
struct Bounds {
  uint32_t low = 0;
  uint32_t length = 0;
  int requests = 0;
};
Bounds bounds();

// The alias address of a host byte inside some mapping, or 0 when it has none; and the
// host byte behind an alias address, or nullptr.
uint32_t alias_of(const void* host);
void* host_of(uint32_t alias);
// Number of live alias mappings and cmem allocations (for leak checks in tests).
int alias_mappings();
int cmem_allocations();
// Number of model device descriptors currently open.
int open_devices();

// Decoding, shared with the disassembler: a word in a small assembly-like notation using
// the mnemonics of docs/kx-isa.md, e.g. "add x16 r58 = r10, r58", "srli x4 r10 = r10, #8",
// "ld.t8 x32 r10 @+5" (the low address bits A & 7), "st2.t16:2 x8 r20 @+0" (a type code
// with sub-field 2), "ld.t8 x8 r40 @[r16]" (indexed load). An undefined encoding gives
// ".word 0x........ ; undefined".
std::string disassemble_queue(uint32_t word);
std::string disassemble_memory(uint32_t word);
// A word of either port: memory-reference class 1000 as stored through the alias, else queue.
std::string disassemble(uint32_t word);
// The inverse, from the same list of encodings: the word a line of this notation names.
// Only the disassembler's own spelling of a word is accepted (false otherwise).
bool assemble(const std::string& text, uint32_t* word);
// One bus-trace line ("mem ADDRESS WORD", "queue WORD", register and context lines) with its
// instruction word decoded, in the layout kxdis prints.
std::string disassemble_trace_line(const std::string& line);

}  // namespace kxm

#endif
