// KImportUVs: puts the UVs of a UV file (see kelno/KUVFile.h) on one UV set of a mesh with the
// same faces in the same order.
//
//   KImportUVs -meshName <transform or shape> -uvSetName <set> -filePathName <file>
//
// Flags, their messages and the mesh lookup are KExportUVs's. A set the mesh lacks is created
// (also when the file then cannot be opened: "Failed to open <file>", kFailure). The whole
// file is read and checked before the mesh is touched: a short, over-long or inconsistent file
// shows "Failed to read UV file <file>: <reason>" and returns kFailure with the mesh as it was.
// UVs whose faces do not fit the mesh (another face count, or a face with UVs for some but not
// all of its corners) are not written; like a refused assignment they show "Failed to write UV
// info at <mesh>. Maybe there are some history to change the original mesh. Pleaze, check the
// original intermediate mesh." and the command still succeeds. Otherwise the set is cleared,
// given the file's UVs and assigned. Not undoable; sets no result.
#pragma once

#include <maya/MArgList.h>
#include <maya/MPxCommand.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KImportUVs : public MPxCommand {
  public:
    static void* creator();
    // The same flags as KExportUVs.
    static MSyntax newSyntax();
    MStatus doIt(const MArgList& args) override;
    bool isUndoable() const override { return false; }

    // Registration static: "KImportUVs".
    static MString commandName;
};
