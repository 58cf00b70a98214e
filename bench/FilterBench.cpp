// SurfaceFilter::Average against OpenCV's box filter on the same 16-bit height map, single
// threaded. Prints the time ratio of the 15 x 15 average to cv::blur 15 x 15 (target: at most 2)
// and of the 31 x 31 average to the 3 x 3 one (target: about 1, the time must not grow with the
// window).
#include <RoVision/Filter/SurfaceFilter.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cstdio>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "BenchSupport.h"

namespace {

constexpr int kRows = robench::kTerrainRows;
constexpr int kColumns = robench::kTerrainColumns;

const Ty::Object<void*>& HeightMap() {
  return robench::TerrainHeightMap();
}

Ty::Object<void*> NewMap() {
  zArray2 array = nullptr;
  zArray2_Construct(&array, zTypeOf(z16s), kRows, kColumns, nullptr);
  return Ty::Object<void*>(array);
}

void BM_SurfaceAverage(benchmark::State& state) {
  const auto size = static_cast<unsigned long long>(state.range(0));
  Ty::Object<void*> output = NewMap();
  for (auto _ : state) {
    Ro::Vision::SurfaceFilter(HeightMap(), output, nullptr).Average({size, size}, 0);
    benchmark::DoNotOptimize(zArray2_Data(output));
  }
}

void BM_CvBlur(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  cv::setNumThreads(0);
  const cv::Mat input(kRows, kColumns, CV_16S, zArray2_Data(HeightMap()));
  Ty::Object<void*> outputMap = NewMap();
  cv::Mat output(kRows, kColumns, CV_16S, zArray2_Data(outputMap));
  for (auto _ : state) {
    cv::blur(input, output, cv::Size(size, size));
    benchmark::DoNotOptimize(output.data);
  }
}

BENCHMARK(BM_SurfaceAverage)->Arg(3)->Arg(15)->Arg(31)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CvBlur)->Arg(3)->Arg(15)->Arg(31)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Make the data before any timing starts.
  HeightMap();
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_SurfaceAverage/15", "BM_CvBlur/15", nullptr, 2);
  reporter.PrintRatio("BM_SurfaceAverage/31", "BM_SurfaceAverage/3");
  reporter.PrintRatio("BM_SurfaceAverage/3", "BM_CvBlur/3");
  reporter.PrintRatio("BM_SurfaceAverage/31", "BM_CvBlur/31");
  benchmark::Shutdown();
  return 0;
}
