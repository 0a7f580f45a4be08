// The host's constant, bitwise and scaled operations, written from what each operation
// means, pixel by pixel, through getPixel and setPixel:
//
// - add, subtract and subtract from a constant: the band's float constant truncated toward
//   zero to an integer; the result saturated to 0..255 or -32768..32767.
// - multiply and divide by a constant: the exact product or quotient rounded to nearest
//   (halves away from zero), saturated. A zero pixel stays zero whatever the factor or
//   divisor; any other pixel divided by 0 (or -0) goes to the limit of its sign.
// - and, or, exclusive or with a constant: the band's unsigned constant, above 255 (8-bit)
//   or 32767 (16-bit) taken as that limit and written back into the parameter array.
// - and, or, exclusive or of two images, and not: on the pixel's bits (16-bit pixels on
//   their 16 bits, read back as signed values).
//
// A NaN constant has no meaning either: refused. A missing parameter array is refused.
#ifndef ZEL_SOFTWARE_CONSTANT_H
#define ZEL_SOFTWARE_CONSTANT_H

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include "zel_software.h"

namespace zel_software {

// One row of `width` pixels of one band: out = f(a, b, band), elements `step` apart (b is 0
// for a one-source operation: in2 is nullptr).
template <typename T, typename F>
inline void pointwise_row(T* out, ptrdiff_t out_step, const T* in1, ptrdiff_t step1,
                          const T* in2, ptrdiff_t step2, int width, unsigned band, F f) {
  if (in2) {
    for (int i = 0; i < width; ++i)
      out[i * out_step] = T(f(in1[i * step1], in2[i * step2], band));
  } else {
    for (int i = 0; i < width; ++i) out[i * out_step] = T(f(in1[i * step1], 0, band));
  }
}

// dst = f(a, b, band) in every band of every point where the regions of the destination and
// the sources meet; a from src1, b from src2 (0 for a one-source operation). Point (x, y)
// is pixel (x + ox, y + oy) of an image with origin (ox, oy). Rows are walked in host
// memory, pixel after pixel and band after band within a pixel, the order of the pixels'
// own loops, so that images sharing pixels give what pixel-by-pixel access gives.
template <int Type, typename F>
inline int pointwise(ZelOp* op, int sources, F f) {
  using T = Element<Type>;
  ZelImage* dst = op->getDst();
  ZelImage* src1 = op->getSrc1();
  ZelImage* src2 = sources == 2 ? op->getSrc2() : nullptr;
  if (!dst || !src1 || (sources == 2 && !src2)) return 2;
  for (ZelImage* image : {dst, src1, src2}) {
    if (image && (image->getDataType() != Type || image->getBands() != dst->getBands())) {
      return 2;
    }
  }
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, src2, nullptr);
  if (!list) return 2;
  int dx, dy, ax, ay, bx = 0, by = 0;
  dst->getOrigin(&dx, &dy);
  src1->getOrigin(&ax, &ay);
  if (src2) src2->getOrigin(&bx, &by);
  const unsigned bands = dst->getBands();
  Band<T> d[4], a[4], b[4];
  for (unsigned band = 0; band < bands; ++band) {
    d[band] = band_of<T>(dst, band);
    a[band] = band_of<T>(src1, band);
    if (src2) b[band] = band_of<T>(src2, band);
  }
  bool wrote = false;
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    wrote = wrote || (width > 0 && height > 0);
    for (int row = y; row < y + height; ++row) {
      T* out = d[0].at(x + dx, row + dy);
      const T* in1 = a[0].at(x + ax, row + ay);
      const T* in2 = src2 ? b[0].at(x + bx, row + by) : nullptr;
      if (bands == 1 && d[0].step == 1 && a[0].step == 1 && (!src2 || b[0].step == 1)) {
        pointwise_row(out, 1, in1, 1, in2, 1, width, 0, f);  // contiguous: vectorised
      } else if (bands == 1) {
        pointwise_row(out, d[0].step, in1, a[0].step, in2, b[0].step, width, 0, f);
      } else {
        for (int column = x; column < x + width; ++column) {
          for (unsigned band = 0; band < bands; ++band) {
            const T p = *a[band].at(column + ax, row + ay);
            const T q = src2 ? *b[band].at(column + bx, row + by) : T(0);
            *d[band].at(column + dx, row + dy) = T(f(p, q, band));
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

// The operation's float constants, one per band of the destination; nullptr when missing
// or when one is NaN.
inline const float* float_constants(ZelOp* op) {
  const auto* c = static_cast<const float*>(op->getPtrParam(1));
  if (!c || !op->getDst()) return nullptr;
  for (unsigned band = 0; band < op->getDst()->getBands(); ++band) {
    if (std::isnan(c[band])) return nullptr;
  }
  return c;
}

// Rounded to nearest, halves away from zero, saturated to the pixel type.
inline long long rounded(int data_type, double value) {
  const double limited =
      std::clamp(value, double(lowest(data_type) - 1), double(highest(data_type) + 1));
  return saturate(data_type, static_cast<long long>(std::round(limited)));
}

inline long long add(long long pixel, long long c) {
  return pixel + c;
}
inline long long subtract(long long pixel, long long c) {
  return pixel - c;
}
inline long long subtract_from(long long pixel, long long c) {
  return c - pixel;
}

template <int Type, long long (*Combine)(long long, long long)>
inline int whole_constant(ZelOp* op) {
  const float* c = float_constants(op);
  if (!c) return 2;
  // The whole constant, held to -65536..65536: beyond that every pixel saturates alike, and
  // within it a pixel and the constant combine in an int.
  int whole[4] = {};
  for (unsigned band = 0; band < op->getDst()->getBands(); ++band) {
    whole[band] = int(std::clamp(truncate_to_int(c[band]), -65536LL, 65536LL));
  }
  return pointwise<Type>(op, 1, [whole](int a, int, unsigned band) {
    return saturate(Type, int(Combine(a, whole[band])));
  });
}

template <int Type>
inline int multiply_constant(ZelOp* op) {
  const float* c = float_constants(op);
  if (!c) return 2;
  return pointwise<Type>(op, 1, [c](long long a, long long, unsigned band) {
    return a == 0 ? 0 : rounded(Type, double(a) * double(c[band]));
  });
}

// Division in double precision: p / 0 is an infinity of p's sign (and 0 / 0 is taken as 0),
// which saturates.
template <int Type>
inline int divide_constant(ZelOp* op) {
  const float* c = float_constants(op);
  if (!c) return 2;
  return pointwise<Type>(op, 1, [c](long long a, long long, unsigned band) {
    return a == 0 ? 0 : rounded(Type, double(a) / double(c[band]));
  });
}

inline long long bit_and(long long a, long long b) {
  return a & b;
}
inline long long bit_or(long long a, long long b) {
  return a | b;
}
inline long long bit_xor(long long a, long long b) {
  return a ^ b;
}

// Bits of pixels read as signed 16-bit values combine into signed 16-bit values, so no
// operation here leaves the pixel range.
template <int Type, long long (*Combine)(long long, long long)>
inline int bitwise_images(ZelOp* op) {
  return pointwise<Type>(op, 2,
                         [](long long a, long long b, unsigned) { return Combine(a, b); });
}

template <int Type, long long (*Combine)(long long, long long)>
inline int bitwise_constant(ZelOp* op) {
  auto* c = static_cast<uint32_t*>(op->getPtrParam(1));
  if (!c || !op->getDst()) return 2;
  for (unsigned band = 0; band < op->getDst()->getBands(); ++band) {
    c[band] = std::min(c[band], uint32_t(highest(Type)));
  }
  return pointwise<Type>(
      op, 1, [c](long long a, long long, unsigned band) { return Combine(a, c[band]); });
}

template <int Type>
inline int bitwise_not(ZelOp* op) {
  return pointwise<Type>(
      op, 1, [](long long a, long long, unsigned) { return Type == ZEL_UINT8 ? 255 - a : ~a; });
}

}  // namespace zel_software

#endif
