#include "zel_params.h"

#include <algorithm>
#include <cstring>

namespace {

ZelKernel* make_kernel(ZelOp* op, const ZelParamValues::Kernel& k) {
  return op->getSystemState()->createKernel(k.width, k.height, k.values.data(),
                                            int16_t(k.key_x), int16_t(k.key_y));
}

void release_object(ZelOp* op, int n) {
  if (ZelObject* object = op->getObjParam(n)) object->destroy();
  op->setObjParam(n, nullptr);
}

}  // namespace

void zel_attach_params(ZelOp* op, ZelParams kind, ZelParamValues* v) {
  switch (kind) {
    case ZelParams::none:
      break;
    case ZelParams::constants:
    case ZelParams::fill:
      op->setPtrParam(1, v->lists[0]);
      break;
    case ZelParams::bit_constants:
      op->setPtrParam(1, v->bits);
      break;
    case ZelParams::rescale:
      op->setPtrParam(1, v->lists[0]);
      op->setPtrParam(2, v->lists[1]);
      break;
    case ZelParams::matrix:
      op->setObjParam(1, op->getSystemState()->createKernel(4, 3, v->matrix));
      break;
    case ZelParams::threshold:
      op->setPtrParam(1, &v->low);
      op->setPtrParam(2, &v->high);
      op->setPtrParam(3, &v->map);
      break;
    case ZelParams::extrema:
      op->setPtrParam(1, v->maxima);
      op->setPtrParam(2, v->minima);
      break;
    case ZelParams::lookup: {
      const unsigned bands = std::max(v->table_bands, 1u);
      const int type = op->getDst() ? op->getDst()->getDataType() : ZEL_UINT8;
      op->setPtrParam(
          1, op->getSystemState()->createLookup(int(v->table.size() / bands), bands,
                                                v->table_offset, type, v->table.data()));
      break;
    }
    case ZelParams::colorspaces:
      op->setObjParam(1, op->getSystemState()->createColorspace(v->from_space));
      op->setObjParam(2, op->getSystemState()->createColorspace(v->to_space));
      break;
    case ZelParams::paint:
      op->setPtrParam(1, v->lists[0]);
      op->setPtrParam(2, op->getSystemState()->createKernel(
                             v->brush_width, v->brush_height, v->brush.data(),
                             int16_t(v->brush_key_x), int16_t(v->brush_key_y)));
      op->setLongParam(3, long(v->points.size() / 2));
      op->setPtrParam(4, v->points.data());
      break;
    case ZelParams::transpose:
      op->setLongParam(1, v->transpose);
      break;
    case ZelParams::rotate:
      op->setFloatParam(1, v->angle);
      break;
    case ZelParams::scale:
      op->setFloatParam(1, v->amounts[0]);
      op->setFloatParam(2, v->amounts[1]);
      break;
    case ZelParams::translate:
      op->setFloatParam(1, v->amounts[0]);
      op->setFloatParam(2, v->amounts[1]);
      break;
    case ZelParams::kernel:
      op->setObjParam(1, make_kernel(op, v->kernels[0]));
      op->setLongParam(2, v->edges[0]);
      break;
    case ZelParams::kernel_pointer:
      op->setPtrParam(1, make_kernel(op, v->kernels[0]));
      op->setLongParam(2, v->edges[0]);
      break;
    case ZelParams::kernel_pair:
      op->setObjParam(1, make_kernel(op, v->kernels[1]));
      op->setLongParam(2, v->edges[1]);
      if (ZelOp* inner = op->getOp1()) {
        inner->setSrc(1, op->getSrc1());
        inner->setObjParam(1, make_kernel(inner, v->kernels[0]));
        inner->setLongParam(2, v->edges[0]);
      }
      break;
  }
}

void zel_release_params(ZelOp* op, ZelParams kind) {
  const auto release = [op](int n) { release_object(op, n); };
  switch (kind) {
    case ZelParams::matrix:
      release(1);
      break;
    case ZelParams::colorspaces:
      release(1);
      release(2);
      break;
    case ZelParams::lookup:
      if (auto* table = static_cast<ZelLookup*>(op->getPtrParam(1))) table->destroy();
      op->setPtrParam(1, nullptr);
      break;
    case ZelParams::paint:
      if (auto* brush = static_cast<ZelKernel*>(op->getPtrParam(2))) brush->destroy();
      op->setPtrParam(2, nullptr);
      break;
    case ZelParams::kernel:
      release(1);
      break;
    case ZelParams::kernel_pointer:
      if (auto* kernel = static_cast<ZelKernel*>(op->getPtrParam(1))) kernel->destroy();
      op->setPtrParam(1, nullptr);
      break;
    case ZelParams::kernel_pair:
      release(1);
      if (ZelOp* inner = op->getOp1()) release_object(inner, 1);
      break;
    default:
      break;
  }
}

