// Host mesh conversions on the host stand-in: Convert (triangle and polygon meshes, one or
// several objects), Copy and GetMesh, on small n-gon meshes (non-convex faces, shared vertices,
// UV ids out of face-corner order).
#include <kelno/maya/KMayaMesh.h>

#include <host/Host.h>

#include <maya/MDagPath.h>
#include <maya/MFloatArray.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Kelno::KInt3;
using Kelno::KMesh;
using Kelno::KTriMesh;
using Kelno::KVector;

// A host mesh described in plain arrays. UVs: one per face corner, encoded so that a test can
// tell which face and which vertex a UV belongs to: u = face index, v = vertex index / 100.
struct Polys {
    std::vector<MPoint> points;
    std::vector<std::vector<int>> faces;
};

// A quad, a non-convex hexagon (an L), a triangle and a pentagon, sharing vertices, not planar
// as a whole.
const Polys kNgons = {{MPoint(0, 0, 0), MPoint(2, 0, 0), MPoint(2, 1, 0), MPoint(1, 1, 0), MPoint(1, 2, 0),
                       MPoint(0, 2, 0), MPoint(3, 0, 1), MPoint(3, 1, 1), MPoint(-1, 0, 1), MPoint(-1, 2, 2),
                       MPoint(-2, 1, 2)},
                      {{1, 6, 7, 2}, {0, 1, 2, 3, 4, 5}, {5, 8, 0}, {0, 8, 10, 9, 5}}};
const Polys kQuad = {{MPoint(0, 0, 0), MPoint(1, 0, 0), MPoint(1, 1, 0), MPoint(0, 1, 0)}, {{0, 1, 2, 3}}};

struct Built {
    MObject transform, shape;
    std::string transformName, shapeName;
};

// Makes a mesh shape under a new transform; with uvs, assigns the encoded per-corner UVs in
// map1 (faces listed in `unmapped` get none), stored back to front so that a UV's id is never its
// face-corner number.
Built makeShape(const Polys& m, bool uvs, const std::vector<int>& unmapped = {}) {
    MPointArray points;
    MIntArray counts, connects, uvCounts, uvIds;
    std::vector<float> u, v;
    for (const MPoint& p : m.points)
        points.append(p);
    for (size_t f = 0; f < m.faces.size(); ++f) {
        const bool mapped = std::count(unmapped.begin(), unmapped.end(), int(f)) == 0;
        counts.append(static_cast<int>(m.faces[f].size()));
        uvCounts.append(mapped ? static_cast<int>(m.faces[f].size()) : 0);
        for (int vertex : m.faces[f]) {
            connects.append(vertex);
            if (mapped) {
                u.insert(u.begin(), static_cast<float>(f));
                v.insert(v.begin(), vertex / 100.0f);
                uvIds.append(-1 - static_cast<int>(uvIds.length()));
            }
        }
    }
    for (unsigned int i = 0; i < uvIds.length(); ++i)
        uvIds[i] += static_cast<int>(u.size());
    MFnMesh fn;
    MStatus status;
    Built b;
    b.transform = fn.create(static_cast<int>(points.length()), static_cast<int>(counts.length()), points,
                            counts, connects, MObject::kNullObj, &status);
    EXPECT_TRUE(status);
    b.shape = fn.object();
    b.transformName = MFnDependencyNode(b.transform).name().asChar();
    b.shapeName = MFnDependencyNode(b.shape).name().asChar();
    if (uvs) {
        const unsigned int n = static_cast<unsigned int>(u.size());
        EXPECT_TRUE(fn.setUVs(MFloatArray(u.data(), n), MFloatArray(v.data(), n)));
        EXPECT_TRUE(fn.assignUVs(uvCounts, uvIds));
    }
    return b;
}

void setPlug(const std::string& name, double value) { ASSERT_TRUE(Host::plug(name).setValue(value)); }

KVector kv(const MPoint& p) { return KVector(float(p.x), float(p.y), float(p.z)); }

void expectNear(const KVector& a, const KVector& b) {
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(a[c], b[c], 1e-5f) << c;
}

