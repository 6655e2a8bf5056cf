// NURBS curve shapes ("nurbsCurve") and MFnNurbsCurve; int array data and the camera function
// set. The curve mathematics is the core library's KNurbsCurve.
#include "HostInternal.h"

#include <kelno/KNurbsCurve.h>

#include <maya/MFnCamera.h>
#include <maya/MFnIntArrayData.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnNurbsCurve.h>
#include <maya/MPlug.h>

#include <cmath>
#include <limits>

using mhost::Data;
using mhost::Node;
using mhost::nodeOf;
using mhost::setStatus;

namespace {

const unsigned int kCurveId = 0x7fff0005;

// The shape keeps its geometry in the node itself (the stand-in has no curve history).
struct CurveNode : MPxNode {
    static MObject intermediateObject, dirtyTick;
    Kelno::KNurbsCurve curve;
    static void* creator() { return new CurveNode; }
    static MStatus initialize() {
        MFnNumericAttribute fn;
        intermediateObject = fn.create("intermediateObject", "io", MFnNumericData::kBoolean, 0.0);
        fn.setHidden(true);
        addAttribute(intermediateObject);
        // Bumped by updateCurve, so that the change reaches whatever watches the shape.
        dirtyTick = fn.create("geometryVersion", "gver", MFnNumericData::kInt, 0.0);
        fn.setHidden(true);
        fn.setStorable(false);
        return addAttribute(dirtyTick);
    }
};
MObject CurveNode::intermediateObject, CurveNode::dirtyTick;

CurveNode* curveOf(const MObject& o) {
    Node* n = nodeOf(o);
    return n ? dynamic_cast<CurveNode*>(n->user) : nullptr;
}

Kelno::KNurbsCurve::Point toK(const MPoint& p) { return {{p.x / p.w, p.y / p.w, p.z / p.w}}; }
MPoint toM(const Kelno::KNurbsCurve::Point& p) { return MPoint(p[0], p[1], p[2]); }

// The curve in the asked space (kWorld: CVs through the inclusive matrix, which maps the curve
// exactly, since B-splines are affine invariant).
Kelno::KNurbsCurve inSpace(const Kelno::KNurbsCurve& c, const MFnDagNode& fn, MSpace::Space space) {
    if (space != MSpace::kWorld)
        return c;
    MDagPath path;
    if (!fn.getPath(path))
        return c;
    const MMatrix m = path.inclusiveMatrix();
    std::vector<Kelno::KNurbsCurve::Point> cvs;
    for (const auto& p : c.cvs())
        cvs.push_back(toK(toM(p) * m));
    Kelno::KNurbsCurve out;
    out.create(cvs, c.knots(), c.degree());
    return out;
}

} // namespace

namespace mhost {
void registerCurveType() {
    NodeType* t = addType("nurbsCurve", kCurveId, MPxNode::kDependNode, &CurveNode::creator, "");
    t->apiType = MFn::kNurbsCurve;
    t->isDag = true;
    t->isShape = true;
    initializeType(t, &CurveNode::initialize);
}
} // namespace mhost

// ---- MFnNurbsCurve ---------------------------------------------------------------------------

