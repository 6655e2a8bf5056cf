#include "KMeshLoader.h"

#include <kelno/KObjSequence.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MDataHandle.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MThreadUtils.h>
#include <maya/MTime.h>

#include <omp.h>

#include <exception>
#include <string>

MString KMeshLoader::nodeTypeName("KMeshLoader");
MTypeId KMeshLoader::nodeTypeId(0x90003);

MObject KMeshLoader::time;
MObject KMeshLoader::frameOffset;
MObject KMeshLoader::outMesh;
MObject KMeshLoader::filePathName;

KMeshLoader::KMeshLoader() {}

KMeshLoader::~KMeshLoader() {}

void* KMeshLoader::creator() { return new KMeshLoader(); }

MStatus KMeshLoader::initialize() {
    MFnUnitAttribute uAttr;
    MFnNumericAttribute nAttr;
    MFnTypedAttribute tAttr;

    Kelno::CreateTimeAttr(uAttr, time, "time", "time", 0.0);
    uAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(time));

    Kelno::CreateIntAttr(nAttr, frameOffset, "frameOffset", "frameOffset", 0);
    KELNO_CHECK_MSTATUS(addAttribute(frameOffset));

    Kelno::CreateMeshAttr(tAttr, outMesh, "outMesh", "outMesh");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(outMesh));

    Kelno::CreateStringAttr(tAttr, filePathName, "filePathName", "filePathName", "");
    KELNO_CHECK_MSTATUS(addAttribute(filePathName));

    attributeAffects(time, outMesh);
    attributeAffects(frameOffset, outMesh);
    attributeAffects(filePathName, outMesh);
    return MS::kSuccess;
}

void KMeshLoader::postConstructor() {
    MPxNode::postConstructor();
    m_node = thisMObject();
    m_dgFn.setObject(m_node);
    m_dagFn.setObject(m_node);
    m_dgFn.setName(nodeTypeName + "#");
}

MStatus KMeshLoader::compute(const MPlug& plug, MDataBlock& data) {
    if (plug != outMesh)
        return MS::kUnknownParameter;
    try {
        omp_set_num_threads(MThreadUtils::getNumThreads());

        const int frame = Kelno::ObjSequenceFrame(data.inputValue(time).asTime().as(MTime::uiUnit()));
        const int offset = data.inputValue(frameOffset).asInt();
        const MString path = data.inputValue(filePathName).asString();

        // When the file cannot be opened the arrays are empty and the mesh is empty too.
        _loadObjFile(_getFilePathName(path, frame, offset));

        MFnMeshData meshData;
        MObject meshObject = meshData.create();
        MFnMesh mesh;
        mesh.create(static_cast<int>(m_vertices.length()), static_cast<int>(m_polygonCounts.length()),
                    m_vertices, m_polygonCounts, m_polygonConnects, meshObject);
        MDataHandle output = data.outputValue(outMesh);
        output.set(meshObject);
        output.setClean();
        return MS::kSuccess;
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KMeshLoader::compute(): ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KMeshLoader::compute(): unexpected exception");
    }
    return MS::kFailure;
}

MString KMeshLoader::_getFilePathName(const MString& path, int frame, int frameOffset) {
    return MString(Kelno::ObjSequenceFileName(path.asChar(), frame, frameOffset).c_str());
}

bool KMeshLoader::_loadObjFile(const MString& fileName) {
    m_vertices.clear();
    m_polygonCounts.clear();
    m_polygonConnects.clear();
    // The reader's arrays live only until the host arrays are filled: the node holds one copy
    // of the frame.
    Kelno::KObjMesh mesh;
    // The reader's reason is "Failed to open the file: <name>" when the file cannot be opened.
    std::string error;
    if (!Kelno::ReadObjFile(fileName.asChar(), mesh, error)) {
        MGlobal::displayError(error.c_str());
        return false;
    }
    Kelno::RemoveUnbuildableFaces(mesh);
    // KObjPoint is four packed doubles, the row form MPointArray is built from in one go.
    static_assert(sizeof(Kelno::KObjPoint) == 4 * sizeof(double), "KObjPoint must be x, y, z, w doubles");
    m_vertices = MPointArray(reinterpret_cast<const double(*)[4]>(mesh.points.data()), mesh.points.length());
    Kelno::KObjPointArray().swap(mesh.points); // the largest array goes before the next is copied
    m_polygonCounts = MIntArray(mesh.polygonCounts.data(), mesh.polygonCounts.length());
    m_polygonConnects = MIntArray(mesh.polygonConnects.data(), mesh.polygonConnects.length());
    return true;
}
