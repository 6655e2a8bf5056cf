// Soak test, outside the default suite (see the README):
//
//   build/tests/soak_concurrency [--seconds S] [--threads T]     (defaults: 120 s, 16 threads)
//
// Half of the time goes to the tree (a real scan when the shared data is there, else a torus):
// random queries of all three closest-point forms and box queries. The other half goes to the
// archives of the shared data: random (mesh, sample) pairs read through one shared archive and
// through archives of the threads' own, opened and closed as they go. Every answer is compared
// bit for bit with the serial one; prints a JSON summary, exits 1 on any difference.
#include <kelno/KAlembic.h>
#include <kelno/KTriMeshDistTree.h>

#include "support/KTestMeshes.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Kelno;
using Clock = std::chrono::steady_clock;

namespace {

struct TreeAnswer {
    KVector closest;
    int triangle = -1;
    float w0 = 0, w1 = 0;
    int boxCount = 0;
    long long boxSum = 0;
};

bool sameBits(const void* a, const void* b, std::size_t n) { return std::memcmp(a, b, n) == 0; }

// Runs batch(thread, random, answered, mismatches) over and over on every thread until the time
// is up; returns {answers, mismatches} of all threads.
template <class Batch>
std::pair<long long, long long> runThreads(double seconds, int threads, unsigned seed, const Batch& batch) {
    std::atomic<long long> answered{0}, mismatches{0};
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            std::mt19937 pick(seed + static_cast<unsigned>(t));
            long long count = 0, bad = 0;
            while (Clock::now() < end)
                batch(t, pick, count, bad);
            answered += count;
            mismatches += bad;
        });
    for (std::thread& t : pool)
        t.join();
    return {answered.load(), mismatches.load()};
}

TreeAnswer askTree(const KTriMeshDistTree& tree, const KVector& p, KIntArray& scratch, int form) {
    TreeAnswer a;
    if (form == 0) {
        tree.getClosestPoint(p, a.closest, a.triangle, a.w0, a.w1, 1e30f);
    } else if (form == 1) {
        tree.getClosestPoint(p, a.closest, a.triangle, 1e30f);
    } else if (form == 2) {
        tree.getClosestPoint(p, a.triangle, a.w0, a.w1, 1e30f);
    } else {
        const KVector h(0.01f, 0.01f, 0.01f);
        tree.getTriangles(KBoundingBox(p - h, p + h), scratch, true);
        a.boxCount = scratch.length();
        for (int t : scratch)
            a.boxSum = a.boxSum * 31 + t;
    }
    return a;
}

bool sameAnswer(const TreeAnswer& a, const TreeAnswer& b) {
    return a.triangle == b.triangle && a.boxCount == b.boxCount && a.boxSum == b.boxSum &&
           sameBits(&a.closest, &b.closest, sizeof(KVector)) && sameBits(&a.w0, &b.w0, sizeof(float)) &&
           sameBits(&a.w1, &b.w1, sizeof(float));
}

// Returns {queries answered, mismatches}.
std::pair<long long, long long> soakTree(double seconds, int threads) {
    KTriMesh mesh;
    const std::string scan = std::string(KELNO_TEST_DATA_DIR) + "/meshes/dragon_100k.obj";
    if (!KelnoTest::readObj(scan, mesh))
        mesh = KelnoTest::makeTorus(400, 200);
    const KTriMeshDistTree tree(mesh, 10, 10);
    const KBoundingBox box = mesh.boundingBox(true);
    const KVector size = box.max() - box.min();

    const int n = 20000;
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-0.2f, 1.2f);
    std::vector<KVector> queries(n);
    std::vector<TreeAnswer> serial(n);
    KIntArray scratch;
    for (int i = 0; i < n; ++i) {
        queries[i] = box.min() + KVector(u(rng) * size.x, u(rng) * size.y, u(rng) * size.z);
        if (i % 97 == 0)
            queries[i] = mesh.positions[i % mesh.positions.length()]; // on the surface
        serial[i] = askTree(tree, queries[i], scratch, i % 4);
    }

    return runThreads(seconds, threads, 1000, [&](int, std::mt19937& pick, long long& count, long long& bad) {
        KIntArray own;
        for (int k = 0; k < 256; ++k, ++count) {
            const int i = static_cast<int>(pick() % n);
            bad += !sameAnswer(askTree(tree, queries[i], own, i % 4), serial[i]);
        }
    });
}

