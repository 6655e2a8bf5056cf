#include "KEnvSphere.h"

#include <kelno/KTypes.h>
#include <kelno/maya/KMayaUtils.h>

#include <maya/MDataHandle.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MGlobal.h>
#include <maya/MImage.h>
#include <maya/MObjectArray.h>
#include <maya/MPlugArray.h>
#include <maya/MPoint.h>

#include <cstring>
#include <exception>
#include <vector>

MString KEnvSphere::nodeTypeName("KEnvSphere");
MTypeId KEnvSphere::nodeTypeId(0x90004);
MString KEnvSphere::drawDbClassification("drawdb/geometry/KEnvSphere");
MString KEnvSphere::drawRegistrantId("KEnvSphereNodePlugin");

MObject KEnvSphere::file;
MObject KEnvSphere::lineColor;
MObject KEnvSphere::opacity;
MObject KEnvSphere::slices;
MObject KEnvSphere::stacks;
MObject KEnvSphere::color;
MObject KEnvSphere::output;

namespace {
bool isBatch() { return MGlobal::mayaState() == MGlobal::kBatch; }
} // namespace

KEnvSphere::KEnvSphere()
    : m_texture(0), m_quadric(gluNewQuadric()), m_lineQuadric(gluNewQuadric()),
      m_swatchPending(true), m_lineColor{0.5f, 0.5f, 0.0f}, m_opacity(1.0f), m_slices(20), m_stacks(20) {
    if (m_quadric) {
        gluQuadricDrawStyle(m_quadric, GLU_FILL);
        gluQuadricNormals(m_quadric, GLU_SMOOTH);
        gluQuadricTexture(m_quadric, GL_TRUE);
    }
    if (m_lineQuadric)
        gluQuadricDrawStyle(m_lineQuadric, GLU_LINE);
}

KEnvSphere::~KEnvSphere() {
    if (m_quadric)
        gluDeleteQuadric(m_quadric);
    if (m_lineQuadric)
        gluDeleteQuadric(m_lineQuadric);
}

void* KEnvSphere::creator() { return new KEnvSphere(); }

MStatus KEnvSphere::initialize() {
    MFnNumericAttribute nAttr;
    MFnTypedAttribute tAttr;

    Kelno::CreateColorAttr(nAttr, lineColor, "lineColor", "lcr");
    nAttr.setDefault(0.5f, 0.5f, 0.0f);
    KELNO_CHECK_MSTATUS(addAttribute(lineColor));

    Kelno::CreateFloatAttr(nAttr, opacity, "opacity", "opc", 1.0f);
    nAttr.setMin(0.0);
    nAttr.setMax(1.0);
    KELNO_CHECK_MSTATUS(addAttribute(opacity));

    Kelno::CreateIntAttr(nAttr, slices, "slices", "sls", 20);
    nAttr.setMin(10);
    nAttr.setMax(200);
    KELNO_CHECK_MSTATUS(addAttribute(slices));

    Kelno::CreateIntAttr(nAttr, stacks, "stacks", "sts", 20);
    nAttr.setMin(10);
    nAttr.setMax(200);
    KELNO_CHECK_MSTATUS(addAttribute(stacks));

    Kelno::CreateStringAttr(tAttr, file, "file", "fle", "");
    KELNO_CHECK_MSTATUS(addAttribute(file));

    Kelno::CreateColorAttr(nAttr, color, "color", "clr");
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(color));

    Kelno::CreateBoolAttr(nAttr, output, "output", "out", false);
    nAttr.setHidden(true);
    KELNO_CHECK_MSTATUS(addAttribute(output));

    KELNO_CHECK_MSTATUS(attributeAffects(file, output));
    KELNO_CHECK_MSTATUS(attributeAffects(opacity, output));
    return MS::kSuccess;
}

void KEnvSphere::postConstructor() {
    MPxLocatorNode::postConstructor();
    m_node = thisMObject();
    m_dgFn.setObject(m_node);
    m_dagFn.setObject(m_node);
    m_dgFn.setName(nodeTypeName + "Shape#");
}

MStatus KEnvSphere::compute(const MPlug& plug, MDataBlock& data) {
    if (plug != output)
        return MS::kUnknownParameter;
    try {
        m_fileName = data.inputValue(file).asString();
        initTexture(m_fileName.asChar(), m_texture);
        data.outputValue(output).set(false);
        data.setClean(plug);
        return MS::kSuccess;
    } catch (const std::exception& e) {
        MGlobal::displayError(MString("Error@KEnvSphere::compute(): ") + e.what());
    } catch (...) {
        MGlobal::displayError("Error@KEnvSphere::compute(): unexpected exception");
    }
    return MS::kFailure;
}

