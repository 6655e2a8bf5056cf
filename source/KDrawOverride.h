// The Viewport 2.0 bridge of the plug-in's locators.
//
// The locators draw themselves with legacy fixed-function OpenGL in a public, non-virtual
// `void draw(int style)`, in their object space. Viewport 2.0 never calls a locator's legacy
// draw, so Kelno::KDrawOverride<T>, registered for the locator's draw classification, calls
// T::draw(int) from inside Viewport 2.0's draw callback, with the frame's projection and
// world-view matrices loaded. It adds no UI drawables of its own.
//
// The style handed to draw(int): 3 wireframe, 4 shaded, 5 shaded and textured.
//   - Per-object drawing overrides enabled: hidden draws nothing; shading off, or display type
//     2, gives 3. Display type 2 is Reference as the object's override display type attribute
//     numbers it (Normal 0, Template 1, Reference 2); the devkit's enum lists Reference as 1,
//     but the value compared is 2.
//   - Otherwise the viewport's display style, compared for equality, not as bits:
//     kGouraudShaded alone gives 4, kTextured alone 5, anything else (wireframe, or shaded with
//     wireframe on shaded, or any other combination of bits) 3.
// Around the node's draw the current GL colour (GL_CURRENT_BIT) and both matrix stacks are
// saved and restored; the matrix mode is left at GL_PROJECTION. Nothing is drawn unless the
// renderer exists and draws with OpenGL, the draw context has a state manager and the user data
// carries a node. Exceptions from the node's draw are caught (the stacks are still restored).
//
// T must provide `void draw(int style)` and MPxLocatorNode's virtual `MBoundingBox boundingBox()
// const`.
#pragma once

#include <kelno/KGL.h>

#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MDrawContext.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFrameContext.h>
#include <maya/MMatrix.h>
#include <maya/MObject.h>
#include <maya/MPxDrawOverride.h>
#include <maya/MUserData.h>
#include <maya/MViewport2Renderer.h>

namespace Kelno {

// What prepareForDraw hands to the draw callback: the node (not owned; untyped so that one
// class serves every locator) and the path of the instance drawn. Kept by the host between
// frames (delete-after-use false) and given back to the next prepareForDraw.
class KDrawData : public MUserData {
  public:
    KDrawData() : MUserData(false), node(nullptr) {}
    ~KDrawData() override {}

    void* node;
    MDagPath path;
};

template <class T> class KDrawOverride : public MHWRender::MPxDrawOverride {
  public:
    // The creator registered with MDrawRegistry::registerDrawOverrideCreator. Re-prepared every
    // frame (isAlwaysDirty).
    static MHWRender::MPxDrawOverride* Creator(const MObject& obj) {
        KDrawOverride* drawOverride = new KDrawOverride(obj);
        MStatus status;
        MFnDependencyNode fn(obj, &status);
        drawOverride->node = status ? dynamic_cast<T*>(fn.userNode()) : nullptr;
        return drawOverride;
    }

    // Viewport 2.0's draw callback.
    static void draw(const MHWRender::MDrawContext& context, const MUserData* data);

    ~KDrawOverride() override {}
    // kOpenGL | kOpenGLCoreProfile.
    MHWRender::DrawAPI supportedDrawAPIs() const override {
        return static_cast<MHWRender::DrawAPI>(MHWRender::kOpenGL | MHWRender::kOpenGLCoreProfile);
    }
    bool hasUIDrawables() const override { return true; }
    // The node's own box (empty without a node).
    MBoundingBox boundingBox(const MDagPath&, const MDagPath&) const override {
        return node ? node->boundingBox() : MBoundingBox();
    }
    bool isBounded(const MDagPath&, const MDagPath&) const override { return true; }
    // Null without a node or when objPath's node cannot be attached; otherwise oldData when it is
    // a KDrawData (else a new one), set to this override's node and objPath.
    MUserData* prepareForDraw(const MDagPath& objPath, const MDagPath& cameraPath,
                              const MHWRender::MFrameContext& frameContext, MUserData* oldData) override;

    // The node drawn; null when its function set could not be attached at creation.
    T* node;

  private:
    explicit KDrawOverride(const MObject& obj)
        : MHWRender::MPxDrawOverride(obj, &KDrawOverride::draw, true), node(nullptr) {}
};

template <class T> MUserData* KDrawOverride<T>::prepareForDraw(const MDagPath& objPath, const MDagPath&,
                                                               const MHWRender::MFrameContext&,
                                                               MUserData* oldData) {
    if (!node)
        return nullptr;
    MStatus status;
    MFnDependencyNode fn(objPath.node(), &status);
    if (!status)
        return nullptr;
    KDrawData* data = dynamic_cast<KDrawData*>(oldData);
    if (!data)
        data = new KDrawData();
    data->node = node;
    data->path = objPath;
    return data;
}

template <class T>
void KDrawOverride<T>::draw(const MHWRender::MDrawContext& context, const MUserData* data) {
    MHWRender::MRenderer* renderer = MHWRender::MRenderer::theRenderer();
    if (!renderer || !renderer->drawAPIIsOpenGL() || !context.getStateManager())
        return;
    const KDrawData* drawData = dynamic_cast<const KDrawData*>(data);
    if (!drawData || !drawData->node)
        return;
    T* node = static_cast<T*>(drawData->node);

    int style = 3;
    bool fromDisplayStyle = true;
    const MDAGDrawOverrideInfo info = drawData->path.getDrawOverrideInfo();
    if (info.fOverrideEnabled) {
        if (!info.fEnableVisible)
            return;
        if (!info.fEnableShading || static_cast<int>(info.fDisplayType) == 2)
            fromDisplayStyle = false;
    }
    if (fromDisplayStyle) {
        const unsigned int displayStyle = context.getDisplayStyle();
        if (displayStyle == MHWRender::MFrameContext::kGouraudShaded)
            style = 4;
        else if (displayStyle == MHWRender::MFrameContext::kTextured)
            style = 5;
    }

    const MMatrix worldView = context.getMatrix(MHWRender::MFrameContext::kWorldViewMtx);
    const MMatrix projection = context.getMatrix(MHWRender::MFrameContext::kProjectionMtx);
    glPushAttrib(GL_CURRENT_BIT);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadMatrixd(&projection.matrix[0][0]);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadMatrixd(&worldView.matrix[0][0]);
    try {
        node->draw(style);
    } catch (...) {
        // Nothing may reach the host's draw loop; the stacks below are restored either way.
    }
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glPopAttrib();
}

} // namespace Kelno
