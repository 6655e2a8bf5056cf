#include "KDelaunay2D.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(_MSC_VER)
#define KELNO_NOINLINE __declspec(noinline)
#else
#define KELNO_NOINLINE __attribute__((noinline))
#endif

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// Exact arithmetic on expansions: a value held as a sum of doubles of increasing magnitude that
// do not overlap, so its sign is the sign of its last (largest) component. The sums and
// products below are error-free transformations; they need round-to-nearest-even and no
// overflow or underflow.
// ---------------------------------------------------------------------------------------------
namespace {

inline void twoSum(double a, double b, double& x, double& y) {
    x = a + b;
    const double bv = x - a;
    const double av = x - bv;
    y = (a - av) + (b - bv);
}

inline void fastTwoSum(double a, double b, double& x, double& y) { // needs |a| >= |b|
    x = a + b;
    y = b - (x - a);
}

inline void twoDiff(double a, double b, double& x, double& y) {
    x = a - b;
    const double bv = a - x;
    const double av = x + bv;
    y = (a - av) + (bv - b);
}

inline void twoProduct(double a, double b, double& x, double& y) {
    x = a * b;
    y = std::fma(a, b, -x);
}

// h = e + b; h may not alias e. Returns the length of h (zero components dropped).
int growExpansion(int elen, const double* e, double b, double* h) {
    int hn = 0;
    double q = b;
    for (int i = 0; i < elen; ++i) {
        double sum, err;
        twoSum(q, e[i], sum, err);
        q = sum;
        if (err != 0.0)
            h[hn++] = err;
    }
    if (q != 0.0 || hn == 0)
        h[hn++] = q;
    return hn;
}

// h = e + f by growing e with each component of f. `tmp` has room for elen + flen values.
int sumExpansion(int elen, const double* e, int flen, const double* f, double* h, double* tmp) {
    int n = elen;
    if (h != e)
        std::memmove(h, e, sizeof(double) * static_cast<std::size_t>(elen));
    for (int i = 0; i < flen; ++i) {
        n = growExpansion(n, h, f[i], tmp);
        std::memcpy(h, tmp, sizeof(double) * static_cast<std::size_t>(n));
    }
    return n;
}

// h = e * b; h has room for 2 * elen values.
int scaleExpansion(int elen, const double* e, double b, double* h) {
    int hn = 0;
    double q, err;
    twoProduct(e[0], b, q, err);
    if (err != 0.0)
        h[hn++] = err;
    for (int i = 1; i < elen; ++i) {
        double p1, p0, sum;
        twoProduct(e[i], b, p1, p0);
        twoSum(q, p0, sum, err);
        if (err != 0.0)
            h[hn++] = err;
        fastTwoSum(p1, sum, q, err);
        if (err != 0.0)
            h[hn++] = err;
    }
    if (q != 0.0 || hn == 0)
        h[hn++] = q;
    return hn;
}

// A small expansion of fixed capacity.
template <int N> struct Exp {
    double c[N];
    int n = 0;
    int sign() const { return c[n - 1] > 0.0 ? 1 : (c[n - 1] < 0.0 ? -1 : 0); }
};

// The exact difference a - b as an expansion of one or two components.
Exp<2> diff(double a, double b) {
    Exp<2> r;
    double x, y;
    twoDiff(a, b, x, y);
    if (y != 0.0)
        r.c[r.n++] = y;
    r.c[r.n++] = x;
    return r;
}

template <int A, int B> Exp<A * B * 2> mul(const Exp<A>& e, const Exp<B>& f) {
    Exp<A * B * 2> r;
    double part[A * 2];
    double tmp[A * B * 2];
    r.n = scaleExpansion(e.n, e.c, f.c[0], r.c);
    for (int i = 1; i < f.n; ++i) {
        const int pn = scaleExpansion(e.n, e.c, f.c[i], part);
        r.n = sumExpansion(r.n, r.c, pn, part, r.c, tmp);
    }
    return r;
}

template <int A, int B> Exp<A + B> add(const Exp<A>& e, const Exp<B>& f) {
    Exp<A + B> r;
    double tmp[A + B];
    r.n = sumExpansion(e.n, e.c, f.n, f.c, r.c, tmp);
    return r;
}

template <int A> Exp<A> neg(Exp<A> e) {
    for (int i = 0; i < e.n; ++i)
        e.c[i] = -e.c[i];
    return e;
}

inline int signOf(double v) { return v > 0.0 ? 1 : (v < 0.0 ? -1 : 0); }

const double kEps = 1.1102230246251565e-16; // 2^-53, half an ulp of 1
// Relative error bounds of the floating-point evaluations below (forward error analysis of the
// exact formulas as written).
const double kOrientBound = (3.0 + 16.0 * kEps) * kEps;
const double kInCircleBound = (10.0 + 96.0 * kEps) * kEps;

inline int trailingZeros(std::uint64_t v) { // v != 0
#if defined(__GNUC__) || defined(__clang__)
    return __builtin_ctzll(v);
#else
    int n = 0;
    while ((v & 1u) == 0) {
        v >>= 1;
        ++n;
    }
    return n;
#endif
}

// The differences a[i] - b[i] as small integers: when every difference is exact in double
// precision and all of them are whole multiples of one power of two 2^e with magnitudes below
// 2^(e + bits), writes them divided by 2^e (a positive common factor, which keeps the sign of
// any homogeneous determinant) and returns true. Nearby points given in single precision, the
// usual case of a degenerate test, always qualify.
bool scaledDifferences(const double* a, const double* b, int n, int bits, double* out) {
    int low = 1 << 20, high = -(1 << 20);
    for (int i = 0; i < n; ++i) {
        double tail;
        twoDiff(a[i], b[i], out[i], tail);
        if (tail != 0.0)
            return false;
        if (out[i] == 0.0)
            continue;
        std::uint64_t word;
        std::memcpy(&word, &out[i], sizeof word);
        const int biased = static_cast<int>((word >> 52) & 0x7FFu);
        if (biased == 0)
            return false; // subnormal: not worth a special case
        std::uint64_t mantissa = (word & ((1ull << 52) - 1)) | (1ull << 52);
        const int zeros = trailingZeros(mantissa);
        low = std::min(low, biased - 1075 + zeros); // lowest set bit
        high = std::max(high, biased - 1022);       // |value| < 2^high
    }
    if (high - low > bits)
        return false;
    if (low < -1000 || low > 1000) {
        for (int i = 0; i < n; ++i)
            out[i] = std::ldexp(out[i], -low);
        return true;
    }
    const std::uint64_t scaleWord = static_cast<std::uint64_t>(1023 - low) << 52; // 2^-low
    double scale;
    std::memcpy(&scale, &scaleWord, sizeof scale);
    for (int i = 0; i < n; ++i)
        out[i] *= scale;
    return true;
}

KELNO_NOINLINE int orientExact(double ax, double ay, double bx, double by, double cx, double cy) {
    // Integers below 2^26: both products and their difference are exact.
    const double from[4] = {ax, by, ay, bx}, to[4] = {cx, cy, cy, cx};
    double d[4];
    if (scaledDifferences(from, to, 4, 26, d))
        return signOf(d[0] * d[1] - d[2] * d[3]);
    const Exp<2> acx = diff(ax, cx), bcy = diff(by, cy), acy = diff(ay, cy), bcx = diff(bx, cx);
    return add(mul(acx, bcy), neg(mul(acy, bcx))).sign();
}

KELNO_NOINLINE int inCircleExact(double ax, double ay, double bx, double by, double cx, double cy, double dx,
                                 double dy) {
    // Integers below 2^25: the lifts and the 2 x 2 minors are exact (below 2^51), so only the
    // three final products need splitting.
    const double from[6] = {ax, ay, bx, by, cx, cy}, to[6] = {dx, dy, dx, dy, dx, dy};
    double d[6];
    if (scaledDifferences(from, to, 6, 25, d)) {
        const double alift = d[0] * d[0] + d[1] * d[1];
        const double blift = d[2] * d[2] + d[3] * d[3];
        const double clift = d[4] * d[4] + d[5] * d[5];
        const double bc = d[2] * d[5] - d[3] * d[4];
        const double ca = d[4] * d[1] - d[5] * d[0];
        const double ab = d[0] * d[3] - d[1] * d[2];
#if defined(__SIZEOF_INT128__)
        // Integers below 2^51 (exact as int64); their products and the sum fit in 128 bits.
        __extension__ typedef __int128 Wide;
        const Wide det = static_cast<Wide>(static_cast<std::int64_t>(alift)) * static_cast<std::int64_t>(bc) +
                         static_cast<Wide>(static_cast<std::int64_t>(blift)) * static_cast<std::int64_t>(ca) +
                         static_cast<Wide>(static_cast<std::int64_t>(clift)) * static_cast<std::int64_t>(ab);
        return det > 0 ? 1 : (det < 0 ? -1 : 0);
#else
        double terms[6], sum[6], tmp[6];
        twoProduct(alift, bc, terms[1], terms[0]);
        twoProduct(blift, ca, terms[3], terms[2]);
        twoProduct(clift, ab, terms[5], terms[4]);
        int n = terms[0] != 0.0 ? 2 : 1;
        sum[0] = terms[0] != 0.0 ? terms[0] : terms[1];
        sum[1] = terms[1];
        for (int i = 2; i < 6; ++i) {
            n = growExpansion(n, sum, terms[i], tmp);
            std::memcpy(sum, tmp, sizeof(double) * static_cast<std::size_t>(n));
        }
        return signOf(sum[n - 1]);
#endif
    }
    const Exp<2> adx = diff(ax, dx), ady = diff(ay, dy);
    const Exp<2> bdx = diff(bx, dx), bdy = diff(by, dy);
    const Exp<2> cdx = diff(cx, dx), cdy = diff(cy, dy);
    const Exp<16> alift = add(mul(adx, adx), mul(ady, ady));
    const Exp<16> blift = add(mul(bdx, bdx), mul(bdy, bdy));
    const Exp<16> clift = add(mul(cdx, cdx), mul(cdy, cdy));
    const Exp<16> bc = add(mul(bdx, cdy), neg(mul(bdy, cdx)));
    const Exp<16> ca = add(mul(cdx, ady), neg(mul(cdy, adx)));
    const Exp<16> ab = add(mul(adx, bdy), neg(mul(ady, bdx)));
    return add(add(mul(alift, bc), mul(blift, ca)), mul(clift, ab)).sign();
}

inline int orientFast(double ax, double ay, double bx, double by, double cx, double cy) {
    const double l = (ax - cx) * (by - cy);
    const double r = (ay - cy) * (bx - cx);
    const double det = l - r;
    const double bound = kOrientBound * (std::fabs(l) + std::fabs(r));
    if (det > bound || -det > bound)
        return det > 0.0 ? 1 : -1;
    if ((l > 0.0 && r <= 0.0) || (l < 0.0 && r >= 0.0) || (l == 0.0 && r == 0.0))
        return signOf(det); // the two products have no cancellation: the rounded sign is right
    return orientExact(ax, ay, bx, by, cx, cy);
}

inline int inCircleFast(double ax, double ay, double bx, double by, double cx, double cy, double dx,
                        double dy) {
    const double adx = ax - dx, ady = ay - dy;
    const double bdx = bx - dx, bdy = by - dy;
    const double cdx = cx - dx, cdy = cy - dy;
    const double bdxcdy = bdx * cdy, cdxbdy = cdx * bdy;
    const double cdxady = cdx * ady, adxcdy = adx * cdy;
    const double adxbdy = adx * bdy, bdxady = bdx * ady;
    const double alift = adx * adx + ady * ady;
    const double blift = bdx * bdx + bdy * bdy;
    const double clift = cdx * cdx + cdy * cdy;
    const double det = alift * (bdxcdy - cdxbdy) + blift * (cdxady - adxcdy) + clift * (adxbdy - bdxady);
    const double permanent = (std::fabs(bdxcdy) + std::fabs(cdxbdy)) * alift +
                             (std::fabs(cdxady) + std::fabs(adxcdy)) * blift +
                             (std::fabs(adxbdy) + std::fabs(bdxady)) * clift;
    const double bound = kInCircleBound * permanent;
    if (det > bound || -det > bound)
        return det > 0.0 ? 1 : -1;
    return inCircleExact(ax, ay, bx, by, cx, cy, dx, dy);
}

} // namespace

