// What the colour conversion rows share (kx_colour.h).
#include "kx_colour.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "kx_sys.h"
#include "sl_ctx.h"
#include "sl_kernels.h"
#include "sl_saturate.h"

namespace {

void truncated(const float* values, int count, int32_t* out) {
  for (int i = 0; i < count; ++i) out[i] = sl::truncate_saturate(values[i]);
}

}  // namespace

int zelkx_colour_transform(const float coefficients[12], ZELS_ARGS) {
  int32_t c[12];
  truncated(coefficients, 12, c);
  sl_ctx_planemask_set(0xffffffff);
  sl_rect_trf24_32(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride, c);
  return 0;
}

int zelkx_colour_table(const unsigned char table[256], const float* coefficients, ZELS_ARGS) {
  // 256 bytes raised to whole pages: valloc gives memory the alias can start at.
  const long page = kx_sys_sysconf(_SC_PAGESIZE);
  if (page <= 0) return 2;
  const size_t size = size_t((page + 255) & -page);
  void* buffer = valloc(size);
  if (buffer == nullptr) return 2;
  const uint32_t alias = sl_ctx_spamify(buffer, uint32_t(size));
  if (alias == SL_ALIAS_FAILED) {
    std::free(buffer);
    return 2;
  }
  std::memcpy(buffer, table, 256);
  sl_ctx_planemask_set(0xffffffff);
  if (coefficients == nullptr) {
    sl_rect_lut24_24(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride, alias);
  } else {
    int32_t c[12];
    truncated(coefficients, 12, c);
    sl_rect_luttrf24_32(dst, dst_stride, int32_t(width), int32_t(height), src, src_stride,
                        alias, c);
  }
  sl_ctx_unspamify(alias, uint32_t(size));  // waits until the processor is done with it
  std::free(buffer);
  return 0;
}
