#include "KCollision.h"

#include "tree/KTriMeshDistTreeData.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace Kelno {

namespace {

const float kEps = 1e-30f;

// Kept out of the tree walk: the test runs for about one block in five, and inlined it would
// push the walk's own values out of registers.
#if defined(__GNUC__)
#define KELNO_OUT_OF_LINE __attribute__((noinline))
#else
#define KELNO_OUT_OF_LINE
#endif

// The test with the normalised direction and the exact length already formed for the edge,
// and the triangle's edge vectors for the triangle: each depends on its own element alone, so
// forming them once gives the same bits as forming them for every pair.
inline bool piercesWithEdges(const KVector& p0, const KVector& d, float length, const KVector& a,
                             const KVector& e1, const KVector& e2) {
    const KVector p = d.cross(e2);
    const float det = e1.dot(p);
    const float inv = 1.0f / det;
    const KVector s = p0 - a;
    const float u = s.dot(p) * inv;
    if (!(u >= -kEps && u <= 1.0f && std::fabs(det) > kEps))
        return false;
    const KVector q = s.cross(e1);
    const float v = d.dot(q) * inv;
    if (!(v >= -kEps && u + v <= 1.0f))
        return false;
    const float t = e2.dot(q) * inv;
    return t >= kEps && t <= length;
}

inline bool pierces(const KVector& p0, const KVector& d, float length, const KVector& a, const KVector& b,
                    const KVector& c) {
    return piercesWithEdges(p0, d, length, a, b - a, c - a);
}

// The edge's box is KBoundingBox(p0, p1).expand(eps) written out: the same min, max and
// float operations, inline.
struct EdgeSegment {
    KVector p0;
    KVector d;
    float length;
    float lo[3], hi[3];
};

inline EdgeSegment edgeSegment(const KVector& p0, const KVector& p1) {
    EdgeSegment e;
    e.p0 = p0;
    const KVector diff = p1 - p0;
    e.d = diff * FastInverseSqrt(diff.dot(diff) + kEps);
    e.length = std::sqrt(diff.dot(diff));
    for (int a = 0; a < 3; ++a) {
        e.lo[a] = std::min(p0[a], p1[a]) - kEps;
        e.hi[a] = std::max(p0[a], p1[a]) + kEps;
    }
    return e;
}

// The edge test on the four triangles of a tree block at once: piercesWithEdges' operations in
// its order, lane by lane, so every lane gives the bits of the one-triangle test.
struct EdgeLanes {
    TreeDetail::F4 p0x, p0y, p0z, dx, dy, dz, length;
    explicit EdgeLanes(const EdgeSegment& e)
        : p0x(TreeDetail::splat(e.p0.x)), p0y(TreeDetail::splat(e.p0.y)), p0z(TreeDetail::splat(e.p0.z)),
          dx(TreeDetail::splat(e.d.x)), dy(TreeDetail::splat(e.d.y)), dz(TreeDetail::splat(e.d.z)),
          length(TreeDetail::splat(e.length)) {}
};

KELNO_OUT_OF_LINE int piercedLanes(const TreeDetail::Block& blk, const EdgeLanes& e) {
    using namespace TreeDetail;
    const F4 ax = load(blk.c[0]), ay = load(blk.c[1]), az = load(blk.c[2]);
    const F4 e1x = load(blk.c[3]) - ax, e1y = load(blk.c[4]) - ay, e1z = load(blk.c[5]) - az;
    const F4 e2x = load(blk.c[6]) - ax, e2y = load(blk.c[7]) - ay, e2z = load(blk.c[8]) - az;
    const F4 px = e.dy * e2z - e.dz * e2y, py = e.dz * e2x - e.dx * e2z, pz = e.dx * e2y - e.dy * e2x;
    const F4 det = e1x * px + e1y * py + e1z * pz;
    const F4 inv = splat(1.0f) / det;
    const F4 sx = e.p0x - ax, sy = e.p0y - ay, sz = e.p0z - az;
    const F4 u = (sx * px + sy * py + sz * pz) * inv;
    const F4 qx = sy * e1z - sz * e1y, qy = sz * e1x - sx * e1z, qz = sx * e1y - sy * e1x;
    const F4 v = (e.dx * qx + e.dy * qy + e.dz * qz) * inv;
    const F4 t = (e2x * qx + e2y * qy + e2z * qz) * inv;
    const F4 eps = splat(kEps), negEps = splat(-kEps), one = splat(1.0f);
    // |det| > eps, NaN included, as two comparisons.
    const F4 pierced = (u >= negEps) & (u <= one) & ((det > eps) | (negEps > det)) & (v >= negEps) &
                       (u + v <= one) & (t >= eps) & (t <= e.length);
    return bits(pierced);
}

// The lanes of a block whose triangle has v0 or v1 among its corners.
inline int lanesWithCorner(const TreeDetail::BlockVertices& bv, int v0, int v1) {
#if KELNO_TREE_SSE
    const __m128i a = _mm_set1_epi32(v0), b = _mm_set1_epi32(v1);
    __m128i m = _mm_setzero_si128();
    for (int k = 0; k < 3; ++k) {
        const __m128i c = _mm_load_si128(reinterpret_cast<const __m128i*>(bv.v[k]));
        m = _mm_or_si128(m, _mm_or_si128(_mm_cmpeq_epi32(c, a), _mm_cmpeq_epi32(c, b)));
    }
    return _mm_movemask_ps(_mm_castsi128_ps(m));
#else
    int m = 0;
    for (int lane = 0; lane < 4; ++lane) {
        for (int k = 0; k < 3; ++k) {
            if (bv.v[k][lane] == v0 || bv.v[k][lane] == v1)
                m |= 1 << lane;
        }
    }
    return m;
#endif
}

// The edge's box (lo..hi, each axis over four lanes), its lanes for the test and its ends.
struct EdgeQuery {
    TreeDetail::F4 lo[3], hi[3];
    EdgeLanes lanes;
    int v0, v1;
    EdgeQuery(const EdgeSegment& e, int a, int b)
        : lo{TreeDetail::splat(e.lo[0]), TreeDetail::splat(e.lo[1]), TreeDetail::splat(e.lo[2])},
          hi{TreeDetail::splat(e.hi[0]), TreeDetail::splat(e.hi[1]), TreeDetail::splat(e.hi[2])}, lanes(e),
          v0(a), v1(b) {}
};

// Whether the edge pierces a triangle of tree block `index` whose box overlaps the edge's and
// that has neither end of the edge as a corner.
inline bool blockPierced(const KTriMeshDistTree::Data& data, int index, const EdgeQuery& q) {
    // The corner test first: it reads a third of what the box test reads, and near an edge
    // most triangles share one of its ends.
    const int others = ~lanesWithCorner(data.vertices[static_cast<std::size_t>(index)], q.v0, q.v1) & 15;
    if (!others)
        return false;
    const TreeDetail::Block& blk = data.blocks[static_cast<std::size_t>(index)];
    const int candidates = overlappingLanes(blk, q.lo, q.hi) & others;
    return candidates && (piercedLanes(blk, q.lanes) & candidates);
}

// The collision check for one edge (v0, v1) in a single walk of the tree: the box query of
// KTriMeshDistTree::getTriangles (the same comparisons), the triangles with v0 or v1 as a
// corner left out, and the test four triangles at a time; stops at the first pierced one.
// Flags exactly the edges the query-then-test form flags: the candidates are the same set and
// each test gives the same bits.
bool edgePiercesTree(const KTriMeshDistTree::Data& data, const EdgeSegment& e, int v0, int v1) {
    const EdgeQuery q(e, v0, v1);
    return data.walkBox(q.lo, q.hi, [&](int index) { return blockPierced(data, index, q); });
}

// ---------------------------------------------------------------------------------------------
// One walk of the tree per node holding leaves instead of one per edge.
//
// Every edge is a side of a triangle, so its box lies inside the box of the leaf that holds
// that triangle (the edge's owner) and so inside the box of the node that holds that leaf, and
// widening by eps keeps that order. A triangle whose box meets the edge's box therefore lies in
// a leaf whose box meets that node's widened box: one walk with that box finds those leaves for
// all the edges of all the node's leaves (leaves hold a few triangles, so a walk per leaf would
// serve only three or four edges), and each edge then tests only their boxes and blocks. Its
// candidates are exactly those of its own walk, so the flags are the same; an edge whose box
// is not inside that node's (a tree built over other positions, NaN ends) walks the tree itself.

struct LeafBox {
    float lo[3], hi[3];
    int ref;
};

// A leaf's box: slot `slot` of its parent node, or the tree's box for a leaf at the root.
LeafBox leafBox(const KTriMeshDistTree::Data& data, int ref, const TreeDetail::Node* parent, int slot) {
    if (!parent) {
        const KVector lo = data.box.min(), hi = data.box.max();
        return LeafBox{{lo.x, lo.y, lo.z}, {hi.x, hi.y, hi.z}, ref};
    }
    const TreeDetail::Node& n = *parent;
    return LeafBox{
        {n.b[0][slot], n.b[1][slot], n.b[2][slot]}, {n.b[3][slot], n.b[4][slot], n.b[5][slot]}, ref};
}

// The tree's leaves: for each block the first block of its leaf, and at that first block the
// node holding the leaf and the leaf's rank.
struct Leaves {
    std::vector<int> leafOfBlock;
    std::vector<int> parent; // the node holding the leaf, -1 for a leaf at the root
    std::vector<int> rank;   // the leaf's place when the leaves of each node come together
};

Leaves leavesOf(const KTriMeshDistTree::Data& data) {
    using namespace TreeDetail;
    Leaves leaves;
    leaves.leafOfBlock.assign(static_cast<std::size_t>(data.blockCount), -1);
    leaves.parent.assign(static_cast<std::size_t>(data.blockCount), -1);
    leaves.rank.assign(static_cast<std::size_t>(data.blockCount), -1);
    int rank = 0;
    auto record = [&](int ref, int parent) {
        const int first = leafFirst(ref);
        for (int b = first; b < first + leafCount(ref); ++b)
            leaves.leafOfBlock[static_cast<std::size_t>(b)] = first;
        leaves.parent[static_cast<std::size_t>(first)] = parent;
        leaves.rank[static_cast<std::size_t>(first)] = rank++;
    };
    if (isLeaf(data.root)) {
        record(data.root, -1);
        return leaves;
    }
    // Every leaf is the child of exactly one node: the nodes in memory order, no walk.
    for (int i = 0; i < data.nodeCount; ++i) {
        const Node& n = data.nodes[static_cast<std::size_t>(i)];
        for (int c = 0; c < 4; ++c) {
            if (((n.valid >> c) & 1) && isLeaf(n.child[c]))
                record(n.child[c], i);
        }
    }
    return leaves;
}

// The box of node `index`: the union of its children's boxes (the tree's box for -1).
LeafBox nodeBox(const KTriMeshDistTree::Data& data, int index) {
    if (index < 0)
        return leafBox(data, data.root, nullptr, 0);
    const TreeDetail::Node& n = data.nodes[static_cast<std::size_t>(index)];
    const float inf = std::numeric_limits<float>::infinity();
    LeafBox box{{inf, inf, inf}, {-inf, -inf, -inf}, -1};
    for (int c = 0; c < 4; ++c) {
        if (!((n.valid >> c) & 1))
            continue;
        for (int a = 0; a < 3; ++a) {
            box.lo[a] = std::min(box.lo[a], n.b[a][c]);
            box.hi[a] = std::max(box.hi[a], n.b[3 + a][c]);
        }
    }
    return box;
}

// The leaves whose boxes meet a box (touching counts), their boxes four to a group.
//
// An edge's test against them runs in three passes with few data-dependent branches (their
// outcomes change from edge to edge and would mostly be mispredicted): the blocks of the
// leaves its box meets, gathered without a branch per leaf; the blocks that hold a candidate
// (a triangle whose box meets the edge's and that has neither end as a corner), gathered the
// same way; and the segment test on those.
class NearLeaves {
  public:
    void find(const KTriMeshDistTree::Data& data, const LeafBox& box) {
        using namespace TreeDetail;
        m_count = 0;
        m_blockTotal = 0;
        const F4 lo[3] = {splat(box.lo[0]), splat(box.lo[1]), splat(box.lo[2])};
        const F4 hi[3] = {splat(box.hi[0]), splat(box.hi[1]), splat(box.hi[2])};
        if (isLeaf(data.root)) {
            const LeafBox leaf = leafBox(data, data.root, nullptr, 0);
            _put(leaf.lo, leaf.hi, leafFirst(data.root), leafCount(data.root));
        } else {
            _walk(data, lo, hi);
            for (int k = 0; k < m_slotCount; ++k) {
                const int slot = m_slots[static_cast<std::size_t>(k)];
                const Node& n = data.nodes[static_cast<std::size_t>(slot >> 2)];
                const LeafBox leaf = leafBox(data, n.child[slot & 3], &n, slot & 3);
                _put(leaf.lo, leaf.hi, leafFirst(leaf.ref), leafCount(leaf.ref));
            }
        }
        m_groupCount = (m_count + 3) / 4;
        // The rest of the last group meets nothing and has no blocks.
        const float inf = std::numeric_limits<float>::infinity();
        const float empty[2][3] = {{inf, inf, inf}, {-inf, -inf, -inf}};
        for (int k = m_count; k & 3; ++k)
            _set(k, empty[0], empty[1], 0, 0);
        // Room for every block of every leaf, and the four a leaf always writes.
        m_blocks.resize(static_cast<std::size_t>(m_blockTotal) + 4);
        m_candidates.resize(static_cast<std::size_t>(m_blockTotal) + 1);
    }

