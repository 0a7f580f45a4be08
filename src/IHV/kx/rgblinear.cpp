// Conversions from rgblinear: to rgb709 through the BT.709 transfer table, to ycc709 and
// ycc601 through the table and a transform of 16 fraction bits, to ylinear by luminance
// weights, to cmyk by complements.
#include <cstdint>

#include "kx_colour.h"
#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_saturate.h"

// Entry i: the BT.709 transfer curve at i / 255, times 255, rounded half up.
const unsigned char _L2NLbtable[256] = {
    0,   5,   9,   14,  18,  23,  27,  30,  34,  37,  40,  43,  46,  48,  51,  53,  55,  58,
    60,  62,  64,  66,  68,  70,  72,  73,  75,  77,  78,  80,  82,  83,  85,  86,  88,  89,
    91,  92,  94,  95,  97,  98,  99,  101, 102, 103, 104, 106, 107, 108, 109, 111, 112, 113,
    114, 115, 116, 118, 119, 120, 121, 122, 123, 124, 125, 126, 127, 128, 129, 130, 131, 132,
    133, 134, 135, 136, 137, 138, 139, 140, 141, 142, 143, 144, 145, 146, 147, 147, 148, 149,
    150, 151, 152, 153, 154, 154, 155, 156, 157, 158, 159, 159, 160, 161, 162, 163, 164, 164,
    165, 166, 167, 168, 168, 169, 170, 171, 171, 172, 173, 174, 174, 175, 176, 177, 177, 178,
    179, 180, 180, 181, 182, 182, 183, 184, 185, 185, 186, 187, 187, 188, 189, 189, 190, 191,
    191, 192, 193, 193, 194, 195, 195, 196, 197, 197, 198, 199, 199, 200, 201, 201, 202, 203,
    203, 204, 205, 205, 206, 206, 207, 208, 208, 209, 209, 210, 211, 211, 212, 213, 213, 214,
    214, 215, 216, 216, 217, 217, 218, 218, 219, 220, 220, 221, 221, 222, 223, 223, 224, 224,
    225, 225, 226, 227, 227, 228, 228, 229, 229, 230, 230, 231, 232, 232, 233, 233, 234, 234,
    235, 235, 236, 236, 237, 238, 238, 239, 239, 240, 240, 241, 241, 242, 242, 243, 243, 244,
    244, 245, 245, 246, 246, 247, 247, 248, 248, 249, 249, 250, 251, 251, 252, 252, 253, 253,
    254, 254, 255, 255,
};

namespace {

// Rows give output bands Y, Cb, Cr; columns input bands blue, green, red (16 fraction bits);
// then the offsets in whole units.
const float coeffs_709[12] = {4056.678467f,   40265.320312f, 11960.320312f, 28854.845703f,
                              -22249.472656f, -6606.028809f, -2633.236572f, -26109.542969f,
                              28744.089844f,  16.0f,         128.0f,        128.0f};
const float coeffs_601[12] = {6415.974609f,   33036.699219f, 16829.644531f, 28685.107422f,
                              -19005.439453f, -9679.666992f, -4685.824219f, -24136.908203f,
                              28822.732422f,  16.0f,         128.0f,        128.0f};
// The offset, then the weights of blue, green and red (8 fraction bits).
const float coeffs_rgblinear2ylinear[4] = {0.0f, 29.184f, 150.272f, 76.544f};

}  // namespace

int zels_rgblinear2rgb709_8(ZELS_ARGS) {
  return zelkx_colour_table(_L2NLbtable, nullptr, ZELS_VALUES);
}

int zels_rgblinear2ycc709_8(ZELS_ARGS) {
  return zelkx_colour_table(_L2NLbtable, coeffs_709, ZELS_VALUES);
}

int zels_rgblinear2ycc601_8(ZELS_ARGS) {
  return zelkx_colour_table(_L2NLbtable, coeffs_601, ZELS_VALUES);
}

int zels_rgblinear2ylinear_8(ZELS_ARGS) {
  int32_t c[4];
  for (int i = 0; i < 4; ++i) c[i] = sl::truncate_saturate(coeffs_rgblinear2ylinear[i]);
  sl_ctx_planemask_set(0xffffffff);
  sl_rect_trf24_8(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride, c[0], c[1],
                  c[2], c[3]);
  return 0;
}

int zels_rgblinear2cmyk_8(ZELS_ARGS) {
  sl_ctx_planemask_set(0xffffffff);
  sl_rect_rgb2cmyk_32(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride);
  return 0;
}

ZELS_REFUSED_16(rgblinear, rgb709)
ZELS_REFUSED_16(rgblinear, ycc709)
ZELS_REFUSED_16(rgblinear, ycc601)
ZELS_REFUSED_16(rgblinear, ylinear)
ZELS_REFUSED_16(rgblinear, cmyk)
