// Conversion from cmyk to rgblinear: each of blue, green, red is 255 less yellow, magenta,
// cyan and less black, saturated at 0.
#include "kx_colour.h"
#include "sl_ctx.h"
#include "sl_kernels.h"

int zels_cmyk2rgblinear_8(ZELS_ARGS) {
  sl_ctx_planemask_set(0xffffffff);
  sl_rect_cmyk2rgb_32(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride);
  return 0;
}

ZELS_REFUSED_16(cmyk, rgblinear)
