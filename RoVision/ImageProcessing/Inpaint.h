// Inpainting of the null cells of a height map from their surroundings.
#ifndef ROVISION_IMAGEPROCESSING_INPAINT_H
#define ROVISION_IMAGEPROCESSING_INPAINT_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// The imaging library's two inpainting methods: Telea's fast marching, or the Navier-Stokes
// based one.
enum class InpaintMethod { Telea, NavierStokes };

// Fills the null cells of a z16s height map (a zImage), and the cells where `mask` (a z8u zImage
// of the same size, or null) is not 0, from the valid cells within `radius` cells around them.
// The best-fit plane of the valid cells is taken out before and put back after (so a tilted
// surface is not pulled towards the level of a hole's rim), and the residuals are inpainted on a
// single-precision copy; filled heights are rounded half away from zero and limited to
// -32767..32767, so that none becomes null. Cells outside the fill keep their bits. Returns a new
// z16s zImage made with `alloc`; a map with nothing to fill comes back as an equal copy.
//
// Failures (file "ImageProcessing/ImageUtils", function "Ro::Vision::Inpaint"): -997 for a null
// image or a radius that is not finite and positive, -996 for heights other than z16s and for a
// map with no valid cell left outside the fill (all null), -984 for a mask that is not z8u of
// the image's size; a failing allocation raises the platform's status.
RO_API Ty::Object<void*> Inpaint(void* heights, void* mask, double radius, InpaintMethod method,
                                 void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
