// The host's copies, fills, rescale, band combine, thresholds and extrema, written from what
// each operation means, pixel by pixel, through getPixel and setPixel.
#ifndef ZEL_SOFTWARE_COPY_H
#define ZEL_SOFTWARE_COPY_H

#include <algorithm>
#include <climits>
#include <cmath>

#include "zel_software.h"

namespace zel_software {

// Round to nearest (halves up), saturated to the pixel type; NaN gives 0.
inline long long round_to_pixel(int data_type, double value) {
  if (std::isnan(value)) return 0;
  const double limited =
      std::clamp(value, double(lowest(data_type)) - 1.0, double(highest(data_type)) + 1.0);
  return saturate(data_type, static_cast<long long>(std::floor(limited + 0.5)));
}

inline bool is(const ZelImage* image, int data_type) {
  return image != nullptr && image->getDataType() == data_type;
}

// Calls visit(dst x, dst y, src x, src y) for every operation-space point where the regions
// of the two images meet: point (x, y) is pixel (x + ox, y + oy) of an image with origin
// (ox, oy).
template <typename Visit>
inline int each_point(ZelImage* dst, ZelImage* src, Visit visit) {
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (!list) return 2;
  int dx, dy, sx, sy;
  dst->getOrigin(&dx, &dy);
  src->getOrigin(&sx, &sy);
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        visit(unsigned(column + dx), unsigned(row + dy), unsigned(column + sx),
              unsigned(row + sy));
      }
    }
  }
  list->destroy();
  roi->destroy();
  return 0;
}

// Calls visit(x, y) for every pixel of the image's own region.
template <typename Visit>
inline int each_own_pixel(ZelImage* image, Visit visit) {
  ZelRoi* region = image->getImageSpaceRoi();
  if (!region) return 2;
  ZelRectList* list = region->getRectList();
  if (!list) return 2;
  int ox, oy;
  image->getOrigin(&ox, &oy);
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        visit(unsigned(column + ox), unsigned(row + oy));
      }
    }
  }
  list->destroy();
  return 0;
}

// One row of `width` pixels of one band: out = map(band, in), saturated to the destination's
// type, elements `step` apart.
template <int DstType, typename S, typename D, typename Map>
inline void map_row(D* out, ptrdiff_t out_step, const S* in, ptrdiff_t in_step, int width,
                    unsigned band, Map map) {
  for (int i = 0; i < width; ++i) {
    out[i * out_step] = D(saturate(DstType, map(band, in[i * in_step])));
  }
}

// dst band b = map(b, src band b), saturated to the destination's type, wherever the two
// regions meet. Both images have the same band count (`bands` when it is not 0). Rows are
// walked in host memory, pixel after pixel and band after band within a pixel.
template <int SrcType, int DstType, typename Map>
inline int map_bands(ZelOp* op, unsigned bands, Map map) {
  using S = Element<SrcType>;
  using D = Element<DstType>;
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!is(src, SrcType) || !is(dst, DstType) || src->getBands() != dst->getBands()) return 2;
  if (bands != 0 && src->getBands() != bands) return 2;
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (!list) return 2;
  int dx, dy, sx, sy;
  dst->getOrigin(&dx, &dy);
  src->getOrigin(&sx, &sy);
  const unsigned n = dst->getBands();
  Band<D> d[4];
  Band<S> a[4];
  for (unsigned b = 0; b < n; ++b) {
    d[b] = band_of<D>(dst, b);
    a[b] = band_of<S>(src, b);
  }
  bool wrote = false;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    wrote = wrote || (width > 0 && height > 0);
    for (int row = y; row < y + height; ++row) {
      D* out = d[0].at(x + dx, row + dy);
      const S* in = a[0].at(x + sx, row + sy);
      if (n == 1 && d[0].step == 1 && a[0].step == 1) {
        map_row<DstType>(out, 1, in, 1, width, 0, map);  // contiguous: vectorised
      } else if (n == 1) {
        map_row<DstType>(out, d[0].step, in, a[0].step, width, 0, map);
      } else {
        for (int column = x; column < x + width; ++column) {
          for (unsigned b = 0; b < n; ++b) {
            const S p = *a[b].at(column + sx, row + sy);
            *d[b].at(column + dx, row + dy) = D(saturate(DstType, map(b, p)));
          }
        }
      }
    }
  }
  if (wrote) dst->markChanged();
  list->destroy();
  roi->destroy();
  return 0;
}

template <int DataType>
inline int copy(ZelOp* op) {
  return map_bands<DataType, DataType>(op, 0, [](unsigned, long long p) { return p; });
}

// Band b becomes round(scale[b] * p + offset[b]).
template <int DataType>
inline int rescale(ZelOp* op) {
  const auto* scales = static_cast<const float*>(op->getPtrParam(1));
  const auto* offsets = static_cast<const float*>(op->getPtrParam(2));
  if (!scales || !offsets) return 2;
  return map_bands<DataType, DataType>(op, 0, [&](unsigned b, long long p) {
    return round_to_pixel(DataType, double(scales[b]) * double(p) + double(offsets[b]));
  });
}

