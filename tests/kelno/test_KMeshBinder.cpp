// The binder core: triangle frames, the farthest-corner rule, bind and evaluation under rigid
// motion and long deformations, and bad indices.
#include <kelno/KMeshBinder.h>

#include "support/KGridAndMotion.h"
#include "support/KTestMeshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using Kelno::KMatrix4d;
using Kelno::KMeshBinding;
using Kelno::KTriMesh;
using Kelno::KVector;
using KelnoTest::RigidMotion;

KTriMesh oneTriangle(const KVector& p0, const KVector& p1, const KVector& p2) {
    KTriMesh m;
    m.positions = {p0, p1, p2};
    m.triangles.push_back(Kelno::KInt3{{0, 1, 2}});
    return m;
}

TEST(KMeshBinder, FramesAreRightHandedAndOrthonormal) {
    const KTriMesh torus = KelnoTest::makeTorus(12, 8);
    for (int t = 0; t < torus.triangleCount(); ++t) {
        SCOPED_TRACE(t);
        Kelno::KTriangleFrame fr;
        ASSERT_TRUE(Kelno::TriangleFrame(torus, t, Kelno::FarthestCorner(torus, t), fr));
        // F's rows A, N, B are orthonormal (A lies in the plane: the corner is in it), B = A x N.
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                EXPECT_NEAR(fr.matrix.m[i][0] * fr.matrix.m[j][0] + fr.matrix.m[i][1] * fr.matrix.m[j][1] +
                                fr.matrix.m[i][2] * fr.matrix.m[j][2] + fr.matrix.m[i][3] * fr.matrix.m[j][3],
                            i == j ? 1.0 : 0.0, 1e-6);
        EXPECT_NEAR(fr.b[0], fr.a[1] * fr.n[2] - fr.a[2] * fr.n[1], 1e-12);
        // N follows the winding: (p1 - p0) x (p2 - p0).
        const Kelno::KInt3& c = torus.triangles[t];
        const KVector n = (torus.positions[c[1]] - torus.positions[c[0]])
                              .cross(torus.positions[c[2]] - torus.positions[c[0]])
                              .normal();
        EXPECT_NEAR(fr.n[0] * n.x + fr.n[1] * n.y + fr.n[2] * n.z, 1.0, 1e-6);
    }
}

