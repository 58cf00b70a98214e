#include "RefFrame.h"

#include <TyApi/TyObject.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cmath>
#include <type_traits>

#include "../Algebra/LinearAlgebra.h"
#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kIdentityTolerance = 2.220446049250313e-16;
constexpr z16u kSerialVersion = 1;

const char* const kFile = "Alignment/RefFrame";

// Source lines of the steps of the binary form: each failing step is raised at its own line.
constexpr int kLineWriteStream = 494;
constexpr int kLineWriteSerializer = 495;
constexpr int kLineBeginWrite = 496;
constexpr int kLineWriteVersion = 498;
constexpr int kLineWriteFirstValue = 499;  // 499 .. 510, one per value
constexpr int kLineEndWrite = 512;
constexpr int kLineWriteArray = 516;
constexpr int kLineWriteCopy = 519;
constexpr int kLineReadStream = 531;
constexpr int kLineAttach = 532;
constexpr int kLineReadSerializer = 533;
constexpr int kLineBeginRead = 534;
constexpr int kLineReadVersion = 536;
constexpr int kLineReadFirstValue = 537;  // 537 .. 548, one per value
constexpr int kLineEndRead = 550;
constexpr int kLineTooFewPoints = 425;

bool IsSet(double v) {
  return v != kNullDouble;
}

// A rotation matrix about a (possibly non-unit) axis, through the normalised quaternion.
RefFrame QuaternionRotation(double angle, const Point3d<double>& axis) {
  const double half = angle * kPi / 180 / 2;
  const double s = std::sin(half);
  double x = axis.x * s, y = axis.y * s, z = axis.z * s, w = std::cos(half);
  const double length = std::sqrt(x * x + y * y + z * z + w * w);
  x /= length;
  y /= length;
  z /= length;
  w /= length;
  return RefFrame(1 - 2 * y * y - 2 * z * z, 2 * x * y + 2 * z * w, 2 * x * z - 2 * y * w,
                  2 * x * y - 2 * w * z, 1 - 2 * x * x - 2 * z * z, 2 * y * z + 2 * x * w,
                  2 * x * z + 2 * w * y, 2 * y * z - 2 * x * w, 1 - 2 * x * x - 2 * y * y, 0, 0, 0);
}

template <class P>
bool IsSetPoint(const P& p) {
  return IsSet(p.x) && IsSet(p.y) && IsSet(p.z);
}

template <class P>
P UnsetPoint() {
  return P{kNullDouble, kNullDouble, kNullDouble};
}

}  // namespace

RefFrame::RefFrame() {
  SetIdentity();
}

RefFrame::RefFrame(double ix, double iy, double iz, double jx, double jy, double jz, double kx,
                   double ky, double kz, double tx, double ty, double tz)
    : v_{ix, iy, iz, jx, jy, jz, kx, ky, kz, tx, ty, tz} {}

RefFrame& RefFrame::SetIdentity() {
  *this = RefFrame(1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0);
  return *this;
}

bool RefFrame::IsIdentity() const {
  const RefFrame identity;
  for (int i = 0; i < kFieldCount; ++i) {
    if (!(std::fabs(v_[i] - identity.v_[i]) < kIdentityTolerance)) return false;
  }
  return true;
}

RefFrame& RefFrame::Translate(double dx, double dy, double dz) {
  if (IsSet(dx)) v_[kTx] += dx;
  if (IsSet(dy)) v_[kTy] += dy;
  if (IsSet(dz)) v_[kTz] += dz;
  return *this;
}

RefFrame& RefFrame::Translate(const Point3d<double>& offset) {
  return Translate(offset.x, offset.y, offset.z);
}

RefFrame& RefFrame::Then(const RefFrame& next) {
  *this = Mul(*this, next);
  return *this;
}

RefFrame& RefFrame::Rotate(double angle, const Point3d<double>& axis) {
  if (angle == 0 || !IsSet(angle)) return *this;
  return Then(QuaternionRotation(angle, axis));
}

RefFrame& RefFrame::Rotate(double nx, double ny, double nz) {
  SetIdentity();
  if (!IsSet(nx) || !IsSet(ny) || !IsSet(nz)) return *this;
  const double n = std::sqrt(nx * nx + ny * ny + nz * nz);
  const double phi = std::atan2(ny, nx);
  double ct = 1, st = 0;
  if (n > 0) {
    ct = nz / n;
    st = std::sqrt(1 - ct * ct);
  }
  const double c = std::cos(phi), s = std::sin(phi);
  v_[kIx] = c * c * ct + s * s;
  v_[kJx] = c * s * (ct - 1);
  v_[kKx] = c * st;
  v_[kIy] = s * c * (ct - 1);
  v_[kJy] = s * s * ct + c * c;
  v_[kKy] = s * st;
  v_[kIz] = -c * st;
  v_[kJz] = -s * st;
  v_[kKz] = ct;
  return *this;
}

