// The host's lookups and colour conversion, written from what each operation means, pixel by
// pixel, through getPixel and setPixel.
#ifndef ZEL_SOFTWARE_LOOKUP_H
#define ZEL_SOFTWARE_LOOKUP_H

#include <algorithm>

#include "zel_colour.h"
#include "zel_software_copy.h"

namespace zel_software {

// Band b of the destination = entry min(max(v - offset, 0), n - 1) of the lookup (pointer
// parameter 1), v the one-band source's pixel (signed for 16-bit sources). The destination
// has the lookup's bands, and the lookup's entries the destination's type.
template <int SrcType, int DstType>
inline int lookup(ZelOp* op) {
  const auto* table = static_cast<const ZelLookup*>(op->getPtrParam(1));
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!table || table->getNumEntries() < 1 || table->getDataType() != DstType) return 2;
  if (!is(src, SrcType) || !is(dst, DstType) || src->getBands() != 1 ||
      dst->getBands() != table->getNBands()) {
    return 2;
  }
  const int last = table->getNumEntries() - 1;
  return each_point(dst, src, [&](unsigned x, unsigned y, unsigned sx, unsigned sy) {
    const int entry = std::clamp(src->getPixel(sx, sy, 0) - table->getOffset(), 0, last);
    for (unsigned b = 0; b < dst->getBands(); ++b)
      dst->setPixel(x, y, b, table->value(entry, b));
  });
}

// The source's colour space (object parameter 1) to the destination's (object parameter
// 2), for the pairs zel_colour.h lists, on 8-bit images with the spaces' band counts.
inline int colorconvert(ZelOp* op) {
  const auto* from = static_cast<const ZelColorspace*>(op->getObjParam(1));
  const auto* to = static_cast<const ZelColorspace*>(op->getObjParam(2));
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!from || !to || !zel_converts_colour(from->getOpcode(), to->getOpcode())) return 2;
  if (!is(src, ZEL_UINT8) || !is(dst, ZEL_UINT8) || src->getBands() != from->getBands() ||
      dst->getBands() != to->getBands()) {
    return 2;
  }
  return each_point(dst, src, [&](unsigned x, unsigned y, unsigned sx, unsigned sy) {
    int in[4] = {}, out[4] = {};
    for (unsigned b = 0; b < src->getBands(); ++b) in[b] = src->getPixel(sx, sy, b);
    zel_convert_colour(from->getOpcode(), to->getOpcode(), in, out);
    for (unsigned b = 0; b < dst->getBands(); ++b) dst->setPixel(x, y, b, out[b]);
  });
}

}  // namespace zel_software

#endif
