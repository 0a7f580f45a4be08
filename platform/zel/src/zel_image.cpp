// Images: pixel memory, storage records ("kx", "ckx", "memory"), children, origins and
// regions.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "kx.h"
#include "kx_sys.h"
#include "zel.h"

namespace {

// Recognisable words in the records' opaque1: "ZEL" and the storage kind.
constexpr uint32_t kOpaqueKx = 0x5A454C01u;
constexpr uint32_t kOpaqueCkx = 0x5A454C02u;

uint32_t next_serial = 0;

size_t page_size() {
  long system = kx_sys_sysconf(_SC_PAGESIZE);
  return system > 4096 ? static_cast<size_t>(system) : 4096u;
}

size_t round_to_pages(size_t bytes, size_t page) {
  return (bytes + page - 1) / page * page;
}

unsigned element_size(int data_type) {
  return data_type == ZEL_INT16 ? 2u : 1u;
}

// Elements from one pixel to the next in the pixel buffer ("kx" layout).
uint16_t kx_pixel_stride(unsigned bands, int data_type) {
  if (data_type == ZEL_UINT8 && bands >= 3) return 4;
  return static_cast<uint16_t>(bands);
}

// The alias the KX device gives a page-aligned range, made the way the pixel-processor
// library makes it; nullptr when it cannot be had. The pointer's value is the alias address.
void* make_alias(void* host_page, size_t bytes) {
  int fd = kx_fd_get();
  if (fd < 0) return nullptr;
  void* alias = kx_sys_mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd,
                            static_cast<off_t>(reinterpret_cast<uintptr_t>(host_page)));
  if (alias == MAP_FAILED) return nullptr;
  if constexpr (sizeof(uintptr_t) > sizeof(uint32_t)) {
    if (reinterpret_cast<uintptr_t>(alias) > UINT32_MAX) {  // not a device address
      kx_sys_munmap(alias, bytes);
      return nullptr;
    }
  }
  return alias;
}

uint32_t alias_address(void* alias) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(alias));
}

}  // namespace

// One piece of memory behind an image or a storage.
struct ZelImage::Buffer {
  enum Kind { heap, pages, cmem };
  Kind kind = heap;
  unsigned char* host = nullptr;
  size_t bytes = 0;
  void* alias = nullptr;  // the KX mapping (its value is the alias address), or nullptr
  int cmem_fd = -1;

  ~Buffer() {
    if (alias) kx_sys_munmap(alias, bytes);
    switch (kind) {
      case heap:
      case pages:
        std::free(host);
        break;
      case cmem:
        if (host) kx_sys_munmap(host, bytes);
        if (cmem_fd >= 0) kx_sys_close(cmem_fd);
        break;
    }
  }
};

ZelImage::ZelImage(ZelSystemState* state, unsigned width, unsigned height, unsigned bands,
                   int data_type)
    : ZelObject(state), ZelImageType(width, height, bands, data_type), serial_(++next_serial) {}

ZelImage::~ZelImage() {
  if (roi_) roi_->destroy();
  if (space_roi_) space_roi_->destroy();
  delete kx_buffer_;
  delete ckx_buffer_;
  delete memory_buffer_;
}

void ZelImage::destroy() {
  while (!children_.empty()) children_.back()->destroy();
  if (parent_) {
    auto& siblings = parent_->children_;
    siblings.erase(std::remove(siblings.begin(), siblings.end(), this), siblings.end());
  }
  delete this;
}

ZelImage* ZelSystemState::createImage(unsigned width, unsigned height, unsigned bands,
                                      int data_type, unsigned row_padding) {
  if (width == 0 || height == 0 || bands < 1 || bands > 4) return nullptr;
  if (width > INT_MAX || height > INT_MAX) return nullptr;  // extents are ints
  if (data_type != ZEL_UINT8 && data_type != ZEL_INT16) return nullptr;
  if (zel_global_state && zel_global_state->takeImageFailure()) return nullptr;
  ZelImage* image = new ZelImage(this, width, height, bands, data_type);
  if (!image->makePixels(row_padding)) {
    image->destroy();
    return nullptr;
  }
  image->aliasPixels();  // no "kx" storage when it fails: the pixels serve all the same
  image->updateSpaceRoi();
  if (zel_global_state) zel_global_state->noteImageCreated();
  return image;
}

bool ZelImage::makePixels(unsigned row_padding) {
  const int type = getDataType();
  const uint64_t pixel_stride = kx_pixel_stride(getBands(), type);
  const uint64_t line_stride = getWidth() * pixel_stride + row_padding;
  const uint64_t bytes = line_stride * getHeight() * element_size(type);
  // Strides must fit their record fields; sizes must fit the address space.
  if (line_stride > UINT32_MAX || bytes > SIZE_MAX / 2) return false;
  const size_t page = page_size();
  const size_t rounded = round_to_pages(static_cast<size_t>(bytes), page);
  void* memory = nullptr;
  if (posix_memalign(&memory, page, rounded) != 0) return false;
  std::memset(memory, 0, rounded);
  kx_buffer_ = new Buffer;
  kx_buffer_->kind = Buffer::pages;
  kx_buffer_->host = static_cast<unsigned char*>(memory);
  kx_buffer_->bytes = rounded;
  line_stride_ = static_cast<uint32_t>(line_stride);
  pixel_stride_ = static_cast<uint16_t>(pixel_stride);
  return true;
}

