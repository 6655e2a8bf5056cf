// The Alembic reader on production archives, on damaged files and from many threads.
#include <kelno/KAlembic.h>

#include "support/KAlembicReads.h"
#include "support/KHdf5Writer.h"
#include "support/KOgawaWriter.h"
#include "support/KTestData.h"

#include <gtest/gtest.h>

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

// The polygon meshes of an archive, depth-first.
KAlembicObjectArray meshesOf(const KAlembicArchive& archive) {
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    std::vector<int> drop;
    for (int i = 0; i < objects.length(); ++i)
        if (objects[i].typeId() != kAbcTypePolyMesh)
            drop.push_back(i);
    objects.remove(KIntArray(drop.begin(), drop.end()));
    return objects;
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
int exerciseArchive(const KAlembicArchive& archive) {
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    int meshReads = 0;
    archive.startTime();
    archive.endTime();
    EXPECT_GT(archive.timeStepSize(), 0.0);
    for (int i = 0; i < objects.length(); ++i) {
        const KAlembicObject& o = objects[i];
        double world[16];
        o.getWorldMatrix(world, 0);
        KAlembicObject parent;
        if (o.getParent(parent)) {
            KAlembicProperty visible;
            char value = 0;
            if (parent.topProperty().getChild("visible", visible))
                visible.getValue(value, 3);
        }
        if (o.typeId() != kAbcTypePolyMesh)
            continue;
        const int n = std::min(o.numSamples(), 4);
        for (int s = -1; s <= n; ++s) {
            KVectorArray positions, velocities;
            KIntArray counts, indices, uvIndices;
            KFloatArray uvs;
            KBoundingBox box;
            KMatrix m;
            if (!o.getPolyMeshData(&positions, &velocities, &counts, &indices, &box, &m, &uvs, &uvIndices, s))
                continue;
            ++meshReads;
            KelnoTest::expectConsistent(counts, indices, positions.length());
        }
    }
    return meshReads;
}

// ---------------------------------------------------------------------------------------------
// Production archives

TEST(AlembicProduction, ArchivesFromProductionToolsReadCompletely) {
    struct Expect {
        const char* file;
        const char* backend;
        int meshes;
        const char* mesh; // the first mesh
        int samples;
        int points;
        int faces;
    };
    const Expect cases[] = {
        {"real/alembic/dembones_Bone_Anim.abc", "Ogawa", 1, "/Bone/BoneShape", 400, 754, 752},
        {"real/alembic/cortex_animatedCube_ogawa.abc", "Ogawa", 1, "/pCube1/pCubeShape1", 10, 8, 6},
        {"real/alembic/cortex_animatedCube_hdf5.abc", "HDF5", 1, "/pCube1/pCubeShape1", 10, 8, 6},
        {"real/alembic/cortex_sphereWithShadingGroups.abc", "Ogawa", 1, "/pSphere1/pSphereShape1", 1, 382,
         400},
        {"real/alembic/gaffer_sierpinskiPyramid_001.abc", "HDF5", 64,
         "/level03_01_GRP/level02_01_GRP/level01_01_GRP/pyramid01_GEO/pyramid01_GEOShape", 1, 4, 4},
    };
    for (const Expect& e : cases) {
        SCOPED_TRACE(e.file);
        if (!KelnoTest::dataExists(e.file)) {
            ADD_FAILURE() << "missing " << KelnoTest::dataPath(e.file);
            continue;
        }
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(KelnoTest::dataPath(e.file).c_str())) << archive.errorString().str();
        EXPECT_EQ(archive.archiveTypeStr().str(), e.backend);
        EXPECT_EQ(archive.timeSamplingTypeStr().str(), "uniform");
        EXPECT_NEAR(archive.timeStepSize(), 1.0 / 24.0, 1e-12);
        // (Every mesh past the first is read by the concurrency test below.)
        const KAlembicObjectArray meshes = meshesOf(archive);
        ASSERT_EQ(meshes.length(), e.meshes);
        const KAlembicObject& mesh = meshes[0];
        EXPECT_EQ(mesh.fullPath().str(), e.mesh);
        ASSERT_EQ(mesh.numSamples(), e.samples);
        KBoundingBox first;
        bool moved = false;
        for (int s = 0; s < e.samples; ++s) {
            KVectorArray positions;
            KIntArray counts, indices;
            KBoundingBox box;
            KMatrix m;
            KString error;
            ASSERT_TRUE(mesh.getPolyMeshData(&positions, nullptr, &counts, &indices, &box, &m, nullptr,
                                             nullptr, s, &error))
                << error.str() << " at sample " << s;
            EXPECT_EQ(positions.length(), e.points);
            EXPECT_EQ(counts.length(), e.faces);
            if (s == 0)
                first = box;
            else
                moved = moved || !(box.min() == first.min() && box.max() == first.max());
        }
        EXPECT_EQ(moved, e.samples > 1) << "animated caches change between samples";
    }
}

