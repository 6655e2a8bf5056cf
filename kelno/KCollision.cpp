#include "KCollision.h"

#include "tree/KTriMeshDistTreeData.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
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

struct EdgeSegment {
    KVector p0;
    KVector d;
    float length;
    KBoundingBox box;
};

inline EdgeSegment edgeSegment(const KVector& p0, const KVector& p1) {
    EdgeSegment e;
    e.p0 = p0;
    const KVector diff = p1 - p0;
    e.d = diff * FastInverseSqrt(diff.dot(diff) + kEps);
    e.length = std::sqrt(diff.dot(diff));
    e.box = KBoundingBox(p0, p1);
    e.box.expand(kEps);
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

// The collision check for one edge (v0, v1) in a single walk of the tree: the box query of
// KTriMeshDistTree::getTriangles (the same comparisons), the triangles with v0 or v1 as a
// corner left out, and the test four triangles at a time; stops at the first pierced one.
// Flags exactly the edges the query-then-test form flags: the candidates are the same set and
// each test gives the same bits.
bool edgePiercesTree(const KTriMeshDistTree::Data& data, const EdgeSegment& e, int v0, int v1) {
    using namespace TreeDetail;
    const F4 lo[3] = {splat(e.box.min().x), splat(e.box.min().y), splat(e.box.min().z)};
    const F4 hi[3] = {splat(e.box.max().x), splat(e.box.max().y), splat(e.box.max().z)};
    const EdgeLanes lanes(e);
    return data.walkBox(lo, hi, [&](int index) {
        const Block& blk = data.blocks[static_cast<std::size_t>(index)];
        int candidates = overlappingLanes(blk, lo, hi);
        if (!candidates)
            return false;
        candidates &= ~lanesWithCorner(data.vertices[static_cast<std::size_t>(index)], v0, v1);
        return candidates && (piercedLanes(blk, lanes) & candidates);
    });
}

inline bool hasCorner(const KInt3& tri, int v) { return tri[0] == v || tri[1] == v || tri[2] == v; }

inline bool validEdge(const KInt2& edge, int vertexCount) {
    return edge[0] >= 0 && edge[1] >= 0 && edge[0] < vertexCount && edge[1] < vertexCount;
}

// For each vertex the index of the first tree block that holds it (blockCount for none). A
// vertex index beyond vertexCount (a tree built over another mesh) is ignored, not trusted.
std::vector<int> firstBlockOfVertices(const KTriMeshDistTree::Data& data, int vertexCount) {
    const int blockCount = data.blockCount;
    std::vector<int> rank(static_cast<std::size_t>(vertexCount), blockCount);
    for (int b = blockCount - 1; b >= 0; --b) {
        const TreeDetail::BlockVertices& bv = data.vertices[static_cast<std::size_t>(b)];
        for (int k = 0; k < 3; ++k) {
            for (int lane = 0; lane < 4; ++lane) {
                const int v = bv.v[k][lane];
                if (v >= 0 && v < vertexCount)
                    rank[static_cast<std::size_t>(v)] = b;
            }
        }
    }
    return rank;
}

// The edges begin..end-1 in the order of the tree's leaves: each edge takes the smaller first
// block of its two vertices, and a counting sort lines them up (equal blocks in index order;
// invalid edges last). Walking them so keeps consecutive edges in the same leaves, which spares
// most of the memory traffic of the walk; the mesh's own edge order is often far less coherent.
void edgesInTreeOrder(const std::vector<int>& firstBlock, int blockCount, const KInt2Array& edges, int begin,
                      int end, std::vector<int>& order) {
    const int vertexCount = static_cast<int>(firstBlock.size());
    std::vector<int> start(static_cast<std::size_t>(blockCount) + 2, 0);
    std::vector<int> key(static_cast<std::size_t>(end - begin));
    for (int i = begin; i < end; ++i) {
        const KInt2 e = edges[i];
        const int k = validEdge(e, vertexCount) ? std::min(firstBlock[static_cast<std::size_t>(e[0])],
                                                           firstBlock[static_cast<std::size_t>(e[1])])
                                                : blockCount;
        key[static_cast<std::size_t>(i - begin)] = k;
        ++start[static_cast<std::size_t>(k) + 1];
    }
    for (std::size_t k = 1; k < start.size(); ++k)
        start[k] += start[k - 1];
    order.resize(key.size());
    for (int i = begin; i < end; ++i)
        order[static_cast<std::size_t>(
            start[static_cast<std::size_t>(key[static_cast<std::size_t>(i - begin)])]++)] = i;
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
    const std::vector<int> firstBlock = firstBlockOfVertices(*data, vertexCount);
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
        edgesInTreeOrder(firstBlock, data->blockCount, connections.e2v, begin, end, order);
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
            if (k + 8 < count)
                _mm_prefetch(
                    reinterpret_cast<const char*>(&connections.e2v[order[static_cast<std::size_t>(k) + 8]]),
                    _MM_HINT_T0);
#endif
            const int i = order[static_cast<std::size_t>(k)];
            const KInt2 edge = connections.e2v[i];
            if (!validEdge(edge, vertexCount))
                continue;
            const EdgeSegment e = edgeSegment(positions[edge[0]], positions[edge[1]]);
            hit[i] = edgePiercesTree(*data, e, edge[0], edge[1]) ? 1 : 0;
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
