#include <kelno/KTypes.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

using namespace Kelno;

namespace {

KIntArray ints(std::initializer_list<int> values) { return KIntArray(values); }

} // namespace

// ---------------------------------------------------------------------------------------------
// KVector

TEST(KVector, IsThreePackedFloatsReadableAsAFloatRun) {
    static_assert(offsetof(KVector, x) == 0, "x first");
    static_assert(offsetof(KVector, y) == sizeof(float), "y second");
    static_assert(offsetof(KVector, z) == 2 * sizeof(float), "z third");

    KVectorArray points;
    points.push_back(KVector(1, 2, 3));
    points.push_back(KVector(4, 5, 6));
    const float* run = points.asFloats();
    ASSERT_NE(run, nullptr);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(run[i], static_cast<float>(i + 1));

    float raw[6];
    std::memcpy(raw, points.data(), sizeof(raw));
    EXPECT_EQ(raw[4], 5.0f);
    EXPECT_EQ(KVectorArray().asFloats(), nullptr);
}

TEST(KVector, ArithmeticIsComponentWise) {
    const KVector a(1, 2, 3);
    const KVector b(4, -5, 6);
    EXPECT_EQ(a + b, KVector(5, -3, 9));
    EXPECT_EQ(a - b, KVector(-3, 7, -3));
    EXPECT_EQ(a * 2.0f, KVector(2, 4, 6));
    EXPECT_EQ(2.0f * a, KVector(2, 4, 6));
    EXPECT_EQ(b / 2.0f, KVector(2, -2.5f, 3));
    EXPECT_EQ(-a, KVector(-1, -2, -3));
    KVector c = a;
    c += b;
    c -= a;
    EXPECT_EQ(c, b);
    c *= 3.0f;
    c /= 3.0f;
    EXPECT_EQ(c, b);
    EXPECT_EQ(a[0], 1.0f);
    EXPECT_EQ(a[1], 2.0f);
    EXPECT_EQ(a[2], 3.0f);
    c[1] = 9.0f;
    EXPECT_EQ(c.y, 9.0f);
}

TEST(KVector, DotCrossAndLengthFollowTheRightHandRule) {
    const KVector x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    EXPECT_EQ(x.cross(y), z);
    EXPECT_EQ(y.cross(z), x);
    EXPECT_EQ(z.cross(x), y);
    EXPECT_EQ(y.cross(x), -z);
    EXPECT_EQ(KVector(1, 2, 3).dot(KVector(4, -5, 6)), 12.0f);
    EXPECT_EQ(KVector(3, 4, 12).length(), 13.0f);
}

TEST(KVector, NormalizeMakesUnitLengthAndLeavesZeroAlone) {
    KVector v(3, 0, 4);
    KVector& same = v.normalize();
    EXPECT_EQ(&same, &v);
    EXPECT_FLOAT_EQ(v.x, 0.6f);
    EXPECT_FLOAT_EQ(v.z, 0.8f);
    EXPECT_NEAR(v.length(), 1.0f, 1e-6f);

    KVector zero;
    zero.normalize();
    EXPECT_EQ(zero, KVector(0, 0, 0));
    EXPECT_EQ(KVector(0, 0, 2).normal(), KVector(0, 0, 1));
}

TEST(KVector, EqualityIsExactFloatComparison) {
    EXPECT_EQ(KVector(0, 0, 0), KVector(-0.0f, 0, 0));
    EXPECT_NE(KVector(1, 2, 3), KVector(1, 2, std::nextafter(3.0f, 4.0f)));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const KVector n(nan, 0, 0);
    EXPECT_FALSE(n == n);
    EXPECT_TRUE(n != n);
}

// ---------------------------------------------------------------------------------------------
// KArray and the named arrays