// A recognisable mesh to pre-fill outputs with, to see that failures leave them alone.
KTriMesh sentinel() {
    KTriMesh s;
    s.positions = {KVector(7, 7, 7), KVector(8, 8, 8), KVector(9, 9, 9)};
    s.triangles = {KInt3{{0, 1, 2}}};
    return s;
}
void expectSentinel(const KTriMesh& m) {
    EXPECT_EQ(m.positions, sentinel().positions);
    EXPECT_TRUE(m.triangleCount() == 1 && m.uvs.empty());
}

class KMayaMeshTest : public testing::Test {
  protected:
    void SetUp() override { Host::resetSession(); }
};

TEST_F(KMayaMeshTest, TriangleAndPolygonMeshesKeepVerticesFacesAndCornerUVsAndRoundTripThroughCopy) {
    const Polys& m = kNgons;
    Built b = makeShape(m, true, {1}); // face 1 has no UVs
    KTriMesh out;
    KMesh poly;
    MString why;
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "map1", &why)) << why;
    ASSERT_TRUE(Kelno::Convert(poly, b.shape, false, "currentUVSet", &why)) << why;
    ASSERT_EQ(out.vertexCount(), static_cast<int>(m.points.size()));
    for (size_t i = 0; i < m.points.size(); ++i)
        expectNear(out.positions[i], kv(m.points[i]));
    // Exactly the host's own triangulation, in its order: faces in order, n - 2 triangles each;
    // every corner carries the UV of that face corner (u = face, v = vertex / 100), zero on the
    // unmapped face.
    MIntArray hostCounts, hostVertices;
    ASSERT_TRUE(MFnMesh(b.shape).getTriangles(hostCounts, hostVertices));
    ASSERT_EQ(3 * out.triangleCount(), static_cast<int>(hostVertices.length()));
    ASSERT_EQ(out.uvs.length(), 3 * out.triangleCount());
    int t = 0;
    for (size_t f = 0; f < m.faces.size(); ++f)
        for (size_t k = 0; k + 2 < m.faces[f].size(); ++k, ++t)
            for (int c = 0; c < 3; ++c) {
                const int vertex = out.triangles[t][c];
                EXPECT_EQ(vertex, hostVertices[3 * t + c]);
                EXPECT_EQ(out.uvs[3 * t + c], f == 1 ? KVector() : KVector(float(f), vertex / 100.0f, 0))
                    << "triangle " << t;
            }
    // The polygon mesh keeps the faces as they are, with the same UVs per face corner.
    ASSERT_EQ(poly.faceCount(), static_cast<int>(m.faces.size()));
    int corner = 0;
    for (size_t f = 0; f < m.faces.size(); ++f) {
        ASSERT_EQ(poly.faces[f].length(), static_cast<int>(m.faces[f].size()));
        for (size_t k = 0; k < m.faces[f].size(); ++k, ++corner) {
            EXPECT_EQ(poly.faces[f][k], m.faces[f][k]);
            EXPECT_EQ(poly.uvs[corner], f == 1 ? KVector() : KVector(float(f), m.faces[f][k] / 100.0f, 0));
        }
    }
    EXPECT_EQ(poly.uvs.length(), corner);
    // Back into the host through Copy, over arrays that already hold something: the same mesh.
    MPointArray points(40, MPoint(1, 1, 1, 5));
    MIntArray counts(50, 9), connects(2, 9);
    Kelno::KIntArray kCounts, kConnects;
    poly.getCounts(kCounts);
    poly.getConnections(kConnects);
    Kelno::Copy(points, poly.positions);
    Kelno::Copy(counts, kCounts);
    Kelno::Copy(connects, kConnects);
    EXPECT_EQ(points[0].w, 1.0);
    MObject data = MFnMeshData().create();
    MStatus status;
    MFnMesh().create(static_cast<int>(points.length()), static_cast<int>(counts.length()), points, counts,
                     connects, data, &status);
    ASSERT_TRUE(status);
    KMesh again;
    ASSERT_TRUE(Kelno::Convert(again, data, false, ""));
    EXPECT_EQ(again.faces, poly.faces);
    EXPECT_EQ(again.positions, poly.positions);
    EXPECT_TRUE(again.uvs.empty());
}

