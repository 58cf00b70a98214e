#include "ProfileFilter.h"

#include <TyApi/TyObject.h>
#include <zApi/zArray1.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "FilterPrivate.h"
#include "GaussianKernelPrivate.h"
#include "ProfileGaussian.h"

namespace Ro {
namespace Vision {

using filter::kNullHeight;

class ProfileFilter::Impl {
 public:
  Impl(const short* in, unsigned long long n, short* out, void* alloc)
      : input(in), count(n), output(out), allocator(alloc) {}

  // Prepares a filter with the given window length; false when there is nothing to filter.
  bool CheckConditions(unsigned long long length, bool mustBeOdd, bool needsClone);
  void CloneAndUpdateInProfile(bool fromOutput);

  const short* input;
  unsigned long long count;
  short* output;
  void* allocator;
  std::int32_t applied = 0;
  Ty::Object<void*> clone;

 private:
  // Output address minus input address, in elements.
  long long Distance() const {
    const auto bytes = static_cast<long long>(reinterpret_cast<std::uintptr_t>(output) -
                                              reinterpret_cast<std::uintptr_t>(input));
    return bytes / static_cast<long long>(sizeof(short));
  }
};

bool ProfileFilter::Impl::CheckConditions(unsigned long long length, bool mustBeOdd,
                                          bool needsClone) {
  const Site site{filter::kModule, "Ro::Vision::ProfileFilter::Impl::CheckConditions"};
  if (mustBeOdd && length % 2 == 0) Throw(site, 342, kInvalidArgument);
  if (length <= 1) {
    if (!applied) filter::CopyBytes(site, 349, output, input, count * sizeof(short));
    return false;
  }
  const long long n = static_cast<long long>(count);
  const long long d = Distance();
  if (!needsClone) {
    // FillGap fills behind its read position, so it works in place on the very same buffer;
    // only a shifted overlap (which would read values it has already written) needs the copy.
    if (applied) {
      input = output;
    } else if (d != 0 && d > -n && d < n) {
      CloneAndUpdateInProfile(false);
    }
    return true;
  }
  if (applied) {
    CloneAndUpdateInProfile(true);
    return true;
  }
  // The window reads up to `half` values ahead and re-reads the value `half` behind when it
  // leaves: an output at or after the input (within the run), or less than half + 1 values
  // before it, would overwrite values the window still reads.
  const long long half = static_cast<long long>(std::min<unsigned long long>(length / 2, count));
  if ((d >= 0 && d < n) || (d < 0 && d > -(half + 1))) CloneAndUpdateInProfile(false);
  return true;
}

void ProfileFilter::Impl::CloneAndUpdateInProfile(bool fromOutput) {
  const Site site{filter::kModule, "Ro::Vision::ProfileFilter::Impl::CloneAndUpdateInProfile"};
  if (!clone) {
    Check(site, 385, zArray1_Construct(clone.Address(), zTypeOf(z16s), count, allocator));
  } else {
    Check(site, 386, zArray1_Resize(clone, count));
  }
  short* copy = static_cast<short*>(zArray1_Data(clone));
  if (fromOutput) {
    Check(site, 395, zMemCopy(copy, output, count * sizeof(short)));
  } else {
    Check(site, 391, zMemCopy(copy, input, count * sizeof(short)));
  }
  input = copy;
}

namespace {

void FillGapKernel(const short* in, short* out, unsigned long long n, unsigned long long maxGap,
                   long long maxSlope, bool fillHigh) {
  unsigned long long i = 0;
  for (; i < n && in[i] == kNullHeight; ++i) out[i] = in[i];
  if (i == n) return;
  out[i] = in[i];
  unsigned long long last = i;
  for (++i; i < n; ++i) {
    const short value = in[i];
    out[i] = value;
    if (value == kNullHeight) continue;
    const unsigned long long gap = i - last;
    if (gap > 1 && gap <= maxGap) {
      const short left = in[last];
      const long long diff = static_cast<long long>(value) - left;
      const long long span = static_cast<long long>(gap);
      if (diff > maxSlope * span) {
        std::fill(out + last + 1, out + i, fillHigh ? value : left);
      } else if (diff >= -maxSlope * span) {
        // 64-bit products give the 32-bit result wherever that does not overflow.
        for (unsigned long long j = last + 1; j < i; ++j) {
          out[j] = static_cast<short>(left + static_cast<long long>(j - last) * diff / span);
        }
      } else {
        std::fill(out + last + 1, out + i, fillHigh ? left : value);
      }
    }
    last = i;
  }
}

// The running sum is 64-bit: it equals the 32-bit sum wherever that cannot overflow, and stays
// right for windows of more than 65537 values.
void AverageKernel(const short* in, short* out, unsigned long long n, unsigned long long half,
                   bool keepNulls) {
  long long sum = 0;
  long long values = 0;
  for (unsigned long long i = 0; i <= half && i < n; ++i) {
    if (in[i] != kNullHeight) sum += in[i], ++values;
  }
  for (unsigned long long o = 0; o < n; ++o) {
    short mean = values > 0 ? static_cast<short>(sum / values) : kNullHeight;
    if (keepNulls && in[o] == kNullHeight) mean = kNullHeight;
    out[o] = mean;
    if (o + half + 1 < n && in[o + half + 1] != kNullHeight) sum += in[o + half + 1], ++values;
    if (o >= half && in[o - half] != kNullHeight) sum -= in[o - half], --values;
  }
}

// The window's non-null values, kept in descending order.
class SortedWindow {
 public:
  explicit SortedWindow(std::size_t capacity) { values_.reserve(capacity); }
  void Insert(short v) {
    auto it = values_.begin();
    while (it != values_.end() && !(*it < v)) ++it;
    values_.insert(it, v);
  }
  void Remove(short v) {
    auto it = std::find(values_.begin(), values_.end(), v);
    if (it != values_.end()) values_.erase(it);
  }
  short Median() const {
    const std::size_t n = values_.size();
    if (n == 0) return kNullHeight;
    if (n % 2 == 1) return values_[(n - 1) / 2];
    return static_cast<short>((values_[(n - 2) / 2] + values_[n / 2]) / 2);
  }

