// Stand-in for Maya's MFnNumericAttribute: attributes holding one number or a 2/3-component
// compound of numbers. Compound children are named after the attribute with "0", "1", "2"
// appended ("X", "Y", "Z" for points, "R", "G", "B" for colours). Defaults, limits and soft
// limits are kept and can be read back.
#pragma once

#include <maya/MFnAttribute.h>
#include <maya/MFnNumericData.h>

class OPENMAYA_EXPORT MFnNumericAttribute : public MFnAttribute {
  public:
    MFnNumericAttribute();
    MFnNumericAttribute(MObject& object, MStatus* ReturnStatus = NULL);
    MFnNumericAttribute(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnNumericAttribute() override;
    MFn::Type type() const override;

    MObject create(const MString& fullName, const MString& briefName, MFnNumericData::Type unitType,
                   double defaultValue = 0, MStatus* ReturnStatus = NULL);
    MObject createColor(const MString& fullName, const MString& briefName, MStatus* ReturnStatus = NULL);
    MObject createPoint(const MString& fullName, const MString& briefName, MStatus* ReturnStatus = NULL);
    MObject create(const MString& fullName, const MString& briefName, const MObject& child1,
                   const MObject& child2, const MObject& child3 = MObject::kNullObj,
                   MStatus* ReturnStatus = NULL);

    MFnNumericData::Type unitType(MStatus* ReturnStatus = NULL) const;
    MObject child(unsigned int index, MStatus* ReturnStatus = NULL) const;

    bool hasMin(MStatus* ReturnStatus = NULL) const;
    bool hasMax(MStatus* ReturnStatus = NULL) const;
    bool hasSoftMin(MStatus* ReturnStatus = NULL) const;
    bool hasSoftMax(MStatus* ReturnStatus = NULL) const;

    MStatus getMin(double& min1) const;
    MStatus getMin(double& min1, double& min2) const;
    MStatus getMin(double& min1, double& min2, double& min3) const;
    MStatus getMax(double& max1) const;
    MStatus getMax(double& max1, double& max2) const;
    MStatus getMax(double& max1, double& max2, double& max3) const;
    MStatus getSoftMin(double& min1) const;
    MStatus getSoftMax(double& max1) const;
    MStatus setMin(int min1);
    MStatus setMin(double min1);
    MStatus setMin(double min1, double min2);
    MStatus setMin(double min1, double min2, double min3);
    MStatus setMax(int max1);
    MStatus setMax(double max1);
    MStatus setMax(double max1, double max2);
    MStatus setMax(double max1, double max2, double max3);
    MStatus setSoftMin(double min1);
    MStatus setSoftMax(double max1);

    MStatus getDefault(bool& def1);
    MStatus getDefault(int& def1);
    MStatus getDefault(float& def1);
    MStatus getDefault(double& def1);
    MStatus getDefault(float& def1, float& def2, float& def3);
    MStatus getDefault(double& def1, double& def2, double& def3);
    MStatus setDefault(bool def1);
    MStatus setDefault(int def1);
    MStatus setDefault(float def1);
    MStatus setDefault(double def1);
    MStatus setDefault(float def1, float def2);
    MStatus setDefault(double def1, double def2);
    MStatus setDefault(float def1, float def2, float def3);
    MStatus setDefault(double def1, double def2, double def3);
};
