// Drawing of the value types, checked through GL feedback mode: the vertices GL receives are
// read back after transformation, with no rasterisation involved.
#include <kelno/KGL.h>
#include <kelno/KTypes.h>

#include "support/KGLTestContext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

using namespace Kelno;

namespace {

using Segment = std::array<float, 6>;

// Runs draw() in feedback mode with identity matrices and a viewport mapping [-1, 1] to
// [0, 2], so window coordinates are the drawn coordinates plus one. Returns the line
// segments received, each with its two ends in a canonical order.
template <class Draw> std::vector<Segment> captureLines(Draw draw) {
    std::vector<GLfloat> buffer(4096);
    glViewport(0, 0, 2, 2);
    glDepthRange(0.0, 1.0);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glFeedbackBuffer(static_cast<GLsizei>(buffer.size()), GL_3D, buffer.data());
    glRenderMode(GL_FEEDBACK);
    draw();
    const GLint used = glRenderMode(GL_RENDER);
    std::vector<Segment> lines;
    for (GLint i = 0; i < used;) {
        const GLfloat token = buffer[static_cast<size_t>(i)];
        if (token == GL_LINE_TOKEN || token == GL_LINE_RESET_TOKEN) {
            Segment s;
            for (int k = 0; k < 6; ++k) {
                // Window x, y are in [0, 2]; window z maps [-1, 1] to [0, 1].
                const float w = buffer[static_cast<size_t>(i + 1 + k)];
                s[static_cast<size_t>(k)] = (k % 3 == 2) ? w * 2.0f - 1.0f : w - 1.0f;
            }
            if (std::lexicographical_compare(s.begin() + 3, s.end(), s.begin(), s.begin() + 3))
                std::rotate(s.begin(), s.begin() + 3, s.end());
            lines.push_back(s);
            i += 7;
        } else {
            ADD_FAILURE() << "unexpected feedback token " << token;
            break;
        }
    }
    return lines;
}

} // namespace

TEST(KBoundingBoxGL, DrawsTheTwelveEdgesAndAnEmptyBoxNothing) {
    KelnoTest::GLTestContext context;
    KELNO_REQUIRE_GL_CONTEXT(context);
    const KVector lo(-0.5f, -0.25f, -0.75f), hi(0.5f, 0.25f, 0.5f);
    const KBoundingBox box(lo, hi);
    std::vector<Segment> lines = captureLines([&] { box.draw(); });
    ASSERT_EQ(lines.size(), 12u);
    // Every edge joins two corners that differ in exactly one axis, and all twelve differ.
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(std::unique(lines.begin(), lines.end()), lines.end());
    for (const Segment& s : lines) {
        int differing = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const float a = s[static_cast<size_t>(axis)], b = s[static_cast<size_t>(axis + 3)];
            for (float v : {a, b})
                EXPECT_TRUE(std::fabs(v - lo[axis]) < 1e-5f || std::fabs(v - hi[axis]) < 1e-5f) << v;
            if (std::fabs(a - b) > 1e-5f)
                ++differing;
        }
        EXPECT_EQ(differing, 1);
    }
    const KBoundingBox empty;
    EXPECT_TRUE(captureLines([&] { empty.draw(); }).empty()) << "an empty box draws nothing";
}
