#include "Commands.h"

#include <unistd.h>
#include <zApi/zApi.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "FileIo.h"
#include "InputError.h"
#include "Measure.h"
#include "Recipe.h"
#include "Results.h"
#include "SampleScan.h"
#include "Scan.h"

namespace rovision {

namespace fs = std::filesystem;

namespace {

int ExitStatus(const std::vector<ScanResults>& results) {
  for (const ScanResults& scan : results) {
    for (const ToolResult& tool : scan.tools) {
      if (!tool.ok) return 1;
    }
  }
  return 0;
}

// Shown on one line that is rewritten on a terminal, one line per scan otherwise (a log).
class Progress {
 public:
  explicit Progress(std::size_t total) : total_(total), terminal_(::isatty(2) != 0) {}
  void Show(std::size_t done, const std::string& scan) {
    if (total_ < 2) return;
    std::fprintf(stderr, "%smeasuring %zu/%zu %s%s", terminal_ ? "\r\033[K" : "", done, total_,
                 scan.c_str(), terminal_ ? "" : "\n");
    std::fflush(stderr);
  }
  void Finish() {
    if (total_ >= 2 && terminal_) std::fprintf(stderr, "\n");
  }

 private:
  std::size_t total_;
  bool terminal_;
};

std::string Path(const std::string& folder, const std::string& name) {
  return (fs::path(folder) / name).string();
}

std::string DescribeSample(const Scan& scan) {
  char text[200];
  std::snprintf(text, sizeof text, "%llu x %llu samples of %.4g x %.4g %s", scan.Columns(),
                scan.Rows(), scan.surface.scale.x, scan.surface.scale.y, scan.unit.c_str());
  return text;
}

void PrintTruth(const SampleGeometry& g) {
  const double degrees = 57.29577951308232;
  std::printf(
      "\nThe sample's true geometry: hole %.3f mm at (%.3f, %.3f); boss %.3f mm at (%.3f, %.3f),\n"
      "%.3f mm high, %.2f mm^3; groove %.3f mm deep; plate tilt %.4f / %.4f deg; noise %.3f mm.\n",
      g.holeDiameter, g.holeX, g.holeY, g.bossDiameter, g.bossX, g.bossY, g.bossHeight,
      M_PI * g.bossDiameter * g.bossDiameter / 4 * g.bossHeight, g.grooveDepth,
      std::atan(g.slopeX) * degrees, std::atan(g.slopeY) * degrees, g.noiseSigma);
}

}  // namespace

int RunDemo(const std::string& folder, double density) {
  const SampleGeometry geometry;
  const Scan scan = MakeSampleScan(density, geometry);
  const Recipe recipe = BuiltInRecipe();
  MakeDirectories(folder);
  const std::string sidecar = Path(folder, "sample.json");
  SaveScan(scan, sidecar);
  WriteFileAtomically(Path(folder, "recipe.json"), BuiltInRecipeText());
  SaveSpectrum(scan, Path(folder, "sample-spectrum.png"));

  const std::vector<ScanResults> results = {ScanResults{sidecar, RunRecipe(scan, recipe)}};
  WriteResults(folder, recipe, results);

  std::printf("scan %s: %s\n\n%s", sidecar.c_str(), DescribeSample(scan).c_str(),
              FormatTable(results[0]).c_str());
  PrintTruth(geometry);
  std::printf(
      "\nwrote into %s: sample.json with sample-heights.png and sample-intensity.png (the scan),\n"
      "recipe.json (the built-in recipe), sample-spectrum.png, results.csv, results.json\n",
      folder.c_str());
  return ExitStatus(results);
}

int RunMeasure(const std::vector<std::string>& scans, const std::string& recipePath,
               const std::string& folder) {
  const Recipe recipe = LoadRecipe(recipePath);
  std::vector<ScanResults> results;
  Progress progress(scans.size());
  for (std::size_t i = 0; i < scans.size(); ++i) {
    progress.Show(i + 1, scans[i]);
    const Scan scan = LoadScan(scans[i]);
    results.push_back(ScanResults{scans[i], RunRecipe(scan, recipe)});
  }
  progress.Finish();
  WriteResults(folder, recipe, results);
  if (results.size() == 1) {
    std::printf("scan %s\n\n%s\n", scans[0].c_str(), FormatTable(results[0]).c_str());
  }
  std::size_t failed = 0;
  for (const ScanResults& scan : results) {
    failed += std::count_if(scan.tools.begin(), scan.tools.end(),
                            [](const ToolResult& tool) { return !tool.ok; });
  }
  std::printf("measured %zu scan%s with %zu tool%s, %zu failed; wrote %s and %s\n", results.size(),
              results.size() == 1 ? "" : "s", recipe.tools.size(),
              recipe.tools.size() == 1 ? "" : "s", failed, Path(folder, "results.csv").c_str(),
              Path(folder, "results.json").c_str());
  return ExitStatus(results);
}

int RunRender(const std::string& scanPath, const std::string& output) {
  std::string path = output;
  if (path.empty()) path = fs::path(scanPath).stem().string() + "-spectrum.png";
  const std::string extension = fs::path(path).extension().string();
  if (extension != ".png" && extension != ".bmp") {
    throw InputError("", "--output", "'" + path + "' must end in .png or .bmp");
  }
  const Scan scan = LoadScan(scanPath);
  SaveSpectrum(scan, path);
  std::printf("wrote %s\n", path.c_str());
  return 0;
}

int RunInfo(const std::string& scanPath) {
  const Scan scan = LoadScan(scanPath);
  const rv::Surface& s = scan.surface;
  unsigned long long nulls = 0;
  int low = 32767, high = -32768;
  for (unsigned long long r = 0; r < scan.Rows(); ++r) {
    const auto* row = static_cast<const z16s*>(zArray2_Row(s.layers[0], r));
    for (unsigned long long c = 0; c < scan.Columns(); ++c) {
      if (row[c] == rv::GetNull<z16s>()) {
        ++nulls;
        continue;
      }
      low = std::min<int>(low, row[c]), high = std::max<int>(high, row[c]);
    }
  }
  const unsigned long long total = scan.Rows() * scan.Columns();
  const char* unit = scan.unit.c_str();
  std::printf("scan        %s\n", scanPath.c_str());
  std::printf("size        %llu x %llu samples (columns x rows)%s\n", scan.Columns(), scan.Rows(),
              scan.HasIntensity() ? ", with intensities" : "");
  std::printf("resolution  %.6g x %.6g %s per sample, %.6g %s per height count\n", s.scale.x,
              s.scale.y, unit, s.scale.z, unit);
  std::printf("offset      X %.6g, Y %.6g, Z %.6g %s\n", s.offset.x, s.offset.y, s.offset.z, unit);
  std::printf("extent      X %.6g .. %.6g, Y %.6g .. %.6g %s\n", s.offset.x,
              s.offset.x + double(scan.Columns() - 1) * s.scale.x, s.offset.y,
              s.offset.y + double(scan.Rows() - 1) * s.scale.y, unit);
  std::printf("nulls       %.2f%% (%llu of %llu samples)\n",
              total ? 100.0 * double(nulls) / double(total) : 0.0, nulls, total);
  if (nulls < total) {
    std::printf("heights     Z %.6g .. %.6g %s\n", s.offset.z + low * s.scale.z,
                s.offset.z + high * s.scale.z, unit);
  } else {
    std::printf("heights     none (every sample is null)\n");
  }
  return 0;
}

}  // namespace rovision
