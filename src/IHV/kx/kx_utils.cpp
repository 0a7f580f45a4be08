// Storage services.
#include "kx_utils.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "kx_sys.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

namespace {

// Ten records per lookup; the first record used is number 1.
struct Ring {
  __ZelKXStorage records[10];
  unsigned counter = 0;
  __ZelKXStorage* next() {
    counter = (counter + 1) % 10;
    return &records[counter];
  }
};
Ring kx_ring, ckx_ring, bands_ring;

// The ordinary mapping of each live contiguous allocation, by its descriptor. A routine
// holds one allocation at a time; a few slots leave room.
struct CmemMapping {
  int descriptor = -1;
  void* memory = nullptr;
};
CmemMapping cmem_mappings[4];

CmemMapping* cmem_slot(int descriptor) {
  for (CmemMapping& m : cmem_mappings) {
    if (m.descriptor == descriptor) return &m;
  }
  return nullptr;
}

uint32_t element_size(ZelImage* image) {
  switch (image->getDataType()) {
    case 1:
      return 1;
    case 2:
      return 2;
    default:
      return 0;
  }
}

// The record of a child: its column and row (and, when `band` is given, band) folded in.
__ZelKXStorage* folded(__ZelKXStorage* record, ZelImage* image, Ring& ring, unsigned x,
                       unsigned y, unsigned band, bool with_opaque2) {
  if (x == 0 && y == 0 && band == 0) return record;
  const uint32_t e = element_size(image);
  if (e == 0) return nullptr;
  const uint32_t offset =
      e * (y * record->line_stride) + e * (x * record->pixel_stride) + e * band;
  __ZelKXStorage* r = ring.next();
  r->line_stride = record->line_stride;
  r->pixel_stride = record->pixel_stride;
  r->opaque1 = record->opaque1;
  if (with_opaque2) r->opaque2 = record->opaque2;
  r->host_address = record->host_address + offset;
  r->kx_address = record->kx_address + offset;
  return r;
}

__ZelKXStorage* folded(ZelImage* image, const char* name, Ring& ring, bool with_opaque2) {
  auto* record = static_cast<__ZelKXStorage*>(image->getStorage(name));
  if (record == nullptr) return nullptr;
  unsigned x, y, band;
  image->getChildOffsets(&x, &y, &band);
  return folded(record, image, ring, x, y, 0, with_opaque2);
}

unsigned bands_of(const ZelImage* image) {
  return image->getBands();
}

// Element by element between the two records, in either direction; KX band b is element
// `kx_band0` + b of its pixel.
template <typename T>
void copy_elements(bool to_kx, const __ZelKXStorage* kx, const __ZelMemoryStorage* memory,
                   unsigned width, unsigned height, unsigned bands, unsigned kx_band0) {
  T* k = reinterpret_cast<T*>(kx->host_address);
  T* m = reinterpret_cast<T*>(memory->host_address);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned b = 0; b < bands; ++b) {
        T& in_kx = k[y * kx->line_stride + x * kx->pixel_stride + kx_band0 + b];
        T& in_memory = m[y * memory->line_stride + x * memory->pixel_stride + b];
        if (to_kx) {
          in_kx = in_memory;
        } else {
          in_memory = in_kx;
        }
      }
    }
  }
}

// Narrows 4-byte pixels to packed 3-byte pixels (bytes 1..3 of each).
void four_to_three(const unsigned char* source, unsigned char* destination, size_t pixels) {
  for (size_t p = 0; p < pixels; ++p, source += 4, destination += 3) {
    std::memcpy(destination, source + 1, 3);
  }
}

