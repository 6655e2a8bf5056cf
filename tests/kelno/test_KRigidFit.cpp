#include <kelno/KRigidFit.h>

#include "support/KTestRigid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace Kelno;
using namespace KelnoTest;

namespace {

// Rows orthonormal, determinant +1 (not a reflection), last column (0, 0, 0, 1), all finite.
void expectRigid(const KMatrix& m) {
    for (int e = 0; e < 16; ++e)
        ASSERT_TRUE(std::isfinite(m.data()[e])) << "element " << e;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_NEAR(double(m(i, 0)) * m(j, 0) + double(m(i, 1)) * m(j, 1) + double(m(i, 2)) * m(j, 2),
                        i == j ? 1.0 : 0.0, 1e-5);
    const KVector x(m(0, 0), m(0, 1), m(0, 2)), y(m(1, 0), m(1, 1), m(1, 2)), z(m(2, 0), m(2, 1), m(2, 2));
    EXPECT_NEAR(x.cross(y).dot(z), 1.0, 1e-5);
    for (int r = 0; r < 4; ++r)
        EXPECT_EQ(m(r, 3), r == 3 ? 1.0f : 0.0f);
}

// Sum of squared distances from a[i] * m to b[i].
double residual(const KMatrix& m, const KVectorArray& a, const KVectorArray& b) {
    double sum = 0.0;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        sum += double((m.transformPoint(a[i]) - b[i]).dot(m.transformPoint(a[i]) - b[i]));
    return sum;
}

double maxDifference(const KMatrix& x, const KMatrix& y) {
    double d = 0.0;
    for (int e = 0; e < 16; ++e)
        d = std::max(d, double(std::fabs(x.data()[e] - y.data()[e])));
    return d;
}

TEST(KRigidFitTest, RecoversRandomMotions) {
    const struct {
        unsigned seed;
        int count;
        float size, noise;
        KVector centre;
        double tolerance; // on every matrix element against the truth
    } cases[] = {
        {1, 3, 1.0f, 0.0f, KVector(), 2e-5},
        {3, 1000, 5.0f, 0.01f, KVector(), 5e-3},
        {4, 200, 0.5f, 0.0f, KVector(1000, -2000, 500), 5e-3}, // far from the origin, in floats
        {5, 500, 2.0f, 0.05f, KVector(-3, 4, 0), 5e-2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.seed);
        std::mt19937 rng(c.seed);
        const KMatrix truth = randomRigid(rng, 10.0f);
        const KVectorArray a = randomPoints(rng, c.count, c.size, c.centre);
        const KVectorArray b = moved(rng, a, truth, c.noise);
        const KMatrix m = ShapeMatchingMatrix(a, b);
        expectRigid(m);
        EXPECT_LT(maxDifference(m, truth), c.tolerance * (1.0 + c.centre.length() * 1e-2));
        // With noise the fit must do at least as well as the truth (up to float storage).
        const double rounding = 4e-7 * (c.centre.length() + 2 * c.size);
        EXPECT_LE(residual(m, a, b),
                  residual(truth, a, b) * (1.0 + 1e-4) + c.count * 3 * rounding * rounding);
        EXPECT_LT(maxDifference(ShapeMatchingMatrix(b, a) * m, KMatrix()), 10 * c.tolerance);
    }
}

TEST(KRigidFitTest, PivotFormKeepsTheRotationAndMovesTheTranslation) {
    std::mt19937 rng(11);
    const KVectorArray a = randomPoints(rng, 64, 3.0f, KVector(2, 1, -1));
    const KVectorArray b = moved(rng, a, randomRigid(rng, 5.0f));
    const KMatrix m = ShapeMatchingMatrix(a, b);
    EXPECT_EQ(ShapeMatchingMatrix(a, b, KVector()), m);
    for (const KVector& pivot : {KVector(1, 2, 3), KVector(-50, 0, 7)}) {
        const KMatrix mp = ShapeMatchingMatrix(a, b, pivot);
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(mp(r, c), m(r, c));
        for (const KVector& p : {a[0], KVector(10, -3, 4)}) // p -> (p - pivot) * M' + pivot
            EXPECT_LT(((mp.transformPoint(p - pivot) + pivot) - m.transformPoint(p)).length(), 2e-3);
    }
}

TEST(KRigidFitTest, DegenerateInputsGiveFiniteRigidMatrices) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    std::mt19937 rng(5);
    const KMatrix motion = randomRigid(rng, 3.0f);
    KVectorArray line, plane, cloud = randomPoints(rng, 100, 2.0f), mirrored = cloud;
    for (KVector& p : mirrored)
        p.z = -p.z;
    for (int i = 0; i < 10; ++i) {
        line.push_back(KVector(1, 2, 3) + KVector(1, -1, 0.5f) * float(i));
        plane.push_back(KVector(float(i % 4), float(i / 4), 0.0f));
    }
    const struct {
        std::string name;
        KVectorArray a, b;
        bool identity, mapsExactly; // the result is the identity / carries a onto b
    } cases[] = {
        {"empty", {}, {}, true, true},
        {"one empty side", {KVector(1, 2, 3)}, {}, true, false},
        {"one point", {KVector(1, 2, 3)}, {KVector(-4, 5, 6)}, false, true},
        {"coincident", KVectorArray(5, KVector(1, 1, 1)), KVectorArray(5, KVector(2, 0, 0)), false, true},
        {"collinear", line, moved(rng, line, motion), false, true},
        {"mirrored: a proper rotation all the same", cloud, mirrored, false, false},
        {"NaN source", {KVector(), KVector(nan, 1, 0)}, {KVector(1, 0, 0), KVector(1, 1, 0)}, true, false},
        {"infinite target",
         {KVector(), KVector(1, 1, 0)},
         {KVector(1, 0, 0), KVector(1, inf, 0)},
         true,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const KMatrix m = ShapeMatchingMatrix(c.a, c.b);
        expectRigid(m);
        EXPECT_EQ(m.isIdentity(), c.identity);
        if (!c.identity) {
            EXPECT_LE(residual(m, c.a, c.b), residual(KMatrix(), c.a, c.b) + 1e-4) << "worse than no motion";
        }
        for (size_t i = 0; c.mapsExactly && i < c.a.size(); ++i)
            EXPECT_LT((m.transformPoint(c.a[i]) - c.b[i]).length(), 1e-4) << i;
    }
    // The coplanar fit is unique: the motion itself.
    EXPECT_LT(maxDifference(ShapeMatchingMatrix(plane, moved(rng, plane, motion)), motion), 1e-5);
    // Uneven lengths use the shorter run of pairs.
    const KVectorArray a = randomPoints(rng, 20, 1.0f);
    KVectorArray b = moved(rng, a, motion);
    const KMatrix full = ShapeMatchingMatrix(a, b);
    b.push_back(KVector(100, 100, 100));
    EXPECT_EQ(ShapeMatchingMatrix(a, b), full);
    EXPECT_EQ(ShapeMatchingMatrix(b, a), ShapeMatchingMatrix(KVectorArray(b.begin(), b.end() - 1), a));
}

TEST(KRigidFitTest, OneMatrixPerCopyInStorageOrderOrTransposed) {
    std::mt19937 rng(21);
    const KVectorArray source = randomPoints(rng, 30, 2.0f);
    KVectorArray target;
    for (int k = 0; k < 3; ++k) {
        const KVectorArray copy = moved(rng, source, randomRigid(rng, 4.0f));
        target.insert(target.end(), copy.begin(), copy.end());
    }
    KVectorArray withTail = target;
    withTail.insert(withTail.end(), source.begin(), source.begin() + 29); // not a whole copy: ignored
    const KVector pivot(1, -2, 0.5f);
    const struct {
        const KVectorArray* target;
        const KVector* pivot;
        double order;
        bool transposed;
    } cases[] = {{&target, nullptr, 0.0, false},
                 {&target, &pivot, 1.0, true},
                 {&withTail, nullptr, 2.0, false},
                 {&target, nullptr, 0.999, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.order);
        const std::vector<double> values = ShapeMatchingMatrices(source, *c.target, c.pivot, c.order);
        ASSERT_EQ(values.size(), 48u);
        for (int k = 0; k < 3; ++k) {
            const KVectorArray run(target.begin() + 30 * k, target.begin() + 30 * (k + 1));
            KMatrix expected =
                c.pivot ? ShapeMatchingMatrix(source, run, *c.pivot) : ShapeMatchingMatrix(source, run);
            if (c.transposed)
                expected = expected.transpose();
            EXPECT_EQ(std::vector<double>(values.begin() + 16 * k, values.begin() + 16 * (k + 1)),
                      std::vector<double>(expected.data(), expected.data() + 16));
        }
    }
    EXPECT_EQ(ShapeMatchingMatrices(source, source, nullptr, 0.0).size(), 16u);
    EXPECT_TRUE(ShapeMatchingMatrices(target, source, nullptr, 0.0).empty()) << "shorter target: no copy";
    EXPECT_TRUE(ShapeMatchingMatrices(KVectorArray(), target, nullptr, 0.0).empty());
}

} // namespace
