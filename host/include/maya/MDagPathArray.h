// Stand-in for Maya's MDagPathArray.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MHostArray.h>

class MDagPathArray : public mhost::ValueArray<MDagPath> {
  public:
    MDagPathArray() {}
    MDagPathArray(const MDagPath src[], unsigned int count) : ValueArray(src, count) {}
    MDagPathArray(unsigned int initialSize, const MDagPath& initialValue = MDagPath())
        : ValueArray(initialSize, initialValue) {}
    MStatus copy(const MDagPathArray& source) {
        *this = source;
        return MS::kSuccess;
    }
};
