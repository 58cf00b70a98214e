#include "SurfaceFillGap.h"

#include <zApi/zArray2.h>

#include <algorithm>
#include <cstddef>

#include "FilterPrivate.h"
#include "SurfaceFillGapPrivate.h"

namespace Ro {
namespace Vision {
namespace {

using filter::kNullHeight;

// One line of a map: `count` cells `stride` items apart.
struct Line {
  const short* heights;
  const unsigned char* intensities;  // null without intensities
  std::size_t count;
  std::ptrdiff_t stride;

  short Height(std::size_t i) const { return heights[static_cast<std::ptrdiff_t>(i) * stride]; }
  unsigned char Intensity(std::size_t i) const {
    return intensities ? intensities[static_cast<std::ptrdiff_t>(i) * stride] : 0;
  }
};

// A value found for a null cell, with the distance between the edges it came from (nulls + 1).
struct Fill {
  short height;
  unsigned char intensity;
  long long span;
};

// Walks a line and calls fill(index, Fill) for every null it fills; the line itself is read
// only. At most gapCells nulls in a row are filled; nulls at the ends stay.
template <class OnFill>
void FillLine(const Line& line, long long gapCells, long long slopeStep, bool fillHigh,
              OnFill&& fill) {
  // Starting above the limit keeps the nulls at the start of the line unfilled.
  long long nulls = gapCells + 1;
  for (std::size_t i = 0; i < line.count; ++i) {
    const short right = line.Height(i);
    if (right == kNullHeight) {
      nulls = std::min(nulls + 1, gapCells + 1);
      continue;
    }
    if (nulls >= 1 && nulls <= gapCells) {
      const std::size_t left = i - static_cast<std::size_t>(nulls) - 1;
      const short leftHeight = line.Height(left);
      const long long span = nulls + 1;
      const long long limit = slopeStep * span;
      const long long rise = static_cast<long long>(right) - leftHeight;
      const int leftIntensity = line.Intensity(left);
      const int rightIntensity = line.Intensity(i);
      if (rise <= limit && -rise <= limit) {
        const long long intensityRise = rightIntensity - leftIntensity;
        for (long long j = 1; j < span; ++j) {
          fill(left + static_cast<std::size_t>(j),
               Fill{static_cast<short>(leftHeight + rise * j / span),
                    static_cast<unsigned char>(leftIntensity + intensityRise * j / span), span});
        }
      } else {
        const bool takeLeft = fillHigh ? leftHeight > right : leftHeight < right;
        const Fill flat{takeLeft ? leftHeight : right,
                        static_cast<unsigned char>(takeLeft ? leftIntensity : rightIntensity),
                        span};
        for (long long j = 1; j < span; ++j) fill(left + static_cast<std::size_t>(j), flat);
      }
    }
    nulls = 0;
  }
}

struct Maps {
  const short* heights;
  const unsigned char* intensities;  // null without intensities
  short* outHeights;
  unsigned char* outIntensities;
  std::size_t rows;
  std::size_t columns;

