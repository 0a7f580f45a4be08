// The host's geometric operations, written from what each means: the destination pixel at
// operation-space (X, Y) takes the source pixel the operation maps there, wherever that
// pixel lies in the source's region; every other destination pixel keeps its value.
#ifndef ZEL_SOFTWARE_GEOMETRY_H
#define ZEL_SOFTWARE_GEOMETRY_H

#include <algorithm>
#include <climits>
#include <cmath>
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

// Writes, at every operation-space point (X, Y) of the destination's region, the source
// pixel `source(X, Y, &x, &y)` names (image coordinates) when that pixel lies in the source's
// region; the others keep their values. The source is read whole before the first write (it
// may be the destination). 2 when an image or a region is missing.
template <typename Source>
int remap(ZelImage* src, ZelImage* dst, int data_type, Source source) {
  if (src == nullptr || dst == nullptr || src->getDataType() != data_type ||
      dst->getDataType() != data_type || src->getBands() != dst->getBands()) {
    return 2;
  }
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = dst->getImageSpaceRoi();
  if (src_region == nullptr || dst_region == nullptr) return 2;
  int sox, soy, dox, doy;
  src->getOrigin(&sox, &soy);
  dst->getOrigin(&dox, &doy);
  const unsigned bands = src->getBands();
  struct Write {
    unsigned x, y;
    std::vector<int> values;
  };
  std::vector<Write> writes;
  for (const ZelRoi::Rect& r : dst_region->rects()) {
    for (long long Y = r.y; Y < r.y + (long long)r.height; ++Y) {
      for (long long X = r.x; X < r.x + (long long)r.width; ++X) {
        long long sx, sy;
        source(X, Y, &sx, &sy);
        if (sx - sox < INT_MIN || sx - sox > INT_MAX || sy - soy < INT_MIN ||
            sy - soy > INT_MAX || !src_region->contains(int(sx - sox), int(sy - soy))) {
          continue;
        }
        Write w{unsigned(X + dox), unsigned(Y + doy), {}};
        for (unsigned b = 0; b < bands; ++b) {
          w.values.push_back(src->getPixel(unsigned(sx), unsigned(sy), b));
        }
        writes.push_back(std::move(w));
      }
    }
  }
  for (const Write& w : writes) {
    for (unsigned b = 0; b < bands; ++b) dst->setPixel(w.x, w.y, b, w.values[b]);
  }
  return 0;
}

// Translation to the nearest pixel: (X, Y) takes the source's (X - dx, Y - dy), the offsets
// floor(t + 0.5) (half a pixel moves a whole one).
template <int Type>
int translate_nearest(ZelOp* op) {
  const double tx = op->getFloatParam(1), ty = op->getFloatParam(2);
  if (!std::isfinite(tx) || !std::isfinite(ty)) return 2;
  const long long dx = (long long)std::floor(tx + 0.5), dy = (long long)std::floor(ty + 0.5);
  ZelImage* src = op->getSrc1();
  int sox = 0, soy = 0;
  if (src != nullptr) src->getOrigin(&sox, &soy);
  return remap(src, op->getDst(), Type,
               [&](long long X, long long Y, long long* x, long long* y) {
                 *x = X - dx + sox;
                 *y = Y - dy + soy;
               });
}

// Interpolation at a source point (px, py), image coordinates naming pixels' top-left
// corners, of band b: the taps of floor(p) - 1 .. floor(p) + 2 (bicubic) or floor(p) ..
// floor(p) + 1 (bilinear) with exact weights in double, a tap outside the image repeating
// its edge; rounded half up and limited to the pixel type.
enum class Interpolation { bilinear, bicubic };

inline double catmull_rom(double x) {  // B = 0, C = 1/2
  x = std::fabs(x);
  if (x < 1) return 1.5 * x * x * x - 2.5 * x * x + 1;
  if (x < 2) return -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2;
  return 0;
}

inline int interpolate(ZelImage* src, Interpolation kind, double px, double py, unsigned b,
                       int data_type) {
  const double fx0 = std::floor(px), fy0 = std::floor(py);
  const double fx = px - fx0, fy = py - fy0;
  const long long x0 = (long long)fx0, y0 = (long long)fy0;
  const long long W = src->getWidth(), H = src->getHeight();
  const int first = kind == Interpolation::bicubic ? -1 : 0;
  const int last = kind == Interpolation::bicubic ? 2 : 1;
  const auto weight = [kind](int k, double f) {
    return kind == Interpolation::bicubic ? catmull_rom(k - f) : (k == 0 ? 1 - f : f);
  };
  double sum = 0;
  for (int j = first; j <= last; ++j) {
    const unsigned y = unsigned(std::clamp(y0 + j, 0LL, H - 1));
    for (int i = first; i <= last; ++i) {
      const unsigned x = unsigned(std::clamp(x0 + i, 0LL, W - 1));
      sum += weight(i, fx) * weight(j, fy) * src->getPixel(x, y, b);
    }
  }
  return int(saturate(data_type, (long long)std::floor(std::clamp(sum, -1e6, 1e6) + 0.5)));
}

