// The host's geometric operations, written from what each means: the destination pixel at
// operation-space (X, Y) takes the source pixel the operation maps there, wherever that
// pixel lies in the source's region; every other destination pixel keeps its value.
#ifndef ZEL_SOFTWARE_GEOMETRY_H
#define ZEL_SOFTWARE_GEOMETRY_H

#include <vector>

#include "zel_software.h"

namespace zel_software {

// The source pixel (image coordinates) a transpose of type t puts at operation-space (X, Y)
// of the destination, for a W x H source: the whole source turned or mirrored into the
// quadrant at (0, 0), whatever its origin.
inline void transpose_source(long t, long long W, long long H, long long X, long long Y,
                             long long* sx, long long* sy) {
  switch (t) {
    case 0:
      *sx = X, *sy = H - 1 - Y;
      break;  // vertical mirror
    case 1:
      *sx = W - 1 - X, *sy = Y;
      break;  // horizontal mirror
    case 2:
      *sx = Y, *sy = X;
      break;  // main diagonal
    case 3:
      *sx = W - 1 - Y, *sy = H - 1 - X;
      break;  // anti-diagonal
    case 4:
      *sx = W - 1 - Y, *sy = X;
      break;  // a quarter turn counter-clockwise
    case 5:
      *sx = W - 1 - X, *sy = H - 1 - Y;
      break;  // a half turn
    default:
      *sx = Y, *sy = H - 1 - X;
      break;  // 6: a quarter turn clockwise
  }
}

template <int Type>
int transpose(ZelOp* op) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  const long t = op->getLongParam(1);
  if (src == nullptr || dst == nullptr || src->getDataType() != Type ||
      dst->getDataType() != Type || src->getBands() != dst->getBands() || t < 0 || t > 6) {
    return 2;
  }
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = dst->getImageSpaceRoi();
  if (src_region == nullptr || dst_region == nullptr) return 2;
  int sox, soy, dox, doy;
  src->getOrigin(&sox, &soy);
  dst->getOrigin(&dox, &doy);
  const long long W = src->getWidth(), H = src->getHeight();
  const unsigned bands = src->getBands();
  // Every write, gathered before the first: the source may be the destination.
  struct Write {
    unsigned x, y;
    std::vector<int> values;
  };
  std::vector<Write> writes;
  for (const ZelRoi::Rect& r : dst_region->rects()) {
    for (long long Y = r.y; Y < r.y + (long long)r.height; ++Y) {
      for (long long X = r.x; X < r.x + (long long)r.width; ++X) {
        long long sx, sy;
        transpose_source(t, W, H, X, Y, &sx, &sy);
        if (sx - sox < INT_MIN || sx - sox > INT_MAX || sy - soy < INT_MIN ||
            sy - soy > INT_MAX || !src_region->contains(int(sx - sox), int(sy - soy))) {
          continue;
        }
        Write w{unsigned(X + dox), unsigned(Y + doy), {}};
        for (unsigned b = 0; b < bands; ++b)
          w.values.push_back(src->getPixel(unsigned(sx), unsigned(sy), b));
        writes.push_back(std::move(w));
      }
    }
  }
  for (const Write& w : writes) {
    for (unsigned b = 0; b < bands; ++b) dst->setPixel(w.x, w.y, b, w.values[b]);
  }
  return 0;
}

}  // namespace zel_software

#endif
