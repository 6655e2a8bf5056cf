// `kelno xform` run as a user would, on OBJ files written here: its numbers are the core's
// per-copy fit on the points as read, and its failures exit 1 with one line.
#include <kelno/KRigidFit.h>

#include "support/KTestMeshes.h"
#include "support/KTestRigid.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

// The points as OBJ vertices (9 significant digits: read back to the same floats).
std::string writeObj(const std::string& name, const Kelno::KVectorArray& points) {
    const std::string path = testing::TempDir() + name + "_" + std::to_string(getpid()) + ".obj";
    Kelno::KTriMesh m;
    m.positions = points;
    EXPECT_TRUE(KelnoTest::writeObj(path, m));
    return path;
}

TEST(XformCommand, MatchesTheCoreFitPerCopyAndReportsFailures) {
    std::mt19937 rng(9);
    const Kelno::KVectorArray source = KelnoTest::randomPoints(rng, 25, 3.0f);
    Kelno::KVectorArray target;
    for (int k = 0; k < 3; ++k) {
        const Kelno::KVectorArray copy =
            KelnoTest::moved(rng, source, KelnoTest::randomRigid(rng, 5.0f), 0.01f);
        target.insert(target.end(), copy.begin(), copy.end());
    }
    target.push_back(Kelno::KVector(7, 7, 7)); // not a whole copy: ignored
    const std::string a = writeObj("xform_source", source), b = writeObj("xform_target", target);
    const std::string empty = writeObj("xform_empty", {});
    const Kelno::KVector pivot(1.5f, -2, 0.25f);
    const struct {
        std::string options;
        const Kelno::KVector* pivot;
        double order;
    } cases[] = {
        {"", nullptr, 0.0}, {" --order 1", nullptr, 1.0}, {" --order 2 --pivot 1.5 -2 0.25", &pivot, 2.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        const KelnoTest::ToolRun r =
            KelnoTest::RunToolLine("xform --source " + a + " --target " + b + c.options);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const nlohmann::json json = nlohmann::json::parse(r.out);
        EXPECT_EQ(json["copies"], 3);
        EXPECT_EQ(json["values"].get<std::vector<double>>(),
                  Kelno::ShapeMatchingMatrices(source, target, c.pivot, c.order));
    }
    const struct {
        std::string args, error;
    } failures[] = {
        {"--source " + b + " --target " + a, "kelno: " + a + " has fewer vertices"},
        {"--source " + a + " --target /nonexistent/b.obj",
         "kelno: Failed to open the file: /nonexistent/b.obj\n"},
        {"--source " + empty + " --target " + a, "kelno: " + empty + " has no vertices\n"},
        {"--source " + a + " --target " + a + " --pivot 1 2",
         "--pivot: At least 3 required but received 2\n"},
        {"--source " + a, "--target is required\n"},
    };
    for (const auto& c : failures) {
        SCOPED_TRACE(c.args);
        const KelnoTest::ToolRun r = KelnoTest::RunToolLine("xform " + c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.substr(0, c.error.size()), c.error); // the whole line where it ends in \n
        EXPECT_TRUE(r.out.empty());
    }
    for (const std::string& f : {a, b, empty})
        std::remove(f.c_str());
}

} // namespace
