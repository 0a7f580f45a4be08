// The system-call seam: the model's device nodes first, the real system call otherwise.
#include "kx_sys.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "model.h"

namespace {

kxm::detail::DeviceNodes& devices() {
  return kxm::detail::model().devices;
}

}  // namespace

extern "C" {

int kx_sys_open(const char* path, int flags) {
  if (const auto fd = devices().open(path)) return *fd;
  return ::open(path, flags, 0666);
}

int kx_sys_close(int fd) {
  if (const auto result = devices().close(fd)) return *result;
  return ::close(fd);
}

int kx_sys_ioctl(int fd, unsigned long request, void* argument) {
  if (const auto result = devices().ioctl(fd, request, argument)) return *result;
  return ::ioctl(fd, request, argument);
}

void* kx_sys_mmap(void* address, size_t length, int protection, int flags, int fd,
                  off_t offset) {
  if (const auto mapped = devices().mmap(length, fd, offset)) return *mapped;
  return ::mmap(address, length, protection, flags, fd, offset);
}

int kx_sys_munmap(void* address, size_t length) {
  if (const auto result = devices().munmap(address, length)) return *result;
  return ::munmap(address, length);
}

long kx_sys_sysconf(int name) {
  const long page_size = kxm::detail::model().config.page_size;
  if (name == _SC_PAGESIZE && page_size != 0) return page_size;
  return ::sysconf(name);
}

}  // extern "C"