// A pixel p with lo <= p <= hi takes the map value, others keep theirs; lo and hi are the
// thresholds plus 0.999, truncated, so a fractional low threshold excludes its floor and a
// fractional high one includes its ceiling.
template <int DataType>
inline int threshold(ZelOp* op) {
  const auto* low = static_cast<const float*>(op->getPtrParam(1));
  const auto* high = static_cast<const float*>(op->getPtrParam(2));
  const auto* map = static_cast<const float*>(op->getPtrParam(3));
  if (!low || !high || !map) return 2;
  // Bounds held to one beyond the pixel range and the value saturated at once: every pixel
  // compares and is written as before, and the loop stays within the pixel type.
  const int below = int(lowest(DataType)) - 1, above = int(highest(DataType)) + 1;
  const int lo = std::clamp(int(truncate_to_int(double(*low) + 0.999)), below, above);
  const int hi = std::clamp(int(truncate_to_int(double(*high) + 0.999)), below, above);
  const int value = saturate(DataType, int(truncate_to_int(*map)));
  return map_bands<DataType, DataType>(
      op, 0, [lo, hi, value](unsigned, int p) { return (lo <= p) & (p <= hi) ? value : p; });
}

// Calls visit(band, row) for every row of every rectangle of the image's own region, band
// by band: `row` points at the band's element of the row's first pixel, `width` pixels,
// elements band.step apart.
template <typename T, typename Visit>
inline int each_own_row(ZelImage* image, Visit visit) {
  ZelRoi* region = image->getImageSpaceRoi();
  if (!region) return 2;
  ZelRectList* list = region->getRectList();
  if (!list) return 2;
  int ox, oy;
  image->getOrigin(&ox, &oy);
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (unsigned b = 0; b < image->getBands(); ++b) {
        const Band<T> band = band_of<T>(image, b);
        visit(b, band.at(x + ox, row + oy), band.step, width);
      }
    }
  }
  list->destroy();
  return 0;
}

// Per band, the largest pixel into pointer 1 and the smallest into pointer 2 (either may be
// null) over the first source's own region; an empty region gives the lowest value as the
// maximum and the highest as the minimum.
template <int DataType>
inline int extrema(ZelOp* op) {
  using T = Element<DataType>;
  ZelImage* image = op->getSrc1();
  if (!is(image, DataType)) return 2;
  auto* maxima = static_cast<float*>(op->getPtrParam(1));
  auto* minima = static_cast<float*>(op->getPtrParam(2));
  const unsigned bands = image->getBands();
  int most[4], least[4];
  std::fill(most, most + 4, int(lowest(DataType)));
  std::fill(least, least + 4, int(highest(DataType)));
  const int status =
      each_own_row<T>(image, [&](unsigned b, const T* row, ptrdiff_t step, int width) {
        int hi = most[b], lo = least[b];
        if (step == 1) {  // contiguous: vectorised
          for (int i = 0; i < width; ++i)
            hi = std::max(hi, int(row[i])), lo = std::min(lo, int(row[i]));
        } else {
          for (int i = 0; i < width; ++i) {
            hi = std::max(hi, int(row[i * step]));
            lo = std::min(lo, int(row[i * step]));
          }
        }
        most[b] = hi, least[b] = lo;
      });
  if (status != 0) return status;
  for (unsigned b = 0; b < bands; ++b) {
    if (maxima) maxima[b] = float(most[b]);
    if (minima) minima[b] = float(least[b]);
  }
  return 0;
}

// Every band of the destination's own region takes its colour: the band's float plus 0.5,
// truncated, limited to 0..255.
inline int setvalue8(ZelOp* op) {
  ZelImage* dst = op->getDst();
  const auto* values = static_cast<const float*>(op->getPtrParam(1));
  if (!is(dst, ZEL_UINT8) || !values) return 2;
  uint8_t colour[4] = {};
  for (unsigned b = 0; b < dst->getBands(); ++b) {
    colour[b] = uint8_t(saturate(ZEL_UINT8, truncate_to_int(double(values[b]) + 0.5)));
  }
  bool wrote = false;
  const int status =
      each_own_row<uint8_t>(dst, [&](unsigned b, uint8_t* row, ptrdiff_t step, int width) {
        if (step == 1) {
          std::fill(row, row + width, colour[b]);
        } else {
          for (int i = 0; i < width; ++i) row[i * step] = colour[b];
        }
        wrote = wrote || width > 0;
      });
  if (wrote) dst->markChanged();
  return status;
}

// 8-bit values become the same 16-bit values (3 bands).
inline int convert8to16(ZelOp* op) {
  return map_bands<ZEL_UINT8, ZEL_INT16>(op, 3, [](unsigned, long long p) { return p; });
}

// Destination band j = round(m[j][0] * b0 + m[j][1] * b1 + m[j][2] * b2 + m[j][3]), from a
// kernel of 3 rows of 4 values (3 bands).
inline int band_combine16(ZelOp* op) {
  const auto* kernel = static_cast<const ZelKernel*>(op->getObjParam(1));
  if (!kernel || kernel->getWidth() != 4 || kernel->getHeight() != 3) return 2;
  const float* m = kernel->getValue();
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (!is(src, ZEL_INT16) || !is(dst, ZEL_INT16)) return 2;
  if (src->getBands() != 3 || dst->getBands() != 3) return 2;
  return each_point(dst, src, [&](unsigned x, unsigned y, unsigned sx, unsigned sy) {
    double in[3];
    for (unsigned k = 0; k < 3; ++k) in[k] = src->getPixel(sx, sy, k);
    for (unsigned j = 0; j < 3; ++j) {
      const float* row = m + 4 * j;
      const double sum = double(row[0]) * in[0] + double(row[1]) * in[1] +
                         double(row[2]) * in[2] + double(row[3]);
      dst->setPixel(x, y, j, int(round_to_pixel(ZEL_INT16, sum)));
    }
  });
}

}  // namespace zel_software

#endif