namespace KDelaunayPredicates {
int orient(double ax, double ay, double bx, double by, double cx, double cy) {
    return orientFast(ax, ay, bx, by, cx, cy);
}
int inCircle(double ax, double ay, double bx, double by, double cx, double cy, double dx, double dy) {
    return inCircleFast(ax, ay, bx, by, cx, cy, dx, dy);
}
} // namespace KDelaunayPredicates

// ---------------------------------------------------------------------------------------------
// Insertion order
// ---------------------------------------------------------------------------------------------
namespace {

struct Rng { // splitmix64: deterministic, so equal inputs give equal triangulations
    std::uint64_t s;
    std::uint64_t next() {
        std::uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
};

// Position of cell (x, y) along the Hilbert curve over a 65536 x 65536 grid, two levels at a
// time through a table. The curve's state at a level is one of four transforms of the cell
// bits (swap the axes, mirror both); flips and swaps commute, so two bits hold it.
struct HilbertTable {
    unsigned char step[64]; // [state:2][x bits:2][y bits:2] -> digits:4 | next state << 4
    HilbertTable() {
        for (int state = 0; state < 4; ++state)
            for (int xb = 0; xb < 4; ++xb)
                for (int yb = 0; yb < 4; ++yb) {
                    int swap = state & 1, flip = state >> 1, digits = 0;
                    for (int level = 1; level >= 0; --level) {
                        int bx = ((xb >> level) & 1) ^ flip;
                        int by = ((yb >> level) & 1) ^ flip;
                        const int rx = swap ? by : bx;
                        const int ry = swap ? bx : by;
                        digits = (digits << 2) | ((3 * rx) ^ ry);
                        if (ry == 0) {
                            flip ^= rx;
                            swap ^= 1;
                        }
                    }
                    step[(state << 4) | (xb << 2) | yb] =
                        static_cast<unsigned char>(digits | ((swap | (flip << 1)) << 4));
                }
    }
};

std::uint32_t hilbertIndex(const HilbertTable& table, std::uint32_t x, std::uint32_t y) {
    std::uint32_t d = 0, state = 0;
    for (int shift = 14; shift >= 0; shift -= 2) {
        const unsigned e = table.step[(state << 4) | (((x >> shift) & 3u) << 2) | ((y >> shift) & 3u)];
        d = (d << 4) | (e & 15u);
        state = e >> 4;
    }
    return d;
}

// Stable LSD radix sort of [lo, hi) by the upper 32 bits (round and curve position).
void sortByKey(std::uint64_t* lo, std::uint64_t* hi, std::vector<std::uint64_t>& tmp) {
    const std::size_t n = static_cast<std::size_t>(hi - lo);
    if (n < 256) {
        std::stable_sort(lo, hi, [](std::uint64_t a, std::uint64_t b) { return (a >> 32) < (b >> 32); });
        return;
    }
    tmp.resize(std::max(tmp.size(), n));
    std::uint64_t* src = lo;
    std::uint64_t* dst = tmp.data();
    for (int pass = 0; pass < 4; ++pass) {
        const int shift = 32 + 8 * pass;
        std::size_t count[257] = {0};
        for (std::size_t i = 0; i < n; ++i)
            ++count[((src[i] >> shift) & 0xFFu) + 1];
        for (int b = 0; b < 256; ++b)
            count[b + 1] += count[b];
        for (std::size_t i = 0; i < n; ++i)
            dst[count[(src[i] >> shift) & 0xFFu]++] = src[i];
        std::swap(src, dst);
    }
    // four passes: the result is back in [lo, hi)
}

// ---------------------------------------------------------------------------------------------
// Triangulation with a vertex at infinity (vertex 0). A triangle holding vertex 0 is a ghost:
// its two finite corners form a hull edge, and its "circumcircle" is the open half-plane beyond
// that edge plus the open edge itself.
// ---------------------------------------------------------------------------------------------

struct Pt {
    double x, y;
};

struct Tri {
    int v[3]; // corners, counter-clockwise; 0 is the vertex at infinity
    int n[3]; // n[k]: the triangle across the edge v[k] -> v[k+1]
    int mark; // the vertex whose cavity last took this triangle in
    int pad;
};

const int kNext[3] = {1, 2, 0};

struct Boundary {
    int a, b, outside, outsideEdge;
};

class Triangulator {
  public:
    std::vector<Pt> pts;     // index 0 unused (the vertex at infinity)
    std::vector<int> source; // input index of each vertex
    std::vector<Tri> tris;
    std::vector<int> startTri;
    std::vector<int> cavity, stack;
    std::vector<Boundary> boundary;
    int walkStart = 0;
    int duplicates = 0;
    Rng rng{0x2545F4914F6CDD1Dull};
    std::uint32_t walkBits = 0x9E3779B9u; // xorshift state: the first edge tried on each step

