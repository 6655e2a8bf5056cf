#include "KMeshLoader.h"

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

#include <climits>
#include <cmath>
#include <exception>

MString KMeshLoader::nodeTypeName("KMeshLoader");
MTypeId KMeshLoader::nodeTypeId(0x90003);

MObject KMeshLoader::time;
MObject KMeshLoader::frameOffset;
MObject KMeshLoader::outMesh;
MObject KMeshLoader::filePathName;

namespace {

// Truncation toward zero (12.9 -> 12, -0.5 -> 0); times beyond the int range clamp to it
// rather than overflow, and a NaN time is frame 0.
int frameOf(double t) {
    if (std::isnan(t))
        return 0;
    if (t >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (t <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(t);
}

} // namespace

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

        const int frame = frameOf(data.inputValue(time).asTime().as(MTime::uiUnit()));
        const int offset = data.inputValue(frameOffset).asInt();
        const MString path = data.inputValue(filePathName).asString();

        // When the file cannot be opened the arrays are empty and the mesh is empty too.
        _loadObjFile(_getFilePathName(path, frame, offset));

        MFnMeshData meshData;
        MObject meshObject = meshData.create();
        MFnMesh mesh;
        mesh.create(static_cast<int>(m_vertices.length()), static_cast<int>(m_polygonCounts.length()),
                    m_vertices, m_polygonCounts, m_polygonConnects, meshObject);
        data.outputValue(outMesh).set(meshObject);
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
    if (!Kelno::ReadObjFile(fileName.asChar(), m_objMesh)) {
        MGlobal::displayError(Kelno::ObjOpenFailureMessage(fileName.asChar()).c_str());
        return false;
    }
    // KObjPoint is four packed doubles, the row form MPointArray is built from in one go.
    static_assert(sizeof(Kelno::KObjPoint) == 4 * sizeof(double), "KObjPoint must be x, y, z, w doubles");
    const Kelno::KObjPointArray& points = m_objMesh.points;
    m_vertices = MPointArray(reinterpret_cast<const double(*)[4]>(points.data()), points.length());
    m_polygonCounts = MIntArray(m_objMesh.polygonCounts.data(), m_objMesh.polygonCounts.length());
    m_polygonConnects = MIntArray(m_objMesh.polygonConnects.data(), m_objMesh.polygonConnects.length());
    return true;
}
