// Closest-point and box-query speed of KTriMeshDistTree side by side with CGAL's AABB tree and
// Embree's point queries (each when found at configure time), in one process so all engines see
// the same machine conditions, on the same meshes and the same query points.
//
// Meshes: the real scans of the shared data folder, and some of them subdivided 1-to-4 (two and
// three levels: about 1.6M and 6.4M triangles from the 100k scans). Queries: points uniform in
// the mesh's bounding box grown by 10% on each side (fixed seed). Boxes: cubes centred on the
// first query points, 2% of the box diagonal wide.
//
// Per mesh and engine it reports build time, bytes per triangle, queries per second on 1 and 2
// threads (and the same for box queries, as triangles returned per second), and checks every
// answer's distance against the Kelno tree's (float precision); a summary of the ratios follows
// the table.
//
// Environment (all optional):
//   KELNO_BENCH_QUERIES    number of query points (default 1000000; use e.g. 20000 for a quick run)
//   KELNO_BENCH_BOXES      number of box queries (default 20000)
//   KELNO_BENCH_MESHES     comma-separated scans to use as they are (default: all five)
//   KELNO_BENCH_SUBDIVIDE  comma-separated scans to subdivide (default: dragon_100k)
//   KELNO_BENCH_LEVELS     comma-separated subdivision levels (default: 2,3)
//   KELNO_BENCH_ENGINES    comma-separated subset of kelno,embree,cgal (default: all built)
//   KELNO_BENCH_DATA       the shared data folder (default: the configured test data folder)
//   KELNO_BENCH_REPEAT     runs per build and per closest-point measurement, the fastest counts
//                          (default 1; 3 to 5 steady the ratios on a busy machine)
#include "ClosestPointEngines.h"

#include <kelno/KTriMeshDistTree.h>

#include "support/KTestMeshes.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace Kelno;
using namespace KelnoBench;
using namespace KelnoTest;

namespace KelnoBench {

namespace {

class KelnoEngine : public ClosestPointEngine {
  public:
    std::string name() const override { return "Kelno"; }
    void build(const KTriMesh& mesh) override { m_tree.set(mesh); }
    void closest(const KVector* points, int count, int threads, Hit* out) const override {
#pragma omp parallel for num_threads(threads) schedule(static, 256)
        for (int i = 0; i < count; ++i) {
            KVector c;
            int tri = -1;
            m_tree.getClosestPoint(points[i], c, tri, 1e30f);
            const KVector d = c - points[i];
            out[i].d2 = d.dot(d);
            out[i].triangle = tri;
        }
    }
    long long boxes(const KVector* lo, const KVector* hi, int count, int threads) const override {
        long long total = 0;
#pragma omp parallel num_threads(threads) reduction(+ : total)
        {
            KIntArray found;
#pragma omp for schedule(static, 16)
            for (int i = 0; i < count; ++i) {
                m_tree.getTriangles(KBoundingBox(lo[i], hi[i]), found, true);
                total += found.length();
            }
        }
        return total;
    }
    std::size_t bytes() const override { return m_tree.memoryBytes(); }

  private:
    KTriMeshDistTree m_tree{10, 10};
};

} // namespace

std::unique_ptr<ClosestPointEngine> makeKelnoEngine() {
    return std::unique_ptr<ClosestPointEngine>(new KelnoEngine);
}

#if !KELNO_BENCH_WITH_CGAL
std::unique_ptr<ClosestPointEngine> makeCgalEngine() { return nullptr; }
#endif
#if !KELNO_BENCH_WITH_EMBREE
std::unique_ptr<ClosestPointEngine> makeEmbreeEngine() { return nullptr; }
#endif

} // namespace KelnoBench