 private:
  std::vector<short> values_;
};

void MedianKernel(const short* in, short* out, unsigned long long n, unsigned long long half,
                  bool keepNulls) {
  SortedWindow window(static_cast<std::size_t>(std::min(n, 2 * half + 1)));
  for (unsigned long long i = 0; i <= half && i < n; ++i) {
    if (in[i] != kNullHeight) window.Insert(in[i]);
  }
  for (unsigned long long o = 0; o < n; ++o) {
    out[o] = keepNulls && in[o] == kNullHeight ? kNullHeight : window.Median();
    if (o + half + 1 < n && in[o + half + 1] != kNullHeight) window.Insert(in[o + half + 1]);
    if (o >= half && in[o - half] != kNullHeight) window.Remove(in[o - half]);
  }
}

}  // namespace

ProfileFilter::ProfileFilter(const short* input, unsigned long long count, short* output,
                             void* allocator) {
  if (!input || count == 0 || !output) {
    Throw({filter::kModule, "Ro::Vision::ProfileFilter::ProfileFilter"}, 1427, kInvalidArgument);
  }
  impl_ = new Impl(input, count, output, allocator);
}

ProfileFilter::~ProfileFilter() {
  delete impl_;
}

ProfileFilter& ProfileFilter::FillGap(unsigned long long maxGap, int maxSlope, int fillHigh) {
  Impl& s = *impl_;
  if (!s.CheckConditions(maxGap, false, false)) return *this;
  FillGapKernel(s.input, s.output, s.count, maxGap, maxSlope, fillHigh != 0);
  s.applied = 1;
  return *this;
}

ProfileFilter& ProfileFilter::Average(unsigned long long windowSize, int keepNulls) {
  Impl& s = *impl_;
  if (!s.CheckConditions(windowSize, true, true)) return *this;
  AverageKernel(s.input, s.output, s.count, std::min(windowSize / 2, s.count), keepNulls != 0);
  s.applied = 1;
  return *this;
}

ProfileFilter& ProfileFilter::Median(unsigned long long windowSize, int keepNulls) {
  Impl& s = *impl_;
  if (!s.CheckConditions(windowSize, true, true)) return *this;
  MedianKernel(s.input, s.output, s.count, std::min(windowSize / 2, s.count), keepNulls != 0);
  s.applied = 1;
  return *this;
}

ProfileFilter& ProfileFilter::Gaussian(unsigned long long windowSize, double sigma, int keepNulls) {
  Impl& s = *impl_;
  if (!s.CheckConditions(windowSize, true, true)) return *this;
  if (sigma <= 0) {
    sigma = ConvertKernelSizeToSigma(static_cast<int>(
        std::min<unsigned long long>(windowSize, static_cast<unsigned long long>(INT32_MAX))));
  }
  GaussianKernel kernel(windowSize, sigma);
  SmoothWithKernel(kernel, s.input, nullptr, s.count, s.output, nullptr, keepNulls != 0);
  s.applied = 1;
  return *this;
}

}  // namespace Vision
}  // namespace Ro
