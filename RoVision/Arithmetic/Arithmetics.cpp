#include "Arithmetics.h"

#include <zApi/zArray2.h>
#include <zApi/zParallel.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>
#include <vector>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr char kModule[] = "Arithmetic/Arithmetic";
constexpr int16_t kNull16 = GetNull<short>();
constexpr int32_t kNull32 = GetNull<int>();
// Valid 32-bit results stay clear of the null.
constexpr int64_t kMin32 = -2147483647;
constexpr int64_t kMax32 = 2147483647;
// The valid 16-bit range: -32768 is the null.
constexpr int64_t kMin16 = -32767;
constexpr int64_t kMax16 = 32767;
// A cell whose position misses the covered span's start by less than this share of a cell still
// counts as inside: whole-cell offsets computed in floating point carry such noise.
constexpr double kCellTolerance = 1e-6;

int64_t Clamp(int64_t v, int64_t lo, int64_t hi) {
  return v < lo ? lo : (v > hi ? hi : v);
}

// A double to a 64-bit integer, truncated toward zero; NaN gives 0 and huge values are limited
// far beyond any 32-bit result.
int64_t Truncate(double v) {
  if (std::isnan(v)) return 0;
  constexpr double kLimit = 4.0e18;
  return static_cast<int64_t>(std::max(-kLimit, std::min(kLimit, std::trunc(v))));
}

struct Layers {
  void* heights = nullptr;
  void* intensity = nullptr;  // null when the surface has none
  zSize columns = 0;
  zSize rows = 0;
};

bool IsPositive(double v) {
  return v > 0 && std::isfinite(v);
}

// The height and intensity layers of an input; raises what the header of Apply lists.
Layers CheckInput(const Site& site, const Surface& s, bool needScale) {
  if (s.layers.empty() || !s.layers[0]) Throw(site, __LINE__, kInvalidArgument, "no height layer");
  Layers l;
  l.heights = s.layers[0].Get();
  if (zArray2_ItemType(l.heights) != TypeOf<z16s>())
    Throw(site, __LINE__, kNotSupported, "heights must be z16s");
  l.rows = zArray2_Rows(l.heights);
  l.columns = zArray2_Columns(l.heights);
  if (l.rows > INT_MAX || l.columns > INT_MAX)
    Throw(site, __LINE__, kInvalidArgument, "surface larger than 2^31 cells per axis");
  if (IsNull(s.offset.x) || IsNull(s.offset.y) || IsNull(s.offset.z) || std::isnan(s.offset.x) ||
      std::isnan(s.offset.y) || std::isnan(s.offset.z))
    Throw(site, __LINE__, kInvalidArgument, "offset not set");
  if (needScale && !(IsPositive(s.scale.x) && IsPositive(s.scale.y) && IsPositive(s.scale.z)))
    Throw(site, __LINE__, kInvalidArgument, "scale must be set and positive");
  if (s.layers.size() > 1 && s.layers[1]) {
    l.intensity = s.layers[1].Get();
    if (zArray2_ItemType(l.intensity) != TypeOf<z8u>() || zArray2_Rows(l.intensity) != l.rows ||
        zArray2_Columns(l.intensity) != l.columns)
      Throw(site, __LINE__, kIncompatible, "intensity must be z8u of the heights' size");
  }
  return l;
}

// One axis of getBoundaries: where an input of `cells` cells at `offset` lies in a result of
// `n` cells starting at `start`.
CellRange Place(double offset, zSize cells, double start, int n, double scale) {
  CellRange range;
  const double firstInside = std::ceil((start - offset) / scale - kCellTolerance);
  if (!(firstInside < double(cells)) || n <= 0) return range;
  range.first = static_cast<int>(std::max(0.0, firstInside));
  const double landing = (offset - start) / scale + range.first;
  range.target = static_cast<int>(std::max(0.0, std::floor(landing + 0.5)));
  const int64_t count = std::min<int64_t>(int64_t(cells) - range.first, int64_t(n) - range.target);
  range.count = count > 0 ? static_cast<int>(count) : 0;
  if (range.count == 0) range = CellRange{};
  return range;
}