// The record of an aliased buffer: its first pixel, strides and alias.
__ZelKXStorage ZelImage::storage_record(const Buffer* buffer, uint32_t line_stride,
                                        uint16_t pixel_stride, uint32_t opaque1,
                                        uint32_t opaque2) {
  __ZelKXStorage record{};
  record.host_address = buffer->host;
  record.line_stride = line_stride;
  record.pixel_stride = pixel_stride;
  record.kx_address = alias_address(buffer->alias);
  record.opaque1 = opaque1;
  record.opaque2 = opaque2;
  return record;
}

bool ZelImage::aliasPixels() {
  if (!kx_buffer_) return false;
  if (kx_buffer_->alias) return true;
  kx_buffer_->alias = make_alias(kx_buffer_->host, kx_buffer_->bytes);
  if (!kx_buffer_->alias) return false;
  kx_ = storage_record(kx_buffer_, line_stride_, pixel_stride_, kOpaqueKx, serial_);
  return true;
}

bool ZelImage::addCkx() {
  const size_t page = page_size();
  const uint32_t line_stride = getWidth() * pixel_stride_;  // packed
  const uint64_t bytes =
      static_cast<uint64_t>(line_stride) * getHeight() * element_size(getDataType());
  // The request carries a 32-bit size.
  if (bytes > UINT32_MAX - page) return false;
  const size_t rounded = round_to_pages(static_cast<size_t>(bytes), page);
  if (kx_fd_get() < 0) return false;  // contiguous memory is only useful aliased
  int fd = kx_sys_open(KX_SYS_CMEM_PATH, O_RDWR);
  if (fd < 0) return false;
  Buffer* buffer = new Buffer;
  buffer->kind = Buffer::cmem;
  buffer->cmem_fd = fd;
  buffer->bytes = rounded;
  uint32_t request[3] = {static_cast<uint32_t>(rounded), 0, 0};
  if (kx_sys_ioctl(fd, KX_SYS_CMEM_ALLOC, request) == -1) {
    delete buffer;
    return false;
  }
  void* memory = kx_sys_mmap(nullptr, buffer->bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                             static_cast<off_t>(request[2]));
  if (memory == MAP_FAILED) {
    delete buffer;
    return false;
  }
  buffer->host = static_cast<unsigned char*>(memory);
  std::memset(buffer->host, 0, buffer->bytes);
  buffer->alias = make_alias(buffer->host, buffer->bytes);
  if (!buffer->alias) {
    delete buffer;
    return false;
  }
  ckx_buffer_ = buffer;
  ckx_ = storage_record(buffer, line_stride, pixel_stride_, kOpaqueCkx, serial_);
  return true;
}

bool ZelImage::addStorage(const char* name) {
  if (parent_ || !name) return false;
  const std::string kind = name;
  if (kind == "kx") return aliasPixels();
  if (kind == "ckx") return ckx_buffer_ || addCkx();
  if (kind == "memory") {
    if (memory_buffer_) return true;
    const uint64_t line_stride = static_cast<uint64_t>(getWidth()) * getBands();
    const uint64_t bytes = line_stride * getHeight() * element_size(getDataType());
    void* memory = std::calloc(static_cast<size_t>(bytes), 1);
    if (!memory) return false;
    memory_buffer_ = new Buffer;
    memory_buffer_->host = static_cast<unsigned char*>(memory);
    memory_buffer_->bytes = static_cast<size_t>(bytes);
    memory_.host_address = memory_buffer_->host;
    memory_.line_stride = static_cast<uint32_t>(line_stride);
    memory_.pixel_stride = static_cast<uint16_t>(getBands());
    return true;
  }
  return false;
}

void ZelImage::removeStorage(const char* name) {
  if (parent_ || !name) return;
  const std::string kind = name;
  if (kind == "kx") {
    // The pixels stay; only their alias goes.
    if (kx_buffer_ && kx_buffer_->alias) {
      kx_sys_munmap(kx_buffer_->alias, kx_buffer_->bytes);
      kx_buffer_->alias = nullptr;
    }
    kx_ = {};
  } else if (kind == "ckx") {
    delete ckx_buffer_;
    ckx_buffer_ = nullptr;
    ckx_ = {};
  } else if (kind == "memory") {
    delete memory_buffer_;
    memory_buffer_ = nullptr;
    memory_ = {};
  }
}

