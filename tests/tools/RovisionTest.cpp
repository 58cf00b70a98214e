// The rovision program end to end: each test runs it as a subprocess on files in a fresh
// temporary folder and reads what it printed and wrote.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
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
// A quarter of the full sampling (400 x 500 samples of 0.2 mm) keeps the tests fast, also under
// the sanitizers; the tolerances hold from there up to the full sample.
constexpr const char* kSmall = "0.25";
// A tenth (160 x 200 samples of 0.5 mm) where only the files and their handling matter.
constexpr const char* kTiny = "0.1";

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string ReadText(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteText(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
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
    Outcome run;
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    run.out = ReadText(out);
    run.err = ReadText(err);
    fs::remove(out);
    fs::remove(err);
    return run;
  }

  // The demo's scan and recipe in `folder` (relative to the test's folder).
  void MakeDemo(const std::string& folder, const char* density) {
    const Outcome run = Rovision(std::string("demo --out ") + folder + " --density " + density);
    ASSERT_EQ(run.status, 0) << run.err;
  }

  static json Values(const json& results, std::size_t scan, const std::string& tool) {
    for (const json& entry : results["scans"][scan]["tools"]) {
      if (entry["name"] == tool) return entry["values"];
    }
    ADD_FAILURE() << "no tool " << tool;
    return json::object();
  }

  json ReadJson(const fs::path& path) { return json::parse(ReadText(dir_ / path)); }

  void ExpectSampleGeometry(const json& results, double xShift) {
    const json hole = Values(results, 0, "hole");
    EXPECT_NEAR(hole["diameter"].get<double>(), kHoleDiameter, 0.005 * kHoleDiameter);
    EXPECT_NEAR(hole["center_x"].get<double>(), kHoleX + xShift, 0.05);
    EXPECT_NEAR(hole["center_y"].get<double>(), kHoleY, 0.05);
    const json boss = Values(results, 0, "boss");
    EXPECT_NEAR(boss["diameter"].get<double>(), kBossDiameter, 0.005 * kBossDiameter);
    EXPECT_NEAR(boss["center_x"].get<double>(), kBossX + xShift, 0.05);
    EXPECT_NEAR(Values(results, 0, "boss_height")["mean"].get<double>(), kBossHeight,
                0.01 * kBossHeight);
    EXPECT_NEAR(Values(results, 0, "boss_volume")["volume"].get<double>(),
                kPi * kBossDiameter * kBossDiameter / 4 * kBossHeight, 0.01 * 603);
    EXPECT_NEAR(Values(results, 0, "groove")["mean"].get<double>(), -kGrooveDepth,
                0.01 * kGrooveDepth);
    const json plate = Values(results, 0, "plate");
    // The plate's tilt is known exactly; its noise (4 um) limits the fit to far below 0.001 deg.
    EXPECT_NEAR(plate["tilt_x"].get<double>(), std::atan(kSlopeX) * kDegrees, 0.001);
    EXPECT_NEAR(plate["tilt_y"].get<double>(), std::atan(kSlopeY) * kDegrees, 0.001);
    EXPECT_LT(plate["flatness"].get<double>(), 0.1);
    EXPECT_NEAR(Values(results, 0, "plate_profile")["angle"].get<double>(),
                std::atan(kSlopeX) * kDegrees, 0.005);
  }

  fs::path dir_;
};

