#include "FeatureLine.h"

#include <TyVision/TyVision.h>

#include <cmath>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

const char* const kFile = "Geometry/Geometry";

struct LineFeature {
  zPoint3d64f direction;
  zPoint3d64f position;
};

LineFeature ReadLineFeature(const Site& site, void* lineMsg, int directionLine, int positionLine) {
  LineFeature line;
  Check(site, directionLine, TvLineFeatureMsg_Direction(lineMsg, &line.direction));
  Check(site, positionLine, TvLineFeatureMsg_Position(lineMsg, &line.position));
  return line;
}

void ClearOutputs(const Site& site, double* slope, double* intercept) {
  if (!slope || !intercept) Throw(site, __LINE__, kInvalidArgument);
  *slope = kNullDouble;
  *intercept = kNullDouble;
}

}  // namespace

void GetSlopeInterceptFromFeatureLine(void* lineMsg, double* slope, double* intercept) {
  const Site site{kFile, "Ro::Vision::GetSlopeInterceptFromFeatureLine"};
  ClearOutputs(site, slope, intercept);
  const LineFeature line = ReadLineFeature(site, lineMsg, 3004, 3005);
  *slope = line.direction.y / line.direction.x;
  *intercept = line.position.y - *slope * line.position.x;
}

void GetSlopeInterceptFromProfileFeatureLine(void* lineMsg, double* slope, double* intercept) {
  const Site site{kFile, "Ro::Vision::GetSlopeInterceptFromProfileFeatureLine"};
  ClearOutputs(site, slope, intercept);
  const LineFeature line = ReadLineFeature(site, lineMsg, 3014, 3015);
  *slope = line.direction.z / line.direction.x;
  *intercept = line.position.z - *slope * line.position.x;
}

void GetFeatureLineFromSlopeIntercept(double slope, double intercept, zPoint3d64f* position,
                                      zPoint3d64f* direction) {
  if (!position || !direction) {
    Throw(Site{kFile, "Ro::Vision::GetFeatureLineFromSlopeIntercept"}, __LINE__, kInvalidArgument);
  }
  if (IsNull(slope) || IsNull(intercept)) return;
  const double angle = std::atan(slope);
  *position = zPoint3d64f{0, intercept, 0};
  *direction = zPoint3d64f{std::cos(angle), std::sin(angle), 0};
}

}  // namespace Vision
}  // namespace Ro
