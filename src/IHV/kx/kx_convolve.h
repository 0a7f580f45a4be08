// The convolution routines (Convolve8, Convolve16, Convolve8Convolve8): what they share of
// checking images and kernels, the fixed-point plan of the coefficients, and the walk.
#ifndef KX_CONVOLVE_H
#define KX_CONVOLVE_H

#include <cstdint>

#include "kx_frame.h"

// How the coefficients of one convolution reach the kernels, and how far the result may be
// from the host's: the kernels see `coef` (square, mirrored, N x N) or `hcoef` and `vcoef`
// (separable, each mirrored), taken x 256 (f, separable) or x 65536 (h).
struct ZelKXConvolutionPlan {
  int size_class = 0;  // 0, 1, 2: 3x3, 5x5, 7x7
  bool fine = false;   // the h kernels
  float coef[49] = {};
  float hcoef[7] = {}, vcoef[7] = {};
  // Bounds of device - host: -ceil(1/2 + error + floors) .. floor(1/2 + error), where error
  // is the coefficients' truncation (and, for a pair, the host's rounded intermediate)
  // carried to the pixel range and floors the h terms' rounding, N x N / 256.
  double error = 0, floors = 0;
};

// Plans for a square kernel: its key point at its centre, 3 x 3, 5 x 5 or 7 x 7; the h
// kernels when every value is below `fine_below` (1.0 in Convolve8; just above 1.0 in
// Convolve16, so that exactly 1.0 keeps them), except 7 x 7 on one band of 8-bit pixels;
// the truncation error below 1 (8-bit) or 128 (16-bit); the 32-bit sums never wrap.
// False: refused.
bool zelkx_plan_square(const ZelKernel* kernel, int data_type, unsigned bands, bool fine_at_one,
                       ZelKXConvolutionPlan* plan);

// 0 when a row kernel followed by a column kernel can be done as one separable pass: equal
// edge conditions, `first` N x 1 and `second` 1 x N (N = 3, 5, 7) with their keys at their
// centres; *order is then 0 (the row kernel first) and *size_class 0, 1 or 2. Else 2.
int zelkx_check_sepcnv(const ZelKernel* first, const ZelKernel* second, long first_edge,
                       long second_edge, int* order, int* size_class);

// Plans a pair the separable kernels can give within the host's result: the row kernel
// `row` (checked by zelkx_check_sepcnv) with no negative value and a sum of at most 1.0,
// so that the host's 8-bit intermediate neither clamps nor wraps; the error (truncation of
// the products and the intermediate's rounding) below 1; the 32-bit sums never wrap.
bool zelkx_plan_separable(const ZelKernel* row, const ZelKernel* column, int size_class,
                          ZelKXConvolutionPlan* plan);

// The kernels' mode for a host edge condition: 0 -> -1 (unwritten), 1 -> 0 (zero),
// 2 -> 1 (extended); false for any other condition.
bool zelkx_edge_mode(long edge, int32_t* mode);

struct ZelKXConvolution {
  const char* file;  // for the "di-12" report; nullptr: a missing list is not reported
  int list_line;
  int data_type;                 // of source and destination
  bool destination_too = false;  // the rectangle must be the destination's extent too, and
                                 // the origins equal (Convolve16)
};

// Checks the images (src and dst of one data type and band count; 8-bit 1, 3 or 4 bands
// with 3 only in bytes 1..3; 16-bit one band; the child check; storage the kernels walk),
// takes the rectangle list, which must yield nothing (status 0) or exactly the source's
// extent, sets the plane mask to all ones and calls `convolve` once a band:
// convolve(dst address, src address, dst stride, src stride, width, height), addresses and
// strides in bytes, a band's byte of a 4-byte pixel folded into the addresses.
typedef void (*ZelKXConvolveBand)(const ZelKXConvolutionPlan& plan, uint32_t dst,
                                  int32_t dst_stride, int32_t width, int32_t height,
                                  uint32_t src, int32_t src_stride, int32_t mode);
int zelkx_convolve(ZelImage* src, ZelImage* dst, const ZelKXConvolution& routine,
                   const ZelKXConvolutionPlan& plan, int32_t mode, ZelKXConvolveBand band);

#endif
