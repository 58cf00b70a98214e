#include <RoVision/Filter/ProfileFilter.h>
#include <RoVision/Filter/ProfileGaussian.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>

#include "support/TestSupport.h"

namespace {

using Ro::Vision::ProfileFilter;
using Values = std::vector<short>;
constexpr short N = -32768;

Values Filtered(const Values& in, const std::function<void(ProfileFilter&)>& apply) {
  Values out(in.size(), 0);
  ProfileFilter filter(in.data(), in.size(), out.data(), nullptr);
  apply(filter);
  return out;
}

Values RandomValues(std::size_t n, double nullShare, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> value(-32767, 32767);
  std::bernoulli_distribution isNull(nullShare);
  Values v(n);
  for (auto& x : v) x = isNull(random) ? N : static_cast<short>(value(random));
  return v;
}

// The window's non-null values at each position, for the references below.
std::vector<short> Window(const Values& in, std::size_t o, std::size_t half) {
  std::vector<short> w;
  for (std::size_t i = o >= half ? o - half : 0; i <= o + half && i < in.size(); ++i) {
    if (in[i] != N) w.push_back(in[i]);
  }
  return w;
}

Values NaiveMedian(const Values& in, std::size_t window, bool keepNulls) {
  Values out(in.size());
  for (std::size_t o = 0; o < in.size(); ++o) {
    std::vector<short> w = Window(in, o, window / 2);
    std::sort(w.begin(), w.end());
    const std::size_t n = w.size();
    out[o] = n == 0 ? N : n % 2 ? w[n / 2] : static_cast<short>((w[n / 2 - 1] + w[n / 2]) / 2);
    if (keepNulls && in[o] == N) out[o] = N;
  }
  return out;
}

Values NaiveAverage(const Values& in, std::size_t window, bool keepNulls) {
  Values out(in.size());
  for (std::size_t o = 0; o < in.size(); ++o) {
    std::vector<short> w = Window(in, o, window / 2);
    long long sum = 0;
    for (short v : w) sum += v;
    out[o] = w.empty() ? N : static_cast<short>(sum / static_cast<long long>(w.size()));
    if (keepNulls && in[o] == N) out[o] = N;
  }
  return out;
}

TEST(ProfileFilterConversions, SigmaAndKernelSize) {
  struct Case {
    double sigma;
    int size;
  };
  for (const Case& c : std::vector<Case>{{0.8, 3}, {1.1, 5}, {0, -2}, {2.0, 11}, {-1, -9}}) {
    EXPECT_EQ(Ro::Vision::ConvertSigmaToKernelSize(c.sigma), c.size) << c.sigma;
  }
  EXPECT_EQ(Ro::Vision::ConvertSigmaToKernelSize(1e300), INT_MAX);
  EXPECT_EQ(Ro::Vision::ConvertSigmaToKernelSize(std::nan("")), 0);
  EXPECT_DOUBLE_EQ(Ro::Vision::ConvertKernelSizeToSigma(3), 0.8);
  EXPECT_DOUBLE_EQ(Ro::Vision::ConvertKernelSizeToSigma(1), 0.5);
  EXPECT_DOUBLE_EQ(Ro::Vision::ConvertKernelSizeToSigma(5), 1.1);
  EXPECT_DOUBLE_EQ(Ro::Vision::ConvertKernelSizeToSigma(INT_MIN),
                   0.3 * (-2147483649.0 * 0.5 - 1) + 0.8);
}

TEST(ProfileFilterAverageMedian, HandResults) {
  struct Case {
    const char* name;
    Values in;
    bool median;
    unsigned long long window;
    int keepNulls;
    Values expected;
  };
  const std::vector<Case> cases = {
      {"average fills a null", {10, N, 20}, false, 3, 0, {10, 15, 20}},
      {"average keeps a null", {10, N, 20}, false, 3, 1, {10, N, 20}},
      {"window cut at the ends", {2, 4, 9}, false, 3, 0, {3, 5, 6}},
      {"average truncates toward zero", {-3, 0, -4}, false, 3, 0, {-1, -2, -2}},
      {"median of an even count truncates", {-3, 0}, true, 3, 0, {-1, -1}},
      {"median skips nulls", {5, 1, 3, N, 2}, true, 3, 0, {3, 3, 2, 2, 2}},
      {"median keeps nulls", {5, 1, 3, N, 2}, true, 3, 1, {3, 3, 2, N, 2}},
      {"all null stays null (average)", {N, N, N}, false, 5, 0, {N, N, N}},
      {"all null stays null (median)", {N, N, N}, true, 5, 0, {N, N, N}},
  };
  for (const Case& c : cases) {
    const Values out = Filtered(c.in, [&](ProfileFilter& f) {
      c.median ? f.Median(c.window, c.keepNulls) : f.Average(c.window, c.keepNulls);
    });
    EXPECT_EQ(out, c.expected) << c.name;
  }
}

TEST(ProfileFilterAverageMedian, MatchReferencesOnRandomProfiles) {
  for (std::size_t window : {3u, 5u, 9u, 31u, 201u}) {
    const Values in = RandomValues(150, 0.2, static_cast<unsigned>(window));
    for (int keep : {0, 1}) {
      EXPECT_EQ(Filtered(in, [&](ProfileFilter& f) { f.Average(window, keep); }),
                NaiveAverage(in, window, keep != 0))
          << window;
      EXPECT_EQ(Filtered(in, [&](ProfileFilter& f) { f.Median(window, keep); }),
                NaiveMedian(in, window, keep != 0))
          << window;
    }
  }
}

TEST(ProfileFilterGaussian, WeightsDropAndRenormalise) {
  // Window 3, sigma 0.8: side weight exp(-1 / (2 * 0.64)) against 1 in the centre.
  const double side = std::exp(-1 / (2 * 0.64));
  const double centre = 1 / (1 + 2 * side);
  const auto round = [](double v) { return static_cast<short>(v >= 0 ? v + 0.5 : v - 0.5); };
  const Values out = Filtered({0, 100, 0, N, 40}, [](ProfileFilter& f) { f.Gaussian(3, 0.8, 0); });
  const Values expected = {round(100 * side / (1 + side)),  // the slot before the run is dropped
                           round(100 * centre),             // full window
                           round(100 * side / (1 + side)),  // the null slot is dropped
                           round((0 + 40) * 0.5),           // only the two side slots are left
                           40};  // cut at the end, the null neighbour dropped: the centre alone
  EXPECT_EQ(out, expected);
  EXPECT_EQ(Filtered({0, 100, 0, N, 40}, [](ProfileFilter& f) { f.Gaussian(3, 0.8, 1); })[3], N);
  // sigma <= 0 takes the sigma of the window: 0.8 for 3.
  EXPECT_EQ(Filtered({0, 100, 0, N, 40}, [](ProfileFilter& f) { f.Gaussian(3, 0, 0); }), expected);
  EXPECT_EQ(Filtered({N, N}, [](ProfileFilter& f) { f.Gaussian(5, 1, 0); }), (Values{N, N}));
}

TEST(ProfileFilterGaussian, RoundsHalfAwayFromZero) {
  // A huge sigma weighs every slot equally: the first position sees two values, 0.5 each.
  EXPECT_EQ(Filtered({-1, -4}, [](ProfileFilter& f) { f.Gaussian(3, 1e300, 0); }),
            (Values{-3, -3}));
  EXPECT_EQ(Filtered({1, 4}, [](ProfileFilter& f) { f.Gaussian(3, 1e300, 0); }), (Values{3, 3}));
}

TEST(ProfileFilterFillGap, HandResults) {
  struct Case {
    const char* name;
    Values in;
    unsigned long long maxGap;
    int maxSlope;
    int fillHigh;
    Values expected;
  };
  const std::vector<Case> cases = {
      {"slope at the limit interpolates", {0, N, N, 6}, 5, 2, 0, {0, 2, 4, 6}},
      {"steep rise fills low", {0, N, N, 7}, 5, 2, 0, {0, 0, 0, 7}},
      {"steep rise fills high", {0, N, N, 7}, 5, 2, 1, {0, 7, 7, 7}},
      {"steep drop fills low", {7, N, N, 0}, 5, 2, 0, {7, 0, 0, 0}},
      {"steep drop fills high", {7, N, N, 0}, 5, 2, 1, {7, 7, 7, 0}},
      {"drop at the limit interpolates", {6, N, N, 0}, 5, 2, 1, {6, 4, 2, 0}},
      {"division truncates toward zero", {0, N, N, -4}, 5, 2, 0, {0, -1, -2, -4}},
      {"edges maxGap apart are filled", {0, N, N, 6}, 3, 2, 0, {0, 2, 4, 6}},
      {"edges further apart are not", {0, N, N, 6}, 2, 2, 0, {0, N, N, 6}},
      {"leading and trailing nulls stay", {N, 1, N, 3, N}, 5, 9, 0, {N, 1, 2, 3, N}},
      {"all null stays null", {N, N, N}, 5, 9, 0, {N, N, N}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(
        Filtered(c.in, [&](ProfileFilter& f) { f.FillGap(c.maxGap, c.maxSlope, c.fillHigh); }),
        c.expected)
        << c.name;
  }
}

TEST(ProfileFilterState, ShortWindowsCopyOnlyOnAFreshObject) {
  const Values in = {1, N, 3};
  for (int which = 0; which < 3; ++which) {
    Values out = {9, 9, 9};
    ProfileFilter filter(in.data(), in.size(), out.data(), nullptr);
    if (which == 0) filter.Average(1, 0);
    if (which == 1) filter.FillGap(1, 5, 0);
    if (which == 2) filter.FillGap(0, 5, 0);
    EXPECT_EQ(out, in) << "a fresh object copies";
    out = {9, 9, 9};
    filter.Median(1, 0);
    EXPECT_EQ(out, in) << "still fresh: copies again";
    filter.Average(3, 0);
    out[1] = 7;
    filter.Average(1, 0).FillGap(1, 5, 0);
    EXPECT_EQ(out[1], 7) << "an applied object is left as it is";
  }
}

TEST(ProfileFilterState, ChainingFiltersThePreviousResult) {
  const Values in = RandomValues(60, 0.2, 11);
  Values out(in.size());
  ProfileFilter filter(in.data(), in.size(), out.data(), nullptr);
  filter.Average(3, 0).Median(3, 0).FillGap(4, 100, 0);
  const Values expected = Filtered(NaiveMedian(NaiveAverage(in, 3, false), 3, false),
                                   [](ProfileFilter& f) { f.FillGap(4, 100, 0); });
  EXPECT_EQ(out, expected);
}

class ProfileFilterOverlap : public rotest::LeakCheckedTest {};

TEST_F(ProfileFilterOverlap, SharedBuffersFilterAsSeparateOnesAndCloneOnlyWhenNeeded) {
  constexpr std::size_t kCount = 20;
  constexpr long long kHalf = 2;  // window 5
  const Values profile = RandomValues(kCount, 0.2, 5);
  const Values expected = NaiveAverage(profile, 5, false);
  const Values expectedMedian = NaiveMedian(profile, 5, false);
  for (long long d = -20; d <= 20; ++d) {  // from just before to just after the input
    for (int which = 0; which < 3; ++which) {
      Values buffer(3 * kCount, 0);
      short* input = buffer.data() + kCount;
      std::copy(profile.begin(), profile.end(), input);
      short* output = input + d;
      const zSize before = alloc_.Allocations();
      {
        ProfileFilter filter(input, kCount, output, alloc_);
        if (which == 0) filter.Average(5, 0);
        if (which == 1) filter.Median(5, 0);
        if (which == 2) filter.FillGap(6, 100, 1);
      }
      const Values got(output, output + kCount);
      const bool cloned = alloc_.Allocations() != before;
      if (which == 2) {
        // FillGap works in place on the very same buffer and copies only for a shifted overlap.
        EXPECT_EQ(got, Filtered(profile, [](ProfileFilter& f) { f.FillGap(6, 100, 1); })) << d;
        EXPECT_EQ(cloned, d != 0 && std::llabs(d) < static_cast<long long>(kCount)) << d;
        continue;
      }
      EXPECT_EQ(got, which == 0 ? expected : expectedMedian) << "d = " << d;
      const bool mustClone =
          (d >= 0 && d < static_cast<long long>(kCount)) || (d < 0 && d > -(kHalf + 1));
      EXPECT_EQ(cloned, mustClone) << "d = " << d;
    }
  }
}

TEST_F(ProfileFilterOverlap, FailingCloneRaisesThePlatformStatus) {
  const Values in = RandomValues(30, 0.1, 2);
  Values out(in.size());
  const zSize made = rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    ProfileFilter filter(in.data(), in.size(), out.data(), alloc_);
    filter.Average(3, 0).Gaussian(5, 1.0, 0).Median(3, 1);
  });
  EXPECT_GE(made, 1u);  // the clone of the chained input, resized and reused afterwards
}

