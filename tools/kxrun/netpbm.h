// Reading and writing images as netpbm files.
//
// Read: P5 (1 band), P6 (3 bands) and P7 with DEPTH 1 to 4 (TUPLTYPE is accepted and
// ignored). MAXVAL 255 gives an 8-bit image, MAXVAL 65535 a 16-bit image. Sides are 1 to
// 65535 pixels and an image has at most 2^28 pixels.
//
// 16-bit samples: a file's samples are unsigned (0..65535), the system's 16-bit pixels
// signed (-32768..32767). Sample16 says how a sample s becomes a pixel and back:
//   wrap    s read as two's complement (s - 65536 from 32768 up); written back as is
//   offset  s - 32768; written back plus 32768, so every file round-trips
//   clamp   min(s, 32767); written back with negative pixels as 0
// Arithmetic on wrapped samples above 32767 works on negative numbers; offset samples keep
// their order but are shifted by 32768 (a sum counts the shift twice); clamped samples above
// 32767 are lost.
// Write: P5 for 1 band, P6 for 3, P7 for 2 (GRAYSCALE_ALPHA) and 4 (RGB_ALPHA, or the
// TUPLTYPE given); MAXVAL 255 for 8-bit images and 65535 for 16-bit ones. The pixels are the
// image's own (a child's rectangle and bands), written in image coordinates.
//
// Channels and bands: with Channels::rgb a file of 3 channels holds red, green, blue, the
// reverse of the system's band order (blue, green, red), so file channel c is band 2 - c on
// reading and on writing. Files of 1, 2 or 4 channels, and files read or written with
// Channels::as_bands, keep channel c as band c.
#ifndef KXRUN_NETPBM_H
#define KXRUN_NETPBM_H

#include <cstdio>
#include <string>

class ZelImage;
class ZelSystemState;

enum class Channels { rgb, as_bands };
enum class Sample16 { wrap, offset, clamp };

// How a file's samples meet an image's bands and values.
struct NetpbmLayout {
  Channels channels = Channels::rgb;
  Sample16 samples = Sample16::wrap;
  const char* tupltype = nullptr;  // written for 4 channels; nullptr: RGB_ALPHA
};

// The band that holds file channel c of a file of `channels` channels.
unsigned band_of_channel(unsigned c, unsigned channels, Channels order);

// A new image (the caller destroys it), or nullptr with a one-line reason in *why. A null
// state means zel_default_state().
// `above`, when given, receives the number of 16-bit samples above 32767.
ZelImage* read_netpbm(ZelSystemState* state, const std::string& path, std::string* why,
                      const NetpbmLayout& layout = {}, unsigned long long* above = nullptr);
// The same from a stream, read from where it stands (it is not closed). The pixel data of a
// regular file are checked against its length before an image is made; a stream of
// unknown length (a pipe, memory) has its pixel data read before the image is made, in
// pieces of 1 MiB, so no more is held than has arrived plus one piece.
ZelImage* read_netpbm_stream(ZelSystemState* state, std::FILE* file, std::string* why,
                             const NetpbmLayout& layout = {},
                             unsigned long long* above = nullptr);
// False with a one-line reason in *why when the image cannot be written.
bool write_netpbm(ZelImage* image, const std::string& path, std::string* why,
                  const NetpbmLayout& layout = {});

#endif
