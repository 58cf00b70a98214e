// RefFrame: a 3D affine (usually rigid) transform of twelve doubles, three axis columns and a
// translation, and RobotPose, a position with three angles.
//
// A point p maps to
//   (Ix px + Jx py + Kx pz + Tx,  Iy px + Jy py + Ky pz + Ty,  Iz px + Jz py + Kz pz + Tz),
// so (Ix, Iy, Iz) is the image of the x axis, (Jx, Jy, Jz) of the y axis, (Kx, Ky, Kz) of the
// z axis and (Tx, Ty, Tz) the translation.
//
// Composition: a * b (and Mul(a, b)) is first a, then b; its 3 x 3 part is B A and its
// translation B Ta + Tb. Every operation that adds a rotation, translation or scale composes it
// after the current frame (this = this * R): it acts in the world coordinates of the already
// transformed points.
//
// Angles are in degrees. The double null (-1.7976931348623157e308) means "not given" for
// angles, offsets and point coordinates: an unset angle or offset does nothing, and a point with
// an unset coordinate maps to the unset point.
//
// Only Serialize, Deserialize and SetFrame from correspondences throw (Ty::Exception, source
// file "Alignment/RefFrame").
#ifndef ROVISION_ALIGNMENT_REFFRAME_H
#define ROVISION_ALIGNMENT_REFFRAME_H

#include <zApi/zDefs.h>
#include <zVision/zVision.h>

#include <cstddef>
#include <vector>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// A position and three angles; the meaning and order of the angles follow the caller.
struct RobotPose {
  RobotPose() = default;
  RobotPose(double x_, double y_, double z_, double angle1_, double angle2_, double angle3_)
      : x(x_), y(y_), z(z_), angle1(angle1_), angle2(angle2_), angle3(angle3_) {}

  double x = kNullDouble;
  double y = kNullDouble;
  double z = kNullDouble;
  double angle1 = kNullDouble;
  double angle2 = kNullDouble;
  double angle3 = kNullDouble;
};

class RO_API RefFrame {
 public:
  // The identity.
  RefFrame();
  // All twelve values in field order.
  RefFrame(double ix, double iy, double iz, double jx, double jy, double jz, double kx, double ky,
           double kz, double tx, double ty, double tz);
  RefFrame(const RefFrame&) = default;
  RefFrame(RefFrame&&) = default;
  RefFrame& operator=(const RefFrame&) = default;
  RefFrame& operator=(RefFrame&&) = default;

  RefFrame& SetIdentity();
  // True when each of the twelve values is within 2.220446049250313e-16 of the identity's.
  bool IsIdentity() const;

  // Adds each offset that is set to the translation.
  RefFrame& Translate(double dx, double dy, double dz);
  RefFrame& Translate(const Point3d<double>& offset);

  // Composes a rotation by `angle` about `axis` through the origin (right-handed). Nothing
  // happens when the angle is 0 or unset. The axis is not normalised: the quaternion
  // (axis sin(a/2), cos(a/2)) is normalised instead, so a non-unit axis changes the effective
  // angle (90 degrees about (0, 0, 2) turn by 2 acos(1/sqrt(5)), about 126.87 degrees).
  RefFrame& Rotate(double angle, const Point3d<double>& axis);
  // Replaces the frame by the tilt that carries the z axis onto the direction (nx, ny, nz),
  // turning about the horizontal axis perpendicular to it. With any component unset the frame
  // becomes the identity; a zero vector gives the identity.
  RefFrame& Rotate(double nx, double ny, double nz);
  // Rotates about z by rz, then about y by ry, then about x by rx (matrix Rx Ry Rz).
  RefFrame& RotateXYZ(double rx, double ry, double rz);
  // Rotates about x by rx, then about y by ry, then about z by rz (matrix Rz Ry Rx).
  RefFrame& RotateZYX(double rx, double ry, double rz);
  // Rotation by `angle` about `axis` through `point`: translate by -point, rotate, translate
  // back. An unset coordinate of the point counts as 0; an angle of 0 or unset does nothing.
  RefFrame& RotateAroundPoint(const Point3d<double>& point, double angle,
                              const Point3d<double>& axis);
  // Rotation about the z axis through the region's centre (x, y, z) by its angleZ, negated when
  // `inverse` is true.
  RefFrame& Rotate(const Region3d<double>& region, bool inverse);
  // Composes a scale along the world axes by the three factors; an unset factor counts as 1.
  RefFrame& Scale(const Point3d<double>& factors);
  // Inverts the frame assuming its 3 x 3 part is orthonormal: transposes it and sets the
  // translation to -(R^T T).
  RefFrame& InvertOrtho();