TEST(ProfileFilterErrors, StatusesLinesAndNames) {
  Values v = {1, 2, 3};
  struct Case {
    const char* name;
    std::function<void()> action;
    zStatus status;
    int line;
    const char* function;
  };
  const char* kCheck = "Ro::Vision::ProfileFilter::Impl::CheckConditions";
  const char* kCtor = "Ro::Vision::ProfileFilter::ProfileFilter";
  const std::vector<Case> cases = {
      {"null input", [&] { ProfileFilter(nullptr, 3, v.data(), nullptr); }, -997, 1427, kCtor},
      {"zero count", [&] { ProfileFilter(v.data(), 0, v.data(), nullptr); }, -997, 1427, kCtor},
      {"null output", [&] { ProfileFilter(v.data(), 3, nullptr, nullptr); }, -997, 1427, kCtor},
      {"even median", [&] { ProfileFilter(v.data(), 3, v.data(), nullptr).Median(4, 0); }, -997,
       342, kCheck},
      {"even average", [&] { ProfileFilter(v.data(), 3, v.data(), nullptr).Average(2, 0); }, -997,
       342, kCheck},
      {"window 0 is even", [&] { ProfileFilter(v.data(), 3, v.data(), nullptr).Gaussian(0, 1, 0); },
       -997, 342, kCheck},
      {"NaN sigma",
       [&] { ProfileFilter(v.data(), 3, v.data(), nullptr).Gaussian(3, std::nan(""), 0); }, -988,
       300, "Ro::Vision::GaussianKernel::Normalize"},
  };
  for (const Case& c : cases) {
    auto caught = rotest::CatchTy(c.action);
    ASSERT_TRUE(caught.has_value()) << c.name;
    EXPECT_EQ(caught->Status(), c.status) << c.name;
    EXPECT_EQ(caught->Line(), c.line) << c.name;
    EXPECT_EQ(caught->File(), "Filter/Filter") << c.name;
    EXPECT_EQ(caught->Function(), c.function) << c.name;
  }
  EXPECT_EQ(v, (Values{1, 2, 3})) << "a refused filter writes nothing";
}

