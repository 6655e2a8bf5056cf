// Stand-in for Maya's MFnMesh: polygonal meshes. Attaches to a mesh data object or to a mesh
// shape (whose current output mesh it reads). Vertices are indexed from 0; a polygon is a run
// of vertex indices in polygonConnects, polygonCounts giving the run lengths.
//
// UV sets: a mesh made by create() has one UV set, "map1", which is its current set; create's
// u/v overload fills it without assigning anything (assignUVs does that). UV members taking a
// `const MString* uvSet` use the current set when it is NULL and fail with kInvalidParameter
// when the named set does not exist. UV assignments are per face vertex: a face has either a
// UV for every corner or none (uvCounts entry 0).
//
// Triangulation (getTriangles): every face of n corners becomes n - 2 triangles that keep the
// face's winding and use only its corners. The stand-in clips ears in the plane of the face's
// Newell normal, trying the corners in order from corner 1, so a convex face becomes the fan
// of its corner 0 ((0,1,2), (0,2,3), ...) and a non-convex one gets ears holding no other
// corner; a face with no clean ear (self-intersecting, or of zero area) is fanned from the
// first corner still left. The host may choose other diagonals: code must not rely on which.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MFnDagNode.h>
#include <maya/MSpace.h>
#include <maya/MString.h>

class MPoint;
class MPointArray;
class MIntArray;
class MFloatArray;
class MStringArray;
class MDGModifier;

class OPENMAYA_EXPORT MFnMesh : public MFnDagNode {
  public:
    enum { kInstanceUnspecified = -1 };

    MFnMesh();
    MFnMesh(MObject& object, MStatus* ReturnStatus = NULL);
    MFnMesh(const MObject& object, MStatus* ReturnStatus = NULL);
    MFnMesh(const MDagPath& object, MStatus* ReturnStatus = NULL);
    ~MFnMesh() override;
    MFn::Type type() const override;
    MStatus setObject(MObject& object) override;
    MStatus setObject(const MObject& object) override;

    // Builds a mesh. With a mesh data object as parentOrOwner the mesh goes into that data
    // object, which is returned; with a transform a new mesh shape is made under it and the
    // shape is returned; with the null object a new transform and a mesh shape under it are
    // made and the transform is returned. The topology must be valid: counts that agree with
    // the arrays, polygons of three or more vertices, indices inside the vertex array. The host
    // makes no promise for other input (callers validate first); the stand-in refuses it with
    // kInvalidParameter, returning the null object and leaving a data owner empty.
    MObject create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                   const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                   MObject parentOrOwner = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    MObject create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                   const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                   const MFloatArray& uArray, const MFloatArray& vArray,
                   MObject parentOrOwner = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    // A copy of the mesh of `source` (mesh data or a mesh shape), placed as create places a new
    // mesh: into a mesh data owner, or into a new shape. kInvalidParameter for anything else.
    MObject copy(const MObject& source, MObject parentOrOwner = MObject::kNullObj,
                 MStatus* ReturnStatus = NULL);
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

    // Triangles of every face, face after face: triangleCounts[f] triangles for face f, their
    // corners as mesh vertex indices (three per triangle) in triangleVertices.
    MStatus getTriangles(MIntArray& triangleCounts, MIntArray& triangleVertices) const;

    int numUVSets(MStatus* ReturnStatus = NULL) const;
    MStatus getUVSetNames(MStringArray& setNames) const;
    // The empty string when the mesh has no UV set.
    MString currentUVSetName(MStatus* ReturnStatus = NULL, int instance = kInstanceUnspecified) const;
    MStatus setCurrentUVSetName(const MString& setName, MDGModifier* modifier = NULL,
                                int instance = kInstanceUnspecified);
    // Adds an empty UV set; a name already in use gets a number appended. Returns the name used.
    MString createUVSetWithName(const MString& setName, MDGModifier* modifier = NULL,
                                MStatus* ReturnStatus = NULL);
    // Adds an empty UV set. A name already in use gets a number appended, and uvSetName is set to
    // the name used. kInvalidParameter for an empty name; instances are ignored (no instancing).
    MStatus createUVSet(MString& uvSetName, MDGModifier* modifier = NULL, const MIntArray* instances = NULL);
    // Empties the set: no UVs and no face assigned. The set itself stays.
    MStatus clearUVs(const MString* uvSet = NULL);
    int numUVs(MStatus* ReturnStatus = NULL) const;
    int numUVs(const MString& uvSet, MStatus* ReturnStatus = NULL) const;
    MStatus getUVs(MFloatArray& uArray, MFloatArray& vArray, const MString* uvSet = NULL) const;
    // Replaces the set's UV values. The arrays must be of equal length and at least as long as
    // the set already is (kInvalidParameter, nothing changed, otherwise): clearUVs shrinks a set.
    MStatus setUVs(const MFloatArray& uArray, const MFloatArray& vArray, const MString* uvSet = NULL);
    // uvCounts: per face, 0 or the face's vertex count; uvIds: the UV of every assigned face
    // vertex, face after face. kInvalidParameter (nothing changed) when they do not fit.
    MStatus assignUVs(const MIntArray& uvCounts, const MIntArray& uvIds, const MString* uvSet = NULL);
    MStatus getAssignedUVs(MIntArray& uvCounts, MIntArray& uvIds, const MString* uvSet = NULL) const;
    // The UV of corner vertexIndex (0-based, within the face) of the face; kFailure when the
    // face has no UVs in that set, kInvalidParameter for indices out of range.
    MStatus getPolygonUVid(int polygonId, int vertexIndex, int& uvId, const MString* uvSet = NULL) const;
};