TEST(KArray, CountsAreIntsAndSizedConstructorsZeroFill) {
    KIntArray a(4);
    EXPECT_EQ(a.length(), 4);
    for (int v : a)
        EXPECT_EQ(v, 0);
    static_assert(std::is_same<decltype(a.length()), int>::value, "length() is int");

    KFloatArray f(3);
    EXPECT_EQ(f.length(), 3);
    EXPECT_EQ(f[2], 0.0f);
    KFloat2Array uv(2);
    EXPECT_EQ(uv[1].x, 0.0f);
    EXPECT_EQ(uv[1].y, 0.0f);
    KCharArray mask(5);
    EXPECT_EQ(mask.length(), 5);
    EXPECT_EQ(mask[4], 0);
    EXPECT_EQ(KIntArray(-3).length(), 0);
    EXPECT_EQ(KIntArray().length(), 0);
}

TEST(KArray, NamedArraysCopyDeeply) {
    KInt3Array tris;
    tris.push_back(KInt3{{0, 1, 2}});
    KInt3Array copy(tris);
    copy[0][1] = 7;
    EXPECT_EQ(tris[0][1], 1);
    EXPECT_EQ(copy[0], (KInt3{{0, 7, 2}}));

    KInt2Array edges;
    edges.push_back(KInt2{{3, 4}});
    KInt2Array edgesCopy(edges);
    EXPECT_EQ(edgesCopy[0], (KInt2{{3, 4}}));

    KIntArrayList lists(2);
    lists[1].push_back(5);
    KIntArrayList listsCopy(lists);
    listsCopy[1][0] = 6;
    EXPECT_EQ(lists[1][0], 5);
    EXPECT_EQ(listsCopy.length(), 2);
    EXPECT_EQ(listsCopy[0].length(), 0);

    KVectorArray points(3);
    KVectorArray pointsCopy(points);
    pointsCopy[2].x = 1;
    EXPECT_EQ(points[2].x, 0.0f);
}

TEST(KArrayDeduplicate, KeepsFirstOccurrencesInOriginalOrder) {
    KIntArray a = ints({3, 1, 3, 2, 1});
    a.deduplicate();
    EXPECT_EQ(a, ints({3, 1, 2}));

    // A sorting implementation would give {1, 2, 3} here.
    KIntArray b = ints({9, 4, 9, 9, 0, 4, -2});
    b.deduplicate();
    EXPECT_EQ(b, ints({9, 4, 0, -2}));
}

TEST(KArrayDeduplicate, EmptyAndSingleElementAreUnchanged) {
    KIntArray empty;
    empty.deduplicate();
    EXPECT_TRUE(empty.empty());
    KIntArray one = ints({42});
    one.deduplicate();
    EXPECT_EQ(one, ints({42}));
    KIntArray same = ints({7, 7, 7, 7});
    same.deduplicate();
    EXPECT_EQ(same, ints({7}));
}

TEST(KArrayDeduplicate, VectorsCompareExactlyWithSignedZeroEqualAndNaNUnique) {
    KVectorArray zeros;
    zeros.push_back(KVector(0, 0, 0));
    zeros.push_back(KVector(-0.0f, 0, 0));
    zeros.deduplicate();
    ASSERT_EQ(zeros.length(), 1);
    EXPECT_FALSE(std::signbit(zeros[0].x)) << "the first occurrence (+0) is the one kept";

    const float nan = std::numeric_limits<float>::quiet_NaN();
    KVectorArray nans;
    nans.push_back(KVector(nan, 0, 0));
    nans.push_back(KVector(1, 1, 1));
    nans.push_back(KVector(nan, 0, 0));
    nans.push_back(KVector(1, 1, 1));
    nans.deduplicate();
    ASSERT_EQ(nans.length(), 3);
    EXPECT_TRUE(std::isnan(nans[0].x));
    EXPECT_EQ(nans[1], KVector(1, 1, 1));
    EXPECT_TRUE(std::isnan(nans[2].x));

    KVectorArray close;
    close.push_back(KVector(1, 0, 0));
    close.push_back(KVector(std::nextafter(1.0f, 2.0f), 0, 0));
    close.deduplicate();
    EXPECT_EQ(close.length(), 2) << "no tolerance in the comparison";
}

