// World-unit regions to sample indices, and the two styles of giving a region's position.
//
// The one rule, per axis: for a corner-style range [lo, lo + size] on an axis with offset o and
// scale s, first = ceil((lo - o) / s), last = floor((lo + size - o) / s), count = last - first + 1:
// a sample belongs to the range when its world position lies inside it, ends included. With a
// tolerance t (world units) the ceiling and floor are the tolerant ones below with e = t / s, so
// a position that misses a sample by less than the tolerance still takes it:
//   tolerant ceiling of v (k = v truncated): v > 0: k if k > v - e, else k + 1;
//                                            v <= 0: k - 1 if k - 1 > v - e, else k.
//   tolerant floor of v:                     v > 0: k + 1 if v + e > k + 1, else k;
//                                            v <= 0: k if v + e > k, else k - 1.
// (With a tolerance of exactly 0 they exclude a sample lying exactly on the range's start at a
// positive position, or on its end at a negative one.)
// Clipping to n samples: a first index beyond n - 1 leaves nothing; a negative first index is
// moved to 0 and the count shortened by as much; a range past the end is cut at n.
// Indices outside the 32-bit range are clamped to it.
//
// Every conversion does nothing when the region or the output pointer is null.
#ifndef ROVISION_UTILS_REGIONCONVERSION_H
#define ROVISION_UTILS_REGIONCONVERSION_H

#include <zApi/zDefs.h>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// Centre style to corner style: the position moves by half the sizes; other fields are copied.
RO_API Region2d<double> ConvertRegionToCornerStyle(const Region2d<double>& region);
RO_API RegionXZ<double> ConvertRegionToCornerStyle(const RegionXZ<double>& region);
RO_API Region3d<double> ConvertRegionToCornerStyle(const Region3d<double>& region);
// Corner style to centre style.
RO_API Region2d<double> ConvertRegionToCenterStyle(const Region2d<double>& region);
RO_API RegionXZ<double> ConvertRegionToCenterStyle(const RegionXZ<double>& region);
RO_API Region3d<double> ConvertRegionToCenterStyle(const Region3d<double>& region);

// A centre-style region as the corner-style platform rectangle of the same size; angles dropped.
RO_API zRect64f ConvertRegionTozRect(const Region2d<double>& region);
RO_API zRect64f ConvertRegionTozRect(const RegionXZ<double>& region);
RO_API zRect3d64f ConvertRegionTozRect(const Region3d<double>& region);

// cos and sin of an angle in degrees (angle * 3.141592653589793 / 180).
RO_API double CosDegree(double angle);
RO_API double SinDegree(double angle);

// One axis: a corner-style range (start, length) over `count` samples.
RO_API void GetRegionPixel(unsigned long long count, double offset, double scale,
                           const RunLength<double>* region, RunLength<int>* out,
                           const double* tolerance = nullptr, int clip = 1);

// A centre-style X/Z region: X against the samples, Z against the 16-bit height counts (the
// output's y and height). When clipping, Z is kept within -32768..32767 and both counts are 0
// when either axis is empty.
RO_API void GetRegionXZPixel(unsigned long long count, zPoint64f offset, zPoint64f scale,
                             const RegionXZ<double>* region, Rect2d<int>* out,
                             const zPoint64f* tolerance = nullptr, int clip = 1);

// A 2D region over columns and rows; converted from centre style first when `centerStyle` is
// non-zero. The angle is ignored: the unrotated rectangle is converted. When clipping, both
// counts are 0 when either axis is empty.
RO_API void GetRegionPixel(unsigned long long columns, unsigned long long rows, zPoint64f offset,
                           zPoint64f scale, const Region2d<double>* region, Rect2d<int>* out,
                           const zPoint64f* tolerance = nullptr, int clip = 1, int centerStyle = 1);

// A centre-style 3D region: X and Y as the 2D form, Z unclipped. When any of the three counts
// is not positive, all three are 0.
RO_API void GetRegionPixel(unsigned long long columns, unsigned long long rows, zPoint3d64f offset,
                           zPoint3d64f scale, const Region3d<double>* region, Rect3d<int>* out,
                           const zPoint3d64f* tolerance = nullptr, int clip = 1);
RO_API void GetRegionPixel(const SurfaceInputData& data, const Region3d<double>* region,
                           Rect3d<int>* out, const zPoint3d64f* tolerance = nullptr, int clip = 1);

}  // namespace Vision
}  // namespace Ro

#endif
