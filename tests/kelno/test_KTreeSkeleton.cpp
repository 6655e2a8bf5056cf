#include <kelno/KTreeSkeleton.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"
#include "support/KTestTrees.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace Kelno;
using namespace Kelno::KTreeSkeleton;
using namespace KelnoTest;

namespace {

KTriMeshConnectionInfo connect(const KTriMesh& mesh) {
    KTriMeshConnectionInfo c;
    c.set(mesh);
    c.calculate_v2e();
    c.calculate_t2e();
    c.calculate_e2t();
    return c;
}

KVectorArray skeleton(const KTriMesh& mesh, int iterations, float step) {
    KVectorArray out;
    out.push_back(KVector(7, 7, 7)); // must be cleared
    findCenter(mesh, connect(mesh), iterations, step, out);
    return out;
}

// An open cylinder whose bottom rim is closed by a fan around a centre vertex.
KTriMesh cappedCylinder() {
    KTriMesh m = makeOpenCylinder(16, 11);
    const int centre = m.positions.length();
    m.positions.push_back(KVector(0, 0, 0));
    for (int i = 0; i < 16; ++i)
        m.triangles.push_back(KInt3{{centre, i, (i + 1) % 16}});
    return m;
}

} // namespace

TEST(KTreeSkeleton, LinePlaneIntersection) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const KVector P(0, 1, 0);
    const struct {
        KVector n, a, b;
        bool crosses, written;
        float hitY;
    } cases[] = {
        {{0, 1, 0}, {0, 0, 0}, {0, 2, 0}, true, true, 1.0f},  // through the middle
        {{0, 1, 0}, {0, 1, 0}, {0, 3, 0}, true, true, 1.0f},  // touches at a (t = 0)
        {{0, 1, 0}, {0, -1, 0}, {0, 1, 0}, true, true, 1.0f}, // touches at b (t = 1)
        {{0, 1, 0}, {0, 2, 0}, {0, 3, 0}, false, true, 1.0f}, // line meets the plane outside the segment
        {{0, 1, 0}, {0, 1, 0}, {5, 1, 0}, false, false, 0},   // lies in the plane
        {{0, 0, 0}, {0, 0, 0}, {0, 2, 0}, false, false, 0},   // zero normal
        {{0, nan, 0}, {0, 0, 0}, {0, 2, 0}, false, true, nan},
    };
    for (const auto& c : cases) {
        KVector hit(9, 9, 9);
        EXPECT_EQ(linePlaneIntersection(c.n, P, c.a, c.b, hit), c.crosses) << c.a.y << " " << c.b.y;
        if (!c.written) {
            EXPECT_EQ(hit, KVector(9, 9, 9));
        } else if (!std::isnan(c.hitY)) {
            EXPECT_FLOAT_EQ(hit.y, c.hitY);
        }
    }
}

TEST(KTreeSkeleton, FitPlane) {
    KVector n(9, 9, 9), c(9, 9, 9);
    EXPECT_FALSE(fitPlane(KVectorArray{{0, 0, 0}, {1, 0, 0}}, &n, &c));
    EXPECT_EQ(c, KVector(9, 9, 9));
    // Collinear points: centroid written, normal not.
    EXPECT_FALSE(fitPlane(KVectorArray{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, &n, &c));
    EXPECT_EQ(c, KVector(1, 0, 0));
    EXPECT_EQ(n, KVector(9, 9, 9));
    // A ring in the XZ plane: Y dominant, normal exactly (0, 1, 0).
    const KTriMesh ring = makeOpenCylinder(8, 2, 2.0f, 1.0f);
    KVectorArray bottom(ring.positions.begin(), ring.positions.begin() + 8);
    ASSERT_TRUE(fitPlane(bottom, &n, &c));
    EXPECT_EQ(n.y, 1.0f);
    EXPECT_NEAR(std::fabs(n.x) + std::fabs(n.z), 0, 1e-6);
    // X dominant with a tilt in y and z: the y term uses xz*xz (not xz*yz), so it differs from
    // the true plane's slope while z does not.
    KVectorArray pts;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) {
            const float y = static_cast<float>(i) - 2.5f, z = static_cast<float>(j) - 2.5f + 0.3f * y;
            pts.push_back(KVector(-(0.5f * y + 0.25f * z), y, z));
        }
    ASSERT_TRUE(fitPlane(pts, &n, &c));
    EXPECT_EQ(n.x, 1.0f);
    EXPECT_NEAR(n.z, 0.25f, 1e-4);
    float xy = 0, xz = 0, zz = 0, detX = 0, yy = 0, yz = 0;
    for (const KVector& p : pts) {
        const KVector d = p - c;
        xy += d.x * d.y, xz += d.x * d.z, zz += d.z * d.z, yy += d.y * d.y, yz += d.y * d.z;
    }
    detX = yy * zz - yz * yz;
    EXPECT_NEAR(n.y, (xz * xz - xy * zz) / detX, 1e-4);
    EXPECT_GT(std::fabs(n.y - 0.5f), 0.05f);
}

TEST(KTreeSkeleton, FastInvSqrt) {
    for (float s : {1e-30f, 0.01f, 1.0f, 2.0f, 1e6f})
        EXPECT_NEAR(fastInvSqrt(s) * std::sqrt(s), 1.0f, 2e-3f) << s;
}

