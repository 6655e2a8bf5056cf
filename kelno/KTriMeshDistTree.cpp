#include "KTriMeshDistTree.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include "tree/KTriMeshDistTreeData.h"

// Eight- and sixteen-lane walks for processors with AVX2 and AVX-512, chosen at run time, where
// the compiler offers AVX-512 intrinsics inside a target region and can test the processor for
// them: GCC 5 and later, and Clang 9 and later (Apple's 12), on x86. Older compilers (GCC 4.8,
// Xcode 7's Clang, which has no "#pragma clang attribute") and the Windows compilers build the
// four-lane walk only; -DKELNO_TREE_WIDE=0 does the same anywhere.
#ifndef KELNO_TREE_WIDE
#if defined(__clang__) && defined(_MSC_VER)
#define KELNO_TREE_WIDE_COMPILER 0 // clang-cl: no run-time processor test without compiler-rt
#elif defined(__clang__)
#if defined(__apple_build_version__)
#define KELNO_TREE_WIDE_COMPILER (__clang_major__ >= 12)
#else
#define KELNO_TREE_WIDE_COMPILER (__clang_major__ >= 9)
#endif
#elif defined(__GNUC__) && !defined(__INTEL_COMPILER)
#define KELNO_TREE_WIDE_COMPILER (__GNUC__ >= 5)
#else
#define KELNO_TREE_WIDE_COMPILER 0
#endif
#if KELNO_TREE_SSE && KELNO_TREE_WIDE_COMPILER && (defined(__x86_64__) || defined(__i386__))
#define KELNO_TREE_WIDE 1
#else
#define KELNO_TREE_WIDE 0
#endif
#endif
#if KELNO_TREE_WIDE
#include <immintrin.h>
#endif

namespace Kelno {

namespace TreeDetail {

namespace {

// Kept blocks at least this large are mapped on their own, aligned to it, and offered as huge
// pages.
const std::size_t kHugePage = std::size_t(2) << 20;
// Scratch blocks this large too: the C library maps blocks above 32 MB afresh on every request
// instead of reusing heap pages, and then small pages fault in at every build.
const std::size_t kLargeScratch = std::size_t(32) << 20;

#if defined(__linux__) && defined(MADV_HUGEPAGE)
bool mapped(std::size_t bytes, Memory kind) {
    return bytes >= (kind == Memory::Kept ? kHugePage : kLargeScratch);
}

// The length mapped for a block: whole small pages for a kept block (its tail beyond its last
// whole huge page stays in small pages), whole huge pages for scratch (freed soon).
std::size_t mappedLength(std::size_t bytes, Memory kind) {
    static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t unit = kind == Memory::Kept ? page : kHugePage;
    return (bytes + unit - 1) / unit * unit;
}
#endif

} // namespace

void* allocateLarge(std::size_t bytes, Memory kind) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (mapped(bytes, kind)) {
        // With the unaligned head and tail of the mapping given back.
        const std::size_t length = mappedLength(bytes, kind);
        void* raw =
            mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED)
            throw std::bad_alloc();
        const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw);
        const std::uintptr_t at = (start + kHugePage - 1) & ~std::uintptr_t(kHugePage - 1);
        if (at > start)
            munmap(raw, at - start);
        munmap(reinterpret_cast<void*>(at + length), start + kHugePage - at);
        // A hint, which the system may refuse.
        madvise(reinterpret_cast<void*>(at), length & ~(kHugePage - 1), MADV_HUGEPAGE);
        return reinterpret_cast<void*>(at);
    }
#else
    (void)kind;
#endif
    // From the heap, the start of the block kept just before the aligned pointer.
    void* raw = std::malloc(bytes + 64 + sizeof(void*));
    if (!raw)
        throw std::bad_alloc();
    const std::uintptr_t a =
        (reinterpret_cast<std::uintptr_t>(raw) + sizeof(void*) + 63) & ~std::uintptr_t(63);
    reinterpret_cast<void**>(a)[-1] = raw;
    return reinterpret_cast<void*>(a);
}

void freeLarge(void* p, std::size_t bytes, Memory kind) {
    if (!p)
        return;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (mapped(bytes, kind)) {
        munmap(p, mappedLength(bytes, kind));
        return;
    }
#else
    (void)bytes;
    (void)kind;
#endif
    std::free(static_cast<void**>(p)[-1]);
}

} // namespace TreeDetail

using namespace TreeDetail;

