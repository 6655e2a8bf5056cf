// Stand-in for Maya's MFnUnitAttribute: attributes holding an angle, a distance or a time.
// A time attribute's double default is taken in the current user interface time unit.
#pragma once

#include <maya/MFnAttribute.h>
#include <maya/MTime.h>

class OPENMAYA_EXPORT MFnUnitAttribute : public MFnAttribute {
  public:
    enum Type { kInvalid, kAngle, kDistance, kTime, kLast };

    MFnUnitAttribute();
    MFnUnitAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnUnitAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnUnitAttribute() override;
    MFn::Type type() const override;

    MObject create(const MString& fullName, const MString& briefName, Type unitType,
                   double defaultValue = 0.0, MStatus* ReturnStatus = NULL);
    MObject create(const MString& fullName, const MString& briefName, const MTime& defaultValue,
                   MStatus* ReturnStatus = NULL);
    Type unitType(MStatus* ReturnStatus = NULL) const;
    bool hasMin(MStatus* ReturnStatus = NULL) const;
    bool hasMax(MStatus* ReturnStatus = NULL) const;
    bool hasSoftMin(MStatus* ReturnStatus = NULL) const;
    bool hasSoftMax(MStatus* ReturnStatus = NULL) const;
    MStatus getMin(double& minValue) const;
    MStatus getMax(double& maxValue) const;
    MStatus getSoftMin(double& minValue) const;
    MStatus getSoftMax(double& maxValue) const;
    MStatus setMin(double minValue);
    MStatus setMax(double maxValue);
    MStatus setSoftMin(double minValue);
    MStatus setSoftMax(double maxValue);
    MStatus getDefault(double& defaultValue) const;
    MStatus getDefault(MTime& defaultValue) const;
    MStatus setDefault(double defaultValue);
    MStatus setDefault(const MTime& defaultValue);
};
