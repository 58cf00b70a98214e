#include "Measure.h"

#include <TyApi/TyException.h>
#include <zApi/zApi.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "InputError.h"
#include "Preprocess.h"
#include "RegionCells.h"

namespace rovision {

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;
// The circle fit draws its random samples from a fixed seed, so a scan always gives one result.
constexpr unsigned kCircleSeed = 1;
// Fewer edge points than this do not make a trustworthy circle.
constexpr std::size_t kMinEdgePoints = 8;

// A tool that cannot measure: the tool fails, the run goes on.
struct MeasureFailure {
  std::string message;
};

// Heights as the measurement sees them: world Z, or the signed distance from a reference plane
// along its normal (positive on the side the normal points to, up).
struct HeightScale {
  bool relative = false;
  rv::PlaneParams<double> plane;
  double Of(double x, double y, double z) const {
    return relative ? plane.a * x + plane.b * y + plane.c * z + plane.d : z;
  }
};

// The world position of every valid sample of the box whose mask byte is set.
template <class F>
void ForEachCell(const WorkingArea& area, void* mask, F visit) {
  const rv::Surface& s = area.surface;
  for (int r = 0; r < area.box.height; ++r) {
    const auto* heights =
        static_cast<const z16s*>(zArray2_Row(s.layers[0], zSize(area.box.y + r))) + area.box.x;
    const auto* inside = static_cast<const z8u*>(zArray2_Row(mask, zSize(r)));
    const double y = s.offset.y + (area.box.y + r) * s.scale.y;
    for (int c = 0; c < area.box.width; ++c) {
      if (!inside[c] || heights[c] == rv::GetNull<z16s>()) continue;
      visit(s.offset.x + (area.box.x + c) * s.scale.x, y, s.offset.z + heights[c] * s.scale.z);
    }
  }
}

double Percentile(std::vector<double> values, double percent) {
  const std::size_t at = static_cast<std::size_t>(std::lround(percent / 100 * (values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[at];
}

struct Context {
  WorkingArea area;
  void* mask;
  HeightScale heights;
  std::string length, area2, volume;  // unit names
};

void MeasurePlane(const Context& ctx, ToolResult& result) {
  rv::PlaneParams<double> plane;
  rv::FitPlane(ctx.area.surface, ctx.area.box, ctx.mask, &plane, nullptr);
  if (plane.a == rv::kNullDouble) throw MeasureFailure{"too few valid samples for a plane"};
  double lowest = INFINITY, highest = -INFINITY, squares = 0;
  std::size_t count = 0;
  ForEachCell(ctx.area, ctx.mask, [&](double x, double y, double z) {
    const double distance = plane.a * x + plane.b * y + plane.c * z + plane.d;
    lowest = std::min(lowest, distance), highest = std::max(highest, distance);
    squares += distance * distance, ++count;
  });
  result.plane = plane;
  result.values = {{"a", plane.a, ""},
                   {"b", plane.b, ""},
                   {"c", plane.c, ""},
                   {"d", plane.d, ctx.length},
                   {"flatness", highest - lowest, ctx.length},
                   {"rms", std::sqrt(squares / count), ctx.length},
                   // The slopes dZ/dX and dZ/dY as angles: the plate's tilt about Y and about X.
                   {"tilt_x", std::atan2(-plane.a, plane.c) * kDegreesPerRadian, "deg"},
                   {"tilt_y", std::atan2(-plane.b, plane.c) * kDegreesPerRadian, "deg"},
                   {"points", double(count), ""}};
}

void MeasureHeight(const Context& ctx, ToolResult& result) {
  std::vector<double> heights;
  ForEachCell(ctx.area, ctx.mask,
              [&](double x, double y, double z) { heights.push_back(ctx.heights.Of(x, y, z)); });
  if (heights.empty()) throw MeasureFailure{"no valid sample in the region"};
  const double n = double(heights.size());
  const double mean = std::accumulate(heights.begin(), heights.end(), 0.0) / n;
  double squares = 0;
  for (double h : heights) squares += (h - mean) * (h - mean);
  const auto [low, high] = std::minmax_element(heights.begin(), heights.end());
  result.values = {{"mean", mean, ctx.length},
                   {"median", Percentile(heights, 50), ctx.length},
                   {"stddev", std::sqrt(squares / n), ctx.length},
                   {"min", *low, ctx.length},
                   {"max", *high, ctx.length},
                   {"points", n, ""}};
}

// Edge points of a hole or boss: where the height crosses the edge level between two
// neighbouring valid samples of the region, interpolated between them. A valid sample next to a
// null one gives no point: the laser also loses the surface in dropouts away from the edge,
// and the wall it cannot see into is measured on the side where it does see the edge.
std::vector<zPoint64f> EdgePoints(const Context& ctx, double* level) {
  const WorkingArea& area = ctx.area;
  const rv::Surface& s = area.surface;
  const int rows = area.box.height, columns = area.box.width;
  // NaN: a null sample; -INFINITY marks a sample outside the region.
  std::vector<double> grid(std::size_t(rows) * columns, -INFINITY);
  std::vector<double> valid;
  for (int r = 0; r < rows; ++r) {
    const auto* heights =
        static_cast<const z16s*>(zArray2_Row(s.layers[0], zSize(area.box.y + r))) + area.box.x;
    const auto* inside = static_cast<const z8u*>(zArray2_Row(ctx.mask, zSize(r)));
    const double y = s.offset.y + (area.box.y + r) * s.scale.y;
    for (int c = 0; c < columns; ++c) {
      if (!inside[c]) continue;
      double& cell = grid[std::size_t(r) * columns + c];
      if (heights[c] == rv::GetNull<z16s>()) {
        cell = NAN;
        continue;
      }
      const double x = s.offset.x + (area.box.x + c) * s.scale.x;
      cell = ctx.heights.Of(x, y, s.offset.z + heights[c] * s.scale.z);
      valid.push_back(cell);
    }
  }
  if (valid.size() < kMinEdgePoints) throw MeasureFailure{"too few valid samples in the region"};
  if (std::isnan(*level)) *level = (Percentile(valid, 5) + Percentile(valid, 95)) / 2;

  std::vector<zPoint64f> points;
  auto consider = [&](int r, int c, int r2, int c2) {
    const double a = grid[std::size_t(r) * columns + c], b = grid[std::size_t(r2) * columns + c2];
    if (!std::isfinite(a) || !std::isfinite(b) || (a >= *level) == (b >= *level)) return;
    const double t = (a - *level) / (a - b);
    const double x = s.offset.x + (area.box.x + c + t * (c2 - c)) * s.scale.x;
    const double y = s.offset.y + (area.box.y + r + t * (r2 - r)) * s.scale.y;
    points.push_back(zPoint64f{x, y});
  };
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      if (c + 1 < columns) consider(r, c, r, c + 1);
      if (r + 1 < rows) consider(r, c, r + 1, c);
    }
  }
  return points;
}

void MeasureCircle(const Context& ctx, const Measurement& m, ToolResult& result) {
  double level = m.edgeHeight;
  const std::vector<zPoint64f> points = EdgePoints(ctx, &level);
  if (points.size() < kMinEdgePoints) throw MeasureFailure{"too few edge points for a circle"};
  zPoint64f center{};
  double radius = 0;
  std::vector<int> outliers(points.size(), 0);
  unsigned seed = kCircleSeed;
  try {
    rv::FitCircleByRLTS(points.data(), points.size(), m.outlierPercent, center, radius,
                        outliers.data(), &seed, 0);
  } catch (const Ty::Exception& error) {
    throw MeasureFailure{std::string("no circle fits the edge points: ") + error.what()};
  }
  if (radius == rv::kNullDouble) throw MeasureFailure{"no circle fits the edge points"};
  double lowest = INFINITY, highest = -INFINITY;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (outliers[i]) continue;
    const double error = std::hypot(points[i].x - center.x, points[i].y - center.y) - radius;
    lowest = std::min(lowest, error), highest = std::max(highest, error);
  }
  result.hasPoint = true, result.x = center.x, result.y = center.y;
  result.values = {{"center_x", center.x, ctx.length},
                   {"center_y", center.y, ctx.length},
                   {"diameter", 2 * radius, ctx.length},
                   {"roundness", highest - lowest, ctx.length},
                   {"edge_height", level, ctx.length},
                   {"edge_points", double(points.size()), ""},
                   {"outliers", double(std::count(outliers.begin(), outliers.end(), 1)), ""}};
}

// The profile along the axis: one point per column (axis x) or row (axis y) of the region, the
// mean world height of its valid samples.
void MeasureLine(const Context& ctx, const Measurement& m, ToolResult& result) {
  const bool alongX = m.axis == 'x';
  const rv::Surface& s = ctx.area.surface;
  const int steps = alongX ? ctx.area.box.width : ctx.area.box.height;
  std::vector<double> sums(steps, 0.0), counts(steps, 0.0);
  ForEachCell(ctx.area, ctx.mask, [&](double x, double y, double z) {
    const int i =
        alongX ? static_cast<int>(std::lround((x - s.offset.x) / s.scale.x)) - ctx.area.box.x
               : static_cast<int>(std::lround((y - s.offset.y) / s.scale.y)) - ctx.area.box.y;
    sums[i] += z, counts[i] += 1;
  });
  std::vector<zPoint64f> profile;
  for (int i = 0; i < steps; ++i) {
    if (counts[i] == 0) continue;
    const double position = alongX ? s.offset.x + (ctx.area.box.x + i) * s.scale.x
                                   : s.offset.y + (ctx.area.box.y + i) * s.scale.y;
    profile.push_back(zPoint64f{position, sums[i] / counts[i]});
  }
  if (profile.size() < 3) throw MeasureFailure{"too few profile points for a line"};
  double slope = 0, intercept = 0;
  Ty::Object<void*> flags;
  rv::FitLineIterative(profile.data(), profile.size(), m.outlierPercent, &slope, &intercept,
                       flags.Address(), nullptr);
  if (slope == rv::kNullDouble || !std::isfinite(slope)) {
    throw MeasureFailure{"no line fits the profile"};
  }
  const auto* removed = static_cast<const zBool*>(zArrayList_Data(flags));
  const std::size_t outliers =
      std::count_if(removed, removed + zArrayList_Count(flags), [](zBool b) { return b != 0; });
  double squares = 0;
  for (std::size_t i = 0; i < profile.size(); ++i) {
    if (removed[i]) continue;
    const double residual = profile[i].y - (slope * profile[i].x + intercept);
    squares += residual * residual;
  }
  result.values = {{"slope", slope, ""},
                   {"angle", std::atan(slope) * kDegreesPerRadian, "deg"},
                   {"intercept", intercept, ctx.length},
                   {"rms", std::sqrt(squares / double(profile.size() - outliers)), ctx.length},
                   {"points", double(profile.size()), ""},
                   {"outliers", double(outliers), ""}};
}

void MeasureFeature(const Context& ctx, const Measurement& m, ToolResult& result) {
  const zPoint3d64f point = rv::CalculateFeaturePoint(ctx.area.surface, ctx.area.box, ctx.mask,
                                                      m.lowPercent, m.highPercent, m.feature);
  if (point.x == rv::kNullDouble || !std::isfinite(point.x)) {
    throw MeasureFailure{"no valid sample gives the feature point"};
  }
  result.hasPoint = true, result.x = point.x, result.y = point.y;
  result.values = {
      {"x", point.x, ctx.length}, {"y", point.y, ctx.length}, {"z", point.z, ctx.length}};
}

// Each valid sample stands for a prism of one sample's footprint and its height above the
// reference (or above Z = 0); the volume below the reference counts separately.
void MeasureVolume(const Context& ctx, ToolResult& result) {
  const double cell = ctx.area.surface.scale.x * ctx.area.surface.scale.y;
  double above = 0, below = 0;
  std::size_t count = 0;
  ForEachCell(ctx.area, ctx.mask, [&](double x, double y, double z) {
    const double h = ctx.heights.Of(x, y, z);
    (h > 0 ? above : below) += h * cell;
    ++count;
  });
  if (count == 0) throw MeasureFailure{"no valid sample in the region"};
  result.values = {{"volume", above + below, ctx.volume},
                   {"volume_above", above, ctx.volume},
                   {"volume_below", -below, ctx.volume},
                   {"area", double(count) * cell, ctx.area2},
                   {"points", double(count), ""}};
}

std::string DescribeExtent(const Scan& scan) {
  const zPoint3d64f& o = scan.surface.offset;
  const zPoint3d64f& s = scan.surface.scale;
  char text[160];
  std::snprintf(text, sizeof text, "the scan covers X %.6g..%.6g, Y %.6g..%.6g", o.x,
                o.x + (scan.Columns() - 1) * s.x, o.y, o.y + (scan.Rows() - 1) * s.y);
  return text;
}

}  // namespace

