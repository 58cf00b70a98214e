// Polynomials p(x) = c0 + c1 x + ... + cd x^d fitted to 2D points (zPoint64f: x, then y).
#ifndef ROVISION_FITTING_POLYNOMIALFIT_H
#define ROVISION_FITTING_POLYNOMIALFIT_H

#include <zApi/zDefs.h>

#include <cstddef>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Least squares through the normal equations, inverted by Gauss-Jordan elimination without
// pivoting on the raw powers of x (no centring or scaling: large x or high degrees lose
// precision or fail). coefficients receives degree + 1 values in ascending power. Every point is
// used (no null test). Returns 0 on success, -1 when count <= degree, a pivot is not larger than
// 1.1920928955078125e-7 in magnitude (for example fewer distinct x than degree + 1), a pointer is
// null or the work matrix cannot be allocated; the coefficients are then untouched.
RO_API int FitPolynomial(const zPoint64f* points, std::size_t count, std::size_t degree,
                         double* coefficients);

// p(x) by Horner's rule; degree 0 gives c0, null coefficients the double null.
RO_API double CalculatePolynomialValue(const double* coefficients, std::size_t degree, double x);

}  // namespace Vision
}  // namespace Ro

#endif
