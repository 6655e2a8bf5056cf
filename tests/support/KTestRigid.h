// Random point sets and rigid motions for the rigid-fit tests and benchmark.
#pragma once

#include <kelno/KTypes.h>

#include <cmath>
#include <random>

namespace KelnoTest {

// A uniformly distributed rotation (from a normalised Gaussian quaternion) with a translation
// of up to `reach` per axis, as a row-vector KMatrix (p' = p * M).
inline Kelno::KMatrix randomRigid(std::mt19937& rng, float reach) {
    std::normal_distribution<double> gauss;
    double w = gauss(rng), x = gauss(rng), y = gauss(rng), z = gauss(rng);
    const double len = std::sqrt(w * w + x * x + y * y + z * z);
    w /= len, x /= len, y /= len, z /= len;
    const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
                            {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
                            {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}};
    Kelno::KMatrix m;
    for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k)
            m.m[j][k] = static_cast<float>(r[k][j]);
    std::uniform_real_distribution<float> shift(-reach, reach);
    m.setTranslation(Kelno::KVector(shift(rng), shift(rng), shift(rng)));
    return m;
}

// `n` points uniformly in a box of half-size `size` around `centre`.
inline Kelno::KVectorArray randomPoints(std::mt19937& rng, int n, float size,
                                        const Kelno::KVector& centre = Kelno::KVector()) {
    std::uniform_real_distribution<float> u(-size, size);
    Kelno::KVectorArray out;
    for (int i = 0; i < n; ++i)
        out.push_back(centre + Kelno::KVector(u(rng), u(rng), u(rng)));
    return out;
}

// Every point through `m`, plus Gaussian noise of deviation `noise` per coordinate.
inline Kelno::KVectorArray moved(std::mt19937& rng, const Kelno::KVectorArray& points,
                                 const Kelno::KMatrix& m, float noise = 0.0f) {
    std::normal_distribution<float> gauss;
    Kelno::KVectorArray out;
    for (const Kelno::KVector& p : points) {
        Kelno::KVector q = m.transformPoint(p);
        if (noise > 0.0f)
            q += Kelno::KVector(gauss(rng), gauss(rng), gauss(rng)) * noise;
        out.push_back(q);
    }
    return out;
}

} // namespace KelnoTest
