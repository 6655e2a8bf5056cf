// Alembic reader speed on a deforming mesh of about one million triangles over 48 frames.
//
// The scene is written at start-up once per storage back end, by our own small Ogawa and HDF5
// writers, into the temporary folder (KELNO_BENCH_DIR overrides it) and removed at exit, so both
// sit in the page cache like a cache an artist scrubs. The reads run on both files (/Ogawa,
// /HDF5 in the names), so the HDF5 back end is measured against the Ogawa one in the same run.
// Measured:
//   OpenAndList          open the archive, gather all objects, keep the polygon meshes
//   ReadAllPositions     positions of all 48 samples into one reused array (the viewer's mesh)
//   ReadAllPositionsAfterOpen  the same straight after opening the archive (first playback)
//   MemcpyReference      a plain memcpy of the same 48 runs of bytes, for the ratio
//   ReadTopologyOnce     face counts and indices into fresh arrays (what a reload does)
//   ViewerFrame          (Ogawa) one frame of the viewer's work: positions and world matrix, world
//                        transform, bounds, vertex normals, on 2 threads
// Run with --benchmark_repetitions=N and compare medians; the machine is shared.
#include <kelno/KAlembic.h>
#include <kelno/KPolyMesh.h>

#include "support/KHdf5Writer.h"
#include "support/KOgawaWriter.h"

#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Kelno;

namespace {

const int kGrid = 708; // 708 x 708 points, 707 x 707 x 2 = 999,698 triangles
const int kFrames = 48;

enum Backend { kOgawa = 0, kHdf5 = 1 };

struct BenchData {
    std::string path[2];
    std::vector<std::vector<float>> positions; // the bytes stored per sample (reference copy)
    std::size_t pointCount = 0;
    KAlembicArchive archive[2];
    KAlembicObject mesh[2];

