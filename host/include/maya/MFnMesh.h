// Stand-in for Maya's MFnMesh: polygonal meshes. Attaches to a mesh data object or to a mesh
// shape (whose current output mesh it reads). Vertices are indexed from 0; a polygon is a run
// of vertex indices in polygonConnects, polygonCounts giving the run lengths.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MFnDagNode.h>
#include <maya/MSpace.h>

class MPoint;
class MPointArray;
class MIntArray;
class MFloatArray;

class OPENMAYA_EXPORT MFnMesh : public MFnDagNode {
  public:
    MFnMesh();
    MFnMesh(MObject& object, MStatus* ReturnStatus = NULL);
    MFnMesh(const MObject& object, MStatus* ReturnStatus = NULL);
    MFnMesh(const MDagPath& object, MStatus* ReturnStatus = NULL);
    ~MFnMesh() override;
    MFn::Type type() const override;
    MStatus setObject(MObject& object) override;
    MStatus setObject(const MObject& object) override;

    // Builds a mesh. With a mesh data object as parentOrOwner the mesh goes into that data
    // object, which is returned; with the null object a new mesh shape is made under a new
    // transform and the transform is returned. Fails with kInvalidParameter (returning the
    // null object and leaving the owner empty) when the counts disagree with the arrays, a
    // polygon has fewer than three vertices, or an index is outside the vertex array.
    MObject create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                   const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                   MObject parentOrOwner = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    MObject create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                   const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                   const MFloatArray& uArray, const MFloatArray& vArray,
                   MObject parentOrOwner = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    MStatus copyInPlace(const MObject& source);

    int numVertices(MStatus* ReturnStatus = NULL) const;
    int numPolygons(MStatus* ReturnStatus = NULL) const;
    int numFaceVertices(MStatus* ReturnStatus = NULL) const;
    int numEdges(MStatus* ReturnStatus = NULL) const;
    int polygonVertexCount(int polygonId, MStatus* ReturnStatus = NULL) const;
    MStatus getPolygonVertices(int polygonId, MIntArray& vertexList) const;
    MStatus getVertices(MIntArray& vertexCount, MIntArray& vertexList) const;
    MStatus getPoints(MPointArray& vertexArray, MSpace::Space space = MSpace::kObject) const;
    MStatus setPoints(MPointArray& vertexArray, MSpace::Space space = MSpace::kObject);
    MStatus getPoint(int vertexId, MPoint& pos, MSpace::Space space = MSpace::kObject) const;
    MStatus setPoint(int vertexId, const MPoint& pos, MSpace::Space space = MSpace::kObject);
    MStatus updateSurface();
};
