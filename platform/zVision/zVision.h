// The zVision platform library: rigid transforms, small dense matrices, vector normalisation and
// the null-aware median of doubles.
#ifndef ZVISION_ZVISION_H
#define ZVISION_ZVISION_H

#include "../zApi/zDefs.h"

Z_BEGIN_C

/* A 3 x 4 affine transform stored row by row: p' = M * (x, y, z, 1). */
typedef struct zL3dTransform3d {
  z64f xx, xy, xz, xt;
  z64f yx, yy, yz, yt;
  z64f zx, zy, zz, zt;
} zL3dTransform3d;

Z_API void zL3dTransform3d_Identity(zL3dTransform3d* transform);
/* out = transform applied to point; out may be point. */
Z_API zStatus zL3dTransform3d_Apply(const zL3dTransform3d* transform, const zPoint3d64f* point,
                                    zPoint3d64f* out);

/* out (rows x inner times inner x columns, row-major) = a * b. out must not overlap a or b. */
Z_API zStatus zMatrix_Mul64f(const z64f* a, const z64f* b, zSize rows, zSize inner, zSize columns,
                             z64f* out);
/* out = inverse of the n x n row-major matrix m, by Gauss-Jordan elimination with partial
   pivoting. A pivot below 1e-14 times the largest magnitude of m counts as zero: the matrix is
   singular and zERROR_SINGULAR is returned with out untouched. out may be m. */
Z_API zStatus zMatrix_Invert(const z64f* m, zSize n, z64f* out);

/* out = v / |v|. A zero-length or non-finite vector: zERROR_PARAMETER, out untouched. */
Z_API zStatus zS3dMath_Normalize64f(const zPoint3d64f* v, zPoint3d64f* out);

/* Median of the values that are not the double null (-DBL_MAX) and not NaN. An odd count of them
   gives the middle value, an even count the mean of the two middle values, none gives -DBL_MAX.
   The values are reordered in place. */
Z_API zStatus zNullMath_Median64f(z64f* values, zSize count, z64f* median);

Z_END_C

#endif
