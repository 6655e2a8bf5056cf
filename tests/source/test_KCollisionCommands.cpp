// KCheckCollisionCmd and KDetectInsideComponentsCmd run from MEL on selected meshes in the host
// stand-in: the texts they print and issue and the selection they leave.
#include <kelno/KCollision.h>
#include <kelno/KMesh.h>
#include <kelno/KTriMeshDistTree.h>

#include "support/KTestMeshes.h"

#include <host/Host.h>

#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>

#include "support/KPluginFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// An axis-aligned box of six quads; `mesh` receives the same box fanned into triangles as the
// host triangulates it (each convex face from its corner 0).
MObject makeBox(const std::string& name, float lo, float hi, Kelno::KTriMesh* mesh = nullptr) {
    MPointArray points;
    for (int i = 0; i < 8; ++i)
        points.append(MPoint(i & 1 ? hi : lo, i & 2 ? hi : lo, i & 4 ? hi : lo));
    const int quads[24] = {0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5};
    const int counts[6] = {4, 4, 4, 4, 4, 4};
    MObject transform = MFnMesh().create(8, 6, points, MIntArray(counts, 6), MIntArray(quads, 24));
    MFnDependencyNode(transform).setName(name.c_str());
    MFnDependencyNode(MFnDagNode(transform).child(0)).setName((name + "Shape").c_str());
    if (mesh) {
        for (unsigned int i = 0; i < 8; ++i)
            mesh->positions.push_back(
                Kelno::KVector(float(points[i].x), float(points[i].y), float(points[i].z)));
        for (int f = 0; f < 6; ++f) {
            const int* q = quads + 4 * f;
            mesh->triangles.push_back(Kelno::KInt3{{q[0], q[1], q[2]}});
            mesh->triangles.push_back(Kelno::KInt3{{q[0], q[2], q[3]}});
        }
    }
    return transform;
}

std::vector<std::string> activeSelection() {
    MSelectionList list;
    MGlobal::getActiveSelectionList(list);
    MStringArray strings;
    list.getSelectionStrings(strings);
    std::vector<std::string> out;
    for (unsigned int i = 0; i < strings.length(); ++i)
        out.push_back(strings[i].asChar());
    return out;
}

class CollisionCommandsTest : public KelnoTest::PluginTest {
  protected:
    static MStatus mel(const std::string& command) {
        Host::clearMessages();
        Host::clearExecutedCommands();
        return MGlobal::executeCommand(command.c_str());
    }
    static std::string lastExecuted() {
        const auto& all = Host::executedCommands();
        return all.size() < 2 ? std::string() : all.back();
    }
};

TEST_F(CollisionCommandsTest, CheckCollisionSelectsTheVerticesOfPiercingEdgesOnBothMeshes) {
    Kelno::KTriMesh first, second;
    makeBox("boxA", -1.0f, 1.0f, &first);
    makeBox("boxB", 0.5f, 2.5f, &second);
    const Kelno::KTriMesh merged = KelnoTest::mergePieces({first, second});
    Host::createNode("transform", "emptyGroup");
    // The expected vertices from the cores, on the same triangles.
    Kelno::KTriMeshDistTree tree(merged, 10, 10);
    Kelno::KTriMeshConnectionInfo connections;
    connections.set(merged);
    connections.calculate_v2e();
    connections.calculate_e2v();
    Kelno::KIntArray hit, vertices;
    Kelno::FindIntersectingEdges(merged, tree, connections, hit);
    Kelno::CollidingVertices(connections, hit, 16, vertices);
    ASSERT_GT(Kelno::CountHits(hit), 0);
    std::string expected = "select -r ";
    std::vector<std::string> selected;
    for (int v : vertices) {
        const std::string item =
            (v < 8 ? "boxA" : "boxB") + std::string(".vtx[") + std::to_string(v % 8) + "]";
        expected += (v < 8 ? "|boxA|boxAShape" : "|boxB|boxBShape") + item.substr(4) + " ";
        selected.push_back(item);
    }
    expected += ";";
    ASSERT_TRUE(vertices.front() < 8 && vertices.back() >= 8) << "on both boxes";
    ASSERT_TRUE(mel("select -r boxA emptyGroup boxB;"));
    ASSERT_TRUE(mel("KCheckCollisionCmd"));
    EXPECT_EQ(lastExecuted(), expected);
    EXPECT_EQ(Host::messages(Host::MessageKind::Info),
              std::vector<std::string>{"Total " + std::to_string(Kelno::CountHits(hit)) +
                                       " edges are intersecting with triangles."});
    EXPECT_EQ(activeSelection(), selected);
    EXPECT_FALSE(Host::undo()) << "not undoable";
    // Apart, and with nothing selected: nothing flagged, the selection emptied.
    for (const std::string select : {"select -r boxA boxB;", ""}) {
        SCOPED_TRACE(select);
        Host::resetSession();
        makeBox("boxA", -1.0f, 1.0f);
        makeBox("boxB", 1.5f, 2.5f);
        ASSERT_TRUE(select.empty() || mel(select));
        ASSERT_TRUE(mel("KCheckCollisionCmd"));
        EXPECT_EQ(Host::executedCommands(), (std::vector<std::string>{"KCheckCollisionCmd", "select -r ;"}));
        EXPECT_EQ(Host::messages(Host::MessageKind::Info),
                  std::vector<std::string>{"Total 0 edges are intersecting with triangles."});
        EXPECT_TRUE(activeSelection().empty());
    }
}

