#include "KGetXForm.h"

#include <kelno/KMesh.h>
#include <kelno/KRigidFit.h>
#include <kelno/maya/KMayaMesh.h>

#include <maya/MArgDatabase.h>
#include <maya/MDoubleArray.h>
#include <maya/MGlobal.h>
#include <maya/MThreadUtils.h>

#include <omp.h>

#include <exception>
#include <vector>

MString KGetXForm::commandName("KGetXForm");

namespace {
const char* const kSourceFlag = "-sm";
const char* const kSourceFlagLong = "-sMeshName";
const char* const kTargetFlag = "-tm";
const char* const kTargetFlagLong = "-tMeshName";
const char* const kOrderFlag = "-od";
const char* const kOrderFlagLong = "-order";
const char* const kPivotFlags[3] = {"xPv", "yPv", "zPv"};
const char* const kPivotFlagsLong[3] = {"xPivot", "yPivot", "zPivot"};
} // namespace

KGetXForm::KGetXForm() {}
KGetXForm::~KGetXForm() {}

void* KGetXForm::creator() { return new KGetXForm(); }

MSyntax KGetXForm::newSyntax() {
    MSyntax syntax;
    syntax.addFlag(kSourceFlag, kSourceFlagLong, MSyntax::kString);
    syntax.addFlag(kTargetFlag, kTargetFlagLong, MSyntax::kString);
    syntax.addFlag(kOrderFlag, kOrderFlagLong, MSyntax::kDouble);
    for (int axis = 0; axis < 3; ++axis)
        syntax.addFlag(kPivotFlags[axis], kPivotFlagsLong[axis], MSyntax::kDouble);
    return syntax;
}

bool KGetXForm::isUndoable() const { return false; }

MStatus KGetXForm::doIt(const MArgList& args) {
    try {
        return run(args);
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KGetXForm: ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KGetXForm: unexpected failure");
    }
    return MS::kFailure;
}

MStatus KGetXForm::run(const MArgList& args) {
    MStatus status;
    MArgDatabase argData(syntax(), args, &status);
    if (!status) {
        MGlobal::displayError("Failed to get the input parameters.");
        return MS::kFailure;
    }
    MString sourceName;
    MString targetName;
    if (argData.isFlagSet(kSourceFlag) && !argData.getFlagArgument(kSourceFlag, 0, sourceName)) {
        MGlobal::displayError("No mesh name.");
        return MS::kFailure;
    }
    if (argData.isFlagSet(kTargetFlag) && !argData.getFlagArgument(kTargetFlag, 0, targetName)) {
        MGlobal::displayError("No mesh name.");
        return MS::kFailure;
    }
    double order = 0.0;
    if (argData.isFlagSet(kOrderFlag))
        argData.getFlagArgument(kOrderFlag, 0, order);
    double pivot[3] = {0.0, 0.0, 0.0};
    int pivotFlags = 0;
    for (int axis = 0; axis < 3; ++axis)
        if (argData.isFlagSet(kPivotFlags[axis])) {
            ++pivotFlags;
            argData.getFlagArgument(kPivotFlags[axis], 0, pivot[axis]);
        }
    const Kelno::KVector pivotPoint(static_cast<float>(pivot[0]), static_cast<float>(pivot[1]),
                                    static_cast<float>(pivot[2]));

    // A name that is missing or names no mesh leaves its mesh empty, reported below; so is a
    // target too small to hold one copy of the source (the meshes do not correspond).
    Kelno::KTriMesh source;
    Kelno::KTriMesh target;
    Kelno::GetMesh(source, sourceName.asChar(), false, "");
    Kelno::GetMesh(target, targetName.asChar(), false, "");
    if (source.positions.empty() || target.positions.length() < source.positions.length()) {
        MGlobal::displayError("[KGetXForm] Invalid input data.");
        setResult(MDoubleArray(16, 0.0));
        return MS::kFailure;
    }

    omp_set_num_threads(MThreadUtils::getNumThreads());
    const std::vector<double> values = Kelno::ShapeMatchingMatrices(
        source.positions, target.positions, pivotFlags == 3 ? &pivotPoint : nullptr, order);
    setResult(MDoubleArray(values.data(), static_cast<unsigned int>(values.size())));
    return MS::kSuccess;
}
