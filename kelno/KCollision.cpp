#include "KCollision.h"

#if defined(__SSE__) && defined(__GNUC__)
#include <xmmintrin.h>
#define KELNO_COLLISION_SSE 1
#endif

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

inline bool hasCorner(const KInt3& tri, int v) { return tri[0] == v || tri[1] == v || tri[2] == v; }

inline bool validEdge(const KInt2& edge, int vertexCount) {
    return edge[0] >= 0 && edge[1] >= 0 && edge[0] < vertexCount && edge[1] < vertexCount;
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

// ---- KEdgeCollider --------------------------------------------------------------------------

struct KEdgeCollider::Data {
    // Internal node: children at `first` and `first + 1` (side by side, so one node visit reads
    // both boxes from neighbouring memory); leaf: triangles [first, first + count).
    struct Node {
        float lo[3];
        int first;
        float hi[3];
        int count; // 0 for an internal node
    };
    // Triangle boxes apart from the rest, so the box tests of a leaf read little memory.
    struct Box {
        float lo[3];
        float hi[3];
    };
    struct Triangle {
        KVector a;
        KVector e1;
        KVector e2;
        int v[3];
    };
    std::vector<Node> nodes;
    std::vector<Box> boxes;
    std::vector<Triangle> triangles;
};

namespace {

struct PrimRef {
    float lo[3];
    float hi[3];
    float centre[3];
    int triangle;
};

const int kLeafSize = 4;

void buildNode(std::vector<KEdgeCollider::Data::Node>& nodes, std::vector<PrimRef>& refs, int index,
               int begin, int end) {
    float lo[3] = {refs[begin].lo[0], refs[begin].lo[1], refs[begin].lo[2]};
    float hi[3] = {refs[begin].hi[0], refs[begin].hi[1], refs[begin].hi[2]};
    float clo[3] = {refs[begin].centre[0], refs[begin].centre[1], refs[begin].centre[2]};
    float chi[3] = {clo[0], clo[1], clo[2]};
    for (int i = begin + 1; i < end; ++i) {
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], refs[i].lo[k]);
            hi[k] = std::max(hi[k], refs[i].hi[k]);
            clo[k] = std::min(clo[k], refs[i].centre[k]);
            chi[k] = std::max(chi[k], refs[i].centre[k]);
        }
    }
    for (int k = 0; k < 3; ++k) {
        nodes[static_cast<std::size_t>(index)].lo[k] = lo[k];
        nodes[static_cast<std::size_t>(index)].hi[k] = hi[k];
    }
    if (end - begin <= kLeafSize) {
        nodes[static_cast<std::size_t>(index)].first = begin;
        nodes[static_cast<std::size_t>(index)].count = end - begin;
        return;
    }
    int axis = 0;
    if (chi[1] - clo[1] > chi[axis] - clo[axis])
        axis = 1;
    if (chi[2] - clo[2] > chi[axis] - clo[axis])
        axis = 2;
    const int mid = begin + (end - begin) / 2;
    std::nth_element(refs.begin() + begin, refs.begin() + mid, refs.begin() + end,
                     [axis](const PrimRef& x, const PrimRef& y) { return x.centre[axis] < y.centre[axis]; });
    const int children = static_cast<int>(nodes.size());
    nodes.resize(nodes.size() + 2);
    nodes[static_cast<std::size_t>(index)].first = children;
    nodes[static_cast<std::size_t>(index)].count = 0;
    buildNode(nodes, refs, children, begin, mid);
    buildNode(nodes, refs, children + 1, mid, end);
}

inline bool finite(const KVector& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// Closed intervals on every axis, as KBoundingBox::overlaps.
inline bool overlaps(const float* lo, const float* hi, const float* qlo, const float* qhi) {
    return lo[0] <= qhi[0] && hi[0] >= qlo[0] && lo[1] <= qhi[1] && hi[1] >= qlo[1] && lo[2] <= qhi[2] &&
           hi[2] >= qlo[2];
}

} // namespace

