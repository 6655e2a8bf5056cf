// `kelno xform` run as a user would, on OBJ files written here: its numbers are the core's
// per-copy fit on the points as read, and its failures exit 1 with one line.
#include <kelno/KRigidFit.h>

#include "support/KTestRigid.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct ToolRun {
    int exitCode = -1;
    nlohmann::json json;
    std::string err;
};

ToolRun runTool(const std::string& args) {
    const std::string errFile = testing::TempDir() + "kelno_xform_err_" + std::to_string(getpid());
    ToolRun r;
    FILE* pipe = ::popen((std::string(KELNO_TOOL_PATH) + " xform " + args + " 2>" + errFile).c_str(), "r");
    std::string out;
    char chunk[4096];
    std::size_t got;
    while (pipe && (got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
        out.append(chunk, got);
    const int status = pipe ? ::pclose(pipe) : -1;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (r.exitCode == 0)
        r.json = nlohmann::json::parse(out);
    std::stringstream err;
    err << std::ifstream(errFile).rdbuf();
    r.err = err.str();
    std::remove(errFile.c_str());
    return r;
}

// The points as OBJ vertices (9 significant digits: read back to the same floats), one face.
std::string writeObj(const std::string& name, const Kelno::KVectorArray& points) {
    const std::string path = testing::TempDir() + name + "_" + std::to_string(getpid()) + ".obj";
    std::ofstream f(path);
    f.precision(9);
    for (const Kelno::KVector& p : points)
        f << "v " << p.x << " " << p.y << " " << p.z << "\n";
    if (points.size() >= 3)
        f << "f 1 2 3\n";
    return path;
}

TEST(XformCommand, MatchesTheCoreFitPerCopy) {
    std::mt19937 rng(9);
    const Kelno::KVectorArray source = KelnoTest::randomPoints(rng, 25, 3.0f);
    Kelno::KVectorArray target;
    for (int k = 0; k < 3; ++k) {
        const Kelno::KVectorArray copy =
            KelnoTest::moved(rng, source, KelnoTest::randomRigid(rng, 5.0f), 0.01f);
        target.insert(target.end(), copy.begin(), copy.end());
    }
    target.push_back(Kelno::KVector(7, 7, 7)); // not a whole copy: ignored
    const std::string a = writeObj("xform_source", source);
    const std::string b = writeObj("xform_target", target);
    const Kelno::KVector pivot(1.5f, -2, 0.25f);
    const struct {
        std::string options;
        const Kelno::KVector* pivot;
        double order;
    } cases[] = {
        {"", nullptr, 0.0}, {"--order 1", nullptr, 1.0}, {"--order 2 --pivot 1.5 -2 0.25", &pivot, 2.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        const ToolRun r = runTool("--source " + a + " --target " + b + " " + c.options);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.json["copies"], 3);
        EXPECT_EQ(r.json["values"].get<std::vector<double>>(),
                  Kelno::ShapeMatchingMatrices(source, target, c.pivot, c.order));
    }
    const ToolRun shorter = runTool("--source " + b + " --target " + a);
    ASSERT_EQ(shorter.exitCode, 0) << shorter.err;
    EXPECT_EQ(shorter.json["copies"], 0);
    EXPECT_TRUE(shorter.json["values"].empty());
    std::remove(a.c_str());
    std::remove(b.c_str());
}

TEST(XformCommand, Failures) {
    const std::string a = writeObj("xform_ok", {Kelno::KVector(0, 0, 0), Kelno::KVector(1, 0, 0)});
    const std::string empty = writeObj("xform_empty", {});
    const struct {
        std::string args, error;
    } cases[] = {
        {"--source " + a + " --target /nonexistent/b.obj",
         "kelno: Failed to open the file: /nonexistent/b.obj\n"},
        {"--source " + empty + " --target " + a, "kelno: " + empty + " has no vertices\n"},
        {"--source " + a + " --target " + a + " --pivot 1 2",
         "--pivot: At least 3 required but received 2\n"},
        {"--source " + a, "--target is required\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolRun r = runTool(c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.substr(0, c.error.size()), c.error);
    }
    std::remove(a.c_str());
    std::remove(empty.c_str());
}

} // namespace
