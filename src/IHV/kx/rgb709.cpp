// Conversions from rgb709: to rgblinear through the inverse transfer table, to ycc601,
// ycc709 and photoycc by transforms of 8 fraction bits.
#include "kx_colour.h"

// Entry i: the inverse BT.709 transfer curve at i / 255, times 255, rounded half up.
const unsigned char _NL2Lbtable[256] = {
    0,   0,   0,   1,   1,   1,   1,   2,   2,   2,   2,   2,   3,   3,   3,   3,   4,   4,
    4,   4,   4,   5,   5,   5,   5,   6,   6,   6,   6,   7,   7,   7,   7,   8,   8,   8,
    9,   9,   9,   10,  10,  10,  11,  11,  11,  12,  12,  13,  13,  13,  14,  14,  15,  15,
    15,  16,  16,  17,  17,  18,  18,  19,  19,  20,  20,  21,  21,  22,  22,  23,  23,  24,
    24,  25,  25,  26,  27,  27,  28,  28,  29,  30,  30,  31,  31,  32,  33,  33,  34,  35,
    35,  36,  37,  37,  38,  39,  40,  40,  41,  42,  43,  43,  44,  45,  46,  46,  47,  48,
    49,  50,  51,  51,  52,  53,  54,  55,  56,  57,  57,  58,  59,  60,  61,  62,  63,  64,
    65,  66,  67,  68,  69,  70,  71,  72,  73,  74,  75,  76,  77,  78,  79,  80,  81,  82,
    83,  84,  85,  86,  88,  89,  90,  91,  92,  93,  94,  96,  97,  98,  99,  100, 102, 103,
    104, 105, 107, 108, 109, 110, 112, 113, 114, 116, 117, 118, 119, 121, 122, 124, 125, 126,
    128, 129, 130, 132, 133, 135, 136, 138, 139, 140, 142, 143, 145, 146, 148, 149, 151, 152,
    154, 155, 157, 158, 160, 162, 163, 165, 166, 168, 170, 171, 173, 174, 176, 178, 179, 181,
    183, 184, 186, 188, 190, 191, 193, 195, 197, 198, 200, 202, 204, 205, 207, 209, 211, 213,
    214, 216, 218, 220, 222, 224, 226, 228, 229, 231, 233, 235, 237, 239, 241, 243, 245, 247,
    249, 251, 253, 255,
};

namespace {

// Rows give output bands (luma, blue difference, red difference); columns input bands blue,
// green, red; then the offsets; all with 8 fraction bits (4096 = 16, 32768 = 128).
const float coeffs_rgb7092ycc601[12] = {25.063885f,  129.057022f, 65.737724f,  112.097282f,
                                        -74.252029f, -37.821442f, -18.311527f, -94.288132f,
                                        112.599037f, 4096.0f,     32768.0f,    32768.0f};
const float coeffs_rgb7092ycc709[12] = {15.85152f,   157.286407f, 46.720001f, 112.716034f,
                                        -86.902786f, -25.812481f, -10.2656f,  -101.990402f,
                                        112.255997f, 4096.0f,     32768.0f,   32768.0f};
const float coeffs_rgb7092photoycc[12] = {20.812799f,  107.161598f, 54.579201f, 99.071999f,
                                          -65.638397f, -33.433601f, -15.5136f,  -79.923203f,
                                          95.436798f,  0.0f,        39936.0f,   35072.0f};

}  // namespace

int zels_rgb7092rgblinear_8(ZELS_ARGS) {
  return zelkx_colour_table(_NL2Lbtable, nullptr, ZELS_VALUES);
}

int zels_rgb7092ycc601_8(ZELS_ARGS) {
  return zelkx_colour_transform(coeffs_rgb7092ycc601, ZELS_VALUES);
}

int zels_rgb7092photoycc_8(ZELS_ARGS) {
  return zelkx_colour_transform(coeffs_rgb7092photoycc, ZELS_VALUES);
}

int zels_rgb7092ycc709_8(ZELS_ARGS) {
  return zelkx_colour_transform(coeffs_rgb7092ycc709, ZELS_VALUES);
}

ZELS_REFUSED_16(rgb709, rgblinear)
ZELS_REFUSED_16(rgb709, ycc601)
ZELS_REFUSED_16(rgb709, photoycc)
ZELS_REFUSED_16(rgb709, ycc709)
