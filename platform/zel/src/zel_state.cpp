// System state and its error service, operations, the operation tree and device types.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "zel.h"

// ---- Errors ----

namespace {

std::vector<ZelErrorReport>& error_log() {
  static std::vector<ZelErrorReport> log;
  return log;
}

bool quiet = false;

}  // namespace

void ZelSystemState::notifyError(ZelSystemState* state, int category, const char* id, int flag,
                                 int line, const char* file, ZelObject* object) {
  ZelErrorReport report{state, category, id ? id : "", flag, line, file ? file : "", object};
  if (!quiet) {
    std::fprintf(stderr, "zel: error %s (category %d, flag %d) in %s line %d\n",
                 report.id.c_str(), category, flag, report.file.c_str(), line);
  }
  error_log().push_back(std::move(report));
}

const std::vector<ZelErrorReport>& zel_error_log() {
  return error_log();
}
void zel_clear_error_log() {
  error_log().clear();
}
void zel_set_quiet(bool q) {
  quiet = q;
}

// ---- System state ----

ZelRoi* ZelSystemState::createRoi() {
  if (zel_global_state && zel_global_state->takeRoiFailure()) return nullptr;
  return new ZelRoi(this);
}

ZelOp* ZelSystemState::createOp(const char* name) {
  const char* slash = name ? std::strchr(name, '/') : nullptr;
  if (slash == nullptr) return new ZelOp(this, name);
  ZelOp* outer = new ZelOp(this, slash + 1);
  outer->op1_ = new ZelOp(this, std::string(name, slash).c_str());
  outer->owns_op1_ = true;
  return outer;
}

ZelKernel* ZelSystemState::createKernel(int width, int height, const float* values,
                                        int16_t key_x, int16_t key_y) {
  constexpr long long kMostValues = 1LL << 24;
  if (width < 1 || height < 1 || static_cast<long long>(width) * height > kMostValues) {
    return nullptr;
  }
  return new ZelKernel(this, width, height, values, key_x, key_y);
}

// ---- Kernels ----

ZelKernel::ZelKernel(ZelSystemState* state, int width, int height, const float* values,
                     int16_t key_x, int16_t key_y)
    : ZelObject(state),
      width_(width),
      height_(height),
      key_x_(key_x),
      key_y_(key_y),
      values_(static_cast<size_t>(width) * static_cast<size_t>(height), 0.0f) {
  if (values) std::copy(values, values + values_.size(), values_.begin());
}

void ZelKernel::destroy() {
  delete this;
}

// ---- Lookups ----

ZelLookup* ZelSystemState::createLookup(int entries, unsigned bands, int offset, int data_type,
                                        const int* values) {
  constexpr long long kMostValues = 1LL << 24;
  if (entries < 0 || bands < 1 || bands > 4 || offset < -32768 || offset > 32767 ||
      (data_type != ZEL_UINT8 && data_type != ZEL_INT16) ||
      static_cast<long long>(entries) * bands > kMostValues || (entries > 0 && !values)) {
    return nullptr;
  }
  return new ZelLookup(this, entries, uint16_t(bands), int16_t(offset), data_type, values);
}

ZelLookup::ZelLookup(ZelSystemState* state, int entries, uint16_t bands, int16_t offset,
                     int data_type, const int* values)
    : ZelObject(state),
      entries_(entries),
      bands_(bands),
      offset_(offset),
      data_type_(data_type) {
  const size_t count = static_cast<size_t>(entries) * bands;
  for (size_t i = 0; i < count; ++i) {
    if (data_type == ZEL_UINT8) {
      bytes_.push_back(static_cast<uint8_t>(values[i]));
    } else {
      words_.push_back(static_cast<int16_t>(static_cast<uint16_t>(values[i])));
    }
  }
}

void ZelLookup::destroy() {
  delete this;
}

const void* ZelLookup::getData() const {
  return data_type_ == ZEL_UINT8 ? static_cast<const void*>(bytes_.data()) : words_.data();
}

int ZelLookup::value(int entry, unsigned band) const {
  const size_t i = static_cast<size_t>(entry) * bands_ + band;
  return data_type_ == ZEL_UINT8 ? bytes_[i] : words_[i];
}

// ---- Colour spaces ----

const std::vector<ZelColorspaceInfo>& zel_colorspaces() {
  static const std::vector<ZelColorspaceInfo> spaces = {
      {ZEL_CS_RGBLINEAR, "rgblinear", 3}, {ZEL_CS_RGB709, "rgb709", 3},
      {ZEL_CS_PHOTOYCC, "photoycc", 3},   {ZEL_CS_YCC601, "ycc601", 3},
      {ZEL_CS_YCC709, "ycc709", 3},       {ZEL_CS_YLINEAR, "ylinear", 1},
      {ZEL_CS_CMYK, "cmyk", 4},
  };
  return spaces;
}

const ZelColorspaceInfo* zel_colorspace_info(int opcode) {
  for (const ZelColorspaceInfo& space : zel_colorspaces()) {
    if (space.opcode == opcode) return &space;
  }
  return nullptr;
}

const ZelColorspaceInfo* zel_colorspace_named(const char* name) {
  for (const ZelColorspaceInfo& space : zel_colorspaces()) {
    if (name && std::strcmp(space.name, name) == 0) return &space;
  }
  return nullptr;
}

ZelColorspace* ZelSystemState::createColorspace(int opcode) {
  const ZelColorspaceInfo* info = zel_colorspace_info(opcode);
  return info ? new ZelColorspace(this, info) : nullptr;
}

void ZelColorspace::destroy() {
  delete this;
}

ZelSystemState* zel_default_state() {
  static ZelSystemState state;
  return &state;
}