TEST(KArrayRemove, SkipsBadIndicesAndCountsRepeatsOnce) {
    KIntArray a = ints({5, 6, 7});
    EXPECT_EQ(a.remove(ints({1, 1, 7, -1})), 2);
    EXPECT_EQ(a, ints({5, 7}));

    // Repeats counted twice would make this look like "all removed".
    KIntArray b = ints({5, 6, 7});
    EXPECT_EQ(b.remove(ints({0, 0, 0})), 2);
    EXPECT_EQ(b, ints({6, 7}));

    KIntArray c = ints({10, 11, 12, 13, 14});
    EXPECT_EQ(c.remove(ints({4, 0, 2})), 2);
    EXPECT_EQ(c, ints({11, 13}));
}

TEST(KArrayRemove, EmptyInputsChangeNothing) {
    KIntArray a = ints({5, 6});
    EXPECT_EQ(a.remove(KIntArray()), 2);
    EXPECT_EQ(a, ints({5, 6}));

    KIntArray empty;
    EXPECT_EQ(empty.remove(ints({0, 1})), 0);
    EXPECT_TRUE(empty.empty());

    KIntArray out = ints({5, 6});
    EXPECT_EQ(out.remove(ints({2, 100, -5})), 2);
    EXPECT_EQ(out, ints({5, 6}));
}

TEST(KArrayRemove, RemovingEverythingKeepsStorage) {
    KIntArray a = ints({5, 6});
    a.reserve(64);
    const std::size_t capacity = a.capacity();
    EXPECT_EQ(a.remove(ints({0, 1})), 0);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.capacity(), capacity);
}

TEST(KArrayRemove, SurvivorsMoveToStorageOfExactSize) {
    KIntArray a;
    a.reserve(100);
    for (int i = 0; i < 10; ++i)
        a.push_back(i);
    EXPECT_EQ(a.remove(ints({1, 3, 5})), 7);
    EXPECT_EQ(a, ints({0, 2, 4, 6, 7, 8, 9}));
    EXPECT_EQ(a.capacity(), 7u);
}

// ---------------------------------------------------------------------------------------------
// KBoundingBox

TEST(KBoundingBox, StartsUninitialisedAndFirstMergeInitialises) {
    KBoundingBox box;
    EXPECT_FALSE(box.initialized());
    EXPECT_FALSE(box.contains(KVector(0, 0, 0))) << "an empty box contains nothing, not the origin";

    // Starting from a zero box instead of an empty one would wrongly include the origin.
    box.expand(KVector(5, 6, 7));
    EXPECT_TRUE(box.initialized());
    EXPECT_EQ(box.min(), KVector(5, 6, 7));
    EXPECT_EQ(box.max(), KVector(5, 6, 7));
    box.expand(KVector(4, 8, 7));
    EXPECT_EQ(box.min(), KVector(4, 6, 7));
    EXPECT_EQ(box.max(), KVector(5, 8, 7));

    KBoundingBox merged;
    merged.expand(KBoundingBox(KVector(1, 1, 1), KVector(2, 2, 2)));
    EXPECT_TRUE(merged.initialized());
    EXPECT_EQ(merged.min(), KVector(1, 1, 1));
    EXPECT_EQ(merged.max(), KVector(2, 2, 2));

    merged.expand(KBoundingBox());
    EXPECT_EQ(merged.min(), KVector(1, 1, 1)) << "merging an empty box changes nothing";
    merged.expand(KBoundingBox(KVector(-1, 3, 1.5f), KVector(0, 4, 1.5f)));
    EXPECT_EQ(merged.min(), KVector(-1, 1, 1));
    EXPECT_EQ(merged.max(), KVector(2, 4, 2));

    merged.reset();
    EXPECT_FALSE(merged.initialized());
}

