// Drawing in the host stand-in: locators, Viewport 2.0 draw overrides and their contexts, the
// legacy 3D view, cameras, bounding boxes, and the offscreen frames of <host/HostDraw.h>.
#include "HostInternal.h"

#include <host/HostDraw.h>

#include <maya/M3dView.h>
#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MDrawContext.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MPxDrawOverride.h>
#include <maya/MPxLocatorNode.h>
#include <maya/MUserData.h>
#include <maya/MViewport2Renderer.h>

#include <GL/glew.h>

#include <GL/gl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>

using mhost::Node;
using mhost::nodeOf;
using mhost::setStatus;

namespace mhost {

// Access to the private parts of the drawing classes, for the host only.
struct DrawAccess {
    static MHWRender::MDrawContext* makeDrawContext() { return new MHWRender::MDrawContext(); }
    static void destroy(MHWRender::MDrawContext* c) { delete c; }
    static void setMatrices(MHWRender::MFrameContext& c, const MMatrix& world, const MMatrix& view,
                            const MMatrix& projection) {
        c.fWorld = world;
        c.fView = view;
        c.fProjection = projection;
    }
    static void setFrame(MHWRender::MFrameContext& c, unsigned int style, int width, int height,
                         const MDagPath& camera) {
        c.fDisplayStyle = style;
        c.fViewport[0] = c.fViewport[1] = 0;
        c.fViewport[2] = width;
        c.fViewport[3] = height;
        c.fCamera = camera;
    }
    static void setStateManager(MHWRender::MDrawContext& c, bool on) {
        static MHWRender::MStateManager manager;
        c.fStateManager = on ? &manager : nullptr;
    }
    static MHWRender::MPxDrawOverride::GeometryDrawOverrideCb callback(const MHWRender::MPxDrawOverride& o) {
        return o.fCallback;
    }
};

} // namespace mhost

