// What the geometric routines share: the flip kernels by transpose type, and the checks
// every one of them makes on its two images.
#ifndef KX_GEOMETRY_H
#define KX_GEOMETRY_H

#include <cstdint>

#include "kx_frame.h"
#include "zel.h"

// A flip kernel: (dst, dst stride, width, height, src, src stride), byte addresses.
typedef void (*ZelKXFlipKernel)(uint32_t dst, int32_t dst_stride, int32_t width, int32_t height,
                                uint32_t src, int32_t src_stride);

// The flip of transpose type t (0 v, 1 h, 2 d, 3 b, 4 90, 5 180, 6 270) for pixels of 1, 2
// or 4 bytes; nullptr for a type outside 0..6 or another size.
ZelKXFlipKernel zelkx_flip_kernel(long type, unsigned pixel_bytes);

// True when the two images share pixels' memory (one root): a kernel that moves pixels
// about would read what it has already written.
bool zelkx_share_root(ZelImage* a, ZelImage* b);

// True when the image's pixels lie next to one another: a pixel stride of one element, or
// of one 4-byte pixel for 8-bit images of 3 and 4 bands (children of a multi-band image
// that take some of its bands are strided and refused).
bool zelkx_packed_pixels(const KXImage& image, unsigned bands, int data_type);

// An offset as the nearest translations move by it: floor(t + 0.5), in *out. False (refuse)
// for a value that is not finite or lies beyond +-2^24, and where (int)(t + 0.5), which the
// region move takes, would differ (t + 0.5 negative and not whole).
bool zelkx_whole_offset(float t, int* out);

// A rotation angle in radians as the rotation kernels take it: degrees, single precision.
// False (refuse) for an angle not finite or beyond +-2^24.
bool zelkx_rotation_degrees(float radians, float* degrees);

// Both images present, 16-bit, one band each, and passing zelkx_check_child_16: the
// whole-image 16-bit routines' first test.
bool zelkx_one_band_16(ZelImage* src, ZelImage* dst);

// Like zelkx_open_image, with the contiguous storage ("ckx") the rotations read from.
bool zelkx_open_contiguous(ZelImage* image, KXImage* out);

// 0 when a 16-bit rotation can take both images whole: neither is a child, their origins are
// equal, the source's region is its whole extent and the destination's is the source's
// extent at that origin; 2 otherwise (a missing region or list too). Releases what it takes.
int check_images(ZelImage* src, ZelImage* dst);

// The translations, by copies of whole pixels: data type 1 (1, 3 or 4 bands) or 2 (1 band).
// The nearest ones (file null) move by floor(t + 0.5) and report nothing; the interpolating
// ones take whole offsets only (the kernels never see a fraction) and report a missing region
// ("di-12" on the source) and a missing meeting or list ("di-8" on the destination).
struct ZelKXTranslation {
  const char* file;  // "TranslateBL8KX"; nullptr for the nearest translations
  int region_line, list_line;
};
int zelkx_translate(ZelOp* op, int data_type, const ZelKXTranslation& routine);

#endif