// The covered span of one axis and the number of result cells in it.
void Cover(ArithmeticLogic logic, double scale, double offsetA, zSize cellsA, double offsetB,
           zSize cellsB, double* start, double* span, int* cells) {
  const double endA = offsetA + double(cellsA) * scale;
  const double endB = offsetB + double(cellsB) * scale;
  double end;
  if (logic == ArithmeticLogic::And) {
    *start = std::max(offsetA, offsetB);
    end = std::min(endA, endB);
  } else {
    *start = std::min(offsetA, offsetB);
    end = std::max(endA, endB);
  }
  *span = end > *start ? end - *start : 0;
  const double n = std::floor(*span / scale + 0.5);
  *cells = n >= 1 ? static_cast<int>(std::min(n, double(INT_MAX))) : 0;
}

// The z offsets of a and b in whole steps of a's z scale, truncated toward zero.
struct ZSteps {
  double scale, offsetA, offsetB;
  int64_t a, b, mean;
};

ZSteps StepsOf(const Surface& a, const Surface& b) {
  const double s = a.scale.z;
  return ZSteps{s,
                a.offset.z,
                b.offset.z,
                Truncate(a.offset.z / s),
                Truncate(b.offset.z / s),
                Truncate((a.offset.z + b.offset.z) / 2 / s)};
}

// Both inputs valid: the world result relative to a's z offset, in steps of a's z scale.
template <ArithmeticOperator Op>
int64_t Combine(int64_t ha, int64_t hb, const ZSteps& z) {
  if constexpr (Op == ArithmeticOperator::Add) return ha + hb + z.b;
  if constexpr (Op == ArithmeticOperator::Subtract) return ha - hb - z.b;
  return (ha + hb) / 2 + z.mean - z.a;  // Average; integer division truncates toward zero
}

template <ArithmeticOperator Op>
uint8_t CombineIntensity(int ia, int ib) {
  if constexpr (Op == ArithmeticOperator::Add) return uint8_t(std::min(ia + ib, 255));
  if constexpr (Op == ArithmeticOperator::Subtract) return uint8_t(std::max(ia - ib, 0));
  return uint8_t((ia + ib) / 2);
}

// The common case (overlap, both rows present, no intensity) without the per-cell branches of
// the general kernel, so that the compiler can vectorise it; same results.
template <ArithmeticOperator Op>
void OverlapKernel(const ZSteps& z, const int16_t* rowA, const int16_t* rowB, int length,
                   int& minimum, int& maximum, int32_t* out) {
  int lo = minimum, hi = maximum;
  for (int i = 0; i < length; ++i) {
    const bool valid = rowA[i] != kNull16 && rowB[i] != kNull16;
    const int value = static_cast<int>(Clamp(Combine<Op>(rowA[i], rowB[i], z), kMin32, kMax32));
    out[i] = valid ? value : kNull32;
    lo = valid ? std::min(lo, value) : lo;
    hi = valid ? std::max(hi, value) : hi;
  }
  minimum = lo;
  maximum = hi;
}

template <ArithmeticOperator Op>
void RowKernel(bool unite, const ZSteps& z, const int16_t* rowA, const int16_t* rowB,
               const uint8_t* intensityA, const uint8_t* intensityB, int length, int& minimum,
               int& maximum, int32_t* out, uint8_t* outIntensity) {
  if (!unite && rowA && rowB && !outIntensity) {
    OverlapKernel<Op>(z, rowA, rowB, length, minimum, maximum, out);
    return;
  }
  // b converted to a's offset; exact when the offsets are equal.
  const bool sameOffset = z.a == z.b;
  for (int i = 0; i < length; ++i) {
    const int16_t ha = rowA ? rowA[i] : kNull16;
    const int16_t hb = rowB ? rowB[i] : kNull16;
    const int ia = intensityA ? intensityA[i] : 0;
    const int ib = intensityB ? intensityB[i] : 0;
    int64_t r;
    int intensity;
    if (ha != kNull16 && hb != kNull16) {
      r = Combine<Op>(ha, hb, z);
      intensity = CombineIntensity<Op>(ia, ib);
    } else if (unite && hb != kNull16) {
      r = sameOffset ? hb : Truncate(((hb * z.scale + z.offsetB) - z.offsetA) / z.scale);
      intensity = ib;
    } else if (unite && ha != kNull16) {
      r = ha;
      intensity = ia;
    } else {
      out[i] = kNull32;
      if (outIntensity) outIntensity[i] = 0;
      continue;
    }
    const int value = static_cast<int>(Clamp(r, kMin32, kMax32));
    out[i] = value;
    if (outIntensity) outIntensity[i] = static_cast<uint8_t>(intensity);
    minimum = std::min(minimum, value);
    maximum = std::max(maximum, value);
  }
}