    // Whether the edge pierces a triangle of these leaves (as blockPierced finds it).
    bool pierced(const KTriMeshDistTree::Data& data, const EdgeQuery& q) {
        using namespace TreeDetail;
        int* blocks = m_blocks.data();
        int count = 0;
        for (int group = 0; group < m_groupCount; ++group) {
            const Group& g = m_groups[static_cast<std::size_t>(group)];
            const F4 m = (load(g.lo[0]) <= q.hi[0]) & (load(g.lo[1]) <= q.hi[1]) &
                         (load(g.lo[2]) <= q.hi[2]) & (load(g.hi[0]) >= q.lo[0]) &
                         (load(g.hi[1]) >= q.lo[1]) & (load(g.hi[2]) >= q.lo[2]);
            const int open = bits(m);
            for (int c = 0; c < 4; ++c) {
                for (int k = 0; k < 4; ++k)
                    blocks[count + k] = g.first[c] + k;
                count += ((open >> c) & 1) * g.blocks[c];
            }
        }
        Candidate* candidates = m_candidates.data();
        int waiting = 0;
        for (int k = 0; k < count; ++k) {
            const int b = blocks[k];
            const int others = ~lanesWithCorner(data.vertices[static_cast<std::size_t>(b)], q.v0, q.v1) & 15;
            const int lanes = overlappingLanes(data.blocks[static_cast<std::size_t>(b)], q.lo, q.hi) & others;
            candidates[waiting] = Candidate{b, lanes};
            waiting += lanes != 0;
        }
        for (int k = 0; k < waiting; ++k) {
            if (piercedLanes(data.blocks[static_cast<std::size_t>(candidates[k].block)], q.lanes) &
                candidates[k].lanes)
                return true;
        }
        return false;
    }

