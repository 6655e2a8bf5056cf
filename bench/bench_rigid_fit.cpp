// Rigid-fit speed: Kelno::ShapeMatchingMatrix side by side with Eigen's umeyama (without
// scaling, when Eigen 3 was found at configure time), in one process on the same point pairs:
// 100, 1,000 and 10,000 random points under a random rotation and translation with small noise.
//
// Correctness, checked once per size before timing: "maxAbsDiff" is the largest difference of
// any matrix element between the two results (Eigen's column-vector matrix transposed into the
// row-vector convention). Counters: items/s are point pairs per second.
#include <kelno/KRigidFit.h>

#include "support/KTestRigid.h"

#include <benchmark/benchmark.h>

#if defined(KELNO_BENCH_WITH_EIGEN)
#include <Eigen/Geometry>
#endif

#include <cmath>
#include <map>
#include <random>

using namespace Kelno;

namespace {

struct Pairs {
    KVectorArray a, b;
#if defined(KELNO_BENCH_WITH_EIGEN)
    Eigen::Matrix3Xf src, dst;
    Eigen::Matrix3Xd srcd, dstd;
#endif
};

const Pairs& pairs(int n) {
    static std::map<int, Pairs> cache;
    auto found = cache.find(n);
    if (found != cache.end())
        return found->second;
    Pairs& p = cache[n];
    std::mt19937 rng(static_cast<unsigned>(n));
    const KMatrix motion = KelnoTest::randomRigid(rng, 10.0f);
    p.a = KelnoTest::randomPoints(rng, n, 5.0f, KVector(1, 2, 3));
    p.b = KelnoTest::moved(rng, p.a, motion, 0.01f);
#if defined(KELNO_BENCH_WITH_EIGEN)
    p.src.resize(3, n);
    p.dst.resize(3, n);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k) {
            p.src(k, i) = p.a[i][k];
            p.dst(k, i) = p.b[i][k];
        }
    p.srcd = p.src.cast<double>();
    p.dstd = p.dst.cast<double>();
#endif
    return p;
}

void BM_Kelno(benchmark::State& state) {
    const Pairs& p = pairs(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        KMatrix m = ShapeMatchingMatrix(p.a, p.b);
        benchmark::DoNotOptimize(m);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Kelno)->Arg(100)->Arg(1000)->Arg(10000);

#if defined(KELNO_BENCH_WITH_EIGEN)
// Eigen's umeyama on the same pairs held as floats (Matrix3Xf) or as doubles (Matrix3Xd).
template <class Points>
void BM_EigenUmeyama(benchmark::State& state, const Points Pairs::*src, const Points Pairs::*dst) {
    const Pairs& p = pairs(static_cast<int>(state.range(0)));
    const KMatrix ours = ShapeMatchingMatrix(p.a, p.b);
    const auto theirs = Eigen::umeyama(p.*src, p.*dst, false);
    double maxAbsDiff = 0.0;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            maxAbsDiff = std::max(maxAbsDiff, std::fabs(double(ours(r, c)) - double(theirs(c, r))));
    for (auto _ : state) {
        auto m = Eigen::umeyama(p.*src, p.*dst, false);
        benchmark::DoNotOptimize(m);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["maxAbsDiff"] = maxAbsDiff;
}
BENCHMARK_CAPTURE(BM_EigenUmeyama, float, &Pairs::src, &Pairs::dst)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK_CAPTURE(BM_EigenUmeyama, double, &Pairs::srcd, &Pairs::dstd)->Arg(100)->Arg(1000)->Arg(10000);
#endif

} // namespace

BENCHMARK_MAIN();
