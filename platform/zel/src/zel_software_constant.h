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

// dst = f(a, b, band) in every band of every point where the regions of the destination and
// the sources meet; a from src1, b from src2 (0 for a one-source operation). Point (x, y)
// is pixel (x + ox, y + oy) of an image with origin (ox, oy).
template <typename F>
inline int pointwise(ZelOp* op, int data_type, int sources, F f) {
  ZelImage* dst = op->getDst();
  ZelImage* src1 = op->getSrc1();
  ZelImage* src2 = sources == 2 ? op->getSrc2() : nullptr;
  if (!dst || !src1 || (sources == 2 && !src2)) return 2;
  for (ZelImage* image : {dst, src1, src2}) {
    if (image && (image->getDataType() != data_type || image->getBands() != dst->getBands())) {
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
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        for (unsigned band = 0; band < dst->getBands(); ++band) {
          const long long a = src1->getPixel(column + ax, row + ay, band);
          const long long b = src2 ? src2->getPixel(column + bx, row + by, band) : 0;
          dst->setPixel(column + dx, row + dy, band, static_cast<int>(f(a, b, band)));
        }
      }
    }
  }
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
  return pointwise(op, Type, 1, [c](long long a, long long, unsigned band) {
    return saturate(Type, Combine(a, truncate_to_int(c[band])));
  });
}

template <int Type>
inline int multiply_constant(ZelOp* op) {
  const float* c = float_constants(op);
  if (!c) return 2;
  return pointwise(op, Type, 1, [c](long long a, long long, unsigned band) {
    return a == 0 ? 0 : rounded(Type, double(a) * double(c[band]));
  });
}

// Division in double precision: p / 0 is an infinity of p's sign (and 0 / 0 is taken as 0),
// which saturates.
template <int Type>
inline int divide_constant(ZelOp* op) {
  const float* c = float_constants(op);
  if (!c) return 2;
  return pointwise(op, Type, 1, [c](long long a, long long, unsigned band) {
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
  return pointwise(op, Type, 2,
                   [](long long a, long long b, unsigned) { return Combine(a, b); });
}

template <int Type, long long (*Combine)(long long, long long)>
inline int bitwise_constant(ZelOp* op) {
  auto* c = static_cast<uint32_t*>(op->getPtrParam(1));
  if (!c || !op->getDst()) return 2;
  for (unsigned band = 0; band < op->getDst()->getBands(); ++band) {
    c[band] = std::min(c[band], uint32_t(highest(Type)));
  }
  return pointwise(op, Type, 1,
                   [c](long long a, long long, unsigned band) { return Combine(a, c[band]); });
}

template <int Type>
inline int bitwise_not(ZelOp* op) {
  return pointwise(op, Type, 1, [](long long a, long long, unsigned) {
    return Type == ZEL_UINT8 ? 255 - a : ~a;
  });
}

}  // namespace zel_software

#endif
