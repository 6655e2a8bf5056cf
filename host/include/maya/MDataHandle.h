// Stand-in for Maya's MDataHandle: access to one attribute's value in a node's data block
// during compute. A handle obtained from inputValue holds the evaluated input; one from
// outputValue is where compute writes its result.
#pragma once

#include <maya/MFnData.h>
#include <maya/MFnNumericData.h>
#include <maya/MMatrix.h>
#include <maya/MObject.h>
#include <maya/MString.h>
#include <maya/MTime.h>
#include <maya/MTypeId.h>
#include <maya/MVector.h>

namespace mhost {
struct Value;
struct Node;
struct Attribute;
} // namespace mhost

class OPENMAYA_EXPORT MDataHandle {
  public:
    MDataHandle();
    MDataHandle(const MDataHandle& other) = default;
    MDataHandle& operator=(const MDataHandle& other) = default;

    bool isNumeric() const;
    bool isGeneric(bool& isNumeric, bool& isNull) const;
    MFnData::Type type() const;
    MFnNumericData::Type numericType() const;
    MObject data();
    MStatus copy(const MDataHandle& src);
    MObject attribute();

    bool& asBool() const;
    short& asShort() const;
    int& asInt() const;
    float& asFloat() const;
    double& asDouble() const;
    MTime asTime() const;
    float2& asFloat2() const;
    double2& asDouble2() const;
    float3& asFloat3() const;
    double3& asDouble3() const;
    MVector& asVector() const;
    MMatrix& asMatrix() const;
    MString& asString() const;
    MObject asMesh() const;
    // Mesh data from a shape's "worldMesh" comes back in world space (a new data object);
    // any other mesh data as asMesh gives it.
    MObject asMeshTransformed() const;
    MObject asNurbsCurve() const;
    MObject asNurbsCurveTransformed() const;

    void set(bool val);
    void set(short val);
    void set(int val);
    void set(float val);
    void set(double val);
    void set(const MMatrix& val);
    void set(const MVector& val);
    void set(const MString& val);
    void set(const MTime& val);
    void set(float val1, float val2);
    void set(double val1, double val2);
    void set(float val1, float val2, float val3);
    void set(double val1, double val2, double val3);
    MStatus set(const MObject& data);
    void setMObject(const MObject& data);
    void setClean();

    // Host side only.
    MDataHandle(mhost::Node* node, mhost::Attribute* attribute, bool output, int index = -1);

  private:
    mhost::Value& _value() const;
    mhost::Node* fNode;
    mhost::Attribute* fAttr;
    bool fOutput;
    int fIndex;
};
