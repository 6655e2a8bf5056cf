// KPolyMesh: a drawable polygon mesh, as the Alembic viewer keeps one per cached mesh.
//
// Owns its positions, polygon sizes and polygon connections (filled directly by
// KAlembicObject::getPolyMeshData), the box of its positions, and four arrays of its own for
// normals and drawing (vertex normals, face normals, where each polygon starts in the
// connections, and whether each polygon is drawable).
//
// The three input arrays may disagree: a topology from one sample with positions of another,
// topology without positions, negative sizes or indices out of range. Nothing here ever reads
// outside them: a polygon whose sizes run past the connections, or that names a vertex that
// does not exist, is skipped by normals and drawing. Indices are 0-based; polygons keep their
// stored vertex order (no winding change); normals follow the right-hand rule over that order.
//
// Drawing is legacy immediate-mode OpenGL in the current context (fixed function, as the
// viewport's display lists record it).
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

namespace Kelno {

class KELNO_API KPolyMesh {
  public:
    KPolyMesh();
    ~KPolyMesh();

    // Points, one per vertex, in the space of the last transform applied.
    KVectorArray m_positions;
    // Vertices of each polygon.
    KIntArray m_polygonCounts;
    // Vertex indices of all polygons, polygon after polygon.
    KIntArray m_polygonConnections;
    // Box of the positions, valid after computeBoundingBox().
    KBoundingBox m_boundingBox;

    // Sets m_boundingBox to the box of the finite positions (uninitialised when none).
    void computeBoundingBox();

    // Per-vertex normals: the sum of the area-weighted normals (Newell's method, so n-gons
    // that are not planar get a sensible normal) of the polygons around each vertex, then
    // normalised. Vertices on no drawable polygon get (0, 0, 0). Also refreshes the face
    // normals and the polygon table. Large meshes use several threads when called outside
    // a parallel region.
    void computeVertexNormals();

    // Multiplies every position by m (row vectors: p' = p * m, projective matrices divide by
    // w). With normalsToo, vertex and face normals are carried by the inverse transpose of m's
    // upper 3x3 and renormalised. The box is not updated: call computeBoundingBox().
    void transform(const KMatrix& m, bool normalsToo);

    // Draws the drawable polygons filled (triangle fans, so convex polygons come out right)
    // with per-vertex normals when smooth is true and per-face normals when false. Normals
    // that are missing or stale (count not matching) are computed per face on the fly.
    void drawSurface(bool smooth) const;
    // Draws the edges of the drawable polygons as GL lines.
    void drawWireframe() const;

    // Normals as last computed (empty before computeVertexNormals()).
    const KVectorArray& vertexNormals() const { return m_vertexNormals; }
    const KVectorArray& faceNormals() const { return m_faceNormals; }
    // Number of polygons that are drawable with the current arrays.
    int numDrawablePolygons() const;

  private:
    // Fills m_faceStarts and m_faceDrawable from the three input arrays.
    void _buildPolygonTable();

    KVectorArray m_vertexNormals;
    KVectorArray m_faceNormals;
    KIntArray m_faceStarts;
    KCharArray m_faceDrawable;
};

} // namespace Kelno
