// Curve shapes of the host stand-in through MFnNurbsCurve (interpolation, queries in object and
// world space, reversal, refused input). Int array data and delete-on-disconnect array elements
// are exercised by test_KTreeSkeletonGen.
#include <host/Host.h>

#include <maya/MFnNurbsCurve.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

class NurbsCurveTest : public testing::Test {
  protected:
    void SetUp() override { Host::resetSession(); }
};

MPointArray arc(int n) {
    MPointArray pts;
    for (int i = 0; i < n; ++i)
        pts.append(MPoint(std::cos(0.3 * i), std::sin(0.3 * i), 0.1 * i));
    return pts;
}

} // namespace

TEST_F(NurbsCurveTest, CurvesThroughEditPointsInObjectAndWorldSpace) {
    MStatus st;
    MFnNurbsCurve fn;
    MObject transform =
        fn.createWithEditPoints(arc(6), 3, MFnNurbsCurve::kOpen, false, true, true, MObject::kNullObj, &st);
    ASSERT_TRUE(st);
    ASSERT_TRUE(transform.hasFn(MFn::kTransform));
    const std::string shape = MFnDependencyNode(MFnDagNode(transform).child(0)).name().asChar();
    EXPECT_EQ(shape.rfind("curveShape", 0), 0u);
    EXPECT_EQ(fn.numCVs(), 8);
    MDoubleArray knots;
    fn.getKnots(knots);
    EXPECT_EQ(knots.length(), 10u); // spans + 2 degree - 1
    for (unsigned int i = 0; i < 6; ++i) {
        MPoint p;
        fn.getPointAtParam(i, p);
        EXPECT_LT(p.distanceTo(arc(6)[i]), 1e-9) << i;
    }
    const double length = fn.length();
    EXPECT_GT(length, 1.5);
    MFnDependencyNode(transform).findPlug("translateX").setValue(10.0);
    MPoint objectCV, worldCV;
    fn.getCV(0, objectCV);
    fn.getCV(0, worldCV, MSpace::kWorld);
    EXPECT_NEAR(worldCV.x - objectCV.x, 10.0, 1e-12);
    EXPECT_NEAR(fn.distanceToPoint(objectCV), 0.0, 1e-9);
    EXPECT_NEAR(fn.distanceToPoint(worldCV, MSpace::kWorld), 0.0, 1e-9);
    EXPECT_GT(fn.distanceToPoint(worldCV), 8.0);
    ASSERT_TRUE(fn.reverse());
    ASSERT_TRUE(fn.updateCurve());
    MPoint last;
    fn.getCV(7, last);
    EXPECT_EQ(last, objectCV);
    EXPECT_NEAR(fn.length(), length, 1e-9);
    EXPECT_EQ(fn.getCV(8, last), MS::kInvalidParameter);
}

TEST_F(NurbsCurveTest, RefusedCurvesMakeNoNode) {
    const struct {
        int points;
        unsigned int degree;
        MFnNurbsCurve::Form form;
        bool create2D;
    } rows[] = {{1, 3, MFnNurbsCurve::kOpen, false},
                {5, 2, MFnNurbsCurve::kOpen, false},
                {5, 3, MFnNurbsCurve::kPeriodic, false},
                {5, 3, MFnNurbsCurve::kOpen, true}};
    for (const auto& row : rows) {
        MStatus st;
        MFnNurbsCurve fn;
        EXPECT_TRUE(fn.createWithEditPoints(arc(row.points), row.degree, row.form, row.create2D, false, true,
                                            MObject::kNullObj, &st)
                        .isNull());
        EXPECT_EQ(st, MS::kInvalidParameter);
    }
    EXPECT_TRUE(Host::nodesOfType("nurbsCurve").empty() && Host::nodesOfType("transform").empty());
}
