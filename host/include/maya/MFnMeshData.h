// Stand-in for Maya's MFnMeshData: mesh data objects, the values of mesh attributes.
#pragma once

#include <maya/MFnData.h>

class OPENMAYA_EXPORT MFnMeshData : public MFnData {
  public:
    MFnMeshData();
    MFnMeshData(MObject& object, MStatus* ReturnStatus = NULL);
    MFnMeshData(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnMeshData() override;
    MFn::Type type() const override;

    // A new, empty mesh data object; MFnMesh::create fills it.
    MObject create(MStatus* ReturnStatus = NULL);
};