// A stretch of result columns in which each input is either wholly present or wholly absent.
struct Segment {
  int begin, end;
  bool hasA, hasB;
};

std::vector<Segment> SplitColumns(const ArithmeticArea& area) {
  std::vector<int> cuts = {0,
                           area.columns,
                           area.aColumns.target,
                           area.aColumns.target + area.aColumns.count,
                           area.bColumns.target,
                           area.bColumns.target + area.bColumns.count};
  std::sort(cuts.begin(), cuts.end());
  cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
  auto covers = [](const CellRange& r, int begin, int end) {
    return r.count > 0 && r.target <= begin && end <= r.target + r.count;
  };
  std::vector<Segment> segments;
  for (size_t k = 0; k + 1 < cuts.size(); ++k) {
    const int begin = cuts[k], end = cuts[k + 1];
    if (begin < 0 || end > area.columns || begin >= end) continue;
    segments.push_back(
        Segment{begin, end, covers(area.aColumns, begin, end), covers(area.bColumns, begin, end)});
  }
  return segments;
}

// The input index that lands on result index r, or -1.
int SourceIndex(const CellRange& rows, int r) {
  return r >= rows.target && r < rows.target + rows.count ? r - rows.target + rows.first : -1;
}

struct DataContext {
  ArithmeticOperator op;
  ArithmeticLogic logic;
  const Surface* a;
  const Surface* b;
  const ArithmeticArea* area;
  Layers inA, inB;
  void* out;
  void* outIntensity;  // null: intensities are not combined
  std::vector<Segment> segments;
  std::vector<std::pair<int, int>>* slots;  // per task: minimum, maximum
};

template <class T>
const T* RowOf(void* array, int row, int column) {
  return array && row >= 0 ? static_cast<const T*>(zArray2_Row(array, zSize(row))) + column
                           : nullptr;
}

void ProcessResultRow(const DataContext& c, int r, int& minimum, int& maximum) {
  const int rowA = SourceIndex(c.area->aRows, r);
  const int rowB = SourceIndex(c.area->bRows, r);
  int32_t* out = static_cast<int32_t*>(zArray2_Row(c.out, zSize(r)));
  uint8_t* outI =
      c.outIntensity ? static_cast<uint8_t*>(zArray2_Row(c.outIntensity, zSize(r))) : nullptr;
  for (const Segment& s : c.segments) {
    const int columnA = s.begin - c.area->aColumns.target + c.area->aColumns.first;
    const int columnB = s.begin - c.area->bColumns.target + c.area->bColumns.first;
    const int rA = s.hasA ? rowA : -1;
    const int rB = s.hasB ? rowB : -1;
    Arithmetics::ProcessRow(c.op, c.logic, *c.a, *c.b, RowOf<int16_t>(c.inA.heights, rA, columnA),
                            RowOf<int16_t>(c.inB.heights, rB, columnB),
                            outI ? RowOf<uint8_t>(c.inA.intensity, rA, columnA) : nullptr,
                            outI ? RowOf<uint8_t>(c.inB.intensity, rB, columnB) : nullptr,
                            s.end - s.begin, minimum, maximum, out + s.begin,
                            outI ? outI + s.begin : nullptr);
  }
}

