#include "KMesh.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace Kelno {

namespace {

bool triangleInRange(const KInt3& t, int vertexCount) {
    return t[0] >= 0 && t[0] < vertexCount && t[1] >= 0 && t[1] < vertexCount && t[2] >= 0 &&
           t[2] < vertexCount;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// KTriMesh

bool KTriMesh::indicesValid() const {
    const int n = vertexCount();
    for (const KInt3& t : triangles) {
        if (!triangleInRange(t, n))
            return false;
    }
    return true;
}

void KTriMesh::clear() {
    positions.clear();
    triangles.clear();
    uvs.clear();
}

void KTriMesh::getVertexNormals(KVectorArray& out, bool areaWeighted) const {
    const int n = vertexCount();
    KVectorArray sums(n);
    for (const KInt3& t : triangles) {
        if (!triangleInRange(t, n))
            continue;
        const KVector& p0 = positions[t[0]];
        KVector nrm = (positions[t[1]] - p0).cross(positions[t[2]] - p0);
        if (!areaWeighted)
            nrm.normalize();
        for (int k = 0; k < 3; ++k)
            sums[t[k]] += nrm;
    }
    for (KVector& v : sums) {
        const float len = v.length();
        // A sum that vanished (or overflowed) carries no direction.
        v = (len > 1e-30f && std::isfinite(len)) ? v / len : KVector();
    }
    out.swap(sums);
}

// ---------------------------------------------------------------------------------------------
// KMesh

void KMesh::clear() {
    positions.clear();
    faces.clear();
    uvs.clear();
}

void KMesh::deleteElements(const KIntArray& ids) {
    const int n = faceCount();
    if (n == 0 || ids.empty())
        return;
    // UVs follow their faces only when they are complete (one per corner); otherwise they
    // cannot be matched to faces and are left alone.
    std::size_t corners = 0;
    for (const KIntArray& f : faces)
        corners += f.size();
    const bool carryUvs = uvs.size() == corners;

    KCharArray gone(n);
    for (int id : ids) {
        if (id >= 0 && id < n)
            gone[id] = 1;
    }
    KIntArrayList keptFaces;
    KVectorArray keptUvs;
    std::size_t corner = 0;
    for (int i = 0; i < n; ++i) {
        const std::size_t count = faces[i].size();
        if (!gone[i]) {
            if (carryUvs)
                keptUvs.insert(keptUvs.end(), uvs.begin() + corner, uvs.begin() + corner + count);
            keptFaces.push_back(std::move(faces[i]));
        }
        corner += count;
    }
    faces.swap(keptFaces);
    if (carryUvs)
        uvs.swap(keptUvs);
}

void KMesh::getConnections(KIntArray& out) const {
    out.clear();
    std::size_t corners = 0;
    for (const KIntArray& f : faces)
        corners += f.size();
    out.reserve(corners);
    for (const KIntArray& f : faces)
        out.insert(out.end(), f.begin(), f.end());
}

void KMesh::getCounts(KIntArray& out) const {
    out.clear();
    out.reserve(faces.size());
    for (const KIntArray& f : faces)
        out.push_back(f.length());
}

void KMesh::exchange(KMesh& other) {
    positions.swap(other.positions);
    faces.swap(other.faces);
    uvs.swap(other.uvs);
}

// ---------------------------------------------------------------------------------------------
// KTriMeshConnectionInfo

void KTriMeshConnectionInfo::clear() {
    e2v.clear();
    e2t.clear();
    t2e.clear();
    v2e.clear();
    t2v.clear();
    m_triangles.clear();
    m_vertexCount = 0;
    m_edges.clear();
    m_triEdges.clear();
}

void KTriMeshConnectionInfo::set(const KTriMesh& mesh) {
    clear();
    m_triangles = mesh.triangles;
    m_vertexCount = mesh.vertexCount();

    const int nt = m_triangles.length();
    m_triEdges.assign(static_cast<std::size_t>(nt), KInt3{{-1, -1, -1}});
    std::unordered_map<std::uint64_t, int> edgeOfPair;
    edgeOfPair.reserve(static_cast<std::size_t>(nt) * 2);
    for (int t = 0; t < nt; ++t) {
        const KInt3& tri = m_triangles[t];
        if (!triangleInRange(tri, m_vertexCount))
            continue;
        for (int k = 0; k < 3; ++k) {
            const int a = tri[k];
            const int b = tri[(k + 1) % 3];
            const std::uint64_t key = (static_cast<std::uint64_t>(std::min(a, b)) << 32) |
                                      static_cast<std::uint32_t>(std::max(a, b));
            auto found = edgeOfPair.emplace(key, m_edges.length());
            if (found.second)
                m_edges.push_back(KInt2{{a, b}});
            m_triEdges[t][k] = found.first->second;
        }
    }
    e2v = m_edges;
}

void KTriMeshConnectionInfo::calculate_e2v() { e2v = m_edges; }

void KTriMeshConnectionInfo::calculate_t2e() { t2e = m_triEdges; }

void KTriMeshConnectionInfo::calculate_t2v() { t2v = m_triangles; }

void KTriMeshConnectionInfo::calculate_e2t() {
    e2t.assign(m_edges.size(), KInt2{{-1, -1}});
    const int nt = m_triEdges.length();
    for (int t = 0; t < nt; ++t) {
        for (int k = 0; k < 3; ++k) {
            const int e = m_triEdges[t][k];
            if (e < 0)
                continue;
            KInt2& sides = e2t[e];
            // A triangle that holds the same edge twice (v, w, v) is still one side.
            if (sides[0] < 0)
                sides[0] = t;
            else if (sides[1] < 0 && sides[0] != t)
                sides[1] = t;
        }
    }
}

void KTriMeshConnectionInfo::calculate_v2e() {
    v2e.assign(static_cast<std::size_t>(m_vertexCount), KIntArray());
    const int ne = m_edges.length();
    for (int e = 0; e < ne; ++e) {
        const int a = m_edges[e][0];
        const int b = m_edges[e][1];
        v2e[a].push_back(e);
        if (b != a)
            v2e[b].push_back(e);
    }
}

} // namespace Kelno
