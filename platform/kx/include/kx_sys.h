/* The system-call seam.
 *
 * The pixel-processor library and the host reach the operating system's open, close, ioctl,
 * mmap, munmap and sysconf only through these functions. Each is the real system call,
 * except for the device nodes the processor model provides: the KX device (the one
 * kx_fd_get names; mapping it at offset = host address makes an alias of that memory and
 * request KX_SYS_BOUNDS_REQUEST takes the bounds pair) and "/dev/kx_cmem" (request
 * KX_SYS_CMEM_ALLOC with a three-word record hands out page-aligned, physically contiguous
 * memory).
 *
 * A mapping of the KX device returns the alias address in the pointer's value. It is a
 * 32-bit device address, never dereferenced by the host; callers convert it to uint32_t.
 */
#ifndef KX_SYS_H
#define KX_SYS_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KX_SYS_BOUNDS_REQUEST 0x5301u /* 'S' << 8 | 1: argument is {low, length} */
#define KX_SYS_CMEM_ALLOC 0x4301u     /* 'C' << 8 | 1: argument is {size, 0, offset} */
#define KX_SYS_CMEM_PATH "/dev/kx_cmem"
#define KX_SYS_DEVICE_PATH "/dev/kx0" /* the KX device node */

int kx_sys_open(const char* path, int flags);
int kx_sys_close(int fd);
int kx_sys_ioctl(int fd, unsigned long request, void* argument);
void* kx_sys_mmap(void* address, size_t length, int protection, int flags, int fd,
                  off_t offset);
int kx_sys_munmap(void* address, size_t length);
long kx_sys_sysconf(int name);

#ifdef __cplusplus
}
#endif

#endif
