// GetBoundingBox over a 4096 x 4096 height map under a disc-shaped mask with 3% nulls, against
// one pass over the same mask (cv::countNonZero, OpenCV's vectorised count). Prints ours / pass;
// target <= 2.
//
// Our pass must read the heights as well as the mask of every cell between the row ends (three
// bytes a cell, against the mask pass's one), so the second peer reads the same bytes once:
// OpenCV's minimum and maximum of the heights under the mask, in one call. Both ratios are
// printed, with the bytes each pass reads per millisecond.
#include <RoVision/Geometry/BoundingBox.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cmath>
#include <cstdio>
#include <opencv2/core.hpp>
#include <random>

#include "BenchSupport.h"

namespace rv = Ro::Vision;

namespace {

constexpr int kSize = 4096;

struct Data {
  rv::Surface surface;
  Ty::Object<void*> mask;
  Data() {
    surface.scale = {0.01, 0.02, 0.001};
    surface.offset = {0, 0, 0};
    void* heights = nullptr;
    void* m = nullptr;
    zArray2_Construct(&heights, zTypeOf(z16s), kSize, kSize, nullptr);
    zArray2_Construct(&m, zTypeOf(z8u), kSize, kSize, nullptr);
    surface.layers.emplace_back(heights);
    mask.Reset(m, false);
    std::mt19937 random(4);
    std::uniform_int_distribution<int> percent(0, 99);
    for (int r = 0; r < kSize; ++r) {
      short* h = static_cast<short*>(zArray2_Row(heights, zSize(r)));
      unsigned char* k = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
      for (int c = 0; c < kSize; ++c) {
        h[c] = percent(random) < 3 ? short(-32768) : short((r - c) / 4);
        k[c] = std::hypot(r - 2048.0, c - 2048.0) < 1900 ? 255 : 0;
      }
    }
  }
};

const Data& Input() {
  static const Data data;
  return data;
}

void BM_GetBoundingBox(benchmark::State& state) {
  const Data& d = Input();
  for (auto _ : state) {
    rv::Region3d<double> box = rv::GetBoundingBox(d.surface, {0, 0, kSize, kSize}, d.mask.Get());
    benchmark::DoNotOptimize(box);
  }
}
BENCHMARK(BM_GetBoundingBox)->Unit(benchmark::kMillisecond)->UseRealTime();

// The heights and the mask of every cell, read once. (It does not leave out the null heights, so
// it does a little less work per cell than our pass.)
void BM_MaskedHeightPass(benchmark::State& state) {
  const Data& d = Input();
  const cv::Mat heights(kSize, kSize, CV_16S, zArray2_Data(d.surface.layers[0].Get()));
  const cv::Mat mask(kSize, kSize, CV_8U, zArray2_Data(d.mask.Get()));
  for (auto _ : state) {
    double low = 0, high = 0;
    cv::minMaxLoc(heights, &low, &high, nullptr, nullptr, mask);
    benchmark::DoNotOptimize(low);
    benchmark::DoNotOptimize(high);
  }
}
BENCHMARK(BM_MaskedHeightPass)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MaskPass(benchmark::State& state) {
  const Data& d = Input();
  const cv::Mat mask(kSize, kSize, CV_8U, zArray2_Data(d.mask.Get()));
  for (auto _ : state) {
    int count = cv::countNonZero(mask);
    benchmark::DoNotOptimize(count);
  }
}
BENCHMARK(BM_MaskPass)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // Make the data before any timing starts.
  Input();
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const double ours = reporter.RealTime("BM_GetBoundingBox"),
               pass = reporter.RealTime("BM_MaskPass");
  const double heightPass = reporter.RealTime("BM_MaskedHeightPass");
  constexpr double kCells = double(kSize) * kSize;
  if (ours > 0 && pass > 0) {
    std::printf(
        "GetBoundingBox 4096 x 4096: ours %.2f ms, one mask pass %.2f ms (%.1f GB/s), ours / pass "
        "= %.2f (target <= 2)\n",
        ours, pass, kCells / pass / 1e6, ours / pass);
  }
  if (ours > 0 && heightPass > 0) {
    std::printf(
        "GetBoundingBox 4096 x 4096: ours %.2f ms, one masked height pass %.2f ms (%.1f GB/s), "
        "ours / pass = %.2f\n",
        ours, heightPass, 3 * kCells / heightPass / 1e6, ours / heightPass);
  }
  benchmark::Shutdown();
  return 0;
}
