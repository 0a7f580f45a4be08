// The host's own implementations of its operations: the reference every device result is
// compared with. They are written from what each operation means, pixel by pixel, through
// getPixel and setPixel, so that they hold for every layout and every child.
#include "zel_software.h"

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
      {"addconst8", 1, ZEL_UINT8, zel_software_addconst8, ZelParams::constants},
      {"addconst16", 1, ZEL_INT16, zel_software_addconst16, ZelParams::constants},
      {"subtractconst8", 1, ZEL_UINT8, zel_software_subtractconst8, ZelParams::constants},
      {"subtractconst16", 1, ZEL_INT16, zel_software_subtractconst16, ZelParams::constants},
      {"subtractfromconst8", 1, ZEL_UINT8, zel_software_subtractfromconst8,
       ZelParams::constants},
      {"subtractfromconst16", 1, ZEL_INT16, zel_software_subtractfromconst16,
       ZelParams::constants},
      {"multiplyconst8", 1, ZEL_UINT8, zel_software_multiplyconst8, ZelParams::constants},
      {"multiplyconst16", 1, ZEL_INT16, zel_software_multiplyconst16, ZelParams::constants},
      {"divideconst8", 1, ZEL_UINT8, zel_software_divideconst8, ZelParams::constants},
      {"divideconst16", 1, ZEL_INT16, zel_software_divideconst16, ZelParams::constants},
      {"and8", 2, ZEL_UINT8, zel_software_and8},
      {"and16", 2, ZEL_INT16, zel_software_and16},
      {"andconst8", 1, ZEL_UINT8, zel_software_andconst8, ZelParams::bit_constants},
      {"andconst16", 1, ZEL_INT16, zel_software_andconst16, ZelParams::bit_constants},
      {"or8", 2, ZEL_UINT8, zel_software_or8},
      {"or16", 2, ZEL_INT16, zel_software_or16},
      {"orconst8", 1, ZEL_UINT8, zel_software_orconst8, ZelParams::bit_constants},
      {"orconst16", 1, ZEL_INT16, zel_software_orconst16, ZelParams::bit_constants},
      {"xor8", 2, ZEL_UINT8, zel_software_xor8},
      {"xor16", 2, ZEL_INT16, zel_software_xor16},
      {"xorconst8", 1, ZEL_UINT8, zel_software_xorconst8, ZelParams::bit_constants},
      {"xorconst16", 1, ZEL_INT16, zel_software_xorconst16, ZelParams::bit_constants},
      {"not8", 1, ZEL_UINT8, zel_software_not8},
      {"not16", 1, ZEL_INT16, zel_software_not16},
      {"copy8", 1, ZEL_UINT8, zel_software_copy8},
      {"copy16", 1, ZEL_INT16, zel_software_copy16},
      {"setvalue8", 0, ZEL_UINT8, zel_software_setvalue8, ZelParams::fill},
      {"convert8to16", 1, ZEL_UINT8, zel_software_convert8to16, ZelParams::none, ZEL_INT16, 3},
      {"rescale8", 1, ZEL_UINT8, zel_software_rescale8, ZelParams::rescale},
      {"rescale16", 1, ZEL_INT16, zel_software_rescale16, ZelParams::rescale},
      {"bandCombine16", 1, ZEL_INT16, zel_software_band_combine16, ZelParams::matrix, 0, 3},
      {"threshold8", 1, ZEL_UINT8, zel_software_threshold8, ZelParams::threshold},
      {"threshold16", 1, ZEL_INT16, zel_software_threshold16, ZelParams::threshold},
      {"extrema8", 1, ZEL_UINT8, zel_software_extrema8, ZelParams::extrema},
      {"extrema16", 1, ZEL_INT16, zel_software_extrema16, ZelParams::extrema},
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
