// libFuzzer target for the 2D Delaunay triangulator: any bytes become a point set, which must
// triangulate without crashing into a valid result. The first byte picks how the rest is read:
//   even: raw little-endian floats, x y x y ... (NaN, infinities, subnormals, huge and tiny values);
//   odd:  one byte per coordinate on a 16 x 16 lattice (collinear runs, co-circular cells,
//         duplicates), scaled by a power of two taken from the first byte.
// Checked on every result: indices in range, every triangle strictly counter-clockwise by the
// exact test, the adjacency table symmetric with -1 only on edges no other triangle shares, every
// usable point a corner unless the points are all collinear, no point used twice in one
// triangle, and (for small sets) every unused finite point a copy of an earlier corner and no
// corner strictly inside any triangle's circumcircle. A violation aborts, so the fuzzer keeps
// the input.
#include <kelno/KDelaunay2D.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace Kelno;

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1 || size > 64 * 1024)
        return 0;
    const std::uint8_t mode = data[0];
    KFloat2Array points;
    if (mode % 2 == 0) {
        for (std::size_t at = 1; at + 8 <= size; at += 8) {
            KFloat2 p;
            std::memcpy(&p.x, data + at, 4);
            std::memcpy(&p.y, data + at + 4, 4);
            points.push_back(p);
        }
    } else {
        const float scale = std::ldexp(1.0f, static_cast<int>(mode >> 1) - 64);
        for (std::size_t at = 1; at + 2 <= size; at += 2)
            points.push_back(KFloat2{static_cast<float>(data[at] & 15) * scale,
                                     static_cast<float>(data[at + 1] & 15) * scale});
    }

    int triangleCount = -1;
    KIntArray corners, across;
    const KDelaunay2D triangulation(points, triangleCount, corners, across);
    const int n = points.length();
    check(triangleCount >= 0 && corners.length() == 3 * triangleCount &&
          across.length() == 3 * triangleCount);

    std::vector<char> used(static_cast<std::size_t>(n), 0);
    for (int t = 0; t < triangleCount; ++t) {
        const int a = corners[3 * t], b = corners[3 * t + 1], c = corners[3 * t + 2];
        check(a >= 0 && a < n && b >= 0 && b < n && c >= 0 && c < n && a != b && b != c && a != c);
        used[a] = used[b] = used[c] = 1;
        check(KDelaunayPredicates::orient(points[a].x, points[a].y, points[b].x, points[b].y, points[c].x,
                                          points[c].y) > 0);
        for (int k = 0; k < 3; ++k) {
            const int other = across[3 * t + k];
            if (other < 0)
                continue;
            check(other < triangleCount && other != t);
            // The neighbour lists this triangle across the same edge, walked the other way.
            const int from = corners[3 * t + k], to = corners[3 * t + (k + 1) % 3];
            bool found = false;
            for (int j = 0; j < 3; ++j)
                found = found || (across[3 * other + j] == t && corners[3 * other + j] == to &&
                                  corners[3 * other + (j + 1) % 3] == from);
            check(found);
        }
    }
    if (triangleCount > 0) {
        // Every finite point that is the first at its place is a corner.
        int usable = 0;
        for (int i = 0; i < n; ++i)
            usable += used[i];
        check(usable == triangulation.usedPointCount());
        check(triangulation.usedPointCount() + triangulation.duplicateCount() +
                  triangulation.nonFiniteCount() ==
              n);
        if (n <= 48) {
            for (int i = 0; i < n; ++i) {
                if (used[i] || !std::isfinite(points[i].x) || !std::isfinite(points[i].y))
                    continue;
                bool earlier = false;
                for (int j = 0; j < i && !earlier; ++j)
                    earlier = used[j] && points[j].x == points[i].x && points[j].y == points[i].y;
                check(earlier);
            }
            // Empty circles: no corner lies strictly inside any triangle's circumcircle.
            for (int t = 0; t < triangleCount; ++t) {
                const KFloat2 &a = points[corners[3 * t]], &b = points[corners[3 * t + 1]],
                              &c = points[corners[3 * t + 2]];
                for (int i = 0; i < n; ++i)
                    check(!used[i] || KDelaunayPredicates::inCircle(a.x, a.y, b.x, b.y, c.x, c.y, points[i].x,
                                                                    points[i].y) <= 0);
            }
        }
    }
    return 0;
}
