// Image operations against their peers on a 2048 x 4096 z16s height map, single-threaded:
// ImageErode/ImageDilate against cv::erode/cv::dilate 3 x 3 BORDER_REPLICATE, ImageMedian against
// cv::medianBlur 3 on CV_16S, ImageBufferForSavePng against libpng (through cv::imencode) at
// compression level 0 without row filters. Every timing includes creating the output. The ratios
// (ours / peer, from the median CPU time: the machine is shared, wall time is noisier) are printed
// at the end.
#include <TyApi/TyApi.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cstdio>
#include <cstdlib>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

#include "RoVision/ImageProcessing/MedianBlur.h"
#include "RoVision/ImageProcessing/Morphology.h"
#include "RoVision/ImageProcessing/NeighbourhoodPrivate.h"
#include "RoVision/ImageProcessing/PngIo.h"

#include "BenchSupport.h"

namespace {

constexpr int kWidth = 2048;
constexpr int kHeight = 4096;

// A smooth height map with noise and about 5% nulls, built once.
struct HeightMap {
  Ty::Object<void*> image;
  cv::Mat view;
  HeightMap() {
    zImage handle = nullptr;
    zImage_Construct(&handle, zTypeOf(z16s), kWidth, kHeight, nullptr);
    image.Reset(handle);
    std::mt19937 random(42);
    std::uniform_int_distribution<int> noise(-200, 200);
    std::bernoulli_distribution isNull(0.05);
    for (int y = 0; y < kHeight; ++y) {
      auto* row = static_cast<z16s*>(zImage_Row(handle, y));
      for (int x = 0; x < kWidth; ++x) {
        row[x] = isNull(random)
                     ? z16s{-32768}
                     : static_cast<z16s>((x * 7 + y * 3) % 20000 - 10000 + noise(random));
      }
    }
    view = cv::Mat(kHeight, kWidth, CV_16S, zImage_Data(handle), zImage_Stride(handle));
  }
};

HeightMap& Map() {
  static HeightMap map;
  return map;
}

const cv::Mat kKernel = cv::getStructuringElement(cv::MORPH_RECT, {3, 3});

void BM_ImageErode(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Ro::Vision::ImageErode(Map().image).Get());
}
void BM_CvErode(benchmark::State& state) {
  for (auto _ : state) {
    cv::Mat out;
    cv::erode(Map().view, out, kKernel, {-1, -1}, 1, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}
void BM_ImageDilate(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Ro::Vision::ImageDilate(Map().image).Get());
}
void BM_CvDilate(benchmark::State& state) {
  for (auto _ : state) {
    cv::Mat out;
    cv::dilate(Map().view, out, kKernel, {-1, -1}, 1, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}
void BM_ImageMedian(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Ro::Vision::ImageMedian(Map().image).Get());
}
void BM_CvMedianBlur(benchmark::State& state) {
  for (auto _ : state) {
    cv::Mat out;
    cv::medianBlur(Map().view, out, 3);
    benchmark::DoNotOptimize(out.data);
  }
}
void BM_ImageBufferForSavePng(benchmark::State& state) {
  for (auto _ : state) {
    unsigned char* buffer = nullptr;
    size_t size = 0;
    Ro::Vision::ImageBufferForSavePng(Map().image, buffer, size);
    benchmark::DoNotOptimize(buffer);
    std::free(buffer);
  }
}
void BM_LibpngStored(benchmark::State& state) {
  // The same unsigned samples that the library writes.
  cv::Mat unsignedMap;
  Map().view.convertTo(unsignedMap, CV_16U, 1.0, 32768.0);
  const std::vector<int> params = {cv::IMWRITE_PNG_COMPRESSION, 0, cv::IMWRITE_PNG_STRATEGY,
                                   cv::IMWRITE_PNG_STRATEGY_DEFAULT};
  for (auto _ : state) {
    std::vector<unsigned char> out;
    cv::imencode(".png", unsignedMap, out, params);
    benchmark::DoNotOptimize(out.data());
  }
}

// The same work into outputs that already exist, to separate the filter from the first touch of a
// new image's pages (the platform maps every large image afresh; OpenCV's heap reuses its block).
void BM_ErodeRowsWarm(benchmark::State& state) {
  cv::Mat out(kHeight, kWidth, CV_16S);
  const cv::Mat& in = Map().view;
  for (auto _ : state) {
    for (int y = 0; y < kHeight; ++y) {
      Ro::Vision::image::ExtremeRowFast<Ro::Vision::image::MinOp>(
          in.ptr<z16s>(std::max(y - 1, 0)), in.ptr<z16s>(y),
          in.ptr<z16s>(std::min(y + 1, kHeight - 1)), out.ptr<z16s>(y), kWidth);
    }
    benchmark::DoNotOptimize(out.data);
  }
}
void BM_CvErodeWarm(benchmark::State& state) {
  cv::Mat out(kHeight, kWidth, CV_16S);
  for (auto _ : state) {
    cv::erode(Map().view, out, kKernel, {-1, -1}, 1, cv::BORDER_REPLICATE);
    benchmark::DoNotOptimize(out.data);
  }
}
void BM_ImageMedianToDestWarm(benchmark::State& state) {
  zImage dest = nullptr;
  zImage_Construct(&dest, zTypeOf(z16s), kWidth, kHeight, nullptr);
  Ty::Object<void*> holder(dest);
  for (auto _ : state)
    benchmark::DoNotOptimize(Ro::Vision::ImageMedianToDest(Map().image, dest, 0).Get());
}
void BM_CvMedianBlurWarm(benchmark::State& state) {
  cv::Mat out(kHeight, kWidth, CV_16S);
  for (auto _ : state) {
    cv::medianBlur(Map().view, out, 3);
    benchmark::DoNotOptimize(out.data);
  }
}

BENCHMARK(BM_ErodeRowsWarm)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_CvErodeWarm)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_ImageMedianToDestWarm)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly();
BENCHMARK(BM_CvMedianBlurWarm)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly();
BENCHMARK(BM_ImageErode)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_CvErode)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_ImageDilate)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_CvDilate)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_ImageMedian)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_CvMedianBlur)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();
BENCHMARK(BM_ImageBufferForSavePng)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly();
BENCHMARK(BM_LibpngStored)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly();

}  // namespace

int main(int argc, char** argv) {
  cv::setNumThreads(1);
  benchmark::Initialize(&argc, argv);
  robench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const std::pair<const char*, const char*> pairs[] = {
      {"BM_ImageErode", "BM_CvErode"},        {"BM_ImageDilate", "BM_CvDilate"},
      {"BM_ImageMedian", "BM_CvMedianBlur"},  {"BM_ImageBufferForSavePng", "BM_LibpngStored"},
      {"BM_ErodeRowsWarm", "BM_CvErodeWarm"}, {"BM_ImageMedianToDestWarm", "BM_CvMedianBlurWarm"}};
  for (const auto& [ours, peer] : pairs) reporter.PrintRatio(ours, peer);
  benchmark::Shutdown();
  return 0;
}
