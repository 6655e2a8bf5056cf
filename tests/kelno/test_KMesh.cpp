#include <kelno/KMesh.h>

#include "support/KTestData.h"
#include "support/KTestMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace Kelno;
using namespace KelnoTest;

namespace {

using Calc = void (KTriMeshConnectionInfo::*)();

const std::vector<Calc> kAllCalcs = {
    &KTriMeshConnectionInfo::calculate_v2e, &KTriMeshConnectionInfo::calculate_e2v,
    &KTriMeshConnectionInfo::calculate_e2t, &KTriMeshConnectionInfo::calculate_t2e,
    &KTriMeshConnectionInfo::calculate_t2v};

// Builds the connection tables calling calculate_* in the given order.
KTriMeshConnectionInfo connect(const KTriMesh& mesh, const std::vector<Calc>& order = kAllCalcs) {
    KTriMeshConnectionInfo c;
    c.set(mesh);
    for (Calc f : order)
        (c.*f)();
    return c;
}

std::pair<int, int> unordered(int a, int b) { return a < b ? std::make_pair(a, b) : std::make_pair(b, a); }

// Checks every table against an independent recomputation from the triangles alone.
void expectTablesMatchMesh(const KTriMesh& mesh, const KTriMeshConnectionInfo& c) {
    const int nt = mesh.triangleCount();
    const int nv = mesh.vertexCount();
    const auto valid = [nv](const KInt3& tri) {
        return std::all_of(tri.v, tri.v + 3, [nv](int v) { return v >= 0 && v < nv; });
    };
    // Reference numbering: first meeting, walking triangles then corners.
    std::map<std::pair<int, int>, int> number;
    std::vector<std::pair<int, int>> firstOriented;
    std::vector<std::vector<int>> trianglesOfEdge;
    for (int t = 0; t < nt; ++t) {
        const KInt3& tri = mesh.triangles[t];
        if (!valid(tri))
            continue;
        for (int k = 0; k < 3; ++k) {
            const int a = tri[k], b = tri[(k + 1) % 3];
            auto it = number.emplace(unordered(a, b), static_cast<int>(firstOriented.size()));
            if (it.second) {
                firstOriented.emplace_back(a, b);
                trianglesOfEdge.emplace_back();
            }
            std::vector<int>& ts = trianglesOfEdge[it.first->second];
            if (std::find(ts.begin(), ts.end(), t) == ts.end())
                ts.push_back(t);
        }
    }
    const int ne = static_cast<int>(firstOriented.size());
    ASSERT_EQ(c.edgeCount(), ne);
    ASSERT_EQ(c.e2v.length(), ne);
    ASSERT_EQ(c.e2t.length(), ne);
    ASSERT_EQ(c.t2e.length(), nt);
    ASSERT_EQ(c.t2v.length(), nt);
    ASSERT_EQ(c.v2e.length(), nv);
    for (int e = 0; e < ne; ++e) {
        EXPECT_EQ(c.e2v[e][0], firstOriented[e].first) << "edge " << e;
        EXPECT_EQ(c.e2v[e][1], firstOriented[e].second) << "edge " << e;
        const std::vector<int>& ts = trianglesOfEdge[e];
        EXPECT_EQ(c.e2t[e][0], ts[0]) << "edge " << e;
        EXPECT_EQ(c.e2t[e][1], ts.size() > 1 ? ts[1] : -1) << "edge " << e;
    }
    for (int t = 0; t < nt; ++t) {
        EXPECT_EQ(c.t2v[t], mesh.triangles[t]);
        const KInt3& tri = mesh.triangles[t];
        for (int k = 0; k < 3; ++k) {
            const int e = c.t2e[t][k];
            auto it = number.find(unordered(tri[k], tri[(k + 1) % 3]));
            if (it == number.end() || !valid(tri)) {
                EXPECT_EQ(e, -1) << "triangle " << t;
                continue;
            }
            EXPECT_EQ(e, it->second) << "triangle " << t << " corner " << k;
        }
    }
    std::vector<std::vector<int>> refV2e(static_cast<std::size_t>(nv));
    for (int e = 0; e < ne; ++e) {
        refV2e[firstOriented[e].first].push_back(e);
        if (firstOriented[e].second != firstOriented[e].first)
            refV2e[firstOriented[e].second].push_back(e);
    }
    for (int v = 0; v < nv; ++v)
        EXPECT_EQ(std::vector<int>(c.v2e[v].begin(), c.v2e[v].end()), refV2e[v]) << "vertex " << v;
}

int countBoundaryEdges(const KTriMeshConnectionInfo& c) {
    int n = 0;
    for (int e = 0; e < c.edgeCount(); ++e)
        n += c.isBoundaryEdge(e) ? 1 : 0;
    return n;
}

KMesh makeStrip() {
    // Three faces in a row: a quad, a triangle, a pentagon; UVs per corner carry the face id in x.
    KMesh m;
    for (int i = 0; i < 8; ++i)
        m.positions.push_back(KVector(static_cast<float>(i), static_cast<float>(i % 2), 0));
    m.faces = {KIntArray{0, 1, 2, 3}, KIntArray{2, 3, 4}, KIntArray{3, 4, 5, 6, 7}};
    for (int f = 0; f < 3; ++f)
        for (int k = 0; k < m.faces[f].length(); ++k)
            m.uvs.push_back(KVector(static_cast<float>(f), static_cast<float>(k), 0));
    return m;
}

} // namespace

