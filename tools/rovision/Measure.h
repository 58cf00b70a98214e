// Running a recipe's tools on a scan.
#ifndef ROVISION_TOOLS_MEASURE_H
#define ROVISION_TOOLS_MEASURE_H

#include <string>
#include <vector>

#include "Recipe.h"
#include "Scan.h"

namespace rovision {

struct Value {
  std::string name;
  double value;
  std::string unit;  // "mm", "mm^2", "mm^3" in the scan's unit; "deg"; "" for counts and ratios
};

struct ToolResult {
  std::string tool;
  MeasurementType type = MeasurementType::Plane;
  bool ok = false;
  std::string message;  // why the tool failed; empty when it did not
  std::vector<Value> values;
  // What later tools may use: the plane of a plane tool, the point of a circle or feature tool.
  rv::PlaneParams<double> plane;
  bool hasPoint = false;
  double x = 0, y = 0;
};

// The names of the values each measurement reports, in order.
const std::vector<std::string>& ValueNames(MeasurementType type);

// Runs every tool in order. A tool whose measurement cannot be made (too few valid samples, a
// fit that finds no circle, a reference or anchor tool that failed) gets ok = false and a
// message; the others go on. A region that lies wholly outside the scan is the recipe's error
// and raises InputError naming the recipe and the tool's region.
std::vector<ToolResult> RunRecipe(const Scan& scan, const Recipe& recipe);

}  // namespace rovision

#endif
