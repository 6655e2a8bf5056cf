// KDelaunay2DCmd -points "<x y z x y z ...>": triangulates the points in the ground plane and
// makes a polygon mesh of them.
//
// The flag's string holds the coordinates separated by single spaces, three per point; values
// that do not complete a point are ignored. Every point becomes a vertex (single precision,
// height kept); the faces are the 2D Delaunay triangles (Kelno::KDelaunay2D) of the points
// projected to (z, x), so they wind counter-clockwise seen from +y. Points with equal z and x as
// an earlier point, or with a non-finite coordinate, are vertices that no face uses. The mesh is
// a new transform with a mesh shape under it.
//
// Failures (kFailure, one error line, the scene untouched): fewer than three whole points
// ("KDelaunay2DCmd: At least three points are needed.") and points that give no triangle (all
// on one line or at one place) or a mesh the host refuses ("KDelaunay2DCmd: Mesh construction
// failed."). Not undoable; no result is set.
#pragma once

#include <maya/MArgDatabase.h>
#include <maya/MArgList.h>
#include <maya/MDoubleArray.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MSyntax.h>

class KDelaunay2DCmd : public MPxCommand {
  public:
    KDelaunay2DCmd();
    ~KDelaunay2DCmd() override;

    static void* creator();
    // One flag: -points / -pts, a string.
    static MSyntax newSyntax();

    MStatus doIt(const MArgList& args) override;
    bool isUndoable() const override;

    // The -points string split at spaces, each piece read with MString::asDouble, in order
    // (empty when the flag is absent).
    MDoubleArray getPoints(const MArgDatabase& argData);
    // Triangulates values (x y z per point) and creates the mesh; false after showing the error.
    bool make(const MDoubleArray& values);

    // Registration static: "KDelaunay2DCmd".
    static MString commandName;
};
