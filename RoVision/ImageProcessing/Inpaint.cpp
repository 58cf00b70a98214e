// Inpainting of height maps on a float copy by the imaging library.
#include "Inpaint.h"

#include <zApi/zImage.h>

#include <algorithm>
#include <cmath>
#include <opencv2/photo.hpp>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

const Site kSite{"ImageProcessing/ImageUtils", "Ro::Vision::Inpaint"};
constexpr z16s kNull = -32768;

// Half away from zero, kept off the null.
z16s RoundHeight(double v) {
  const double r = v >= 0 ? std::floor(v + 0.5) : std::ceil(v - 0.5);
  return z16s(std::clamp(r, -32767.0, 32767.0));
}

// z = a x + b y + c, fitted by least squares to the cells outside the fill.
struct Trend {
  double a = 0, b = 0, c = 0;
  double At(int x, int y) const { return a * x + b * y + c; }
};

// The imaging library's inpainting fills a hole with a weighted average of the rim and a
// normalised gradient term, so it pulls a tilted surface towards the level of its rim (on a
// slope of 3 steps per cell, a hole of radius 6 misses by about 15 steps). Taking the best-fit
// plane out first and putting it back after makes a plane come back exact to the rounding. The
// fit runs on coordinates centred on the image, so that large maps stay well conditioned; when
// the cells do not fix a plane (all on one line), only their mean is taken out.
Trend FitTrend(const cv::Mat& values, const cv::Mat& fill) {
  const double cx = (values.cols - 1) / 2.0, cy = (values.rows - 1) / 2.0;
  double n = 0, sx = 0, sy = 0, sz = 0, sxx = 0, sxy = 0, syy = 0, sxz = 0, syz = 0;
  for (int y = 0; y < values.rows; ++y) {
    const float* v = values.ptr<float>(y);
    const uchar* f = fill.ptr<uchar>(y);
    for (int x = 0; x < values.cols; ++x) {
      if (f[x]) continue;
      const double u = x - cx, w = y - cy, z = v[x];
      n += 1, sx += u, sy += w, sz += z;
      sxx += u * u, sxy += u * w, syy += w * w, sxz += u * z, syz += w * z;
    }
  }
  Trend t;
  t.c = sz / n;
  // The covariances of the centred sums; their determinant is 0 for collinear cells.
  const double vxx = sxx - sx * sx / n, vxy = sxy - sx * sy / n, vyy = syy - sy * sy / n;
  const double vxz = sxz - sx * sz / n, vyz = syz - sy * sz / n;
  const double det = vxx * vyy - vxy * vxy;
  if (det > 1e-9 * std::max(1.0, vxx * vyy)) {
    t.a = (vxz * vyy - vyz * vxy) / det;
    t.b = (vyz * vxx - vxz * vxy) / det;
    t.c = sz / n - t.a * sx / n - t.b * sy / n - t.a * cx - t.b * cy;
  }
  return t;
}

// The library's Telea adds a normalised gradient term of up to sqrt(2) in the values' own units,
// whatever their scale: on residuals in height steps that alone can miss by a step and a half at
// the image's frame. The residuals are inpainted in 1/64 steps, which shrinks that term to 1/45
// of a step and still holds every residual of a 16-bit map exactly enough in a float (|r| x 64
// stays below 2^22).
constexpr double kResidualScale = 64;

}  // namespace

Ty::Object<void*> Inpaint(void* heights, void* mask, double radius, InpaintMethod method,
                          void* alloc) {
  if (!heights) Throw(kSite, __LINE__, kInvalidArgument, "heights is null");
  if (zImage_PixelType(heights) != zTypeOf(z16s))
    Throw(kSite, __LINE__, kNotSupported, "heights must be z16s");
  if (!std::isfinite(radius) || !(radius > 0))
    Throw(kSite, __LINE__, kInvalidArgument, "radius must be finite and positive");
  const zSize width = zImage_Width(heights), height = zImage_Height(heights);
  if (mask && (zImage_PixelType(mask) != zTypeOf(z8u) || zImage_Width(mask) != width ||
               zImage_Height(mask) != height))
    Throw(kSite, __LINE__, kIncompatible, "mask must be z8u of the image's size");

  Ty::Object<void*> result;
  Check(kSite, __LINE__, zImage_Clone(heights, static_cast<zAlloc>(alloc), result.Address()));
  const int rows = int(height), cols = int(width);
  cv::Mat values(rows, cols, CV_32F), fill(rows, cols, CV_8U);
  zSize toFill = 0;
  for (int y = 0; y < rows; ++y) {
    const z16s* h = static_cast<const z16s*>(zImage_Row(heights, zSize(y)));
    const z8u* m = mask ? static_cast<const z8u*>(zImage_Row(mask, zSize(y))) : nullptr;
    float* v = values.ptr<float>(y);
    uchar* f = fill.ptr<uchar>(y);
    for (int x = 0; x < cols; ++x) {
      const bool filled = h[x] == kNull || (m && m[x]);
      f[x] = filled ? 255 : 0;
      v[x] = filled ? 0.0f : float(h[x]);
      toFill += filled;
    }
  }
  if (toFill == 0) return result;
  if (toFill == width * height)
    Throw(kSite, __LINE__, kNotSupported, "no valid cell to inpaint from");
  const Trend trend = FitTrend(values, fill);
  for (int y = 0; y < rows; ++y) {
    float* v = values.ptr<float>(y);
    const uchar* f = fill.ptr<uchar>(y);
    for (int x = 0; x < cols; ++x)
      v[x] = f[x] ? 0.0f : float((v[x] - trend.At(x, y)) * kResidualScale);
  }
  cv::Mat painted;
  try {
    cv::inpaint(values, fill, painted, radius,
                method == InpaintMethod::Telea ? cv::INPAINT_TELEA : cv::INPAINT_NS);
  } catch (const cv::Exception& e) {
    Throw(kSite, __LINE__, kNotSupported, e.what());
  }
  for (int y = 0; y < rows; ++y) {
    z16s* out = static_cast<z16s*>(zImage_Row(result, zSize(y)));
    const float* p = painted.ptr<float>(y);
    const uchar* f = fill.ptr<uchar>(y);
    for (int x = 0; x < cols; ++x)
      if (f[x]) out[x] = RoundHeight(double(p[x]) / kResidualScale + trend.At(x, y));
  }
  return result;
}

}  // namespace Vision
}  // namespace Ro
