// Tree skeletons: the centre march over every tube of the real tree (separated into its connected
// pieces) and over a generated forest of 1,000 tubes, on 1 and 2 OpenMP threads, as the tree
// skeleton node runs it (edge tables built per mesh, then one march per mesh). Reports tubes
// per second, for the full edge scan of every step and the prefiltered one (same chains).
#include <kelno/KTreeSkeleton.h>

#include "support/KTestMeshes.h"
#include "support/KTestTrees.h"

#include <benchmark/benchmark.h>

#include <omp.h>

#include <random>
#include <string>
#include <vector>

namespace {

const std::string kTree = std::string(KELNO_TEST_DATA_DIR) + "/real/trees/helios_apple_tree_sapling/tree.obj";

std::vector<Kelno::KTriMesh> forest(int count) {
    std::mt19937 rng(12);
    std::uniform_real_distribution<float> pos(-50.0f, 50.0f), dir(0.2f, 1.0f), len(2.0f, 6.0f);
    std::vector<Kelno::KTriMesh> tubes;
    for (int i = 0; i < count; ++i) {
        const Kelno::KVector a(pos(rng), pos(rng), pos(rng));
        const Kelno::KVector d = Kelno::KVector(dir(rng), dir(rng), dir(rng)).normal() * len(rng);
        tubes.push_back(KelnoTest::makeTube(a, a + d, 0.1f + 0.02f * static_cast<float>(i % 5), 12, 16));
    }
    return tubes;
}

void run(benchmark::State& state, const std::vector<Kelno::KTriMesh>& meshes, int iterations, float step) {
    omp_set_num_threads(static_cast<int>(state.range(0)));
    const auto scan =
        state.range(1) ? Kelno::KTreeSkeleton::EdgeScan::Prefiltered : Kelno::KTreeSkeleton::EdgeScan::Full;
    const int n = static_cast<int>(meshes.size());
    std::vector<Kelno::KVectorArray> chains(meshes.size());
    std::int64_t centres = 0;
    for (auto _ : state) {
#pragma omp parallel for schedule(static)
        for (int i = 0; i < n; ++i) {
            Kelno::KTriMeshConnectionInfo conn;
            conn.set(meshes[static_cast<size_t>(i)]);
            conn.calculate_v2e();
            conn.calculate_t2e();
            conn.calculate_e2t();
            Kelno::KTreeSkeleton::findCenter(meshes[static_cast<size_t>(i)], conn, iterations, step,
                                             chains[static_cast<size_t>(i)], scan);
        }
        for (const auto& c : chains)
            centres += c.length();
    }
    state.counters["tubes/s"] =
        benchmark::Counter(static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["centres/tube"] =
        static_cast<double>(centres) / static_cast<double>(state.iterations()) / static_cast<double>(n);
}

void BM_RealTree(benchmark::State& state) {
    static std::vector<Kelno::KTriMesh> tubes;
    if (tubes.empty()) {
        Kelno::KTriMesh tree;
        if (!KelnoTest::readObj(kTree, tree)) {
            state.SkipWithError("shared data missing: real/trees");
            return;
        }
        tubes = Kelno::KTreeSkeleton::splitConnected(tree);
    }
    run(state, tubes, 100, 0.02f);
}
BENCHMARK(BM_RealTree)
    ->ArgsProduct({{1, 2}, {0, 1}})
    ->ArgNames({"threads", "prefiltered"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Forest(benchmark::State& state) {
    static const std::vector<Kelno::KTriMesh> tubes = forest(1000);
    run(state, tubes, 50, 0.2f);
}
BENCHMARK(BM_Forest)
    ->ArgsProduct({{1, 2}, {0, 1}})
    ->ArgNames({"threads", "prefiltered"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
