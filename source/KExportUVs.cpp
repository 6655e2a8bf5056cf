#include "KExportUVs.h"

#include <kelno/KUVFile.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MArgDatabase.h>
#include <maya/MFloatArray.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MStringArray.h>

#include <exception>
#include <string>

MString KExportUVs::commandName("KExportUVs");

namespace {

const char* const kMeshNameFlag = "-mNm";
const char* const kMeshNameFlagLong = "-meshName";
const char* const kUVSetNameFlag = "-uvs";
const char* const kUVSetNameFlagLong = "-uvSetName";
const char* const kFilePathNameFlag = "-fpn";
const char* const kFilePathNameFlagLong = "-filePathName";

MStatus fail(const MString& message) {
    MGlobal::displayError(message);
    return MS::kFailure;
}

MStatus exportUVs(const MSyntax& syntax, const MArgList& args) {
    KExportUVs::Input input;
    if (!KExportUVs::readInput(syntax, args, input))
        return MS::kFailure;
    if (!input.hasUVSet)
        return fail("No uv set name of " + input.uvSetName);

    MFnMesh mesh(input.meshPath);
    MIntArray uvCounts, uvIds;
    MFloatArray u, v;
    mesh.getAssignedUVs(uvCounts, uvIds, &input.uvSetName);
    // The current set's count, not the named set's: the two agree when the named set is current.
    const int uvCount = mesh.numUVs();
    mesh.getUVs(u, v, &input.uvSetName);

    Kelno::KUVLayout layout;
    layout.uvCounts.resize(uvCounts.length());
    for (unsigned int i = 0; i < uvCounts.length(); ++i)
        layout.uvCounts[i] = uvCounts[i];
    layout.uvIds.resize(uvIds.length());
    for (unsigned int i = 0; i < uvIds.length(); ++i)
        layout.uvIds[i] = uvIds[i];
    layout.u.resize(static_cast<std::size_t>(uvCount > 0 ? uvCount : 0), 0.0f);
    layout.v.resize(layout.u.size(), 0.0f);
    for (unsigned int i = 0; i < layout.u.size() && i < u.length() && i < v.length(); ++i) {
        layout.u[i] = u[i];
        layout.v[i] = v[i];
    }

    std::string error;
    if (!Kelno::WriteUVFile(input.filePathName.asChar(), layout, error))
        return fail((error.compare(0, 11, "cannot open") == 0 ? "Failed to open " : "Failed to write ") +
                    input.filePathName);
    return MS::kSuccess;
}

} // namespace

void* KExportUVs::creator() { return new KExportUVs; }

MSyntax KExportUVs::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kMeshNameFlag, kMeshNameFlagLong, MSyntax::kString);
    syntax.addFlag(kUVSetNameFlag, kUVSetNameFlagLong, MSyntax::kString);
    syntax.addFlag(kFilePathNameFlag, kFilePathNameFlagLong, MSyntax::kString);
    return syntax;
}

MStatus KExportUVs::readInput(const MSyntax& syntax, const MArgList& args, Input& input) {
    MStatus status;
    MArgDatabase db(syntax, args, &status);
    if (!status)
        return fail("Failed to get the input parameters.");
    if (db.isFlagSet(kMeshNameFlag) && !db.getFlagArgument(kMeshNameFlag, 0, input.meshName))
        return fail("No mesh name.");
    if (db.isFlagSet(kUVSetNameFlag) && !db.getFlagArgument(kUVSetNameFlag, 0, input.uvSetName))
        return fail("No UV set name.");
    if (db.isFlagSet(kFilePathNameFlag) && !db.getFlagArgument(kFilePathNameFlag, 0, input.filePathName))
        return fail("No file path & name.");

    input.meshPath = Kelno::NodeNameToDagPath(input.meshName);
    if (!input.meshPath.isValid() || !input.meshPath.extendToShape())
        return fail("Failed to get shape object." + input.meshName);
    MFnMesh mesh(input.meshPath, &status);
    if (!status)
        return fail("Failed to get mesh object." + input.meshName);

    MStringArray names;
    mesh.getUVSetNames(names);
    input.hasUVSet = false;
    for (unsigned int i = 0; i < names.length(); ++i)
        input.hasUVSet = input.hasUVSet || names[i] == input.uvSetName;
    return MS::kSuccess;
}

MStatus KExportUVs::doIt(const MArgList& args) {
    try {
        return exportUVs(syntax(), args);
    } catch (const std::exception& e) {
        return fail(MString("Error@KExportUVs::doIt(): ") + e.what());
    } catch (...) {
        return fail("Error@KExportUVs::doIt(): unexpected exception");
    }
}
