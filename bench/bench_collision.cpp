// Collision check speed: Kelno::FindIntersectingEdges side by side with an Embree ray
// equivalent (when Embree 3 was found at configure time), in one process on the same meshes;
// and inside detection (Kelno::FindInsideVertices).
//
// Meshes (each a pair merged into one mesh, so edges of one pierce triangles of the other):
//   <scan>+shift   a real scan of the shared data folder and a copy moved by 5% of its box
//   tori-1M        two linked thick tori of about 500k triangles each
// The Embree equivalent: one scene over the merged mesh, one occlusion ray per edge from P0
// along P1 - P0 with tfar = 1, and an occlusion filter that rejects triangles sharing a vertex
// index with the edge. It is not the same test (exact direction and length, Embree's own
// watertight intersector), so its flagged count is reported beside ours, not compared.
//
// Correctness, checked once per mesh before timing: the fast search flags exactly the edges of
// the step-by-step form (sorted box query, KArray::remove, the test in order), and of the
// brute-force form (every triangle) on a sample of edges; "mismatch" counts any difference.
//
// Counters: items/s are edges per second (inside: vertices per second); "flagged" the edges
// found. Run on 1 and 2 threads. Environment (optional):
//   KELNO_BENCH_MESHES  comma-separated scans (default: all five)
//   KELNO_BENCH_DATA    the shared data folder (default: the configured test data folder)
#include <kelno/KCollision.h>
#include <kelno/KTriMeshDistTree.h>

#include "support/KTestMeshes.h"

#include <benchmark/benchmark.h>

#include <omp.h>

#if defined(KELNO_BENCH_WITH_EMBREE)
#include <embree3/rtcore.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace Kelno;

