// The Alembic reader when another process changes the archive on disk while it is open: the
// file is truncated, rewritten in place with other bytes or with another archive, or grows.
// Reads must fail cleanly or return valid data; the process must never die.
#include <kelno/KAlembic.h>

#include "support/KAlembicReads.h"
#include "support/KOgawaWriter.h"
#include "support/KTestData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Kelno;

namespace {

const int kSamples = 6;
const int kPoints = 400;

using KelnoTest::MeshRead;
using KelnoTest::readMesh;

// A strip of triangles over kPoints points that move every sample, under one transform.
void writeStripArchive(const std::string& path, int points, int samples, float phase) {
    KelnoTest::MeshScene scene;
    for (int s = 0; s < samples; ++s) {
        scene.positions.emplace_back();
        for (int i = 0; i < points; ++i)
            scene.positions.back().insert(
                scene.positions.back().end(),
                {static_cast<float>(i / 2), static_cast<float>(i % 2), phase + 0.5f * static_cast<float>(s)});
        scene.translateX.push_back(static_cast<double>(s));
        scene.visible.push_back(1);
    }
    for (int i = 0; i + 2 < points; ++i) {
        scene.faceCounts.push_back(3);
        scene.faceIndices.insert(scene.faceIndices.end(), {i, i + 1, i + 2});
    }
    KelnoTest::writeMeshScene(path, scene);
}

class ChangedArchive : public ::testing::Test {
  protected:
    void SetUp() override {
        m_path = ::testing::TempDir() + "kelno_changed_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".abc";
        writeStripArchive(m_path, kPoints, kSamples, 0.0f);
        m_original = KelnoTest::readBytes(m_path);
        ASSERT_TRUE(m_archive.open(m_path.c_str())) << m_archive.errorString().str();
        KAlembicObjectArray objects;
        GetAllDescendantObjects(m_archive.topObject(), objects, true);
        ASSERT_EQ(objects.length(), 2);
        m_xform = objects[0];
        m_mesh = objects[1];
        for (int s = 0; s < kSamples; ++s) {
            m_reference.push_back(readMesh(m_mesh, s));
            ASSERT_TRUE(m_reference.back().ok);
            ASSERT_EQ(m_reference.back().positions.length(), kPoints);
        }
    }
    void TearDown() override { std::remove(m_path.c_str()); }

    // Reads every sample (-1 .. kSamples), the parent's visibility and the world matrices;
    // returns how many mesh reads failed. Successful reads are checked for consistency and, when
    // the file holds only the original bytes (or a prefix of them), equal the reads made before.
    int readEverything(bool original) const {
        int failures = 0;
        for (int s = -1; s <= kSamples; ++s) {
            const MeshRead r = readMesh(m_mesh, s);
            failures += !r.ok;
            if (r.ok)
                KelnoTest::expectConsistent(r.counts, r.indices, r.positions.length());
            if (r.ok && original) {
                EXPECT_TRUE(r ==
                            m_reference[static_cast<std::size_t>(std::min(std::max(s, 0), kSamples - 1))])
                    << "sample " << s;
            }
        }
        KAlembicProperty visible;
        char value = 0;
        if (m_xform.topProperty().getChild("visible", visible))
            visible.getValue(value, 2);
        double world[16];
        m_mesh.getWorldMatrix(world, 3);
        return failures;
    }

