// Regions: sets of disjoint rectangles in operation space, their rectangle lists, and the
// rectangles an operation visits (ZeliGetRoiList).
#include <algorithm>
#include <climits>

#include "zel.h"

namespace {

// A rectangle by its edges, [left, right) x [top, bottom), wide enough that sums of two ints
// cannot overflow.
struct Edges {
  long long left, top, right, bottom;
  bool empty() const { return left >= right || top >= bottom; }
};

Edges edges_of(const ZelRoi::Rect& r) {
  return {r.x, r.y, static_cast<long long>(r.x) + r.width,
          static_cast<long long>(r.y) + r.height};
}

ZelRoi::Rect rect_of(const Edges& e) {
  return {static_cast<int>(e.left), static_cast<int>(e.top), static_cast<int>(e.right - e.left),
          static_cast<int>(e.bottom - e.top)};
}

Edges meet(const Edges& a, const Edges& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

// The parts of `a` outside `b`: up to four rectangles (the strips above and below b, then
// the pieces left and right of b within b's rows).
void subtract(const Edges& a, const Edges& b, std::vector<Edges>* out) {
  Edges m = meet(a, b);
  if (m.empty()) {
    out->push_back(a);
    return;
  }
  if (a.top < m.top) out->push_back({a.left, a.top, a.right, m.top});
  if (m.bottom < a.bottom) out->push_back({a.left, m.bottom, a.right, a.bottom});
  if (a.left < m.left) out->push_back({a.left, m.top, m.left, m.bottom});
  if (m.right < a.right) out->push_back({m.right, m.top, a.right, m.bottom});
}

// Every representable coordinate: [INT_MIN, INT_MAX) keeps right - left within int.
const Edges kIntRange = {INT_MIN, INT_MIN, INT_MAX, INT_MAX};

void sort_rects(std::vector<ZelRoi::Rect>* rects) {
  std::sort(rects->begin(), rects->end(), [](const ZelRoi::Rect& a, const ZelRoi::Rect& b) {
    return a.y != b.y ? a.y < b.y : a.x < b.x;
  });
}

class RectList final : public ZelRectList {
 public:
  RectList(ZelSystemState* state, std::vector<ZelRoi::Rect> rects)
      : ZelRectList(state), rects_(std::move(rects)) {}
  void destroy() override { delete this; }
  int getNextRect(int* x, int* y, int* width, int* height) override {
    if (next_ >= rects_.size()) return 0;
    const ZelRoi::Rect& r = rects_[next_++];
    if (x) *x = r.x;
    if (y) *y = r.y;
    if (width) *width = r.width;
    if (height) *height = r.height;
    return 1;
  }

 private:
  std::vector<ZelRoi::Rect> rects_;
  size_t next_ = 0;
};

}  // namespace

void ZelRoi::destroy() {
  delete this;
}

ZelRoi* ZelRoi::translate(int dx, int dy) const {
  ZelRoi* moved = new ZelRoi(getSystemState());
  for (const Rect& r : rects_) {
    Edges e = edges_of(r);
    Edges t = meet({e.left + dx, e.top + dy, e.right + dx, e.bottom + dy}, kIntRange);
    if (!t.empty()) moved->rects_.push_back(rect_of(t));
  }
  // Moving every rectangle by the same amount keeps their order.
  return moved;
}

ZelRoi* ZelRoi::intersect(const ZelRoi* other) const {
  if (!other) return nullptr;
  ZelRoi* common = new ZelRoi(getSystemState());
  // The pieces of two sets of disjoint rectangles are disjoint.
  for (const Rect& a : rects_) {
    for (const Rect& b : other->rects_) {
      Edges m = meet(edges_of(a), edges_of(b));
      if (!m.empty()) common->rects_.push_back(rect_of(m));
    }
  }
  sort_rects(&common->rects_);
  return common;
}

int ZelRoi::addRect(int x, int y, int width, int height) {
  if (width < 0 || height < 0) return 2;
  Edges added = edges_of({x, y, width, height});
  if (added.right > INT_MAX || added.bottom > INT_MAX) return 2;
  if (added.empty()) return 0;
  std::vector<Edges> pieces = {added};
  for (const Rect& r : rects_) {
    std::vector<Edges> rest;
    for (const Edges& p : pieces) subtract(p, edges_of(r), &rest);
    pieces.swap(rest);
    if (pieces.empty()) return 0;
  }
  for (const Edges& p : pieces) rects_.push_back(rect_of(p));
  sort_rects(&rects_);
  changed();
  return 0;
}

ZelRectList* ZelRoi::getRectList() const {
  return new RectList(getSystemState(), rects_);
}

bool ZelRoi::contains(int x, int y) const {
  for (const Rect& r : rects_) {
    Edges e = edges_of(r);
    if (x >= e.left && x < e.right && y >= e.top && y < e.bottom) return true;
  }
  return false;
}

long long ZelRoi::area() const {
  long long sum = 0;
  for (const Rect& r : rects_) sum += static_cast<long long>(r.width) * r.height;
  return sum;
}

ZelRectList* ZeliGetRoiList(ZelRoi** roi, ZelImage* dst, ZelImage* src1, ZelImage* src2,
                            ZelImage* src3) {
  if (roi) *roi = nullptr;
  if (zel_global_state && zel_global_state->takeRoiListFailure()) return nullptr;
  ZelRoi* common = nullptr;
  for (ZelImage* image : {dst, src1, src2, src3}) {
    if (!image) continue;
    ZelRoi* region = image->getImageSpaceRoi();
    ZelRoi* next = common ? common->intersect(region) : region->translate(0, 0);
    if (common) common->destroy();
    common = next;
  }
  if (!common) return nullptr;
  ZelRectList* list = common->getRectList();
  if (roi) {
    *roi = common;
  } else {
    common->destroy();
  }
  return list;
}
