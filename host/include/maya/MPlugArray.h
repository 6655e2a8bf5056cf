// Stand-in for Maya's MPlugArray.
#pragma once

#include <maya/MHostArray.h>
#include <maya/MPlug.h>

class MPlugArray : public mhost::ValueArray<MPlug> {
  public:
    MPlugArray() {}
    MPlugArray(const MPlug src[], unsigned int count) : ValueArray(src, count) {}
    MPlugArray(unsigned int initialSize, const MPlug& initialValue) : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MPlugArray& source) {
        *this = source;
        return MS::kSuccess;
    }
};
