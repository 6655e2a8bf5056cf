// KMeshClipper in the host stand-in: a grid clipped by a small cube's box in each mode, the roles
// exchanged, and the "None" copy.
#include <host/Host.h>

#include <maya/MDataBlock.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMesh.h>
#include <maya/MIntArray.h>
#include <maya/MPlug.h>

#include "support/KGridAndMotion.h"
#include "support/KHostMesh.h"
#include "support/KTestMeshes.h"

#include "support/KPluginFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class KMeshClipperTest : public KelnoTest::PluginTest {
  protected:
    void SetUp() override {
        PluginTest::SetUp();
        clipper = Host::createNode("KMeshClipper");
        name = MFnDependencyNode(clipper).name().asChar();
        // The box around grid vertex 5 at (1, 1) only.
        box = KelnoTest::polygons(
            KelnoTest::makeCube(Kelno::KVector(0.9f, 0.9f, -0.1f), Kelno::KVector(1.1f, 1.1f, 0.1f)));
        gridShape = KelnoTest::addShape(KelnoTest::makeGrid());
        boxShape = KelnoTest::addShape(box);
        ASSERT_TRUE(Host::connect(gridShape + ".outMesh", name + ".mesh0"));
        ASSERT_TRUE(Host::connect(boxShape + ".outMesh", name + ".mesh1"));
    }

    // outMesh pulled from the node itself: the clip path leaves it dirty, so a change does not
    // reach a shape downstream once it has pulled (dirtiness stops at a plug already dirty).
    MObject output() { return Host::plug(name + ".outMesh").asMObject(); }
    // Its polygons, as vertex lists.
    std::vector<std::vector<int>> faces() {
        MIntArray counts, connects;
        MFnMesh(output()).getVertices(counts, connects);
        std::vector<std::vector<int>> out;
        unsigned int k = 0;
        for (unsigned int f = 0; f < counts.length(); ++f) {
            out.emplace_back();
            for (int c = 0; c < counts[f]; ++c)
                out.back().push_back(connects[k++]);
        }
        return out;
    }

    MObject clipper;
    Kelno::KMesh box;
    std::string name, gridShape, boxShape;
};

TEST_F(KMeshClipperTest, ModeLabelsAndOtherPlugs) {
    MFnDependencyNode fn(clipper);
    MFnEnumAttribute mode(fn.attribute("deleteMode"));
    EXPECT_EQ(mode.fieldName(1), "Inside AABB");
    EXPECT_EQ(mode.fieldName(2), "Outside AABB");
    MDataBlock block = Host::dataBlock(clipper);
    for (const char* attr : {"deleteMode", "viceVersa", "mesh0", "mesh1"})
        EXPECT_EQ(fn.userNode()->compute(Host::plug(name + "." + attr), block), MS::kUnknownParameter)
            << attr;
}

TEST_F(KMeshClipperTest, ModesAndViceVersa) {
    const std::vector<std::vector<int>> all = {{0, 1, 5, 4},   {1, 2, 6, 5},    {2, 3, 7, 6},
                                               {4, 5, 9, 8},   {5, 6, 10, 9},   {6, 7, 11, 10},
                                               {8, 9, 13, 12}, {9, 10, 14, 13}, {10, 11, 15, 14}};
    auto pick = [&all](std::vector<int> ids) {
        std::vector<std::vector<int>> out;
        for (int f : ids)
            out.push_back(all[f]);
        return out;
    };
    const struct {
        short mode;
        bool viceVersa;
        std::vector<std::vector<int>> faces;
        int vertices;
        bool clean;
    } cases[] = {
        {1, false, pick({2, 5, 6, 7, 8}), 16, false}, // the four faces around vertex 5 go
        {2, false, pick({0, 1, 3, 4}), 16, false},    // only those four stay
        {0, false, all, 16, true},                    // a copy of mesh0
        {0, true, all, 16, true},                     // still mesh0
        {7, false, pick({2, 5, 6, 7, 8}), 16, false}, // other values clip inside
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode << " viceVersa " << c.viceVersa);
        ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(c.mode));
        ASSERT_TRUE(Host::plug(name + ".viceVersa").setValue(c.viceVersa));
        EXPECT_EQ(faces(), c.faces);
        EXPECT_EQ(MFnMesh(output()).numVertices(), c.vertices);
        EXPECT_EQ(Host::dataBlock(clipper).isClean(Host::plug(name + ".outMesh")), c.clean)
            << "only the None path cleans outMesh";
    }
    // The cube clipped by the grid's box: the flat box holds no cube corner (they lie at
    // z = +-0.1), although the box passes through the cube, so Inside keeps all six faces.
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(1)));
    ASSERT_TRUE(Host::plug(name + ".viceVersa").setValue(true));
    EXPECT_EQ(faces().size(), 12u);
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(2)));
    EXPECT_TRUE(faces().empty());
    EXPECT_EQ(MFnMesh(output()).numVertices(), 8) << "vertices are kept";
}

// Through "worldMesh" the box is taken where its transform puts it.
TEST_F(KMeshClipperTest, InputsAreReadInWorldSpace) {
    const std::string transform =
        MFnDependencyNode(MFnDagNode(Host::findNode(boxShape)).parent(0)).name().asChar();
    ASSERT_TRUE(Host::plug(transform + ".translateX").setValue(1.0));
    ASSERT_TRUE(Host::disconnect(boxShape + ".outMesh", name + ".mesh1"));
    ASSERT_TRUE(Host::connect(boxShape + ".worldMesh[0]", name + ".mesh1"));
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(2)));
    // The box now holds vertex 6 at (2, 1): its four faces are the ones kept.
    EXPECT_EQ(faces(),
              (std::vector<std::vector<int>>{{1, 2, 6, 5}, {2, 3, 7, 6}, {5, 6, 10, 9}, {6, 7, 11, 10}}));
}

// Unconnected inputs: no box clips nothing, no mesh gives an empty mesh, in every mode.
TEST_F(KMeshClipperTest, MissingInputs) {
    name = MFnDependencyNode(Host::createNode("KMeshClipper")).name().asChar();
    EXPECT_TRUE(faces().empty());
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(0)));
    EXPECT_TRUE(faces().empty());
    ASSERT_TRUE(Host::connect(gridShape + ".outMesh", name + ".mesh0"));
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(1)));
    EXPECT_EQ(faces().size(), 9u);
    ASSERT_TRUE(Host::plug(name + ".deleteMode").setValue(static_cast<short>(2)));
    EXPECT_TRUE(faces().empty());
    EXPECT_TRUE(Host::messages().empty());
}

} // namespace
