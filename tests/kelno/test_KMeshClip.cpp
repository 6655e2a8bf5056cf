// Clipping by a box: which faces touch it and the two modes.
#include <kelno/KMeshClip.h>

#include "support/KGridAndMotion.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Kelno::KBoundingBox;
using Kelno::KClipMode;
using Kelno::KMesh;

std::vector<int> ids(const KMesh& m, const KBoundingBox& box, KClipMode mode) {
    Kelno::KIntArray out;
    Kelno::FacesToClip(m, box, mode, out);
    return out;
}

TEST(KMeshClip, FacesTouchingTheBox) {
    KMesh m = KelnoTest::makeGrid();
    m.faces.push_back(Kelno::KIntArray{99, -1, 15}); // broken corners never touch
    const struct {
        const char* what;
        KBoundingBox box;
        std::vector<int> inside, outside;
    } cases[] = {
        {"one vertex inside: its four faces",
         KBoundingBox({0.9f, 0.9f, -1}, {1.1f, 1.1f, 1}),
         {0, 1, 3, 4},
         {2, 5, 6, 7, 8, 9}},
        {"a corner on the box's face counts",
         KBoundingBox({3, 3, 0}, {5, 5, 0}),
         {8, 9},
         {0, 1, 2, 3, 4, 5, 6, 7}},
        {"inside a face, no vertex in it",
         KBoundingBox({1.2f, 1.2f, -1}, {1.8f, 1.8f, 1}),
         {},
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"an empty box touches nothing", KBoundingBox(), {}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Kelno::KCharArray mask;
        Kelno::SelectFacesTouchingBox(m, c.box, mask);
        std::vector<char> expected(10, 0);
        for (int f : c.inside)
            expected[f] = 1;
        EXPECT_EQ(std::vector<char>(mask.begin(), mask.end()), expected);
        EXPECT_EQ(ids(m, c.box, KClipMode::InsideBox), c.inside);
        EXPECT_EQ(ids(m, c.box, KClipMode::OutsideBox), c.outside);
        EXPECT_TRUE(ids(m, c.box, KClipMode::None).empty());
    }
}

TEST(KMeshClip, ClipKeepsVerticesAndFaceOrder) {
    KMesh m = KelnoTest::makeGrid();
    EXPECT_EQ(Kelno::ClipMesh(m, KBoundingBox({-0.5f, -0.5f, -1}, {0.5f, 0.5f, 1}), KClipMode::InsideBox), 1);
    EXPECT_EQ(m.vertexCount(), 16);
    ASSERT_EQ(m.faceCount(), 8);
    EXPECT_EQ(m.faces[0], (Kelno::KIntArray{1, 2, 6, 5})) << "the old face 1 comes first";
}

} // namespace
