// The one simulated machine inside libkx.so: configuration, alias space, processor and
// device nodes. libkx's accessors, the system-call seam and kx_model.h all reach it here.
#ifndef KX_MODEL_MODEL_H
#define KX_MODEL_MODEL_H

#include "alias_space.h"
#include "devices.h"
#include "kx_model.h"
#include "processor.h"

namespace kxm::detail {

struct Model {
  Config config;
  AliasSpace alias;
  Processor processor{alias};
  DeviceNodes devices{*this};
};

// Created on first use and never destroyed, so that it outlives every static user.
Model& model();

}  // namespace kxm::detail

#endif
