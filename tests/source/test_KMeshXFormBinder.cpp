// KMeshXFormBinder in the host stand-in: a mesh shape feeds inMesh, the outputs drive a
// transform's translate and rotate, and the mesh is moved under them.
#include <kelno/KMeshBinder.h>

#include <host/Host.h>

#include <maya/MDataBlock.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MMatrix.h>
#include <maya/MPlug.h>
#include <maya/MTransformationMatrix.h>

#include "support/KGridAndMotion.h"
#include "support/KHostMesh.h"
#include "support/KTestMeshes.h"

#include "support/KPluginFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

const std::string kNode = "KMeshXFormBinder1";

class KMeshXFormBinderTest : public KelnoTest::PluginTest {
  protected:
    void SetUp() override {
        PluginTest::SetUp();
        node = Host::createNode("KMeshXFormBinder");
        rest = KelnoTest::makeTorus(16, 8);
        shape = KelnoTest::addShape(KelnoTest::polygons(rest));
        follower = MFnDependencyNode(Host::createNode("transform")).name().asChar();
        ASSERT_TRUE(Host::connect(shape + ".outMesh", kNode + ".inMesh"));
        ASSERT_TRUE(Host::connect(kNode + ".outTranslate", follower + ".translate"));
        ASSERT_TRUE(Host::connect(kNode + ".outRotate", follower + ".rotate"));
    }

    void setPosition(const Kelno::KVector& p) {
        for (int k = 0; k < 3; ++k)
            ASSERT_TRUE(Host::plug(kNode + ".inPosition" + std::to_string(k)).setValue(p[k]));
    }
    // The outputs as the follower sees them (pulled through the connections).
    void outputs(double t[3], double r[3]) {
        for (int k = 0; k < 3; ++k) {
            const char axis[2] = {static_cast<char>('X' + k), 0};
            t[k] = Host::plug(follower + ".translate" + axis).asDouble();
            r[k] = Host::plug(follower + ".rotate" + axis).asDouble();
        }
    }
    // The stored triangle and frame vertex (the local coordinates and the inverse frame are
    // checked through the outputs they give).
    Kelno::KMeshBinding storedBinding() {
        Kelno::KMeshBinding b;
        b.triangle = Host::plug(kNode + ".closestTriangle").asInt();
        b.vertex = Host::plug(kNode + ".farthestVertex").asInt();
        return b;
    }

    MObject node;
    Kelno::KTriMesh rest;
    std::string shape, follower;
};

// Bound at the first evaluation; an undeformed mesh gives zero outputs; a moved mesh carries the
// point and its rotation along; the rotation order picks the decomposition.
TEST_F(KMeshXFormBinderTest, FollowsTheMovingMesh) {
    const Kelno::KVector p(2.4f, 0.3f, 0.2f);
    setPosition(p);
    double t[3], r[3];
    outputs(t, r);
    Kelno::KMeshBinding expected;
    ASSERT_TRUE(Kelno::BindPoint(rest, p, expected));
    EXPECT_EQ(storedBinding().triangle, expected.triangle);
    EXPECT_EQ(storedBinding().vertex, expected.vertex);
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(std::fabs(t[k]) + std::fabs(r[k]), 0.0, 1e-6);
    const double axis[3] = {0.48, 0.6, 0.64};
    const double move[3] = {1.5, -0.5, 2.0};
    const KelnoTest::RigidMotion motion(axis, 0.9, move);
    KelnoTest::setShape(shape, KelnoTest::polygons(motion.apply(rest)));
    double moved[3];
    motion.apply(p, moved);
    const MMatrix qm(motion.r.m);
    for (short order = 0; order < 6; ++order) {
        SCOPED_TRACE(order);
        ASSERT_TRUE(Host::plug(kNode + ".rotationOrder").setValue(order));
        outputs(t, r);
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(t[k], moved[k] - p[k], 2e-5);
        // The angles are the host's decomposition of the motion's rotation in that order.
        auto hostOrder =
            static_cast<MTransformationMatrix::RotationOrder>(MTransformationMatrix::kXYZ + order);
        double angles[3];
        ASSERT_TRUE(MTransformationMatrix(qm).getRotation(angles, hostOrder));
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(r[k], angles[k], 2e-5);
    }
}

