// Stand-in for Maya's M3dView: a 3D view of the legacy viewport, based on an OpenGL drawing area.
// The stand-in has one view, the one the host renders frames into (<host/HostDraw.h>). During a
// frame it answers that frame's camera, style and renderer (legacy frames kDefaultQualityRenderer,
// Viewport 2.0 frames kViewport2Renderer); outside a frame it has no camera (getCamera fails)
// and answers kViewport2Renderer, the renderer of a fresh session.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MTypes.h>

class OPENMAYA_EXPORT M3dView {
  public:
    enum DisplayStyle { kBoundingBox, kFlatShaded, kGouraudShaded, kWireFrame, kPoints };
    enum DisplayStatus {
        kActive,
        kLive,
        kDormant,
        kInvisible,
        kHilite,
        kTemplate,
        kActiveTemplate,
        kActiveComponent,
        kLead,
        kIntermediateObject,
        kActiveAffected,
        kNoStatus
    };
    enum RendererName {
        kDefaultQualityRenderer,
        kHighQualityRenderer,
        kViewport2Renderer,
        kExternalRenderer
    };

    M3dView();
    virtual ~M3dView();

    static M3dView active3dView(MStatus* ReturnStatus = NULL);

    // Bracket a locator's own GL drawing: beginGL saves the GL attribute and matrix state that
    // endGL restores.
    MStatus beginGL();
    MStatus endGL();

    int portWidth(MStatus* ReturnStatus = NULL);
    int portHeight(MStatus* ReturnStatus = NULL);
    DisplayStyle displayStyle(MStatus* ReturnStatus = NULL) const;
    bool wireframeOnShaded(MStatus* ReturnStatus = NULL) const;
    MStatus getCamera(MDagPath& camera);
    RendererName getRendererName(MStatus* ReturnStatus /* = NULL */) const;

  private:
    int fView; // 0: no view
};
