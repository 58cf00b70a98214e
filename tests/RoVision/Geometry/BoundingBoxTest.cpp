#include <RoVision/Geometry/BoundingBox.h>
#include <RoVision/Geometry/BoundingBoxPrivate.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zArray2.h>
#include <zApi/zArrayList.h>
#include <zApi/zParallel.h>

#include <cfloat>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "GeometryTestSupport.h"
#include "support/RegionCases.h"

namespace rv = Ro::Vision;
using geotest::ExpectAllNull;
using geotest::Fields;

namespace {

constexpr char kName[] = "Ro::Vision::GetBoundingBox";
constexpr short N = -32768;
constexpr double kPi = 3.14159265358979323846;
// The box and OpenCV's rectangle come from the same hull in double precision.
constexpr double kArea = 1e-9;

// A height map at (10, -5, 2) + (0.5, 0.25, 0.01) per cell, all null, with a zero mask.
struct Grid {
  rv::Surface surface;
  Ty::Object<void*> mask;
  int rows, columns;
  Grid(int r, int c)
      : surface(rotest::MakeSurface(std::vector<std::vector<short>>(r, std::vector<short>(c, N)),
                                    {10, -5, 2}, {0.5, 0.25, 0.01})),
        mask(rotest::MakeArray2<unsigned char>(
            zTypeOf(z8u),
            std::vector<std::vector<unsigned char>>(r, std::vector<unsigned char>(c)))),
        rows(r),
        columns(c) {}
  short& Height(int r, int c) {
    return static_cast<short*>(zArray2_Row(surface.layers[0].Get(), zSize(r)))[c];
  }
  unsigned char& Mask(int r, int c) {
    return static_cast<unsigned char*>(zArray2_Row(mask.Get(), zSize(r)))[c];
  }
  // Calls set(row, column, height, mask byte) on every cell.
  template <class F>
  void Fill(F set) {
    for (int r = 0; r < rows; ++r)
      for (int c = 0; c < columns; ++c) set(r, c, Height(r, c), Mask(r, c));
  }
  // The world points of the valid cells of `rect`, under the mask when `masked`.
  std::vector<cv::Point2d> Points(bool masked = true) {
    return Points({0, 0, columns, rows}, masked);
  }
  std::vector<cv::Point2d> Points(rv::Rect2d<int> rect, bool masked) {
    std::vector<cv::Point2d> out;
    for (int r = rect.y; r < rect.y + rect.height; ++r)
      for (int c = rect.x; c < rect.x + rect.width; ++c)
        if (Height(r, c) != N && (!masked || Mask(r, c)))
          out.emplace_back(surface.offset.x + c * surface.scale.x,
                           surface.offset.y + r * surface.scale.y);
    return out;
  }
  rv::Region3d<double> Box() {
    return rv::GetBoundingBox(surface, {0, 0, columns, rows}, mask.Get());
  }
};

// The smallest area over a fine sweep of angles, from above.
double SweptArea(const std::vector<cv::Point2d>& pts) {
  double best = HUGE_VAL;
  for (int k = 0; k < 18000; ++k) {
    const double a = k * kPi / 36000, c = std::cos(a), s = std::sin(a);
    double u0 = HUGE_VAL, u1 = -HUGE_VAL, v0 = HUGE_VAL, v1 = -HUGE_VAL;
    for (const cv::Point2d& p : pts) {
      const double u = c * p.x + s * p.y, v = -s * p.x + c * p.y;
      u0 = std::min(u0, u);
      u1 = std::max(u1, u);
      v0 = std::min(v0, v);
      v1 = std::max(v1, v);
    }
    best = std::min(best, (u1 - u0) * (v1 - v0));
  }
  return best;
}

double ModNinety(double a) {
  const double m = std::fmod(std::fmod(a, 90) + 90, 90);
  return std::min(m, 90 - m);
}

std::vector<int> Extent(const rv::RowExtent& e) {
  return {e.first, e.last, e.low, e.high};
}

void ExpectMatchesOpenCv(Grid& g, const char* name) {
  const std::vector<cv::Point2d> pts = g.Points();
  const cv::RotatedRect cvRect = cv::minAreaRect(std::vector<cv::Point2f>(pts.begin(), pts.end()));
  const rv::Region3d<double> box = g.Box();
  const double area = box.width * box.length;
  const double cvArea = double(cvRect.size.width) * cvRect.size.height;
  EXPECT_NEAR(area, cvArea, 1e-5 * cvArea + 1e-9) << name;  // OpenCV rounds to float
  EXPECT_LE(area, SweptArea(pts) * (1 + kArea) + 1e-12) << name;
  EXPECT_NEAR(box.x, cvRect.center.x, 1e-4) << name;
  EXPECT_NEAR(box.y, cvRect.center.y, 1e-4) << name;
  if (cvArea > 1e-6 && std::fabs(box.width - box.length) > 1e-3) {
    EXPECT_LT(ModNinety(box.angleZ - cvRect.angle), 1e-3) << name;
  }
  EXPECT_GT(box.angleZ, -90);
  EXPECT_LE(box.angleZ, 90);
}

TEST(GetBoundingBox, RotatedRectanglesMatchOpenCvAndTheSweep) {
  for (double angle : {0.0, 30.0, 45.0, 90.0, -17.0}) {
    Grid g(80, 120);
    const double a = angle * kPi / 180;
    // A rectangle 20 x 8 world units about (25, 5) turned by `angle`.
    g.Fill([a](int r, int c, short& h, unsigned char& m) {
      const double x = 10 + c * 0.5 - 40, y = -5 + r * 0.25 - 5;
      const double u = std::cos(a) * x + std::sin(a) * y, v = -std::sin(a) * x + std::cos(a) * y;
      h = short(r - c);
      m = std::fabs(u) <= 10 && std::fabs(v) <= 4;
    });
    ExpectMatchesOpenCv(g, std::to_string(angle).c_str());
    const rv::Region3d<double> box = g.Box();
    // Within a cell of the model; the width goes with the long side only when the hull edge
    // that wins runs along it.
    EXPECT_NEAR(std::max(box.width, box.length), 20, 1.2) << angle;
    EXPECT_NEAR(std::min(box.width, box.length), 8, 1.2) << angle;
  }
}

TEST(GetBoundingBox, RandomRegionsWithNulls) {
  std::mt19937 random(5);
  std::uniform_int_distribution<int> cell(0, 9);
  for (int trial = 0; trial < 5; ++trial) {
    Grid g(40, 50);
    g.Fill([&](int r, int c, short& h, unsigned char& m) {
      h = cell(random) < 2 ? N : short(100 * r - 7 * c);
      m = cell(random) < 2 && std::hypot(r - 20, (c - 25) * 0.7) < 15;
    });
    ExpectMatchesOpenCv(g, "random");
  }
}

TEST(GetBoundingBox, HeightsAndDegenerateRegions) {
  Grid single(5, 5);
  single.Height(2, 3) = 40, single.Mask(2, 3) = 1;
  // A single cell: a box of size zero there, not tilted.
  geotest::ExpectBox(single.Box(), {11.5, -4.5, 2.4}, {0, 0, 0, 0, 0, 0}, 1e-15, "single");

  // Cells 2..8 of row 1; a null inside the row changes nothing but the heights.
  Grid row(5, 10);
  row.Fill([](int r, int c, short& h, unsigned char& m) {
    if (r == 1 && c >= 2 && c <= 8) h = c == 5 ? N : short(c * 10), m = 1;
  });
  const rv::Region3d<double> box = row.Box();
  geotest::ExpectFieldsNear(box, {12.5, -4.75, 2.5, 3, 0, 0.6, 0, 0, 0}, 1e-15, "row");
  EXPECT_EQ((geotest::Values{box.length, box.angleZ}), (geotest::Values{0, 0}));
  EXPECT_DOUBLE_EQ(box.height, 0.6);  // within 4 ulps, closer than the 1e-15 above at 0.6

  Grid column(6, 4);
  column.Fill([](int, int c, short& h, unsigned char& m) {
    if (c == 1) h = 0, m = 1;
  });
  EXPECT_DOUBLE_EQ(column.Box().width, 1.25);
  EXPECT_DOUBLE_EQ(column.Box().angleZ, 90);

  Grid empty(4, 4);
  empty.Mask(1, 1) = 1;  // masked in but null
  ExpectAllNull(empty.Box());
}

TEST(GetBoundingBox, ListOfRegionsIsIndependentOfTheTaskCount) {
  Grid a(60, 60), b(30, 90);
  std::mt19937 random(9);
  std::uniform_int_distribution<int> h(-300, 300);
  for (Grid* g : {&a, &b}) {
    g->Fill([&](int r, int c, short& height, unsigned char& m) {
      height = short(h(random));
      m = (r * 7 + c * 3) % 11 < 4;
    });
  }
  b.surface.offset = {70, 20, -1};
  std::vector<rv::SurfaceRect> regions(2);
  regions[0].surface = a.surface, regions[0].rect = {5, 3, 50, 40}, regions[0].mask = nullptr;
  regions[1].surface = b.surface, regions[1].rect = {0, 0, 90, 30}, regions[1].mask = b.mask.Get();
  const rv::Region3d<double> reference = rv::GetBoundingBox(regions, nullptr);
  for (zSize tasks : {1, 2, 3, 7, 64}) {
    void* pool = nullptr;
    ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
    Ty::Object<void*> held(pool);
    EXPECT_EQ(Fields(rv::GetBoundingBox(regions, pool)), Fields(reference)) << tasks;
  }
  // Taken together: the box holds the points of both regions (checked against OpenCV).
  std::vector<cv::Point2f> pts;
  for (const cv::Point2d& p : a.Points({5, 3, 50, 40}, false)) pts.emplace_back(p);
  for (const cv::Point2d& p : b.Points()) pts.emplace_back(p);
  const cv::RotatedRect cvRect = cv::minAreaRect(pts);
  EXPECT_NEAR(reference.width * reference.length, double(cvRect.size.width) * cvRect.size.height,
              1e-5 * reference.width * reference.length);
}

// Every vectorised row scan against the scalar one on random rows: lengths around each vector
// width, rows that start and end at odd offsets of their buffer, long runs of zero mask (the
// paths skip those by whole blocks) and null heights under a set mask byte.
TEST(GetBoundingBox, EveryRowScanPathEqualsTheScalarOne) {
  const std::vector<rv::RowScanPath> paths = {rv::RowScanPath::kSse2, rv::RowScanPath::kAvx2,
                                              rv::RowScanPath::kAvx512};
  std::mt19937 random(11);
  std::uniform_int_distribution<int> h(-32768, 32767), pick(0, 3), offset(0, 7);
  int compared = 0;
  for (int n : {0, 1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 95, 129, 200, 1000}) {
    for (int trial = 0; trial < 40; ++trial) {
      const int start = offset(random);
      std::vector<short> heights(start + n + 1);
      std::vector<unsigned char> mask(start + n + 1);
      // Cells valid only inside a random window [lo, hi), so the row ends move.
      std::uniform_int_distribution<int> cell(0, std::max(n, 1));
      int lo = cell(random), hi = cell(random);
      if (lo > hi) std::swap(lo, hi);
      const int density = trial % 4;  // 0: sparse, 3: dense
      for (int i = 0; i < n; ++i) {
        const bool inside = i >= lo && i < hi;
        // Nulls, and the extreme valid heights that the vector reductions must not lose.
        const int kind = pick(random) + 4 * (pick(random) == 0);
        heights[start + i] = kind == 0   ? N
                             : kind == 4 ? short(32767)
                             : kind == 5 ? short(-32767)
                                         : short(h(random));
        mask[start + i] =
            inside && pick(random) < density + 1 ? static_cast<unsigned char>(1 + pick(random)) : 0;
      }
      const short* row = heights.data() + start;
      for (const unsigned char* m : {static_cast<unsigned char*>(nullptr), mask.data() + start}) {
        const rv::RowExtent expected = rv::ScanRowCells(rv::RowScanPath::kScalar, row, m, n);
        for (rv::RowScanPath path : paths) {
          if (!rv::RowScanPathSupported(path)) continue;
          EXPECT_EQ(Extent(rv::ScanRowCells(path, row, m, n)), Extent(expected))
              << "path " << static_cast<int>(path) << " n " << n;
          ++compared;
        }
      }
    }
  }
  EXPECT_GT(compared, 0);
}

// The scalar scan itself against a hand-written row.
TEST(GetBoundingBox, ScalarRowScan) {
  const short heights[] = {5, N, 7, -3, 9, 4, N};
  const unsigned char mask[] = {0, 1, 1, 1, 0, 1, 1};
  const auto scan = [](const short* h, const unsigned char* m, int n) {
    return Extent(rv::ScanRowCells(rv::RowScanPath::kScalar, h, m, n));
  };
  EXPECT_EQ(scan(heights, mask, 7), (std::vector<int>{2, 5, -3, 7}));
  EXPECT_EQ(scan(heights, nullptr, 7), (std::vector<int>{0, 5, -3, 9}));
  EXPECT_EQ(scan(heights + 1, mask + 6, 1), (std::vector<int>{-1, -1, 32767, -32768}));
}

// The region forms are held against the rectangle form on the same cells (the box-sized copy
// of the region's mask).
Ty::Object<void*> RunList(const std::vector<rv::RunRecord>& runs, zAlloc alloc) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), rv::RunRecordType(), 0, alloc), zOK);
  if (!runs.empty()) {
    EXPECT_EQ(zArrayList_Import(list, runs.data(), runs.size()), zOK);
  }
  return list;
}