  Point3d<double> Apply(const Point3d<double>& p) const;
  zPoint3d64f Apply(const zPoint3d64f& p) const;
  // A 2D point is taken at z = 0; the result is the (x, y) of its image.
  zPoint64f Apply(const zPoint64f& p) const;
  // Maps `count` points of `in` to `out` (which may be `in`). Null runs do nothing. For
  // zPoint3d32f the arithmetic is in double and the float null (-FLT_MAX) marks unset
  // coordinates; 2D points are taken at z = 0.
  void ApplyN(const zPoint3d32f* in, zPoint3d32f* out, size_t count) const;
  void ApplyN(const zPoint3d64f* in, zPoint3d64f* out, size_t count) const;
  void ApplyN(const Point3d<double>* in, Point3d<double>* out, size_t count) const;
  void ApplyN(const zPoint64f* in, zPoint64f* out, size_t count) const;

  // First this frame, then `next`.
  RefFrame operator*(const RefFrame& next) const;
  static RefFrame Mul(const RefFrame& first, const RefFrame& second);

  // The platform transform, row by row: (Ix, Jx, Kx, Tx), (Iy, Jy, Ky, Ty), (Iz, Jz, Kz, Tz).
  zL3dTransform3d TozTransform() const;

  // The scale factors along the world axes: the lengths of the rows of the 3 x 3 part. For a
  // rigid frame followed by Scale(s) this gives back |s| per axis.
  zPoint3d64f GetScale() const;
  zPoint3d64f GetTranslation() const;
  // Column 0, 1, 2 (the images of the x, y, z axes) or 3 (the translation); any other index
  // gives the unset point.
  zPoint3d64f GetColumn(int index) const;

  // The identity, then a rotation about z by `angle`, then a translation by `origin`.
  RefFrame& SetFrame(const Point3d<double>& origin, double angle);
  // The rigid motion in the plane (a rotation about z and a translation in x and y) that
  // carries `from` onto `to` best in the least-squares sense: it minimises the sum of the
  // squared distances between the images of from[i] and to[i] (the closed form of the 2D
  // Procrustes problem). When all points of `from` coincide, the rotation is the identity.
  // Fewer than 2 points or lists of different lengths throw -984.
  RefFrame& SetFrame(const std::vector<zPoint64f>& from, const std::vector<zPoint64f>& to);
  // The same in 3D: the rotation and translation that minimise the summed squared distances
  // (Horn's unit quaternion method). Three or more non-collinear points determine the motion;
  // for collinear points the turn about their line is arbitrary. Throws as the 2D form.
  RefFrame& SetFrame(const std::vector<zPoint3d64f>& from, const std::vector<zPoint3d64f>& to);

  // Writes the binary form: a 16-bit unsigned version (1), then the twelve doubles in field
  // order, all little-endian (98 bytes). *out receives a new zArray1 of z8u made with `alloc`,
  // owned by the caller; an object it held before is released. A null `out` throws -997; a
  // failing platform step throws its status.
  void Serialize(void** out, void* alloc = nullptr) const;
  // Reads the binary form from `size` bytes at `data` (the version is read but not compared).
  // Too few bytes or null data throw the platform's status and leave the frame partly read.
  void Deserialize(const void* data, size_t size, void* alloc = nullptr);

  double GetIx() const { return v_[kIx]; }
  double GetIy() const { return v_[kIy]; }
  double GetIz() const { return v_[kIz]; }
  double GetJx() const { return v_[kJx]; }
  double GetJy() const { return v_[kJy]; }
  double GetJz() const { return v_[kJz]; }
  double GetKx() const { return v_[kKx]; }
  double GetKy() const { return v_[kKy]; }
  double GetKz() const { return v_[kKz]; }
  double GetTx() const { return v_[kTx]; }
  double GetTy() const { return v_[kTy]; }
  double GetTz() const { return v_[kTz]; }
  void SetIx(double value) { v_[kIx] = value; }
  void SetIy(double value) { v_[kIy] = value; }
  void SetIz(double value) { v_[kIz] = value; }
  void SetJx(double value) { v_[kJx] = value; }
  void SetJy(double value) { v_[kJy] = value; }
  void SetJz(double value) { v_[kJz] = value; }
  void SetKx(double value) { v_[kKx] = value; }
  void SetKy(double value) { v_[kKy] = value; }
  void SetKz(double value) { v_[kKz] = value; }
  void SetTx(double value) { v_[kTx] = value; }
  void SetTy(double value) { v_[kTy] = value; }
  void SetTz(double value) { v_[kTz] = value; }

 private:
  enum Field { kIx, kIy, kIz, kJx, kJy, kJz, kKx, kKy, kKz, kTx, kTy, kTz, kFieldCount };

  // this = this * next
  RefFrame& Then(const RefFrame& next);
  // The image of (x, y, z), all set.
  void Map(double x, double y, double z, double* ox, double* oy, double* oz) const;

  double v_[kFieldCount];
};

}  // namespace Vision
}  // namespace Ro

#endif
