// The built closest-point tree's memory layout, shared inside the library by the tree itself and
// by traversals fused with their per-triangle work (the collision check's edge test). Not a
// public header: the layout may change with any build.
//
// Owns: F4 (four float lanes, SSE2 or plain C++), the leaf blocks and their vertex indices, the
// four-wide nodes, and KTriMeshDistTree::Data (the immutable built tree).
#pragma once

#include <kelno/KTriMeshDistTree.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#include <emmintrin.h>
#if defined(__SSE4_1__)
#include <smmintrin.h>
#endif
#define KELNO_TREE_SSE 1
#endif
#if defined(_MSC_VER)
#include <intrin.h>
#endif

namespace Kelno {
namespace TreeDetail {

// ---------------------------------------------------------------------------------------------
// Four-lane float arithmetic. Every lane runs exactly the same IEEE operations in the same order,
// so a lane gives bit-identical results to the one-triangle entry point; the plain C++ fallback
// reproduces SSE's min/max semantics (the second operand wins when either is NaN).

#if KELNO_TREE_SSE
struct F4 {
    __m128 v;
};
inline F4 load(const float* p) { return {_mm_load_ps(p)}; }
inline F4 splat(float f) { return {_mm_set1_ps(f)}; }
inline void store(float* p, F4 a) { _mm_storeu_ps(p, a.v); }
inline F4 operator+(F4 a, F4 b) { return {_mm_add_ps(a.v, b.v)}; }
inline F4 operator-(F4 a, F4 b) { return {_mm_sub_ps(a.v, b.v)}; }
inline F4 operator*(F4 a, F4 b) { return {_mm_mul_ps(a.v, b.v)}; }
inline F4 operator/(F4 a, F4 b) { return {_mm_div_ps(a.v, b.v)}; }
inline F4 vmin(F4 a, F4 b) { return {_mm_min_ps(a.v, b.v)}; }
inline F4 vmax(F4 a, F4 b) { return {_mm_max_ps(a.v, b.v)}; }
// About 12 correct bits; only used for error margins.
inline F4 reciprocal(F4 a) { return {_mm_rcp_ps(a.v)}; }
inline F4 operator<=(F4 a, F4 b) { return {_mm_cmple_ps(a.v, b.v)}; }
inline F4 operator>=(F4 a, F4 b) { return {_mm_cmpge_ps(a.v, b.v)}; }
inline F4 operator>(F4 a, F4 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
inline F4 operator&(F4 a, F4 b) { return {_mm_and_ps(a.v, b.v)}; }
inline F4 operator|(F4 a, F4 b) { return {_mm_or_ps(a.v, b.v)}; }
inline F4 andNot(F4 a, F4 b) { return {_mm_andnot_ps(b.v, a.v)}; } // a & ~b
inline F4 select(F4 mask, F4 a, F4 b) {
#if defined(__SSE4_1__)
    return {_mm_blendv_ps(b.v, a.v, mask.v)};
#else
    return {_mm_or_ps(_mm_and_ps(mask.v, a.v), _mm_andnot_ps(mask.v, b.v))};
#endif
}
inline int bits(F4 mask) { return _mm_movemask_ps(mask.v); }
#else
struct F4 {
    float f[4];
};
inline F4 load(const float* p) {
    F4 r;
    std::memcpy(r.f, p, sizeof(r.f));
    return r;
}
inline F4 splat(float f) { return {{f, f, f, f}}; }
inline void store(float* p, F4 a) { std::memcpy(p, a.f, sizeof(a.f)); }
template <class Op> inline F4 lanes(F4 a, F4 b, Op op) {
    F4 r;
    for (int i = 0; i < 4; ++i)
        r.f[i] = op(a.f[i], b.f[i]);
    return r;
}
inline float maskOf(bool b) {
    const std::uint32_t u = b ? 0xffffffffu : 0u;
    float f;
    std::memcpy(&f, &u, sizeof(f));
    return f;
}
inline std::uint32_t raw(float f) {
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof(u));
    return u;
}
inline float cooked(std::uint32_t u) {
    float f;
    std::memcpy(&f, &u, sizeof(f));
    return f;
}
inline F4 operator+(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x + y; });
}
inline F4 operator-(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x - y; });
}
inline F4 operator*(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x * y; });
}
inline F4 operator/(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x / y; });
}
inline F4 vmin(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x < y ? x : y; });
}
inline F4 vmax(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return x > y ? x : y; });
}
inline F4 reciprocal(F4 a) {
    return lanes(a, a, [](float x, float) { return 1.0f / x; });
}
inline F4 operator<=(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return maskOf(x <= y); });
}
inline F4 operator>=(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return maskOf(x >= y); });
}
inline F4 operator>(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return maskOf(x > y); });
}
inline F4 operator&(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return cooked(raw(x) & raw(y)); });
}
inline F4 operator|(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return cooked(raw(x) | raw(y)); });
}
inline F4 andNot(F4 a, F4 b) {
    return lanes(a, b, [](float x, float y) { return cooked(raw(x) & ~raw(y)); });
}
inline F4 select(F4 mask, F4 a, F4 b) { return (mask & a) | andNot(b, mask); }
inline int bits(F4 mask) {
    int r = 0;
    for (int i = 0; i < 4; ++i)
        r |= (raw(mask.f[i]) >> 31) << i;
    return r;
}
#endif

