// Collision tools: edges of a triangle mesh that pierce its triangles, and vertices of one mesh
// that lie inside another. The host-free cores of the collision check and inside-component
// commands, shared with the command-line tool.
//
// Owns:
//   SegmentPiercesTriangle    the segment-triangle test of the collision check
//   FindIntersectingEdges     that test for every edge against the triangles near it
//   CollidingVertices         the vertices that touch a flagged edge
//   IsInsideVertex / FindInsideVertices   the side test against the nearest collider triangle
//   SelectFacesByMode         the polygons the inside-component command selects per mode
//
// Conventions: indices are 0-based; positions are single precision and used as given (no
// transform); triangles keep the winding of the source mesh, whose normal (B - A) x (C - A) is
// the front side for the inside test.
// Floating point: every result is the exact outcome of the operations documented below in the
// order written, so the tree-based and brute-force forms flag the same edges on every machine.
#pragma once

#include "KMesh.h"
#include "KTriMeshDistTree.h"
#include "KTypes.h"
#include "KelnoExport.h"

#include <functional>

namespace Kelno {

// Progress of a long loop: called with the share done so far (0..1) from the calling thread
// or one worker; it must be cheap and thread-safe. May be empty.
using KProgressCallback = std::function<void(float fraction)>;

// The Möller-Trumbore test of the segment P0 -> P1 against triangle (A, B, C), with eps = 1e-30:
//   d = (P1 - P0) * r, r the bit-level inverse square root of |P1 - P0|^2 + eps (magic
//   0x5F3759DF, one Newton step r * (1.5 - 0.5 * x * r * r));
//   e1 = B - A, e2 = C - A, p = d x e2, det = e1 . p, inv = 1 / det;
//   s = P0 - A, u = (s . p) inv, q = s x e1, v = (d . q) inv, t = (e2 . q) inv;
// true when u >= -eps, u <= 1, |det| > eps, v >= -eps, u + v <= 1, t >= eps and
// t <= |P1 - P0|. So a touch at P0 is no hit, one at P1 is, and an edge in the plane is none.
KELNO_API bool SegmentPiercesTriangle(const KVector& p0, const KVector& p1, const KVector& a,
                                      const KVector& b, const KVector& c);

// The fast inverse square root used by the test (exposed for tests).
KELNO_API float FastInverseSqrt(float x);

// Tests every edge of `connections` (built over `mesh` with set() and calculate_e2v()) as a
// segment against the triangles of `mesh` whose boxes overlap the edge's box widened by 1e-30,
// leaving out the triangles that have either end vertex of the edge among their corners.
// `hit` is replaced with one entry per edge: 1 when the edge pierces one of those triangles,
// otherwise 0. `tree` must be built over `mesh` as it is now: the triangles are read from the
// tree's copy of their corners and vertex indices. The tree is walked once per node that holds
// leaves, for the edges whose triangles those leaves hold, to find the leaves near that node;
// each of those edges then tests only them (an edge with no such triangle in the tree walks
// the tree itself). One OpenMP region over the edges with static scheduling (each thread a run
// of consecutive edges, which it takes node by node in the tree's order). `progress`, when
// set, is called now and then with the share of edges done.
KELNO_API void FindIntersectingEdges(const KTriMesh& mesh, const KTriMeshDistTree& tree,
                                     const KTriMeshConnectionInfo& connections, KIntArray& hit,
                                     const KProgressCallback& progress = KProgressCallback());

// The same, step by step as the collision check's definition writes it: the sorted box query,
// the adjacent triangles removed with KArray<int>::remove, then the test in the tree's order.
// Slower; kept as the reference the fast form is checked against.
KELNO_API void FindIntersectingEdgesStepwise(const KTriMesh& mesh, const KTriMeshDistTree& tree,
                                             const KTriMeshConnectionInfo& connections, KIntArray& hit);

// The same without a tree: every triangle whose corner box overlaps the widened edge box.
// Quadratic; for tests and benchmarks on small meshes.
KELNO_API void FindIntersectingEdgesBruteForce(const KTriMesh& mesh,
                                               const KTriMeshConnectionInfo& connections, KIntArray& hit);

// The vertices 0..vertexCount-1, ascending, that have at least one flagged edge in
// connections.v2e (needs calculate_v2e()). A vertex without edges is never listed.
KELNO_API void CollidingVertices(const KTriMeshConnectionInfo& connections, const KIntArray& hit,
                                 int vertexCount, KIntArray& out);

// Number of non-zero entries of hit.
KELNO_API int CountHits(const KIntArray& hit);

// True when p lies on or behind the nearest triangle of `colliders` (as `tree`, built over
// `colliders`, finds it within 1e30): the triangle's normal (B - A) x (C - A) is computed in
// double precision and divided by sqrt(|n|^2 + 1e-20), then s = n . (p - closest) is
// formed in single precision and the vertex is inside when s < 1e-30. No triangle found: outside.
KELNO_API bool IsInsideVertex(const KVector& p, const KTriMesh& colliders, const KTriMeshDistTree& tree);

// The indices of the vertices of `mesh` that are inside, ascending (out is replaced). One
// OpenMP loop over the vertices with static scheduling.
KELNO_API void FindInsideVertices(const KTriMesh& mesh, const KTriMesh& colliders,
                                  const KTriMeshDistTree& tree, KIntArray& out,
                                  const KProgressCallback& progress = KProgressCallback());

// The polygons chosen by `mode` (out is replaced, ascending): 2 every vertex flagged (a polygon
// without vertices included), 3 at least one flagged, 4 at least one flagged and one not; any
// other mode none. `polygons` lists each polygon's vertex indices; `flags` one entry per vertex
// (non-zero = inside); an index outside `flags` counts as not flagged.
KELNO_API void SelectFacesByMode(const KIntArrayList& polygons, const KIntArray& flags, unsigned int mode,
                                 KIntArray& out);

} // namespace Kelno