TEST(KBoundingBox, CornerConstructorOrdersPerAxis) {
    const KBoundingBox box(KVector(3, -1, 2), KVector(1, 4, -2));
    EXPECT_TRUE(box.initialized());
    EXPECT_EQ(box.min(), KVector(1, -1, -2));
    EXPECT_EQ(box.max(), KVector(3, 4, 2));
    EXPECT_EQ(box.center(), KVector(2, 1.5f, 0));
    EXPECT_EQ(box.size(), KVector(2, 5, 4));
}

TEST(KBoundingBox, ContainsCountsTheBoundaryAsInside) {
    const KBoundingBox box(KVector(0, 0, 0), KVector(1, 2, 3));
    EXPECT_TRUE(box.contains(KVector(0, 0, 0)));
    EXPECT_TRUE(box.contains(KVector(1, 2, 3)));
    EXPECT_TRUE(box.contains(KVector(1, 1, 1.5f)));
    EXPECT_TRUE(box.contains(KVector(0.5f, 1, 1)));
    EXPECT_FALSE(box.contains(KVector(std::nextafter(1.0f, 2.0f), 1, 1)));
    EXPECT_FALSE(box.contains(KVector(0.5f, -1e-7f, 1)));
    EXPECT_FALSE(box.contains(KVector(0.5f, 1, 3.0001f)));
}

TEST(KBoundingBox, OverlapCountsTouching) {
    const KBoundingBox a(KVector(0, 0, 0), KVector(1, 1, 1));
    EXPECT_TRUE(a.overlaps(KBoundingBox(KVector(1, 1, 1), KVector(2, 2, 2))));
    EXPECT_TRUE(a.overlaps(KBoundingBox(KVector(0.2f, 0.2f, 0.2f), KVector(0.3f, 0.3f, 0.3f))));
    EXPECT_FALSE(a.overlaps(KBoundingBox(KVector(1.01f, 0, 0), KVector(2, 1, 1))));
    EXPECT_FALSE(a.overlaps(KBoundingBox()));
    EXPECT_FALSE(KBoundingBox().overlaps(a));
}

TEST(KBoundingBox, ExpandByDistanceMovesEveryFace) {
    KBoundingBox box(KVector(0, 0, 0), KVector(1, 2, 3));
    box.expand(0.5f);
    EXPECT_EQ(box.min(), KVector(-0.5f, -0.5f, -0.5f));
    EXPECT_EQ(box.max(), KVector(1.5f, 2.5f, 3.5f));

    KBoundingBox empty;
    empty.expand(1.0f);
    EXPECT_FALSE(empty.initialized());
}

TEST(KBoundingBox, AssignmentCopies) {
    KBoundingBox a(KVector(0, 0, 0), KVector(1, 1, 1));
    KBoundingBox b;
    b = a;
    a.expand(KVector(5, 5, 5));
    EXPECT_TRUE(b.initialized());
    EXPECT_EQ(b.max(), KVector(1, 1, 1));
}

TEST(KVectorArray, BoundingBoxOfPoints) {
    KVectorArray points;
    EXPECT_FALSE(points.boundingBox(true).initialized());

    points.push_back(KVector(1, -2, 3));
    points.push_back(KVector(-4, 5, 0));
    points.push_back(KVector(2, 2, -6));
    const KBoundingBox box = points.boundingBox(true);
    EXPECT_EQ(box.min(), KVector(-4, -2, -6));
    EXPECT_EQ(box.max(), KVector(2, 5, 3));

    // A box from points far from the origin must not include it.
    KVectorArray far;
    far.push_back(KVector(10, 10, 10));
    far.push_back(KVector(11, 12, 13));
    EXPECT_EQ(far.boundingBox(true).min(), KVector(10, 10, 10));

    const float inf = std::numeric_limits<float>::infinity();
    far.push_back(KVector(std::numeric_limits<float>::quiet_NaN(), 0, 0));
    far.push_back(KVector(0, -inf, 0));
    EXPECT_EQ(far.boundingBox(true).min(), KVector(10, 10, 10));
    EXPECT_EQ(far.boundingBox(true).max(), KVector(11, 12, 13));
    EXPECT_EQ(far.boundingBox(false).min().y, -inf);
}