  private:
    // Four leaves; unused lanes have inverted infinite boxes, which meet nothing, and no blocks.
    struct alignas(16) Group {
        float lo[3][4];
        float hi[3][4];
        int first[4];
        int blocks[4];
    };
    struct Candidate {
        int block;
        int lanes;
    };

    // The leaves whose boxes meet lo..hi, as node index * 4 + slot, in m_slots. The walk of
    // Data::walkLeaves written with a branch per node only: which children are taken and which
    // of them are leaves changes from node to node and would mostly be mispredicted, so all four
    // are written and the counts advanced by the ones that count.
    void _walk(const KTriMeshDistTree::Data& data, const TreeDetail::F4 (&lo)[3],
               const TreeDetail::F4 (&hi)[3]) {
        using namespace TreeDetail;
        // At most three entries stay behind per level, and the build keeps the depth below 72
        // (40 levels of area splits, then halving).
        int stack[256];
        int sp = 0;
        stack[sp++] = data.root;
        int count = 0;
        while (sp) {
            const int index = stack[--sp];
            const Node& n = data.nodes[static_cast<std::size_t>(index)];
            const F4 m = (load(n.b[0]) <= hi[0]) & (load(n.b[1]) <= hi[1]) & (load(n.b[2]) <= hi[2]) &
                         (load(n.b[3]) >= lo[0]) & (load(n.b[4]) >= lo[1]) & (load(n.b[5]) >= lo[2]);
            const int open = bits(m) & n.valid;
#if KELNO_TREE_SSE
            // Leaf references are negative: their sign bits.
            const int leaves =
                _mm_movemask_ps(_mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(n.child))));
#else
            int leaves = 0;
            for (int c = 0; c < 4; ++c)
                leaves |= (n.child[c] < 0 ? 1 : 0) << c;
#endif
            const int down = open & ~leaves, found = open & leaves;
            for (int c = 0; c < 4; ++c) {
                stack[sp] = n.child[c];
                data._prefetch(n.child[c]);
                sp += (down >> c) & 1;
            }
            if (static_cast<std::size_t>(count) + 4 > m_slots.size())
                m_slots.resize(2 * m_slots.size() + 16);
            for (int c = 0; c < 4; ++c) {
                m_slots[static_cast<std::size_t>(count)] = 4 * index + c;
                count += (found >> c) & 1;
            }
        }
        m_slotCount = count;
    }

    // Appends a leaf: its box, first block and block count.
    void _put(const float (&lo)[3], const float (&hi)[3], int first, int blocks) {
        if (static_cast<std::size_t>(m_count >> 2) >= m_groups.size())
            m_groups.resize(2 * m_groups.size() + 4);
        _set(m_count++, lo, hi, first, blocks);
        m_blockTotal += blocks;
    }

    void _set(int k, const float (&lo)[3], const float (&hi)[3], int first, int blocks) {
        Group& g = m_groups[static_cast<std::size_t>(k >> 2)];
        const int lane = k & 3;
        for (int a = 0; a < 3; ++a) {
            g.lo[a][lane] = lo[a];
            g.hi[a][lane] = hi[a];
        }
        g.first[lane] = first;
        g.blocks[lane] = blocks;
    }

    std::vector<Group> m_groups;
    std::vector<int> m_blocks;
    std::vector<Candidate> m_candidates;
    std::vector<int> m_slots;
    int m_slotCount = 0;
    int m_groupCount = 0;
    int m_count = 0;
    int m_blockTotal = 0;
};

