// Every registered routine under every failure its path can meet: host services failing
// once, images without storage, missing parameter objects, contiguous device memory refused
// at each step. A failure gives the routine's status and its one report (or silence),
// leaves no host object, descriptor, mapping or allocation behind, and leaves the
// destination as it was; a failure off the routine's path changes nothing in its result.
// The routines come from the registration table: a routine added there joins by its row.
#include <cstring>
#include <optional>
#include <string>

#include "kx_blend.h"
#include "kx_model.h"
#include "kx_utils.h"
#include "plugin_test.h"
#include "zel_params.h"

namespace {

struct Registered {
  const char* name;
  Routine routine;
  std::string path;  // "convolve8/convolve8" for a two-level one
};
std::string path_of(const char* name, const char* second) {
  return second != nullptr ? std::string(name) + "/" + second : std::string(name);
}
const Registered kRegistered[] = {
#define KX_ROUTINE(Routine, name, second, ...) {#Routine, &KX::Routine, path_of(name, second)},
#include "kx_routines.def"
};

enum class Failure {
  roi_list,      // the host gives no region list
  rect_list,     // a region gives no rectangle list
  image_region,  // an image gives no region
  no_src1_storage,
  no_src2_storage,
  no_dst_storage,
  null_pointers,  // every pointer parameter null
  null_object1,
  null_object2,
  cmem_device,  // "/dev/kx_cmem" missing
  cmem_alloc,   // allocation request refused
  cmem_map,     // mapping the allocation refused
  cmem_alias,   // aliasing it refused
  bounds,       // bounds request refused
  cmem_unmap,   // unmapping fails: printed, otherwise ignored
  new_image,    // the host makes no image
  new_region,   // the host makes no region
  add_rect,     // a region refuses a rectangle
  intersect,    // regions give no intersection
};
constexpr Failure kFailures[] = {
    Failure::roi_list,        Failure::rect_list,       Failure::image_region,
    Failure::no_src1_storage, Failure::no_src2_storage, Failure::no_dst_storage,
    Failure::null_pointers,   Failure::null_object1,    Failure::null_object2,
    Failure::cmem_device,     Failure::cmem_alloc,      Failure::cmem_map,
    Failure::cmem_alias,      Failure::bounds,          Failure::cmem_unmap,
    Failure::new_image,       Failure::new_region,      Failure::add_rect,
    Failure::intersect,
};
const char* const kFailureNames[] = {
    "no region list",  "no rectangle list", "no image region",    "no src1 storage",
    "no src2 storage", "no dst storage",    "null pointers",      "null object 1",
    "null object 2",   "no /dev/kx_cmem",   "allocation refused", "mapping refused",
    "alias refused",   "bounds refused",    "unmapping fails",    "no new image",
    "no new region",   "rectangle refused", "no intersection",
};

// The one report a failure gives (none, with a null id, for a silent refusal); the image is
// the one whose system state receives it.
enum class On { src1, src2, dst };
struct Expected {
  const char* routine;
  Failure failure;
  const char* id;
  int category, flag, line;
  const char* file;
  On on;
};
using F = Failure;
const Expected kReports[] = {
    {"Add8", F::roi_list, "di-12", 0, 0, 139, "Add8KX", On::src1},
    {"Add16", F::roi_list, "di-12", 0, 0, 113, "Add16KX", On::src1},
    {"Multiply8", F::roi_list, "di-12", 0, 0, 117, "Multiply8KX", On::src1},
    {"Multiply16", F::roi_list, "di-12", 0, 0, 115, "Multiply16KX", On::src1},
    {"Subtract8", F::roi_list, "di-12", 0, 0, 127, "Subtract8KX", On::src1},
    {"Subtract16", F::roi_list, "di-12", 0, 0, 114, "Subtract16KX", On::src1},
    {"AddConst8", F::roi_list, "di-12", 0, 0, 114, "AddConst8KX", On::src1},
    {"AddConst16", F::roi_list, "di-12", 0, 0, 104, "AddConst16KX", On::src1},
    {"SubtractConst8", F::roi_list, "di-12", 0, 0, 126, "SubtractConst8KX", On::src1},
    {"SubtractConst16", F::roi_list, "di-12", 0, 0, 107, "SubtractConst16KX", On::src1},
    {"SubtractFromConst8", F::roi_list, "di-12", 0, 0, 123, "SubtractFromConst8KX", On::src1},
    {"SubtractFromConst16", F::roi_list, "di-12", 0, 0, 110, "SubtractFromConst16KX", On::src1},
    {"MultiplyConst8", F::roi_list, "di-12", 0, 0, 132, "MultiplyConst8KX", On::src1},
    {"MultiplyConst16", F::roi_list, "di-12", 0, 0, 110, "MultiplyConst16KX", On::src1},
    {"DivideConst8", F::roi_list, "di-12", 0, 0, 120, "DivideConst8KX", On::src1},
    {"DivideConst16", F::roi_list, "di-12", 0, 0, 114, "DivideConst16KX", On::src1},
    {"And8", F::roi_list, "di-12", 0, 0, 123, "And8KX", On::src1},
    {"And16", F::roi_list, "di-12", 0, 0, 116, "And16KX", On::src1},
    {"Or8", F::roi_list, "di-12", 0, 0, 124, "Or8KX", On::src1},
    {"Or16", F::roi_list, "di-12", 0, 0, 115, "Or16KX", On::src1},
    {"Xor8", F::roi_list, "di-12", 0, 0, 124, "Xor8KX", On::src1},
    {"Xor16", F::roi_list, "di-12", 0, 0, 119, "Xor16KX", On::src1},
    {"Not8", F::roi_list, "di-12", 0, 0, 121, "Not8KX", On::src1},
    {"Not16", F::roi_list, "di-12", 0, 0, 113, "Not16KX", On::src1},
    {"AndConst8", F::roi_list, "di-12", 0, 0, 136, "AndConst8KX", On::src1},
    {"AndConst16", F::roi_list, "di-12", 0, 0, 102, "AndConst16KX", On::src1},
    {"OrConst8", F::roi_list, "di-12", 0, 0, 137, "OrConst8KX", On::src1},
    {"OrConst16", F::roi_list, "di-12", 0, 0, 104, "OrConst16KX", On::src1},
    {"XorConst8", F::roi_list, "di-12", 0, 0, 133, "XorConst8KX", On::src1},
    {"XorConst16", F::roi_list, "di-12", 0, 0, 115, "XorConst16KX", On::src1},
    {"Copy8", F::roi_list, "di-12", 0, 0, 129, "Copy8KX", On::src1},
    {"Copy16", F::roi_list, "di-12", 0, 0, 133, "Copy16KX", On::src1},
    {"SetValue8", F::rect_list, "di-12", 0, 0, 119, "SetValue8KX", On::dst},
    {"Convert8to16", F::roi_list, "di-12", 0, 0, 114, "Convert8to16KX", On::src1},
    {"Rescale8", F::roi_list, "di-12", 0, 0, 111, "Rescale8KX", On::src1},
    {"Rescale16", F::roi_list, "di-12", 0, 0, 111, "Rescale16KX", On::src1},
    {"BandCombine16", F::roi_list, "di-12", 0, 0, 117, "BandCombine16KX", On::src1},
    {"Threshold8", F::roi_list, "di-12", 1, 0, 128, "Threshold8KX", On::dst},
    {"Threshold16", F::roi_list, "di-12", 1, 0, 117, "Threshold16KX", On::dst},
    {"Extrema8", F::image_region, "di-6", 1, 0, 127, "Extrema8KX", On::src1},
    {"Extrema8", F::rect_list, "di-8", 1, 0, 135, "Extrema8KX", On::src1},
    {"Extrema16", F::image_region, "di-6", 1, 0, 129, "Extrema16KX", On::src1},
    {"Extrema16", F::rect_list, "di-8", 1, 0, 137, "Extrema16KX", On::src1},
    // Subtraction names the image that lacks storage; the other routines refuse silently.
    {"Subtract8", F::no_src1_storage, "di-9", 1, 0, 86, "Subtract8KX", On::src1},
    {"Subtract8", F::no_src2_storage, "di-15", 1, 0, 98, "Subtract8KX", On::src2},
    {"Subtract8", F::no_dst_storage, "di-10", 1, 0, 110, "Subtract8KX", On::dst},
    {"Subtract16", F::no_src1_storage, "di-9", 1, 0, 80, "Subtract16KX", On::src1},
    {"Subtract16", F::no_src2_storage, "di-15", 1, 0, 92, "Subtract16KX", On::src2},
    {"Subtract16", F::no_dst_storage, "di-10", 1, 0, 104, "Subtract16KX", On::dst},
    // Lookups report on the destination's state, but Lookup8_16's missing source on its own.
    {"Lookup8_8", F::roi_list, "di-12", 6, 0, 204, "Lookup8KX", On::dst},
    {"Lookup8_16", F::no_src1_storage, "di-9", 1, 0, 332, "Lookup8KX", On::src1},
    {"Lookup8_16", F::no_dst_storage, "di-10", 1, 0, 347, "Lookup8KX", On::dst},
    {"Lookup8_16", F::roi_list, "di-12", 6, 0, 407, "Lookup8KX", On::dst},
    {"Lookup16_16", F::no_dst_storage, "di-10", 1, 0, 322, "Lookup16KX", On::dst},
    {"Lookup16_16", F::no_src1_storage, "di-9", 1, 0, 336, "Lookup16KX", On::dst},
    {"Lookup16_16", F::roi_list, "di-12", 6, 0, 416, "Lookup16KX", On::dst},
    {"Lookup16_8", F::roi_list, "di-12", 6, 0, 219, "Lookup16KX", On::dst},
    {"ColorConvert", F::roi_list, "di-12", 0, 1, 210, "ColorConvertKX", On::src1},
    {"ColorConvert", F::null_object1, "di-202", 4, 1, 136, "ColorConvertKX", On::src1},
    {"ColorConvert", F::null_object2, "di-203", 4, 1, 141, "ColorConvertKX", On::dst},
    {"Blend16a8", F::roi_list, "di-12", 1, 0, 139, "Blend16KX", On::dst},
    {"Blend16a16", F::roi_list, "di-12", 1, 0, 276, "Blend16KX", On::dst},
    {"Blend8a8", F::roi_list, "di-12", 1, 0, 130, "Blend8KX", On::dst},
    {"Blend8a16", F::roi_list, "di-12", 1, 0, 295, "Blend8KX", On::dst},
    // Painting works on its image's region and one region a stamp, and keeps its colour and
    // brush images between calls (made again here: every run has a new brush).
    {"Paint8", F::image_region, "di-7", 1, 0, 235, "Paint8KX", On::dst},
    {"Paint8", F::intersect, "di-7", 1, 0, 235, "Paint8KX", On::dst},
    {"Paint8", F::new_region, "di-1", 1, 0, 266, "Paint8KX", On::dst},
    {"Paint8", F::rect_list, nullptr, 0, 0, 0, nullptr, On::dst},
    {"Paint8", F::add_rect, nullptr, 0, 0, 0, nullptr, On::dst},
    {"Paint8", F::new_image, nullptr, 0, 0, 0, nullptr, On::dst},
    {"Paint8", F::null_pointers, nullptr, 0, 0, 0, nullptr, On::dst},
    // Transpose8 transforms the source's region and meets it with the destination's:
    // a missing region is "di-12" on the source, a missing meeting or list "di-8".
    {"Transpose8", F::image_region, "di-12", 0, 0, 105, "Transpose8KX", On::src1},
    {"Transpose8", F::intersect, "di-8", 1, 1, 161, "Transpose8KX", On::dst},
    {"Transpose8", F::rect_list, "di-8", 1, 1, 161, "Transpose8KX", On::dst},
    // The interpolating translations likewise (the nearest ones refuse silently).
    {"Translate8bilinear", F::image_region, "di-12", 0, 0, 71, "TranslateBL8KX", On::src1},
    {"Translate8bilinear", F::intersect, "di-8", 1, 1, 89, "TranslateBL8KX", On::dst},
    {"Translate8bilinear", F::rect_list, "di-8", 1, 1, 89, "TranslateBL8KX", On::dst},
    {"Translate16bilinear", F::image_region, "di-12", 0, 0, 72, "TranslateBL16KX", On::src1},
    {"Translate16bilinear", F::intersect, "di-8", 1, 1, 90, "TranslateBL16KX", On::dst},
    {"Translate16bilinear", F::rect_list, "di-8", 1, 1, 90, "TranslateBL16KX", On::dst},
    {"Translate8bicubic", F::image_region, "di-12", 0, 0, 71, "TranslateBC8KX", On::src1},
    {"Translate8bicubic", F::intersect, "di-8", 1, 1, 89, "TranslateBC8KX", On::dst},
    {"Translate8bicubic", F::rect_list, "di-8", 1, 1, 89, "TranslateBC8KX", On::dst},
    {"Translate16bicubic", F::image_region, "di-12", 0, 0, 72, "TranslateBC16KX", On::src1},
    {"Translate16bicubic", F::intersect, "di-8", 1, 1, 90, "TranslateBC16KX", On::dst},
    {"Translate16bicubic", F::rect_list, "di-8", 1, 1, 90, "TranslateBC16KX", On::dst},
    // Rotate16nearest reads both images' regions and lists; Rotate8nearest neither.
    {"Rotate16nearest", F::image_region, "di-6", 1, 1, 133, "RotateNN16KX", On::dst},
    {"Rotate16nearest", F::rect_list, "di-8", 1, 1, 143, "RotateNN16KX", On::dst},
    {"Transpose16", F::roi_list, "di-12", 0, 0, 115, "Transpose16KX", On::src1},
    // The convolutions report only a missing list, on the source; the pair not even that.
    {"Convolve8", F::roi_list, "di-12", 0, 0, 152, "Convolve8KX", On::src1},
    {"Convolve16", F::roi_list, "di-12", 0, 0, 152, "Convolve16KX", On::src1},
    {"Convolve8Convolve8", F::roi_list, nullptr, 0, 0, 0, nullptr, On::src1},
};

// A region list is made from the image's region and the region's rectangle list: where a
// routine reports a missing list, it reports a failure of either alike.
const Expected* expected_report(const char* routine, Failure failure) {
  for (const Expected& e : kReports) {
    if (e.failure == failure && std::strcmp(e.routine, routine) == 0) return &e;
  }
  if (failure == Failure::rect_list) return expected_report(routine, Failure::roi_list);
  if (failure == Failure::image_region) return expected_report(routine, Failure::rect_list);
  return nullptr;
}

// What a run may leave behind.
struct Held {
  long objects;
  int devices, mappings, allocations;
  bool operator==(const Held&) const = default;
};
void PrintTo(const Held& h, std::ostream* out) {
  *out << h.objects << " host objects, " << h.devices << " descriptors, " << h.mappings
       << " aliases, " << h.allocations << " allocations";
}
Held held() {
  return {ZelObject::liveObjects(), kxm::open_devices(), kxm::alias_mappings(),
          kxm::cmem_allocations()};
}

class FaultInjection : public PluginTest {
 protected:
  // One run of `r` on fresh images filled the same way each time; `failure` (if any) is
  // armed after the images exist and before the routine runs.
  struct Outcome {
    int status;
    std::vector<int> before, after;  // the destination (extrema: its results)
    Held held_before, held_after;
    std::vector<ZelErrorReport> reports;
    std::string printed;
    const ZelSystemState* state[3];  // of src1, src2, dst
  };

