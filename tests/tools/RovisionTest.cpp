// The rovision program end to end: each test runs it as a subprocess on files in a fresh
// temporary folder and reads what it printed and wrote.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The numbers the built-in sample is made from (tools/rovision/SampleScan.h), written out here
// so that the program's results are checked against the part, not against themselves.
constexpr double kHoleX = 35.0, kHoleY = 50.0, kHoleDiameter = 12.0;
constexpr double kBossX = 62.0, kBossY = 95.0, kBossDiameter = 16.0, kBossHeight = 3.0;
constexpr double kGrooveDepth = 1.5;
constexpr double kSlopeX = 0.0025, kSlopeY = -0.0015;
constexpr double kPi = 3.141592653589793;
constexpr double kDegrees = 180 / kPi;
const double kTiltX = std::atan(kSlopeX) * kDegrees, kTiltY = std::atan(kSlopeY) * kDegrees;
// A quarter of the full sampling (400 x 500 samples of 0.2 mm) keeps the tests fast, also under
// the sanitizers; the tolerances hold from there up to the full sample.
constexpr const char* kSmall = "0.25";
// A tenth (160 x 200 samples of 0.5 mm) where only the files and their handling matter.
constexpr const char* kTiny = "0.1";

struct Outcome {
  int status = -1;
  std::string out, err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class RovisionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "rovision-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Runs the program with `arguments` (already quoted where needed) in the test's folder.
  Outcome Rovision(const std::string& arguments) {
    const fs::path out = dir_ / "stdout.txt", err = dir_ / "stderr.txt";
    const std::string command = "cd '" + dir_.string() + "' && '" ROVISION_PROGRAM "' " +
                                arguments + " > '" + out.string() + "' 2> '" + err.string() + "'";
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadText(out), ReadText(err)};
  }

  // Runs the program and expects it to succeed.
  Outcome Succeeds(const std::string& arguments) {
    Outcome run = Rovision(arguments);
    EXPECT_EQ(run.status, 0) << arguments << ": " << run.err;
    return run;
  }

  // The demo's scan and recipe in `folder` (relative to the test's folder).
  void MakeDemo(const std::string& folder, const char* density) {
    Succeeds("demo --out " + folder + " --density " + density);
  }

  // Measures the demo's scan with `recipe`; the results go to out/.
  Outcome MeasureWith(const json& recipe) {
    Write("recipe-test.json", recipe);
    return Rovision("measure demo/sample.json -r recipe-test.json --out out");
  }

  void Write(const fs::path& path, const json& value) {
    std::ofstream(dir_ / path, std::ios::binary) << value.dump();
  }
  json ReadJson(const fs::path& path) { return json::parse(ReadText(dir_ / path)); }

  // A value the first scan's `tool` measured.
  static double Value(const json& results, const std::string& tool, const char* key) {
    for (const json& entry : results["scans"][0]["tools"]) {
      if (entry["name"] == tool) return entry["values"][key].get<double>();
    }
    ADD_FAILURE() << "no tool " << tool;
    return NAN;
  }

  void ExpectSampleGeometry(const json& results, double xShift) {
    // Tool, value, expected value and tolerance.
    const std::vector<std::tuple<const char*, const char*, double, double>> checks = {
        {"hole", "diameter", kHoleDiameter, 0.005 * kHoleDiameter},
        {"hole", "center_x", kHoleX + xShift, 0.05},
        {"hole", "center_y", kHoleY, 0.05},
        {"boss", "diameter", kBossDiameter, 0.005 * kBossDiameter},
        {"boss", "center_x", kBossX + xShift, 0.05},
        {"boss_height", "mean", kBossHeight, 0.01 * kBossHeight},
        {"boss_volume", "volume", kPi * kBossDiameter * kBossDiameter / 4 * kBossHeight,
         0.01 * 603},
        {"groove", "mean", -kGrooveDepth, 0.01 * kGrooveDepth},
        // The plate's tilt is known exactly; its noise (4 um) limits the fit to far below
        // 0.001 deg.
        {"plate", "tilt_x", kTiltX, 0.001},
        {"plate", "tilt_y", kTiltY, 0.001},
        {"plate_profile", "angle", kTiltX, 0.005},
    };
    for (const auto& [tool, key, expected, tolerance] : checks) {
      EXPECT_NEAR(Value(results, tool, key), expected, tolerance) << tool << "." << key;
    }
    EXPECT_LT(Value(results, "plate", "flatness"), 0.1);
  }

  fs::path dir_;
};

