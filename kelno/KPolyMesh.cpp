#include "KPolyMesh.h"

#include "KGL.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace Kelno {

namespace {

// Below this many elements the thread start-up costs more than it saves.
const int kParallelThreshold = 65536;

bool runParallel(int n) { return n >= kParallelThreshold && !omp_in_parallel() && omp_get_max_threads() > 1; }

bool isFinite(const KVector& p) { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); }

// Newell's normal of a polygon (twice its area times its unit normal).
KVector newellNormal(const KVector* positions, const int* indices, int count) {
    if (count == 3) {
        // For a triangle Newell's sum is exactly the cross product of two edges.
        const KVector& a = positions[indices[0]];
        return (positions[indices[1]] - a).cross(positions[indices[2]] - a);
    }
    KVector n;
    for (int k = 0; k < count; ++k) {
        const KVector& a = positions[indices[k]];
        const KVector& b = positions[indices[k + 1 == count ? 0 : k + 1]];
        n.x += (a.y - b.y) * (a.z + b.z);
        n.y += (a.z - b.z) * (a.x + b.x);
        n.z += (a.x - b.x) * (a.y + b.y);
    }
    return n;
}

bool polygonValid(const int* indices, int count, int numPoints) {
    for (int k = 0; k < count; ++k)
        if (indices[k] < 0 || indices[k] >= numPoints)
            return false;
    return true;
}

// Walks the polygons that lie within the connections and name existing vertices, calling
// fn(first index pointer, count) for each; stops at the first size that runs past the end.
template <class Fn> void forEachValidPolygon(const KPolyMesh& mesh, int minCount, Fn fn) {
    const int numPoints = mesh.m_positions.length();
    const std::int64_t numIndices = mesh.m_polygonConnections.length();
    const int* indices = mesh.m_polygonConnections.data();
    std::int64_t start = 0;
    for (int count : mesh.m_polygonCounts) {
        if (count < 0 || start + count > numIndices)
            break;
        if (count >= minCount && polygonValid(indices + start, count, numPoints))
            fn(indices + start, count);
        start += count;
    }
}

} // namespace

KPolyMesh::KPolyMesh() = default;
KPolyMesh::~KPolyMesh() = default;

void KPolyMesh::computeBoundingBox() {
    const int n = m_positions.length();
    if (!runParallel(n)) {
        m_boundingBox = m_positions.boundingBox(true);
        return;
    }
    const KVector* p = m_positions.data();
    std::vector<KBoundingBox> partial(static_cast<std::size_t>(omp_get_max_threads()));
#pragma omp parallel
    {
        KBoundingBox box;
#pragma omp for schedule(static)
        for (int i = 0; i < n; ++i)
            if (isFinite(p[i]))
                box.expand(p[i]);
        partial[static_cast<std::size_t>(omp_get_thread_num())] = box;
    }
    KBoundingBox box;
    for (const KBoundingBox& b : partial)
        box.expand(b);
    m_boundingBox = box;
}

void KPolyMesh::_buildPolygonTable() {
    const int numFaces = m_polygonCounts.length();
    const std::int64_t numIndices = m_polygonConnections.length();
    m_faceStarts.resize(static_cast<std::size_t>(numFaces));
    m_faceDrawable.resize(static_cast<std::size_t>(numFaces));
    // Starts are a running sum, so serial; the index checks come later, per face, in parallel.
    std::int64_t start = 0;
    for (int f = 0; f < numFaces; ++f) {
        const std::size_t fi = static_cast<std::size_t>(f);
        const int count = m_polygonCounts[fi];
        const bool fits = count >= 0 && start + count <= numIndices;
        m_faceStarts[fi] = fits ? static_cast<int>(start) : 0;
        m_faceDrawable[fi] = fits && count >= 3 ? 1 : 0;
        // Everything after a size that runs past the end is unusable.
        start = fits ? start + count : numIndices + 1;
    }
}

