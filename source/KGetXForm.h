// KGetXForm: measures how a mesh has moved, as the best rigid transform (rotation and
// translation, least squares over corresponding vertices) carrying a source mesh onto a target.
//
// Flags (each takes one argument, none required):
//   -sMeshName / -sm   string  the source mesh node
//   -tMeshName / -tm   string  the target mesh node
//   -order     / -od   double  exactly 1.0 returns each matrix transposed; any other value (the
//                              default 0.0) returns it in storage order (Kelno::KMatrix: row-major,
//                              row vectors, translation in elements 12 to 14)
//   xPivot / xPv, yPivot / yPv, zPivot / zPv   double  the pivot the transform is expressed about
//                              (Kelno::ShapeMatchingMatrix with a pivot), used only when all three
//                              are given. These three names carry no leading dash on purpose; on a
//                              MEL command line they are written "-xPv" and so on.
// Both meshes are read in world space (Kelno::GetMesh). The result is an array of doubles, 16 per
// matrix: one matrix when the vertex counts are equal; otherwise the target is taken as
// k = targetCount / sourceCount consecutive copies of the source (points beyond the last whole copy
// are ignored) and one matrix per copy is returned, copy after copy, fitted in parallel. A target
// with fewer vertices than the source holds no copy: the result is empty.
// Errors shown: "Failed to get the input parameters." (arguments do not parse), "No mesh name."
// (-sm or -tm given without a readable value), "[KGetXForm] Invalid input data." (a mesh that is
// missing or has no vertices; the result is then 16 zeros). Each returns kFailure. A pivot or
// -order value that cannot be read keeps its default. Not undoable.
#pragma once

#include <maya/MArgList.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KGetXForm : public MPxCommand {
  public:
    KGetXForm();
    ~KGetXForm() override;

    static void* creator();
    // -sMeshName, -tMeshName, -order, xPivot, yPivot, zPivot, in that order.
    static MSyntax newSyntax();

    MStatus doIt(const MArgList& args) override;
    bool isUndoable() const override;

    // Registration static: "KGetXForm".
    static MString commandName;

  private:
    MStatus run(const MArgList& args);
};