namespace {

// ---------------------------------------------------------------------------------------------
// Closest point on one triangle, in double precision.
//
// The triangle is taken as A = c2, B = c0, C = c1 so that closest = A + s (B - A) + t (C - A)
// gives the caller's weights directly (w0 = s, w1 = t). Float corners convert exactly and their
// differences are exact in double for all but wildly different magnitudes, so every product
// below carries only a few double roundings and no scale a float can hold under- or overflows.
//
// Triangles whose smallest angle has a sine above about 2^-10 use the classic region tests
// (in double their cancellation is harmless). Thinner ones take the nearest of the face point
// (when the projection of the query falls inside) and the three edge points. Each of these is
// a point of the triangle, so rounding can only make the answer a little too far, never too
// near; for a sliver the face and edge points differ by at most its width. That keeps the
// result exact to the precision of the data whatever the shape (thin, zero-area or tiny).
struct D3 {
    double x, y, z;
};
inline D3 operator-(D3 a, D3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline double dot(D3 a, D3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline D3 cross(D3 a, D3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double residual2(D3 ap, D3 ab, D3 ac, double s, double t) {
    const double x = (ap.x - s * ab.x) - t * ac.x;
    const double y = (ap.y - s * ab.y) - t * ac.y;
    const double z = (ap.z - s * ab.z) - t * ac.z;
    return x * x + y * y + z * z;
}
inline double clamp01(double u) { return u > 0.0 ? (u < 1.0 ? u : 1.0) : 0.0; }

struct TriangleAnswer {
    double s, t, d2;
};

// Well-conditioned triangles: the classic region tests, in double precision. Their products
// cancel by about 1 / sin^2 of the smallest angle, which for these leaves some 30 correct bits.
TriangleAnswer closestByRegions(D3 ap, D3 ab, D3 ac, double eab, double eac, double e01) {
    const double d1 = dot(ab, ap), d2 = dot(ac, ap);
    if (d1 <= 0.0 && d2 <= 0.0)
        return {0.0, 0.0, dot(ap, ap)};
    const double d3 = d1 - eab, d4 = d2 - e01; // AB . BP, AC . BP
    if (d3 >= 0.0 && d4 <= d3)
        return {1.0, 0.0, residual2(ap, ab, ac, 1.0, 0.0)};
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0) {
        const double s = d1 / (d1 - d3);
        return {s, 0.0, residual2(ap, ab, ac, s, 0.0)};
    }
    const double d5 = d1 - e01, d6 = d2 - eac; // AB . CP, AC . CP
    if (d6 >= 0.0 && d5 <= d6)
        return {0.0, 1.0, residual2(ap, ab, ac, 0.0, 1.0)};
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0) {
        const double t = d2 / (d2 - d6);
        return {0.0, t, residual2(ap, ab, ac, 0.0, t)};
    }
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0.0 && d4 - d3 >= 0.0 && d5 - d6 >= 0.0) {
        const double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
        return {1.0 - w, w, residual2(ap, ab, ac, 1.0 - w, w)};
    }
    const double inv = 1.0 / (va + vb + vc);
    const double s = vb * inv, t = vc * inv;
    return {s, t, residual2(ap, ab, ac, s, t)};
}

// `fat`: the caller knows the triangle is well conditioned (the float pass found it fat, with
// a threshold a thousand times stricter than the one here).
TriangleAnswer closestExact(D3 p, D3 b, D3 c, D3 a, bool fat) {
    const D3 ab = b - a, ac = c - a, ap = p - a, bc = c - b;
    const double eab = dot(ab, ab), eac = dot(ac, ac), e01 = dot(ab, ac);
    if (fat)
        return closestByRegions(ap, ab, ac, eab, eac, e01);
    const double ebc = dot(bc, bc);
    const double longest = std::max(std::max(eab, eac), ebc);
    // |AB x AC|^2 here carries an error of a few ulps of eab * eac, far below this threshold.
    const bool well = eab * eac - e01 * e01 > (1.0 / 1048576.0) * longest * longest;
    if (well)
        return closestByRegions(ap, ab, ac, eab, eac, e01);
    // A thin triangle: the face point when the projection falls inside, and the three edge
    // points; the nearest wins (face first, then AB, AC, BC on equal values). The face weights
    // of a sliver are uncertain by about eps / sin along it, the edges miss a face point by at
    // most its width, so the nearest of them is good to about sqrt(eps) of its size.
    TriangleAnswer best{0.0, 0.0, std::numeric_limits<double>::infinity()};
    const D3 n = cross(ab, ac);
    const double nn = dot(n, n);
    const double sn = dot(cross(ap, ac), n), tn = dot(cross(ab, ap), n); // weights of B, C times nn
    if (nn > 0.0 && sn >= 0.0 && tn >= 0.0 && sn + tn <= nn) {
        const double s = sn / nn, t = tn / nn;
        best = {s, t, residual2(ap, ab, ac, s, t)};
    }
    const double sAB = eab > 0.0 ? clamp01(dot(ap, ab) / eab) : 0.0;
    const double dAB = residual2(ap, ab, ac, sAB, 0.0);
    if (dAB < best.d2)
        best = {sAB, 0.0, dAB};
    const double tAC = eac > 0.0 ? clamp01(dot(ap, ac) / eac) : 0.0;
    const double dAC = residual2(ap, ab, ac, 0.0, tAC);
    if (dAC < best.d2)
        best = {0.0, tAC, dAC};
    const double w = ebc > 0.0 ? clamp01(dot(p - b, bc) / ebc) : 0.0;
    const double dBC = residual2(ap, ab, ac, 1.0 - w, w);
    if (dBC < best.d2)
        best = {1.0 - w, w, dBC};
    return best;
}

inline D3 cornerOf(const float (&c)[9][4], int corner, int lane) {
    return {c[3 * corner][lane], c[3 * corner + 1][lane], c[3 * corner + 2][lane]};
}

// ---------------------------------------------------------------------------------------------
// The float pass that bounds each triangle's distance (kelno/tree/KTriMeshDistTreeWalk.inl).

const float kTiny = std::numeric_limits<float>::min();
const float kInf = std::numeric_limits<float>::infinity();
const float kThin = 1.0f / 1024.0f;              // sin^2 of the smallest angle below this is thin
const float kLowMargin = 1.0f / 262144.0f;       // 2^-18, see the walk
const float kHighMargin = 1.0f / 65536.0f;       // 2^-16
const float kSmallest = 1.0f / 1099511627776.0f; // 2^-40: the longest squared edge at least this,
const float kLargest = 1125899906842624.0f;      // 2^50: that and the squared distance at most this

// ---------------------------------------------------------------------------------------------
// Pruning. A box (of a node or a triangle) is skipped when its float distance exceeds the
// upper bound on the best exact value: the squared float distance of a box is within five
// roundings (5 * 2^-24, relative) of the exact one, and the margin of 2^-18 covers that 13
// times over. Skipping keeps every triangle that could win or tie, so the answer never depends
// on the shape of the tree.
inline float pruneBound(float bound) { return bound + bound * (1.0f / 262144.0f) + kTiny; }

// Four keys in descending order (a sorting network; compiles to conditional moves).
inline void sortDescending(std::uint64_t (&k)[4]) {
    auto order = [](std::uint64_t& a, std::uint64_t& b) {
        const std::uint64_t hi = a > b ? a : b, lo = a > b ? b : a;
        a = hi;
        b = lo;
    };
    order(k[0], k[1]);
    order(k[2], k[3]);
    order(k[0], k[2]);
    order(k[1], k[3]);
    order(k[1], k[2]);
}

// Number of bits set in a four-bit mask (a table: the builtin is a library call on SSE2).
inline int popCount(int m) {
    static const signed char kBits[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
    return kBits[m & 15];
}

// A float at least x and barely above it (infinity beyond the float range).
inline float roundUp(double x) {
    const double up = x * (1.0 + 1.0 / 1048576.0);
    return up < static_cast<double>(std::numeric_limits<float>::max()) ? static_cast<float>(up) : kInf;
}

// ---------------------------------------------------------------------------------------------
// Build

// A triangle's box; lo[3] carries the triangle index, hi[3] is 0.
struct alignas(16) PrimRef {
    float lo[3];
    int id;
    float hi[3];
    float zero;
};

struct BuildNode {
    float lo[3], hi[3];
    int begin, count;
    int left, right; // -1 for a leaf
};

inline float halfArea(F4 lo, F4 hi) {
    alignas(16) float d[4];
    store(d, hi - lo);
    return d[0] * d[1] + d[1] * d[2] + d[2] * d[0];
}

// Box and centroid bounds of a range of prims (centroids are taken as lo + hi, twice the centre).
struct RangeBounds {
    F4 lo, hi, clo, chi;
};

inline F4 infinities(float sign) { return splat(sign * std::numeric_limits<float>::infinity()); }

inline RangeBounds emptyBounds() { return {infinities(1), infinities(-1), infinities(1), infinities(-1)}; }

inline F4 lowerThree() {
    alignas(16) static const std::uint32_t m[4] = {0xffffffffu, 0xffffffffu, 0xffffffffu, 0u};
    return load(reinterpret_cast<const float*>(m));
}

// The box of a prim with the index lane cleared (so no integer bits enter float arithmetic).
inline F4 primLo(const PrimRef& p, F4 mask) { return load(p.lo) & mask; }
inline F4 primHi(const PrimRef& p) { return load(p.hi); }

inline void grow(RangeBounds& b, F4 lo, F4 hi, F4 c) {
    b.lo = vmin(b.lo, lo);
    b.hi = vmax(b.hi, hi);
    b.clo = vmin(b.clo, c);
    b.chi = vmax(b.chi, c);
}

RangeBounds boundsOf(const PrimRef* prims, int begin, int count) {
    const F4 mask = lowerThree();
    RangeBounds b = emptyBounds();
    for (int i = begin; i < begin + count; ++i) {
        const F4 lo = primLo(prims[i], mask), hi = primHi(prims[i]);
        grow(b, lo, hi, lo + hi);
    }
    return b;
}

struct BinBox {
    F4 lo, hi;
};

// Truncates the four lanes to ints (the lanes are small and non-negative here).
inline void truncate(F4 f, int* out) {
#if KELNO_TREE_SSE
    _mm_store_si128(reinterpret_cast<__m128i*>(out), _mm_cvttps_epi32(f.v));
#else
    for (int i = 0; i < 4; ++i)
        out[i] = static_cast<int>(f.f[i]);
#endif
}

inline int blocksFor(int n) { return (n + 3) / 4; }

class Builder {
  public:
    Builder(PrimRef* prims, BuildNode* nodes, int maxLeaf, int bins)
        : m_prims(prims), m_nodes(nodes), m_maxLeaf(maxLeaf), m_bins(bins) {}

    // Builds the subtree of `index` over prims [begin, begin + count) whose bounds are given.
    // Node indices are a function of the ranges alone (a subtree over n prims uses at most
    // 2n - 1 slots), so the tree is the same whichever thread builds which part.
    void build(int index, int begin, int count, int depth, RangeBounds bounds) {
        BuildNode& node = m_nodes[index];
        alignas(16) float lo[4], hi[4];
        store(lo, bounds.lo);
        store(hi, bounds.hi);
        for (int a = 0; a < 3; ++a) {
            node.lo[a] = lo[a];
            node.hi[a] = hi[a];
        }
        node.begin = begin;
        node.count = count;
        node.left = node.right = -1;
        // One block is as cheap as a leaf gets, so up to four triangles are never split.
        if (count <= 1 || count <= std::min(m_maxLeaf, 4))
            return;

        int split = -1;
        RangeBounds left, right;
        if (depth < kSahDepth) {
            split = _sahSplit(begin, count, bounds, left, right);
            if (split == -2)
                return; // a leaf is cheaper
        }
        if (split < 0) {
            if (count <= m_maxLeaf)
                return;
            split = _medianSplit(begin, count, bounds);
            left = boundsOf(m_prims, begin, split - begin);
            right = boundsOf(m_prims, split, begin + count - split);
        }
        const int leftCount = split - begin;
        const int leftIndex = index + 1;
        const int rightIndex = index + 2 * leftCount;
        node.left = leftIndex;
        node.right = rightIndex;
        if (count > kTaskGrain) {
#pragma omp task firstprivate(leftIndex, begin, leftCount, depth, left)
            build(leftIndex, begin, leftCount, depth + 1, left);
        } else {
            build(leftIndex, begin, leftCount, depth + 1, left);
        }
        build(rightIndex, split, count - leftCount, depth + 1, right);
    }

  private:
    static const int kSahDepth = 40;
    static const int kTaskGrain = 4096;
    static const int kMaxBins = 64;

    // Returns the first prim of the right half (and the halves' bounds), -2 when a leaf is
    // cheaper than any split, or -1 when the centroids cannot be told apart.
    int _sahSplit(int begin, int count, const RangeBounds& bounds, RangeBounds& leftOut,
                  RangeBounds& rightOut) {
        const int nb = m_bins;
        alignas(16) float clo[4], chi[4], scale[4] = {0, 0, 0, 0};
        store(clo, bounds.clo);
        store(chi, bounds.chi);
        bool any = false;
        for (int a = 0; a < 3; ++a) {
            const float extent = chi[a] - clo[a];
            scale[a] = extent > 0.0f ? static_cast<float>(nb) * 0.99999f / extent : 0.0f;
            any = any || scale[a] > 0.0f;
        }
        if (!any)
            return -1;
        // Two interleaved sets of bins: neighbouring prims often fall into the same bin, and
        // one set would chain every update on the previous one through memory.
        BinBox bins[2][3][kMaxBins];
        int counts[2][3][kMaxBins];
        // Small ranges gain nothing from the second set.
        const int sets = count >= 64 ? 2 : 1;
        for (int set = 0; set < sets; ++set) {
            for (int a = 0; a < 3; ++a) {
                for (int b = 0; b < nb; ++b) {
                    bins[set][a][b] = BinBox{infinities(1), infinities(-1)};
                    counts[set][a][b] = 0;
                }
            }
        }
        const F4 mask = lowerThree(), base = load(clo), sc = load(scale);
        const F4 zero = splat(0.0f), top = splat(static_cast<float>(nb - 1));
        for (int i = begin; i < begin + count; ++i) {
            const PrimRef& p = m_prims[i];
            const int set = i & (sets - 1);
            const F4 lo = primLo(p, mask), hi = primHi(p);
            alignas(16) int f[4];
            truncate(vmin(vmax(((lo + hi) - base) * sc, zero), top), f);
            for (int a = 0; a < 3; ++a) {
                BinBox& bin = bins[set][a][f[a]];
                bin.lo = vmin(bin.lo, lo);
                bin.hi = vmax(bin.hi, hi);
                ++counts[set][a][f[a]];
            }
        }
        for (int a = 0; a < 3 && sets == 2; ++a) {
            for (int b = 0; b < nb; ++b) {
                bins[0][a][b].lo = vmin(bins[0][a][b].lo, bins[1][a][b].lo);
                bins[0][a][b].hi = vmax(bins[0][a][b].hi, bins[1][a][b].hi);
                counts[0][a][b] += counts[1][a][b];
            }
        }
        // Cost in units of one four-triangle block test; a node visit costs about the same.
        const float invArea = 1.0f / std::max(halfArea(bounds.lo, bounds.hi), 1e-30f);
        float bestCost = std::numeric_limits<float>::infinity();
        int bestAxis = -1, bestBin = -1;
        float rightArea[kMaxBins];
        int rightCount[kMaxBins];
        for (int a = 0; a < 3; ++a) {
            if (scale[a] == 0.0f)
                continue;
            F4 accLo = infinities(1), accHi = infinities(-1);
            int n = 0;
            for (int b = nb - 1; b > 0; --b) {
                accLo = vmin(accLo, bins[0][a][b].lo);
                accHi = vmax(accHi, bins[0][a][b].hi);
                n += counts[0][a][b];
                rightArea[b] = n ? halfArea(accLo, accHi) : 0.0f;
                rightCount[b] = n;
            }
            accLo = infinities(1);
            accHi = infinities(-1);
            n = 0;
            for (int b = 0; b + 1 < nb; ++b) {
                accLo = vmin(accLo, bins[0][a][b].lo);
                accHi = vmax(accHi, bins[0][a][b].hi);
                n += counts[0][a][b];
                if (n == 0 || rightCount[b + 1] == 0)
                    continue;
                const float cost =
                    1.0f + (halfArea(accLo, accHi) * static_cast<float>(blocksFor(n)) +
                            rightArea[b + 1] * static_cast<float>(blocksFor(rightCount[b + 1]))) *
                               invArea;
                if (cost < bestCost) {
                    bestCost = cost;
                    bestAxis = a;
                    bestBin = b;
                }
            }
        }
        if (bestAxis < 0)
            return -1;
        if (count <= m_maxLeaf && static_cast<float>(blocksFor(count)) <= bestCost)
            return -2;
        // The same arithmetic as the binning above, one axis at a time; the halves' bounds are
        // gathered on the way.
        const float lo = clo[bestAxis], s = scale[bestAxis], last = static_cast<float>(nb - 1);
        const int axis = bestAxis, cut = bestBin;
        RangeBounds l = emptyBounds(), r = emptyBounds();
        PrimRef* first = m_prims + begin;
        PrimRef* end = first + count;
        auto growInto = [&](RangeBounds& side, const PrimRef& p) {
            const F4 plo = primLo(p, mask), phi = primHi(p);
            grow(side, plo, phi, plo + phi);
        };
        for (;;) {
            while (first != end && _goesLeft(*first, axis, lo, s, last, cut))
                growInto(l, *first++);
            if (first == end)
                break;
            // *first belongs to the right: find a left one from the back to swap with.
            --end;
            while (first != end && !_goesLeft(*end, axis, lo, s, last, cut))
                growInto(r, *end--);
            if (first == end) {
                growInto(r, *first);
                break;
            }
            std::swap(*first, *end);
            growInto(l, *first++);
            growInto(r, *end);
        }
        leftOut = l;
        rightOut = r;
        const int mid = static_cast<int>(first - m_prims);
        // Both sides are non-empty by construction of the bins; a range that did not split is
        // halved instead, which keeps the node numbering inside its slots.
        return mid > begin && mid < begin + count ? mid : -1;
    }

    static bool _goesLeft(const PrimRef& p, int axis, float lo, float s, float last, int cut) {
        float f = ((p.lo[axis] + p.hi[axis]) - lo) * s;
        f = f > 0.0f ? f : 0.0f;
        f = f < last ? f : last;
        return static_cast<int>(f) <= cut;
    }

    // Halves the range along the widest centroid axis (ties broken by triangle index, so the
    // halves are fully determined).
    int _medianSplit(int begin, int count, const RangeBounds& bounds) {
        alignas(16) float clo[4], chi[4];
        store(clo, bounds.clo);
        store(chi, bounds.chi);
        int axis = 0;
        for (int a = 1; a < 3; ++a) {
            if (chi[a] - clo[a] > chi[axis] - clo[axis])
                axis = a;
        }
        PrimRef* first = m_prims + begin;
        std::nth_element(first, first + count / 2, first + count, [axis](const PrimRef& x, const PrimRef& y) {
            const float cx = x.lo[axis] + x.hi[axis], cy = y.lo[axis] + y.hi[axis];
            return cx < cy || (cx == cy && x.id < y.id);
        });
        return begin + count / 2;
    }

    PrimRef* m_prims;
    BuildNode* m_nodes;
    int m_maxLeaf;
    int m_bins;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// The built tree

namespace {

// Turns the binary build tree into four-wide nodes (opening the largest child first) and
// writes nodes and blocks in depth-first order.
class Collapser {
  public:
    Collapser(const BuildNode* bin, const PrimRef* prims, const KTriMesh& mesh)
        : m_bin(bin), m_prims(prims), m_mesh(mesh) {}

    // The number of four-wide nodes and of blocks that emit(b) writes (so that the tree's
    // arrays are allocated at their size: a block of memory that is only partly used would
    // hold a whole huge page for its last part).
    void count(int b, int& nodes, int& blocks) const {
        const BuildNode& bn = m_bin[b];
        if (bn.left < 0) {
            blocks += blocksFor(bn.count);
            return;
        }
        ++nodes;
        int kids[4];
        const int n = _children(b, kids);
        for (int k = 0; k < n; ++k)
            count(kids[k], nodes, blocks);
    }

    // Writes the subtree of binary node b into these arrays from the current counts on.
    void into(Node* nodes, Block* blocks, BlockVertices* vertices) {
        m_nodes = nodes;
        m_blocks = blocks;
        m_vertices = vertices;
    }
    int emit(int b) {
        const BuildNode& bn = m_bin[b];
        if (bn.left < 0)
            return _emitLeaf(bn.begin, bn.count);
        const int index = m_nodeCount++;
        int kids[4];
        const int n = _children(b, kids);
        Node& node = m_nodes[index];
        node.valid = 0;
        for (int k = 0; k < 4; ++k) {
            for (int a = 0; a < 3; ++a) {
                node.b[a][k] = std::numeric_limits<float>::infinity();
                node.b[3 + a][k] = -std::numeric_limits<float>::infinity();
            }
            node.child[k] = 0;
        }
        std::fill(node.pad, node.pad + 3, 0);
        for (int k = 0; k < n; ++k) {
            const BuildNode& c = m_bin[kids[k]];
            for (int a = 0; a < 3; ++a) {
                node.b[a][k] = c.lo[a];
                node.b[3 + a][k] = c.hi[a];
            }
            const int ref = emit(kids[k]);
            m_nodes[index].child[k] = ref;
            m_nodes[index].valid |= 1 << k;
        }
        return index;
    }

    int nodeCount() const { return m_nodeCount; }
    int blockCount() const { return m_blockCount; }

  private:
    // The binary nodes that become the children of b's four-wide node: b's two children, then
    // the largest inner node among them opened until there are four; returns how many.
    int _children(int b, int (&kids)[4]) const {
        const BuildNode& bn = m_bin[b];
        kids[0] = bn.left;
        kids[1] = bn.right;
        kids[2] = kids[3] = -1;
        int n = 2;
        while (n < 4) {
            int open = -1;
            float area = -1.0f;
            for (int k = 0; k < n; ++k) {
                const BuildNode& c = m_bin[kids[k]];
                if (c.left < 0)
                    continue;
                const float x = c.hi[0] - c.lo[0], y = c.hi[1] - c.lo[1], z = c.hi[2] - c.lo[2];
                const float childArea = x * y + y * z + z * x;
                if (childArea > area) {
                    area = childArea;
                    open = k;
                }
            }
            if (open < 0)
                break;
            const int l = m_bin[kids[open]].left, r = m_bin[kids[open]].right;
            kids[open] = l;
            kids[n++] = r;
        }
        return n;
    }

    int _emitLeaf(int begin, int count) {
        const int first = m_blockCount;
        const int blocks = blocksFor(count);
        const float nan = std::numeric_limits<float>::quiet_NaN();
        for (int k = 0; k < blocks; ++k) {
            BlockVertices& vertices = m_vertices[m_blockCount];
            Block& blk = m_blocks[m_blockCount++];
            for (int lane = 0; lane < 4; ++lane) {
                const int i = 4 * k + lane;
                if (i < count) {
                    const int id = m_prims[begin + i].id;
                    const KInt3& tri = m_mesh.triangles[id];
                    for (int corner = 0; corner < 3; ++corner) {
                        const KVector& v = m_mesh.positions[tri[corner]];
                        blk.c[3 * corner][lane] = v.x;
                        blk.c[3 * corner + 1][lane] = v.y;
                        blk.c[3 * corner + 2][lane] = v.z;
                        vertices.v[corner][lane] = tri[corner];
                    }
                    blk.id[lane] = id;
                } else {
                    for (int j = 0; j < 9; ++j)
                        blk.c[j][lane] = nan;
                    for (int corner = 0; corner < 3; ++corner)
                        vertices.v[corner][lane] = -1;
                    blk.id[lane] = -1;
                }
            }
        }
        return leafRef(first, blocks);
    }

    const BuildNode* m_bin;
    const PrimRef* m_prims;
    const KTriMesh& m_mesh;
    Node* m_nodes = nullptr;
    Block* m_blocks = nullptr;
    BlockVertices* m_vertices = nullptr;
    int m_nodeCount = 0;
    int m_blockCount = 0;
};

// Below this many triangles a serial build is faster than waking a thread team.
const int kParallelBuild = 1 << 14;

bool finite(const KVector& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

} // namespace

KTriMeshDistTree::KTriMeshDistTree(int maxLeafSize, int binCount)
    : m_maxLeafSize(std::min(std::max(maxLeafSize, 1), 16)), m_binCount(std::min(std::max(binCount, 4), 64)) {
}

KTriMeshDistTree::KTriMeshDistTree(const KTriMesh& mesh, int maxLeafSize, int binCount)
    : KTriMeshDistTree(maxLeafSize, binCount) {
    set(mesh);
}

void KTriMeshDistTree::clear() { m_data.reset(); }

int KTriMeshDistTree::triangleCount() const { return m_data ? m_data->triangleCount : 0; }

std::size_t KTriMeshDistTree::memoryBytes() const {
    if (!m_data)
        return 0;
    return sizeof(Data) + static_cast<std::size_t>(m_data->nodeCount) * sizeof(Node) +
           static_cast<std::size_t>(m_data->blockCount) * (sizeof(Block) + sizeof(BlockVertices));
}

KBoundingBox KTriMeshDistTree::boundingBox() const { return m_data ? m_data->box : KBoundingBox(); }

void KTriMeshDistTree::set(const KTriMesh& mesh) {
    m_data.reset();
    const int nt = mesh.triangleCount();
    const int nv = mesh.vertexCount();

    // Usable triangles: indices in range and finite corners.
    std::vector<char> usable(static_cast<std::size_t>(std::max(nt, 0)), 0);
#pragma omp parallel for schedule(static) if (nt >= kParallelBuild)
    for (int t = 0; t < nt; ++t) {
        const KInt3& tri = mesh.triangles[t];
        bool ok = true;
        for (int k = 0; k < 3 && ok; ++k)
            ok = tri[k] >= 0 && tri[k] < nv && finite(mesh.positions[tri[k]]);
        usable[t] = ok ? 1 : 0;
    }
    int count = 0;
    for (char u : usable)
        count += u;

    std::shared_ptr<Data> data = std::make_shared<Data>();
    data->triangleCount = count;
    if (count == 0) {
        m_data = data;
        return;
    }

    AlignedArray<PrimRef, Memory::Scratch> prims;
    prims.allocate(static_cast<std::size_t>(count));
    {
        int i = 0;
        for (int t = 0; t < nt; ++t) {
            if (usable[t])
                prims[i++].id = t;
        }
    }
#pragma omp parallel for schedule(static) if (count >= kParallelBuild)
    for (int i = 0; i < count; ++i) {
        PrimRef& p = prims[i];
        const KInt3& tri = mesh.triangles[p.id];
        const KVector& a = mesh.positions[tri[0]];
        const KVector& b = mesh.positions[tri[1]];
        const KVector& c = mesh.positions[tri[2]];
        for (int k = 0; k < 3; ++k) {
            p.lo[k] = std::min(std::min(a[k], b[k]), c[k]);
            p.hi[k] = std::max(std::max(a[k], b[k]), c[k]);
        }
        p.zero = 0.0f;
    }

    // At most 2n - 1 binary nodes; the array is left uninitialised so untouched slots cost no
    // memory pages.
    AlignedArray<BuildNode, Memory::Scratch> binary;
    binary.allocate(2 * static_cast<std::size_t>(count));
    Builder builder(prims.data(), binary.data(), m_maxLeafSize, m_binCount);
#pragma omp parallel if (count >= kParallelBuild)
#pragma omp single
    builder.build(0, 0, count, 0, boundsOf(prims.data(), 0, count));

    Collapser collapser(binary.data(), prims.data(), mesh);
    int nodeCount = 0, blockCount = 0;
    collapser.count(0, nodeCount, blockCount);
    static_assert(sizeof(Node) % alignof(Block) == 0 && sizeof(Block) % alignof(BlockVertices) == 0,
                  "each array starts aligned after the one before");
    const std::size_t nodeBytes = static_cast<std::size_t>(nodeCount) * sizeof(Node);
    const std::size_t blockBytes = static_cast<std::size_t>(blockCount) * sizeof(Block);
    data->memory.allocate(nodeBytes + blockBytes +
                          static_cast<std::size_t>(blockCount) * sizeof(BlockVertices));
    char* at = data->memory.data();
    data->nodes = ArrayView<Node>(reinterpret_cast<Node*>(at), static_cast<std::size_t>(nodeCount));
    data->blocks =
        ArrayView<Block>(reinterpret_cast<Block*>(at + nodeBytes), static_cast<std::size_t>(blockCount));
    data->vertices = ArrayView<BlockVertices>(reinterpret_cast<BlockVertices*>(at + nodeBytes + blockBytes),
                                              static_cast<std::size_t>(blockCount));
    collapser.into(data->nodes.data(), data->blocks.data(), data->vertices.data());
    data->root = collapser.emit(0);
    data->nodeCount = collapser.nodeCount();
    data->blockCount = collapser.blockCount();
    const BuildNode& root = binary[0];
    data->box = KBoundingBox(KVector(root.lo[0], root.lo[1], root.lo[2]),
                             KVector(root.hi[0], root.hi[1], root.hi[2]));
    m_data = data;
}

namespace {

// The walk on four lanes: one block at a time, on any processor.
namespace Four {
using V = F4;
using M = F4;
const int kGroup = 1;
inline F4 splatLanes(float f) { return splat(f); }
inline F4 loadRow(const Block* const (&g)[1], int row) { return load(g[0]->c[row]); }
inline void storeLanes(float* out, F4 v) { store(out, v); }
#include "tree/KTriMeshDistTreeWalk.inl"
} // namespace Four

} // namespace

#if KELNO_TREE_WIDE
// The walk on eight lanes (two blocks side by side, AVX2) and on sixteen (four blocks, AVX-512),
// each compiled for its instruction set and run only where the processor has it. The lanes run
// the same IEEE operations as the four-lane walk (no fused multiply-add), and either way the
// answer is the exact one, so all give the same results.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace {
namespace Eight {
struct F8 {
    __m256 v;
};
inline F8 splatLanes(float f) { return {_mm256_set1_ps(f)}; }
inline F8 loadRow(const Block* const (&g)[2], int row) {
    return {_mm256_insertf128_ps(_mm256_castps128_ps256(_mm_load_ps(g[0]->c[row])), _mm_load_ps(g[1]->c[row]),
                                 1)};
}
inline void storeLanes(float* out, F8 v) { _mm256_storeu_ps(out, v.v); }
inline F8 operator+(F8 a, F8 b) { return {_mm256_add_ps(a.v, b.v)}; }
inline F8 operator-(F8 a, F8 b) { return {_mm256_sub_ps(a.v, b.v)}; }
inline F8 operator*(F8 a, F8 b) { return {_mm256_mul_ps(a.v, b.v)}; }
inline F8 operator/(F8 a, F8 b) { return {_mm256_div_ps(a.v, b.v)}; }
inline F8 vmin(F8 a, F8 b) { return {_mm256_min_ps(a.v, b.v)}; }
inline F8 vmax(F8 a, F8 b) { return {_mm256_max_ps(a.v, b.v)}; }
inline F8 reciprocal(F8 a) { return {_mm256_rcp_ps(a.v)}; }
inline F8 operator<=(F8 a, F8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)}; }
inline F8 operator>=(F8 a, F8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GE_OQ)}; }
inline F8 operator>(F8 a, F8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
inline F8 operator&(F8 a, F8 b) { return {_mm256_and_ps(a.v, b.v)}; }
inline F8 operator|(F8 a, F8 b) { return {_mm256_or_ps(a.v, b.v)}; }
inline F8 andNot(F8 a, F8 b) { return {_mm256_andnot_ps(b.v, a.v)}; } // a & ~b
inline F8 select(F8 mask, F8 a, F8 b) { return {_mm256_blendv_ps(b.v, a.v, mask.v)}; }
inline int bits(F8 mask) { return _mm256_movemask_ps(mask.v); }
inline F8 clamp01(F8 a) { return vmin(vmax(a, splatLanes(0.0f)), splatLanes(1.0f)); }
inline float smallest(F8 a) {
    return smallest(F4{_mm_min_ps(_mm256_castps256_ps128(a.v), _mm256_extractf128_ps(a.v, 1))});
}
using V = F8;
using M = F8;
const int kGroup = 2;
#include "tree/KTriMeshDistTreeWalk.inl"
} // namespace Eight
} // namespace
#if defined(__clang__)
#pragma clang attribute pop
#pragma clang attribute push(__attribute__((target("avx512f"))), apply_to = function)
#else
#pragma GCC pop_options
#pragma GCC push_options
#pragma GCC target("avx512f")
#endif
namespace {
namespace Sixteen {
struct F16 {
    __m512 v;
};
struct M16 {
    __mmask16 k;
};
// (The zero-masked forms throughout: GCC 12's plain forms of several of these read an undefined
// source operand and trip its uninitialised-value warnings.)
const __mmask16 kAll = 0xffff;
inline F16 splatLanes(float f) { return {_mm512_set1_ps(f)}; }
inline F16 loadRow(const Block* const (&g)[4], int row) {
    __m512 v = _mm512_maskz_broadcast_f32x4(kAll, _mm_load_ps(g[0]->c[row]));
    v = _mm512_maskz_insertf32x4(kAll, v, _mm_load_ps(g[1]->c[row]), 1);
    v = _mm512_maskz_insertf32x4(kAll, v, _mm_load_ps(g[2]->c[row]), 2);
    return {_mm512_maskz_insertf32x4(kAll, v, _mm_load_ps(g[3]->c[row]), 3)};
}
inline void storeLanes(float* out, F16 v) { _mm512_storeu_ps(out, v.v); }
inline F16 operator+(F16 a, F16 b) { return {_mm512_add_ps(a.v, b.v)}; }
inline F16 operator-(F16 a, F16 b) { return {_mm512_sub_ps(a.v, b.v)}; }
inline F16 operator*(F16 a, F16 b) { return {_mm512_mul_ps(a.v, b.v)}; }
inline F16 operator/(F16 a, F16 b) { return {_mm512_div_ps(a.v, b.v)}; }
inline F16 vmin(F16 a, F16 b) { return {_mm512_maskz_min_ps(kAll, a.v, b.v)}; }
inline F16 vmax(F16 a, F16 b) { return {_mm512_maskz_max_ps(kAll, a.v, b.v)}; }
inline F16 reciprocal(F16 a) { return {_mm512_maskz_rcp14_ps(kAll, a.v)}; }
inline M16 operator<=(F16 a, F16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_LE_OQ)}; }
inline M16 operator>=(F16 a, F16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_GE_OQ)}; }
inline M16 operator>(F16 a, F16 b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_GT_OQ)}; }
inline M16 operator&(M16 a, M16 b) { return {static_cast<__mmask16>(a.k & b.k)}; }
inline M16 operator|(M16 a, M16 b) { return {static_cast<__mmask16>(a.k | b.k)}; }
inline M16 andNot(M16 a, M16 b) { return {static_cast<__mmask16>(a.k & ~b.k)}; } // a & ~b
inline F16 select(M16 mask, F16 a, F16 b) { return {_mm512_mask_blend_ps(mask.k, b.v, a.v)}; }
inline int bits(M16 mask) { return mask.k; }
inline F16 clamp01(F16 a) { return vmin(vmax(a, splatLanes(0.0f)), splatLanes(1.0f)); }
inline float smallest(F16 a) {
    const __m128 lo =
        _mm_min_ps(_mm512_maskz_extractf32x4_ps(0xf, a.v, 0), _mm512_maskz_extractf32x4_ps(0xf, a.v, 1));
    const __m128 hi =
        _mm_min_ps(_mm512_maskz_extractf32x4_ps(0xf, a.v, 2), _mm512_maskz_extractf32x4_ps(0xf, a.v, 3));
    return smallest(F4{_mm_min_ps(lo, hi)});
}
using V = F16;
using M = M16;
const int kGroup = 4;
#include "tree/KTriMeshDistTreeWalk.inl"
} // namespace Sixteen
} // namespace
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif

