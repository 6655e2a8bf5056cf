// KGetXForm in the host stand-in: the plug-in is loaded, meshes are built from point sets, and the
// 16 numbers per copy it returns are checked against the core fit on the same points.
#include <kelno/KRigidFit.h>

#include "support/KTestRigid.h"

#include <host/Host.h>

#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include "support/KPluginFixture.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace Kelno;

namespace {

// A mesh node `name` (shape `name`Shape) over the points, faces fanned from vertex 0.
void makeMesh(const std::string& name, const KVectorArray& points) {
    MPointArray vertices;
    for (const KVector& p : points)
        vertices.append(MPoint(p.x, p.y, p.z));
    MIntArray counts, corners;
    for (int i = 1; i + 1 < points.length(); ++i) {
        counts.append(3);
        for (int v : {0, i, i + 1})
            corners.append(v);
    }
    MObject transform = MFnMesh().create(vertices.length(), counts.length(), vertices, counts, corners);
    MFnDependencyNode(transform).setName(name.c_str());
    MFnDependencyNode(MFnDagNode(transform).child(0)).setName((name + "Shape").c_str());
}

class GetXFormTest : public KelnoTest::PluginTest {
  protected:
    void SetUp() override {
        PluginTest::SetUp();
        std::mt19937 rng(3);
        source = KelnoTest::randomPoints(rng, 40, 2.0f, KVector(1, 0, -2));
        for (int k = 0; k < 3; ++k) {
            const KVectorArray copy = KelnoTest::moved(rng, source, KelnoTest::randomRigid(rng, 5.0f));
            copies.insert(copies.end(), copy.begin(), copy.end());
        }
        makeMesh("src", source);
        makeMesh("copies", copies);
    }

    static Host::CommandResult run(const std::vector<std::string>& args) {
        Host::clearMessages();
        return Host::runCommand("KGetXForm", args);
    }
    static std::string lastError() {
        const std::vector<std::string> errors = Host::messages(Host::MessageKind::Error);
        return errors.empty() ? std::string() : errors.back();
    }

    KVectorArray source, copies;
};

// The numbers are the core's per-copy fit of the same points; names of a transform or a shape.
TEST_F(GetXFormTest, OneMatrixPerCopyWithOrderAndPivot) {
    const KVector pivot(0.5f, -1.0f, 2.0f);
    const struct {
        std::vector<std::string> args;
        double order;
        bool pivoted;
    } cases[] = {
        {{"-sm", "src", "-tMeshName", "copiesShape"}, 0.0, false},
        {{"-sMeshName", "srcShape", "-tm", "copies", "-order", "1"}, 1.0, false},
        {{"-sm", "src", "-tm", "copies", "-od", "0.5"}, 0.5, false},
        {{"-sm", "src", "-tm", "copies", "-xPv", "0.5", "-yPv", "-1"}, 0.0, false}, // two of three: no pivot
        {{"-sm", "src", "-tm", "copies", "-zPivot", "2", "-od", "1", "-xPivot", "0.5", "-yPv", "-1"},
         1.0,
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        const Host::CommandResult r = run(c.args);
        ASSERT_TRUE(r.status) << lastError();
        EXPECT_TRUE(r.isArray);
        EXPECT_EQ(r.numbers.size(), 48u);
        EXPECT_EQ(r.numbers, ShapeMatchingMatrices(source, copies, c.pivoted ? &pivot : nullptr, c.order));
    }
}

TEST_F(GetXFormTest, BadInputIsReported) {
    Host::createNode("transform", "emptyGroup");
    const std::vector<double> zeros(16, 0.0);
    const struct {
        std::vector<std::string> args;
        std::string error;
        bool zeros; // the 16 zeros are set as the result
    } cases[] = {
        {{"-sm"}, "Failed to get the input parameters.", false},
        {{"-sm", "src", "-bogus", "1"}, "Failed to get the input parameters.", false},
        {{}, "[KGetXForm] Invalid input data.", true},
        {{"-sm", "src"}, "[KGetXForm] Invalid input data.", true},
        {{"-sm", "src", "-tm", "nosuch"}, "[KGetXForm] Invalid input data.", true},
        {{"-sm", "emptyGroup", "-tm", "src"}, "[KGetXForm] Invalid input data.", true},
        {{"-tm", "src", "-sm", ""}, "[KGetXForm] Invalid input data.", true},
        {{"-sm", "copies", "-tm", "src"}, "[KGetXForm] Invalid input data.", true}, // target too small
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        const Host::CommandResult r = run(c.args);
        EXPECT_EQ(r.status, MS::kFailure);
        EXPECT_EQ(lastError(), c.error);
        if (c.zeros) {
            EXPECT_EQ(r.numbers, zeros);
        }
    }
}

} // namespace