TEST(KMeshBinder, FarthestCornerRuleAndTies) {
    const float h = std::sqrt(3.0f) / 2.0f;
    const struct {
        const char* what;
        KVector p0, p1, p2;
        int expected; // corner index 0, 1, 2
    } cases[] = {
        {"equilateral: all tie, i0", {0, 0, 0}, {1, 0, 0}, {0.5f, h, 0}, 0},
        {"p0 farthest", {-5, 0, 0}, {1, 0, 0}, {0, 1, 0}, 0},
        {"p1 farthest", {0, 0, 0}, {6, 0, 0}, {0, 1, 0}, 1},
        {"p2 farthest", {0, 0, 0}, {1, 0, 0}, {0, 7, 0}, 2},
        {"p1 and p2 tie beyond p0: i1", {0, 0, 0}, {4, 1, 0}, {-4, 1, 0}, 1},
        {"p0 and p2 tie beyond p1: i0", {4, 1, 0}, {0, 0, 0}, {-4, 1, 0}, 0},
        {"p0 and p1 tie beyond p2: i0", {4, 1, 0}, {-4, 1, 0}, {0, 0, 0}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        // Corners stored out of order, so that the result must be a vertex index, not a corner.
        KTriMesh m;
        m.positions = {c.p2, c.p0, c.p1};
        m.triangles.push_back(Kelno::KInt3{{1, 2, 0}});
        const int vertexOfCorner[3] = {1, 2, 0};
        EXPECT_EQ(Kelno::FarthestCorner(m, 0), vertexOfCorner[c.expected]);
    }
}

TEST(KMeshBinder, LocalCoordinatesOfPointsAroundATriangle) {
    const KTriMesh m = oneTriangle({0, 0, 0}, {3, 0, 0}, {0, 3, 0}); // normal +Z, centre (1, 1, 0)
    const struct {
        KVector p;
        double local[3];
    } cases[] = {
        {{1, 1, 0}, {0, 0, 0}},                            // the centre
        {{1, 1, 2.5f}, {0, 2.5, 0}},                       // above it, along N
        {{2, 1, 0}, {std::sqrt(0.8), 0, -std::sqrt(0.2)}}, // in the plane: L.y = 0
    };
    for (const auto& c : cases) {
        KMeshBinding b;
        ASSERT_TRUE(Kelno::BindPoint(m, c.p, b));
        EXPECT_EQ(b.triangle, 0);
        // d1 = d2 > d0: the tie between p1 and p2 goes to p1.
        EXPECT_EQ(b.vertex, 1);
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(b.local[k], c.local[k], 1e-6);
        // The bind frame inverted: initialMatrix * F is the identity.
        Kelno::KTriangleFrame fr;
        ASSERT_TRUE(Kelno::TriangleFrame(m, b.triangle, b.vertex, fr));
        const KMatrix4d id = b.initialMatrix * fr.matrix;
        for (int r = 0; r < 4; ++r)
            for (int k = 0; k < 4; ++k)
                EXPECT_NEAR(id.m[r][k], r == k ? 1.0 : 0.0, 1e-12);
    }
}

// An undeformed mesh leaves every bound point where it is; a rigidly moved one carries it along
// with the motion, and the rotation is the motion's. Over 1000 frames of a growing motion the
// binding made at rest follows without accumulating error (each frame is rebuilt from the mesh).
TEST(KMeshBinder, RigidMotionsAreFollowedWithoutDrift) {
    const KTriMesh rest = KelnoTest::makeTorus(24, 12);
    const double zAxis[3] = {0, 0, 1}, tilted[3] = {0.48, 0.6, 0.64}, none[3] = {0, 0, 0};
    const double shift[3] = {3, -2, 0.5};
    std::vector<RigidMotion> motions = {RigidMotion(zAxis, 0.0, none), RigidMotion(zAxis, 0.0, shift),
                                        RigidMotion(zAxis, 1.0, none), RigidMotion(tilted, -2.2, shift)};
    for (int frame = 1; frame <= 1000; ++frame) {
        const double step[3] = {0.001 * frame, 0, -0.002 * frame};
        motions.push_back(RigidMotion(tilted, 0.005 * frame, step));
    }
    const KVector points[] = {{2.6f, 0.1f, 0.2f}, {0, 0.9f, -1.7f}, {-1.0f, -1.0f, 0.3f}};
    KMeshBinding bindings[3];
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(Kelno::BindPoint(rest, points[i], bindings[i]));
    double worst = 0;
    for (std::size_t m = 0; m < motions.size(); ++m) {
        const KTriMesh now = motions[m].apply(rest);
        for (int i = 0; i < 3; ++i) {
            double t[3], expected[3];
            KMatrix4d r;
            ASSERT_TRUE(Kelno::EvaluateBinding(now, bindings[i], points[i], t, r));
            motions[m].apply(points[i], expected);
            for (int k = 0; k < 3; ++k) {
                worst = std::fmax(worst, std::fabs(t[k] - (expected[k] - points[i][k])));
                for (int j = 0; j < 4; ++j)
                    worst = std::fmax(worst, std::fabs(r.m[k][j] - motions[m].r.m[k][j]));
            }
            if (m == 0) {
                EXPECT_LT(worst, 1e-6) << "undeformed: no displacement, identity";
            }
        }
    }
    EXPECT_LT(worst, 2e-5);
}

TEST(KMeshBinder, BadInputIsSafeAndValidInputUnaffected) {
    KTriMesh m = oneTriangle({0, 0, 0}, {3, 0, 0}, {0, 3, 0});
    m.positions.push_back(KVector(9, 9, 9));
    m.triangles.push_back(Kelno::KInt3{{0, 1, 7}}); // corner 7 is outside the mesh
    KMeshBinding good;
    ASSERT_TRUE(Kelno::BindPoint(m, KVector(1, 1, 1), good));
    EXPECT_EQ(good.triangle, 0) << "the broken triangle is never found";

    // Negative triangle, past the end, a corner out of range, negative vertex, vertex past the end.
    const int cases[][2] = {{-1, 1}, {2, 1}, {1, 1}, {0, -3}, {0, 4}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c[0] << "," << c[1]);
        KMeshBinding b = good;
        b.triangle = c[0];
        b.vertex = c[1];
        double t[3] = {7, 7, 7};
        KMatrix4d r;
        r.m[0][1] = 5;
        EXPECT_FALSE(Kelno::EvaluateBinding(m, b, KVector(1, 1, 1), t, r));
        EXPECT_EQ(std::vector<double>(t, t + 3), std::vector<double>(3, 0.0));
        const KMatrix4d id;
        EXPECT_EQ(std::vector<double>(&r.m[0][0], &r.m[0][0] + 16),
                  std::vector<double>(&id.m[0][0], &id.m[0][0] + 16));
        Kelno::KTriangleFrame fr;
        EXPECT_FALSE(Kelno::TriangleFrame(m, c[0], c[1], fr));
    }
    EXPECT_EQ(Kelno::FarthestCorner(m, 1), -1);

    // Nothing to bind to: unbound defaults.
    KMeshBinding b;
    b.triangle = 3;
    EXPECT_FALSE(Kelno::BindPoint(KTriMesh(), KVector(1, 2, 3), b));
    EXPECT_EQ(b.triangle, -1);

    // A degenerate triangle (a point) keeps its zero axes unnormalised instead of dividing by zero.
    const KTriMesh point = oneTriangle({1, 1, 1}, {1, 1, 1}, {1, 1, 1});
    ASSERT_TRUE(Kelno::BindPoint(point, KVector(2, 2, 2), b));
    double t[3];
    KMatrix4d r;
    Kelno::EvaluateBinding(point, b, KVector(2, 2, 2), t, r);
    for (int k = 0; k < 3; ++k) {
        EXPECT_TRUE(std::isfinite(t[k]));
        EXPECT_EQ(b.local[k], 0.0);
        EXPECT_EQ(b.initialMatrix.m[k][k], 1.0) << "a singular frame inverts to the identity";
    }
}

} // namespace
