// Watershed of touching cones, against the geometry of the cones and against the imaging
// library's 8-bit watershed where both must agree.
#include <RoVision/ImageProcessing/Watershed.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <cmath>
#include <opencv2/imgproc.hpp>
#include <set>
#include <vector>

#include "ImageTestSupport.h"
#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rotest::ImageFrom;
using rotest::RowOf;

namespace {

constexpr int kWidth = 100, kHeight = 70;
constexpr double kSlope = 40;  // height steps per cell

struct Cone {
  double x, y;
};

double Distance(const Cone& c, int x, int y) {
  return std::hypot(x - c.x, y - c.y);
}

// Pits (or, upside down, peaks) that touch: the height is the slope times the distance to the
// nearest centre.
Ty::Object<void*> Cones(const std::vector<Cone>& cones, bool peaks, zAlloc alloc) {
  return ImageFrom<z16s>(
      kWidth, kHeight,
      [&](int x, int y) {
        double d = 1e9;
        for (const Cone& c : cones) d = std::min(d, Distance(c, x, y));
        const double h = kSlope * d - 3000;
        return std::lround(peaks ? -h : h);
      },
      alloc);
}

int32_t LabelAt(void* labels, int x, int y) {
  return RowOf<int32_t>(labels, y)[x];
}

using WatershedTest = rotest::LeakCheckedTest;

TEST_F(WatershedTest, TouchingConesGiveOneBasinEachAndLinesWhereTheyMeet) {
  const std::vector<std::vector<Cone>> cases = {{{30, 35}, {70, 35}},
                                                {{25, 20}, {75, 25}, {50, 55}}};
  for (bool peaks : {false, true}) {
    for (const auto& cones : cases) {
      auto heights = Cones(cones, peaks, alloc_);
      rv::WatershedOptions options;
      options.peaks = peaks;
      auto labels = rv::ImageWatershedSegmentation(heights, nullptr, options, alloc_);
      std::set<int32_t> found, atCentres;
      for (const Cone& c : cones) atCentres.insert(LabelAt(labels, int(c.x), int(c.y)));
      int lineCells = 0;
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          const int32_t label = LabelAt(labels, x, y);
          ASSERT_NE(label, 0);
          std::vector<std::pair<double, size_t>> d;
          for (size_t k = 0; k < cones.size(); ++k) d.push_back({Distance(cones[k], x, y), k});
          std::sort(d.begin(), d.end());
          const double margin = d[1].first - d[0].first;
          const Cone& nearest = cones[d[0].second];
          if (label < 0) {
            // A line cell is about as far from two centres as from its nearest.
            EXPECT_LT(margin, 1.5) << x << "," << y;
            ++lineCells;
            continue;
          }
          found.insert(label);
          // Away from the lines, every cell belongs to the basin of its nearest centre.
          if (margin < 2) continue;
          ASSERT_EQ(label, LabelAt(labels, int(nearest.x), int(nearest.y))) << x << "," << y;
        }
      }
      EXPECT_EQ(found.size(), cones.size());
      EXPECT_EQ(atCentres.size(), cones.size());
      EXPECT_GT(lineCells, kHeight / 2);
      // Without lines the basins cover every cell.
      options.lines = false;
      auto covered = rv::ImageWatershedSegmentation(heights, nullptr, options, alloc_);
      for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) ASSERT_GT(LabelAt(covered, x, y), 0);
    }
  }
}

TEST_F(WatershedTest, AgreesWithThe8BitWatershedOnWellSeparatedBasins) {
  auto heights = Cones({{30, 35}, {70, 35}}, false, alloc_);
  auto markers = ImageFrom<z32s>(
      kWidth, kHeight, [](int x, int y) { return y == 35 ? (x == 30) + 2 * (x == 70) : 0; },
      alloc_);
  cv::Mat cvMarkers = rotest::MatOf<z32s>(markers).clone(), gray(kHeight, kWidth, CV_8U), colour;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      gray.at<uchar>(y, x) = cv::saturate_cast<uchar>((RowOf<z16s>(heights, y)[x] + 3000) / 16);
  cv::cvtColor(gray, colour, cv::COLOR_GRAY2BGR);
  cv::watershed(colour, cvMarkers);
  auto labels = rv::ImageWatershedSegmentation(heights, markers, rv::WatershedOptions{}, alloc_);
  int compared = 0;
  // The 8-bit watershed draws its frame as a line, which bends its lines next to the frame: the
  // outer three cells are left out, and so are the cells near the meeting line x = 50.
  for (int y = 3; y < kHeight - 3; ++y) {
    for (int x = 3; x < kWidth - 3; ++x) {
      if (std::abs(x - 50) < 3) continue;
      ASSERT_EQ(LabelAt(labels, x, y), cvMarkers.at<int>(y, x)) << x << "," << y;
      ++compared;
    }
  }
  EXPECT_GT(compared, 5000);
}

