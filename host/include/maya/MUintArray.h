// Stand-in for Maya's MUintArray.
#pragma once

#include <maya/MHostArray.h>

class MUintArray : public mhost::ValueArray<unsigned int> {
  public:
    MUintArray() {}
    MUintArray(const unsigned int src[], unsigned int count) : ValueArray(src, count) {}
    MUintArray(unsigned int initialSize, unsigned int initialValue = 0)
        : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MUintArray& source) {
        *this = source;
        return MS::kSuccess;
    }
    MStatus get(unsigned int array[]) const {
        for (size_t i = 0; i < fArray.size(); ++i)
            array[i] = fArray[i];
        return MS::kSuccess;
    }
    friend std::ostream& operator<<(std::ostream& os, const MUintArray& array) {
        os << "[";
        for (size_t i = 0; i < array.fArray.size(); ++i)
            os << (i ? "," : "") << array.fArray[i];
        return os << "]";
    }
};
