// convolve16: a one-band 16-bit image convolved with a 3 x 3, 5 x 5 or 7 x 7 kernel
// (pointer parameter 1) under an edge condition (long parameter 2); source and destination
// of one origin and extent, in one rectangle (kx_convolve.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_convolve.h"
#include "sl_kernels.h"

namespace {

typedef void (*Square)(SL_CONVOLVE_ARGS, const float* coef, int32_t mode);
// By size class, then f or h.
const Square kSquare[3][2] = {
    {sl_rect_cnv3x3f_16, sl_rect_cnv3x3h_16},
    {sl_rect_cnv5x5f_16, sl_rect_cnv5x5h_16},
    {sl_rect_cnv7x7f_16, sl_rect_cnv7x7h_16},
};

void band(const ZelKXConvolutionPlan& p, uint32_t dst, int32_t dst_stride, int32_t width,
          int32_t height, uint32_t src, int32_t src_stride, int32_t mode) {
  kSquare[p.size_class][p.fine](dst, dst_stride, width, height, src, src_stride, width, height,
                                0, 0, p.coef, mode);
}

}  // namespace

int ZelDeviceComputeTypeKX::Convolve16(ZelOp* op, int) {
  static const ZelKXConvolution routine{"Convolve16KX", 152, 2, true};
  ZelImage* src = op->getSrc1();
  if (src == nullptr) return 2;
  ZelKXConvolutionPlan plan;
  int32_t mode;
  // Exactly 1.0 keeps the h kernels here.
  if (!zelkx_plan_square(static_cast<const ZelKernel*>(op->getPtrParam(1)), 2, src->getBands(),
                         true, &plan) ||
      !zelkx_edge_mode(op->getLongParam(2), &mode)) {
    return 2;
  }
  return zelkx_convolve(src, op->getDst(), routine, plan, mode, band);
}
