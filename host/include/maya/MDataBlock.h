// Stand-in for Maya's MDataBlock: a node's attribute values during compute. inputValue
// evaluates an input (pulling it through its connection when it is dirty); outputValue gives
// the storage compute writes to.
#pragma once

#include <maya/MArrayDataHandle.h>
#include <maya/MDataHandle.h>
#include <maya/MObject.h>

class MPlug;

class OPENMAYA_EXPORT MDataBlock {
  public:
    MDataBlock(const MDataBlock& other) = default;
    MDataBlock& operator=(const MDataBlock& other) = default;
    ~MDataBlock();

    MDataHandle inputValue(const MPlug& plug, MStatus* ReturnStatus = NULL);
    MDataHandle inputValue(const MObject& attribute, MStatus* ReturnStatus = NULL);
    MDataHandle outputValue(const MPlug& plug, MStatus* ReturnStatus = NULL);
    MDataHandle outputValue(const MObject& attribute, MStatus* ReturnStatus = NULL);
    MArrayDataHandle inputArrayValue(const MPlug& plug, MStatus* ReturnStatus = NULL);
    MArrayDataHandle inputArrayValue(const MObject& attribute, MStatus* ReturnStatus = NULL);
    MArrayDataHandle outputArrayValue(const MPlug& plug, MStatus* ReturnStatus = NULL);
    MArrayDataHandle outputArrayValue(const MObject& attribute, MStatus* ReturnStatus = NULL);
    MStatus setClean(const MPlug& plug);
    MStatus setClean(const MObject& attribute);
    bool isClean(const MObject& attribute, MStatus* ReturnStatus = NULL);
    bool isClean(const MPlug& plug);

    // Host side only.
    explicit MDataBlock(mhost::Node* node);

  private:
    mhost::Node* fNode;
};
