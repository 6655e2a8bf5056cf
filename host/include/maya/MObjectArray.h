// Stand-in for Maya's MObjectArray.
#pragma once

#include <maya/MHostArray.h>
#include <maya/MObject.h>

class MObjectArray : public mhost::ValueArray<MObject> {
  public:
    MObjectArray() {}
    MObjectArray(const MObject src[], unsigned int count) : ValueArray(src, count) {}
    MObjectArray(unsigned int initialSize, const MObject& initialValue = MObject::kNullObj)
        : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MObjectArray& source) {
        *this = source;
        return MS::kSuccess;
    }
};
