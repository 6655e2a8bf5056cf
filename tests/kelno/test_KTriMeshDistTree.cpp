#include <kelno/KTriMeshDistTree.h>
#include <kelno/tree/KTriMeshDistTreeData.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"
#include "support/KTestRigid.h"

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

// Independent reference in long double: the nearest of the three edge points and, when the
// projection falls inside, the plane point. It shares no code with the tree.

using LD = long double;
struct P3 {
    LD x, y, z;
};
P3 p3(const KVector& v) { return {v.x, v.y, v.z}; }
P3 operator-(P3 a, P3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
P3 operator+(P3 a, P3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
P3 operator*(P3 a, LD s) { return {a.x * s, a.y * s, a.z * s}; }
LD dot(P3 a, P3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
P3 cross(P3 a, P3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }

LD segmentDistance(P3 p, P3 a, P3 b) {
    const P3 ab = b - a;
    const LD len2 = dot(ab, ab);
    const LD u = len2 > 0 ? std::min<LD>(1, std::max<LD>(0, dot(p - a, ab) / len2)) : 0;
    const P3 r = p - (a + ab * u);
    return std::sqrt(dot(r, r));
}

LD referenceDistance(const KVector& pf, const KVector& c0, const KVector& c1, const KVector& c2) {
    const P3 p = p3(pf), a = p3(c0), b = p3(c1), c = p3(c2);
    LD best = std::min({segmentDistance(p, a, b), segmentDistance(p, b, c), segmentDistance(p, c, a)});
    const P3 n = cross(b - a, c - a);
    const LD nn = dot(n, n);
    if (nn > 0) {
        const LD u = dot(cross(p - a, c - a), n) / nn, v = dot(cross(b - a, p - a), n) / nn;
        if (u >= 0 && v >= 0 && u + v <= 1)
            best = std::min(best, std::fabs(dot(p - a, n)) / std::sqrt(nn));
    }
    return best;
}

KVector fromWeights(const KVector& c0, const KVector& c1, const KVector& c2, float w0, float w1) {
    return c0 * w0 + c1 * w1 + c2 * (1.0f - w0 - w1);
}

float largestCoordinate(std::initializer_list<KVector> vs) {
    float m = 0;
    for (const KVector& v : vs)
        m = std::max({m, std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)});
    return m;
}

// "A few float ulps": the closest point is rounded to floats once, so it may sit about one ulp
// of the largest coordinate off the exact point; four of them is the allowance.
LD tolerance(float largest) { return 4 * LD(std::numeric_limits<float>::epsilon()) * largest; }

// Checks one answer of the tree against the reference over the whole mesh: the distance of the
// returned point, the distance of the returned triangle and the point its weights give all
// agree with the exact nearest distance. Returns false (after reporting) on a failure.
bool checkAnswer(const KTriMesh& m, const Tree& tree, const KVector& p, float maxDistance = 1e30f) {
    LD want = std::numeric_limits<LD>::infinity();
    float largest = largestCoordinate({p});
    for (const KInt3& t : m.triangles) {
        want = std::min(want, referenceDistance(p, m.positions[t[0]], m.positions[t[1]], m.positions[t[2]]));
        largest =
            std::max(largest, largestCoordinate({m.positions[t[0]], m.positions[t[1]], m.positions[t[2]]}));
    }
    KVector closest(7, 7, 7);
    int tri = -5;
    float w0 = -1, w1 = -1;
    const bool found = tree.getClosestPoint(p, closest, tri, w0, w1, maxDistance);
    const LD tol = tolerance(largest);
    const bool inRange = want <= LD(maxDistance) + tol;
    if (!found) {
        EXPECT_EQ(tri, -1);
        EXPECT_FALSE(want < LD(maxDistance) - tol) << "missed a triangle at " << double(want);
        return tri == -1 && !(want < LD(maxDistance) - tol);
    }
    EXPECT_TRUE(inRange);
    const KInt3& t = m.triangles[tri];
    const KVector &c0 = m.positions[t[0]], &c1 = m.positions[t[1]], &c2 = m.positions[t[2]];
    const LD got = std::sqrt(dot(p3(closest) - p3(p), p3(closest) - p3(p)));
    const LD ofTriangle = referenceDistance(p, c0, c1, c2);
    const KVector weighted = fromWeights(c0, c1, c2, w0, w1);
    const LD weightGap = std::sqrt(dot(p3(weighted) - p3(closest), p3(weighted) - p3(closest)));
    const bool ok = std::fabs(got - want) <= tol && ofTriangle - want <= tol && weightGap <= 2 * tol &&
                    w0 >= 0 && w1 >= 0 && w0 + w1 <= 1;
    EXPECT_TRUE(ok) << "query (" << p.x << ", " << p.y << ", " << p.z << "): triangle " << tri << " at "
                    << double(got) << " (triangle " << double(ofTriangle) << ", weights " << w0 << ", " << w1
                    << " off by " << double(weightGap) << "), exact " << double(want) << ", tolerance "
                    << double(tol);
    return ok;
}

int checkAll(const KTriMesh& m, const Tree& tree, const std::vector<KVector>& pts,
             float maxDistance = 1e30f) {
    int failures = 0;
    for (const KVector& p : pts)
        if (!checkAnswer(m, tree, p, maxDistance) && ++failures >= 5)
            break;
    return failures;
}

// Two trees give bit-identical answers at every point.
void expectSameAnswers(const Tree& x, const Tree& y, const std::vector<KVector>& pts) {
    for (const KVector& p : pts) {
        KVector a, b;
        int ta = -1, tb = -2;
        float a0 = 0, a1 = 0, b0 = 1, b1 = 1;
        x.getClosestPoint(p, a, ta, a0, a1, 1e30f);
        y.getClosestPoint(p, b, tb, b0, b1, 1e30f);
        ASSERT_TRUE(ta == tb && a == b && a0 == b0 && a1 == b1) << p.x << " " << p.y << " " << p.z;
    }
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

// Points on random triangles of the mesh (weights rounded to floats, so on the surface up to
// one rounding).
std::vector<KVector> surfacePoints(const KTriMesh& m, int count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    std::vector<KVector> pts;
    for (int i = 0; i < count; ++i) {
        const KInt3& t = m.triangles[rng() % static_cast<unsigned>(m.triangleCount())];
        float a = u(rng), b = u(rng);
        if (a + b > 1) {
            a = 1 - a;
            b = 1 - b;
        }
        pts.push_back(fromWeights(m.positions[t[0]], m.positions[t[1]], m.positions[t[2]], a, b));
    }
    return pts;
}

// Triangle shapes in a unit frame: the third corner at (x, h) over the edge (0,0)-(1,0).
struct Shape {
    const char* name;
    float x, h;
};
const Shape kShapes[] = {
    {"fat", 0.4f, 0.8f},  {"sliver", 0.5f, 1e-3f},  {"thin sliver", 0.3f, 1e-6f}, {"needle", 0.0f, 1e-4f},
    {"cap", 0.5f, 1e-2f}, {"flat cap", 0.5f, 0.0f}, {"spike", 3.0f, 2e-3f},       {"point", 0.0f, 0.0f},
};

// `count` triangles of one shape, randomly rotated, placed in a cube of side 4 * scale around
// `centre` and listed from a random corner; the "point" shape collapses all three corners.
KTriMesh shapeSoup(const Shape& shape, int count, float scale, const KVector& centre, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    KTriMesh m;
    const bool point = std::string(shape.name) == "point";
    for (int i = 0; i < count; ++i) {
        const KMatrix rot = randomRigid(rng, 1.0f); // its rotation only
        const KVector at = centre + KVector(u(rng), u(rng), u(rng)) * (2 * scale);
        const KVector corners[3] = {at, at + rot.transformVector(KVector(point ? 0.0f : scale, 0, 0)),
                                    at + rot.transformVector(KVector(shape.x * scale, shape.h * scale, 0))};
        const int first = static_cast<int>(rng() % 3), base = m.vertexCount();
        for (int k = 0; k < 3; ++k)
            m.positions.push_back(corners[(first + k) % 3]);
        m.triangles.push_back(KInt3{{base, base + 1, base + 2}});
    }
    return m;
}

// A disk of radius `r` around `centre` split into `sides` triangles that all meet at the centre.
KTriMesh fan(int sides, float r, const KVector& centre, const KMatrix& rot) {
    KTriMesh m;
    m.positions.push_back(centre);
    for (int i = 0; i < sides; ++i) {
        const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(sides);
        m.positions.push_back(centre + rot.transformVector(KVector(r * std::cos(a), r * std::sin(a), 0)));
        const int corners[3] = {0, 1 + i, 1 + (i + 1) % sides}; // listed from every corner in turn
        m.triangles.push_back(KInt3{{corners[i % 3], corners[(i + 1) % 3], corners[(i + 2) % 3]}});
    }
    return m;
}

} // namespace

TEST(KTriMeshDistTreeExact, TheThinTriangleReproducerIsOnTheSurface) {
    const KVector c[3] = {KVector(0.184060335f, 0.521581292f, -0.945776224f),
                          KVector(-0.745815516f, -0.857318819f, 0.331804276f),
                          KVector(-0.742055357f, -0.85169208f, 0.326610744f)};
    const KVector p(-0.342776179f, -0.259634465f, -0.221954182f);
    for (int first = 0; first < 3; ++first) {
        KTriMesh m;
        for (int k = 0; k < 3; ++k)
            m.positions.push_back(c[(first + k) % 3]);
        m.triangles.push_back(KInt3{{0, 1, 2}});
        const Tree tree(m, 10, 10);
        EXPECT_TRUE(checkAnswer(m, tree, p)) << "listed from corner " << first;
    }
}

TEST(KTriMeshDistTreeExact, EveryShapeAtEveryScaleMatchesTheReference) {
    // Each shape as a soup of rotated copies, from 1e-10 to 1e10 in size, around the origin and
    // away from it; random queries near the soup and points on its surface.
    unsigned seed = 1;
    for (const Shape& shape : kShapes) {
        for (float scale : {1e-10f, 1e-5f, 1.0f, 1e5f, 1e10f}) {
            for (const KVector& centre : {KVector(0, 0, 0), KVector(3, -2, 1) * (scale * 10)}) {
                const KTriMesh m = shapeSoup(shape, 60, scale, centre, ++seed);
                const Tree tree(m, 10, 10);
                EXPECT_EQ(checkAll(m, tree, queryPoints(m, 40, seed, 0.3f)), 0) << shape.name << " " << scale;
                EXPECT_EQ(checkAll(m, tree, surfacePoints(m, 40, seed)), 0) << shape.name << " " << scale;
            }
        }
    }
}

TEST(KTriMeshDistTreeExact, FansOfThinTrianglesMatchTheReference) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int sides : {16, 700, 3000}) {
        for (float r : {1e-3f, 1.0f, 1e4f}) {
            const KMatrix rot = randomRigid(rng, 1.0f);
            const KVector centre = KVector(u(rng), u(rng), u(rng)) * (5 * r);
            const KTriMesh m = fan(sides, r, centre, rot);
            const Tree tree(m, 10, 10);
            // On the surface, just off it, around the centre where all the thin tips meet, and
            // anywhere around.
            std::vector<KVector> pts = surfacePoints(m, 150, static_cast<unsigned>(sides));
            for (int i = 0; i < 150; ++i)
                pts.push_back(pts[i] + KVector(u(rng), u(rng), u(rng)) * (r * 1e-3f));
            for (int i = 0; i < 60; ++i)
                pts.push_back(centre + KVector(u(rng), u(rng), u(rng)) * (r * 0.01f * std::fabs(u(rng))));
            for (const KVector& q : queryPoints(m, 60, 3, 0.5f))
                pts.push_back(q);
            EXPECT_EQ(checkAll(m, tree, pts), 0) << sides << " sides, radius " << r;
        }
    }
}

