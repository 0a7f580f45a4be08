// The convolution routines' shared frame and coefficient plans.
#include "kx_convolve.h"

#include <cmath>
#include <vector>

#include "kx_utils.h"
#include "sl_ctx.h"
#include "sl_saturate.h"

namespace {

constexpr double kWrap = 2147483648.0;  // a 32-bit sum reaching this wraps

int size_class_of(int n) {
  return n == 3 ? 0 : n == 5 ? 1 : n == 7 ? 2 : -1;
}

bool centred(const ZelKernel* k) {
  return k->getKeyX() == k->getWidth() / 2 && k->getKeyY() == k->getHeight() / 2;
}

// The largest pixel magnitude of a data type.
double magnitude(int data_type) {
  return data_type == 1 ? 255.0 : 32768.0;
}

}  // namespace

bool zelkx_edge_mode(long edge, int32_t* mode) {
  if (edge < 0 || edge > 2) return false;
  *mode = int32_t(edge) - 1;
  return true;
}

bool zelkx_plan_square(const ZelKernel* kernel, int data_type, unsigned bands, bool fine_at_one,
                       ZelKXConvolutionPlan* plan) {
  if (kernel == nullptr || !centred(kernel) || kernel->getWidth() != kernel->getHeight()) {
    return false;
  }
  const int n = kernel->getWidth();
  plan->size_class = size_class_of(n);
  if (plan->size_class < 0) return false;
  const int count = n * n;
  const float* values = kernel->getValue();
  bool fine = true;
  for (int i = 0; i < count; ++i) {
    const double v = double(values[i]);
    if (fine_at_one ? v > 1.0 : v >= 1.0) fine = false;
    plan->coef[count - 1 - i] = values[i];  // mirrored: a true convolution
  }
  // A one-band 8-bit 7 x 7 convolution always runs with 8 fraction bits.
  if (data_type == 1 && bands == 1 && n == 7) fine = false;
  plan->fine = fine;
  const double scale = fine ? 65536.0 : 256.0;
  const double m = magnitude(data_type);
  double error = 0, reach = 0;
  for (int i = 0; i < count; ++i) {
    const int32_t c = sl::to_fixed(values[i], scale);
    error += std::fabs(double(values[i]) - double(c) / scale);
    reach += std::fabs(double(c));
  }
  plan->error = m * error;
  plan->floors = fine ? double(count) / 256.0 : 0.0;
  // The h terms are each shifted down by 8 before they are summed.
  const double sum = m * reach / (fine ? 256.0 : 1.0);
  return plan->error < (data_type == 1 ? 1.0 : 128.0) && sum < kWrap;
}

int zelkx_check_sepcnv(const ZelKernel* first, const ZelKernel* second, long first_edge,
                       long second_edge, int* order, int* size_class) {
  if (first == nullptr || second == nullptr || first_edge != second_edge) return 2;
  const int n = first->getWidth();
  if (first->getHeight() != 1 || second->getWidth() != 1 || second->getHeight() != n) return 2;
  const int cls = size_class_of(n);
  if (cls < 0 || !centred(first) || !centred(second)) return 2;
  *size_class = cls;
  *order = 0;
  return 0;
}

bool zelkx_plan_separable(const ZelKernel* row, const ZelKernel* column, int size_class,
                          ZelKXConvolutionPlan* plan) {
  const int n = 3 + 2 * size_class;
  const float* h = row->getValue();
  const float* v = column->getValue();
  double row_sum = 0;
  for (int i = 0; i < n; ++i) {
    if (!(h[i] >= 0.0f)) return false;  // negative, or NaN
    row_sum += double(h[i]);
  }
  if (!(row_sum <= 1.0)) return false;
  plan->size_class = size_class;
  plan->fine = false;
  int32_t ch[7], cv[7];
  double reach_h = 0, reach_v = 0, column_weight = 0;
  for (int i = 0; i < n; ++i) {
    plan->hcoef[n - 1 - i] = h[i];
    plan->vcoef[n - 1 - i] = v[i];
    ch[i] = sl::to_fixed(h[i], 256.0);
    cv[i] = sl::to_fixed(v[i], 256.0);
    reach_h += std::fabs(double(ch[i]));
    reach_v += std::fabs(double(cv[i]));
    column_weight += std::fabs(double(v[i]));
  }
  double error = 0;
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i) {
      error += std::fabs(double(v[j]) * double(h[i]) - double(cv[j]) * double(ch[i]) / 65536.0);
    }
  }
  // The host rounds its intermediate: each of those values is up to 1/2 off, weighted by
  // the column kernel.
  plan->error = 255.0 * error + column_weight / 2;
  plan->floors = 0;
  return plan->error < 1.0 && 255.0 * reach_h * reach_v < kWrap;
}

