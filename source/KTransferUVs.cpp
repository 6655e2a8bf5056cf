#include "KTransferUVs.h"

#include <kelno/KUVFile.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MArgDatabase.h>
#include <maya/MDagPath.h>
#include <maya/MFloatArray.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MStringArray.h>

#include <exception>
#include <string>

MString KTransferUVs::commandName("KTransferUVs");

namespace {

const char* const kSourceMeshFlag = "-sm";
const char* const kSourceMeshFlagLong = "-sMeshName";
const char* const kTargetMeshFlag = "-tm";
const char* const kTargetMeshFlagLong = "-tMeshName";
const char* const kSourceUVSetFlag = "-sUV";
const char* const kSourceUVSetFlagLong = "-sUVSetName";
const char* const kTargetUVSetFlag = "-tUV";
const char* const kTargetUVSetFlagLong = "-tUVSetName";

MStatus fail(const MString& message) {
    MGlobal::displayError(message);
    return MS::kFailure;
}

bool hasUVSet(const MFnMesh& mesh, const MString& name) {
    MStringArray names;
    mesh.getUVSetNames(names);
    for (unsigned int i = 0; i < names.length(); ++i)
        if (names[i] == name)
            return true;
    return false;
}

// The mesh shape of a transform or shape name; false when there is none.
bool findMesh(const MString& name, MDagPath& path) {
    path = Kelno::NodeNameToDagPath(name);
    return path.isValid() && path.extendToShape();
}

Kelno::KIntArray toKelno(const MIntArray& values) {
    Kelno::KIntArray out(static_cast<int>(values.length()));
    for (unsigned int i = 0; i < values.length(); ++i)
        out[i] = values[i];
    return out;
}

MStatus transferUVs(const MSyntax& syntax, const MArgList& args) {
    MStatus status;
    MArgDatabase db(syntax, args, &status);
    if (!status)
        return fail("Failed to get the input parameters.");
    MString sourceName, targetName, sourceSet, targetSet;
    // One message for all four flags.
    if (db.isFlagSet(kSourceMeshFlag) && !db.getFlagArgument(kSourceMeshFlag, 0, sourceName))
        return fail("No mesh name.");
    if (db.isFlagSet(kTargetMeshFlag) && !db.getFlagArgument(kTargetMeshFlag, 0, targetName))
        return fail("No mesh name.");
    if (db.isFlagSet(kSourceUVSetFlag) && !db.getFlagArgument(kSourceUVSetFlag, 0, sourceSet))
        return fail("No mesh name.");
    if (db.isFlagSet(kTargetUVSetFlag) && !db.getFlagArgument(kTargetUVSetFlag, 0, targetSet))
        return fail("No mesh name.");

    MDagPath sourcePath, targetPath;
    if (!findMesh(sourceName, sourcePath))
        return fail("Failed to get source mesh shape object." + sourceName);
    MFnMesh source(sourcePath, &status);
    if (!status)
        return fail("Failed to get source mesh object." + sourceName);
    if (!findMesh(targetName, targetPath))
        return fail("Failed to get target mesh shape object." + targetName);
    MFnMesh target(targetPath, &status);
    if (!status)
        return fail("Failed to get target mesh object." + targetName);
    if (!hasUVSet(source, sourceSet))
        return fail("No uv set name of " + sourceSet);

    MIntArray uvCounts, uvIds;
    MFloatArray u, v;
    source.getAssignedUVs(uvCounts, uvIds, &sourceSet);
    source.getUVs(u, v, &sourceSet);

    if (!hasUVSet(target, targetSet)) {
        MString name = targetSet;
        target.createUVSet(name);
    }
    MIntArray faceCounts, faceVertices;
    target.getVertices(faceCounts, faceVertices);
    Kelno::KUVLayout layout;
    layout.uvCounts = toKelno(uvCounts);
    const std::string misfit = Kelno::UVLayoutFitsFaces(layout, toKelno(faceCounts));
    if (!misfit.empty()) {
        MGlobal::displayWarning("KTransferUVs: " + targetName + " keeps its UVs: " + misfit.c_str());
        return MS::kSuccess;
    }
    target.clearUVs(&targetSet);
    target.setUVs(u, v, &targetSet);
    target.assignUVs(uvCounts, uvIds, &targetSet);
    return MS::kSuccess;
}

} // namespace

void* KTransferUVs::creator() { return new KTransferUVs; }

MSyntax KTransferUVs::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kSourceMeshFlag, kSourceMeshFlagLong, MSyntax::kString);
    syntax.addFlag(kTargetMeshFlag, kTargetMeshFlagLong, MSyntax::kString);
    syntax.addFlag(kSourceUVSetFlag, kSourceUVSetFlagLong, MSyntax::kString);
    syntax.addFlag(kTargetUVSetFlag, kTargetUVSetFlagLong, MSyntax::kString);
    return syntax;
}

MStatus KTransferUVs::doIt(const MArgList& args) {
    try {
        return transferUVs(syntax(), args);
    } catch (const std::exception& e) {
        return fail(MString("Error@KTransferUVs::doIt(): ") + e.what());
    } catch (...) {
        return fail("Error@KTransferUVs::doIt(): unexpected exception");
    }
}

MStatus KTransferUVs::redoIt() { return m_dgModifier.doIt(); }

MStatus KTransferUVs::undoIt() { return m_dgModifier.undoIt(); }
