#include "SampleScan.h"

#include <zApi/zApi.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "InputError.h"

namespace rovision {

namespace rv = Ro::Vision;

namespace {

// How far the laser's shadow reaches past an edge (mm): the sensor looks at the part from the
// -X side, so the foot of a wall facing +X and the plate behind the boss are hidden.
constexpr double kHoleShadow = 1.0;
constexpr double kBossShadow = 1.2;
constexpr double kGrooveShadow = 0.5;
// Dropouts: small clusters of missing samples (specular glints, dust) across the part.
constexpr int kDropoutClusters = 60;
constexpr double kDropoutRadiusMin = 0.15, kDropoutRadiusMax = 0.6;
constexpr unsigned kSeed = 20240611;

struct Disc {
  double x, y, radius;
};

Ty::Object<void*> MakeArray(zType type, unsigned long long rows, unsigned long long columns) {
  zArray2 array = nullptr;
  const zStatus status = zArray2_Construct(&array, type, rows, columns, nullptr);
  if (status != zOK) throw Ty::Exception(status, "cannot allocate the sample scan");
  return Ty::Object<void*>(array);
}

// One byte per sample, 1 inside any of the discs; each disc visits only its own box of samples.
std::vector<unsigned char> RasteriseDiscs(const std::vector<Disc>& discs, const Scan& scan) {
  const long long rows = static_cast<long long>(scan.Rows());
  const long long columns = static_cast<long long>(scan.Columns());
  const zPoint3d64f& o = scan.surface.offset;
  const double step = scan.surface.scale.x;
  std::vector<unsigned char> inside(static_cast<std::size_t>(rows * columns), 0);
  for (const Disc& disc : discs) {
    const long long r0 = std::max(0LL, std::llround((disc.y - disc.radius - o.y) / step));
    const long long r1 = std::min(rows - 1, std::llround((disc.y + disc.radius - o.y) / step));
    const long long c0 = std::max(0LL, std::llround((disc.x - disc.radius - o.x) / step));
    const long long c1 = std::min(columns - 1, std::llround((disc.x + disc.radius - o.x) / step));
    for (long long r = r0; r <= r1; ++r) {
      for (long long c = c0; c <= c1; ++c) {
        const double x = o.x + double(c) * step, y = o.y + double(r) * step;
        if (std::hypot(x - disc.x, y - disc.y) <= disc.radius) inside[r * columns + c] = 1;
      }
    }
  }
  return inside;
}

// One sample of the part as the sensor sees it: its world height, or NaN where no data comes
// back, and its intensity before noise.
struct Sample {
  double z;
  double intensity;
};

Sample SamplePart(const SampleGeometry& g, double x, double y) {
  const double hole = g.holeDiameter / 2, boss = g.bossDiameter / 2;
  Sample sample{g.PlateZ(x, y), 170};
  if (std::hypot(x - g.holeX, y - g.holeY) < hole) {
    if (std::hypot(x - (g.holeX + kHoleShadow), y - g.holeY) > hole) return {NAN, 0};
    return {sample.z - g.holeDepth, 70};
  }
  if (std::hypot(x - g.bossX, y - g.bossY) < boss) return {sample.z + g.bossHeight, 205};
  if (std::hypot(x - (g.bossX + kBossShadow), y - g.bossY) < boss) return {NAN, 0};
  if (x >= g.grooveX && x <= g.grooveX + g.grooveWidth) {
    if (x < g.grooveX + kGrooveShadow) return {NAN, 0};
    return {sample.z - g.grooveDepth, 115};
  }
  return sample;
}

// The sensor's spot covers the sample's footprint, so a sample on an edge sees a mix of both
// sides: the mean of a 4 x 4 grid over the footprint (of its visible points; a sample whose
// centre is shadowed is lost). The grid is only taken where the footprint's corners differ.
Sample SampleFootprint(const SampleGeometry& g, double x, double y, double step) {
  constexpr int kGrid = 4;
  const Sample centre = SamplePart(g, x, y);
  if (std::isnan(centre.z)) return centre;
  const double half = step / 2;
  bool uniform = true;
  for (const auto& corner : {std::make_pair(-half, -half), std::make_pair(half, -half),
                             std::make_pair(-half, half), std::make_pair(half, half)}) {
    const Sample s = SamplePart(g, x + corner.first, y + corner.second);
    uniform = uniform && s.intensity == centre.intensity;  // each surface has its own
  }
  if (uniform) return centre;
  Sample mean{0, 0};
  int visible = 0;
  for (int i = 0; i < kGrid; ++i) {
    for (int j = 0; j < kGrid; ++j) {
      const Sample s =
          SamplePart(g, x - half + (i + 0.5) * step / kGrid, y - half + (j + 0.5) * step / kGrid);
      if (std::isnan(s.z)) continue;
      mean.z += s.z, mean.intensity += s.intensity, ++visible;
    }
  }
  return Sample{mean.z / visible, mean.intensity / visible};
}

}  // namespace

Scan MakeSampleScan(double density, const SampleGeometry& g) {
  if (!(density >= 0.05 && density <= 2)) {
    throw InputError("", "--density", "must lie between 0.05 and 2");
  }
  const double step = g.resolution / density;
  const auto columns = static_cast<unsigned long long>(std::lround(g.width / step));
  const auto rows = static_cast<unsigned long long>(std::lround(g.length / step));

  Scan scan;
  scan.surface.scale = zPoint3d64f{step, step, g.zResolution};
  scan.surface.offset = zPoint3d64f{g.xMin, g.yMin, g.zOffset};
  scan.surface.layers.push_back(MakeArray(zTypeOf(z16s), rows, columns));
  scan.surface.layers.push_back(MakeArray(zTypeOf(z8u), rows, columns));

  // Every draw comes from one generator in a fixed order, so a density gives one scan.
  std::mt19937 random(kSeed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<Disc> dropouts;
  for (int i = 0; i < kDropoutClusters; ++i) {
    dropouts.push_back(
        Disc{g.xMin + unit(random) * g.width, g.yMin + unit(random) * g.length,
             kDropoutRadiusMin + unit(random) * (kDropoutRadiusMax - kDropoutRadiusMin)});
  }
  const std::vector<unsigned char> dropped = RasteriseDiscs(dropouts, scan);
  std::normal_distribution<double> heightNoise(0.0, g.noiseSigma);
  std::normal_distribution<double> intensityNoise(0.0, 6.0);

  for (unsigned long long r = 0; r < rows; ++r) {
    auto* heights = static_cast<z16s*>(zArray2_Row(scan.surface.layers[0], r));
    auto* intensities = static_cast<z8u*>(zArray2_Row(scan.surface.layers[1], r));
    const double y = g.yMin + double(r) * step;
    for (unsigned long long c = 0; c < columns; ++c) {
      const double x = g.xMin + double(c) * step;
      const Sample sample = SampleFootprint(g, x, y, step);
      const double z = sample.z + heightNoise(random);
      const double intensity = sample.intensity + intensityNoise(random);
      if (std::isnan(z) || dropped[r * columns + c]) {
        heights[c] = rv::GetNull<z16s>();
        intensities[c] = 0;
        continue;
      }
      const double counts = std::round((z - g.zOffset) / g.zResolution);
      heights[c] = static_cast<z16s>(std::clamp(counts, -32767.0, 32767.0));
      intensities[c] = static_cast<z8u>(std::clamp(std::round(intensity), 1.0, 255.0));
    }
  }
  return scan;
}

}  // namespace rovision