// ---------------------------------------------------------------------------------------------
// Files that are not archives, or damaged ones

TEST(AlembicDamage, MissingEmptyAndForeignFilesFailWithReasons) {
    KAlembicArchive archive;
    EXPECT_FALSE(archive.open("/nonexistent/dir/cache.abc"));
    EXPECT_NE(archive.errorString().str().find("cannot open"), std::string::npos);
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

class DamagedFixture : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        const std::string rel = std::string("alembic/") + GetParam();
        KELNO_REQUIRE_DATA(rel);
        m_bytes = KelnoTest::readByteVector(KelnoTest::dataPath(rel));
        ASSERT_GT(m_bytes.size(), 16u);
        KAlembicArchive archive;
        ASSERT_TRUE(archive.openFromMemory(m_bytes.data(), m_bytes.size())) << archive.errorString().str();
    }
    std::vector<unsigned char> m_bytes;
};

TEST_P(DamagedFixture, HeaderDamageIsReportedPrecisely) {
    const std::size_t top = static_cast<std::size_t>(load64(m_bytes, 8));
    const struct {
        std::size_t at;
        std::uint64_t value;
        int width; // 1: a byte, 8: a 64-bit word
        const char* reason;
    } cases[] = {
        {5, 0, 1, "not frozen"},
        {7, 2, 1, "version"},
        {0, 'o', 1, "not an Alembic archive"},
        {8, m_bytes.size() + 100, 8, "damaged"},    // top group past the end
        {top, 0x0fffffffffffffffULL, 8, "damaged"}, // a group count far larger than the file
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.at);
        std::vector<unsigned char> b = m_bytes;
        if (c.width == 1)
            b[c.at] = static_cast<unsigned char>(c.value);
        else
            store64(b, c.at, c.value);
        KAlembicArchive archive;
        EXPECT_FALSE(archive.openFromMemory(b.data(), b.size()));
        EXPECT_NE(archive.errorString().str().find(c.reason), std::string::npos)
            << archive.errorString().str();
    }
}

TEST_P(DamagedFixture, CyclesInTheGroupTreeAreRefused) {
    // Point the root object's first child object at the root object itself, and separately at
    // the top-level group: a walk that followed references blindly would never end.
    const std::size_t topAt = static_cast<std::size_t>(load64(m_bytes, 8));
    const std::uint64_t rootRef = load64(m_bytes, topAt + 8 + 16);
    ASSERT_EQ(rootRef >> 63, 0u);
    const std::uint64_t rootChildren = load64(m_bytes, static_cast<std::size_t>(rootRef));
    if (rootChildren < 3)
        GTEST_SKIP() << "root has no child object";
    for (std::uint64_t target : {rootRef, static_cast<std::uint64_t>(topAt)}) {
        std::vector<unsigned char> b = m_bytes;
        store64(b, static_cast<std::size_t>(rootRef + 16), target);
        KAlembicArchive archive;
        EXPECT_FALSE(archive.openFromMemory(b.data(), b.size()));
        EXPECT_NE(archive.errorString().str().find("damaged"), std::string::npos)
            << archive.errorString().str();
    }
}

