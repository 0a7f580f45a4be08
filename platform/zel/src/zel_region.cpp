// Regions: sets of disjoint rectangles in operation space, their rectangle lists, and the
// rectangles an operation visits (ZeliGetRoiList).
#include <algorithm>
#include <climits>
#include <cmath>

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

namespace {

// Rectangle arguments of the in-place operations: a negative size is refused.
bool valid_size(int width, int height) {
  return width >= 0 && height >= 0;
}

// The pieces of `pieces` outside every rectangle of `cut`.
std::vector<Edges> cut_away(std::vector<Edges> pieces, const std::vector<ZelRoi::Rect>& cut) {
  for (const ZelRoi::Rect& r : cut) {
    std::vector<Edges> rest;
    for (const Edges& p : pieces) subtract(p, edges_of(r), &rest);
    pieces.swap(rest);
    if (pieces.empty()) break;
  }
  return pieces;
}

std::vector<ZelRoi::Rect> rects_of(const std::vector<Edges>& pieces) {
  std::vector<ZelRoi::Rect> rects;
  for (const Edges& p : pieces) rects.push_back(rect_of(p));
  return rects;
}

std::vector<Edges> edges_of_all(const std::vector<ZelRoi::Rect>& rects) {
  std::vector<Edges> edges;
  for (const ZelRoi::Rect& r : rects) edges.push_back(edges_of(r));
  return edges;
}

// The parts of the rectangles that lie inside `clip`.
std::vector<ZelRoi::Rect> clipped(const std::vector<ZelRoi::Rect>& rects, const Edges& clip) {
  std::vector<ZelRoi::Rect> inside;
  for (const ZelRoi::Rect& r : rects) {
    Edges m = meet(edges_of(r), clip);
    if (!m.empty()) inside.push_back(rect_of(m));
  }
  return inside;
}

std::vector<ZelRoi::Rect> moved(const std::vector<ZelRoi::Rect>& rects, int dx, int dy) {
  std::vector<ZelRoi::Rect> out;
  for (const ZelRoi::Rect& r : rects) {
    Edges e = edges_of(r);
    Edges t = meet({e.left + dx, e.top + dy, e.right + dx, e.bottom + dy}, kIntRange);
    if (!t.empty()) out.push_back(rect_of(t));
  }
  return out;
}

}  // namespace

void ZelRoi::assign(std::vector<Rect> rects) {
  sort_rects(&rects);
  const bool same =
      rects.size() == rects_.size() &&
      std::equal(rects.begin(), rects.end(), rects_.begin(), [](const Rect& a, const Rect& b) {
        return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
      });
  if (same) return;
  rects_ = std::move(rects);
  changed();
}

ZelRoi* ZelRoi::translate(int dx, int dy) const {
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(moved(rects_, dx, dy));
  return result;
}

ZelRoi* ZelRoi::intersect(const ZelRoi* other) const {
  if (other && zel_global_state && zel_global_state->takeIntersectFailure()) return nullptr;
  return hostIntersect(other);
}

ZelRoi* ZelRoi::hostIntersect(const ZelRoi* other) const {
  if (!other) return nullptr;
  // The pieces of two sets of disjoint rectangles are disjoint.
  std::vector<Rect> common;
  for (const Rect& b : other->rects_) {
    for (const Rect& piece : clipped(rects_, edges_of(b))) common.push_back(piece);
  }
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(std::move(common));
  return result;
}

ZelRoi* ZelRoi::unite(const ZelRoi* other) const {
  if (!other) return nullptr;
  std::vector<Rect> all = rects_;
  for (const Rect& piece : rects_of(cut_away(edges_of_all(other->rects_), rects_))) {
    all.push_back(piece);
  }
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(std::move(all));
  return result;
}

ZelRoi* ZelRoi::subtract(const ZelRoi* other) const {
  if (!other) return nullptr;
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(rects_of(cut_away(edges_of_all(rects_), other->rects_)));
  return result;
}

