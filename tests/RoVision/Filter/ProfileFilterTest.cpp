#include <RoVision/Filter/ProfileFilter.h>
#include <RoVision/Filter/ProfileGaussian.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "FilterTestSupport.h"

namespace {

using filtertest::N;
using Ro::Vision::ProfileFilter;
using Values = std::vector<short>;
using Levels = std::vector<unsigned char>;
using Apply = std::function<void(ProfileFilter&)>;

Values Filtered(const Values& in, const Apply& apply) {
  Values out(in.size(), 0);
  ProfileFilter filter(in.data(), in.size(), out.data(), nullptr);
  apply(filter);
  return out;
}
Apply Avg(unsigned long long w, int keep) {
  return [=](ProfileFilter& f) { f.Average(w, keep); };
}
Apply Med(unsigned long long w, int keep) {
  return [=](ProfileFilter& f) { f.Median(w, keep); };
}
Apply Gauss(unsigned long long w, double sigma, int keep) {
  return [=](ProfileFilter& f) { f.Gaussian(w, sigma, keep); };
}
Apply Fill(unsigned long long gap, int slope, int high) {
  return [=](ProfileFilter& f) { f.FillGap(gap, slope, high); };
}

Values RandomValues(std::size_t n, double nullShare, unsigned seed) {
  return filtertest::RandomGrid(1, n, nullShare, seed)[0];
}

// The mean (truncated toward zero) or the median of the window's non-null values at each position.
Values Naive(const Values& in, std::size_t window, bool keepNulls, bool median) {
  Values out(in.size());
  for (std::size_t o = 0, half = window / 2; o < in.size(); ++o) {
    std::vector<short> w;
    for (std::size_t i = o >= half ? o - half : 0; i <= o + half && i < in.size(); ++i) {
      if (in[i] != N) w.push_back(in[i]);
    }
    std::sort(w.begin(), w.end());
    long long sum = 0;
    for (short v : w) sum += v;
    const std::size_t n = w.size();
    if (median) sum = n % 2 ? 2 * w[n / 2] : n ? w[n / 2 - 1] + w[n / 2] : 0;
    out[o] = n == 0 || (keepNulls && in[o] == N) ? N : short(sum / (median ? 2 : (long long)n));
  }
  return out;
}
Values NaiveAverage(const Values& in, std::size_t w, bool keep) {
  return Naive(in, w, keep, false);
}
Values NaiveMedian(const Values& in, std::size_t w, bool keep) {
  return Naive(in, w, keep, true);
}

// Window 3, sigma 0.8: side weight exp(-1 / (2 * 0.64)) against 1 in the centre.
const double kSide = std::exp(-1 / (2 * 0.64));
const double kCentre = 1 / (1 + 2 * kSide);
// Gaussian(3, 0.8) of {0, 100, 0, N, 40}: the slot before the run dropped, the full window, the
// null slot dropped, only the two side slots left, and at the end the centre alone.
const Values kPeak = {0, 100, 0, N, 40};
const short kRim = static_cast<short>(100 * kSide / (1 + kSide) + 0.5);
const Values kGaussianOfPeak = {kRim, static_cast<short>(100 * kCentre + 0.5), kRim, 20, 40};

TEST(ProfileFilterConversions, SigmaAndKernelSize) {
  for (auto [sigma, size] : std::vector<std::pair<double, int>>{
           {0.8, 3}, {1.1, 5}, {0, -2}, {2.0, 11}, {-1, -9}, {1e300, INT_MAX}, {NAN, 0}}) {
    EXPECT_EQ(Ro::Vision::ConvertSigmaToKernelSize(sigma), size) << sigma;
  }
  for (auto [size, sigma] : std::vector<std::pair<int, double>>{
           {3, 0.8}, {1, 0.5}, {5, 1.1}, {INT_MIN, 0.3 * (-2147483649.0 * 0.5 - 1) + 0.8}}) {
    EXPECT_DOUBLE_EQ(Ro::Vision::ConvertKernelSizeToSigma(size), sigma) << size;
  }
}

TEST(ProfileFilter, HandResults) {
  struct Case {
    const char* name;
    Values in;
    Apply apply;
    Values expected;
  };
  const std::vector<Case> cases = {
      {"average fills a null", {10, N, 20}, Avg(3, 0), {10, 15, 20}},
      {"average keeps a null", {10, N, 20}, Avg(3, 1), {10, N, 20}},
      {"window cut at the ends", {2, 4, 9}, Avg(3, 0), {3, 5, 6}},
      {"average truncates toward zero", {-3, 0, -4}, Avg(3, 0), {-1, -2, -2}},
      {"median of an even count truncates", {-3, 0}, Med(3, 0), {-1, -1}},
      {"median skips nulls", {5, 1, 3, N, 2}, Med(3, 0), {3, 3, 2, 2, 2}},
      {"median keeps nulls", {5, 1, 3, N, 2}, Med(3, 1), {3, 3, 2, N, 2}},
      {"all null average", {N, N, N}, Avg(5, 0), {N, N, N}},
      {"all null median", {N, N, N}, Med(5, 0), {N, N, N}},
      {"gaussian drops nulls and renormalises", kPeak, Gauss(3, 0.8, 0), kGaussianOfPeak},
      {"gaussian keeps a null", kPeak, Gauss(3, 0.8, 1), {kRim, kGaussianOfPeak[1], kRim, N, 40}},
      {"sigma 0 takes the window's sigma", kPeak, Gauss(3, 0, 0), kGaussianOfPeak},
      {"all null gaussian", {N, N}, Gauss(5, 1, 0), {N, N}},
      // A huge sigma weighs every slot equally: the first position sees two values, 0.5 each.
      {"gaussian rounds half away from zero (-)", {-1, -4}, Gauss(3, 1e300, 0), {-3, -3}},
      {"gaussian rounds half away from zero (+)", {1, 4}, Gauss(3, 1e300, 0), {3, 3}},
      {"slope at the limit interpolates", {0, N, N, 6}, Fill(5, 2, 0), {0, 2, 4, 6}},
      {"steep rise fills low", {0, N, N, 7}, Fill(5, 2, 0), {0, 0, 0, 7}},
      {"steep rise fills high", {0, N, N, 7}, Fill(5, 2, 1), {0, 7, 7, 7}},
      {"steep drop fills low", {7, N, N, 0}, Fill(5, 2, 0), {7, 0, 0, 0}},
      {"steep drop fills high", {7, N, N, 0}, Fill(5, 2, 1), {7, 7, 7, 0}},
      {"drop at the limit interpolates", {6, N, N, 0}, Fill(5, 2, 1), {6, 4, 2, 0}},
      {"fill truncates toward zero", {0, N, N, -4}, Fill(5, 2, 0), {0, -1, -2, -4}},
      {"edges maxGap apart are filled", {0, N, N, 6}, Fill(3, 2, 0), {0, 2, 4, 6}},
      {"edges further apart are not", {0, N, N, 6}, Fill(2, 2, 0), {0, N, N, 6}},
      {"leading and trailing nulls stay", {N, 1, N, 3, N}, Fill(5, 9, 0), {N, 1, 2, 3, N}},
      {"all null fill", {N, N, N}, Fill(5, 9, 0), {N, N, N}},
  };
  for (const Case& c : cases) EXPECT_EQ(Filtered(c.in, c.apply), c.expected) << c.name;
}

TEST(ProfileFilter, AverageAndMedianMatchReferencesOnRandomProfiles) {
  for (std::size_t window : {3u, 5u, 9u, 31u, 201u}) {
    const Values in = RandomValues(150, 0.2, static_cast<unsigned>(window));
    for (int keep : {0, 1}) {
      EXPECT_EQ(Filtered(in, Avg(window, keep)), NaiveAverage(in, window, keep)) << window;
      EXPECT_EQ(Filtered(in, Med(window, keep)), NaiveMedian(in, window, keep)) << window;
    }
  }
}

TEST(ProfileFilter, ShortWindowsCopyOnlyOnAFreshObject) {
  const Values in = {1, N, 3};
  for (const Apply& first : {Avg(1, 0), Fill(1, 5, 0), Fill(0, 5, 0)}) {
    Values out = {9, 9, 9};
    ProfileFilter filter(in.data(), in.size(), out.data(), nullptr);
    first(filter);
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

TEST(ProfileFilter, ChainingFiltersThePreviousResult) {
  const Values in = RandomValues(60, 0.2, 11);
  EXPECT_EQ(Filtered(in, [](ProfileFilter& f) { f.Average(3, 0).Median(3, 0).FillGap(4, 100, 0); }),
            Filtered(NaiveMedian(NaiveAverage(in, 3, false), 3, false), Fill(4, 100, 0)));
}

class ProfileFilterOverlap : public rotest::LeakCheckedTest {};

// Average and Median clone an input the output overlaps ahead of the window; FillGap works in
// place on the very same buffer and copies only for a shifted overlap.
TEST_F(ProfileFilterOverlap, SharedBuffersFilterAsSeparateOnesAndCloneOnlyWhenNeeded) {
  constexpr long long kCount = 20, kHalf = 2;  // window 5
  const Values profile = RandomValues(kCount, 0.2, 5);
  const std::pair<Apply, Values> filters[] = {
      {Avg(5, 0), NaiveAverage(profile, 5, false)},
      {Med(5, 0), NaiveMedian(profile, 5, false)},
      {Fill(6, 100, 1), Filtered(profile, Fill(6, 100, 1))}};
  for (long long d = -20; d <= 20; ++d) {  // from just before to just after the input
    for (int which = 0; which < 3; ++which) {
      Values buffer(3 * kCount, 0);
      short* input = buffer.data() + kCount;
      std::copy(profile.begin(), profile.end(), input);
      short* output = input + d;
      const zSize before = alloc_.Allocations();
      {
        ProfileFilter filter(input, kCount, output, alloc_);
        filters[which].first(filter);
      }
      EXPECT_EQ(Values(output, output + kCount), filters[which].second) << which << " d " << d;
      const bool mustClone = which == 2 ? d != 0 && std::llabs(d) < kCount
                                        : (d >= 0 && d < kCount) || (d < 0 && d > -(kHalf + 1));
      EXPECT_EQ(alloc_.Allocations() != before, mustClone) << which << " d " << d;
    }
  }
}

TEST_F(ProfileFilterOverlap, FailingCloneRaisesThePlatformStatus) {
  const Values in = RandomValues(30, 0.1, 2);
  Values out(in.size());
  const zSize made = rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    ProfileFilter(in.data(), in.size(), out.data(), alloc_)
        .Average(3, 0)
        .Gaussian(5, 1.0, 0)
        .Median(3, 1);
  });
  EXPECT_GE(made, 1u);  // the clone of the chained input, resized and reused afterwards
}

TEST(ProfileFilter, RefusalsRaiseWithLinesAndNames) {
  Values v = {1, 2, 3};
  const char* kCheck = "Ro::Vision::ProfileFilter::Impl::CheckConditions";
  const char* kCtor = "Ro::Vision::ProfileFilter::ProfileFilter";
  const auto on = [&](const Apply& apply) {
    return [&v, apply] {
      ProfileFilter f(v.data(), 3, v.data(), nullptr);
      apply(f);
    };
  };
  rotest::ExpectFailures(
      {{"null input", [&] { ProfileFilter(nullptr, 3, v.data(), nullptr); }, -997, 1427, kCtor},
       {"zero count", [&] { ProfileFilter(v.data(), 0, v.data(), nullptr); }, -997, 1427, kCtor},
       {"null output", [&] { ProfileFilter(v.data(), 3, nullptr, nullptr); }, -997, 1427, kCtor},
       {"even median", on(Med(4, 0)), -997, 342, kCheck},
       {"even average", on(Avg(2, 0)), -997, 342, kCheck},
       {"window 0 is even", on(Gauss(0, 1, 0)), -997, 342, kCheck},
       {"NaN sigma", on(Gauss(3, NAN, 0)), -988, 300, "Ro::Vision::GaussianKernel::Normalize"}},
      "Filter/Filter");
  EXPECT_EQ(v, (Values{1, 2, 3})) << "a refused filter writes nothing";
}

class ProfileGaussianTest : public rotest::LeakCheckedTest {
 protected:
  // Heights as z16s, intensities as z8u.
  template <class T>
  static Ty::Object<void*> Array(const std::vector<T>& values, zAlloc alloc) {
    zArray1 array = nullptr;
    const zType type = sizeof(T) == 1 ? zTypeOf(z8u) : zTypeOf(z16s);
    EXPECT_EQ(zArray1_Construct(&array, type, values.size(), alloc), zOK);
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
  const Levels levels = {10, 20, 30, 250, 40};
  const auto level = [](double v) { return static_cast<unsigned char>(v + 0.5); };
  const Levels smoothed = {
      level((10 + 20 * kSide) / (1 + kSide)), level((10 * kSide + 20 + 30 * kSide) * kCentre),
      level((20 * kSide + 30) / (1 + kSide)),  // the null height's slot dropped
      level((30 + 40) * 0.5), 40};
  struct Case {
    const char* name;
    Values heights;
    Levels levels;
    double sigma;
    int keep;
    Values expected;
    Levels expectedLevels;
  };
  const std::vector<Case> cases = {
      // sigma 0.8 gives window 3: the same heights as the filter object.
      {"sigma 0.8", kPeak, levels, 0.8, 0, kGaussianOfPeak, smoothed},
      {"kept nulls get intensity 255",
       kPeak,
       levels,
       0.8,
       1,
       Filtered(kPeak, Gauss(3, 0.8, 1)),
       {smoothed[0], smoothed[1], smoothed[2], 255, 40}},
      {"all null", {N, N}, {3, 4}, 1.0, 0, {N, N}, {255, 255}},
      {"a small sigma copies", {5, N, 7}, {1, 2, 3}, 0, 0, {5, N, 7}, {1, 2, 3}},
  };
  for (const Case& c : cases) {
    Ty::Object<void*> ranges = Array(c.heights, alloc_);
    // Earlier results held by the caller are released when the new ones arrive.
    Ty::Object<void*> outRanges = Array(Values{0}, alloc_);
    Ty::Object<void*> outLevels = Array(Levels{0}, alloc_);
    Ro::Vision::ProfileGaussian(ranges, Array(c.levels, alloc_), nullptr, c.sigma,
                                outRanges.Address(), outLevels.Address(), nullptr, c.keep, alloc_);
    EXPECT_NE(outRanges.Get(), ranges.Get()) << c.name;
    EXPECT_EQ(Read<short>(outRanges), c.expected) << c.name;
    EXPECT_EQ(Read<unsigned char>(outLevels), c.expectedLevels) << c.name;
  }
}

TEST_F(ProfileGaussianTest, RefusesBadArgumentsAndRaisesFailingAllocations) {
  // Inputs from the default allocator: only the function's own arrays are counted.
  Ty::Object<void*> ranges = Array(Values(50), nullptr);
  Ty::Object<void*> bytes = Array(Levels(50), nullptr);
  Ty::Object<void*> shortBytes = Array(Levels{1}, nullptr);
  void* out = nullptr;
  void* outLevels = nullptr;
  const auto call = [&](void* r, void* i, double sigma, void** o) {
    return [=, &outLevels] {
      Ro::Vision::ProfileGaussian(r, i, nullptr, sigma, o, &outLevels, nullptr, 0, alloc_);
    };
  };
  filtertest::ExpectRefusals(
      {{"null ranges", call(nullptr, nullptr, 1, &out), 1761},
       {"negative sigma", call(ranges, nullptr, -0.1, &out), 1761},
       {"NaN sigma", call(ranges, nullptr, NAN, &out), 1761},
       {"null output", call(ranges, nullptr, 1, nullptr), 1761},
       {"ranges not z16s", call(bytes, nullptr, 1, &out), 1762, -996},
       {"levels not z8u", call(ranges, ranges, 1, &out), 1762, -996},
       {"levels of another length", call(ranges, shortBytes, 1, &out), 0, -984}},
      "Ro::Vision::ProfileGaussian");
  EXPECT_EQ(out, nullptr);
  for (double sigma : {0.0, 2.0}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
      Ty::Object<void*> outRanges, outIntensities;
      Ro::Vision::ProfileGaussian(ranges, bytes, nullptr, sigma, outRanges.Address(),
                                  outIntensities.Address(), nullptr, 1, alloc_);
    });
  }
}

}  // namespace
