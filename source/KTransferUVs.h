// KTransferUVs: copies one UV set of a source mesh onto a UV set of a target mesh with the same
// faces in the same order: the same UVs and the same per-face assignment, index for index. No
// geometric matching is done.
//
//   KTransferUVs -sMeshName <source> -tMeshName <target> -sUVSetName <set> -tUVSetName <set>
//
// Source and target may be the same mesh (a copy between two of its sets). A target set that
// does not exist is created. Failures (shown as one error line, kFailure): "Failed to get the
// input parameters.", "No mesh name." (for any of the four flags whose string cannot be read),
// "Failed to get source mesh shape object.<name>", "Failed to get source mesh object.<name>",
// the same two for the target, and "No uv set name of <source set>". Once both meshes and the
// source set are found the command succeeds; when the source's UVs do not fit the target's faces
// the target set is left as it was and a warning says why. Not undoable.
#pragma once

#include <maya/MArgList.h>
#include <maya/MDGModifier.h>
#include <maya/MPxCommand.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KTransferUVs : public MPxCommand {
  public:
    static void* creator();
    // -sm/-sMeshName, -tm/-tMeshName, -sUV/-sUVSetName, -tUV/-tUVSetName: one string each.
    static MSyntax newSyntax();
    MStatus doIt(const MArgList& args) override;
    MStatus redoIt() override;
    MStatus undoIt() override;
    bool isUndoable() const override { return false; }

    // Registration static: "KTransferUVs".
    static MString commandName;

  private:
    MDGModifier m_dgModifier; // never records anything: the command is not undoable
};
