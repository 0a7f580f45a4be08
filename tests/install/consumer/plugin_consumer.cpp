// Loads the installed plug-in into the host and runs an 8-bit add on it.
#include <cstdio>
#include <string>
#include <type_traits>

#include "ZelDeviceComputeTypeKX.h"
#include "zel.h"

static_assert(std::is_base_of_v<ZelDeviceComputeType, ZelDeviceComputeTypeKX>);

int main() {
  std::string why;
  if (zel_load_device(KX_PLUGIN, &why) == nullptr) {
    std::fprintf(stderr, "plug-in consumer: cannot load %s: %s\n", KX_PLUGIN, why.c_str());
    return 1;
  }
  ZelSystemState* state = zel_default_state();
  ZelImage* a = state->createImage(33, 2, 1, ZEL_UINT8);
  ZelImage* b = state->createImage(33, 2, 1, ZEL_UINT8);
  ZelImage* sum = state->createImage(33, 2, 1, ZEL_UINT8);
  for (unsigned y = 0; y < 2; ++y) {
    for (unsigned x = 0; x < 33; ++x) {
      a->setPixel(x, y, 0, int(x));
      b->setPixel(x, y, 0, 100 * int(y));
    }
  }
  ZelOp* op = state->createOp("add8");
  op->setSrc(1, a);
  op->setSrc(2, b);
  op->setDst(sum);
  const ZelRunResult result = zel_run(op, ZelPath::device_only);
  int wrong = 0;
  for (unsigned y = 0; y < 2; ++y)
    for (unsigned x = 0; x < 33; ++x) wrong += sum->getPixel(x, y, 0) != int(x + 100 * y);
  op->destroy();
  for (ZelImage* image : {a, b, sum}) image->destroy();
  std::printf("plug-in consumer: status %d, %d wrong pixels\n", result.status, wrong);
  return result.status == 0 && result.device_ran && wrong == 0 ? 0 : 1;
}
