#include "KDetectInsideComponentsCmd.h"

#include <kelno/KCollision.h>
#include <kelno/KMesh.h>
#include <kelno/KTriMeshDistTree.h>
#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MArgDatabase.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MItMeshPolygon.h>
#include <maya/MObject.h>
#include <maya/MObjectArray.h>
#include <maya/MStringArray.h>

#include <exception>

MString KDetectInsideComponentsCmd::commandName("KDetectInsideComponentsCmd");

namespace {
const char* const kMeshNameFlag = "-mNm";
const char* const kMeshNameFlagLong = "-meshName";
const char* const kCollidersFlag = "-cls";
const char* const kCollidersFlagLong = "-colliders";
const char* const kModeFlag = "-mod";
const char* const kModeFlagLong = "-mode";
} // namespace

KDetectInsideComponentsCmd::KDetectInsideComponentsCmd() {}
KDetectInsideComponentsCmd::~KDetectInsideComponentsCmd() {}

void* KDetectInsideComponentsCmd::creator() { return new KDetectInsideComponentsCmd(); }

MSyntax KDetectInsideComponentsCmd::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kMeshNameFlag, kMeshNameFlagLong, MSyntax::kString);
    syntax.addFlag(kCollidersFlag, kCollidersFlagLong, MSyntax::kString);
    syntax.addFlag(kModeFlag, kModeFlagLong, MSyntax::kUnsigned);
    return syntax;
}

bool KDetectInsideComponentsCmd::isUndoable() const { return false; }

MStatus KDetectInsideComponentsCmd::redoIt() { return m_modifier.doIt(); }

MStatus KDetectInsideComponentsCmd::undoIt() { return m_modifier.undoIt(); }

MStatus KDetectInsideComponentsCmd::doIt(const MArgList& args) {
    try {
        return run(args);
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KDetectInsideComponentsCmd: ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KDetectInsideComponentsCmd: unexpected failure");
    }
    return MS::kFailure;
}

MStatus KDetectInsideComponentsCmd::run(const MArgList& args) {
    MStatus status;
    MArgDatabase argData(syntax(), args, &status);
    if (!status) {
        MGlobal::displayError("Failed to get the input parameters.");
        return MS::kFailure;
    }
    MString meshName;
    MString colliders;
    unsigned int mode = 0;
    // One message for all three flags, on purpose.
    if (argData.isFlagSet(kMeshNameFlag) && !argData.getFlagArgument(kMeshNameFlag, 0, meshName)) {
        MGlobal::displayError("No mesh name.");
        return MS::kFailure;
    }
    if (argData.isFlagSet(kCollidersFlag) && !argData.getFlagArgument(kCollidersFlag, 0, colliders)) {
        MGlobal::displayError("No mesh name.");
        return MS::kFailure;
    }
    if (argData.isFlagSet(kModeFlag)) {
        if (!argData.getFlagArgument(kModeFlag, 0, mode)) {
            MGlobal::displayError("No mesh name.");
            return MS::kFailure;
        }
        if (mode == 0)
            return MS::kSuccess;
    }

    MObject target = Kelno::NodeNameToMObject(meshName);
    MFnMesh fnMesh(target);
    MItMeshPolygon polygonIt(target);
    Kelno::KTriMesh mesh;
    Kelno::Convert(mesh, target, false, "");
    if (mesh.vertexCount() == 0)
        return MS::kSuccess;

    MStringArray colliderNames;
    colliders.split(' ', colliderNames);
    MObjectArray colliderObjects(colliderNames.length(), MObject::kNullObj);
    for (unsigned int k = 0; k < colliderNames.length(); ++k)
        colliderObjects[k] = Kelno::NodeNameToMObject(colliderNames[k]);
    Kelno::KTriMesh colliderMesh;
    Kelno::Convert(colliderMesh, colliderObjects);
    Kelno::KTriMeshDistTree tree(10, 10);
    tree.set(colliderMesh);

    Kelno::KIntArray insideVertices;
    Kelno::FindInsideVertices(mesh, colliderMesh, tree, insideVertices);
    Kelno::KIntArray insideFlag(mesh.vertexCount());
    for (int v : insideVertices)
        insideFlag[v] = 1;

    Kelno::KIntArray faces;
    if (mode >= 2 && mode <= 4) {
        Kelno::KIntArrayList polygons;
        MIntArray vertices;
        for (polygonIt.reset(); !polygonIt.isDone(); polygonIt.next()) {
            polygonIt.getVertices(vertices);
            Kelno::KIntArray polygon;
            for (unsigned int k = 0; k < vertices.length(); ++k)
                polygon.push_back(vertices[k]);
            polygons.push_back(polygon);
        }
        Kelno::SelectFacesByMode(polygons, insideFlag, mode, faces);
    }

    // The component strings name "pSphere1", not the target: the command's behaviour as it
    // stands (see the header).
    MString command("select -r");
    if (mode == 1) {
        for (int v : insideVertices) {
            command += " pSphere1.vtx[";
            command += v;
            command += "]";
        }
    } else {
        for (int f : faces) {
            command += " pSphere1.f[";
            command += f;
            command += "]";
        }
    }
    command += ";";
    m_modifier.commandToExecute(command);
    return redoIt();
}