TEST(KTriMeshDistTreeExact, CornersAreHitExactly) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-10.0f, 10.0f);
    for (int i = 0; i < 2000; ++i) {
        // Every fourth triangle has zero area (its third corner on the first edge).
        const KVector a(u(rng), u(rng), u(rng)), b(u(rng), u(rng), u(rng));
        const KVector c[3] = {a, b, i % 4 ? KVector(u(rng), u(rng), u(rng)) : a + (b - a) * 0.25f};
        for (int k = 0; k < 3; ++k) {
            float w0, w1;
            ASSERT_EQ(Tree::closestPointOnTriangle(c[k], c[0], c[1], c[2], w0, w1), 0.0);
            ASSERT_EQ(fromWeights(c[0], c[1], c[2], w0, w1), c[k]) << "case " << i;
        }
    }
}

TEST(KTriMeshDistTree, MeshesMatchTheReferenceAndEveryBuildAgrees) {
    // Soups, closed and open meshes: random queries around them and points on their surface;
    // trees built with other parameters give bit-identical answers.
    std::vector<KTriMesh> meshes = {makeTriangleSoup(3000, 0.05f, 1), makeTriangleSoup(3000, 0.15f, 2),
                                    makeTorus(60, 30), makeOpenCylinder(40, 30),
                                    subdivideMidpoint(makeCube())};
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        const KTriMesh& m = meshes[i];
        const Tree tree(m, 10, 10);
        std::vector<KVector> pts = queryPoints(m, 150, static_cast<unsigned>(i) + 100, 0.3f);
        const std::vector<KVector> onSurface = surfacePoints(m, 100, static_cast<unsigned>(i));
        pts.insert(pts.end(), onSurface.begin(), onSurface.end());
        EXPECT_EQ(checkAll(m, tree, pts), 0) << "mesh " << i;
        for (const auto& params : {std::make_pair(1, 4), std::make_pair(16, 64)}) {
            SCOPED_TRACE(testing::Message() << "mesh " << i << " build " << params.first);
            expectSameAnswers(tree, Tree(m, params.first, params.second), pts);
        }
    }
}

