#include "zel_params.h"

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
  }
}

void zel_release_params(ZelOp* op, ZelParams kind) {
  if (kind != ZelParams::matrix) return;
  ZelObject* kernel = op->getObjParam(1);
  if (kernel != nullptr) kernel->destroy();
  op->setObjParam(1, nullptr);
}