TEST_F(WatershedTest, NullsAreNeverFloodedAndWallsKeepCellsUnreached) {
  auto heights = Cones({{20, 35}, {80, 35}}, false, alloc_);
  // A wall of nulls at x = 50 cuts the map in two; a second wall at x = 90 shuts in a strip
  // without a marker of its own only when markers are given.
  for (int y = 0; y < kHeight; ++y)
    RowOf<z16s>(heights, y)[50] = RowOf<z16s>(heights, y)[90] = -32768;
  // The marker 5 sits on a null and is ignored.
  auto markers = ImageFrom<z32s>(
      kWidth, kHeight,
      [](int x, int y) {
        return y == 35 && x == 20 ? 7 : y == 35 && x == 80 ? 9 : y == 10 && x == 50 ? 5 : 0;
      },
      alloc_);
  auto labels = rv::ImageWatershedSegmentation(heights, markers, rv::WatershedOptions{}, alloc_);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int32_t expected = x == 50 || x >= 90 ? 0 : x < 50 ? 7 : 9;
      ASSERT_EQ(LabelAt(labels, x, y), expected) << x << "," << y;
    }
  }
}

TEST_F(WatershedTest, ResultDoesNotDependOnTheNumberOfTasks) {
  // A noisy surface has many minima; the smoothing runs on the pool.
  uint32_t state = 12345;
  auto heights = ImageFrom<z16s>(
      211, 157,
      [&](int x, int y) {
        state = state * 1664525u + 1013904223u;
        const int noise = int(state >> 24) % 200;
        return (state >> 8) % 97 == 0 ? z16s(-32768)
                                      : z16s(2000 * std::sin(x * 0.1) * std::cos(y * 0.08) + noise);
      },
      alloc_);
  std::vector<int32_t> reference;
  for (zSize tasks : {1, 2, 3, 8}) {
    Ty::Object<void*> pool;
    ASSERT_EQ(zThreadPool_Construct(pool.Address(), tasks, alloc_), zOK);
    rv::WatershedOptions options;
    options.smoothSize = 5;
    options.pool = pool;
    auto labels = rv::ImageWatershedSegmentation(heights, nullptr, options, alloc_);
    const int32_t* data = static_cast<const int32_t*>(zImage_Data(labels));
    std::vector<int32_t> cells(data, data + 211 * 157);
    if (reference.empty()) {
      reference = cells;
      EXPECT_GT(*std::max_element(cells.begin(), cells.end()), 5);
    } else {
      EXPECT_EQ(cells, reference) << tasks << " tasks";
    }
  }
}

TEST_F(WatershedTest, BadArgumentsRaise) {
  const char* name = "Ro::Vision::ImageWatershedSegmentation";
  auto heights = rotest::Blank<z16s>(4, 3, alloc_), other = rotest::Blank<z16u>(4, 3, alloc_),
       markers = rotest::Blank<z32s>(4, 2, alloc_);
  rv::WatershedOptions options;
  EXPECT_TY_THROW(rv::ImageWatershedSegmentation(nullptr, nullptr, options), -997, name);
  EXPECT_TY_THROW(rv::ImageWatershedSegmentation(other, nullptr, options), -996, name);
  EXPECT_TY_THROW(rv::ImageWatershedSegmentation(heights, markers, options), -984, name);
  EXPECT_TY_THROW(rv::ImageWatershedSegmentation(heights, other, options), -984, name);
  options.smoothSize = 4;
  EXPECT_TY_THROW(rv::ImageWatershedSegmentation(heights, nullptr, options), -997, name);
  options.smoothSize = 1;
  alloc_.FailAfter(1);
  EXPECT_TY_STATUS(rv::ImageWatershedSegmentation(heights, nullptr, options, alloc_),
                   zERROR_MEMORY);
}

}  // namespace
