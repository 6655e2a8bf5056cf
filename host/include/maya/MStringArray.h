// Stand-in for Maya's MStringArray.
#pragma once

#include <maya/MString.h>
#include <maya/MTypes.h>

#include <vector>

class OPENMAYA_EXPORT MStringArray {
  public:
    MStringArray();
    MStringArray(const MStringArray& other);
    MStringArray(const MString strings[], unsigned int count);
    MStringArray(const char* strings[], unsigned int count);
    MStringArray(unsigned int initialSize, const MString& initialValue);
    ~MStringArray();

    MStringArray& operator=(const MStringArray& other);
    const MString& operator[](unsigned int index) const;
    MString& operator[](unsigned int index);

    MStatus set(const MString& element, unsigned int index);
    MStatus set(const char* element, unsigned int index);
    MStatus setLength(unsigned int length);
    unsigned int length() const;
    MStatus remove(unsigned int index);
    MStatus insert(const MString& element, unsigned int index);
    MStatus append(const MString& element);
    MStatus clear();
    void setSizeIncrement(unsigned int newIncrement);
    unsigned int sizeIncrement() const;
    int indexOf(const MString& element) const;

    friend OPENMAYA_EXPORT std::ostream& operator<<(std::ostream& os, const MStringArray& array);

  private:
    std::vector<MString> fArray;
};
