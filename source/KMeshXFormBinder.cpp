#include "KMeshXFormBinder.h"

#include <kelno/KMeshBinder.h>
#include <kelno/maya/KMayaMesh.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MDataHandle.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMatrixAttribute.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MMatrix.h>
#include <maya/MThreadUtils.h>
#include <maya/MTransformationMatrix.h>

#include <omp.h>

#include <exception>

MString KMeshXFormBinder::nodeTypeName("KMeshXFormBinder");
MTypeId KMeshXFormBinder::nodeTypeId(0x90002);

MObject KMeshXFormBinder::inMesh;
MObject KMeshXFormBinder::inPosition;
MObject KMeshXFormBinder::closestTriangle;
MObject KMeshXFormBinder::farthestVertex;
MObject KMeshXFormBinder::localCoordinates;
MObject KMeshXFormBinder::initialMatrix;
MObject KMeshXFormBinder::outTranslate;
MObject KMeshXFormBinder::outRotate;
MObject KMeshXFormBinder::rotationOrder;

namespace {

MMatrix toMMatrix(const Kelno::KMatrix4d& m) { return MMatrix(m.m); }

Kelno::KMatrix4d toKMatrix(const MMatrix& m) {
    Kelno::KMatrix4d out;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            out.m[r][c] = m(static_cast<unsigned int>(r), static_cast<unsigned int>(c));
    return out;
}

// rotationOrder 0..5 are the host's kXYZ .. kZYX in the same order.
MTransformationMatrix::RotationOrder hostRotationOrder(short value) {
    if (value < 0 || value > 5)
        return MTransformationMatrix::kInvalid;
    return static_cast<MTransformationMatrix::RotationOrder>(MTransformationMatrix::kXYZ + value);
}

} // namespace

KMeshXFormBinder::KMeshXFormBinder() : m_numVertices(0), m_numTriangles(0) {}

KMeshXFormBinder::~KMeshXFormBinder() {}

void* KMeshXFormBinder::creator() { return new KMeshXFormBinder(); }

MStatus KMeshXFormBinder::initialize() {
    MFnTypedAttribute tAttr;
    MFnNumericAttribute nAttr;
    MFnMatrixAttribute mAttr;
    MFnEnumAttribute eAttr;

    Kelno::CreateMeshAttr(tAttr, inMesh, "inMesh", "inMesh");
    tAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(inMesh));

    Kelno::CreateF3Attr(nAttr, inPosition, "inPosition", "inPosition", 0.0f);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(inPosition));

    Kelno::CreateIntAttr(nAttr, closestTriangle, "closestTriangle", "closestTriangle", -1);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(closestTriangle));

    Kelno::CreateIntAttr(nAttr, farthestVertex, "farthestVertex", "farthestVertex", -1);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(farthestVertex));

    Kelno::CreateD3Attr(nAttr, localCoordinates, "localCoordinates", "localCoordinates", 0.0);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(localCoordinates));

    Kelno::CreateMatrixAttr(mAttr, initialMatrix, "initialMatrix", "initialMatrix");
    mAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(initialMatrix));

    Kelno::CreateD3Attr(nAttr, outTranslate, "outTranslate", "outTranslate", 0.0);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(outTranslate));

    Kelno::CreateD3Attr(nAttr, outRotate, "outRotate", "outRotate", 0.0);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(outRotate));

    Kelno::CreateEnumAttr(eAttr, rotationOrder, "rotationOrder", "rotationOrder", 0);
    eAttr.addField("XYZ", 0);
    eAttr.addField("YZX", 1);
    eAttr.addField("ZXY", 2);
    eAttr.addField("XZY", 3);
    eAttr.addField("YXZ", 4);
    eAttr.addField("ZYX", 5);
    eAttr.setChannelBox(true);
    KELNO_CHECK_MSTATUS(addAttribute(rotationOrder));

    // The binding attributes and inPosition affect nothing: the node writes the binding itself.
    attributeAffects(inMesh, outTranslate);
    attributeAffects(inMesh, outRotate);
    attributeAffects(rotationOrder, outTranslate);
    attributeAffects(rotationOrder, outRotate);
    return MS::kSuccess;
}

void KMeshXFormBinder::postConstructor() {
    MPxNode::postConstructor();
    m_node = thisMObject();
    m_dgFn.setObject(m_node);
    m_dagFn.setObject(m_node);
    m_dgFn.setName(nodeTypeName + "#");
}

MStatus KMeshXFormBinder::compute(const MPlug& plug, MDataBlock& data) {
    try {
        m_name = m_dgFn.name();
        omp_set_num_threads(MThreadUtils::getNumThreads());

        MObject mesh = data.inputValue(inMesh).asMeshTransformed();
        const float3& position = data.inputValue(inPosition).asFloat3();
        const Kelno::KVector rest(position[0], position[1], position[2]);
        Kelno::KMeshBinding binding;
        binding.triangle = data.inputValue(closestTriangle).asInt();
        binding.vertex = data.inputValue(farthestVertex).asInt();
        const double3& local = data.inputValue(localCoordinates).asDouble3();
        for (int k = 0; k < 3; ++k)
            binding.local[k] = local[k];
        binding.initialMatrix = toKMatrix(data.inputValue(initialMatrix).asMatrix());

        const bool reconvert = m_numVertices == 0 || m_numTriangles == 0 ||
                               m_numVertices != m_mesh.vertexCount() ||
                               m_numTriangles != m_mesh.triangleCount();
        if (reconvert || binding.triangle < 0 || binding.vertex < 0) {
            if (reconvert) {
                Kelno::Convert(m_mesh, mesh, false, "");
                m_numVertices = m_mesh.vertexCount();
                m_numTriangles = m_mesh.triangleCount();
            }
            // A mesh with nothing to bind to leaves the node unbound (-1, -1), to bind again at the
            // next evaluation.
            Kelno::BindPoint(m_mesh, rest, binding);
            data.outputValue(closestTriangle).set(binding.triangle);
            data.outputValue(farthestVertex).set(binding.vertex);
            data.outputValue(localCoordinates).set(binding.local[0], binding.local[1], binding.local[2]);
            data.outputValue(initialMatrix).set(toMMatrix(binding.initialMatrix));
        }

        Kelno::Convert(m_mesh, mesh, true, "");

        // A binding that does not fit the mesh gives a zero displacement and the identity.
        double translate[3];
        Kelno::KMatrix4d rotation;
        Kelno::EvaluateBinding(m_mesh, binding, rest, translate, rotation);
        if (plug == outTranslate) {
            data.outputValue(outTranslate).set(translate[0], translate[1], translate[2]);
        } else if (plug == outRotate) {
            const MTransformationMatrix xform(toMMatrix(rotation));
            MTransformationMatrix::RotationOrder order =
                hostRotationOrder(data.inputValue(rotationOrder).asShort());
            double angles[3] = {0.0, 0.0, 0.0};
            xform.getRotation(angles, order);
            data.outputValue(outRotate).set(angles[0], angles[1], angles[2]);
        }
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KMeshXFormBinder::compute(): ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KMeshXFormBinder::compute(): unexpected exception");
    }
    data.setClean(plug);
    return MS::kSuccess;
}
