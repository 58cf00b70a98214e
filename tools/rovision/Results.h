// Writing results: a table for people, CSV and JSON for programs.
#ifndef ROVISION_TOOLS_RESULTS_H
#define ROVISION_TOOLS_RESULTS_H

#include <string>
#include <vector>

#include "Measure.h"

namespace rovision {

struct ScanResults {
  std::string scan;  // the sidecar's path as given, or a name for a scan made in memory
  std::vector<ToolResult> tools;
};

// The main values of every tool (all of them are in the CSV and JSON), one per line.
std::string FormatTable(const ScanResults& results);

// One row per scan and tool: scan, tool, measurement, status ("ok" or "failed"), message, then
// one column per value name of the recipe's measurements (empty where a tool has no such value).
std::string FormatCsv(const Recipe& recipe, const std::vector<ScanResults>& results);

// {"recipe": ..., "scans": [{"scan": ..., "tools": [{"name", "measurement", "status",
// "message", "values": {name: number}, "units": {name: unit}}]}]}
std::string FormatJson(const Recipe& recipe, const std::vector<ScanResults>& results);

// results.csv and results.json in `folder`, each written whole or not at all.
void WriteResults(const std::string& folder, const Recipe& recipe,
                  const std::vector<ScanResults>& results);

}  // namespace rovision

#endif
