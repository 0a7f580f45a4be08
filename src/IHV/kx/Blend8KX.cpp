// blend8a8 and blend8a16: 8-bit images of 1, 3 or 4 bands under an 8-bit or 16-bit alpha
// image (kx_blend.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_blend.h"

int ZelDeviceComputeTypeKX::Blend8a8(ZelOp* op, int) {
  static const ZelKXBlend routine{"Blend8KX",        130, 1, 1, true, false, sl_rect_blend8_8,
                                  sl_rect_blend32_32};
  return zelkx_blend(op, routine);
}

int ZelDeviceComputeTypeKX::Blend8a16(ZelOp* op, int) {
  static const ZelKXBlend routine{"Blend8KX",        295,    1, 2, true, true,
                                  sl_rect_blend16_8, nullptr};
  return zelkx_blend(op, routine);
}
