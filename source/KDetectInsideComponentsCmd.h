// KDetectInsideComponentsCmd: selects the vertices of one mesh that lie inside a set of
// collider meshes, or faces built from them.
//
// Flags (each takes one argument, none required):
//   -meshName  / -mNm  string    the target mesh node
//   -colliders / -cls  string    collider mesh nodes, separated by single spaces
//   -mode      / -mod  unsigned  1 inside vertices; 2 faces with every vertex inside; 3 faces
//                                with a vertex inside; 4 faces with vertices inside and outside
// A vertex is inside when it lies on or behind the nearest collider triangle
// (Kelno::IsInsideVertex). "-mode 0" does nothing and succeeds; without -mode the test runs and
// the command selects nothing. The selection command always names the node "pSphere1"
// ("select -r pSphere1.vtx[3] ...;"), whatever the target is called: the components are
// selected only when the target is that node.
// Errors shown: "Failed to get the input parameters." (arguments do not parse) and
// "No mesh name." (any of the three flags set without a readable value). Not undoable.
#pragma once

#include <maya/MArgList.h>
#include <maya/MDGModifier.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KDetectInsideComponentsCmd : public MPxCommand {
  public:
    KDetectInsideComponentsCmd();
    ~KDetectInsideComponentsCmd() override;

    static void* creator();
    // -meshName, -colliders, -mode, in that order.
    static MSyntax newSyntax();

    MStatus doIt(const MArgList& args) override;
    // Runs the selection command held by the modifier.
    MStatus redoIt() override;
    MStatus undoIt() override;
    bool isUndoable() const override;

    // Registration static: "KDetectInsideComponentsCmd".
    static MString commandName;

  private:
    MStatus run(const MArgList& args);
    MDGModifier m_modifier;
};
