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

double det3(const KMatrix& m) {
    return double(m(0, 0)) * (double(m(1, 1)) * m(2, 2) - double(m(1, 2)) * m(2, 1)) -
           double(m(0, 1)) * (double(m(1, 0)) * m(2, 2) - double(m(1, 2)) * m(2, 0)) +
           double(m(0, 2)) * (double(m(1, 0)) * m(2, 1) - double(m(1, 1)) * m(2, 0));
}

// Rows orthonormal, determinant +1, last column (0, 0, 0, 1), every element finite.
void expectRigid(const KMatrix& m) {
    for (int e = 0; e < 16; ++e)
        ASSERT_TRUE(std::isfinite(m.data()[e])) << "element " << e;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double dot = 0.0;
            for (int k = 0; k < 3; ++k)
                dot += double(m(i, k)) * m(j, k);
            EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 1e-5) << i << "," << j;
        }
    EXPECT_NEAR(det3(m), 1.0, 1e-5);
    for (int r = 0; r < 4; ++r)
        EXPECT_EQ(m(r, 3), r == 3 ? 1.0f : 0.0f);
}

// Sum of squared distances from a[i] * m to b[i], evaluated in double.
double residual(const KMatrix& m, const KVectorArray& a, const KVectorArray& b) {
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i)
        for (int k = 0; k < 3; ++k) {
            const double d = double(a[i].x) * m(0, k) + double(a[i].y) * m(1, k) + double(a[i].z) * m(2, k) +
                             m(3, k) - b[i][k];
            sum += d * d;
        }
    return sum;
}

double maxDifference(const KMatrix& x, const KMatrix& y) {
    double d = 0.0;
    for (int e = 0; e < 16; ++e)
        d = std::max(d, double(std::fabs(x.data()[e] - y.data()[e])));
    return d;
}

TEST(KRigidFitTest, RecoversRandomMotionsAndIsLocallyOptimal) {
    const struct {
        unsigned seed;
        int count;
        float size, noise;
        KVector centre;
        double tolerance; // on every matrix element against the truth
    } cases[] = {
        {1, 3, 1.0f, 0.0f, KVector(), 2e-5},
        {2, 50, 1.0f, 0.0f, KVector(), 2e-5},
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
        // The translation far from the origin inherits float rounding of the input.
        EXPECT_LT(maxDifference(m, truth), c.tolerance * (1.0 + c.centre.length() * 1e-2));
        const double fitted = residual(m, a, b);
        // What storing the matrix in floats may cost at this distance from the origin.
        const double rounding = 4e-7 * (c.centre.length() + 2 * c.size);
        const double slack = c.count * 3 * rounding * rounding;
        EXPECT_LE(fitted, residual(truth, a, b) * (1.0 + 1e-4) + slack);
        // No small rotation about the centroid of a, applied before the fit, does better.
        KVector centroid;
        for (const KVector& p : a)
            centroid += p / float(a.size());
        for (int axis = 0; axis < 3; ++axis)
            for (float angle : {-1e-2f, 1e-2f}) {
                KMatrix turn;
                const int i = (axis + 1) % 3, j = (axis + 2) % 3;
                turn(i, i) = turn(j, j) = std::cos(angle);
                turn(i, j) = std::sin(angle);
                turn(j, i) = -std::sin(angle);
                KMatrix toOrigin, back;
                toOrigin.setTranslation(-centroid);
                back.setTranslation(centroid);
                EXPECT_LE(fitted, residual(toOrigin * turn * back * m, a, b) * (1.0 + 1e-6) + slack);
            }
        // Fitting the other way gives the inverse.
        EXPECT_LT(maxDifference(ShapeMatchingMatrix(b, a) * m, KMatrix()), 10 * c.tolerance);
    }
}

TEST(KRigidFitTest, MirroredTargetsGiveProperRotations) {
    std::mt19937 rng(7);
    for (int axis = 0; axis < 3; ++axis) {
        const KVectorArray a = randomPoints(rng, 100, 2.0f);
        KVectorArray b = a;
        for (KVector& p : b)
            p[axis] = -p[axis];
        const KMatrix m = ShapeMatchingMatrix(a, b);
        SCOPED_TRACE(axis);
        expectRigid(m);
        EXPECT_GT(det3(m), 0.0);
        EXPECT_LE(residual(m, a, b), residual(KMatrix(), a, b) + 1e-4);
    }
}

