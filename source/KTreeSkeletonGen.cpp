#include "KTreeSkeletonGen.h"

#include <kelno/KGL.h>
#include <kelno/KTreeSkeleton.h>
#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MArrayDataHandle.h>
#include <maya/MDGModifier.h>
#include <maya/MDataHandle.h>
#include <maya/MFnAttribute.h>
#include <maya/MFnCamera.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MMatrix.h>
#include <maya/MPoint.h>
#include <maya/MSpace.h>
#include <maya/MThreadUtils.h>

#include <omp.h>

#include <exception>

MString KTreeSkeletonGen::nodeTypeName("KTreeSkeletonGen");
MTypeId KTreeSkeletonGen::nodeTypeId(0x90006);
MString KTreeSkeletonGen::drawDbClassification("drawdb/geometry/KTreeSkeletonGen");
MString KTreeSkeletonGen::drawRegistrantId("KTreeSkeletonGenNodePlugin");

MObject KTreeSkeletonGen::inMeshes;
MObject KTreeSkeletonGen::output;
MObject KTreeSkeletonGen::iter;
MObject KTreeSkeletonGen::dist;
MObject KTreeSkeletonGen::numOutput;
MObject KTreeSkeletonGen::parentCurves;
MObject KTreeSkeletonGen::parentCVs;
MObject KTreeSkeletonGen::curveNumCVs;

KTreeSkeletonGen::KTreeSkeletonGen() : m_firstDraw(true), m_refreshEditor(false), m_meshCount(0) {}

KTreeSkeletonGen::~KTreeSkeletonGen() {
    m_meshes.clear();
    m_connections.clear();
    m_skeletons.clear();
}

void* KTreeSkeletonGen::creator() { return new KTreeSkeletonGen(); }

MStatus KTreeSkeletonGen::initialize() {
    MFnNumericAttribute nAttr;
    MFnTypedAttribute tAttr;

    Kelno::CreateMeshAttr(tAttr, inMeshes, "inMeshes", "inMeshes");
    tAttr.setHidden(false);
    tAttr.setWritable(true);
    tAttr.setKeyable(true);
    tAttr.setArray(true);
    tAttr.setDisconnectBehavior(MFnAttribute::kDelete);
    KELNO_CHECK_MSTATUS(addAttribute(inMeshes));

    Kelno::CreateFloatAttr(nAttr, output, "output", "output", 0.0f);
    nAttr.setHidden(true);
    nAttr.setStorable(false);
    KELNO_CHECK_MSTATUS(addAttribute(output));

    Kelno::CreateIntAttr(nAttr, iter, "iter", "iter", 1);
    nAttr.setHidden(true);
    nAttr.setChannelBox(true);
    nAttr.setMin(1);
    nAttr.setSoftMax(100);
    KELNO_CHECK_MSTATUS(addAttribute(iter));

    Kelno::CreateFloatAttr(nAttr, dist, "dist", "dist", 1.0f);
    nAttr.setHidden(true);
    nAttr.setChannelBox(true);
    nAttr.setMin(0.0);
    nAttr.setSoftMax(1.0);
    KELNO_CHECK_MSTATUS(addAttribute(dist));

    Kelno::CreateIntAttr(nAttr, numOutput, "numOutput", "numOutput", 1);
    nAttr.setHidden(true);
    nAttr.setWritable(false);
    KELNO_CHECK_MSTATUS(addAttribute(numOutput));

    Kelno::CreateIArrayAttr(tAttr, parentCurves, "parentCurves", "parentCurves");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(parentCurves));
    Kelno::CreateIArrayAttr(tAttr, parentCVs, "parentCVs", "parentCVs");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(parentCVs));
    Kelno::CreateIArrayAttr(tAttr, curveNumCVs, "curveNumCVs", "curveNumCVs");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(curveNumCVs));

    KELNO_CHECK_MSTATUS(attributeAffects(inMeshes, output));
    KELNO_CHECK_MSTATUS(attributeAffects(iter, output));
    KELNO_CHECK_MSTATUS(attributeAffects(dist, output));
    return MS::kSuccess;
}

void KTreeSkeletonGen::postConstructor() {
    MPxLocatorNode::postConstructor();
    m_node = thisMObject();
    m_dgFn.setObject(m_node);
    m_dagFn.setObject(m_node);
    m_dgFn.setName(nodeTypeName + "Shape#");
}

void KTreeSkeletonGen::findCenter(const Kelno::KTriMesh& mesh, const Kelno::KTriMeshConnectionInfo& conn,
                                  const int& iterations, const float& step, Kelno::KVectorArray& centres) {
    Kelno::KTreeSkeleton::findCenter(mesh, conn, iterations, step, centres);
}

bool KTreeSkeletonGen::fitPlane(const Kelno::KVectorArray& points, Kelno::KVector* normal,
                                Kelno::KVector* centroid) {
    return Kelno::KTreeSkeleton::fitPlane(points, normal, centroid);
}

bool KTreeSkeletonGen::linePlaneIntersection(const Kelno::KVector& planeNormal,
                                             const Kelno::KVector& planePoint, const Kelno::KVector& a,
                                             const Kelno::KVector& b, Kelno::KVector& hit) {
    return Kelno::KTreeSkeleton::linePlaneIntersection(planeNormal, planePoint, a, b, hit);
}

MStatus KTreeSkeletonGen::compute(const MPlug& plug, MDataBlock& data) {
    if (plug != output)
        return MS::kUnknownParameter;
    try {
        return _compute(plug, data);
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KTreeSkeletonGen::compute(): ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KTreeSkeletonGen::compute(): unexpected exception");
    }
    return MS::kFailure;
}

