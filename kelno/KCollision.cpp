#include "KCollision.h"

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