KEdgeCollider::KEdgeCollider() : m_data(new Data) {}
KEdgeCollider::KEdgeCollider(const KTriMesh& mesh) : m_data(new Data) { set(mesh); }
KEdgeCollider::~KEdgeCollider() {}

void KEdgeCollider::set(const KTriMesh& mesh) {
    std::unique_ptr<Data> data(new Data);
    const int vertexCount = mesh.vertexCount();
    std::vector<PrimRef> refs;
    refs.reserve(mesh.triangles.size());
    for (int t = 0; t < mesh.triangleCount(); ++t) {
        const KInt3& tri = mesh.triangles[t];
        bool usable = true;
        for (int k = 0; k < 3; ++k)
            usable = usable && tri[k] >= 0 && tri[k] < vertexCount && finite(mesh.positions[tri[k]]);
        if (!usable)
            continue;
        PrimRef r;
        const KVector& a = mesh.positions[tri[0]];
        const KVector& b = mesh.positions[tri[1]];
        const KVector& c = mesh.positions[tri[2]];
        for (int k = 0; k < 3; ++k) {
            r.lo[k] = std::min(std::min(a[k], b[k]), c[k]);
            r.hi[k] = std::max(std::max(a[k], b[k]), c[k]);
            r.centre[k] = 0.5f * r.lo[k] + 0.5f * r.hi[k];
        }
        r.triangle = t;
        refs.push_back(r);
    }
    if (!refs.empty()) {
        data->nodes.reserve(refs.size() / 2 + 2);
        data->nodes.resize(1);
        buildNode(data->nodes, refs, 0, 0, static_cast<int>(refs.size()));
        data->boxes.resize(refs.size());
        data->triangles.resize(refs.size());
        for (std::size_t i = 0; i < refs.size(); ++i) {
            Data::Triangle& out = data->triangles[i];
            const KInt3& tri = mesh.triangles[refs[i].triangle];
            for (int k = 0; k < 3; ++k) {
                data->boxes[i].lo[k] = refs[i].lo[k];
                data->boxes[i].hi[k] = refs[i].hi[k];
                out.v[k] = tri[k];
            }
            out.a = mesh.positions[tri[0]];
            out.e1 = mesh.positions[tri[1]] - out.a;
            out.e2 = mesh.positions[tri[2]] - out.a;
        }
    }
    m_data = std::move(data);
}

bool KEdgeCollider::edgePierces(int a, int b, const KVector& p0, const KVector& p1) const {
    const Data& data = *m_data;
    if (data.nodes.empty())
        return false;
    const EdgeSegment e = edgeSegment(p0, p1);
    const float qlo[3] = {e.box.min().x, e.box.min().y, e.box.min().z};
    const float qhi[3] = {e.box.max().x, e.box.max().y, e.box.max().z};
    int stack[128];
    int top = 0;
    int index = 0;
    if (!overlaps(data.nodes[0].lo, data.nodes[0].hi, qlo, qhi))
        return false;
    for (;;) {
        const Data::Node& node = data.nodes[static_cast<std::size_t>(index)];
        if (node.count > 0) {
            for (int i = node.first; i < node.first + node.count; ++i) {
                const Data::Box& box = data.boxes[static_cast<std::size_t>(i)];
                if (!overlaps(box.lo, box.hi, qlo, qhi))
                    continue;
                const Data::Triangle& t = data.triangles[static_cast<std::size_t>(i)];
                if (t.v[0] == a || t.v[1] == a || t.v[2] == a || t.v[0] == b || t.v[1] == b || t.v[2] == b)
                    continue;
                if (piercesWithEdges(e.p0, e.d, e.length, t.a, t.e1, t.e2))
                    return true;
            }
        } else {
            const int left = node.first;
            const int right = node.first + 1;
            const Data::Node& l = data.nodes[static_cast<std::size_t>(left)];
            const Data::Node& r = data.nodes[static_cast<std::size_t>(right)];
            const bool goLeft = overlaps(l.lo, l.hi, qlo, qhi);
            const bool goRight = overlaps(r.lo, r.hi, qlo, qhi);
            if (goLeft && goRight) {
                stack[top++] = right;
                index = left;
                continue;
            }
            if (goLeft || goRight) {
                index = goLeft ? left : right;
                continue;
            }
        }
        if (top == 0)
            return false;
        index = stack[--top];
    }
}

