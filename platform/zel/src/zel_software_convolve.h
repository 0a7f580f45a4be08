// The host's convolutions, from what they mean: D(x, y) = sum of K[v][u] S(x + kx - u,
// y + ky - v) over the kernel (kx, ky its key point), per band, in operation space, in
// double, rounded to nearest (halves away from zero) and saturated. A pixel whose
// neighbourhood leaves the source is, by the edge condition, left as it is, set to 0, or
// computed with the source coordinates clamped into the source.
#ifndef ZEL_SOFTWARE_CONVOLVE_H
#define ZEL_SOFTWARE_CONVOLVE_H

#include <cmath>
#include <vector>

#include "zel_software.h"

namespace zel_software {

// One band of the source's extent (or of a result over it), row by row; a pixel either
// holds a value or was left unwritten.
struct ConvolvePlane {
  int width = 0, height = 0;
  std::vector<double> values;
  std::vector<char> written;
};

inline long long round_saturated(int data_type, double value) {
  if (std::isnan(value)) return 0;
  const double r = value < 0 ? value - 0.5 : value + 0.5;
  return saturate(data_type,
                  static_cast<long long>(std::clamp(r, double(lowest(data_type)) - 1,
                                                    double(highest(data_type)) + 1)));
}

// The kernel over the plane under the edge condition, each result rounded and saturated to
// `data_type`. A result that would read an unwritten pixel is left unwritten too.
inline ConvolvePlane convolve_plane(const ConvolvePlane& in, const ZelKernel& kernel, long edge,
                                    int data_type) {
  ConvolvePlane out{in.width, in.height, std::vector<double>(in.values.size(), 0.0),
                    std::vector<char>(in.values.size(), 0)};
  const long long kw = kernel.getWidth(), kh = kernel.getHeight();
  const long long kx = kernel.getKeyX(), ky = kernel.getKeyY();
  const float* k = kernel.getValue();
  for (long long y = 0; y < in.height; ++y) {
    for (long long x = 0; x < in.width; ++x) {
      const size_t at = size_t(y * in.width + x);
      // The neighbourhood spans columns x + kx - (kw - 1) .. x + kx, rows likewise.
      const bool inside = x + kx - (kw - 1) >= 0 && x + kx < in.width &&
                          y + ky - (kh - 1) >= 0 && y + ky < in.height;
      if (!inside && edge == ZEL_EDGE_NO_WRITE) continue;
      if (!inside && edge == ZEL_EDGE_ZERO) {
        out.written[at] = 1;
        continue;
      }
      double sum = 0;
      bool complete = true;
      for (long long v = 0; v < kh && complete; ++v) {
        const long long sy = std::clamp<long long>(y + ky - v, 0, in.height - 1);
        for (long long u = 0; u < kw; ++u) {
          const long long sx = std::clamp<long long>(x + kx - u, 0, in.width - 1);
          const size_t from = size_t(sy * in.width + sx);
          if (!in.written[from]) {
            complete = false;
            break;
          }
          sum += double(k[v * kw + u]) * in.values[from];
        }
      }
      if (!complete) continue;
      out.values[at] = double(round_saturated(data_type, sum));
      out.written[at] = 1;
    }
  }
  return out;
}

// Band `band` of the source's whole extent.
inline ConvolvePlane source_plane(const ZelImage* src, unsigned band) {
  ConvolvePlane p{int(src->getWidth()), int(src->getHeight()), {}, {}};
  p.values.reserve(size_t(p.width) * size_t(p.height));
  for (int y = 0; y < p.height; ++y) {
    for (int x = 0; x < p.width; ++x) p.values.push_back(src->getPixel(x, y, band));
  }
  p.written.assign(p.values.size(), 1);
  return p;
}

// The kernels in order (the first reads the source), each with its edge condition; the
// destination receives the last result where the regions of source and destination meet
// and a value was written.
inline int convolve_in_turn(ZelOp* op, ZelImage* src, int data_type,
                            std::initializer_list<std::pair<const ZelKernel*, long>> steps) {
  ZelImage* dst = op->getDst();
  if (!src || !dst || src->getDataType() != data_type || dst->getDataType() != data_type ||
      src->getBands() != dst->getBands()) {
    return 2;
  }
  for (const auto& step : steps) {
    if (!step.first || step.second < ZEL_EDGE_NO_WRITE || step.second > ZEL_EDGE_EXTEND) {
      return 2;
    }
  }
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (!list) return 2;
  int sx, sy, dx, dy;
  src->getOrigin(&sx, &sy);
  dst->getOrigin(&dx, &dy);
  std::vector<ConvolvePlane> results;
  for (unsigned b = 0; b < dst->getBands(); ++b) {
    ConvolvePlane p = source_plane(src, b);
    for (const auto& step : steps) p = convolve_plane(p, *step.first, step.second, data_type);
    results.push_back(std::move(p));
  }
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        // Inside the list, operation-space (column, row) lies inside the source.
        const size_t at = size_t(row + sy) * src->getWidth() + size_t(column + sx);
        for (unsigned b = 0; b < dst->getBands(); ++b) {
          if (!results[b].written[at]) continue;
          dst->setPixel(column + dx, row + dy, b, int(results[b].values[at]));
        }
      }
    }
  }
  list->destroy();
  roi->destroy();
  return 0;
}

// convolve8 (the kernel an object) and convolve16 (the kernel a pointer): the kernel of
// parameter 1 with the edge condition of long parameter 2.
template <int Type>
int convolve(ZelOp* op) {
  const ZelKernel* kernel = Type == ZEL_UINT8
                                ? static_cast<const ZelKernel*>(op->getObjParam(1))
                                : static_cast<const ZelKernel*>(op->getPtrParam(1));
  return convolve_in_turn(op, op->getSrc1(), Type, {{kernel, op->getLongParam(2)}});
}

// convolve8/convolve8: the inner operation's kernel over its source, through an 8-bit
// intermediate (rounded and saturated), then the outer operation's kernel. A pixel that
// would read an intermediate value the inner one left unwritten stays as it is, so under
// condition 0 the whole border of both kernels is left unwritten.
inline int convolve_pair8(ZelOp* op) {
  ZelOp* inner = op->getOp1();
  if (!inner) return 2;
  return convolve_in_turn(
      op, inner->getSrc1(), ZEL_UINT8,
      {{static_cast<const ZelKernel*>(inner->getObjParam(1)), inner->getLongParam(2)},
       {static_cast<const ZelKernel*>(op->getObjParam(1)), op->getLongParam(2)}});
}

}  // namespace zel_software

#endif
