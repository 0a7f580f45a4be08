// Conversion from ycc601 to rgb709 by a transform of 8 fraction bits.
#include "kx_colour.h"

namespace {

// Rows give output bands blue, green, red; columns input bands luma, blue difference, red
// difference; then the offsets; all with 8 fraction bits.
const float coeffs_ycc6012rgb709[12] = {
    298.060791f, 518.092773f, 0.0f,   298.060791f,    -100.454399f,  -207.641602f,
    298.060791f, 0.0f,        408.0f, -71083.523438f, 34677.761719f, -56995.839844f};

}  // namespace

int zels_ycc6012rgb709_8(ZELS_ARGS) {
  return zelkx_colour_transform(coeffs_ycc6012rgb709, ZELS_VALUES);
}

ZELS_REFUSED_16(ycc601, rgb709)