RefFrame& RefFrame::RotateXYZ(double rx, double ry, double rz) {
  Rotate(rz, Point3d<double>{0, 0, 1});
  Rotate(ry, Point3d<double>{0, 1, 0});
  return Rotate(rx, Point3d<double>{1, 0, 0});
}

RefFrame& RefFrame::RotateZYX(double rx, double ry, double rz) {
  Rotate(rx, Point3d<double>{1, 0, 0});
  Rotate(ry, Point3d<double>{0, 1, 0});
  return Rotate(rz, Point3d<double>{0, 0, 1});
}

RefFrame& RefFrame::RotateAroundPoint(const Point3d<double>& point, double angle,
                                      const Point3d<double>& axis) {
  if (angle == 0 || !IsSet(angle)) return *this;
  const double px = IsSet(point.x) ? point.x : 0;
  const double py = IsSet(point.y) ? point.y : 0;
  const double pz = IsSet(point.z) ? point.z : 0;
  Translate(-px, -py, -pz);
  Rotate(angle, axis);
  return Translate(px, py, pz);
}

RefFrame& RefFrame::Rotate(const Region3d<double>& region, bool inverse) {
  if (!IsSet(region.angleZ)) return *this;
  const double angle = inverse ? -region.angleZ : region.angleZ;
  return RotateAroundPoint(Point3d<double>{region.x, region.y, region.z}, angle,
                           Point3d<double>{0, 0, 1});
}

RefFrame& RefFrame::Scale(const Point3d<double>& factors) {
  const double sx = IsSet(factors.x) ? factors.x : 1;
  const double sy = IsSet(factors.y) ? factors.y : 1;
  const double sz = IsSet(factors.z) ? factors.z : 1;
  return Then(RefFrame(sx, 0, 0, 0, sy, 0, 0, 0, sz, 0, 0, 0));
}

RefFrame& RefFrame::InvertOrtho() {
  const RefFrame old = *this;
  const double* o = old.v_;
  *this = RefFrame(o[kIx], o[kJx], o[kKx], o[kIy], o[kJy], o[kKy], o[kIz], o[kJz], o[kKz],
                   -(o[kIx] * o[kTx] + o[kIy] * o[kTy] + o[kIz] * o[kTz]),
                   -(o[kJx] * o[kTx] + o[kJy] * o[kTy] + o[kJz] * o[kTz]),
                   -(o[kKx] * o[kTx] + o[kKy] * o[kTy] + o[kKz] * o[kTz]));
  return *this;
}

void RefFrame::Map(double x, double y, double z, double* ox, double* oy, double* oz) const {
  *ox = v_[kIx] * x + v_[kJx] * y + v_[kKx] * z + v_[kTx];
  *oy = v_[kIy] * x + v_[kJy] * y + v_[kKy] * z + v_[kTy];
  *oz = v_[kIz] * x + v_[kJz] * y + v_[kKz] * z + v_[kTz];
}

Point3d<double> RefFrame::Apply(const Point3d<double>& p) const {
  if (!IsSetPoint(p)) return Point3d<double>{};
  Point3d<double> out;
  Map(p.x, p.y, p.z, &out.x, &out.y, &out.z);
  return out;
}

zPoint3d64f RefFrame::Apply(const zPoint3d64f& p) const {
  if (!IsSetPoint(p)) return UnsetPoint<zPoint3d64f>();
  zPoint3d64f out;
  Map(p.x, p.y, p.z, &out.x, &out.y, &out.z);
  return out;
}

zPoint64f RefFrame::Apply(const zPoint64f& p) const {
  if (!IsSet(p.x) || !IsSet(p.y)) return zPoint64f{kNullDouble, kNullDouble};
  double z;
  zPoint64f out;
  Map(p.x, p.y, 0, &out.x, &out.y, &z);
  return out;
}

