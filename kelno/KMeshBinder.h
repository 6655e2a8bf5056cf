// Binding a point to a deforming triangle mesh: the geometric core of the mesh transform binder.
//
// Owns:
//   KMatrix4d        a 4x4 double matrix with the host's (MMatrix) conventions
//   KTriangleFrame   an orthonormal frame on one triangle: centre, axes A, N, B and matrix F
//   KMeshBinding     what a bind records: triangle, frame vertex, local coordinates, inverse F
//   TriangleFrame, FarthestCorner, BindPoint, EvaluateBinding
//
// The frame of triangle t (corners i0, i1, i2 at p0, p1, p2) with frame vertex f:
//   c = (p0 + p1 + p2) / 3 and n = (p1 - p0) x (p2 - p0), both in single precision; then, in
//   double precision, A = P[f] - c, N = n, B = A x N, each normalised unless its squared length
//   is 1e-20 or less (a degenerate axis is left as it is, never divided by zero). F has the rows
//   A, N, B, (0, 0, 0, 1): a rotation without translation when f is a corner of t.
// Bind finds the closest triangle to a rest point P, takes its farthest corner as f, and records
// L = ((P - c) . A, (P - c) . N, (P - c) . B) and the inverse of F. Evaluation rebuilds the frame
// from the moved mesh and gives
//   translate = c + L.x A + L.y N + L.z B - P   (the displacement of the point, not its place)
//   rotation  = inverse(F at bind) * F now      (row vectors: the bind frame undone, then F)
//
// Bad input never crashes and never reads outside the mesh: an empty mesh binds to nothing
// (triangle and vertex -1), and a triangle index, a corner index or a frame vertex index outside
// the current mesh makes the frame unusable; evaluation then gives a zero translation and the
// identity rotation and reports false. Valid input is never affected by these checks.
// Everything here is plain C++14 and host-free; all functions are safe to call concurrently.
#pragma once

#include "KMesh.h"
#include "KTypes.h"
#include "KelnoExport.h"

namespace Kelno {

// A 4x4 double matrix in the conventions of KMatrix and the host's MMatrix: m[row][col],
// points as row vectors (p' = p * M), A * B applies A first. Default: the identity.
struct KELNO_API KMatrix4d {
    double m[4][4];

    KMatrix4d();
    static KMatrix4d identity() { return KMatrix4d(); }

    KMatrix4d operator*(const KMatrix4d& b) const;
    // General inverse (Gauss-Jordan with partial pivoting). A singular matrix (a pivot below
    // 1e-20 in magnitude, or not finite) gives the identity and *invertible = false.
    KMatrix4d inverse(bool* invertible = nullptr) const;
};

// An orthonormal frame on a triangle (see the header comment for the exact steps).
struct KTriangleFrame {
    KVector centre;   // c, single precision
    double a[3];      // axis A: towards the frame vertex
    double n[3];      // axis N: the triangle normal
    double b[3];      // axis B = A x N
    KMatrix4d matrix; // F: rows A, N, B, (0, 0, 0, 1)
};

// Builds the frame of `triangle` with frame vertex `vertex`. False (and `frame` untouched) when
// the triangle index, one of its corners or the vertex index is outside the mesh.
KELNO_API bool TriangleFrame(const KTriMesh& mesh, int triangle, int vertex, KTriangleFrame& frame);

// The corner of `triangle` farthest from its centre, as a vertex index. Distances d0, d1, d2
// from c to p0, p1, p2 are single precision, and the comparisons strict:
//   d1 > d0 ? (d2 > d1 ? i2 : i1) : (d2 > d0 ? i2 : i0)
// so a tie goes to the earlier corner (an equilateral triangle gives i0). -1 when the triangle
// or one of its corners is outside the mesh.
KELNO_API int FarthestCorner(const KTriMesh& mesh, int triangle);

// What a bind records (the binder node stores these in its attributes).
struct KMeshBinding {
    int triangle = -1;           // closest triangle; -1: not bound
    int vertex = -1;             // frame vertex (the farthest corner); -1: not bound
    double local[3] = {0, 0, 0}; // L, the rest point in the frame
    KMatrix4d initialMatrix;     // inverse of F at bind time
    bool bound() const { return triangle >= 0 && vertex >= 0; }
};

// Binds the rest point p: the closest triangle (KTriMeshDistTree(mesh, 10, 10), unbounded
// search), its farthest corner, L and the inverse frame. An empty mesh (or one with no usable
// triangle) gives the unbound default (triangle and vertex -1, L = 0, identity) and false.
KELNO_API bool BindPoint(const KTriMesh& mesh, const KVector& p, KMeshBinding& binding);

// Evaluates a binding against the current mesh: translate and rotation as in the header
// comment, with p the rest point. When the binding's triangle or vertex does not fit the mesh,
// translate is zero, rotation the identity, and the result false.
KELNO_API bool EvaluateBinding(const KTriMesh& mesh, const KMeshBinding& binding, const KVector& p,
                               double translate[3], KMatrix4d& rotation);

} // namespace Kelno