TEST_F(CollisionCommandsTest, DetectInsideComponentsModesAndTheFixedNodeName) {
    // Target: a box from -2 to 0 (its vertex 7 at the origin); collider: a box from -0.5 to
    // 1.5, which holds only that corner. Faces 1, 3 and 5 of the target use vertex 7.
    makeBox("pSphere1", -2.0f, 0.0f);
    makeBox("collider", -0.5f, 1.5f);
    const struct {
        std::string args;
        std::string error;  // empty: succeeds
        std::string issued; // empty: nothing issued
        std::vector<std::string> selection;
    } cases[] = {
        {"-mNm pSphere1 -cls collider -mod 1", "", "select -r pSphere1.vtx[7];", {"pSphere1.vtx[7]"}},
        {"-mNm pSphere1 -cls \"noSuchNode collider\" -mod 1",
         "",
         "select -r pSphere1.vtx[7];",
         {"pSphere1.vtx[7]"}},
        {"-mNm pSphere1Shape -cls \"collider collider\" -mod 3",
         "",
         "select -r pSphere1.f[1] pSphere1.f[3] pSphere1.f[5];",
         {"pSphere1.f[1]", "pSphere1.f[3]", "pSphere1.f[5]"}},
        {"-mNm pSphere1Shape -cls collider -mod 4",
         "",
         "select -r pSphere1.f[1] pSphere1.f[3] pSphere1.f[5];",
         {"pSphere1.f[1]", "pSphere1.f[3]", "pSphere1.f[5]"}},
        {"-mNm pSphere1Shape -cls collider -mod 2", "", "select -r;", {}},
        {"-mNm pSphere1 -cls collider -mod 9", "", "select -r;", {}},
        {"-mNm pSphere1 -cls collider", "", "select -r;", {}},
        {"-mNm pSphere1 -cls collider -mod 0", "", "", {"collider"}},
        {"-mNm pSphere1 -mod 1", "", "select -r;", {}},
        {"-mNm noSuchMesh -cls collider -mod 1", "", "", {"collider"}},
        // The stand-in checks a flag's value when it is read, so a bad number takes the second path.
        {"-mNm pSphere1 -mod many", "No mesh name.", "", {"collider"}},
        {"-mNm pSphere1 -bogus 1", "Failed to get the input parameters.", "", {"collider"}},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(mel("select -r collider;"));
        const MStatus status = mel("KDetectInsideComponentsCmd " + c.args);
        EXPECT_EQ(static_cast<bool>(status), c.error.empty()) << c.args;
        EXPECT_EQ(lastExecuted(), c.issued.empty() ? std::string() : c.issued) << c.args;
        EXPECT_EQ(activeSelection(), c.selection) << c.args;
        // The host may report a parse failure first; the command's own message comes last.
        const std::vector<std::string> errors = Host::messages(Host::MessageKind::Error);
        EXPECT_EQ(errors.empty() ? std::string() : errors.back(), c.error) << c.args;
    }
    // Another target name: the issued command still names pSphere1, here the first box.
    makeBox("ball", -2.0f, 0.0f);
    ASSERT_TRUE(mel("KDetectInsideComponentsCmd -mNm ball -cls collider -mod 1"));
    EXPECT_EQ(lastExecuted(), "select -r pSphere1.vtx[7];");
    Host::deleteNode(Host::findNode("pSphere1"));
    EXPECT_FALSE(mel("KDetectInsideComponentsCmd -mNm ball -cls collider -mod 1"))
        << "without a pSphere1 the select fails, and so does the command";
    EXPECT_EQ(lastExecuted(), "select -r pSphere1.vtx[7];");
}

} // namespace