    bool isGhost(const Tri& t) const { return t.v[0] == 0 || t.v[1] == 0 || t.v[2] == 0; }

    int orientV(int a, int b, const Pt& p) const {
        return orientFast(pts[a].x, pts[a].y, pts[b].x, pts[b].y, p.x, p.y);
    }

    // p inside the circumcircle (or, for a ghost, the half-plane and open hull edge).
    bool conflicts(const Tri& t, const Pt& p) const {
        int g = -1;
        if (t.v[0] == 0)
            g = 0;
        else if (t.v[1] == 0)
            g = 1;
        else if (t.v[2] == 0)
            g = 2;
        if (g < 0) {
            const Pt& a = pts[t.v[0]];
            const Pt& b = pts[t.v[1]];
            const Pt& c = pts[t.v[2]];
            return inCircleFast(a.x, a.y, b.x, b.y, c.x, c.y, p.x, p.y) > 0;
        }
        const Pt& u = pts[t.v[kNext[g]]];
        const Pt& w = pts[t.v[kNext[kNext[g]]]];
        const int o = orientFast(u.x, u.y, w.x, w.y, p.x, p.y);
        if (o != 0)
            return o > 0;
        if (u.x != w.x)
            return (p.x > u.x && p.x < w.x) || (p.x < u.x && p.x > w.x);
        return (p.y > u.y && p.y < w.y) || (p.y < u.y && p.y > w.y);
    }