ZelRoi* ZelRoi::clone() const {
  return translate(0, 0);
}

int ZelRoi::addRect(int x, int y, int width, int height) {
  if (valid_size(width, height) && zel_global_state && zel_global_state->takeAddRectFailure()) {
    return 2;
  }
  return hostAddRect(x, y, width, height);
}

int ZelRoi::hostAddRect(int x, int y, int width, int height) {
  if (!valid_size(width, height)) return 2;
  Edges added = edges_of({x, y, width, height});
  if (added.right > INT_MAX || added.bottom > INT_MAX) return 2;
  if (added.empty()) return 0;
  std::vector<Rect> all = rects_;
  for (const Rect& piece : rects_of(cut_away({added}, rects_))) all.push_back(piece);
  assign(std::move(all));
  return 0;
}

int ZelRoi::subtractRect(int x, int y, int width, int height) {
  if (!valid_size(width, height)) return 2;
  assign(rects_of(cut_away(edges_of_all(rects_), {Rect{x, y, width, height}})));
  return 0;
}

int ZelRoi::intersectRect(int x, int y, int width, int height) {
  if (!valid_size(width, height)) return 2;
  assign(clipped(rects_, edges_of(Rect{x, y, width, height})));
  return 0;
}

int ZelRoi::offset(int dx, int dy) {
  assign(moved(rects_, dx, dy));
  return 0;
}

void ZelRoi::clear() {
  assign({});
}

bool ZelRoi::contains(int x, int y) const {
  for (const Rect& r : rects_) {
    Edges e = edges_of(r);
    if (x >= e.left && x < e.right && y >= e.top && y < e.bottom) return true;
  }
  return false;
}

bool ZelRoi::containsRect(int x, int y, int width, int height) const {
  if (!valid_size(width, height)) return false;
  if (width == 0 || height == 0) return true;
  return cut_away({edges_of(Rect{x, y, width, height})}, rects_).empty();
}

bool ZelRoi::overlapsRect(int x, int y, int width, int height) const {
  if (!valid_size(width, height)) return false;
  return !clipped(rects_, edges_of(Rect{x, y, width, height})).empty();
}

bool ZelRoi::overlaps(const ZelRoi* other) const {
  if (!other) return false;
  for (const Rect& b : other->rects_) {
    if (overlapsRect(b.x, b.y, b.width, b.height)) return true;
  }
  return false;
}

bool ZelRoi::equals(const ZelRoi* other) const {
  if (!other) return false;
  return area() == other->area() && cut_away(edges_of_all(rects_), other->rects_).empty();
}

bool ZelRoi::empty() const {
  return rects_.empty();
}

bool ZelRoi::isRectangle() const {
  int x, y, width, height;
  return bounds(&x, &y, &width, &height) == 0 &&
         static_cast<long long>(width) * height == area();
}

long long ZelRoi::area() const {
  long long sum = 0;
  for (const Rect& r : rects_) sum += static_cast<long long>(r.width) * r.height;
  return sum;
}

int ZelRoi::bounds(int* x, int* y, int* width, int* height) const {
  Edges box = {0, 0, 0, 0};
  for (size_t i = 0; i < rects_.size(); ++i) {
    const Edges e = edges_of(rects_[i]);
    box = i == 0 ? e
                 : Edges{std::min(box.left, e.left), std::min(box.top, e.top),
                         std::max(box.right, e.right), std::max(box.bottom, e.bottom)};
  }
  const bool fits =
      !rects_.empty() && box.right - box.left <= INT_MAX && box.bottom - box.top <= INT_MAX;
  if (!fits) box = {0, 0, 0, 0};
  const Rect r = rect_of(box);
  if (x) *x = r.x;
  if (y) *y = r.y;
  if (width) *width = r.width;
  if (height) *height = r.height;
  return fits ? 0 : 2;
}

int ZelRoi::rectCount() const {
  return static_cast<int>(std::min<size_t>(rects_.size(), INT_MAX));
}

