// FitPlane over every valid cell of a 2048 x 4096 height map with 5% nulls, against the idiomatic
// Eigen fit of the same points (centroid, centred copy, SelfAdjointEigenSolver). Our time includes
// walking the grid; Eigen is handed the points already gathered. Prints Eigen / ours.
#include <RoVision/Fitting/PlaneFit.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cstdio>
#include <random>

#ifdef RO_HAVE_EIGEN
#include <Eigen/Dense>

#include "BenchSupport.h"
#endif

namespace rv = Ro::Vision;

namespace {

constexpr int kRows = 2048, kColumns = 4096;

struct HeightMap {
  rv::Surface surface;
  HeightMap() {
    surface.scale = {0.02, 0.05, 0.001};
    surface.offset = {-40, 120, 5};
    void* heights = nullptr;
    zArray2_Construct(&heights, zTypeOf(z16s), kRows, kColumns, nullptr);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0, 1);
    for (int r = 0; r < kRows; ++r) {
      short* row = static_cast<short*>(zArray2_Row(heights, r));
      for (int c = 0; c < kColumns; ++c) {
        row[c] = unit(random) < 0.05 ? short(-32768)
                                     : short((3 * c - 5 * r) / 4 + int(unit(random) * 50) - 25);
      }
    }
    surface.layers.emplace_back(heights);
  }
};

const HeightMap& Map() {
  static const HeightMap map;
  return map;
}

void BM_FitPlaneGrid(benchmark::State& state) {
  const rv::Surface& surface = Map().surface;
  rv::PlaneParams<double> plane;
  for (auto _ : state) {
    rv::FitPlane(surface, {0, 0, kColumns, kRows}, nullptr, &plane, nullptr);
    benchmark::DoNotOptimize(plane);
  }
}
BENCHMARK(BM_FitPlaneGrid)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef RO_HAVE_EIGEN
const Eigen::Matrix3Xd& GatheredPoints() {
  static const Eigen::Matrix3Xd points = [] {
    const rv::Surface& s = Map().surface;
    void* heights = s.layers[0].Get();
    Eigen::Matrix3Xd out(3, kRows * kColumns);
    Eigen::Index n = 0;
    for (int r = 0; r < kRows; ++r) {
      const short* row = static_cast<const short*>(zArray2_Row(heights, r));
      for (int c = 0; c < kColumns; ++c) {
        if (row[c] == -32768) continue;
        out.col(n++) << s.offset.x + c * s.scale.x, s.offset.y + r * s.scale.y,
            s.offset.z + row[c] * s.scale.z;
      }
    }
    return Eigen::Matrix3Xd(out.leftCols(n));
  }();
  return points;
}

void BM_EigenPlane(benchmark::State& state) {
  const Eigen::Matrix3Xd& points = GatheredPoints();
  for (auto _ : state) {
    const Eigen::Vector3d centroid = points.rowwise().mean();
    const Eigen::Matrix3Xd centred = points.colwise() - centroid;
    const Eigen::Matrix3d covariance = centred * centred.transpose();
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(covariance);
    Eigen::Vector3d normal = solver.eigenvectors().col(0);
    benchmark::DoNotOptimize(normal);
  }
}
BENCHMARK(BM_EigenPlane)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Make the data before any timing starts.
  Map();
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double ours = reporter.RealTime("BM_FitPlaneGrid");
  const double eigen = reporter.RealTime("BM_EigenPlane");
  if (ours > 0 && eigen > 0) {
    std::printf("FitPlane: ours %.2f ms, Eigen %.2f ms, ours / Eigen = %.3f (target <= 0.5)\n",
                ours, eigen, ours / eigen);
  }
  benchmark::Shutdown();
  return 0;
}
