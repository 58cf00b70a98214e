#include "Recipe.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "FileIo.h"
#include "InputError.h"
#include "JsonFields.h"

namespace rovision {

namespace {

const std::vector<std::pair<std::string, MeasurementType>> kMeasurements = {
    {"plane", MeasurementType::Plane},     {"height", MeasurementType::Height},
    {"circle", MeasurementType::Circle},   {"line", MeasurementType::Line},
    {"feature", MeasurementType::Feature}, {"volume", MeasurementType::Volume}};

const std::vector<std::pair<std::string, rv::FeatureType>> kFeatures = {
    {"centroid", rv::FeatureType::Centroid},
    {"median", rv::FeatureType::Median},
    {"offset", rv::FeatureType::Offset},
    {"volume_centroid", rv::FeatureType::VolumeCentroid},
    {"max_x", rv::FeatureType::MaxX},
    {"min_x", rv::FeatureType::MinX},
    {"max_y", rv::FeatureType::MaxY},
    {"min_y", rv::FeatureType::MinY},
    {"max_z", rv::FeatureType::MaxZ},
    {"min_z", rv::FeatureType::MinZ},
    {"percentile_band", rv::FeatureType::PercentileBand}};

template <class T>
T Lookup(const std::vector<std::pair<std::string, T>>& table, const JsonFields& fields,
         const std::string& key, const std::string& what) {
  const std::string name = fields.String(key);
  for (const auto& entry : table) {
    if (entry.first == name) return entry.second;
  }
  std::string list;
  for (const auto& entry : table) list += (list.empty() ? "" : ", ") + entry.first;
  fields.Fail(key, "unknown " + what + " '" + name + "' (expected one of " + list + ")");
}

const nlohmann::json& ListMember(const JsonFields& fields, const std::string& key) {
  const nlohmann::json& list = fields.Member(key);
  if (!list.is_array()) fields.Fail(key, "must be a list");
  return list;
}

std::string Indexed(const JsonFields& fields, const std::string& key, std::size_t index) {
  return fields.PathOf(key) + "[" + std::to_string(index) + "]";
}

// Angles of sectors: unset (the double null) leaves the full turn.
void ReadSectorAngles(const JsonFields& fields, double* start, double* span) {
  if (fields.Has("start_angle")) *start = fields.Number("start_angle");
  if (fields.Has("span")) *span = fields.Number("span");
}

RegionShape ParseRegionShape(const JsonFields& fields, bool topLevel);

std::vector<RegionShape> ParseRegionList(const JsonFields& fields, const std::string& key) {
  std::vector<RegionShape> shapes;
  const nlohmann::json& list = ListMember(fields, key);
  for (std::size_t i = 0; i < list.size(); ++i) {
    shapes.push_back(
        ParseRegionShape(JsonFields(list[i], fields.File(), Indexed(fields, key, i)), false));
  }
  return shapes;
}

RegionShape ParseRegionShape(const JsonFields& fields, bool topLevel) {
  RegionShape shape;
  shape.field = fields.Path();
  const std::string kind = fields.String("shape");
  // The anchor belongs to the tool's whole region, so only the top level may carry one.
  auto allow = [&](std::vector<std::string> known) {
    known.push_back("shape");
    if (topLevel) known.push_back("anchor");
    fields.AllowOnly(known);
  };
  if (kind == "rectangle") {
    allow({"center", "size", "angle"});
    shape.kind = RegionShape::Kind::Rectangle;
    fields.Pair("center", &shape.rectangle.x, &shape.rectangle.y);
    fields.Pair("size", &shape.rectangle.width, &shape.rectangle.length);
    if (!(shape.rectangle.width > 0 && shape.rectangle.length > 0)) {
      fields.Fail("size", "must be positive");
    }
    shape.rectangle.angle = fields.Number("angle", 0.0);
  } else if (kind == "polygon") {
    allow({"points"});
    shape.kind = RegionShape::Kind::Polygon;
    const nlohmann::json& points = ListMember(fields, "points");
    if (points.size() < 3) fields.Fail("points", "a polygon needs at least 3 points");
    for (std::size_t i = 0; i < points.size(); ++i) {
      const nlohmann::json& point = points[i];
      if (!point.is_array() || point.size() != 2 || !point[0].is_number() ||
          !point[1].is_number()) {
        throw InputError(fields.File(), Indexed(fields, "points", i),
                         "must be a list of two numbers [x, y]");
      }
      shape.polygon.push_back(rv::Point2d<double>{point[0].get<double>(), point[1].get<double>()});
    }
  } else if (kind == "circle") {
    allow({"center", "radius", "inner_radius", "start_angle", "span"});
    shape.kind = RegionShape::Kind::Circle;
    fields.Pair("center", &shape.circle.center.x, &shape.circle.center.y);
    shape.circle.outerRadius = fields.Positive("radius");
    shape.circle.innerRadius = fields.Number("inner_radius", 0.0);
    if (shape.circle.innerRadius < 0 || shape.circle.innerRadius >= shape.circle.outerRadius) {
      fields.Fail("inner_radius", "must lie between 0 and the radius");
    }
    ReadSectorAngles(fields, &shape.circle.startAngle, &shape.circle.angleSpan);
  } else if (kind == "ellipse") {
    allow({"center", "size", "inner_size", "angle", "start_angle", "span"});
    shape.kind = RegionShape::Kind::Ellipse;
    rv::EllipticalSector2d<double>& e = shape.ellipse;
    fields.Pair("center", &e.center.x, &e.center.y);
    fields.Pair("size", &e.outerWidth, &e.outerLength);
    if (!(e.outerWidth > 0 && e.outerLength > 0)) fields.Fail("size", "must be positive");
    e.innerWidth = e.innerLength = 0;
    if (fields.Has("inner_size")) {
      fields.Pair("inner_size", &e.innerWidth, &e.innerLength);
      if (e.innerWidth < 0 || e.innerLength < 0 || e.innerWidth >= e.outerWidth ||
          e.innerLength >= e.outerLength) {
        fields.Fail("inner_size", "must lie between 0 and the size");
      }
    }
    e.angle = fields.Number("angle", 0.0);
    ReadSectorAngles(fields, &e.startAngle, &e.angleSpan);
  } else if (kind == "composed") {
    allow({"include", "exclude"});
    shape.kind = RegionShape::Kind::Composed;
    shape.include = ParseRegionList(fields, "include");
    if (shape.include.empty()) fields.Fail("include", "must list at least one region");
    if (fields.Has("exclude")) shape.exclude = ParseRegionList(fields, "exclude");
  } else {
    fields.Fail("shape", "unknown region shape '" + kind +
                             "' (expected rectangle, polygon, circle, ellipse or composed)");
  }
  return shape;
}

Preprocess ParsePreprocess(const JsonFields& fields) {
  Preprocess step;
  const std::string kind = fields.String("type");
  if (kind == "fill_gaps") {
    fields.AllowOnly({"type", "max_gap"});
    step.kind = Preprocess::Kind::FillGaps;
    step.maxGap = fields.Positive("max_gap");
  } else if (kind == "average") {
    fields.AllowOnly({"type", "size"});
    step.kind = Preprocess::Kind::Average;
    const double size = fields.Number("size", 3);
    if (size < 2 || size > 101 || size != std::floor(size)) {
      fields.Fail("size", "must be a whole number of samples from 2 to 101");
    }
    step.size = static_cast<int>(size);
  } else if (kind == "median") {
    fields.AllowOnly({"type", "passes"});
    step.kind = Preprocess::Kind::Median;
    const double passes = fields.Number("passes", 1);
    if (passes < 1 || passes > 20 || passes != std::floor(passes)) {
      fields.Fail("passes", "must be a whole number from 1 to 20");
    }
    step.passes = static_cast<int>(passes);
  } else {
    fields.Fail("type",
                "unknown preprocessing '" + kind + "' (expected fill_gaps, average or median)");
  }
  return step;
}

Measurement ParseMeasurement(const JsonFields& fields) {
  Measurement m;
  m.type = Lookup(kMeasurements, fields, "type", "tool type");
  std::vector<std::string> known = {"type"};
  switch (m.type) {
    case MeasurementType::Plane:
      break;
    case MeasurementType::Height:
    case MeasurementType::Volume:
      known.push_back("reference");
      break;
    case MeasurementType::Circle:
      known.insert(known.end(), {"reference", "edge_height", "outlier_percent"});
      m.edgeHeight = fields.Number("edge_height", NAN);
      break;
    case MeasurementType::Line: {
      known.insert(known.end(), {"axis", "outlier_percent"});
      const std::string axis = fields.String("axis", "x");
      if (axis != "x" && axis != "y") fields.Fail("axis", "must be \"x\" or \"y\"");
      m.axis = axis[0];
      break;
    }
    case MeasurementType::Feature:
      known.insert(known.end(), {"feature", "low_percent", "high_percent"});
      m.feature = Lookup(kFeatures, fields, "feature", "feature");
      m.lowPercent = fields.Number("low_percent", 0.0);
      m.highPercent = fields.Number("high_percent", 100.0);
      break;
  }
  fields.AllowOnly(known);
  m.reference = fields.String("reference", "");
  m.outlierPercent = fields.Number("outlier_percent", 10.0);
  if (m.outlierPercent < 0 || m.outlierPercent > 80) {
    fields.Fail("outlier_percent", "must lie between 0 and 80");
  }
  return m;
}

// Tool names are the keys of the results, and references point backwards only, so that a tool
// always runs after the tools it depends on.
void CheckLinks(const Recipe& recipe) {
  std::map<std::string, MeasurementType> earlier;
  for (const Tool& tool : recipe.tools) {
    if (earlier.count(tool.name)) {
      throw InputError(recipe.file, tool.field + ".name", "'" + tool.name + "' is used twice");
    }
    const std::string& reference = tool.measure.reference;
    if (!reference.empty()) {
      const auto found = earlier.find(reference);
      if (found == earlier.end()) {
        throw InputError(recipe.file, tool.field + ".measure.reference",
                         "no earlier tool is named '" + reference + "'");
      }
      if (found->second != MeasurementType::Plane) {
        throw InputError(recipe.file, tool.field + ".measure.reference",
                         "'" + reference + "' is not a plane tool");
      }
    }
    if (!tool.anchor.empty()) {
      const auto found = earlier.find(tool.anchor);
      if (found == earlier.end()) {
        throw InputError(recipe.file, tool.field + ".region.anchor",
                         "no earlier tool is named '" + tool.anchor + "'");
      }
      if (found->second != MeasurementType::Circle && found->second != MeasurementType::Feature) {
        throw InputError(
            recipe.file, tool.field + ".region.anchor",
            "'" + tool.anchor + "' gives no point (anchor to a circle or feature tool)");
      }
    }
    earlier[tool.name] = tool.measure.type;
  }
}

}  // namespace

const char* MeasurementName(MeasurementType type) {
  for (const auto& entry : kMeasurements) {
    if (entry.second == type) return entry.first.c_str();
  }
  return "?";
}

Recipe ParseRecipe(const std::string& text, const std::string& file) {
  const nlohmann::json document = ParseJson(text, file);
  const nlohmann::json* list = &document;
  std::string listPath = "tools";
  if (document.is_object()) {
    const JsonFields top(document, file, "");
    top.AllowOnly({"tools", "description"});
    list = &top.Member("tools");
  }
  if (!list->is_array()) throw InputError(file, listPath, "must be a list of tools");
  if (list->empty()) throw InputError(file, listPath, "lists no tool");

  Recipe recipe;
  recipe.file = file;
  for (std::size_t i = 0; i < list->size(); ++i) {
    const JsonFields fields((*list)[i], file, "tools[" + std::to_string(i) + "]");
    fields.AllowOnly({"name", "region", "preprocess", "measure"});
    Tool tool;
    tool.field = fields.Path();
    tool.name = fields.String("name");
    if (tool.name.empty()) fields.Fail("name", "must not be empty");
    const JsonFields region = fields.Object("region");
    tool.region = ParseRegionShape(region, true);
    tool.anchor = region.String("anchor", "");
    if (fields.Has("preprocess")) {
      const nlohmann::json& steps = ListMember(fields, "preprocess");
      for (std::size_t s = 0; s < steps.size(); ++s) {
        tool.preprocess.push_back(
            ParsePreprocess(JsonFields(steps[s], file, Indexed(fields, "preprocess", s))));
      }
    }
    tool.measure = ParseMeasurement(fields.Object("measure"));
    recipe.tools.push_back(std::move(tool));
  }
  CheckLinks(recipe);
  return recipe;
}

Recipe LoadRecipe(const std::string& path) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  return ParseRecipe(std::string(bytes.begin(), bytes.end()), path);
}