namespace {

// ---- state of the drawing side -------------------------------------------------------------

struct OverrideState {
    MHWRender::MPxDrawOverride* drawOverride = nullptr;
    MUserData* data = nullptr; // kept between frames (deleteAfterUse false)
};

struct View {
    bool active = false;
    Host::Viewport viewport = Host::Viewport::Viewport2;
    M3dView::DisplayStyle style = M3dView::kGouraudShaded;
    bool wireframeOnShaded = false;
    int width = 0, height = 0;
    MDagPath camera;
};

struct DrawState {
    std::map<Node*, OverrideState> overrides;
    std::map<Node*, MDAGDrawOverrideInfo> overrideInfo;
    MHWRender::DrawAPI drawAPI = MHWRender::kOpenGL;
    View view;
};

DrawState& drawState() {
    static DrawState* s = new DrawState; // never destroyed, like the session
    return *s;
}

const unsigned int kCameraId = 0x7fff0004;

double number(Node* n, const char* attrName, double fallback) {
    mhost::Attribute* a = n->type->findAttribute(attrName);
    if (!a)
        return fallback;
    mhost::evaluate(n, a);
    return n->slot(a).getNumber(a, 0);
}

struct CameraNode : MPxNode {
    static MObject focalLength, horizontalFilmAperture, verticalFilmAperture, nearClipPlane, farClipPlane,
        orthographic, orthographicWidth, centerOfInterest;
    static void* creator() { return new CameraNode; }
    static MStatus initialize() {
        MFnNumericAttribute fn;
        struct {
            MObject* attr;
            const char* name;
            const char* shortName;
            MFnNumericData::Type type;
            double value;
        } table[] = {
            {&focalLength, "focalLength", "fl", MFnNumericData::kDouble, 35.0},
            {&horizontalFilmAperture, "horizontalFilmAperture", "hfa", MFnNumericData::kDouble, 1.41732},
            {&verticalFilmAperture, "verticalFilmAperture", "vfa", MFnNumericData::kDouble, 0.94488},
            {&nearClipPlane, "nearClipPlane", "ncp", MFnNumericData::kDouble, 0.1},
            {&farClipPlane, "farClipPlane", "fcp", MFnNumericData::kDouble, 10000.0},
            {&orthographic, "orthographic", "o", MFnNumericData::kBoolean, 0.0},
            {&orthographicWidth, "orthographicWidth", "ow", MFnNumericData::kDouble, 30.0},
            {&centerOfInterest, "centerOfInterest", "coi", MFnNumericData::kDouble, 5.0}};
        for (auto& row : table) {
            *row.attr = fn.create(row.name, row.shortName, row.type, row.value);
            MStatus st = addAttribute(*row.attr);
            if (!st)
                return st;
        }
        return MS::kSuccess;
    }
};
MObject CameraNode::focalLength, CameraNode::horizontalFilmAperture, CameraNode::verticalFilmAperture,
    CameraNode::nearClipPlane, CameraNode::farClipPlane, CameraNode::orthographic,
    CameraNode::orthographicWidth, CameraNode::centerOfInterest;

// The camera's projection in GL clip space, for row vectors (the transpose of glFrustum's).
MMatrix projectionOf(Node* camera, int width, int height) {
    const double aspect = static_cast<double>(width) / std::max(1, height);
    const double n = number(camera, "nearClipPlane", 0.1), f = number(camera, "farClipPlane", 10000.0);
    MMatrix p;
    if (number(camera, "orthographic", 0.0) != 0.0) {
        const double w = number(camera, "orthographicWidth", 30.0) * 0.5, h = w / aspect;
        p[0][0] = 1.0 / w;
        p[1][1] = 1.0 / h;
        p[2][2] = -2.0 / (f - n);
        p[3][2] = -(f + n) / (f - n);
        return p;
    }
    const double focal = number(camera, "focalLength", 35.0);
    const double aperture = number(camera, "horizontalFilmAperture", 1.41732) * 25.4;
    const double sx = 2.0 * focal / aperture, sy = sx * aspect;
    p[0][0] = sx;
    p[1][1] = sy;
    p[2][2] = -(f + n) / (f - n);
    p[2][3] = -1.0;
    p[3][2] = -2.0 * f * n / (f - n);
    p[3][3] = 0.0;
    return p;
}

// ---- GL state comparison -------------------------------------------------------------------

struct GLState {
    GLint depths[4];
    GLdouble modelView[16], projection[16];
    GLfloat colour[4];
    GLboolean enables[6];
    GLint texture;
};

const GLenum kEnables[6] = {GL_BLEND,      GL_CULL_FACE, GL_TEXTURE_2D, GL_POLYGON_OFFSET_FILL,
                            GL_DEPTH_TEST, GL_LIGHTING};
const char* const kEnableNames[6] = {
    "GL_BLEND", "GL_CULL_FACE", "GL_TEXTURE_2D", "GL_POLYGON_OFFSET_FILL", "GL_DEPTH_TEST", "GL_LIGHTING"};

GLState captureState() {
    GLState s;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &s.depths[0]);
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &s.depths[1]);
    glGetIntegerv(GL_TEXTURE_STACK_DEPTH, &s.depths[2]);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &s.depths[3]);
    glGetDoublev(GL_MODELVIEW_MATRIX, s.modelView);
    glGetDoublev(GL_PROJECTION_MATRIX, s.projection);
    glGetFloatv(GL_CURRENT_COLOR, s.colour);
    for (int i = 0; i < 6; ++i)
        s.enables[i] = glIsEnabled(kEnables[i]);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &s.texture);
    return s;
}

std::vector<std::string> compareState(const GLState& a, const GLState& b) {
    std::vector<std::string> out;
    const char* stacks[4] = {"model-view stack depth", "projection stack depth", "texture stack depth",
                             "attribute stack depth"};
    for (int i = 0; i < 4; ++i)
        if (a.depths[i] != b.depths[i])
            out.push_back(std::string(stacks[i]) + " " + std::to_string(a.depths[i]) + " -> " +
                          std::to_string(b.depths[i]));
    if (!std::equal(a.modelView, a.modelView + 16, b.modelView))
        out.push_back("model-view matrix");
    if (!std::equal(a.projection, a.projection + 16, b.projection))
        out.push_back("projection matrix");
    if (!std::equal(a.colour, a.colour + 4, b.colour))
        out.push_back("current colour");
    for (int i = 0; i < 6; ++i)
        if (a.enables[i] != b.enables[i])
            out.push_back(std::string(kEnableNames[i]) + (b.enables[i] ? " enabled" : " disabled"));
    if (a.texture != b.texture)
        out.push_back("bound 2D texture");
    return out;
}