    int newTri() {
        tris.push_back(Tri{{0, 0, 0}, {0, 0, 0}, -1, 0});
        return static_cast<int>(tris.size()) - 1;
    }

    // First triangle (a, b, c) counter-clockwise and its three ghosts.
    void start(int a, int b, int c) {
        const int t = newTri(), gab = newTri(), gbc = newTri(), gca = newTri();
        tris[t] = Tri{{a, b, c}, {gab, gbc, gca}, -1, 0};
        tris[gab] = Tri{{b, a, 0}, {t, gca, gbc}, -1, 0};
        tris[gbc] = Tri{{c, b, 0}, {t, gab, gca}, -1, 0};
        tris[gca] = Tri{{a, c, 0}, {t, gbc, gab}, -1, 0};
        walkStart = t;
    }

    // A triangle whose (generalised) circumcircle holds p, or -1 when p is an existing vertex.
    int locate(const Pt& p, int& vertexHit) {
        int t = walkStart;
        int prev = -1;
        for (;;) {
            const Tri& T = tris[static_cast<std::size_t>(t)];
            walkBits ^= walkBits << 13;
            walkBits ^= walkBits >> 17;
            walkBits ^= walkBits << 5;
            int k = static_cast<int>((static_cast<std::uint64_t>(walkBits) * 3u) >> 32);
            int next = -1;
            for (int i = 0; i < 3; ++i) {
                const int nb = T.n[k];
                if (nb != prev && orientV(T.v[k], T.v[kNext[k]], p) < 0) {
                    next = nb;
                    break;
                }
                k = kNext[k];
            }
            if (next < 0)
                break;
            prev = t;
            t = next;
            if (isGhost(tris[static_cast<std::size_t>(t)]))
                return t;
        }
        const Tri& T = tris[static_cast<std::size_t>(t)];
        for (int k = 0; k < 3; ++k) {
            const Pt& q = pts[T.v[k]];
            if (q.x == p.x && q.y == p.y) {
                vertexHit = T.v[k];
                return -1;
            }
        }
        return t;
    }

