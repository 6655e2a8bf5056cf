// `kelno check-collision` and `kelno inside` run as a user would on small OBJ files written
// here, checked against the library's cores (which test_KCollision runs on a real scan).
#include <kelno/KCollision.h>
#include <kelno/KTriMeshDistTree.h>

#include "support/KTestMeshes.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string writeObj(const std::string& name, const Kelno::KTriMesh& mesh) {
    const std::string path = testing::TempDir() + name + "_" + std::to_string(getpid()) + ".obj";
    EXPECT_TRUE(KelnoTest::writeObj(path, mesh));
    return path;
}

TEST(CollisionTool, CheckCollisionOnTwoCubesAndTheEdgeFile) {
    const Kelno::KTriMesh a = KelnoTest::makeCube();
    const Kelno::KTriMesh b =
        KelnoTest::makeCube(Kelno::KVector(0.2f, 0.3f, 0.4f), Kelno::KVector(2.2f, 2.3f, 2.4f));
    const std::string fa = writeObj("cubeA", a), fb = writeObj("cubeB", b);
    const std::string edges = testing::TempDir() + "edges_" + std::to_string(getpid()) + ".obj";
    const KelnoTest::ToolRun run =
        KelnoTest::RunToolLine("check-collision " + fa + " " + fb + " --obj " + edges);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json json = nlohmann::json::parse(run.out);
    // The count and the per-file vertex lists are the cores' on the two meshes merged in order.
    const Kelno::KTriMesh m = KelnoTest::mergePieces({a, b});
    Kelno::KTriMeshDistTree tree(m, 10, 10);
    Kelno::KTriMeshConnectionInfo c;
    c.set(m);
    c.calculate_v2e();
    c.calculate_e2v();
    Kelno::KIntArray hit, vertices;
    Kelno::FindIntersectingEdges(m, tree, c, hit);
    Kelno::CollidingVertices(c, hit, m.vertexCount(), vertices);
    EXPECT_EQ(json.at("intersectingEdges").get<int>(), Kelno::CountHits(hit));
    std::vector<int> first, second;
    for (int v : vertices)
        (v < a.vertexCount() ? first : second).push_back(v < a.vertexCount() ? v : v - a.vertexCount());
    ASSERT_EQ(json.at("vertices").size(), 2u);
    EXPECT_EQ(json["vertices"][0].at("indices").get<std::vector<int>>(), first);
    EXPECT_EQ(json["vertices"][1].at("indices").get<std::vector<int>>(), second);
    EXPECT_FALSE(first.empty() || second.empty());
    EXPECT_EQ(json["vertices"][1].at("file"), fb);
    std::ifstream in(edges);
    int lines = 0;
    for (std::string line; std::getline(in, line);)
        lines += line.rfind("l ", 0) == 0 ? 1 : 0;
    EXPECT_EQ(lines, json.at("intersectingEdges").get<int>());

    const KelnoTest::ToolRun missing =
        KelnoTest::RunToolLine("check-collision " + fa + " /nonexistent/mesh.obj");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("/nonexistent/mesh.obj"), std::string::npos) << missing.err;
    for (const std::string& f : {fa, fb, edges})
        std::remove(f.c_str());
}

TEST(CollisionTool, InsideFollowsTheModes) {
    // Target: a cube from -2 to 0 (vertex 7 at the origin); collider: a cube holding that corner.
    const Kelno::KTriMesh target = KelnoTest::makeCube(Kelno::KVector(-2, -2, -2), Kelno::KVector(0, 0, 0));
    const Kelno::KTriMesh collider =
        KelnoTest::makeCube(Kelno::KVector(-0.5f, -0.5f, -0.5f), Kelno::KVector(1, 1, 1));
    const std::string ft = writeObj("target", target), fc = writeObj("collider", collider);
    // Each triangle of the file is one polygon: modes 3 and 4 list those that use vertex 7.
    std::vector<int> withSeven;
    for (int t = 0; t < target.triangleCount(); ++t)
        if (target.triangles[t][0] == 7 || target.triangles[t][1] == 7 || target.triangles[t][2] == 7)
            withSeven.push_back(t);
    const struct {
        std::string mode;
        std::vector<int> vertices, faces;
    } cases[] = {{"", {7}, {}},         {"--mode 0", {}, {}},         {"--mode 1", {7}, {}},
                 {"--mode 2", {7}, {}}, {"--mode 3", {7}, withSeven}, {"--mode 4", {7}, withSeven}};
    for (const auto& c : cases) {
        const KelnoTest::ToolRun run =
            KelnoTest::RunToolLine("inside --mesh " + ft + " --colliders " + fc + " " + fc + " " + c.mode);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const nlohmann::json json = nlohmann::json::parse(run.out);
        EXPECT_EQ(json.at("insideVertices").get<std::vector<int>>(), c.vertices) << c.mode;
        EXPECT_EQ(json.at("faces").get<std::vector<int>>(), c.faces) << c.mode;
    }
    for (const std::string& f : {ft, fc})
        std::remove(f.c_str());
}

} // namespace
