#include <kelno/KNurbsCurve.h>
#include <kelno/KTreeSkeleton.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace Kelno;
using P = KNurbsCurve::Point;

namespace {

double dist(const P& a, const P& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

std::vector<P> randomWalk(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<P> pts;
    P p{{0, 0, 0}};
    for (int i = 0; i < n; ++i) {
        pts.push_back(p);
        p = {{p[0] + u(rng), p[1] + 1.0 + u(rng), p[2] + u(rng)}};
    }
    return pts;
}

// Dense samples of the curve (brute force for length and distance).
std::vector<P> sample(const KNurbsCurve& c, int count) {
    std::vector<P> s;
    for (int i = 0; i <= count; ++i)
        s.push_back(c.evaluate(c.minParam() + (c.maxParam() - c.minParam()) * i / count));
    return s;
}

} // namespace

TEST(KNurbsCurve, InterpolatesEditPoints) {
    struct Case {
        int n;
        int degree;
        bool uniform;
    };
    for (const Case& c : {Case{2, 3, true}, Case{3, 3, true}, Case{9, 3, true}, Case{9, 3, false},
                          Case{200, 3, true}, Case{5, 1, true}}) {
        const std::vector<P> ep = randomWalk(c.n, static_cast<unsigned>(c.n));
        KNurbsCurve curve;
        ASSERT_TRUE(curve.createWithEditPoints(ep, c.degree, c.uniform)) << c.n;
        EXPECT_EQ(curve.numCVs(), c.n + c.degree - 1);
        EXPECT_EQ(curve.knots().size(), static_cast<std::size_t>(curve.numSpans() + 2 * c.degree - 1));
        EXPECT_EQ(curve.numSpans(), c.n - 1);
        // Edit point i is the point at the i-th distinct knot.
        std::vector<double> params(1, curve.knots().front());
        for (double k : curve.knots())
            if (k > params.back())
                params.push_back(k);
        ASSERT_EQ(params.size(), ep.size());
        if (c.uniform) {
            EXPECT_EQ(params.back(), c.n - 1);
        }
        for (std::size_t i = 0; i < ep.size(); ++i)
            EXPECT_LT(dist(curve.evaluate(params[i]), ep[i]), 1e-9) << c.n << " " << i;
        EXPECT_EQ(curve.cv(0), ep.front());
        EXPECT_EQ(curve.cv(curve.numCVs() - 1), ep.back());
    }
}

TEST(KNurbsCurve, RejectsBadInput) {
    KNurbsCurve c;
    EXPECT_FALSE(c.createWithEditPoints({{{1, 2, 3}}}, 3, true));
    EXPECT_FALSE(c.createWithEditPoints({{{0, 0, 0}}, {{1, 0, 0}}}, 2, true));
    EXPECT_FALSE(c.createWithEditPoints({{{0, 0, 0}}, {{NAN, 0, 0}}}, 3, true));
    EXPECT_FALSE(c.createWithEditPoints({{{0, 0, 0}}, {{0, 0, 0}}}, 3, false));
    EXPECT_FALSE(c.valid());
    EXPECT_TRUE(std::isinf(c.distanceToPoint({{0, 0, 0}})));
}

TEST(KNurbsCurve, LengthAndDistanceAgainstDenseSampling) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-3.0, 12.0);
    for (unsigned seed : {1u, 2u, 3u}) {
        KNurbsCurve c;
        ASSERT_TRUE(c.createWithEditPoints(randomWalk(12, seed), 3, seed != 2));
        const std::vector<P> s = sample(c, 200000);
        double polyline = 0;
        for (std::size_t i = 1; i < s.size(); ++i)
            polyline += dist(s[i - 1], s[i]);
        EXPECT_NEAR(c.length(0.001), polyline, 1e-5 * polyline);
        for (int q = 0; q < 20; ++q) {
            const P p{{u(rng) * 0.3, u(rng), u(rng) * 0.3}};
            double brute = 1e300;
            for (const P& x : s)
                brute = std::min(brute, dist(x, p));
            P closest;
            const double d = c.distanceToPoint(p, &closest);
            EXPECT_LE(d, brute + 1e-9);
            EXPECT_GE(d, brute - 1e-4);
            EXPECT_NEAR(dist(closest, p), d, 1e-12);
        }
    }
}

