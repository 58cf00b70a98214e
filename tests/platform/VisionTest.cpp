#include <gtest/gtest.h>
#include <zVision/zVision.h>

#include <cfloat>
#include <cmath>
#include <vector>

namespace {

TEST(Matrix, InverseTimesMatrixIsIdentityAndSingularMatricesAreRefused) {
  const std::vector<double> m = {4, 7, 2, 0, 6, 1, 3, 5, 9};
  std::vector<double> inverse(9), product(9);
  ASSERT_EQ(zMatrix_Invert(m.data(), 3, inverse.data()), zOK);
  ASSERT_EQ(zMatrix_Mul64f(m.data(), inverse.data(), 3, 3, 3, product.data()), zOK);
  for (int i = 0; i < 9; ++i) EXPECT_NEAR(product[i], i % 4 == 0 ? 1.0 : 0.0, 1e-14);
  // A singular matrix is refused and the output kept.
  const std::vector<double> singular = {1, 2, 2, 4};
  std::vector<double> out = {9, 9, 9, 9};
  EXPECT_EQ(zMatrix_Invert(singular.data(), 2, out.data()), zERROR_SINGULAR);
  EXPECT_EQ(out[0], 9);
  EXPECT_EQ(zMatrix_Invert(nullptr, 2, out.data()), zERROR_PARAMETER);
}

TEST(Vector, NormaliseRefusesZeroAndNonFiniteVectors) {
  zPoint3d64f out{};
  const zPoint3d64f v{3, 0, 4};
  ASSERT_EQ(zS3dMath_Normalize64f(&v, &out), zOK);
  EXPECT_DOUBLE_EQ(out.x, 0.6);
  EXPECT_DOUBLE_EQ(out.z, 0.8);
  const zPoint3d64f zero{0, 0, 0}, infinite{INFINITY, 0, 0};
  EXPECT_EQ(zS3dMath_Normalize64f(&zero, &out), zERROR_PARAMETER);
  EXPECT_EQ(zS3dMath_Normalize64f(&infinite, &out), zERROR_PARAMETER);
}

TEST(NullMedian, SkipsNullsAndAveragesTheMiddlePairOfAnEvenCount) {
  struct Case {
    std::vector<double> values;
    double median;
  };
  const std::vector<Case> cases = {
      {{5, 1, 3}, 3},
      {{4, 1, 3, 2}, 2.5},
      {{-DBL_MAX, 7, -DBL_MAX}, 7},
      {{-DBL_MAX, 2, 9, -DBL_MAX, 4, 6}, 5},
      {{-DBL_MAX, -DBL_MAX}, -DBL_MAX},
      {{}, -DBL_MAX},
      {{NAN, 1, 3}, 2},
      {{-FLT_MAX, 0, 1}, 0},  // a float null is not the double null: it counts
  };
  double median = 0;
  for (Case c : cases) {
    ASSERT_EQ(zNullMath_Median64f(c.values.data(), c.values.size(), &median), zOK);
    EXPECT_EQ(median, c.median) << ::testing::PrintToString(c.values);
  }
  EXPECT_EQ(zNullMath_Median64f(nullptr, 3, &median), zERROR_PARAMETER);
}

TEST(Transform, ApplyMapsRowByRow) {
  zL3dTransform3d t;
  zL3dTransform3d_Identity(&t);
  t.xt = 1;
  t.xy = 2;  // x' = x + 2y + 1
  zPoint3d64f p{1, 1, 1};
  ASSERT_EQ(zL3dTransform3d_Apply(&t, &p, &p), zOK);
  EXPECT_EQ(p.x, 4);
  EXPECT_EQ(p.y, 1);
}

}  // namespace
