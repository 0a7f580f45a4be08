// convolve8: an 8-bit image of 1, 3 or 4 bands convolved with a 3 x 3, 5 x 5 or 7 x 7 kernel
// (object parameter 1) under an edge condition (long parameter 2), a band at a time; the
// whole source in one rectangle (kx_convolve.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_convolve.h"
#include "sl_kernels.h"

namespace {

typedef void (*Square)(SL_CONVOLVE_ARGS, const float* coef, int32_t mode);
// By size class, then f or h, then one byte a pixel or a channel of 4-byte pixels.
const Square kSquare[3][2][2] = {
    {{sl_rect_cnv3x3f_8, sl_rect_cnv3x3f_32c}, {sl_rect_cnv3x3h_8, sl_rect_cnv3x3h_32c}},
    {{sl_rect_cnv5x5f_8, sl_rect_cnv5x5f_32c}, {sl_rect_cnv5x5h_8, sl_rect_cnv5x5h_32c}},
    {{sl_rect_cnv7x7f_8, sl_rect_cnv7x7f_32c}, {sl_rect_cnv7x7h_8, sl_rect_cnv7x7h_32c}},
};

template <int Format>
void band(const ZelKXConvolutionPlan& p, uint32_t dst, int32_t dst_stride, int32_t width,
          int32_t height, uint32_t src, int32_t src_stride, int32_t mode) {
  kSquare[p.size_class][p.fine][Format](dst, dst_stride, width, height, src, src_stride, width,
                                        height, 0, 0, p.coef, mode);
}

}  // namespace

int ZelDeviceComputeTypeKX::Convolve8(ZelOp* op, int) {
  static const ZelKXConvolution routine{"Convolve8KX", 152, 1};
  ZelImage* src = op->getSrc1();
  if (src == nullptr) return 2;
  ZelKXConvolutionPlan plan;
  int32_t mode;
  if (!zelkx_plan_square(static_cast<const ZelKernel*>(op->getObjParam(1)), 1, src->getBands(),
                         false, &plan) ||
      !zelkx_edge_mode(op->getLongParam(2), &mode)) {
    return 2;
  }
  return zelkx_convolve(src, op->getDst(), routine, plan, mode,
                        src->getBands() == 1 ? band<0> : band<1>);
}
