#include "KTreeSkeleton.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>

namespace Kelno {
namespace KTreeSkeleton {

float fastInvSqrt(float s) {
    std::uint32_t bits;
    std::memcpy(&bits, &s, sizeof bits);
    bits = 0x5F3759DFu - (bits >> 1);
    float y;
    std::memcpy(&y, &bits, sizeof y);
    return y * (1.5f - 0.5f * s * y * y);
}

namespace {
KVector normalizeEps(const KVector& v) { return v * fastInvSqrt(v.dot(v) + 1e-30f); }

bool vertexOk(const KTriMesh& mesh, int v) { return v >= 0 && v < mesh.positions.length(); }
} // namespace

bool linePlaneIntersection(const KVector& planeNormal, const KVector& planePoint, const KVector& a,
                           const KVector& b, KVector& hit) {
    const KVector ab = b - a;
    const float den = planeNormal.dot(ab);
    if (den == 0.0f)
        return false;
    const float t = planeNormal.dot(planePoint - a) / den;
    hit = a + ab * t;
    return t >= 0.0f && t <= 1.0f;
}

bool fitPlane(const KVectorArray& points, KVector* normal, KVector* centroid) {
    const int n = points.length();
    if (n < 3)
        return false;
    KVector sum;
    for (const KVector& p : points)
        sum += p;
    const KVector c = sum * (1.0f / static_cast<float>(n));
    if (centroid)
        *centroid = c;
    float xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
    for (const KVector& p : points) {
        const KVector d = p - c;
        xx += d.x * d.x;
        xy += d.x * d.y;
        xz += d.x * d.z;
        yy += d.y * d.y;
        yz += d.y * d.z;
        zz += d.z * d.z;
    }
    const float detX = yy * zz - yz * yz;
    const float detY = xx * zz - xz * xz;
    const float detZ = xx * yy - xy * xy;
    const float detMax = std::max(detX, std::max(detY, detZ));
    if (!(detMax > 0.0f))
        return false;
    KVector nrm;
    if (detX == detMax)
        nrm = KVector(1.0f, (xz * xz - xy * zz) / detX, (xy * yz - xz * yy) / detX);
    else if (detY == detMax)
        nrm = KVector((xz * yz - xy * zz) / detY, 1.0f, (xy * xz - yz * xx) / detY);
    else
        nrm = KVector((xy * yz - xz * yy) / detZ, (xy * xz - yz * xx) / detZ, 1.0f);
    if (normal)
        *normal = nrm;
    return true;
}

void findCenter(const KTriMesh& mesh, const KTriMeshConnectionInfo& conn, int iterations, float step,
                KVectorArray& centres, EdgeScan scan) {
    centres.clear();
    const KVectorArray& pos = mesh.positions;
    const KBoundingBox box = mesh.boundingBox(true);
    const KVector c = box.center();
    const KVector m = box.min();
    const float R = (m - c).length();
    const int edgeCount = std::min(conn.e2v.length(), conn.e2t.length());

    // Seeds: first end of every boundary edge whose midpoint is within R of the minimum corner;
    // the far loop when that gives fewer than three.
    KVectorArray seeds;
    for (int pass = 0; pass < 2 && seeds.length() < 3; ++pass) {
        seeds.clear();
        for (int e = 0; e < edgeCount; ++e) {
            if (conn.e2t[e][0] != -1 && conn.e2t[e][1] != -1)
                continue;
            const int va = conn.e2v[e][0], vb = conn.e2v[e][1];
            if (!vertexOk(mesh, va) || !vertexOk(mesh, vb))
                continue;
            const KVector q = (pos[va] + pos[vb]) * 0.5f;
            const bool near = (m - q).length() <= R;
            if (near == (pass == 0))
                seeds.push_back(pos[va]);
        }
    }

    KVector N, C;
    fitPlane(seeds, &N, &C);
    centres.push_back(C);
    if (iterations < 1)
        return;

    const int triCount = std::min(mesh.triangles.length(), conn.t2e.length());
    KIntArray E, T;
    KVectorArray Q;
    const bool prefilter = scan == EdgeScan::Prefiltered;
    std::vector<float> side, scale;
    for (int it = 0; it < iterations; ++it) {
        const KVector P = C + N * step;
        E.clear();
        T.clear();
        // The prefilter skips edges whose two ends lie on the same side of the plane by far more
        // than any rounding of the exact test could move them (a margin of about a thousand
        // ulps of the terms involved); every other edge gets the exact test, so the crossings
        // are exactly those of the full scan. NaNs and infinities never pass the skip test.
        float sideP = 0.0f, scaleP = 0.0f;
        if (prefilter) {
            const int nv = pos.length();
            side.resize(static_cast<size_t>(nv));
            scale.resize(static_cast<size_t>(nv));
            for (int v = 0; v < nv; ++v) {
                const KVector& p = pos[v];
                side[static_cast<size_t>(v)] = N.x * p.x + N.y * p.y + N.z * p.z;
                scale[static_cast<size_t>(v)] =
                    std::fabs(N.x * p.x) + std::fabs(N.y * p.y) + std::fabs(N.z * p.z);
            }
            sideP = N.x * P.x + N.y * P.y + N.z * P.z;
            scaleP = std::fabs(N.x * P.x) + std::fabs(N.y * P.y) + std::fabs(N.z * P.z);
        }
        KVector hit;
        for (int e = 0; e < edgeCount; ++e) {
            const int va = conn.e2v[e][0], vb = conn.e2v[e][1];
            if (!vertexOk(mesh, va) || !vertexOk(mesh, vb))
                continue;
            if (prefilter) {
                const float da = side[static_cast<size_t>(va)] - sideP,
                            db = side[static_cast<size_t>(vb)] - sideP;
                const float margin =
                    1e-4f * (scale[static_cast<size_t>(va)] + scale[static_cast<size_t>(vb)] + scaleP);
                if ((da > margin && db > margin) || (da < -margin && db < -margin))
                    continue;
            }
            if (linePlaneIntersection(N, P, pos[va], pos[vb], hit)) {
                E.push_back(e);
                const int t0 = conn.e2t[e][0], t1 = conn.e2t[e][1];
                if (t0 != -1)
                    T.push_back(t0);
                if (t1 != -1)
                    T.push_back(t1);
            }
        }
        E.deduplicate();
        T.deduplicate();
        if (T.empty() || E.empty())
            return;

        KVector S;
        for (int t : T) {
            if (t < 0 || t >= triCount)
                continue;
            const KInt3& tri = mesh.triangles[t];
            if (!vertexOk(mesh, tri[0]) || !vertexOk(mesh, tri[1]) || !vertexOk(mesh, tri[2]))
                continue;
            const KVector p0 = pos[tri[0]];
            const KVector cr = (pos[tri[1]] - p0).cross(pos[tri[2]] - p0);
            const KVector a = normalizeEps(cr) * (0.5f * std::sqrt(cr.dot(cr)));
            S += normalizeEps(N.cross(a).cross(a));
        }
        KVector D = normalizeEps(S * (1.0f / (static_cast<float>(T.length()) + 1e-30f)));
        if (N.dot(D) < 0.0f)
            D = -D;

        Q.clear();
        for (int t : T) {
            if (t < 0 || t >= triCount)
                continue;
            const int before = Q.length();
            for (int k = 0; k < 3; ++k) {
                const int e = conn.t2e[t][k];
                if (e < 0 || e >= edgeCount)
                    continue;
                const int va = conn.e2v[e][0], vb = conn.e2v[e][1];
                if (!vertexOk(mesh, va) || !vertexOk(mesh, vb))
                    continue;
                if (linePlaneIntersection(D, P, pos[va], pos[vb], hit))
                    Q.push_back(hit);
            }
            // Deduplicate after every triangle. Q was duplicate-free before this triangle, so only
            // its new points need comparing: the same survivors, in the same order, as
            // Q.deduplicate(), without its quadratic pass over the whole list.
            int kept = before;
            for (int j = before; j < Q.length(); ++j) {
                bool duplicate = false;
                for (int i = 0; i < kept && !duplicate; ++i)
                    duplicate = Q[i] == Q[j];
                if (!duplicate)
                    Q[kept++] = Q[j];
            }
            Q.resize(static_cast<size_t>(kept));
        }
        if (Q.empty())
            return;
        KVector sumQ;
        for (const KVector& q : Q)
            sumQ += q;
        C = sumQ * (1.0f / (static_cast<float>(Q.length()) + 1e-30f));
        centres.push_back(C);
        N = D;
    }
}

std::vector<KTriMesh> splitConnected(const KTriMesh& mesh) {
    const int nv = mesh.vertexCount();
    std::vector<int> parent(static_cast<std::size_t>(nv));
    std::iota(parent.begin(), parent.end(), 0);
    auto find = [&](int v) {
        while (parent[static_cast<std::size_t>(v)] != v) {
            parent[static_cast<std::size_t>(v)] =
                parent[static_cast<std::size_t>(parent[static_cast<std::size_t>(v)])];
            v = parent[static_cast<std::size_t>(v)];
        }
        return v;
    };
    auto inRange = [&](const KInt3& t) {
        return vertexOk(mesh, t[0]) && vertexOk(mesh, t[1]) && vertexOk(mesh, t[2]);
    };
    for (const KInt3& t : mesh.triangles) {
        if (!inRange(t))
            continue;
        for (int k = 1; k < 3; ++k) {
            const int a = find(t[0]), b = find(t[k]);
            if (a != b)
                parent[static_cast<std::size_t>(b)] = a;
        }
    }
    std::vector<KTriMesh> pieces;
    std::vector<int> pieceOfRoot(static_cast<std::size_t>(nv), -1);
    std::vector<int> newIndex(static_cast<std::size_t>(nv), -1);
    const bool withUVs = mesh.uvs.length() == 3 * mesh.triangleCount();
    for (int ti = 0; ti < mesh.triangleCount(); ++ti) {
        const KInt3& t = mesh.triangles[ti];
        if (!inRange(t))
            continue;
        int& piece = pieceOfRoot[static_cast<std::size_t>(find(t[0]))];
        if (piece < 0) {
            piece = static_cast<int>(pieces.size());
            pieces.emplace_back();
        }
        KTriMesh& out = pieces[static_cast<std::size_t>(piece)];
        KInt3 nt;
        for (int k = 0; k < 3; ++k) {
            int& ni = newIndex[static_cast<std::size_t>(t[k])];
            if (ni < 0) {
                ni = out.positions.length();
                out.positions.push_back(mesh.positions[t[k]]);
            }
            nt[k] = ni;
        }
        out.triangles.push_back(nt);
        if (withUVs)
            for (int k = 0; k < 3; ++k)
                out.uvs.push_back(mesh.uvs[3 * ti + k]);
    }
    return pieces;
}

int findMainBranch(const std::vector<KNurbsCurve>& curves) {
    float best = 0.0f;
    int index = 0;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const float len = static_cast<float>(curves[i].length(0.001));
        best = std::max(best, len);
        if (len == best)
            index = static_cast<int>(i);
    }
    return index;
}

Hierarchy buildHierarchy(std::vector<KNurbsCurve>& curves) {
    Hierarchy h;
    const int n = static_cast<int>(curves.size());
    h.mainBranch = findMainBranch(curves);
    h.parentCurves.assign(static_cast<std::size_t>(n), 0);
    h.parentCVs.assign(static_cast<std::size_t>(n), 0);
    h.curveNumCVs.assign(static_cast<std::size_t>(n), 0);
    h.rootPoints.assign(static_cast<std::size_t>(n), KNurbsCurve::Point{});
    if (n == 0)
        return h;
    const KNurbsCurve& mainCurve = curves[static_cast<std::size_t>(h.mainBranch)];
    for (int i = 0; i < n; ++i) {
        KNurbsCurve& c = curves[static_cast<std::size_t>(i)];
        h.curveNumCVs[static_cast<std::size_t>(i)] = c.numCVs();
        if (i == h.mainBranch) {
            h.parentCurves[static_cast<std::size_t>(i)] = -1;
            continue;
        }
        if (!c.valid())
            continue;
        const KNurbsCurve::Point first = c.cv(0), last = c.cv(c.numCVs() - 1);
        if (mainCurve.distanceToPoint(last) < mainCurve.distanceToPoint(first)) {
            h.rootPoints[static_cast<std::size_t>(i)] = last;
            c.reverse();
        } else {
            h.rootPoints[static_cast<std::size_t>(i)] = first;
        }
    }
    for (int i = 0; i < n; ++i) {
        if (i == h.mainBranch)
            continue;
        const KNurbsCurve::Point& root = h.rootPoints[static_cast<std::size_t>(i)];
        float best = 1e30f;
        int parent = 0;
        for (int j = 0; j < n; ++j) {
            if (j == i)
                continue;
            const float d = static_cast<float>(curves[static_cast<std::size_t>(j)].distanceToPoint(root));
            if (d <= best) {
                best = d;
                parent = j;
            }
        }
        h.parentCurves[static_cast<std::size_t>(i)] = parent;
        const KNurbsCurve& pc = curves[static_cast<std::size_t>(parent)];
        float bestCV = 1e30f;
        int cvIndex = 0;
        for (int k = 0; k < pc.numCVs(); ++k) {
            const KNurbsCurve::Point q = pc.cv(k);
            const double dx = q[0] - root[0], dy = q[1] - root[1], dz = q[2] - root[2];
            const float d2 = static_cast<float>(dx * dx + dy * dy + dz * dz);
            if (d2 <= bestCV) {
                bestCV = d2;
                cvIndex = k;
            }
        }
        h.parentCVs[static_cast<std::size_t>(i)] = cvIndex;
    }
    return h;
}

} // namespace KTreeSkeleton
} // namespace Kelno
