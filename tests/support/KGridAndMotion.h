// Test shapes of the clipper and binder suites: a polygon grid and rigid motions of meshes.
#pragma once

#include <kelno/KMesh.h>
#include <kelno/KMeshBinder.h>

#include <cmath>

namespace KelnoTest {

// A 3 x 3 grid of unit quads in the XY plane from (0, 0) to (3, 3): vertex 4 * y + x at (x, y),
// face 3 * row + column, corners counter-clockwise from the lower left.
inline Kelno::KMesh makeGrid() {
    Kelno::KMesh m;
    for (int y = 0; y <= 3; ++y)
        for (int x = 0; x <= 3; ++x)
            m.positions.push_back(Kelno::KVector(static_cast<float>(x), static_cast<float>(y), 0));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            m.faces.push_back(Kelno::KIntArray{4 * y + x, 4 * y + x + 1, 4 * y + x + 5, 4 * y + x + 4});
    return m;
}

// A rigid motion for row vectors: rotation by `angle` (radians) about the unit `axis`, then a
// move by `t`. r is the rotation as the 4x4 matrix a point is multiplied by.
struct RigidMotion {
    Kelno::KMatrix4d r;
    double t[3];

    RigidMotion(const double axis[3], double angle, const double move[3]) {
        const double c = std::cos(angle), s = std::sin(angle), C = 1 - c;
        const double x = axis[0], y = axis[1], z = axis[2];
        // The column-vector form, transposed below.
        const double col[3][3] = {{c + x * x * C, x * y * C - z * s, x * z * C + y * s},
                                  {y * x * C + z * s, c + y * y * C, y * z * C - x * s},
                                  {z * x * C - y * s, z * y * C + x * s, c + z * z * C}};
        for (int i = 0; i < 3; ++i) {
            t[i] = move[i];
            for (int j = 0; j < 3; ++j)
                r.m[i][j] = col[j][i];
        }
    }
    // p * R + t, in double precision.
    void apply(const Kelno::KVector& p, double out[3]) const {
        for (int j = 0; j < 3; ++j)
            out[j] = p.x * r.m[0][j] + p.y * r.m[1][j] + p.z * r.m[2][j] + t[j];
    }
    Kelno::KTriMesh apply(const Kelno::KTriMesh& rest) const {
        Kelno::KTriMesh out = rest;
        for (Kelno::KVector& p : out.positions) {
            double q[3];
            apply(p, q);
            p = Kelno::KVector(static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2]));
        }
        return out;
    }
};

} // namespace KelnoTest
