// The host's colour conversions of 8-bit pixels: which pairs of colour spaces it converts
// and what each conversion means, one pixel at a time. Values are in band order (see
// ZelColorspaceOpcode in zel.h): rgb blue, green, red; ycc luma, blue difference, red
// difference; cmyk cyan, magenta, yellow, black. Results are computed in double precision,
// rounded half up and limited to 0..255.
//
//   rgblinear -> rgb709, and back   the BT.709 transfer curve (or its inverse) per band
//   rgb709 -> ycc601, ycc709        E = Kr R + (1 - Kr - Kb) G + Kb B on values 0..1,
//                                   Y = 16 + 219 E, Cb = 128 + 224 (B - E) / (2 - 2 Kb),
//                                   Cr = 128 + 224 (R - E) / (2 - 2 Kr); (Kr, Kb) is
//                                   (0.299, 0.114) for 601, (0.2126, 0.0722) for 709
//   rgb709 -> photoycc              Y = 255 E / 1.402, C1 = 111.40 (B - E) + 156,
//                                   C2 = 135.64 (R - E) + 137, 601 weights
//   ycc601, photoycc -> rgb709      the exact inverses
//   rgblinear -> ycc601, ycc709     the 8-bit rgblinear -> rgb709 result, then as above
//   rgblinear -> ylinear            0.299 R + 0.587 G + 0.114 B
//   rgblinear -> cmyk               C, M, Y = 255 - R, G, B; K = 0
//   cmyk -> rgblinear               R = max(0, 255 - C - K), likewise G from M, B from Y
#ifndef ZEL_COLOUR_H
#define ZEL_COLOUR_H

// True when the host converts from colour space `from` to `to` (opcodes).
bool zel_converts_colour(int from, int to);

// One pixel: `in` holds the source's bands, `out` receives the destination's. False (and
// `out` untouched) for a pair the host does not convert.
bool zel_convert_colour(int from, int to, const int* in, int* out);

#endif