void RefFrame::ApplyN(const zPoint3d32f* in, zPoint3d32f* out, size_t count) const {
  if (!in || !out) return;
  for (size_t i = 0; i < count; ++i) {
    const zPoint3d32f p = in[i];
    if (p.x == -FLT_MAX || p.y == -FLT_MAX || p.z == -FLT_MAX) {
      out[i] = zPoint3d32f{-FLT_MAX, -FLT_MAX, -FLT_MAX};
      continue;
    }
    double x, y, z;
    Map(p.x, p.y, p.z, &x, &y, &z);
    out[i] = zPoint3d32f{static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
  }
}

void RefFrame::ApplyN(const zPoint3d64f* in, zPoint3d64f* out, size_t count) const {
  if (!in || !out) return;
  for (size_t i = 0; i < count; ++i) out[i] = Apply(in[i]);
}

void RefFrame::ApplyN(const Point3d<double>* in, Point3d<double>* out, size_t count) const {
  if (!in || !out) return;
  for (size_t i = 0; i < count; ++i) out[i] = Apply(in[i]);
}

void RefFrame::ApplyN(const zPoint64f* in, zPoint64f* out, size_t count) const {
  if (!in || !out) return;
  for (size_t i = 0; i < count; ++i) out[i] = Apply(in[i]);
}

RefFrame RefFrame::operator*(const RefFrame& next) const {
  return Mul(*this, next);
}

RefFrame RefFrame::Mul(const RefFrame& first, const RefFrame& second) {
  // Columns of B A are B applied to the columns of A; the translation is B(Ta) + Tb.
  const double* a = first.v_;
  const double* b = second.v_;
  RefFrame out;
  for (int column = 0; column < 4; ++column) {
    const double x = a[3 * column], y = a[3 * column + 1], z = a[3 * column + 2];
    const double t = column == 3 ? 1 : 0;
    for (int row = 0; row < 3; ++row) {
      out.v_[3 * column + row] =
          b[kIx + row] * x + b[kJx + row] * y + b[kKx + row] * z + b[kTx + row] * t;
    }
  }
  return out;
}

zL3dTransform3d RefFrame::TozTransform() const {
  return zL3dTransform3d{v_[kIx], v_[kJx], v_[kKx], v_[kTx], v_[kIy], v_[kJy],
                         v_[kKy], v_[kTy], v_[kIz], v_[kJz], v_[kKz], v_[kTz]};
}

zPoint3d64f RefFrame::GetScale() const {
  const auto row = [this](int r) {
    return std::sqrt(v_[kIx + r] * v_[kIx + r] + v_[kJx + r] * v_[kJx + r] +
                     v_[kKx + r] * v_[kKx + r]);
  };
  return zPoint3d64f{row(0), row(1), row(2)};
}

zPoint3d64f RefFrame::GetTranslation() const {
  return GetColumn(3);
}

zPoint3d64f RefFrame::GetColumn(int index) const {
  if (index < 0 || index > 3) return UnsetPoint<zPoint3d64f>();
  return zPoint3d64f{v_[3 * index], v_[3 * index + 1], v_[3 * index + 2]};
}

RefFrame& RefFrame::SetFrame(const Point3d<double>& origin, double angle) {
  SetIdentity();
  Rotate(angle, Point3d<double>{0, 0, 1});
  return Translate(origin);
}

namespace {

template <class P>
void CheckCorrespondences(const std::vector<P>& from, const std::vector<P>& to) {
  if (from.size() < 2 || from.size() != to.size()) {
    Throw(Site{kFile, "Ro::Vision::RefFrame::SetFrame"}, kLineTooFewPoints, kIncompatible);
  }
}

template <class P>
P Centroid(const std::vector<P>& points) {
  P sum{};
  for (const P& p : points) {
    sum.x += p.x;
    sum.y += p.y;
    if constexpr (std::is_same<P, zPoint3d64f>::value) sum.z += p.z;
  }
  const double n = static_cast<double>(points.size());
  sum.x /= n;
  sum.y /= n;
  if constexpr (std::is_same<P, zPoint3d64f>::value) sum.z /= n;
  return sum;
}

}  // namespace

RefFrame& RefFrame::SetFrame(const std::vector<zPoint64f>& from, const std::vector<zPoint64f>& to) {
  CheckCorrespondences(from, to);
  SetIdentity();
  // About the centroids, the best angle maximises sum(b . R a): tan(angle) = cross / dot of the
  // summed products of the centred points.
  const zPoint64f ca = Centroid(from), cb = Centroid(to);
  double dot = 0, cross = 0;
  for (size_t i = 0; i < from.size(); ++i) {
    const double ax = from[i].x - ca.x, ay = from[i].y - ca.y;
    const double bx = to[i].x - cb.x, by = to[i].y - cb.y;
    dot += ax * bx + ay * by;
    cross += ax * by - ay * bx;
  }
  const double length = std::hypot(dot, cross);
  const double c = length > 0 ? dot / length : 1;
  const double s = length > 0 ? cross / length : 0;
  v_[kIx] = c;
  v_[kIy] = s;
  v_[kJx] = -s;
  v_[kJy] = c;
  v_[kTx] = cb.x - (c * ca.x - s * ca.y);
  v_[kTy] = cb.y - (s * ca.x + c * ca.y);
  return *this;
}

RefFrame& RefFrame::SetFrame(const std::vector<zPoint3d64f>& from,
                             const std::vector<zPoint3d64f>& to) {
  CheckCorrespondences(from, to);
  SetIdentity();
  const zPoint3d64f ca = Centroid(from), cb = Centroid(to);
  // S[i][j] = sum of a_i b_j over the centred points.
  double s[3][3] = {};
  for (size_t n = 0; n < from.size(); ++n) {
    const double a[3] = {from[n].x - ca.x, from[n].y - ca.y, from[n].z - ca.z};
    const double b[3] = {to[n].x - cb.x, to[n].y - cb.y, to[n].z - cb.z};
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) s[i][j] += a[i] * b[j];
    }
  }
  // The unit quaternion (w, x, y, z) maximising sum(b . R a) is the eigenvector of the largest
  // eigenvalue of this symmetric matrix.
  const double sxx = s[0][0], sxy = s[0][1], sxz = s[0][2];
  const double syx = s[1][0], syy = s[1][1], syz = s[1][2];
  const double szx = s[2][0], szy = s[2][1], szz = s[2][2];
  double n[16] = {sxx + syy + szz, syz - szy,       szx - sxz,        sxy - syx,
                  syz - szy,       sxx - syy - szz, sxy + syx,        szx + sxz,
                  szx - sxz,       sxy + syx,       -sxx + syy - szz, syz + szy,
                  sxy - syx,       szx + sxz,       syz + szy,        -sxx - syy + szz};
  double vectors[16];
  DecomposeEigen(n, vectors, 4, 0);
  double w = vectors[0], x = vectors[1], y = vectors[2], z = vectors[3];
  const double length = std::sqrt(w * w + x * x + y * y + z * z);
  w /= length;
  x /= length;
  y /= length;
  z /= length;
  *this =
      RefFrame(w * w + x * x - y * y - z * z, 2 * (x * y + w * z), 2 * (x * z - w * y),
               2 * (x * y - w * z), w * w - x * x + y * y - z * z, 2 * (y * z + w * x),
               2 * (x * z + w * y), 2 * (y * z - w * x), w * w - x * x - y * y + z * z, 0, 0, 0);
  const zPoint3d64f rotated = Apply(ca);
  v_[kTx] = cb.x - rotated.x;
  v_[kTy] = cb.y - rotated.y;
  v_[kTz] = cb.z - rotated.z;
  return *this;
}

