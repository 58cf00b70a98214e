// Masks of a rotated rectangle, an ellipse and a 12-corner polygon over a 4096 x 4096 height
// map, single-threaded and on the default pool, against one plain pass that writes every byte of
// a mask of the same size once (a loop the compiler turns into memset). Each region is rebuilt in
// place (UpdateInputParams), as a tool does for every scan, so its mask array is zeroed and
// reused: a fresh 16 MB array costs page faults (2 to 10 ms here, varying with the kernel's huge
// pages) that would hide the mask work. Zeroing the mask is one pass of its own, so a ratio of
// about 2 is the floor. Prints cells per second and mask / plain-pass ratios (best of 7 runs).
#include <RoVision/Common/MaskSurface.h>
#include <benchmark/benchmark.h>
#include <zApi/zApi.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr int kSize = 4096;

rv::Surface& Map() {
  static rv::Surface surface = [] {
    rv::Surface s;
    s.scale = {0.01, 0.01, 0.001};
    s.offset = {-20.48, -20.48, 0};
    void* heights = nullptr;
    zArray2_Construct(&heights, zTypeOf(z16s), kSize, kSize, nullptr);
    s.layers.emplace_back(heights);
    return s;
  }();
  return surface;
}

// One region per shape, kept across runs.
std::unique_ptr<rv::RoiSurface> MakeShape(int shape);
rv::RoiSurface& Shape(int shape) {
  static std::unique_ptr<rv::RoiSurface> shapes[3] = {MakeShape(0), MakeShape(1), MakeShape(2)};
  return *shapes[shape];
}

// Returns the region to its initial state with the same shape (the mask array stays held).
void Reset(rv::RoiSurface& roi) {
  if (auto* r = dynamic_cast<rv::RectangleRoiSurface*>(&roi)) {
    r->UpdateInputParams(Map(), r->GetShape(), nullptr);
  } else if (auto* p = dynamic_cast<rv::PolygonRoiSurface*>(&roi)) {
    const auto corners = p->GetShape();
    p->UpdateInputParams(Map(), corners, nullptr);
  } else if (auto* e = dynamic_cast<rv::EllipseRoiSurface*>(&roi)) {
    const auto sector = e->GetShape();
    e->UpdateInputParams(Map(), sector, nullptr);
  }
}

std::unique_ptr<rv::RoiSurface> MakeShape(int shape) {
  const rv::Surface& s = Map();
  if (shape == 0) {
    return std::make_unique<rv::RectangleRoiSurface>(s, rv::Region2d<double>{0.3, -0.2, 30, 22, 30},
                                                     nullptr);
  }
  if (shape == 1) {
    rv::EllipticalSector2d<double> e;
    e.center = {0.1, 0.2};
    e.outerWidth = 38;
    e.outerLength = 26;
    e.startAngle = 0;
    e.angleSpan = 360;
    e.angle = 20;
    return std::make_unique<rv::EllipseRoiSurface>(s, e, nullptr);
  }
  std::vector<rv::Point2d<double>> star;
  for (int i = 0; i < 12; ++i) {
    const double t = 2 * M_PI * i / 12 + 0.1, r = i % 2 ? 19.5 : 11;
    star.push_back({r * std::cos(t), r * std::sin(t)});
  }
  return std::make_unique<rv::PolygonRoiSurface>(s, star, nullptr);
}

void* SingleTaskPool() {
  static void* pool = [] {
    void* p = nullptr;
    zThreadPool_Construct(&p, 1, nullptr);
    return p;
  }();
  return pool;
}

void BuildMask(int shape, void* pool) {
  rv::RoiSurface& roi = Shape(shape);
  Reset(roi);
  roi.SetThreadPool(pool);
  benchmark::DoNotOptimize(roi.GetMask().Get());
}

void PlainPass(void* mask) {
  for (int r = 0; r < kSize; ++r) {
    unsigned char* row = static_cast<unsigned char*>(zArray2_Row(mask, r));
    for (int c = 0; c < kSize; ++c) row[c] = 1;
  }
  benchmark::ClobberMemory();
}

void* PlainMask() {
  static void* mask = [] {
    void* m = nullptr;
    zArray2_Construct(&m, zTypeOf(z8u), kSize, kSize, nullptr);
    return m;
  }();
  return mask;
}

void BM_Mask(benchmark::State& state) {
  const int shape = int(state.range(0));
  void* pool = state.range(1) ? nullptr : SingleTaskPool();
  for (auto _ : state) BuildMask(shape, pool);
  state.counters["cells/s"] =
      benchmark::Counter(double(kSize) * kSize, benchmark::Counter::kIsIterationInvariantRate);
  state.SetLabel(std::string(shape == 0   ? "rotated rectangle"
                             : shape == 1 ? "ellipse"
                                          : "polygon") +
                 (state.range(1) ? ", default pool" : ", 1 task"));
}
BENCHMARK(BM_Mask)->ArgsProduct({{0, 1, 2}, {0, 1}})->Unit(benchmark::kMillisecond);

void BM_PlainPass(benchmark::State& state) {
  void* mask = PlainMask();
  for (auto _ : state) PlainPass(mask);
  state.counters["cells/s"] =
      benchmark::Counter(double(kSize) * kSize, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_PlainPass)->Unit(benchmark::kMillisecond);

double BestSeconds(const std::function<void()>& f, int runs = 7) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    const auto t0 = std::chrono::steady_clock::now();
    f();
    best = std::min(best,
                    std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  const double plain = BestSeconds([] { PlainPass(PlainMask()); });
  std::printf("plain pass: %.2f ms (%.3g cells/s)\n", plain * 1e3, double(kSize) * kSize / plain);
  const char* names[] = {"rotated rectangle", "ellipse", "12-corner polygon"};
  const double limits[] = {4, 8, 4};
  for (int shape = 0; shape < 3; ++shape) {
    const double single = BestSeconds([&] { BuildMask(shape, SingleTaskPool()); });
    const double pooled = BestSeconds([&] { BuildMask(shape, nullptr); });
    std::printf(
        "%-18s 1 task %.2f ms, default pool %.2f ms, 1 task / plain pass = %.2f (limit %g)\n",
        names[shape], single * 1e3, pooled * 1e3, single / plain, limits[shape]);
  }
  benchmark::Shutdown();
  return 0;
}
