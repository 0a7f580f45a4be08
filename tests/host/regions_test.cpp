// Regions and the coordinate model: which rectangles an operation visits.
#include <climits>
#include <random>
#include <set>
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

// The rectangles a list yields, and that it keeps yielding nothing once it is done.
std::vector<Rect> drain(ZelRectList* list) {
  std::vector<Rect> rects;
  Rect r;
  while (list->getNextRect(&r.x, &r.y, &r.width, &r.height)) rects.push_back(r);
  EXPECT_EQ(list->getNextRect(&r.x, &r.y, &r.width, &r.height), 0);
  list->destroy();
  return rects;
}

// Non-empty, disjoint, top to bottom then left to right.
void expect_canonical(const std::vector<Rect>& rects) {
  size_t area = 0;
  for (size_t i = 0; i < rects.size(); ++i) {
    EXPECT_GT(rects[i].width, 0);
    EXPECT_GT(rects[i].height, 0);
    area += static_cast<size_t>(rects[i].width) * rects[i].height;
    if (i > 0) {
      const Rect& a = rects[i - 1];
      EXPECT_TRUE(a.y < rects[i].y || (a.y == rects[i].y && a.x < rects[i].x)) << i;
    }
  }
  EXPECT_EQ(points_of(rects).size(), area) << "rectangles overlap";
}

std::vector<Rect> roi_list(ZelImage* dst, ZelImage* s1 = nullptr, ZelImage* s2 = nullptr,
                           ZelImage* s3 = nullptr) {
  ZelRoi* roi = nullptr;
  ZelRectList* list = ZeliGetRoiList(&roi, dst, s1, s2, s3);
  if (!list) {
    ADD_FAILURE() << "no list";
    return {};
  }
  std::vector<Rect> rects = drain(list);
  EXPECT_EQ(points_of(roi->rects()), points_of(rects));
  roi->destroy();
  return rects;
}

bool same(const std::vector<Rect>& got, const std::vector<Rect>& want) {
  return points_of(got) == points_of(want);
}

using RegionTest = HostTest;

// Random overlapping rectangles: the region covers exactly their union, its intersection
// exactly the common points, its translation the moved points.
TEST_F(RegionTest, SetOperationsMatchPointSets) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> coordinate(-6, 6), size(0, 7);
  for (int round = 0; round < 40; ++round) {
    Owned<ZelRoi> a(state->createRoi()), b(state->createRoi());
    std::set<Point> in_a, in_b;
    for (int k = 0; k < 6; ++k) {
      for (auto [roi, points] : {std::pair{a.get(), &in_a}, std::pair{b.get(), &in_b}}) {
        Rect r{coordinate(random), coordinate(random), size(random), size(random)};
        ASSERT_EQ(roi->addRect(r.x, r.y, r.width, r.height), 0);
        for (Point p : points_of({r})) points->insert(p);
      }
    }
    expect_canonical(a->rects());
    EXPECT_EQ(points_of(a->rects()), in_a);
    EXPECT_EQ(a->area(), static_cast<long long>(in_a.size()));
    Owned<ZelRoi> common(a->intersect(b.get()));
    std::set<Point> both;
    for (Point p : in_a)
      if (in_b.count(p)) both.insert(p);
    expect_canonical(common->rects());
    EXPECT_EQ(points_of(common->rects()), both);
    Owned<ZelRoi> moved(a->translate(3, -2));
    std::set<Point> shifted;
    for (auto [x, y] : in_a) shifted.insert({x + 3, y - 2});
    EXPECT_EQ(points_of(moved->rects()), shifted);
    EXPECT_EQ(drain(a->getRectList()).size(), a->rects().size());
    EXPECT_EQ(a->contains(0, 0), in_a.count({0, 0}) == 1);
  }
}

TEST_F(RegionTest, AddRectRefusesNegativeSizesAndIgnoresEmptyOnes) {
  Owned<ZelRoi> roi(state->createRoi());
  EXPECT_EQ(roi->addRect(0, 0, -1, 5), 2);
  EXPECT_EQ(roi->addRect(INT_MAX - 1, 0, 5, 5), 2);
  EXPECT_EQ(roi->addRect(0, 0, 0, 5), 0);
  EXPECT_TRUE(roi->empty());
  // Moving beyond the int range drops what cannot be represented.
  ASSERT_EQ(roi->addRect(INT_MAX - 10, 0, 10, 1), 0);
  Owned<ZelRoi> moved(roi->translate(5, 0));
  EXPECT_EQ(moved->area(), 5);
}