#if defined(KELNO_COLLISION_SSE)
namespace {

// Four consecutive edges traverse the hierarchy together: a node or triangle box is compared
// with the four edge boxes at once (the same closed-interval float comparisons as the scalar
// test, so the candidates of every edge are unchanged), and an edge leaves the packet at its
// first hit.
struct EdgePacket {
    __m128 lo[3];
    __m128 hi[3];
    EdgeSegment segment[4];
    int a[4];
    int b[4];
};

inline int overlapMask(const float* lo, const float* hi, const EdgePacket& p) {
    __m128 m =
        _mm_and_ps(_mm_cmple_ps(_mm_set1_ps(lo[0]), p.hi[0]), _mm_cmpge_ps(_mm_set1_ps(hi[0]), p.lo[0]));
    m = _mm_and_ps(m, _mm_cmple_ps(_mm_set1_ps(lo[1]), p.hi[1]));
    m = _mm_and_ps(m, _mm_cmpge_ps(_mm_set1_ps(hi[1]), p.lo[1]));
    m = _mm_and_ps(m, _mm_cmple_ps(_mm_set1_ps(lo[2]), p.hi[2]));
    m = _mm_and_ps(m, _mm_cmpge_ps(_mm_set1_ps(hi[2]), p.lo[2]));
    return _mm_movemask_ps(m);
}

// Returns the mask of the packet's edges that pierce a triangle (of those in `active`).
int packetPierces(const KEdgeCollider::Data& data, const EdgePacket& p, int active) {
    int hits = 0;
    if (data.nodes.empty())
        return 0;
    int stack[128];
    int top = 0;
    int index = 0;
    if (!(overlapMask(data.nodes[0].lo, data.nodes[0].hi, p) & active))
        return 0;
    for (;;) {
        const KEdgeCollider::Data::Node& node = data.nodes[static_cast<std::size_t>(index)];
        if (node.count > 0) {
            for (int i = node.first; i < node.first + node.count; ++i) {
                const KEdgeCollider::Data::Box& box = data.boxes[static_cast<std::size_t>(i)];
                int m = overlapMask(box.lo, box.hi, p) & active;
                if (!m)
                    continue;
                const KEdgeCollider::Data::Triangle& t = data.triangles[static_cast<std::size_t>(i)];
                while (m) {
                    const int j = __builtin_ctz(static_cast<unsigned>(m));
                    m &= m - 1;
                    const int a = p.a[j], b = p.b[j];
                    if (t.v[0] == a || t.v[1] == a || t.v[2] == a || t.v[0] == b || t.v[1] == b ||
                        t.v[2] == b)
                        continue;
                    const EdgeSegment& e = p.segment[j];
                    if (piercesWithEdges(e.p0, e.d, e.length, t.a, t.e1, t.e2)) {
                        hits |= 1 << j;
                        active &= ~(1 << j);
                    }
                }
                if (!active)
                    return hits;
            }
        } else {
            const int left = node.first;
            const int right = node.first + 1;
            const bool goLeft = overlapMask(data.nodes[static_cast<std::size_t>(left)].lo,
                                            data.nodes[static_cast<std::size_t>(left)].hi, p) &
                                active;
            const bool goRight = overlapMask(data.nodes[static_cast<std::size_t>(right)].lo,
                                             data.nodes[static_cast<std::size_t>(right)].hi, p) &
                                 active;
            if (goLeft && goRight) {
                stack[top++] = right;
                index = left;
                continue;
            }
            if (goLeft || goRight) {
                index = goLeft ? left : right;
                continue;
            }
        }
        if (top == 0)
            return hits;
        index = stack[--top];
    }
}

} // namespace
#endif

