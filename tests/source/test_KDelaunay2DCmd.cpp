// KDelaunay2DCmd in the host stand-in: the plug-in is loaded, the command runs with its -points
// string, and the mesh it leaves in the scene (or the error it shows) is checked.
#include "support/KPluginFixture.h"

#include <host/Host.h>

#include <maya/MFnDagNode.h>
#include <maya/MFnMesh.h>
#include <maya/MIntArray.h>
#include <maya/MObject.h>
#include <maya/MPointArray.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

struct Made {
    MStatus status;
    std::vector<std::string> errors;
    std::vector<MObject> meshes; // the mesh shapes in the scene afterwards
};

class Delaunay2DCmdTest : public KelnoTest::PluginTest {
  protected:
    static Made run(const std::vector<std::string>& args) {
        Host::clearMessages();
        Made m;
        m.status = Host::runCommand("KDelaunay2DCmd", args).status;
        m.errors = Host::messages(Host::MessageKind::Error);
        m.meshes = Host::nodesOfType("mesh");
        return m;
    }
    static Made runPoints(const std::string& points) { return run({"-pts", points}); }

    // Each face as its vertex indices, rotated to start at the smallest.
    static std::set<std::vector<int>> faces(const MObject& shape) {
        MFnMesh fn(shape);
        std::set<std::vector<int>> out;
        for (int f = 0; f < fn.numPolygons(); ++f) {
            MIntArray v;
            fn.getPolygonVertices(f, v);
            std::vector<int> face(v.length());
            for (unsigned int i = 0; i < v.length(); ++i)
                face[i] = v[i];
            std::rotate(face.begin(), std::min_element(face.begin(), face.end()), face.end());
            out.insert(face);
        }
        return out;
    }
};

TEST_F(Delaunay2DCmdTest, OneTriangleUnderANewTransform) {
    // Counter-clockwise in (z, x), so facing +y: 0 -> 2 -> 1. A remainder that makes no point is
    // ignored; a point repeating an earlier (z, x) stays a vertex that no face uses.
    const struct {
        const char* flag;
        const char* points;
        int vertices;
    } rows[] = {{"-pts", "0 0 0 1 0 0 0 0 1", 3},
                {"-points", "0 0 0 1 0 0 0 0 1", 3},
                {"-pts", "0 0 0 1 0 0 0 0 1 7 7", 3},
                {"-pts", "0 0 0 1 0 0 0 0 1 0 9 0", 4}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.points);
        Host::resetSession();
        const Made m = run({row.flag, row.points});
        ASSERT_TRUE(m.status);
        EXPECT_TRUE(m.errors.empty());
        ASSERT_EQ(m.meshes.size(), 1u);
        EXPECT_EQ(MFnMesh(m.meshes[0]).numVertices(), row.vertices);
        EXPECT_EQ(faces(m.meshes[0]), (std::set<std::vector<int>>{{0, 2, 1}}));
        EXPECT_TRUE(MFnDagNode(m.meshes[0]).parent(0).hasFn(MFn::kTransform));
    }
}

TEST_F(Delaunay2DCmdTest, PositionsKeepHeightsInSinglePrecisionAndHeightsDoNotChangeFaces) {
    const std::string flat = "0 0 0 2 0 0 0 0 2 2 0 2 1 0 1.25";
    const std::string hilly = "0 5 0 2 -3 0 0 0.1 2 2 7 2 1 -2.5 1.25";
    const Made a = runPoints(flat);
    ASSERT_TRUE(a.status);
    ASSERT_EQ(a.meshes.size(), 1u);
    const std::set<std::vector<int>> flatFaces = faces(a.meshes[0]);
    EXPECT_EQ(flatFaces.size(), 4u);
    Host::resetSession();
    const Made b = runPoints(hilly);
    ASSERT_TRUE(b.status);
    ASSERT_EQ(b.meshes.size(), 1u);
    EXPECT_EQ(faces(b.meshes[0]), flatFaces);
    MPointArray p;
    MFnMesh(b.meshes[0]).getPoints(p);
    ASSERT_EQ(p.length(), 5u);
    EXPECT_EQ(p[2].x, 0.0);
    EXPECT_EQ(p[2].y, static_cast<double>(0.1f)); // stored as the float it was read as
    EXPECT_EQ(p[2].z, 2.0);
    EXPECT_EQ(p[4].y, -2.5);
}

TEST_F(Delaunay2DCmdTest, FailuresShowOneErrorAndLeaveTheSceneUntouched) {
    const struct {
        std::vector<std::string> args;
        const char* error;
    } rows[] = {
        {{}, "KDelaunay2DCmd: At least three points are needed."},
        {{"-pts", ""}, "KDelaunay2DCmd: At least three points are needed."},
        {{"-pts", "0 0 0 1 0 0 0 0"}, "KDelaunay2DCmd: At least three points are needed."},
        {{"-pts", "0 0 0 1 5 1 2 0 2 3 1 3"}, "KDelaunay2DCmd: Mesh construction failed."}, // one line
        {{"-pts", "1 0 1 1 2 1 1 3 1"}, "KDelaunay2DCmd: Mesh construction failed."},       // one place
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        Host::resetSession();
        const std::size_t before = Host::nodesOfType("transform").size();
        const Made m = run(row.args);
        EXPECT_FALSE(m.status);
        EXPECT_EQ(m.errors, std::vector<std::string>{row.error});
        EXPECT_TRUE(m.meshes.empty());
        EXPECT_EQ(Host::nodesOfType("transform").size(), before);
    }
}

} // namespace
