// Reading and writing images as netpbm files.
//
// Read: P5 (1 band), P6 (3 bands) and P7 with DEPTH 1 to 4 (TUPLTYPE is accepted and
// ignored). MAXVAL 255 gives an 8-bit image, MAXVAL 65535 a 16-bit image whose big-endian
// samples hold signed values in two's complement (0xFFFF is -1). Sides are 1 to 65535 pixels
// and an image has at most 2^28 pixels.
// Write: P5 for 1 band, P6 for 3, P7 for 2 (GRAYSCALE_ALPHA) and 4 (RGB_ALPHA); MAXVAL 255
// for 8-bit images and 65535 for 16-bit ones. The pixels are the image's own (a child's
// rectangle and bands), written in image coordinates.
#ifndef KXRUN_NETPBM_H
#define KXRUN_NETPBM_H

#include <string>

class ZelImage;
class ZelSystemState;

// A new image (the caller destroys it), or nullptr with a one-line reason in *why. A null
// state means zel_default_state().
ZelImage* read_netpbm(ZelSystemState* state, const std::string& path, std::string* why);
// False with a one-line reason in *why when the image cannot be written.
bool write_netpbm(ZelImage* image, const std::string& path, std::string* why);

#endif
