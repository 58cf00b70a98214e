// Shared by the benchmark programs: a console reporter that keeps each benchmark's time, so that
// main can print the ratios of ours to the peer once every run is done.
#ifndef ROVISION_BENCH_BENCHSUPPORT_H
#define ROVISION_BENCH_BENCHSUPPORT_H

#include <TyApi/TyObject.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace robench {

// The height map of the filter benchmarks: 2048 x 4096 z16s, smooth terrain plus noise, 5% nulls.
constexpr int kTerrainRows = 2048;
constexpr int kTerrainColumns = 4096;

inline const Ty::Object<void*>& TerrainHeightMap() {
  static const Ty::Object<void*> map = [] {
    zArray2 array = nullptr;
    zArray2_Construct(&array, zTypeOf(z16s), kTerrainRows, kTerrainColumns, nullptr);
    std::mt19937 random(42);
    std::uniform_int_distribution<int> noise(-200, 200);
    std::bernoulli_distribution isNull(0.05);
    for (int r = 0; r < kTerrainRows; ++r) {
      short* row = static_cast<short*>(zArray2_Row(array, r));
      for (int c = 0; c < kTerrainColumns; ++c) {
        row[c] = isNull(random) ? short(-32768)
                                : static_cast<short>((r + 2 * c) % 20000 + noise(random));
      }
    }
    return Ty::Object<void*>(array);
  }();
  return map;
}

// Times per iteration by benchmark name ("BM_Name" or "BM_Name/arg"): of the single run, or, run
// with --benchmark_repetitions, the median of the repetitions (steadier on a shared machine).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (!single && !median) continue;
      const std::string name =
          run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
      times_[name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
    }
  }

  // In the benchmark's own time unit; 0 when it did not run (filtered out).
  double RealTime(const std::string& name) const { return Find(name).real; }
  double CpuTime(const std::string& name) const { return Find(name).cpu; }

  // "label: ours / peer = r (real time), r (CPU time)", with the target when there is one. CPU
  // time is the steadier measure for single-threaded work while other work takes turns on the
  // machine; real time is the one that counts for work spread over threads.
  void PrintRatio(const std::string& ours, const std::string& peer, const char* label = nullptr,
                  double target = 0) const {
    const Times a = Find(ours), b = Find(peer);
    if (a.real <= 0 || b.real <= 0) return;
    std::printf("%s%s%s / %s = %.2f (real time), %.2f (CPU time)", label ? label : "",
                label ? ": " : "", ours.c_str(), peer.c_str(), a.real / b.real, a.cpu / b.cpu);
    if (target > 0) std::printf(", target <= %g", target);
    std::printf("\n");
  }

 private:
  struct Times {
    double real = 0, cpu = 0;
  };
  Times Find(const std::string& name) const {
    const auto it = times_.find(name);
    return it == times_.end() ? Times{} : it->second;
  }
  std::map<std::string, Times> times_;
};

}  // namespace robench

#endif