class BoundingBoxRegion : public rotest::LeakCheckedTest {};

TEST_F(BoundingBoxRegion, RegionsEqualTheRectangleFormForAnyTaskCount) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    const rv::Region3d<double> expected = rv::GetBoundingBox(
        s, region.roi->GetBoundingBox(), rotest::BoxMaskOf(*region.roi, alloc_).Get());
    ASSERT_GT(expected.width, 0) << region.name;
    ASSERT_GT(expected.height, 0) << region.name;
    const rv::RectRegionRLE* rle = region.roi->GetRectRegionRLE();
    // Field by field, exactly: both forms run the same scan and search over the same cells.
    if (rle) {
      EXPECT_EQ(Fields(rv::GetBoundingBox(s, *rle)), Fields(expected)) << region.name << " runs";
    }
    for (zSize tasks : {1, 2, 8}) {
      zThreadPool pool = nullptr;
      ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
      Ty::Object<void*> owner(pool);
      region.roi->SetThreadPool(pool);
      EXPECT_EQ(Fields(rv::GetBoundingBox(*region.roi)), Fields(expected))
          << region.name << " " << tasks;
      region.roi->SetThreadPool(nullptr);
    }
  }
}

// A region over nulls only, one beside the surface and a run list without runs have no valid
// cell; a single valid cell gives a box of size zero at that cell.
TEST_F(BoundingBoxRegion, EmptyAndSingleCellRegions) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  rv::RectangleRoiSurface nulls(s, rotest::CentreRect(-0.05, -0.05, 0.8, 0.2, 0), alloc_);
  ASSERT_GT(nulls.GetBoundingBox().width, 0);
  ExpectAllNull(rv::GetBoundingBox(nulls));
  rv::RectangleRoiSurface away(s, rotest::CentreRect(50, 50, 1, 1, 0), alloc_);
  ExpectAllNull(rv::GetBoundingBox(away));
  rv::RectRegionRLE rle;
  ExpectAllNull(rv::GetBoundingBox(s, rle));  // no run list at all
  rle.runs = RunList({}, alloc_);
  ExpectAllNull(rv::GetBoundingBox(s, rle));

  // A valid cell taken alone by runs.
  const auto heights = rotest::ReadArray2<short>(s.layers[0]);
  int row = 5, column = 0;
  while (heights[row][column] == -32768) ++column;
  rle.runs = RunList({{row, column, 1}}, alloc_);
  geotest::ExpectBox(rv::GetBoundingBox(s, rle),
                     {-2.5 + column * 0.1, -2 + row * 0.1, 1 + heights[row][column] * 0.002},
                     {0, 0, 0, 0, 0, 0}, 1e-15);
}

