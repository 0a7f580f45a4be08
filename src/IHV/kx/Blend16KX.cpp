// blend16a8 and blend16a16: one-band 16-bit images under an 8-bit or 16-bit alpha image
// (kx_blend.h). Their pixels are blended as unsigned numbers, so the routines take only
// sources whose pixels agree in sign.
#include "ZelDeviceComputeTypeKX.h"
#include "kx_blend.h"

int ZelDeviceComputeTypeKX::Blend16a8(ZelOp* op, int) {
  static const ZelKXBlend routine{"Blend16KX",       139,    2, 1, false, true,
                                  sl_rect_blend8_16, nullptr};
  return zelkx_blend(op, routine);
}

int ZelDeviceComputeTypeKX::Blend16a16(ZelOp* op, int) {
  static const ZelKXBlend routine{"Blend16KX",        276,    2, 2, false, true,
                                  sl_rect_blend16_16, nullptr};
  return zelkx_blend(op, routine);
}
