// Registration of every compute routine in the host's operation tree: all or none.
#include "ZelDeviceComputeTypeKX.h"

namespace {

struct Registration {
  const char* name;
  const char* second;  // the next level of a two-level path, or nullptr
  ZelComputeFunction routine;
};

const Registration registrations[] = {
#define KX_ROUTINE(Routine, name, second, ...) \
  {name, second, static_cast<ZelComputeFunction>(&ZelDeviceComputeTypeKX::Routine)},
#include "kx_routines.def"
};

}  // namespace

int ZelDeviceComputeTypeKX::describeMembers() {
  ZelOpTreeNode* root = zel_global_state->getOpTreeBase();
  for (const Registration& r : registrations) {
    ZelOpTreeNode* node = root->branch(r.name);
    if (r.second != nullptr) node = node->branch(r.second);
    if (node->addFunction(this, r.routine) == 2) {
      root->removeFunctions(this);
      return 2;
    }
  }
  return 0;
}