zStatus DataWorker(const zParallelArgs* args, void* context) {
  const DataContext& c = *static_cast<const DataContext*>(context);
  const zSize rows = zSize(c.area->rows);
  int minimum = INT_MAX, maximum = INT_MIN;
  for (zSize r = zParallelArgs_Begin(args, 0, rows); r < zParallelArgs_End(args, 0, rows); ++r)
    ProcessResultRow(c, int(r), minimum, maximum);
  (*c.slots)[zParallelArgs_Index(args)] = {minimum, maximum};
  return zOK;
}

struct ConvertContext {
  void* in;
  void* out;
  int64_t shift;
};

zStatus ConvertWorker(const zParallelArgs* args, void* context) {
  const ConvertContext& c = *static_cast<const ConvertContext*>(context);
  const zSize rows = zArray2_Rows(c.in), columns = zArray2_Columns(c.in);
  for (zSize r = zParallelArgs_Begin(args, 0, rows); r < zParallelArgs_End(args, 0, rows); ++r) {
    const int32_t* src = static_cast<const int32_t*>(zArray2_Row(c.in, r));
    int16_t* dst = static_cast<int16_t*>(zArray2_Row(c.out, r));
    for (zSize j = 0; j < columns; ++j) {
      const int16_t v = int16_t(Clamp(src[j] - c.shift, kMin16, kMax16));
      dst[j] = src[j] == kNull32 ? kNull16 : v;
    }
  }
  return zOK;
}

Ty::Object<void*> NewArray(const Site& site, zType type, zSize rows, zSize columns, void* alloc) {
  zArray2 array = nullptr;
  Check(site, __LINE__, zArray2_Construct(&array, type, rows, columns, alloc));
  return Ty::Object<void*>(array);
}

}  // namespace

Arithmetics::Arithmetics(void* allocator, void* threadPool)
    : allocator_(allocator), threadPool_(threadPool) {}

void Arithmetics::Apply(ArithmeticOperator op, ArithmeticLogic logic, const Surface& a,
                        const Surface& b, Surface& out) {
  if (op == ArithmeticOperator::Mask) {
    ApplyMask(a, b, out);
    return;
  }
  const Site site{kModule, "Ro::Vision::Arithmetics::Apply"};
  const Layers inA = CheckInput(site, a, true);
  const Layers inB = CheckInput(site, b, false);
  const bool withIntensity = inA.intensity && inB.intensity;

  const ArithmeticArea area = getBoundaries(
      logic, zPoint64f{a.scale.x, a.scale.y}, zPoint64f{a.offset.x, a.offset.y},
      zPoint64f{b.offset.x, b.offset.y}, inA.columns, inA.rows, inB.columns, inB.rows);
  if (area.columns == 0 || area.rows == 0) Throw(site, __LINE__, kInvalidArgument, "Empty Data");

  Surface result;
  result.scale = a.scale;
  result.offset = zPoint3d64f{area.x, area.y, a.offset.z};
  result.layers.push_back(NewArray(site, TypeOf<z32s>(), area.rows, area.columns, allocator_));
  if (withIntensity)
    result.layers.push_back(NewArray(site, TypeOf<z8u>(), area.rows, area.columns, allocator_));

  const auto [minimum, maximum] = ProcessData(op, logic, a, b, result, area);
  if (maximum == INT_MIN) Throw(site, __LINE__, kInvalidArgument, "Empty Data");
  out = ConvertSurface32sTo16s(result, minimum, maximum);
}