MStatus KTreeSkeletonGen::_compute(const MPlug& plug, MDataBlock& data) {
    m_name = m_dgFn.name();
    omp_set_num_threads(MThreadUtils::getNumThreads());

    MArrayDataHandle meshArray = data.inputArrayValue(inMeshes);
    const int n = static_cast<int>(meshArray.elementCount());
    if (n == 0) {
        MGlobal::displayError(m_name + ": Invalid input data.");
        return MS::kFailure;
    }

    m_meshCount = n;
    m_meshes.clear();
    m_connections.clear();
    m_meshes.resize(static_cast<size_t>(n));
    m_connections.resize(static_cast<size_t>(n));
    m_bounds.reset();
    for (int i = 0; i < n; ++i) {
        meshArray.jumpToArrayElement(static_cast<unsigned int>(i));
        MObject mesh = meshArray.inputValue().asMeshTransformed();
        Kelno::KTriMesh& tri = m_meshes[static_cast<size_t>(i)];
        Kelno::Convert(tri, mesh, false, "currentUVSet");
        Kelno::KTriMeshConnectionInfo& conn = m_connections[static_cast<size_t>(i)];
        conn.set(tri);
        conn.calculate_v2e();
        conn.calculate_t2e();
        conn.calculate_e2t();
        m_bounds.expand(tri.boundingBox(true));
    }

    const int iterations = data.inputValue(iter).asInt();
    const float step = data.inputValue(dist).asFloat();

    m_skeletons.clear();
    m_skeletons.resize(static_cast<size_t>(n));
    // Nothing may leave the parallel region: a march that runs out of memory (a huge "iter" with
    // a zero "dist") keeps the centres it found and the failure is reported afterwards.
    bool failed = false;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < n; ++i) {
        try {
            findCenter(m_meshes[static_cast<size_t>(i)], m_connections[static_cast<size_t>(i)], iterations,
                       step, m_skeletons[static_cast<size_t>(i)]);
        } catch (...) {
#pragma omp atomic write
            failed = true;
        }
    }
    if (failed)
        MGlobal::displayError(
            "Error@KTreeSkeletonGen::compute(): out of memory while marching; chains are cut short");

    m_refreshEditor = true;
    data.outputValue(numOutput).set(n);
    data.outputValue(output).set(0.0f);
    data.setClean(plug);
    return MS::kSuccess;
}

void KTreeSkeletonGen::draw(M3dView& view, const MDagPath&, M3dView::DisplayStyle, M3dView::DisplayStatus) {
    if (MGlobal::mayaState() == MGlobal::kBatch)
        return;
    view.beginGL();
    try {
        draw(0);
    } catch (...) {
        // Nothing may reach the host's draw loop; the view's GL state is restored below.
    }
    view.endGL();
}

void KTreeSkeletonGen::draw(int) {
    if (m_firstDraw) {
        MStatus status;
        MObject parent = m_dagFn.parent(0, &status);
        if (status) {
            MFnDependencyNode parentFn(parent);
            MPlug dynamics = parentFn.findPlug("dynamics", true, &status);
            MPlug outPlug(m_node, output);
            if (status && !outPlug.isConnected()) {
                MDGModifier modifier;
                modifier.connect(outPlug, dynamics);
                modifier.doIt();
            }
        }
        m_firstDraw = false;
    }
    if (m_refreshEditor) {
        MGlobal::executeCommand(MString("updateAE ") + m_name, false, false);
        m_refreshEditor = false;
    }
    _drawChains();
}

void KTreeSkeletonGen::_drawChains() const {
    if (m_skeletons.empty())
        return;
    glPushMatrix();
    glPushAttrib(0xFFFFF);

    glLineWidth(3.0f);
    glColor3f(1.0f, 1.0f, 0.0f);
    for (const Kelno::KVectorArray& chain : m_skeletons) {
        glBegin(GL_LINE_STRIP);
        for (const Kelno::KVector& p : chain)
            glVertex3f(p.x, p.y, p.z);
        glEnd();
    }

    glPointSize(5.0f);
    glColor3f(1.0f, 0.0f, 0.0f);
    for (const Kelno::KVectorArray& chain : m_skeletons) {
        glBegin(GL_POINTS);
        for (const Kelno::KVector& p : chain)
            glVertex3f(p.x, p.y, p.z);
    }
    glEnd();

    glPopAttrib();
    glPopMatrix();
}

bool KTreeSkeletonGen::isBounded() const { return true; }

MBoundingBox KTreeSkeletonGen::boundingBox() const {
    if (!m_meshes.empty()) {
        const Kelno::KVector& lo = m_bounds.min();
        const Kelno::KVector& hi = m_bounds.max();
        return MBoundingBox(MPoint(lo.x, lo.y, lo.z), MPoint(hi.x, hi.y, hi.z));
    }
    MPoint centre(0.0, 0.0, 0.0);
    MDagPath cameraPath;
    if (M3dView::active3dView().getCamera(cameraPath)) {
        MStatus status;
        MFnCamera camera(cameraPath, &status);
        if (status)
            centre = camera.centerOfInterestPoint(MSpace::kObject) * cameraPath.inclusiveMatrix();
    }
    const double e = 1e-30;
    return MBoundingBox(MPoint(centre.x - e, centre.y - e, centre.z - e),
                        MPoint(centre.x + e, centre.y + e, centre.z + e));
}
