// Stand-in for Maya's MFnNurbsCurve: NURBS curve shapes ("nurbsCurve" nodes under a transform).
//
// Only open curves made through edit points are supported. createWithEditPoints builds a curve
// of degree 1 or 3 that passes through the edit points at its knots: uniform knots 0, 1, ...,
// n - 1 (or cumulative chord lengths), the end knots repeated `degree` times, so n points give
// n - 1 spans and n + degree - 1 CVs. The two CVs a cubic leaves free are fixed by a zero second
// derivative at both ends, and the CVs are the solution of that banded linear system (the curve
// mathematics is Kelno::KNurbsCurve). Closed and periodic forms, 2D curves and other degrees
// fail with kInvalidParameter; rational curves are made with all weights 1, which is the same
// shape. A parentOrOwner of kNullObj makes a new transform with the curve shape under it and
// returns the transform; a transform given as parent gets the shape, which is returned.
// Curve data objects as owners are not supported.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MDoubleArray.h>
#include <maya/MFnDagNode.h>
#include <maya/MObject.h>
#include <maya/MPoint.h>
#include <maya/MPointArray.h>
#include <maya/MSpace.h>
#include <maya/MStatus.h>

#define kMFnNurbsEpsilon 1.0e-3

class OPENMAYA_EXPORT MFnNurbsCurve : public MFnDagNode {
  public:
    enum Form { kInvalid = 0, kOpen, kClosed, kPeriodic, kLast };

    MFnNurbsCurve();
    MFnNurbsCurve(MObject& object, MStatus* ReturnStatus = NULL);
    MFnNurbsCurve(const MObject& object, MStatus* ReturnStatus = NULL);
    MFnNurbsCurve(const MDagPath& object, MStatus* ReturnStatus = NULL);
    ~MFnNurbsCurve() override;
    MFn::Type type() const override;
    MStatus setObject(MObject& object) override;
    MStatus setObject(const MObject& object) override;

    MObject createWithEditPoints(const MPointArray& editPoints, unsigned int degree, Form form, bool create2D,
                                 bool createRational, bool uniformParam = true,
                                 MObject parentOrOwner = MObject::kNullObj, MStatus* ReturnStatus = NULL);

    int degree(MStatus* ReturnStatus = NULL) const;
    int numCVs(MStatus* ReturnStatus = NULL) const;
    int numSpans(MStatus* ReturnStatus = NULL) const;
    Form form(MStatus* ReturnStatus = NULL) const;
    MStatus getKnots(MDoubleArray& array) const;
    MStatus getCV(unsigned int index, MPoint& pt, MSpace::Space space = MSpace::kObject) const;
    MStatus getCVs(MPointArray& array, MSpace::Space space = MSpace::kObject) const;
    MPoint getPointAtParam(double param, MPoint& point, MSpace::Space space = MSpace::kObject) const;
    double length(double tolerance = kMFnNurbsEpsilon, MStatus* ReturnStatus = NULL) const;
    double distanceToPoint(const MPoint& pt, MSpace::Space space = MSpace::kObject,
                           MStatus* ReturnStatus = NULL) const;
    // Reverses the curve's direction in place (no construction history in the stand-in).
    MStatus reverse(bool constructionHistory = false);
    // Tells the host the shape changed: dirties the shape so that viewers redraw it.
    MStatus updateCurve();
};
