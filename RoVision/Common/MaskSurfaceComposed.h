// A region composed of shared member regions over the same surface.
//
// Include mode (0): the mask is the union of the members' masks and the bounding box the union
// of their boxes. Exclude mode (1): the mask is the intersection of the members' masks (each of
// the surface's size) and the box the intersection of their boxes; without members the mask is
// empty. Any other mode gives an empty mask over the union box. The members' masks are built
// (with their own thresholds and reversals) when the composed box is computed; a member that was
// changed afterwards (its box or mask no longer valid) makes the composed region compute again.
//
// Errors: a member whose mask differs in size from the composed mask raises status 0 with
// "Bounding Box should be the same size as mask for INCLUDE mode" in include mode and -984 in
// exclude mode; a sub-region index beyond the list raises -997, as does adding a null member.
#ifndef ROVISION_COMMON_MASKSURFACECOMPOSED_H
#define ROVISION_COMMON_MASKSURFACECOMPOSED_H

#include <cstddef>
#include <memory>
#include <vector>

#include "MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

class RO_API ComposedRoiSurface : public RoiSurface {
 public:
  using Member = std::shared_ptr<RoiSurface>;
  using Iterator = std::vector<Member>::const_iterator;

  ComposedRoiSurface(const Surface& surface, MaskMode mode, void* allocator);
  MaskType GetShapeType() const override { return MaskType::Composed; }
  RectRegionRLE* GetRectRegionRLE() override;
  // The mode is the composed region's shape.
  MaskMode GetShape() const { return mode_; }
  MaskMode GetMaskMode() const { return mode_; }
  // Replaces surface, mode and allocator and resets the previous results; members are kept.
  void UpdateInputParams(const Surface& surface, MaskMode mode, void* allocator);

  void Add(const Member& roi);
  Iterator Begin() const { return members_.begin(); }
  Iterator End() const { return members_.end(); }
  std::size_t GetRoiCount() const { return members_.size(); }
  // Keeps the first `count` members; a larger count raises -997 (members are added with Add).
  void Resize(std::size_t count);
  Rect2d<int> GetSubBoundingBox(std::size_t index);
  Member GetSubRoi(std::size_t index) const;
  MaskType GetSubShapeType(std::size_t index) const;
  const Ty::Object<void*>& GetSubMask(std::size_t index);

 protected:
  void _CalculateBoundingBox() override;
  void _AssignMask() override;
  // Combines the members' boxes and regions into the composed ones.
  void _UpdateBoundingBox();

 private:
  const Member& CheckedMember(std::size_t index, const char* function) const;
  MaskMode mode_;
  std::vector<Member> members_;
};

}  // namespace Vision
}  // namespace Ro

#endif