void zel_example_params(const ZelOperationInfo& info, ZelParamValues* v) {
  const auto set = [](float* out, std::initializer_list<float> values) {
    std::copy(values.begin(), values.end(), out);
  };
  const bool wide = info.data_type == ZEL_INT16;
  const char* name = info.name;
  switch (info.params) {
    case ZelParams::constants:
      if (std::strncmp(name, "multiplyconst", 13) == 0) {
        set(v->lists[0], {1.5f, 0.25f, 3.0f, 0.003f});
      } else if (std::strncmp(name, "divideconst", 11) == 0) {
        set(v->lists[0], {3.0f, 0.5f, 7.0f, 200.0f});
      } else {
        set(v->lists[0], {7.6f, -20.0f, wide ? 3000.0f : 300.0f, 45.0f});
      }
      break;
    case ZelParams::bit_constants:
      std::fill(v->bits, v->bits + 4, wide ? 0x0FF0u : 0x5Au);
      break;
    case ZelParams::fill:
      set(v->lists[0], {12.4f, 200.0f, 77.0f, 300.0f});
      break;
    case ZelParams::rescale:
      set(v->lists[0], {1.5f, 0.5f, 2.0f, 0.75f});
      set(v->lists[1], {10.0f, -5.0f, 3.0f, 0.0f});
      break;
    case ZelParams::matrix:
      set(v->matrix,
          {0.5f, 0.25f, 0.25f, 10.0f, 0.0f, 1.0f, 0.0f, -5.0f, 0.125f, 0.125f, 0.75f, 0.0f});
      break;
    case ZelParams::threshold:
      v->low = wide ? -1000.0f : 60.0f;
      v->high = wide ? 2000.5f : 180.5f;
      v->map = wide ? 7.0f : 255.0f;
      break;
    case ZelParams::lookup: {
      // An S-shaped curve over part of the source range, clamped beyond it.
      const bool wide_entries =
          (info.dst_data_type ? info.dst_data_type : info.data_type) == ZEL_INT16;
      const int entries = wide ? 3000 : 200;
      v->table_offset = wide ? -1000 : 30;
      v->table.clear();
      for (int i = 0; i < entries; ++i) {
        for (unsigned b = 0; b < std::max(v->table_bands, 1u); ++b) {
          const int step = (i * 255 / entries + 40 * int(b)) % 256;
          v->table.push_back(wide_entries ? step * 251 - 32000 : step);
        }
      }
      break;
    }
    case ZelParams::colorspaces:
      v->from_space = ZEL_CS_RGB709;
      v->to_space = ZEL_CS_YCC601;
      break;
    case ZelParams::paint: {
      // A round 7 x 7 brush, opaque at its centre, fading to its rim; a few points.
      v->brush_width = v->brush_height = 7;
      v->brush_key_x = v->brush_key_y = 3;
      v->brush.clear();
      for (int j = 0; j < 7; ++j) {
        for (int i = 0; i < 7; ++i) {
          const float r2 = float((i - 3) * (i - 3) + (j - 3) * (j - 3));
          v->brush.push_back(r2 > 10 ? 0.0f : 1.0f - r2 / 10);
        }
      }
      const float colour[4] = {200, 60, 30, 255};
      std::copy(colour, colour + 4, v->lists[0]);
      v->points = {2, 1, 6.5f, 2.4f, 10, 2, -1.5f, 0};
      break;
    }
    case ZelParams::scale:  // magnified across, reduced down
      v->amounts[0] = 2.5f;
      v->amounts[1] = 0.75f;
      break;
    case ZelParams::rotate:  // a sixth of a turn
      v->angle = 1.0471976f;
      break;
    case ZelParams::translate:  // nearest: half a pixel rounds up (4 across); others whole
      v->amounts[0] = std::strstr(name, "nearest") != nullptr ? 3.5f : 4.0f;
      v->amounts[1] = 2.0f;
      break;
    case ZelParams::transpose:  // a quarter turn (8-bit); a half turn fits any 16-bit image
      v->transpose = wide ? 5 : 4;
      break;
    case ZelParams::kernel:
    case ZelParams::kernel_pointer:
      // Sharpening: multiples of 1/256 with a sum of 1, which every routine takes.
      v->kernels[0] = {3, 3, 1, 1, {0, -0.25f, 0, -0.25f, 2, -0.25f, 0, -0.25f, 0}};
      v->edges[0] = ZEL_EDGE_EXTEND;
      break;
    case ZelParams::kernel_pair:
      v->kernels[0] = {5, 1, 2, 0, {0.0625f, 0.25f, 0.375f, 0.25f, 0.0625f}};
      v->kernels[1] = {1, 5, 0, 2, v->kernels[0].values};
      v->edges[0] = v->edges[1] = ZEL_EDGE_EXTEND;
      break;
    case ZelParams::none:
    case ZelParams::extrema:
      break;
  }
}
