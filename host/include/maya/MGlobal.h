// Stand-in for Maya's MGlobal: the application state, messages shown to the user, and MEL.
#pragma once

#include <maya/MString.h>
#include <maya/MStringArray.h>

#include <vector>

class MDoubleArray;
class MIntArray;
class MSelectionList;

class OPENMAYA_EXPORT MGlobal {
  public:
    enum MMayaState { kInteractive, kBatch, kLibraryApp, kBaseUIMode };
    enum ListAdjustment { kReplaceList, kXORWithList, kAddToList, kRemoveFromList, kAddToHeadOfList };

    static MMayaState mayaState(MStatus* ReturnStatus = NULL);
    static MString mayaVersion();
    static int apiVersion();

    static void displayInfo(const MString& theMessage);
    static void displayWarning(const MString& theWarning);
    static void displayError(const MString& theError);

    // The host records every command; the few it understands it also carries out.
    static MStatus executeCommand(const char* command, bool displayEnabled = false, bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, MString& result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, int& result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, double& result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, MStringArray& result, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommandOnIdle(const MString& command, bool displayEnabled = false);
    // Sources a MEL script found on the script path; kFailure when it is not found.
    static MStatus sourceFile(const MString& fileName);

    // The scene's active selection (what "select" changes). Items whose node was deleted are
    // left out of the copy.
    static MStatus getActiveSelectionList(MSelectionList& dest, bool orderedSelectionIfAvailable = false);
    static MStatus setActiveSelectionList(const MSelectionList& src, ListAdjustment = kReplaceList);
};