// Every point (X, Y) of the destination's region whose source point P = at(X, Y) (operation
// space) lies in the source's region takes sample(source image, P in source pixels, band),
// pixel by pixel. The source is read whole before the first write (it may be the
// destination).
template <typename At, typename Sample>
int resample(ZelImage* src, ZelImage* dst, int data_type, At at, Sample sample) {
  if (src == nullptr || dst == nullptr || src->getDataType() != data_type ||
      dst->getDataType() != data_type || src->getBands() != dst->getBands()) {
    return 2;
  }
  ZelRoi* src_region = src->getImageSpaceRoi();
  ZelRoi* dst_region = dst->getImageSpaceRoi();
  if (src_region == nullptr || dst_region == nullptr) return 2;
  int sox, soy, dox, doy;
  src->getOrigin(&sox, &soy);
  dst->getOrigin(&dox, &doy);
  const unsigned bands = src->getBands();
  struct Write {
    unsigned x, y;
    std::vector<int> values;
  };
  std::vector<Write> writes;
  for (const ZelRoi::Rect& r : dst_region->rects()) {
    for (long long Y = r.y; Y < r.y + (long long)r.height; ++Y) {
      for (long long X = r.x; X < r.x + (long long)r.width; ++X) {
        double px, py;
        at(double(X), double(Y), &px, &py);
        const double cx = std::floor(px), cy = std::floor(py);
        if (cx < INT_MIN || cx > INT_MAX || cy < INT_MIN || cy > INT_MAX ||
            !src_region->contains(int(cx), int(cy))) {
          continue;
        }
        Write w{unsigned(X + dox), unsigned(Y + doy), {}};
        for (unsigned b = 0; b < bands; ++b) w.values.push_back(sample(px + sox, py + soy, b));
        writes.push_back(std::move(w));
      }
    }
  }
  for (const Write& w : writes) {
    for (unsigned b = 0; b < bands; ++b) dst->setPixel(w.x, w.y, b, w.values[b]);
  }
  return 0;
}

// Translation with interpolation: (X, Y) takes the source at (X - tx, Y - ty), written where
// that point lies in the source's region.
template <int Type, Interpolation Kind>
int translate_interpolated(ZelOp* op) {
  const double tx = op->getFloatParam(1), ty = op->getFloatParam(2);
  if (!std::isfinite(tx) || !std::isfinite(ty)) return 2;
  ZelImage* src = op->getSrc1();
  return resample(
      src, op->getDst(), Type,
      [&](double X, double Y, double* px, double* py) { *px = X - tx, *py = Y - ty; },
      [&](double x, double y, unsigned b) { return interpolate(src, Kind, x, y, b, Type); });
}

// The source point a rotation by theta (counter-clockwise on screen, y downwards) about
// operation-space (0, 0) samples for destination point (X, Y): (X, Y) turned back.
inline void rotation_source(double theta, double X, double Y, double* px, double* py) {
  const double c = std::cos(theta), s = std::sin(theta);
  *px = X * c - Y * s;
  *py = X * s + Y * c;
}

// Rotation to the nearest pixel: (X, Y) takes the source pixel floor(P).
template <int Type>
int rotate_nearest(ZelOp* op) {
  const double theta = op->getFloatParam(1);
  ZelImage* src = op->getSrc1();
  if (!std::isfinite(theta) || src == nullptr) return 2;
  int sox, soy;
  src->getOrigin(&sox, &soy);
  return remap(src, op->getDst(), Type,
               [&](long long X, long long Y, long long* x, long long* y) {
                 double px, py;
                 rotation_source(theta, double(X), double(Y), &px, &py);
                 *x = (long long)std::floor(std::clamp(px, -4e18, 4e18)) + sox;
                 *y = (long long)std::floor(std::clamp(py, -4e18, 4e18)) + soy;
               });
}

// Scaling about operation-space (0, 0): (X, Y) samples the source at (X / qx, Y / qy), to
// the nearest pixel (floor) or interpolated; factors must be finite and positive.
enum class Sampling { nearest, bilinear, bicubic };

template <int Type, Sampling Kind>
int scale(ZelOp* op) {
  const double qx = op->getFloatParam(1), qy = op->getFloatParam(2);
  if (!(std::isfinite(qx) && qx > 0 && std::isfinite(qy) && qy > 0)) return 2;
  ZelImage* src = op->getSrc1();
  return resample(
      src, op->getDst(), Type,
      [&](double X, double Y, double* px, double* py) { *px = X / qx, *py = Y / qy; },
      [&](double x, double y, unsigned b) {
        if (Kind == Sampling::nearest) {
          return src->getPixel(unsigned(std::floor(x)), unsigned(std::floor(y)), b);
        }
        return interpolate(
            src, Kind == Sampling::bilinear ? Interpolation::bilinear : Interpolation::bicubic,
            x, y, b, Type);
      });
}

// The whole source transposed into the quadrant at (0, 0): its origin cancels.
template <int Type>
int transpose(ZelOp* op) {
  ZelImage* src = op->getSrc1();
  const long t = op->getLongParam(1);
  if (src == nullptr || t < 0 || t > 6) return 2;
  const long long W = src->getWidth(), H = src->getHeight();
  return remap(src, op->getDst(), Type,
               [&](long long X, long long Y, long long* x, long long* y) {
                 transpose_source(t, W, H, X, Y, x, y);
               });
}

}  // namespace zel_software

#endif
