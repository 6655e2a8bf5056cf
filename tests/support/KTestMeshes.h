// Small mesh generators and a tiny OBJ reader for tests and benchmarks.
//
// Generators build closed and open shapes with consistent (outward, counter-clockwise) winding:
// a cube, an open cylinder, a torus and random triangle soups. readObj loads the
// real scans of the shared data through the library's OBJ reader, fanning polygons.
// subdivideMidpoint splits every triangle into four coplanar ones (the surface is unchanged);
// mergePieces puts meshes side by side in one, writeObj writes one as OBJ text.
#pragma once

#include <kelno/KMesh.h>
#include <kelno/KObjSequence.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace KelnoTest {

// An axis-aligned closed cube from lo to hi: 8 vertices, 12 triangles.
inline Kelno::KTriMesh makeCube(const Kelno::KVector& lo = Kelno::KVector(-1, -1, -1),
                                const Kelno::KVector& hi = Kelno::KVector(1, 1, 1)) {
    Kelno::KTriMesh m;
    for (int i = 0; i < 8; ++i)
        m.positions.push_back(Kelno::KVector(i & 1 ? hi.x : lo.x, i & 2 ? hi.y : lo.y, i & 4 ? hi.z : lo.z));
    const int quads[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4},
                             {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : quads) {
        m.triangles.push_back(Kelno::KInt3{{q[0], q[1], q[2]}});
        m.triangles.push_back(Kelno::KInt3{{q[0], q[2], q[3]}});
    }
    return m;
}

// An open cylinder along +Y (radius r, from y = 0 to y = height): `sides` vertices per ring,
// `rings` rings (rings - 1 bands of quads split into two triangles). The two rims are open.
inline Kelno::KTriMesh makeOpenCylinder(int sides, int rings, float r = 1.0f, float height = 10.0f) {
    Kelno::KTriMesh m;
    for (int j = 0; j < rings; ++j) {
        for (int i = 0; i < sides; ++i) {
            const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(sides);
            m.positions.push_back(Kelno::KVector(
                r * std::cos(a), height * static_cast<float>(j) / static_cast<float>(rings - 1),
                r * std::sin(a)));
        }
    }
    for (int j = 0; j + 1 < rings; ++j) {
        for (int i = 0; i < sides; ++i) {
            const int a = j * sides + i, b = j * sides + (i + 1) % sides;
            const int c = a + sides, d = b + sides;
            m.triangles.push_back(Kelno::KInt3{{a, c, b}});
            m.triangles.push_back(Kelno::KInt3{{b, c, d}});
        }
    }
    return m;
}

// A closed torus in the XZ plane: major radius R, minor radius r.
inline Kelno::KTriMesh makeTorus(int major, int minor, float R = 2.0f, float r = 0.5f) {
    Kelno::KTriMesh m;
    for (int j = 0; j < major; ++j) {
        const float u = 6.2831853f * static_cast<float>(j) / static_cast<float>(major);
        for (int i = 0; i < minor; ++i) {
            const float v = 6.2831853f * static_cast<float>(i) / static_cast<float>(minor);
            const float w = R + r * std::cos(v);
            m.positions.push_back(Kelno::KVector(w * std::cos(u), r * std::sin(v), w * std::sin(u)));
        }
    }
    for (int j = 0; j < major; ++j) {
        for (int i = 0; i < minor; ++i) {
            const int a = j * minor + i, b = j * minor + (i + 1) % minor;
            const int c = ((j + 1) % major) * minor + i, d = ((j + 1) % major) * minor + (i + 1) % minor;
            m.triangles.push_back(Kelno::KInt3{{a, b, d}});
            m.triangles.push_back(Kelno::KInt3{{a, d, c}});
        }
    }
    return m;
}

