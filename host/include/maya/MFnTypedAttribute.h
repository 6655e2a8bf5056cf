// Stand-in for Maya's MFnTypedAttribute: attributes holding a data object (string, mesh,
// arrays, ...).
#pragma once

#include <maya/MFnAttribute.h>
#include <maya/MFnData.h>
#include <maya/MTypeId.h>

class OPENMAYA_EXPORT MFnTypedAttribute : public MFnAttribute {
  public:
    MFnTypedAttribute();
    MFnTypedAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnTypedAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnTypedAttribute() override;
    MFn::Type type() const override;

    // defaultData: a data object of the attribute's type (a string data object for kString),
    // or the null object for none.
    MObject create(const MString& fullName, const MString& briefName, const MTypeId& id,
                   MObject defaultData = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    MObject create(const MString& fullName, const MString& briefName, MFnData::Type type,
                   MObject defaultData = MObject::kNullObj, MStatus* ReturnStatus = NULL);
    MFnData::Type attrType(MStatus* ReturnStatus = NULL) const;
    MStatus getDefault(MObject& defaultValue);
    MStatus setDefault(const MObject& defaultValue);
};