TEST_F(KMayaMeshTest, CurrentUVSetNameResolvesToTheCurrentSetUnlessASetIsCalledSo) {
    Built b = makeShape(kNgons, true);
    MFnMesh fn(b.shape);
    ASSERT_EQ(fn.createUVSetWithName("second"), "second");
    MString second("second");
    ASSERT_TRUE(fn.setUVs(MFloatArray(1, 0.5f), MFloatArray(1, 0.25f), &second));
    MIntArray counts, ids;
    fn.getVertices(counts, ids);
    ASSERT_TRUE(fn.assignUVs(counts, MIntArray(ids.length(), 0), &second));
    KTriMesh out;
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "currentUVSet"));
    EXPECT_FLOAT_EQ(out.uvs[3 * 6].x, 2.0f) << "map1 is current: face 2 has u = 2";
    ASSERT_TRUE(fn.setCurrentUVSetName("second"));
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "currentUVSet"));
    for (const KVector& uv : out.uvs)
        EXPECT_EQ(uv, KVector(0.5f, 0.25f, 0));
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "map1"));
    EXPECT_FLOAT_EQ(out.uvs[3 * 6].x, 2.0f) << "a named set is read whichever is current";
    ASSERT_EQ(fn.createUVSetWithName("currentUVSet"), "currentUVSet");
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "currentUVSet"));
    ASSERT_EQ(out.uvs.length(), 3 * out.triangleCount());
    EXPECT_EQ(out.uvs[18], KVector()) << "the (unassigned) set named currentUVSet wins";
}

TEST_F(KMayaMeshTest, SeveralMeshesAreAppendedInOrderWithOffsetIndices) {
    Built a = makeShape(kNgons, true), q = makeShape(kQuad, false);
    Built t = makeShape({{MPoint(5, 5, 5), MPoint(6, 5, 5), MPoint(5, 6, 5)}, {{2, 1, 0}}}, false);
    setPlug(q.transformName + ".translateY", 20.0);
    MObject empty = Host::createNode("mesh", "emptyShape");
    MObjectArray objects;
    for (const MObject& o : {q.shape, MObject::kNullObj, a.transform, empty, t.shape, MObject()})
        objects.append(o);
    KTriMesh merged;
    MString why;
    ASSERT_TRUE(Kelno::Convert(merged, objects, &why)) << why;
    int vertexOffset = 0, triangle = 0;
    for (MObject shape : {q.shape, a.shape, t.shape}) {
        KTriMesh part;
        ASSERT_TRUE(Kelno::Convert(part, shape, false, ""));
        EXPECT_TRUE(std::equal(part.positions.begin(), part.positions.end(),
                               merged.positions.begin() + vertexOffset));
        for (int i = 0; i < part.triangleCount(); ++i, ++triangle)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(merged.triangles[triangle][c], part.triangles[i][c] + vertexOffset);
        vertexOffset += part.vertexCount();
    }
    EXPECT_EQ(merged.vertexCount(), vertexOffset);
    EXPECT_EQ(merged.triangleCount(), triangle);
    EXPECT_FLOAT_EQ(merged.positions[0].y, 20.0f) << "each shape in world space";
    // Only null objects: an empty mesh, replacing the output. Any other non-mesh fails it all.
    merged = sentinel();
    MObjectArray nulls(3);
    EXPECT_TRUE(Kelno::Convert(merged, nulls));
    EXPECT_EQ(merged.vertexCount(), 0);
    objects.append(Host::findNode("time1"));
    merged = sentinel();
    EXPECT_EQ(Kelno::Convert(merged, objects, &why), MS::kInvalidParameter);
    expectSentinel(merged);
    EXPECT_NE(std::string(why.asChar()).find("time1 is not a mesh"), std::string::npos) << why;
}