void* ZelImage::getStorage(const char* name) {
  if (!name) return nullptr;
  ZelImage* r = root();
  if (std::strcmp(name, "kx") == 0)
    return r->kx_buffer_ && r->kx_buffer_->alias ? &r->kx_ : nullptr;
  if (std::strcmp(name, "ckx") == 0) return r->ckx_buffer_ ? &r->ckx_ : nullptr;
  if (std::strcmp(name, "memory") == 0) return r->memory_buffer_ ? &r->memory_ : nullptr;
  return nullptr;
}

void ZelImage::getChildOffsets(unsigned* x, unsigned* y, unsigned* band) const {
  if (x) *x = child_x_;
  if (y) *y = child_y_;
  if (band) *band = child_band_;
}

void ZelImage::getDimensions(unsigned* width, unsigned* height, unsigned* bands) const {
  if (width) *width = getWidth();
  if (height) *height = getHeight();
  if (bands) *bands = getBands();
}

ZelImage* ZelImage::createChild(unsigned x, unsigned y, unsigned width, unsigned height,
                                unsigned band, unsigned bands) {
  if (width == 0 || height == 0 || bands == 0) return nullptr;
  // Compare without sums that could wrap.
  if (x >= getWidth() || width > getWidth() - x) return nullptr;
  if (y >= getHeight() || height > getHeight() - y) return nullptr;
  if (band >= getBands() || bands > getBands() - band) return nullptr;
  ZelImage* r = root();
  ZelImage* child = new ZelImage(getSystemState(), width, height, bands, getDataType());
  child->parent_ = r;
  child->child_x_ = child_x_ + x;
  child->child_y_ = child_y_ + y;
  child->child_band_ = child_band_ + band;
  child->updateSpaceRoi();
  r->children_.push_back(child);
  return child;
}

unsigned char* ZelImage::elementAddress(unsigned x, unsigned y, unsigned band) const {
  if (x >= getWidth() || y >= getHeight() || band >= getBands()) return nullptr;
  const ZelImage* r = root();
  if (!r->kx_buffer_) return nullptr;
  const size_t e = element_size(getDataType());
  const size_t rx = child_x_ + x, ry = child_y_ + y;
  size_t rb = child_band_ + band;
  if (getDataType() == ZEL_UINT8 && r->getBands() == 3) rb += 1;  // byte 0 is not a band
  const size_t element = ry * r->line_stride_ + rx * r->pixel_stride_ + rb;
  return r->kx_buffer_->host + e * element;
}

ZelImage::BandLayout ZelImage::bandLayout(unsigned band) const {
  unsigned char* first = elementAddress(0, 0, band);
  if (!first) return {};
  const ZelImage* r = root();
  return {first, r->pixel_stride_, r->line_stride_};
}

int ZelImage::getPixel(unsigned x, unsigned y, unsigned band) const {
  const unsigned char* p = elementAddress(x, y, band);
  if (!p) return 0;
  if (getDataType() == ZEL_INT16) {
    int16_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
  }
  return *p;
}

void ZelImage::setPixel(unsigned x, unsigned y, unsigned band, int value) {
  unsigned char* p = elementAddress(x, y, band);
  if (!p) return;
  if (getDataType() == ZEL_INT16) {
    const uint16_t bits = static_cast<uint16_t>(value);
    std::memcpy(p, &bits, sizeof bits);
  } else {
    *p = static_cast<unsigned char>(value);
  }
  markChanged();
}

void ZelImage::markChanged() {
  changed();
  if (parent_) parent_->changed();
}

void ZelImage::getOrigin(int* x, int* y) const {
  if (x) *x = origin_x_;
  if (y) *y = origin_y_;
}

void ZelImage::setOrigin(int x, int y) {
  origin_x_ = x;
  origin_y_ = y;
  updateSpaceRoi();
  changed();
}

void ZelImage::setRoi(const ZelRoi* roi) {
  if (roi_) roi_->destroy();
  roi_ = roi ? roi->translate(0, 0) : nullptr;
  updateSpaceRoi();
  changed();
}

ZelRoi* ZelImage::getRoi() const {
  return roi_ ? roi_->translate(0, 0) : nullptr;
}

ZelRoi* ZelImage::getImageSpaceRoi() {
  if (zel_global_state && zel_global_state->takeImageRegionFailure()) return nullptr;
  return space_roi_;
}

void ZelImage::updateSpaceRoi() {
  // The whole extent, (-ox, -oy, width, height), kept within the int range.
  ZelRoi extent(getSystemState());
  const long long left = -static_cast<long long>(origin_x_);
  const long long top = -static_cast<long long>(origin_y_);
  const long long right = std::min<long long>(left + getWidth(), INT_MAX);
  const long long bottom = std::min<long long>(top + getHeight(), INT_MAX);
  if (left < INT_MAX && top < INT_MAX) {
    extent.hostAddRect(static_cast<int>(left), static_cast<int>(top),
                       static_cast<int>(right - left), static_cast<int>(bottom - top));
  }
  ZelRoi* region = roi_ ? roi_->hostIntersect(&extent) : extent.translate(0, 0);
  if (space_roi_) space_roi_->destroy();
  space_roi_ = region;
}