TEST_F(RovisionTest, DemoMeasuresTheSampleItWasBuiltFrom) {
  const Outcome run = Succeeds(std::string("demo --out out --density ") + kSmall);
  for (const char* file : {"sample.json", "sample-heights.png", "sample-intensity.png",
                           "recipe.json", "results.csv", "results.json", "sample-spectrum.png"}) {
    EXPECT_TRUE(fs::is_regular_file(dir_ / "out" / file)) << file;
  }
  ExpectSampleGeometry(ReadJson("out/results.json"), 0.0);
  // The table names each tool; the sidecar is the scan format the README describes.
  for (const char* tool : {"plate", "hole", "boss_height", "groove"}) {
    EXPECT_TRUE(Contains(run.out, tool)) << tool;
  }
  const json sidecar = ReadJson("out/sample.json");
  EXPECT_EQ(sidecar["heights"], "sample-heights.png");
  EXPECT_DOUBLE_EQ(sidecar["resolution"]["x"].get<double>(), 0.2);
  EXPECT_DOUBLE_EQ(sidecar["offset"]["z"].get<double>(), -5.0);
  // Nothing is left behind from the all-or-nothing writes.
  for (const auto& entry : fs::directory_iterator(dir_ / "out")) {
    EXPECT_FALSE(Contains(entry.path().string(), ".tmp")) << entry.path();
  }
}

#if ROVISION_FULL_SAMPLE
TEST_F(RovisionTest, FullSizeDemoMeasuresTheSample) {
  const Outcome run = Succeeds("demo");
  ExpectSampleGeometry(ReadJson("rovision-demo/results.json"), 0.0);
  EXPECT_TRUE(Contains(run.out, "1600 x 2000 samples")) << run.out;
}
#endif

// Measuring the saved scan gives the very numbers the demo got from the scan in memory: the
// file format loses nothing. The scan's world offset moves every measured position; anchored
// regions follow the part.
TEST_F(RovisionTest, TheSavedScanRepeatsTheDemoAndItsOffsetMovesTheResults) {
  MakeDemo("demo", kSmall);
  const Outcome run = Succeeds("measure demo/sample.json --recipe demo/recipe.json --out again");
  EXPECT_EQ(run.err, "");  // no progress line for a single scan
  EXPECT_EQ(ReadJson("again/results.json")["scans"][0]["tools"],
            ReadJson("demo/results.json")["scans"][0]["tools"]);

  json sidecar = ReadJson("demo/sample.json");
  sidecar["offset"]["x"] = sidecar["offset"]["x"].get<double>() + 1.0;
  Write("demo/shifted.json", sidecar);
  Succeeds("measure demo/shifted.json -r demo/recipe.json --out shifted");
  const json results = ReadJson("shifted/results.json");
  ExpectSampleGeometry(results, 1.0);
  EXPECT_NEAR(Value(results, "hole_bottom", "x"), kHoleX + 1.0, 0.2);
}

