// Stand-in for Maya's MHWRender::MPxDrawOverride: custom drawing of every instance of a DAG node
// type in Viewport 2.0. The host makes one override per node, through the creator registered for
// the node type's draw classification (MDrawRegistry). For each frame it calls isBounded and
// boundingBox, then prepareForDraw (handing back the data of the previous frame when it was
// made with deleteAfterUse false) and finally the draw callback given to the constructor, with
// the OpenGL context current.
#pragma once

#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MDrawContext.h>
#include <maya/MFrameContext.h>
#include <maya/MMatrix.h>
#include <maya/MObject.h>
#include <maya/MUserData.h>
#include <maya/MViewport2Renderer.h>

namespace mhost {
struct DrawAccess;
}

namespace MHWRender {

class MUIDrawManager;

class OPENMAYA_EXPORT MPxDrawOverride {
  public:
    typedef void (*GeometryDrawOverrideCb)(const MDrawContext&, const MUserData*);

    MPxDrawOverride(const MObject& obj, GeometryDrawOverrideCb callback, bool isAlwaysDirty = true);
    virtual ~MPxDrawOverride();

    // Default: kOpenGL.
    virtual ::MHWRender::DrawAPI supportedDrawAPIs() const;
    // Default: false.
    virtual bool hasUIDrawables() const;
    // Default: the path's inclusive matrix.
    virtual MMatrix transform(const MDagPath& objPath, const MDagPath& cameraPath) const;
    // Default: an empty box.
    virtual MBoundingBox boundingBox(const MDagPath& objPath, const MDagPath& cameraPath) const;
    // Default: false.
    virtual bool isBounded(const MDagPath& objPath, const MDagPath& cameraPath) const;
    virtual bool disableInternalBoundingBoxDraw() const;
    virtual bool excludedFromPostEffects() const;
    virtual bool isTransparent() const;
    virtual MUserData* prepareForDraw(const MDagPath& objPath, const MDagPath& cameraPath,
                                      const MFrameContext& frameContext, MUserData* oldData) = 0;
    // Default: does nothing (the stand-in has no UI draw manager to hand over).
    virtual void addUIDrawables(const MDagPath& objPath, MUIDrawManager& drawManager,
                                const MFrameContext& frameContext, const MUserData* data);

  private:
    MPxDrawOverride(const MPxDrawOverride&);
    MPxDrawOverride& operator=(const MPxDrawOverride&);
    friend struct mhost::DrawAccess;

    MObject fObject;
    GeometryDrawOverrideCb fCallback;
    bool fAlwaysDirty;
};

} // namespace MHWRender
