// Stand-in for Maya's MArgDatabase: parsed command arguments (see MArgParser).
#pragma once

#include <maya/MArgParser.h>

class MSelectionList;

class OPENMAYA_EXPORT MArgDatabase : public MArgParser {
  public:
    MArgDatabase();
    MArgDatabase(const MSyntax& syntax, const MArgList& argList, MStatus* ReturnStatus = NULL);
    ~MArgDatabase() override;
};