void KPolyMesh::computeVertexNormals() {
    _buildPolygonTable();
    const int numFaces = m_polygonCounts.length();
    const int numPoints = m_positions.length();
    const KVector* p = m_positions.data();
    const int* indices = m_polygonConnections.data();
    m_faceNormals.resize(static_cast<std::size_t>(numFaces));
    m_vertexNormals.assign(static_cast<std::size_t>(numPoints), KVector());

    // Face f: drop it when it names a missing vertex, else its Newell normal.
    auto faceNormal = [&](int f) {
        const std::size_t fi = static_cast<std::size_t>(f);
        const int* poly = indices + m_faceStarts[fi];
        if (m_faceDrawable[fi] && !polygonValid(poly, m_polygonCounts[fi], numPoints))
            m_faceDrawable[fi] = 0;
        m_faceNormals[fi] = m_faceDrawable[fi] ? newellNormal(p, poly, m_polygonCounts[fi]) : KVector();
    };
    auto scatter = [&](int f, KVector* acc) {
        const std::size_t fi = static_cast<std::size_t>(f);
        if (!m_faceDrawable[fi])
            return;
        const int* poly = indices + m_faceStarts[fi];
        const KVector n = m_faceNormals[fi];
        for (int k = 0; k < m_polygonCounts[fi]; ++k)
            acc[poly[k]] += n;
    };

    if (!runParallel(numFaces)) {
        for (int f = 0; f < numFaces; ++f)
            faceNormal(f);
        for (int f = 0; f < numFaces; ++f)
            scatter(f, m_vertexNormals.data());
        for (KVector& n : m_vertexNormals)
            n.normalize();
        return;
    }
    // One parallel region (few barriers: threads may be descheduled on a busy machine).
    // Vertices are scattered into one buffer per thread (the first thread uses the result
    // itself), then the buffers are added up per vertex: no atomics, no locks.
    const int threads = omp_get_max_threads();
    std::vector<KVectorArray> extra(static_cast<std::size_t>(threads > 1 ? threads - 1 : 0));
#pragma omp parallel num_threads(threads)
    {
        const int t = omp_get_thread_num();
        KVector* acc = m_vertexNormals.data();
        if (t > 0) {
            KVectorArray& own = extra[static_cast<std::size_t>(t - 1)];
            own.assign(static_cast<std::size_t>(numPoints), KVector());
            acc = own.data();
        }
        // The same static partition in both loops, so each thread scatters the faces whose
        // normals it computed itself and needs no barrier in between.
#pragma omp for schedule(static) nowait
        for (int f = 0; f < numFaces; ++f)
            faceNormal(f);
#pragma omp for schedule(static)
        for (int f = 0; f < numFaces; ++f)
            scatter(f, acc);
#pragma omp for schedule(static)
        for (int v = 0; v < numPoints; ++v) {
            KVector& n = m_vertexNormals[static_cast<std::size_t>(v)];
            for (const KVectorArray& e : extra)
                if (e.length() == numPoints) // fewer threads may have come than asked for
                    n += e[static_cast<std::size_t>(v)];
            n.normalize();
        }
    }
}

int KPolyMesh::numDrawablePolygons() const {
    int n = 0;
    forEachValidPolygon(*this, 3, [&n](const int*, int) { ++n; });
    return n;
}

void KPolyMesh::transform(const KMatrix& m, bool normalsToo) {
    const int n = m_positions.length();
    const bool affine = m(0, 3) == 0.0f && m(1, 3) == 0.0f && m(2, 3) == 0.0f && m(3, 3) == 1.0f;
    KVector* p = m_positions.data();
    if (affine) {
        const float a[4][3] = {{m(0, 0), m(0, 1), m(0, 2)},
                               {m(1, 0), m(1, 1), m(1, 2)},
                               {m(2, 0), m(2, 1), m(2, 2)},
                               {m(3, 0), m(3, 1), m(3, 2)}};
#pragma omp parallel for schedule(static) if (runParallel(n))
        for (int i = 0; i < n; ++i) {
            const KVector q = p[i];
            p[i] = KVector(q.x * a[0][0] + q.y * a[1][0] + q.z * a[2][0] + a[3][0],
                           q.x * a[0][1] + q.y * a[1][1] + q.z * a[2][1] + a[3][1],
                           q.x * a[0][2] + q.y * a[1][2] + q.z * a[2][2] + a[3][2]);
        }
    } else {
#pragma omp parallel for schedule(static) if (runParallel(n))
        for (int i = 0; i < n; ++i)
            p[i] = m.transformPoint(p[i]);
    }
    if (!normalsToo)
        return;
    KMatrix linear = m;
    linear.setTranslation(KVector());
    for (int i = 0; i < 3; ++i) {
        linear(i, 3) = 0.0f;
        linear(3, i) = 0.0f;
    }
    linear(3, 3) = 1.0f;
    const KMatrix normalMatrix = linear.inverse().transpose();
    for (KVectorArray* normals : {&m_vertexNormals, &m_faceNormals}) {
        const int count = normals->length();
#pragma omp parallel for schedule(static) if (runParallel(count))
        for (int i = 0; i < count; ++i) {
            KVector& v = (*normals)[static_cast<std::size_t>(i)];
            v = normalMatrix.transformVector(v).normalize();
        }
    }
}

void KPolyMesh::drawSurface(bool smooth) const {
    const KVector* p = m_positions.data();
    const bool haveVertexNormals = smooth && m_vertexNormals.size() == m_positions.size();
    glBegin(GL_TRIANGLES);
    forEachValidPolygon(*this, 3, [&](const int* poly, int count) {
        KVector faceNormal;
        if (!haveVertexNormals) {
            faceNormal = newellNormal(p, poly, count);
            faceNormal.normalize();
        }
        for (int k = 1; k + 1 < count; ++k) {
            const int corners[3] = {poly[0], poly[k], poly[k + 1]};
            for (int c : corners) {
                const KVector& n =
                    haveVertexNormals ? m_vertexNormals[static_cast<std::size_t>(c)] : faceNormal;
                glNormal3f(n.x, n.y, n.z);
                glVertex3f(p[c].x, p[c].y, p[c].z);
            }
        }
    });
    glEnd();
}

void KPolyMesh::drawWireframe() const {
    const KVector* p = m_positions.data();
    glBegin(GL_LINES);
    forEachValidPolygon(*this, 2, [&](const int* poly, int count) {
        for (int k = 0; k < count; ++k) {
            const KVector& a = p[poly[k]];
            const KVector& b = p[poly[k + 1 == count ? 0 : k + 1]];
            glVertex3f(a.x, a.y, a.z);
            glVertex3f(b.x, b.y, b.z);
        }
    });
    glEnd();
}

} // namespace Kelno