TEST_F(RovisionTest, BatchOfTwentyScansShowsProgressAndWritesARowPerScanAndTool) {
  MakeDemo("demo", kTiny);
  std::string scans;
  std::set<std::string> names;
  for (int i = 1; i <= 20; ++i) {
    const std::string name = "demo/part-" + std::to_string(i) + ".json";
    Write(name, ReadJson("demo/sample.json"));  // names the same PNGs, relative to its folder
    scans += " " + name;
    names.insert(name);
  }
  const Outcome run = Succeeds("measure" + scans + " -r demo/recipe.json --out batch");
  const std::vector<std::string> progress = Lines(run.err);
  ASSERT_EQ(progress.size(), 20u) << run.err;
  EXPECT_EQ(progress.front(), "measuring 1/20 demo/part-1.json");
  EXPECT_EQ(progress.back(), "measuring 20/20 demo/part-20.json");

  const std::vector<std::string> rows = Lines(ReadText(dir_ / "batch/results.csv"));
  const std::size_t tools = ReadJson("demo/recipe.json")["tools"].size();
  ASSERT_EQ(rows.size(), 1 + 20 * tools);
  EXPECT_EQ(rows[0].rfind("scan,tool,measurement,status,message,", 0), 0u) << rows[0];
  std::set<std::string> perScanAndTool;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const std::string scan = rows[i].substr(0, rows[i].find(','));
    const std::string rest = rows[i].substr(scan.size() + 1);
    EXPECT_TRUE(names.count(scan)) << rows[i];
    EXPECT_TRUE(Contains(rest, ",ok,")) << rows[i];
    perScanAndTool.insert(scan + "/" + rest.substr(0, rest.find(',')));
  }
  EXPECT_EQ(perScanAndTool.size(), 20 * tools);
  EXPECT_EQ(ReadJson("batch/results.json")["scans"].size(), 20u);
}

TEST_F(RovisionTest, AFailedToolIsReportedInItsRowAndTheOthersGoOn) {
  MakeDemo("demo", kTiny);
  json recipe = ReadJson("demo/recipe.json");
  recipe["tools"][1]["region"]["size"] = {0.1, 4};  // a profile one sample wide gives no line
  const Outcome run = MeasureWith(recipe);
  EXPECT_EQ(run.status, 1) << run.err;
  const json tools = ReadJson("out/results.json")["scans"][0]["tools"];
  EXPECT_EQ(tools[1]["status"], "failed");
  EXPECT_EQ(tools[1]["message"], "too few profile points for a line");
  EXPECT_EQ(tools[2]["status"], "ok");
  EXPECT_TRUE(Contains(run.out, "failed: too few profile points")) << run.out;
}

TEST_F(RovisionTest, RenderWritesPngAndBmpAndInfoDescribesTheScan) {
  MakeDemo("demo", kTiny);
  EXPECT_EQ(Rovision("render demo/sample.json -o a.png").status, 0);
  EXPECT_EQ(Rovision("render demo/sample.json -o b.bmp").status, 0);
  EXPECT_EQ(ReadText(dir_ / "a.png").substr(1, 3), "PNG");
  EXPECT_EQ(ReadText(dir_ / "b.bmp").substr(0, 2), "BM");
  EXPECT_EQ(Rovision("render demo/sample.json").status, 0);
  EXPECT_TRUE(fs::is_regular_file(dir_ / "sample-spectrum.png"));

  const Outcome info = Succeeds("info demo/sample.json");
  // The part spans about 7.99 (hole bottom) to 15.0 mm (boss top).
  for (const char* line :
       {"160 x 200 samples", "resolution  0.5 x 0.5 mm", "offset      X 10, Y 20, Z -5 mm",
        "nulls       ", "heights     Z 7.9"}) {
    EXPECT_TRUE(Contains(info.out, line)) << line << " in " << info.out;
  }
}