// For each edge the first block of the leaf that owns it: the leaf of the triangle that
// numbered the edge (the first triangle, in index order, that has it); -1 when that triangle
// is not in the tree (another triangle's walk would do, but the edge then walks the tree
// itself), or when the connection tables were built over another mesh.
// The tables number edges as they first meet them, triangle after triangle, so triangle t
// numbered exactly those of its edges that are not below the count of edges numbered before
// it, the running maximum: with that count known, every triangle writes only its own edges and
// the loops run in parallel.
std::vector<int> ownersOf(const KTriMeshDistTree::Data& data, const Leaves& leaves,
                          const KTriMeshConnectionInfo& connections, int triangleCount, int edgeCount) {
    std::vector<int> owner(static_cast<std::size_t>(edgeCount), -1);
    const KInt3Array& triangleEdges = connections.triangleEdges();
    if (triangleEdges.length() != triangleCount)
        return owner;
    std::vector<int> leafOfTriangle(static_cast<std::size_t>(triangleCount), -1);
    const int blockCount = data.blockCount;
#pragma omp parallel for schedule(static)
    for (int b = 0; b < blockCount; ++b) {
        const TreeDetail::Block& blk = data.blocks[static_cast<std::size_t>(b)];
        for (int lane = 0; lane < 4; ++lane) {
            const int t = blk.id[lane];
            if (t >= 0 && t < triangleCount)
                leafOfTriangle[static_cast<std::size_t>(t)] = leaves.leafOfBlock[static_cast<std::size_t>(b)];
        }
    }
    // The running maximum as a scan: each thread takes a run of triangles, finds the largest
    // edge index in it, and starts its run from the largest of the runs before.
    std::vector<int> runMaximum;
#pragma omp parallel
    {
        const int threads = omp_get_num_threads(), thread = omp_get_thread_num();
#pragma omp single
        runMaximum.assign(static_cast<std::size_t>(threads), 0);
        const int first = static_cast<int>(static_cast<long long>(triangleCount) * thread / threads);
        const int last = static_cast<int>(static_cast<long long>(triangleCount) * (thread + 1) / threads);
        int largest = 0;
        for (int t = first; t < last; ++t) {
            for (int k = 0; k < 3; ++k)
                largest = std::max(largest, triangleEdges[t][k] + 1);
        }
        runMaximum[static_cast<std::size_t>(thread)] = largest;
#pragma omp barrier
        int count = 0;
        for (int k = 0; k < thread; ++k)
            count = std::max(count, runMaximum[static_cast<std::size_t>(k)]);
        for (int t = first; t < last; ++t) {
            const int leaf = leafOfTriangle[static_cast<std::size_t>(t)];
            const int before = count;
            for (int k = 0; k < 3; ++k) {
                const int e = triangleEdges[t][k];
                count = std::max(count, e + 1);
                if (leaf >= 0 && e >= before && e < edgeCount)
                    owner[static_cast<std::size_t>(e)] = leaf;
            }
        }
    }
    return owner;
}

