// FilterPercentile against OpenCV's median on the same 2048 x 4096 height map, single threaded.
// Prints the time ratios of
// - the histogram path at 31 x 31 to the same path at 5 x 5 (target: at most 1.5; its cost per
//   cell must not grow with the window),
// - the filter at 5 x 5 (which sorts windows that small) to cv::medianBlur 5 on CV_16U data
//   (target: at most 3; OpenCV's 16-bit median stops at 5 x 5 and knows no nulls),
// - and, for the record, the filter at 31 x 31 (histograms) to the filter at 5 x 5 (sorting).
#include <RoVision/Filter/FilterPercentile.h>
#include <RoVision/Filter/PercentileKernelPrivate.h>

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

// The same heights as unsigned 16-bit values in the same order (h + 32768).
const cv::Mat& HeightsAs16U() {
  static const cv::Mat mat = [] {
    cv::Mat m(kRows, kColumns, CV_16U);
    const short* in = static_cast<const short*>(zArray2_Data(HeightMap()));
    auto* out = reinterpret_cast<unsigned short*>(m.data);
    for (std::size_t i = 0; i < std::size_t(kRows) * kColumns; ++i) {
      out[i] = static_cast<unsigned short>(in[i] ^ 0x8000);
    }
    return m;
  }();
  return mat;
}

zThreadPool SingleTask() {
  static zThreadPool pool = [] {
    zThreadPool p = nullptr;
    zThreadPool_Construct(&p, 1, nullptr);
    return p;
  }();
  return pool;
}

void BM_FilterPercentile(benchmark::State& state) {
  const auto size = static_cast<unsigned long long>(state.range(0));
  Ty::Object<void*> output;
  for (auto _ : state) {
    Ro::Vision::FilterPercentile(HeightMap(), {size, size}, 50, 0, output, nullptr, SingleTask());
    benchmark::DoNotOptimize(zArray2_Data(output));
  }
}

// The histogram path at any window size, on the fastest kernel build the machine runs.
void BM_HistogramPath(benchmark::State& state) {
  namespace pk = Ro::Vision::percentile_kernel;
  const auto size = static_cast<unsigned long long>(state.range(0));
  const pk::KernelBuild build = pk::KernelBuildAvailable(pk::KernelBuild::kAvx2)
                                    ? pk::KernelBuild::kAvx2
                                    : pk::KernelBuild::kPortable;
  Ty::Object<void*> output;
  for (auto _ : state) {
    pk::FilterPercentileWithKernel(build, pk::KernelPath::kHistogram, HeightMap(), {size, size}, 50,
                                   0, output, nullptr, SingleTask());
    benchmark::DoNotOptimize(zArray2_Data(output));
  }
}

void BM_CvMedian16U(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  cv::setNumThreads(0);
  cv::Mat output;
  for (auto _ : state) {
    cv::medianBlur(HeightsAs16U(), output, size);
    benchmark::DoNotOptimize(output.data);
  }
}

BENCHMARK(BM_FilterPercentile)->Arg(5)->Arg(7)->Arg(31)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HistogramPath)->Arg(5)->Arg(7)->Arg(31)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CvMedian16U)->Arg(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Make the data before any timing starts.
  HeightMap();
  HeightsAs16U();
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("BM_HistogramPath/31", "BM_HistogramPath/5", "cost per cell", 1.5);
  reporter.PrintRatio("BM_FilterPercentile/5", "BM_CvMedian16U/5", "5 x 5 against OpenCV", 3);
  reporter.PrintRatio("BM_FilterPercentile/31", "BM_FilterPercentile/5", "sorted 5 x 5");
  benchmark::Shutdown();
  return 0;
}