void RefFrame::Serialize(void** out, void* alloc) const {
  const Site site{kFile, "Ro::Vision::RefFrame::Serialize"};
  if (!out) Throw(site, __LINE__, kInvalidArgument);
  Ty::Object<void*> stream, serializer, bytes;
  Check(site, kLineWriteStream, zMemory_Construct(stream.Address(), alloc));
  Check(site, kLineWriteSerializer, zSerializer_Construct(serializer.Address(), stream, alloc));
  Check(site, kLineBeginWrite, zSerializer_BeginWrite(serializer, zTypeOf(z16u)));
  Check(site, kLineWriteVersion, zSerializer_Write16u(serializer, kSerialVersion));
  for (int i = 0; i < kFieldCount; ++i) {
    Check(site, kLineWriteFirstValue + i, zSerializer_Write64f(serializer, v_[i]));
  }
  Check(site, kLineEndWrite, zSerializer_EndWrite(serializer));
  const zSize size = zMemory_Size(stream);
  Check(site, kLineWriteArray, zArray1_Construct(bytes.Address(), zTypeOf(z8u), size, alloc));
  Check(site, kLineWriteCopy, zMemCopy(zArray1_Data(bytes), zMemory_Data(stream), size));
  zObject_Destroy(*out);
  *out = bytes.Detach();
}

void RefFrame::Deserialize(const void* data, size_t size, void* alloc) {
  const Site site{kFile, "Ro::Vision::RefFrame::Deserialize"};
  Ty::Object<void*> stream, serializer;
  Check(site, kLineReadStream, zMemory_Construct(stream.Address(), alloc));
  Check(site, kLineAttach, zMemory_Attach(stream, data, size));
  Check(site, kLineReadSerializer, zSerializer_Construct(serializer.Address(), stream, alloc));
  Check(site, kLineBeginRead, zSerializer_BeginRead(serializer, zTypeOf(z16u)));
  z16u version = 0;
  Check(site, kLineReadVersion, zSerializer_Read16u(serializer, &version));
  for (int i = 0; i < kFieldCount; ++i) {
    Check(site, kLineReadFirstValue + i, zSerializer_Read64f(serializer, &v_[i]));
  }
  Check(site, kLineEndRead, zSerializer_EndRead(serializer));
}

}  // namespace Vision
}  // namespace Ro