// The owner's box widened by eps as the edges' boxes are (KBoundingBox::expand).
LeafBox widened(const LeafBox& box) {
    LeafBox w = box;
    for (int a = 0; a < 3; ++a) {
        w.lo[a] = box.lo[a] - kEps;
        w.hi[a] = box.hi[a] + kEps;
    }
    return w;
}

inline bool boxInside(const EdgeSegment& e, const LeafBox& outer) {
    return e.lo[0] >= outer.lo[0] && e.lo[1] >= outer.lo[1] && e.lo[2] >= outer.lo[2] &&
           e.hi[0] <= outer.hi[0] && e.hi[1] <= outer.hi[1] && e.hi[2] <= outer.hi[2];
}

inline bool hasCorner(const KInt3& tri, int v) { return tri[0] == v || tri[1] == v || tri[2] == v; }

inline bool validEdge(const KInt2& edge, int vertexCount) {
    return edge[0] >= 0 && edge[1] >= 0 && edge[0] < vertexCount && edge[1] < vertexCount;
}

// The edges begin..end-1 in the order of the tree's leaves, the leaves of each node together:
// a counting sort on the owner's rank (edges without an owner last, in index order).
// Consecutive edges then share their node's walk and the same leaves, which spares most of the
// memory traffic.
void edgesInTreeOrder(const std::vector<int>& owner, const std::vector<int>& rank, int begin, int end,
                      std::vector<int>& order) {
    const std::size_t last = rank.size();
    auto bucket = [&](int i) {
        const int o = owner[static_cast<std::size_t>(i)];
        return o >= 0 ? static_cast<std::size_t>(rank[static_cast<std::size_t>(o)]) : last;
    };
    std::vector<int> start(rank.size() + 2, 0);
    for (int i = begin; i < end; ++i)
        ++start[bucket(i) + 1];
    for (std::size_t k = 1; k < start.size(); ++k)
        start[k] += start[k - 1];
    order.resize(static_cast<std::size_t>(end - begin));
    for (int i = begin; i < end; ++i)
        order[static_cast<std::size_t>(start[bucket(i)]++)] = i;
}

