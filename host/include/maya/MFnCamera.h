// Stand-in for Maya's MFnCamera: the host's "camera" shapes (see <host/HostDraw.h>), which look
// down their local -Z axis. Only the centre of interest is read through it.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MFnDagNode.h>
#include <maya/MPoint.h>
#include <maya/MSpace.h>

class OPENMAYA_EXPORT MFnCamera : public MFnDagNode {
  public:
    MFnCamera();
    MFnCamera(MObject& object, MStatus* ReturnStatus = NULL);
    MFnCamera(const MObject& object, MStatus* ReturnStatus = NULL);
    MFnCamera(const MDagPath& object, MStatus* ReturnStatus = NULL);
    ~MFnCamera() override;
    MFn::Type type() const override;

    // The point the camera looks at: "centerOfInterest" units along its -Z axis; kWorld
    // multiplies by the camera path's inclusive matrix.
    MPoint centerOfInterestPoint(MSpace::Space space = MSpace::kObject, MStatus* ReturnStatus = NULL) const;
    double centerOfInterest(MStatus* ReturnStatus = NULL) const;
};