class ProfileGaussianTest : public rotest::LeakCheckedTest {
 protected:
  template <class T>
  Ty::Object<void*> Array(zType type, const std::vector<T>& values) {
    zArray1 array = nullptr;
    EXPECT_EQ(zArray1_Construct(&array, type, values.size(), alloc_), zOK);
    std::copy(values.begin(), values.end(), static_cast<T*>(zArray1_Data(array)));
    return Ty::Object<void*>(array);
  }
  template <class T>
  static std::vector<T> Read(void* array) {
    const T* data = static_cast<const T*>(zArray1_Data(array));
    return std::vector<T>(data, data + zArray1_Length(array));
  }
};

TEST_F(ProfileGaussianTest, SmoothsHeightsAndIntensitiesWithTheHeightsWeights) {
  const Values heights = {0, 100, 0, N, 40};
  Ty::Object<void*> ranges = Array<short>(zTypeOf(z16s), heights);
  Ty::Object<void*> intensities =
      Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{10, 20, 30, 250, 40});
  for (int keep : {0, 1}) {
    Ty::Object<void*> outRanges;
    Ty::Object<void*> outIntensities;
    Ro::Vision::ProfileGaussian(ranges, intensities, nullptr, 0.8, outRanges.Address(),
                                outIntensities.Address(), nullptr, keep, alloc_);
    // sigma 0.8 gives window 3: the same heights as the filter object.
    EXPECT_EQ(Read<short>(outRanges),
              Filtered(heights, [&](ProfileFilter& f) { f.Gaussian(3, 0.8, keep); }));
    const double side = std::exp(-1 / (2 * 0.64));
    const double centre = 1 / (1 + 2 * side);
    const auto intensity = [](double v) { return static_cast<unsigned char>(v + 0.5); };
    const std::vector<unsigned char> expected = {
        intensity((10 + 20 * side) / (1 + side)), intensity((10 * side + 20 + 30 * side) * centre),
        intensity((20 * side + 30) / (1 + side)),  // the null height's slot is dropped
        keep ? static_cast<unsigned char>(255) : intensity((30 + 40) * 0.5), intensity(40)};
    EXPECT_EQ(Read<unsigned char>(outIntensities), expected) << keep;
  }
}

