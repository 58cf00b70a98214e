// rovision: measures 3D scans (height maps) by recipes of inspection tools.
#include <TyApi/TyException.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
#include "InputError.h"

namespace {

// Bad input of any kind, the command line included, exits with 2.
constexpr int kBadInput = 2;

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Measures 3D scans (height maps with optional intensities) by recipes of tools.",
               "rovision"};
  app.require_subcommand(1);

  std::string out = "rovision-demo";
  double density = 1.0;
  auto* demo = app.add_subcommand(
      "demo", "Build the built-in sample part, measure it by the built-in recipe, write results");
  demo->add_option("--out", out, "Folder for the scan, recipe, results and spectrum image")
      ->capture_default_str();
  demo->add_option("--density", density,
                   "Sampling density of the sample, 0.05 to 2 (1: 1600 x 2000 samples)")
      ->capture_default_str();

  std::vector<std::string> scans;
  std::string recipe;
  std::string measureOut = ".";
  auto* measure = app.add_subcommand("measure", "Run a recipe on one or more scans");
  measure->add_option("scans", scans, "Scan sidecar files (.json)")->required();
  measure->add_option("-r,--recipe", recipe, "Recipe file (.json)")->required();
  measure->add_option("--out", measureOut, "Folder for results.csv and results.json")
      ->capture_default_str();

  std::string renderScan, renderOutput;
  auto* render = app.add_subcommand("render", "Write the spectrum image of a scan");
  render->add_option("scan", renderScan, "Scan sidecar file (.json)")->required();
  render->add_option("-o,--output", renderOutput,
                     "Image file, .png or .bmp (default: <scan name>-spectrum.png)");

  std::string infoScan;
  auto* info = app.add_subcommand("info", "Print a scan's size, resolution, nulls and heights");
  info->add_option("scan", infoScan, "Scan sidecar file (.json)")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : kBadInput;
  }

  try {
    if (*demo) return rovision::RunDemo(out, density);
    if (*measure) return rovision::RunMeasure(scans, recipe, measureOut);
    if (*render) return rovision::RunRender(renderScan, renderOutput);
    return rovision::RunInfo(infoScan);
  } catch (const rovision::InputError& error) {
    std::fprintf(stderr, "rovision: error: %s\n", error.what());
    return kBadInput;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "rovision: internal error: %s\n", error.what());
    return 1;
  }
}