TEST_F(RovisionTest, DemoMeasuresTheSampleItWasBuiltFrom) {
  const Outcome run = Rovision(std::string("demo --out out --density ") + kSmall);
  ASSERT_EQ(run.status, 0) << run.err;
  for (const char* file : {"sample.json", "sample-heights.png", "sample-intensity.png",
                           "recipe.json", "results.csv", "results.json", "sample-spectrum.png"}) {
    EXPECT_TRUE(fs::is_regular_file(dir_ / "out" / file)) << file;
  }
  ExpectSampleGeometry(ReadJson("out/results.json"), 0.0);
  // The table names each tool; the sidecar is the scan format the README describes.
  for (const char* tool : {"plate", "hole", "boss_height", "groove"}) {
    EXPECT_NE(run.out.find(tool), std::string::npos) << tool;
  }
  const json sidecar = ReadJson("out/sample.json");
  EXPECT_EQ(sidecar["heights"], "sample-heights.png");
  EXPECT_DOUBLE_EQ(sidecar["resolution"]["x"].get<double>(), 0.2);
  EXPECT_DOUBLE_EQ(sidecar["offset"]["z"].get<double>(), -5.0);
  // Nothing is left behind from the all-or-nothing writes.
  for (const auto& entry : fs::directory_iterator(dir_ / "out")) {
    EXPECT_EQ(entry.path().string().find(".tmp"), std::string::npos) << entry.path();
  }
}

#if ROVISION_FULL_SAMPLE
TEST_F(RovisionTest, FullSizeDemoMeasuresTheSample) {
  const Outcome run = Rovision("demo");
  ASSERT_EQ(run.status, 0) << run.err;
  ExpectSampleGeometry(ReadJson("rovision-demo/results.json"), 0.0);
  EXPECT_NE(run.out.find("1600 x 2000 samples"), std::string::npos) << run.out;
}
#endif

// Measuring the saved scan gives the very numbers the demo got from the scan in memory: the
// file format loses nothing.
TEST_F(RovisionTest, MeasuringTheSavedScanRepeatsTheDemo) {
  MakeDemo("demo", kSmall);
  const Outcome run = Rovision("measure demo/sample.json --recipe demo/recipe.json --out again");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");  // no progress line for a single scan
  EXPECT_EQ(ReadJson("again/results.json")["scans"][0]["tools"],
            ReadJson("demo/results.json")["scans"][0]["tools"]);
}

TEST_F(RovisionTest, BatchOfTwentyScansShowsProgressAndWritesARowPerScanAndTool) {
  MakeDemo("demo", kTiny);
  std::string scans;
  std::set<std::string> names;
  const std::string sidecar = ReadText(dir_ / "demo/sample.json");
  for (int i = 1; i <= 20; ++i) {
    const std::string name = "demo/part-" + std::to_string(i) + ".json";
    WriteText(dir_ / name, sidecar);  // names the same PNGs, relative to its folder
    scans += " " + name;
    names.insert(name);
  }
  const Outcome run = Rovision("measure" + scans + " -r demo/recipe.json --out batch");
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<std::string> progress = Lines(run.err);
  ASSERT_EQ(progress.size(), 20u) << run.err;
  EXPECT_EQ(progress.front(), "measuring 1/20 demo/part-1.json");
  EXPECT_EQ(progress.back(), "measuring 20/20 demo/part-20.json");

  const std::vector<std::string> rows = Lines(ReadText(dir_ / "batch/results.csv"));
  const std::size_t tools = ReadJson("demo/recipe.json")["tools"].size();
  ASSERT_EQ(rows.size(), 1 + 20 * tools);
  EXPECT_EQ(rows[0].rfind("scan,tool,measurement,status,message,", 0), 0u) << rows[0];
  std::map<std::string, int> perScanAndTool;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const std::string scan = rows[i].substr(0, rows[i].find(','));
    const std::string rest = rows[i].substr(scan.size() + 1);
    EXPECT_TRUE(names.count(scan)) << rows[i];
    EXPECT_NE(rest.find(",ok,"), std::string::npos) << rows[i];
    ++perScanAndTool[scan + "/" + rest.substr(0, rest.find(','))];
  }
  EXPECT_EQ(perScanAndTool.size(), 20 * tools);
  EXPECT_EQ(ReadJson("batch/results.json")["scans"].size(), 20u);
}

