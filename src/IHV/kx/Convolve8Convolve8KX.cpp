// convolve8/convolve8: a row kernel (the inner operation's) followed by a column kernel
// (the outer one's) on an 8-bit image of 1, 3 or 4 bands, as one separable pass with no
// intermediate image; the whole source in one rectangle (kx_convolve.h).
#include "ZelDeviceComputeTypeKX.h"
#include "kx_convolve.h"
#include "sl_kernels.h"

namespace {

typedef void (*Separable)(SL_CONVOLVE_ARGS, const float* hcoef, const float* vcoef,
                          int32_t mode);
// By size class, then one byte a pixel or a channel of 4-byte pixels.
const Separable kSeparable[3][2] = {
    {sl_rect_scnv3x3f_8, sl_rect_scnv3x3f_32c},
    {sl_rect_scnv5x5f_8, sl_rect_scnv5x5f_32c},
    {sl_rect_scnv7x7f_8, sl_rect_scnv7x7f_32c},
};

// The row kernel's vector goes along the rows (hcoef), the column kernel's down the
// columns (vcoef).
template <int Format>
void band(const ZelKXConvolutionPlan& p, uint32_t dst, int32_t dst_stride, int32_t width,
          int32_t height, uint32_t src, int32_t src_stride, int32_t mode) {
  kSeparable[p.size_class][Format](dst, dst_stride, width, height, src, src_stride, width,
                                   height, 0, 0, p.hcoef, p.vcoef, mode);
}

}  // namespace

int ZelDeviceComputeTypeKX::Convolve8Convolve8(ZelOp* op, int) {
  static const ZelKXConvolution routine{nullptr, 0, 1};  // a missing list is not reported
  ZelOp* inner = op->getOp1();
  if (inner == nullptr) return 2;
  ZelImage* src = inner->getSrc1();
  if (src == nullptr) return 2;
  const auto* row = static_cast<const ZelKernel*>(inner->getObjParam(1));
  const auto* column = static_cast<const ZelKernel*>(op->getObjParam(1));
  const long edge = inner->getLongParam(2);
  int order = 0, size_class = 0;
  ZelKXConvolutionPlan plan;
  int32_t mode;
  if (zelkx_check_sepcnv(row, column, edge, op->getLongParam(2), &order, &size_class) == 2 ||
      !zelkx_plan_separable(row, column, size_class, &plan) || !zelkx_edge_mode(edge, &mode)) {
    return 2;
  }
  return zelkx_convolve(src, op->getDst(), routine, plan, mode,
                        src->getBands() == 1 ? band<0> : band<1>);
}
