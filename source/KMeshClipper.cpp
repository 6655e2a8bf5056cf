#include "KMeshClipper.h"

#include <kelno/KMesh.h>
#include <kelno/KMeshClip.h>
#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MDataHandle.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>
#include <maya/MThreadUtils.h>

#include <omp.h>

#include <exception>

MString KMeshClipper::nodeTypeName("KMeshClipper");
MTypeId KMeshClipper::nodeTypeId(0x90001);

MObject KMeshClipper::deleteMode;
MObject KMeshClipper::viceVersa;
MObject KMeshClipper::mesh0;
MObject KMeshClipper::mesh1;
MObject KMeshClipper::outMesh;

void* KMeshClipper::creator() { return new KMeshClipper(); }

MStatus KMeshClipper::initialize() {
    MFnEnumAttribute eAttr;
    MFnNumericAttribute nAttr;
    MFnTypedAttribute tAttr;

    Kelno::CreateEnumAttr(eAttr, deleteMode, "deleteMode", "deleteMode", 1);
    eAttr.addField("None", 0);
    eAttr.addField("Inside AABB", 1);
    eAttr.addField("Outside AABB", 2);
    KELNO_CHECK_MSTATUS(addAttribute(deleteMode));

    Kelno::CreateBoolAttr(nAttr, viceVersa, "viceVersa", "viceVersa", false);
    KELNO_CHECK_MSTATUS(addAttribute(viceVersa));

    Kelno::CreateMeshAttr(tAttr, mesh0, "mesh0", "mesh0");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(mesh0));

    Kelno::CreateMeshAttr(tAttr, mesh1, "mesh1", "mesh1");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(mesh1));

    Kelno::CreateMeshAttr(tAttr, outMesh, "outMesh", "outMesh");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(outMesh));

    attributeAffects(deleteMode, outMesh);
    attributeAffects(viceVersa, outMesh);
    attributeAffects(mesh0, outMesh);
    attributeAffects(mesh1, outMesh);
    return MS::kSuccess;
}

MStatus KMeshClipper::compute(const MPlug& plug, MDataBlock& data) {
    if (plug != outMesh)
        return MS::kUnknownParameter;
    try {
        omp_set_num_threads(MThreadUtils::getNumThreads());

        const short mode = data.inputValue(deleteMode).asShort();
        const bool swap = data.inputValue(viceVersa).asBool();
        MObject object0 = data.inputValue(mesh0).asMeshTransformed();
        MObject object1 = data.inputValue(mesh1).asMeshTransformed();
        // An input that cannot be converted stays an empty mesh.
        Kelno::KMesh clipped;
        Kelno::KMesh clipping;
        Kelno::Convert(clipped, object0, false, "currentUVSet");
        Kelno::Convert(clipping, object1, false, "currentUVSet");
        if (swap)
            clipped.exchange(clipping);

        MDataHandle output = data.outputValue(outMesh);
        MFnMeshData meshData;
        MObject result = meshData.create();
        MFnMesh fn;
        if (mode == 0) {
            // mesh0 as it is, whatever viceVersa says.
            fn.copy(object0, result);
            output.set(result);
            data.setClean(plug);
            return MS::kSuccess;
        }

        Kelno::KIntArray faces;
        Kelno::FacesToClip(clipped, clipping.boundingBox(),
                           mode == 2 ? Kelno::KClipMode::OutsideBox : Kelno::KClipMode::InsideBox, faces);
        clipped.deleteElements(faces);

        MPointArray points;
        Kelno::Copy(points, clipped.positions);
        Kelno::KIntArray counts;
        Kelno::KIntArray connects;
        clipped.getCounts(counts);
        clipped.getConnections(connects);
        MIntArray polygonCounts;
        MIntArray polygonConnects;
        Kelno::Copy(polygonCounts, counts);
        Kelno::Copy(polygonConnects, connects);
        fn.create(static_cast<int>(points.length()), static_cast<int>(polygonCounts.length()), points,
                  polygonCounts, polygonConnects, result);
        output.set(result);
        return MS::kSuccess;
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KMeshClipper::compute(): ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KMeshClipper::compute(): unexpected exception");
    }
    return MS::kFailure;
}
