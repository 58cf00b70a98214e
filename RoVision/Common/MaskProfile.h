// Regions of interest over a profile: a shape in the profile's X/Z plane becomes a bounding
// segment (the first point and the number of points that the shape's X extent covers) and a
// mask (a zArray1 of z8u, one byte per profile point, 1 where the point belongs to the region).
//
// The profile's layer 0 holds either ranges (z16s: point i lies at X = offset.x + i x scale.x,
// Z = offset.z + range x scale.z, where the record keeps Z in the y fields) or points (zPoint64f:
// raw x in x and raw z in y, converted the same way). A range or a coordinate of -32768 is null:
// such a point is never in the mask, whatever the mode.
//
// Bounding segment. Include mode: the shape's axis-aligned X extent through the one-axis
// region-to-index rule with a tolerance of 0.0005 world units, clipped to the profile's points;
// mask bytes outside it are 0. Exclude mode and point profiles: the whole profile, since points
// anywhere may belong to the region (a point profile's X is not tied to the point index).
//
// A region keeps a copy of the profile (sharing its layers), so the profile's data must outlive
// the region's use; the mask is made with the region's allocator and owned by the region.
#ifndef ROVISION_COMMON_MASKPROFILE_H
#define ROVISION_COMMON_MASKPROFILE_H

#include <TyApi/TyObject.h>

#include <memory>
#include <vector>

#include "Common.h"
#include "MaskTypes.h"

namespace Ro {
namespace Vision {

class RO_API RoiProfile {
 public:
  // `allocator` makes the mask (null: the platform's default); it is not owned.
  RoiProfile(const Profile& profile, MaskMode mode, void* allocator);
  virtual ~RoiProfile();

  virtual MaskType GetShapeType() const = 0;
  // Computes the bounding segment, then the mask. Raises what _CheckApplyRoiConditions raises;
  // a failing mask allocation raises the platform's status.
  virtual void ApplyRoi();
  virtual int IsBoundingSegmentValid() const;
  virtual int IsMaskValid() const;

  RunLength<int> GetBoundingSegment() const { return boundingSegment_; }
  // The mask; empty until ApplyRoi has run.
  const Ty::Object<void*>& GetMask() const { return mask_; }
  MaskMode GetMaskMode() const { return mode_; }
  const Profile& GetProfile() const { return profile_; }

 protected:
  virtual void _CalculateBoundingSegment() = 0;
  virtual void _AssignMask() = 0;
  virtual void _CheckApplyRoiConditions() = 0;

  // Start 0, length 0, not valid.
  void _ResetBoundingSegment();
  // The whole profile (start 0, length = its point count); false when it has no layer 0.
  bool _SetFullBoundingSegment();
  // Number of points of layer 0 (0 without one).
  unsigned long long _PointCount() const;

  Profile profile_;
  MaskMode mode_;
  void* allocator_;
  Ty::Object<void*> mask_;
  RunLength<int> boundingSegment_{0, 0};
  int segmentValid_ = 0;
  int maskValid_ = 0;

 private:
  // A new zero-filled mask of one byte per point, replacing the held one.
  void _ConstructMask();
};

// A single shape: the mask byte of each point in the bounding segment is _IsPointInRegion of
// its world position (inverted in Exclude mode).
class RO_API SingleRoiProfile : public RoiProfile {
 public:
  SingleRoiProfile(const Profile& profile, MaskMode mode, void* allocator);

 protected:
  void _AssignMask() override;
  // A bounding segment reaching past the profile's points raises -997; a point profile whose
  // bounding segment is not the whole profile raises status 0 "Bounding Segment should be FULL
  // for point cloud format"; a layer 0 that is neither z16s nor zPoint64f raises -996.
  void _CheckApplyRoiConditions() override;
  virtual int _IsPointInRegion(const PointXZ<double>& point) const = 0;

