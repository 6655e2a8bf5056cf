#include "KDelaunay2DCmd.h"

#include <kelno/KDelaunay2D.h>
#include <kelno/KTypes.h>
#include <kelno/maya/KMayaMesh.h>

#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MObject.h>
#include <maya/MPoint.h>
#include <maya/MPointArray.h>
#include <maya/MStringArray.h>

#include <exception>

MString KDelaunay2DCmd::commandName("KDelaunay2DCmd");

namespace {
const char* const kPointsFlag = "-pts";
const char* const kPointsFlagLong = "-points";
} // namespace

KDelaunay2DCmd::KDelaunay2DCmd() {}
KDelaunay2DCmd::~KDelaunay2DCmd() {}

void* KDelaunay2DCmd::creator() { return new KDelaunay2DCmd(); }

MSyntax KDelaunay2DCmd::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kPointsFlag, kPointsFlagLong, MSyntax::kString);
    return syntax;
}

bool KDelaunay2DCmd::isUndoable() const { return false; }

MStatus KDelaunay2DCmd::doIt(const MArgList& args) {
    try {
        MStatus status;
        MArgDatabase argData(syntax(), args, &status);
        if (!status)
            return MS::kFailure;
        return make(getPoints(argData)) ? MS::kSuccess : MS::kFailure;
    } catch (const std::exception& e) {
        MGlobal::displayError(commandName + ": " + e.what());
    } catch (...) {
        MGlobal::displayError(commandName + ": unexpected exception");
    }
    return MS::kFailure;
}

MDoubleArray KDelaunay2DCmd::getPoints(const MArgDatabase& argData) {
    MString text;
    if (argData.isFlagSet(kPointsFlag))
        argData.getFlagArgument(kPointsFlag, 0, text);
    MStringArray pieces;
    text.split(' ', pieces);
    MDoubleArray values;
    for (unsigned int i = 0; i < pieces.length(); ++i)
        values.append(pieces[i].asDouble());
    return values;
}

bool KDelaunay2DCmd::make(const MDoubleArray& values) {
    const int n = static_cast<int>(values.length() / 3);
    if (n < 3) {
        MGlobal::displayError(commandName + ": At least three points are needed.");
        return false;
    }
    MPointArray vertices;
    vertices.setLength(static_cast<unsigned int>(n));
    Kelno::KFloat2Array plane(n);
    for (int i = 0; i < n; ++i) {
        const unsigned int k = 3 * static_cast<unsigned int>(i);
        const Kelno::KVector p(static_cast<float>(values[k]), static_cast<float>(values[k + 1]),
                               static_cast<float>(values[k + 2]));
        vertices.set(MPoint(p.x, p.y, p.z), static_cast<unsigned int>(i));
        plane[static_cast<std::size_t>(i)] = Kelno::GroundPlanePoint(p);
    }

    int triangleCount = 0;
    Kelno::KIntArray triangleVertices, neighbours;
    Kelno::KDelaunay2D(plane, triangleCount, triangleVertices, neighbours);

    // No triangle (all points on one line or at one place): nothing the host could build.
    MStatus status = MS::kFailure;
    if (triangleCount > 0) {
        MIntArray polygonCounts(static_cast<unsigned int>(triangleCount), 3);
        MIntArray polygonConnects;
        Kelno::Copy(polygonConnects, triangleVertices);
        MFnMesh meshFn;
        const MObject transform = meshFn.create(n, triangleCount, vertices, polygonCounts, polygonConnects,
                                                MObject::kNullObj, &status);
        if (transform.isNull())
            status = MS::kFailure;
    }
    if (!status) {
        MGlobal::displayError(commandName + ": Mesh construction failed.");
        return false;
    }
    return true;
}