TEST_F(KMayaMeshTest, BadObjectsFailWithAReasonAndLeaveTheOutputAlone) {
    MObject null, time = Host::findNode("time1"), lonelyTransform = Host::createNode("transform", "lonely");
    MObject twoShapes = Host::createNode("transform", "twoShapes");
    Host::createNode("mesh", "firstShape", twoShapes);
    Host::createNode("mesh", "secondShape", twoShapes);
    MObject emptyShape = Host::createNode("mesh", "emptyShape"), emptyData = MFnMeshData().create();
    MObject withUVs = makeShape(kNgons, true).shape;
    // Only intermediate shapes below a transform: nothing the user sees to convert.
    MObject onlyOrig = Host::createNode("transform", "onlyOrig");
    MFnDagNode(Host::createNode("mesh", "onlyOrigShape", onlyOrig)).setIntermediateObject(true);
    struct Case {
        MObject* object;
        const char* uvSet;
        MStatus::MStatusCode code;
        const char* text;
    } cases[] = {{&null, "", MS::kInvalidParameter, "null"},
                 {&time, "", MS::kInvalidParameter, "time1 is not a mesh"},
                 {&lonelyTransform, "", MS::kInvalidParameter, "lonely is not a mesh"},
                 {&twoShapes, "", MS::kInvalidParameter, "twoShapes is not a mesh"},
                 {&onlyOrig, "", MS::kInvalidParameter, "onlyOrig is not a mesh"},
                 {&emptyShape, "", MS::kFailure, "emptyShape has no vertices"},
                 {&emptyData, "", MS::kFailure, "has no vertices"},
                 {&withUVs, "paint", MS::kNotFound, "Error@Convert(): "}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        KTriMesh tri = sentinel();
        MString why;
        EXPECT_EQ(Kelno::Convert(tri, *c.object, false, c.uvSet, &why), c.code);
        expectSentinel(tri);
        EXPECT_NE(std::string(why.asChar()).find(c.text), std::string::npos) << why;
        KMesh poly;
        poly.positions = {KVector(1, 2, 3)};
        EXPECT_EQ(Kelno::Convert(poly, *c.object, false, c.uvSet, nullptr), c.code);
        EXPECT_EQ(poly.vertexCount(), 1);
    }
}

TEST_F(KMayaMeshTest, ATransformStandsForItsVisibleShapeNotTheIntermediateOne) {
    // A deformed mesh: the undeformed input ("Orig") and the visible result under one transform.
    Built b = makeShape(kQuad, false);
    MObject orig = Host::createNode("mesh", "deformedShapeOrig", b.transform);
    ASSERT_TRUE(MFnDagNode(orig).setIntermediateObject(true));
    ASSERT_TRUE(MFnMesh(b.shape).setPoint(0, MPoint(0, 0, 5)));
    for (bool intermediateFirst : {false, true}) {
        if (intermediateFirst) {
            MFnDagNode(b.transform).removeChild(b.shape);
            MFnDagNode(b.transform).addChild(b.shape);
        }
        KTriMesh out;
        MString why;
        ASSERT_TRUE(Kelno::Convert(out, b.transform, false, "", &why)) << why;
        EXPECT_FLOAT_EQ(out.positions[0].z, 5.0f) << "the visible shape, whatever the child order";
        ASSERT_TRUE(Kelno::GetMesh(out, b.transformName.c_str(), false, "", &why)) << why;
        EXPECT_FLOAT_EQ(out.positions[0].z, 5.0f);
    }
}

TEST_F(KMayaMeshTest, PositionsOnlyRefreshesPointsWhileCountsMatchAndConvertsAllOtherwise) {
    Built b = makeShape(kNgons, true);
    KTriMesh out;
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, "map1"));
    const KTriMesh first = out;
    KMesh poly;
    ASSERT_TRUE(Kelno::Convert(poly, b.shape, false, "map1"));
    ASSERT_TRUE(MFnMesh(b.shape).setPoint(3, MPoint(1.5, 1.5, 0.5)));
    setPlug(b.transformName + ".translateX", 2.0);
    ASSERT_TRUE(Kelno::Convert(out, b.shape, true, ""));
    expectNear(out.positions[3], KVector(3.5f, 1.5f, 0.5f));
    expectNear(out.positions[0], KVector(2, 0, 0));
    EXPECT_EQ(out.triangles, first.triangles);
    EXPECT_EQ(out.uvs, first.uvs) << "UVs kept although none were asked for";
    ASSERT_TRUE(Kelno::Convert(poly, b.shape, true, "missing set: not looked at"));
    expectNear(poly.positions[3], KVector(3.5f, 1.5f, 0.5f));
    EXPECT_EQ(poly.faceCount(), 4);
    EXPECT_EQ(poly.uvs.length(), 18);
    // Full conversion with false: the UVs go.
    ASSERT_TRUE(Kelno::Convert(out, b.shape, false, ""));
    EXPECT_TRUE(out.uvs.empty());
    // Other counts: everything is converted again.
    Built q = makeShape(kQuad, false),
          s = makeShape({kQuad.points, {{0, 1, 2}, {0, 2, 3}, {0, 1, 3}}}, false);
    ASSERT_TRUE(Kelno::Convert(out, q.shape, true, ""));
    EXPECT_EQ(out.triangleCount(), 2);
    ASSERT_TRUE(Kelno::Convert(out, s.shape, true, ""));
    EXPECT_EQ(out.triangleCount(), 3);
    ASSERT_TRUE(Kelno::Convert(poly, q.shape, false, ""));
    ASSERT_TRUE(Kelno::Convert(poly, s.shape, true, ""));
    EXPECT_EQ(poly.faceCount(), 3);
    EXPECT_EQ(poly.faces[2][2], 3);
}