namespace {

// Whether the processor (and the system, which must save the wider registers) runs the lanes.
bool processorRuns(KTriMeshDistTree::Data::Lanes lanes) {
    using Lanes = KTriMeshDistTree::Data::Lanes;
#if KELNO_TREE_WIDE
    __builtin_cpu_init();
    if (lanes == Lanes::Sixteen)
        return __builtin_cpu_supports("avx512f") != 0;
    if (lanes == Lanes::Eight)
        return __builtin_cpu_supports("avx2") != 0;
#endif
    return lanes == Lanes::Four;
}

} // namespace

bool KTriMeshDistTree::Data::runs(Lanes lanes) {
    static const bool eight = processorRuns(Lanes::Eight), sixteen = processorRuns(Lanes::Sixteen);
    switch (lanes) {
    case Lanes::Widest:
    case Lanes::Four:
        return true;
    case Lanes::Eight:
        return eight;
    case Lanes::Sixteen:
        return sixteen;
    }
    return false;
}

KTriMeshDistTree::Data::Lanes KTriMeshDistTree::Data::widestLanes() {
    static const Lanes widest = [] {
        const char* cap = std::getenv("KELNO_TREE_LANES");
        const int most = cap && std::strcmp(cap, "4") == 0 ? 4 : (cap && std::strcmp(cap, "8") == 0 ? 8 : 16);
        if (most >= 16 && runs(Lanes::Sixteen))
            return Lanes::Sixteen;
        if (most >= 8 && runs(Lanes::Eight))
            return Lanes::Eight;
        return Lanes::Four;
    }();
    return widest;
}

