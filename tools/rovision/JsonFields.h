// Reading fields of a JSON document with errors that name the file and the field's path
// ("tools[2].region.center"), for the scan sidecar and the recipe.
#ifndef ROVISION_TOOLS_JSONFIELDS_H
#define ROVISION_TOOLS_JSONFIELDS_H

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace rovision {

// A JSON object with the name of its file and its path inside it.
class JsonFields {
 public:
  // Raises InputError when `value` is not an object.
  JsonFields(const nlohmann::json& value, std::string file, std::string path);

  bool Has(const std::string& key) const;
  // The member's path, such as "tools[2].region.radius".
  std::string PathOf(const std::string& key) const;
  [[noreturn]] void Fail(const std::string& key, const std::string& problem) const;

  const nlohmann::json& Member(const std::string& key) const;  // raises when absent
  JsonFields Object(const std::string& key) const;
  std::string String(const std::string& key) const;
  std::string String(const std::string& key, const std::string& fallback) const;
  // A finite number.
  double Number(const std::string& key) const;
  double Number(const std::string& key, double fallback) const;
  double Positive(const std::string& key) const;
  double Positive(const std::string& key, double fallback) const;
  // A list of two numbers, [x, y].
  void Pair(const std::string& key, double* x, double* y) const;
  // Raises for any member not in `known` (a misspelt field would otherwise be ignored silently).
  void AllowOnly(const std::vector<std::string>& known) const;

  const nlohmann::json& Value() const { return value_; }
  const std::string& File() const { return file_; }
  const std::string& Path() const { return path_; }

 private:
  const nlohmann::json& value_;
  std::string file_;
  std::string path_;
};

// Parses `text` as JSON; a syntax error raises InputError naming `file`.
nlohmann::json ParseJson(const std::string& text, const std::string& file);

}  // namespace rovision

#endif