// Chains of centres along y: x = z = 0 and y = y0 + step * i, within xz and y. Open cylinder: rings
// at y = 0..10, planes every 0.75 pass the top after 13 steps. Capped: seeds from the top rim,
// whose fitted normal (+Y) points out of the tube (one point); a negative step marches in.
// Closed or empty meshes give the origin.
TEST(KTreeSkeleton, MarchFollowsTheAxisFromTheOpenEnd) {
    const KTriMesh cyl = makeOpenCylinder(16, 11), capped = cappedCylinder();
    const KTriMesh cube = makeCube(KVector(1, 1, 1), KVector(2, 3, 4)), torus = makeTorus(12, 8), empty;
    const struct {
        const KTriMesh* mesh;
        int iterations;
        float step;
        int expected;
        float y0, xz, y; // tolerances
    } cases[] = {
        {&cyl, 100, 0.75f, 14, 0, 1e-4f, 0.03f},
        {&cyl, 5, 0.75f, 6, 0, 1e-4f, 0.03f},
        {&cyl, 0, 0.75f, 1, 0, 1e-4f, 0.03f},
        {&cyl, 1, 20.0f, 1, 0, 1e-4f, 0.03f},
        {&capped, 10, 1.0f, 1, 10, 1e-5f, 1e-5f},
        {&capped, 4, -1.5f, 5, 10, 1e-4f, 0.03f},
        {&cube, 10, 0.5f, 1, 0, 0, 0},
        {&torus, 10, 0.5f, 1, 0, 0, 0},
        {&empty, 10, 0.5f, 1, 0, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << (&c - cases) << ": " << c.iterations << " " << c.step);
        const KVectorArray centres = skeleton(*c.mesh, c.iterations, c.step);
        ASSERT_EQ(centres.length(), c.expected);
        for (int i = 0; i < centres.length(); ++i) {
            EXPECT_NEAR(centres[i].x, 0, c.xz);
            EXPECT_NEAR(centres[i].z, 0, c.xz);
            EXPECT_NEAR(centres[i].y, c.y0 + c.step * static_cast<float>(i), c.y);
        }
    }
}

TEST(KTreeSkeleton, SplitConnected) {
    KTriMesh two = makeCube();
    const KTriMesh other = makeOpenCylinder(6, 3);
    for (const KVector& p : other.positions)
        two.positions.push_back(p);
    for (const KInt3& t : other.triangles)
        two.triangles.push_back(KInt3{{t[0] + 8, t[1] + 8, t[2] + 8}});
    two.positions.push_back(KVector(5, 5, 5));   // unused vertex
    two.triangles.push_back(KInt3{{0, 1, 999}}); // dropped
    const std::vector<KTriMesh> pieces = splitConnected(two);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0].vertexCount(), 8);
    EXPECT_EQ(pieces[0].triangleCount(), 12);
    EXPECT_EQ(pieces[1].vertexCount(), other.vertexCount());
    EXPECT_EQ(pieces[1].triangleCount(), other.triangleCount());
    EXPECT_TRUE(pieces[1].indicesValid());
}

// The prefiltered edge scan gives exactly the chains of the full scan, including planes that pass
// through vertices (rings at whole numbers, steps of 1), far from the origin, and on the shipped
// real tree separated into its tubes, whose chains stay inside their tube's box.
TEST(KTreeSkeleton, PrefilteredScanMatchesTheFullScan) {
    std::vector<KTriMesh> meshes = {makeOpenCylinder(16, 11), makeOpenCylinder(7, 11, 0.3f), cappedCylinder(),
                                    makeSmallTree()[1],
                                    makeTube({1e4f, -3e3f, 5e3f}, {1e4f + 3, -3e3f + 4, 5e3f + 1}, 0.2f)};
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(0.1f, 1.0f);
    for (int i = 0; i < 20; ++i)
        meshes.push_back(makeTube({u(rng), u(rng), u(rng)}, {u(rng) + 2, u(rng) + 3, u(rng) + 1},
                                  0.1f * u(rng), 5 + i % 9, 4 + i % 13));
    const std::size_t firstTube = meshes.size();
    const std::string path = dataPath("real/trees/helios_apple_tree_sapling/tree.obj");
    KTriMesh tree;
    const bool haveTree = readObj(path, tree); // the synthetic tubes are compared without it
    for (const KTriMesh& tube : splitConnected(tree))
        meshes.push_back(tube);
    EXPECT_TRUE(!haveTree || meshes.size() - firstTube > 10u) << path;
    int compared = 0, longChains = 0;
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        const KTriMeshConnectionInfo conn = connect(meshes[i]);
        KBoundingBox box = meshes[i].boundingBox(true);
        box.expand(1e-5f);
        for (float step : {1.0f, 0.5f, 0.02f, -1.5f}) {
            KVectorArray full, fast;
            findCenter(meshes[i], conn, 200, step, full, EdgeScan::Full);
            findCenter(meshes[i], conn, 200, step, fast, EdgeScan::Prefiltered);
            ASSERT_EQ(full.length(), fast.length()) << compared;
            for (int k = 0; k < full.length(); ++k)
                ASSERT_TRUE(std::memcmp(&full[k], &fast[k], sizeof(KVector)) == 0) << compared << " " << k;
            compared += full.length() > 1;
            if (i < firstTube || step != 0.02f)
                continue;
            ASSERT_FALSE(fast.empty());
            longChains += fast.length() > 2;
            for (const KVector& p : fast)
                EXPECT_TRUE(box.contains(p)) << p.x << " " << p.y << " " << p.z;
        }
    }
    EXPECT_GT(compared, 40);
    EXPECT_GT(longChains, static_cast<int>(meshes.size() - firstTube) / 2);
}