// The host's own state before each draw: what a viewport would have set, made distinctive so a
// draw that leaks into it is seen.
void setDrawState(const MMatrix& modelView, const MMatrix& projection) {
    glMatrixMode(GL_PROJECTION);
    glLoadMatrixd(&projection.matrix[0][0]);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixd(&modelView.matrix[0][0]);
    glColor4f(0.2f, 0.4f, 0.6f, 0.8f);
    glBindTexture(GL_TEXTURE_2D, 0);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
}

bool isDrawable(Node* n) { return n->alive && n->user && n->type->isDag; }

void releaseOverride(OverrideState& s) {
    delete s.data;
    s.data = nullptr;
    delete s.drawOverride;
    s.drawOverride = nullptr;
}

} // namespace

// ---- host hooks -----------------------------------------------------------------------------

namespace mhost {

void registerCameraType() {
    NodeType* t = addType("camera", kCameraId, MPxNode::kDependNode, &CameraNode::creator, "");
    t->apiType = MFn::kShape; // cameras are told apart by their type name
    t->isDag = t->isShape = true;
    initializeType(t, &CameraNode::initialize);
}

void releaseDrawState(Node* node) {
    DrawState& s = drawState();
    auto it = s.overrides.find(node);
    if (it != s.overrides.end()) {
        releaseOverride(it->second);
        s.overrides.erase(it);
    }
    s.overrideInfo.erase(node);
}

} // namespace mhost

// ---- MBoundingBox ---------------------------------------------------------------------------

MBoundingBox::MBoundingBox() : fEmpty(true) {}
MBoundingBox::MBoundingBox(const MPoint& a, const MPoint& b)
    : fEmpty(false), fMin(std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)),
      fMax(std::max(a.x, b.x), std::max(a.y, b.y), std::max(a.z, b.z)) {}
void MBoundingBox::clear() {
    fEmpty = true;
    fMin = fMax = MPoint();
}
MBoundingBox& MBoundingBox::transformUsing(const MMatrix& m) {
    if (fEmpty)
        return *this;
    MBoundingBox out;
    for (int i = 0; i < 8; ++i)
        out.expand(MPoint(i & 1 ? fMax.x : fMin.x, i & 2 ? fMax.y : fMin.y, i & 4 ? fMax.z : fMin.z) * m);
    return *this = out;
}
void MBoundingBox::expand(const MPoint& p) {
    if (fEmpty) {
        fMin = fMax = MPoint(p.x, p.y, p.z);
        fEmpty = false;
        return;
    }
    fMin = MPoint(std::min(fMin.x, p.x), std::min(fMin.y, p.y), std::min(fMin.z, p.z));
    fMax = MPoint(std::max(fMax.x, p.x), std::max(fMax.y, p.y), std::max(fMax.z, p.z));
}
void MBoundingBox::expand(const MBoundingBox& b) {
    if (b.fEmpty)
        return;
    expand(b.fMin);
    expand(b.fMax);
}
bool MBoundingBox::contains(const MPoint& p) const {
    return !fEmpty && p.x >= fMin.x && p.y >= fMin.y && p.z >= fMin.z && p.x <= fMax.x && p.y <= fMax.y &&
           p.z <= fMax.z;
}
bool MBoundingBox::intersects(const MBoundingBox& b, double tol) const {
    if (fEmpty || b.fEmpty)
        return false;
    return fMin.x <= b.fMax.x + tol && b.fMin.x <= fMax.x + tol && fMin.y <= b.fMax.y + tol &&
           b.fMin.y <= fMax.y + tol && fMin.z <= b.fMax.z + tol && b.fMin.z <= fMax.z + tol;
}
double MBoundingBox::width() const { return fEmpty ? 0.0 : fMax.x - fMin.x; }
double MBoundingBox::height() const { return fEmpty ? 0.0 : fMax.y - fMin.y; }
double MBoundingBox::depth() const { return fEmpty ? 0.0 : fMax.z - fMin.z; }
MPoint MBoundingBox::center() const {
    return MPoint((fMin.x + fMax.x) * 0.5, (fMin.y + fMax.y) * 0.5, (fMin.z + fMax.z) * 0.5);
}
MPoint MBoundingBox::min() const { return fMin; }
MPoint MBoundingBox::max() const { return fMax; }

