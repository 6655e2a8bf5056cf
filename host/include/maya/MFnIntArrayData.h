// Stand-in for Maya's MFnIntArrayData: int array data objects, the values of int-array
// attributes.
#pragma once

#include <maya/MFnData.h>
#include <maya/MIntArray.h>

class OPENMAYA_EXPORT MFnIntArrayData : public MFnData {
  public:
    MFnIntArrayData();
    MFnIntArrayData(MObject& object, MStatus* ReturnStatus = NULL);
    MFnIntArrayData(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnIntArrayData() override;
    MFn::Type type() const override;

    unsigned int length(MStatus* ReturnStatus = NULL) const;
    int operator[](unsigned int index) const;
    MStatus copyTo(MIntArray& array) const;
    MStatus set(const MIntArray& newArray);
    MIntArray array(MStatus* ReturnStatus = NULL);
    MObject create(MStatus* ReturnStatus = NULL);
    MObject create(const MIntArray& in, MStatus* ReturnStatus = NULL);
};
