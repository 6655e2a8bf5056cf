// Stand-in for Maya's MArrayDataHandle: the elements of an array attribute in a data block,
// visited in increasing logical index order.
#pragma once

#include <maya/MDataHandle.h>

#include <vector>

class OPENMAYA_EXPORT MArrayDataHandle {
  public:
    MArrayDataHandle(const MArrayDataHandle& other) = default;
    MArrayDataHandle& operator=(const MArrayDataHandle& other) = default;

    MDataHandle inputValue(MStatus* ReturnStatus = NULL);
    MDataHandle outputValue(MStatus* ReturnStatus = NULL);
    MStatus jumpToElement(unsigned int index);
    MStatus jumpToArrayElement(unsigned int position);
    MStatus next();
    unsigned int elementCount(MStatus* ReturnStatus = NULL);
    unsigned int elementIndex(MStatus* ReturnStatus = NULL);
    MStatus setAllClean();
    void setClean();

    // Host side only.
    MArrayDataHandle(mhost::Node* node, mhost::Attribute* attribute, bool output);

  private:
    mhost::Node* fNode;
    mhost::Attribute* fAttr;
    bool fOutput;
    std::vector<unsigned int> fIndices;
    unsigned int fPosition;
};