// ---- MUserData ------------------------------------------------------------------------------

MUserData::MUserData(bool deleteAfterUse) : fDeleteAfterUse(deleteAfterUse) {}
MUserData::~MUserData() {}
bool MUserData::deleteAfterUse() const { return fDeleteAfterUse; }
void MUserData::setDeleteAfterUse(bool v) { fDeleteAfterUse = v; }

// ---- MRenderer ------------------------------------------------------------------------------

MHWRender::MRenderer::MRenderer() {}
MHWRender::MRenderer::~MRenderer() {}
MHWRender::MRenderer* MHWRender::MRenderer::theRenderer(bool) {
    static MRenderer* renderer = new MRenderer;
    return renderer;
}
MHWRender::DrawAPI MHWRender::MRenderer::drawAPI() const { return drawState().drawAPI; }
bool MHWRender::MRenderer::drawAPIIsOpenGL() const {
    return (drawState().drawAPI & (kOpenGL | kOpenGLCoreProfile)) != 0;
}

// ---- MFrameContext, MDrawContext ------------------------------------------------------------

MHWRender::MFrameContext::MFrameContext() : fDisplayStyle(kGouraudShaded), fViewport{0, 0, 0, 0} {}
MHWRender::MFrameContext::~MFrameContext() {}
MMatrix MHWRender::MFrameContext::getMatrix(MatrixType type, MStatus* st) const {
    setStatus(st, MS::kSuccess);
    // The types come in fours: the matrix, its transpose, inverse and inverse transpose.
    MMatrix base;
    switch (type / 4) {
    case 0:
        base = fWorld;
        break;
    case 1:
        base = fView;
        break;
    case 2:
        base = fProjection;
        break;
    case 3:
        base = fView * fProjection;
        break;
    case 4:
        base = fWorld * fView;
        break;
    case 5:
        base = fWorld * fView * fProjection;
        break;
    default:
        setStatus(st, MS::kInvalidParameter);
        return MMatrix();
    }
    switch (type % 4) {
    case 1:
        return base.transpose();
    case 2:
        return base.inverse();
    case 3:
        return base.inverse().transpose();
    default:
        return base;
    }
}
unsigned int MHWRender::MFrameContext::getDisplayStyle() const { return fDisplayStyle; }
MStatus MHWRender::MFrameContext::getViewportDimensions(int& x, int& y, int& w, int& h) const {
    x = fViewport[0];
    y = fViewport[1];
    w = fViewport[2];
    h = fViewport[3];
    return MS::kSuccess;
}
MDagPath MHWRender::MFrameContext::getCurrentCameraPath(MStatus* st) const {
    setStatus(st, fCamera.isValid() ? MS::kSuccess : MS::kFailure);
    return fCamera;
}

MHWRender::MDrawContext::MDrawContext() : fStateManager(nullptr) {}
MHWRender::MDrawContext::~MDrawContext() {}
MHWRender::MStateManager* MHWRender::MDrawContext::getStateManager() const { return fStateManager; }

// ---- MPxDrawOverride ------------------------------------------------------------------------

MHWRender::MPxDrawOverride::MPxDrawOverride(const MObject& obj, GeometryDrawOverrideCb callback,
                                            bool isAlwaysDirty)
    : fObject(obj), fCallback(callback), fAlwaysDirty(isAlwaysDirty) {}