namespace {

std::string env(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : fallback;
}

std::vector<std::string> split(const std::string& s) {
    std::vector<std::string> out;
    std::stringstream in(s);
    std::string item;
    while (std::getline(in, item, ','))
        if (!item.empty())
            out.push_back(item);
    return out;
}

// Builds and query runs are repeated this many times and the fastest counts (a shared machine
// slows single runs at random).
int repeats() {
    static const int n = std::max(1, std::atoi(env("KELNO_BENCH_REPEAT", "1").c_str()));
    return n;
}

struct MeshCase {
    std::string name; // e.g. "bunny" or "dragon_100k/sub3"
    std::string file;
    int levels;
};

// Everything about the mesh being measured; benchmarks of one mesh run one after another, and
// moving to the next mesh frees the previous one.
struct Current {
    std::string name;
    KTriMesh mesh;
    std::vector<KVector> points;
    std::vector<KVector> boxLo, boxHi;
    std::map<std::string, std::unique_ptr<ClosestPointEngine>> engines;
    std::vector<Hit> reference; // the Kelno tree's answers
    float tolerance = 0;        // on distances
};
Current g_current;

// Results for the summary: key "mesh|engine|what".
std::map<std::string, double> g_results;
std::vector<std::string> g_meshOrder;

bool loadCase(const MeshCase& c, benchmark::State& state) {
    if (g_current.name == c.name)
        return true;
    g_current = Current();
    if (!readObj(c.file, g_current.mesh)) {
        state.SkipWithError(("cannot read " + c.file).c_str());
        return false;
    }
    for (int l = 0; l < c.levels; ++l)
        g_current.mesh = subdivideMidpoint(g_current.mesh);
    g_current.name = c.name;
    g_meshOrder.push_back(c.name);

    const KBoundingBox b = g_current.mesh.boundingBox(true);
    const KVector size = b.size();
    const KVector lo = b.min() - size * 0.1f, ext = size * 1.2f;
    const int n = std::atoi(env("KELNO_BENCH_QUERIES", "1000000").c_str());
    std::mt19937 rng(20240611u);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    g_current.points.resize(static_cast<std::size_t>(std::max(n, 1)));
    for (KVector& p : g_current.points)
        p = KVector(lo.x + ext.x * u(rng), lo.y + ext.y * u(rng), lo.z + ext.z * u(rng));
    const int nb = std::min(std::atoi(env("KELNO_BENCH_BOXES", "20000").c_str()), n);
    const float h = size.length() * 0.01f;
    for (int i = 0; i < nb; ++i) {
        g_current.boxLo.push_back(g_current.points[i] - KVector(h, h, h));
        g_current.boxHi.push_back(g_current.points[i] + KVector(h, h, h));
    }
    // Distances agree "within float precision": a few ulps of the coordinates involved.
    g_current.tolerance =
        4e-6f * (std::fabs(b.min().x) + std::fabs(b.min().y) + std::fabs(b.min().z) + std::fabs(b.max().x) +
                 std::fabs(b.max().y) + std::fabs(b.max().z) + size.length());
    return true;
}

std::unique_ptr<ClosestPointEngine> makeEngine(const std::string& engine) {
    if (engine == "kelno")
        return makeKelnoEngine();
    if (engine == "embree")
        return makeEmbreeEngine();
    return makeCgalEngine();
}

void benchBuild(benchmark::State& state, MeshCase c, std::string engine) {
    if (!loadCase(c, state))
        return;
    for (auto _ : state) {
        std::unique_ptr<ClosestPointEngine> e;
        std::size_t heapBefore = 0, heapAfter = 0;
        double seconds = 0;
        for (int r = 0; r < repeats(); ++r) {
            g_current.engines.erase(engine);
            e.reset();
            e = makeEngine(engine);
            heapBefore = mallinfo2().uordblks + mallinfo2().hblkhd;
            const auto t0 = std::chrono::steady_clock::now();
            e->build(g_current.mesh);
            const double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
            heapAfter = mallinfo2().uordblks + mallinfo2().hblkhd;
            seconds = r == 0 ? t : std::min(seconds, t);
        }
        state.SetIterationTime(seconds);
        std::size_t bytes = e->bytes();
        if (bytes == 0 && heapAfter > heapBefore)
            bytes = heapAfter - heapBefore;
        const double tris = static_cast<double>(g_current.mesh.triangleCount());
        state.counters["triangles"] = tris;
        state.counters["bytes_per_tri"] = static_cast<double>(bytes) / tris;
        g_results[c.name + "|" + engine + "|build"] = seconds;
        g_results[c.name + "|" + engine + "|bytes"] = static_cast<double>(bytes) / tris;
        g_results[c.name + "||tris"] = tris;
        g_current.engines[engine] = std::move(e);
    }
}

void benchClosest(benchmark::State& state, MeshCase c, std::string engine, int threads) {
    if (!loadCase(c, state))
        return;
    auto it = g_current.engines.find(engine);
    if (it == g_current.engines.end()) {
        state.SkipWithError("engine not built");
        return;
    }
    const int n = static_cast<int>(g_current.points.size());
    std::vector<Hit> hits(static_cast<std::size_t>(n));
    for (auto _ : state) {
        double seconds = 0;
        for (int r = 0; r < repeats(); ++r) {
            const auto t0 = std::chrono::steady_clock::now();
            it->second->closest(g_current.points.data(), n, threads, hits.data());
            const double t = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
            seconds = r == 0 ? t : std::min(seconds, t);
        }
        state.SetIterationTime(seconds);
    }
    state.SetItemsProcessed(state.iterations() * n);
    if (g_current.reference.empty() && engine == "kelno")
        g_current.reference = hits;
    if (!g_current.reference.empty()) {
        long long mismatches = 0, otherTriangle = 0;
        for (int i = 0; i < n; ++i) {
            const float a = std::sqrt(hits[i].d2), b = std::sqrt(g_current.reference[i].d2);
            if (!(std::fabs(a - b) <= g_current.tolerance + 1e-6f * b))
                ++mismatches;
            if (hits[i].triangle != g_current.reference[i].triangle)
                ++otherTriangle;
        }
        state.counters["mismatches"] = static_cast<double>(mismatches);
        state.counters["other_triangle"] = static_cast<double>(otherTriangle);
        g_results[c.name + "|" + engine + "|mismatch" + std::to_string(threads)] =
            static_cast<double>(mismatches);
    }
}

void benchBoxes(benchmark::State& state, MeshCase c, std::string engine, int threads) {
    if (!loadCase(c, state))
        return;
    auto it = g_current.engines.find(engine);
    if (it == g_current.engines.end()) {
        state.SkipWithError("engine not built");
        return;
    }
    const int n = static_cast<int>(g_current.boxLo.size());
    long long total = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        total = it->second->boxes(g_current.boxLo.data(), g_current.boxHi.data(), n, threads);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count());
    }
    state.SetItemsProcessed(state.iterations() * total);
    state.counters["boxes"] = n;
    state.counters["tris_per_box"] = static_cast<double>(total) / std::max(n, 1);
}

