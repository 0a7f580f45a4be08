// Adds two rows of bytes with kxlib's kernel through an alias of ordinary memory.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sl_ctx.h"
#include "sl_kernels.h"

int main() {
  constexpr uint32_t kBytes = 4096;
  auto* memory = static_cast<uint8_t*>(std::aligned_alloc(kBytes, kBytes));
  if (memory == nullptr) return 1;
  std::memset(memory, 0, kBytes);
  for (int i = 0; i < 40; ++i) {
    memory[i] = uint8_t(i);
    memory[64 + i] = 200;
  }
  const uint32_t alias = sl_ctx_spamify(memory, kBytes);
  if (alias == SL_ALIAS_FAILED) return 1;
  sl_rect_add_8(alias + 128, kBytes, 40, 1, alias, kBytes, alias + 64, kBytes);
  sl_ctx_sync_s2c();
  int wrong = 0;
  for (int i = 0; i < 40; ++i) wrong += memory[128 + i] != (i + 200 > 255 ? 255 : i + 200);
  sl_ctx_unspamify(alias, kBytes);
  std::free(memory);
  std::printf("kxlib consumer: %d wrong pixels\n", wrong);
  return wrong == 0 ? 0 : 1;
}
