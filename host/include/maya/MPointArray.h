// Stand-in for Maya's MPointArray.
#pragma once

#include <maya/MHostArray.h>
#include <maya/MPoint.h>

class MPointArray : public mhost::ValueArray<MPoint> {
  public:
    MPointArray() {}
    MPointArray(const MPoint src[], unsigned int count) : ValueArray(src, count) {}
    // count points given as x, y, z, w rows.
    MPointArray(const double src[][4], unsigned int count) {
        fArray.reserve(count);
        for (unsigned int i = 0; i < count; ++i)
            fArray.push_back(MPoint(src[i]));
    }
    MPointArray(unsigned int initialSize, const MPoint& initialValue = MPoint::origin)
        : ValueArray(initialSize, initialValue) {}
    using ValueArray::append;
    MStatus append(double x, double y, double z = 0, double w = 1) { return append(MPoint(x, y, z, w)); }
    MStatus copy(const MPointArray& source) {
        *this = source;
        return MS::kSuccess;
    }
    MStatus get(double dest[][4]) const {
        for (size_t i = 0; i < fArray.size(); ++i)
            fArray[i].get(dest[i]);
        return MS::kSuccess;
    }
};
