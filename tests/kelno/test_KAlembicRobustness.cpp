// The Alembic reader on production archives, on damaged files and from many threads.
#include <kelno/KAlembic.h>

#include "support/KAlembicReads.h"
#include "support/KHdf5Writer.h"
#include "support/KOgawaWriter.h"
#include "support/KTestData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Kelno;

namespace {

std::uint64_t load64(const std::vector<unsigned char>& b, std::size_t at) {
    std::uint64_t v;
    std::memcpy(&v, b.data() + at, 8);
    return v;
}
void store64(std::vector<unsigned char>& b, std::size_t at, std::uint64_t v) {
    std::memcpy(b.data() + at, &v, 8);
}

using KelnoTest::MeshRead;
using KelnoTest::readMesh;

// Why opening the bytes (the first size of them) or the file failed; "opened" when it did not.
std::string openFailure(const std::vector<unsigned char>& bytes, std::size_t size = std::string::npos) {
    KAlembicArchive archive;
    return archive.openFromMemory(bytes.data(), std::min(size, bytes.size())) ? "opened"
                                                                              : archive.errorString().str();
}
std::string openFailure(const std::string& path) {
    KAlembicArchive archive;
    return archive.open(path.c_str()) ? "opened" : archive.errorString().str();
}

// Success when the open failed with a reason containing part ("" for any reason).
::testing::AssertionResult refused(const std::string& why, const char* part = "") {
    if (why != "opened" && !why.empty() && why.find(part) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << why;
}

// The objects of an archive, depth-first; only the polygon meshes when meshesOnly.
KAlembicObjectArray objectsOf(const KAlembicArchive& archive, bool meshesOnly = false) {
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    std::vector<int> drop;
    for (int i = 0; i < objects.length(); ++i)
        if (meshesOnly && objects[i].typeId() != kAbcTypePolyMesh)
            drop.push_back(i);
    objects.remove(KIntArray(drop.begin(), drop.end()));
    return objects;
}

// Positions and placement of one sample, the reason of a failure in *error.
bool readPoints(const KAlembicObject& o, int s, KVectorArray* p, KMatrix* m = nullptr,
                KString* error = nullptr) {
    return o.getPolyMeshData(p, nullptr, nullptr, nullptr, nullptr, m, nullptr, nullptr, s, error);
}

// One triangle under a transform, positions per sample; the scenes the damage tests start from.
KelnoTest::MeshScene triangleScene(std::vector<std::vector<float>> positions,
                                   std::vector<double> translateX) {
    KelnoTest::MeshScene scene;
    scene.positions = std::move(positions);
    scene.faceCounts = {3};
    scene.faceIndices = {0, 1, 2};
    scene.translateX = std::move(translateX);
    return scene;
}
const std::vector<float> kTriangle{0, 0, 0, 1, 0, 0, 0, 1, 0};

// Reads everything the viewer and the tool would read from an archive. Whatever the data, this
// must not crash; successful mesh reads must hold a consistent topology.
void exerciseArchive(const KAlembicArchive& archive) {
    const KAlembicObjectArray objects = objectsOf(archive);
    archive.startTime();
    archive.endTime();
    EXPECT_GT(archive.timeStepSize(), 0.0);
    for (int i = 0; i < objects.length(); ++i) {
        const KAlembicObject& o = objects[i];
        double world[16];
        o.getWorldMatrix(world, 0);
        KAlembicObject parent;
        KAlembicProperty visible;
        char value = 0;
        if (o.getParent(parent) && parent.topProperty().getChild("visible", visible))
            visible.getValue(value, 3);
        for (int s = -1; o.typeId() == kAbcTypePolyMesh && s <= std::min(o.numSamples(), 4); ++s) {
            KVectorArray positions, velocities;
            KIntArray counts, indices, uvIndices;
            KFloatArray uvs;
            KBoundingBox box;
            KMatrix m;
            if (o.getPolyMeshData(&positions, &velocities, &counts, &indices, &box, &m, &uvs, &uvIndices, s))
                KelnoTest::expectConsistent(counts, indices, positions.length());
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Production archives

TEST(AlembicProduction, ArchivesFromProductionToolsReadCompletely) {
    const struct {
        const char *file, *backend;
        int meshes;
        const char* mesh; // the first mesh
        int samples, points, faces;
    } cases[] = {
        {"real/alembic/dembones_Bone_Anim.abc", "Ogawa", 1, "/Bone/BoneShape", 400, 754, 752},
        {"real/alembic/cortex_animatedCube_ogawa.abc", "Ogawa", 1, "/pCube1/pCubeShape1", 10, 8, 6},
        {"real/alembic/cortex_animatedCube_hdf5.abc", "HDF5", 1, "/pCube1/pCubeShape1", 10, 8, 6},
        {"real/alembic/cortex_sphereWithShadingGroups.abc", "Ogawa", 1, "/pSphere1/pSphereShape1", 1, 382,
         400},
        {"real/alembic/gaffer_sierpinskiPyramid_001.abc", "HDF5", 64,
         "/level03_01_GRP/level02_01_GRP/level01_01_GRP/pyramid01_GEO/pyramid01_GEOShape", 1, 4, 4},
    };
    for (const auto& e : cases) {
        SCOPED_TRACE(e.file);
        ASSERT_TRUE(KelnoTest::dataExists(e.file)) << "missing " << KelnoTest::dataPath(e.file);
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(KelnoTest::dataPath(e.file).c_str())) << archive.errorString().str();
        EXPECT_EQ(archive.archiveTypeStr().str(), e.backend);
        EXPECT_EQ(archive.timeSamplingTypeStr().str(), "uniform");
        EXPECT_NEAR(archive.timeStepSize(), 1.0 / 24.0, 1e-12);
        // (Every mesh past the first is read by the concurrency test below.)
        const KAlembicObjectArray meshes = objectsOf(archive, true);
        ASSERT_EQ(meshes.length(), e.meshes);
        EXPECT_EQ(meshes[0].fullPath().str(), e.mesh);
        ASSERT_EQ(meshes[0].numSamples(), e.samples);
        bool moved = false;
        const MeshRead first = readMesh(meshes[0], 0);
        for (int s = 0; s < e.samples; ++s) {
            const MeshRead r = readMesh(meshes[0], s);
            ASSERT_TRUE(r.ok) << "sample " << s;
            EXPECT_EQ(r.positions.length(), e.points);
            EXPECT_EQ(r.counts.length(), e.faces);
            moved = moved || !(r.bounds.min() == first.bounds.min() && r.bounds.max() == first.bounds.max());
        }
        EXPECT_EQ(moved, e.samples > 1) << "animated caches change between samples";
    }
}

// ---------------------------------------------------------------------------------------------
// Files that are not archives, or damaged ones

TEST(AlembicDamage, MissingEmptyAndForeignFilesFailWithReasons) {
    EXPECT_TRUE(refused(openFailure(std::string("/nonexistent/dir/cache.abc")), "cannot open"));
    KAlembicArchive archive;
    for (const char* bad : {"", static_cast<const char*>(nullptr), "/tmp"}) {
        EXPECT_FALSE(archive.open(bad));
        EXPECT_FALSE(archive.errorString().empty());
    }
    const struct {
        std::string bytes;
        const char* reason;
    } foreign[] = {{"", "not an Alembic archive"},
                   {"# an OBJ file, not a cache\nv 0 0 0\n", "not an Alembic archive"},
                   {"Ogawa", "shorter than its 16-byte header"}};
    for (const auto& f : foreign) {
        EXPECT_FALSE(archive.openFromMemory(f.bytes.data(), f.bytes.size()));
        EXPECT_NE(archive.errorString().str().find(f.reason), std::string::npos)
            << archive.errorString().str();
        EXPECT_FALSE(archive.topObject().isValid());
    }
}

// A fixture of the shared data, cut and damaged. Each open of an HDF5 archive runs a probe
// process first, so fewer cuts and rounds there: every cut fails the same file-size check.
struct DamageCase {
    const char* file;
    std::size_t middleCuts;
    int flipRounds;
};
void PrintTo(const DamageCase& c, std::ostream* os) { *os << c.file; }

class DamagedFixture : public ::testing::TestWithParam<DamageCase> {
  protected:
    void SetUp() override {
        const std::string rel = std::string("alembic/") + GetParam().file;
        KELNO_REQUIRE_DATA(rel);
        m_bytes = KelnoTest::readByteVector(KelnoTest::dataPath(rel));
        ASSERT_GT(m_bytes.size(), 16u);
        ASSERT_EQ(openFailure(m_bytes), "opened");
    }
    std::vector<unsigned char> m_bytes;
};

// Offsets of the Ogawa layout: the Ogawa fixtures only.
using OgawaDamagedFixture = DamagedFixture;
TEST_P(OgawaDamagedFixture, HeaderDamageAndCyclesInTheGroupTreeAreReportedPrecisely) {
    const std::size_t top = static_cast<std::size_t>(load64(m_bytes, 8));
    struct Damage {
        std::size_t at;
        std::uint64_t value;
        int width; // 1: a byte, 8: a 64-bit word
        const char* reason;
    };
    std::vector<Damage> cases = {
        {5, 0, 1, "not frozen"},
        {7, 2, 1, "version"},
        {0, 'o', 1, "not an Alembic archive"},
        {8, m_bytes.size() + 100, 8, "damaged"},    // top group past the end
        {top, 0x0fffffffffffffffULL, 8, "damaged"}, // a group count far larger than the file
    };
    // The root object's first child object pointed at the root object itself, and at the
    // top-level group: a walk that followed references blindly would never end.
    const std::uint64_t rootRef = load64(m_bytes, top + 8 + 16);
    ASSERT_EQ(rootRef >> 63, 0u);
    if (load64(m_bytes, static_cast<std::size_t>(rootRef)) >= 3) // the root has a child object
        for (std::uint64_t target : {rootRef, static_cast<std::uint64_t>(top)})
            cases.push_back({static_cast<std::size_t>(rootRef + 16), target, 8, "damaged"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.at);
        std::vector<unsigned char> b = m_bytes;
        if (c.width == 1)
            b[c.at] = static_cast<unsigned char>(c.value);
        else
            store64(b, c.at, c.value);
        EXPECT_TRUE(refused(openFailure(b), c.reason));
    }
}

// Ogawa: the top-level group is written last, so any cut loses it (or the blocks it names).
// HDF5: the library compares the file's size with the end its superblock records.
TEST_P(DamagedFixture, EveryTruncationFailsToOpen) {
    const std::size_t n = m_bytes.size(), edge = std::min<std::size_t>(64, GetParam().middleCuts);
    const std::size_t step = std::max<std::size_t>(1, n / GetParam().middleCuts);
    // Every cut within edge of either end, every step-th one between.
    for (std::size_t cut = 0; cut < n;
         cut = cut < edge || cut + edge >= n ? cut + 1 : std::min(cut + step, n - edge))
        EXPECT_TRUE(refused(openFailure(m_bytes, cut))) << "cut at " << cut;
}

TEST_P(DamagedFixture, RandomByteFlipsNeverCrashAndNeverYieldInconsistentMeshes) {
    std::mt19937 rng(20261121u);
    int opened = 0;
    for (int round = 0; round < GetParam().flipRounds; ++round) {
        std::vector<unsigned char> b = m_bytes;
        const int flips = 1 + static_cast<int>(rng() % 4);
        for (int f = 0; f < flips; ++f) {
            const std::size_t at = rng() % b.size();
            // Half the time flip one bit, otherwise write a random byte.
            if (rng() & 1)
                b[at] ^= static_cast<unsigned char>(1u << (rng() % 8));
            else
                b[at] = static_cast<unsigned char>(rng());
        }
        KAlembicArchive archive;
        if (!archive.openFromMemory(b.data(), b.size())) {
            EXPECT_FALSE(archive.errorString().empty());
            continue;
        }
        ++opened;
        exerciseArchive(archive);
    }
    // Most flips land in sample payloads, so many damaged files still open.
    EXPECT_GT(opened, 0);
}

const DamageCase kDamageCases[] = {{"deforming_mesh.abc", 300, 600},   {"mixed_schemas.abc", 300, 600},
                                   {"animated_xforms.abc", 300, 600},  {"empty_mesh.abc", 300, 600},
                                   {"many_meshes.abc", 300, 600},      {"hdf5/deforming_mesh.abc", 10, 120},
                                   {"hdf5/mixed_schemas.abc", 10, 120}};
std::string damageCaseName(const ::testing::TestParamInfo<DamageCase>& info) {
    std::string name = info.param.file;
    std::replace(name.begin(), name.end(), '/', '_');
    return name.substr(0, name.find('.'));
}
INSTANTIATE_TEST_SUITE_P(Fixtures, DamagedFixture, ::testing::ValuesIn(kDamageCases), damageCaseName);
INSTANTIATE_TEST_SUITE_P(Fixtures, OgawaDamagedFixture, ::testing::ValuesIn(kDamageCases, kDamageCases + 5),
                         damageCaseName);

TEST(AlembicDamage, Hdf5GroupsLinkedIntoACycleOrSharedAreRefused) {
    const std::string path = ::testing::TempDir() + "kelno_hdf5_links.abc";
    const struct {
        const char* at;     // where a second hard link is added
        const char* target; // the group it names
        bool property;      // the link is a compound property (listed by a header)
    } cases[] = {
        {"/ABC/xform/mesh/loop", "/ABC/xform", false},               // an object inside itself
        {"/ABC/again", "/ABC/xform", false},                         // one object in two places
        {"/ABC/xform/.prop/.xform/inner", "/ABC/xform/.prop", true}, // a compound property inside itself
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.at);
        KelnoTest::writeMeshSceneHdf5(path, triangleScene({kTriangle}, {1}));
        const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
        ASSERT_GE(file, 0);
        EXPECT_GE(H5Lcreate_hard(file, c.target, file, c.at, H5P_DEFAULT, H5P_DEFAULT), 0);
        if (c.property) {
            const hid_t xform = H5Gopen2(file, "/ABC/xform/.prop/.xform", H5P_DEFAULT);
            const unsigned compound = 0;
            KelnoTest::Hdf5Writer::numbers(xform, "inner.info", H5T_STD_U32LE, H5T_NATIVE_UINT, &compound, 1);
            H5Gclose(xform);
        }
        H5Fclose(file);
        EXPECT_TRUE(refused(openFailure(path), "cycle or shared"));
    }
    std::remove(path.c_str());
}

// Damaged samples: a face index past the points (written by our Ogawa writer), and positions
// stored in chunks far larger than the file (HDF5: the library would allocate a whole chunk,
// gigabytes, to read the few values; the read is refused before the library is asked).
TEST(AlembicDamage, DamagedSamplesFailTheReadAndLeaveOutputsAlone) {
    const std::string path = ::testing::TempDir() + "kelno_bad_sample.abc";
    for (const bool hdf5 : {false, true}) {
        SCOPED_TRACE(hdf5 ? "HDF5" : "Ogawa");
        if (!hdf5) {
            KelnoTest::MeshScene scene = triangleScene({kTriangle, kTriangle}, {0.0, 1.0});
            scene.faceIndices = {0, 1, 7};
            KelnoTest::writeMeshScene(path, scene);
        } else {
            KelnoTest::writeMeshSceneHdf5(path, triangleScene({kTriangle}, {0}));
            const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
            ASSERT_GE(file, 0);
            const hid_t geom = H5Gopen2(file, "/ABC/xform/mesh/.prop/.geom", H5P_DEFAULT);
            ASSERT_GE(geom, 0);
            ASSERT_GE(H5Ldelete(geom, "P.smp0", H5P_DEFAULT), 0);
            const hsize_t size = 9, unlimited = H5S_UNLIMITED, chunk = hsize_t(1) << 29; // 2 GB of floats
            const hid_t space = H5Screate_simple(1, &size, &unlimited);
            const hid_t layout = H5Pcreate(H5P_DATASET_CREATE);
            ASSERT_GE(H5Pset_chunk(layout, 1, &chunk), 0);
            const hid_t d =
                H5Dcreate2(geom, "P.smp0", H5T_IEEE_F32LE, space, H5P_DEFAULT, layout, H5P_DEFAULT);
            ASSERT_GE(d, 0);
            const unsigned char key[16] = {};
            KelnoTest::Hdf5Writer::numbers(d, "key", H5T_STD_U8LE, H5T_NATIVE_UCHAR, key, 16);
            H5Dclose(d);
            H5Pclose(layout);
            H5Sclose(space);
            H5Gclose(geom);
            H5Fclose(file);
        }
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(path.c_str())) << archive.errorString().str();
        const KAlembicObjectArray objects = objectsOf(archive);
        ASSERT_EQ(objects.length(), 2);
        KIntArray counts{9, 9}, indices{5};
        KVectorArray positions;
        KString error;
        EXPECT_FALSE(objects[1].getPolyMeshData(&positions, nullptr, &counts, &indices, nullptr, nullptr,
                                                nullptr, nullptr, 0, &error));
        EXPECT_NE(error.str().find(hdf5 ? "stored in chunks larger than the file" : "beyond"),
                  std::string::npos)
            << error.str();
        EXPECT_EQ(counts, (KIntArray{9, 9}));
        EXPECT_EQ(indices, (KIntArray{5}));
        EXPECT_TRUE(positions.empty());
        // Ogawa: positions alone are still readable (HDF5: its one sample is the damaged one).
        EXPECT_EQ(readPoints(objects[1], 1, &positions, nullptr, &error), !hdf5) << error.str();
        EXPECT_EQ(positions.length(), hdf5 ? 0 : 3);
        EXPECT_FALSE(readPoints(objects[0], 0, &positions)) << "a transform is not a mesh";
    }
    std::remove(path.c_str());
}

// The superblock's end of file and its driver block's length are taken from the file; the
// library would zero-fill gigabytes for a few bytes of damage. Both are checked against the size.
TEST(AlembicDamage, Hdf5SuperblockExtentsPastTheFileAreRefused) {
    const std::string path = ::testing::TempDir() + "kelno_hdf5_extents.abc";
    KelnoTest::writeMeshSceneHdf5(path, triangleScene({kTriangle}, {0}));
    const std::vector<unsigned char> good = KelnoTest::readByteVector(path);
    ASSERT_EQ(good[8], 0) << "superblock version 0 expected from the writer";
    const std::size_t eofAt = 40, driverAt = 48; // after the base and free-space addresses
    const std::uint64_t size = good.size();
    ASSERT_LE(load64(good, eofAt), size);

    std::vector<unsigned char> bytes = good;
    store64(bytes, eofAt, size); // exactly the file, and with bytes after it: both fine
    EXPECT_EQ(openFailure(bytes), "opened");
    bytes.resize(bytes.size() + 100, 0);
    EXPECT_EQ(openFailure(bytes), "opened");
    bytes = good;
    store64(bytes, eofAt, size + 1);
    EXPECT_TRUE(refused(openFailure(bytes), "end of file past the file's size"));

    // A driver block in the last 16 bytes, claiming 2 GB after its header; in memory and on disk.
    bytes = good;
    store64(bytes, eofAt, size);
    store64(bytes, driverAt, size - 16);
    const unsigned char header[8] = {0, 0, 0, 0, 0x00, 0x00, 0x00, 0x80};
    std::memcpy(bytes.data() + size - 16, header, sizeof(header));
    EXPECT_TRUE(refused(openFailure(bytes), "driver information block runs past"));
    KelnoTest::writeBytes(path, std::string(bytes.begin(), bytes.end()));
    EXPECT_TRUE(refused(openFailure(path), "driver information block"));
    std::remove(path.c_str());
}

TEST(AlembicDamage, DeepHierarchiesAreRefusedNotOverflowingTheStack) {
    const std::string path = ::testing::TempDir() + "kelno_deep.abc";
    {
        KelnoTest::OgawaWriter w(path);
        std::uint64_t obj = w.object(0, {});
        for (int level = 0; level < 5000; ++level)
            obj = w.object(0, {{"n" + std::to_string(level), "", obj}});
        w.finish(obj);
    }
    EXPECT_TRUE(refused(openFailure(path), "deeply"));

    // Shallow but shared: every level names the level below sixteen times, so a few hundred
    // bytes would unfold into 16^6 objects.
    {
        KelnoTest::OgawaWriter w(path);
        std::uint64_t obj = w.object(0, {});
        for (int level = 0; level < 6; ++level) {
            std::vector<KelnoTest::OgawaWriter::Child> children;
            for (int k = 0; k < 16; ++k)
                children.push_back({"c" + std::to_string(k), "", obj});
            obj = w.object(0, children);
        }
        w.finish(obj);
    }
    EXPECT_TRUE(refused(openFailure(path), "cycle or are shared"));
    std::remove(path.c_str());
}

// ---------------------------------------------------------------------------------------------
// Concurrency

// Objects outlive their archive (the viewer resets it before replacing them). Every thread reads
// every (mesh, sample) pair, starting at its own mesh: neighbouring objects, which share blocks,
// are read together, and one object is read by several threads at once. HDF5 archives go through
// the one lock around the HDF5 library.
TEST(AlembicConcurrency, ParallelReadsOfObjectsOutlivingTheirArchiveEqualSerialReads) {
    const struct {
        const char* file;
        int meshes, samples, rounds;
    } cases[] = {
        {"alembic/many_meshes.abc", 100, 3, 1},
        {"alembic/hdf5/visibility.abc", 5, 10, 1},
        {"real/alembic/gaffer_sierpinskiPyramid_001.abc", 64, 1, 1},
        {"alembic/deforming_mesh.abc", 1, 24, 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        KELNO_REQUIRE_DATA(c.file);
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(KelnoTest::dataPath(c.file).c_str()));
        const KAlembicObjectArray meshes = objectsOf(archive, true);
        ASSERT_EQ(meshes.length(), c.meshes);
        std::vector<MeshRead> serial;
        for (int i = 0; i < c.meshes; ++i)
            for (int s = 0; s < c.samples; ++s)
                serial.push_back(readMesh(meshes[i], s));
        archive.reset();
        EXPECT_FALSE(archive.topObject().isValid());

        const int threads = 4, n = static_cast<int>(serial.size());
        std::vector<std::vector<MeshRead>> parallel(threads, std::vector<MeshRead>(serial.size()));
        std::vector<std::thread> pool;
        for (int t = 0; t < threads; ++t)
            pool.emplace_back([&, t]() {
                for (int round = 0; round < c.rounds; ++round)
                    for (int k = 0; k < n; ++k) {
                        const int read = (k + t * c.samples) % n;
                        parallel[t][read] = readMesh(meshes[read / c.samples], read % c.samples);
                    }
            });
        for (auto& th : pool)
            th.join();
        for (int k = 0; k < n; ++k) {
            EXPECT_TRUE(serial[k].ok);
            for (int t = 0; t < threads; ++t)
                EXPECT_TRUE(parallel[t][k] == serial[k]) << "read " << k << " of thread " << t;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Scenes of our writers (the benchmark relies on them)

// Scenes are written with both back ends and must read alike.
void (*const kSceneWriters[])(const std::string&, const KelnoTest::MeshScene&) = {
    KelnoTest::writeMeshScene, KelnoTest::writeMeshSceneHdf5};
std::string backendOf(void (*write)(const std::string&, const KelnoTest::MeshScene&)) {
    return write == kSceneWriters[0] ? " (Ogawa)" : " (HDF5)";
}

// A transform on its own sampling is read at the mesh sample's time: the last transform sample
// at or before it (the first one before the transform starts). Its "visible" values stay per
// transform sample.
TEST(AlembicWriterRoundTrip, TransformsOnOtherSamplingsArePlacedByTime) {
    const struct {
        const char* what;
        int meshSamples;
        double xformStep; // 0: the mesh's sampling
        double xformStart;
        std::vector<double> expected; // translate x at sample indices 0..3 (24 fps from frame 1)
    } cases[] = {
        {"sub-frame samples from time 0", 4, 1.0 / 48, 0.0, {2, 4, 6, 8}},
        {"quarter-frame samples", 4, 1.0 / 96, 0.0, {4, 8, 12, 16}},
        {"starting two frames later", 4, 1.0 / 24, 3.0 / 24, {0, 0, 0, 1}},
        {"half the rate", 4, 1.0 / 12, 1.0 / 24, {0, 0, 1, 1}},
        {"a static mesh under an animated transform", 1, 0.0, 0.0, {0, 1, 2, 3}},
    };
    const std::string path = ::testing::TempDir() + "kelno_two_samplings.abc";
    for (const auto& c : cases)
        for (const auto write : kSceneWriters) {
            SCOPED_TRACE(c.what + backendOf(write));
            KelnoTest::MeshScene scene = triangleScene({}, {});
            for (int s = 0; s < c.meshSamples; ++s)
                scene.positions.push_back({0, 0, static_cast<float>(s), 1, 0, 0, 0, 1, 0});
            for (int k = 0; k < 20; ++k) {
                scene.translateX.push_back(k);
                scene.visible.push_back(static_cast<std::int8_t>(k % 3 != 1));
            }
            scene.xformStep = c.xformStep;
            scene.xformStart = c.xformStart;
            write(path, scene);
            KAlembicArchive archive;
            ASSERT_TRUE(archive.open(path.c_str())) << archive.errorString().str();
            KAlembicObject xform, mesh;
            ASSERT_TRUE(archive.topObject().getChild(0, xform) && xform.getChild(0, mesh));
            EXPECT_EQ(mesh.numSamples(), c.meshSamples);
            EXPECT_EQ(xform.numSamples(), 20);
            KAlembicProperty visible;
            ASSERT_TRUE(xform.topProperty().getChild("visible", visible));
            for (int s = 0; s < 4; ++s) {
                const double x = c.expected[static_cast<std::size_t>(s)];
                char v = 9;
                ASSERT_TRUE(visible.getValue(v, s));
                EXPECT_EQ(v, s % 3 != 1 ? 1 : 0) << "transform sample " << s;
                KVectorArray p;
                KMatrix m;
                ASSERT_TRUE(readPoints(mesh, s, &p, &m));
                EXPECT_EQ(p[0].z, static_cast<float>(std::min(s, c.meshSamples - 1)));
                EXPECT_EQ(m.translation(), KVector(static_cast<float>(x), 0, 0)) << "mesh sample " << s;
                double world[16];
                ASSERT_TRUE(mesh.getWorldMatrix(world, s));
                EXPECT_EQ(world[12], x);
            }
        }
    std::remove(path.c_str());
}

// An instance shows its source's subtree in its place, under its own parents.
TEST(AlembicWriterRoundTrip, InstancesStandForTheirSourcesAndCyclesAreRefused) {
    // Every object depth-first, none when the archive must be refused; a fifth object is the
    // mesh placed below the instance, at (x of sample, 10, 0).
    const struct {
        const char* source;
        std::vector<std::string> paths;
        int instanceType;
    } cases[] = {
        {"/xform", {"/xform", "/xform/mesh", "/group", "/group/inst", "/group/inst/mesh"}, kAbcTypeXform},
        {"/xform/mesh", {"/xform", "/xform/mesh", "/group", "/group/inst"}, kAbcTypePolyMesh},
        {"/nowhere", {"/xform", "/xform/mesh", "/group", "/group/inst"}, kAbcTypeUnknown},
        {"/group", {}, 0},
        {"/", {}, 0},
    };
    const std::string path = ::testing::TempDir() + "kelno_instance.abc";
    for (const auto& c : cases)
        for (const auto write : kSceneWriters) {
            SCOPED_TRACE(c.source + backendOf(write));
            KelnoTest::MeshScene scene = triangleScene({}, {1, 2, 3});
            for (int s = 0; s < 3; ++s)
                scene.positions.push_back({0, 0, static_cast<float>(s), 1, 0, 0, 0, 1, 0});
            scene.instanceSource = c.source;
            write(path, scene);
            KAlembicArchive archive;
            ASSERT_EQ(archive.open(path.c_str()), !c.paths.empty()) << archive.errorString().str();
            if (c.paths.empty()) {
                EXPECT_NE(archive.errorString().str().find("cycle"), std::string::npos)
                    << archive.errorString().str();
                continue;
            }
            const KAlembicObjectArray objects = objectsOf(archive);
            std::vector<std::string> paths;
            for (int i = 0; i < objects.length(); ++i)
                paths.push_back(objects[i].fullPath().str());
            EXPECT_EQ(paths, c.paths);
            EXPECT_EQ(archive.numObjects(), objects.length() + 1);
            EXPECT_EQ(objects[3].name().str(), "inst");
            EXPECT_EQ(objects[3].typeId(), c.instanceType);
            if (c.instanceType == kAbcTypePolyMesh) {
                KMatrix m;
                ASSERT_TRUE(readPoints(objects[3], 0, nullptr, &m));
                EXPECT_EQ(m.translation(), KVector(0, 10, 0));
            }
            if (c.paths.size() < 5)
                continue;
            const KAlembicObject& placed = objects[4];
            KAlembicObject parent;
            ASSERT_TRUE(placed.getParent(parent));
            EXPECT_EQ(parent.fullPath().str(), "/group/inst");
            EXPECT_EQ(placed.numSamples(), 3);
            for (int s = 0; s < 3; ++s) {
                KVectorArray mine, original;
                KMatrix m;
                ASSERT_TRUE(readPoints(placed, s, &mine, &m));
                ASSERT_TRUE(readPoints(objects[1], s, &original));
                EXPECT_EQ(mine, original);
                EXPECT_EQ(m.translation(), KVector(static_cast<float>(s + 1), 10, 0));
            }
        }
    std::remove(path.c_str());
}

} // namespace