namespace {

struct Case {
    std::string name;
    KTriMesh mesh;
    KTriMesh first; // the first mesh of the pair (inside detection tests its vertices)
    KTriMesh second;
    std::unique_ptr<KTriMeshDistTree> tree;
    std::unique_ptr<KTriMeshDistTree> secondTree;
    KTriMeshConnectionInfo connections;
    int flagged = 0;
    int mismatches = 0;
};

KTriMesh mergePair(const KTriMesh& a, const KTriMesh& b) {
    KTriMesh m = a;
    const int offset = a.vertexCount();
    m.positions.insert(m.positions.end(), b.positions.begin(), b.positions.end());
    for (KInt3 t : b.triangles)
        m.triangles.push_back(KInt3{{t[0] + offset, t[1] + offset, t[2] + offset}});
    return m;
}

void prepare(Case& c) {
    c.mesh = mergePair(c.first, c.second);
    c.tree.reset(new KTriMeshDistTree(c.mesh, 10, 10));
    c.secondTree.reset(new KTriMeshDistTree(c.second, 10, 10));
    c.connections.set(c.mesh);
    c.connections.calculate_t2v();
    c.connections.calculate_v2e();
    c.connections.calculate_e2v();
    KIntArray fast, stepwise;
    FindIntersectingEdges(c.mesh, *c.tree, c.connections, fast);
    FindIntersectingEdgesStepwise(c.mesh, *c.tree, c.connections, stepwise);
    c.flagged = CountHits(fast);
    for (int i = 0; i < fast.length(); ++i)
        c.mismatches += fast[i] != stepwise[i] ? 1 : 0;
    // Brute force on a sample of edges: every flagged edge plus random others, each against all
    // triangles (a sub-mesh holding only the sampled edges' connection table).
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> pick(0, fast.length() - 1);
    std::vector<int> sample;
    for (int i = 0; i < fast.length() && sample.size() < 300; ++i)
        if (fast[i])
            sample.push_back(i);
    for (int k = 0; k < 300; ++k)
        sample.push_back(pick(rng));
    for (int e : sample) {
        const int a = c.connections.e2v[e][0], b = c.connections.e2v[e][1];
        KBoundingBox box(c.mesh.positions[a], c.mesh.positions[b]);
        box.expand(1e-30f);
        int hit = 0;
        for (const KInt3& t : c.mesh.triangles) {
            if (t[0] == a || t[1] == a || t[2] == a || t[0] == b || t[1] == b || t[2] == b)
                continue;
            KBoundingBox tb(c.mesh.positions[t[0]], c.mesh.positions[t[1]]);
            tb.expand(c.mesh.positions[t[2]]);
            if (box.overlaps(tb) &&
                SegmentPiercesTriangle(c.mesh.positions[a], c.mesh.positions[b], c.mesh.positions[t[0]],
                                       c.mesh.positions[t[1]], c.mesh.positions[t[2]])) {
                hit = 1;
                break;
            }
        }
        c.mismatches += hit != fast[e] ? 1 : 0;
    }
    std::fprintf(stderr, "%-22s %9d triangles %9d edges  flagged %6d  mismatches %d\n", c.name.c_str(),
                 c.mesh.triangleCount(), c.connections.e2v.length(), c.flagged, c.mismatches);
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream s(text);
    for (std::string item; std::getline(s, item, ',');)
        if (!item.empty())
            out.push_back(item);
    return out;
}

std::vector<std::unique_ptr<Case>>& cases() {
    static std::vector<std::unique_ptr<Case>> all;
    return all;
}

// The distance tree's box query per edge, then the tests (what the plug-in and the tool run).
void BM_Kelno(benchmark::State& state, Case* c) {
    omp_set_num_threads(static_cast<int>(state.range(0)));
    KIntArray hit;
    for (auto _ : state) {
        FindIntersectingEdges(c->mesh, *c->tree, c->connections, hit);
        benchmark::DoNotOptimize(hit.data());
    }
    state.SetItemsProcessed(state.iterations() * c->connections.e2v.length());
    state.counters["flagged"] = CountHits(hit);
    state.counters["mismatch"] = c->mismatches;
}

void BM_Inside(benchmark::State& state, Case* c) {
    omp_set_num_threads(static_cast<int>(state.range(0)));
    KIntArray inside;
    for (auto _ : state) {
        FindInsideVertices(c->first, c->second, *c->secondTree, inside);
        benchmark::DoNotOptimize(inside.data());
    }
    state.SetItemsProcessed(state.iterations() * c->first.vertexCount());
    state.counters["inside"] = inside.length();
}

#if defined(KELNO_BENCH_WITH_EMBREE)
struct EdgeContext {
    RTCIntersectContext context; // first, so Embree's context pointer is this struct
    int a;
    int b;
    const KInt3* triangles;
};

void skipAdjacent(const RTCFilterFunctionNArguments* args) {
    const EdgeContext* edge = reinterpret_cast<const EdgeContext*>(args->context);
    const unsigned prim = RTCHitN_primID(args->hit, args->N, 0);
    const KInt3& t = edge->triangles[prim];
    if (t[0] == edge->a || t[1] == edge->a || t[2] == edge->a || t[0] == edge->b || t[1] == edge->b ||
        t[2] == edge->b)
        args->valid[0] = 0;
}

struct EmbreeScene {
    RTCDevice device = nullptr;
    RTCScene scene = nullptr;
    explicit EmbreeScene(const KTriMesh& mesh) {
        device = rtcNewDevice(nullptr);
        scene = rtcNewScene(device);
        rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_HIGH);
        RTCGeometry geom = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
        float* v = static_cast<float*>(rtcSetNewGeometryBuffer(
            geom, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), mesh.vertexCount()));
        for (int i = 0; i < mesh.vertexCount(); ++i) {
            v[3 * i] = mesh.positions[i].x;
            v[3 * i + 1] = mesh.positions[i].y;
            v[3 * i + 2] = mesh.positions[i].z;
        }
        unsigned* idx = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
            geom, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), mesh.triangleCount()));
        for (int t = 0; t < mesh.triangleCount(); ++t)
            for (int k = 0; k < 3; ++k)
                idx[3 * t + k] = static_cast<unsigned>(mesh.triangles[t][k]);
        rtcSetGeometryOccludedFilterFunction(geom, skipAdjacent);
        rtcCommitGeometry(geom);
        rtcAttachGeometry(scene, geom);
        rtcReleaseGeometry(geom);
        rtcCommitScene(scene);
    }
    ~EmbreeScene() {
        rtcReleaseScene(scene);
        rtcReleaseDevice(device);
    }
};

