#include <kelno/KTypes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>

using namespace Kelno;

namespace {

KIntArray ints(std::initializer_list<int> values) { return KIntArray(values); }

KMatrix translation(float x, float y, float z) {
    KMatrix m;
    m.setTranslation(KVector(x, y, z));
    return m;
}

// Rotation of +90 degrees about z: x goes to y under the row-vector convention.
KMatrix rotateZ90() {
    const float rows[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    return KMatrix(rows);
}

void expectNear(const KVector& a, const KVector& b) {
    for (int axis = 0; axis < 3; ++axis)
        EXPECT_NEAR(a[axis], b[axis], 1e-5f) << "axis " << axis;
}

} // namespace

TEST(KVector, IsThreePackedFloatsReadableAsAFloatRun) {
    static_assert(offsetof(KVector, x) == 0, "x first");
    static_assert(offsetof(KVector, y) == sizeof(float), "y second");
    static_assert(offsetof(KVector, z) == 2 * sizeof(float), "z third");
    const KVectorArray points = {KVector(1, 2, 3), KVector(4, 5, 6)};
    const float* run = points.asFloats();
    ASSERT_NE(run, nullptr);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(run[i], static_cast<float>(i + 1));
    EXPECT_EQ(KVectorArray().asFloats(), nullptr);
}

TEST(KVector, CrossProductNormalisationAndExactEquality) {
    EXPECT_EQ(KVector(1, 0, 0).cross(KVector(0, 1, 0)), KVector(0, 0, 1)) << "right-handed";
    KVector v(3, 0, 4);
    EXPECT_EQ(&v.normalize(), &v);
    EXPECT_FLOAT_EQ(v.x, 0.6f);
    KVector zero;
    EXPECT_EQ(zero.normalize(), KVector(0, 0, 0)) << "zero is left alone";
    // Equality is exact: signed zeros equal, NaN unequal to itself.
    EXPECT_EQ(KVector(0, 0, 0), KVector(-0.0f, 0, 0));
    const KVector n(std::numeric_limits<float>::quiet_NaN(), 0, 0);
    EXPECT_TRUE(n != n);
}

TEST(KArray, CountsAreIntsAndNegativeSizesMakeEmptyArrays) {
    static_assert(std::is_same<decltype(KIntArray().length()), int>::value, "length() is int");
    EXPECT_EQ(KIntArray(-3).length(), 0);
    EXPECT_EQ(KFloat2Array(2)[1], (KFloat2{0.0f, 0.0f})) << "aggregate elements are zeroed too";
}

TEST(KArrayDeduplicate, KeepsFirstOccurrencesInOrderAndComparesVectorsExactly) {
    const auto dedup = [](auto a) {
        a.deduplicate();
        return a;
    };
    EXPECT_EQ(dedup(ints({3, 1, 3, 2, 1})), ints({3, 1, 2}));
    EXPECT_EQ(dedup(ints({9, 4, 9, 9, 0, 4, -2})), ints({9, 4, 0, -2})); // sorting would give -2, 0, 4, 9
    EXPECT_EQ(dedup(ints({})), ints({}));
    EXPECT_EQ(dedup(ints({7, 7, 7, 7})), ints({7}));
    // Signed zeros are equal, a NaN is never a repeat, and there is no tolerance.
    const KVectorArray zeros = dedup(KVectorArray{KVector(0, 0, 0), KVector(-0.0f, 0, 0)});
    ASSERT_EQ(zeros.length(), 1);
    EXPECT_FALSE(std::signbit(zeros[0].x)) << "the first occurrence (+0) is the one kept";
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const KVectorArray nans =
        dedup(KVectorArray{KVector(nan, 0, 0), KVector(1, 1, 1), KVector(nan, 0, 0), KVector(1, 1, 1)});
    ASSERT_EQ(nans.length(), 3);
    EXPECT_TRUE(std::isnan(nans[2].x));
    EXPECT_EQ(dedup(KVectorArray{KVector(1, 0, 0), KVector(std::nextafter(1.0f, 2.0f), 0, 0)}).length(), 2);
}

TEST(KArrayRemove, SkipsBadIndicesCountsRepeatsOnceAndReturnsTheSurvivors) {
    const struct {
        KIntArray in, indices, out;
    } cases[] = {
        {ints({5, 6, 7}), ints({1, 1, 7, -1}), ints({5, 7})},
        {ints({5, 6, 7}), ints({0, 0, 0}), ints({6, 7})}, // repeats counted twice would empty it
        {ints({10, 11, 12, 13, 14}), ints({4, 0, 2}), ints({11, 13})},
        {ints({5, 6}), ints({}), ints({5, 6})},
        {ints({}), ints({0, 1}), ints({})},
        {ints({5, 6}), ints({2, 100, -5}), ints({5, 6})},
    };
    for (const auto& c : cases) {
        KIntArray a = c.in;
        EXPECT_EQ(a.remove(c.indices), c.out.length());
        EXPECT_EQ(a, c.out);
    }
    // Survivors move to storage of exact size; removing everything keeps the storage.
    KIntArray a(10);
    a.reserve(100);
    EXPECT_EQ(a.remove(ints({1, 3, 5})), 7);
    EXPECT_EQ(a.capacity(), 7u);
    a.reserve(64);
    const std::size_t capacity = a.capacity();
    EXPECT_EQ(a.remove(ints({0, 1, 2, 3, 4, 5, 6})), 0);
    EXPECT_EQ(a.capacity(), capacity);
}

TEST(KBoundingBox, StartsUninitialisedAndFirstMergeInitialises) {
    KBoundingBox box;
    EXPECT_FALSE(box.contains(KVector(0, 0, 0))) << "an empty box contains nothing, not the origin";
    // Starting from a zero box instead of an empty one would wrongly include the origin.
    box.expand(KVector(5, 6, 7));
    box.expand(KVector(4, 8, 7));
    EXPECT_EQ(box.min(), KVector(4, 6, 7));
    EXPECT_EQ(box.max(), KVector(5, 8, 7));
    KBoundingBox merged;
    merged.expand(KBoundingBox(KVector(1, 1, 1), KVector(2, 2, 2)));
    EXPECT_EQ(merged.min(), KVector(1, 1, 1));
    merged.expand(KBoundingBox());
    EXPECT_EQ(merged.min(), KVector(1, 1, 1)) << "merging an empty box changes nothing";
    merged.expand(KBoundingBox(KVector(-1, 3, 1.5f), KVector(0, 4, 1.5f)));
    EXPECT_EQ(merged.min(), KVector(-1, 1, 1));
    EXPECT_EQ(merged.max(), KVector(2, 4, 2));
    merged.reset();
    EXPECT_FALSE(merged.initialized());
}

TEST(KBoundingBox, CornersContainmentOverlapAndGrowth) {
    const KBoundingBox box(KVector(3, -1, 2), KVector(1, 4, -2));
    EXPECT_EQ(box.min(), KVector(1, -1, -2)) << "corners ordered per axis";
    EXPECT_EQ(box.center(), KVector(2, 1.5f, 0));
    EXPECT_EQ(box.size(), KVector(2, 5, 4));
    // The boundary is inside, and touching boxes overlap.
    EXPECT_TRUE(box.contains(KVector(1, 4, -2)));
    EXPECT_FALSE(box.contains(KVector(std::nextafter(3.0f, 4.0f), 1, 1)));
    EXPECT_TRUE(box.overlaps(KBoundingBox(KVector(3, 4, 2), KVector(5, 5, 5))));
    EXPECT_FALSE(box.overlaps(KBoundingBox(KVector(3.01f, 0, 0), KVector(5, 1, 1))));
    EXPECT_FALSE(box.overlaps(KBoundingBox()));
    EXPECT_FALSE(KBoundingBox().overlaps(box));
    KBoundingBox grown = box;
    grown.expand(0.5f);
    EXPECT_EQ(grown.min(), KVector(0.5f, -1.5f, -2.5f));
    EXPECT_EQ(grown.max(), KVector(3.5f, 4.5f, 2.5f));
    KBoundingBox empty;
    empty.expand(1.0f);
    EXPECT_FALSE(empty.initialized());
}

TEST(KVectorArray, BoundingBoxOfPoints) {
    EXPECT_FALSE(KVectorArray().boundingBox(true).initialized());
    // Points far from the origin: the box must not include it. Non-finite points are skipped
    // only when asked.
    const float inf = std::numeric_limits<float>::infinity();
    KVectorArray far = {KVector(10, 12, 10), KVector(11, 10, 13),
                        KVector(std::numeric_limits<float>::quiet_NaN(), 0, 0), KVector(0, -inf, 0)};
    EXPECT_EQ(far.boundingBox(true).min(), KVector(10, 10, 10));
    EXPECT_EQ(far.boundingBox(true).max(), KVector(11, 12, 13));
    EXPECT_EQ(far.boundingBox(false).min().y, -inf);
}

TEST(KMatrix, RowMajorStorageAndRowVectorPoints) {
    EXPECT_TRUE(KMatrix().isIdentity());
    const float values[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const KMatrix a(values);
    EXPECT_EQ(a(1, 0), 5.0f);
    EXPECT_EQ(a.data()[6], 7.0f);
    EXPECT_EQ(a.transpose()(0, 1), 5.0f);
    // Translation in the last row; points are row vectors, divided by w.
    const KMatrix t = translation(10, 20, 30);
    EXPECT_EQ(t.data()[12], 10.0f);
    EXPECT_EQ(t.transformPoint(KVector(1, 2, 3)), KVector(11, 22, 33));
    EXPECT_EQ(t.transformVector(KVector(1, 2, 3)), KVector(1, 2, 3));
    expectNear(rotateZ90().transformPoint(KVector(1, 0, 0)), KVector(0, 1, 0));
    KMatrix projective;
    projective(3, 3) = 2.0f;
    EXPECT_EQ(projective.transformPoint(KVector(2, 4, 6)), KVector(1, 2, 3));
}

TEST(KMatrix, ProductAppliesLeftOperandFirst) {
    const KMatrix r = rotateZ90();
    const KMatrix t = translation(5, 0, 0);
    // Rotate, then translate: (1,0,0) -> (0,1,0) -> (5,1,0).
    expectNear((r * t).transformPoint(KVector(1, 0, 0)), KVector(5, 1, 0));
    // Translate, then rotate: (1,0,0) -> (6,0,0) -> (0,6,0).
    expectNear((t * r).transformPoint(KVector(1, 0, 0)), KVector(0, 6, 0));
    KMatrix acc = r;
    acc *= t;
    EXPECT_EQ(acc, r * t);
}

TEST(KMatrix, InverseUndoesTheTransform) {
    KMatrix m = rotateZ90() * translation(1, 2, 3);
    m(0, 0) *= 2.0f; // a scale as well
    bool ok = false;
    const KMatrix inv = m.inverse(&ok);
    EXPECT_TRUE(ok);
    const KVector p(0.25f, -3, 7);
    expectNear(inv.transformPoint(m.transformPoint(p)), p);
    const KMatrix product = m * inv;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(product(r, c), r == c ? 1.0f : 0.0f, 1e-6f);
    KMatrix singular;
    singular(2, 2) = 0.0f;
    EXPECT_TRUE(singular.inverse(&ok).isIdentity());
    EXPECT_FALSE(ok);
}

TEST(KString, NullCStringsAreEmptyAndNeverEqualAString) {
    EXPECT_FALSE(KString("Ogawa") == static_cast<const char*>(nullptr));
    EXPECT_FALSE(KString("Ogawa") == "Ogaw");
    KString empty(static_cast<const char*>(nullptr));
    EXPECT_TRUE(empty == "");
    EXPECT_STREQ(empty.asChar(), "");
}
