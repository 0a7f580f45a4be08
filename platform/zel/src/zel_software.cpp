// The host's own implementations of its operations: the reference every device result is
// compared with. They are written from what each operation means, pixel by pixel, through
// getPixel and setPixel, so that they hold for every layout and every child.
#include <algorithm>
#include <cstring>

#include "zel.h"

namespace {

long long saturate(int data_type, long long value) {
  if (data_type == ZEL_UINT8) return std::clamp(value, 0LL, 255LL);
  return std::clamp(value, -32768LL, 32767LL);
}

long long add(long long a, long long b) {
  return a + b;
}
long long subtract(long long a, long long b) {
  return a - b;
}
long long multiply(long long a, long long b) {
  return a * b;
}

// dst = combine(src1, src2), saturated, in every band of every pixel where the regions of the
// three images meet. Operation-space point (x, y) is pixel (x + ox, y + oy) of an image with
// origin (ox, oy).
template <int DataType, long long (*Combine)(long long, long long)>
int dyadic(ZelOp* op) {
  ZelImage* dst = op->getDst();
  ZelImage* src1 = op->getSrc1();
  ZelImage* src2 = op->getSrc2();
  if (!dst || !src1 || !src2) return 2;
  for (ZelImage* image : {dst, src1, src2}) {
    if (image->getDataType() != DataType || image->getBands() != dst->getBands()) return 2;
  }
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src1, src2, nullptr);
  if (!list) return 2;
  int dx, dy, ax, ay, bx, by;
  dst->getOrigin(&dx, &dy);
  src1->getOrigin(&ax, &ay);
  src2->getOrigin(&bx, &by);
  int x, y, width, height;
  while (list->getNextRect(&x, &y, &width, &height)) {
    for (int row = y; row < y + height; ++row) {
      for (int column = x; column < x + width; ++column) {
        for (unsigned band = 0; band < dst->getBands(); ++band) {
          long long a = src1->getPixel(column + ax, row + ay, band);
          long long b = src2->getPixel(column + bx, row + by, band);
          dst->setPixel(column + dx, row + dy, band,
                        static_cast<int>(saturate(DataType, Combine(a, b))));
        }
      }
    }
  }
  list->destroy();
  roi->destroy();
  return 0;
}

}  // namespace

const std::vector<ZelOperationInfo>& zel_operations() {
  // One row per operation.
  static const std::vector<ZelOperationInfo> operations = {
      {"add8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, add>},
      {"add16", 2, ZEL_INT16, dyadic<ZEL_INT16, add>},
      {"subtract8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, subtract>},
      {"subtract16", 2, ZEL_INT16, dyadic<ZEL_INT16, subtract>},
      {"multiply8", 2, ZEL_UINT8, dyadic<ZEL_UINT8, multiply>},
      {"multiply16", 2, ZEL_INT16, dyadic<ZEL_INT16, multiply>},
  };
  return operations;
}

const ZelOperationInfo* zel_operation_info(const char* name) {
  if (!name) return nullptr;
  for (const ZelOperationInfo& info : zel_operations()) {
    if (std::strcmp(info.name, name) == 0) return &info;
  }
  return nullptr;
}
