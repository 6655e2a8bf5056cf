// Triangle meshes, polygon meshes and their edge connectivity.
//
// Owns:
//   KTriMesh                 positions, triangles and per-corner UVs of a triangle mesh
//   KMesh                    a polygon mesh (faces of any vertex count) with per-corner UVs
//   KTriMeshConnectionInfo   edge numbering and the vertex / edge / triangle adjacency tables
// The closest-point and box-query tree over a KTriMesh is in KTriMeshDistTree.h.
//
// Conventions shared by everything here:
//   - indices are 0-based ints; a triangle or face lists vertex indices into `positions`;
//   - winding is kept exactly as the source mesh gives it (corners are never reordered);
//   - single-precision positions in whatever space the producer used (no transform is applied);
//   - out-of-range vertex indices are never dereferenced: members that meet one skip that
//     triangle or face (each member says how), so a broken mesh cannot crash a caller.
// Thread safety: every const member may be called from many threads at once; none of them
// caches anything into the object.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// KTriMesh
// ---------------------------------------------------------------------------------------------

// A triangle mesh. The three members come in this order and are public, like the fields of
// KVector: producers (the host conversions, loaders) fill them directly.
class KELNO_API KTriMesh {
  public:
    // Vertex positions, one per vertex.
    KVectorArray positions;
    // Three vertex indices per triangle (corners c0, c1, c2), in the winding of the source mesh;
    // the geometric normal is (P[c1] - P[c0]) x (P[c2] - P[c0]).
    KInt3Array triangles;
    // Per-corner UVs: three entries per triangle, in the order of its corners (entry 3*t + k is
    // corner k of triangle t); x is u, y is v, z is unused (0). Empty when no UV set was read.
    KVectorArray uvs;

    KTriMesh() = default;

    int vertexCount() const { return positions.length(); }
    int triangleCount() const { return triangles.length(); }
    // True when every index of every triangle is in range.
    bool indicesValid() const;
    void clear();

    // The box of the positions (every vertex, used or not). skipNonFinite as in
    // KVectorArray::boundingBox: true leaves out vertices holding a NaN or an infinity.
    KBoundingBox boundingBox(bool skipNonFinite) const { return positions.boundingBox(skipNonFinite); }

    // One unit normal per vertex, in vertex order (out is resized to vertexCount()): the sum of
    // the normals of the triangles that use the vertex, normalised. With areaWeighted each
    // triangle adds its cross product (weight = twice its area); without, each adds its unit
    // normal (every triangle counts the same). A vertex that no usable triangle touches, or
    // whose sum vanishes, gets the zero vector. Triangles with an out-of-range index are
    // skipped; a triangle that uses a vertex twice adds its normal once per use.
    void getVertexNormals(KVectorArray& out, bool areaWeighted) const;
};

// ---------------------------------------------------------------------------------------------
// KMesh
// ---------------------------------------------------------------------------------------------

// A polygon mesh: faces (elements) of any vertex count, each a list of vertex indices into
// `positions` in the winding of the source mesh.
class KELNO_API KMesh {
  public:
    // Vertex positions, one per vertex.
    KVectorArray positions;
    // One index list per face, corners in order.
    KIntArrayList faces;
    // Per-corner UVs, face after face in corner order (the order of getConnections); x is u,
    // y is v. Empty when no UV set was read; otherwise one entry per face corner.
    KVectorArray uvs;

    KMesh() = default;

    int vertexCount() const { return positions.length(); }
    int faceCount() const { return faces.length(); }
    void clear();

    // The box of all vertex positions (non-finite positions left out); empty for no vertices.
    KBoundingBox boundingBox() const { return positions.boundingBox(true); }

    // Removes the listed faces (indices into faces, any order; negative, out-of-range and
    // repeated indices are ignored). The remaining faces keep their order, and their UVs stay
    // with them. Vertices are never removed, even when no remaining face uses them, so vertex
    // indices stay valid.
    void deleteElements(const KIntArray& ids);

    // The vertex indices of every face, face after face (out is replaced).
    void getConnections(KIntArray& out) const;
    // The corner count of every face, in face order (out is replaced).
    void getCounts(KIntArray& out) const;

    // Swaps the whole contents (positions, faces, UVs) with `other` without copying; nothing is
    // added or dropped, unused vertices included.
    void exchange(KMesh& other);
};

// ---------------------------------------------------------------------------------------------
// KTriMeshConnectionInfo
// ---------------------------------------------------------------------------------------------

// Edge numbering and adjacency tables over one triangle mesh.
//
// Edges are the unordered vertex pairs that bound triangles. Numbering and orientation:
//   walk the triangles in index order and, inside each, the corners k = 0, 1, 2; the side from
//   corner k to corner (k + 1) % 3 is an edge. An edge gets the next number the first time it
//   is met and is stored as (corner k, corner k + 1) of that first triangle, i.e. in that
//   triangle's winding. Along an open boundary of a consistently wound mesh every boundary
//   vertex is therefore the first end of exactly one boundary edge.
// A triangle that repeats a vertex yields a degenerate edge (v, v), which is kept so that every
// triangle has three edges. Triangles with an out-of-range vertex index contribute no edges.
//
// set() binds to a mesh (copying its triangles and vertex count, so the mesh may change or go
// away afterwards) and builds the numbering and the edge list. The calculate_* members fill one
// table each; they may be called in any order, any number of times, and always agree with each
// other. set() clears every table that depends on the old mesh.
class KELNO_API KTriMeshConnectionInfo {
  public:
    // Edge list: the two end vertices of each edge, oriented as described above.
    KInt2Array e2v;
    // Edge to triangle: the first triangle (in index order) that has the edge, then the second
    // one or -1 for a boundary edge. An edge shared by more than two triangles (non-manifold)
    // lists the first two.
    KInt2Array e2t;
    // Triangle to edge: entry k is the edge from corner k to corner (k + 1) % 3; all -1 for a
    // triangle with an out-of-range vertex index.
    KInt3Array t2e;
    // Vertex to edge: for each vertex, the edges that touch it in increasing edge number (a
    // degenerate edge (v, v) is listed once).
    KIntArrayList v2e;
    // Triangle to vertex: the triangles' corner triples, as in the mesh.
    KInt3Array t2v;

    KTriMeshConnectionInfo() = default;

    void set(const KTriMesh& mesh);
    void clear();

    int edgeCount() const { return m_edges.length(); }
    int triangleCount() const { return m_triangles.length(); }
    int vertexCount() const { return m_vertexCount; }

    void calculate_v2e();
    void calculate_e2v();
    void calculate_e2t();
    void calculate_t2e();
    void calculate_t2v();

    // Triangle corner k -> the number of the edge from corner k to corner (k + 1) % 3, as set()
    // builds it (what calculate_t2e() copies into t2e; available without that call).
    const KInt3Array& triangleEdges() const { return m_triEdges; }

    // True when the edge has a triangle on one side only (needs calculate_e2t()).
    bool isBoundaryEdge(int edge) const {
        return edge >= 0 && edge < e2t.length() && (e2t[edge][0] < 0 || e2t[edge][1] < 0);
    }

  private:
    KInt3Array m_triangles;
    int m_vertexCount = 0;
    KInt2Array m_edges;    // the numbering built by set()
    KInt3Array m_triEdges; // triangle corner k -> edge number, built by set()
};

} // namespace Kelno
