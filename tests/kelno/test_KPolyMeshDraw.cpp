// KPolyMesh drawing, checked in GL feedback mode (what the immediate-mode calls emit) on an
// offscreen EGL context. Skipped, with the reason, when no OpenGL context can be made.
#include <kelno/KPolyMesh.h>

#include <gtest/gtest.h>

#include <kelno/KGL.h>

#include "support/KGLTestContext.h"

#include <vector>

using namespace Kelno;

namespace {

struct Primitives {
    int polygons = 0, polygonVertices = 0, lines = 0, points = 0;
};

// Runs draw() in feedback mode and counts what reached the pipeline.
template <class Draw> Primitives feedback(Draw draw) {
    std::vector<GLfloat> buffer(1 << 16);
    glViewport(0, 0, 64, 64);
    glFeedbackBuffer(static_cast<GLsizei>(buffer.size()), GL_3D, buffer.data());
    glRenderMode(GL_FEEDBACK);
    draw();
    const GLint n = glRenderMode(GL_RENDER);
    Primitives p;
    for (GLint i = 0; i < n;) {
        const GLint token = static_cast<GLint>(buffer[static_cast<std::size_t>(i)]);
        if (token == GL_POLYGON_TOKEN) {
            const GLint count = static_cast<GLint>(buffer[static_cast<std::size_t>(i) + 1]);
            ++p.polygons;
            p.polygonVertices += count;
            i += 2 + 3 * count;
        } else if (token == GL_LINE_TOKEN || token == GL_LINE_RESET_TOKEN) {
            ++p.lines;
            i += 1 + 6;
        } else if (token == GL_POINT_TOKEN) {
            ++p.points;
            i += 1 + 3;
        } else {
            ++i; // pass-through and others carry no vertices here
        }
    }
    return p;
}

KPolyMesh smallCube() {
    KPolyMesh m;
    for (int i = 0; i < 8; ++i)
        m.m_positions.push_back(KVector(i & 1 ? .5f : -.5f, i & 2 ? .5f : -.5f, i & 4 ? .5f : -.5f));
    m.m_polygonCounts = KIntArray{4, 4, 4, 4, 4, 4};
    m.m_polygonConnections =
        KIntArray{0, 2, 3, 1, 4, 5, 7, 6, 0, 1, 5, 4, 2, 6, 7, 3, 0, 4, 6, 2, 1, 3, 7, 5};
    return m;
}

TEST(KPolyMeshDraw, SurfaceIsTrianglesAndWireframeIsEveryPolygonEdge) {
    KelnoTest::GLTestContext context;
    KELNO_REQUIRE_GL_CONTEXT(context);
    KPolyMesh m = smallCube();
    m.computeVertexNormals();
    const Primitives surface = feedback([&] { m.drawSurface(true); });
    EXPECT_EQ(surface.polygons, 12);
    EXPECT_EQ(surface.polygonVertices, 36);
    EXPECT_EQ(feedback([&] { m.drawSurface(false); }).polygons, 12);
    const Primitives wire = feedback([&] { m.drawWireframe(); });
    EXPECT_EQ(wire.lines, 24);
    EXPECT_EQ(wire.polygons, 0);
}

TEST(KPolyMeshDraw, BrokenPolygonsAreLeftOutNotRead) {
    KelnoTest::GLTestContext context;
    KELNO_REQUIRE_GL_CONTEXT(context);
    KPolyMesh m = smallCube();
    m.m_positions.resize(6); // faces using vertices 6 or 7 can't be drawn
    m.computeVertexNormals();
    EXPECT_EQ(feedback([&] { m.drawSurface(true); }).polygons, 4);
    EXPECT_EQ(feedback([&] { m.drawWireframe(); }).lines, 8);
    // Stale normals (positions changed count after computeVertexNormals) fall back to face normals.
    m.m_positions = smallCube().m_positions;
    EXPECT_EQ(feedback([&] { m.drawSurface(true); }).polygons, 12);
    KPolyMesh empty;
    EXPECT_EQ(feedback([&] { empty.drawSurface(true); }).polygons, 0);
    m.m_polygonCounts = KIntArray{4, 100};
    EXPECT_EQ(feedback([&] { m.drawWireframe(); }).lines, 4);
}

} // namespace
