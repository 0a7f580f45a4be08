// lookup8_8 and lookup8_16: an 8-bit one-band source through a lookup of 256 entries (a
// table of one page). lookup8_8 writes 8-bit destinations of 1, 3 or 4 bands (3 only as bands
// 1..3 of a 4-band image), lookup8_16 16-bit one-band destinations (kx_lookup.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_lookup.h"

int ZelDeviceComputeTypeKX::Lookup8_8(ZelOp* op, int) {
  static const ZelKXLookup routine{"Lookup8KX", 1, 1, 4096, 204, 0, 0, false};
  return zelkx_lookup(op, routine);
}

int ZelDeviceComputeTypeKX::Lookup8_16(ZelOp* op, int) {
  static const ZelKXLookup routine{"Lookup8KX", 1, 2, 65536, 407, 332, 347, true};
  return zelkx_lookup(op, routine);
}
