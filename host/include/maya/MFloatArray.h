// Stand-in for Maya's MFloatArray.
#pragma once

#include <maya/MHostArray.h>

class MFloatArray : public mhost::ValueArray<float> {
  public:
    MFloatArray() {}
    MFloatArray(const float src[], unsigned int count) : ValueArray(src, count) {}
    MFloatArray(unsigned int initialSize, float initialValue = 0) : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MFloatArray& source) {
        *this = source;
        return MS::kSuccess;
    }
    MStatus get(float array[]) const {
        for (size_t i = 0; i < fArray.size(); ++i)
            array[i] = fArray[i];
        return MS::kSuccess;
    }
    friend std::ostream& operator<<(std::ostream& os, const MFloatArray& array) {
        os << "[";
        for (size_t i = 0; i < array.fArray.size(); ++i)
            os << (i ? "," : "") << array.fArray[i];
        return os << "]";
    }
};