TEST(KTriMesh, IndicesValidChecksEveryCorner) {
    KTriMesh m = makeCube();
    EXPECT_TRUE(m.indicesValid());
    m.triangles.push_back(KInt3{{0, 1, 8}});
    EXPECT_FALSE(m.indicesValid());
}

TEST(KTriMesh, VertexNormalsPointOutwardOnACubeInBothWeightings) {
    const KTriMesh cube = makeCube();
    for (bool weighted : {true, false}) {
        KVectorArray n;
        cube.getVertexNormals(n, weighted);
        ASSERT_EQ(n.length(), 8);
        for (int v = 0; v < 8; ++v) {
            EXPECT_NEAR(n[v].length(), 1.0f, 1e-6f);
            // Every cube corner is shared by three faces; the normal leans out along the corner.
            const KVector corner = cube.positions[v];
            EXPECT_GT(n[v].dot(corner.normal()), 0.9f) << "vertex " << v << " weighted " << weighted;
        }
    }
}

TEST(KTriMesh, AreaWeightingFavoursLargeTriangles) {
    // Two triangles at a shared vertex: a big one in the XY plane and a small one in the XZ plane.
    KTriMesh m;
    m.positions = {KVector(0, 0, 0), KVector(10, 0, 0), KVector(0, 10, 0), KVector(0, 0, -1),
                   KVector(1, 0, 0)};
    m.triangles = {KInt3{{0, 1, 2}}, KInt3{{0, 3, 4}}};
    KVectorArray weighted, equal;
    m.getVertexNormals(weighted, true);
    m.getVertexNormals(equal, false);
    // Triangle 0 has normal +Z (area 50), triangle 1 has normal -Y (area 0.5).
    EXPECT_GT(weighted[0].z, 0.99f);
    EXPECT_NEAR(equal[0].z, -equal[0].y, 1e-6f);
    EXPECT_NEAR(equal[0].z, 0.70710678f, 1e-6f);
    EXPECT_NEAR(equal[0].length(), 1.0f, 1e-6f);
}

TEST(KTriMesh, VertexNormalsSkipBadTrianglesAndLeaveUnusedVerticesZero) {
    KTriMesh m;
    m.positions = {KVector(0, 0, 0), KVector(1, 0, 0), KVector(0, 1, 0), KVector(5, 5, 5)};
    m.triangles = {KInt3{{0, 1, 2}}, KInt3{{0, 1, 9}}, KInt3{{-1, 1, 2}}, KInt3{{0, 0, 1}}};
    KVectorArray n;
    m.getVertexNormals(n, true);
    ASSERT_EQ(n.length(), 4);
    EXPECT_EQ(n[0], KVector(0, 0, 1));
    EXPECT_EQ(n[3], KVector());
}

TEST(KMesh, ConnectionsAndCountsListFacesInOrder) {
    const KMesh m = makeStrip();
    KIntArray conn, counts;
    m.getConnections(conn);
    m.getCounts(counts);
    EXPECT_EQ(conn, (KIntArray{0, 1, 2, 3, 2, 3, 4, 3, 4, 5, 6, 7}));
    EXPECT_EQ(counts, (KIntArray{4, 3, 5}));
}

TEST(KMesh, DeleteElementsDropsListedFacesKeepsVerticesAndMovesUvs) {
    KMesh m = makeStrip();
    m.deleteElements(KIntArray{1, 7, -2, 1});
    ASSERT_EQ(m.faceCount(), 2);
    EXPECT_EQ(m.vertexCount(), 8);
    KIntArray conn;
    m.getConnections(conn);
    EXPECT_EQ(conn, (KIntArray{0, 1, 2, 3, 3, 4, 5, 6, 7}));
    ASSERT_EQ(m.uvs.length(), 9);
    EXPECT_EQ(m.uvs[3], KVector(0, 3, 0));
    EXPECT_EQ(m.uvs[4], KVector(2, 0, 0));
    m.deleteElements(KIntArray{2, 0, 1});
    EXPECT_EQ(m.faceCount(), 0);
    EXPECT_EQ(m.vertexCount(), 8);
    EXPECT_TRUE(m.uvs.empty());
}

