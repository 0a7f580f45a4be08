// The host's blends and painting, from what they mean: in double, rounded to nearest with
// halves away from zero.
#ifndef ZEL_SOFTWARE_BLEND_H
#define ZEL_SOFTWARE_BLEND_H

#include <cmath>
#include <vector>

#include "zel_software.h"

namespace zel_software {

inline long long round_half_away(double value) {
  return static_cast<long long>(value < 0 ? value - 0.5 : value + 0.5);
}

// dst = src1 + a (src2 - src1) in every band, a = alpha / 255 for an 8-bit alpha image, or
// alpha / 65535 for a 16-bit one read as its raw unsigned sample. The alpha image (src3)
// has one band; the others the same band count.
template <int PixelType, int AlphaType>
int blend(ZelOp* op) {
  ZelImage* dst = op->getDst();
  ZelImage* src1 = op->getSrc1();
  ZelImage* src2 = op->getSrc2();
  ZelImage* alpha = op->getSrc3();
  if (!dst || !src1 || !src2 || !alpha) return 2;
  for (ZelImage* image : {dst, src1, src2}) {
    if (image->getDataType() != PixelType || image->getBands() != dst->getBands()) return 2;
  }
  if (alpha->getDataType() != AlphaType || alpha->getBands() != 1) return 2;
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, src2, alpha);
  if (!list) return 2;
  int o[4][2];
  ZelImage* const images[4] = {dst, src1, src2, alpha};
  for (int i = 0; i < 4; ++i) images[i]->getOrigin(&o[i][0], &o[i][1]);
  const double full = AlphaType == ZEL_UINT8 ? 255.0 : 65535.0;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        const int raw = alpha->getPixel(column + o[3][0], row + o[3][1], 0);
        const double a = double(AlphaType == ZEL_UINT8 ? raw : raw & 0xFFFF) / full;
        for (unsigned band = 0; band < dst->getBands(); ++band) {
          const double p = src1->getPixel(column + o[1][0], row + o[1][1], band);
          const double q = src2->getPixel(column + o[2][0], row + o[2][1], band);
          dst->setPixel(column + o[0][0], row + o[0][1], band,
                        int(saturate(PixelType, round_half_away(p + a * (q - p)))));
        }
      }
    }
  }
  list->destroy();
  roi->destroy();
  return 0;
}

// Paints the brush (pointer 2, a ZelKernel of weights) in the colour (pointer 1, a float
// a band) at each of the n points (long 3; pointer 4, x and y floats a point), in order, on
// a canvas that starts as the source: the brush's key lands on the point rounded half away
// from zero, and under weight w every band p becomes round(p + w (c - p)), c the colour
// rounded and clamped to 0..255. The destination receives the canvas where the regions of
// source and destination meet.
inline int paint8(ZelOp* op) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  const auto* colour = static_cast<const float*>(op->getPtrParam(1));
  const auto* brush = static_cast<const ZelKernel*>(op->getPtrParam(2));
  const long n = op->getLongParam(3);
  const auto* points = static_cast<const float*>(op->getPtrParam(4));
  if (!src || !dst || !colour || !brush || n < 0 || (n > 0 && !points)) return 2;
  if (src->getDataType() != ZEL_UINT8 || dst->getDataType() != ZEL_UINT8 ||
      src->getBands() != dst->getBands()) {
    return 2;
  }
  const unsigned bands = dst->getBands();
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (!list) return 2;
  int sx, sy, dx, dy;
  src->getOrigin(&sx, &sy);
  dst->getOrigin(&dx, &dy);
  // The canvas, in operation space, over the area's bounding rectangle.
  int bx = 0, by = 0, bw = 0, bh = 0;
  roi->bounds(&bx, &by, &bw, &bh);
  std::vector<int> canvas(size_t(bw) * size_t(bh) * bands);
  std::vector<char> inside(size_t(bw) * size_t(bh));
  const auto at = [&](long long X, long long Y) { return size_t((Y - by) * bw + (X - bx)); };
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        inside[at(column, row)] = 1;
        for (unsigned b = 0; b < bands; ++b) {
          canvas[at(column, row) * bands + b] = src->getPixel(column + sx, row + sy, b);
        }
      }
    }
  }
  double c[4];
  for (unsigned b = 0; b < bands; ++b) {
    c[b] = double(std::clamp<long long>(round_half_away(double(colour[b])), 0, 255));
  }
  const float* weights = brush->getValue();
  for (long i = 0; i < n; ++i) {
    const double px = double(points[2 * i]), py = double(points[2 * i + 1]);
    if (!std::isfinite(px) || !std::isfinite(py) || std::fabs(px) > 1e15 ||
        std::fabs(py) > 1e15) {
      continue;  // lands nowhere on any image
    }
    const long long left = round_half_away(px) - brush->getKeyX();
    const long long top = round_half_away(py) - brush->getKeyY();
    for (int v = 0; v < brush->getHeight(); ++v) {
      for (int u = 0; u < brush->getWidth(); ++u) {
        const long long X = left + u, Y = top + v;
        if (X < bx || Y < by || X >= bx + bw || Y >= by + bh || !inside[at(X, Y)]) continue;
        const double w = double(weights[v * brush->getWidth() + u]);
        for (unsigned b = 0; b < bands; ++b) {
          int& p = canvas[at(X, Y) * bands + b];
          p = int(std::clamp<long long>(round_half_away(p + w * (c[b] - p)), 0, 255));
        }
      }
    }
  }
  list->destroy();
  list = roi->getRectList();
  while (list && list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        for (unsigned b = 0; b < bands; ++b) {
          dst->setPixel(column + dx, row + dy, b, canvas[at(column, row) * bands + b]);
        }
      }
    }
  }
  if (list) list->destroy();
  roi->destroy();
  return list ? 0 : 2;
}

}  // namespace zel_software

#endif
