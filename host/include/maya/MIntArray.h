// Stand-in for Maya's MIntArray.
#pragma once

#include <maya/MHostArray.h>

class MIntArray : public mhost::ValueArray<int> {
  public:
    MIntArray() {}
    MIntArray(const int src[], unsigned int count) : ValueArray(src, count) {}
    MIntArray(unsigned int initialSize, int initialValue = 0) : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MIntArray& source) {
        *this = source;
        return MS::kSuccess;
    }
    MStatus get(int array[]) const {
        for (size_t i = 0; i < fArray.size(); ++i)
            array[i] = fArray[i];
        return MS::kSuccess;
    }
    friend std::ostream& operator<<(std::ostream& os, const MIntArray& array) {
        os << "[";
        for (size_t i = 0; i < array.fArray.size(); ++i)
            os << (i ? "," : "") << array.fArray[i];
        return os << "]";
    }
};