// Ogawa: the top-level group is written last, so any cut loses it (or the blocks it names).
// HDF5: the library compares the file's size with the end its superblock records.
void expectEveryTruncationFailsToOpen(const std::vector<unsigned char>& m_bytes, std::size_t middleCuts) {
    const std::size_t n = m_bytes.size();
    std::vector<std::size_t> cuts;
    const std::size_t edge = std::min<std::size_t>(64, middleCuts);
    for (std::size_t c = 0; c < std::min<std::size_t>(n, edge); ++c)
        cuts.push_back(c);
    const std::size_t step = std::max<std::size_t>(1, n / middleCuts);
    for (std::size_t c = edge; c < n; c += step)
        cuts.push_back(c);
    for (std::size_t c = n > edge ? n - edge : 0; c < n; ++c)
        cuts.push_back(c);
    for (std::size_t cut : cuts) {
        KAlembicArchive archive;
        EXPECT_FALSE(archive.openFromMemory(m_bytes.data(), cut)) << "cut at " << cut;
        EXPECT_FALSE(archive.errorString().empty());
    }
}

void expectByteFlipsNeverCrashOrYieldInconsistentMeshes(const std::vector<unsigned char>& m_bytes,
                                                        int rounds) {
    std::mt19937 rng(20261121u);
    int opened = 0;
    for (int round = 0; round < rounds; ++round) {
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

TEST_P(DamagedFixture, EveryTruncationFailsToOpen) { expectEveryTruncationFailsToOpen(m_bytes, 300); }
TEST_P(DamagedFixture, RandomByteFlipsNeverCrashAndNeverYieldInconsistentMeshes) {
    expectByteFlipsNeverCrashOrYieldInconsistentMeshes(m_bytes, 600);
}

// The same damage on HDF5 archives. Each open of one runs a probe process first, so fewer rounds:
// every cut fails the same file-size check, so a few cuts at each end and in the middle do.
using DamagedHdf5Fixture = DamagedFixture;
TEST_P(DamagedHdf5Fixture, EveryTruncationFailsToOpen) { expectEveryTruncationFailsToOpen(m_bytes, 10); }
TEST_P(DamagedHdf5Fixture, RandomByteFlipsNeverCrashAndNeverYieldInconsistentMeshes) {
    expectByteFlipsNeverCrashOrYieldInconsistentMeshes(m_bytes, 120);
}

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
        KAlembicArchive archive;
        EXPECT_FALSE(archive.open(path.c_str()));
        EXPECT_NE(archive.errorString().str().find("cycle or shared"), std::string::npos)
            << archive.errorString().str();
    }
    std::remove(path.c_str());
}

INSTANTIATE_TEST_SUITE_P(Fixtures, DamagedHdf5Fixture,
                         ::testing::Values("hdf5/deforming_mesh.abc", "hdf5/mixed_schemas.abc"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string name = info.param + 5;
                             return name.substr(0, name.find('.'));
                         });

