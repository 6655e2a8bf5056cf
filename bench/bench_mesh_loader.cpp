// KMeshLoader playing the real fluid sequence in the host stand-in: the cost of one frame of
// playback (time change, compute, mesh build, the shape reading it back) against the reader
// alone on the same files. The gap is what the node and the host add to the read.
#include <kelno/KObjSequence.h>

#include <host/Host.h>

#include <maya/MFnMesh.h>

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

namespace {

const std::string kSequence =
    std::string(KELNO_TEST_DATA_DIR) + "/real/obj_sequences/fluid_test/fluid_test_000001.obj";
const int kFrames = 250;

bool haveSequence() { return std::ifstream(kSequence).good(); }

void BM_ReaderAlone(benchmark::State& state) {
    if (!haveSequence()) {
        state.SkipWithError("shared data missing: real/obj_sequences/fluid_test");
        return;
    }
    Kelno::KObjMesh mesh;
    int frame = 0;
    std::int64_t vertices = 0;
    for (auto _ : state) {
        Kelno::ReadObjFile(Kelno::ObjSequenceFileName(kSequence, frame % kFrames + 1, 0), mesh);
        vertices += mesh.points.length();
        ++frame;
    }
    state.counters["vertices/frame"] = static_cast<double>(vertices) / static_cast<double>(frame);
}
BENCHMARK(BM_ReaderAlone)->Unit(benchmark::kMicrosecond);

void BM_NodePlayback(benchmark::State& state) {
    if (!haveSequence()) {
        state.SkipWithError("shared data missing: real/obj_sequences/fluid_test");
        return;
    }
    Host::resetSession();
    std::string error;
    if (!Host::isPluginLoaded("Kelno") && !Host::loadPlugin(KELNO_PLUGIN_PATH, &error)) {
        state.SkipWithError(("cannot load the plug-in: " + error).c_str());
        return;
    }
    Host::createNode("KMeshLoader");
    MObject shape = Host::createNode("mesh", "fluidShape");
    Host::connect("time1.outTime", "KMeshLoader1.time");
    Host::connect("KMeshLoader1.outMesh", "fluidShape.inMesh");
    Host::plug("KMeshLoader1.filePathName").setValue(MString(kSequence.c_str()));
    int frame = 0;
    std::int64_t vertices = 0;
    for (auto _ : state) {
        Host::setCurrentTime(MTime(frame % kFrames + 1, MTime::kFilm));
        vertices += MFnMesh(shape).numVertices();
        ++frame;
    }
    state.counters["vertices/frame"] = static_cast<double>(vertices) / static_cast<double>(frame);
    Host::resetSession();
}
BENCHMARK(BM_NodePlayback)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
