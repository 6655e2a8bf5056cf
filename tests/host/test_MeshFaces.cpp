// The stand-in's polygon triangulation and UV sets (MFnMesh), the parts the host conversions
// build on.
#include <host/Host.h>

#include <maya/MFloatArray.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

struct V3 {
    double x, y, z;
};
V3 cross(const V3& a, const V3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dot(const V3& a, const V3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
V3 sub(const MPoint& a, const MPoint& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }

// Mesh data of the given points and faces (one face of all the points when counts is empty).
MObject meshData(const std::vector<MPoint>& corners, std::vector<int> counts = {},
                 std::vector<int> connects = {}) {
    if (counts.empty()) {
        counts = {static_cast<int>(corners.size())};
        for (size_t i = 0; i < corners.size(); ++i)
            connects.push_back(static_cast<int>(i));
    }
    MPointArray points;
    for (const MPoint& p : corners)
        points.append(p);
    MObject data = MFnMeshData().create();
    MStatus status;
    MFnMesh().create(static_cast<int>(corners.size()), static_cast<int>(counts.size()), points,
                     MIntArray(counts.data(), static_cast<unsigned>(counts.size())),
                     MIntArray(connects.data(), static_cast<unsigned>(connects.size())), data, &status);
    EXPECT_TRUE(status);
    return data;
}

std::vector<int> ints(const MIntArray& a) { return std::vector<int>(&a[0], &a[0] + a.length()); }

// Checks that the triangles of a single face tile it: n - 2 of them, corners from the face and,
// unless the face is degenerate, every one wound like the face and their areas adding up to the
// face's area.
void expectTiling(const std::vector<MPoint>& corners, bool degenerate = false) {
    SCOPED_TRACE(testing::Message() << corners.size() << " corners");
    MIntArray counts, vertices;
    ASSERT_TRUE(MFnMesh(meshData(corners)).getTriangles(counts, vertices));
    const int n = static_cast<int>(corners.size());
    ASSERT_EQ(counts.length(), 1u);
    ASSERT_EQ(counts[0], n - 2);
    ASSERT_EQ(vertices.length(), 3u * static_cast<unsigned int>(n - 2));
    V3 faceNormal{0, 0, 0};
    for (int i = 0; i < n; ++i) {
        V3 c = cross(V3{corners[i].x, corners[i].y, corners[i].z},
                     V3{corners[(i + 1) % n].x, corners[(i + 1) % n].y, corners[(i + 1) % n].z});
        faceNormal = {faceNormal.x + c.x, faceNormal.y + c.y, faceNormal.z + c.z};
    }
    const double faceArea = 0.5 * std::sqrt(dot(faceNormal, faceNormal));
    double sum = 0.0;
    for (int t = 0; t < n - 2; ++t) {
        int a = vertices[3 * t], b = vertices[3 * t + 1], c = vertices[3 * t + 2];
        ASSERT_TRUE(a >= 0 && a < n && b >= 0 && b < n && c >= 0 && c < n);
        if (degenerate)
            continue;
        EXPECT_TRUE(a != b && b != c && a != c) << "triangle " << t;
        V3 normal = cross(sub(corners[b], corners[a]), sub(corners[c], corners[a]));
        EXPECT_GT(dot(normal, faceNormal), 0.0) << "triangle " << t << " is flipped against its face";
        sum += 0.5 * std::sqrt(dot(normal, normal));
    }
    if (!degenerate) {
        EXPECT_NEAR(sum, faceArea, 1e-9 * (1.0 + faceArea)) << "triangles overlap or leave gaps";
    }
}

class MeshFacesTest : public testing::Test {
  protected:
    void SetUp() override { Host::resetSession(); }
};

TEST_F(MeshFacesTest, ConvexFacesBecomeTheFanOfTheirFirstCornerInMeshVertexIds) {
    const std::vector<MPoint> grid = {MPoint(0, 0), MPoint(1, 0), MPoint(2, 0),
                                      MPoint(0, 1), MPoint(1, 1), MPoint(2, 1)};
    const struct {
        std::vector<MPoint> points;
        std::vector<int> counts, connects, triangleCounts, triangles;
    } cases[] = {
        {{MPoint(0, 0), MPoint(2, 0), MPoint(3, 1), MPoint(2, 2), MPoint(0, 2)},
         {5},
         {0, 1, 2, 3, 4},
         {3},
         {0, 1, 2, 0, 2, 3, 0, 3, 4}},
        {grid, {3, 4}, {5, 4, 1, 0, 1, 4, 3}, {1, 2}, {5, 4, 1, 0, 1, 4, 0, 4, 3}},
    };
    for (const auto& c : cases) {
        MIntArray counts, vertices;
        ASSERT_TRUE(MFnMesh(meshData(c.points, c.counts, c.connects)).getTriangles(counts, vertices));
        EXPECT_EQ(ints(counts), c.triangleCounts);
        EXPECT_EQ(ints(vertices), c.triangles);
    }
}

TEST_F(MeshFacesTest, NonConvexAndDegenerateFacesAreTiledWithoutFlippedTriangles) {
    // An L whose fan from corner 0 would cross the notch.
    expectTiling({MPoint(0, 0), MPoint(2, 0), MPoint(2, 1), MPoint(1, 1), MPoint(1, 2), MPoint(0, 2)});
    expectTiling({MPoint(1, 1), MPoint(0, 2), MPoint(0, 0), MPoint(2, 0), MPoint(2, 2), MPoint(1, 2.5)});
    // A star: every other corner is reflex, and corner 0 is one of them.
    std::vector<MPoint> star;
    for (int i = 0; i < 10; ++i) {
        const double angle = 6.283185307179586 * i / 10.0, radius = (i % 2 == 0) ? 0.4 : 1.0;
        star.push_back(MPoint(radius * std::cos(angle), radius * std::sin(angle)));
    }
    expectTiling(star);
    // A comb, tilted out of every axis plane.
    std::vector<MPoint> comb = {MPoint(0, 0), MPoint(5, 0), MPoint(5, 2), MPoint(4, 2),
                                MPoint(4, 1), MPoint(3, 1), MPoint(3, 2), MPoint(2, 2),
                                MPoint(2, 1), MPoint(1, 1), MPoint(1, 2), MPoint(0, 2)};
    for (MPoint& p : comb)
        p = MPoint(p.x * 0.8 + p.y * 0.36, p.y * 0.6, p.x * 0.6 - p.y * 0.48);
    expectTiling(comb);
    // Clockwise as seen from +z: the face's own winding is kept.
    expectTiling({MPoint(0, 2), MPoint(1, 2), MPoint(1, 1), MPoint(2, 1), MPoint(2, 0), MPoint(0, 0)});
    // Collinear, self-crossing and collapsed faces still give n - 2 triangles of their corners.
    expectTiling({MPoint(0, 0), MPoint(1, 0), MPoint(2, 0), MPoint(3, 0)}, true);
    expectTiling({MPoint(0, 0), MPoint(2, 2), MPoint(2, 0), MPoint(0, 2), MPoint(1, 3)}, true);
    expectTiling(std::vector<MPoint>(5, MPoint(1, 1)), true);
}

// Two quads sharing an edge, with a seam: four UVs on the left quad, four on the right one.
MObject twoQuads() {
    return meshData({MPoint(0, 0), MPoint(1, 0), MPoint(2, 0), MPoint(0, 1), MPoint(1, 1), MPoint(2, 1)},
                    {4, 4}, {0, 1, 4, 3, 1, 2, 5, 4});
}

TEST_F(MeshFacesTest, AssignedUVsAreReadBackPerFaceVertexAndBadAssignmentsChangeNothing) {
    MObject data = twoQuads();
    MFnMesh fn(data);
    const float u[] = {0, .5f, .5f, 0, .6f, 1, 1, .6f}, v[] = {0, 0, 1, 1, 0, 0, 1, 1};
    ASSERT_TRUE(fn.setUVs(MFloatArray(u, 8), MFloatArray(v, 8)));
    const int uvCounts[] = {4, 4}, uvIds[] = {0, 1, 2, 3, 4, 5, 6, 7};
    ASSERT_TRUE(fn.assignUVs(MIntArray(uvCounts, 2), MIntArray(uvIds, 8)));
    const int threeCounts[] = {3, 4}, outOfRange[] = {0, 1, 2, 3, 4, 5, 6, 8};
    EXPECT_EQ(fn.assignUVs(MIntArray(threeCounts, 2), MIntArray(uvIds, 7)), MS::kInvalidParameter);
    EXPECT_EQ(fn.assignUVs(MIntArray(uvCounts, 2), MIntArray(outOfRange, 8)), MS::kInvalidParameter);
    EXPECT_EQ(fn.assignUVs(MIntArray(uvCounts, 1), MIntArray(uvIds, 4)), MS::kInvalidParameter);
    EXPECT_EQ(fn.assignUVs(MIntArray(uvCounts, 2), MIntArray(uvIds, 6)), MS::kInvalidParameter);
    EXPECT_EQ(fn.setUVs(MFloatArray(u, 8), MFloatArray(v, 7)), MS::kInvalidParameter);
    int id = -1;
    ASSERT_TRUE(fn.getPolygonUVid(1, 0, id));
    EXPECT_EQ(id, 4) << "vertex 1 has UV 1 in face 0 and UV 4 in face 1 (a seam)";
    ASSERT_TRUE(fn.getPolygonUVid(0, 1, id));
    EXPECT_EQ(id, 1);
    ASSERT_TRUE(fn.getPolygonUVid(1, 3, id));
    EXPECT_EQ(id, 7);
    EXPECT_EQ(fn.getPolygonUVid(1, 4, id), MS::kInvalidParameter);
    EXPECT_EQ(fn.getPolygonUVid(2, 0, id), MS::kInvalidParameter);
    MFloatArray gotU, gotV;
    ASSERT_TRUE(fn.getUVs(gotU, gotV));
    ASSERT_EQ(gotU.length(), 8u);
    EXPECT_FLOAT_EQ(gotU[4], .6f);
    MString map1("map1"), missing("nope");
    EXPECT_EQ(fn.getUVs(gotU, gotV, &missing), MS::kInvalidParameter);
    EXPECT_EQ(fn.numUVs(map1), 8);
    // The UVs travel from inMesh to the shape's output.
    MObject shape = Host::createNode("mesh", "seamShape");
    ASSERT_TRUE(Host::plug("seamShape.inMesh").setValue(data));
    ASSERT_TRUE(MFnMesh(shape).getPolygonUVid(1, 1, id));
    EXPECT_EQ(id, 5);
    EXPECT_EQ(MFnMesh(shape).currentUVSetName(), "map1");
    // A face without UVs; a set shrinks only through clearUVs, which also unassigns every face.
    const int partialCounts[] = {0, 4};
    ASSERT_TRUE(fn.assignUVs(MIntArray(partialCounts, 2), MIntArray(uvIds + 4, 4)));
    EXPECT_EQ(fn.getPolygonUVid(0, 0, id), MS::kFailure);
    EXPECT_EQ(fn.setUVs(MFloatArray(u, 6), MFloatArray(v, 6)), MS::kInvalidParameter);
    EXPECT_EQ(fn.numUVs(), 8);
    EXPECT_EQ(fn.clearUVs(&missing), MS::kInvalidParameter);
    ASSERT_TRUE(fn.clearUVs(&map1));
    EXPECT_EQ(fn.numUVs(), 0);
    MIntArray counts, ids;
    ASSERT_TRUE(fn.getAssignedUVs(counts, ids));
    EXPECT_EQ(counts.length(), 2u);
    EXPECT_EQ(counts[1], 0);
    EXPECT_EQ(ids.length(), 0u);
    ASSERT_TRUE(fn.setUVs(MFloatArray(u, 6), MFloatArray(v, 6)));
}

TEST_F(MeshFacesTest, UVSetsAreNamedAndOneIsCurrent) {
    MObject data = twoQuads();
    MFnMesh fn(data);
    EXPECT_EQ(fn.createUVSetWithName("paint"), "paint");
    EXPECT_EQ(fn.createUVSetWithName("paint"), "paint1") << "names stay unique";
    MString name("paint"), empty;
    ASSERT_TRUE(fn.createUVSet(name));
    EXPECT_EQ(name, "paint2") << "the name used comes back";
    EXPECT_EQ(fn.createUVSet(empty), MS::kInvalidParameter);
    EXPECT_EQ(fn.numUVSets(), 4);
    EXPECT_EQ(fn.currentUVSetName(), "map1") << "a new set does not become current";
    EXPECT_EQ(fn.setCurrentUVSetName("nope"), MS::kInvalidParameter);
    ASSERT_TRUE(fn.setCurrentUVSetName("paint"));
    EXPECT_EQ(fn.currentUVSetName(), "paint");
    const float u[] = {0.25f}, v[] = {0.75f};
    ASSERT_TRUE(fn.setUVs(MFloatArray(u, 1), MFloatArray(v, 1)));
    MString map1("map1"), paint("paint");
    EXPECT_EQ(fn.numUVs(paint), 1);
    EXPECT_EQ(fn.numUVs(map1), 0) << "NULL names the current set only";
}

} // namespace
