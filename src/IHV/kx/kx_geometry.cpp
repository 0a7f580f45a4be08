#include "kx_geometry.h"

#include "sl_kernels.h"

ZelKXFlipKernel zelkx_flip_kernel(long type, unsigned pixel_bytes) {
  static const ZelKXFlipKernel kFlips[7][3] = {
      {sl_rect_flip_v_8, sl_rect_flip_v_16, sl_rect_flip_v_32},
      {sl_rect_flip_h_8, sl_rect_flip_h_16, sl_rect_flip_h_32},
      {sl_rect_flip_d_8, sl_rect_flip_d_16, sl_rect_flip_d_32},
      {sl_rect_flip_b_8, sl_rect_flip_b_16, sl_rect_flip_b_32},
      {sl_rect_flip_90_8, sl_rect_flip_90_16, sl_rect_flip_90_32},
      {sl_rect_flip_180_8, sl_rect_flip_180_16, sl_rect_flip_180_32},
      {sl_rect_flip_270_8, sl_rect_flip_270_16, sl_rect_flip_270_32},
  };
  const int size = pixel_bytes == 1 ? 0 : pixel_bytes == 2 ? 1 : pixel_bytes == 4 ? 2 : -1;
  if (type < 0 || type > 6 || size < 0) return nullptr;
  return kFlips[type][size];
}

bool zelkx_share_root(ZelImage* a, ZelImage* b) {
  const ZelImage* root_a = a->getParent() != nullptr ? a->getParent() : a;
  const ZelImage* root_b = b->getParent() != nullptr ? b->getParent() : b;
  return root_a == root_b;
}

bool zelkx_packed_pixels(const KXImage& image, unsigned bands, int data_type) {
  return image.pixel_stride == (data_type == 1 && bands > 1 ? 4u : 1u);
}
