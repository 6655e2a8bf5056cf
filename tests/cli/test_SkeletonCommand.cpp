// Runs `kelno skeleton` on a small tree written here and checks chains, hierarchy and failures.
#include <kelno/KTreeSkeleton.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"
#include "support/KTestTrees.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string tempPath(const std::string& name) { return ::testing::TempDir() + "kelno_skeleton_" + name; }

} // namespace

TEST(SkeletonCommand, SmallTreeChainsAndHierarchy) {
    const std::vector<Kelno::KTriMesh> pieces = KelnoTest::makeSmallTree();
    const std::string obj = tempPath("tree.obj"), chainsObj = tempPath("chains.obj");
    ASSERT_TRUE(KelnoTest::writeObj(obj, KelnoTest::mergePieces(pieces)));

    const KelnoTest::ToolRun r = KelnoTest::RunToolLine(
        "skeleton '" + obj + "' --split --iter 50 --dist 0.4 --curves --obj '" + chainsObj + "'");
    ASSERT_EQ(r.exitCode, 0) << r.out;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.at("meshes"), 4);
    // The chains are the core's chains for the same pieces, point for point.
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        Kelno::KTriMeshConnectionInfo conn;
        conn.set(pieces[i]);
        conn.calculate_e2t();
        conn.calculate_t2e();
        Kelno::KVectorArray expected;
        Kelno::KTreeSkeleton::findCenter(pieces[i], conn, 50, 0.4f, expected);
        const nlohmann::json& chain = j.at("chains").at(i);
        ASSERT_EQ(chain.size(), expected.size()) << i;
        ASSERT_GT(chain.size(), 3u) << i;
        for (std::size_t k = 0; k < chain.size(); ++k) {
            const Kelno::KVector& e = expected[static_cast<int>(k)];
            EXPECT_EQ(chain[k], (std::vector<float>{e.x, e.y, e.z})) << "chain " << i << " point " << k;
        }
    }
    const nlohmann::json& h = j.at("curves");
    EXPECT_EQ(h.at("mainBranch"), 0);
    EXPECT_EQ(h.at("parentCurves"), (std::vector<int>{-1, 0, 0, 2}));
    EXPECT_EQ(h.at("parentCVs").at(0), 0);
    std::vector<int> cvCounts;
    for (const auto& c : j.at("chains"))
        cvCounts.push_back(static_cast<int>(c.size()) + 2);
    EXPECT_EQ(h.at("curveNumCVs"), cvCounts);
    // Branch 1 grows from the trunk near y = 4: the parent CV lies in the trunk's lower half.
    const int cv = h.at("parentCVs").at(1);
    EXPECT_GT(cv, 2);
    EXPECT_LT(cv, cvCounts[0] / 2 + 2);

    const std::string polylines = KelnoTest::readBytes(chainsObj);
    std::size_t objects = 0;
    for (std::size_t at = polylines.find("\nl "); at != std::string::npos;
         at = polylines.find("\nl ", at + 1))
        ++objects;
    EXPECT_EQ(objects, 4u);
}

TEST(SkeletonCommand, Failures) {
    const std::string cube = tempPath("cube.obj");
    ASSERT_TRUE(KelnoTest::writeObj(cube, KelnoTest::makeCube()));
    // A closed mesh has the single-point chain (0,0,0), which cannot become a curve.
    KelnoTest::ToolRun r = KelnoTest::RunToolLine("skeleton '" + cube + "'");
    ASSERT_EQ(r.exitCode, 0);
    EXPECT_EQ(nlohmann::json::parse(r.out).at("chains"), nlohmann::json::parse("[[[0,0,0]]]"));
    const struct {
        std::string args;
        std::string message; // the whole of standard error
    } failures[] = {
        {"skeleton '" + cube + "' --curves",
         "kelno: chain 0 of " + cube +
             " cannot become a curve (1 point(s)); the curve command stops there\n"},
        {"skeleton /no/such.obj", "kelno: Failed to open the file: /no/such.obj\n"},
        {"skeleton '" + cube + "' --iter 0",
         "--iter: Value 0 not in range 1 to 1073741824\nRun with --help for more information.\n"},
        {"skeleton '" + cube + "' --dist -1",
         "--dist: Value -1 is not a number of 0 or more\nRun with --help for more information.\n"},
        {"skeleton '" + cube + "' --dist nan",
         "--dist: Value nan is not a number of 0 or more\nRun with --help for more information.\n"},
        {"skeleton '" + cube + "' --dist inf",
         "--dist: Value inf is not a number of 0 or more\nRun with --help for more information.\n"},
    };
    for (const auto& f : failures) {
        r = KelnoTest::RunToolLine(f.args);
        EXPECT_EQ(r.exitCode, 1) << f.args;
        EXPECT_TRUE(r.out.empty()) << f.args;
        EXPECT_EQ(r.err, f.message) << f.args;
    }
}