MFnNurbsCurve::MFnNurbsCurve() {}
MFnNurbsCurve::MFnNurbsCurve(MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnNurbsCurve::MFnNurbsCurve(const MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnNurbsCurve::MFnNurbsCurve(const MDagPath& p, MStatus* st) { setStatus(st, MFnDagNode::setObject(p)); }
MFnNurbsCurve::~MFnNurbsCurve() {}
MFn::Type MFnNurbsCurve::type() const { return MFn::kNurbsCurve; }
MStatus MFnNurbsCurve::setObject(MObject& o) { return setObject(static_cast<const MObject&>(o)); }
MStatus MFnNurbsCurve::setObject(const MObject& o) { return MFnDagNode::setObject(o); }

MObject MFnNurbsCurve::createWithEditPoints(const MPointArray& editPoints, unsigned int degree, Form form,
                                            bool create2D, bool, bool uniformParam, MObject parentOrOwner,
                                            MStatus* st) {
    std::vector<Kelno::KNurbsCurve::Point> ep;
    for (unsigned int i = 0; i < editPoints.length(); ++i)
        ep.push_back(toK(editPoints[i]));
    Kelno::KNurbsCurve curve;
    if (form != kOpen || create2D ||
        !curve.createWithEditPoints(ep, static_cast<int>(degree), uniformParam)) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    Node* parent = mhost::as<Node>(parentOrOwner);
    if (!parentOrOwner.isNull() && (!parent || !parent->alive || !parentOrOwner.hasFn(MFn::kTransform))) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MStatus made;
    auto shape = mhost::createNode(mhost::findType("nurbsCurve"), "curveShape#", parent, &made);
    if (!shape) {
        setStatus(st, made);
        return MObject();
    }
    dynamic_cast<CurveNode*>(shape->user)->curve = curve;
    MFnDagNode::setObject(shape->handle());
    setStatus(st, MS::kSuccess);
    return parent ? shape->handle() : shape->parents[0]->handle();
}

#define KELNO_HOST_CURVE_OR(fail)                                                                            \
    CurveNode* node = curveOf(fObject);                                                                      \
    if (!node || !node->curve.valid()) {                                                                     \
        setStatus(st, MS::kFailure);                                                                         \
        return fail;                                                                                         \
    }                                                                                                        \
    setStatus(st, MS::kSuccess)

int MFnNurbsCurve::degree(MStatus* st) const {
    KELNO_HOST_CURVE_OR(0);
    return node->curve.degree();
}
int MFnNurbsCurve::numCVs(MStatus* st) const {
    KELNO_HOST_CURVE_OR(0);
    return node->curve.numCVs();
}
int MFnNurbsCurve::numSpans(MStatus* st) const {
    KELNO_HOST_CURVE_OR(0);
    return node->curve.numSpans();
}
MFnNurbsCurve::Form MFnNurbsCurve::form(MStatus* st) const {
    KELNO_HOST_CURVE_OR(kInvalid);
    return kOpen;
}
MStatus MFnNurbsCurve::getKnots(MDoubleArray& array) const {
    MStatus status;
    MStatus* st = &status;
    array.clear();
    KELNO_HOST_CURVE_OR(status);
    for (double k : node->curve.knots())
        array.append(k);
    return status;
}
MStatus MFnNurbsCurve::getCV(unsigned int index, MPoint& pt, MSpace::Space space) const {
    MStatus status;
    MStatus* st = &status;
    KELNO_HOST_CURVE_OR(status);
    if (index >= static_cast<unsigned int>(node->curve.numCVs()))
        return MS::kInvalidParameter;
    pt = toM(inSpace(node->curve, *this, space).cv(static_cast<int>(index)));
    return status;
}
MStatus MFnNurbsCurve::getCVs(MPointArray& array, MSpace::Space space) const {
    MStatus status;
    MStatus* st = &status;
    array.clear();
    KELNO_HOST_CURVE_OR(status);
    const Kelno::KNurbsCurve curve = inSpace(node->curve, *this, space);
    for (const auto& p : curve.cvs())
        array.append(toM(p));
    return status;
}
MPoint MFnNurbsCurve::getPointAtParam(double param, MPoint& point, MSpace::Space space) const {
    MStatus* st = nullptr;
    KELNO_HOST_CURVE_OR(point);
    point = toM(inSpace(node->curve, *this, space).evaluate(param));
    return point;
}
double MFnNurbsCurve::length(double tolerance, MStatus* st) const {
    KELNO_HOST_CURVE_OR(0.0);
    return node->curve.length(tolerance);
}
double MFnNurbsCurve::distanceToPoint(const MPoint& pt, MSpace::Space space, MStatus* st) const {
    KELNO_HOST_CURVE_OR(0.0);
    return inSpace(node->curve, *this, space).distanceToPoint(toK(pt));
}
MStatus MFnNurbsCurve::reverse(bool) {
    MStatus status;
    MStatus* st = &status;
    KELNO_HOST_CURVE_OR(status);
    node->curve.reverse();
    return status;
}
MStatus MFnNurbsCurve::updateCurve() {
    MStatus status;
    MStatus* st = &status;
    KELNO_HOST_CURVE_OR(status);
    Node* n = nodeOf(fObject);
    mhost::Attribute* tick = n->type->findAttribute("geometryVersion");
    n->slot(tick).in[0] += 1;
    mhost::valueChanged(n, tick);
    return status;
}
#undef KELNO_HOST_CURVE_OR

// ---- MFnIntArrayData -------------------------------------------------------------------------

MFnIntArrayData::MFnIntArrayData() {}
MFnIntArrayData::MFnIntArrayData(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnIntArrayData::MFnIntArrayData(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnIntArrayData::~MFnIntArrayData() {}
MFn::Type MFnIntArrayData::type() const { return MFn::kIntArrayData; }
unsigned int MFnIntArrayData::length(MStatus* st) const {
    Data* d = mhost::as<Data>(fObject);
    setStatus(st, d ? MS::kSuccess : MS::kFailure);
    return d ? static_cast<unsigned int>(d->ints.size()) : 0u;
}
int MFnIntArrayData::operator[](unsigned int index) const {
    Data* d = mhost::as<Data>(fObject);
    return d && index < d->ints.size() ? d->ints[index] : 0;
}
MStatus MFnIntArrayData::copyTo(MIntArray& array) const {
    Data* d = mhost::as<Data>(fObject);
    if (!d)
        return MS::kFailure;
    array.clear();
    for (int v : d->ints)
        array.append(v);
    return MS::kSuccess;
}
MStatus MFnIntArrayData::set(const MIntArray& in) {
    Data* d = mhost::as<Data>(fObject);
    if (!d)
        return MS::kFailure;
    d->ints.assign(in.length(), 0);
    for (unsigned int i = 0; i < in.length(); ++i)
        d->ints[i] = in[i];
    return MS::kSuccess;
}
MIntArray MFnIntArrayData::array(MStatus* st) {
    MIntArray out;
    setStatus(st, copyTo(out));
    return out;
}
MObject MFnIntArrayData::create(MStatus* st) { return create(MIntArray(), st); }
MObject MFnIntArrayData::create(const MIntArray& in, MStatus* st) {
    fObject = MObject(std::make_shared<Data>(MFn::kIntArrayData));
    setStatus(st, set(in));
    return fObject;
}

// ---- MFnCamera -------------------------------------------------------------------------------

namespace {
bool isCamera(const MObject& o) {
    Node* n = nodeOf(o);
    return n && n->type->name == "camera";
}
} // namespace

MFnCamera::MFnCamera() {}
MFnCamera::MFnCamera(MObject& o, MStatus* st) : MFnCamera(static_cast<const MObject&>(o), st) {}
MFnCamera::MFnCamera(const MObject& o, MStatus* st) {
    setStatus(st, isCamera(o) ? MFnDagNode::setObject(o) : MStatus(MS::kInvalidParameter));
}
MFnCamera::MFnCamera(const MDagPath& p, MStatus* st) {
    setStatus(st, isCamera(p.node()) ? MFnDagNode::setObject(p) : MStatus(MS::kInvalidParameter));
}
MFnCamera::~MFnCamera() {}
MFn::Type MFnCamera::type() const { return MFn::kDagNode; }
double MFnCamera::centerOfInterest(MStatus* st) const {
    if (!isCamera(fObject)) {
        setStatus(st, MS::kFailure);
        return 0.0;
    }
    double coi = 5.0;
    findPlug("centerOfInterest").getValue(coi);
    setStatus(st, MS::kSuccess);
    return coi;
}
MPoint MFnCamera::centerOfInterestPoint(MSpace::Space space, MStatus* st) const {
    MStatus s;
    MPoint p(0.0, 0.0, -centerOfInterest(&s));
    setStatus(st, s);
    if (s && space == MSpace::kWorld) {
        MDagPath path;
        if (getPath(path))
            p = p * path.inclusiveMatrix();
    }
    return p;
}
