#include "PadArray.h"

#include <zApi/zArray2.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "FilterPrivate.h"

namespace Ro {
namespace Vision {

namespace {

const Site kSite{filter::kModule, "Ro::Vision::PadArray2"};

template <class C>
C ComponentOf(PadMode mode, double value) {
  if (mode == PadMode::Null) return GetNull<C>();
  if constexpr (std::is_integral_v<C>) {
    // The constant must be an integer the type holds exactly.
    if (!(value >= static_cast<double>(std::numeric_limits<C>::lowest()) &&
          value <= static_cast<double>(std::numeric_limits<C>::max()) &&
          std::trunc(value) == value)) {
      Throw(kSite, __LINE__, kInvalidArgument, "the constant does not fit the element type");
    }
  } else if (std::isnan(value)) {
    Throw(kSite, __LINE__, kInvalidArgument, "the constant is NaN");
  }
  return static_cast<C>(value);
}

template <class T>
T FillOf(PadMode mode, double value) {
  if constexpr (std::is_same_v<T, zPoint3d32s>) {
    const int c = ComponentOf<int>(mode, value);
    return T{c, c, c};
  } else if constexpr (std::is_same_v<T, zPoint3d64f>) {
    const double c = ComponentOf<double>(mode, value);
    return T{c, c, c};
  } else if constexpr (std::is_same_v<T, z8u>) {
    return ComponentOf<unsigned char>(mode, value);
  } else if constexpr (std::is_same_v<T, z16s>) {
    return ComponentOf<short>(mode, value);
  } else {
    return ComponentOf<T>(mode, value);
  }
}

// The source index of padded position i (relative to the array, so negative before it), or -1
// when the position takes the fill value.
long long SourceIndex(long long i, long long n, PadMode mode) {
  if (i >= 0 && i < n) return i;
  switch (mode) {
    case PadMode::Replicate:
      return i < 0 ? 0 : n - 1;
    case PadMode::Reflect101:
      return i < 0 ? -i : 2 * (n - 1) - i;
    default:
      return -1;
  }
}

void CheckMargins(unsigned long long before, unsigned long long after, std::size_t n,
                  PadMode mode) {
  const unsigned long long widest = std::max(before, after);
  if (widest == 0) return;
  if ((mode == PadMode::Replicate || mode == PadMode::Reflect101) && n == 0) {
    Throw(kSite, __LINE__, kInvalidArgument, "an empty axis has nothing to replicate or reflect");
  }
  if (mode == PadMode::Reflect101 && widest > n - 1) {
    Throw(kSite, __LINE__, kInvalidArgument, "a reflected margin must be smaller than the array");
  }
}

template <class T>
void Pad(void* input, void* output, unsigned long long top, unsigned long long left, PadMode mode,
         const T& fill) {
  const auto rows = static_cast<long long>(zArray2_Rows(input));
  const auto columns = static_cast<long long>(zArray2_Columns(input));
  const auto outRows = static_cast<long long>(zArray2_Rows(output));
  const auto outColumns = static_cast<long long>(zArray2_Columns(output));
  const auto l = static_cast<long long>(left);
  const auto t = static_cast<long long>(top);
  // Column sources of the margins, worked out once.
  std::vector<long long> sources(static_cast<std::size_t>(outColumns));
  for (long long c = 0; c < outColumns; ++c) sources[c] = SourceIndex(c - l, columns, mode);
  for (long long r = 0; r < outRows; ++r) {
    T* out = static_cast<T*>(zArray2_Row(output, r));
    const long long source = SourceIndex(r - t, rows, mode);
    if (source < 0) {
      std::fill(out, out + outColumns, fill);
      continue;
    }
    const T* in = static_cast<const T*>(zArray2_Row(input, source));
    for (long long c = 0; c < l; ++c) out[c] = sources[c] < 0 ? fill : in[sources[c]];
    if (columns > 0) std::memcpy(out + l, in, static_cast<std::size_t>(columns) * sizeof(T));
    for (long long c = l + columns; c < outColumns; ++c) {
      out[c] = sources[c] < 0 ? fill : in[sources[c]];
    }
  }
}

}  // namespace

void PadArray2(const Ty::Object<void*>& input, unsigned long long top, unsigned long long bottom,
               unsigned long long left, unsigned long long right, PadMode mode, double value,
               Ty::Object<void*>& output, void* allocator) {
  if (!input) Throw(kSite, __LINE__, kInvalidArgument, "the input array is null");
  if (mode != PadMode::Null && mode != PadMode::Constant && mode != PadMode::Replicate &&
      mode != PadMode::Reflect101) {
    Throw(kSite, __LINE__, kInvalidArgument, "unknown padding mode");
  }
  const zType type = zArray2_ItemType(input);
  const std::size_t rows = zArray2_Rows(input);
  const std::size_t columns = zArray2_Columns(input);
  CheckMargins(top, bottom, rows, mode);
  CheckMargins(left, right, columns, mode);
  const bool known =
      DispatchByType<z8u, z16s, z32s, z32f, z64f, zPoint3d32s, zPoint3d64f>(type, [&](auto tag) {
        using T = decltype(tag);
        const T fill = FillOf<T>(mode, value);
        Ty::Object<void*> result;
        Check(kSite, __LINE__,
              zArray2_Construct(result.Address(), type, rows + top + bottom, columns + left + right,
                                allocator));
        Pad<T>(input, result, top, left, mode, fill);
        output = result;
      });
  if (!known) Throw(kSite, __LINE__, kNotSupported, "unsupported element type");
}

}  // namespace Vision
}  // namespace Ro