TEST(KMesh, ExchangeSwapsEverythingWithoutCopying) {
    KMesh a = makeStrip(), b;
    const KVector* storage = a.positions.data();
    a.exchange(b);
    EXPECT_EQ(a.vertexCount() + a.faceCount() + a.uvs.length(), 0);
    EXPECT_EQ(b.faceCount(), 3);
    EXPECT_EQ(b.uvs.length(), 12);
    EXPECT_EQ(b.positions.data(), storage);
}

TEST(KTriMeshConnectionInfo, TablesMatchTheReferenceOnClosedAndOpenMeshes) {
    // (The reference also checks that the first side of a boundary edge is a real triangle.)
    const struct {
        const char* what;
        KTriMesh mesh;
        int boundaryEdges;
    } cases[] = {{"cube", makeCube(), 0},
                 {"torus", makeTorus(12, 7), 0},
                 {"open cylinder", makeOpenCylinder(9, 4), 18}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const KTriMeshConnectionInfo info = connect(c.mesh);
        expectTablesMatchMesh(c.mesh, info);
        EXPECT_EQ(countBoundaryEdges(info), c.boundaryEdges);
    }
}

TEST(KTriMeshConnectionInfo, TablesAgreeWhateverOrderTheyAreCalculatedIn) {
    const KTriMesh m = makeOpenCylinder(7, 3);
    std::vector<int> perm = {0, 1, 2, 3, 4};
    const KTriMeshConnectionInfo reference = connect(m);
    int orders = 0;
    do {
        std::vector<Calc> order;
        for (int round = 0; round < 2; ++round) // twice over: recalculating changes nothing either
            for (int i : perm)
                order.push_back(kAllCalcs[i]);
        const KTriMeshConnectionInfo c = connect(m, order);
        EXPECT_TRUE(std::tie(c.e2v, c.e2t, c.t2e, c.t2v, c.v2e) ==
                    std::tie(reference.e2v, reference.e2t, reference.t2e, reference.t2v, reference.v2e))
            << "order " << orders;
        ++orders;
    } while (std::next_permutation(perm.begin(), perm.end()));
    EXPECT_EQ(orders, 120);
    expectTablesMatchMesh(m, reference);
}

TEST(KTriMeshConnectionInfo, BadAndDegenerateTrianglesAreSafe) {
    KTriMesh m;
    m.positions = {KVector(0, 0, 0), KVector(1, 0, 0), KVector(0, 1, 0), KVector(1, 1, 0)};
    m.triangles = {KInt3{{0, 1, 2}}, KInt3{{1, 7, 2}}, KInt3{{1, 3, 2}}, KInt3{{3, 3, 2}}, KInt3{{-1, 0, 1}}};
    const KTriMeshConnectionInfo c = connect(m);
    expectTablesMatchMesh(m, c);
    EXPECT_EQ(c.t2e[1], (KInt3{{-1, -1, -1}}));
    EXPECT_EQ(c.t2e[4], (KInt3{{-1, -1, -1}}));
    // (3, 3) is a degenerate edge of triangle 3, listed once at vertex 3.
    const int loop = c.t2e[3][0];
    EXPECT_EQ(c.e2v[loop], (KInt2{{3, 3}}));
    EXPECT_EQ(std::count(c.v2e[3].begin(), c.v2e[3].end(), loop), 1);
    // Rebinding to another mesh forgets the old tables.
    KTriMeshConnectionInfo again = c;
    again.set(makeCube());
    EXPECT_TRUE(again.e2t.empty());
    EXPECT_EQ(again.edgeCount(), 18);
}

TEST(KTriMeshConnectionInfo, RealScansMatchTheReference) {
    for (const char* name : {"meshes/bunny.obj", "meshes/dragon_100k.obj"}) {
        KELNO_REQUIRE_DATA(name);
        KTriMesh m;
        ASSERT_TRUE(readObj(dataPath(name), m));
        ASSERT_GT(m.triangleCount(), 50000);
        const KTriMeshConnectionInfo c = connect(m);
        expectTablesMatchMesh(m, c);
        if (std::string(name) == "meshes/bunny.obj") {
            EXPECT_GT(countBoundaryEdges(c), 0) << "open at its base";
        }
    }
}
