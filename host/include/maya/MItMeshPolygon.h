// Stand-in for Maya's MItMeshPolygon: walks the polygons of a mesh (a mesh shape node or mesh
// data) in index order. Only the object constructor is provided (no path with components). The
// polygon list is read when the iterator is built or reset.
#pragma once

#include <maya/MIntArray.h>
#include <maya/MObject.h>
#include <maya/MStatus.h>

#include <vector>

class OPENMAYA_EXPORT MItMeshPolygon {
  public:
    MItMeshPolygon(const MObject& polyObject, MStatus* ReturnStatus = NULL);
    virtual ~MItMeshPolygon();

    bool isDone(MStatus* ReturnStatus = NULL);
    MStatus next();
    MStatus reset();
    MStatus reset(const MObject& polyObject);
    unsigned int count(MStatus* ReturnStatus = NULL);
    unsigned int polygonVertexCount(MStatus* ReturnStatus = NULL);
    int index(MStatus* ReturnStatus = NULL);
    MStatus getVertices(MIntArray& vertices);

  private:
    MStatus read(const MObject& polyObject);
    MObject fMesh;
    std::vector<int> fCounts;
    std::vector<int> fFirst;
    std::vector<int> fConnects;
    unsigned int fIndex;
};