// An image with origin (ox, oy) covers (-ox, -oy, width, height).
TEST_F(RegionTest, ImageRegionsFollowOriginsAndRegionsOfInterest) {
  Owned<ZelImage> a(state->createImage(10, 8, 1, ZEL_UINT8));
  Owned<ZelImage> b(state->createImage(6, 6, 1, ZEL_UINT8));
  EXPECT_TRUE(same(roi_list(a.get()), {{0, 0, 10, 8}}));
  a->setOrigin(3, -2);
  EXPECT_TRUE(same(a->getImageSpaceRoi()->rects(), {{-3, 2, 10, 8}}));
  b->setOrigin(-4, 0);  // covers (4, 0, 6, 6)
  EXPECT_TRUE(same(roi_list(a.get(), b.get()), {{4, 2, 3, 4}}));

  // A region of interest replaces the extent, clipped to it; clearing it restores it.
  Owned<ZelRoi> roi(state->createRoi());
  roi->addRect(5, 3, 100, 1);
  roi->addRect(-50, -50, 2, 2);
  b->setRoi(roi.get());
  EXPECT_TRUE(same(b->getImageSpaceRoi()->rects(), {{5, 3, 5, 1}}));
  EXPECT_TRUE(same(roi_list(a.get(), b.get()), {{5, 3, 2, 1}}));
  Owned<ZelRoi> kept(b->getRoi());
  EXPECT_EQ(kept->area(), 104);  // as set, not clipped
  b->setOrigin(0, 0);
  EXPECT_TRUE(same(b->getImageSpaceRoi()->rects(), {{5, 3, 1, 1}}));
  b->setRoi(nullptr);
  EXPECT_EQ(b->getRoi(), nullptr);
  EXPECT_TRUE(same(b->getImageSpaceRoi()->rects(), {{0, 0, 6, 6}}));

  // Images that do not meet give a list with no rectangle.
  b->setOrigin(-20, 0);
  EXPECT_TRUE(roi_list(a.get(), b.get()).empty());
  // Any of the four may be null; all null gives no list.
  EXPECT_TRUE(same(roi_list(nullptr, nullptr, nullptr, a.get()), {{-3, 2, 10, 8}}));
  ZelRoi* roi_out = roi.get();
  EXPECT_EQ(ZeliGetRoiList(&roi_out, nullptr, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(roi_out, nullptr);
  // Lists fail when the tests ask for it.
  zel_global_state->failRoiLists(1);
  roi_out = roi.get();
  EXPECT_EQ(ZeliGetRoiList(&roi_out, a.get(), nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(roi_out, nullptr);
  EXPECT_EQ(roi_list(a.get()).size(), 1u);
}

// The rectangles are where the pixels meet: operation point (x, y) is pixel (x + ox, y + oy)
// of each image.
TEST_F(RegionTest, PixelsMeetWhereTheListSays) {
  Owned<ZelImage> dst(state->createImage(5, 5, 1, ZEL_UINT8));
  Owned<ZelImage> src(state->createImage(5, 5, 1, ZEL_UINT8));
  src->setOrigin(2, 1);
  dst->setOrigin(-1, 0);
  src->setPixel(2, 1, 0, 7);  // operation point (0, 0): outside dst
  src->setPixel(3, 1, 0, 9);  // operation point (1, 0): dst pixel (0, 0)
  Owned<ZelOp> op(state->createOp("add8"));
  op->setSrc(1, src.get());
  op->setSrc(2, src.get());
  op->setDst(dst.get());
  EXPECT_TRUE(same(roi_list(dst.get(), src.get(), src.get()), {{1, 0, 2, 4}}));
  ASSERT_EQ(zel_run(op.get(), ZelPath::host_only).status, 0);
  for (unsigned y = 0; y < 5; ++y)
    for (unsigned x = 0; x < 5; ++x) EXPECT_EQ(dst->getPixel(x, y, 0), x + y ? 0 : 18);
}

}  // namespace
