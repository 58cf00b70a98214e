// Helpers shared by the filter tests: grids from literals or seeded random draws, thread pools and
// error tables.
#ifndef ROVISION_TESTS_FILTER_FILTERTESTSUPPORT_H
#define ROVISION_TESTS_FILTER_FILTERTESTSUPPORT_H

#include <zApi/zApi.h>

#include <random>
#include <vector>

#include "support/TestSupport.h"

namespace filtertest {

constexpr short N = -32768;
using Heights = std::vector<std::vector<short>>;
using Bytes = std::vector<std::vector<unsigned char>>;

inline Ty::Object<void*> H(const Heights& h, zAlloc alloc = nullptr) {
  return rotest::MakeArray2<short>(zTypeOf(z16s), h, alloc);
}
inline Ty::Object<void*> B(const Bytes& b, zAlloc alloc = nullptr) {
  return rotest::MakeArray2<unsigned char>(zTypeOf(z8u), b, alloc);
}

// Values drawn uniformly from low..high, each null with probability nullShare.
template <class T = short>
std::vector<std::vector<T>> RandomGrid(std::size_t rows, std::size_t columns, double nullShare,
                                       unsigned seed, int low = -32767, int high = 32767,
                                       T null = T(N)) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> value(low, high);
  std::bernoulli_distribution isNull(nullShare);
  std::vector<std::vector<T>> grid(rows, std::vector<T>(columns));
  for (auto& row : grid) {
    for (T& v : row) v = isNull(random) ? null : static_cast<T>(value(random));
  }
  return grid;
}

inline Ty::Object<void*> Pool(zSize tasks) {
  zThreadPool pool = nullptr;
  EXPECT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
  return Ty::Object<void*>(pool);
}

// A failure table whose cases share the status and the function (line 0: not checked).
struct Refusal {
  const char* name;
  std::function<void()> action;
  int line = 0;
  zStatus status = -997;
};
inline void ExpectRefusals(const std::vector<Refusal>& cases, const char* function,
                           const char* file = nullptr) {
  std::vector<rotest::Failure> failures;
  for (const Refusal& c : cases) {
    failures.push_back({c.name, c.action, c.status, c.line, function});
  }
  rotest::ExpectFailures(failures, file);
}

}  // namespace filtertest

#endif
