// KDelaunay2D against exact rational arithmetic: orientation, the empty-circle property, hull
// coverage, adjacency and the handling of duplicate, collinear and non-finite input.
#include "kelno/KDelaunay2D.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

using Kelno::KDelaunay2D;
using Kelno::KFloat2;
using Kelno::KFloat2Array;
using Kelno::KIntArray;
namespace P = Kelno::KDelaunayPredicates;

namespace {

mpq_class orientQ(const KFloat2& a, const KFloat2& b, const KFloat2& c) {
    const mpq_class acx = mpq_class(a.x) - c.x, acy = mpq_class(a.y) - c.y;
    const mpq_class bcx = mpq_class(b.x) - c.x, bcy = mpq_class(b.y) - c.y;
    return acx * bcy - acy * bcx;
}

int inCircleQ(double ax, double ay, double bx, double by, double cx, double cy, double dx, double dy) {
    const mpq_class adx = mpq_class(ax) - dx, ady = mpq_class(ay) - dy;
    const mpq_class bdx = mpq_class(bx) - dx, bdy = mpq_class(by) - dy;
    const mpq_class cdx = mpq_class(cx) - dx, cdy = mpq_class(cy) - dy;
    const mpq_class det = (adx * adx + ady * ady) * (bdx * cdy - bdy * cdx) +
                          (bdx * bdx + bdy * bdy) * (cdx * ady - cdy * adx) +
                          (cdx * cdx + cdy * cdy) * (adx * bdy - ady * bdx);
    return sgn(det);
}

int inCircleQ(const KFloat2& a, const KFloat2& b, const KFloat2& c, const KFloat2& d) {
    return inCircleQ(a.x, a.y, b.x, b.y, c.x, c.y, d.x, d.y);
}

// Twice the area of the convex hull of the distinct finite points (monotone chain, exact turns).
mpq_class hullArea2(std::vector<KFloat2> p) {
    std::sort(p.begin(), p.end(),
              [](const KFloat2& a, const KFloat2& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
    p.erase(std::unique(p.begin(), p.end()), p.end());
    if (p.size() < 3)
        return 0;
    std::vector<KFloat2> h(2 * p.size());
    std::size_t k = 0;
    for (std::size_t i = 0; i < p.size(); ++i) {
        while (k >= 2 && sgn(orientQ(h[k - 2], h[k - 1], p[i])) <= 0)
            --k;
        h[k++] = p[i];
    }
    for (std::size_t i = p.size() - 1, t = k + 1; i-- > 0;) {
        while (k >= t && sgn(orientQ(h[k - 2], h[k - 1], p[i])) <= 0)
            --k;
        h[k++] = p[i];
    }
    mpq_class area = 0;
    for (std::size_t i = 1; i + 2 < k; ++i) // h[k - 1] is h[0] again
        area += orientQ(h[0], h[i], h[i + 1]);
    return area;
}

bool finite(const KFloat2& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// Every property of a valid Delaunay triangulation of `pts`, checked exactly.
void checkTriangulation(const KFloat2Array& pts, bool bruteForceCircles) {
    KFloat2Array input = pts;
    int count = -1;
    KIntArray tv, adj;
    KDelaunay2D dt(input, count, tv, adj);
    ASSERT_TRUE(pts.empty() || std::memcmp(input.data(), pts.data(), pts.size() * sizeof(KFloat2)) == 0)
        << "input changed";
    ASSERT_EQ(tv.length(), 3 * count);
    ASSERT_EQ(adj.length(), 3 * count);
    // Which input index must represent each distinct finite point: its first occurrence.
    std::map<std::pair<float, float>, int> first;
    std::vector<KFloat2> distinct;
    int nonFinite = 0;
    for (int i = 0; i < pts.length(); ++i) {
        if (!finite(pts[i])) {
            ++nonFinite;
            continue;
        }
        const std::pair<float, float> key(pts[i].x + 0.0f, pts[i].y + 0.0f); // -0 counts as 0
        if (first.emplace(key, i).second)
            distinct.push_back(pts[i]);
    }
    const mpq_class hull2 = hullArea2(distinct);
    EXPECT_EQ(dt.nonFiniteCount(), nonFinite);
    if (sgn(hull2) == 0) {
        EXPECT_EQ(count, 0) << "no triangle over fewer than three points or one line";
        return;
    }
    EXPECT_EQ(dt.usedPointCount(), static_cast<int>(distinct.size()));
    EXPECT_EQ(dt.usedPointCount() + dt.duplicateCount() + dt.nonFiniteCount(), pts.length());
    std::set<int> used(tv.begin(), tv.end());
    std::set<int> expected;
    for (const auto& f : first)
        expected.insert(f.second);
    EXPECT_EQ(used, expected) << "every distinct point used, by its first occurrence, and nothing else";
    std::map<std::pair<int, int>, std::pair<int, int>> edges; // directed edge -> (triangle, corner)
    mpq_class area2 = 0;
    for (int t = 0; t < count; ++t) {
        const mpq_class o = orientQ(pts[tv[3 * t]], pts[tv[3 * t + 1]], pts[tv[3 * t + 2]]);
        ASSERT_GT(sgn(o), 0) << "triangle " << t << " not counter-clockwise";
        area2 += o;
        for (int k = 0; k < 3; ++k)
            ASSERT_TRUE(
                edges.emplace(std::make_pair(tv[3 * t + k], tv[3 * t + (k + 1) % 3]), std::make_pair(t, k))
                    .second)
                << "directed edge used twice";
    }
    EXPECT_EQ(area2, hull2) << "the triangles do not tile the convex hull";
    for (const auto& e : edges) {
        const int t = e.second.first, k = e.second.second;
        const auto twin = edges.find(std::make_pair(e.first.second, e.first.first));
        if (twin == edges.end()) {
            EXPECT_EQ(adj[3 * t + k], -1) << "hull edge with a neighbour";
            continue;
        }
        const int u = twin->second.first;
        ASSERT_EQ(adj[3 * t + k], u) << "wrong neighbour across an edge";
        // Locally Delaunay: the far corner of the neighbour is not inside this circumcircle.
        const int far = tv[3 * u + (twin->second.second + 2) % 3];
        EXPECT_LE(inCircleQ(pts[tv[3 * t]], pts[tv[3 * t + 1]], pts[tv[3 * t + 2]], pts[far]), 0);
    }
    if (bruteForceCircles) {
        for (int t = 0; t < count; ++t)
            for (int i : expected)
                ASSERT_LE(inCircleQ(pts[tv[3 * t]], pts[tv[3 * t + 1]], pts[tv[3 * t + 2]], pts[i]), 0)
                    << "point " << i << " inside the circle of triangle " << t;
    }
}

KFloat2Array uniform(int n, unsigned seed, float scale = 1.0f) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    KFloat2Array p;
    for (int i = 0; i < n; ++i)
        p.push_back(KFloat2{u(rng) * scale, u(rng) * scale});
    return p;
}

KFloat2Array grid(int side, float step, float ox = 0.0f) {
    KFloat2Array p;
    for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j)
            p.push_back(KFloat2{ox + i * step, ox + j * step});
    return p;
}

// n points from the origin in steps of (dx, dy), and n random points of a small integer lattice.
KFloat2Array line(int n, float dx, float dy) {
    KFloat2Array p;
    for (int i = 0; i < n; ++i)
        p.push_back(KFloat2{i * dx, i * dy});
    return p;
}

KFloat2Array lattice(int n, unsigned seed, int side) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> c(0, side);
    KFloat2Array p;
    for (int i = 0; i < n; ++i)
        p.push_back(KFloat2{static_cast<float>(c(rng)), static_cast<float>(c(rng))});
    return p;
}

KFloat2Array operator+(KFloat2Array a, const KFloat2Array& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Six tight clusters, and 300 points close to one circle around a centre point.
KFloat2Array clustered() {
    std::mt19937 rng(3);
    std::normal_distribution<float> g(0.0f, 1e-5f);
    KFloat2Array p;
    for (int c = 0; c < 6; ++c)
        for (int i = 0; i < 150; ++i)
            p.push_back(KFloat2{c * 0.25f + g(rng), (c % 2) + g(rng)});
    return p;
}

KFloat2Array nearlyCocircular() {
    KFloat2Array p{{0.0f, 0.0f}};
    for (int i = 0; i < 300; ++i)
        p.push_back(KFloat2{std::cos(i * 0.0209f) * 7.0f, std::sin(i * 0.0209f) * 7.0f});
    return p;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

KFloat2Array gridWithDuplicatesShuffled() {
    KFloat2Array p = grid(12, 0.5f) + grid(12, 0.5f);
    std::shuffle(p.begin() + 5, p.end(), std::mt19937(4));
    p.push_back(KFloat2{-0.0f, 0.0f}); // equal to (0, 0)
    return p;
}

KFloat2Array nonFiniteMixedIn() {
    KFloat2Array p = uniform(100, 7);
    p.insert(p.begin() + 3, KFloat2{kNaN, 0.0f});
    p.insert(p.begin() + 10, KFloat2{0.5f, kInf});
    p.push_back(KFloat2{-kInf, -kInf});
    return p;
}

struct Case {
    const char* name;
    KFloat2Array points;
    bool bruteForce;
};

const Case kCases[] = {
    {"uniform", uniform(3000, 1), false},
    {"uniformSmall", uniform(200, 2), true},
    {"clustered", clustered(), false},
    {"grid", grid(16, 1.0f), true},
    {"gridFractional", grid(30, 0.1f, 1000.3f), false},
    {"gridWithDuplicatesShuffled", gridWithDuplicatesShuffled(), true},
    {"smallLatticeManyRepeats", lattice(1500, 8, 12), true}, // every degeneracy at once
    {"collinearRunsPlusPoints",
     line(60, 0.125f, 0) + line(60, 0, 0.25f) + line(60, 0.1f, 0.1f) + KFloat2Array{{3, 1}}, true},
    {"lineThenOnePoint", line(50, 1, 2) + KFloat2Array{{10, -3}}, true},
    {"nearlyCocircular", nearlyCocircular(), false},
    {"hugeAndTiny", uniform(80, 5, 1e30f) + uniform(80, 6, 1e-30f), true},
    // Near the largest float, and subnormals (many of them repeat).
    {"floatRangeEnds", uniform(40, 9, 3.4e38f) + uniform(60, 10, 1e-44f) + KFloat2Array{{3.4e38f, -3.4e38f}},
     true},
    {"nonFiniteMixedIn", nonFiniteMixedIn(), true},
    {"oneTriangle", KFloat2Array{{0, 0}, {1, 0}, {0, 1}}, true},
    {"allCollinearWithDuplicates", line(17, 1, 3) + line(23, 1, 3), false},
    {"twoPoints", KFloat2Array{{0, 0}, {1, 1}}, false},
    {"empty", KFloat2Array(), false},
    {"allSame", KFloat2Array(10, KFloat2{2, 3}), false},
    {"threeWithNaN", KFloat2Array{{0, 0}, {1, 0}, {kNaN, 1}}, false},
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class Triangulations : public ::testing::TestWithParam<Case> {};

TEST_P(Triangulations, AreDelaunayTilingsOfTheHull) {
    checkTriangulation(GetParam().points, GetParam().bruteForce);
}

INSTANTIATE_TEST_SUITE_P(Inputs, Triangulations, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) {
                             return std::string(info.param.name);
                         });

// The predicates on inputs built to be degenerate or within a few ulps of it, where rounding
// decides the sign: exactly collinear lattice triples and exactly co-circular lattice points
// (radius 65 has many), far from the origin, then nudged by -2..2 ulps.
TEST(KDelaunayPredicates, MatchExactRationalsAtAndNearDegeneracy) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> small(-40, 40), ulps(-2, 2), offset(-64000, 64000);
    auto nudge = [&](float v) {
        for (int k = ulps(rng); k != 0; k += (k > 0 ? -1 : 1))
            v = std::nextafter(v, k > 0 ? 1e9f : -1e9f);
        return v;
    };
    std::vector<std::pair<int, int>> circle;
    for (int x = -65; x <= 65; ++x)
        for (int y = -65; y <= 65; ++y)
            if (x * x + y * y == 65 * 65)
                circle.emplace_back(x, y);
    ASSERT_GE(circle.size(), 16u);
    std::uniform_int_distribution<std::size_t> pick(0, circle.size() - 1);
    int zeroTurns = 0, zeroCircles = 0;
    for (int i = 0; i < 20000; ++i) {
        const float ox = offset(rng) / 64.0f, oy = offset(rng) / 64.0f;
        const int dx = small(rng), dy = small(rng), t = small(rng) % 4;
        const KFloat2 a{ox, oy}, b{ox + dx / 64.0f, oy + dy / 64.0f};
        const KFloat2 c{nudge(ox + t * dx / 64.0f), nudge(oy + t * dy / 64.0f)};
        const int exact = sgn(orientQ(a, b, c));
        zeroTurns += exact == 0;
        ASSERT_EQ(P::orient(a.x, a.y, b.x, b.y, c.x, c.y), exact) << i;
        float q[8];
        for (int j = 0; j < 4; ++j) {
            const std::pair<int, int> c4 = circle[pick(rng)];
            q[2 * j] = ox + c4.first / 64.0f;
            q[2 * j + 1] = oy + c4.second / 64.0f;
        }
        q[6] = nudge(q[6]);
        q[7] = nudge(q[7]);
        const int exactCircle = inCircleQ(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]);
        zeroCircles += exactCircle == 0;
        ASSERT_EQ(P::inCircle(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]), exactCircle) << i;
    }
    EXPECT_GT(zeroTurns, 500) << "the sample should hold exactly collinear triples";
    EXPECT_GT(zeroCircles, 1000) << "the sample should hold exactly co-circular quadruples";
    // In double precision, where plain evaluation gets signs wrong: points within a few ulps of
    // (0.5, 0.5) against the line y = x, and double points on the unit circle.
    const double u = std::ldexp(1.0, -53);
    std::uniform_real_distribution<double> angle(0.0, 6.283185307179586);
    int wrongIfPlain = 0;
    for (int i = 0; i < 64; ++i)
        for (int j = 0; j < 64; ++j) {
            const double px = 0.5 + i * u, py = 0.5 + j * u;
            const mpq_class exact =
                (mpq_class(px) - 24) * (mpq_class(12) - 24) - (mpq_class(py) - 24) * (mpq_class(12) - 24);
            ASSERT_EQ(P::orient(px, py, 12, 12, 24, 24), sgn(exact)) << i << " " << j;
            const double plain = (px - 24) * (12 - 24) - (py - 24) * (12 - 24);
            wrongIfPlain += (plain > 0) - (plain < 0) != sgn(exact);
        }
    for (int i = 0; i < 5000; ++i) {
        double q[8];
        for (int j = 0; j < 4; ++j) {
            const double t = angle(rng);
            q[2 * j] = 1e3 + std::cos(t);
            q[2 * j + 1] = 1e3 + std::sin(t);
        }
        const int exact = inCircleQ(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]);
        ASSERT_EQ(P::inCircle(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]), exact) << i;
    }
    EXPECT_GT(wrongIfPlain, 100) << "the double cases should defeat plain evaluation";
    EXPECT_EQ(P::inCircle(0, 0, 1, 0, 1, 1, 0.5, 0.5), 1);
    EXPECT_EQ(P::inCircle(0, 0, 1, 1, 1, 0, 0.5, 0.5), -1); // clockwise: sign reversed
}

} // namespace
