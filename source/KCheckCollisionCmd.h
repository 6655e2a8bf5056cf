// KCheckCollisionCmd: finds where the selected polygon meshes pass through each other or
// through themselves, and selects the vertices of the edges that do.
//
// Takes no arguments or flags. The selected transforms whose shape is a mesh are merged, in
// selection order, into one triangle mesh; every edge of it is tested as a segment against the
// nearby triangles that do not share one of its vertices (Kelno::FindIntersectingEdges). The
// command prints "Total <n> edges are intersecting with triangles." and replaces the selection
// with "<shape path>.vtx[<i>]" for every vertex on a flagged edge, through its MDGModifier.
// Not undoable (the modifier could undo the selection change, but the host is never asked to).
#pragma once

#include <maya/MArgList.h>
#include <maya/MDGModifier.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KCheckCollisionCmd : public MPxCommand {
  public:
    KCheckCollisionCmd();
    ~KCheckCollisionCmd() override;

    static void* creator();
    // No flags and no arguments.
    static MSyntax newSyntax();

    // Finds the edges, prints the count and runs the selection command (the result of redoIt).
    MStatus doIt(const MArgList& args) override;
    // Runs the selection command held by the modifier.
    MStatus redoIt() override;
    MStatus undoIt() override;
    bool isUndoable() const override;

    // Registration static: "KCheckCollisionCmd".
    static MString commandName;

  private:
    MStatus run();
    MDGModifier m_modifier;
};