// The measurement options and preprocessing steps on the sample's known surfaces: the boss top
// is the circle of radius 6 about (kBossX, kBossY), the hole is centred on (kHoleX, kHoleY).
TEST_F(RovisionTest, OptionsAndPreprocessingMeasureTheKnownSurfaces) {
  MakeDemo("demo", kSmall);
  // The last rectangle lies half beyond the scan's left edge at X = 10: it is clipped.
  const Outcome run = MeasureWith(json::parse(R"({"tools": [
    {"name": "plate", "region": {"shape": "rectangle", "center": [20, 80], "size": [16, 70]},
     "measure": {"type": "plane"}},
    {"name": "raw", "region": {"shape": "circle", "center": [62, 95], "radius": 6},
     "measure": {"type": "height", "reference": "plate"}},
    {"name": "averaged", "region": {"shape": "circle", "center": [62, 95], "radius": 6},
     "preprocess": [{"type": "average", "size": 5}],
     "measure": {"type": "height", "reference": "plate"}},
    {"name": "median", "region": {"shape": "circle", "center": [62, 95], "radius": 6},
     "preprocess": [{"type": "median", "passes": 2}],
     "measure": {"type": "height", "reference": "plate"}},
    {"name": "profile_y", "region": {"shape": "rectangle", "center": [15, 70], "size": [4, 90]},
     "measure": {"type": "line", "axis": "y", "outlier_percent": 0}},
    {"name": "top", "region": {"shape": "circle", "center": [62, 95], "radius": 6},
     "measure": {"type": "feature", "feature": "max_z"}},
    {"name": "hole_at_2mm",
     "region": {"shape": "circle", "center": [35, 50], "radius": 8.5, "inner_radius": 4},
     "measure": {"type": "circle", "reference": "plate", "edge_height": -2.0}},
    {"name": "clipped", "region": {"shape": "rectangle", "center": [10, 80], "size": [4.1, 4.1]},
     "preprocess": [{"type": "fill_gaps", "max_gap": 2.0}], "measure": {"type": "height"}}]})"));
  ASSERT_EQ(run.status, 0) << run.err;
  const json results = ReadJson("out/results.json");

  // Filters keep the boss's height and take out most of the 4 um noise.
  const double rawSpread = Value(results, "raw", "stddev");
  EXPECT_NEAR(rawSpread, 0.004, 0.001);
  for (const char* filtered : {"averaged", "median"}) {
    EXPECT_NEAR(Value(results, filtered, "mean"), kBossHeight, 0.002) << filtered;
    EXPECT_LT(Value(results, filtered, "stddev"), rawSpread / 2) << filtered;
  }
  EXPECT_NEAR(Value(results, "profile_y", "angle"), kTiltY, 0.005);
  const double topX = Value(results, "top", "x");
  EXPECT_LE(std::hypot(topX - kBossX, Value(results, "top", "y") - kBossY), 6.0);
  const double bossTopZ = 12.0 + kSlopeX * (kBossX - 50) + kSlopeY * (kBossY - 70) + kBossHeight;
  // The highest of noisy samples.
  EXPECT_NEAR(Value(results, "top", "z"), bossTopZ, 0.03);
  EXPECT_EQ(Value(results, "hole_at_2mm", "edge_height"), -2.0);
  EXPECT_NEAR(Value(results, "hole_at_2mm", "diameter"), kHoleDiameter, 0.005 * kHoleDiameter);
  // Columns X = 10.0 .. 12.0 (11 of them) by rows Y = 78.0 .. 82.0 (21): 0.2 mm samples.
  EXPECT_EQ(Value(results, "clipped", "points"), 11 * 21);
}

// Reference containment, written from the region rules in the README: a sample belongs to a
// shape when its world position lies inside it.
bool InSector(double u, double v, double start, double span) {
  const double direction = std::fmod(std::atan2(v, u) * kDegrees + 360.0, 360.0);
  return std::fmod(std::fmod(direction - start, 360.0) + 360.0, 360.0) <= span;
}

// (x, y) in the frame of a shape centred on (cx, cy) and turned by `degrees`.
std::pair<double, double> InFrame(double x, double y, double cx, double cy, double degrees) {
  const double a = degrees / kDegrees, dx = x - cx, dy = y - cy;
  return {dx * std::cos(a) + dy * std::sin(a), -dx * std::sin(a) + dy * std::cos(a)};
}

bool InPolygon(const json& corners, double x, double y) {
  bool inside = false;
  for (std::size_t i = 0, j = corners.size() - 1; i < corners.size(); j = i++) {
    const double xi = corners[i][0], yi = corners[i][1], xj = corners[j][0], yj = corners[j][1];
    if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi) inside = !inside;
  }
  return inside;
}