std::tuple<int, int> Arithmetics::ProcessData(ArithmeticOperator op, ArithmeticLogic logic,
                                              const Surface& a, const Surface& b,
                                              const Surface& result, const ArithmeticArea& area) {
  const Site site{kModule, "Ro::Vision::Arithmetics::ProcessData"};
  if (result.layers.empty() || !result.layers[0] ||
      zArray2_ItemType(result.layers[0]) != TypeOf<z32s>() ||
      zArray2_Rows(result.layers[0]) != zSize(area.rows) ||
      zArray2_Columns(result.layers[0]) != zSize(area.columns))
    Throw(site, __LINE__, kIncompatible, "result must be z32s of the area's size");
  void* outIntensity = result.layers.size() > 1 ? result.layers[1].Get() : nullptr;
  if (outIntensity && (zArray2_ItemType(outIntensity) != TypeOf<z8u>() ||
                       zArray2_Rows(outIntensity) != zSize(area.rows) ||
                       zArray2_Columns(outIntensity) != zSize(area.columns)))
    Throw(site, __LINE__, kIncompatible, "result intensity must be z8u of the area's size");

  std::vector<std::pair<int, int>> slots(zThreadPool_Count(threadPool_), {INT_MAX, INT_MIN});
  DataContext context{op,
                      logic,
                      &a,
                      &b,
                      &area,
                      CheckInput(site, a, true),
                      CheckInput(site, b, false),
                      result.layers[0].Get(),
                      outIntensity,
                      SplitColumns(area),
                      &slots};
  Check(site, __LINE__, zParallel_Execute(DataWorker, &context, threadPool_));
  int minimum = INT_MAX, maximum = INT_MIN;
  for (const auto& [lo, hi] : slots) {
    minimum = std::min(minimum, lo);
    maximum = std::max(maximum, hi);
  }
  return {minimum, maximum};
}

void Arithmetics::ProcessRow(ArithmeticOperator op, ArithmeticLogic logic, const Surface& a,
                             const Surface& b, const int16_t* rowA, const int16_t* rowB,
                             const uint8_t* intensityA, const uint8_t* intensityB, int length,
                             int& minimum, int& maximum, int32_t* out, uint8_t* outIntensity) {
  const ZSteps z = StepsOf(a, b);
  const bool unite = logic == ArithmeticLogic::Or;
  switch (op) {
    case ArithmeticOperator::Add:
      RowKernel<ArithmeticOperator::Add>(unite, z, rowA, rowB, intensityA, intensityB, length,
                                         minimum, maximum, out, outIntensity);
      return;
    case ArithmeticOperator::Subtract:
      RowKernel<ArithmeticOperator::Subtract>(unite, z, rowA, rowB, intensityA, intensityB, length,
                                              minimum, maximum, out, outIntensity);
      return;
    case ArithmeticOperator::Average:
      RowKernel<ArithmeticOperator::Average>(unite, z, rowA, rowB, intensityA, intensityB, length,
                                             minimum, maximum, out, outIntensity);
      return;
    default:
      Throw(Site{kModule, "Ro::Vision::Arithmetics::ProcessRow"}, __LINE__, kNotSupported,
            "Unimplemented operation");
  }
}

ArithmeticArea Arithmetics::getBoundaries(ArithmeticLogic logic, zPoint64f scale, zPoint64f offsetA,
                                          zPoint64f offsetB, zSize columnsA, zSize rowsA,
                                          zSize columnsB, zSize rowsB) {
  ArithmeticArea area;
  Cover(logic, scale.x, offsetA.x, columnsA, offsetB.x, columnsB, &area.x, &area.width,
        &area.columns);
  Cover(logic, scale.y, offsetA.y, rowsA, offsetB.y, rowsB, &area.y, &area.length, &area.rows);
  area.aColumns = Place(offsetA.x, columnsA, area.x, area.columns, scale.x);
  area.bColumns = Place(offsetB.x, columnsB, area.x, area.columns, scale.x);
  area.aRows = Place(offsetA.y, rowsA, area.y, area.rows, scale.y);
  area.bRows = Place(offsetB.y, rowsB, area.y, area.rows, scale.y);
  return area;
}

