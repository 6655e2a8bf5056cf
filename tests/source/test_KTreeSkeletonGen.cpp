// The tree skeleton node and its curve command on the host stand-in: chains as the core computes
// them, the empty-input failure, delete-on-disconnect inputs, and the curves and hierarchy the
// command writes for a small tree.
#include "support/KSkeletonScene.h"
#include "support/KTestMeshes.h"
#include "support/KTestTrees.h"

#include <kelno/KTreeSkeleton.h>

#include <maya/MFnIntArrayData.h>
#include <maya/MFnNurbsCurve.h>

#include <gtest/gtest.h>

using namespace KelnoTest;

namespace {

class TreeSkeletonGenTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        registerSkeletonPlugin();
    }
    void TearDown() override {
        Host::resetSession();
        unregisterDrawOverrides();
    }
};

std::vector<int> intArray(const std::string& plug) {
    MFnIntArrayData fn(Host::plug(plug).asMObject());
    std::vector<int> out;
    for (unsigned int i = 0; i < fn.length(); ++i)
        out.push_back(fn[i]);
    return out;
}

Kelno::KVectorArray coreChain(const Kelno::KTriMesh& m, int iterations, float step) {
    Kelno::KTriMeshConnectionInfo conn;
    conn.set(m);
    conn.calculate_e2t();
    conn.calculate_t2e();
    Kelno::KVectorArray out;
    Kelno::KTreeSkeleton::findCenter(m, conn, iterations, step, out);
    return out;
}

} // namespace

TEST_F(TreeSkeletonGenTest, ChainsMatchTheCoreAndEmptyInputFails) {
    std::vector<Kelno::KTriMesh> meshes = makeSmallTree();
    meshes.push_back(makeCube()); // closed: the single centre (0,0,0)
    const std::string node = skeletonNode(meshes, 50, 0.4f);
    EXPECT_EQ(node, "KTreeSkeletonGenShape1");
    Host::plug(node + ".output").asFloat();
    KTreeSkeletonGen* user = skeletonUser(node);
    ASSERT_NE(user, nullptr);
    ASSERT_EQ(user->getSkeletons()->size(), meshes.size());
    for (std::size_t i = 0; i < meshes.size(); ++i)
        EXPECT_EQ((*user->getSkeletons())[i], coreChain(meshes[i], 50, 0.4f)) << i;
    EXPECT_EQ(Host::plug(node + ".numOutput").asInt(), 5);
    const MBoundingBox box = user->boundingBox();
    EXPECT_NEAR(box.max().y, 10.0, 1e-6);
    EXPECT_NEAR(box.min().x, -1.0, 1e-6);
    // Changing the step recomputes; disconnecting removes the elements (delete on disconnect).
    Host::plug(node + ".dist").setValue(0.8f);
    Host::plug(node + ".output").asFloat();
    EXPECT_EQ((*user->getSkeletons())[0], coreChain(meshes[0], 50, 0.8f));
    for (std::size_t i = 0; i < meshes.size(); ++i)
        ASSERT_TRUE(Host::disconnect("polySurfaceShape" + std::to_string(i + 1) + ".outMesh",
                                     node + ".inMeshes[" + std::to_string(i) + "]"));
    EXPECT_EQ(Host::plug(node + ".inMeshes").numElements(), 0u);
    Host::clearMessages();
    Host::plug(node + ".output").asFloat();
    EXPECT_EQ(Host::messages(Host::MessageKind::Error),
              std::vector<std::string>{"KTreeSkeletonGenShape1: Invalid input data."});
    EXPECT_EQ(user->getSkeletons()->size(), meshes.size()) << "earlier chains stay";
}

// Through "worldMesh" the node reads the mesh in world space; through "outMesh" as stored.
TEST_F(TreeSkeletonGenTest, WorldMeshInputsAreReadInWorldSpace) {
    const Kelno::KTriMesh tube = makeTube({0, 0, 0}, {1, 4, 0.5f}, 0.3f);
    Kelno::KTriMesh moved = tube;
    for (Kelno::KVector& p : moved.positions)
        p.x += 5.0f;
    const std::string shape = addMeshShape(tube);
    const std::string transform =
        Kelno::MObjectToNodeName(MFnDagNode(Host::findNode(shape)).parent(0)).asChar();
    ASSERT_TRUE(Host::plug(transform + ".translateX").setValue(5.0));
    const std::string node = Kelno::MObjectToNodeName(Host::createNode("KTreeSkeletonGen")).asChar();
    ASSERT_TRUE(Host::connect(shape + ".worldMesh[0]", node + ".inMeshes[0]"));
    ASSERT_TRUE(Host::connect(shape + ".outMesh", node + ".inMeshes[1]"));
    Host::plug(node + ".iter").setValue(20);
    Host::plug(node + ".dist").setValue(0.5f);
    Host::plug(node + ".output").asFloat();
    const std::vector<Kelno::KVectorArray>& chains = *skeletonUser(node)->getSkeletons();
    ASSERT_EQ(chains.size(), 2u);
    EXPECT_EQ(chains[0], coreChain(moved, 20, 0.5f));
    EXPECT_EQ(chains[1], coreChain(tube, 20, 0.5f));
    EXPECT_GT(chains[0].length(), 5);
}

