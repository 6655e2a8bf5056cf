// Stand-in for Maya's M3dView: a 3D view of the legacy viewport, based on an OpenGL drawing area.
// The stand-in's only view is the one the host is rendering a frame into (<host/HostDraw.h>);
// outside a frame active3dView answers a view with no camera and kFailure.
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