inline int lowestBit(unsigned m) {
#if defined(_MSC_VER)
    unsigned long i;
    _BitScanForward(&i, m);
    return static_cast<int>(i);
#else
    return __builtin_ctz(m);
#endif
}

inline F4 clamp01(F4 a) { return vmin(vmax(a, splat(0.0f)), splat(1.0f)); }

// The smallest of the four lanes (none may be NaN).
inline float smallest(F4 a) {
#if KELNO_TREE_SSE
    const __m128 b = _mm_min_ps(a.v, _mm_movehl_ps(a.v, a.v));
    return _mm_cvtss_f32(_mm_min_ss(b, _mm_shuffle_ps(b, b, 1)));
#else
    return std::min(std::min(a.f[0], a.f[1]), std::min(a.f[2], a.f[3]));
#endif
}

// ---------------------------------------------------------------------------------------------
// Storage

// Four triangles, corners as structure of arrays: c[3 * k + axis][lane] is corner k. Unused
// lanes hold NaN corners (their distance is NaN and never wins) and the index -1.
struct alignas(16) Block {
    float c[9][4];
    int id[4];
};

// Child reference: >= 0 is a node index; < 0 is a leaf, ~ref = (first block << 2) | (blocks - 1).
inline bool isLeaf(int ref) { return ref < 0; }
inline int leafRef(int firstBlock, int blockCount) { return ~((firstBlock << 2) | (blockCount - 1)); }
inline int leafFirst(int ref) { return (~ref) >> 2; }
inline int leafCount(int ref) { return ((~ref) & 3) + 1; }

// Four child boxes as structure of arrays (b[0..2] min x y z, b[3..5] max x y z). Empty slots
// have inverted infinite boxes and are also left out of `valid`.
struct alignas(64) Node {
    float b[6][4];
    int child[4];
    int valid; // bit k set when child k exists
    int pad[3];
};
static_assert(sizeof(Node) == 128, "two cache lines per node");
static_assert(sizeof(Block) == 160, "packed block");

// The vertex indices of a block's triangles, kept beside the blocks (same index) so that the
// closest-point walk does not load them: v[k][lane] is corner k's index, -1 in unused lanes.
struct alignas(16) BlockVertices {
    int v[3][4];
};

// The lanes of a block whose triangle's box (the min and max of its corners) overlaps the box
// lo..hi, touching included; bit k for lane k. Padding lanes (NaN corners) never do.
inline int overlappingLanes(const Block& blk, const F4 (&lo)[3], const F4 (&hi)[3]) {
    F4 m = splat(0.0f) <= splat(0.0f);
    for (int a = 0; a < 3; ++a) {
        const F4 c0 = load(blk.c[a]), c1 = load(blk.c[3 + a]), c2 = load(blk.c[6 + a]);
        m = m & (vmin(vmin(c0, c1), c2) <= hi[a]) & (vmax(vmax(c0, c1), c2) >= lo[a]);
    }
    return bits(m);
}

