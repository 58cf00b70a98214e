#include "JsonFields.h"

#include <algorithm>
#include <cmath>

#include "InputError.h"

namespace rovision {

JsonFields::JsonFields(const nlohmann::json& value, std::string file, std::string path)
    : value_(value), file_(std::move(file)), path_(std::move(path)) {
  if (!value_.is_object()) {
    throw InputError(file_, path_.empty() ? "(top level)" : path_, "must be a JSON object");
  }
}

bool JsonFields::Has(const std::string& key) const {
  return value_.contains(key);
}

std::string JsonFields::PathOf(const std::string& key) const {
  return path_.empty() ? key : path_ + "." + key;
}

void JsonFields::Fail(const std::string& key, const std::string& problem) const {
  throw InputError(file_, PathOf(key), problem);
}

const nlohmann::json& JsonFields::Member(const std::string& key) const {
  const auto found = value_.find(key);
  if (found == value_.end()) Fail(key, "missing");
  return *found;
}

JsonFields JsonFields::Object(const std::string& key) const {
  return JsonFields(Member(key), file_, PathOf(key));
}

std::string JsonFields::String(const std::string& key) const {
  const nlohmann::json& member = Member(key);
  if (!member.is_string()) Fail(key, "must be a string");
  return member.get<std::string>();
}

std::string JsonFields::String(const std::string& key, const std::string& fallback) const {
  return Has(key) ? String(key) : fallback;
}

double JsonFields::Number(const std::string& key) const {
  const nlohmann::json& member = Member(key);
  if (!member.is_number()) Fail(key, "must be a number");
  const double number = member.get<double>();
  if (!std::isfinite(number)) Fail(key, "must be a finite number");
  return number;
}

double JsonFields::Number(const std::string& key, double fallback) const {
  return Has(key) ? Number(key) : fallback;
}

double JsonFields::Positive(const std::string& key) const {
  const double number = Number(key);
  if (!(number > 0)) Fail(key, "must be positive, got " + Member(key).dump());
  return number;
}

double JsonFields::Positive(const std::string& key, double fallback) const {
  return Has(key) ? Positive(key) : fallback;
}

void JsonFields::Pair(const std::string& key, double* x, double* y) const {
  const nlohmann::json& member = Member(key);
  if (!member.is_array() || member.size() != 2 || !member[0].is_number() ||
      !member[1].is_number()) {
    Fail(key, "must be a list of two numbers [x, y]");
  }
  *x = member[0].get<double>();
  *y = member[1].get<double>();
  if (!std::isfinite(*x) || !std::isfinite(*y)) Fail(key, "must hold finite numbers");
}

void JsonFields::AllowOnly(const std::vector<std::string>& known) const {
  for (const auto& member : value_.items()) {
    if (std::find(known.begin(), known.end(), member.key()) == known.end()) {
      std::string list;
      for (const std::string& name : known) list += (list.empty() ? "" : ", ") + name;
      Fail(member.key(), "unknown field (expected one of " + list + ")");
    }
  }
}

nlohmann::json ParseJson(const std::string& text, const std::string& file) {
  try {
    return nlohmann::json::parse(text);
  } catch (const nlohmann::json::parse_error& error) {
    // nlohmann's own text starts with "[json.exception.parse_error.101] parse error at line 3,
    // column 5: ..."; the part after the bracket reads well on its own.
    std::string what = error.what();
    const auto bracket = what.find("] ");
    if (bracket != std::string::npos) what = what.substr(bracket + 2);
    throw InputError(file, "", "not valid JSON: " + what);
  }
}

}  // namespace rovision