// The copies between ordinary and KX storage: one block copy when the line strides agree,
// the packed 3-band widening or narrowing, else element by element.
void copy_storage(bool to_kx, __ZelKXStorage* kx, __ZelMemoryStorage* memory, ZelImage* image) {
  unsigned width, height, bands;
  image->getDimensions(&width, &height, &bands);
  const int type = image->getDataType();
  if (type != 1 && type != 2) return;
  if (type == 1 && bands == 3) {
    if (double(memory->line_stride) == 0.75 * double(kx->line_stride)) {
      if (to_kx) {
        three_to_four(memory->host_address, kx->host_address, int(width * height * 3));
      } else {
        four_to_three(kx->host_address, memory->host_address, size_t(width) * height);
      }
    } else {
      copy_elements<uint8_t>(to_kx, kx, memory, width, height, 3, 1);
    }
  } else if (kx->line_stride == memory->line_stride) {
    const size_t bytes = size_t(width) * height * bands * (type == 2 ? 2 : 1);
    if (to_kx) {
      zel_memcpy(kx->host_address, memory->host_address, bytes);
    } else {
      zel_memcpy(memory->host_address, kx->host_address, bytes);
    }
  } else if (type == 1) {
    copy_elements<uint8_t>(to_kx, kx, memory, width, height, bands, 0);
  } else {
    copy_elements<int16_t>(to_kx, kx, memory, width, height, bands, 0);
  }
}

}  // namespace

__ZelKXStorage* getKXStorage(ZelImage* image) {
  return folded(image, "kx", kx_ring, false);
}

__ZelKXStorage* getCKXStorage(ZelImage* image) {
  return folded(image, "ckx", ckx_ring, true);
}

__ZelKXStorage* getKXStorageWithBands(ZelImage* image) {
  auto* record = static_cast<__ZelKXStorage*>(image->getStorage("kx"));
  if (record == nullptr) return nullptr;
  unsigned x, y, band;
  image->getChildOffsets(&x, &y, &band);
  // Band 0 of a 3-band 8-bit image lies in byte 1 of its pixel.
  if (image->getDataType() == 1 && band == 0 && bands_of(image) == 3) {
    const ZelImage* parent = image->getParent();
    if (parent == nullptr || bands_of(parent) == 4 || bands_of(parent) == 3) band = 1;
  }
  return folded(record, image, bands_ring, x, y, band, true);
}

int zelspm_get_cmem(unsigned char** memory, uint32_t* alias, int* size) {
  const long page = kx_sys_sysconf(_SC_PAGESIZE);
  if (page <= 0 || *size < 0) return -1;
  const long long rounded = (static_cast<long long>(*size) + page - 1) & ~(page - 1LL);
  if (rounded > 0x7FFFFFFF) return -1;
  *size = int(rounded);
  CmemMapping* slot = cmem_slot(-1);
  if (slot == nullptr) return -1;

  const int fd = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  if (fd < 0) return -1;
  uint32_t request[3] = {uint32_t(*size), 0, 0};
  if (kx_sys_ioctl(fd, KX_SYS_CMEM_ALLOC, request) == -1) {
    kx_sys_close(fd);
    return -1;
  }
  void* mapped = kx_sys_mmap(nullptr, size_t(*size), PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                             off_t(request[2]));
  if (mapped == MAP_FAILED) {
    kx_sys_close(fd);
    return -1;
  }
  *memory = static_cast<unsigned char*>(mapped);
  *alias = sl_ctx_spamify(mapped, uint32_t(*size));
  if (*alias == SL_ALIAS_FAILED) {
    kx_sys_munmap(mapped, size_t(*size));
    kx_sys_close(fd);
    return -1;
  }
  if (sl_ctx_bounds_set(*alias, uint32_t(*size)) == -1) {
    sl_ctx_unspamify(*alias, uint32_t(*size));
    kx_sys_munmap(mapped, size_t(*size));
    kx_sys_close(fd);
    return -1;
  }
  *slot = {fd, mapped};
  return fd;
}

void zelspm_free_cmem(uint32_t alias, int size, int descriptor) {
  sl_ctx_unspamify(alias, uint32_t(size));
  kx_sys_close(descriptor);
  CmemMapping* slot = cmem_slot(descriptor);
  void* memory = slot != nullptr ? slot->memory : nullptr;
  if (slot != nullptr) *slot = CmemMapping{};
  if (memory == nullptr || kx_sys_munmap(memory, size_t(size)) != 0) {
    std::printf("Could not munmap cmem\n");
  }
}

