// Anchoring: moving regions, polygons, sectors and point sets from their nominal place to the
// place of a feature found at run time (the Anchor functions), and back (the Inv functions).
//
// Plane forms (Region2d, RegionXZ, 2D and XZ polygons) turn about the origin and then shift:
// with the anchor angle and both offsets set, a reference point (u, w) becomes
//   (u cos a - w sin a + offset_u,  u sin a + w cos a + offset_w);
// otherwise each offset that is set is added to its coordinate and nothing turns. The 2D forms
// use the anchor's x, y and rz; the XZ forms its x, z and ry, with the same formula (the point
// turns from +x toward +z). A region's own angle grows by rz in 2D but shrinks by ry in XZ. That
// sign flip is deliberate and kept for compatibility (a right-handed turn about y carries +x
// toward -z); it means that in XZ the reference point and the region's angle turn opposite ways.
//
// 3D forms go through the RefFrame of CreateAnchorTransform: reference points (a region's or
// sector's centre, polygon corners, point sets) are mapped by it (the inverse forms by its
// inverse), and the record's angles follow the plane rule axis by axis: angleX, angleY and
// angleZ grow by rx, ry and rz (each when both it and the anchor angle are set, and only when the
// rotation order applies a rotation), and shrink by them in the inverse forms. An annular sector
// has no turn of its own, so its start angle takes rz instead.
//
// Unset anchor components (the double null) never fail; they do not act, so an anchor with all
// six unset leaves everything unchanged. A reference point with an unset coordinate keeps it
// (plane forms) or becomes the unset point (3D forms). Null input or output pointers throw -997
// (Ty::Exception, source file "Alignment/Anchor").
#ifndef ROVISION_ALIGNMENT_ANCHOR_H
#define ROVISION_ALIGNMENT_ANCHOR_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../Common/Common.h"
#include "RefFrame.h"

namespace Ro {
namespace Vision {

// A feature position and its angles in degrees about the x, y and z axes.
struct Anchor {
  double x = kNullDouble;
  double y = kNullDouble;
  double z = kNullDouble;
  double rx = kNullDouble;
  double ry = kNullDouble;
  double rz = kNullDouble;
};

// How the three anchor angles combine: through RefFrame::RotateXYZ (0) or RotateZYX (1). Any
// other value applies no rotation.
enum RotationOrder : int32_t { kRotationOrderXYZ = 0, kRotationOrderZYX = 1 };

// The identity, then the rotation of `order` by (rx, ry, rz), then the translation (x, y, z):
// p maps to R p + (x, y, z), unset components skipped.
RO_API RefFrame CreateAnchorTransform(const Anchor& anchor, RotationOrder order);

RO_API void AnchorRegion(const Anchor& anchor, const Region2d<double>& in, Region2d<double>* out);
RO_API void AnchorRegionInv(const Anchor& anchor, const Region2d<double>& in,
                            Region2d<double>* out);
RO_API void AnchorRegion(const Anchor& anchor, const RegionXZ<double>& in, RegionXZ<double>* out);
RO_API void AnchorRegionInv(const Anchor& anchor, const RegionXZ<double>& in,
                            RegionXZ<double>* out);
RO_API void AnchorRegion(const Anchor& anchor, RotationOrder order, const Region3d<double>& in,
                         Region3d<double>* out);
RO_API void AnchorRegionInv(const Anchor& anchor, RotationOrder order, const Region3d<double>& in,
                            Region3d<double>* out);

// Every corner moves as a region's reference point does; `out` is replaced (it may be `in`).
RO_API void AnchorPolygon(const Anchor& anchor, const std::vector<Point2d<double>>& in,
                          std::vector<Point2d<double>>* out);
RO_API void AnchorPolygon(const Anchor& anchor, const std::vector<PointXZ<double>>& in,
                          std::vector<PointXZ<double>>* out);
RO_API void AnchorPolygon(const Anchor& anchor, RotationOrder order,
                          const std::vector<Point3d<double>>& in,
                          std::vector<Point3d<double>>* out);

RO_API void AnchorAnnularSector(const Anchor& anchor, RotationOrder order,
                                const AnnularSector3d<double>& in, AnnularSector3d<double>* out);
RO_API void AnchorEllipticalSector(const Anchor& anchor, RotationOrder order,
                                   const EllipticalSector3d<double>& in,
                                   EllipticalSector3d<double>* out);

// Maps `count` points to `out` (which may be `points`) by the anchor transform; with every anchor
// component unset the points are copied unchanged.
RO_API void AnchorPointSetRegion(const Anchor& anchor, RotationOrder order,
                                 const Point3d<double>* points, size_t count, Point3d<double>* out);

}  // namespace Vision
}  // namespace Ro

#endif
