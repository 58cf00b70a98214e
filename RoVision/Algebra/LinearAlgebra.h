// Small dense linear algebra on caller-owned row-major arrays of doubles: the eigen
// decomposition of a symmetric matrix, a square linear solve and a linear least-squares fit.
// Meant for n up to a few tens (fits of planes, circles, polynomials). None of them throws.
#ifndef ROVISION_ALGEBRA_LINEARALGEBRA_H
#define ROVISION_ALGEBRA_LINEARALGEBRA_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Cyclic Jacobi decomposition of the symmetric n x n matrix `a` (only its lower triangle is read
// and kept up to date; it is overwritten). The eigenvalues end on the diagonal of `a` in
// descending order; unless `valuesOnly`, the eigenvectors are written as the rows of `v`
// (n x n), row i belonging to the i-th diagonal value.
RO_API void DecomposeEigen(double* a, double* v, int n, int valuesOnly);

// Solves the n x n system given as n rows of n + 1 values (the right-hand side last; the array is
// overwritten) by Gaussian elimination with partial pivoting. Returns 1 with the solution in x,
// or 0 when a pivot is not larger than 1e-12 in magnitude, with x all zero.
RO_API int LinearSystemByGaussian(double* A, double* x, int n);

// Fits y = sum of coef[i] * x_i (i < n - 1) to m rows of n values (x_0 .. x_{n-2}, then y); no
// constant term is implied. err receives the mean absolute residual times sqrt(pi / 2), an
// estimate of the residuals' standard deviation. Returns 1, or 0 when the normal system is
// singular (coef all zero) or its work matrix cannot be allocated.
RO_API int LeastSquares(const double* data, int n, int m, double* coef, double* err);

}  // namespace Vision
}  // namespace Ro

#endif
