// Regions: their virtual operations (the slot order plug-ins depend on, and what they do to
// point sets), which rectangles an operation visits, and the kernel object.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <tuple>
#include <utility>

#include "host_test.h"

namespace {

using Point = std::pair<int, int>;
using Rect = ZelRoi::Rect;

std::set<Point> points_of(const std::vector<Rect>& rects) {
  std::set<Point> points;
  for (const Rect& r : rects)
    for (int y = r.y; y < r.y + r.height; ++y)
      for (int x = r.x; x < r.x + r.width; ++x) points.insert({x, y});
  return points;
}

std::vector<std::tuple<int, int, int, int>> fields(const std::vector<Rect>& rects) {
  std::vector<std::tuple<int, int, int, int>> out;
  for (const Rect& r : rects) out.emplace_back(r.x, r.y, r.width, r.height);
  return out;
}

// The rectangles a list yields, and that it keeps yielding nothing once it is done.
std::vector<Rect> drain(ZelRectList* list) {
  std::vector<Rect> rects;
  Rect r;
  while (list->getNextRect(&r.x, &r.y, &r.width, &r.height)) rects.push_back(r);
  EXPECT_EQ(list->getNextRect(&r.x, &r.y, &r.width, &r.height), 0);
  list->destroy();
  return rects;
}

// The points of rectangles that must be non-empty, disjoint, top to bottom then left to right.
std::set<Point> canonical_points(const std::vector<Rect>& rects) {
  size_t area = 0;
  for (size_t i = 0; i < rects.size(); ++i) {
    const Rect& r = rects[i];
    EXPECT_TRUE(r.width > 0 && r.height > 0) << i;
    EXPECT_TRUE(i == 0 || std::tie(rects[i - 1].y, rects[i - 1].x) < std::tie(r.y, r.x)) << i;
    area += static_cast<size_t>(r.width) * static_cast<size_t>(r.height);
  }
  std::set<Point> points = points_of(rects);
  EXPECT_EQ(points.size(), area) << "rectangles overlap";
  return points;
}

// The points of the list the operation on these images visits (which must be those of the
// region it hands back).
std::set<Point> visited(ZelImage* dst, ZelImage* s1 = nullptr, ZelImage* s2 = nullptr,
                        ZelImage* s3 = nullptr) {
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, s1, s2, s3);
  if (!list) {
    ADD_FAILURE() << "no list";
    return {};
  }
  const std::set<Point> points = canonical_points(drain(list));
  EXPECT_EQ(points_of(roi->rects()), points);
  roi->destroy();
  return points;
}

// The vtable slot a pointer to a virtual member function names, read from its object
// representation as the Itanium C++ ABI lays it out: the byte offset into the vtable plus 1
// (ARM: the offset itself, with the virtual flag in the adjustment).
template <typename Member>
long slot_of(Member member) {
  struct Representation {
    uintptr_t pointer;
    ptrdiff_t adjustment;
  } r;
  static_assert(sizeof(Member) == sizeof(Representation));
  std::memcpy(&r, &member, sizeof r);
#if defined(__arm__) || defined(__aarch64__)
  if ((r.adjustment & 1) == 0) return -1;
  return long(r.pointer / sizeof(void*));
#else
  if ((r.pointer & 1) == 0) return -1;  // not virtual
  return long((r.pointer - 1) / sizeof(void*));
#endif
}

using RegionTest = HostTest;

TEST_F(RegionTest, TheRectangleListIsTheRegionsTwentyFifthVirtualOperation) {
#if !defined(__GXX_ABI_VERSION)
  GTEST_SKIP() << "pointer-to-member layout of another ABI";
#endif
#define SLOT(name) slot_of(&ZelRoi::name)
  const long slots[] = {
      SLOT(destroy),    SLOT(getSystemState), SLOT(getVersion),    SLOT(translate),
      SLOT(intersect),  SLOT(unite),          SLOT(subtract),      SLOT(clone),
      SLOT(addRect),    SLOT(subtractRect),   SLOT(intersectRect), SLOT(offset),
      SLOT(clear),      SLOT(contains),       SLOT(containsRect),  SLOT(overlapsRect),
      SLOT(overlaps),   SLOT(equals),         SLOT(empty),         SLOT(isRectangle),
      SLOT(area),       SLOT(bounds),         SLOT(rectCount),     SLOT(getRect),
      SLOT(getRectList)};
#undef SLOT
  for (long i = 0; i < 25; ++i) EXPECT_EQ(slots[i], i) << "virtual operation " << i + 1;
  // Operations added since come after it.
  EXPECT_EQ(slot_of(&ZelRoi::transpose), 25);
  EXPECT_EQ(slot_of(&ZelRoi::scale), 26);
  // The rectangle list's next-rectangle operation is its fourth.
  EXPECT_EQ(slot_of(&ZelRectList::getNextRect), 3);
}

