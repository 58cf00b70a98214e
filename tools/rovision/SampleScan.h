// The built-in sample: a machined part scanned as a 16-bit height map with intensities.
//
// A plate of 80 x 100 mm lies slightly tilted under the sensor. It carries a bored blind hole,
// a raised cylindrical boss and a straight groove along Y. The sensor adds Gaussian noise and
// loses data where the laser is occluded: behind the boss, at the foot of the hole's and the
// groove's walls, and in small clusters of dropouts across the part. The geometry below is the
// truth the built-in recipe's results are compared with; the noise is seeded, so one density
// always gives the same scan.
#ifndef ROVISION_TOOLS_SAMPLESCAN_H
#define ROVISION_TOOLS_SAMPLESCAN_H

#include "Scan.h"

namespace rovision {

// The sample's geometry in millimetres (world units).
struct SampleGeometry {
  double xMin = 10.0, yMin = 20.0;           // the plate's corner
  double width = 80.0, length = 100.0;       // the plate's size along X and Y
  double plateZ = 12.0;                      // the plate's height at its centre
  double slopeX = 0.0025, slopeY = -0.0015;  // dZ/dX and dZ/dY of the tilted plate
  double holeX = 35.0, holeY = 50.0;         // the bored hole's axis
  double holeDiameter = 12.0;
  double holeDepth = 4.0;
  double bossX = 62.0, bossY = 95.0;  // the boss's axis
  double bossDiameter = 16.0;
  double bossHeight = 3.0;
  double grooveX = 78.0, grooveWidth = 4.0;  // the groove runs along Y from X = grooveX
  double grooveDepth = 1.5;
  double noiseSigma = 0.004;   // sensor noise, standard deviation
  double resolution = 0.05;    // X and Y sample spacing at density 1
  double zResolution = 0.001;  // one height count
  double zOffset = -5.0;       // world Z of height count 0

  // The plate's height at (x, y).
  double PlateZ(double x, double y) const {
    return plateZ + slopeX * (x - (xMin + width / 2)) + slopeY * (y - (yMin + length / 2));
  }
};

// The sample scanned at `density` times the full sampling (1: 1600 x 2000 samples of 0.05 mm;
// 0.25: 400 x 500 samples of 0.2 mm). Raises InputError for a density outside [0.05, 2].
Scan MakeSampleScan(double density, const SampleGeometry& geometry = SampleGeometry());

}  // namespace rovision

#endif
