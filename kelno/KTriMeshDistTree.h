// Closest-point and box queries over the triangles of a KTriMesh.
//
// Owns KTriMeshDistTree: a bounding volume hierarchy (4 boxes per node, single-precision boxes,
// triangles packed four to a block) built once over a copy of the mesh's triangle corners and
// vertex indices; about 70 bytes per triangle in all. Queries test the triangles of four
// blocks at once where the processor has AVX-512, two with AVX2 (found at run time; the
// environment variable KELNO_TREE_LANES=8 or 4 caps this) and one elsewhere, with the same
// answers either way.
// The tree does not refer to the mesh after set(): changing or destroying the mesh later does
// not affect it (rebuild with set() to follow a changed mesh). The built data is immutable and
// shared between copies of a tree, so copying a tree is cheap.
//
// Results are exact to the precision of the data and independent of how the tree was built:
//   - the distance of a query point to triangle t is the value closestPointOnTriangle() returns
//     for t's corners, computed in double precision from the float corners and query, so it is
//     within a few roundings of the true distance for any shape (slivers, needles, zero-area
//     triangles) and any size a float can hold; a fast single-precision pass only rules out
//     triangles that cannot come near the best value;
//   - a query returns the triangle with the smallest such value, and of several triangles at
//     exactly the same value the one with the highest index (the later candidate wins a tie,
//     made independent of the order in which the tree visits them);
//   - so the same mesh and query always give the same triangle, weights and point, whatever
//     the build parameters or the number of threads.
// Thread safety: all const members may be called from any number of threads at once; a query
// keeps its state on the caller's stack and writes nothing into the tree. set() must not run
// concurrently with queries on the same tree.
#pragma once

#include "KMesh.h"
#include "KTypes.h"
#include "KelnoExport.h"

#include <cstddef>
#include <memory>

namespace Kelno {

class KELNO_API KTriMeshDistTree {
  public:
    // An empty tree: every query finds nothing until set() is called.
    //   maxLeafSize  the largest number of triangles kept together in one leaf (clamped to
    //                1..16). The builder stops splitting earlier when its cost model says a
    //                leaf is cheaper, so this is an upper bound, not a target. 10 is a good value.
    //   binCount     the number of equal bins per axis into which the build sorts triangle
    //                centres at each node; the bin boundaries are the candidate split planes of
    //                the surface-area heuristic (clamped to 4..64). More bins build a slightly
    //                better tree more slowly. 10 is a good value.
    // The plug-in passes (10, 10) everywhere. Neither parameter changes query results, only speed.
    KTriMeshDistTree(int maxLeafSize, int binCount);
    // The same followed by set(mesh).
    KTriMeshDistTree(const KTriMesh& mesh, int maxLeafSize, int binCount);

    // Builds the tree over the triangles of `mesh`, replacing any earlier content. Triangles
    // with an out-of-range vertex index or a non-finite corner are left out (never found).
    // Uses the current OpenMP team for the build. Not safe concurrently with queries.
    void set(const KTriMesh& mesh);
    // Forgets everything (an empty tree).
    void clear();

    // The closest point of the mesh surface to p within maxDistance (distance <= maxDistance):
    //   closest   the point, closest = w0 * P[c0] + w1 * P[c1] + (1 - w0 - w1) * P[c2] where
    //             c0, c1, c2 are the corners of `triangle` in order (so w0, w1 >= 0, w0 + w1 <= 1);
    //             it is evaluated in double precision and rounded once, so it lies within a few
    //             float roundings of the exact closest point (a query point on the surface
    //             comes back as itself to that precision, a corner exactly);
    //   triangle  its triangle index in the mesh, or -1 when nothing is found (empty tree, no
    //             triangle within maxDistance, a negative or NaN maxDistance, a NaN or infinite
    //             query point): always written;
    //   w0, w1    the weights of corners c0 and c1.
    // closest, w0 and w1 are written only when something is found; the result is triangle >= 0.
    // Pass 1e30 for an unbounded search.
    bool getClosestPoint(const KVector& p, KVector& closest, int& triangle, float& w0, float& w1,
                         float maxDistance) const;
    // The same without the weights.
    bool getClosestPoint(const KVector& p, KVector& closest, int& triangle, float maxDistance) const;
    // The same without the point.
    bool getClosestPoint(const KVector& p, int& triangle, float& w0, float& w1, float maxDistance) const;

    // The indices of exactly the triangles whose bounding boxes (the min and max of their three
    // corners) overlap `box`, touching included. `out` is replaced. With sorted the indices come
    // in increasing order (the same list whatever the build); without, in tree order, which is
    // slightly faster. An uninitialised box or one holding a NaN finds nothing.
    void getTriangles(const KBoundingBox& box, KIntArray& out, bool sorted) const;

    // The squared distance from p to the triangle (c0, c1, c2) and the weights of its closest
    // point (closest = w0 * c0 + w1 * c1 + (1 - w0 - w1) * c2), exactly as the tree computes them
    // for its queries, in double precision: the classic region tests (three corners, three
    // edges, the face) for well-shaped triangles; for thin ones (smallest angle below about
    // 0.06 degrees) the nearest of the three edge points and, when p projects inside, the face
    // point. Zero-area triangles (a segment or a point) give the closest point of their edges.
    // A query point equal to a corner gets exactly that corner and distance 0. No NaN comes
    // out of finite input.
    static double closestPointOnTriangle(const KVector& p, const KVector& c0, const KVector& c1,
                                         const KVector& c2, float& w0, float& w1);

    // The build parameters as clamped.
    int maxLeafSize() const { return m_maxLeafSize; }
    int binCount() const { return m_binCount; }
    // Number of triangles in the tree (those of the mesh that are usable).
    int triangleCount() const;
    // Bytes held by the built tree (nodes and packed triangles).
    std::size_t memoryBytes() const;
    // The box of every triangle in the tree (uninitialised when empty).
    KBoundingBox boundingBox() const;

    // The built tree, for traversals inside the library (kelno/tree/KTriMeshDistTreeData.h);
    // null before set().
    struct Data;
    const Data* data() const { return m_data.get(); }

  private:
    int m_maxLeafSize;
    int m_binCount;
    std::shared_ptr<const Data> m_data;
};

} // namespace Kelno