// inPosition alone triggers nothing; at the next evaluation the new position is subtracted but
// the binding stays until a rebind condition holds (here closestTriangle set to -1).
TEST_F(KMeshXFormBinderTest, PositionChangesAndRebinding) {
    const Kelno::KVector p(2.4f, 0.3f, 0.2f), q(-1.0f, -1.0f, 0.4f);
    setPosition(p);
    double t[3], r[3];
    outputs(t, r);
    const Kelno::KMeshBinding first = storedBinding();
    const double zAxis[3] = {0, 0, 1}, lift[3] = {0, 0, 1};
    const Kelno::KTriMesh lifted = KelnoTest::RigidMotion(zAxis, 0.0, lift).apply(rest);
    KelnoTest::setShape(shape, KelnoTest::polygons(lifted));
    outputs(t, r);
    EXPECT_NEAR(t[2], 1.0, 1e-6);
    setPosition(q);
    outputs(t, r);
    EXPECT_NEAR(t[2], 1.0, 1e-6) << "no evaluation for inPosition";
    ASSERT_TRUE(Host::plug(kNode + ".rotationOrder").setValue(static_cast<short>(1)));
    outputs(t, r);
    EXPECT_EQ(storedBinding().triangle, first.triangle) << "not rebound";
    // The old binding's point, lifted, minus the new rest point.
    EXPECT_NEAR(t[0], p.x - q.x, 1e-5);
    EXPECT_NEAR(t[1], p.y - q.y, 1e-5);
    EXPECT_NEAR(t[2], p.z + 1.0 - q.z, 1e-5);
    ASSERT_TRUE(Host::plug(kNode + ".closestTriangle").setValue(-1));
    ASSERT_TRUE(Host::plug(kNode + ".rotationOrder").setValue(static_cast<short>(0)));
    outputs(t, r);
    Kelno::KMeshBinding expected;
    ASSERT_TRUE(Kelno::BindPoint(lifted, q, expected));
    EXPECT_EQ(storedBinding().triangle, expected.triangle);
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(t[k], 0.0, 1e-6) << "bound to the lifted mesh: no displacement";
}

// A mesh of other counts: the stale binding is evaluated safely once, then rebound. No mesh at
// all leaves the node unbound with zero outputs. Other plugs compute nothing but succeed.
TEST_F(KMeshXFormBinderTest, NewTopologyMissingMeshAndOtherPlugs) {
    setPosition(Kelno::KVector(2.4f, 0.3f, 0.2f));
    double t[3], r[3];
    outputs(t, r);
    const Kelno::KTriMesh cube = KelnoTest::makeCube(Kelno::KVector(2, 2, 2), Kelno::KVector(3, 3, 3));
    KelnoTest::setShape(shape, KelnoTest::polygons(cube));
    outputs(t, r);
    for (int k = 0; k < 3; ++k)
        EXPECT_TRUE(std::isfinite(t[k]) && std::isfinite(r[k]));
    ASSERT_TRUE(Host::plug(kNode + ".rotationOrder").setValue(static_cast<short>(2)));
    outputs(t, r);
    EXPECT_LT(storedBinding().triangle, cube.triangleCount());
    EXPECT_LT(storedBinding().vertex, cube.vertexCount());
    for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(t[k], 0.0, 1e-6) << "bound anew to the cube";
    ASSERT_TRUE(Host::disconnect(shape + ".outMesh", kNode + ".inMesh"));
    Host::deleteNode(node);
    node = Host::createNode("KMeshXFormBinder");
    const std::string lonely = MFnDependencyNode(node).name().asChar();
    MPxNode* user = MFnDependencyNode(node).userNode();
    MDataBlock block = Host::dataBlock(node);
    EXPECT_EQ(user->compute(Host::plug(lonely + ".outTranslate"), block), MS::kSuccess);
    EXPECT_EQ(user->compute(Host::plug(lonely + ".inPosition"), block), MS::kSuccess);
    EXPECT_EQ(Host::plug(lonely + ".closestTriangle").asInt(), -1);
    EXPECT_EQ(Host::plug(lonely + ".outTranslate0").asDouble(), 0.0);
    EXPECT_TRUE(Host::messages().empty());
}

} // namespace