  Outcome run_once(const Registered& r, std::optional<Failure> failure) {
    kxm::configure({});
    const ZelOperationInfo* info = zel_operation_info(r.path.c_str());
    EXPECT_NE(info, nullptr) << r.name;
    const int dst_type = info->dst_data_type ? info->dst_data_type : info->data_type;
    ZelParamValues values;
    zel_example_params(*info, &values);
    unsigned src_bands = info->bands ? info->bands : 1, dst_bands = src_bands;
    if (info->params == ZelParams::colorspaces) {
      src_bands = zel_colorspace_info(values.from_space)->bands;
      dst_bands = zel_colorspace_info(values.to_space)->bands;
    }
    const bool has_dst = info->params != ZelParams::extrema;
    // Sources live in a state of their own, so that a report names the image it is on.
    ZelSystemState sources;
    ZelImage* src[3] = {};
    // A blend's alpha has one band of its own type; painting works in place.
    const bool in_place = info->params == ZelParams::paint;
    for (int i = 0; i < info->sources && !in_place; ++i) {
      const bool alpha = i == 2 && info->src3_data_type != 0;
      src[i] = sources.createImage(21, 3, alpha ? 1 : src_bands,
                                   alpha ? info->src3_data_type : info->data_type);
      fill(src[i], 7 + i);
      // A rotation reads its source's contiguous copy, which the host makes before it runs.
      if (info->ckx_source && src[i]->addStorage("ckx")) {
        copyKX2Ckx(record(src[i]), record(src[i], "ckx"), src[i]);
      }
    }
    ZelImage* dst = has_dst ? image(21, 3, dst_bands, dst_type) : nullptr;
    if (dst != nullptr) fill(dst, 3);
    ZelOp* o = state()->createOp(r.path.c_str());
    for (int i = 0; i < info->sources; ++i) o->setSrc(i + 1, in_place ? dst : src[i]);
    o->setDst(dst);
    zel_attach_params(o, info->params, &values);
    // The parameters as attached: a failure that clears them must not keep them from release.
    void* pointers[5] = {};
    ZelObject* objects[3] = {};
    for (int n = 1; n <= 4; ++n) pointers[n] = o->getPtrParam(n);
    for (int n = 1; n <= 2; ++n) objects[n] = o->getObjParam(n);

    const auto results = [&] {
      if (dst != nullptr) return pixels(dst);
      std::vector<int> out;
      for (int b = 0; b < 4; ++b)
        out.push_back(int(values.minima[b])), out.push_back(int(values.maxima[b]));
      return out;
    };
    Outcome out{};
    for (int i = 0; i < 2; ++i) {
      out.state[i] = src[i]     ? src[i]->getSystemState()
                     : in_place ? dst->getSystemState()
                                : nullptr;
    }
    out.state[2] = dst != nullptr ? dst->getSystemState() : nullptr;
    zelkx_paint_release();
    if (failure) arm(*failure, src, dst, o);
    out.before = results();
    zel_clear_error_log();
    out.held_before = held();
    testing::internal::CaptureStdout();
    out.status = run(r.routine, o);
    out.printed = testing::internal::GetCapturedStdout();
    kxm::drain();
    zelkx_paint_release();  // what painting keeps on purpose
    out.held_after = held();
    out.after = results();
    out.reports = zel_error_log();

    kxm::configure({});
    zel_global_state->failRoiLists(0);  // a failure off the path stays armed otherwise
    zel_global_state->failRectLists(0);
    zel_global_state->failImageRegions(0);
    zel_global_state->failImages(0);
    zel_global_state->failRois(0);
    zel_global_state->failAddRects(0);
    zel_global_state->failIntersects(0);
    for (int n = 1; n <= 4; ++n) o->setPtrParam(n, pointers[n]);
    for (int n = 1; n <= 2; ++n) o->setObjParam(n, objects[n]);
    zel_release_params(o, info->params);
    o->destroy();
    for (ZelImage* s : src) {
      if (s != nullptr) s->destroy();
    }
    return out;
  }