// A transpose moves every pixel (x, y) to the centre plus the type's turn of (x - cx, y - cy).
TEST_F(RegionTest, TransposeMovesEveryPixelAboutTheCentre) {
  std::mt19937 random(11);
  std::uniform_int_distribution<int> coordinate(-6, 6), size(0, 5), half(-8, 8);
  for (int round = 0; round < 40; ++round) {
    Owned<ZelRoi> a(state->createRoi());
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(a->addRect(coordinate(random), coordinate(random), size(random), size(random)),
                0);
    }
    // Whole and half-pixel centres; a pixel landing between pixels goes right or down.
    const double cx = half(random) / 2.0, cy = half(random) / 2.0;
    for (int t = 0; t <= 6; ++t) {
      const auto turned = [&](Point p) {
        const double u = p.first - cx, v = p.second - cy;
        const double to[7][2] = {{u, -v}, {-u, v},  {v, u}, {-v, -u},
                                 {v, -u}, {-u, -v}, {-v, u}};
        return Point{int(std::floor(cx + to[t][0] + 0.5)),
                     int(std::floor(cy + to[t][1] + 0.5))};
      };
      std::set<Point> want;
      for (const Point& p : points_of(a->rects())) want.insert(turned(p));
      EXPECT_EQ(canonical_points(Owned<ZelRoi>(a->transpose(t, cx, cy))->rects()), want)
          << "type " << t << " about " << cx << ", " << cy;
    }
  }
  Owned<ZelRoi> r(state->createRoi());
  EXPECT_EQ(r->transpose(7, 0, 0), nullptr);
  EXPECT_EQ(r->transpose(-1, 0, 0), nullptr);
  EXPECT_EQ(r->transpose(2, std::nan(""), 0), nullptr);
}

// Scaling about (0, 0): a pixel x of the new region is one whose x / q lies in the old.
TEST_F(RegionTest, ScaleKeepsThePixelsWhoseScaledBackPositionLiesInTheRegion) {
  std::mt19937 random(5);
  std::uniform_int_distribution<int> coordinate(-7, 7), size(0, 5);
  for (double q : {0.3, 0.5, 1.0, 2.0, 2.0005, 2.5, 6.5}) {
    Owned<ZelRoi> a(state->createRoi());
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(a->addRect(coordinate(random), coordinate(random), size(random), size(random)),
                0);
    }
    std::set<Point> want;
    for (int y = -90; y < 90; ++y) {
      for (int x = -90; x < 90; ++x) {
        // x / q in [p, p + 1) exactly when x in [q p, q (p + 1)).
        for (const Point& p : points_of(a->rects())) {
          if (x >= q * p.first && x < q * (p.first + 1) && y >= q * p.second &&
              y < q * (p.second + 1)) {
            want.insert({x, y});
          }
        }
      }
    }
    EXPECT_EQ(canonical_points(Owned<ZelRoi>(a->scale(q, q))->rects()), want) << q;
  }
  Owned<ZelRoi> r(state->createRoi());
  EXPECT_EQ(r->scale(0, 1), nullptr);
  EXPECT_EQ(r->scale(1, -2), nullptr);
  EXPECT_EQ(r->scale(std::nan(""), 1), nullptr);
}