// Large blocks of memory for the tree and its build, aligned to 64 bytes. Scratch blocks (the
// build's, freed when it ends) come from the heap, which hands the same pages to the next
// build. On Linux a kept block of 2 MB or more (the built tree) is mapped on its own, aligned
// to 2 MB, and its whole 2 MB pages are offered to the kernel as transparent huge pages (taken
// where the system allows them, "madvise" or "always"): the build writes every page once, and
// with 4 KB pages their faults cost about as much as the build; queries walk the tree at
// random, and fewer, larger pages keep its addresses in the processor's address cache. The
// tail past the last whole huge page keeps small pages, so a block holds no memory beyond its
// size, and freeing it gives the memory back to the system. Scratch blocks of 32 MB or more,
// which the heap would map afresh every time, are mapped the same way, whole huge pages.
enum class Memory { Kept, Scratch };
// The block of `bytes` bytes (throws std::bad_alloc when there is none); freeLarge takes the
// same size and kind back.
void* allocateLarge(std::size_t bytes, Memory kind);
void freeLarge(void* p, std::size_t bytes, Memory kind);

// Plain aligned array without construction (over-aligned new is not available in C++14); T
// must be trivial.
template <class T, Memory kKind = Memory::Kept> class AlignedArray {
  public:
    AlignedArray() = default;
    AlignedArray(const AlignedArray&) = delete;
    AlignedArray& operator=(const AlignedArray&) = delete;
    ~AlignedArray() { freeLarge(m_data, m_size * sizeof(T), kKind); }
    void allocate(std::size_t n) {
        freeLarge(m_data, m_size * sizeof(T), kKind);
        m_data = nullptr;
        m_size = 0;
        m_data = static_cast<T*>(allocateLarge(n * sizeof(T), kKind));
        m_size = n;
    }
    T* data() { return m_data; }
    const T* data() const { return m_data; }
    T& operator[](std::size_t i) { return m_data[i]; }
    const T& operator[](std::size_t i) const { return m_data[i]; }
    std::size_t size() const { return m_size; }

  private:
    T* m_data = nullptr;
    std::size_t m_size = 0;
};

// An array inside memory held elsewhere.
template <class T> class ArrayView {
  public:
    ArrayView() = default;
    ArrayView(T* data, std::size_t size) : m_data(data), m_size(size) {}
    T* data() { return m_data; }
    const T* data() const { return m_data; }
    T& operator[](std::size_t i) { return m_data[i]; }
    const T& operator[](std::size_t i) const { return m_data[i]; }
    std::size_t size() const { return m_size; }

  private:
    T* m_data = nullptr;
    std::size_t m_size = 0;
};

} // namespace TreeDetail

struct KTriMeshDistTree::Data {
    // One block of memory holding the nodes, then the blocks, then the blocks' vertex indices.
    TreeDetail::AlignedArray<char> memory;
    TreeDetail::ArrayView<TreeDetail::Node> nodes;
    TreeDetail::ArrayView<TreeDetail::Block> blocks;
    TreeDetail::ArrayView<TreeDetail::BlockVertices> vertices;
    int nodeCount = 0;
    int blockCount = 0;
    int root = 0;
    int triangleCount = 0;
    KBoundingBox box;

    // Starts loading a child (node or first leaf block) while other work goes on.
    void _prefetch(int ref) const {
#if KELNO_TREE_SSE
        // Both addresses formed as integers and one chosen without a branch; a prefetch of an
        // address that is not used (or not mapped) has no effect.
        const std::uintptr_t node =
            reinterpret_cast<std::uintptr_t>(nodes.data()) +
            static_cast<std::uintptr_t>(static_cast<std::uint32_t>(ref)) * sizeof(TreeDetail::Node);
        const std::uintptr_t leaf =
            reinterpret_cast<std::uintptr_t>(blocks.data()) +
            static_cast<std::uintptr_t>(static_cast<std::uint32_t>(TreeDetail::leafFirst(ref))) *
                sizeof(TreeDetail::Block);
        const std::uintptr_t leafMask = static_cast<std::uintptr_t>(static_cast<std::intptr_t>(ref >> 31));
        const char* at = reinterpret_cast<const char*>((leaf & leafMask) | (node & ~leafMask));
        _mm_prefetch(at, _MM_HINT_T0);
        _mm_prefetch(at + 64, _MM_HINT_T0);
        _mm_prefetch(at + 128, _MM_HINT_T0);
#else
        (void)ref;
#endif
    }