MHWRender::MPxDrawOverride::~MPxDrawOverride() {}
MHWRender::DrawAPI MHWRender::MPxDrawOverride::supportedDrawAPIs() const { return kOpenGL; }
bool MHWRender::MPxDrawOverride::hasUIDrawables() const { return false; }
MMatrix MHWRender::MPxDrawOverride::transform(const MDagPath& objPath, const MDagPath&) const {
    return objPath.inclusiveMatrix();
}
MBoundingBox MHWRender::MPxDrawOverride::boundingBox(const MDagPath&, const MDagPath&) const {
    return MBoundingBox();
}
bool MHWRender::MPxDrawOverride::isBounded(const MDagPath&, const MDagPath&) const { return false; }
bool MHWRender::MPxDrawOverride::disableInternalBoundingBoxDraw() const { return false; }
bool MHWRender::MPxDrawOverride::excludedFromPostEffects() const { return true; }
bool MHWRender::MPxDrawOverride::isTransparent() const { return false; }
void MHWRender::MPxDrawOverride::addUIDrawables(const MDagPath&, MUIDrawManager&, const MFrameContext&,
                                                const MUserData*) {}

// ---- MPxLocatorNode -------------------------------------------------------------------------

MPxLocatorNode::MPxLocatorNode() {}
MPxLocatorNode::~MPxLocatorNode() {}
MPxNode::Type MPxLocatorNode::type() const { return kLocatorNode; }
void MPxLocatorNode::draw(M3dView&, const MDagPath&, M3dView::DisplayStyle, M3dView::DisplayStatus) {}
bool MPxLocatorNode::isBounded() const { return false; }
MBoundingBox MPxLocatorNode::boundingBox() const { return MBoundingBox(); }
bool MPxLocatorNode::isTransparent() const { return false; }
bool MPxLocatorNode::drawLast() const { return false; }
bool MPxLocatorNode::excludeAsLocator() const { return false; }

// ---- M3dView --------------------------------------------------------------------------------

M3dView::M3dView() : fView(0) {}
M3dView::~M3dView() {}
M3dView M3dView::active3dView(MStatus* st) {
    setStatus(st, MS::kSuccess);
    M3dView view;
    view.fView = 1;
    return view;
}
MStatus M3dView::beginGL() {
    if (!fView)
        return MS::kFailure;
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    return MS::kSuccess;
}
MStatus M3dView::endGL() {
    if (!fView)
        return MS::kFailure;
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glPopAttrib();
    return MS::kSuccess;
}
int M3dView::portWidth(MStatus* st) {
    setStatus(st, fView ? MS::kSuccess : MS::kFailure);
    return drawState().view.width;
}
int M3dView::portHeight(MStatus* st) {
    setStatus(st, fView ? MS::kSuccess : MS::kFailure);
    return drawState().view.height;
}
M3dView::DisplayStyle M3dView::displayStyle(MStatus* st) const {
    setStatus(st, fView ? MS::kSuccess : MS::kFailure);
    return drawState().view.style;
}
bool M3dView::wireframeOnShaded(MStatus* st) const {
    setStatus(st, fView ? MS::kSuccess : MS::kFailure);
    return drawState().view.wireframeOnShaded;
}
MStatus M3dView::getCamera(MDagPath& camera) {
    const View& v = drawState().view;
    if (!fView || !v.active)
        return MS::kFailure;
    camera = v.camera;
    return MS::kSuccess;
}
M3dView::RendererName M3dView::getRendererName(MStatus* st) const {
    setStatus(st, fView ? MS::kSuccess : MS::kFailure);
    const View& v = drawState().view;
    // Outside a frame the view answers what a fresh Maya 2018 session uses.
    return v.active && v.viewport == Host::Viewport::Legacy ? kDefaultQualityRenderer : kViewport2Renderer;
}

// ---- MDagPath additions ---------------------------------------------------------------------

MMatrix MDagPath::inclusiveMatrixInverse(MStatus* st) const { return inclusiveMatrix(st).inverse(); }

MDAGDrawOverrideInfo MDagPath::getDrawOverrideInfo() const {
    const DrawState& s = drawState();
    MDagPath p(*this);
    while (p.isValid()) {
        auto it = s.overrideInfo.find(nodeOf(p.node()));
        if (it != s.overrideInfo.end() && it->second.fOverrideEnabled)
            return it->second;
        p.pop();
    }
    return MDAGDrawOverrideInfo();
}

// ---- Host controls --------------------------------------------------------------------------

