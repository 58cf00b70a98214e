// The minimum circles against their peers on the same points, in the same run:
// - FitCircle_MCC of 10^6 random points against cv::minEnclosingCircle (single precision), both
//   handed their points ready made. Target: ours / OpenCV <= 2.
// - FitCircle_MIC of 10^5 points on a noisy circle against CGAL's Delaunay triangulation of the
//   same points alone. Target: ours / triangulation <= 3.
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <RoVision/Fitting/MinimumCircles.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "BenchSupport.h"

namespace rv = Ro::Vision;

namespace {

const std::vector<zPoint64f>& DiscPoints() {
  static const std::vector<zPoint64f> points = [] {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> u(-1000, 1000);
    std::vector<zPoint64f> out(1000000);
    for (zPoint64f& p : out) p = {u(random), u(random)};
    return out;
  }();
  return points;
}

const std::vector<zPoint64f>& NoisyCircle() {
  static const std::vector<zPoint64f> points = [] {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> angle(0, 6.283185307179586);
    std::normal_distribution<double> noise(0, 0.01);
    std::vector<zPoint64f> out(100000);
    for (zPoint64f& p : out) {
      const double t = angle(random), r = 25 + noise(random);
      p = {40 + r * std::cos(t), -12 + r * std::sin(t)};
    }
    return out;
  }();
  return points;
}

void BM_FitCircle_MCC(benchmark::State& state) {
  const std::vector<zPoint64f>& points = DiscPoints();
  zPoint64f center;
  double radius;
  for (auto _ : state) {
    rv::FitCircle_MCC(points.data(), nullptr, points.size(), center, radius);
    benchmark::DoNotOptimize(radius);
  }
}
BENCHMARK(BM_FitCircle_MCC)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_OpenCvMinEnclosingCircle(benchmark::State& state) {
  std::vector<cv::Point2f> points;
  for (const zPoint64f& p : DiscPoints()) points.emplace_back(float(p.x), float(p.y));
  cv::Point2f center;
  float radius;
  for (auto _ : state) {
    cv::minEnclosingCircle(points, center, radius);
    benchmark::DoNotOptimize(radius);
  }
}
BENCHMARK(BM_OpenCvMinEnclosingCircle)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FitCircle_MIC(benchmark::State& state) {
  const std::vector<zPoint64f>& points = NoisyCircle();
  zPoint64f center;
  double radius;
  for (auto _ : state) {
    rv::FitCircle_MIC(points.data(), nullptr, points.size(), center, radius);
    benchmark::DoNotOptimize(radius);
  }
}
BENCHMARK(BM_FitCircle_MIC)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CgalDelaunay(benchmark::State& state) {
  using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
  std::vector<Kernel::Point_2> points;
  for (const zPoint64f& p : NoisyCircle()) points.emplace_back(p.x, p.y);
  for (auto _ : state) {
    CGAL::Delaunay_triangulation_2<Kernel> dt(points.begin(), points.end());
    benchmark::DoNotOptimize(dt.number_of_faces());
  }
}
BENCHMARK(BM_CgalDelaunay)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FitCircle_MZC(benchmark::State& state) {
  const std::vector<zPoint64f>& points = NoisyCircle();
  zPoint64f center;
  double inner, outer, roundness;
  for (auto _ : state) {
    rv::FitCircle_MZC(points.data(), nullptr, points.size(), center, inner, outer, roundness);
    benchmark::DoNotOptimize(roundness);
  }
}
BENCHMARK(BM_FitCircle_MZC)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Make the data before any timing starts.
  DiscPoints();
  NoisyCircle();
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_FitCircle_MCC", "BM_OpenCvMinEnclosingCircle",
                      "MCC of 10^6 points vs cv::minEnclosingCircle", 2);
  reporter.PrintRatio("BM_FitCircle_MIC", "BM_CgalDelaunay",
                      "MIC of 10^5 points vs the Delaunay triangulation alone", 3);
  benchmark::Shutdown();
  return 0;
}