// Random overlapping regions: every operation gives exactly the expected point set, cut
// into disjoint rectangles in order.
TEST_F(RegionTest, OperationsMatchPointSets) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> coordinate(-6, 6), size(0, 7);
  const auto random_rect = [&] {
    return Rect{coordinate(random), coordinate(random), size(random), size(random)};
  };
  const auto expect_points = [](ZelRoi* made, const std::set<Point>& want) {
    EXPECT_EQ(canonical_points(Owned<ZelRoi>(made)->rects()), want);
  };
  for (int round = 0; round < 60; ++round) {
    Owned<ZelRoi> a(state->createRoi()), b(state->createRoi());
    std::set<Point> in_a, in_b;
    for (int k = 0; k < 5; ++k) {
      for (auto [roi, points] : {std::pair{a.get(), &in_a}, std::pair{b.get(), &in_b}}) {
        const Rect r = random_rect();
        ASSERT_EQ(roi->addRect(r.x, r.y, r.width, r.height), 0);
        points->merge(points_of({r}));
      }
    }
    std::set<Point> both, only_a, either = in_b, shifted;
    for (Point p : in_a) (in_b.count(p) ? both : only_a).insert(p);
    either.insert(in_a.begin(), in_a.end());
    for (auto [x, y] : in_a) shifted.insert({x + 3, y - 2});
    expect_points(a->clone(), in_a);
    expect_points(a->intersect(b.get()), both);
    expect_points(a->unite(b.get()), either);
    expect_points(a->subtract(b.get()), only_a);
    expect_points(a->translate(3, -2), shifted);
    EXPECT_EQ(a->area(), static_cast<long long>(in_a.size()));
    EXPECT_EQ(a->contains(0, 0), in_a.count({0, 0}) == 1);
    EXPECT_EQ(a->overlaps(b.get()), !both.empty());
    EXPECT_EQ(a->equals(b.get()), in_a == in_b);
    // The same points cut differently are still equal.
    Owned<ZelRoi> recut(a->subtract(b.get())), common(a->intersect(b.get()));
    for (const Rect& r : common->rects()) recut->addRect(r.x, r.y, r.width, r.height);
    EXPECT_TRUE(recut->equals(a.get()));

    // The list and getRect give the rectangles in the region's order.
    EXPECT_EQ(fields(drain(a->getRectList())), fields(a->rects()));
    std::vector<Rect> by_index(static_cast<size_t>(a->rectCount()));
    for (Rect& r : by_index)
      ASSERT_EQ(a->getRect(int(&r - by_index.data()), &r.x, &r.y, &r.width, &r.height), 0);
    EXPECT_EQ(fields(by_index), fields(a->rects()));
    Rect none;
    EXPECT_EQ(a->getRect(a->rectCount(), &none.x, &none.y, &none.width, &none.height), 2);

    const Rect r = random_rect();
    const std::set<Point> in_r = points_of({r});
    std::set<Point> kept, cut;
    for (Point p : in_a) (in_r.count(p) ? kept : cut).insert(p);
    EXPECT_EQ(a->containsRect(r.x, r.y, r.width, r.height),
              std::includes(in_a.begin(), in_a.end(), in_r.begin(), in_r.end()));
    EXPECT_EQ(a->overlapsRect(r.x, r.y, r.width, r.height), !kept.empty());
    Owned<ZelRoi> outside(a->clone()), inside(a->clone());
    ASSERT_EQ(outside->subtractRect(r.x, r.y, r.width, r.height), 0);
    EXPECT_EQ(points_of(outside->rects()), cut);
    ASSERT_EQ(inside->intersectRect(r.x, r.y, r.width, r.height), 0);
    EXPECT_EQ(points_of(inside->rects()), kept);

    if (in_a.empty()) continue;  // the empty region's bounds: see the next test
    int x, y, w, h;
    ASSERT_EQ(a->bounds(&x, &y, &w, &h), 0);
    const auto [top, bottom] = std::minmax_element(
        in_a.begin(), in_a.end(), [](Point p, Point q) { return p.second < q.second; });
    const int left = in_a.begin()->first, right = in_a.rbegin()->first + 1;
    EXPECT_EQ(std::tuple(x, y, w, h),
              std::tuple(left, top->second, right - left, bottom->second + 1 - top->second));
    EXPECT_EQ(a->isRectangle(), static_cast<long long>(w) * h == a->area());
  }
}

TEST_F(RegionTest, EditsRefuseNegativeSizesAndKeepTheVersionWhenNoPointChanges) {
  Owned<ZelRoi> roi(state->createRoi());
  EXPECT_EQ(roi->addRect(0, 0, -1, 5), 2);
  EXPECT_EQ(roi->addRect(INT_MAX - 1, 0, 5, 5), 2);
  EXPECT_EQ(roi->addRect(0, 0, 0, 5), 0);
  EXPECT_TRUE(roi->empty());
  ASSERT_EQ(roi->addRect(0, 0, 4, 4), 0);
  const ZelVersionNumber before = roi->getVersion();
  EXPECT_EQ(roi->subtractRect(0, 0, -1, 2), 2);
  EXPECT_EQ(roi->intersectRect(0, 0, 2, -2), 2);
  EXPECT_EQ(roi->subtractRect(10, 10, 3, 3), 0);
  EXPECT_EQ(roi->addRect(1, 1, 2, 2), 0);
  EXPECT_TRUE(roi->getVersion() == before) << "nothing changed";
  EXPECT_FALSE(roi->containsRect(0, 0, -1, 1));
  EXPECT_TRUE(roi->containsRect(50, 50, 0, 0)) << "an empty rectangle is contained";
  EXPECT_FALSE(roi->overlapsRect(1, 1, 0, 5));
  // Moving beyond the int range drops what cannot be represented: 2 of the 4 columns.
  EXPECT_EQ(Owned<ZelRoi>(roi->translate(INT_MAX - 2, 0))->area(), 8);
  EXPECT_EQ(roi->offset(INT_MAX - 2, 0), 0);
  EXPECT_EQ(roi->area(), 8);
  EXPECT_FALSE(roi->getVersion() == before);
  roi->clear();
  EXPECT_TRUE(roi->empty());
  int x = 1, y = 1, w = 1, h = 1;
  EXPECT_EQ(roi->bounds(&x, &y, &w, &h), 2);
  EXPECT_EQ(std::tuple(x, y, w, h), std::tuple(0, 0, 0, 0)) << "an empty region's bounds";
  EXPECT_EQ(roi->unite(nullptr), nullptr);
  EXPECT_FALSE(roi->equals(nullptr));
}

