// Stand-in for Maya's MVectorArray.
#pragma once

#include <maya/MHostArray.h>
#include <maya/MVector.h>

class MVectorArray : public mhost::ValueArray<MVector> {
  public:
    MVectorArray() {}
    MVectorArray(const MVector src[], unsigned int count) : ValueArray(src, count) {}
    MVectorArray(unsigned int initialSize, const MVector& initialValue = MVector::zero)
        : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MVectorArray& source) {
        *this = source;
        return MS::kSuccess;
    }
};
