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

std::vector<double> flat(const KMatrix& m) { return std::vector<double>(m.data(), m.data() + 16); }

class GetXFormTest : public KelnoTest::PluginTest {
  protected:
    void SetUp() override {
        PluginTest::SetUp();
        std::mt19937 rng(3);
        source = KelnoTest::randomPoints(rng, 40, 2.0f, KVector(1, 0, -2));
        for (int k = 0; k < 3; ++k) {
            motions.push_back(KelnoTest::randomRigid(rng, 5.0f));
            const KVectorArray copy = KelnoTest::moved(rng, source, motions.back());
            copies.insert(copies.end(), copy.begin(), copy.end());
        }
        makeMesh("src", source);
        makeMesh("copies", copies);
        makeMesh("first", KVectorArray(copies.begin(), copies.begin() + source.length()));
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
    std::vector<KMatrix> motions;
};

TEST_F(GetXFormTest, IdenticalMeshesGiveTheIdentity) {
    makeMesh("same", source);
    for (const char* target : {"src", "same", "sameShape"}) {
        const Host::CommandResult r = run({"-sm", "src", "-tMeshName", target});
        ASSERT_TRUE(r.status) << target;
        EXPECT_TRUE(r.isArray);
        EXPECT_EQ(r.numbers, flat(KMatrix())) << target;
    }
}

TEST_F(GetXFormTest, OneMatrixPerCopyWithOrderAndPivot) {
    const KVector pivot(0.5f, -1.0f, 2.0f);
    const struct {
        std::vector<std::string> extra;
        bool transposed, pivoted;
    } cases[] = {
        {{}, false, false},
        {{"-order", "1"}, true, false},
        {{"-od", "1.0"}, true, false},
        {{"-od", "2.0"}, false, false},
        {{"-od", "0.5"}, false, false},
        {{"-xPv", "0.5", "-yPivot", "-1", "-zPv", "2"}, false, true},
        {{"-xPv", "0.5", "-yPv", "-1"}, false, false}, // two of three: no pivot
        {{"-zPivot", "2", "-od", "1", "-xPivot", "0.5", "-yPv", "-1"}, true, true},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"-sm", "src", "-tm", "copies"};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        SCOPED_TRACE(testing::PrintToString(c.extra));
        const Host::CommandResult r = run(args);
        ASSERT_TRUE(r.status) << lastError();
        ASSERT_EQ(r.numbers.size(), 48u);
        for (int k = 0; k < 3; ++k) {
            const KVectorArray run(copies.begin() + 40 * k, copies.begin() + 40 * (k + 1));
            KMatrix m =
                c.pivoted ? ShapeMatchingMatrix(source, run, pivot) : ShapeMatchingMatrix(source, run);
            if (!c.pivoted) {
                for (int e = 0; e < 16; ++e)
                    EXPECT_NEAR(m.data()[e], motions[k].data()[e], 1e-4);
            }
            if (c.transposed)
                m = m.transpose();
            EXPECT_EQ(std::vector<double>(r.numbers.begin() + 16 * k, r.numbers.begin() + 16 * (k + 1)),
                      flat(m));
        }
        // The first copy alone gives the first 16 numbers.
        args[3] = "first";
        const Host::CommandResult single = run(args);
        ASSERT_TRUE(single.status);
        EXPECT_EQ(single.numbers, std::vector<double>(r.numbers.begin(), r.numbers.begin() + 16));
    }
    // A target shorter than the source holds no copy.
    const Host::CommandResult none = run({"-sm", "copies", "-tm", "src"});
    EXPECT_TRUE(none.status);
    EXPECT_TRUE(none.numbers.empty());
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
