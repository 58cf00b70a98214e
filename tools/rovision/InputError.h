// The one error of the program that is the user's to fix: a missing or malformed file, a field
// that is absent or out of range, a recipe that does not fit the scan. Its text is one line that
// names the file and the field ("recipe.json: tools[2].region.radius: must be positive"); the
// program prints it and exits with status 2.
#ifndef ROVISION_TOOLS_INPUTERROR_H
#define ROVISION_TOOLS_INPUTERROR_H

#include <stdexcept>
#include <string>

namespace rovision {

class InputError : public std::runtime_error {
 public:
  // `file` and `field` may be empty; the parts that are given are joined with ": ".
  InputError(const std::string& file, const std::string& field, const std::string& problem)
      : std::runtime_error(Join(file, field, problem)) {}

 private:
  static std::string Join(const std::string& file, const std::string& field,
                          const std::string& problem) {
    std::string text;
    for (const std::string* part : {&file, &field}) {
      if (!part->empty()) text += *part + ": ";
    }
    return text + problem;
  }
};

}  // namespace rovision

#endif
