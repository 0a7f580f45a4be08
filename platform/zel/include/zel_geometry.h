// How far a device's rotation may stand from the host's: a question of position, not of
// value. Shared by the differential tests and the demonstration.
#ifndef ZEL_GEOMETRY_H
#define ZEL_GEOMETRY_H

#include <algorithm>
#include <cmath>
#include <vector>

#include "zel.h"

// The pixels of `dst` (every band, row by row, as `before` holds them from before the
// rotation by `angle` radians of `src`) that no nearest-neighbour rotation may hold: each
// pixel of the destination's region must hold the source pixel floor(P), P the point turned
// back, or, where P lies within (W + H + 16) / 65536 of a pixel edge (W + H the larger sum of
// the two images' sides), the pixel across that edge, or, where one of those lies outside
// the source's region, its old value; every other pixel must keep its value. Returns how
// many do not, and the first one's place in *x, *y.
inline long zel_rotation_misplaced(ZelImage* src, ZelImage* dst, const std::vector<int>& before,
                                   float angle, unsigned* first_x = nullptr,
                                   unsigned* first_y = nullptr) {
  const unsigned bands = dst->getBands();
  const double eps =
      double(std::max(src->getWidth() + src->getHeight(), dst->getWidth() + dst->getHeight()) +
             16) /
      65536;
  int sox, soy, dox, doy;
  src->getOrigin(&sox, &soy);
  dst->getOrigin(&dox, &doy);
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = dst->getImageSpaceRoi();
  const double c = std::cos(double(angle)), s = std::sin(double(angle));
  long misplaced = 0;
  for (unsigned y = 0; y < dst->getHeight(); ++y) {
    for (unsigned x = 0; x < dst->getWidth(); ++x) {
      std::vector<int> got, old;
      for (unsigned b = 0; b < bands; ++b) {
        got.push_back(dst->getPixel(x, y, b));
        old.push_back(before[(size_t(y) * dst->getWidth() + x) * bands + b]);
      }
      const int X = int(x) - dox, Y = int(y) - doy;
      std::vector<std::vector<int>> allowed;
      if (!dst_region || !dst_region->contains(X, Y)) {
        allowed.push_back(old);
      } else {
        const double px = X * c - Y * s, py = X * s + Y * c;
        const double fx = std::floor(px), fy = std::floor(py);
        std::vector<double> xs{fx}, ys{fy};
        if (px - fx < eps) xs.push_back(fx - 1);
        if (fx + 1 - px < eps) xs.push_back(fx + 1);
        if (py - fy < eps) ys.push_back(fy - 1);
        if (fy + 1 - py < eps) ys.push_back(fy + 1);
        for (double cx : xs) {
          for (double cy : ys) {
            if (std::fabs(cx) > 1e9 || std::fabs(cy) > 1e9 || !src_region ||
                !src_region->contains(int(cx), int(cy))) {
              allowed.push_back(old);
              continue;
            }
            std::vector<int> p;
            for (unsigned b = 0; b < bands; ++b) {
              p.push_back(src->getPixel(unsigned(int(cx) + sox), unsigned(int(cy) + soy), b));
            }
            allowed.push_back(p);
          }
        }
      }
      if (std::find(allowed.begin(), allowed.end(), got) == allowed.end()) {
        if (misplaced++ == 0 && first_x && first_y) *first_x = x, *first_y = y;
      }
    }
  }
  return misplaced;
}

#endif