    void insert(int v) {
        const Pt p = pts[v];
        int hit = 0;
        const int seed = locate(p, hit);
        if (seed < 0) {
            source[hit] = std::min(source[hit], source[v]);
            source[v] = -1;
            ++duplicates;
            return;
        }
        cavity.clear();
        stack.clear();
        boundary.clear();
        tris[seed].mark = v;
        cavity.push_back(seed);
        stack.push_back(seed);
        while (!stack.empty()) {
            const int t = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; ++k) {
                const int nb = tris[t].n[k];
                if (tris[nb].mark == v)
                    continue;
                if (conflicts(tris[nb], p)) {
                    tris[nb].mark = v;
                    cavity.push_back(nb);
                    stack.push_back(nb);
                } else {
                    const Tri& N = tris[nb];
                    const int j = N.n[0] == t ? 0 : (N.n[1] == t ? 1 : 2);
                    boundary.push_back(Boundary{tris[t].v[k], tris[t].v[kNext[k]], nb, j});
                }
            }
        }
        // The cavity is a disk whose corners all lie on its boundary: a fan around p over the m
        // boundary edges takes the m - 2 freed slots and two new ones.
        const std::size_t m = boundary.size();
        for (std::size_t i = 0; i < m; ++i) {
            const Boundary& e = boundary[i];
            const int s = i < cavity.size() ? cavity[i] : newTri();
            Tri& T = tris[s];
            T.v[0] = e.a;
            T.v[1] = e.b;
            T.v[2] = v;
            T.n[0] = e.outside;
            tris[e.outside].n[e.outsideEdge] = s;
            startTri[e.a] = s;
            if (e.a != 0 && e.b != 0)
                walkStart = s;
        }
        for (std::size_t i = 0; i < m; ++i) {
            const int s = i < cavity.size() ? cavity[i] : static_cast<int>(tris.size() - (m - i));
            const int after = startTri[tris[s].v[1]];
            tris[s].n[1] = after;
            tris[after].n[2] = s;
        }
    }
};

} // namespace