// The scan's world offset moves every measured position; anchored regions follow the part.
TEST_F(RovisionTest, ResultsAreInWorldUnitsAndAnchoredRegionsFollowThePart) {
  MakeDemo("demo", kSmall);
  json sidecar = ReadJson("demo/sample.json");
  sidecar["offset"]["x"] = sidecar["offset"]["x"].get<double>() + 1.0;
  WriteText(dir_ / "demo/shifted.json", sidecar.dump());
  const Outcome run = Rovision("measure demo/shifted.json -r demo/recipe.json --out shifted");
  ASSERT_EQ(run.status, 0) << run.err;
  const json results = ReadJson("shifted/results.json");
  ExpectSampleGeometry(results, 1.0);
  EXPECT_NEAR(Values(results, 0, "hole_bottom")["x"].get<double>(), kHoleX + 1.0, 0.2);
}

TEST_F(RovisionTest, AFailedToolIsReportedInItsRowAndTheOthersGoOn) {
  MakeDemo("demo", kTiny);
  json recipe = ReadJson("demo/recipe.json");
  // A profile one sample wide cannot give a line.
  recipe["tools"][1]["region"]["size"] = {0.1, 4};
  WriteText(dir_ / "narrow.json", recipe.dump());
  const Outcome run = Rovision("measure demo/sample.json -r narrow.json --out out");
  EXPECT_EQ(run.status, 1) << run.err;
  const json tools = ReadJson("out/results.json")["scans"][0]["tools"];
  EXPECT_EQ(tools[1]["status"], "failed");
  EXPECT_EQ(tools[1]["message"], "too few profile points for a line");
  EXPECT_EQ(tools[2]["status"], "ok");
  EXPECT_NE(run.out.find("failed: too few profile points"), std::string::npos) << run.out;
}

