// The KX compute device: one non-virtual member per operation and data type.
#ifndef ZEL_DEVICE_COMPUTE_TYPE_KX_H
#define ZEL_DEVICE_COMPUTE_TYPE_KX_H

#include "zel.h"

#define ZELKX_EXPORT extern "C" __attribute__((visibility("default")))

class ZelDeviceComputeTypeKX : public ZelDeviceComputeType {
 public:
  ZelDeviceComputeTypeKX();
  ~ZelDeviceComputeTypeKX() override;

  // Attaches every compute routine to the host's operation tree, or none: 0, or 2.
  int describeMembers();

#define KX_ROUTINE(Routine, ...) int Routine(ZelOp* op, int count);
#include "kx_routines.def"
};

// The plug-in's entry: null when no pixel processor can be opened.
ZELKX_EXPORT ZelDeviceComputeType* ZelCreateComputeType();

#endif