    std::string m_path;
    std::string m_original;
    KAlembicArchive m_archive;
    KAlembicObject m_xform;
    KAlembicObject m_mesh;
    std::vector<MeshRead> m_reference;
};

// Files are rewritten in place (same file, as a writer truncating and re-exporting does), so
// that the reader holding them open sees the new bytes.
TEST_F(ChangedArchive, TruncatedOrGrownWhileOpenReadsFailOrReturnTheOriginalData) {
    const std::uintmax_t size = m_original.size();
    for (const std::uintmax_t cut :
         {std::uintmax_t(0), std::uintmax_t(16), size / 4, size / 2, 3 * size / 4, size - 40, size - 1}) {
        SCOPED_TRACE("cut at " + std::to_string(cut) + " of " + std::to_string(size));
        std::filesystem::resize_file(m_path, cut);
        // What is left of the file is the original prefix: anything read is the original.
        const int failures = readEverything(true);
        if (cut <= size / 4) {
            EXPECT_GT(failures, 0); // most sample data lies past a quarter of the file
        }
        if (cut <= 16) {
            EXPECT_EQ(failures, kSamples + 2);
        }
        KelnoTest::writeBytes(m_path, m_original);
    }
    // Restored in place: the open archive reads the file again, not a stale copy of it. Grown
    // past its end, it still reads the original data.
    for (bool grown : {false, true}) {
        if (grown) {
            std::ofstream out(m_path, std::ios::binary | std::ios::app);
            out << std::string(100000, '\x7f');
        }
        EXPECT_EQ(readEverything(true), 0) << grown;
    }
}

TEST_F(ChangedArchive, FailedReadsOfATruncatedFileLeaveTheOutputsAlone) {
    std::filesystem::resize_file(m_path, 16);
    KVectorArray positions{KVector(1, 2, 3)};
    KIntArray counts{9, 9};
    KIntArray indices{5};
    KBoundingBox bounds;
    KString error;
    EXPECT_FALSE(m_mesh.getPolyMeshData(&positions, nullptr, &counts, &indices, &bounds, nullptr, nullptr,
                                        nullptr, 1, &error));
    EXPECT_NE(error.str().find("changed on disk"), std::string::npos) << error.str();
    EXPECT_EQ(positions, (KVectorArray{KVector(1, 2, 3)}));
    EXPECT_EQ(counts, (KIntArray{9, 9}));
    EXPECT_EQ(indices, (KIntArray{5}));
    EXPECT_FALSE(bounds.initialized());
    KAlembicProperty visible;
    ASSERT_TRUE(m_xform.topProperty().getChild("visible", visible));
    char value = 7;
    EXPECT_FALSE(visible.getValue(value, 0));
    EXPECT_EQ(value, 7);
}

TEST_F(ChangedArchive, OverwrittenWithOtherBytesOrArchivesReadsFailOrStayConsistent) {
    std::mt19937 random(5);
    for (int round = 0; round < 8; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        std::string bytes = m_original;
        if (round % 2 == 0) {
            // Entirely other bytes of the same length.
            for (char& b : bytes)
                b = static_cast<char>(random());
        } else {
            // The same archive with a few hundred bytes changed anywhere, offsets included.
            for (int k = 0; k < 300; ++k)
                bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        KelnoTest::writeBytes(m_path, bytes);
        readEverything(false);
    }
    // Replaced by another archive, shorter (fewer points and samples) and longer.
    writeStripArchive(m_path, kPoints / 4, 2, 10.0f);
    ASSERT_LT(KelnoTest::readBytes(m_path).size(), m_original.size());
    EXPECT_GT(readEverything(false), 0);
    writeStripArchive(m_path, kPoints * 3, kSamples + 4, 20.0f);
    ASSERT_GT(KelnoTest::readBytes(m_path).size(), m_original.size());
    readEverything(false);
    // Once reopened, the new archive reads completely.
    KAlembicArchive reopened;
    ASSERT_TRUE(reopened.open(m_path.c_str())) << reopened.errorString().str();
    KAlembicObjectArray objects;
    GetAllDescendantObjects(reopened.topObject(), objects, true);
    ASSERT_EQ(objects.length(), 2);
    const MeshRead last = readMesh(objects[1], kSamples + 3);
    ASSERT_TRUE(last.ok);
    EXPECT_EQ(last.positions.length(), kPoints * 3);
    EXPECT_EQ(last.positions[0].z, 20.0f + 0.5f * (kSamples + 3));
}

TEST_F(ChangedArchive, ThreadsReadingWhileTheFileIsCutAndRestoredNeverSeeMixedData) {
    // The file only ever holds a prefix of the original bytes, so a read that succeeds must
    // return exactly the original sample, whatever moment it ran at.
    std::vector<std::thread> readers;
    for (int t = 0; t < 2; ++t)
        readers.emplace_back([this, t] {
            for (int round = 0; round < 60; ++round) {
                const int sample = (round + t) % kSamples;
                const MeshRead r = readMesh(m_mesh, sample);
                if (r.ok) {
                    EXPECT_TRUE(r == m_reference[static_cast<std::size_t>(sample)]) << "sample " << sample;
                }
            }
        });
    for (int round = 0; round < 30; ++round) {
        std::filesystem::resize_file(m_path, m_original.size() / (2 + round % 3));
        KelnoTest::writeBytes(m_path, m_original);
    }
    for (std::thread& t : readers)
        t.join();
    EXPECT_EQ(readEverything(true), 0);
}

} // namespace