TEST_F(TreeSkeletonGenTest, CommandMakesCurvesAndWritesTheHierarchy) {
    std::vector<Kelno::KTriMesh> meshes = makeSmallTree();
    // A branch that droops from the trunk: its march starts at the tip, so its curve is reversed.
    meshes.push_back(makeTube({-0.3f, 6, 0}, {-4, 3, 0}, 0.2f));
    const std::string node = skeletonNode(meshes, 50, 0.4f);
    const Host::CommandResult r = Host::runCommand("KTreeSkeletonGenCmd", {"-nodeName", node});
    ASSERT_TRUE(r.status);
    ASSERT_EQ(r.strings.size(), meshes.size());
    const std::vector<Kelno::KVectorArray>& chains = *skeletonUser(node)->getSkeletons();
    // The same hierarchy as the core computes from the chains.
    std::vector<Kelno::KNurbsCurve> curves(chains.size());
    for (std::size_t i = 0; i < chains.size(); ++i) {
        std::vector<Kelno::KNurbsCurve::Point> ep;
        for (const Kelno::KVector& p : chains[i])
            ep.push_back({{p.x, p.y, p.z}});
        ASSERT_TRUE(curves[i].createWithEditPoints(ep, 3, true));
    }
    const Kelno::KTreeSkeleton::Hierarchy h = Kelno::KTreeSkeleton::buildHierarchy(curves);
    EXPECT_EQ(intArray(node + ".parentCurves"), (std::vector<int>{-1, 0, 0, 2, 0}));
    EXPECT_EQ(intArray(node + ".parentCurves"), h.parentCurves);
    EXPECT_EQ(intArray(node + ".parentCVs"), h.parentCVs);
    EXPECT_EQ(intArray(node + ".curveNumCVs"), h.curveNumCVs);
    // The drooping branch's curve now starts at the trunk; the others start where they were.
    for (std::size_t i = 0; i < chains.size(); ++i) {
        MFnNurbsCurve fn(Host::findNode(r.strings[i]));
        MPoint first;
        fn.getCV(0, first);
        const Kelno::KVector& start = i == 4 ? chains[i][chains[i].length() - 1] : chains[i][0];
        EXPECT_NEAR(first.distanceTo(MPoint(start.x, start.y, start.z)), 0.0, 1e-5) << i;
        EXPECT_EQ(fn.numCVs(), chains[i].length() + 2);
    }
}

TEST_F(TreeSkeletonGenTest, CommandFailures) {
    const std::string closed = skeletonNode({makeCube(), makeTube({0, 0, 0}, {0, 5, 0}, 0.5f)}, 10, 1.0f);
    const std::string plain = addMeshShape(makeCube());
    const struct {
        std::vector<std::string> args;
        const char* error;
    } rows[] = {
        {{}, "KTreeSkeletonGenCmd: No -nodeName flag."},
        {{"-nodeName", "nothing"}, "KTreeSkeletonGenCmd: \"nothing\" is not a KTreeSkeletonGen node."},
        {{"-nodeName", plain}, "KTreeSkeletonGenCmd: \"polySurfaceShape3\" is not a KTreeSkeletonGen node."},
        // The closed mesh's chain is one point: no curve, no hierarchy.
        {{"-nN", closed}, "KTreeSkeletonGenCmd: 0 curve in KTreeSkeletonGenShape1 failed."},
    };
    for (const auto& row : rows) {
        Host::clearMessages();
        testing::internal::CaptureStdout();
        const Host::CommandResult r = Host::runCommand("KTreeSkeletonGenCmd", row.args);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(r.status, MS::kFailure) << row.error;
        const std::vector<std::string> errors = Host::messages(Host::MessageKind::Error);
        ASSERT_FALSE(errors.empty()) << row.error;
        EXPECT_EQ(errors.front(), row.error);
    }
    EXPECT_TRUE(intArray(closed + ".parentCurves").empty());
}