KDelaunay2D::KDelaunay2D(KFloat2Array& points, int& triangleCount, KIntArray& triangleVertices,
                         KIntArray& second) {
    triangleCount = 0;
    triangleVertices.clear();
    second.clear();

    const int n = points.length();
    std::vector<int> finite;
    finite.reserve(static_cast<std::size_t>(std::max(n, 0)));
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    for (int i = 0; i < n; ++i) {
        const KFloat2& p = points[static_cast<std::size_t>(i)];
        if (!std::isfinite(p.x) || !std::isfinite(p.y))
            continue;
        if (finite.empty()) {
            minX = maxX = p.x;
            minY = maxY = p.y;
        } else {
            minX = std::min(minX, static_cast<double>(p.x));
            maxX = std::max(maxX, static_cast<double>(p.x));
            minY = std::min(minY, static_cast<double>(p.y));
            maxY = std::max(maxY, static_cast<double>(p.y));
        }
        finite.push_back(i);
    }
    _nonFinite = n - static_cast<int>(finite.size());
    const int m = static_cast<int>(finite.size());
    if (m < 3)
        return;

    // Biased randomised insertion order: every point draws a round, the last with probability
    // 3/4, the one before with 3/16 and so on (at most 16 rounds), so that each round is a random
    // sample about four times the size of the rounds before it; within a round the points follow
    // the Hilbert curve over a square grid on the bounding box. One sort on (round, curve
    // position) gives the order.
    const double extent = std::max(maxX - minX, maxY - minY);
    const double scale = extent > 0.0 ? 65535.0 / extent : 0.0;
    std::vector<std::uint64_t> order(static_cast<std::size_t>(m));
    static const HilbertTable table;
    Triangulator tr;
    for (int i = 0; i < m; ++i) {
        const int src = finite[static_cast<std::size_t>(i)];
        const KFloat2& p = points[static_cast<std::size_t>(src)];
        const std::uint32_t qx = static_cast<std::uint32_t>(std::min(65535.0, (p.x - minX) * scale));
        const std::uint32_t qy = static_cast<std::uint32_t>(std::min(65535.0, (p.y - minY) * scale));
        std::uint64_t bits = tr.rng.next() | (1ull << 30);
        int level = 0;
        while ((bits & 3u) == 0) {
            bits >>= 2;
            ++level;
        }
        const std::uint32_t key =
            (static_cast<std::uint32_t>(15 - level) << 28) | (hilbertIndex(table, qx, qy) >> 4);
        order[static_cast<std::size_t>(i)] =
            (static_cast<std::uint64_t>(key) << 32) | static_cast<std::uint32_t>(src);
    }
    std::vector<int>().swap(finite);
    {
        std::vector<std::uint64_t> tmp;
        sortByKey(order.data(), order.data() + m, tmp);
    }

    tr.pts.resize(static_cast<std::size_t>(m) + 1);
    tr.source.resize(static_cast<std::size_t>(m) + 1);
    tr.pts[0] = Pt{0.0, 0.0};
    tr.source[0] = -1;
    for (int i = 0; i < m; ++i) {
        const int src = static_cast<int>(order[static_cast<std::size_t>(i)] & 0xFFFFFFFFu);
        const KFloat2& p = points[static_cast<std::size_t>(src)];
        tr.pts[static_cast<std::size_t>(i) + 1] = Pt{p.x, p.y};
        tr.source[static_cast<std::size_t>(i) + 1] = src;
    }
    std::vector<std::uint64_t>().swap(order);

    // The first triangle: vertex 1, the first vertex after it at another place, and the first
    // after that off their line. Whatever was skipped is inserted with the rest.
    const Pt& p1 = tr.pts[1];
    int second_ = 0;
    for (int i = 2; i <= m && second_ == 0; ++i) {
        if (tr.pts[static_cast<std::size_t>(i)].x != p1.x || tr.pts[static_cast<std::size_t>(i)].y != p1.y)
            second_ = i;
    }
    if (second_ == 0)
        return;
    int third = 0, side = 0;
    for (int i = second_ + 1; i <= m && third == 0; ++i) {
        side = tr.orientV(1, second_, tr.pts[static_cast<std::size_t>(i)]);
        if (side != 0)
            third = i;
    }
    if (third == 0)
        return; // all on one line

    const std::size_t expected = 2 * static_cast<std::size_t>(m) + 8;
    tr.tris.reserve(expected);
    tr.startTri.assign(static_cast<std::size_t>(m) + 1, 0);
    if (side > 0)
        tr.start(1, second_, third);
    else
        tr.start(second_, 1, third);
    for (int v = 2; v <= m; ++v) {
        if (v != second_ && v != third)
            tr.insert(v);
    }

    // Finite triangles, numbered in slot order.
    std::vector<int> outIndex(tr.tris.size(), -1);
    int count = 0;
    for (std::size_t t = 0; t < tr.tris.size(); ++t) {
        if (!tr.isGhost(tr.tris[t]))
            outIndex[t] = count++;
    }
    triangleCount = count;
    triangleVertices.resize(3 * static_cast<std::size_t>(count));
    second.resize(3 * static_cast<std::size_t>(count));
    for (std::size_t t = 0; t < tr.tris.size(); ++t) {
        const int o = outIndex[t];
        if (o < 0)
            continue;
        const Tri& T = tr.tris[t];
        for (int k = 0; k < 3; ++k) {
            triangleVertices[3 * static_cast<std::size_t>(o) + static_cast<std::size_t>(k)] =
                tr.source[static_cast<std::size_t>(T.v[k])];
            second[3 * static_cast<std::size_t>(o) + static_cast<std::size_t>(k)] =
                outIndex[static_cast<std::size_t>(T.n[k])];
        }
    }
    _duplicates = tr.duplicates;
    _used = m - tr.duplicates;
}

} // namespace Kelno