// ---------------------------------------------------------------------------------------------
// KMatrix

namespace {

KMatrix translation(float x, float y, float z) {
    KMatrix m;
    m.setTranslation(KVector(x, y, z));
    return m;
}

// Rotation of +90 degrees about z: x goes to y under the row-vector convention.
KMatrix rotateZ90() {
    KMatrix m;
    m(0, 0) = 0;
    m(0, 1) = 1;
    m(1, 0) = -1;
    m(1, 1) = 0;
    return m;
}

void expectNear(const KVector& a, const KVector& b, float eps = 1e-5f) {
    EXPECT_NEAR(a.x, b.x, eps);
    EXPECT_NEAR(a.y, b.y, eps);
    EXPECT_NEAR(a.z, b.z, eps);
}

} // namespace

TEST(KMatrix, DefaultsToIdentityInRowMajorStorage) {
    KMatrix m;
    EXPECT_TRUE(m.isIdentity());
    const float values[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const KMatrix a(values);
    EXPECT_EQ(a(0, 1), 2.0f);
    EXPECT_EQ(a(1, 0), 5.0f);
    EXPECT_EQ(a(3, 2), 15.0f);
    EXPECT_EQ(a.data()[6], 7.0f);
    EXPECT_EQ(a.transpose()(0, 1), 5.0f);
    EXPECT_EQ(a.transpose().transpose(), a);
}

TEST(KMatrix, PointsAreRowVectorsWithTranslationInTheLastRow) {
    const KMatrix t = translation(10, 20, 30);
    EXPECT_EQ(t.data()[12], 10.0f);
    EXPECT_EQ(t.transformPoint(KVector(1, 2, 3)), KVector(11, 22, 33));
    EXPECT_EQ(t.transformVector(KVector(1, 2, 3)), KVector(1, 2, 3));
    expectNear(rotateZ90().transformPoint(KVector(1, 0, 0)), KVector(0, 1, 0));
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

TEST(KMatrix, ProjectivePointsAreDividedByW) {
    KMatrix m;
    m(3, 3) = 2.0f;
    EXPECT_EQ(m.transformPoint(KVector(2, 4, 6)), KVector(1, 2, 3));
}

// ---------------------------------------------------------------------------------------------
// KColor and KString

TEST(KColor, HoldsRgbaInOrderAndDefaultsToOpaqueBlack) {
    const KColor c;
    EXPECT_EQ(c, KColor(0, 0, 0, 1));
    const KColor d(0.1f, 0.2f, 0.3f);
    const float* f = &d.r;
    EXPECT_EQ(f[0], 0.1f);
    EXPECT_EQ(f[1], 0.2f);
    EXPECT_EQ(f[2], 0.3f);
    EXPECT_EQ(f[3], 1.0f);
}

TEST(KString, ComparesWithCStringsAndGivesATerminatedView) {
    KString s("Ogawa");
    EXPECT_TRUE(s == "Ogawa");
    EXPECT_FALSE(s == "ogawa");
    EXPECT_FALSE(s == "Ogaw");
    EXPECT_FALSE(s == static_cast<const char*>(nullptr));
    EXPECT_STREQ(s.asChar(), "Ogawa");
    EXPECT_EQ(s.length(), 5);

    KString empty(static_cast<const char*>(nullptr));
    EXPECT_TRUE(empty == "");
    EXPECT_STREQ(empty.asChar(), "");

    KString joined = KString("Uniform") + KString("Sampling");
    joined += "!";
    EXPECT_TRUE(joined == "UniformSampling!");
    EXPECT_TRUE(joined == KString(std::string("UniformSampling!")));
}