// Each shape on a clean part of the plate, its gaps filled so that every sample inside counts:
// the tool's sample count equals the samples the reference finds on the scan's grid.
TEST_F(RovisionTest, RegionShapesHoldTheSamplesInsideThem) {
  MakeDemo("demo", kSmall);  // samples at X = 10 + 0.2 c, Y = 20 + 0.2 r
  const json regions = json::parse(R"([
    {"shape": "rectangle", "center": [19.03, 40.07], "size": [10.3, 6.1], "angle": 30},
    {"shape": "polygon",
     "points": [[13.01, 60.03], [25.07, 62.11], [20.03, 75.09], [17.05, 66.01], [15.05, 70.01]]},
    {"shape": "circle", "center": [47.03, 30.07], "radius": 5.1, "inner_radius": 2.05,
     "start_angle": 20, "span": 250},
    {"shape": "ellipse", "center": [19.07, 95.03], "size": [12.1, 7.3], "inner_size": [4.1, 2.3],
     "angle": 25, "start_angle": 300, "span": 120},
    {"shape": "composed",
     "include": [{"shape": "rectangle", "center": [47.03, 65.01], "size": [9.1, 20.3]}],
     "exclude": [{"shape": "circle", "center": [47.03, 65.01], "radius": 3.05}]}])");
  const std::vector<std::function<bool(double, double)>> inside = {
      [](double x, double y) {
        const auto [u, v] = InFrame(x, y, 19.03, 40.07, 30);
        return std::abs(u) <= 10.3 / 2 && std::abs(v) <= 6.1 / 2;
      },
      [&](double x, double y) { return InPolygon(regions[1]["points"], x, y); },
      [](double x, double y) {
        const double d = std::hypot(x - 47.03, y - 30.07);
        return d >= 2.05 && d <= 5.1 && InSector(x - 47.03, y - 30.07, 20, 250);
      },
      [](double x, double y) {
        const auto [u, v] = InFrame(x, y, 19.07, 95.03, 25);
        auto ellipse = [&](double w, double l) {
          return u * u / (w * w / 4) + v * v / (l * l / 4);
        };
        return ellipse(12.1, 7.3) <= 1 && ellipse(4.1, 2.3) >= 1 && InSector(u, v, 300, 120);
      },
      [](double x, double y) {
        return std::abs(x - 47.03) <= 9.1 / 2 && std::abs(y - 65.01) <= 20.3 / 2 &&
               std::hypot(x - 47.03, y - 65.01) > 3.05;
      }};

  json recipe = json::array();
  for (std::size_t i = 0; i < regions.size(); ++i) {
    recipe.push_back({{"name", "shape" + std::to_string(i)},
                      {"region", regions[i]},
                      {"preprocess", {{{"type", "fill_gaps"}, {"max_gap", 2.0}}}},
                      {"measure", {{"type", "height"}}}});
  }
  const Outcome run = MeasureWith(recipe);
  ASSERT_EQ(run.status, 0) << run.err;
  const json results = ReadJson("out/results.json");
  for (std::size_t i = 0; i < regions.size(); ++i) {
    int expected = 0;
    for (int r = 0; r < 500; ++r) {
      for (int c = 0; c < 400; ++c) expected += inside[i](10 + 0.2 * c, 20 + 0.2 * r);
    }
    EXPECT_GT(expected, 100) << regions[i];
    EXPECT_EQ(Value(results, "shape" + std::to_string(i), "points"), expected) << regions[i];
  }
}