void KEnvSphere::_checkGLError() {
    switch (glGetError()) {
    case GL_INVALID_ENUM:
        MGlobal::displayError("GL_INVALIDE_ENUM");
        break;
    case GL_INVALID_VALUE:
        MGlobal::displayError("GL_INVALIDE_VALUE");
        break;
    case GL_INVALID_OPERATION:
        MGlobal::displayError("GL_INVALIDE_OPERATION");
        break;
    default:
        break;
    }
}

void KEnvSphere::initTexture(const char* path, unsigned int& texture) {
    if (isBatch())
        return;
    glDeleteTextures(1, &texture);
    _checkGLError();

    MImage image;
    image.readFromFile(MString(path ? path : ""), MImage::kByte);
    unsigned int width = 0, height = 0;
    image.getSize(width, height);
    const unsigned int depth = image.depth();
    unsigned char* source = image.pixels();
    if (width == 0 || height == 0 || (depth != 3 && depth != 4) || !source)
        return;

    // The upload reads four bytes per pixel whatever the depth; an RGB image's bytes are copied
    // into a block of that size so that the upload never reads past them.
    const size_t n = static_cast<size_t>(width) * height * depth;
    std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * 4, 0);
    std::memcpy(pixels.data(), source, n);
    const unsigned char alpha = static_cast<unsigned char>(255 * m_opacity);
    if (n > 3)
        for (size_t i = 3; i < n; i += 4)
            pixels[i] = alpha;

    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    _checkGLError();
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    _checkGLError();
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, static_cast<GLsizei>(width), static_cast<GLsizei>(height), 0,
                 GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    _checkGLError();
    glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    _checkGLError();
    glBindTexture(GL_TEXTURE_2D, 0);
    _checkGLError();
}

void KEnvSphere::getInfo() {
    Kelno::KColor line(m_lineColor[0], m_lineColor[1], m_lineColor[2]);
    Kelno::KGetAttr3(m_node, lineColor, line);
    m_lineColor[0] = line.r;
    m_lineColor[1] = line.g;
    m_lineColor[2] = line.b;
    MPlug(m_node, opacity).getValue(m_opacity);
    MPlug(m_node, slices).getValue(m_slices);
    MPlug(m_node, stacks).getValue(m_stacks);
}

void KEnvSphere::draw(M3dView& view, const MDagPath&, M3dView::DisplayStyle, M3dView::DisplayStatus) {
    if (isBatch())
        return;
    view.beginGL();
    try {
        draw(0);
    } catch (...) {
        // Nothing may reach the host's draw loop; the view's GL state is restored below.
    }
    view.endGL();
}

void KEnvSphere::draw(int) {
    if (isBatch())
        return;
    getInfo();

    glPushAttrib(GL_CURRENT_BIT);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(1.0f, 1.0f);
    glColor4f(1.0f, 1.0f, 1.0f, 0.5f);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, m_texture);
    glEnable(GL_BLEND);
    glEnable(GL_CULL_FACE);

    // Inside faces first, so the outside ones blend over them; the poles go on the Y axis.
    glCullFace(GL_FRONT);
    glPushMatrix();
    glRotatef(-90.0f, 1.0f, 0.0f, 0.0f);
    gluSphere(m_quadric, 1.0, m_slices, m_stacks);
    glPopMatrix();

    glCullFace(GL_BACK);
    glPushMatrix();
    glRotatef(-90.0f, 1.0f, 0.0f, 0.0f);
    gluSphere(m_quadric, 1.0, m_slices, m_stacks);
    glPopMatrix();

    glDisable(GL_CULL_FACE);
    glDisable(GL_BLEND);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_POLYGON_OFFSET_FILL);
    glPopAttrib();

    if (m_swatchPending) {
        MObjectArray nodes;
        MPlugArray plugs;
        Kelno::GetConnections(m_node, "file", 0, false, true, nodes, plugs);
        if (nodes.length() > 0) {
            const MString command =
                MString("updateFileNodeSwatch(\"") + Kelno::MObjectToNodeName(nodes[0]) + "\")";
            MGlobal::executeCommand(command, false, false);
            m_swatchPending = false;
        }
    }
}

bool KEnvSphere::isBounded() const { return true; }

MBoundingBox KEnvSphere::boundingBox() const {
    return MBoundingBox(MPoint(-1.0, -1.0, -1.0), MPoint(1.0, 1.0, 1.0));
}
