// Stand-in for Maya's MArgParser: a command's arguments parsed against its syntax. Words
// beginning with "-" and a letter are flags; each flag takes as many following words as its
// syntax declares.
#pragma once

#include <maya/MArgList.h>
#include <maya/MStringArray.h>
#include <maya/MSyntax.h>

#include <string>
#include <vector>

class OPENMAYA_EXPORT MArgParser {
  public:
    MArgParser();
    MArgParser(const MSyntax& syntax, const MArgList& argList, MStatus* ReturnStatus = NULL);
    virtual ~MArgParser();

    bool isFlagSet(const char* flag, MStatus* ReturnStatus = NULL) const;
    bool isEdit(MStatus* ReturnStatus = NULL) const;
    bool isQuery(MStatus* ReturnStatus = NULL) const;
    unsigned int numberOfFlagsUsed() const;
    unsigned int numberOfFlagUses(const char* flag) const;

    MStatus getFlagArgument(const char* flag, unsigned int index, bool& result) const;
    MStatus getFlagArgument(const char* flag, unsigned int index, int& result) const;
    MStatus getFlagArgument(const char* flag, unsigned int index, double& result) const;
    MStatus getFlagArgument(const char* flag, unsigned int index, MString& result) const;
    MStatus getFlagArgument(const char* flag, unsigned int index, unsigned int& result) const;
    MStatus getCommandArgument(unsigned int index, bool& result) const;
    MStatus getCommandArgument(unsigned int index, int& result) const;
    MStatus getCommandArgument(unsigned int index, double& result) const;
    MStatus getCommandArgument(unsigned int index, MString& result) const;
    MStatus getObjects(MStringArray& result) const;

  protected:
    struct FlagUse {
        const MSyntax::Flag* flag;
        std::vector<MString> args;
    };
    const FlagUse* _findUse(const char* flag) const;
    const MString* _flagArgument(const char* flag, unsigned int index) const;
    std::vector<FlagUse> fUses;
    std::vector<MString> fObjects;
    MSyntax fSyntax;
};