int KTriMeshDistTree::Data::closest(const KVector& p, float maxDistance, double& s, double& t,
                                    const Block*& block, int& lane, Lanes lanes) const {
    if (triangleCount == 0 || !(maxDistance >= 0.0f) || !finite(p))
        return -1;
    if (lanes == Lanes::Widest || !runs(lanes))
        lanes = widestLanes();
#if KELNO_TREE_WIDE
    if (lanes == Lanes::Sixteen)
        return Sixteen::closestWalk(*this, p, maxDistance, s, t, block, lane);
    if (lanes == Lanes::Eight)
        return Eight::closestWalk(*this, p, maxDistance, s, t, block, lane);
#endif
    return Four::closestWalk(*this, p, maxDistance, s, t, block, lane);
}

void KTriMeshDistTree::Data::boxQuery(const KBoundingBox& q, KIntArray& out) const {
    const F4 lo[3] = {splat(q.min().x), splat(q.min().y), splat(q.min().z)};
    const F4 hi[3] = {splat(q.max().x), splat(q.max().y), splat(q.max().z)};
    walkBox(lo, hi, [&](int index) {
        const Block& blk = blocks[static_cast<std::size_t>(index)];
        int hit = overlappingLanes(blk, lo, hi);
        while (hit) {
            const int lane = lowestBit(static_cast<unsigned>(hit));
            hit &= hit - 1;
            out.push_back(blk.id[lane]);
        }
        return false;
    });
}