TEST_F(ProfileGaussianTest, AllNullGivesNullHeightsAndIntensity255) {
  Ty::Object<void*> ranges = Array<short>(zTypeOf(z16s), Values{N, N});
  Ty::Object<void*> intensities =
      Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{3, 4});
  Ty::Object<void*> outRanges;
  Ty::Object<void*> outIntensities;
  Ro::Vision::ProfileGaussian(ranges, intensities, nullptr, 1.0, outRanges.Address(),
                              outIntensities.Address(), nullptr, 0, alloc_);
  EXPECT_EQ(Read<short>(outRanges), (Values{N, N}));
  EXPECT_EQ(Read<unsigned char>(outIntensities), (std::vector<unsigned char>{255, 255}));
}

TEST_F(ProfileGaussianTest, SmallSigmaCopiesAndPreviousOutputsAreReleased) {
  Ty::Object<void*> ranges = Array<short>(zTypeOf(z16s), Values{5, N, 7});
  Ty::Object<void*> intensities =
      Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{1, 2, 3});
  // Earlier results held by the caller are released when the new ones arrive.
  Ty::Object<void*> outRanges = Array<short>(zTypeOf(z16s), Values{0});
  Ty::Object<void*> outIntensities =
      Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{0});
  Ro::Vision::ProfileGaussian(ranges, intensities, nullptr, 0, outRanges.Address(),
                              outIntensities.Address(), nullptr, 0, alloc_);
  EXPECT_NE(outRanges.Get(), ranges.Get());
  EXPECT_EQ(Read<short>(outRanges), (Values{5, N, 7}));
  EXPECT_EQ(Read<unsigned char>(outIntensities), (std::vector<unsigned char>{1, 2, 3}));
}