INSTANTIATE_TEST_SUITE_P(Fixtures, DamagedFixture,
                         ::testing::Values("deforming_mesh.abc", "mixed_schemas.abc", "animated_xforms.abc",
                                           "empty_mesh.abc", "many_meshes.abc"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string name = info.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(AlembicDamage, DamagedSamplesFailTheReadAndLeaveOutputsAlone) {
    // A mesh whose face index points past its points, written by our writer.
    const std::string path = ::testing::TempDir() + "kelno_bad_index.abc";
    KelnoTest::MeshScene scene = triangleScene({kTriangle, kTriangle}, {0.0, 1.0});
    scene.faceIndices = {0, 1, 7};
    KelnoTest::writeMeshScene(path, scene);
    KAlembicArchive archive;
    ASSERT_TRUE(archive.open(path.c_str())) << archive.errorString().str();
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    ASSERT_EQ(objects.length(), 2);
    KIntArray counts{9, 9}, indices{5};
    KVectorArray positions;
    KString error;
    EXPECT_FALSE(objects[1].getPolyMeshData(&positions, nullptr, &counts, &indices, nullptr, nullptr, nullptr,
                                            nullptr, 0, &error));
    EXPECT_NE(error.str().find("beyond"), std::string::npos) << error.str();
    EXPECT_EQ(counts, (KIntArray{9, 9}));
    EXPECT_EQ(indices, (KIntArray{5}));
    EXPECT_TRUE(positions.empty());
    // Positions alone are still readable.
    EXPECT_TRUE(objects[1].getPolyMeshData(&positions, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, 1, &error));
    EXPECT_EQ(positions.length(), 3);
    // Not a mesh.
    EXPECT_FALSE(objects[0].getPolyMeshData(&positions, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, 0, &error));
    std::remove(path.c_str());
}

// A sample stored in chunks far larger than the file: the library would allocate a whole chunk
// (gigabytes) to read the few values. The read is refused before the library is asked.
TEST(AlembicDamage, Hdf5SamplesInChunksLargerThanTheFileAreRefused) {
    const std::string path = ::testing::TempDir() + "kelno_hdf5_huge_chunk.abc";
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
    const hid_t d = H5Dcreate2(geom, "P.smp0", H5T_IEEE_F32LE, space, H5P_DEFAULT, layout, H5P_DEFAULT);
    ASSERT_GE(d, 0);
    const unsigned char key[16] = {};
    KelnoTest::Hdf5Writer::numbers(d, "key", H5T_STD_U8LE, H5T_NATIVE_UCHAR, key, 16);
    H5Dclose(d);
    H5Pclose(layout);
    H5Sclose(space);
    H5Gclose(geom);
    H5Fclose(file);

    KAlembicArchive archive;
    ASSERT_TRUE(archive.open(path.c_str())) << archive.errorString().str();
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    ASSERT_EQ(objects.length(), 2);
    KVectorArray positions;
    KString error;
    EXPECT_FALSE(objects[1].getPolyMeshData(&positions, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, 0, &error));
    EXPECT_NE(error.str().find("stored in chunks larger than the file"), std::string::npos) << error.str();
    EXPECT_TRUE(positions.empty());
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

    const auto reason = [](const std::vector<unsigned char>& bytes) {
        KAlembicArchive archive;
        return archive.openFromMemory(bytes.data(), bytes.size()) ? std::string("opened")
                                                                  : archive.errorString().str();
    };
    std::vector<unsigned char> bytes = good;
    store64(bytes, eofAt, size); // exactly the file, and with bytes after it: both fine
    EXPECT_EQ(reason(bytes), "opened");
    bytes.resize(bytes.size() + 100, 0);
    EXPECT_EQ(reason(bytes), "opened");

    bytes = good;
    store64(bytes, eofAt, size + 1);
    EXPECT_NE(reason(bytes).find("end of file past the file's size"), std::string::npos) << reason(bytes);

    // A driver block in the last 16 bytes, claiming 2 GB after its header.
    bytes = good;
    store64(bytes, eofAt, size);
    store64(bytes, driverAt, size - 16);
    const unsigned char header[8] = {0, 0, 0, 0, 0x00, 0x00, 0x00, 0x80};
    std::memcpy(bytes.data() + size - 16, header, sizeof(header));
    EXPECT_NE(reason(bytes).find("driver information block runs past"), std::string::npos) << reason(bytes);
    KelnoTest::writeBytes(path, std::string(bytes.begin(), bytes.end()));
    KAlembicArchive archive;
    EXPECT_FALSE(archive.open(path.c_str()));
    EXPECT_NE(archive.errorString().str().find("driver information block"), std::string::npos);
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
    KAlembicArchive archive;
    EXPECT_FALSE(archive.open(path.c_str()));
    EXPECT_NE(archive.errorString().str().find("deeply"), std::string::npos) << archive.errorString().str();
    std::remove(path.c_str());
}

// ---------------------------------------------------------------------------------------------
// Concurrency

TEST(AlembicConcurrency, ParallelReadsOfDistinctObjectsEqualSerialReads) {
    // HDF5 archives go through the one lock around the HDF5 library.
    const struct {
        const char* file;
        int meshes;
        int samples;
    } cases[] = {
        {"alembic/many_meshes.abc", 100, 3},
        {"alembic/hdf5/visibility.abc", 5, 10},
        {"real/alembic/gaffer_sierpinskiPyramid_001.abc", 64, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        KELNO_REQUIRE_DATA(c.file);
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(KelnoTest::dataPath(c.file).c_str()));
        const KAlembicObjectArray meshes = meshesOf(archive);
        ASSERT_EQ(meshes.length(), c.meshes);
        const int samples = c.samples;

        std::vector<MeshRead> serial;
        for (int i = 0; i < meshes.length(); ++i)
            for (int s = 0; s < samples; ++s)
                serial.push_back(readMesh(meshes[i], s));

        const int threads = 4;
        std::vector<MeshRead> parallel(serial.size());
        std::vector<std::thread> pool;
        for (int t = 0; t < threads; ++t)
            pool.emplace_back([&, t]() {
                // Interleaved so neighbouring objects (which share blocks) are read together.
                for (int i = t; i < meshes.length(); i += threads)
                    for (int s = samples - 1; s >= 0; --s)
                        parallel[static_cast<std::size_t>(i * samples + s)] = readMesh(meshes[i], s);
            });
        for (auto& th : pool)
            th.join();
        for (std::size_t k = 0; k < serial.size(); ++k) {
            EXPECT_TRUE(serial[k].ok);
            EXPECT_TRUE(parallel[k] == serial[k]) << "read " << k;
        }
    }
}

TEST(AlembicConcurrency, ObjectsOutliveTheirArchiveAndThreadsShareOneObject) {
    KELNO_REQUIRE_DATA("alembic/deforming_mesh.abc");
    KAlembicObjectArray meshes;
    {
        KAlembicArchive archive;
        ASSERT_TRUE(archive.open(KelnoTest::dataPath("alembic/deforming_mesh.abc").c_str()));
        GetAllDescendantObjects(archive.topObject(), meshes, true);
        archive.reset(); // the viewer resets before the objects are replaced
        EXPECT_FALSE(archive.topObject().isValid());
    }
    ASSERT_EQ(meshes.length(), 2);
    const KAlembicObject mesh = meshes[1];
    ASSERT_EQ(mesh.typeId(), kAbcTypePolyMesh);
    std::vector<MeshRead> serial;
    for (int s = 0; s < 24; ++s)
        serial.push_back(readMesh(mesh, s));
    std::vector<std::vector<MeshRead>> results(4, std::vector<MeshRead>(24));
    std::vector<std::thread> pool;
    for (int t = 0; t < 4; ++t)
        pool.emplace_back([&, t]() {
            for (int round = 0; round < 5; ++round)
                for (int s = 0; s < 24; ++s)
                    results[static_cast<std::size_t>(t)][static_cast<std::size_t>(s)] =
                        readMesh(mesh, (s + t) % 24);
        });
    for (auto& th : pool)
        th.join();
    for (int t = 0; t < 4; ++t)
        for (int s = 0; s < 24; ++s)
            EXPECT_TRUE(results[static_cast<std::size_t>(t)][static_cast<std::size_t>(s)] ==
                        serial[static_cast<std::size_t>((s + t) % 24)]);
}

// ---------------------------------------------------------------------------------------------
// Scenes of our writers (the benchmark relies on them)

// Scenes are written with both back ends and must read alike.
void (*const kSceneWriters[])(const std::string&, const KelnoTest::MeshScene&) = {
    KelnoTest::writeMeshScene, KelnoTest::writeMeshSceneHdf5};

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
            SCOPED_TRACE(std::string(c.what) + (write == kSceneWriters[0] ? " (Ogawa)" : " (HDF5)"));
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
                char v = 9;
                ASSERT_TRUE(visible.getValue(v, s));
                EXPECT_EQ(v, s % 3 != 1 ? 1 : 0) << "transform sample " << s;
                KVectorArray p;
                KMatrix m;
                ASSERT_TRUE(
                    mesh.getPolyMeshData(&p, nullptr, nullptr, nullptr, nullptr, &m, nullptr, nullptr, s));
                EXPECT_EQ(p[0].z, static_cast<float>(std::min(s, c.meshSamples - 1)));
                EXPECT_EQ(m.translation(),
                          KVector(static_cast<float>(c.expected[static_cast<std::size_t>(s)]), 0, 0))
                    << "mesh sample " << s;
                double world[16];
                ASSERT_TRUE(mesh.getWorldMatrix(world, s));
                EXPECT_EQ(world[12], c.expected[static_cast<std::size_t>(s)]);
            }
        }
    std::remove(path.c_str());
}

