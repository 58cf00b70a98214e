// Line features as slope and intercept, and back.
//
// A surface line y = slope * x + intercept reads the direction d and a position p of a line
// feature message: slope = d.y / d.x, intercept = p.y - slope * p.x. The profile form works in
// the X/Z plane: slope = d.z / d.x, intercept = p.z - slope * p.x. A direction with d.x = 0
// gives an infinite (or NaN) slope; it is not guarded.
#ifndef ROVISION_GEOMETRY_FEATURELINE_H
#define ROVISION_GEOMETRY_FEATURELINE_H

#include <zApi/zDefs.h>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// Both outputs are set to the double null first. A null output throws -997; a failing message
// accessor (a null message or one of another kind) throws its status (Ty::Exception, source
// file "Geometry/Geometry").
RO_API void GetSlopeInterceptFromFeatureLine(void* lineMsg, double* slope, double* intercept);
RO_API void GetSlopeInterceptFromProfileFeatureLine(void* lineMsg, double* slope,
                                                    double* intercept);

// The line y = slope * x + intercept as position (0, intercept, 0) and unit direction
// (cos(atan(slope)), sin(atan(slope)), 0). Nothing is written when slope or intercept is the
// double null. A null output throws -997.
RO_API void GetFeatureLineFromSlopeIntercept(double slope, double intercept, zPoint3d64f* position,
                                             zPoint3d64f* direction);

}  // namespace Vision
}  // namespace Ro

#endif
