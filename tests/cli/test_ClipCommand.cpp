// `kelno clip` run as a user would: a grid clipped by a small cube in each mode, and bad input.
#include <kelno/KObjSequence.h>

#include "support/KGridAndMotion.h"
#include "support/KTestMeshes.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct ToolRun {
    int exitCode = -1;
    nlohmann::json json;
    std::string err;
};

ToolRun runTool(const std::string& args) {
    const std::string errFile = testing::TempDir() + "kelno_clip_err_" + std::to_string(getpid());
    ToolRun r;
    FILE* pipe = ::popen((std::string(KELNO_TOOL_PATH) + " " + args + " 2>" + errFile).c_str(), "r");
    std::string out;
    char chunk[4096];
    std::size_t got;
    while (pipe && (got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
        out.append(chunk, got);
    const int status = pipe ? ::pclose(pipe) : -1;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (r.exitCode == 0 && !out.empty() && out[0] == '{')
        r.json = nlohmann::json::parse(out);
    std::stringstream err;
    err << std::ifstream(errFile).rdbuf();
    r.err = err.str();
    std::remove(errFile.c_str());
    return r;
}

std::string tempPath(const std::string& name) {
    return testing::TempDir() + "kelno_clip_" + name + "_" + std::to_string(getpid()) + ".obj";
}

std::string writeObj(const std::string& name, const Kelno::KMesh& mesh) {
    const std::string path = tempPath(name);
    std::ofstream f(path);
    f.precision(9);
    for (const Kelno::KVector& p : mesh.positions)
        f << "v " << p.x << " " << p.y << " " << p.z << "\n";
    for (const Kelno::KIntArray& face : mesh.faces) {
        f << "f";
        for (int v : face)
            f << " " << v + 1;
        f << "\n";
    }
    return path;
}

Kelno::KObjMesh readBack(const std::string& path) {
    Kelno::KObjMesh obj;
    EXPECT_TRUE(Kelno::ReadObjFile(path, obj));
    return obj;
}

TEST(ClipCommand, ModesOnAGrid) {
    // The box holds grid vertex 5 at (1, 1) only.
    const Kelno::KMesh grid = KelnoTest::makeGrid();
    Kelno::KMesh cube;
    cube.positions =
        KelnoTest::makeCube(Kelno::KVector(0.9f, 0.9f, -0.1f), Kelno::KVector(1.1f, 1.1f, 0.1f)).positions;
    const std::string gridFile = writeObj("grid", grid), cubeFile = writeObj("cube", cube);
    const std::string out = tempPath("out");

    const struct {
        const char* flags;
        int kept, vertices, inside;
    } cases[] = {
        {"", 5, 16, 4},                           // inside by default
        {"--mode inside", 5, 16, 4},              //
        {"--mode outside", 4, 16, 4},             //
        {"--mode none --vice-versa", 9, 16, 4},   // MESH unchanged
        {"--mode outside --vice-versa", 0, 8, 0}, // the cube (no faces) by the grid's box
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        std::remove(out.c_str());
        const ToolRun r =
            runTool("clip " + gridFile + " --box-of " + cubeFile + " " + c.flags + " --out " + out);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.json["facesKept"], c.kept);
        EXPECT_EQ(r.json["facesInside"], c.inside);
        EXPECT_EQ(r.json["vertices"], c.vertices);
        const Kelno::KObjMesh written = readBack(out);
        EXPECT_EQ(written.polygonCounts.length(), c.kept);
        EXPECT_EQ(written.points.length(), c.vertices);
    }

    // Errors: one line on stderr, exit 1, nothing written.
    std::remove(out.c_str());
    for (const std::string& args :
         {"clip /nonexistent.obj --box-of " + cubeFile + " --out " + out,
          "clip " + gridFile + " --box-of " + cubeFile + " --mode sideways --out " + out,
          "clip " + gridFile + " --out " + out}) {
        SCOPED_TRACE(args);
        const ToolRun r = runTool(args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_FALSE(r.err.empty());
        EXPECT_FALSE(std::ifstream(out).good());
    }
    EXPECT_EQ(runTool("clip --help").exitCode, 0);
    for (const std::string& f : {gridFile, cubeFile})
        std::remove(f.c_str());
}

} // namespace
