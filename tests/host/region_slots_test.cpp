// The region's virtual operations (their slot order, on which plug-ins depend, and what
// they do to point sets) and the kernel object.
#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <set>
#include <utility>

#include "host_test.h"

namespace {

using Point = std::pair<int, int>;
using Rect = ZelRoi::Rect;

std::set<Point> points_of(const ZelRoi* roi) {
  std::set<Point> points;
  for (const Rect& r : roi->rects())
    for (int y = r.y; y < r.y + r.height; ++y)
      for (int x = r.x; x < r.x + r.width; ++x) points.insert({x, y});
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

using RegionSlots = HostTest;

TEST_F(RegionSlots, TheRectangleListIsTheRegionsTwentyFifthVirtualOperation) {
#if !defined(__GXX_ABI_VERSION)
  GTEST_SKIP() << "pointer-to-member layout of another ABI";
#endif
  const long slots[] = {
      slot_of(&ZelRoi::destroy),       slot_of(&ZelRoi::getSystemState),
      slot_of(&ZelRoi::getVersion),    slot_of(&ZelRoi::translate),
      slot_of(&ZelRoi::intersect),     slot_of(&ZelRoi::unite),
      slot_of(&ZelRoi::subtract),      slot_of(&ZelRoi::clone),
      slot_of(&ZelRoi::addRect),       slot_of(&ZelRoi::subtractRect),
      slot_of(&ZelRoi::intersectRect), slot_of(&ZelRoi::offset),
      slot_of(&ZelRoi::clear),         slot_of(&ZelRoi::contains),
      slot_of(&ZelRoi::containsRect),  slot_of(&ZelRoi::overlapsRect),
      slot_of(&ZelRoi::overlaps),      slot_of(&ZelRoi::equals),
      slot_of(&ZelRoi::empty),         slot_of(&ZelRoi::isRectangle),
      slot_of(&ZelRoi::area),          slot_of(&ZelRoi::bounds),
      slot_of(&ZelRoi::rectCount),     slot_of(&ZelRoi::getRect),
      slot_of(&ZelRoi::getRectList),
  };
  for (long i = 0; i < 25; ++i) EXPECT_EQ(slots[i], i) << "virtual operation " << i + 1;
  // The rectangle list's next-rectangle operation is its fourth.
  EXPECT_EQ(slot_of(&ZelRectList::getNextRect), 3);
}

// Random overlapping regions: every operation gives exactly the expected point set.
TEST_F(RegionSlots, RegionOperationsMatchPointSets) {
  std::mt19937 random(11);
  std::uniform_int_distribution<int> coordinate(-5, 5), size(0, 6);
  const auto random_rect = [&] {
    return Rect{coordinate(random), coordinate(random), size(random), size(random)};
  };
  for (int round = 0; round < 40; ++round) {
    Owned<ZelRoi> a(state->createRoi()), b(state->createRoi());
    for (int k = 0; k < 4; ++k) {
      Rect r = random_rect(), s = random_rect();
      a->addRect(r.x, r.y, r.width, r.height);
      b->addRect(s.x, s.y, s.width, s.height);
    }
    const std::set<Point> in_a = points_of(a.get()), in_b = points_of(b.get());
    std::set<Point> both, either = in_a, only_a;
    for (Point p : in_a) (in_b.count(p) ? both : only_a).insert(p);
    either.insert(in_b.begin(), in_b.end());

    EXPECT_EQ(points_of(Owned<ZelRoi>(a->unite(b.get())).get()), either);
    EXPECT_EQ(points_of(Owned<ZelRoi>(a->subtract(b.get())).get()), only_a);
    EXPECT_EQ(a->overlaps(b.get()), !both.empty());
    Owned<ZelRoi> copy(a->clone());
    EXPECT_TRUE(copy->equals(a.get()));
    EXPECT_EQ(a->equals(b.get()), in_a == in_b);
    // The same points cut differently are still equal.
    Owned<ZelRoi> recut(a->subtract(b.get()));
    Owned<ZelRoi> common(a->intersect(b.get()));
    for (const Rect& r : common->rects()) recut->addRect(r.x, r.y, r.width, r.height);
    EXPECT_TRUE(recut->equals(a.get()));

    const Rect r = random_rect();
    std::set<Point> in_r, kept, cut;
    for (int y = r.y; y < r.y + r.height; ++y)
      for (int x = r.x; x < r.x + r.width; ++x) in_r.insert({x, y});
    for (Point p : in_a) (in_r.count(p) ? kept : cut).insert(p);
    bool covered = true;
    for (Point p : in_r) covered = covered && in_a.count(p) == 1;
    EXPECT_EQ(a->containsRect(r.x, r.y, r.width, r.height), covered);
    EXPECT_EQ(a->overlapsRect(r.x, r.y, r.width, r.height), !kept.empty());
    ASSERT_EQ(copy->subtractRect(r.x, r.y, r.width, r.height), 0);
    EXPECT_EQ(points_of(copy.get()), cut);
    ASSERT_EQ(copy->intersectRect(r.x, r.y, r.width, r.height), 0);
    EXPECT_TRUE(copy->empty());
    Owned<ZelRoi> inside(a->clone());
    ASSERT_EQ(inside->intersectRect(r.x, r.y, r.width, r.height), 0);
    EXPECT_EQ(points_of(inside.get()), kept);

    int x, y, w, h;
    if (in_a.empty()) {
      EXPECT_EQ(a->bounds(&x, &y, &w, &h), 2);
    } else {
      ASSERT_EQ(a->bounds(&x, &y, &w, &h), 0);
      int left = INT_MAX, top = INT_MAX, right = INT_MIN, bottom = INT_MIN;
      for (auto [px, py] : in_a) {
        left = std::min(left, px), top = std::min(top, py);
        right = std::max(right, px + 1), bottom = std::max(bottom, py + 1);
      }
      EXPECT_EQ((std::vector<int>{x, y, w, h}),
                (std::vector<int>{left, top, right - left, bottom - top}));
      EXPECT_EQ(a->isRectangle(), static_cast<long long>(w) * h == a->area());
    }
    long long area = 0;
    for (int i = 0; i < a->rectCount(); ++i) {
      ASSERT_EQ(a->getRect(i, &x, &y, &w, &h), 0);
      area += static_cast<long long>(w) * h;
    }
    EXPECT_EQ(area, static_cast<long long>(in_a.size()));
    EXPECT_EQ(a->getRect(a->rectCount(), &x, &y, &w, &h), 2);
  }
}

TEST_F(RegionSlots, InPlaceChangesRefuseNegativeSizesAndMoveTheVersionOnlyWhenPointsChange) {
  Owned<ZelRoi> roi(state->createRoi());
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
  EXPECT_EQ(roi->offset(INT_MAX - 2, 0), 0);
  EXPECT_EQ(roi->area(), 8) << "the part moved beyond the int range is dropped";
  EXPECT_FALSE(roi->getVersion() == before);
  roi->clear();
  EXPECT_TRUE(roi->empty());
  EXPECT_EQ(roi->unite(nullptr), nullptr);
  EXPECT_FALSE(roi->equals(nullptr));
}

TEST_F(RegionSlots, KernelsKeepTheirValuesRowByRow) {
  const float values[6] = {1.5f, -2.0f, 3.0f, 4.0f, 0.25f, 6.0f};
  Owned<ZelKernel> kernel(state->createKernel(3, 2, values));
  ASSERT_NE(kernel, nullptr);
  EXPECT_EQ(kernel->getWidth(), 3);
  EXPECT_EQ(kernel->getHeight(), 2);
  EXPECT_EQ(kernel->getSystemState(), state);
  EXPECT_EQ(std::vector<float>(kernel->getValue(), kernel->getValue() + 6),
            std::vector<float>(values, values + 6));
  Owned<ZelKernel> zeros(state->createKernel(2, 2, nullptr));
  EXPECT_EQ(std::vector<float>(zeros->getValue(), zeros->getValue() + 4),
            std::vector<float>(4, 0.0f));
  EXPECT_EQ(state->createKernel(0, 3, values), nullptr);
  EXPECT_EQ(state->createKernel(3, -1, values), nullptr);
  EXPECT_EQ(state->createKernel(1 << 13, 1 << 12, nullptr), nullptr) << "too many values";
  // An operation carries it as an object parameter.
  Owned<ZelOp> op(state->createOp("bandCombine16"));
  op->setObjParam(1, kernel.get());
  EXPECT_EQ(static_cast<ZelKernel*>(op->getObjParam(1))->getValue()[4], 0.25f);
}

}  // namespace
