// Clipping by a box: which faces touch it, the two modes, and a real scan.
#include <kelno/KMeshClip.h>
#include <kelno/KObjSequence.h>

#include "support/KGridAndMotion.h"
#include "support/KTestData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using Kelno::KBoundingBox;
using Kelno::KClipMode;
using Kelno::KMesh;
using Kelno::KVector;

std::vector<int> ids(const KMesh& m, const KBoundingBox& box, KClipMode mode) {
    Kelno::KIntArray out;
    Kelno::FacesToClip(m, box, mode, out);
    return out;
}

TEST(KMeshClip, FacesTouchingTheBox) {
    const KMesh m = KelnoTest::makeGrid();
    const struct {
        const char* what;
        KBoundingBox box;
        std::vector<int> inside;
    } cases[] = {
        {"one vertex inside: its four faces", KBoundingBox({0.9f, 0.9f, -1}, {1.1f, 1.1f, 1}), {0, 1, 3, 4}},
        {"a corner on the box's face counts", KBoundingBox({3, 3, 0}, {5, 5, 0}), {8}},
        {"inside a face, no vertex in it: nothing", KBoundingBox({1.2f, 1.2f, -1}, {1.8f, 1.8f, 1}), {}},
        {"everything", KBoundingBox({-1, -1, -1}, {4, 4, 1}), {0, 1, 2, 3, 4, 5, 6, 7, 8}},
        {"an empty box touches nothing", KBoundingBox(), {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Kelno::KCharArray mask;
        Kelno::SelectFacesTouchingBox(m, c.box, mask);
        ASSERT_EQ(mask.length(), m.faceCount());
        std::vector<int> outside;
        for (int f = 0; f < 9; ++f)
            if (std::find(c.inside.begin(), c.inside.end(), f) == c.inside.end())
                outside.push_back(f);
        EXPECT_EQ(ids(m, c.box, KClipMode::InsideBox), c.inside);
        EXPECT_EQ(ids(m, c.box, KClipMode::OutsideBox), outside);
        EXPECT_TRUE(ids(m, c.box, KClipMode::None).empty());
        for (int f = 0; f < 9; ++f)
            EXPECT_EQ(mask[f], std::find(c.inside.begin(), c.inside.end(), f) != c.inside.end() ? 1 : 0);
    }
}

TEST(KMeshClip, ClipKeepsVerticesAndFaceOrderAndSkipsBadIndices) {
    KMesh m = KelnoTest::makeGrid();
    m.faces.push_back(Kelno::KIntArray{99, -1, 15}); // broken corners never touch
    const KBoundingBox box({-0.5f, -0.5f, -1}, {0.5f, 0.5f, 1});
    EXPECT_EQ(ids(m, box, KClipMode::InsideBox), std::vector<int>{0});
    EXPECT_EQ(Kelno::ClipMesh(m, box, KClipMode::InsideBox), 1);
    EXPECT_EQ(m.vertexCount(), 16);
    ASSERT_EQ(m.faceCount(), 9);
    EXPECT_EQ(m.faces[0], (Kelno::KIntArray{1, 2, 6, 5})) << "the old face 1 comes first";
}

TEST(KMeshClip, InsideAndOutsideSplitARealScan) {
    KELNO_REQUIRE_DATA("meshes/bunny.obj");
    Kelno::KObjMesh obj;
    ASSERT_TRUE(Kelno::ReadObjFile(KelnoTest::dataPath("meshes/bunny.obj"), obj));
    Kelno::RemoveUnbuildableFaces(obj);
    KMesh bunny;
    for (const Kelno::KObjPoint& p : obj.points)
        bunny.positions.push_back(
            KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    int offset = 0;
    for (int count : obj.polygonCounts) {
        bunny.faces.push_back(Kelno::KIntArray(obj.polygonConnects.begin() + offset,
                                               obj.polygonConnects.begin() + offset + count));
        offset += count;
    }
    ASSERT_GT(bunny.faceCount(), 1000);

    // The lower front quarter of the scan's own box.
    const KBoundingBox whole = bunny.boundingBox();
    const KVector lo = whole.min(), size = whole.size();
    const KBoundingBox box(lo, lo + KVector(size.x, size.y * 0.5f, size.z * 0.5f));

    const std::vector<int> inside = ids(bunny, box, KClipMode::InsideBox);
    const std::vector<int> outside = ids(bunny, box, KClipMode::OutsideBox);
    EXPECT_GT(inside.size(), 100u);
    EXPECT_GT(outside.size(), 100u);
    // Complementary: every face in exactly one list, each list increasing.
    std::vector<int> seen(static_cast<std::size_t>(bunny.faceCount()), 0);
    for (const std::vector<int>* list : {&inside, &outside}) {
        EXPECT_TRUE(std::is_sorted(list->begin(), list->end()));
        for (int f : *list)
            ++seen[static_cast<std::size_t>(f)];
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), bunny.faceCount());
    // Brute force: a face is inside when any corner is.
    for (int f : inside) {
        bool any = false;
        for (int v : bunny.faces[f])
            any = any || box.contains(bunny.positions[v]);
        ASSERT_TRUE(any) << f;
    }
    for (int f : outside)
        for (int v : bunny.faces[f])
            ASSERT_FALSE(box.contains(bunny.positions[v])) << f;

    KMesh kept = bunny;
    EXPECT_EQ(Kelno::ClipMesh(kept, box, KClipMode::InsideBox), static_cast<int>(inside.size()));
    EXPECT_EQ(kept.faceCount(), static_cast<int>(outside.size()));
    EXPECT_EQ(kept.faces[0], bunny.faces[outside[0]]);
}

} // namespace
