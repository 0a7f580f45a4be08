// lookup16_8 and lookup16_16: a 16-bit one-band source, indexed by its value taken as
// unsigned, through a lookup of 65536 entries, into a one-band destination of 8 or 16 bits
// (kx_lookup.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_lookup.h"

int ZelDeviceComputeTypeKX::Lookup16_8(ZelOp* op, int) {
  static const ZelKXLookup routine{"Lookup16KX", 2, 1, 131072, 219, 0, 0, false};
  return zelkx_lookup(op, routine);
}

int ZelDeviceComputeTypeKX::Lookup16_16(ZelOp* op, int) {
  static const ZelKXLookup routine{"Lookup16KX", 2, 2, 131072, 416, 336, 322, false};
  return zelkx_lookup(op, routine);
}