// Reports progress from the first thread only, at most every 4096 of its own items.
class ProgressReporter {
  public:
    ProgressReporter(const KProgressCallback& callback, int total) : m_callback(callback), m_total(total) {}
    void step() {
        if (!m_callback)
            return;
        const int done = m_done.fetch_add(1, std::memory_order_relaxed) + 1;
        if ((done & 4095) == 0 && omp_get_thread_num() == 0)
            m_callback(static_cast<float>(done) / static_cast<float>(m_total));
    }

  private:
    const KProgressCallback& m_callback;
    int m_total;
    std::atomic<int> m_done{0};
};

} // namespace

float FastInverseSqrt(float x) {
    std::int32_t k;
    std::memcpy(&k, &x, sizeof k);
    k = 0x5F3759DF - (k >> 1);
    float r;
    std::memcpy(&r, &k, sizeof r);
    return r * (1.5f - 0.5f * x * r * r);
}

bool SegmentPiercesTriangle(const KVector& p0, const KVector& p1, const KVector& a, const KVector& b,
                            const KVector& c) {
    const EdgeSegment e = edgeSegment(p0, p1);
    return pierces(e.p0, e.d, e.length, a, b, c);
}

void FindIntersectingEdges(const KTriMesh& mesh, const KTriMeshDistTree& tree,
                           const KTriMeshConnectionInfo& connections, KIntArray& hit,
                           const KProgressCallback& progress) {
    const int edgeCount = connections.e2v.length();
    hit.assign(static_cast<std::size_t>(edgeCount), 0);
    const KTriMeshDistTree::Data* data = tree.data();
    if (edgeCount == 0 || !data || data->triangleCount == 0) {
        if (progress) {
            progress(0.0f);
            progress(1.0f);
        }
        return; // nothing to pierce
    }
    if (progress)
        progress(0.0f);
    const KVectorArray& positions = mesh.positions;
    const int vertexCount = positions.length();
    const Leaves leaves = leavesOf(*data);
    const std::vector<int> owner = ownersOf(*data, leaves, connections, mesh.triangles.length(), edgeCount);
    ProgressReporter reporter(progress, edgeCount);
    // Static scheduling written out: with T threads, q = E / T and r = E % T, thread k < r takes
    // the q + 1 edges from k (q + 1), every other thread the q edges from r + k q. Each thread
    // then walks its own edges in the tree's leaf order.
#pragma omp parallel
    {
        const int threads = omp_get_num_threads(), thread = omp_get_thread_num();
        const int q = edgeCount / threads, r = edgeCount % threads;
        const int begin = thread < r ? thread * (q + 1) : r + thread * q;
        const int end = begin + (thread < r ? q + 1 : q);
        std::vector<int> order;
        edgesInTreeOrder(owner, leaves.rank, begin, end, order);
        NearLeaves near;
        int nearParent = -2;
        LeafBox parentBox{};
        const int count = end - begin;
        for (int k = 0; k < count; ++k) {
            reporter.step();
#if KELNO_TREE_SSE
            // The next edges' ends, while this one walks.
            if (k + 4 < count) {
                const KInt2 ahead = connections.e2v[order[static_cast<std::size_t>(k) + 4]];
                if (validEdge(ahead, vertexCount)) {
                    _mm_prefetch(reinterpret_cast<const char*>(&positions[ahead[0]]), _MM_HINT_T0);
                    _mm_prefetch(reinterpret_cast<const char*>(&positions[ahead[1]]), _MM_HINT_T0);
                }
            }
            if (k + 8 < count) {
                const int ahead = order[static_cast<std::size_t>(k) + 8];
                _mm_prefetch(reinterpret_cast<const char*>(&connections.e2v[ahead]), _MM_HINT_T0);
                _mm_prefetch(reinterpret_cast<const char*>(&owner[static_cast<std::size_t>(ahead)]),
                             _MM_HINT_T0);
                _mm_prefetch(reinterpret_cast<const char*>(&hit[ahead]), _MM_HINT_T0);
            }
#endif
            const int i = order[static_cast<std::size_t>(k)];
            const KInt2 edge = connections.e2v[i];
            if (!validEdge(edge, vertexCount))
                continue;
            const EdgeSegment e = edgeSegment(positions[edge[0]], positions[edge[1]]);
            const int leaf = owner[static_cast<std::size_t>(i)];
            if (leaf >= 0 && leaves.parent[static_cast<std::size_t>(leaf)] != nearParent) {
                nearParent = leaves.parent[static_cast<std::size_t>(leaf)];
                parentBox = widened(nodeBox(*data, nearParent));
                near.find(*data, parentBox);
            }
            bool pierced;
            if (leaf >= 0 && boxInside(e, parentBox))
                pierced = near.pierced(*data, EdgeQuery(e, edge[0], edge[1]));
            else
                pierced = edgePiercesTree(*data, e, edge[0], edge[1]);
            hit[i] = pierced ? 1 : 0;
        }
    }
    if (progress)
        progress(1.0f);
}

