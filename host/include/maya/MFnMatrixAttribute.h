// Stand-in for Maya's MFnMatrixAttribute: attributes holding a 4x4 matrix.
#pragma once

#include <maya/MFnAttribute.h>
#include <maya/MMatrix.h>

class MMatrix;

class OPENMAYA_EXPORT MFnMatrixAttribute : public MFnAttribute {
  public:
    enum Type { kFloat, kDouble };

    MFnMatrixAttribute();
    MFnMatrixAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnMatrixAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnMatrixAttribute() override;
    MFn::Type type() const override;

    MObject create(const MString& fullName, const MString& briefName, Type matrixType = kDouble,
                   MStatus* ReturnStatus = NULL);
    MStatus getDefault(MMatrix& defaultValue);
    MStatus setDefault(const MMatrix& defaultValue);
};
