// libkx's handles and the device nodes behind the system-call seam.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include "model_fixture.h"

namespace kxtest {
namespace {

class Devices : public testing::Test {
 protected:
  void SetUp() override { kxm::configure({}); }
  void TearDown() override { kxm::configure({}); }

  static void* map_device(int fd, uint64_t offset, size_t length, int flags = MAP_PRIVATE) {
    return kx_sys_mmap(nullptr, length, PROT_READ | PROT_WRITE, flags, fd, off_t(offset));
  }
  static void* alias_map(const void* host, size_t length) {
    return map_device(kx_fd_get(), reinterpret_cast<uintptr_t>(host), length);
  }
  static uint32_t value(void* mapped) { return uint32_t(reinterpret_cast<uintptr_t>(mapped)); }
  static void* pointer(uint32_t alias) { return reinterpret_cast<void*>(uintptr_t{alias}); }

  // A cmem allocation: the descriptor it came through and its offset.
  static uint32_t allocate(int fd, uint32_t size) {
    uint32_t record[3] = {size, 0, 0};
    EXPECT_EQ(kx_sys_ioctl(fd, KX_SYS_CMEM_ALLOC, record), 0);
    return record[2];
  }
};

// A buffer of host pages, freed at the end of the test.
struct Pages {
  explicit Pages(size_t count) : size(count * kPage) {
    memory = static_cast<uint8_t*>(std::aligned_alloc(kPage, size));
  }
  ~Pages() { std::free(memory); }
  uint8_t* memory;
  size_t size;
};

TEST_F(Devices, KxOpenHandlesAreModelDescriptorsApartFromLibkxsOwn) {
  const int own = kx_fd_get();
  ASSERT_GE(own, 0);
  EXPECT_EQ(kx_fd_get(), own);
  const int before = kxm::open_devices();
  const int handle = kx_open();
  ASSERT_GE(handle, 0);
  EXPECT_NE(handle, own);
  EXPECT_EQ(kxm::open_devices(), before + 1);
  EXPECT_GE(fcntl(handle, F_GETFD), 0);  // a real descriptor number
  kx_close(handle);
  EXPECT_EQ(kxm::open_devices(), before);
  EXPECT_EQ(fcntl(handle, F_GETFD), -1);
}

TEST_F(Devices, WithoutAProcessorNothingOpens) {
  const int own = kx_fd_get();
  kxm::configure({.processor = false});
  EXPECT_EQ(kx_open(), -1);
  EXPECT_EQ(kx_ctx_get(), nullptr);
  EXPECT_EQ(kx_fd_get(), -1);
  errno = 0;
  EXPECT_EQ(kx_sys_open(KX_SYS_DEVICE_PATH, O_RDWR), -1);
  EXPECT_EQ(errno, ENOENT);
  kxm::configure({});
  EXPECT_EQ(kx_fd_get(), own);
}

TEST_F(Devices, EachKnobFailsItsCall) {
  Pages pages(1);
  kxm::configure({.alias_maps = false});
  errno = 0;
  EXPECT_EQ(alias_map(pages.memory, kPage), MAP_FAILED);
  EXPECT_EQ(errno, ENOMEM);

  kxm::configure({.bounds_request = false});
  uint32_t pair[2] = {0x10001000, 0x1000};
  EXPECT_EQ(kx_sys_ioctl(kx_fd_get(), KX_SYS_BOUNDS_REQUEST, pair), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(kxm::bounds().requests, 0);

  kxm::configure({.cmem_device = false});
  EXPECT_EQ(kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR), -1);
  EXPECT_EQ(errno, ENOENT);

  kxm::configure({.cmem_alloc = false});
  const int cmem = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  ASSERT_GE(cmem, 0);
  uint32_t record[3] = {kPage, 0, 0};
  EXPECT_EQ(kx_sys_ioctl(cmem, KX_SYS_CMEM_ALLOC, record), -1);
  EXPECT_EQ(errno, ENOMEM);

  kxm::configure({.cmem_maps = false});
  const uint32_t offset = allocate(cmem, kPage);
  EXPECT_EQ(map_device(cmem, offset, kPage, MAP_SHARED), MAP_FAILED);

  kxm::configure({.cmem_unmaps = false});
  void* memory = map_device(cmem, offset, kPage, MAP_SHARED);
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_EQ(kx_sys_munmap(memory, kPage), -1);
  EXPECT_EQ(errno, EINVAL);

  kxm::configure({});
  EXPECT_EQ(kx_sys_munmap(memory, kPage), 0);
  EXPECT_EQ(kx_sys_close(cmem), 0);
  EXPECT_EQ(kxm::cmem_allocations(), 0);
}

TEST_F(Devices, BoundsRequestsAreRecordedUntilReconfigured) {
  uint32_t pair[2] = {0x10001000, 0x3000};
  EXPECT_EQ(kx_sys_ioctl(kx_fd_get(), KX_SYS_BOUNDS_REQUEST, pair), 0);
  pair[1] = 0x2000;
  EXPECT_EQ(kx_sys_ioctl(kx_fd_get(), KX_SYS_BOUNDS_REQUEST, pair), 0);
  EXPECT_EQ(kxm::bounds().low, 0x10001000u);
  EXPECT_EQ(kxm::bounds().length, 0x2000u);
  EXPECT_EQ(kxm::bounds().requests, 2);
  EXPECT_EQ(kx_sys_ioctl(kx_fd_get(), 0x1234, pair), -1);
  EXPECT_EQ(errno, ENOTTY);
  kxm::configure({});
  EXPECT_EQ(kxm::bounds().requests, 0);
}

TEST_F(Devices, CmemMemoryIsZeroedAlignedAndFreedOnceUnmappedAndClosed) {
  const int cmem = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  const uint32_t first = allocate(cmem, 10000);  // rounding is the caller's job
  const uint32_t second = allocate(cmem, kPage);
  EXPECT_NE(first, second);
  EXPECT_EQ(first % kPage, 0u);
  EXPECT_EQ(kxm::cmem_allocations(), 2);
  auto* memory = static_cast<uint8_t*>(map_device(cmem, first, 3 * kPage, MAP_SHARED));
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % kPage, 0u);
  for (size_t i = 0; i < 3 * kPage; ++i) ASSERT_EQ(memory[i], 0) << i;
  memory[9999] = 1;
  EXPECT_EQ(map_device(cmem, first, 4 * kPage, MAP_SHARED), MAP_FAILED);  // longer than it
  EXPECT_EQ(kx_sys_munmap(memory, 3 * kPage), 0);
  EXPECT_EQ(kxm::cmem_allocations(), 2);  // the descriptor is still open
  EXPECT_EQ(kx_sys_close(cmem), 0);
  EXPECT_EQ(kxm::cmem_allocations(), 0);