void zel_memcpy(void* destination, const void* source, size_t bytes) {
  std::memcpy(destination, source, bytes);
}

// ---- Operations ----

ZelOp::ZelOp(ZelSystemState* state, const char* name)
    : ZelObject(state), name_(name ? name : "") {}

ZelOp::~ZelOp() {
  if (owns_op1_) op1_->destroy();
}

void ZelOp::destroy() {
  delete this;
}

void ZelOp::setSrc(int n, ZelImage* image) {
  if (n >= 1 && n <= 3) src_[n - 1] = image;
}

namespace {

// The slot of parameter n (from 1), made when absent; nullptr for n < 1.
template <typename Param>
Param* param_slot(std::vector<Param>& params, int n) {
  if (n < 1) return nullptr;
  if (static_cast<size_t>(n) > params.size()) params.resize(static_cast<size_t>(n));
  return &params[static_cast<size_t>(n) - 1];
}

}  // namespace

void* ZelOp::getPtrParam(int n) const {
  return n >= 1 && static_cast<size_t>(n) <= params_.size() ? params_[n - 1].ptr : nullptr;
}
ZelObject* ZelOp::getObjParam(int n) const {
  return n >= 1 && static_cast<size_t>(n) <= params_.size() ? params_[n - 1].obj : nullptr;
}
float ZelOp::getFloatParam(int n) const {
  return n >= 1 && static_cast<size_t>(n) <= params_.size() ? params_[n - 1].f : 0.0f;
}
long ZelOp::getLongParam(int n) const {
  return n >= 1 && static_cast<size_t>(n) <= params_.size() ? params_[n - 1].l : 0;
}

void ZelOp::setPtrParam(int n, void* value) {
  if (Param* p = param_slot(params_, n)) p->ptr = value;
}
void ZelOp::setObjParam(int n, ZelObject* value) {
  if (Param* p = param_slot(params_, n)) p->obj = value;
}
void ZelOp::setFloatParam(int n, float value) {
  if (Param* p = param_slot(params_, n)) p->f = value;
}
void ZelOp::setLongParam(int n, long value) {
  if (Param* p = param_slot(params_, n)) p->l = value;
}

// ---- The operation tree ----

namespace {
ZelGlobalState global_state;
}  // namespace

ZelGlobalState* zel_global_state = &global_state;

namespace {
// One more failure asked for by a test: counts it down.
bool take_failure(int* countdown) {
  if (*countdown <= 0) return false;
  --*countdown;
  return true;
}
}  // namespace

bool ZelGlobalState::takeRoiListFailure() {
  return take_failure(&failing_roi_lists_);
}
bool ZelGlobalState::takeImageRegionFailure() {
  return take_failure(&failing_image_regions_);
}
bool ZelGlobalState::takeRectListFailure() {
  return take_failure(&failing_rect_lists_);
}
bool ZelGlobalState::takeImageFailure() {
  return take_failure(&failing_images_);
}
bool ZelGlobalState::takeRoiFailure() {
  return take_failure(&failing_rois_);
}
bool ZelGlobalState::takeAddRectFailure() {
  return take_failure(&failing_add_rects_);
}
bool ZelGlobalState::takeIntersectFailure() {
  return take_failure(&failing_intersects_);
}

ZelOpTreeNode::~ZelOpTreeNode() {
  for (auto& child : children_) delete child.second;
}

ZelOpTreeNode* ZelOpTreeNode::find(const char* name) const {
  if (!name) return nullptr;
  for (const auto& child : children_) {
    if (child.first == name) return child.second;
  }
  return nullptr;
}

ZelOpTreeNode* ZelOpTreeNode::branch(const char* name) {
  if (!name) return nullptr;
  if (ZelOpTreeNode* existing = find(name)) return existing;
  ZelOpTreeNode* node = new ZelOpTreeNode(owner_, this, name);
  children_.emplace_back(name, node);
  return node;
}

std::string ZelOpTreeNode::path() const {
  if (!parent_) return "";
  std::string above = parent_->path();
  return above.empty() ? name_ : above + "/" + name_;
}

int ZelOpTreeNode::addFunction(ZelDeviceComputeType* device, ZelComputeFunction routine) {
  if (owner_->refuse_countdown_ > 0 && --owner_->refuse_countdown_ == 0) return 2;
  if (!device || !routine || !parent_) return 2;  // the root holds no function
  if (functions_.empty()) owner_->registered_.push_back(path());
  functions_.push_back({device, routine});
  return 0;
}

void ZelOpTreeNode::removeFunctions(ZelDeviceComputeType* device) {
  const bool had = !functions_.empty();
  functions_.erase(std::remove_if(functions_.begin(), functions_.end(),
                                  [device](const Function& f) { return f.device == device; }),
                   functions_.end());
  if (had && functions_.empty()) {
    auto& paths = owner_->registered_;
    paths.erase(std::remove(paths.begin(), paths.end(), path()), paths.end());
  }
  for (auto& child : children_) child.second->removeFunctions(device);
}

// ---- Device types ----

namespace {
int compute_type_destructor_runs = 0;
}  // namespace

ZelDeviceType::ZelDeviceType(char* name) : name_(name ? name : "") {}

void ZelDeviceType::printStatus() {
  std::printf("%s\n", name_.c_str());
}

void ZelDeviceType::optimizeMemoryUsage() {}

ZelDeviceType::~ZelDeviceType() = default;

ZelDeviceComputeType::~ZelDeviceComputeType() {
  ++compute_type_destructor_runs;
}

int ZelDeviceComputeType::destructorRuns() {
  return compute_type_destructor_runs;
}
