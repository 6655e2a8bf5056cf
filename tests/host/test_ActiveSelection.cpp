// The stand-in's active selection: MEL "select" and MDGModifier::commandToExecute changing it,
// MItSelectionList's type filter, and MItMeshPolygon over a mesh.
#include <host/Host.h>

#include <maya/MDGModifier.h>
#include <maya/MDagPath.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MItMeshPolygon.h>
#include <maya/MItSelectionList.h>
#include <maya/MPointArray.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> selection() {
    MSelectionList list;
    EXPECT_TRUE(MGlobal::getActiveSelectionList(list));
    MStringArray strings;
    list.getSelectionStrings(strings);
    std::vector<std::string> out;
    for (unsigned int i = 0; i < strings.length(); ++i)
        out.push_back(strings[i].asChar());
    return out;
}

// A quad and a triangle sharing an edge, under a new transform; returns the transform.
MObject makeMesh() {
    MPointArray points;
    for (const MPoint& p : {MPoint(0, 0), MPoint(1, 0), MPoint(1, 1), MPoint(0, 1), MPoint(2, 0)})
        points.append(p);
    const int counts[] = {4, 3};
    const int connects[] = {0, 1, 2, 3, 1, 4, 2};
    return MFnMesh().create(5, 2, points, MIntArray(counts, 2), MIntArray(connects, 7));
}

class ActiveSelectionTest : public testing::Test {
  protected:
    void SetUp() override {
        Host::resetSession();
        MFnDependencyNode(makeMesh()).setName("pCube1");
        MFnDependencyNode(makeMesh()).setName("pSphere1");
    }
};

TEST_F(ActiveSelectionTest, SelectCommandsChangeTheActiveSelection) {
    const struct {
        const char* mel;
        bool ok;
        std::vector<std::string> after;
    } steps[] = {
        {"select -r pCube1 pSphere1.vtx[3] pSphere1.f[0:1];",
         true,
         {"pCube1", "pSphere1.vtx[3]", "pSphere1.f[0:1]"}},
        {"select -r pCube1 nothingHere.vtx[1];", false, {"pCube1", "pSphere1.vtx[3]", "pSphere1.f[0:1]"}},
        {"select -r pCube1.vtx[x];", false, {"pCube1", "pSphere1.vtx[3]", "pSphere1.f[0:1]"}},
        {"select -d pSphere1.vtx[3];", true, {"pCube1", "pSphere1.f[0:1]"}},
        {"select -add pSphere1 pCube1;", true, {"pCube1", "pSphere1.f[0:1]", "pSphere1"}},
        {"select -tgl pCube1 pCube1.vtx[0];", true, {"pSphere1.f[0:1]", "pSphere1", "pCube1.vtx[0]"}},
        {"select -cl;", true, {}},
        {"select -r pCube1;", true, {"pCube1"}},
        {"select -r ;", true, {}},
    };
    for (const auto& s : steps) {
        Host::clearMessages();
        EXPECT_EQ(static_cast<bool>(MGlobal::executeCommand(s.mel)), s.ok) << s.mel;
        EXPECT_EQ(selection(), s.after) << s.mel;
        EXPECT_EQ(Host::messages(Host::MessageKind::Error).size(), s.ok ? 0u : 1u) << s.mel;
    }
    // The modifier runs its MEL on doIt; a deleted node leaves the selection.
    MDGModifier modifier;
    ASSERT_TRUE(modifier.commandToExecute("select -r pSphere1.vtx[0] pCube1;"));
    EXPECT_EQ(selection(), std::vector<std::string>{}) << "nothing happens before doIt";
    ASSERT_TRUE(modifier.doIt());
    EXPECT_EQ(selection(), (std::vector<std::string>{"pSphere1.vtx[0]", "pCube1"}));
    Host::deleteNode(Host::findNode("pCube1"));
    EXPECT_EQ(selection(), (std::vector<std::string>{"pSphere1.vtx[0]"}));
    Host::resetSession();
    EXPECT_EQ(selection(), std::vector<std::string>{});
}

TEST_F(ActiveSelectionTest, IteratorFilterTakesMatchingItemsOrTheirShapes) {
    Host::createNode("mesh", "looseShape");
    MSelectionList list;
    ASSERT_TRUE(list.add("pCube1"));
    ASSERT_TRUE(list.add("looseShape"));
    ASSERT_TRUE(list.add("pSphere1.vtx[2]"));
    const struct {
        MFn::Type filter;
        std::vector<std::string> paths;
    } cases[] = {
        {MFn::kInvalid, {"|pCube1", "|loose|looseShape", "|pSphere1|polySurfaceShape2"}},
        {MFn::kTransform, {"|pCube1"}},
        {MFn::kMesh, {"|pCube1|polySurfaceShape1", "|loose|looseShape"}},
    };
    for (const auto& c : cases) {
        std::vector<std::string> paths;
        MItSelectionList it(list, c.filter);
        for (it.reset(); !it.isDone(); it.next()) {
            MDagPath path;
            ASSERT_TRUE(it.getDagPath(path));
            paths.push_back(path.fullPathName().asChar());
        }
        EXPECT_EQ(paths, c.paths) << static_cast<int>(c.filter);
    }
}

TEST_F(ActiveSelectionTest, PolygonIteratorWalksFacesInOrder) {
    MDagPath path;
    MSelectionList list;
    ASSERT_TRUE(list.add("pCube1"));
    ASSERT_TRUE(list.getDagPath(0, path));
    ASSERT_TRUE(path.extendToShape());
    MStatus status;
    MItMeshPolygon it(path.node(), &status);
    ASSERT_TRUE(status);
    EXPECT_EQ(it.count(), 2u);
    std::vector<std::vector<int>> faces; // walked twice: reset starts over
    for (int pass = 0; pass < 2; ++pass) {
        faces.clear();
        for (it.reset(); !it.isDone(); it.next()) {
            MIntArray vertices;
            ASSERT_TRUE(it.getVertices(vertices));
            EXPECT_EQ(it.polygonVertexCount(), vertices.length());
            EXPECT_EQ(it.index(), static_cast<int>(faces.size()));
            faces.push_back(std::vector<int>(&vertices[0], &vertices[0] + vertices.length()));
        }
    }
    EXPECT_EQ(faces, (std::vector<std::vector<int>>{{0, 1, 2, 3}, {1, 4, 2}}));
    MItMeshPolygon none(MObject::kNullObj, &status);
    EXPECT_FALSE(status);
    EXPECT_TRUE(none.isDone());
}

} // namespace
