// Conversion from photoycc to rgb709 by a transform of 8 fraction bits.
#include "kx_colour.h"

namespace {

// Rows give output bands blue, green, red; columns input bands luma, C1, C2; then the
// offsets; all with 8 fraction bits.
const float coeffs_photoycc2rgb709[12] = {
    358.907776f, 585.990906f, 0.000158f,   358.908234f,   -113.811462f,  -245.146652f,
    358.907166f, -0.006028f,  481.274384f, -91414.53125f, 51338.238281f, -65932.796875f};

}  // namespace

int zels_photoycc2rgb709_8(ZELS_ARGS) {
  return zelkx_colour_transform(coeffs_photoycc2rgb709, ZELS_VALUES);
}

ZELS_REFUSED_16(photoycc, rgb709)