namespace {

bool same_rect(int x, int y, int w, int h, int ex, int ey, unsigned ew, unsigned eh) {
  return x == ex && y == ey && unsigned(w) == ew && unsigned(h) == eh;
}

}  // namespace

int zelkx_convolve(ZelImage* src, ZelImage* dst, const ZelKXConvolution& r,
                   const ZelKXConvolutionPlan& plan, int32_t mode, ZelKXConvolveBand band) {
  if (src == nullptr || dst == nullptr || src->getDataType() != r.data_type ||
      dst->getDataType() != r.data_type) {
    return 2;
  }
  unsigned width = 0, height = 0, bands = 0;
  src->getDimensions(&width, &height, &bands);
  if (dst->getBands() != bands) return 2;
  const bool eight = r.data_type == 1;
  if (eight ? bands != 1 && bands != 3 && bands != 4 : bands != 1) return 2;
  const int check = eight ? zelkx_check_child_8(src, dst, nullptr, nullptr)
                          : zelkx_check_child_16(src, dst, nullptr, nullptr);
  if (check == 2) return 2;
  // A 3-band image's bands must be bytes 1..3 of its pixels: in bytes 0..2 (bands 0..2 of a
  // 4-band parent) the channels would be taken from the wrong bytes.
  if (bands == 3 && (zelkx_band_lane(src) != 1 || zelkx_band_lane(dst) != 1)) return 2;
  // The strips store a row's results while later strips still read its source pixels: the
  // destination may not share its pixels with the source.
  const ZelImage* src_root = src->getParent() ? src->getParent() : src;
  const ZelImage* dst_root = dst->getParent() ? dst->getParent() : dst;
  if (src_root == dst_root) return 2;
  KXImage s, d;
  if (!zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d)) return 2;
  if (r.destination_too && (s.origin_x != d.origin_x || s.origin_y != d.origin_y)) return 2;
  // One element a pixel, or whole 4-byte pixels; rows aligned to them.
  const uint32_t e = eight ? 1 : 2, pixel = bands == 1 ? 1 : 4;
  for (const KXImage* image : {&s, &d}) {
    if (image->pixel_stride != pixel || !zelkx_aligned(*image, e, e * pixel)) return 2;
  }

  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, src, nullptr, nullptr);
  if (list == nullptr) {
    if (r.file != nullptr) zelkx_report(src, r.file, {0, "di-12", 0, r.list_line});
    return 2;
  }
  // The kernels treat the rectangle's sides as the image's edges: only the whole source
  // gives the host's pixels at every border, however the host cut its region.
  int x = 0, y = 0, w = 0, h = 0;
  int status = 0;
  if (list->getNextRect(&x, &y, &w, &h)) {
    int more[4];
    const bool whole = same_rect(x, y, w, h, -s.origin_x, -s.origin_y, width, height) &&
                       (!r.destination_too || same_rect(x, y, w, h, -d.origin_x, -d.origin_y,
                                                        dst->getWidth(), dst->getHeight())) &&
                       !list->getNextRect(&more[0], &more[1], &more[2], &more[3]);
    if (!whole) {
      status = 2;
    } else {
      sl_ctx_planemask_set(0xffffffff);
      // A band's byte of a 4-byte pixel: bands 0..2 of 3 are bytes 1..3.
      for (unsigned b = 0; b < bands; ++b) {
        const uint32_t lane = bands == 1 ? 0 : (bands == 3 ? 1 : 0) + b;
        band(plan, d.address(x, y, e) + lane, int32_t(e * d.line_stride), w, h,
             s.address(x, y, e) + lane, int32_t(e * s.line_stride), mode);
      }
    }
  }
  list->destroy();
  if (roi != nullptr) roi->destroy();
  return status;
}