TEST(KNurbsCurve, ReverseKeepsTheShape) {
    KNurbsCurve c;
    ASSERT_TRUE(c.createWithEditPoints(randomWalk(7, 5), 3, false));
    KNurbsCurve r = c;
    r.reverse();
    EXPECT_EQ(r.cv(0), c.cv(c.numCVs() - 1));
    EXPECT_EQ(r.minParam(), c.minParam());
    EXPECT_EQ(r.maxParam(), c.maxParam());
    for (double t = 0; t <= 1.0; t += 0.05) {
        const double u = c.minParam() + t * (c.maxParam() - c.minParam());
        EXPECT_LT(dist(c.evaluate(u), r.evaluate(c.minParam() + c.maxParam() - u)), 1e-9);
    }
}

// A trunk with two branches (one listed tip first) and a twig on the second branch.
TEST(KTreeSkeletonHierarchy, SmallTree) {
    auto line = [](P a, P b, int n) {
        std::vector<P> pts;
        for (int i = 0; i < n; ++i) {
            const double t = static_cast<double>(i) / (n - 1);
            pts.push_back({{a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]), a[2] + t * (b[2] - a[2])}});
        }
        return pts;
    };
    const std::vector<std::vector<P>> chains = {
        line({{4, 8, 0}}, {{0.2, 4, 0}}, 5),    // branch A, tip first
        line({{0, 0, 0}}, {{0, 10, 0}}, 11),    // trunk
        line({{0, 6.1, 0.2}}, {{0, 9, 4}}, 6),  // branch B
        line({{0, 7.6, 2.2}}, {{-2, 8, 3}}, 4), // twig on B
    };
    std::vector<KNurbsCurve> curves(chains.size());
    for (std::size_t i = 0; i < chains.size(); ++i)
        ASSERT_TRUE(curves[i].createWithEditPoints(chains[i], 3, true));
    const P tipA = curves[0].cv(0);
    const KTreeSkeleton::Hierarchy h = KTreeSkeleton::buildHierarchy(curves);
    EXPECT_EQ(h.mainBranch, 1);
    EXPECT_EQ(h.parentCurves, (std::vector<int>{1, -1, 1, 2}));
    EXPECT_EQ(h.curveNumCVs, (std::vector<int>{7, 13, 8, 6}));
    // A was reversed so that it starts at the trunk.
    EXPECT_EQ(curves[0].cv(curves[0].numCVs() - 1), tipA);
    EXPECT_NEAR(h.rootPoints[0][1], 4.0, 1e-12);
    // Parent CVs: the trunk's CV nearest y = 4 and y = 6.1, B's CV nearest the twig's root.
    const std::vector<P>& trunk = curves[1].cvs();
    for (std::size_t i : {0, 2}) {
        const std::vector<P>& pc = curves[static_cast<std::size_t>(h.parentCurves[i])].cvs();
        std::size_t best = 0;
        for (std::size_t k = 0; k < pc.size(); ++k)
            if (dist(pc[k], h.rootPoints[i]) <= dist(pc[best], h.rootPoints[i]))
                best = k;
        EXPECT_EQ(h.parentCVs[i], static_cast<int>(best));
    }
    EXPECT_NEAR(trunk[static_cast<std::size_t>(h.parentCVs[0])][1], 4.0, 0.6);
    EXPECT_EQ(h.parentCVs[1], 0);

    // Equal greatest lengths: the later curve is the main branch; a single curve is its own root.
    std::vector<KNurbsCurve> twins(2);
    twins[0].createWithEditPoints(line({{0, 0, 0}}, {{0, 5, 0}}, 4), 3, true);
    twins[1].createWithEditPoints(line({{1, 0, 0}}, {{1, 5, 0}}, 4), 3, true);
    EXPECT_EQ(KTreeSkeleton::findMainBranch(twins), 1);
    twins.resize(1);
    const KTreeSkeleton::Hierarchy one = KTreeSkeleton::buildHierarchy(twins);
    EXPECT_EQ(one.parentCurves, std::vector<int>{-1});
    EXPECT_EQ(one.parentCVs, std::vector<int>{0});
}
