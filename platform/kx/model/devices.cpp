#include "devices.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "kx_sys.h"
#include "model.h"

namespace kxm::detail {

namespace {

int fail(int error) {
  errno = error;
  return -1;
}

void* fail_map(int error) {
  errno = error;
  return MAP_FAILED;
}

// cmem offsets are slot << 16: unique, page aligned for any page size up to 64 KiB, and
// within 32 bits.
constexpr uint32_t kCmemSlotShift = 16;
constexpr uint32_t kCmemSlots = 1u << (32 - kCmemSlotShift);

}  // namespace

// ---- Descriptors

std::optional<int> DeviceNodes::open(const char* path) {
  if (path == nullptr) return std::nullopt;
  if (std::strcmp(path, KX_SYS_DEVICE_PATH) == 0) {
    if (!model_.config.processor) return fail(ENOENT);
    return reserve(Node::kx);
  }
  if (std::strcmp(path, KX_SYS_CMEM_PATH) == 0) {
    if (!model_.config.cmem_device) return fail(ENOENT);
    return reserve(Node::cmem);
  }
  return std::nullopt;
}

int DeviceNodes::reserve(Node node) {
  const int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (fd >= 0) open_[fd] = node;
  return fd;
}

bool DeviceNodes::is_kx(int fd) const {
  const auto it = open_.find(fd);
  return it != open_.end() && it->second == Node::kx;
}

std::optional<int> DeviceNodes::close(int fd) {
  const auto it = open_.find(fd);
  if (it == open_.end()) return std::nullopt;
  const Node node = it->second;
  open_.erase(it);
  if (node == Node::cmem) {
    for (auto allocation = cmem_.begin(); allocation != cmem_.end();) {
      auto next = std::next(allocation);
      if (allocation->second.owner == fd) {
        allocation->second.owner = -1;
        release_if_unused(allocation);
      }
      allocation = next;
    }
  }
  return ::close(fd);
}

// ---- Requests

std::optional<int> DeviceNodes::ioctl(int fd, unsigned long request, void* argument) {
  const auto it = open_.find(fd);
  if (it == open_.end()) return std::nullopt;
  if (it->second == Node::kx && request == KX_SYS_BOUNDS_REQUEST) {
    if (!model_.config.bounds_request) return fail(EINVAL);
    if (argument == nullptr) return fail(EFAULT);
    uint32_t pair[2];
    std::memcpy(pair, argument, sizeof pair);
    bounds.low = pair[0];
    bounds.length = pair[1];
    ++bounds.requests;
    return 0;
  }
  if (it->second == Node::cmem && request == KX_SYS_CMEM_ALLOC)
    return allocate_cmem(fd, argument);
  return fail(ENOTTY);
}

// {size, 0, offset}: `size` bytes of zeroed, page-aligned memory; the offset to map it at
// goes into word 2.
int DeviceNodes::allocate_cmem(int fd, void* argument) {
  if (!model_.config.cmem_alloc) return fail(ENOMEM);
  if (argument == nullptr) return fail(EFAULT);
  uint32_t record[3];
  std::memcpy(record, argument, sizeof record);
  if (record[0] == 0) return fail(EINVAL);

  uint32_t slot = 0;
  for (uint32_t tried = 0; tried < kCmemSlots - 1 && slot == 0; ++tried) {
    const uint32_t candidate = next_cmem_slot_;
    next_cmem_slot_ = candidate + 1 == kCmemSlots ? 1 : candidate + 1;
    if (!cmem_.contains(candidate << kCmemSlotShift)) slot = candidate;
  }
  if (slot == 0) return fail(ENOMEM);

  // Aligned for the alias pages and for whatever page size the caller rounds to.
  const long page =
      std::max({long{AliasSpace::kPageSize}, ::sysconf(_SC_PAGESIZE), model_.config.page_size});
  const size_t alignment = std::bit_ceil(size_t(page));
  const size_t size = (size_t{record[0]} + alignment - 1) / alignment * alignment;
  auto* memory = static_cast<uint8_t*>(std::aligned_alloc(alignment, size));
  if (memory == nullptr) return fail(ENOMEM);
  std::memset(memory, 0, size);

  const uint32_t offset = slot << kCmemSlotShift;
  cmem_.emplace(offset, Allocation{memory, size, fd, 0});
  record[2] = offset;
  std::memcpy(argument, record, sizeof record);
  return 0;
}

// ---- Mappings

std::optional<void*> DeviceNodes::mmap(size_t length, int fd, off_t offset) {
  const auto it = open_.find(fd);
  if (it == open_.end()) return std::nullopt;
  return it->second == Node::kx ? map_alias(length, offset) : map_cmem(length, offset);
}

// The KX device at offset = a page-aligned host address: an alias of that memory, returned
// as the pointer's value.
void* DeviceNodes::map_alias(size_t length, off_t offset) {
  if (!model_.config.alias_maps) return fail_map(ENOMEM);
  const uintptr_t host = static_cast<uintptr_t>(offset);
  if (host == 0 || host % AliasSpace::kPageSize != 0 || length == 0) return fail_map(EINVAL);
  const std::optional<uint32_t> alias =
      model_.alias.map(reinterpret_cast<uint8_t*>(host), length);
  if (!alias) return fail_map(ENOMEM);
  return reinterpret_cast<void*>(uintptr_t{*alias});
}

void* DeviceNodes::map_cmem(size_t length, off_t offset) {
  if (!model_.config.cmem_maps) return fail_map(ENOMEM);
  const auto it = cmem_.find(uint32_t(offset));
  if (offset < 0 || it == cmem_.end() || length == 0 || length > it->second.size)
    return fail_map(EINVAL);
  ++it->second.maps;
  return it->second.memory;
}

std::map<uint32_t, DeviceNodes::Allocation>::iterator DeviceNodes::cmem_mapping(
    const void* address) {
  const uintptr_t value = reinterpret_cast<uintptr_t>(address);
  return std::find_if(cmem_.begin(), cmem_.end(), [&](const auto& entry) {
    const uintptr_t base = reinterpret_cast<uintptr_t>(entry.second.memory);
    return entry.second.maps > 0 && value >= base && value - base < entry.second.size;
  });
}

std::optional<int> DeviceNodes::munmap(void* address, size_t length) {
  if (const auto allocation = cmem_mapping(address); allocation != cmem_.end()) {
    if (!model_.config.cmem_unmaps) return fail(EINVAL);
    --allocation->second.maps;
    release_if_unused(allocation);
    return 0;
  }
  // With 64-bit pointers no host mapping lies in the alias window, so every address there is
  // the model's; with 32-bit pointers only the live mappings can be told apart.
  const uintptr_t value = reinterpret_cast<uintptr_t>(address);
  const bool in_window = value >= uintptr_t{AliasSpace::kFirstPage} << AliasSpace::kPageShift &&
                         value < uintptr_t{AliasSpace::kEndPage} << AliasSpace::kPageShift;
  const bool claimed =
      sizeof(void*) > 4 ? in_window : in_window && model_.alias.in_mapping(uint32_t(value));
  if (!claimed) return std::nullopt;
  if (value % AliasSpace::kPageSize != 0 || length == 0) return fail(EINVAL);
  // The driver waits until the processor is idle before it removes an alias.
  model_.processor.drain();
  model_.alias.unmap(uint32_t(value), length);
  return 0;
}

void DeviceNodes::release_if_unused(std::map<uint32_t, Allocation>::iterator allocation) {
  if (allocation->second.owner >= 0 || allocation->second.maps > 0) return;
  std::free(allocation->second.memory);
  cmem_.erase(allocation);
}

}  // namespace kxm::detail
