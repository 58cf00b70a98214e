#include "MaskSurfaceComposed.h"

#include <zApi/zArray2.h>

#include <algorithm>

#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace {

bool IsEmpty(const Rect2d<int>& r) {
  return r.width <= 0 || r.height <= 0;
}

Rect2d<int> Union(const Rect2d<int>& a, const Rect2d<int>& b) {
  if (IsEmpty(a)) return b;
  if (IsEmpty(b)) return a;
  const int x0 = std::min(a.x, b.x), y0 = std::min(a.y, b.y);
  const int x1 = std::max(a.x + a.width, b.x + b.width);
  const int y1 = std::max(a.y + a.height, b.y + b.height);
  return Rect2d<int>{x0, y0, x1 - x0, y1 - y0};
}

Rect2d<int> Intersection(const Rect2d<int>& a, const Rect2d<int>& b) {
  const int x0 = std::max(a.x, b.x), y0 = std::max(a.y, b.y);
  const int x1 = std::min(a.x + a.width, b.x + b.width);
  const int y1 = std::min(a.y + a.height, b.y + b.height);
  if (x1 <= x0 || y1 <= y0) return Rect2d<int>{0, 0, 0, 0};
  return Rect2d<int>{x0, y0, x1 - x0, y1 - y0};
}

Region2d<double> Combine(const Region2d<double>& a, const Region2d<double>& b, bool unite) {
  const double x0 = unite ? std::min(a.x, b.x) : std::max(a.x, b.x);
  const double y0 = unite ? std::min(a.y, b.y) : std::max(a.y, b.y);
  const double x1 =
      unite ? std::max(a.x + a.width, b.x + b.width) : std::min(a.x + a.width, b.x + b.width);
  const double y1 =
      unite ? std::max(a.y + a.length, b.y + b.length) : std::min(a.y + a.length, b.y + b.length);
  if (x1 < x0 || y1 < y0) return Region2d<double>{0, 0, 0, 0, 0};
  return Region2d<double>{x0, y0, x1 - x0, y1 - y0, 0};
}

}  // namespace

ComposedRoiSurface::ComposedRoiSurface(const Surface& surface, MaskMode mode, void* allocator)
    : RoiSurface(surface, allocator), mode_(mode) {}

RectRegionRLE* ComposedRoiSurface::GetRectRegionRLE() {
  return _BuildRectRegionRLE();
}

void ComposedRoiSurface::UpdateInputParams(const Surface& surface, MaskMode mode, void* allocator) {
  surface_ = surface;
  mode_ = mode;
  allocator_ = allocator;
  _ResetPreviousStatus();
}

void ComposedRoiSurface::Add(const Member& roi) {
  if (!roi)
    Throw(Site{mask::kModule, "Ro::Vision::ComposedRoiSurface::Add"}, __LINE__, kInvalidArgument,
          "the region to add is null");
  members_.push_back(roi);
  boundingBoxValid_ = 0;
  maskValid_ = 0;
}

void ComposedRoiSurface::Resize(std::size_t count) {
  if (count > members_.size()) {
    Throw(Site{mask::kModule, "Ro::Vision::ComposedRoiSurface::Resize"}, __LINE__, kInvalidArgument,
          "the count exceeds the number of members");
  }
  members_.resize(count);
  boundingBoxValid_ = 0;
  maskValid_ = 0;
}

const ComposedRoiSurface::Member& ComposedRoiSurface::CheckedMember(std::size_t index,
                                                                    const char* function) const {
  if (index >= members_.size()) Throw(Site{mask::kModule, function}, __LINE__, kInvalidArgument);
  return members_[index];
}

Rect2d<int> ComposedRoiSurface::GetSubBoundingBox(std::size_t index) {
  return CheckedMember(index, "Ro::Vision::ComposedRoiSurface::GetSubBoundingBox")
      ->GetBoundingBox();
}

