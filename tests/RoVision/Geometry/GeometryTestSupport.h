// Helpers for the geometry and utility tests: records of plain numbers read as lists, so one
// comparison states a whole record and a failure prints every field.
#ifndef ROVISION_TESTS_GEOMETRY_GEOMETRYTESTSUPPORT_H
#define ROVISION_TESTS_GEOMETRY_GEOMETRYTESTSUPPORT_H

#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace geotest {

using Values = std::vector<double>;

// The fields of a record made only of T (nested points and arrays of records included), in
// declaration order.
template <class T = double, class R>
std::vector<T> Fields(const R& record) {
  static_assert(std::is_trivially_copyable<R>::value && sizeof(R) % sizeof(T) == 0,
                "a record of T only");
  constexpr std::size_t kBytes = sizeof(R);  // R may be an array of records, not of T
  std::vector<T> out(kBytes / sizeof(T));
  std::memcpy(out.data(), &record, sizeof(R));
  return out;
}

// The fields of every point of a polygon, one point after the other.
template <class P>
Values Flatten(const std::vector<P>& points) {
  Values out;
  for (const P& p : points) {
    const Values fields = Fields(p);
    out.insert(out.end(), fields.begin(), fields.end());
  }
  return out;
}

// Value by value within `tolerance`; a null (-DBL_MAX) expected value must be null exactly.
inline void ExpectNear(const Values& actual, const Values& expected, double tolerance,
                       const std::string& what = "") {
  ASSERT_EQ(actual.size(), expected.size()) << what;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], tolerance) << what << " value " << i;
  }
}

template <class R>
void ExpectFieldsNear(const R& record, const Values& expected, double tolerance,
                      const std::string& what = "") {
  ExpectNear(Fields(record), expected, tolerance, what);
}

// A box's centre within `tolerance` (it is computed from scaled cells), its sizes and angles
// exactly.
template <class Box>
void ExpectBox(const Box& box, const Values& centre, const Values& sizesAndAngles, double tolerance,
               const std::string& what = "") {
  const Values fields = Fields(box);
  ExpectNear(Values(fields.begin(), fields.begin() + 3), centre, tolerance, what);
  EXPECT_EQ(Values(fields.begin() + 3, fields.end()), sizesAndAngles) << what;
}

// Every field null: the answer for a region without a valid cell or an unset input.
template <class R>
void ExpectAllNull(const R& record, const std::string& what = "") {
  const Values fields = Fields(record);
  EXPECT_EQ(fields, Values(fields.size(), -DBL_MAX)) << what;
}

}  // namespace geotest

#endif
