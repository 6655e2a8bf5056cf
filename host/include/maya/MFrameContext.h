// Stand-in for Maya's MHWRender::MFrameContext: what Viewport 2.0 knows about the frame being
// drawn (matrices, display style, viewport size). Only the host makes frame contexts.
//
// Matrices follow MMatrix's convention (row vectors, translation in the last row), so
// matrix[0] can be handed to glLoadMatrixd as it is. The world matrix is the inclusive matrix of
// the object being drawn (identity while no object is), the view matrix the inverse of the
// camera's inclusive matrix, and the projection the camera's (GL clip space).
#pragma once

#include <maya/MDagPath.h>
#include <maya/MMatrix.h>
#include <maya/MStatus.h>

namespace mhost {
struct DrawAccess;
}

namespace MHWRender {

class OPENMAYA_EXPORT MFrameContext {
  public:
    enum MatrixType {
        kWorldMtx,
        kWorldTransposeMtx,
        kWorldInverseMtx,
        kWorldTranspInverseMtx,
        kViewMtx,
        kViewTransposeMtx,
        kViewInverseMtx,
        kViewTranspInverseMtx,
        kProjectionMtx,
        kProjectionTranposeMtx,
        kProjectionInverseMtx,
        kProjectionTranspInverseMtx,
        kViewProjMtx,
        kViewProjTranposeMtx,
        kViewProjInverseMtx,
        kViewProjTranspInverseMtx,
        kWorldViewMtx,
        kWorldViewTransposeMtx,
        kWorldViewInverseMtx,
        kWorldViewTranspInverseMtx,
        kWorldViewProjMtx,
        kWorldViewProjTransposeMtx,
        kWorldViewProjInverseMtx,
        kWorldViewProjTranspInverseMtx
    };
    // Bits of getDisplayStyle(); several may be set at once.
    enum DisplayStyle {
        kGouraudShaded = 0x1,
        kWireFrame = 0x2,
        kBoundingBox = 0x4,
        kTextured = 0x8,
        kDefaultMaterial = 0x10,
        kXrayJoint = 0x20,
        kXray = 0x40,
        kTwoSidedLighting = 0x80,
        kFlatShaded = 0x100,
        kShadeActiveOnly = 0x200,
        kXrayActiveComponents = 0x400,
        kBackfaceCulling = 0x800,
        kSmoothWireframe = 0x1000
    };

    virtual MMatrix getMatrix(MFrameContext::MatrixType mtype, MStatus* ReturnStatus = NULL) const;
    unsigned int getDisplayStyle() const;
    MStatus getViewportDimensions(int& originX, int& originY, int& width, int& height) const;
    MDagPath getCurrentCameraPath(MStatus* ReturnStatus = NULL) const;

  protected:
    MFrameContext();
    virtual ~MFrameContext();

  private:
    MFrameContext(const MFrameContext&);
    MFrameContext& operator=(const MFrameContext&);
    friend struct mhost::DrawAccess;

    MMatrix fWorld, fView, fProjection;
    unsigned int fDisplayStyle;
    int fViewport[4];
    MDagPath fCamera;
};

} // namespace MHWRender
