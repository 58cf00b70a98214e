// Surface arithmetic against OpenCV's saturating add of the same two 16-bit maps. OpenCV does
// no null handling, no offsets and no 32-bit pass, so the ratio shows what those cost.
#include <RoVision/Arithmetic/Arithmetics.h>
#include <benchmark/benchmark.h>
#include <zApi/zArray2.h>

#include <opencv2/core.hpp>
#include <random>

namespace rv = Ro::Vision;

namespace {

constexpr int kRows = 2048;
constexpr int kColumns = 2048;

rv::Surface RandomSurface(unsigned seed, double offsetZ) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> value(-8000, 8000);
  zArray2 heights = nullptr;
  zArray2_Construct(&heights, zTypeOf(z16s), kRows, kColumns, nullptr);
  short* data = static_cast<short*>(zArray2_Data(heights));
  for (int i = 0; i < kRows * kColumns; ++i) data[i] = i % 97 == 0 ? -32768 : short(value(rng));
  rv::Surface s;
  s.scale = {0.1, 0.1, 0.001};
  s.offset = {0, 0, offsetZ};
  s.layers.emplace_back(heights);
  return s;
}

void BM_ArithmeticsAdd(benchmark::State& state) {
  const rv::Surface a = RandomSurface(1, 0), b = RandomSurface(2, 2.5);
  rv::Arithmetics arithmetics;
  for (auto _ : state) {
    rv::Surface out;
    arithmetics.Apply(rv::ArithmeticOperator::Add, rv::ArithmeticLogic::And, a, b, out);
    benchmark::DoNotOptimize(out.layers[0].Get());
  }
}
BENCHMARK(BM_ArithmeticsAdd)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_OpenCvAdd16s(benchmark::State& state) {
  const rv::Surface a = RandomSurface(1, 0), b = RandomSurface(2, 2.5);
  const cv::Mat ma(kRows, kColumns, CV_16S, zArray2_Data(a.layers[0]));
  const cv::Mat mb(kRows, kColumns, CV_16S, zArray2_Data(b.layers[0]));
  for (auto _ : state) {
    cv::Mat out;
    cv::add(ma, mb, out);
    benchmark::DoNotOptimize(out.data);
  }
}
BENCHMARK(BM_OpenCvAdd16s)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
