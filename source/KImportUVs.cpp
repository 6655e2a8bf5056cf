#include "KImportUVs.h"

#include "KExportUVs.h"

#include <kelno/KUVFile.h>

#include <maya/MFloatArray.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>

#include <exception>
#include <fstream>
#include <sstream>
#include <string>

MString KImportUVs::commandName("KImportUVs");

namespace {

MStatus fail(const MString& message) {
    MGlobal::displayError(message);
    return MS::kFailure;
}

void createMissingSet(MFnMesh& mesh, const KExportUVs::Input& input) {
    if (input.hasUVSet)
        return;
    MString name = input.uvSetName;
    mesh.createUVSet(name);
}

MStatus importUVs(const MSyntax& syntax, const MArgList& args) {
    KExportUVs::Input input;
    if (!KExportUVs::readInput(syntax, args, input))
        return MS::kFailure;
    MFnMesh mesh(input.meshPath);

    std::ifstream file(input.filePathName.asChar(), std::ios::binary);
    if (!file) {
        createMissingSet(mesh, input);
        return fail("Failed to open " + input.filePathName);
    }
    std::ostringstream bytes;
    bytes << file.rdbuf();
    file.close();
    const std::string text = bytes.str();
    Kelno::KUVLayout layout;
    std::string error;
    if (!Kelno::DecodeUVFile(text.data(), text.size(), layout, error))
        return fail("Failed to read UV file " + input.filePathName + ": " + error.c_str());

    MIntArray faceCounts, faceVertices;
    mesh.getVertices(faceCounts, faceVertices);
    Kelno::KIntArray corners(static_cast<int>(faceCounts.length()));
    for (unsigned int f = 0; f < faceCounts.length(); ++f)
        corners[f] = faceCounts[f];
    const bool fits = Kelno::UVLayoutFitsFaces(layout, corners).empty();

    createMissingSet(mesh, input);
    MStatus assigned = MS::kFailure;
    if (fits) {
        const MFloatArray u(layout.u.data(), static_cast<unsigned int>(layout.u.size()));
        const MFloatArray v(layout.v.data(), static_cast<unsigned int>(layout.v.size()));
        const MIntArray uvCounts(layout.uvCounts.data(), static_cast<unsigned int>(layout.uvCounts.size()));
        const MIntArray uvIds(layout.uvIds.data(), static_cast<unsigned int>(layout.uvIds.size()));
        mesh.clearUVs(&input.uvSetName);
        mesh.setUVs(u, v, &input.uvSetName);
        assigned = mesh.assignUVs(uvCounts, uvIds, &input.uvSetName);
    }
    // Reported, but not a failure of the command.
    if (!assigned)
        MGlobal::displayError("Failed to write UV info at " + input.meshName + ". " +
                              "Maybe there are some history to change the original mesh. " +
                              "Pleaze, check the original intermediate mesh.");
    return MS::kSuccess;
}

} // namespace

void* KImportUVs::creator() { return new KImportUVs; }

MSyntax KImportUVs::newSyntax() { return KExportUVs::newSyntax(); }

MStatus KImportUVs::doIt(const MArgList& args) {
    try {
        return importUVs(syntax(), args);
    } catch (const std::exception& e) {
        return fail(MString("Error@KImportUVs::doIt(): ") + e.what());
    } catch (...) {
        return fail("Error@KImportUVs::doIt(): unexpected exception");
    }
}
