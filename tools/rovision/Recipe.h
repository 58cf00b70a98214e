// Recipes: a list of tools, each a region of the scan, optional preprocessing and one
// measurement, read from JSON. The format is described in the README; the built-in recipe
// measures the built-in sample.
#ifndef ROVISION_TOOLS_RECIPE_H
#define ROVISION_TOOLS_RECIPE_H

#include <RoVision/RoVision.h>

#include <cmath>
#include <string>
#include <vector>

namespace rovision {

namespace rv = Ro::Vision;

// A region of interest in world units (the scan's X and Y).
struct RegionShape {
  enum class Kind { Rectangle, Polygon, Circle, Ellipse, Composed };
  Kind kind = Kind::Rectangle;
  rv::Region2d<double> rectangle;  // centre style; the angle turns it about its centre
  std::vector<rv::Point2d<double>> polygon;
  rv::AnnularSector2d<double> circle;      // a disc when there is no inner radius or span
  rv::EllipticalSector2d<double> ellipse;  // full axes
  // A composed region holds the samples of any `include` region that lie in no `exclude` one.
  std::vector<RegionShape> include;
  std::vector<RegionShape> exclude;
  std::string field;  // where the region stands in the recipe, for errors
};

struct Preprocess {
  enum class Kind { FillGaps, Average, Median };
  Kind kind = Kind::FillGaps;
  double maxGap = 0;  // FillGaps: the longest run of nulls filled, world units
  int size = 3;       // Average: the window, in samples
  int passes = 1;     // Median: how often the 3 x 3 median runs
};

enum class MeasurementType { Plane, Height, Circle, Line, Feature, Volume };

struct Measurement {
  MeasurementType type = MeasurementType::Plane;
  // Height, circle, volume: the name of an earlier plane tool that heights are measured from
  // (along its normal); empty: world Z.
  std::string reference;
  // Circle: the height (from the reference) at which the edge is found; NaN: halfway between
  // the low and high sides of the region (its 5th and 95th height percentiles).
  double edgeHeight = NAN;
  // Circle and line: the share of points the fit may discard as outliers, percent.
  double outlierPercent = 10;
  // Line: the profile runs along this axis ('x' or 'y'); each of its points is the mean height
  // of the region's valid samples across it.
  char axis = 'x';
  rv::FeatureType feature = rv::FeatureType::Centroid;
  double lowPercent = 0, highPercent = 100;  // Feature, percentile band
};

struct Tool {
  std::string name;
  RegionShape region;
  std::string anchor;  // the name of an earlier tool whose point (x, y) the region is relative to
  std::vector<Preprocess> preprocess;
  Measurement measure;
  std::string field;  // "tools[2]"
};

struct Recipe {
  std::string file;  // where it came from, for errors ("(built-in recipe)")
  std::vector<Tool> tools;
};

// Parses a recipe: a JSON list of tools, or an object whose "tools" member is that list. Any
// problem raises InputError naming `file` and the field. References and anchors must name
// earlier tools: a reference a plane tool, an anchor a circle or feature tool.
Recipe ParseRecipe(const std::string& text, const std::string& file);
Recipe LoadRecipe(const std::string& path);

// The recipe that measures the built-in sample, as JSON text and parsed.
const std::string& BuiltInRecipeText();
Recipe BuiltInRecipe();

const char* MeasurementName(MeasurementType type);

}  // namespace rovision

#endif
