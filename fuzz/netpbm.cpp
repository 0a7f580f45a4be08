// Fuzz target: kxrun's netpbm reader over arbitrary bytes, as a regular file (whose length
// is known) and as a stream of unknown length (memory; like a pipe).
//
// What must hold: a refusal has a one-line reason and leaves no image; an image read has
// sides within 65535 and at most 2^28 pixels, 1 to 4 bands and 8 or 16 bits, and its samples
// were all in the input; no single allocation is larger than what the input's bytes justify
// (the image for the samples present, or one read piece of 1 MiB), however large the header
// says the image is; both ways of reading agree.
#include "netpbm.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "fuzz.h"
#include "zel.h"

namespace {

// The memory file the regular-file case reads.
int memory_file() {
  static const int fd = [] {
    const int fd = memfd_create("netpbm-fuzz", 0);
    FUZZ_CHECK(fd >= 0);
    return fd;
  }();
  return fd;
}

struct Result {
  bool read = false;
  unsigned width = 0, height = 0, bands = 0;
  int type = 0;
  uint64_t checksum = 0;
};

Result check(ZelImage* image, const std::string& why, size_t size) {
  Result result;
  if (image == nullptr) {
    FUZZ_CHECK(!why.empty() && why.size() < 200 && why.find('\n') == std::string::npos);
    return result;
  }
  result.read = true;
  image->getDimensions(&result.width, &result.height, &result.bands);
  result.type = image->getDataType();
  FUZZ_CHECK(result.width >= 1 && result.width <= 65535);
  FUZZ_CHECK(result.height >= 1 && result.height <= 65535);
  FUZZ_CHECK(uint64_t{result.width} * result.height <= (uint64_t{1} << 28));
  FUZZ_CHECK(result.bands >= 1 && result.bands <= 4);
  FUZZ_CHECK(result.type == ZEL_UINT8 || result.type == ZEL_INT16);
  const uint64_t samples = uint64_t{result.width} * result.height * result.bands;
  FUZZ_CHECK(samples * (result.type == ZEL_INT16 ? 2 : 1) <= size);
  for (unsigned y = 0; y < result.height; ++y) {
    for (unsigned x = 0; x < result.width; ++x) {
      for (unsigned b = 0; b < result.bands; ++b) {
        const int v = image->getPixel(x, y, b);
        if (result.type == ZEL_UINT8) FUZZ_CHECK(v >= 0 && v <= 255);
        result.checksum = result.checksum * 31 + uint64_t(int64_t(v));
      }
    }
  }
  image->destroy();
  return result;
}

// The largest allocation the input can justify: the image's pixels (4 bytes a pixel for 3
// bands, page-rounded) for as many samples as the input holds, or one piece of 1 MiB.
size_t allocation_bound(size_t size) {
  return 4 * size + 2 * 65536 + (size_t{1} << 20);
}

// The host state, with what the first image makes once for the whole process (the processor
// model behind the pixels' alias) already made, so that it does not count against an input.
ZelSystemState* warm_state() {
  static ZelSystemState* const state = [] {
    ZelSystemState* s = zel_default_state();
    ZelImage* image = s->createImage(1, 1, 1, ZEL_UINT8);
    FUZZ_CHECK(image != nullptr);
    image->destroy();
    return s;
  }();
  return state;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ZelSystemState* state = warm_state();
  // The first byte picks the layout; the rest is the file.
  FuzzInput in(data, size);
  const uint8_t flags = in.byte();
  const uint8_t* file = size > 0 ? data + 1 : data;
  const size_t length = in.size();
  NetpbmLayout layout;
  layout.channels = (flags & 1) ? Channels::as_bands : Channels::rgb;
  layout.samples = (flags & 6) == 2   ? Sample16::offset
                   : (flags & 6) == 4 ? Sample16::clamp
                                      : Sample16::wrap;

  // A regular file.
  const int fd = memory_file();
  FUZZ_CHECK(ftruncate(fd, 0) == 0);
  FUZZ_CHECK(length == 0 || pwrite(fd, file, length, 0) == ssize_t(length));
  FUZZ_CHECK(lseek(fd, 0, SEEK_SET) == 0);
  std::FILE* regular = fdopen(dup(fd), "rb");
  FUZZ_CHECK(regular != nullptr);
  std::string why;
  unsigned long long above = 0;
  fuzz_reset_largest_allocation();
  const Result from_file =
      check(read_netpbm_stream(state, regular, &why, layout, &above), why, length);
  std::fclose(regular);
  if (fuzz_allocations_watched())
    FUZZ_CHECK(fuzz_largest_allocation() <= allocation_bound(length));

  // A stream of unknown length.
  static char empty[1];
  std::FILE* stream = length == 0 ? fmemopen(empty, 0, "rb")
                                  : fmemopen(const_cast<uint8_t*>(file), length, "rb");
  if (stream == nullptr) return 0;  // fmemopen refuses an empty buffer on some systems
  std::string why_stream;
  unsigned long long above_stream = 0;
  fuzz_reset_largest_allocation();
  const Result from_stream =
      check(read_netpbm_stream(state, stream, &why_stream, layout, &above_stream), why_stream,
            length);
  std::fclose(stream);
  if (fuzz_allocations_watched())
    FUZZ_CHECK(fuzz_largest_allocation() <= allocation_bound(length));

  FUZZ_CHECK(from_file.read == from_stream.read);
  if (from_file.read) {
    FUZZ_CHECK(from_file.width == from_stream.width && from_file.height == from_stream.height);
    FUZZ_CHECK(from_file.bands == from_stream.bands && from_file.type == from_stream.type);
    FUZZ_CHECK(from_file.checksum == from_stream.checksum && above == above_stream);
    FUZZ_CHECK(above <= uint64_t{from_file.width} * from_file.height * from_file.bands);
  } else {
    FUZZ_CHECK(why == why_stream);
  }
  return 0;
}