void FindIntersectingEdgesStepwise(const KTriMesh& mesh, const KTriMeshDistTree& tree,
                                   const KTriMeshConnectionInfo& connections, KIntArray& hit) {
    const int edgeCount = connections.e2v.length();
    hit.assign(static_cast<std::size_t>(edgeCount), 0);
    const int vertexCount = mesh.positions.length();
#pragma omp parallel
    {
        KIntArray candidates;
        KIntArray adjacent;
#pragma omp for schedule(static)
        for (int i = 0; i < edgeCount; ++i) {
            const int a = connections.e2v[i][0];
            const int b = connections.e2v[i][1];
            if (!validEdge(connections.e2v[i], vertexCount))
                continue;
            const KVector& p0 = mesh.positions[a];
            const KVector& p1 = mesh.positions[b];
            KBoundingBox box(p0, p1);
            box.expand(kEps);
            tree.getTriangles(box, candidates, true);
            adjacent.clear();
            for (int k = 0; k < candidates.length(); ++k) {
                const KInt3& tri = mesh.triangles[candidates[k]];
                if (hasCorner(tri, a) || hasCorner(tri, b))
                    adjacent.push_back(k);
            }
            candidates.remove(adjacent);
            for (int t : candidates) {
                const KInt3& tri = mesh.triangles[t];
                if (SegmentPiercesTriangle(p0, p1, mesh.positions[tri[0]], mesh.positions[tri[1]],
                                           mesh.positions[tri[2]])) {
                    hit[i] = 1;
                    break;
                }
            }
        }
    }
}