namespace {

// Weights as floats that still satisfy w0, w1 >= 0 and w0 + w1 <= 1 (rounding can leave the
// double weights of a face point a hair outside).
void toWeights(double s, double t, float& w0, float& w1) {
    w0 = static_cast<float>(std::min(std::max(s, 0.0), 1.0));
    w1 = static_cast<float>(std::min(std::max(t, 0.0), 1.0));
    while (w0 + w1 > 1.0f)
        w1 = std::nextafter(w1, 0.0f);
}

} // namespace

bool KTriMeshDistTree::getClosestPoint(const KVector& p, KVector& closest, int& triangle, float& w0,
                                       float& w1, float maxDistance) const {
    double s = 0.0, t = 0.0;
    const Block* block = nullptr;
    int lane = 0;
    triangle = m_data ? m_data->closest(p, maxDistance, s, t, block, lane) : -1;
    if (triangle < 0)
        return false;
    toWeights(s, t, w0, w1);
    const D3 a = cornerOf(block->c, 2, lane), ab = cornerOf(block->c, 0, lane) - a,
             ac = cornerOf(block->c, 1, lane) - a;
    closest =
        KVector(static_cast<float>(a.x + s * ab.x + t * ac.x), static_cast<float>(a.y + s * ab.y + t * ac.y),
                static_cast<float>(a.z + s * ab.z + t * ac.z));
    return true;
}