TEST(KTriMeshDistTree, EveryLaneWidthGivesTheSameAnswers) {
    // The eight- and sixteen-lane walks group two or four blocks, across leaves (a leaf's last
    // blocks may wait for the next leaf's); the four-lane walk takes them one at a time. All must
    // give the same triangle, weights, block and lane, whatever the shape, the scale, the limit
    // and the tree's size.
    using Data = KTriMeshDistTree::Data;
    std::vector<Data::Lanes> wide;
    for (Data::Lanes lanes : {Data::Lanes::Eight, Data::Lanes::Sixteen})
        if (Data::runs(lanes))
            wide.push_back(lanes);
    if (wide.empty()) {
        GTEST_SKIP()
            << "only the four-lane walk runs here (no AVX2 or AVX-512, or a build without the wider walks)";
    }
    std::vector<KTriMesh> meshes = {makeTriangleSoup(3000, 0.05f, 1),
                                    makeTorus(60, 30),
                                    subdivideMidpoint(makeCube()),
                                    shapeSoup(kShapes[0], 1, 1.0f, KVector(), 1),
                                    shapeSoup(kShapes[0], 5, 1.0f, KVector(), 2),
                                    shapeSoup(kShapes[0], 13, 1.0f, KVector(), 3)};
    unsigned seed = 40;
    for (const Shape& shape : kShapes)
        for (float scale : {1e-10f, 1.0f, 1e10f})
            meshes.push_back(shapeSoup(shape, 60, scale, KVector(3, -2, 1) * scale, ++seed));
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        const KTriMesh& m = meshes[i];
        const Tree tree(m, 10, 10);
        std::vector<KVector> pts = queryPoints(m, 300, static_cast<unsigned>(i) + 7, 0.3f);
        const std::vector<KVector> onSurface = surfacePoints(m, 100, static_cast<unsigned>(i));
        pts.insert(pts.end(), onSurface.begin(), onSurface.end());
        const float size = m.boundingBox(true).size().length();
        for (float limit : {1e30f, 0.02f * size}) {
            for (const KVector& p : pts) {
                double s4 = -1, t4 = -1;
                const TreeDetail::Block* block4 = nullptr;
                int lane4 = -1;
                const int four = tree.data()->closest(p, limit, s4, t4, block4, lane4, Data::Lanes::Four);
                for (Data::Lanes lanes : wide) {
                    double s = -1, t = -1;
                    const TreeDetail::Block* block = nullptr;
                    int lane = -1;
                    const int got = tree.data()->closest(p, limit, s, t, block, lane, lanes);
                    ASSERT_EQ(got, four) << "mesh " << i << " lanes " << static_cast<int>(lanes) << " limit "
                                         << limit << " at " << p.x << " " << p.y << " " << p.z;
                    const bool same = four < 0 || (s == s4 && t == t4 && block == block4 && lane == lane4);
                    ASSERT_TRUE(same) << "mesh " << i << " lanes " << static_cast<int>(lanes);
                }
            }
        }
    }
}

