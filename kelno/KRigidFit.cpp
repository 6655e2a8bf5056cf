#include "KRigidFit.h"

#include <algorithm>
#include <cmath>

namespace Kelno {

namespace {

// Eigenvector of the largest eigenvalue of the symmetric 4x4 matrix `a` (destroyed), by cyclic
// Jacobi rotations. Ties keep the lowest index, so a zero matrix gives (1, 0, 0, 0).
void largestEigenvector(double a[4][4], double out[4]) {
    double v[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
    double norm = 0.0;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            norm += a[r][c] * a[r][c];
    for (int sweep = 0; sweep < 32; ++sweep) {
        double off = 0.0;
        for (int p = 0; p < 3; ++p)
            for (int q = p + 1; q < 4; ++q)
                off += a[p][q] * a[p][q];
        // Off-diagonal mass relative to the whole matrix: about 1e-16 in magnitude.
        if (!(off > 1e-32 * norm))
            break;
        for (int p = 0; p < 3; ++p) {
            for (int q = p + 1; q < 4; ++q) {
                const double apq = a[p][q];
                if (apq == 0.0)
                    continue;
                const double theta = (a[q][q] - a[p][p]) / (2.0 * apq);
                // For a huge theta, theta * theta would overflow; 1 / (2 theta) is then exact enough.
                const double t =
                    std::fabs(theta) > 1e150
                        ? 0.5 / theta
                        : (theta >= 0.0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
                const double c = 1.0 / std::sqrt(t * t + 1.0);
                const double s = t * c;
                a[p][p] -= t * apq;
                a[q][q] += t * apq;
                a[p][q] = a[q][p] = 0.0;
                for (int r = 0; r < 4; ++r) {
                    if (r != p && r != q) {
                        const double arp = a[r][p];
                        const double arq = a[r][q];
                        a[r][p] = a[p][r] = c * arp - s * arq;
                        a[r][q] = a[q][r] = s * arp + c * arq;
                    }
                    const double vrp = v[r][p];
                    const double vrq = v[r][q];
                    v[r][p] = c * vrp - s * vrq;
                    v[r][q] = s * vrp + c * vrq;
                }
            }
        }
    }
    int best = 0;
    for (int i = 1; i < 4; ++i)
        if (a[i][i] > a[best][best])
            best = i;
    for (int r = 0; r < 4; ++r)
        out[r] = v[r][best];
}

// The fit over n pairs (a[i], b[i]); see the header.
KMatrix fitRigid(const KVector* a, const KVector* b, int n, const KVector* pivot) {
    KMatrix m;
    if (n <= 0)
        return m;
    // Sums are taken relative to the first pair: the cross terms then stay small for sets far
    // from the origin, and one pass suffices.
    const double a0[3] = {a[0].x, a[0].y, a[0].z};
    const double b0[3] = {b[0].x, b[0].y, b[0].z};
    double sa[3] = {0, 0, 0};
    double sb[3] = {0, 0, 0};
    double h[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    for (int i = 0; i < n; ++i) {
        const double ax = a[i].x - a0[0], ay = a[i].y - a0[1], az = a[i].z - a0[2];
        const double bx = b[i].x - b0[0], by = b[i].y - b0[1], bz = b[i].z - b0[2];
        sa[0] += ax;
        sa[1] += ay;
        sa[2] += az;
        sb[0] += bx;
        sb[1] += by;
        sb[2] += bz;
        h[0][0] += ax * bx;
        h[0][1] += ax * by;
        h[0][2] += ax * bz;
        h[1][0] += ay * bx;
        h[1][1] += ay * by;
        h[1][2] += ay * bz;
        h[2][0] += az * bx;
        h[2][1] += az * by;
        h[2][2] += az * bz;
    }
    const double inv = 1.0 / n;
    double finite = 0.0;
    for (int j = 0; j < 3; ++j) {
        for (int k = 0; k < 3; ++k) {
            h[j][k] -= sa[j] * sb[k] * inv;
            finite += h[j][k];
        }
        finite += a0[j] + b0[j] + sa[j] + sb[j];
    }
    if (!std::isfinite(finite))
        return m;

    // Horn's matrix: its top eigenvector is the unit quaternion of the rotation taking the
    // centred a onto the centred b (column-vector form).
    const double sxx = h[0][0], sxy = h[0][1], sxz = h[0][2];
    const double syx = h[1][0], syy = h[1][1], syz = h[1][2];
    const double szx = h[2][0], szy = h[2][1], szz = h[2][2];
    double nm[4][4] = {
        {sxx + syy + szz, syz - szy, szx - sxz, sxy - syx},
        {syz - szy, sxx - syy - szz, sxy + syx, szx + sxz},
        {szx - sxz, sxy + syx, -sxx + syy - szz, syz + szy},
        {sxy - syx, szx + sxz, syz + szy, -sxx - syy + szz},
    };
    double q[4];
    largestEigenvector(nm, q);
    const double len = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    const double w = q[0] / len, x = q[1] / len, y = q[2] / len, z = q[3] / len;
    // Column-form rotation; the row-vector matrix holds its transpose.
    const double rot[3][3] = {
        {1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
        {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
        {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)},
    };
    double ca[3], cb[3];
    for (int j = 0; j < 3; ++j) {
        ca[j] = a0[j] + sa[j] * inv;
        cb[j] = b0[j] + sb[j] * inv;
    }
    const double p[3] = {pivot ? pivot->x : 0.0, pivot ? pivot->y : 0.0, pivot ? pivot->z : 0.0};
    for (int k = 0; k < 3; ++k) {
        // t = cb - ca R, then about the pivot: t' = t + pivot R - pivot.
        double t = cb[k] - p[k];
        for (int j = 0; j < 3; ++j) {
            m.m[j][k] = static_cast<float>(rot[k][j]);
            t += (p[j] - ca[j]) * rot[k][j];
        }
        m.m[3][k] = static_cast<float>(t);
    }
    return m;
}

} // namespace

KMatrix ShapeMatchingMatrix(const KVectorArray& a, const KVectorArray& b) {
    return fitRigid(a.data(), b.data(), std::min(a.length(), b.length()), nullptr);
}

KMatrix ShapeMatchingMatrix(const KVectorArray& a, const KVectorArray& b, const KVector& pivot) {
    return fitRigid(a.data(), b.data(), std::min(a.length(), b.length()), &pivot);
}

std::vector<double> ShapeMatchingMatrices(const KVectorArray& source, const KVectorArray& target,
                                          const KVector* pivot, double order) {
    std::vector<double> out;
    const int n = source.length();
    if (n == 0 || target.length() == 0)
        return out;
    const int copies = target.length() / n;
    out.assign(16 * static_cast<std::size_t>(copies), 0.0);
    const bool transpose = order == 1.0;
    const KVector* a = source.data();
    const KVector* b = target.data();
    double* results = out.data();
#pragma omp parallel for schedule(static)
    for (int j = 0; j < copies; ++j) {
        KMatrix m = fitRigid(a, b + static_cast<std::size_t>(j) * n, n, pivot);
        if (transpose)
            m = m.transpose();
        const float* values = m.data();
        for (int e = 0; e < 16; ++e)
            results[16 * static_cast<std::size_t>(j) + e] = values[e];
    }
    return out;
}

} // namespace Kelno
