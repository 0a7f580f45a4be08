// paint8: stamps a brush of one colour at a list of points on an 8-bit image of 1, 3 or 4
// bands, in place, with the blend kernels: the brush's weights are the alpha, a brush-sized
// image of the colour the other source. The colour and brush images are kept between calls
// and made again when the colour, its band count or the brush changes.
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "ZelDeviceComputeTypeKX.h"
#include "kx_blend.h"
#include "kx_utils.h"

namespace {

constexpr const char* kFile = "Paint8KX";

// What painting keeps between calls (one caller thread, like the storage rings).
ZelImage* colour_image = nullptr;
ZelImage* brush_image = nullptr;
float cached_colour[4] = {};
unsigned cached_bands = 0;
ZelVersionNumber brush_version;  // of the brush the images were made for

void release(ZelImage** image) {
  if (*image != nullptr) (*image)->destroy();
  *image = nullptr;
}

// A W x H image of 8-bit pixels, each filled by `fill` through the host address.
template <typename Fill>
ZelImage* made_image(ZelSystemState* state, int width, int height, unsigned bands, Fill fill) {
  ZelImage* image = state->createImage(unsigned(width), unsigned(height), bands, 1);
  if (image == nullptr) return nullptr;
  const __ZelKXStorage* record = getKXStorage(image);
  if (record == nullptr) {
    image->destroy();
    return nullptr;
  }
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      fill(record->host_address + size_t(y) * record->line_stride +
               size_t(x) * record->pixel_stride,
           x, y);
    }
  }
  return image;
}

// Rounded half away from zero and saturated to the int range.
long long point_coordinate(double c) {
  const double r = c >= 0 ? c + 0.5 : c - 0.5;
  if (r >= 2147483647.0) return INT_MAX;
  if (r <= -2147483648.0) return INT_MIN;
  return static_cast<long long>(r);
}

struct Stamp {
  int x, y, width, height;  // a rectangle of the area
  long long left, top;      // the brush's top-left
};

}  // namespace

void zelkx_paint_release() {
  release(&colour_image);
  release(&brush_image);
  cached_bands = 0;
  brush_version = ZelVersionNumber();
}

