// Stand-in for Maya's MDoubleArray.
#pragma once

#include <maya/MHostArray.h>

class MDoubleArray : public mhost::ValueArray<double> {
  public:
    MDoubleArray() {}
    MDoubleArray(const double src[], unsigned int count) : ValueArray(src, count) {}
    MDoubleArray(unsigned int initialSize, double initialValue = 0) : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MDoubleArray& source) {
        *this = source;
        return MS::kSuccess;
    }
    MStatus get(double array[]) const {
        for (size_t i = 0; i < fArray.size(); ++i)
            array[i] = fArray[i];
        return MS::kSuccess;
    }
    friend std::ostream& operator<<(std::ostream& os, const MDoubleArray& array) {
        os << "[";
        for (size_t i = 0; i < array.fArray.size(); ++i)
            os << (i ? "," : "") << array.fArray[i];
        return os << "]";
    }
};
