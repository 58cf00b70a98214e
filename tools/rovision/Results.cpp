#include "Results.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>

#include "FileIo.h"

namespace rovision {

namespace {

// The values the table shows for each measurement; the files hold them all.
const std::vector<std::string>& HeadlineNames(MeasurementType type) {
  static const std::map<MeasurementType, std::vector<std::string>> kNames = {
      {MeasurementType::Plane, {"flatness", "tilt_x", "tilt_y"}},
      {MeasurementType::Height, {"mean", "stddev"}},
      {MeasurementType::Circle, {"center_x", "center_y", "diameter", "outliers"}},
      {MeasurementType::Line, {"angle", "rms"}},
      {MeasurementType::Feature, {"x", "y", "z"}},
      {MeasurementType::Volume, {"volume", "area"}}};
  return kNames.at(type);
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

// Every value name of the recipe's measurements, in the order they first appear.
std::vector<std::string> ValueColumns(const Recipe& recipe) {
  std::vector<std::string> columns;
  for (const Tool& tool : recipe.tools) {
    for (const std::string& name : ValueNames(tool.measure.type)) {
      if (std::find(columns.begin(), columns.end(), name) == columns.end()) {
        columns.push_back(name);
      }
    }
  }
  return columns;
}

}  // namespace

std::string FormatTable(const ScanResults& results) {
  std::string table;
  char line[160];
  std::snprintf(line, sizeof line, "%-16s %-12s %-12s %14s  %s\n", "tool", "measurement", "value",
                "result", "unit");
  table += line;
  for (const ToolResult& tool : results.tools) {
    const char* measurement = MeasurementName(tool.type);
    if (!tool.ok) {
      std::snprintf(line, sizeof line, "%-16s %-12s ", tool.tool.c_str(), measurement);
      table += line + ("failed: " + tool.message) + "\n";
      continue;
    }
    bool first = true;
    for (const std::string& name : HeadlineNames(tool.type)) {
      const auto value = std::find_if(tool.values.begin(), tool.values.end(),
                                      [&](const Value& v) { return v.name == name; });
      if (value == tool.values.end()) continue;
      // Counts have no unit and print without decimals.
      std::snprintf(
          line, sizeof line,
          value->unit.empty() ? "%-16s %-12s %-12s %14.0f\n" : "%-16s %-12s %-12s %14.4f  %s\n",
          first ? tool.tool.c_str() : "", first ? measurement : "", name.c_str(), value->value,
          value->unit.c_str());
      table += line;
      first = false;
    }
  }
  return table;
}

std::string FormatCsv(const Recipe& recipe, const std::vector<ScanResults>& results) {
  const std::vector<std::string> columns = ValueColumns(recipe);
  std::string csv = "scan,tool,measurement,status,message";
  for (const std::string& name : columns) csv += "," + name;
  csv += "\n";
  for (const ScanResults& scan : results) {
    for (const ToolResult& tool : scan.tools) {
      csv += CsvField(scan.scan) + "," + CsvField(tool.tool) + "," + MeasurementName(tool.type) +
             "," + (tool.ok ? "ok" : "failed") + "," + CsvField(tool.message);
      for (const std::string& name : columns) {
        const auto value = std::find_if(tool.values.begin(), tool.values.end(),
                                        [&](const Value& v) { return v.name == name; });
        csv += "," + (value == tool.values.end() ? std::string() : Number(value->value));
      }
      csv += "\n";
    }
  }
  return csv;
}

std::string FormatJson(const Recipe& recipe, const std::vector<ScanResults>& results) {
  nlohmann::ordered_json document;
  document["recipe"] = recipe.file;
  document["scans"] = nlohmann::ordered_json::array();
  for (const ScanResults& scan : results) {
    nlohmann::ordered_json tools = nlohmann::ordered_json::array();
    for (const ToolResult& tool : scan.tools) {
      nlohmann::ordered_json entry;
      entry["name"] = tool.tool;
      entry["measurement"] = MeasurementName(tool.type);
      entry["status"] = tool.ok ? "ok" : "failed";
      if (!tool.ok) entry["message"] = tool.message;
      nlohmann::ordered_json values = nlohmann::ordered_json::object();
      nlohmann::ordered_json units = nlohmann::ordered_json::object();
      for (const Value& value : tool.values) {
        // JSON has no infinity or NaN; such a value is written as null.
        values[value.name] = std::isfinite(value.value) ? nlohmann::ordered_json(value.value)
                                                        : nlohmann::ordered_json();
        if (!value.unit.empty()) units[value.name] = value.unit;
      }
      entry["values"] = values;
      entry["units"] = units;
      tools.push_back(entry);
    }
    document["scans"].push_back({{"scan", scan.scan}, {"tools", tools}});
  }
  return document.dump(2) + "\n";
}

void WriteResults(const std::string& folder, const Recipe& recipe,
                  const std::vector<ScanResults>& results) {
  MakeDirectories(folder);
  const std::filesystem::path base(folder);
  // Both texts are made before either file is written, so a failure cannot leave one new file
  // beside an old one from the same formatting.
  const std::string csv = FormatCsv(recipe, results);
  const std::string json = FormatJson(recipe, results);
  WriteFileAtomically((base / "results.csv").string(), csv);
  WriteFileAtomically((base / "results.json").string(), json);
}

}  // namespace rovision