// Every kind of bad input: one line on stderr naming the file and the field, exit status 2,
// and no results written (an earlier results file stays as it was).
TEST_F(RovisionTest, BadInputGetsOneLineNamingFileAndFieldAndWritesNothing) {
  MakeDemo("demo", kTiny);
  const json sidecar = ReadJson("demo/sample.json"), recipe = ReadJson("demo/recipe.json");
  auto edit = [&](const char* file, json base, const char* field, const json& value) {
    base[json::json_pointer(field)] = value;
    Write(file, base);
  };
  json noResolution = sidecar;
  noResolution.erase("resolution");
  Write("demo/no-resolution.json", noResolution);
  edit("demo/zero-z.json", sidecar, "/resolution/z", 0);
  edit("demo/colour.json", sidecar, "/heights", "sample-spectrum.png");
  edit("demo/grey8.json", sidecar, "/heights", "sample-intensity.png");
  edit("demo/missing-png.json", sidecar, "/heights", "gone.png");
  edit("unknown-tool.json", recipe, "/tools/2/measure/type", "cirle");
  edit("outside.json", recipe, "/tools/0/region",
       {{"shape", "circle"}, {"center", {500, 500}}, {"radius", 3}});
  edit("bad-reference.json", recipe, "/tools/5/measure/reference", "hole");
  std::ofstream(dir_ / "broken.json") << "{\"tools\": [";

  const std::string good = "demo/sample.json";
  auto measureWith = [&](const std::string& recipe) {
    return "measure " + good + " -r " + recipe + " --out out";
  };
  // The arguments and the start of the error line.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"info gone.json", "gone.json: no such file"},
      {"measure gone.json -r demo/recipe.json --out out", "gone.json: no such file"},
      {measureWith("gone.json"), "gone.json: no such file"},
      {"info demo/no-resolution.json", "demo/no-resolution.json: resolution: missing"},
      {"info demo/zero-z.json", "demo/zero-z.json: resolution.z: must be positive, got 0"},
      {"info demo/colour.json",
       "demo/sample-spectrum.png: heights: must be a 16-bit grey PNG, this one is 8-bit RGB"},
      {"info demo/grey8.json",
       "demo/sample-intensity.png: heights: must be a 16-bit grey PNG, this one is 8-bit grey"},
      {"info demo/missing-png.json", "demo/gone.png: no such file"},
      {measureWith("unknown-tool.json"),
       "unknown-tool.json: tools[2].measure.type: unknown tool type 'cirle'"},
      {measureWith("outside.json"), "outside.json: tools[0].region: lies outside the scan"},
      {measureWith("bad-reference.json"),
       "bad-reference.json: tools[5].measure.reference: 'hole' is not a plane tool"},
      {measureWith("broken.json"), "broken.json: not valid JSON"},
      // The last scan of a batch is bad: the good ones before it are not written either.
      {"measure " + good + " " + good + " demo/colour.json -r demo/recipe.json --out out",
       "demo/sample-spectrum.png: heights:"},
      {"render " + good + " -o picture.jpg", "--output: 'picture.jpg' must end in .png or .bmp"},
      {"demo --out out --density 5", "--density: must lie between 0.05 and 2"},
  };
  for (const auto& [arguments, expected] : cases) {
    SCOPED_TRACE(arguments);
    const Outcome run = Rovision(arguments);
    EXPECT_EQ(run.status, 2);
    const std::vector<std::string> lines = Lines(run.err);
    // A batch prints its progress lines first; the error is the last line.
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind("rovision: error: " + expected, 0), 0u) << run.err;
    EXPECT_FALSE(fs::exists(dir_ / "out")) << "results written";
  }

  // A failing run leaves earlier results alone.
  ASSERT_EQ(Rovision(measureWith("demo/recipe.json")).status, 0);
  const std::string before = ReadText(dir_ / "out/results.csv");
  EXPECT_EQ(Rovision(measureWith("outside.json")).status, 2);
  EXPECT_EQ(ReadText(dir_ / "out/results.csv"), before);

  // The command line itself.
  EXPECT_EQ(Rovision("").status, 2);
  EXPECT_EQ(Rovision("measure " + good).status, 2);  // no recipe
  EXPECT_EQ(Rovision("frobnicate").status, 2);
  EXPECT_EQ(Rovision("--help").status, 0);
}

}  // namespace
