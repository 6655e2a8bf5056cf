// The collision cores: the segment-triangle test's boundary rules, the edge search against a
// brute-force reference on random and real meshes, the vertices chosen from flagged edges, the
// inside test and the face modes.
#include <kelno/KCollision.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"

#include <gtest/gtest.h>

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace Kelno;
using namespace KelnoTest;

namespace {

struct EdgeSearch {
    KTriMeshConnectionInfo connections;
    KIntArray hit;
};

// The command's indexing: tree (10, 10), then t2v, v2e, e2v; every form of the search must
// flag the same edges.
EdgeSearch searchEdges(const KTriMesh& mesh) {
    EdgeSearch s;
    KTriMeshDistTree tree(10, 10);
    tree.set(mesh);
    s.connections.set(mesh);
    s.connections.calculate_t2v();
    s.connections.calculate_v2e();
    s.connections.calculate_e2v();
    FindIntersectingEdges(mesh, tree, s.connections, s.hit);
    KIntArray stepwise, brute;
    FindIntersectingEdgesStepwise(mesh, tree, s.connections, stepwise);
    EXPECT_EQ(s.hit, stepwise);
    if (mesh.triangleCount() <= 4000) {
        FindIntersectingEdgesBruteForce(mesh, s.connections, brute);
        EXPECT_EQ(s.hit, brute);
    }
    return s;
}

TEST(KCollision, FastInverseSqrtIsTheOneNewtonStepApproximation) {
    // Not exact, and not to be: one Newton step leaves about 1.7e-3 relative error at most.
    for (float x : {1.0f, 2.0f, 0.25f, 1e-30f, 3e7f})
        EXPECT_NEAR(FastInverseSqrt(x) * std::sqrt(x), 1.0f, 2e-3f) << x;
    EXPECT_EQ(FastInverseSqrt(1.0f), 0.99830717f);
}

TEST(KCollision, SegmentTriangleBoundaryRules) {
    // Triangle in the plane z = 0 covering the lower left half of the square [0, 2]^2.
    const KVector a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    const struct {
        const char* what;
        KVector p0, p1;
        bool hit;
    } cases[] = {
        {"crossing the interior", {0.5f, 0.5f, -1}, {0.5f, 0.5f, 1}, true},
        {"crossing from the back", {0.5f, 0.5f, 1}, {0.5f, 0.5f, -1}, true},
        {"stopping short", {0.5f, 0.5f, -1}, {0.5f, 0.5f, -0.1f}, false},
        {"starting on the triangle (P0)", {0.5f, 0.5f, 0}, {0.5f, 0.5f, 1}, false},
        // t counts in units of the approximated direction, which is never longer than 1: a
        // crossing exactly at P1 lands just past the accepted range, one just before it counts.
        {"ending on the triangle (P1)", {0.5f, 0.5f, -1}, {0.5f, 0.5f, 0}, false},
        {"ending just past it", {0.5f, 0.5f, -1}, {0.5f, 0.5f, 0.005f}, true},
        {"ending 0.1% short of it", {0.5f, 0.5f, -1}, {0.5f, 0.5f, -0.001f}, false},
        {"passing beside it", {1.5f, 1.5f, -1}, {1.5f, 1.5f, 1}, false},
        {"through a corner", {0, 0, -1}, {0, 0, 1}, true},
        {"lying in its plane", {-1, 0.5f, 0}, {3, 0.5f, 0}, false},
        {"degenerate edge on it", {0.5f, 0.5f, 0}, {0.5f, 0.5f, 0}, false},
    };
    for (const auto& c0 : cases)
        EXPECT_EQ(SegmentPiercesTriangle(c0.p0, c0.p1, a, b, c), c0.hit) << c0.what;
}

TEST(KCollision, OverlappingCubesFlagEdgesOnBothAndClosedMeshesNone) {
    const KTriMesh cube = makeCube();
    EXPECT_EQ(CountHits(searchEdges(cube).hit), 0) << "adjacent triangles are never tested";
    EXPECT_EQ(CountHits(searchEdges(makeTorus(24, 12)).hit), 0);
    const KTriMesh apart = mergePieces({cube, makeCube(KVector(3, 3, 3), KVector(4, 4, 4))});
    EXPECT_EQ(CountHits(searchEdges(apart).hit), 0);
    // The second cube is shifted so its corner region pokes through the first one's faces.
    const KTriMesh pair = mergePieces({cube, makeCube(KVector(0.2f, 0.3f, 0.4f), KVector(2.2f, 2.3f, 2.4f))});
    EdgeSearch s = searchEdges(pair);
    EXPECT_GT(CountHits(s.hit), 0);
    KIntArray vertices;
    CollidingVertices(s.connections, s.hit, pair.vertexCount(), vertices);
    bool onFirst = false, onSecond = false;
    for (int v : vertices) {
        (v < 8 ? onFirst : onSecond) = true;
        bool touches = false;
        for (int e : s.connections.v2e[v])
            touches = touches || s.hit[e] != 0;
        EXPECT_TRUE(touches) << v;
    }
    EXPECT_TRUE(onFirst && onSecond);
    EXPECT_TRUE(std::is_sorted(vertices.begin(), vertices.end()));
}

TEST(KCollision, AnEdgeOrientedAwayFromATriangleItRestsOnIsNotFlagged) {
    // A small triangle whose edge (3, 4) rests with one end on a big triangle and crosses it
    // slightly (by 0.5% of its length) at the other.
    const auto mesh = [](bool restsAtStart) {
        KTriMesh m;
        m.positions = {KVector(-2, -2, 0), KVector(2, -2, 0), KVector(0, 3, 0)};
        m.triangles.push_back(KInt3{{0, 1, 2}});
        const KVector onPlane(0.1f, 0.2f, 0), above(0.1f, 0.2f, 1), aside(0.3f, 0.2f, 1);
        const KVector below(0.1f, 0.2f, -0.005f);
        // Edges are oriented in the winding of their first triangle: (3, 4) starts at vertex 3.
        m.positions.push_back(restsAtStart ? onPlane : above);
        m.positions.push_back(restsAtStart ? above : below);
        m.positions.push_back(aside);
        m.triangles.push_back(KInt3{{3, 4, 5}});
        return m;
    };
    EdgeSearch atStart = searchEdges(mesh(true));
    EdgeSearch atEnd = searchEdges(mesh(false));
    ASSERT_EQ(atEnd.connections.e2v[3], (KInt2{{3, 4}}));
    EXPECT_EQ(atStart.hit[3], 0);
    EXPECT_EQ(atEnd.hit[3], 1);
}

TEST(KCollision, RandomSoupsAndInterpenetratingShapesMatchBruteForce) {
    std::mt19937 rng(7);
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        KTriMesh soup = makeTriangleSoup(400, 0.3f, 100 + round);
        // Weld some corners so adjacency removal is exercised on shared vertex indices.
        std::uniform_int_distribution<int> pick(0, soup.vertexCount() - 1);
        for (int k = 0; k < 200; ++k)
            soup.triangles[k][k % 3] = pick(rng);
        if (round == 5) {
            // Edges with a NaN or infinite end, and triangles the tree leaves out.
            soup.positions[3].x = std::numeric_limits<float>::quiet_NaN();
            soup.positions[40].y = std::numeric_limits<float>::infinity();
            soup.positions[41] = KVector(-1e38f, 1e38f, 0.0f);
        }
        searchEdges(soup);
    }
    // Two thick linked tori whose tubes pass through each other.
    KTriMesh torus = makeTorus(40, 16, 2.0f, 1.2f);
    KTriMesh tilted = torus;
    for (KVector& p : tilted.positions)
        p = KVector(p.x + 2.0f, p.z, p.y);
    const KTriMesh linkedMesh = mergePieces({torus, tilted});
    EdgeSearch linked = searchEdges(linkedMesh);
    EXPECT_GT(CountHits(linked.hit), 0);
    // Coplanar, overlapping sheets: an edge lying in another triangle's plane never counts.
    KTriMesh flat = subdivideMidpoint(subdivideMidpoint(makeCube()));
    flat.triangles.resize(32); // the face z = -1 only
    KTriMesh slid = flat;
    for (KVector& p : slid.positions)
        p += KVector(0.3f, 0.1f, 0);
    KTriMesh sheets = mergePieces({flat, slid});
    EXPECT_EQ(CountHits(searchEdges(sheets).hit), 0);
    // Connection tables built over a mesh with one triangle more than the tree's: no edge has an
    // owning leaf, each walks the tree itself, and the flags stay those of the stepwise form.
    KTriMeshDistTree tree(linkedMesh, 10, 10);
    KTriMesh longer = linkedMesh;
    longer.triangles.push_back(KInt3{{0, 17, 900}});
    KTriMeshConnectionInfo connections;
    connections.set(longer);
    connections.calculate_e2v();
    KIntArray fast, stepwise;
    FindIntersectingEdges(linkedMesh, tree, connections, fast);
    FindIntersectingEdgesStepwise(linkedMesh, tree, connections, stepwise);
    EXPECT_EQ(fast, stepwise);
    // The tables number the extra triangle's new edges last: the others keep their flags.
    ASSERT_GT(fast.length(), linked.hit.length());
    EXPECT_TRUE(std::equal(linked.hit.begin(), linked.hit.end(), fast.begin()));
}

