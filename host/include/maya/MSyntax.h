// Stand-in for Maya's MSyntax: the flags (and their argument types) a command accepts.
#pragma once

#include <maya/MString.h>

#include <string>
#include <vector>

class OPENMAYA_EXPORT MSyntax {
  public:
    enum MArgType {
        kInvalidArgType,
        kNoArg,
        kBoolean,
        kLong,
        kDouble,
        kString,
        kUnsigned,
        kDistance,
        kAngle,
        kTime,
        kSelectionItem,
        kLastArgType
    };
    enum MObjectFormat { kInvalidObjectFormat, kNone, kStringObjects, kSelectionList, kLastObjectFormat };

    MSyntax();
    MSyntax(const MSyntax& other);
    ~MSyntax();
    MSyntax& operator=(const MSyntax& other);

    // Names are kept as given, with or without a leading "-"; they are matched without it, so a
    // flag added as "xPv" is found as "xPv" or "-xPv" and is written "-xPv" on a command line.
    // Short names are one to four characters besides the dash. Fails when either name is
    // already used.
    MStatus addFlag(const char* shortName, const char* longName, MArgType argType1 = kNoArg,
                    MArgType argType2 = kNoArg, MArgType argType3 = kNoArg, MArgType argType4 = kNoArg,
                    MArgType argType5 = kNoArg, MArgType argType6 = kNoArg);
    MStatus makeFlagMultiUse(const char* flagName);
    MStatus addArg(MArgType arg);
    MStatus setObjectType(MObjectFormat objectFormat, unsigned int minimumObjects = 0);
    MStatus setObjectType(MObjectFormat objectFormat, unsigned int minimumObjects,
                          unsigned int maximumObjects);
    MStatus useSelectionAsDefault(bool useSelectionAsDefault);
    MStatus setMinObjects(unsigned int minimumObjectCount);
    MStatus setMaxObjects(unsigned int maximumObjectCount);
    MStatus enableQuery(bool supportsQuery = true);
    MStatus enableEdit(bool supportsEdit = true);

    // Host side only.
    struct Flag {
        std::string shortName;
        std::string longName;
        std::vector<MArgType> args;
        bool multiUse;
    };
    // The flag of that short or long name, with or without its leading dash; null when none.
    const Flag* findFlag(const char* name) const;
    MObjectFormat objectFormat() const { return fObjectFormat; }
    bool selectionIsDefault() const { return fUseSelection; }
    unsigned int minObjects() const { return fMinObjects; }
    unsigned int maxObjects() const { return fMaxObjects; }

  private:
    static std::string bareName(const char* name);
    std::vector<Flag> fFlags;
    std::vector<MArgType> fArgs;
    MObjectFormat fObjectFormat;
    unsigned int fMinObjects;
    unsigned int fMaxObjects;
    bool fUseSelection;
};