struct MeshSample {
    KVectorArray positions;
    KIntArray counts, connections;
    KMatrix xform;
    bool ok = false;
};

MeshSample readSample(const KAlembicObject& object, int sample) {
    MeshSample s;
    s.ok = object.getPolyMeshData(&s.positions, nullptr, &s.counts, &s.connections, nullptr, &s.xform,
                                  nullptr, nullptr, sample);
    return s;
}

bool sameSample(const MeshSample& a, const MeshSample& b) {
    return a.ok == b.ok && a.positions.length() == b.positions.length() && a.counts == b.counts &&
           a.connections == b.connections &&
           sameBits(a.positions.data(), b.positions.data(), sizeof(KVector) * a.positions.size()) &&
           sameBits(&a.xform, &b.xform, sizeof(KMatrix));
}

struct ArchiveCase {
    std::string path;
    std::vector<std::string> meshPaths;
    std::vector<std::vector<MeshSample>> serial; // [mesh][sample]
};

bool findMesh(const KAlembicArchive& archive, const std::string& path, KAlembicObject& out) {
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    for (int i = 0; i < objects.length() && !out.isValid(); ++i)
        if (std::string(objects[i].fullPath().str()) == path)
            out = objects[i];
    return out.isValid();
}

std::pair<long long, long long> soakArchives(double seconds, int threads, int& archivesUsed) {
    namespace fs = std::filesystem;
    std::vector<ArchiveCase> cases;
    for (const char* folder : {"/alembic", "/alembic/hdf5", "/real/alembic"}) {
        std::error_code error;
        for (const fs::directory_entry& entry :
             fs::directory_iterator(std::string(KELNO_TEST_DATA_DIR) + folder, error)) {
            if (entry.path().extension() != ".abc")
                continue;
            KAlembicArchive archive;
            if (!archive.open(entry.path().c_str()))
                continue;
            ArchiveCase c;
            c.path = entry.path().string();
            KAlembicObjectArray objects;
            GetAllDescendantObjects(archive.topObject(), objects, true);
            for (int i = 0; i < objects.length(); ++i) {
                if (objects[i].typeId() != kAbcTypePolyMesh)
                    continue;
                c.meshPaths.push_back(objects[i].fullPath().str());
                c.serial.emplace_back();
                for (int s = 0; s < std::min(objects[i].numSamples(), 64); ++s)
                    c.serial.back().push_back(readSample(objects[i], s));
            }
            if (!c.meshPaths.empty())
                cases.push_back(std::move(c));
        }
    }
    archivesUsed = static_cast<int>(cases.size());
    if (cases.empty())
        return {0, 0};

    std::vector<std::unique_ptr<KAlembicArchive>> shared;
    for (const ArchiveCase& c : cases) {
        shared.emplace_back(new KAlembicArchive);
        shared.back()->open(c.path.c_str());
    }
    return runThreads(seconds, threads, 2000,
                      [&](int t, std::mt19937& pick, long long& count, long long& bad) {
                          const std::size_t a = pick() % cases.size();
                          const ArchiveCase& c = cases[a];
                          // Odd threads open an archive of their own for a while; even ones share.
                          KAlembicArchive own;
                          const KAlembicArchive* archive = shared[a].get();
                          if (t % 2 && own.open(c.path.c_str()))
                              archive = &own;
                          for (int k = 0; k < 32; ++k, ++count) {
                              const std::size_t m = pick() % c.meshPaths.size();
                              if (c.serial[m].empty())
                                  continue;
                              const int s = static_cast<int>(pick() % c.serial[m].size());
                              KAlembicObject object;
                              bad += !findMesh(*archive, c.meshPaths[m], object) ||
                                     !sameSample(readSample(object, s), c.serial[m][s]);
                          }
                      });
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 120;
    int threads = 16;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--seconds"))
            seconds = std::atof(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--threads"))
            threads = std::max(1, std::atoi(argv[i + 1]));
    }
    const auto tree = soakTree(seconds / 2, threads);
    int archives = 0;
    const auto abc = soakArchives(seconds / 2, threads, archives);
    std::printf("{\"threads\": %d, \"seconds\": %.0f, \"treeQueries\": %lld, \"treeMismatches\": %lld, "
                "\"archives\": %d, \"meshReads\": %lld, \"meshMismatches\": %lld}\n",
                threads, seconds, tree.first, tree.second, archives, abc.first, abc.second);
    return tree.second == 0 && abc.second == 0 && tree.first > 0 ? 0 : 1;
}