Surface Arithmetics::ConvertSurface32sTo16s(const Surface& result, int minimum, int maximum) {
  const Site site{kModule, "Ro::Vision::Arithmetics::ConvertSurface32sTo16s"};
  if (result.layers.empty() || !result.layers[0])
    Throw(site, __LINE__, kInvalidArgument, "no height layer");
  void* in = result.layers[0].Get();
  if (zArray2_ItemType(in) != TypeOf<z32s>())
    Throw(site, __LINE__, kIncompatible, "heights must be z32s");
  if (minimum > maximum) Throw(site, __LINE__, kInvalidArgument, "minimum above maximum");

  const int64_t lo = minimum, hi = maximum;
  int64_t shift = 0;
  if (hi - lo > kMax16 - kMin16) {
    shift = (lo + hi) / 2;
  } else if (lo < kMin16) {
    shift = lo - kMin16;
  } else if (hi > kMax16) {
    shift = hi - kMax16;
  }

  const zSize rows = zArray2_Rows(in), columns = zArray2_Columns(in);
  Surface out;
  out.scale = result.scale;
  out.offset = result.offset;
  out.offset.z = result.offset.z + double(shift) * result.scale.z;
  out.layers.push_back(NewArray(site, TypeOf<z16s>(), rows, columns, allocator_));
  ConvertContext context{in, out.layers[0].Get(), shift};
  Check(site, __LINE__, zParallel_Execute(ConvertWorker, &context, threadPool_));
  if (result.layers.size() > 1 && result.layers[1]) out.layers.push_back(result.layers[1]);
  return out;
}

void Arithmetics::ApplyMask(const Surface& a, const Surface& mask, Surface& out) {
  const Site site{kModule, "Ro::Vision::Arithmetics::ApplyMask"};
  const Layers inA = CheckInput(site, a, true);
  const Layers inM = CheckInput(site, mask, false);
  // The overlap says where the mask's cells lie on a's grid; everything of a outside it is null.
  const ArithmeticArea area = getBoundaries(
      ArithmeticLogic::And, zPoint64f{a.scale.x, a.scale.y}, zPoint64f{a.offset.x, a.offset.y},
      zPoint64f{mask.offset.x, mask.offset.y}, inA.columns, inA.rows, inM.columns, inM.rows);

  Surface result;
  result.scale = a.scale;
  result.offset = a.offset;
  result.layers.push_back(NewArray(site, TypeOf<z16s>(), inA.rows, inA.columns, allocator_));
  if (inA.intensity)
    result.layers.push_back(NewArray(site, TypeOf<z8u>(), inA.rows, inA.columns, allocator_));
  void* heights = result.layers[0].Get();
  void* intensity = inA.intensity ? result.layers[1].Get() : nullptr;

  // Cell (r, j) of the overlap: a's cell (aRows.first + r - aRows.target, ...), the mask's
  // likewise; a cell of the overlap that lies beyond either input's range stays null.
  for (zSize r = 0; r < inA.rows; ++r) {
    int16_t* dst = static_cast<int16_t*>(zArray2_Row(heights, r));
    std::fill(dst, dst + inA.columns, kNull16);
  }
  for (int r = 0; r < area.rows; ++r) {
    const int rowA = SourceIndex(area.aRows, r), rowM = SourceIndex(area.bRows, r);
    if (rowA < 0 || rowM < 0) continue;
    const int16_t* srcA = static_cast<const int16_t*>(zArray2_Row(inA.heights, zSize(rowA)));
    const int16_t* srcM = static_cast<const int16_t*>(zArray2_Row(inM.heights, zSize(rowM)));
    const uint8_t* srcI =
        intensity ? static_cast<const uint8_t*>(zArray2_Row(inA.intensity, zSize(rowA))) : nullptr;
    int16_t* dst = static_cast<int16_t*>(zArray2_Row(heights, zSize(rowA)));
    uint8_t* dstI =
        intensity ? static_cast<uint8_t*>(zArray2_Row(intensity, zSize(rowA))) : nullptr;
    for (int j = 0; j < area.columns; ++j) {
      const int columnA = SourceIndex(area.aColumns, j), columnM = SourceIndex(area.bColumns, j);
      if (columnA < 0 || columnM < 0 || srcM[columnM] == kNull16) continue;
      dst[columnA] = srcA[columnA];
      if (dstI) dstI[columnA] = srcI[columnA];
    }
  }
  out = result;
}

}  // namespace Vision
}  // namespace Ro