ComposedRoiSurface::Member ComposedRoiSurface::GetSubRoi(std::size_t index) const {
  return CheckedMember(index, "Ro::Vision::ComposedRoiSurface::GetSubRoi");
}

MaskType ComposedRoiSurface::GetSubShapeType(std::size_t index) const {
  return CheckedMember(index, "Ro::Vision::ComposedRoiSurface::GetSubShapeType")->GetShapeType();
}

const Ty::Object<void*>& ComposedRoiSurface::GetSubMask(std::size_t index) {
  return CheckedMember(index, "Ro::Vision::ComposedRoiSurface::GetSubMask")->GetMask();
}

void ComposedRoiSurface::_CalculateBoundingBox() {
  // A member's box is final only once its mask is built (a reversal makes it the whole surface).
  for (const Member& m : members_) m->GetMask();
  _UpdateBoundingBox();
}

void ComposedRoiSurface::_UpdateBoundingBox() {
  boundingBox_ = Rect2d<int>{0, 0, 0, 0};
  boundingRegion_ = Region2d<double>{0, 0, 0, 0, 0};
  const bool unite = mode_ != MaskMode::Exclude;
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const Rect2d<int> box = members_[i]->GetBoundingBox();
    const Region2d<double> region = members_[i]->GetBoundingRegion();
    if (i == 0) {
      boundingBox_ = box;
      boundingRegion_ = region;
      continue;
    }
    boundingBox_ = unite ? Union(boundingBox_, box) : Intersection(boundingBox_, box);
    boundingRegion_ = Combine(boundingRegion_, region, unite);
  }
}

void ComposedRoiSurface::_AssignMask() {
  if (!mask_) return;
  const Site site{mask::kModule, "Ro::Vision::ComposedRoiSurface::_AssignMask"};
  void* out = mask_;
  const zSize rows = zArray2_Rows(out), columns = zArray2_Columns(out);
  const bool include = mode_ == MaskMode::Include;
  if (!include && mode_ != MaskMode::Exclude) return;  // an unknown mode keeps the empty mask
  if (members_.empty()) return;
  std::vector<void*> masks;
  std::vector<Rect2d<int>> boxes;
  for (const Member& m : members_) {
    void* sub = m->GetMask();
    if (!sub || zArray2_Rows(sub) != rows || zArray2_Columns(sub) != columns) {
      if (include) {
        Throw(site, __LINE__, kFailure,
              "Bounding Box should be the same size as mask for INCLUDE mode");
      }
      Throw(site, __LINE__, kIncompatible, "every member's mask must have the surface's size");
    }
    masks.push_back(sub);
    boxes.push_back(m->GetBoundingBox());
  }
  const Rect2d<int> box = boundingBox_;
  mask::ForRowsParallel(site, __LINE__, box.y, box.height, pool_, [&](int r) {
    unsigned char* dst = static_cast<unsigned char*>(zArray2_Row(out, zSize(r)));
    if (include) {
      for (std::size_t i = 0; i < masks.size(); ++i) {
        const Rect2d<int>& b = boxes[i];
        if (r < b.y || r >= b.y + b.height) continue;
        const unsigned char* src =
            static_cast<const unsigned char*>(zArray2_Row(masks[i], zSize(r)));
        for (int c = b.x; c < b.x + b.width; ++c) dst[c] |= src[c];
      }
      return;
    }
    const unsigned char* first = static_cast<const unsigned char*>(zArray2_Row(masks[0], zSize(r)));
    for (int c = box.x; c < box.x + box.width; ++c) dst[c] = first[c];
    for (std::size_t i = 1; i < masks.size(); ++i) {
      const unsigned char* src = static_cast<const unsigned char*>(zArray2_Row(masks[i], zSize(r)));
      for (int c = box.x; c < box.x + box.width; ++c) dst[c] &= src[c];
    }
  });
}

}  // namespace Vision
}  // namespace Ro