TEST_F(RovisionTest, RenderWritesPngAndBmpAndInfoDescribesTheScan) {
  MakeDemo("demo", kTiny);
  EXPECT_EQ(Rovision("render demo/sample.json -o a.png").status, 0);
  EXPECT_EQ(Rovision("render demo/sample.json -o b.bmp").status, 0);
  EXPECT_EQ(ReadText(dir_ / "a.png").substr(1, 3), "PNG");
  EXPECT_EQ(ReadText(dir_ / "b.bmp").substr(0, 2), "BM");
  EXPECT_EQ(Rovision("render demo/sample.json").status, 0);
  EXPECT_TRUE(fs::is_regular_file(dir_ / "sample-spectrum.png"));

  const Outcome info = Rovision("info demo/sample.json");
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("160 x 200 samples"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("resolution  0.5 x 0.5 mm"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("offset      X 10, Y 20, Z -5 mm"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("nulls       "), std::string::npos) << info.out;
  // The part spans about 7.99 (hole bottom) to 15.0 mm (boss top).
  EXPECT_NE(info.out.find("heights     Z 7.9"), std::string::npos) << info.out;
}

// The measurement options and preprocessing steps on the sample's known surfaces.
TEST_F(RovisionTest, OptionsAndPreprocessingMeasureTheKnownSurfaces) {
  MakeDemo("demo", kSmall);
  const json bossTop = {{"shape", "circle"}, {"center", {kBossX, kBossY}}, {"radius", 6}};
  const json plate = {
      {"name", "plate"},
      {"region", {{"shape", "rectangle"}, {"center", {20, 80}}, {"size", {16, 70}}}},
      {"measure", {{"type", "plane"}}}};
  auto height = [&](const std::string& name, const json& preprocess) {
    json tool = {{"name", name},
                 {"region", bossTop},
                 {"measure", {{"type", "height"}, {"reference", "plate"}}}};
    if (!preprocess.is_null()) tool["preprocess"] = preprocess;
    return tool;
  };
  const json recipe = {
      {"tools",
       {plate,
        height("raw", json()),
        height("averaged", {{{"type", "average"}, {"size", 5}}}),
        height("median", {{{"type", "median"}, {"passes", 2}}}),
        {{"name", "profile_y"},
         {"region", {{"shape", "rectangle"}, {"center", {15, 70}}, {"size", {4, 90}}}},
         {"measure", {{"type", "line"}, {"axis", "y"}, {"outlier_percent", 0}}}},
        {{"name", "top"},
         {"region", bossTop},
         {"measure", {{"type", "feature"}, {"feature", "max_z"}}}},
        {{"name", "hole_at_2mm"},
         {"region",
          {{"shape", "circle"},
           {"center", {kHoleX, kHoleY}},
           {"radius", 8.5},
           {"inner_radius", 4}}},
         {"measure", {{"type", "circle"}, {"reference", "plate"}, {"edge_height", -2.0}}}},
        // Half of this rectangle lies beyond the scan's left edge at X = 10: it is clipped.
        {{"name", "clipped"},
         {"region", {{"shape", "rectangle"}, {"center", {10, 80}}, {"size", {4.1, 4.1}}}},
         {"preprocess", {{{"type", "fill_gaps"}, {"max_gap", 2.0}}}},
         {"measure", {{"type", "height"}}}}}}};
  WriteText(dir_ / "options.json", recipe.dump());
  const Outcome run = Rovision("measure demo/sample.json -r options.json --out out");
  ASSERT_EQ(run.status, 0) << run.err;
  const json results = ReadJson("out/results.json");

  // Filters keep the boss's height and take out most of the 4 um noise.
  const double rawSpread = Values(results, 0, "raw")["stddev"].get<double>();
  EXPECT_NEAR(rawSpread, 0.004, 0.001);
  for (const char* filtered : {"averaged", "median"}) {
    EXPECT_NEAR(Values(results, 0, filtered)["mean"].get<double>(), kBossHeight, 0.002) << filtered;
    EXPECT_LT(Values(results, 0, filtered)["stddev"].get<double>(), rawSpread / 2) << filtered;
  }
  EXPECT_NEAR(Values(results, 0, "profile_y")["angle"].get<double>(), std::atan(kSlopeY) * kDegrees,
              0.005);
  const json top = Values(results, 0, "top");
  EXPECT_LE(std::hypot(top["x"].get<double>() - kBossX, top["y"].get<double>() - kBossY), 6.0);
  const double bossTopZ = 12.0 + kSlopeX * (kBossX - 50) + kSlopeY * (kBossY - 70) + kBossHeight;
  EXPECT_NEAR(top["z"].get<double>(), bossTopZ, 0.03);  // the highest of noisy samples
  const json hole = Values(results, 0, "hole_at_2mm");
  EXPECT_EQ(hole["edge_height"].get<double>(), -2.0);
  EXPECT_NEAR(hole["diameter"].get<double>(), kHoleDiameter, 0.005 * kHoleDiameter);
  // Columns X = 10.0 .. 12.0 (11 of them) by rows Y = 78.0 .. 82.0 (21): 0.2 mm samples.
  EXPECT_EQ(Values(results, 0, "clipped")["points"].get<int>(), 11 * 21);
}

// Reference containment, written from the region rules in the README: a sample belongs to a
// shape when its world position lies inside it.
bool InSector(double angle, double start, double span) {
  const double direction = std::fmod(std::fmod(angle - start, 360.0) + 360.0, 360.0);
  return direction <= span;
}

double DirectionDegrees(double u, double v) {
  return std::fmod(std::atan2(v, u) * kDegrees + 360.0, 360.0);
}

bool InPolygon(const std::vector<std::pair<double, double>>& corners, double x, double y) {
  bool inside = false;
  for (std::size_t i = 0, j = corners.size() - 1; i < corners.size(); j = i++) {
    const auto [xi, yi] = corners[i];
    const auto [xj, yj] = corners[j];
    if ((yi > y) != (yj > y) && x < (xj - xi) * (y - yi) / (yj - yi) + xi) inside = !inside;
  }
  return inside;
}

// Each shape on a clean part of the plate, its gaps filled so that every sample inside counts:
// the tool's sample count equals the samples the reference finds on the scan's grid.
TEST_F(RovisionTest, RegionShapesHoldTheSamplesInsideThem) {
  MakeDemo("demo", kSmall);  // samples at X = 10 + 0.2 c, Y = 20 + 0.2 r
  const json polygon = {
      {13.01, 60.03}, {25.07, 62.11}, {20.03, 75.09}, {17.05, 66.01}, {15.05, 70.01}};
  const json regions = {
      {{"shape", "rectangle"}, {"center", {19.03, 40.07}}, {"size", {10.3, 6.1}}, {"angle", 30}},
      {{"shape", "polygon"}, {"points", polygon}},
      {{"shape", "circle"},
       {"center", {47.03, 30.07}},
       {"radius", 5.1},
       {"inner_radius", 2.05},
       {"start_angle", 20},
       {"span", 250}},
      {{"shape", "ellipse"},
       {"center", {19.07, 95.03}},
       {"size", {12.1, 7.3}},
       {"inner_size", {4.1, 2.3}},
       {"angle", 25},
       {"start_angle", 300},
       {"span", 120}},
      {{"shape", "composed"},
       {"include", {{{"shape", "rectangle"}, {"center", {47.03, 65.01}}, {"size", {9.1, 20.3}}}}},
       {"exclude", {{{"shape", "circle"}, {"center", {47.03, 65.01}}, {"radius", 3.05}}}}}};
  const std::vector<std::function<bool(double, double)>> inside = {
      [](double x, double y) {
        const double a = 30 / kDegrees, dx = x - 19.03, dy = y - 40.07;
        const double u = dx * std::cos(a) + dy * std::sin(a);
        const double v = -dx * std::sin(a) + dy * std::cos(a);
        return std::abs(u) <= 10.3 / 2 && std::abs(v) <= 6.1 / 2;
      },
      [&](double x, double y) {
        std::vector<std::pair<double, double>> corners;
        for (const json& p : polygon) corners.emplace_back(p[0].get<double>(), p[1].get<double>());
        return InPolygon(corners, x, y);
      },
      [](double x, double y) {
        const double d = std::hypot(x - 47.03, y - 30.07);
        return d >= 2.05 && d <= 5.1 && InSector(DirectionDegrees(x - 47.03, y - 30.07), 20, 250);
      },
      [](double x, double y) {
        const double a = 25 / kDegrees, dx = x - 19.07, dy = y - 95.03;
        const double u = dx * std::cos(a) + dy * std::sin(a);
        const double v = -dx * std::sin(a) + dy * std::cos(a);
        auto ellipse = [&](double w, double l) {
          return u * u / (w * w / 4) + v * v / (l * l / 4);
        };
        return ellipse(12.1, 7.3) <= 1 && ellipse(4.1, 2.3) >= 1 &&
               InSector(DirectionDegrees(u, v), 300, 120);
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
  WriteText(dir_ / "shapes.json", recipe.dump());
  const Outcome run = Rovision("measure demo/sample.json -r shapes.json --out out");
  ASSERT_EQ(run.status, 0) << run.err;
  const json results = ReadJson("out/results.json");
  for (std::size_t i = 0; i < regions.size(); ++i) {
    int expected = 0;
    for (int r = 0; r < 500; ++r) {
      for (int c = 0; c < 400; ++c) expected += inside[i](10 + 0.2 * c, 20 + 0.2 * r);
    }
    EXPECT_GT(expected, 100) << regions[i];
    EXPECT_EQ(Values(results, 0, "shape" + std::to_string(i))["points"].get<int>(), expected)
        << regions[i];
  }
}

// Every kind of bad input: one line on stderr naming the file and the field, exit status 2,
// and no results written (an earlier results file stays as it was).
TEST_F(RovisionTest, BadInputGetsOneLineNamingFileAndFieldAndWritesNothing) {
  MakeDemo("demo", kTiny);
  json sidecar = ReadJson("demo/sample.json");
  json noResolution = sidecar;
  noResolution.erase("resolution");
  WriteText(dir_ / "demo/no-resolution.json", noResolution.dump());
  json zeroZ = sidecar;
  zeroZ["resolution"]["z"] = 0;
  WriteText(dir_ / "demo/zero-z.json", zeroZ.dump());
  json colour = sidecar;
  colour["heights"] = "sample-spectrum.png";
  WriteText(dir_ / "demo/colour.json", colour.dump());
  json grey8 = sidecar;
  grey8["heights"] = "sample-intensity.png";
  WriteText(dir_ / "demo/grey8.json", grey8.dump());
  json missingPng = sidecar;
  missingPng["heights"] = "gone.png";
  WriteText(dir_ / "demo/missing-png.json", missingPng.dump());

  const json recipe = ReadJson("demo/recipe.json");
  json unknownTool = recipe;
  unknownTool["tools"][2]["measure"]["type"] = "cirle";
  WriteText(dir_ / "unknown-tool.json", unknownTool.dump());
  json outside = recipe;
  outside["tools"][0]["region"] = {{"shape", "circle"}, {"center", {500, 500}}, {"radius", 3}};
  WriteText(dir_ / "outside.json", outside.dump());
  json badReference = recipe;
  badReference["tools"][5]["measure"]["reference"] = "hole";
  WriteText(dir_ / "bad-reference.json", badReference.dump());
  WriteText(dir_ / "broken.json", "{\"tools\": [");

  const std::string good = "demo/sample.json";
  const std::string measure = " -r demo/recipe.json --out out";
  const struct {
    std::string arguments;
    std::string expected;  // the start of the error line
  } cases[] = {
      {"info gone.json", "gone.json: no such file"},
      {"measure gone.json" + measure, "gone.json: no such file"},
      {"measure " + good + " -r gone.json --out out", "gone.json: no such file"},
      {"info demo/no-resolution.json", "demo/no-resolution.json: resolution: missing"},
      {"info demo/zero-z.json", "demo/zero-z.json: resolution.z: must be positive, got 0"},
      {"info demo/colour.json",
       "demo/sample-spectrum.png: heights: must be a 16-bit grey PNG, this one is 8-bit RGB"},
      {"info demo/grey8.json",
       "demo/sample-intensity.png: heights: must be a 16-bit grey PNG, this one is 8-bit grey"},
      {"info demo/missing-png.json", "demo/gone.png: no such file"},
      {"measure " + good + " -r unknown-tool.json --out out",
       "unknown-tool.json: tools[2].measure.type: unknown tool type 'cirle'"},
      {"measure " + good + " -r outside.json --out out",
       "outside.json: tools[0].region: lies outside the scan"},
      {"measure " + good + " -r bad-reference.json --out out",
       "bad-reference.json: tools[5].measure.reference: 'hole' is not a plane tool"},
      {"measure " + good + " -r broken.json --out out", "broken.json: not valid JSON"},
      // The last scan of a batch is bad: the good ones before it are not written either.
      {"measure " + good + " " + good + " demo/colour.json" + measure,
       "demo/sample-spectrum.png: heights:"},
      {"render " + good + " -o picture.jpg", "--output: 'picture.jpg' must end in .png or .bmp"},
      {"demo --out out --density 5", "--density: must lie between 0.05 and 2"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const Outcome run = Rovision(c.arguments);
    EXPECT_EQ(run.status, 2);
    const std::vector<std::string> lines = Lines(run.err);
    // A batch prints its progress lines first; the error is the last line.
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind("rovision: error: " + c.expected, 0), 0u) << run.err;
    EXPECT_FALSE(fs::exists(dir_ / "out")) << "results written";
  }

  // A failing run leaves earlier results alone.
  ASSERT_EQ(Rovision("measure " + good + measure).status, 0);
  const std::string before = ReadText(dir_ / "out/results.csv");
  EXPECT_EQ(Rovision("measure " + good + " -r outside.json --out out").status, 2);
  EXPECT_EQ(ReadText(dir_ / "out/results.csv"), before);

  // The command line itself.
  EXPECT_EQ(Rovision("").status, 2);
  EXPECT_EQ(Rovision("measure " + good).status, 2);  // no recipe
  EXPECT_EQ(Rovision("frobnicate").status, 2);
  EXPECT_EQ(Rovision("--help").status, 0);
}

}  // namespace