// An image with origin (ox, oy) covers (-ox, -oy, width, height); an operation visits
// where its images meet.
TEST_F(RegionTest, ImageRegionsFollowOriginsAndRegionsOfInterest) {
  Owned<ZelImage> a(state->createImage(10, 8, 1, ZEL_UINT8));
  Owned<ZelImage> b(state->createImage(6, 6, 1, ZEL_UINT8));
  EXPECT_EQ(visited(a.get()), points_of({{0, 0, 10, 8}}));
  a->setOrigin(3, -2);
  EXPECT_EQ(points_of(a->getImageSpaceRoi()->rects()), points_of({{-3, 2, 10, 8}}));
  b->setOrigin(-4, 0);  // covers (4, 0, 6, 6)
  EXPECT_EQ(visited(a.get(), b.get()), points_of({{4, 2, 3, 4}}));

  // A region of interest replaces the extent, clipped to it; clearing it restores it.
  Owned<ZelRoi> roi(state->createRoi());
  roi->addRect(5, 3, 100, 1);
  roi->addRect(-50, -50, 2, 2);
  b->setRoi(roi.get());
  EXPECT_EQ(points_of(b->getImageSpaceRoi()->rects()), points_of({{5, 3, 5, 1}}));
  EXPECT_EQ(visited(a.get(), b.get()), points_of({{5, 3, 2, 1}}));
  EXPECT_EQ(Owned<ZelRoi>(b->getRoi())->area(), 104);  // as set, not clipped
  b->setOrigin(0, 0);
  EXPECT_EQ(points_of(b->getImageSpaceRoi()->rects()), points_of({{5, 3, 1, 1}}));
  b->setRoi(nullptr);
  EXPECT_EQ(points_of(b->getImageSpaceRoi()->rects()), points_of({{0, 0, 6, 6}}));

  // Images that do not meet give a list with no rectangle.
  b->setOrigin(-20, 0);
  EXPECT_TRUE(visited(a.get(), b.get()).empty());
  // Any of the four may be null; all null gives no list, as does a test asking for failure.
  EXPECT_EQ(visited(nullptr, nullptr, nullptr, a.get()), points_of({{-3, 2, 10, 8}}));
  ZelRoi* roi_out = roi.get();
  EXPECT_EQ(ZeliGetRoiList(&roi_out, nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(roi_out, nullptr);
  zel_global_state->failRoiLists(1);
  roi_out = roi.get();
  EXPECT_EQ(ZeliGetRoiList(&roi_out, a.get(), nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(roi_out, nullptr);
  EXPECT_EQ(visited(a.get()).size(), 80u) << "only the one list fails";
}

TEST_F(RegionTest, KernelsKeepTheirValuesRowByRow) {
  const float values[6] = {1.5f, -2.0f, 3.0f, 4.0f, 0.25f, 6.0f};
  Owned<ZelKernel> kernel(state->createKernel(3, 2, values));
  ASSERT_NE(kernel, nullptr);
  EXPECT_EQ(std::tuple(kernel->getWidth(), kernel->getHeight(), kernel->getSystemState()),
            std::tuple(3, 2, state));
  EXPECT_EQ(std::vector<float>(kernel->getValue(), kernel->getValue() + 6),
            std::vector<float>(values, values + 6));
  Owned<ZelKernel> zeros(state->createKernel(2, 2, nullptr));
  EXPECT_EQ(std::vector<float>(zeros->getValue(), zeros->getValue() + 4),
            std::vector<float>(4, 0.0f));
  EXPECT_EQ(state->createKernel(0, 3, values), nullptr);
  EXPECT_EQ(state->createKernel(3, -1, values), nullptr);
  EXPECT_EQ(state->createKernel(1 << 13, 1 << 12, nullptr), nullptr) << "too many values";
}

}  // namespace
