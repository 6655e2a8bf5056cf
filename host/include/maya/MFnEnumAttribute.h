// Stand-in for Maya's MFnEnumAttribute: attributes holding one of a list of named integer
// fields.
#pragma once

#include <maya/MFnAttribute.h>

class MStringArray;

class OPENMAYA_EXPORT MFnEnumAttribute : public MFnAttribute {
  public:
    MFnEnumAttribute();
    MFnEnumAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnEnumAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnEnumAttribute() override;
    MFn::Type type() const override;

    MObject create(const MString& fullName, const MString& briefName, short defaultValue = 0,
                   MStatus* ReturnStatus = NULL);
    MStatus addField(const MString& fieldName, short index);
    MString fieldName(short index, MStatus* ReturnStatus = NULL) const;
    short fieldIndex(const MString& fieldName, MStatus* ReturnStatus = NULL) const;
    MStatus getMin(short& minValue) const;
    MStatus getMax(short& maxValue) const;
    MStatus setDefault(short index);
    MStatus setDefault(const MString& fieldName);
    MStatus getDefault(short& index) const;
    MString defaultValue(MStatus* ReturnStatus = NULL) const;
};
