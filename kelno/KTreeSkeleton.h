// Tree skeletons: centre chains of open tubes, and the branch hierarchy over their curves.
//
// Owns:
//   KTreeSkeleton::findCenter             marches along one open tube and returns its cross-section centres
//   KTreeSkeleton::fitPlane               least-squares plane through points (normal with one component 1)
//   KTreeSkeleton::linePlaneIntersection  segment against plane
//   KTreeSkeleton::splitConnected         separates a mesh into its connected pieces
//   KTreeSkeleton::Hierarchy              main branch, parent curves and parent CVs over curves
//
// Everything is single precision (as the meshes are), except the curve hierarchy, which works on
// the double-precision curves of KNurbsCurve.h. The functions are re-entrant: each reads its
// inputs and writes only its outputs, so different meshes may be processed on different threads.
#pragma once

#include "KMesh.h"
#include "KNurbsCurve.h"
#include "KTypes.h"
#include "KelnoExport.h"

#include <vector>

namespace Kelno {
namespace KTreeSkeleton {

// The classic bit-trick inverse square root of s (s >= 0) with one Newton step; about 0.2%
// accurate. The centre march uses it on purpose: its chains are defined with this rounding.
KELNO_API float fastInvSqrt(float s);

// True when the segment a-b meets the plane (through planePoint, normal planeNormal, any length),
// both ends included. hit receives a + t (b - a) whenever the segment is not parallel to the plane
// (t may then lie outside [0, 1]); a segment lying in or parallel to the plane (exact zero
// denominator) is never a crossing and leaves hit untouched. NaNs give false.
KELNO_API bool linePlaneIntersection(const KVector& planeNormal, const KVector& planePoint, const KVector& a,
                                     const KVector& b, KVector& hit);

// Least-squares plane through points. Fewer than 3 points: false, nothing written. Otherwise the
// centroid is written, and when the scatter is not degenerate the normal too (not unit length:
// its component along the dominant determinant axis is exactly 1); false when degenerate.
// The X-dominant normal's y term uses xz*xz where the textbook has xz*yz; chains in existing
// scenes depend on it, so it stays.
KELNO_API bool fitPlane(const KVectorArray& points, KVector* normal, KVector* centroid);

// Marches along an open tube. conn must have been set from mesh with the edge-to-triangle and
// triangle-to-edge tables calculated. The first centre is the centroid of the boundary loop
// nearest the mesh box's minimum corner (or of the far loop when that one has fewer than three
// vertices); every further step moves the cutting plane by `step` along the current axis and
// adds the centre of the new cross-section, at most `iterations` times. The march stops early
// where no edge crosses the plane (past the open end). A closed mesh gives the single point
// (0,0,0). `centres` is replaced; positions are in the mesh's space.
//
// Every step looks at every edge for crossings of the plane. `scan` chooses how: Full runs the
// exact segment test on every edge; Prefiltered (the default) first compares the two ends' signed
// distances to the plane and runs the exact test only on edges that could cross, which gives the
// same chains (the skip margin is far wider than the rounding of either test) at less cost.
enum class EdgeScan { Full, Prefiltered };
KELNO_API void findCenter(const KTriMesh& mesh, const KTriMeshConnectionInfo& conn, int iterations,
                          float step, KVectorArray& centres, EdgeScan scan = EdgeScan::Prefiltered);

// Splits a mesh into its edge-connected pieces (triangles sharing a vertex belong together),
// in the order of each piece's first triangle. Each piece keeps only the vertices it uses,
// renumbered in first-use order; UVs are carried along when present. Triangles with an
// out-of-range index are dropped.
KELNO_API std::vector<KTriMesh> splitConnected(const KTriMesh& mesh);

// Branch hierarchy over one curve per chain.
struct KELNO_API Hierarchy {
    int mainBranch = 0;
    // Per curve: parent curve index (-1 for the main branch), the parent's CV nearest the
    // root point (0 for the main branch), its CV count and its root point.
    std::vector<int> parentCurves;
    std::vector<int> parentCVs;
    std::vector<int> curveNumCVs;
    std::vector<KNurbsCurve::Point> rootPoints;
};

// The longest curve (arc length with tolerance 0.001, compared in single precision; ties go to
// the later curve); 0 without curves.
KELNO_API int findMainBranch(const std::vector<KNurbsCurve>& curves);

// Fills the whole hierarchy. Branches whose last CV lies strictly nearer to the main branch
// than their first are reversed in place so that every branch starts at its root. The parent of
// a branch is the nearest other curve to its root point (ties to the later curve); its parent CV
// is the parent's CV nearest the root point (ties to the later CV).
KELNO_API Hierarchy buildHierarchy(std::vector<KNurbsCurve>& curves);

} // namespace KTreeSkeleton
} // namespace Kelno
