// `kelno clip` run as a user would: a grid clipped by a small cube in each mode, and a real scan
// checked against the library's core.
#include <kelno/KMeshClip.h>
#include <kelno/KObjSequence.h>

#include "support/KTestData.h"
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
    // A 3 x 3 grid of unit quads; the box holds its vertex 5 at (1, 1) only.
    Kelno::KMesh grid;
    for (int y = 0; y <= 3; ++y)
        for (int x = 0; x <= 3; ++x)
            grid.positions.push_back(Kelno::KVector(static_cast<float>(x), static_cast<float>(y), 0));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            grid.faces.push_back(Kelno::KIntArray{4 * y + x, 4 * y + x + 1, 4 * y + x + 5, 4 * y + x + 4});
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

TEST(ClipCommand, RealScanMatchesTheCore) {
    KELNO_REQUIRE_DATA("meshes/bunny.obj");
    const std::string bunny = KelnoTest::dataPath("meshes/bunny.obj");
    Kelno::KTriMesh scan;
    ASSERT_TRUE(KelnoTest::readObj(bunny, scan));
    const Kelno::KBoundingBox whole = scan.boundingBox(true);
    // A box over the lower half of the scan, given as a two-point mesh.
    Kelno::KMesh corners;
    corners.positions = {whole.min(),
                         whole.min() + Kelno::KVector(whole.size().x, whole.size().y * 0.5f, whole.size().z)};
    const std::string boxFile = writeObj("box", corners), out = tempPath("bunny");
    const ToolRun in = runTool("clip " + bunny + " --box-of " + boxFile + " --out " + out);
    ASSERT_EQ(in.exitCode, 0) << in.err;
    const ToolRun outside =
        runTool("clip " + bunny + " --box-of " + boxFile + " --mode outside --out " + out);
    ASSERT_EQ(outside.exitCode, 0) << outside.err;
    const int faces = in.json["faces"];
    EXPECT_EQ(static_cast<int>(in.json["facesKept"]) + static_cast<int>(outside.json["facesKept"]), faces);
    EXPECT_GT(in.json["facesInside"], 1000);
    EXPECT_GT(in.json["facesOutside"], 1000);

    // The same count from the core on the same file and box (the box read back as written).
    Kelno::KObjMesh obj = readBack(bunny);
    Kelno::RemoveUnbuildableFaces(obj);
    Kelno::KMesh mesh;
    for (const Kelno::KObjPoint& p : obj.points)
        mesh.positions.push_back(
            Kelno::KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    int first = 0;
    for (int count : obj.polygonCounts) {
        mesh.faces.push_back(Kelno::KIntArray(obj.polygonConnects.begin() + first,
                                              obj.polygonConnects.begin() + first + count));
        first += count;
    }
    Kelno::KObjMesh boxObj = readBack(boxFile);
    Kelno::KBoundingBox box;
    for (const Kelno::KObjPoint& p : boxObj.points)
        box.expand(Kelno::KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    Kelno::KIntArray ids;
    Kelno::FacesToClip(mesh, box, Kelno::KClipMode::InsideBox, ids);
    EXPECT_EQ(in.json["facesRemoved"], ids.length());
    EXPECT_EQ(readBack(out).polygonCounts.length(), outside.json["facesKept"]);
    for (const std::string& f : {boxFile, out})
        std::remove(f.c_str());
}

} // namespace