    // The lanes the closest-point walk tests triangles in: four (one block at a time) on any
    // processor, eight (two blocks side by side) with AVX2, sixteen (four blocks) with AVX-512.
    // Widest is the widest the processor runs, capped by the environment variable
    // KELNO_TREE_LANES (4 or 8) when it is set, read once.
    enum class Lanes { Widest, Four, Eight, Sixteen };
    // Whether the processor runs `lanes` (Widest and Four: always).
    static bool runs(Lanes lanes);
    // What Widest stands for in this process.
    static Lanes widestLanes();
    // The index of the nearest triangle within maxDistance (-1 for none), its weights and the
    // block and lane that hold it, found with `lanes` (the widest where the processor does not
    // run them). The answer is the same whichever lanes test the triangles.
    int closest(const KVector& p, float maxDistance, double& s, double& t, const TreeDetail::Block*& block,
                int& lane, Lanes lanes = Lanes::Widest) const;
    void boxQuery(const KBoundingBox& box, KIntArray& out) const;

    // Walks the nodes whose boxes overlap the box lo..hi (each axis splatted over four lanes;
    // touching counts) and calls leaf(ref, parent, slot) for each leaf whose box overlaps it
    // (its box is slot `slot` of node `parent`; a leaf at the root has no parent: null, and the
    // tree's box), in tree order, until a call returns true. Returns whether one did.
    template <class Leaf>
    bool walkLeaves(const TreeDetail::F4 (&lo)[3], const TreeDetail::F4 (&hi)[3], Leaf&& leaf) const;
    // The same, calling visit(blockIndex) for every block of each leaf reached.
    template <class Visit>
    bool walkBox(const TreeDetail::F4 (&lo)[3], const TreeDetail::F4 (&hi)[3], Visit&& visit) const;
};

template <class Leaf> bool KTriMeshDistTree::Data::walkLeaves(const TreeDetail::F4 (&lo)[3],
                                                              const TreeDetail::F4 (&hi)[3],
                                                              Leaf&& leaf) const {
    using namespace TreeDetail;
    if (triangleCount == 0)
        return false;
    if (isLeaf(root))
        return leaf(root, static_cast<const Node*>(nullptr), 0);
    int stack[256]; // the build bounds the depth well below this
    int sp = 0;
    stack[sp++] = root;
    while (sp) {
        const Node& n = nodes[static_cast<std::size_t>(stack[--sp])];
        const F4 m = (load(n.b[0]) <= hi[0]) & (load(n.b[1]) <= hi[1]) & (load(n.b[2]) <= hi[2]) &
                     (load(n.b[3]) >= lo[0]) & (load(n.b[4]) >= lo[1]) & (load(n.b[5]) >= lo[2]);
        int open = bits(m) & n.valid;
        while (open) {
            const int c = lowestBit(static_cast<unsigned>(open));
            open &= open - 1;
            if (isLeaf(n.child[c])) {
                if (leaf(n.child[c], &n, c))
                    return true;
            } else {
                _prefetch(n.child[c]);
                stack[sp++] = n.child[c];
            }
        }
    }
    return false;
}

template <class Visit> bool KTriMeshDistTree::Data::walkBox(const TreeDetail::F4 (&lo)[3],
                                                            const TreeDetail::F4 (&hi)[3],
                                                            Visit&& visit) const {
    return walkLeaves(lo, hi, [&](int ref, const TreeDetail::Node*, int) {
        const int first = TreeDetail::leafFirst(ref), blockCount = TreeDetail::leafCount(ref);
        for (int b = first; b < first + blockCount; ++b) {
            if (visit(b))
                return true;
        }
        return false;
    });
}

} // namespace Kelno
