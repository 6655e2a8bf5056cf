// Best-fit rigid transforms between corresponding point sets.
//
// Owns the least-squares fit used to measure how a mesh has moved: the rotation (always a proper
// rotation, never a reflection) and translation that best carry points a[i] onto b[i], and the
// per-copy form that fits one source against several consecutive copies in a target.
//
// Matrices follow KMatrix: row-major storage, points as row vectors, p' = p * M, the rotation in
// the upper 3x3 block and the translation in the last row (m[3][0..2]); the last column is
// (0, 0, 0, 1). No scale or shear is ever fitted.
//
// Sums are accumulated in double precision; the rotation is the eigenvector of the largest
// eigenvalue of Horn's 4x4 symmetric matrix (unit quaternions), found by Jacobi sweeps.
//
// Degenerate input never produces NaN:
//   - the point pairs used are the first min(a.length(), b.length()) (extra points are ignored);
//     no pairs at all give the identity;
//   - one pair, or all points of `a` coincident, gives a pure translation between the centroids;
//   - collinear points give one of the equally good rotations (about the line it is free);
//   - coplanar points give the unique best rotation, as any non-degenerate set does;
//   - any NaN or infinite coordinate among the pairs used gives the identity.
// Thread safety: the functions keep no state; they may run concurrently.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

#include <vector>

namespace Kelno {

// The rigid transform M (p' = p * M) minimising sum |a[i] * M - b[i]|^2, rotating about the
// centroid of `a`: the translation is centroid(b) - centroid(a) * R.
KELNO_API KMatrix ShapeMatchingMatrix(const KVectorArray& a, const KVectorArray& b);

// The same fit expressed about `pivot`, as the matrix a transform node whose rotate pivot sits at
// `pivot` holds: the rotation R is unchanged and the translation becomes
//   t' = t + pivot * R - pivot,
// so that the fitted mapping is p -> (p - pivot) * M' + pivot (that is, (p - pivot) R + pivot +
// t'). With pivot (0, 0, 0) it equals the two-argument form.
KELNO_API KMatrix ShapeMatchingMatrix(const KVectorArray& a, const KVectorArray& b, const KVector& pivot);

// One fit per copy of `source` found in `target`, as 16 doubles each in the matrix's storage
// order, copy after copy. `target` holds k = target.length() / source.length() consecutive runs of
// source.length() points (points after the last whole run are ignored); run j is fitted against
// `source` with the two-argument form, or the pivot form when `pivot` is not null. Each matrix is
// transposed when `order` is exactly 1.0 (any other value keeps the storage order). Equal counts
// give one matrix; an empty source or target, or a target shorter than the source, gives an
// empty array. Runs are fitted in an OpenMP parallel loop with the static schedule, over the
// team size currently set (omp_set_num_threads).
KELNO_API std::vector<double> ShapeMatchingMatrices(const KVectorArray& source, const KVectorArray& target,
                                                    const KVector* pivot, double order);

} // namespace Kelno
