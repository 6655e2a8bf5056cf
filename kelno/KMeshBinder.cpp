#include "KMeshBinder.h"

#include "KTriMeshDistTree.h"

#include <cmath>
#include <utility>

namespace Kelno {

namespace {

bool triangleCorners(const KTriMesh& mesh, int triangle, KInt3& corners) {
    if (triangle < 0 || triangle >= mesh.triangleCount())
        return false;
    corners = mesh.triangles[static_cast<std::size_t>(triangle)];
    const int count = mesh.vertexCount();
    for (int k = 0; k < 3; ++k)
        if (corners[k] < 0 || corners[k] >= count)
            return false;
    return true;
}

// The single-precision centre, summed left to right and divided once.
KVector centreOf(const KVector& p0, const KVector& p1, const KVector& p2) {
    return KVector((p0.x + p1.x + p2.x) / 3.0f, (p0.y + p1.y + p2.y) / 3.0f, (p0.z + p1.z + p2.z) / 3.0f);
}

void normalise(double v[3]) {
    const double len2 = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
    if (len2 > 1e-20) {
        const double len = std::sqrt(len2);
        v[0] /= len;
        v[1] /= len;
        v[2] /= len;
    }
}

} // namespace

KMatrix4d::KMatrix4d() {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            m[r][c] = r == c ? 1.0 : 0.0;
}

KMatrix4d KMatrix4d::operator*(const KMatrix4d& b) const {
    KMatrix4d out;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += m[r][k] * b.m[k][c];
            out.m[r][c] = sum;
        }
    return out;
}

KMatrix4d KMatrix4d::inverse(bool* invertible) const {
    KMatrix4d out;
    const bool ok = InvertMatrix4(m, out.m, 1e-20);
    if (invertible)
        *invertible = ok;
    return ok ? out : KMatrix4d();
}

bool TriangleFrame(const KTriMesh& mesh, int triangle, int vertex, KTriangleFrame& frame) {
    KInt3 corners;
    if (!triangleCorners(mesh, triangle, corners) || vertex < 0 || vertex >= mesh.vertexCount())
        return false;
    const KVector& p0 = mesh.positions[static_cast<std::size_t>(corners[0])];
    const KVector& p1 = mesh.positions[static_cast<std::size_t>(corners[1])];
    const KVector& p2 = mesh.positions[static_cast<std::size_t>(corners[2])];
    const KVector c = centreOf(p0, p1, p2);
    const KVector e1 = p1 - p0;
    const KVector e2 = p2 - p0;
    const KVector n(e1.y * e2.z - e1.z * e2.y, e1.z * e2.x - e1.x * e2.z, e1.x * e2.y - e1.y * e2.x);
    const KVector& f = mesh.positions[static_cast<std::size_t>(vertex)];

    frame.centre = c;
    for (int k = 0; k < 3; ++k) {
        frame.a[k] = static_cast<double>(f[k]) - static_cast<double>(c[k]);
        frame.n[k] = static_cast<double>(n[k]);
    }
    normalise(frame.a);
    normalise(frame.n);
    const double* A = frame.a;
    const double* N = frame.n;
    frame.b[0] = A[1] * N[2] - A[2] * N[1];
    frame.b[1] = A[2] * N[0] - A[0] * N[2];
    frame.b[2] = A[0] * N[1] - A[1] * N[0];
    normalise(frame.b);

    frame.matrix = KMatrix4d();
    for (int k = 0; k < 3; ++k) {
        frame.matrix.m[0][k] = frame.a[k];
        frame.matrix.m[1][k] = frame.n[k];
        frame.matrix.m[2][k] = frame.b[k];
    }
    return true;
}

int FarthestCorner(const KTriMesh& mesh, int triangle) {
    KInt3 corners;
    if (!triangleCorners(mesh, triangle, corners))
        return -1;
    const KVector& p0 = mesh.positions[static_cast<std::size_t>(corners[0])];
    const KVector& p1 = mesh.positions[static_cast<std::size_t>(corners[1])];
    const KVector& p2 = mesh.positions[static_cast<std::size_t>(corners[2])];
    const KVector c = centreOf(p0, p1, p2);
    const float d0 = (p0 - c).length();
    const float d1 = (p1 - c).length();
    const float d2 = (p2 - c).length();
    if (d1 > d0)
        return d2 > d1 ? corners[2] : corners[1];
    return d2 > d0 ? corners[2] : corners[0];
}

bool BindPoint(const KTriMesh& mesh, const KVector& p, KMeshBinding& binding) {
    binding = KMeshBinding();
    int triangle = -1;
    {
        const KTriMeshDistTree tree(mesh, 10, 10);
        float w0 = 0.0f, w1 = 0.0f;
        tree.getClosestPoint(p, triangle, w0, w1, 1e30f);
    }
    const int vertex = FarthestCorner(mesh, triangle);
    KTriangleFrame frame;
    if (vertex < 0 || !TriangleFrame(mesh, triangle, vertex, frame))
        return false;
    binding.triangle = triangle;
    binding.vertex = vertex;
    double d[3];
    for (int k = 0; k < 3; ++k)
        d[k] = static_cast<double>(p[k]) - static_cast<double>(frame.centre[k]);
    binding.local[0] = d[0] * frame.a[0] + d[1] * frame.a[1] + d[2] * frame.a[2];
    binding.local[1] = d[0] * frame.n[0] + d[1] * frame.n[1] + d[2] * frame.n[2];
    binding.local[2] = d[0] * frame.b[0] + d[1] * frame.b[1] + d[2] * frame.b[2];
    binding.initialMatrix = frame.matrix.inverse();
    return true;
}

bool EvaluateBinding(const KTriMesh& mesh, const KMeshBinding& binding, const KVector& p, double translate[3],
                     KMatrix4d& rotation) {
    KTriangleFrame frame;
    if (!TriangleFrame(mesh, binding.triangle, binding.vertex, frame)) {
        translate[0] = translate[1] = translate[2] = 0.0;
        rotation = KMatrix4d();
        return false;
    }
    const double* L = binding.local;
    for (int k = 0; k < 3; ++k)
        translate[k] = static_cast<double>(frame.centre[k]) + L[0] * frame.a[k] + L[1] * frame.n[k] +
                       L[2] * frame.b[k] - static_cast<double>(p[k]);
    rotation = binding.initialMatrix * frame.matrix;
    return true;
}

} // namespace Kelno