void FindIntersectingEdges(const KTriMesh& mesh, const KEdgeCollider& collider,
                           const KTriMeshConnectionInfo& connections, KIntArray& hit,
                           const KProgressCallback& progress) {
    const int edgeCount = connections.e2v.length();
    hit.assign(static_cast<std::size_t>(edgeCount), 0);
    if (progress)
        progress(0.0f);
    const int vertexCount = mesh.vertexCount();
    ProgressReporter reporter(progress, edgeCount);
#pragma omp parallel
    {
        // The static partition: thread k < r takes q + 1 edges from k (q + 1), the others q
        // edges from r + k q.
        const int threads = omp_get_num_threads();
        const int k = omp_get_thread_num();
        const int q = edgeCount / threads, r = edgeCount % threads;
        const int begin = k < r ? k * (q + 1) : r + k * q;
        const int end = begin + (k < r ? q + 1 : q);
#if defined(KELNO_COLLISION_SSE)
        const KEdgeCollider::Data& data = *collider.m_data;
        for (int first = begin; first < end; first += 4) {
            EdgePacket p;
            float lo[3][4], hi[3][4];
            int active = 0;
            for (int j = 0; j < 4; ++j) {
                const int i = first + j;
                const bool valid = i < end && validEdge(connections.e2v[i], vertexCount);
                p.a[j] = valid ? connections.e2v[i][0] : -1;
                p.b[j] = valid ? connections.e2v[i][1] : -1;
                if (valid) {
                    p.segment[j] = edgeSegment(mesh.positions[p.a[j]], mesh.positions[p.b[j]]);
                    active |= 1 << j;
                }
                for (int axis = 0; axis < 3; ++axis) {
                    lo[axis][j] = valid ? p.segment[j].box.min()[axis] : 1.0f;
                    hi[axis][j] = valid ? p.segment[j].box.max()[axis] : 0.0f;
                }
                if (i < end)
                    reporter.step();
            }
            for (int axis = 0; axis < 3; ++axis) {
                p.lo[axis] = _mm_loadu_ps(lo[axis]);
                p.hi[axis] = _mm_loadu_ps(hi[axis]);
            }
            const int hits = active ? packetPierces(data, p, active) : 0;
            for (int j = 0; j < 4; ++j)
                if (hits & (1 << j))
                    hit[first + j] = 1;
        }
#else
        for (int i = begin; i < end; ++i) {
            reporter.step();
            const KInt2 edge = connections.e2v[i];
            if (validEdge(edge, vertexCount) &&
                collider.edgePierces(edge[0], edge[1], mesh.positions[edge[0]], mesh.positions[edge[1]]))
                hit[i] = 1;
        }
#endif
    }
    if (progress)
        progress(1.0f);
}

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
    if (progress)
        progress(0.0f);
    const KVectorArray& positions = mesh.positions;
    const KInt3Array& triangles = mesh.triangles;
    const int vertexCount = positions.length();
    ProgressReporter reporter(progress, edgeCount);
#pragma omp parallel
    {
        KIntArray candidates;
#pragma omp for schedule(static)
        for (int i = 0; i < edgeCount; ++i) {
            reporter.step();
            const KInt2 edge = connections.e2v[i];
            if (!validEdge(edge, vertexCount))
                continue;
            const EdgeSegment e = edgeSegment(positions[edge[0]], positions[edge[1]]);
            // The order of the candidates does not matter: the edge is flagged when any of
            // them is pierced.
            tree.getTriangles(e.box, candidates, false);
            for (int t : candidates) {
                const KInt3& tri = triangles[t];
                if (hasCorner(tri, edge[0]) || hasCorner(tri, edge[1]))
                    continue;
                if (pierces(e.p0, e.d, e.length, positions[tri[0]], positions[tri[1]], positions[tri[2]])) {
                    hit[i] = 1;
                    break;
                }
            }
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