  // The segment of the world X range [lo, hi] (Include mode), or the whole profile.
  void _SetSegmentFromExtent(double lo, double hi);
};

// A polygon of corners in order (even-odd rule; points on an edge are inside).
class RO_API PolygonRoiProfile : public SingleRoiProfile {
 public:
  PolygonRoiProfile(const Profile& profile, const std::vector<PointXZ<double>>& corners,
                    MaskMode mode = MaskMode::Include, void* allocator = nullptr);
  MaskType GetShapeType() const override { return MaskType::Polygon; }
  const std::vector<PointXZ<double>>& GetShape() const { return corners_; }

 protected:
  void _CalculateBoundingSegment() override;
  int _IsPointInRegion(const PointXZ<double>& point) const override;

  std::vector<PointXZ<double>> corners_;
};

// A centre-style rectangle in the X/Z plane, turned by its angle about its centre. It is
// reported as a rectangle whatever its angle.
class RO_API RectangleRoiProfile : public PolygonRoiProfile {
 public:
  RectangleRoiProfile(const Profile& profile, const RegionXZ<double>& region,
                      MaskMode mode = MaskMode::Include, void* allocator = nullptr);
  MaskType GetShapeType() const override { return MaskType::Rectangle; }
  const RegionXZ<double>& GetShape() const { return region_; }

 private:
  RegionXZ<double> region_;
};

// The ring between two ellipses, limited to an angular sector. Its X extent is exact: the
// extremes of both ellipses that lie inside the sector and the ends of its two radial edges.
class RO_API EllipseRoiProfile : public SingleRoiProfile {
 public:
  EllipseRoiProfile(const Profile& profile, const EllipticalSectorXZ<double>& sector,
                    MaskMode mode = MaskMode::Include, void* allocator = nullptr);
  MaskType GetShapeType() const override { return MaskType::Ellipse; }
  const EllipticalSectorXZ<double>& GetShape() const { return sector_; }

 protected:
  void _CalculateBoundingSegment() override;
  int _IsPointInRegion(const PointXZ<double>& point) const override;

  EllipticalSectorXZ<double> sector_;
};

// The ring between two circles, limited to an angular sector; its bounding segment is that of
// the equal elliptical sector.
class RO_API CircleRoiProfile : public EllipseRoiProfile {
 public:
  CircleRoiProfile(const Profile& profile, const AnnularSectorXZ<double>& sector,
                   MaskMode mode = MaskMode::Include, void* allocator = nullptr);
  MaskType GetShapeType() const override { return MaskType::Circle; }
  const AnnularSectorXZ<double>& GetShape() const { return annulus_; }

 protected:
  int _IsPointInRegion(const PointXZ<double>& point) const override;

 private:
  AnnularSectorXZ<double> annulus_;
};

// Members combined by the mode: Include takes the union of their masks over the span of their
// bounding segments; Exclude their intersection, which needs every member to cover the whole
// profile (members in Exclude mode always do). Any other mode gives an all-zero mask. ApplyRoi
// applies every member first.
class RO_API ComposedRoiProfile : public RoiProfile {
 public:
  ComposedRoiProfile(const Profile& profile, MaskMode mode = MaskMode::Include,
                     void* allocator = nullptr);
  MaskType GetShapeType() const override { return MaskType::Composed; }
  void ApplyRoi() override;

  // Appends a member (shared); a null member raises -997.
  void Add(std::shared_ptr<RoiProfile> roi);
  int GetRoiCount() const { return static_cast<int>(members_.size()); }
  // A member's segment and mask; an index outside 0..count-1 raises -997.
  RunLength<int> GetSubBoundingSegment(int index) const;
  const Ty::Object<void*>& GetSubMask(int index) const;

 protected:
  // Include: from the first start to the last end of the members' segments (empty without
  // members); Exclude: the whole profile.
  void _CalculateBoundingSegment() override;
  // Every member must work on a profile of as many points as this one (-984).
  void _CheckApplyRoiConditions() override;
  void _AssignMask() override;

 private:
  std::vector<std::shared_ptr<RoiProfile>> members_;
};

}  // namespace Vision
}  // namespace Ro

#endif