TEST_F(BoundingBoxRegion, BadRegionsRaise) {
  Grid g(4, 4);
  const rv::Surface none;
  EXPECT_TY_THROW(rv::GetBoundingBox(g.surface, {2, 2, 3, 3}, nullptr), -997, kName);
  EXPECT_TY_THROW(rv::GetBoundingBox(g.surface, {0, 0, 2, 2}, g.mask.Get()), -984, kName);
  EXPECT_TY_THROW(rv::GetBoundingBox(none, {0, 0, 1, 1}, nullptr), -996, kName);
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  rv::RectRegionRLE rle;
  rle.runs = RunList({{39, 48, 3}}, alloc_);  // past the last column
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -997, kName);
  rle.runs = RunList({{0, 0, -2}}, alloc_);
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -997, kName);
  rle.kind = 0;
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -996, kName);
  rv::RectRegionRLE points;
  ASSERT_EQ(zArrayList_Construct(points.runs.Address(), zTypeOf(zPoint3d64f), 0, alloc_), zOK);
  EXPECT_TY_THROW(rv::GetBoundingBox(s, points), -984, kName);
  // A point grid builds a mask but has no heights to bound.
  rv::Surface cloud = s;
  cloud.layers[0] = rotest::MakeArray2<zPoint3d16s>(zTypeOf(zPoint3d16s), {{{0, 0, 1}}}, alloc_);
  rv::RectangleRoiSurface onCloud(cloud, alloc_);
  EXPECT_TY_THROW(rv::GetBoundingBox(onCloud), -996, kName);
}

TEST_F(BoundingBoxRegion, RunsRaiseFailingAllocations) {
  // The inputs come from the default allocator: only the expanded mask is counted.
  const rv::Surface s = rotest::RegionTestSurface();
  rv::RectRegionRLE rle;
  rle.runs = RunList({{1, 0, 3}, {2, 2, 4}}, nullptr);
  const auto box = [&] { rv::GetBoundingBox(s, rle, alloc_); };
  EXPECT_GT(rotest::ExpectEveryAllocationFailureRaised(alloc_, box), 0u);
}

}  // namespace
