// Loading a compute-device plug-in and running operations: the device's routine first, the
// host's own software implementation when the device refuses.
#include <dlfcn.h>
#include <unistd.h>

#include <climits>

#include "zel.h"

namespace {

void* plugin_handle = nullptr;
ZelDeviceComputeType* plugin_device = nullptr;

ZelDeviceComputeType* refuse(std::string* why, const std::string& reason) {
  if (why) *why = reason;
  return nullptr;
}

}  // namespace

ZelDeviceComputeType* zel_load_device(const char* path, std::string* why) {
  if (plugin_device) return refuse(why, "a device plug-in is already loaded");
  if (!path) return refuse(why, "no plug-in path");
  zel_unload_device();  // a plug-in kept from a load that gave no device
  dlerror();
  void* handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* error = dlerror();
    return refuse(why, error ? error : std::string("cannot load ") + path);
  }
  dlerror();
  void* entry = dlsym(handle, "ZelCreateComputeType");
  if (!entry) {
    const char* error = dlerror();
    std::string reason = error ? error : std::string("no ZelCreateComputeType in ") + path;
    dlclose(handle);
    return refuse(why, reason);
  }
  plugin_handle = handle;
  auto create = reinterpret_cast<ZelDeviceComputeType* (*)()>(entry);
  plugin_device = create();
  if (!plugin_device) return refuse(why, "no pixel processor");
  return plugin_device;
}

ZelDeviceComputeType* zel_loaded_device() {
  return plugin_device;
}

void zel_unload_device() {
  if (plugin_device) {
    zel_global_state->getOpTreeBase()->removeFunctions(plugin_device);
    delete plugin_device;
    plugin_device = nullptr;
  }
  if (plugin_handle) {
    dlclose(plugin_handle);
    plugin_handle = nullptr;
  }
}

std::string zel_default_device_path() {
  char exe[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string dir = ".";
  if (length > 0) {
    std::string path(exe, static_cast<size_t>(length));
    size_t slash = path.rfind('/');
    dir = slash == std::string::npos ? "." : path.substr(0, slash);
  }
  return dir + "/../lib/ZelDeviceComputeKX.so";
}

namespace {

// "ckx" storage for a source the device reads from contiguous memory, filled by the plug-in.
void prepare_ckx(ZelImage* image) {
  ZelImage* root = image->getParent() ? image->getParent() : image;
  const auto* kx = static_cast<__ZelKXStorage*>(root->getStorage("kx"));
  if (!kx || !plugin_handle || kx->line_stride != root->getWidth() * kx->pixel_stride) return;
  using Copy = void (*)(__ZelKXStorage*, __ZelKXStorage*, ZelImage*);
  auto copy = reinterpret_cast<Copy>(dlsym(plugin_handle, "copyKX2Ckx"));
  if (!copy || !root->addStorage("ckx")) return;
  copy(const_cast<__ZelKXStorage*>(kx), static_cast<__ZelKXStorage*>(root->getStorage("ckx")),
       root);
}

}  // namespace

ZelRunResult zel_run(ZelOp* op, ZelPath path) {
  ZelRunResult result;
  if (!op) return result;
  ZelOpTreeNode* node = zel_global_state->getOpTreeBase();
  if (ZelOp* inner = op->getOp1()) node = node->find(inner->getName());
  if (node) node = node->find(op->getName());
  if (path != ZelPath::host_only && node && !node->functions().empty()) {
    const ZelOpTreeNode::Function f = node->functions().front();
    const ZelOperationInfo* info = zel_operation_info(op->getName());
    if (info && info->ckx_source && op->getSrc1()) prepare_ckx(op->getSrc1());
    result.device_ran = true;
    result.device_status = (f.device->*f.routine)(op, 0);
    if (result.device_status == 0) {
      result.status = 0;
      if (op->getDst()) op->getDst()->markChanged();
      return result;
    }
  }
  if (path != ZelPath::device_only) {
    const ZelOp* inner = op->getOp1();
    const std::string name =
        inner ? std::string(inner->getName()) + "/" + op->getName() : op->getName();
    const ZelOperationInfo* info = zel_operation_info(name.c_str());
    if (info && info->software) {
      result.host_ran = true;
      result.status = info->software(op) == 0 ? 0 : 2;
    }
  }
  return result;
}