bool KTriMeshDistTree::getClosestPoint(const KVector& p, KVector& closest, int& triangle,
                                       float maxDistance) const {
    float w0, w1;
    return getClosestPoint(p, closest, triangle, w0, w1, maxDistance);
}

bool KTriMeshDistTree::getClosestPoint(const KVector& p, int& triangle, float& w0, float& w1,
                                       float maxDistance) const {
    double s = 0.0, t = 0.0;
    const Block* block = nullptr;
    int lane = 0;
    triangle = m_data ? m_data->closest(p, maxDistance, s, t, block, lane) : -1;
    if (triangle < 0)
        return false;
    toWeights(s, t, w0, w1);
    return true;
}

void KTriMeshDistTree::getTriangles(const KBoundingBox& box, KIntArray& out, bool sorted) const {
    out.clear();
    if (!m_data || !box.initialized())
        return;
    m_data->boxQuery(box, out);
    if (sorted)
        std::sort(out.begin(), out.end());
}

double KTriMeshDistTree::closestPointOnTriangle(const KVector& p, const KVector& c0, const KVector& c1,
                                                const KVector& c2, float& w0, float& w1) {
    const D3 q{p.x, p.y, p.z}, a{c0.x, c0.y, c0.z}, b{c1.x, c1.y, c1.z}, c{c2.x, c2.y, c2.z};
    const TriangleAnswer r = closestExact(q, a, b, c, false);
    toWeights(r.s, r.t, w0, w1);
    return r.d2;
}

} // namespace Kelno
