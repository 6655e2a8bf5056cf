// `kelno clip` run as a user would: a grid clipped by a small cube in each mode, and bad input.
#include <kelno/KObjSequence.h>

#include "support/KGridAndMotion.h"
#include "support/KTestMeshes.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

std::string tempPath(const std::string& name) {
    return testing::TempDir() + "kelno_clip_" + name + "_" + std::to_string(getpid()) + ".obj";
}

TEST(ClipCommand, ModesOnAGridAndBadInput) {
    // The box holds grid vertex 5 at (1, 1) only.
    const std::string gridFile = tempPath("grid"), cubeFile = tempPath("cube"), out = tempPath("out");
    {
        std::ofstream f(gridFile);
        const Kelno::KMesh grid = KelnoTest::makeGrid();
        for (const Kelno::KVector& p : grid.positions)
            f << "v " << p.x << " " << p.y << " " << p.z << "\n";
        for (const Kelno::KIntArray& face : grid.faces)
            f << "f " << face[0] + 1 << " " << face[1] + 1 << " " << face[2] + 1 << " " << face[3] + 1
              << "\n";
    }
    Kelno::KTriMesh cube =
        KelnoTest::makeCube(Kelno::KVector(0.9f, 0.9f, -0.1f), Kelno::KVector(1.1f, 1.1f, 0.1f));
    cube.triangles.clear();
    ASSERT_TRUE(KelnoTest::writeObj(cubeFile, cube));

    const struct {
        const char* flags;
        int kept, vertices, inside;
    } cases[] = {
        {"", 5, 16, 4},                            // inside by default
        {" --mode outside", 4, 16, 4},             //
        {" --mode none --vice-versa", 9, 16, 4},   // MESH unchanged
        {" --mode outside --vice-versa", 0, 8, 0}, // the cube (no faces) by the grid's box
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flags);
        std::remove(out.c_str());
        const KelnoTest::ToolRun r =
            KelnoTest::RunToolLine("clip " + gridFile + " --box-of " + cubeFile + c.flags + " --out " + out);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const nlohmann::json json = nlohmann::json::parse(r.out);
        EXPECT_EQ(json["facesKept"], c.kept);
        EXPECT_EQ(json["facesInside"], c.inside);
        EXPECT_EQ(json["vertices"], c.vertices);
        Kelno::KObjMesh written;
        ASSERT_TRUE(Kelno::ReadObjFile(out, written));
        EXPECT_EQ(written.polygonCounts.length(), c.kept);
        EXPECT_EQ(written.points.length(), c.vertices);
    }

    // Errors: one line on stderr, exit 1, nothing written.
    std::remove(out.c_str());
    const struct {
        std::string args, error;
    } failures[] = {
        {"/nonexistent.obj --box-of " + cubeFile, "kelno: Failed to open the file: /nonexistent.obj\n"},
        {gridFile + " --box-of " + cubeFile + " --mode sideways", "--mode: "},
        {gridFile, "--box-of is required\n"},
    };
    for (const auto& c : failures) {
        SCOPED_TRACE(c.args);
        const KelnoTest::ToolRun r = KelnoTest::RunToolLine("clip " + c.args + " --out " + out);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err.substr(0, c.error.size()), c.error);
        EXPECT_FALSE(std::ifstream(out).good());
    }
    for (const std::string& f : {gridFile, cubeFile})
        std::remove(f.c_str());
}

} // namespace
