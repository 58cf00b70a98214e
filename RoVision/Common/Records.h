// Value records: points, lines, planes, regions, index rectangles and sectors.
//
// Every floating-point field starts at the null of its type (for double, -1.7976931348623157e308,
// "not set"); integer fields start at 0. Angles are in degrees. Width goes with X, length with Y
// and height with Z. A region "in centre style" gives its centre in x, y (, z); "in corner style"
// its lowest corner.
#ifndef ROVISION_COMMON_RECORDS_H
#define ROVISION_COMMON_RECORDS_H

#include <type_traits>

#include "ElementTypes.h"

namespace Ro {
namespace Vision {

template <class T>
constexpr T Unset() {
  if constexpr (std::is_floating_point<T>::value) {
    return GetNull<T>();
  } else {
    return T(0);
  }
}

template <class T>
struct Point2d {
  T x = Unset<T>();
  T y = Unset<T>();
};

template <class T>
struct PointXZ {
  T x = Unset<T>();
  T z = Unset<T>();
};

template <class T>
struct Point3d {
  T x = Unset<T>();
  T y = Unset<T>();
  T z = Unset<T>();
};

// A 3D line through `point` along `direction` (not necessarily unit length).
template <class T>
struct Line3d {
  Point3d<T> point;
  Point3d<T> direction;
};

// The plane a*x + b*y + c*z + d = 0.
template <class T>
struct PlaneParams {
  T a = Unset<T>();
  T b = Unset<T>();
  T c = Unset<T>();
  T d = Unset<T>();
};

template <class T>
struct RunLength {
  T start = Unset<T>();
  T length = Unset<T>();
};

template <class T>
struct Region2d {
  T x = Unset<T>();
  T y = Unset<T>();
  T width = Unset<T>();
  T length = Unset<T>();
  T angle = Unset<T>();  // rotation about Z
};

// A region in the X/Z plane of a profile; the angle turns it in that plane.
template <class T>
struct RegionXZ {
  T x = Unset<T>();
  T z = Unset<T>();
  T width = Unset<T>();
  T height = Unset<T>();
  T angle = Unset<T>();
};

template <class T>
struct Region3d {
  T x = Unset<T>();
  T y = Unset<T>();
  T z = Unset<T>();
  T width = Unset<T>();
  T length = Unset<T>();
  T height = Unset<T>();
  T angleX = Unset<T>();
  T angleY = Unset<T>();
  T angleZ = Unset<T>();  // the rotation about Z, the angle of the 2D form
};

// Sample-index rectangles: first column, first row, number of columns, number of rows.
template <class T>
struct Rect2d {
  T x = Unset<T>();
  T y = Unset<T>();
  T width = Unset<T>();
  T height = Unset<T>();
};

// As Rect2d, then the first height count and the number of height counts.
template <class T>
struct Rect3d {
  T x = Unset<T>();
  T y = Unset<T>();
  T width = Unset<T>();
  T height = Unset<T>();
  T z = Unset<T>();
  T depth = Unset<T>();
};

// The ring between two circles about `center`, from `startAngle` over `angleSpan` degrees
// (counter-clockwise from +X; a negative span runs clockwise).
template <class T>
struct AnnularSector2d {
  T innerRadius = Unset<T>();
  T outerRadius = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  Point2d<T> center;
};

template <class T>
struct AnnularSectorXZ {
  T innerRadius = Unset<T>();
  T outerRadius = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  PointXZ<T> center;
};

// As the 2D sector, with a height centred on center.z.
template <class T>
struct AnnularSector3d {
  T innerRadius = Unset<T>();
  T outerRadius = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  T height = Unset<T>();
  Point3d<T> center;
};

// The ring between two ellipses about `center`, turned by `angle`. Axes are full lengths: the
// length along the sector's own Y axis, the width along its own X axis.
template <class T>
struct EllipticalSector2d {
  T innerLength = Unset<T>();
  T innerWidth = Unset<T>();
  T outerLength = Unset<T>();
  T outerWidth = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  Point2d<T> center;
  T angle = Unset<T>();
};

// The X/Z form: the height runs along the sector's own Z axis.
template <class T>
struct EllipticalSectorXZ {
  T innerHeight = Unset<T>();
  T innerWidth = Unset<T>();
  T outerHeight = Unset<T>();
  T outerWidth = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  PointXZ<T> center;
  T angle = Unset<T>();
};

template <class T>
struct EllipticalSector3d {
  T innerLength = Unset<T>();
  T innerWidth = Unset<T>();
  T outerLength = Unset<T>();
  T outerWidth = Unset<T>();
  T startAngle = Unset<T>();
  T angleSpan = Unset<T>();
  T height = Unset<T>();
  Point3d<T> center;
  T angleX = Unset<T>();
  T angleY = Unset<T>();
  T angleZ = Unset<T>();  // the rotation about Z, the angle of the 2D form
};

}  // namespace Vision
}  // namespace Ro

#endif
