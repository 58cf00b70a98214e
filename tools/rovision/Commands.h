// The program's subcommands. Each returns the process's exit status: 0 when every tool
// measured, 1 when some tool failed (its row says why); bad input raises InputError, which the
// caller turns into status 2.
#ifndef ROVISION_TOOLS_COMMANDS_H
#define ROVISION_TOOLS_COMMANDS_H

#include <string>
#include <vector>

namespace rovision {

// Builds the sample scan (at `density`, see MakeSampleScan), saves it as sample.json with its
// PNGs, the built-in recipe as recipe.json and the spectrum as sample-spectrum.png into
// `folder`, measures it, prints the table and writes results.csv and results.json.
int RunDemo(const std::string& folder, double density);

// Measures every scan by the recipe; a progress line on stderr when there is more than one.
// Nothing is written until every scan has been read and measured.
int RunMeasure(const std::vector<std::string>& scans, const std::string& recipePath,
               const std::string& folder);

// Writes the spectrum image of the scan's heights (.png or .bmp).
int RunRender(const std::string& scan, const std::string& output);

// Prints the scan's size, resolution, offset, extent, share of nulls and height range.
int RunInfo(const std::string& scan);

}  // namespace rovision

#endif
