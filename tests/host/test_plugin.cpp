// A minimal compute-device plug-in: probes the processor as a real plug-in does and
// registers one routine at "hosttest", which counts its calls in the operation's long
// parameter 1.
#include "kx.h"
#include "zel.h"

namespace {

class TestDevice : public ZelDeviceComputeType {
 public:
  TestDevice() : ZelDeviceComputeType(const_cast<char*>("HostTestDevice")) {}
  int Count(ZelOp* op, int) {
    op->setLongParam(1, op->getLongParam(1) + 1);
    return 0;
  }
};

}  // namespace

extern "C" ZelDeviceComputeType* ZelCreateComputeType() {
  int handle = kx_open();
  if (handle == -1) return nullptr;
  kx_close(handle);
  auto* device = new TestDevice;
  zel_global_state->getOpTreeBase()
      ->branch("hosttest")
      ->addFunction(device, static_cast<ZelComputeFunction>(&TestDevice::Count));
  return device;
}
