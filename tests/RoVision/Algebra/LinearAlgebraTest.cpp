#include <RoVision/Algebra/LinearAlgebra.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#ifdef RO_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace rv = Ro::Vision;

namespace {

// Jacobi stops once off-diagonal elements fall below 1e-12 of their start, so eigenpairs agree
// with an independent solver to about that relative precision.
constexpr double kEigenTolerance = 1e-9;

TEST(DecomposeEigen, SmallMatrices) {
  // A diagonal matrix is only reordered; row i of v is the unit vector of the i-th largest value.
  std::vector<double> a = {1, 0, 0, 0, 5, 0, 0, 0, 3}, v(9, -7);
  rv::DecomposeEigen(a.data(), v.data(), 3, 0);
  EXPECT_EQ(a[0], 5);
  EXPECT_EQ(a[4], 3);
  EXPECT_EQ(a[8], 1);
  EXPECT_EQ(v, (std::vector<double>{0, 1, 0, 0, 0, 1, 1, 0, 0}));
  a = {2, 1, 1, 2}, v.assign(4, 0);
  rv::DecomposeEigen(a.data(), v.data(), 2, 0);
  EXPECT_NEAR(a[0], 3, 1e-15);
  EXPECT_NEAR(a[3], 1, 1e-15);
  EXPECT_NEAR(std::fabs(v[0]), std::sqrt(0.5), 1e-15);
  EXPECT_NEAR(v[0], v[1], 1e-15);  // (1, 1) / sqrt(2) up to sign
  EXPECT_NEAR(v[2], -v[3], 1e-15);
  // Values only: the vectors are left untouched.
  a = {4, 1, 1, 3}, v.assign(4, 9);
  rv::DecomposeEigen(a.data(), v.data(), 2, 1);
  EXPECT_NEAR(a[0] + a[3], 7, 1e-12);
  EXPECT_GT(a[0], a[3]);
  EXPECT_EQ(v, std::vector<double>(4, 9));
}

#ifdef RO_HAVE_EIGEN
TEST(DecomposeEigen, AgreesWithEigenOnRandomSymmetricMatrices) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(-10, 10);
  for (int n = 1; n <= 10; ++n) {
    for (int trial = 0; trial < 5; ++trial) {
      Eigen::MatrixXd m(n, n);
      for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) m(i, j) = m(j, i) = value(random);
      }
      std::vector<double> a(n * n), v(n * n);
      for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) a[i * n + j] = m(i, j);
      }
      rv::DecomposeEigen(a.data(), v.data(), n, 0);
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(m);
      const double scale = m.norm();
      for (int i = 0; i < n; ++i) {
        // Eigen sorts ascending, we sort descending.
        EXPECT_NEAR(a[i * n + i], solver.eigenvalues()(n - 1 - i), kEigenTolerance * scale);
        Eigen::VectorXd vec(n);
        for (int k = 0; k < n; ++k) vec(k) = v[i * n + k];
        EXPECT_NEAR(vec.norm(), 1, kEigenTolerance);
        // m * v = lambda * v holds for our own pair.
        EXPECT_LT((m * vec - a[i * n + i] * vec).norm(), kEigenTolerance * scale)
            << "n " << n << " row " << i;
      }
    }
  }
}
#endif

TEST(LinearSystemByGaussian, SolvesOrReturnsZeroAndZeroSolution) {
  struct Case {
    const char* name;
    std::vector<double> A;  // augmented rows [a b | c]
    int status;
    std::vector<double> x;  // expected solution, or empty: not checked
  };
  const std::vector<Case> cases = {
      {"first pivot 0: rows exchanged", {0, 2, 4, 3, 1, 5}, 1, {1, 2}},
      {"zero column", {0, 1, 1, 0, 2, 3}, 0, {0, 0}},
      {"pivot exactly 1e-12", {1e-12, 0, 1, 0, 1, 1}, 0, {0, 0}},
      {"pivot just above the limit", {1.5e-12, 0, 1, 0, 1, 1}, 1, {}},
      {"dependent rows", {1, 2, 3, 2, 4, 6}, 0, {0, 0}},
  };
  for (const Case& c : cases) {
    std::vector<double> A = c.A, x = {5, 5};
    EXPECT_EQ(rv::LinearSystemByGaussian(A.data(), x.data(), 2), c.status) << c.name;
    for (size_t i = 0; i < c.x.size(); ++i) EXPECT_DOUBLE_EQ(x[i], c.x[i]) << c.name;
  }
}

TEST(LeastSquares, ExactFitErrorAndSingularDesign) {
  // y = 2 x - 3, with a column of ones for the constant: zero error.
  std::vector<double> data;
  for (double x : {-2.0, 0.0, 1.0, 4.0, 7.5}) data.insert(data.end(), {x, 1.0, 2 * x - 3});
  double coef[2], err = -1;
  ASSERT_EQ(rv::LeastSquares(data.data(), 3, 5, coef, &err), 1);
  EXPECT_NEAR(coef[0], 2, 1e-12);
  EXPECT_NEAR(coef[1], -3, 1e-12);
  EXPECT_NEAR(err, 0, 1e-12);
  // A constant fitted to 0 and 2: coef 1, residuals 1 and 1; the error is the mean absolute
  // residual scaled by sqrt(pi / 2).
  data = {1, 0, 1, 2};
  ASSERT_EQ(rv::LeastSquares(data.data(), 2, 2, coef, &err), 1);
  EXPECT_DOUBLE_EQ(coef[0], 1);
  EXPECT_DOUBLE_EQ(err, std::sqrt(M_PI / 2));
  // The two x columns are proportional: 0, and zero coefficients.
  data = {1, 2, 5, 1, 2, 6};
  coef[0] = coef[1] = 9;
  EXPECT_EQ(rv::LeastSquares(data.data(), 3, 2, coef, &err), 0);
  EXPECT_EQ(coef[0], 0);
  EXPECT_EQ(coef[1], 0);
}

}  // namespace
