#include "SurfaceDecimate.h"

#include <zApi/zArray2.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "FilterPrivate.h"

namespace Ro {
namespace Vision {
namespace {

const Site kSite{filter::kModule, "Ro::Vision::SurfaceDecimate"};

// Output cells along one axis of n input cells.
std::size_t OutputCells(std::size_t n, unsigned long long cellCount, double factor, int line) {
  if (cellCount > 0) return static_cast<std::size_t>(std::min<unsigned long long>(cellCount, n));
  if (!(factor > 0)) Throw(kSite, line, kInvalidArgument, "a factor must be > 0");
  factor = std::min(factor, 1.0);
  const double cells = filter::RoundHalfAway(static_cast<double>(n) * factor);
  return std::clamp<std::size_t>(static_cast<std::size_t>(cells), 1, n);
}

// First input cell of each output cell, plus the end: floor(i * n / m).
std::vector<std::size_t> BlockEdges(std::size_t n, std::size_t m) {
  std::vector<std::size_t> edges(m + 1);
  for (std::size_t i = 0; i <= m; ++i) {
    edges[i] = static_cast<std::size_t>(static_cast<unsigned __int128>(i) * n / m);
  }
  return edges;
}

// Null-aware block means of one layer; T is short (null -32768) or unsigned char (null 0).
template <class T>
void DecimateLayer(void* input, void* output, const std::vector<std::size_t>& rowEdges,
                   const std::vector<std::size_t>& columnEdges) {
  constexpr T kNull = GetNull<T>();
  const std::size_t outColumns = columnEdges.size() - 1;
  std::vector<long long> sums(outColumns);
  std::vector<long long> counts(outColumns);
  for (std::size_t o = 0; o + 1 < rowEdges.size(); ++o) {
    std::fill(sums.begin(), sums.end(), 0);
    std::fill(counts.begin(), counts.end(), 0);
    for (std::size_t r = rowEdges[o]; r < rowEdges[o + 1]; ++r) {
      const T* row = static_cast<const T*>(zArray2_Row(input, r));
      for (std::size_t k = 0; k < outColumns; ++k) {
        for (std::size_t c = columnEdges[k]; c < columnEdges[k + 1]; ++c) {
          if (row[c] == kNull) continue;
          sums[k] += row[c];
          ++counts[k];
        }
      }
    }
    T* out = static_cast<T*>(zArray2_Row(output, o));
    for (std::size_t k = 0; k < outColumns; ++k) {
      out[k] = counts[k] > 0 ? static_cast<T>(sums[k] / counts[k]) : kNull;
    }
  }
}

// Scale and offset of one axis after n cells became m.
void Rescale(double* scale, double* offset, std::size_t n, std::size_t m) {
  if (IsNull(*scale)) return;
  const double ratio = static_cast<double>(n) / static_cast<double>(m);
  if (!IsNull(*offset)) *offset += *scale * (ratio - 1) / 2;
  *scale *= ratio;
}

}  // namespace

Surface SurfaceDecimate(const Surface& surface, Point2d<unsigned long long> cellCounts,
                        Point2d<double> factors, void* allocator) {
  if (surface.layers.empty() || !surface.layers[0] ||
      zArray2_ItemType(surface.layers[0]) != zTypeOf(z16s)) {
    Throw(kSite, 2505, kInvalidArgument, "the surface needs a height layer of z16s");
  }
  void* heights = surface.layers[0].Get();
  const std::size_t rows = zArray2_Rows(heights);
  const std::size_t columns = zArray2_Columns(heights);
  void* intensities = surface.layers.size() > 1 ? surface.layers[1].Get() : nullptr;
  if (intensities &&
      (zArray2_ItemType(intensities) != zTypeOf(z8u) || zArray2_Rows(intensities) != rows ||
       zArray2_Columns(intensities) != columns)) {
    Throw(kSite, 2517, kInvalidArgument, "the intensity layer must be z8u of the heights' size");
  }
  if (rows == 0 || columns == 0) Throw(kSite, 2547, kInvalidArgument, "the height map is empty");
  const std::size_t outColumns = OutputCells(columns, cellCounts.x, factors.x, 2524);
  const std::size_t outRows = OutputCells(rows, cellCounts.y, factors.y, 2529);
  const std::vector<std::size_t> rowEdges = BlockEdges(rows, outRows);
  const std::vector<std::size_t> columnEdges = BlockEdges(columns, outColumns);

  Surface result;
  result.scale = surface.scale;
  result.offset = surface.offset;
  Rescale(&result.scale.x, &result.offset.x, columns, outColumns);
  Rescale(&result.scale.y, &result.offset.y, rows, outRows);
  Ty::Object<void*> outHeights;
  Check(kSite, __LINE__,
        zArray2_Construct(outHeights.Address(), zTypeOf(z16s), outRows, outColumns, allocator));
  DecimateLayer<short>(heights, outHeights, rowEdges, columnEdges);
  result.layers.push_back(std::move(outHeights));
  if (surface.layers.size() > 1) {
    Ty::Object<void*> outIntensities;
    if (intensities) {
      Check(kSite, __LINE__,
            zArray2_Construct(outIntensities.Address(), zTypeOf(z8u), outRows, outColumns,
                              allocator));
      DecimateLayer<unsigned char>(intensities, outIntensities, rowEdges, columnEdges);
    }
    result.layers.push_back(std::move(outIntensities));
  }
  return result;
}

}  // namespace Vision
}  // namespace Ro