int three_to_four(const unsigned char* source, unsigned char* destination, int bytes) {
  // Eight pixels a step; byte 0 of each wide pixel receives 0.
  for (; bytes >= 24; bytes -= 24, source += 24, destination += 32) {
    unsigned char narrow[24], wide[32] = {};
    std::memcpy(narrow, source, sizeof narrow);
    for (int k = 0; k < 8; ++k) std::memcpy(wide + 4 * k + 1, narrow + 3 * k, 3);
    std::memcpy(destination, wide, sizeof wide);
  }
  for (; bytes >= 3; bytes -= 3, source += 3, destination += 4) {
    std::memcpy(destination + 1, source, 3);
  }
  return bytes;
}

void copyMemory2KX(__ZelKXStorage* kx, __ZelMemoryStorage* memory, ZelImage* image) {
  copy_storage(true, kx, memory, image);
}

void copyKX2Memory(__ZelKXStorage* kx, __ZelMemoryStorage* memory, ZelImage* image) {
  copy_storage(false, kx, memory, image);
}

void copyKX2Ckx(__ZelKXStorage* kx, __ZelKXStorage* ckx, ZelImage* image) {
  unsigned width, height, bands;
  image->getDimensions(&width, &height, &bands);
  if (bands == 3 && image->getDataType() == 1) bands = 4;  // 8-bit: 4-byte pixels
  const int32_t stride = int32_t(width * bands);
  sl_ctx_planemask_set(0xffffffff);
  // Both images are taken as packed; the records' own strides are not used.
  if (image->getDataType() == 1) {
    if (bands == 1) {
      sl_rect_copy_8(ckx->kx_address, stride, int32_t(width), int32_t(height), kx->kx_address,
                     stride);
    } else if (bands == 4) {
      sl_rect_copy_32(ckx->kx_address, stride, int32_t(width), int32_t(height), kx->kx_address,
                      stride);
    }
  } else if (image->getDataType() == 2) {
    // A 16-bit row is width x bands elements.
    sl_rect_copy_16(ckx->kx_address, 2 * stride, stride, int32_t(height), kx->kx_address,
                    2 * stride);
  }
}

int zelkx_check_child_8(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d) {
  if (a == nullptr) return 2;
  for (ZelImage* image : {a, b, c, d}) {
    if (image == nullptr) continue;
    const unsigned bands = bands_of(image);
    const ZelImage* parent = image->getParent();
    unsigned x, y, band;
    image->getChildOffsets(&x, &y, &band);
    bool passes = false;
    if (bands == 1 || bands == 4) {
      passes = parent == nullptr || bands_of(parent) == bands;
    } else if (bands == 3) {
      if (parent == nullptr) {
        passes = band == 0;
      } else {
        const unsigned pb = bands_of(parent);
        passes = (pb == 3 || pb == 4) && (band == 0 || band == 1 || pb == 4);
      }
    }
    if (!passes) return 2;
  }
  return 0;
}

int zelkx_check_child_16(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d) {
  if (a == nullptr) return 2;
  for (ZelImage* image : {a, b, c, d}) {
    if (image == nullptr) continue;
    const ZelImage* parent = image->getParent();
    if (parent != nullptr && bands_of(parent) != bands_of(image)) return 2;
  }
  return 0;
}

int zelspm_check_child(ZelImage* a, ZelImage* b, ZelImage* c) {
  return zelkx_check_child_8(a, b, c, nullptr);
}
int zelspm_check_child2(ZelImage* a, ZelImage* b) {
  return zelkx_check_child_8(a, b, nullptr, nullptr);
}
int zelspm_check_child0(ZelImage* a) {
  return zelkx_check_child_8(a, nullptr, nullptr, nullptr);
}

int zelkx_has_child_offsets(ZelImage* a, ZelImage* b, ZelImage* c, ZelImage* d) {
  for (ZelImage* image : {a, b, c, d}) {
    if (image == nullptr) continue;
    unsigned x, y, band;
    image->getChildOffsets(&x, &y, &band);
    return band != 0 ? 1 : 0;
  }
  return 0;
}

unsigned zelkx_band_lane(ZelImage* image) {
  const ZelImage* parent = image->getParent();
  if (parent == nullptr || bands_of(parent) != 4) return 1;
  unsigned x, y, band;
  image->getChildOffsets(&x, &y, &band);
  return band;
}
