// MatTemplated against the bare imaging-library calls on a 2048 x 4096 height map, and the
// 16-bit watershed against the imaging library's 8-bit colour watershed. Each bare call makes a
// new output as the wrapper does. Prints the ratio wrapper / bare at the end.
#include <RoVision/Common/Mat.h>
#include <RoVision/Common/MatOpenCV.h>
#include <RoVision/ImageProcessing/Watershed.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <random>

#include "BenchSupport.h"

namespace rv = Ro::Vision;

namespace {

constexpr int kRows = 2048, kCols = 4096;

// A smooth surface with noise; with nulls, 2% of cells in small holes.
rv::Mat16s MakeMap(bool withNulls) {
  auto m = rv::Mat16s::Create(kRows, kCols);
  std::mt19937 rng(1);
  std::uniform_int_distribution<int> noise(-20, 20);
  for (int y = 0; y < kRows; ++y) {
    for (int x = 0; x < kCols; ++x) {
      m.Row(y)[x] = z16s(3000 * std::sin(x * 0.01) * std::cos(y * 0.013) + noise(rng));
    }
  }
  if (withNulls) {
    std::uniform_int_distribution<int> px(0, kCols - 4), py(0, kRows - 4);
    for (int i = 0; i < kRows * kCols / 50 / 9; ++i) {
      const int x = px(rng), y = py(rng);
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k) m.Row(y + j)[x + k] = -32768;
    }
  }
  return m;
}

const rv::Mat16s& Map(bool withNulls) {
  static const rv::Mat16s clean = MakeMap(false), holes = MakeMap(true);
  return withNulls ? holes : clean;
}