TEST_F(KMayaMeshTest, ShapesConvertInWorldSpaceMeshDataAsStoredAndGetMeshFindsThemByNameOrPath) {
    Built b = makeShape(kNgons, true);
    for (const auto& [attr, value] : {std::pair<const char*, double>{".translateX", 10.0},
                                      {".translateZ", -4.0},
                                      {".rotateY", 0.5},
                                      {".scaleY", 3.0}})
        setPlug(b.transformName + attr, value);
    MDagPath dagPath;
    ASSERT_TRUE(MDagPath::getAPathTo(b.shape, dagPath));
    MPointArray world;
    ASSERT_TRUE(MFnMesh(dagPath).getPoints(world, MSpace::kWorld));
    KTriMesh direct, fromTransform, fromData, byShape, byTransform, byPath;
    ASSERT_TRUE(Kelno::Convert(direct, b.shape, false, "map1"));
    ASSERT_TRUE(Kelno::Convert(fromTransform, b.transform, false, "")) << "a transform stands for its shape";
    ASSERT_EQ(direct.vertexCount(), static_cast<int>(world.length()));
    for (unsigned int i = 0; i < world.length(); ++i)
        expectNear(direct.positions[i], kv(world[i]));
    // The mesh as data (what a node reads from an input plug) carries no placement.
    MObject data;
    ASSERT_TRUE(Host::plug(b.shapeName + ".outMesh").getValue(data));
    ASSERT_TRUE(Kelno::Convert(fromData, data, false, ""));
    for (size_t i = 0; i < kNgons.points.size(); ++i)
        expectNear(fromData.positions[i], kv(kNgons.points[i]));
    EXPECT_EQ(fromData.triangleCount(), direct.triangleCount());
    MString why;
    ASSERT_TRUE(Kelno::GetMesh(byShape, b.shapeName.c_str(), false, "map1", &why)) << why;
    ASSERT_TRUE(Kelno::GetMesh(byTransform, b.transformName.c_str(), false, "", &why)) << why;
    const std::string path = "|" + b.transformName + "|" + b.shapeName;
    ASSERT_TRUE(Kelno::GetMesh(byPath, path.c_str(), false, "", &why)) << why;
    for (const KTriMesh* m : {&fromTransform, &byShape, &byTransform, &byPath}) {
        EXPECT_EQ(m->positions, direct.positions);
        EXPECT_EQ(m->triangleCount(), direct.triangleCount());
    }
    EXPECT_EQ(byShape.uvs.length(), direct.uvs.length());
    EXPECT_TRUE(byTransform.uvs.empty());

    Host::createNode("transform", "lonely");
    struct Case {
        const char* name;
        const char* uvSet;
        MStatus::MStatusCode code;
        const char* text;
    } cases[] = {{"nothingHere", "", MS::kNotFound, "no node named nothingHere"},
                 {"time1", "", MS::kInvalidParameter, "time1 is not a mesh"},
                 {"lonely", "", MS::kInvalidParameter, "lonely is not a mesh"},
                 {"", "", MS::kInvalidParameter, "no mesh name"},
                 {nullptr, "", MS::kInvalidParameter, "no mesh name"},
                 {b.shapeName.c_str(), "paint", MS::kNotFound, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        KTriMesh out = sentinel();
        why.clear();
        EXPECT_EQ(Kelno::GetMesh(out, c.name, false, c.uvSet, &why), c.code);
        expectSentinel(out);
        EXPECT_EQ(std::string(why.asChar()).rfind("Error@GetMesh(): ", 0), 0u) << why;
        EXPECT_NE(std::string(why.asChar()).find(c.text), std::string::npos) << why;
    }
}

} // namespace