  const int again = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  void* kept = map_device(again, allocate(again, kPage), kPage, MAP_SHARED);
  EXPECT_EQ(kx_sys_close(again), 0);
  EXPECT_EQ(kxm::cmem_allocations(), 1);  // still mapped
  EXPECT_EQ(kx_sys_munmap(kept, kPage), 0);
  EXPECT_EQ(kxm::cmem_allocations(), 0);
}

TEST_F(Devices, AliasMappingsAreSeparatedByAnUnmappedPage) {
  AliasedBuffer one(2), two(1);
  const uint32_t a = one.alias(), b = two.alias();
  for (const uint32_t alias : {a, b}) {
    EXPECT_GE(alias, 0x10000000u);
    EXPECT_LT(alias, 0xF0000000u);
    EXPECT_EQ(alias % kPage, 0u);
  }
  EXPECT_EQ(kxm::host_of(a + kPage + 5), one.host() + kPage + 5);
  EXPECT_EQ(kxm::alias_of(two.host() + 7), b + 7);
  EXPECT_EQ(kxm::host_of(a + 2 * kPage), nullptr);
  EXPECT_EQ(kxm::host_of(b + kPage), nullptr);
  EXPECT_EQ(kxm::host_of(b - 1), nullptr);
  EXPECT_EQ(alias_map(one.host() + 0x123, 16), MAP_FAILED);  // offset not page aligned
}

TEST_F(Devices, FreedAliasRangesAreReusedAndStillSeparated) {
  Pages pages(256);
  AliasedBuffer kept(1);
  const int before = kxm::alias_mappings();
  std::set<uint32_t> seen;
  for (int i = 0; i < 8000; ++i) {  // twice round the alias space, past the kept mapping
    void* mapped = alias_map(pages.memory, pages.size);
    ASSERT_NE(mapped, MAP_FAILED) << i;
    const uint32_t a = value(mapped);
    seen.insert(a);
    ASSERT_EQ(kxm::host_of(a - 1), nullptr) << i;
    ASSERT_EQ(kxm::host_of(a + uint32_t(pages.size)), nullptr) << i;
    ASSERT_EQ(kx_sys_munmap(mapped, pages.size), 0);
  }
  EXPECT_LT(seen.size(), 8000u);
  EXPECT_EQ(kxm::alias_mappings(), before);
  EXPECT_EQ(kxm::host_of(kept.alias()), kept.host());
}

TEST_F(Devices, UnmappingSomePagesKeepsTheRest) {
  Pages pages(3);
  const uint32_t a = value(alias_map(pages.memory, pages.size));
  const int mappings = kxm::alias_mappings();
  EXPECT_EQ(kx_sys_munmap(pointer(a + kPage), kPage), 0);
  EXPECT_EQ(kxm::host_of(a + kPage), nullptr);
  EXPECT_EQ(kxm::host_of(a + 2 * kPage), pages.memory + 2 * kPage);
  EXPECT_EQ(kxm::alias_mappings(), mappings);
  EXPECT_EQ(kx_sys_munmap(pointer(a + 1), kPage), -1);  // not page aligned
  EXPECT_EQ(kx_sys_munmap(pointer(a), pages.size), 0);
  EXPECT_EQ(kxm::alias_mappings(), mappings - 1);
}

TEST_F(Devices, UnmappingAnAliasWaitsForTheProcessor) {
  kxm::configure({.deferred = true});
  Pages pages(1);
  pages.memory[0] = 0;
  const uint32_t a = value(alias_map(pages.memory, pages.size));
  kx_ctx_store32(kx_ctx_get(), 0x300 + 4 * 10, 0x5A);
  kx_alias_store32(a, mem(ST1, T8, 1, 10));
  EXPECT_EQ(kxm::pending(), 2u);
  EXPECT_EQ(kx_sys_munmap(pointer(a), pages.size), 0);
  EXPECT_EQ(kxm::pending(), 0u);
  EXPECT_EQ(pages.memory[0], 0x5A);
}

TEST_F(Devices, ReconfiguringKeepsMappingsAllocationsAndDescriptors) {
  AliasedBuffer pages(1);
  const int cmem = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  allocate(cmem, kPage);
  const int open = kxm::open_devices();
  kxm::configure({.deferred = true});
  EXPECT_EQ(kxm::host_of(pages.alias()), pages.host());
  EXPECT_EQ(kxm::open_devices(), open);
  EXPECT_EQ(kxm::cmem_allocations(), 1);
  EXPECT_EQ(kx_sys_close(cmem), 0);
}

TEST_F(Devices, CallsBesidesTheDevicesAndAConfiguredPageSizeReachTheSystem) {
  EXPECT_EQ(kx_sys_sysconf(_SC_PAGESIZE), sysconf(_SC_PAGESIZE));
  kxm::configure({.page_size = 16384});
  EXPECT_EQ(kx_sys_sysconf(_SC_PAGESIZE), 16384);
  EXPECT_EQ(kx_sys_sysconf(_SC_NPROCESSORS_CONF), sysconf(_SC_NPROCESSORS_CONF));
  const int open = kxm::open_devices();
  const int fd = kx_sys_open("/dev/null", O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(kxm::open_devices(), open);
  EXPECT_EQ(kx_sys_close(fd), 0);
  void* anonymous =
      kx_sys_mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(anonymous, MAP_FAILED);
  static_cast<uint8_t*>(anonymous)[0] = 1;
  EXPECT_EQ(kx_sys_munmap(anonymous, kPage), 0);
  EXPECT_EQ(kx_sys_open("/dev/kx_missing", O_RDONLY), -1);
}

}  // namespace
}  // namespace kxtest