TEST_F(ProfileGaussianTest, RefusesBadArguments) {
  const char* kName = "Ro::Vision::ProfileGaussian";
  Ty::Object<void*> ranges = Array<short>(zTypeOf(z16s), Values{1, 2, 3});
  Ty::Object<void*> bytes = Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{1, 2, 3});
  Ty::Object<void*> shortBytes = Array<unsigned char>(zTypeOf(z8u), std::vector<unsigned char>{1});
  void* out = nullptr;
  void* outIntensities = nullptr;
  struct Case {
    void* ranges;
    void* intensities;
    double sigma;
    void** out;
    zStatus status;
    int line;
  };
  const std::vector<Case> cases = {
      {nullptr, nullptr, 1, &out, -997, 1761},
      {ranges, nullptr, -0.1, &out, -997, 1761},
      {ranges, nullptr, std::nan(""), &out, -997, 1761},
      {ranges, nullptr, 1, nullptr, -997, 1761},
      {bytes, nullptr, 1, &out, -996, 1762},
      {ranges, ranges, 1, &out, -996, 1762},
      {ranges, shortBytes, 1, &out, -984, 0},
  };
  for (const Case& c : cases) {
    auto caught = rotest::CatchTy([&] {
      Ro::Vision::ProfileGaussian(c.ranges, c.intensities, nullptr, c.sigma, c.out, &outIntensities,
                                  nullptr, 0, alloc_);
    });
    ASSERT_TRUE(caught.has_value());
    EXPECT_EQ(caught->Status(), c.status) << caught->what();
    if (c.line) {
      EXPECT_EQ(caught->Line(), c.line) << caught->what();
    }
    EXPECT_EQ(caught->Function(), kName);
  }
  EXPECT_EQ(out, nullptr);
}

TEST_F(ProfileGaussianTest, FailingAllocationsRaiseThePlatformStatus) {
  // Inputs from the default allocator: only the function's own arrays are counted.
  zArray1 ranges = nullptr;
  zArray1 intensities = nullptr;
  ASSERT_EQ(zArray1_Construct(&ranges, zTypeOf(z16s), 50, nullptr), zOK);
  ASSERT_EQ(zArray1_Construct(&intensities, zTypeOf(z8u), 50, nullptr), zOK);
  Ty::Object<void*> holdRanges(ranges);
  Ty::Object<void*> holdIntensities(intensities);
  for (double sigma : {0.0, 2.0}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
      Ty::Object<void*> outRanges;
      Ty::Object<void*> outIntensities;
      Ro::Vision::ProfileGaussian(ranges, intensities, nullptr, sigma, outRanges.Address(),
                                  outIntensities.Address(), nullptr, 1, alloc_);
    });
  }
}

}  // namespace