const std::vector<std::string>& ValueNames(MeasurementType type) {
  static const std::map<MeasurementType, std::vector<std::string>> kNames = {
      {MeasurementType::Plane,
       {"a", "b", "c", "d", "flatness", "rms", "tilt_x", "tilt_y", "points"}},
      {MeasurementType::Height, {"mean", "median", "stddev", "min", "max", "points"}},
      {MeasurementType::Circle,
       {"center_x", "center_y", "diameter", "roundness", "edge_height", "edge_points", "outliers"}},
      {MeasurementType::Line, {"slope", "angle", "intercept", "rms", "points", "outliers"}},
      {MeasurementType::Feature, {"x", "y", "z"}},
      {MeasurementType::Volume, {"volume", "volume_above", "volume_below", "area", "points"}}};
  return kNames.at(type);
}

std::vector<ToolResult> RunRecipe(const Scan& scan, const Recipe& recipe) {
  std::vector<ToolResult> results;
  std::map<std::string, std::size_t> byName;
  for (const Tool& tool : recipe.tools) {
    ToolResult result;
    result.tool = tool.name;
    result.type = tool.measure.type;
    try {
      RegionShape shape = tool.region;
      if (!tool.anchor.empty()) {
        const ToolResult& anchor = results[byName.at(tool.anchor)];
        if (!anchor.ok) throw MeasureFailure{"its anchor '" + tool.anchor + "' failed"};
        rv::Anchor moveTo;
        moveTo.x = anchor.x, moveTo.y = anchor.y;
        shape = AnchorShape(shape, moveTo);
      }
      HeightScale heights;
      if (!tool.measure.reference.empty()) {
        const ToolResult& reference = results[byName.at(tool.measure.reference)];
        if (!reference.ok) {
          throw MeasureFailure{"its reference '" + tool.measure.reference + "' failed"};
        }
        heights.relative = true;
        heights.plane = reference.plane;
      }
      const rv::Rect2d<int> box = RegionBox(scan.surface, shape);
      if (box.width <= 0 || box.height <= 0) {
        throw InputError(recipe.file, tool.field + ".region",
                         "lies outside the scan (" + DescribeExtent(scan) + ")");
      }
      // The mask is taken on the preprocessed heights, so that samples a step filled belong to
      // the region as any other.
      WorkingArea area = Preprocessed(scan.surface, box, tool.preprocess);
      Ty::Object<void*> mask = RegionMask(area.surface, shape, area.box);
      Context ctx{std::move(area), mask, heights, scan.unit, scan.unit + "^2", scan.unit + "^3"};
      switch (tool.measure.type) {
        case MeasurementType::Plane:
          MeasurePlane(ctx, result);
          break;
        case MeasurementType::Height:
          MeasureHeight(ctx, result);
          break;
        case MeasurementType::Circle:
          MeasureCircle(ctx, tool.measure, result);
          break;
        case MeasurementType::Line:
          MeasureLine(ctx, tool.measure, result);
          break;
        case MeasurementType::Feature:
          MeasureFeature(ctx, tool.measure, result);
          break;
        case MeasurementType::Volume:
          MeasureVolume(ctx, result);
          break;
      }
      result.ok = true;
    } catch (const MeasureFailure& failure) {
      result.message = failure.message;
    } catch (const Ty::Exception& error) {
      result.message = error.what();
    }
    byName[tool.name] = results.size();
    results.push_back(std::move(result));
  }
  return results;
}

}  // namespace rovision
