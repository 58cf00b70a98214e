// Checks shared by the fitting tests.
#ifndef ROVISION_TESTS_FITTING_FITTINGTESTSUPPORT_H
#define ROVISION_TESTS_FITTING_FITTINGTESTSUPPORT_H

#include <gtest/gtest.h>

#include <cfloat>
#include <string>

namespace rotest {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNullFit = -DBL_MAX;

// A circle's centre and radius against expected values.
template <class P>
void ExpectCircle(const P& center, double radius, double x, double y, double r,
                  double radiusTolerance, double centreTolerance, const std::string& what = "") {
  EXPECT_NEAR(radius, r, radiusTolerance) << what << " radius";
  EXPECT_NEAR(center.x, x, centreTolerance) << what << " x";
  EXPECT_NEAR(center.y, y, centreTolerance) << what << " y";
}

// A fit that gave no circle: centre and radius are the double null.
template <class P>
void ExpectNullCircle(const P& center, double radius, const std::string& what = "") {
  EXPECT_EQ(center.x, kNullFit) << what;
  EXPECT_EQ(radius, kNullFit) << what;
}

}  // namespace rotest

#endif
