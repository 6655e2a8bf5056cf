// Stand-in for Maya's MPlug: one attribute of one node (for array attributes, optionally one
// element). Reading a plug evaluates it: an input takes its value from its connection, a
// dirty output is computed by the node.
#pragma once

#include <maya/MObject.h>
#include <maya/MString.h>
#include <maya/MTime.h>

class MPlugArray;

class OPENMAYA_EXPORT MPlug {
  public:
    MPlug();
    MPlug(const MPlug& other);
    MPlug(const MObject& node, const MObject& attribute);
    ~MPlug();
    MPlug& operator=(const MPlug& other);

    bool operator==(const MPlug& other) const;
    bool operator==(const MObject& attr) const;
    bool operator!=(const MPlug& other) const;
    bool operator!=(const MObject& attr) const;

    bool isNull(MStatus* ReturnStatus = NULL) const;
    MObject attribute(MStatus* ReturnStatus = NULL) const;
    MObject node(MStatus* ReturnStatus = NULL) const;
    // "node.attribute" (element plugs: "node.attribute[i]").
    MString name(MStatus* ReturnStatus = NULL) const;
    MString partialName(bool includeNodeName = false, bool includeNonMandatoryIndices = false,
                        bool includeInstancedIndices = false, bool useAlias = false,
                        bool useFullAttributePath = false, bool useLongNames = false,
                        MStatus* ReturnStatus = NULL) const;

    bool isArray(MStatus* ReturnStatus = NULL) const;
    bool isElement(MStatus* ReturnStatus = NULL) const;
    bool isCompound(MStatus* ReturnStatus = NULL) const;
    bool isChild(MStatus* ReturnStatus = NULL) const;
    unsigned int numChildren(MStatus* ReturnStatus = NULL) const;
    MPlug child(unsigned int index, MStatus* ReturnStatus = NULL) const;
    MPlug child(const MObject& attr, MStatus* ReturnStatus = NULL) const;
    MPlug parent(MStatus* ReturnStatus = NULL) const;
    unsigned int logicalIndex(MStatus* ReturnStatus = NULL) const;
    MPlug elementByLogicalIndex(unsigned int logicalIndex, MStatus* ReturnStatus = NULL) const;
    unsigned int numElements(MStatus* ReturnStatus = NULL) const;

    bool isConnected(MStatus* ReturnStatus = NULL) const;
    bool isDestination(MStatus* ReturnStatus = NULL) const;
    bool isSource(MStatus* ReturnStatus = NULL) const;
    bool connectedTo(MPlugArray& array, bool asDst, bool asSrc, MStatus* ReturnStatus = NULL) const;

    MStatus getValue(MObject& val) const;
    MStatus getValue(double& val) const;
    MStatus getValue(float& val) const;
    MStatus getValue(int& val) const;
    MStatus getValue(short& val) const;
    MStatus getValue(bool& val) const;
    MStatus getValue(MString& val) const;
    MStatus getValue(MTime& val) const;
    MStatus setValue(MObject& val);
    MStatus setValue(double val);
    MStatus setValue(float val);
    MStatus setValue(int val);
    MStatus setValue(short val);
    MStatus setValue(bool val);
    MStatus setValue(const MString& val);
    MStatus setValue(MTime& val);

    bool asBool(MStatus* ReturnStatus = NULL) const;
    int asInt(MStatus* ReturnStatus = NULL) const;
    short asShort(MStatus* ReturnStatus = NULL) const;
    float asFloat(MStatus* ReturnStatus = NULL) const;
    double asDouble(MStatus* ReturnStatus = NULL) const;
    MString asString(MStatus* ReturnStatus = NULL) const;
    MObject asMObject(MStatus* ReturnStatus = NULL) const;
    MTime asMTime(MStatus* ReturnStatus = NULL) const;
    MStatus setMTime(const MTime& val);

  private:
    MObject fNode;
    MObject fAttr;
    int fIndex;
};