TEST(KRigidFitTest, PivotFormKeepsTheRotationAndMovesTheTranslation) {
    std::mt19937 rng(11);
    const KMatrix truth = randomRigid(rng, 5.0f);
    const KVectorArray a = randomPoints(rng, 64, 3.0f, KVector(2, 1, -1));
    const KVectorArray b = moved(rng, a, truth);
    const KMatrix m = ShapeMatchingMatrix(a, b);
    EXPECT_EQ(ShapeMatchingMatrix(a, b, KVector()), m);
    for (const KVector& pivot : {KVector(1, 2, 3), KVector(-50, 0, 7), KVector(2, 1, -1)}) {
        const KMatrix mp = ShapeMatchingMatrix(a, b, pivot);
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(mp(r, c), m(r, c));
        // p -> (p - pivot) * M' + pivot is the fitted motion.
        for (const KVector& p : {a[0], a[7], KVector(10, -3, 4)}) {
            const KVector q = mp.transformPoint(p - pivot) + pivot;
            const KVector expected = m.transformPoint(p);
            EXPECT_NEAR(q.x, expected.x, 1e-3);
            EXPECT_NEAR(q.y, expected.y, 1e-3);
            EXPECT_NEAR(q.z, expected.z, 1e-3);
        }
    }
}

TEST(KRigidFitTest, DegenerateInputsGiveFiniteRigidMatrices) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    std::mt19937 rng(5);
    const KMatrix motion = randomRigid(rng, 3.0f);
    KVectorArray line, plane;
    for (int i = 0; i < 10; ++i) {
        line.push_back(KVector(1, 2, 3) + KVector(1, -1, 0.5f) * float(i));
        plane.push_back(KVector(float(i % 4), float(i / 4), 0.0f));
    }
    const struct {
        std::string name;
        KVectorArray a, b;
        bool identity;    // the result must be the identity
        bool mapsExactly; // a through the result lands on b (up to rounding)
    } cases[] = {
        {"empty", {}, {}, true, true},
        {"one empty side", {KVector(1, 2, 3)}, {}, true, false},
        {"one point", {KVector(1, 2, 3)}, {KVector(-4, 5, 6)}, false, true},
        {"coincident points", KVectorArray(5, KVector(1, 1, 1)), KVectorArray(5, KVector(2, 0, 0)), false,
         true},
        {"collinear", line, moved(rng, line, motion), false, true},
        {"coplanar", plane, moved(rng, plane, motion), false, true},
        {"NaN source",
         {KVector(0, 0, 0), KVector(nan, 1, 0)},
         {KVector(1, 0, 0), KVector(1, 1, 0)},
         true,
         false},
        {"infinite target",
         {KVector(0, 0, 0), KVector(1, 1, 0)},
         {KVector(1, 0, 0), KVector(1, inf, 0)},
         true,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const KMatrix m = ShapeMatchingMatrix(c.a, c.b);
        expectRigid(m);
        if (c.identity) {
            EXPECT_TRUE(m.isIdentity());
        }
        if (c.mapsExactly)
            for (size_t i = 0; i < c.a.size(); ++i) {
                const KVector d = m.transformPoint(c.a[i]) - c.b[i];
                EXPECT_LT(d.length(), 1e-4) << i;
            }
    }
    // The coplanar fit is unique: it is the motion itself.
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
    std::vector<KMatrix> motions;
    KVectorArray target;
    for (int k = 0; k < 3; ++k) {
        motions.push_back(randomRigid(rng, 4.0f));
        const KVectorArray copy = moved(rng, source, motions.back());
        target.insert(target.end(), copy.begin(), copy.end());
    }
    const KVectorArray withTail = [&] {
        KVectorArray t = target;
        t.insert(t.end(), source.begin(), source.begin() + 29); // not a whole copy: ignored
        return t;
    }();
    const KVector pivot(1, -2, 0.5f);
    const struct {
        const KVectorArray* target;
        const KVector* pivot;
        double order;
        bool transposed;
    } cases[] = {
        {&target, nullptr, 0.0, false}, {&target, nullptr, 1.0, true},    {&target, nullptr, 2.0, false},
        {&target, &pivot, 1.0, true},   {&withTail, nullptr, 0.0, false}, {&target, nullptr, 0.999, false},
    };
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
            for (int e = 0; e < 16; ++e)
                EXPECT_EQ(values[16 * k + e], double(expected.data()[e])) << k << ":" << e;
            if (!c.pivot) {
                EXPECT_LT(maxDifference(c.transposed ? expected.transpose() : expected, motions[k]), 1e-4);
            }
        }
    }
    EXPECT_EQ(ShapeMatchingMatrices(source, source, nullptr, 0.0).size(), 16u);
    EXPECT_TRUE(ShapeMatchingMatrices(target, source, nullptr, 0.0).empty()) << "shorter target: no copy";
    EXPECT_TRUE(ShapeMatchingMatrices(KVectorArray(), target, nullptr, 0.0).empty());
    EXPECT_TRUE(ShapeMatchingMatrices(source, KVectorArray(), nullptr, 0.0).empty());
}

} // namespace
