// SurfaceFilter::Average against OpenCV's box filter on the same 16-bit height map, single
// threaded. Prints the time ratio of the 15 x 15 average to cv::blur 15 x 15 (target: at most 2)
// and of the 31 x 31 average to the 3 x 3 one (target: about 1, the time must not grow with the
// window).
#include <RoVision/Filter/SurfaceFilter.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cstdio>
#include <map>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>

namespace {

constexpr int kRows = 2048;
constexpr int kColumns = 4096;
constexpr double kNullShare = 0.05;

// One height map for every benchmark: smooth terrain plus noise, 5% nulls.
const Ty::Object<void*>& HeightMap() {
  static const Ty::Object<void*> map = [] {
    zArray2 array = nullptr;
    zArray2_Construct(&array, zTypeOf(z16s), kRows, kColumns, nullptr);
    std::mt19937 random(42);
    std::uniform_int_distribution<int> noise(-200, 200);
    std::bernoulli_distribution isNull(kNullShare);
    for (int r = 0; r < kRows; ++r) {
      short* row = static_cast<short*>(zArray2_Row(array, r));
      for (int c = 0; c < kColumns; ++c) {
        row[c] = isNull(random) ? short(-32768)
                                : static_cast<short>((r + 2 * c) % 20000 + noise(random));
      }
    }
    return Ty::Object<void*>(array);
  }();
  return map;
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

// Keeps each run's time per iteration to print the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
        std::string name = run.benchmark_name();
        const auto slash = name.find("_median");
        if (slash != std::string::npos) name.erase(slash);
        realTimes[name] = run.GetAdjustedRealTime();
        cpuTimes[name] = run.GetAdjustedCPUTime();
      }
    }
  }
  std::map<std::string, double> realTimes;
  std::map<std::string, double> cpuTimes;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  // The machine is shared: CPU time is the steadier measure when other work takes turns with
  // the benchmark, so both are printed.
  auto ratio = [&](const char* a, const char* b) {
    auto& real = reporter.realTimes;
    auto& cpu = reporter.cpuTimes;
    if (!real.count(a) || !real.count(b)) return;
    std::printf("%s / %s = %.2f (CPU time), %.2f (real time)\n", a, b, cpu[a] / cpu[b],
                real[a] / real[b]);
  };
  ratio("BM_SurfaceAverage/15", "BM_CvBlur/15");
  ratio("BM_SurfaceAverage/31", "BM_SurfaceAverage/3");
  ratio("BM_SurfaceAverage/3", "BM_CvBlur/3");
  ratio("BM_SurfaceAverage/31", "BM_CvBlur/31");
  benchmark::Shutdown();
  return 0;
}
