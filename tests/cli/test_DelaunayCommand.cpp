// `kelno delaunay` run as a user would, on point files written here: the counts it prints, the
// OBJ it writes (checked against the library's triangulation of the same points) and its errors.
#include <kelno/KDelaunay2D.h>

#include "support/KTestMeshes.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string tempPath(const std::string& name) {
    return testing::TempDir() + "kelno_delaunay_" + name + "_" + std::to_string(getpid());
}

// `kelno delaunay` with the given arguments and standard input.
KelnoTest::ToolRun runTool(std::vector<std::string> args, const std::string& input = std::string()) {
    args.insert(args.begin(), "delaunay");
    return KelnoTest::RunTool(args, input);
}

TEST(DelaunayCommand, CountsAndErrors) {
    const struct {
        const char* name;
        const char* input;
        int exitCode;
        const char* expected; // the JSON's counts, or the error line
    } rows[] = {
        {"oneLine", "0 0 0 1 0 0 0 0 1", 0,
         R"({"pointsRead":3,"pointsUsed":3,"duplicates":0,"nonFinite":0,"valuesIgnored":0,"triangles":1})"},
        {"oneLineRemainder", "0 0 0 1 0 0 0 0 1 5", 0,
         R"({"pointsRead":3,"pointsUsed":3,"duplicates":0,"nonFinite":0,"valuesIgnored":1,"triangles":1})"},
        {"perLine", "# survey\n0 0 0\n\n1 0 0\n  0 7 1\n0 9 0\n1 1 inf\n1 0 1\n", 0,
         R"({"pointsRead":6,"pointsUsed":4,"duplicates":1,"nonFinite":1,"valuesIgnored":0,"triangles":2})"},
        {"eightNumbers", "0 0 0 1 0 0 0 0", 1, "kelno: At least three points are needed.\n"},
        {"empty", "# nothing\n", 1, "kelno: At least three points are needed.\n"},
        {"badNumber", "0 0 0\n1 0 0\n0 0 1e\n", 1, "kelno: line 3: \"1e\" is not a number\n"},
        {"shortLine", "0 0 0\n1 0\n0 0 1\n", 1, "kelno: line 2: expected 3 numbers (x y z), found 2\n"},
        {"oneLineOfPoints", "0 0 0\n1 3 1\n2 -1 2\n", 1,
         "kelno: Mesh construction failed. The points lie on one line or at one place in the (z, x) "
         "plane.\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string file = tempPath(row.name);
        std::ofstream(file) << row.input;
        const KelnoTest::ToolRun r = runTool({file});
        EXPECT_EQ(r.exitCode, row.exitCode);
        if (row.exitCode == 0)
            EXPECT_EQ(nlohmann::json::parse(r.out), nlohmann::json::parse(row.expected)) << r.err;
        else
            EXPECT_EQ(r.err, row.expected);
        std::remove(file.c_str());
    }
    const KelnoTest::ToolRun missing = runTool({tempPath("absent")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos);
}

TEST(DelaunayCommand, ObjAndTrianglesMatchTheLibraryOnStandardInput) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-10.0f, 10.0f);
    std::ostringstream text;
    text.precision(9);
    Kelno::KVectorArray points;
    for (int i = 0; i < 400; ++i) {
        points.push_back(Kelno::KVector(u(rng), u(rng), u(rng)));
        text << points.back().x << " " << points.back().y << " " << points.back().z << "\n";
    }
    const std::string obj = tempPath("mesh") + ".obj";
    const KelnoTest::ToolRun r = runTool({"-", "--triangles", "--obj", obj}, text.str());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const nlohmann::json json = nlohmann::json::parse(r.out);

    Kelno::KFloat2Array plane;
    for (const Kelno::KVector& p : points)
        plane.push_back(Kelno::GroundPlanePoint(p));
    int count = 0;
    Kelno::KIntArray corners, neighbours;
    Kelno::KDelaunay2D(plane, count, corners, neighbours);
    EXPECT_EQ(json["triangles"], count);
    EXPECT_EQ(json["triangleVertices"].get<std::vector<int>>(),
              static_cast<const std::vector<int>&>(corners));

    Kelno::KTriMesh written;
    ASSERT_TRUE(KelnoTest::readObj(obj, written));
    EXPECT_EQ(written.positions, points) << "vertices in input order, heights kept";
    // Faces up: the library's triangles in order, counter-clockwise in (z, x) (test_KDelaunay2D).
    std::vector<int> faces;
    for (const Kelno::KInt3& f : written.triangles)
        faces.insert(faces.end(), {f[0], f[1], f[2]});
    EXPECT_EQ(faces, static_cast<const std::vector<int>&>(corners));
    std::remove(obj.c_str());
}

} // namespace
