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

    // Short names start with "-" and are at most four characters after it; long names start with
    // "-". Fails when either name is already used.
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
    const Flag* findFlag(const char* name) const;
    MObjectFormat objectFormat() const { return fObjectFormat; }
    bool selectionIsDefault() const { return fUseSelection; }
    unsigned int minObjects() const { return fMinObjects; }
    unsigned int maxObjects() const { return fMaxObjects; }

  private:
    std::vector<Flag> fFlags;
    std::vector<MArgType> fArgs;
    MObjectFormat fObjectFormat;
    unsigned int fMinObjects;
    unsigned int fMaxObjects;
    bool fUseSelection;
};