int ZelDeviceComputeTypeKX::Paint8(ZelOp* op, int) {
  ZelImage* src = op->getSrc1();
  ZelImage* dst = op->getDst();
  if (src == nullptr || dst == nullptr || src->getDataType() != 1) return 2;
  const unsigned bands = src->getBands();
  if (bands != 1 && bands != 3 && bands != 4) return 2;
  if (zelkx_check_child_8(src, dst, nullptr, nullptr) == 2) return 2;
  // Each stamp reads the source and writes the destination: only in place do overlapping
  // stamps build on one another, and only then is the rest of the destination right.
  if (dst != src) return 2;

  const auto* colour = static_cast<const float*>(op->getPtrParam(1));
  const auto* brush = static_cast<const ZelKernel*>(op->getPtrParam(2));
  const long count = op->getLongParam(3);
  const auto* points = static_cast<const float*>(op->getPtrParam(4));
  // No points need no point list.
  if (colour == nullptr || brush == nullptr || count < 0 || (points == nullptr && count > 0)) {
    return 2;
  }
  const int width = brush->getWidth(), height = brush->getHeight();
  if (width < 1 || height < 1) return 2;
  for (unsigned b = 0; b < bands; ++b) {  // a byte each: no rounding may wrap
    const double c = double(colour[b]) + 0.5;
    if (!(c >= 0 && c < 256)) return 2;
  }
  const float* weights = brush->getValue();
  for (long i = 0; i < long(width) * height; ++i) {
    if (!(weights[i] >= 0 && weights[i] <= 1)) return 2;
  }

  KXImage s, d;
  if (!zelkx_open_image(src, &s) || !zelkx_open_image(dst, &d)) return 2;
  const uint32_t step = bands > 1 ? 4 : 1;
  if (!zelkx_blend_walks(s, 1, step) || !zelkx_blend_walks(d, 1, step)) return 2;
  if (bands > 1 && !zelkx_blend_mask_fits(dst, bands)) return 2;

  // The colour image, when the colour, its band count or the brush changed.
  const bool brush_changed = brush->getVersion() != brush_version;
  bool colour_changed = colour_image == nullptr || bands != cached_bands || brush_changed;
  for (unsigned b = 0; b < bands && !colour_changed; ++b) {
    colour_changed = colour[b] != cached_colour[b];
  }
  ZelSystemState* state = dst->getSystemState();
  if (colour_changed) {
    release(&colour_image);
    cached_bands = 0;
    const unsigned first = bands == 3 ? 1 : 0;
    colour_image = made_image(state, width, height, bands, [&](unsigned char* p, int, int) {
      for (unsigned b = 0; b < bands; ++b) p[first + b] = uint8_t(int(colour[b] + 0.5) & 0xff);
    });
    if (colour_image == nullptr) return 2;
    std::memcpy(cached_colour, colour, bands * sizeof(float));
    cached_bands = bands;
  }
  if (brush_image == nullptr || brush_changed) {
    release(&brush_image);
    brush_image = made_image(state, width, height, 1, [&](unsigned char* p, int x, int y) {
      *p = uint8_t(int(double(weights[y * width + x]) * 255.0 + 0.5) & 0xff);
    });
    if (brush_image == nullptr) return 2;
    brush_version = brush->getVersion();
  }
  KXImage colour_pixels, brush_pixels;
  if (!zelkx_open_image(colour_image, &colour_pixels) ||
      !zelkx_open_image(brush_image, &brush_pixels)) {
    return 2;
  }

  ZelRoi* dst_region = dst->getImageSpaceRoi();
  ZelRoi* area =
      dst_region != nullptr ? dst_region->intersect(src->getImageSpaceRoi()) : nullptr;
  if (area == nullptr) {
    zelkx_report(src, kFile, {1, "di-7", 0, 235});
    return 2;
  }
  // Every point's rectangles first, so that a failing service leaves the image unpainted.
  std::vector<Stamp> stamps;
  int status = 0;
  for (unsigned long i = 0; i < (unsigned long)count && status == 0; ++i) {
    const long long left = point_coordinate(double(points[2 * i])) - brush->getKeyX();
    const long long top = point_coordinate(double(points[2 * i + 1])) - brush->getKeyY();
    ZelRoi* stamp = state->createRoi();
    if (stamp == nullptr) {
      zelkx_report(dst, kFile, {1, "di-1", 0, 266});
      status = 2;
      break;
    }
    // Parts beyond the int range lie on no image.
    const long long x0 = std::max<long long>(left, INT_MIN);
    const long long y0 = std::max<long long>(top, INT_MIN);
    const long long x1 = std::min<long long>(left + width, INT_MAX);
    const long long y1 = std::min<long long>(top + height, INT_MAX);
    ZelRoi* common = nullptr;
    ZelRectList* list = nullptr;
    if (x1 > x0 && y1 > y0 &&
        stamp->addRect(int(x0), int(y0), int(x1 - x0), int(y1 - y0)) != 0) {
      status = 2;
    } else if ((common = stamp->intersect(area)) == nullptr ||
               (list = common->getRectList()) == nullptr) {
      status = 2;
    } else {
      for (Stamp t{0, 0, 0, 0, left, top};
           list->getNextRect(&t.x, &t.y, &t.width, &t.height);) {
        stamps.push_back(t);
      }
    }
    if (list != nullptr) list->destroy();
    if (common != nullptr) common->destroy();
    stamp->destroy();
  }
  area->destroy();
  if (status != 0) return status;

  const ZelKXBlendKernel kernel = bands == 1 ? sl_rect_blend8_8 : sl_rect_blend32_32;
  for (const Stamp& t : stamps) {
    const int u = int(t.x - t.left), v = int(t.y - t.top);
    kernel(d.address(t.x, t.y, 1), int32_t(d.line_stride), t.width, t.height,
           colour_pixels.address(u, v, 1), int32_t(colour_pixels.line_stride),
           s.address(t.x, t.y, 1), int32_t(s.line_stride), brush_pixels.address(u, v, 1),
           int32_t(brush_pixels.line_stride));
  }
  return 0;
}
