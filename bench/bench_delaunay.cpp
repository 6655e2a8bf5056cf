// 2D Delaunay triangulation: Kelno::KDelaunay2D side by side with CGAL's
// Delaunay_triangulation_2 (when installed), one thread, on the same points: uniform random
// points in the unit square (100k and 1M) and a square grid (1M, every cell co-circular).
// Reported as points per second; both sides include their own spatial sort and output.
#include "kelno/KDelaunay2D.h"

#if KELNO_BENCH_WITH_CGAL
#include "DelaunayEngines.h"
#endif

#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <random>
#include <vector>

namespace {

enum Layout { kUniform = 0, kGrid = 1 };

const Kelno::KFloat2Array& points(int layout, int n) {
    static std::map<std::pair<int, int>, Kelno::KFloat2Array> cache;
    Kelno::KFloat2Array& pts = cache[{layout, n}];
    if (!pts.empty())
        return pts;
    if (layout == kUniform) {
        std::mt19937_64 rng(12345);
        std::uniform_real_distribution<float> u(0.0f, 1.0f);
        pts.resize(static_cast<std::size_t>(n));
        for (Kelno::KFloat2& p : pts)
            p = Kelno::KFloat2{u(rng), u(rng)};
    } else {
        const int side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(n))));
        for (int i = 0; i < side; ++i)
            for (int j = 0; j < side; ++j)
                pts.push_back(Kelno::KFloat2{static_cast<float>(i) / side, static_cast<float>(j) / side});
    }
    return pts;
}

void setRate(benchmark::State& state, const Kelno::KFloat2Array& pts, int triangles) {
    state.counters["points/s"] =
        benchmark::Counter(static_cast<double>(pts.size()), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["triangles"] = triangles;
}

void BM_Kelno(benchmark::State& state) {
    Kelno::KFloat2Array pts = points(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    int count = 0;
    for (auto _ : state) {
        Kelno::KIntArray vertices, adjacency;
        Kelno::KDelaunay2D(pts, count, vertices, adjacency);
        benchmark::DoNotOptimize(vertices.data());
    }
    setRate(state, pts, count);
}

#if KELNO_BENCH_WITH_CGAL
void BM_CGAL(benchmark::State& state) {
    const Kelno::KFloat2Array& pts =
        points(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    int count = 0;
    for (auto _ : state) {
        std::vector<int> vertices;
        count = KelnoBench::cgalDelaunay(pts, vertices);
        benchmark::DoNotOptimize(vertices.data());
    }
    setRate(state, pts, count);
}
#endif

void args(benchmark::internal::Benchmark* b) {
    b->ArgNames({"grid", "n"});
    b->Args({kUniform, 100000})->Args({kUniform, 1000000})->Args({kGrid, 1000000});
    b->Unit(benchmark::kMillisecond)->MinTime(2.0);
}

} // namespace

BENCHMARK(BM_Kelno)->Apply(args);
#if KELNO_BENCH_WITH_CGAL
BENCHMARK(BM_CGAL)->Apply(args);
#endif

BENCHMARK_MAIN();