// `count` independent random triangles with corners uniform in [-1, 1]^3, scaled so their size
// is about `size` (size 0 or more; 0 gives point triangles).
inline Kelno::KTriMesh makeTriangleSoup(int count, float size, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    Kelno::KTriMesh m;
    for (int t = 0; t < count; ++t) {
        const Kelno::KVector c(u(rng), u(rng), u(rng));
        for (int k = 0; k < 3; ++k)
            m.positions.push_back(c + Kelno::KVector(u(rng), u(rng), u(rng)) * size);
        m.triangles.push_back(Kelno::KInt3{{3 * t, 3 * t + 1, 3 * t + 2}});
    }
    return m;
}

// Reads an OBJ file with the library's reader into `out`, fanning polygons into triangles
// (positions rounded to float); false when the file cannot be opened.
inline bool readObj(const std::string& path, Kelno::KTriMesh& out) {
    out.clear();
    Kelno::KObjMesh obj;
    if (!Kelno::ReadObjFile(path, obj))
        return false;
    out.positions.reserve(obj.points.size());
    for (const Kelno::KObjPoint& p : obj.points)
        out.positions.push_back(
            Kelno::KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    int first = 0;
    for (int count : obj.polygonCounts) {
        const int* face = obj.polygonConnects.data() + first;
        for (int k = 2; k < count; ++k)
            out.triangles.push_back(Kelno::KInt3{{face[0], face[k - 1], face[k]}});
        first += count;
    }
    return true;
}

// One level of 1-to-4 midpoint subdivision (shared edge midpoints are shared vertices).
inline Kelno::KTriMesh subdivideMidpoint(const Kelno::KTriMesh& in) {
    Kelno::KTriMesh out;
    out.positions = in.positions;
    std::unordered_map<std::uint64_t, int> mid;
    mid.reserve(in.triangles.size() * 2);
    auto midpoint = [&](int a, int b) {
        const std::uint64_t key =
            (static_cast<std::uint64_t>(a < b ? a : b) << 32) | static_cast<std::uint32_t>(a < b ? b : a);
        auto it = mid.emplace(key, out.vertexCount());
        if (it.second)
            out.positions.push_back((in.positions[a] + in.positions[b]) * 0.5f);
        return it.first->second;
    };
    out.triangles.reserve(in.triangles.size() * 4);
    for (const Kelno::KInt3& t : in.triangles) {
        const int m01 = midpoint(t[0], t[1]), m12 = midpoint(t[1], t[2]), m20 = midpoint(t[2], t[0]);
        out.triangles.push_back(Kelno::KInt3{{t[0], m01, m20}});
        out.triangles.push_back(Kelno::KInt3{{m01, t[1], m12}});
        out.triangles.push_back(Kelno::KInt3{{m20, m12, t[2]}});
        out.triangles.push_back(Kelno::KInt3{{m01, m12, m20}});
    }
    return out;
}

// All pieces as one mesh (disconnected; the pieces keep their order).
inline Kelno::KTriMesh mergePieces(const std::vector<Kelno::KTriMesh>& pieces) {
    Kelno::KTriMesh all;
    for (const Kelno::KTriMesh& p : pieces) {
        const int base = all.positions.length();
        all.positions.insert(all.positions.end(), p.positions.begin(), p.positions.end());
        for (const Kelno::KInt3& t : p.triangles)
            all.triangles.push_back(Kelno::KInt3{{t[0] + base, t[1] + base, t[2] + base}});
    }
    return all;
}

// Writes the mesh as OBJ text (positions to float precision).
inline bool writeObj(const std::string& path, const Kelno::KTriMesh& m) {
    std::ofstream out(path);
    out.precision(9);
    for (const Kelno::KVector& p : m.positions)
        out << "v " << p.x << " " << p.y << " " << p.z << "\n";
    for (const Kelno::KInt3& t : m.triangles)
        out << "f " << t[0] + 1 << " " << t[1] + 1 << " " << t[2] + 1 << "\n";
    return static_cast<bool>(out);
}

} // namespace KelnoTest
