// 2D Delaunay triangulation of a point set, with exact geometric predicates.
//
// Owns:
//   KDelaunay2D            triangulates points in the plane: triangles and their adjacency
//   KDelaunayPredicates    the exact orientation and in-circle tests it is built on
//
// Conventions:
//   - points are (x, y) = (first, second) of each KFloat2; indices are 0-based into the input;
//   - every triangle is counter-clockwise in that plane: for corners (a, b, c),
//     (b - a) x (c - a) > 0 with x to the right and y up;
//   - the triangulation is Delaunay in the exact sense: no input point lies strictly inside the
//     circumcircle of any triangle. Where four or more points are co-circular (grids) any of the
//     valid triangulations may be returned.
//   - points with a NaN or infinite coordinate are left out; of points with equal coordinates
//     (0.0 == -0.0) the first in input order is used and the later copies appear in no triangle.
//     Every other input point is a corner of at least one triangle, and no point is added.
//   - fewer than three usable points, or all of them on one line, give zero triangles.
//
// Speed: points are inserted in a randomised space-filling-curve order (Hilbert curve inside
// rounds of growing size), located by walking from the previous insertion, and each one
// replaces the triangles whose circumcircles it falls in (Bowyer-Watson). The hull is closed by
// "ghost" triangles over a vertex at infinity, so there is no bounding triangle whose corners
// could spoil the empty-circle property. Predicates take a floating-point fast path and fall
// back to exact expansion arithmetic only when its error bound cannot decide the sign.
// Re-entrant: no global state; separate objects may run on separate threads.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

namespace Kelno {

class KELNO_API KDelaunay2D {
  public:
    // Triangulates `points` (read only; taken by reference for the plug-in's calling form).
    //   triangleCount     number of triangles written
    //   triangleVertices  3 * triangleCount point indices, corners of triangle t at 3t, 3t+1,
    //                     3t+2, counter-clockwise
    //   second            3 * triangleCount triangle indices: second[3t + k] is the triangle on
    //                     the other side of the edge from corner k to corner (k + 1) mod 3 of
    //                     triangle t, or -1 when that edge lies on the convex hull
    KDelaunay2D(KFloat2Array& points, int& triangleCount, KIntArray& triangleVertices, KIntArray& second);

    // What happened to the input: points used as corners, later copies of an earlier point, and
    // points with a NaN or infinite coordinate. When triangles were made,
    // used + duplicates + nonFinite equals the input count.
    int usedPointCount() const { return _used; }
    int duplicateCount() const { return _duplicates; }
    int nonFiniteCount() const { return _nonFinite; }

  private:
    int _used = 0;
    int _duplicates = 0;
    int _nonFinite = 0;
};

// The ground-plane point of a 3D point that the Delaunay command and the command-line tool
// triangulate: (z, x), the height y left out. With z as the first axis and x as the second, a
// counter-clockwise triangle in that plane has its normal along +y, so the faces of a
// triangulated height field face up.
inline KFloat2 GroundPlanePoint(const KVector& p) { return KFloat2{p.z, p.x}; }

namespace KDelaunayPredicates {

// Sign of the determinant | ax-cx  ay-cy ; bx-cx  by-cy |: +1 when a, b, c turn
// counter-clockwise, -1 when clockwise, 0 when collinear. Exact for all finite doubles whose
// products neither overflow nor underflow (always true for values converted from float).
KELNO_API int orient(double ax, double ay, double bx, double by, double cx, double cy);

// +1 when d lies strictly inside the circle through a, b, c (taken counter-clockwise), -1 when
// strictly outside, 0 when on it. For a clockwise a, b, c the sign is reversed. Exact under the
// same conditions as orient().
KELNO_API int inCircle(double ax, double ay, double bx, double by, double cx, double cy, double dx,
                       double dy);

} // namespace KDelaunayPredicates

} // namespace Kelno