 private:
  static void fill(ZelImage* image, unsigned seed) {
    const bool wide = image->getDataType() == ZEL_INT16;
    for (unsigned y = 0; y < image->getHeight(); ++y) {
      for (unsigned x = 0; x < image->getWidth(); ++x) {
        for (unsigned b = 0; b < image->getBands(); ++b) {
          const unsigned v = (x * 37 + y * 101 + b * 53 + seed * 29) % 251;
          image->setPixel(x, y, b, wide ? int(v) * 97 + 1 : int(v));
        }
      }
    }
  }

  static void arm(Failure f, ZelImage* const* src, ZelImage* dst, ZelOp* o) {
    kxm::Config config;
    switch (f) {
      case Failure::roi_list:
        zel_global_state->failRoiLists(1);
        break;
      case Failure::rect_list:
        zel_global_state->failRectLists(1);
        break;
      case Failure::image_region:
        zel_global_state->failImageRegions(1);
        break;
      case Failure::no_src1_storage:
      case Failure::no_src2_storage:
      case Failure::no_dst_storage: {
        ZelImage* bare = f == Failure::no_src1_storage   ? src[0]
                         : f == Failure::no_src2_storage ? src[1]
                                                         : dst;
        if (bare != nullptr) bare->removeStorage("kx");
        break;
      }
      case Failure::null_pointers:
        for (int n = 1; n <= 3; ++n) o->setPtrParam(n, nullptr);
        break;
      case Failure::null_object1:
        o->setObjParam(1, nullptr);
        break;
      case Failure::null_object2:
        o->setObjParam(2, nullptr);
        break;
      case Failure::cmem_device:
        config.cmem_device = false;
        break;
      case Failure::cmem_alloc:
        config.cmem_alloc = false;
        break;
      case Failure::cmem_map:
        config.cmem_maps = false;
        break;
      case Failure::cmem_alias:
        config.alias_maps = false;
        break;
      case Failure::bounds:
        config.bounds_request = false;
        break;
      case Failure::cmem_unmap:
        config.cmem_unmaps = false;
        break;
      case Failure::new_image:
        zel_global_state->failImages(1);
        break;
      case Failure::new_region:
        zel_global_state->failRois(1);
        break;
      case Failure::add_rect:
        zel_global_state->failAddRects(1);
        break;
      case Failure::intersect:
        zel_global_state->failIntersects(1);
        break;
    }
    kxm::configure(config);
  }
};

TEST_F(FaultInjection, EveryRoutineRefusesEachFailureOnItsPathCleanlyAndIgnoresTheRest) {
  int refusals = 0, cases = 0;
  for (const Registered& r : kRegistered) {
    const Outcome baseline = run_once(r, std::nullopt);
    ASSERT_EQ(baseline.status, 0) << r.name << " refuses its ordinary case";
    EXPECT_EQ(baseline.held_after, baseline.held_before) << r.name;
    for (Failure f : kFailures) {
      const std::string what = std::string(r.name) + ", " + kFailureNames[int(f)];
      const Outcome got = run_once(r, f);
      ++cases;
      // Only a routine that releases device memory meets a failing unmapping, which leaves
      // the allocation behind: it is printed and otherwise ignored.
      const bool unmapped = f == Failure::cmem_unmap && std::strncmp(r.name, "Lookup", 6) == 0;
      Held left = got.held_before;
      left.allocations += unmapped;
      EXPECT_EQ(got.held_after, left) << what;
      const Expected* report = expected_report(r.name, f);
      if (report != nullptr) {
        EXPECT_EQ(got.status, 2) << what;
      }
      if (got.status == 2) {
        ++refusals;
        EXPECT_EQ(got.after, got.before) << what << ": a refusal changed the destination";
      } else {
        EXPECT_EQ(got.status, 0) << what;
        // Extrema results go only where their pointers are not null.
        const bool unwritten =
            f == Failure::null_pointers && std::strncmp(r.name, "Extrema", 7) == 0;
        EXPECT_EQ(got.after, unwritten ? got.before : baseline.after)
            << what << ": a failure off the path changed the result";
      }
      if (report == nullptr || report->id == nullptr) {
        EXPECT_TRUE(got.reports.empty()) << what << ": " << got.reports.front().id;
      } else if (got.reports.size() != 1) {
        ADD_FAILURE() << what << ": " << got.reports.size() << " reports";
      } else {
        const ZelErrorReport& e = got.reports.front();
        EXPECT_EQ(
            std::tuple(e.id, e.category, e.flag, e.line, e.file, e.object),
            std::tuple(std::string(report->id), report->category, report->flag, report->line,
                       std::string(report->file), static_cast<const ZelObject*>(nullptr)))
            << what;
        EXPECT_EQ(e.state, got.state[int(report->on)]) << what;
      }
      EXPECT_EQ(got.printed, unmapped ? "Could not munmap cmem\n" : "") << what;
    }
  }
  RecordProperty("cases", cases);
  RecordProperty("refusals", refusals);
  EXPECT_EQ(cases, int(std::size(kRegistered) * std::size(kFailures)));
}

}  // namespace