int ZelRoi::getRect(int i, int* x, int* y, int* width, int* height) const {
  if (i < 0 || static_cast<size_t>(i) >= rects_.size()) return 2;
  const Rect& r = rects_[static_cast<size_t>(i)];
  if (x) *x = r.x;
  if (y) *y = r.y;
  if (width) *width = r.width;
  if (height) *height = r.height;
  return 0;
}

ZelRectList* ZelRoi::getRectList() const {
  if (zel_global_state && zel_global_state->takeRectListFailure()) return nullptr;
  return new RectList(getSystemState(), rects_);
}

ZelRoi* ZelRoi::transpose(int type, double cx, double cy) const {
  if (type < 0 || type > 6 || !std::isfinite(cx) || !std::isfinite(cy)) return nullptr;
  // Per type: which coordinate (0 = x, 1 = y) each new axis takes, and its sign.
  static const int kFrom[7][2] = {{0, 1}, {0, 1}, {1, 0}, {1, 0}, {1, 0}, {0, 1}, {1, 0}};
  static const int kSign[7][2] = {{1, -1}, {-1, 1},  {1, 1}, {-1, -1},
                                  {1, -1}, {-1, -1}, {-1, 1}};
  const double centre[2] = {cx, cy};
  std::vector<Rect> out;
  for (const Rect& r : rects_) {
    const Edges e = edges_of(r);
    const long long low[2] = {e.left, e.top}, high[2] = {e.right - 1, e.bottom - 1};
    long long lo[2], hi[2];
    for (int axis = 0; axis < 2; ++axis) {
      const int from = kFrom[type][axis], sign = kSign[type][axis];
      // new = centre[axis] + sign (old - centre[from]) = k + sign old, k rounded at 1/2
      const long long k =
          static_cast<long long>(std::floor(centre[axis] - sign * centre[from] + 0.5));
      const long long a = k + sign * low[from], b = k + sign * high[from];
      lo[axis] = std::min(a, b);
      hi[axis] = std::max(a, b) + 1;
    }
    const Edges t = meet({lo[0], lo[1], hi[0], hi[1]}, kIntRange);
    if (!t.empty()) out.push_back(rect_of(t));
  }
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(std::move(out));
  return result;
}

ZelRoi* ZelRoi::scale(double qx, double qy) const {
  if (!(std::isfinite(qx) && qx > 0 && std::isfinite(qy) && qy > 0)) return nullptr;
  const auto scaled = [](long long v, double q) {
    return static_cast<long long>(
        std::clamp(std::ceil(q * static_cast<double>(v)), double(INT_MIN), double(INT_MAX)));
  };
  std::vector<Rect> out;
  for (const Rect& r : rects_) {
    const Edges e = edges_of(r);
    const Edges s =
        meet({scaled(e.left, qx), scaled(e.top, qy), scaled(e.right, qx), scaled(e.bottom, qy)},
             kIntRange);
    if (!s.empty()) out.push_back(rect_of(s));
  }
  ZelRoi* result = new ZelRoi(getSystemState());
  result->assign(std::move(out));
  return result;
}

ZelRectList* ZeliGetRoiList(ZelRoi** roi, ZelImage* dst, ZelImage* src1, ZelImage* src2,
                            ZelImage* src3) {
  if (roi) *roi = nullptr;
  if (zel_global_state && zel_global_state->takeRoiListFailure()) return nullptr;
  ZelRoi* common = nullptr;
  for (ZelImage* image : {dst, src1, src2, src3}) {
    if (!image) continue;
    ZelRoi* region = image->getImageSpaceRoi();
    ZelRoi* next = !region ? nullptr : common ? common->hostIntersect(region) : region->clone();
    if (common) common->destroy();
    common = next;
    if (!common) return nullptr;
  }
  if (!common) return nullptr;
  ZelRectList* list = common->getRectList();
  if (!list || !roi) {
    common->destroy();
    return list;
  }
  *roi = common;
  return list;
}
