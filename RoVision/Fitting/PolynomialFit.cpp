#include "PolynomialFit.h"

#include <cmath>
#include <new>
#include <vector>

#include "../Common/ElementTypes.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {

int FitPolynomial(const zPoint64f* points, std::size_t count, std::size_t degree,
                  double* coefficients) {
  if (count <= degree || !points || !coefficients) return -1;
  const std::size_t size = degree + 1, width = 2 * size;
  std::vector<double> rhs, powerSums, system;
  try {
    rhs.assign(size, 0.0);
    powerSums.assign(2 * degree + 3, 0.0);
    system.assign(size * width, 0.0);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  powerSums[0] = double(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double x = points[i].x, y = points[i].y;
    double power = 1;
    for (std::size_t k = 0; k < size; ++k, power *= x) rhs[k] += y * power;
    power = x;
    for (std::size_t k = 1; k < powerSums.size(); ++k, power *= x) powerSums[k] += power;
  }
  auto at = [&](std::size_t row, std::size_t column) -> double& {
    return system[row * width + column];
  };
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = 0; j < size; ++j) at(i, j) = powerSums[i + j];
    at(i, size + i) = 1;
  }
  // Gauss-Jordan on [M | I] without row exchanges.
  for (std::size_t i = 0; i < size; ++i) {
    const double pivot = at(i, i);
    if (std::fabs(pivot) <= kFitEpsilon) return -1;
    for (std::size_t c = 0; c < width; ++c) at(i, c) /= pivot;
    for (std::size_t r = 0; r < size; ++r) {
      if (r == i) continue;
      const double factor = at(r, i);
      for (std::size_t c = 0; c < width; ++c) at(r, c) -= factor * at(i, c);
    }
  }
  for (std::size_t i = 0; i < size; ++i) {
    double sum = 0;
    for (std::size_t j = 0; j < size; ++j) sum += at(i, size + j) * rhs[j];
    coefficients[i] = sum;
  }
  return 0;
}

double CalculatePolynomialValue(const double* coefficients, std::size_t degree, double x) {
  if (!coefficients) return kNullDouble;
  const int d = static_cast<int>(degree);
  double value = 0;
  for (int k = d; k >= 1; --k) value = (value + coefficients[k]) * x;
  return value + coefficients[0];
}

}  // namespace Vision
}  // namespace Ro