// An instance shows its source's subtree in its place, under its own parents.
TEST(AlembicWriterRoundTrip, InstancesStandForTheirSourcesAndCyclesAreRefused) {
    const struct {
        const char* source;
        bool opens;
        std::vector<std::string> paths; // every object, depth-first
        int instanceType;
        const char* placedMesh; // a mesh below the instance, placed at (x of sample, 10, 0)
    } cases[] = {
        {"/xform",
         true,
         {"/xform", "/xform/mesh", "/group", "/group/inst", "/group/inst/mesh"},
         kAbcTypeXform,
         "/group/inst/mesh"},
        {"/xform/mesh", true, {"/xform", "/xform/mesh", "/group", "/group/inst"}, kAbcTypePolyMesh, nullptr},
        {"/nowhere", true, {"/xform", "/xform/mesh", "/group", "/group/inst"}, kAbcTypeUnknown, nullptr},
        {"/group", false, {}, 0, nullptr},
        {"/", false, {}, 0, nullptr},
    };
    const std::string path = ::testing::TempDir() + "kelno_instance.abc";
    for (const auto& c : cases)
        for (const auto write : kSceneWriters) {
            SCOPED_TRACE(std::string(c.source) + (write == kSceneWriters[0] ? " (Ogawa)" : " (HDF5)"));
            KelnoTest::MeshScene scene = triangleScene({}, {1, 2, 3});
            for (int s = 0; s < 3; ++s)
                scene.positions.push_back({0, 0, static_cast<float>(s), 1, 0, 0, 0, 1, 0});
            scene.instanceSource = c.source;
            write(path, scene);
            KAlembicArchive archive;
            ASSERT_EQ(archive.open(path.c_str()), c.opens) << archive.errorString().str();
            if (!c.opens) {
                EXPECT_NE(archive.errorString().str().find("cycle"), std::string::npos)
                    << archive.errorString().str();
                continue;
            }
            KAlembicObjectArray objects;
            GetAllDescendantObjects(archive.topObject(), objects, true);
            std::vector<std::string> paths;
            for (int i = 0; i < objects.length(); ++i)
                paths.push_back(objects[i].fullPath().str());
            EXPECT_EQ(paths, c.paths);
            EXPECT_EQ(archive.numObjects(), objects.length() + 1);
            EXPECT_EQ(objects[3].name().str(), "inst");
            EXPECT_EQ(objects[3].typeId(), c.instanceType);
            if (c.instanceType == kAbcTypePolyMesh) {
                KMatrix m;
                ASSERT_TRUE(objects[3].getPolyMeshData(nullptr, nullptr, nullptr, nullptr, nullptr, &m,
                                                       nullptr, nullptr, 0));
                EXPECT_EQ(m.translation(), KVector(0, 10, 0));
            }
            if (!c.placedMesh)
                continue;
            const KAlembicObject& placed = objects[4];
            KAlembicObject parent;
            ASSERT_TRUE(placed.getParent(parent));
            EXPECT_EQ(parent.fullPath().str(), "/group/inst");
            EXPECT_EQ(placed.numSamples(), 3);
            for (int s = 0; s < 3; ++s) {
                KVectorArray mine, original;
                KMatrix m;
                ASSERT_TRUE(placed.getPolyMeshData(&mine, nullptr, nullptr, nullptr, nullptr, &m, nullptr,
                                                   nullptr, s));
                ASSERT_TRUE(objects[1].getPolyMeshData(&original, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                       nullptr, nullptr, s));
                EXPECT_EQ(mine, original);
                EXPECT_EQ(m.translation(), KVector(static_cast<float>(s + 1), 10, 0));
            }
        }
    std::remove(path.c_str());
}

} // namespace