namespace Host {

const unsigned char* Frame::pixel(int x, int y) const {
    if (x < 0 || y < 0 || x >= width || y >= height || rgba.empty())
        return nullptr;
    return &rgba[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 4];
}

void setDrawOverrideInfo(const MObject& node, const MDAGDrawOverrideInfo& info) {
    if (Node* n = nodeOf(node))
        drawState().overrideInfo[n] = info;
}

MObject createCamera(const std::string& name, const MPoint& eye, const MPoint& target) {
    MObject transform = createNode("transform", name);
    MObject shape = createNode("camera", name + "Shape", transform);
    Node* t = nodeOf(transform);
    Node* c = nodeOf(shape);
    if (!t || !c)
        return MObject();
    const MVector d = target - eye;
    const double length = d.length();
    const MVector u = length > 0.0 ? d / length : MVector(0.0, 0.0, -1.0);
    // The camera looks down -Z: pitch about X first, then heading about Y.
    const double pitch = std::asin(std::max(-1.0, std::min(1.0, u.y)));
    const double heading = std::atan2(-u.x, -u.z);
    const double values[3][3] = {{eye.x, eye.y, eye.z}, {pitch, heading, 0.0}, {1.0, 1.0, 1.0}};
    const char* names[3] = {"translate", "rotate", "scale"};
    for (int i = 0; i < 3; ++i) {
        mhost::Attribute* a = t->type->findAttribute(names[i]);
        for (int k = 0; k < 3; ++k)
            t->slot(a).setNumber(a, k, values[i][k]);
        mhost::valueChanged(t, a);
    }
    mhost::Attribute* coi = c->type->findAttribute("centerOfInterest");
    c->slot(coi).setNumber(coi, 0, length);
    mhost::valueChanged(c, coi);
    return shape;
}

Frame renderFrame(const FrameRequest& request) {
    Frame frame;
    DrawState& s = drawState();
    if (!glGetString(GL_VERSION)) {
        frame.error = "no current OpenGL context";
        return frame;
    }
    if (!glGenFramebuffers)
        glewInit();
    if (!glGenFramebuffers) {
        frame.error = "the OpenGL frame buffer entry points are missing";
        return frame;
    }
    Node* camera = mhost::findNode(request.camera);
    if (camera && !camera->type->isShape)
        for (Node* child : camera->children)
            if (child->type->name == "camera")
                camera = child;
    if (!camera || camera->type->name != "camera") {
        frame.error = "no camera named \"" + request.camera + "\"";
        return frame;
    }
    if (request.width < 1 || request.height < 1) {
        frame.error = "empty frame";
        return frame;
    }
    MDagPath cameraPath;
    MDagPath::getAPathTo(camera->handle(), cameraPath);
    const MMatrix view = cameraPath.inclusiveMatrix().inverse();
    const MMatrix projection = projectionOf(camera, request.width, request.height);

    // The frame buffer: 8-bit RGBA colour and a 24-bit depth buffer.
    GLint previousFbo = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previousFbo);
    GLuint fbo = 0, buffers[2] = {0, 0};
    glGenFramebuffers(1, &fbo);
    glGenRenderbuffers(2, buffers);
    glBindRenderbuffer(GL_RENDERBUFFER, buffers[0]);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, request.width, request.height);
    glBindRenderbuffer(GL_RENDERBUFFER, buffers[1]);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, request.width, request.height);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, buffers[0]);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, buffers[1]);
    const bool complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    if (complete) {
        // The caller's context is given back as it was found.
        glPushAttrib(GL_ALL_ATTRIB_BITS);
        glMatrixMode(GL_PROJECTION);
        glPushMatrix();
        glMatrixMode(GL_MODELVIEW);
        glPushMatrix();
        glViewport(0, 0, request.width, request.height);
        glClearColor(request.clearColor[0], request.clearColor[1], request.clearColor[2],
                     request.clearColor[3]);
        glClearDepth(1.0);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

        s.drawAPI = request.drawAPI;
        s.view.active = true;
        s.view.viewport = request.viewport;
        s.view.style = request.legacyStyle;
        s.view.wireframeOnShaded = request.wireframeOnShaded;
        s.view.width = request.width;
        s.view.height = request.height;
        s.view.camera = cameraPath;

        std::vector<std::shared_ptr<Node>> nodes = mhost::session().nodes;
        for (const auto& node : nodes) {
            if (!isDrawable(node.get()))
                continue;
            MDagPath path;
            MDagPath::getAPathTo(node->handle(), path);
            DrawnObject drawn;
            drawn.path = path.fullPathName().asChar();
            const MMatrix world = path.inclusiveMatrix();
            if (request.viewport == Viewport::Legacy) {
                auto* locator = dynamic_cast<MPxLocatorNode*>(node->user);
                if (!locator || node->type->kind != MPxNode::kLocatorNode)
                    continue;
                drawn.bounded = locator->isBounded();
                drawn.boundingBox = locator->boundingBox();
                setDrawState(world * view, projection);
                const GLState before = captureState();
                M3dView active = M3dView::active3dView();
                try {
                    locator->draw(active, path, request.legacyStyle, M3dView::kDormant);
                } catch (...) {
                    std::cerr << "host: draw of " << node->name << " threw" << std::endl;
                }
                drawn.stateChanges = compareState(before, captureState());
                frame.objects.push_back(drawn);
                continue;
            }
            const Host::DrawOverrideInfo* registration = nullptr;
            for (const auto& d : mhost::session().drawOverrides)
                if (!node->type->classification.empty() && d.classification == node->type->classification)
                    registration = &d;
            if (!registration)
                continue;
            OverrideState& state = s.overrides[node.get()];
            if (!state.drawOverride)
                state.drawOverride = registration->creator(node->handle());
            if (!state.drawOverride)
                continue;
            MHWRender::MPxDrawOverride& o = *state.drawOverride;
            drawn.supportedDrawAPIs = static_cast<unsigned int>(o.supportedDrawAPIs());
            drawn.bounded = o.isBounded(path, cameraPath);
            drawn.boundingBox = o.boundingBox(path, cameraPath);
            MHWRender::MDrawContext* context = mhost::DrawAccess::makeDrawContext();
            mhost::DrawAccess::setMatrices(*context, world, view, projection);
            mhost::DrawAccess::setFrame(*context, request.displayStyle, request.width, request.height,
                                        cameraPath);
            mhost::DrawAccess::setStateManager(*context, request.stateManager);
            MUserData* data = nullptr;
            try {
                data = o.prepareForDraw(path, cameraPath, *context, state.data);
            } catch (...) {
                std::cerr << "host: prepareForDraw of " << node->name << " threw" << std::endl;
            }
            // The old data is the override's to reuse or to drop; a new object replaces it.
            if (state.data && data != state.data)
                delete state.data;
            state.data = data;
            drawn.prepared = data != nullptr;
            setDrawState(MMatrix(), MMatrix());
            const GLState before = captureState();
            if (auto callback = mhost::DrawAccess::callback(o)) {
                try {
                    callback(*context, data);
                } catch (...) {
                    std::cerr << "host: draw callback of " << node->name << " threw" << std::endl;
                }
            }
            drawn.stateChanges = compareState(before, captureState());
            if (data && data->deleteAfterUse()) {
                delete data;
                state.data = nullptr;
            }
            mhost::DrawAccess::destroy(context);
            frame.objects.push_back(drawn);
        }
        glMatrixMode(GL_PROJECTION);
        glPopMatrix();
        glMatrixMode(GL_MODELVIEW);
        glPopMatrix();
        glPopAttrib();

        frame.width = request.width;
        frame.height = request.height;
        frame.rgba.resize(static_cast<size_t>(request.width) * static_cast<size_t>(request.height) * 4);
        glReadBuffer(GL_COLOR_ATTACHMENT0);
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, request.width, request.height, GL_RGBA, GL_UNSIGNED_BYTE, frame.rgba.data());
        glPopClientAttrib();
        frame.rendered = true;
        s.view = View();
        s.drawAPI = MHWRender::kOpenGL;
    } else {
        frame.error = "the frame buffer is incomplete";
    }
    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previousFbo));
    glDeleteRenderbuffers(2, buffers);
    glDeleteFramebuffers(1, &fbo);
    return frame;
}

} // namespace Host
