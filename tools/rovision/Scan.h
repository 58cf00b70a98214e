// The scan format: a height map and its coordinate system on disk.
//
// A scan is a JSON sidecar (the file named on the command line) beside one or two PNG files:
//
//   {
//     "heights": "part-heights.png",      16-bit grey, required
//     "intensity": "part-intensity.png",  8-bit grey of the same size, optional
//     "resolution": {"x": 0.05, "y": 0.05, "z": 0.001},  world units per column, row, count
//     "offset": {"x": 10.0, "y": 20.0, "z": 0.0},        optional, 0 when absent
//     "unit": "mm"                                        optional, "mm" when absent
//   }
//
// File names are relative to the sidecar's folder. The heights PNG holds each signed height h
// as the unsigned sample h + 32768 (the null -32768 as 0), as the library writes a z16s map, so
// world Z = offset.z + h * resolution.z and sample 0 means "no data".
#ifndef ROVISION_TOOLS_SCAN_H
#define ROVISION_TOOLS_SCAN_H

#include <RoVision/RoVision.h>

#include <string>

namespace rovision {

struct Scan {
  // Layer 0: heights (zArray2 of z16s, rows by columns); layer 1, when present: intensities
  // (zArray2 of z8u of the same size).
  Ro::Vision::Surface surface;
  std::string unit = "mm";

  unsigned long long Columns() const;
  unsigned long long Rows() const;
  bool HasIntensity() const { return surface.layers.size() > 1; }
};

// Reads the scan whose sidecar is `sidecarPath`. Every problem (a missing file, a PNG that is
// not 16-bit grey, an intensity of another size, a sidecar field that is absent or not a
// positive number) raises InputError naming the file and the field.
Scan LoadScan(const std::string& sidecarPath);

// Writes the scan as `sidecarPath` (a path ending in .json) and, beside it, <stem>-heights.png
// and, when the scan has intensities, <stem>-intensity.png. Each file is written whole or not at
// all; the sidecar comes last, so a scan is never named before its images are in place.
void SaveScan(const Scan& scan, const std::string& sidecarPath);

// The spectrum image of the heights as a PNG or, when `path` ends in .bmp, a 24-bit BMP.
void SaveSpectrum(const Scan& scan, const std::string& path);

}  // namespace rovision

#endif