    BenchData() {
        const char* dir = std::getenv("KELNO_BENCH_DIR");
        const std::string base =
            std::string(dir ? dir : "/tmp") + "/kelno_bench_alembic_" + std::to_string(getpid());
        path[kOgawa] = base + "_ogawa.abc";
        path[kHdf5] = base + "_hdf5.abc";
        pointCount = static_cast<std::size_t>(kGrid) * kGrid;
        KelnoTest::MeshScene scene;
        scene.faceCounts.reserve(static_cast<std::size_t>(2 * (kGrid - 1) * (kGrid - 1)));
        scene.faceIndices.reserve(scene.faceCounts.capacity() * 3);
        for (int j = 0; j + 1 < kGrid; ++j)
            for (int i = 0; i + 1 < kGrid; ++i) {
                const int a = j * kGrid + i;
                for (int v : {a, a + 1, a + kGrid + 1, a, a + kGrid + 1, a + kGrid})
                    scene.faceIndices.push_back(v);
                scene.faceCounts.push_back(3);
                scene.faceCounts.push_back(3);
            }
        scene.positions.resize(kFrames);
        for (int f = 0; f < kFrames; ++f) {
            std::vector<float>& p = scene.positions[static_cast<std::size_t>(f)];
            p.resize(pointCount * 3);
            const float phase = 0.13f * static_cast<float>(f);
            for (int j = 0; j < kGrid; ++j)
                for (int i = 0; i < kGrid; ++i) {
                    float* q = &p[3 * static_cast<std::size_t>(j * kGrid + i)];
                    q[0] = static_cast<float>(i) * 0.01f;
                    q[1] = static_cast<float>(j) * 0.01f;
                    q[2] = 0.2f * std::sin(0.05f * static_cast<float>(i) + phase) *
                           std::cos(0.03f * static_cast<float>(j) - phase);
                }
            scene.translateX.push_back(0.1 * f);
        }
        scene.visible.assign(kFrames, 1);
        KelnoTest::writeMeshScene(path[kOgawa], scene);
        KelnoTest::writeMeshSceneHdf5(path[kHdf5], scene);
        positions = std::move(scene.positions);
        for (int b : {kOgawa, kHdf5}) {
            if (!archive[b].open(path[b].c_str())) {
                std::fprintf(stderr, "cannot open the benchmark archive: %s\n",
                             archive[b].errorString().asChar());
                std::exit(1);
            }
            KAlembicObjectArray objects;
            GetAllDescendantObjects(archive[b].topObject(), objects, true);
            for (int i = 0; i < objects.length(); ++i)
                if (objects[i].typeId() == kAbcTypePolyMesh)
                    mesh[b] = objects[i];
        }
    }
    ~BenchData() {
        std::remove(path[kOgawa].c_str());
        std::remove(path[kHdf5].c_str());
    }
};

BenchData& data() {
    static BenchData d;
    return d;
}

void BM_OpenAndList(benchmark::State& state, Backend backend) {
    const std::string& path = data().path[backend];
    for (auto _ : state) {
        KAlembicArchive archive;
        if (!archive.open(path.c_str()))
            state.SkipWithError("open failed");
        KAlembicObjectArray objects;
        GetAllDescendantObjects(archive.topObject(), objects, true);
        KIntArray others;
        for (int i = 0; i < objects.length(); ++i)
            if (objects[i].typeId() != kAbcTypePolyMesh)
                others.push_back(i);
        objects.remove(others);
        benchmark::DoNotOptimize(objects.data());
    }
}

void BM_ReadAllPositions(benchmark::State& state, Backend backend) {
    const KAlembicObject& mesh = data().mesh[backend];
    KVectorArray positions;
    for (auto _ : state) {
        for (int f = 0; f < kFrames; ++f)
            if (!mesh.getPolyMeshData(&positions, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, f))
                state.SkipWithError("read failed");
        benchmark::DoNotOptimize(positions.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kFrames * static_cast<std::int64_t>(positions.size() * 12));
}

// The same read straight after opening (the file itself is in the page cache), with the
// output array reused: the first playback after a load.
void BM_ReadAllPositionsAfterOpen(benchmark::State& state, Backend backend) {
    const std::string& path = data().path[backend];
    KVectorArray positions;
    for (auto _ : state) {
        KAlembicArchive archive;
        archive.open(path.c_str());
        KAlembicObject top = archive.topObject();
        KAlembicObject xform, mesh;
        if (!top.getChild(0, xform) || !xform.getChild(0, mesh))
            state.SkipWithError("open failed");
        for (int f = 0; f < kFrames; ++f)
            if (!mesh.getPolyMeshData(&positions, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, f))
                state.SkipWithError("read failed");
        benchmark::DoNotOptimize(positions.data());
        benchmark::ClobberMemory();
    }
}

void BM_MemcpyReference(benchmark::State& state) {
    const auto& source = data().positions;
    std::vector<float> target(source[0].size());
    for (auto _ : state) {
        for (int f = 0; f < kFrames; ++f)
            std::memcpy(target.data(), source[static_cast<std::size_t>(f)].data(), target.size() * 4);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kFrames * static_cast<std::int64_t>(target.size() * 4));
}

void BM_ReadTopologyOnce(benchmark::State& state, Backend backend) {
    const KAlembicObject& mesh = data().mesh[backend];
    for (auto _ : state) {
        KIntArray counts, indices;
        if (!mesh.getPolyMeshData(nullptr, nullptr, &counts, &indices, nullptr, nullptr, nullptr, nullptr, 0))
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(indices.data());
    }
}

void BM_ViewerFrame(benchmark::State& state) {
    const KAlembicObject& mesh = data().mesh[kOgawa];
    KPolyMesh poly;
    mesh.getPolyMeshData(nullptr, nullptr, &poly.m_polygonCounts, &poly.m_polygonConnections, nullptr,
                         nullptr, nullptr, nullptr, 0);
    const int saved = omp_get_max_threads();
    omp_set_num_threads(static_cast<int>(state.range(0)));
    int frame = 0;
    for (auto _ : state) {
        KMatrix xform;
        if (!mesh.getPolyMeshData(&poly.m_positions, nullptr, nullptr, nullptr, nullptr, &xform, nullptr,
                                  nullptr, frame))
            state.SkipWithError("read failed");
        poly.transform(xform, false);
        poly.computeBoundingBox();
        poly.computeVertexNormals();
        benchmark::DoNotOptimize(poly.vertexNormals().data());
        frame = (frame + 1) % kFrames;
    }
    omp_set_num_threads(saved);
}

} // namespace

BENCHMARK_CAPTURE(BM_OpenAndList, Ogawa, kOgawa)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_OpenAndList, HDF5, kHdf5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadAllPositions, Ogawa, kOgawa)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadAllPositions, HDF5, kHdf5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadAllPositionsAfterOpen, Ogawa, kOgawa)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadAllPositionsAfterOpen, HDF5, kHdf5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemcpyReference)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadTopologyOnce, Ogawa, kOgawa)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadTopologyOnce, HDF5, kHdf5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ViewerFrame)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    data(); // write and open the archive before any timing
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