TEST(KCollision, ThreadCountDoesNotChangeTheFlaggedEdges) {
    KTriMesh mesh = mergePieces({makeTorus(60, 20), makeTorus(50, 18, 2.2f, 0.6f)});
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    EdgeSearch one = searchEdges(mesh);
    omp_set_num_threads(3);
    EdgeSearch three = searchEdges(mesh);
    omp_set_num_threads(threads);
    EXPECT_EQ(one.hit, three.hit);
    EXPECT_GT(CountHits(one.hit), 0);
}

TEST(KCollision, RealScanAgainstItsShiftedCopy) {
    KELNO_REQUIRE_DATA("meshes/bunny.obj");
    KTriMesh bunny;
    ASSERT_TRUE(readObj(dataPath("meshes/bunny.obj"), bunny));
    KTriMesh shifted = bunny;
    const KVector size = bunny.boundingBox(true).size();
    for (KVector& p : shifted.positions)
        p += size * 0.1f;
    EdgeSearch s = searchEdges(mergePieces({bunny, shifted})); // fast versus stepwise on 140k triangles
    EXPECT_GT(CountHits(s.hit), 0);
}

TEST(KCollision, InsideTestAndFaceModes) {
    const KTriMesh cube = makeCube();
    KTriMeshDistTree tree(cube, 10, 10);
    const struct {
        KVector p;
        bool inside;
    } points[] = {
        {{0, 0, 0}, true},     {{0.9f, 0.1f, -0.5f}, true}, {{1, 0.2f, 0.3f}, true} /* on the surface */,
        {{1.5f, 0, 0}, false}, {{0, -3, 0}, false},         {{2e30f, 0, 0}, false} /* beyond 1e30 */};
    for (const auto& c : points)
        EXPECT_EQ(IsInsideVertex(c.p, cube, tree), c.inside) << c.p.x << " " << c.p.y << " " << c.p.z;
    KTriMeshDistTree empty(10, 10);
    EXPECT_FALSE(IsInsideVertex(KVector(), KTriMesh(), empty)) << "no colliders: outside";
    KTriMesh target;
    target.positions = {KVector(0, 0, 0), KVector(0.5f, 0, 0), KVector(3, 0, 0), KVector(4, 0, 0)};
    KIntArray inside;
    FindInsideVertices(target, cube, tree, inside);
    EXPECT_EQ(inside, (KIntArray{0, 1}));
    KIntArray flags(4);
    for (int v : inside)
        flags[v] = 1;
    const KIntArrayList polygons = {{0, 1}, {0, 2}, {2, 3}, {}, {1, 9}};
    const struct {
        unsigned int mode;
        KIntArray faces;
    } modes[] = {{0, {}}, {1, {}}, {2, {0, 3}}, {3, {0, 1, 4}}, {4, {1, 4}}, {5, {}}};
    for (const auto& m : modes) {
        KIntArray faces;
        SelectFacesByMode(polygons, flags, m.mode, faces);
        EXPECT_EQ(faces, m.faces) << "mode " << m.mode;
    }
}

} // namespace
