// Small trees for skeleton tests and benchmarks: open tubes between two points, a trunk with
// branches and a twig.
#pragma once

#include "KTestMeshes.h"

#include <kelno/KMesh.h>

#include <cmath>
#include <vector>

namespace KelnoTest {

// An open tube of radius r from a to b: `sides` vertices per ring, `rings` rings, both ends open.
inline Kelno::KTriMesh makeTube(const Kelno::KVector& a, const Kelno::KVector& b, float r, int sides = 12,
                                int rings = 12) {
    const Kelno::KVector axis = (b - a).normal();
    const Kelno::KVector helper =
        std::fabs(axis.y) < 0.9f ? Kelno::KVector(0, 1, 0) : Kelno::KVector(1, 0, 0);
    const Kelno::KVector u = axis.cross(helper).normal(), v = axis.cross(u);
    Kelno::KTriMesh m;
    for (int j = 0; j < rings; ++j) {
        const Kelno::KVector c = a + (b - a) * (static_cast<float>(j) / static_cast<float>(rings - 1));
        for (int i = 0; i < sides; ++i) {
            const float t = 6.2831853f * static_cast<float>(i) / static_cast<float>(sides);
            m.positions.push_back(c + u * (r * std::cos(t)) + v * (r * std::sin(t)));
        }
    }
    for (int j = 0; j + 1 < rings; ++j)
        for (int i = 0; i < sides; ++i) {
            const int p = j * sides + i, q = j * sides + (i + 1) % sides;
            m.triangles.push_back(Kelno::KInt3{{p, q, p + sides}});
            m.triangles.push_back(Kelno::KInt3{{q, q + sides, p + sides}});
        }
    return m;
}

// A trunk (0) with two branches (1, 2) and a twig (3) on branch 2. Every piece starts at its
// lowest corner, so its centre march runs from its root outwards.
inline std::vector<Kelno::KTriMesh> makeSmallTree() {
    return {makeTube({0, 0, 0}, {0, 10, 0}, 0.5f, 16, 21), makeTube({0.3f, 4, 0}, {5, 8, 0}, 0.25f),
            makeTube({0, 6, 0.3f}, {0, 9, 4}, 0.25f), makeTube({0.05f, 7.5f, 2}, {2, 8.5f, 3}, 0.1f)};
}

} // namespace KelnoTest
