// Helpers shared by the suites that drive the processor model directly.
#ifndef KX_TEST_SUPPORT_H
#define KX_TEST_SUPPORT_H

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "kx.h"
#include "kx_model.h"
#include "kx_sys.h"

namespace kxtest {

// Page-aligned host memory with an alias, released (alias first) on destruction.
class AliasedBuffer {
 public:
  explicit AliasedBuffer(size_t pages) : bytes_(pages * 4096) {
    host_ = static_cast<uint8_t*>(std::aligned_alloc(4096, bytes_));
    std::memset(host_, 0, bytes_);
    void* alias = kx_sys_mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE, kx_fd_get(),
                              off_t(reinterpret_cast<uintptr_t>(host_)));
    alias_ = alias == MAP_FAILED ? 0 : uint32_t(reinterpret_cast<uintptr_t>(alias));
  }
  ~AliasedBuffer() {
    if (alias_) kx_sys_munmap(reinterpret_cast<void*>(uintptr_t(alias_)), bytes_);
    std::free(host_);
  }
  AliasedBuffer(const AliasedBuffer&) = delete;
  AliasedBuffer& operator=(const AliasedBuffer&) = delete;

  uint8_t* host() const { return host_; }
  uint32_t alias() const { return alias_; }
  size_t size() const { return bytes_; }
  // Host byte behind an alias address inside this buffer.
  uint8_t* at(uint32_t alias) const { return host_ + (alias - alias_); }

 private:
  size_t bytes_;
  uint8_t* host_;
  uint32_t alias_ = 0;
};

// The bus trace while alive, as lines.
class TraceCapture {
 public:
  TraceCapture() {
    kxm::set_trace([this](std::string_view line) { lines_.emplace_back(line); });
  }
  ~TraceCapture() { kxm::set_trace({}); }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  const std::vector<std::string>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

  // The instruction words in order: a memory word's value as stored (low bits holding
  // A & 7) and queue words; context and register traffic left out.
  std::vector<uint32_t> words() const {
    std::vector<uint32_t> out;
    for (const std::string& line : lines_) {
      if (line.rfind("mem ", 0) == 0) {
        out.push_back(uint32_t(std::stoul(line.substr(line.rfind(' ') + 1), nullptr, 16)));
      } else if (line.rfind("queue ", 0) == 0) {
        out.push_back(uint32_t(std::stoul(line.substr(6), nullptr, 16)));
      }
    }
    return out;
  }
  // Memory words with their issue addresses (A & ~7).
  std::vector<std::pair<uint32_t, uint32_t>> memory() const {
    std::vector<std::pair<uint32_t, uint32_t>> out;
    for (const std::string& line : lines_) {
      if (line.rfind("mem ", 0) != 0) continue;
      const size_t space = line.find(' ', 4);
      out.emplace_back(uint32_t(std::stoul(line.substr(4, space - 4), nullptr, 16)),
                       uint32_t(std::stoul(line.substr(space + 1), nullptr, 16)));
    }
    return out;
  }

 private:
  std::vector<std::string> lines_;
};

}  // namespace kxtest

#endif