const std::string& BuiltInRecipeText() {
  // The sample's nominal geometry (SampleScan.h): regions keep clear of the edges they do not
  // measure, and the boss's own regions follow its measured axis.
  static const std::string kText = R"({
  "description": "Measures the built-in sample part: plate flatness and tilt, hole, boss, groove",
  "tools": [
    {
      "name": "plate",
      "region": {
        "shape": "composed",
        "include": [{"shape": "rectangle", "center": [44, 70], "size": [60, 94]}],
        "exclude": [
          {"shape": "circle", "center": [35, 50], "radius": 8.5},
          {"shape": "circle", "center": [62, 95], "radius": 11}
        ]
      },
      "measure": {"type": "plane"}
    },
    {
      "name": "plate_profile",
      "region": {"shape": "rectangle", "center": [44, 30], "size": [60, 4]},
      "measure": {"type": "line", "axis": "x", "outlier_percent": 5}
    },
    {
      "name": "hole",
      "region": {"shape": "circle", "center": [35, 50], "radius": 8.5, "inner_radius": 4},
      "measure": {"type": "circle", "reference": "plate", "outlier_percent": 10}
    },
    {
      "name": "hole_bottom",
      "region": {"shape": "circle", "center": [0, 0], "radius": 3, "anchor": "hole"},
      "measure": {"type": "feature", "feature": "median"}
    },
    {
      "name": "boss",
      "region": {"shape": "circle", "center": [62, 95], "radius": 11, "inner_radius": 5},
      "measure": {"type": "circle", "reference": "plate", "outlier_percent": 10}
    },
    {
      "name": "boss_height",
      "region": {"shape": "circle", "center": [0, 0], "radius": 6, "anchor": "boss"},
      "measure": {"type": "height", "reference": "plate"}
    },
    {
      "name": "boss_volume",
      "region": {"shape": "circle", "center": [0, 0], "radius": 9.5, "anchor": "boss"},
      "preprocess": [{"type": "fill_gaps", "max_gap": 1.5}],
      "measure": {"type": "volume", "reference": "plate"}
    },
    {
      "name": "groove",
      "region": {"shape": "rectangle", "center": [80.3, 70], "size": [2.4, 90]},
      "preprocess": [{"type": "median"}],
      "measure": {"type": "height", "reference": "plate"}
    }
  ]
}
)";
  return kText;
}

Recipe BuiltInRecipe() {
  return ParseRecipe(BuiltInRecipeText(), "(built-in recipe)");
}

}  // namespace rovision
