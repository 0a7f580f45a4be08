// The device nodes the model provides behind the system-call seam (kx_sys.h): the KX
// device and "/dev/kx_cmem".
//
// Each call answers for model devices only and returns nothing for anything else, which the
// seam then hands to the real system call. Model descriptors are real descriptor numbers
// reserved by opening "/dev/null", so they never collide with the process's own.
#ifndef KX_MODEL_DEVICES_H
#define KX_MODEL_DEVICES_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include "kx_model.h"

namespace kxm::detail {

struct Model;

class DeviceNodes {
 public:
  explicit DeviceNodes(Model& model) : model_(model) {}

  std::optional<int> open(const char* path);
  std::optional<int> close(int fd);
  std::optional<int> ioctl(int fd, unsigned long request, void* argument);
  std::optional<void*> mmap(size_t length, int fd, off_t offset);
  std::optional<int> munmap(void* address, size_t length);

  bool is_kx(int fd) const;
  int open_count() const { return int(open_.size()); }
  int cmem_count() const { return int(cmem_.size()); }
  Bounds bounds;  // the last accepted bounds request

 private:
  enum class Node : uint8_t { kx, cmem };
  struct Allocation {
    uint8_t* memory;
    size_t size;  // rounded up to the allocation alignment
    int owner;    // the descriptor it was allocated through; -1 once that is closed
    int maps;     // live mappings of it
  };

  int reserve(Node node);
  void* map_alias(size_t length, off_t offset);
  int allocate_cmem(int fd, void* argument);
  void* map_cmem(size_t length, off_t offset);
  std::map<uint32_t, Allocation>::iterator cmem_mapping(const void* address);
  void release_if_unused(std::map<uint32_t, Allocation>::iterator allocation);

  Model& model_;
  std::map<int, Node> open_;
  std::map<uint32_t, Allocation> cmem_;  // by offset
  uint32_t next_cmem_slot_ = 1;
};

}  // namespace kxm::detail

#endif
