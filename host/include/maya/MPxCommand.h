// Stand-in for Maya's MPxCommand: the base of user-defined commands. The host creates one
// command object per invocation, gives it its syntax, calls doIt with the arguments and keeps
// the result the command sets. A command whose isUndoable() answers true after a successful
// doIt goes on the undo queue (undoIt and redoIt are called from there); any other command
// object is deleted right after doIt.
#pragma once

#include <maya/MArgList.h>
#include <maya/MDoubleArray.h>
#include <maya/MIntArray.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>
#include <maya/MSyntax.h>

namespace mhost {
struct NodeAccess;
}

class OPENMAYA_EXPORT MPxCommand {
  public:
    enum MResultType { kLong, kDouble, kString, kNoArg };

    MPxCommand();
    virtual ~MPxCommand();

    virtual MStatus doIt(const MArgList& args);
    virtual MStatus undoIt();
    virtual MStatus redoIt();
    virtual bool isUndoable() const;
    virtual bool hasSyntax() const;

    MSyntax syntax() const;
    bool isHistoryOn() const;
    MString commandString() const;
    MStatus setHistoryOn(bool state);
    MStatus setCommandString(const MString& str);

    static void displayInfo(const MString& theInfo);
    static void displayWarning(const MString& theWarning, bool showLineNumber = false);
    static void displayError(const MString& theError, bool showLineNumber = false);

    static void clearResult();
    static void setResult(unsigned int val);
    static void setResult(int val);
    static void setResult(float val);
    static void setResult(double val);
    static void setResult(bool val);
    static void setResult(const char* val);
    static void setResult(const MString& val);
    static void setResult(const MDoubleArray& val);
    static void setResult(const MIntArray& val);
    static void setResult(const MStringArray& val);
    static void appendToResult(int val);
    static void appendToResult(double val);
    static void appendToResult(bool val);
    static void appendToResult(const char* val);
    static void appendToResult(const MString& val);
    static void appendToResult(const MStringArray& val);

    static bool isCurrentResultArray();
    static MResultType currentResultType();
    static int currentIntResult(MStatus* ReturnStatus = NULL);
    static double currentDoubleResult(MStatus* ReturnStatus = NULL);
    static MString currentStringResult(MStatus* ReturnStatus = NULL);

  private:
    MPxCommand(const MPxCommand&);
    MPxCommand& operator=(const MPxCommand&);
    friend struct mhost::NodeAccess;
    MSyntax fSyntax;
    MString fCommandString;
    bool fHistoryOn;
};
