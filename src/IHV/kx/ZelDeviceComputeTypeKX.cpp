// The plug-in entry and the device object.
#include "ZelDeviceComputeTypeKX.h"

#include <new>

#include "kx.h"
#include "kx_blend.h"

namespace {
char device_name[] = "ZelDeviceComputeKX";
}

ZelDeviceComputeTypeKX::ZelDeviceComputeTypeKX() : ZelDeviceComputeType(device_name) {}

// What painting keeps between calls lives as long as the device object.
ZelDeviceComputeTypeKX::~ZelDeviceComputeTypeKX() {
  zelkx_paint_release();
}

ZelDeviceComputeType* ZelCreateComputeType() {
  // The probe keeps nothing open: kernels reach the processor through libkx's own context.
  const int handle = kx_open();
  if (handle == -1) return nullptr;
  kx_close(handle);

  ZelDeviceComputeTypeKX* device = new (std::nothrow) ZelDeviceComputeTypeKX();
  if (device == nullptr) {
    ZelSystemState::notifyError(nullptr, 1, "di-1", 1, 25, "ZelDeviceComputeTypeKX", nullptr);
    return nullptr;
  }
  // A refused registration has already removed what it attached; the device is returned
  // all the same, with no operations.
  device->describeMembers();
  return device;
}