void BM_Embree(benchmark::State& state, Case* c) {
    const int threads = static_cast<int>(state.range(0));
    static std::map<Case*, std::unique_ptr<EmbreeScene>> scenes;
    auto& scene = scenes[c];
    if (!scene)
        scene.reset(new EmbreeScene(c->mesh));
    const int edges = c->connections.e2v.length();
    KIntArray hit(edges);
    for (auto _ : state) {
#pragma omp parallel for num_threads(threads) schedule(static)
        for (int i = 0; i < edges; ++i) {
            EdgeContext edge;
            rtcInitIntersectContext(&edge.context);
            edge.a = c->connections.e2v[i][0];
            edge.b = c->connections.e2v[i][1];
            edge.triangles = c->mesh.triangles.data();
            const KVector& p0 = c->mesh.positions[edge.a];
            const KVector d = c->mesh.positions[edge.b] - p0;
            RTCRay ray;
            ray.org_x = p0.x;
            ray.org_y = p0.y;
            ray.org_z = p0.z;
            ray.dir_x = d.x;
            ray.dir_y = d.y;
            ray.dir_z = d.z;
            ray.tnear = 0.0f;
            ray.tfar = 1.0f;
            ray.time = 0.0f;
            ray.mask = 0xFFFFFFFFu;
            ray.id = 0;
            ray.flags = 0;
            rtcOccluded1(scene->scene, &edge.context, &ray);
            hit[i] = ray.tfar < 0.0f ? 1 : 0;
        }
        benchmark::DoNotOptimize(hit.data());
    }
    state.SetItemsProcessed(state.iterations() * edges);
    state.counters["flagged"] = CountHits(hit);
}
#endif

} // namespace

int main(int argc, char** argv) {
    const char* dataEnv = std::getenv("KELNO_BENCH_DATA");
    const std::string data = dataEnv ? dataEnv : KELNO_TEST_DATA_DIR;
    const char* meshesEnv = std::getenv("KELNO_BENCH_MESHES");
    const std::vector<std::string> scans =
        split(meshesEnv ? meshesEnv : "bunny,armadillo_100k,dragon_100k,lucy_100k,nefertiti_100k");
    for (const std::string& scan : scans) {
        std::unique_ptr<Case> c(new Case);
        if (!KelnoTest::readObj(data + "/meshes/" + scan + ".obj", c->first)) {
            std::fprintf(stderr, "skipping %s: not found under %s/meshes\n", scan.c_str(), data.c_str());
            continue;
        }
        c->name = scan + "+shift";
        c->second = c->first;
        const KVector shift = c->first.boundingBox(true).size() * 0.05f;
        for (KVector& p : c->second.positions)
            p += shift;
        cases().push_back(std::move(c));
    }
    {
        std::unique_ptr<Case> c(new Case);
        c->name = "tori-1M";
        c->first = KelnoTest::makeTorus(1000, 250, 2.0f, 1.2f);
        c->second = c->first;
        for (KVector& p : c->second.positions)
            p = KVector(p.x + 2.0f, p.z, p.y);
        cases().push_back(std::move(c));
    }
    for (auto& c : cases()) {
        prepare(*c);
        Case* p = c.get();
        benchmark::RegisterBenchmark(("collision/kelno/" + c->name).c_str(), BM_Kelno, p)
            ->Arg(1)
            ->Arg(2)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
#if defined(KELNO_BENCH_WITH_EMBREE)
        benchmark::RegisterBenchmark(("collision/embree/" + c->name).c_str(), BM_Embree, p)
            ->Arg(1)
            ->Arg(2)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
#endif
        benchmark::RegisterBenchmark(("inside/kelno/" + c->name).c_str(), BM_Inside, p)
            ->Arg(1)
            ->Arg(2)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