void BM_Bare_Erode5x5(benchmark::State& state) {
  const cv::Mat src = rv::AsCvMat(Map(false));
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {5, 5});
  for (auto _ : state) {
    cv::Mat dst;
    cv::erode(src, dst, element);
    benchmark::DoNotOptimize(dst.data);
  }
}
// The same bare call writing into a new output made with the platform's allocator, as the
// wrapper's contract requires: the difference to BM_Bare_Erode5x5 is the first touch of fresh
// memory (the bare call's malloc reuses its freed block), not the wrapper.
void BM_BarePlatformOutput_Erode5x5(benchmark::State& state) {
  const cv::Mat src = rv::AsCvMat(Map(false));
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {5, 5});
  for (auto _ : state) {
    auto out = rv::Mat16s::Create(kRows, kCols);
    cv::Mat dst = rv::AsCvMat(out);
    cv::erode(src, dst, element);
    benchmark::DoNotOptimize(dst.data);
  }
}
void BM_BarePlatformOutput_Threshold(benchmark::State& state) {
  const cv::Mat src = rv::AsCvMat(Map(false));
  for (auto _ : state) {
    auto out = rv::Mat16s::Create(kRows, kCols);
    cv::Mat dst = rv::AsCvMat(out);
    cv::threshold(src, dst, 100, 1000, cv::THRESH_BINARY);
    benchmark::DoNotOptimize(dst.data);
  }
}
void BM_Mat_Erode5x5(benchmark::State& state) {
  const rv::Mat16s& src = Map(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(src.Erode(rv::MorphShape::Rectangle, 5, 5).Row(0));
}
void BM_Bare_Open5x5(benchmark::State& state) {
  const cv::Mat src = rv::AsCvMat(Map(false));
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {5, 5});
  for (auto _ : state) {
    cv::Mat dst;
    cv::morphologyEx(src, dst, cv::MORPH_OPEN, element);
    benchmark::DoNotOptimize(dst.data);
  }
}
void BM_Mat_Open5x5(benchmark::State& state) {
  const rv::Mat16s& src = Map(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(src.Open(rv::MorphShape::Rectangle, 5, 5).Row(0));
}
void BM_Bare_Threshold(benchmark::State& state) {
  const cv::Mat src = rv::AsCvMat(Map(false));
  for (auto _ : state) {
    cv::Mat dst;
    cv::threshold(src, dst, 100, 1000, cv::THRESH_BINARY);
    benchmark::DoNotOptimize(dst.data);
  }
}
void BM_Mat_Threshold(benchmark::State& state) {
  const rv::Mat16s& src = Map(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(src.Threshold(100, 1000, rv::ThresholdType::Binary).Row(0));
}
void BM_Mat_ThresholdOtsu(benchmark::State& state) {
  const rv::Mat16s& src = Map(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(src.ThresholdOtsu(1000, rv::ThresholdType::Binary).Row(0));
}

// The peer of the watershed: the 8-bit colour rendering and the same markers.
struct WatershedInput {
  Ty::Object<void*> heights, markers;
  cv::Mat colour, cvMarkers;
};
const WatershedInput& Watershed() {
  static const WatershedInput input = [] {
    WatershedInput in;
    const rv::Mat16s& map = Map(false);
    in.heights = map.ToImage();
    zImage_Construct(in.markers.Address(), zTypeOf(z32s), kCols, kRows, nullptr);
    in.cvMarkers = cv::Mat(kRows, kCols, CV_32S, cv::Scalar(0));
    int label = 0;
    // One marker at the lowest cell of each 256 x 256 tile.
    for (int ty = 0; ty < kRows; ty += 256) {
      for (int tx = 0; tx < kCols; tx += 256) {
        cv::Point where;
        cv::minMaxLoc(rv::AsCvMat(map)(cv::Rect(tx, ty, 256, 256)), nullptr, nullptr, &where);
        ++label;
        static_cast<z32s*>(zImage_Row(in.markers, zSize(ty + where.y)))[tx + where.x] = label;
        in.cvMarkers.at<int>(ty + where.y, tx + where.x) = label;
      }
    }
    cv::Mat gray;
    rv::AsCvMat(map).convertTo(gray, CV_8U, 255.0 / 6200, 3100 * 255.0 / 6200);
    cv::cvtColor(gray, in.colour, cv::COLOR_GRAY2BGR);
    return in;
  }();
  return input;
}

void BM_Bare_Watershed8u(benchmark::State& state) {
  const WatershedInput& in = Watershed();
  for (auto _ : state) {
    cv::Mat markers = in.cvMarkers.clone();
    cv::watershed(in.colour, markers);
    benchmark::DoNotOptimize(markers.data);
  }
}
void BM_Mat_Watershed16s(benchmark::State& state) {
  const WatershedInput& in = Watershed();
  rv::WatershedOptions options;
  options.lines = true;
  for (auto _ : state) {
    auto labels = rv::ImageWatershedSegmentation(in.heights, in.markers, options, nullptr);
    benchmark::DoNotOptimize(labels.Get());
  }
}

BENCHMARK(BM_Bare_Erode5x5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BarePlatformOutput_Erode5x5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BarePlatformOutput_Threshold)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mat_Erode5x5)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Bare_Open5x5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mat_Open5x5)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Bare_Threshold)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mat_Threshold)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mat_ThresholdOtsu)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Bare_Watershed8u)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mat_Watershed16s)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const std::pair<const char*, const char*> pairs[] = {
      {"BM_Mat_Erode5x5/0", "BM_Bare_Erode5x5"},
      {"BM_Mat_Erode5x5/1", "BM_Bare_Erode5x5"},
      {"BM_Mat_Erode5x5/0", "BM_BarePlatformOutput_Erode5x5"},
      {"BM_Mat_Erode5x5/1", "BM_BarePlatformOutput_Erode5x5"},
      {"BM_Mat_Open5x5/0", "BM_Bare_Open5x5"},
      {"BM_Mat_Open5x5/1", "BM_Bare_Open5x5"},
      {"BM_Mat_Threshold/0", "BM_Bare_Threshold"},
      {"BM_Mat_Threshold/1", "BM_Bare_Threshold"},
      {"BM_Mat_Threshold/0", "BM_BarePlatformOutput_Threshold"},
      {"BM_Mat_Threshold/1", "BM_BarePlatformOutput_Threshold"},
      {"BM_Mat_ThresholdOtsu/1", "BM_BarePlatformOutput_Threshold"},
      {"BM_Mat_Watershed16s", "BM_Bare_Watershed8u"}};
  for (const auto& [ours, peer] : pairs) reporter.PrintRatio(ours, peer);
  benchmark::Shutdown();
  return 0;
}
