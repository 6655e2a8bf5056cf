// Stand-in for Maya's MArgDatabase: parsed command arguments (see MArgParser), with the
// getters that look names up in the scene.
#pragma once

#include <maya/MArgParser.h>

class MSelectionList;

class OPENMAYA_EXPORT MArgDatabase : public MArgParser {
  public:
    MArgDatabase();
    MArgDatabase(const MSyntax& syntax, const MArgList& argList, MStatus* ReturnStatus = NULL);
    ~MArgDatabase() override;

    using MArgParser::getCommandArgument;
    using MArgParser::getFlagArgument;
    using MArgParser::getObjects;
    // Names are looked up in the scene; kInvalidParameter (with an error) for a name that matches
    // nothing. getObjects replaces the list with the objects named on the command line.
    MStatus getFlagArgument(const char* flag, unsigned int index, MSelectionList& result) const;
    MStatus getCommandArgument(unsigned int index, MSelectionList& result) const;
    MStatus getObjects(MSelectionList& result) const;
};
