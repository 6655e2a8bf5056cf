// Stand-in for Maya's MArgList: the words a command was invoked with, as the host passes
// them to doIt.
#pragma once

#include <maya/MString.h>

#include <vector>

class MStringArray;

class OPENMAYA_EXPORT MArgList {
  public:
    MArgList();
    MArgList(const MArgList& other);
    ~MArgList();
    MArgList& operator=(const MArgList& other);

    unsigned int length(MStatus* ReturnStatus = NULL) const;
    bool asBool(unsigned int index, MStatus* ReturnStatus = NULL) const;
    int asInt(unsigned int index, MStatus* ReturnStatus = NULL) const;
    double asDouble(unsigned int index, MStatus* ReturnStatus = NULL) const;
    MString asString(unsigned int index, MStatus* ReturnStatus = NULL) const;
    MStringArray asStringArray(unsigned int& index, MStatus* ReturnStatus = NULL) const;
    // Index of the flag (by short or long name), kInvalidArgIndex when absent.
    unsigned int flagIndex(const char* shortFlag, const char* longFlag = NULL) const;

    MArgList& addArg(bool arg);
    MArgList& addArg(int arg);
    MArgList& addArg(double arg);
    MArgList& addArg(const MString& arg);

    static const unsigned int kInvalidArgIndex;

  private:
    std::vector<MString> fArgs;
};