  Line Row(std::size_t r) const {
    return Line{heights + r * columns, intensities ? intensities + r * columns : nullptr, columns,
                1};
  }
  Line Column(std::size_t c) const {
    return Line{heights + c, intensities ? intensities + c : nullptr, rows,
                static_cast<std::ptrdiff_t>(columns)};
  }
  void Write(std::size_t cell, const Fill& fill) const {
    outHeights[cell] = fill.height;
    if (outIntensities) outIntensities[cell] = fill.intensity;
  }
  // The distance between the non-null neighbours of a null cell along its row.
  long long RowSpan(std::size_t r, std::size_t c) const {
    const short* row = heights + r * columns;
    std::size_t left = c;
    while (row[left] == kNullHeight) --left;
    std::size_t right = c;
    while (row[right] == kNullHeight) ++right;
    return static_cast<long long>(right - left);
  }
};

void FillRows(const Maps& maps, const FillGapLimits& limits) {
  for (std::size_t r = 0; r < maps.rows; ++r) {
    const std::size_t first = r * maps.columns;
    FillLine(maps.Row(r), limits.gapCellsX, limits.slopeStepX, limits.fillMode != 0,
             [&](std::size_t j, const Fill& fill) { maps.Write(first + j, fill); });
  }
}

void FillColumns(const Maps& maps, const FillGapLimits& limits) {
  for (std::size_t c = 0; c < maps.columns; ++c) {
    FillLine(maps.Column(c), limits.gapCellsY, limits.slopeStepY, limits.fillMode != 0,
             [&](std::size_t j, const Fill& fill) { maps.Write(j * maps.columns + c, fill); });
  }
}

// Both directions. The row fills go first; then each column fill either takes a cell that no
// row fill reached or is merged with the row fill there: each weighted by the other's world
// span (edges' distance times spacing * 1000), so the shorter gap in world units counts more,
// and equal spans give the plain mean. Both fills come from the input alone.
void FillBoth(const Maps& maps, const FillGapLimits& limits) {
  FillRows(maps, limits);
  for (std::size_t c = 0; c < maps.columns; ++c) {
    FillLine(maps.Column(c), limits.gapCellsY, limits.slopeStepY, limits.fillMode != 0,
             [&](std::size_t r, const Fill& columnFill) {
               const std::size_t cell = r * maps.columns + c;
               if (maps.outHeights[cell] == kNullHeight) {
                 maps.Write(cell, columnFill);
                 return;
               }
               const double spanX = static_cast<double>(maps.RowSpan(r, c)) * limits.spacingX1000;
               const double spanY = static_cast<double>(columnFill.span) * limits.spacingY1000;
               const double total = spanX + spanY;
               // Spacings below 0.0005 round to 0: weigh the two fills equally then.
               const double weightX = total > 0 ? spanY / total : 0.5;
               const double weightY = total > 0 ? spanX / total : 0.5;
               const double height = weightX * maps.outHeights[cell] + weightY * columnFill.height;
               maps.outHeights[cell] = static_cast<short>(filter::RoundHalfAway(height));
               if (maps.outIntensities) {
                 const double intensity =
                     weightX * maps.outIntensities[cell] + weightY * columnFill.intensity;
                 maps.outIntensities[cell] = static_cast<unsigned char>(intensity + 0.5);
               }
             });
  }
}

bool AngleInRange(double angle) {
  return angle >= 0 && angle < 90;
}

}  // namespace

void SurfaceFillGapXY(const SurfaceFillGapParams& params, const Ty::Object<void*>& heights,
                      const Ty::Object<void*>& intensities, Ty::Object<void*>& outHeights,
                      Ty::Object<void*>& outIntensities, void* allocator) {
  const Site site{filter::kModule, "Ro::Vision::SurfaceFillGapXY"};
  if (!heights || zArray2_ItemType(heights) != zTypeOf(z16s)) {
    Throw(site, 2451, kInvalidArgument, "heights must be a zArray2 of z16s");
  }
  const std::size_t rows = zArray2_Rows(heights);
  const std::size_t columns = zArray2_Columns(heights);
  if (intensities &&
      (zArray2_ItemType(intensities) != zTypeOf(z8u) || zArray2_Rows(intensities) != rows ||
       zArray2_Columns(intensities) != columns)) {
    Throw(site, 2452, kInvalidArgument,
          "intensities must be a zArray2 of z8u of the heights' size");
  }
  if (!AngleInRange(params.maxSlopeAngleX)) {
    Throw(site, 2453, kInvalidArgument, "max slope angle x must satisfy 0 <= angle < 90");
  }
  if (!AngleInRange(params.maxSlopeAngleY)) {
    Throw(site, 2454, kInvalidArgument, "max slope angle y must satisfy 0 <= angle < 90");
  }
  if (params.maxGapX > 0 && !(params.xSpacing > 0)) {
    Throw(site, __LINE__, kInvalidArgument, "x spacing must be > 0 to fill along x");
  }
  if (params.maxGapY > 0 && !(params.ySpacing > 0)) {
    Throw(site, __LINE__, kInvalidArgument, "y spacing must be > 0 to fill along y");
  }
  if ((params.maxGapX > 0 || params.maxGapY > 0) && !(params.zScale > 0)) {
    Throw(site, __LINE__, kInvalidArgument, "z scale must be > 0 to fill");
  }
  const FillGapLimits limits = DeriveFillGapLimits(params);

  Ty::Object<void*> filledHeights;
  Ty::Object<void*> filledIntensities;
  if (limits.gapCellsX <= 0 && limits.gapCellsY <= 0) {
    Check(site, __LINE__, zArray2_Clone(heights, allocator, filledHeights.Address()));
    if (intensities) {
      Check(site, __LINE__, zArray2_Clone(intensities, allocator, filledIntensities.Address()));
    }
  } else {
    // Every cell starts as it is read; the fills then overwrite the nulls they reach.
    Check(site, 2463, zArray2_Clone(heights, allocator, filledHeights.Address()));
    if (intensities) {
      Check(site, 2483, zArray2_Clone(intensities, allocator, filledIntensities.Address()));
    }
    const Maps maps{
        static_cast<const short*>(zArray2_Data(heights)),
        intensities ? static_cast<const unsigned char*>(zArray2_Data(intensities)) : nullptr,
        static_cast<short*>(zArray2_Data(filledHeights)),
        intensities ? static_cast<unsigned char*>(zArray2_Data(filledIntensities)) : nullptr,
        rows,
        columns};
    if (limits.gapCellsY <= 0) {
      FillRows(maps, limits);
    } else if (limits.gapCellsX <= 0) {
      FillColumns(maps, limits);
    } else {
      FillBoth(maps, limits);
    }
  }
  outHeights = std::move(filledHeights);
  outIntensities = std::move(filledIntensities);
}

}  // namespace Vision
}  // namespace Ro