TEST(KTriMeshDistTree, RealScansMatchTheReference) {
    for (const char* name : {"meshes/bunny.obj", "meshes/lucy_100k.obj"}) {
        KELNO_REQUIRE_DATA(name);
        KTriMesh m;
        ASSERT_TRUE(readObj(dataPath(name), m));
        const Tree tree(m, 10, 10);
        EXPECT_EQ(tree.triangleCount(), m.triangleCount());
        EXPECT_EQ(checkAll(m, tree, queryPoints(m, 25, 17)), 0);
        EXPECT_EQ(checkAll(m, tree, surfacePoints(m, 10, 18)), 0);
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
        EXPECT_EQ(checkAll(m, tree, pts, limit), 0) << limit;
    // The limit is inclusive: a point at distance exactly 1 from the flat top of a cube.
    const Tree cube(makeCube(), 10, 10);
    int tri = -1;
    float w0, w1;
    EXPECT_TRUE(cube.getClosestPoint(KVector(0, 0, 2), tri, w0, w1, 1.0f));
    EXPECT_FALSE(cube.getClosestPoint(KVector(0, 0, 2), tri, w0, w1, 0.999f));
    EXPECT_EQ(tri, -1);
    for (float bad : {-1.0f, -0.0f, std::nanf("")}) {
        tri = 7;
        const bool found = cube.getClosestPoint(KVector(0, 0, 1), tri, w0, w1, bad);
        EXPECT_EQ(found, bad == 0.0f) << bad; // -0 is zero: the point lies on the cube
        EXPECT_EQ(tri >= 0, found);
        EXPECT_NE(tri, 7);
    }
    for (const KVector& bad :
         {KVector(std::nanf(""), 0, 0), KVector(std::numeric_limits<float>::infinity(), 0, 0)}) {
        tri = 7;
        KVector closest;
        EXPECT_FALSE(cube.getClosestPoint(bad, closest, tri, 1e30f));
        EXPECT_EQ(tri, -1);
    }
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

TEST(KTriMeshDistTree, EmptyTreesFindNothingAndATreeKeepsItsOwnCopyOfTheMesh) {
    const Tree unset(10, 10);
    KVector closest(1, 2, 3);
    int tri = 42;
    float w0 = 5, w1 = 6;
    EXPECT_FALSE(unset.getClosestPoint(KVector(), closest, tri, w0, w1, 1e30f));
    EXPECT_EQ(tri, -1);
    EXPECT_EQ(closest, KVector(1, 2, 3));
    const Tree empty(KTriMesh(), 10, 10);
    tri = 42;
    EXPECT_FALSE(empty.getClosestPoint(KVector(), tri, w0, w1, 1e30f));
    EXPECT_EQ(tri, -1);
    for (const Tree* t : {&unset, &empty}) {
        KIntArray out{1, 2}; // stale contents are cleared
        t->getTriangles(KBoundingBox(KVector(-1, -1, -1), KVector(1, 1, 1)), out, true);
        EXPECT_TRUE(out.empty());
    }
    KTriMesh m = makeTorus(20, 10);
    Tree tree(m, 10, 10);
    const Tree copy = tree;
    const KVector p(2.6f, 0.1f, 0.3f);
    int before, after, fromCopy;
    ASSERT_TRUE(tree.getClosestPoint(p, before, w0, w1, 1e30f));
    for (KVector& v : m.positions)
        v += KVector(100, 0, 0);
    ASSERT_TRUE(tree.getClosestPoint(p, after, w0, w1, 1e30f));
    EXPECT_EQ(before, after);
    tree.set(m); // rebuilding one tree leaves the copy as it was
    ASSERT_TRUE(copy.getClosestPoint(p, fromCopy, w0, w1, 1e30f));
    EXPECT_EQ(fromCopy, before);
    ASSERT_TRUE(tree.getClosestPoint(p, closest, after, 1e30f));
    EXPECT_GT(closest.x, 90.0f);
    tree.clear();
    EXPECT_FALSE(tree.getClosestPoint(p, after, w0, w1, 1e30f));
}

TEST(KTriMeshDistTree, BoxQueriesReturnExactlyTheOverlappingTriangleBoxesTouchingIncluded) {
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
    // Boxes that only touch count: a single point at a cube corner meets the six triangles of the
    // three faces around it. Empty or NaN boxes meet nothing.
    const KTriMesh cube = makeCube(KVector(0, 0, 0), KVector(1, 1, 1));
    const Tree cubeTree(cube, 1, 4);
    KIntArray out;
    cubeTree.getTriangles(KBoundingBox(KVector(1, 1, 1), KVector(1, 1, 1)), out, true);
    EXPECT_EQ(out.length(), 6);
    EXPECT_EQ(out, bruteBox(cube, KBoundingBox(KVector(1, 1, 1), KVector(1, 1, 1))));
    for (const KBoundingBox& box : {KBoundingBox(KVector(1.0001f, 0, 0), KVector(2, 1, 1)), KBoundingBox(),
                                    KBoundingBox(KVector(std::nanf(""), 0, 0), KVector(1, 1, 1))}) {
        out = KIntArray{7}; // stale contents are cleared
        cubeTree.getTriangles(box, out, true);
        EXPECT_TRUE(out.empty());
    }
}

TEST(KTriMeshDistTree, BuildIsTheSameWhateverTheThreadCount) {
    const KTriMesh m = makeTorus(600, 230); // large enough for a parallel build
    const int before = omp_get_max_threads();
    omp_set_num_threads(1);
    const Tree serial(m, 10, 10);
    omp_set_num_threads(4);
    const Tree parallel(m, 10, 10);
    omp_set_num_threads(before);
    EXPECT_EQ(serial.memoryBytes(), parallel.memoryBytes());
    expectSameAnswers(serial, parallel, queryPoints(m, 2000, 41));
}

TEST(KTriMeshDistTree, ConcurrentQueriesGiveTheSerialAnswers) {
    const KTriMesh m = makeTorus(120, 60);
    const Tree tree(m, 10, 10);
    const std::vector<KVector> pts = queryPoints(m, 4000, 99);
    // One number per query from the closest point and a box query around it.
    auto answer = [&tree](const KVector& p, KIntArray& scratch) {
        int tri = -1;
        float w0 = 0, w1 = 0;
        tree.getClosestPoint(p, tri, w0, w1, 1e30f);
        tree.getTriangles(KBoundingBox(p - KVector(0.2f, 0.2f, 0.2f), p + KVector(0.2f, 0.2f, 0.2f)), scratch,
                          true);
        return double(tri) + w0 + 3 * w1 +
               (scratch.length() ? scratch.back() * 31.0 + scratch.length() : -1.0) * 1e6;
    };
    std::vector<double> serial(pts.size());
    KIntArray scratch;
    for (std::size_t i = 0; i < pts.size(); ++i)
        serial[i] = answer(pts[i], scratch);
    const int threads = 4;
    std::vector<int> failures(threads, 0);
    std::vector<std::thread> pool;
    for (int k = 0; k < threads; ++k)
        pool.emplace_back([&, k] {
            KIntArray out;
            // Each thread walks the queries from a different start so they overlap in time.
            for (std::size_t n = 0; n < pts.size(); ++n) {
                const std::size_t i = (n + static_cast<std::size_t>(k) * pts.size() / threads) % pts.size();
                failures[k] += answer(pts[i], out) != serial[i];
            }
        });
    for (std::thread& t : pool)
        t.join();
    EXPECT_EQ(failures, std::vector<int>(threads, 0));
}
