#include <kelno/KTriMeshDistTree.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Kelno;
using namespace KelnoTest;

namespace {

using Tree = KTriMeshDistTree;

// ---------------------------------------------------------------------------------------------
// Independent double-precision reference for one triangle: the plane projection when it falls
// inside, otherwise the nearest point of the three edges.

struct D3 {
    double x, y, z;
};
D3 d3(const KVector& v) { return {v.x, v.y, v.z}; }
D3 operator-(D3 a, D3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
D3 operator+(D3 a, D3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
D3 operator*(D3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double dot(D3 a, D3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

D3 closestOnSegment(D3 p, D3 a, D3 b) {
    const D3 ab = b - a;
    const double len2 = dot(ab, ab);
    const double u = len2 > 0 ? std::min(1.0, std::max(0.0, dot(p - a, ab) / len2)) : 0.0;
    return a + ab * u;
}

D3 referenceClosest(const KVector& pf, const KVector& c0, const KVector& c1, const KVector& c2) {
    const D3 p = d3(pf), a = d3(c0), b = d3(c1), c = d3(c2);
    const D3 e0 = b - a, e1 = c - a, ap = p - a;
    const double a00 = dot(e0, e0), a01 = dot(e0, e1), a11 = dot(e1, e1);
    const double det = a00 * a11 - a01 * a01;
    if (det > 1e-12 * a00 * a11) {
        const double b0 = dot(ap, e0), b1 = dot(ap, e1);
        const double u = (a11 * b0 - a01 * b1) / det, v = (a00 * b1 - a01 * b0) / det;
        if (u >= 0 && v >= 0 && u + v <= 1)
            return a + e0 * u + e1 * v;
    }
    D3 best = closestOnSegment(p, a, b);
    for (const D3& q : {closestOnSegment(p, b, c), closestOnSegment(p, c, a)}) {
        if (dot(q - p, q - p) < dot(best - p, best - p))
            best = q;
    }
    return best;
}

KVector fromWeights(const KVector& c0, const KVector& c1, const KVector& c2, float w0, float w1) {
    return c0 * w0 + c1 * w1 + c2 * (1.0f - w0 - w1);
}

// ---------------------------------------------------------------------------------------------
// Brute force over the whole mesh with the tree's own per-triangle values and the tie rule.

struct Answer {
    int triangle = -1;
    float d2 = 0, w0 = 0, w1 = 0;
};

Answer bruteClosest(const KTriMesh& m, const KVector& p, float maxDistance) {
    Answer best;
    if (!(maxDistance >= 0))
        return best;
    float limit = maxDistance * maxDistance;
    for (int t = 0; t < m.triangleCount(); ++t) {
        const KInt3& tri = m.triangles[t];
        if (tri[0] < 0 || tri[1] < 0 || tri[2] < 0 || tri[0] >= m.vertexCount() ||
            tri[1] >= m.vertexCount() || tri[2] >= m.vertexCount())
            continue;
        float w0, w1;
        const float d2 = Tree::closestPointOnTriangle(p, m.positions[tri[0]], m.positions[tri[1]],
                                                      m.positions[tri[2]], w0, w1);
        if (d2 <= limit) { // later candidates win ties
            limit = d2;
            best.triangle = t;
            best.d2 = d2;
            best.w0 = w0;
            best.w1 = w1;
        }
    }
    return best;
}

KIntArray bruteBox(const KTriMesh& m, const KBoundingBox& box) {
    KIntArray out;
    for (int t = 0; t < m.triangleCount(); ++t) {
        KBoundingBox tb;
        for (int k = 0; k < 3; ++k)
            tb.expand(m.positions[m.triangles[t][k]]);
        if (tb.overlaps(box))
            out.push_back(t);
    }
    return out;
}

std::vector<KVector> queryPoints(const KTriMesh& m, int count, unsigned seed, float grow = 0.1f) {
    const KBoundingBox b = m.boundingBox(true);
    const KVector lo = b.min() - b.size() * grow, size = b.size() * (1.0f + 2.0f * grow);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    std::vector<KVector> pts;
    for (int i = 0; i < count; ++i)
        pts.push_back(KVector(lo.x + size.x * u(rng), lo.y + size.y * u(rng), lo.z + size.z * u(rng)));
    return pts;
}

// The tree must give exactly the brute-force answer: triangle, weights and point, bit for bit.
void expectMatchesBruteForce(const KTriMesh& m, const Tree& tree, const std::vector<KVector>& pts,
                             float maxDistance = 1e30f) {
    int mismatches = 0;
    for (const KVector& p : pts) {
        const Answer want = bruteClosest(m, p, maxDistance);
        KVector closest(7, 7, 7);
        int tri = -5;
        float w0 = -1, w1 = -1;
        const bool found = tree.getClosestPoint(p, closest, tri, w0, w1, maxDistance);
        EXPECT_EQ(found, want.triangle >= 0);
        if (want.triangle < 0) {
            EXPECT_EQ(tri, -5) << "outputs are left alone when nothing is found";
            continue;
        }
        if (tri != want.triangle || w0 != want.w0 || w1 != want.w1) {
            if (++mismatches <= 5)
                ADD_FAILURE() << "query (" << p.x << ", " << p.y << ", " << p.z << "): tree " << tri << " ("
                              << w0 << ", " << w1 << ") brute force " << want.triangle << " (" << want.w0
                              << ", " << want.w1 << ")";
            continue;
        }
        const KInt3& t = m.triangles[tri];
        EXPECT_EQ(closest, fromWeights(m.positions[t[0]], m.positions[t[1]], m.positions[t[2]], w0, w1));
    }
    EXPECT_EQ(mismatches, 0);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// One triangle

TEST(KTriMeshDistTreeTriangle, EveryVoronoiRegionMatchesTheReference) {
    const KVector c0(0, 0, 0), c1(4, 0, 0), c2(0, 3, 0);
    struct Case {
        KVector p;
        KVector expect;
    };
    const Case cases[] = {
        {KVector(-1, -1, 2), c0},                     // corner c0
        {KVector(6, -1, -1), c1},                     // corner c1
        {KVector(-1, 5, 1), c2},                      // corner c2
        {KVector(2, -2, 1), KVector(2, 0, 0)},        // edge c0 c1
        {KVector(-2, 1.5f, 0), KVector(0, 1.5f, 0)},  // edge c2 c0
        {KVector(4, 3, 0), KVector(2.56f, 1.08f, 0)}, // edge c1 c2 (projection of (4,3) onto it)
        {KVector(1, 1, 5), KVector(1, 1, 0)},         // face
    };
    for (const Case& c : cases) {
        float w0, w1;
        const float d2 = Tree::closestPointOnTriangle(c.p, c0, c1, c2, w0, w1);
        const KVector got = fromWeights(c0, c1, c2, w0, w1);
        EXPECT_NEAR(got.x, c.expect.x, 1e-5f);
        EXPECT_NEAR(got.y, c.expect.y, 1e-5f);
        EXPECT_NEAR(got.z, c.expect.z, 1e-5f);
        const KVector diff = c.p - c.expect;
        EXPECT_NEAR(d2, diff.dot(diff), 1e-4f);
        EXPECT_GE(w0, 0.0f);
        EXPECT_GE(w1, 0.0f);
        EXPECT_LE(w0 + w1, 1.0f + 1e-6f);
    }
}

TEST(KTriMeshDistTreeTriangle, RandomTrianglesAndPointsMatchDoublePrecision) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 20000; ++i) {
        const KVector c0(u(rng), u(rng), u(rng)), c1(u(rng), u(rng), u(rng)), c2(u(rng), u(rng), u(rng));
        const KVector p = KVector(u(rng), u(rng), u(rng)) * 2.0f;
        float w0, w1;
        const float d2 = Tree::closestPointOnTriangle(p, c0, c1, c2, w0, w1);
        const D3 ref = referenceClosest(p, c0, c1, c2);
        const double refD2 = dot(d3(p) - ref, d3(p) - ref);
        ASSERT_NEAR(d2, refD2, 1e-5 * (1.0 + refD2)) << "case " << i;
        const KVector got = fromWeights(c0, c1, c2, w0, w1);
        // The closest point of a triangle is unique; allow for conditioning of thin triangles.
        const D3 diff = d3(got) - ref;
        ASSERT_LT(std::sqrt(dot(diff, diff)), 2e-3) << "case " << i;
        ASSERT_TRUE(w0 >= 0 && w1 >= 0 && w0 + w1 <= 1.0f + 1e-6f) << "case " << i;
    }
}

TEST(KTriMeshDistTreeTriangle, CornersAreHitExactly) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-10.0f, 10.0f);
    for (int i = 0; i < 2000; ++i) {
        const KVector c[3] = {KVector(u(rng), u(rng), u(rng)), KVector(u(rng), u(rng), u(rng)),
                              KVector(u(rng), u(rng), u(rng))};
        for (int k = 0; k < 3; ++k) {
            float w0, w1;
            ASSERT_EQ(Tree::closestPointOnTriangle(c[k], c[0], c[1], c[2], w0, w1), 0.0f);
            ASSERT_EQ(w0, k == 0 ? 1.0f : 0.0f);
            ASSERT_EQ(w1, k == 1 ? 1.0f : 0.0f);
            ASSERT_EQ(fromWeights(c[0], c[1], c[2], w0, w1), c[k]);
        }
    }
}

TEST(KTriMeshDistTreeTriangle, DegenerateTrianglesAreSafeAndExact) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 5000; ++i) {
        const KVector a(u(rng), u(rng), u(rng)), b(u(rng), u(rng), u(rng));
        const KVector p = KVector(u(rng), u(rng), u(rng)) * 2.0f;
        const KVector mid = (a + b) * 0.5f;
        // Segments in every corner order (one corner repeated or in the middle), and a point.
        const KVector tris[][3] = {{a, b, b},   {a, a, b},   {b, a, a}, {a, mid, b},
                                   {mid, a, b}, {a, b, mid}, {a, a, a}};
        for (const auto& t : tris) {
            float w0, w1;
            const float d2 = Tree::closestPointOnTriangle(p, t[0], t[1], t[2], w0, w1);
            ASSERT_TRUE(std::isfinite(d2) && std::isfinite(w0) && std::isfinite(w1)) << "case " << i;
            const D3 ref = closestOnSegment(d3(p), d3(a), d3(t[0] == t[1] && t[1] == t[2] ? a : b));
            const double refD2 = dot(d3(p) - ref, d3(p) - ref);
            ASSERT_NEAR(d2, refD2, 1e-5 * (1.0 + refD2)) << "case " << i;
            const KVector got = fromWeights(t[0], t[1], t[2], w0, w1);
            const D3 diff = d3(got) - ref;
            ASSERT_LT(std::sqrt(dot(diff, diff)), 1e-4) << "case " << i;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Closest-point queries against brute force

TEST(KTriMeshDistTree, EmptyTreeAndEmptyMeshFindNothing) {
    Tree unset(10, 10);
    KVector closest(1, 2, 3);
    int tri = 42;
    float w0 = 5, w1 = 6;
    EXPECT_FALSE(unset.getClosestPoint(KVector(), closest, tri, w0, w1, 1e30f));
    EXPECT_EQ(tri, 42);
    EXPECT_EQ(closest, KVector(1, 2, 3));
    const Tree empty(KTriMesh(), 10, 10);
    EXPECT_FALSE(empty.getClosestPoint(KVector(), tri, w0, w1, 1e30f));
    EXPECT_EQ(empty.triangleCount(), 0);
    KIntArray out{1, 2};
    empty.getTriangles(KBoundingBox(KVector(-1, -1, -1), KVector(1, 1, 1)), out, true);
    EXPECT_TRUE(out.empty());
}

TEST(KTriMeshDistTree, RandomSoupsMatchBruteForceForEveryBuild) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const KTriMesh m = makeTriangleSoup(3000, 0.05f * static_cast<float>(seed), seed);
        const std::vector<KVector> pts = queryPoints(m, 250, seed + 100, 0.3f);
        for (const auto& params : {std::make_pair(10, 10), std::make_pair(1, 4), std::make_pair(16, 64)}) {
            const Tree tree(m, params.first, params.second);
            EXPECT_EQ(tree.triangleCount(), 3000);
            expectMatchesBruteForce(m, tree, pts);
        }
    }
}

TEST(KTriMeshDistTree, ClosedAndOpenMeshesMatchBruteForce) {
    for (const KTriMesh& m : {makeTorus(60, 30), makeOpenCylinder(40, 30), subdivideMidpoint(makeCube())}) {
        const Tree tree(m, 10, 10);
        expectMatchesBruteForce(m, tree, queryPoints(m, 500, 5));
        // Points on the surface come back as themselves.
        std::mt19937 rng(9);
        std::uniform_real_distribution<float> u(0.0f, 1.0f);
        for (int i = 0; i < 200; ++i) {
            const int t = static_cast<int>(rng() % static_cast<unsigned>(m.triangleCount()));
            float a = u(rng), b = u(rng);
            if (a + b > 1) {
                a = 1 - a;
                b = 1 - b;
            }
            const KInt3& tri = m.triangles[t];
            const KVector p =
                fromWeights(m.positions[tri[0]], m.positions[tri[1]], m.positions[tri[2]], a, b);
            KVector closest;
            int found;
            float w0, w1;
            ASSERT_TRUE(tree.getClosestPoint(p, closest, found, w0, w1, 1e30f));
            EXPECT_LT((closest - p).length(), 1e-5f);
            const KInt3& ft = m.triangles[found];
            EXPECT_LT((fromWeights(m.positions[ft[0]], m.positions[ft[1]], m.positions[ft[2]], w0, w1) - p)
                          .length(),
                      1e-5f);
        }
    }
}

TEST(KTriMeshDistTree, RealScansMatchBruteForce) {
    for (const char* name : {"meshes/bunny.obj", "meshes/lucy_100k.obj"}) {
        KELNO_REQUIRE_DATA(name);
        KTriMesh m;
        ASSERT_TRUE(readObj(dataPath(name), m));
        const Tree tree(m, 10, 10);
        EXPECT_EQ(tree.triangleCount(), m.triangleCount());
        expectMatchesBruteForce(m, tree, queryPoints(m, 60, 17));
        // Queries at the mesh's own vertices: distance 0, and of all triangles around the vertex
        // the highest index wins the tie.
        for (int v = 0; v < m.vertexCount(); v += m.vertexCount() / 100) {
            int highest = -1;
            for (int t = 0; t < m.triangleCount(); ++t) {
                const KInt3& tri = m.triangles[t];
                if (tri[0] == v || tri[1] == v || tri[2] == v)
                    highest = t;
            }
            if (highest < 0)
                continue;
            KVector closest;
            int tri;
            ASSERT_TRUE(tree.getClosestPoint(m.positions[v], closest, tri, 1e30f));
            EXPECT_EQ(closest, m.positions[v]);
            // Another triangle may pass through the very same point (scans have coincident
            // vertices); only then may the answer differ, and it must still be at distance 0.
            if (tri != highest) {
                float w0, w1;
                const KInt3& t = m.triangles[tri];
                EXPECT_GT(tri, highest);
                EXPECT_EQ(Tree::closestPointOnTriangle(m.positions[v], m.positions[t[0]], m.positions[t[1]],
                                                       m.positions[t[2]], w0, w1),
                          0.0f);
            }
        }
    }
}

TEST(KTriMeshDistTree, ExactTiesGoToTheHighestTriangleIndex) {
    // The same triangle stored four times at scattered indices among decoys, and a closed cube
    // queried at its corners (three to six triangles meet at distance 0).
    KTriMesh m = makeTriangleSoup(200, 0.02f, 4);
    const int base = m.vertexCount();
    m.positions.push_back(KVector(3, 0, 0));
    m.positions.push_back(KVector(3, 1, 0));
    m.positions.push_back(KVector(3, 0, 1));
    KIntArray copies;
    for (int at : {5, 77, 150, 199}) {
        m.triangles.insert(m.triangles.begin() + at, KInt3{{base, base + 1, base + 2}});
        copies.push_back(at);
    }
    for (const auto& params : {std::make_pair(10, 10), std::make_pair(1, 4), std::make_pair(16, 64)}) {
        const Tree tree(m, params.first, params.second);
        for (const KVector& p :
             {KVector(4, 0.2f, 0.2f), KVector(3, 0.5f, 0.5f), KVector(3, 1, 0), KVector(5, 5, 5)}) {
            int tri;
            float w0, w1;
            ASSERT_TRUE(tree.getClosestPoint(p, tri, w0, w1, 1e30f));
            EXPECT_EQ(tri, copies.back()) << "the last copy";
        }
    }
    const KTriMesh cube = makeCube();
    const Tree cubeTree(cube, 1, 4);
    for (int v = 0; v < 8; ++v) {
        int highest = -1;
        for (int t = 0; t < cube.triangleCount(); ++t)
            for (int k = 0; k < 3; ++k)
                if (cube.triangles[t][k] == v)
                    highest = t;
        int tri;
        KVector closest;
        ASSERT_TRUE(cubeTree.getClosestPoint(cube.positions[v], closest, tri, 1e30f));
        EXPECT_EQ(tri, highest) << "corner " << v;
        EXPECT_EQ(closest, cube.positions[v]);
    }
}

TEST(KTriMeshDistTree, MaxDistanceIsHonoured) {
    const KTriMesh m = makeTorus(30, 12);
    const Tree tree(m, 10, 10);
    const std::vector<KVector> pts = queryPoints(m, 200, 23, 1.0f);
    for (float limit : {0.0f, 0.1f, 0.5f, 1.0f, 3.0f})
        expectMatchesBruteForce(m, tree, pts, limit);
    // The limit is inclusive: a point at distance exactly 1 from the flat top of a cube.
    const Tree cube(makeCube(), 10, 10);
    int tri = -1;
    float w0, w1;
    EXPECT_TRUE(cube.getClosestPoint(KVector(0, 0, 2), tri, w0, w1, 1.0f));
    EXPECT_FALSE(cube.getClosestPoint(KVector(0, 0, 2), tri, w0, w1, 0.999f));
    for (float bad : {-1.0f, -0.0f, std::nanf("")}) {
        tri = -1;
        const bool found = cube.getClosestPoint(KVector(0, 0, 1), tri, w0, w1, bad);
        EXPECT_EQ(found, bad == 0.0f) << bad; // -0 is zero: the point lies on the cube
        EXPECT_EQ(tri >= 0, found);
    }
    EXPECT_FALSE(cube.getClosestPoint(KVector(std::nanf(""), 0, 0), tri, w0, w1, 1e30f));
    EXPECT_FALSE(
        cube.getClosestPoint(KVector(std::numeric_limits<float>::infinity(), 0, 0), tri, w0, w1, 1e30f));
}

TEST(KTriMeshDistTree, BrokenTrianglesAreLeftOut) {
    KTriMesh m = makeCube();
    m.positions.push_back(KVector(std::nanf(""), 0, 0));
    const int bad = m.vertexCount() - 1;
    m.triangles.push_back(KInt3{{0, 1, 99}});
    m.triangles.push_back(KInt3{{-1, 1, 2}});
    m.triangles.push_back(KInt3{{bad, 1, 2}});
    const Tree tree(m, 10, 10);
    EXPECT_EQ(tree.triangleCount(), 12);
    for (const KVector& p : queryPoints(m, 200, 31, 1.0f)) {
        int tri;
        float w0, w1;
        ASSERT_TRUE(tree.getClosestPoint(p, tri, w0, w1, 1e30f));
        EXPECT_LT(tri, 12);
    }
    KIntArray out;
    tree.getTriangles(KBoundingBox(KVector(-5, -5, -5), KVector(5, 5, 5)), out, true);
    EXPECT_EQ(out.length(), 12);
}

TEST(KTriMeshDistTree, TreeKeepsItsOwnCopyAndCopiesShareIt) {
    KTriMesh m = makeTorus(20, 10);
    Tree tree(m, 10, 10);
    const Tree copy = tree;
    const KVector p(2.6f, 0.1f, 0.3f);
    int before, after, fromCopy;
    float w0, w1;
    ASSERT_TRUE(tree.getClosestPoint(p, before, w0, w1, 1e30f));
    for (KVector& v : m.positions)
        v += KVector(100, 0, 0);
    ASSERT_TRUE(tree.getClosestPoint(p, after, w0, w1, 1e30f));
    EXPECT_EQ(before, after);
    tree.set(m); // rebuilding one tree leaves the copy as it was
    ASSERT_TRUE(copy.getClosestPoint(p, fromCopy, w0, w1, 1e30f));
    EXPECT_EQ(fromCopy, before);
    KVector closest;
    ASSERT_TRUE(tree.getClosestPoint(p, closest, after, 1e30f));
    EXPECT_GT(closest.x, 90.0f);
    tree.clear();
    EXPECT_FALSE(tree.getClosestPoint(p, after, w0, w1, 1e30f));
}

// ---------------------------------------------------------------------------------------------
// Box queries

TEST(KTriMeshDistTree, BoxQueriesReturnExactlyTheOverlappingTriangleBoxes) {
    const KTriMesh m = makeTriangleSoup(4000, 0.05f, 8);
    const Tree tree(m, 10, 10);
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> u(-1.2f, 1.2f), s(0.0f, 0.4f);
    for (int i = 0; i < 300; ++i) {
        const KVector c(u(rng), u(rng), u(rng));
        const KVector h(s(rng), s(rng), i % 10 == 0 ? 0.0f : s(rng));
        const KBoundingBox box(c - h, c + h);
        KIntArray got, unsorted;
        tree.getTriangles(box, got, true);
        EXPECT_EQ(got, bruteBox(m, box)) << "box " << i;
        tree.getTriangles(box, unsorted, false);
        std::sort(unsorted.begin(), unsorted.end());
        EXPECT_EQ(unsorted, got);
    }
}

TEST(KTriMeshDistTree, BoxesThatOnlyTouchCount) {
    const KTriMesh cube = makeCube(KVector(0, 0, 0), KVector(1, 1, 1));
    const Tree tree(cube, 1, 4);
    KIntArray out;
    // A box touching the +X face from outside meets exactly the triangles of that face, plus the
    // triangles of the four side faces whose boxes reach x = 1.
    tree.getTriangles(KBoundingBox(KVector(1, 0.4f, 0.4f), KVector(2, 0.6f, 0.6f)), out, true);
    EXPECT_EQ(out, bruteBox(cube, KBoundingBox(KVector(1, 0.4f, 0.4f), KVector(2, 0.6f, 0.6f))));
    EXPECT_FALSE(out.empty());
    // A single point at a corner meets the six triangles of the three faces around it.
    tree.getTriangles(KBoundingBox(KVector(1, 1, 1), KVector(1, 1, 1)), out, true);
    EXPECT_EQ(out.length(), 6);
    EXPECT_EQ(out, bruteBox(cube, KBoundingBox(KVector(1, 1, 1), KVector(1, 1, 1))));
    tree.getTriangles(KBoundingBox(KVector(1.0001f, 0, 0), KVector(2, 1, 1)), out, true);
    EXPECT_TRUE(out.empty());
    tree.getTriangles(KBoundingBox(), out, true);
    EXPECT_TRUE(out.empty());
    tree.getTriangles(KBoundingBox(KVector(std::nanf(""), 0, 0), KVector(1, 1, 1)), out, true);
    EXPECT_TRUE(out.empty());
}

// ---------------------------------------------------------------------------------------------
// Concurrency

TEST(KTriMeshDistTree, BuildIsTheSameWhateverTheThreadCount) {
    const KTriMesh m = makeTorus(600, 230); // large enough for a parallel build
    const int before = omp_get_max_threads();
    omp_set_num_threads(1);
    const Tree serial(m, 10, 10);
    omp_set_num_threads(4);
    const Tree parallel(m, 10, 10);
    omp_set_num_threads(before);
    EXPECT_EQ(serial.memoryBytes(), parallel.memoryBytes());
    for (const KVector& p : queryPoints(m, 2000, 41)) {
        KVector a, b;
        int ta = -1, tb = -2;
        float a0, a1, b0, b1;
        ASSERT_TRUE(serial.getClosestPoint(p, a, ta, a0, a1, 1e30f));
        ASSERT_TRUE(parallel.getClosestPoint(p, b, tb, b0, b1, 1e30f));
        ASSERT_EQ(ta, tb);
        ASSERT_EQ(a, b);
        ASSERT_EQ(a0, b0);
        ASSERT_EQ(a1, b1);
    }
}

TEST(KTriMeshDistTree, ConcurrentQueriesGiveTheSerialAnswers) {
    const KTriMesh m = makeTorus(120, 60);
    const Tree tree(m, 10, 10);
    const std::vector<KVector> pts = queryPoints(m, 4000, 99);
    std::vector<int> serialTri(pts.size());
    std::vector<float> serialW(pts.size());
    std::vector<int> serialBox(pts.size());
    KIntArray scratch;
    for (std::size_t i = 0; i < pts.size(); ++i) {
        float w0, w1;
        tree.getClosestPoint(pts[i], serialTri[i], w0, w1, 1e30f);
        serialW[i] = w0 + 3 * w1;
        tree.getTriangles(
            KBoundingBox(pts[i] - KVector(0.2f, 0.2f, 0.2f), pts[i] + KVector(0.2f, 0.2f, 0.2f)), scratch,
            true);
        serialBox[i] = scratch.length() ? scratch.back() * 31 + scratch.length() : -1;
    }
    const int threads = 4;
    std::vector<int> failures(threads, 0);
    std::vector<std::thread> pool;
    for (int k = 0; k < threads; ++k) {
        pool.emplace_back([&, k] {
            KIntArray out;
            // Each thread walks the queries from a different start so they overlap in time.
            for (std::size_t n = 0; n < pts.size(); ++n) {
                const std::size_t i = (n + static_cast<std::size_t>(k) * pts.size() / threads) % pts.size();
                int tri = -1;
                float w0 = 0, w1 = 0;
                tree.getClosestPoint(pts[i], tri, w0, w1, 1e30f);
                tree.getTriangles(
                    KBoundingBox(pts[i] - KVector(0.2f, 0.2f, 0.2f), pts[i] + KVector(0.2f, 0.2f, 0.2f)), out,
                    true);
                const int box = out.length() ? out.back() * 31 + out.length() : -1;
                if (tri != serialTri[i] || w0 + 3 * w1 != serialW[i] || box != serialBox[i])
                    ++failures[k];
            }
        });
    }
    for (std::thread& t : pool)
        t.join();
    for (int k = 0; k < threads; ++k)
        EXPECT_EQ(failures[k], 0) << "thread " << k;
}