void FindIntersectingEdgesBruteForce(const KTriMesh& mesh, const KTriMeshConnectionInfo& connections,
                                     KIntArray& hit) {
    const int edgeCount = connections.e2v.length();
    hit.assign(static_cast<std::size_t>(edgeCount), 0);
    const int vertexCount = mesh.positions.length();
    const int triangleCount = mesh.triangles.length();
    std::vector<KBoundingBox> boxes(static_cast<std::size_t>(triangleCount));
    for (int t = 0; t < triangleCount; ++t) {
        const KInt3& tri = mesh.triangles[t];
        KBoundingBox& box = boxes[static_cast<std::size_t>(t)];
        bool usable = true;
        for (int k = 0; k < 3; ++k) {
            if (tri[k] < 0 || tri[k] >= vertexCount) {
                usable = false;
                break;
            }
            const KVector& p = mesh.positions[tri[k]];
            if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
                usable = false;
            box.expand(p);
        }
        if (!usable)
            box.reset();
    }
#pragma omp parallel for schedule(static)
    for (int i = 0; i < edgeCount; ++i) {
        const int a = connections.e2v[i][0];
        const int b = connections.e2v[i][1];
        if (!validEdge(connections.e2v[i], vertexCount))
            continue;
        KBoundingBox box(mesh.positions[a], mesh.positions[b]);
        box.expand(kEps);
        for (int t = 0; t < triangleCount; ++t) {
            const KInt3& tri = mesh.triangles[t];
            if (!box.overlaps(boxes[static_cast<std::size_t>(t)]) || hasCorner(tri, a) || hasCorner(tri, b))
                continue;
            if (SegmentPiercesTriangle(mesh.positions[a], mesh.positions[b], mesh.positions[tri[0]],
                                       mesh.positions[tri[1]], mesh.positions[tri[2]])) {
                hit[i] = 1;
                break;
            }
        }
    }
}

void CollidingVertices(const KTriMeshConnectionInfo& connections, const KIntArray& hit, int vertexCount,
                       KIntArray& out) {
    out.clear();
    const int listed = std::min(vertexCount, connections.v2e.length());
    for (int v = 0; v < listed; ++v) {
        for (int e : connections.v2e[v]) {
            if (e >= 0 && e < hit.length() && hit[e] != 0) {
                out.push_back(v);
                break;
            }
        }
    }
}

int CountHits(const KIntArray& hit) {
    int count = 0;
    for (int h : hit)
        count += h != 0 ? 1 : 0;
    return count;
}

bool IsInsideVertex(const KVector& p, const KTriMesh& colliders, const KTriMeshDistTree& tree) {
    KVector closest(0.0f, 0.0f, 0.0f);
    int triangle = -1;
    tree.getClosestPoint(p, closest, triangle, 1e30f);
    if (triangle < 0 || triangle >= colliders.triangles.length())
        return false;
    const KInt3& tri = colliders.triangles[triangle];
    const KVector& a = colliders.positions[tri[0]];
    const KVector& b = colliders.positions[tri[1]];
    const KVector& c = colliders.positions[tri[2]];
    const double e1x = double(b.x) - double(a.x), e1y = double(b.y) - double(a.y),
                 e1z = double(b.z) - double(a.z);
    const double e2x = double(c.x) - double(a.x), e2y = double(c.y) - double(a.y),
                 e2z = double(c.z) - double(a.z);
    double nx = e1y * e2z - e1z * e2y;
    double ny = e1z * e2x - e1x * e2z;
    double nz = e1x * e2y - e1y * e2x;
    const double length = std::sqrt(nx * nx + ny * ny + nz * nz + 1e-20);
    nx /= length;
    ny /= length;
    nz /= length;
    const KVector n(static_cast<float>(nx), static_cast<float>(ny), static_cast<float>(nz));
    const float s = n.dot(p - closest);
    return s < 1e-30f;
}

void FindInsideVertices(const KTriMesh& mesh, const KTriMesh& colliders, const KTriMeshDistTree& tree,
                        KIntArray& out, const KProgressCallback& progress) {
    const int vertexCount = mesh.positions.length();
    KCharArray inside(vertexCount);
    if (progress)
        progress(0.0f);
    ProgressReporter reporter(progress, vertexCount);
#pragma omp parallel for schedule(static)
    for (int i = 0; i < vertexCount; ++i) {
        reporter.step();
        inside[i] = IsInsideVertex(mesh.positions[i], colliders, tree) ? 1 : 0;
    }
    out.clear();
    for (int i = 0; i < vertexCount; ++i) {
        if (inside[i])
            out.push_back(i);
    }
    if (progress)
        progress(1.0f);
}

void SelectFacesByMode(const KIntArrayList& polygons, const KIntArray& flags, unsigned int mode,
                       KIntArray& out) {
    out.clear();
    if (mode < 2 || mode > 4)
        return;
    for (int f = 0; f < polygons.length(); ++f) {
        bool anyIn = false;
        bool anyOut = false;
        for (int v : polygons[f]) {
            if (v >= 0 && v < flags.length() && flags[v] != 0)
                anyIn = true;
            else
                anyOut = true;
        }
        const bool keep = mode == 2 ? !anyOut : (mode == 3 ? anyIn : (anyIn && anyOut));
        if (keep)
            out.push_back(f);
    }
}

} // namespace Kelno
