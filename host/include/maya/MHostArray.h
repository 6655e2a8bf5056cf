// Host stand-in implementation detail: the storage shared by the API's array classes
// (MIntArray, MDoubleArray, MFloatArray, MPointArray, MVectorArray, MObjectArray, ...).
// Only the members every one of those classes has in the real API are public here, so code
// built against the stand-in uses nothing a devkit build lacks.
#pragma once

#include <maya/MStatus.h>

#include <ostream>
#include <vector>

namespace mhost {

template <typename T> class ValueArray {
  public:
    ValueArray() {}
    ValueArray(const T src[], unsigned int count) : fArray(src, src + count) {}
    ValueArray(unsigned int initialSize, const T& initialValue) : fArray(initialSize, initialValue) {}

    // Unchecked access, as in the host (an index past the end is undefined there too).
    const T& operator[](unsigned int index) const { return fArray[index]; }
    T& operator[](unsigned int index) { return fArray[index]; }

    MStatus set(const T& element, unsigned int index) {
        if (index >= fArray.size())
            return MS::kFailure;
        fArray[index] = element;
        return MS::kSuccess;
    }
    MStatus setLength(unsigned int length) {
        fArray.resize(length);
        return MS::kSuccess;
    }
    unsigned int length() const { return static_cast<unsigned int>(fArray.size()); }
    MStatus remove(unsigned int index) {
        if (index >= fArray.size())
            return MS::kFailure;
        fArray.erase(fArray.begin() + index);
        return MS::kSuccess;
    }
    MStatus insert(const T& element, unsigned int index) {
        if (index > fArray.size())
            return MS::kFailure;
        fArray.insert(fArray.begin() + index, element);
        return MS::kSuccess;
    }
    MStatus append(const T& element) {
        fArray.push_back(element);
        return MS::kSuccess;
    }
    MStatus clear() {
        fArray.clear();
        return MS::kSuccess;
    }
    void setSizeIncrement(unsigned int newIncrement) { fIncrement = newIncrement; }
    unsigned int sizeIncrement() const { return fIncrement; }

  protected:
    std::vector<T> fArray;
    unsigned int fIncrement = 0;
};

} // namespace mhost