// Collects the rates from the finished runs for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            const std::string name = r.benchmark_name();
            auto items = r.counters.find("items_per_second");
            if (items == r.counters.end())
                continue;
            // Names are kind/mesh/engine/threads:T[/manual_time].
            const std::vector<std::string> parts = splitPath(name);
            if (parts.size() < 4)
                continue;
            g_results[parts[1] + "|" + parts[2] + "|" + parts[0] + parts[3]] = items->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

  private:
    static std::vector<std::string> splitPath(const std::string& s) {
        std::vector<std::string> out;
        std::stringstream in(s);
        std::string item;
        while (std::getline(in, item, '/'))
            out.push_back(item);
        // Mesh names may carry one '/' (e.g. dragon_100k/sub3): glue it back.
        if (out.size() >= 5 && out[2].compare(0, 3, "sub") == 0) {
            out[1] += "/" + out[2];
            out.erase(out.begin() + 2);
        }
        return out;
    }
};

double result(const std::string& key) {
    auto it = g_results.find(key);
    return it == g_results.end() ? 0.0 : it->second;
}

void printSummary(const std::vector<std::string>& engines) {
    std::printf(
        "\nSummary: x columns are Kelno's speed relative to the engine's (> 1: Kelno faster); mismatch\n"
        "counts answers whose distance differs from Kelno's by more than float precision.\n");
    std::printf("%-20s %9s %-7s %12s %12s %8s %8s %9s %9s %9s %9s\n", "mesh", "triangles", "engine",
                "q/s 1thr", "q/s 2thr", "x 1thr", "x 2thr", "build s", "x build", "bytes/tri", "mismatch");
    for (const std::string& mesh : g_meshOrder) {
        const double k1 = result(mesh + "|kelno|closestthreads:1"),
                     k2 = result(mesh + "|kelno|closestthreads:2");
        const double kb = result(mesh + "|kelno|build");
        std::vector<std::string> rows = {"kelno"};
        rows.insert(rows.end(), engines.begin(), engines.end());
        for (const std::string& e : rows) {
            const double q1 = result(mesh + "|" + e + "|closestthreads:1");
            const double q2 = result(mesh + "|" + e + "|closestthreads:2");
            const double b = result(mesh + "|" + e + "|build");
            std::printf("%-20s %9.0f %-7s %12.0f %12.0f %8.2f %8.2f %9.3f %9.2f %9.1f %9.0f\n", mesh.c_str(),
                        result(mesh + "||tris"), e.c_str(), q1, q2, q1 > 0 ? k1 / q1 : 0.0,
                        q2 > 0 ? k2 / q2 : 0.0, b, kb > 0 ? b / kb : 0.0, result(mesh + "|" + e + "|bytes"),
                        result(mesh + "|" + e + "|mismatch1") + result(mesh + "|" + e + "|mismatch2"));
        }
        const double c1 = result(mesh + "|cgal|boxthreads:1"), kk1 = result(mesh + "|kelno|boxthreads:1");
        const double c2 = result(mesh + "|cgal|boxthreads:2"), kk2 = result(mesh + "|kelno|boxthreads:2");
        if (c1 > 0)
            std::printf("%-20s box queries, triangles returned/s: Kelno %.3g / %.3g, CGAL %.3g / %.3g (1 / 2 "
                        "threads), "
                        "x %.2f / %.2f\n",
                        mesh.c_str(), kk1, kk2, c1, c2, kk1 / c1, c2 > 0 ? kk2 / c2 : 0.0);
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string dataDir = env("KELNO_BENCH_DATA", KELNO_TEST_DATA_DIR);
    std::vector<MeshCase> cases;
    for (const std::string& m :
         split(env("KELNO_BENCH_MESHES", "bunny,armadillo_100k,dragon_100k,lucy_100k,nefertiti_100k")))
        cases.push_back({m, dataDir + "/meshes/" + m + ".obj", 0});
    for (const std::string& m : split(env("KELNO_BENCH_SUBDIVIDE", "dragon_100k")))
        for (const std::string& l : split(env("KELNO_BENCH_LEVELS", "2,3")))
            cases.push_back({m + "/sub" + l, dataDir + "/meshes/" + m + ".obj", std::atoi(l.c_str())});

    std::vector<std::string> engines;
    for (const std::string& e : split(env("KELNO_BENCH_ENGINES", "kelno,embree,cgal"))) {
        if (makeEngine(e))
            engines.push_back(e);
        else
            std::fprintf(stderr, "bench_closest_point: engine '%s' not built in, skipped\n", e.c_str());
    }
    if (std::find(engines.begin(), engines.end(), "kelno") == engines.end())
        engines.insert(engines.begin(), "kelno");

    for (const MeshCase& c : cases) {
        for (const std::string& e : engines)
            benchmark::RegisterBenchmark(("build/" + c.name + "/" + e).c_str(), benchBuild, c, e)
                ->Iterations(1)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        for (int threads : {1, 2})
            for (const std::string& e : engines)
                benchmark::RegisterBenchmark(
                    ("closest/" + c.name + "/" + e + "/threads:" + std::to_string(threads)).c_str(),
                    benchClosest, c, e, threads)
                    ->Iterations(1)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
        for (int threads : {1, 2})
            for (const std::string& e : engines)
                if (e != "embree")
                    benchmark::RegisterBenchmark(
                        ("box/" + c.name + "/" + e + "/threads:" + std::to_string(threads)).c_str(),
                        benchBoxes, c, e, threads)
                        ->Iterations(1)
                        ->UseManualTime()
                        ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    engines.erase(std::remove(engines.begin(), engines.end(), "kelno"), engines.end());
    printSummary(engines);
    return 0;
}
