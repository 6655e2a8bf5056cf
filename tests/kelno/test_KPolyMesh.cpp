#include <kelno/KPolyMesh.h>

#include <gtest/gtest.h>

#include <omp.h>

#include <cmath>
#include <random>

using namespace Kelno;

namespace {

// An axis-aligned unit cube around the origin, quads wound counter-clockwise seen from outside.
KPolyMesh cube() {
    KPolyMesh m;
    for (int i = 0; i < 8; ++i)
        m.m_positions.push_back(KVector(i & 1 ? 1.f : -1.f, i & 2 ? 1.f : -1.f, i & 4 ? 1.f : -1.f));
    m.m_polygonCounts = KIntArray{4, 4, 4, 4, 4, 4};
    m.m_polygonConnections =
        KIntArray{0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5};
    return m;
}

// A wavy height field of (n-1)^2 * 2 triangles.
KPolyMesh grid(int n) {
    KPolyMesh m;
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
            m.m_positions.push_back(KVector(static_cast<float>(i), static_cast<float>(j),
                                            0.3f * std::sin(0.1f * static_cast<float>(i * j))));
    for (int j = 0; j + 1 < n; ++j)
        for (int i = 0; i + 1 < n; ++i) {
            const int a = j * n + i;
            for (int v : {a, a + 1, a + n + 1, a, a + n + 1, a + n})
                m.m_polygonConnections.push_back(v);
            m.m_polygonCounts.push_back(3);
            m.m_polygonCounts.push_back(3);
        }
    return m;
}

TEST(KPolyMesh, CubeNormalsPointOutwardAlongTheDiagonals) {
    KPolyMesh m = cube();
    m.computeVertexNormals();
    ASSERT_EQ(m.vertexNormals().length(), 8);
    for (int v = 0; v < 8; ++v) {
        const KVector n = m.vertexNormals()[v];
        EXPECT_NEAR(n.length(), 1.0f, 1e-6f);
        EXPECT_NEAR(n.dot(m.m_positions[v].normal()), 1.0f, 1e-6f) << "vertex " << v;
    }
    for (const KVector& f : m.faceNormals())
        EXPECT_NEAR(f.length(), 8.0f, 1e-5f) << "Newell normal is twice the area (2x2 face)";
    EXPECT_EQ(m.numDrawablePolygons(), 6);
}

TEST(KPolyMesh, BoundingBoxSkipsNonFinitePointsAndMatchesBruteForce) {
    KPolyMesh m = grid(300); // large enough for the threaded path
    m.m_positions[17] = KVector(NAN, 0, 0);
    m.computeBoundingBox();
    KBoundingBox brute;
    for (const KVector& p : m.m_positions)
        if (std::isfinite(p.x))
            brute.expand(p);
    EXPECT_EQ(m.m_boundingBox.min(), brute.min());
    EXPECT_EQ(m.m_boundingBox.max(), brute.max());
    KPolyMesh empty;
    empty.computeBoundingBox();
    EXPECT_FALSE(empty.m_boundingBox.initialized());
}

TEST(KPolyMesh, ThreadedNormalsMatchSingleThreadedOnes) {
    KPolyMesh a = grid(260);
    KPolyMesh b = a;
    const int saved = omp_get_max_threads();
    omp_set_num_threads(1);
    a.computeVertexNormals();
    omp_set_num_threads(std::max(2, saved));
    b.computeVertexNormals();
    omp_set_num_threads(saved);
    ASSERT_EQ(a.vertexNormals().length(), b.vertexNormals().length());
    for (std::size_t i = 0; i < a.vertexNormals().size(); ++i) {
        const KVector d = a.vertexNormals()[i] - b.vertexNormals()[i];
        EXPECT_LT(d.length(), 1e-5f) << "vertex " << i;
    }
}

TEST(KPolyMesh, TransformMatchesMatrixPointTransformAndCarriesNormals) {
    KPolyMesh m = cube();
    m.computeVertexNormals();
    KMatrix s;
    s(0, 0) = 3.0f; // non-uniform scale, then a translation
    s(3, 0) = 5.0f;
    s(3, 2) = -2.0f;
    const KVectorArray before = m.m_positions;
    m.transform(s, true);
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_EQ(m.m_positions[i], s.transformPoint(before[i]));
    // Normals stay perpendicular to the transformed faces.
    for (int f = 0; f < 6; ++f) {
        const int* poly = m.m_polygonConnections.data() + 4 * f;
        const KVector edge = m.m_positions[poly[1]] - m.m_positions[poly[0]];
        EXPECT_NEAR(m.faceNormals()[f].dot(edge), 0.0f, 1e-5f);
        EXPECT_NEAR(m.faceNormals()[f].length(), 1.0f, 1e-5f);
    }
    // Projective matrices divide by w.
    KPolyMesh p = cube();
    KMatrix proj;
    proj(3, 3) = 2.0f;
    p.transform(proj, false);
    EXPECT_EQ(p.m_positions[7], KVector(0.5f, 0.5f, 0.5f));
}

TEST(KPolyMesh, MismatchedOrDamagedTopologyIsSkippedNotRead) {
    KPolyMesh m = cube();
    m.m_positions.resize(6); // vertices 6 and 7 gone: only faces avoiding them stay drawable
    m.computeVertexNormals();
    m.computeBoundingBox();
    EXPECT_EQ(m.numDrawablePolygons(), 2);
    EXPECT_EQ(m.vertexNormals().length(), 6);
    KPolyMesh bad = cube();
    bad.m_polygonCounts = KIntArray{4, -3, 4, 1000};
    bad.computeVertexNormals();
    EXPECT_EQ(bad.numDrawablePolygons(), 1) << "only the first face lies before the negative size";
    KPolyMesh topologyOnly = cube();
    topologyOnly.m_positions.clear(); // what a topology-only load holds
    topologyOnly.computeVertexNormals();
    topologyOnly.computeBoundingBox();
    topologyOnly.transform(KMatrix(), true);
    EXPECT_EQ(topologyOnly.numDrawablePolygons(), 0);
    EXPECT_FALSE(topologyOnly.m_boundingBox.initialized());
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        KPolyMesh r = cube();
        for (int& v : r.m_polygonConnections)
            if (rng() % 5 == 0)
                v = static_cast<int>(rng() % 20) - 5;
        for (int& c : r.m_polygonCounts)
            if (rng() % 4 == 0)
                c = static_cast<int>(rng() % 12) - 2;
        r.computeVertexNormals();
        for (const KVector& n : r.vertexNormals())
            EXPECT_TRUE(std::isfinite(n.x) && std::isfinite(n.y) && std::isfinite(n.z));
    }
}

} // namespace
