// KExportUVs: writes one UV set of a mesh to a UV file (the format is in kelno/KUVFile.h).
//
//   KExportUVs -meshName <transform or shape> -uvSetName <set> -filePathName <file>
//
// The file gets the set's per-face UV counts and UV indices, then as many u and v values as
// the mesh's current UV set has UVs: normally the named set is the current one and the two
// agree; a longer named set is cut to that count and a shorter one padded with 0.0.
// Not undoable; sets no result. Failures show one error line and return kFailure. Absent
// flags are empty strings, so they fail at the step that needs them ("Failed to get shape
// object." for a missing mesh name).
//
// The front part (flags, mesh, whether the set exists) is shared with KImportUVs, whose flags
// are the same.
#pragma once

#include <maya/MArgList.h>
#include <maya/MDagPath.h>
#include <maya/MPxCommand.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KExportUVs : public MPxCommand {
  public:
    static void* creator();
    // -mNm/-meshName, -uvs/-uvSetName, -fpn/-filePathName: one string each.
    static MSyntax newSyntax();
    MStatus doIt(const MArgList& args) override;
    bool isUndoable() const override { return false; }

    // Registration static: "KExportUVs".
    static MString commandName;

    // What the front part of both UV file commands finds.
    struct Input {
        MString meshName;
        MString uvSetName;
        MString filePathName;
        MDagPath meshPath; // the mesh shape
        bool hasUVSet = false;
    };
    // Reads the flags and finds the mesh. On failure it has shown the message ("Failed to get
    // the input parameters.", "No mesh name.", "No UV set name.", "No file path & name.",
    // "Failed to get shape object.<mesh>" or "Failed to get mesh object.<mesh>") and returns
    // kFailure.
    static MStatus readInput(const MSyntax& syntax, const MArgList& args, Input& input);
};
