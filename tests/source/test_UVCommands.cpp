// KExportUVs, KImportUVs and KTransferUVs in the host stand-in: the exact files written, round
// trips through files and between sets and meshes, every failure message, and damaged or
// misfitting files that leave the mesh as it was.
#include <kelno/KUVFile.h>

#include <host/Host.h>

#include <maya/MFloatArray.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnMesh.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include "support/KTestData.h"

#include "support/KPluginFixture.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Kelno::KUVLayout;

// A quad, a triangle and a pentagon (an n-gon); UVs on the quad and the pentagon only.
const int kCounts[] = {4, 3, 5};
const int kConnects[] = {0, 1, 2, 3, 1, 4, 2, 4, 5, 6, 7, 2};
KUVLayout sampleUVs() {
    return {{4, 0, 5},
            {0, 1, 2, 3, 1, 4, 5, 6, 2},
            {0.0f, 0.5f, 0.5f, 0.0f, 1.0f, 1.0f, 0.75f},
            {0.0f, 0.0f, 1.0f, 1.0f, 0.0f, 0.5f, 1.0f}};
}

using KelnoTest::readBytes;
using KelnoTest::writeBytes;

// Everything one UV set holds, as the mesh gives it back.
struct SetState {
    std::vector<int> counts, ids;
    std::vector<float> u, v;
    bool operator==(const SetState& o) const {
        return counts == o.counts && ids == o.ids && u == o.u && v == o.v;
    }
};

class UVCommandsTest : public KelnoTest::PluginTest {
  protected:
    void SetUp() override {
        PluginTest::SetUp();
        file = testing::TempDir() + "kelno_uvcmd_" + std::to_string(getpid()) + ".uv";
        std::remove(file.c_str());
    }
    void TearDown() override { std::remove(file.c_str()); }

    // A mesh shape "<name>Shape" under a transform "<name>", with `uvs` on map1 when given.
    static void makeMesh(const std::string& name, const std::vector<int>& counts,
                         const std::vector<int>& connects, int vertexCount, const KUVLayout* uvs) {
        MObject transform = Host::createNode("transform", name);
        MPointArray points;
        for (int i = 0; i < vertexCount; ++i)
            points.append(MPoint(i, i % 3, 0));
        MFnMesh fn;
        MStatus status;
        MObject shape =
            fn.create(vertexCount, static_cast<int>(counts.size()), points,
                      MIntArray(counts.data(), static_cast<unsigned>(counts.size())),
                      MIntArray(connects.data(), static_cast<unsigned>(connects.size())), transform, &status);
        ASSERT_TRUE(status);
        MFnDagNode(shape).setName((name + "Shape").c_str());
        if (uvs)
            setUVs(name, "map1", *uvs);
    }
    static void makeSample(const std::string& name, bool withUVs = true) {
        const KUVLayout uvs = sampleUVs();
        makeMesh(name, {std::begin(kCounts), std::end(kCounts)}, {std::begin(kConnects), std::end(kConnects)},
                 8, withUVs ? &uvs : nullptr);
    }
    static MFnMesh mesh(const std::string& name) { return MFnMesh(Host::findNode(name + "Shape")); }
    static void setUVs(const std::string& name, const std::string& set, const KUVLayout& uvs) {
        MFnMesh fn = mesh(name);
        MString setName(set.c_str());
        ASSERT_TRUE(fn.setUVs(MFloatArray(uvs.u.data(), uvs.u.size()),
                              MFloatArray(uvs.v.data(), uvs.v.size()), &setName));
        ASSERT_TRUE(fn.assignUVs(MIntArray(uvs.uvCounts.data(), uvs.uvCounts.size()),
                                 MIntArray(uvs.uvIds.data(), uvs.uvIds.size()), &setName));
    }
    static SetState state(const std::string& name, const std::string& set) {
        MFnMesh fn = mesh(name);
        MString setName(set.c_str());
        MIntArray counts, ids;
        MFloatArray u, v;
        if (!fn.getAssignedUVs(counts, ids, &setName) || !fn.getUVs(u, v, &setName))
            return {};
        SetState s{std::vector<int>(counts.length()), std::vector<int>(ids.length()),
                   std::vector<float>(u.length()), std::vector<float>(v.length())};
        counts.get(s.counts.data());
        ids.get(s.ids.data());
        u.get(s.u.data());
        v.get(s.v.data());
        return s;
    }
    static SetState stateOf(const KUVLayout& l) {
        return {{l.uvCounts.begin(), l.uvCounts.end()}, {l.uvIds.begin(), l.uvIds.end()}, l.u, l.v};
    }
    static std::vector<std::string> setNames(const std::string& name) {
        MStringArray names;
        mesh(name).getUVSetNames(names);
        std::vector<std::string> out;
        for (unsigned i = 0; i < names.length(); ++i)
            out.push_back(names[i].asChar());
        return out;
    }
    // Runs a command; its error lines (cleared first) go to `errors`.
    MStatus run(const std::string& command, const std::vector<std::string>& args) {
        Host::clearMessages();
        const MStatus status = Host::runCommand(command, args).status;
        errors = Host::messages(Host::MessageKind::Error);
        return status;
    }
    MStatus exportUVs(const std::string& name, const std::string& set, const std::string& path) {
        return run("KExportUVs", {"-meshName", name, "-uvSetName", set, "-filePathName", path});
    }
    MStatus importUVs(const std::string& name, const std::string& set, const std::string& path) {
        return run("KImportUVs", {"-mNm", name, "-uvs", set, "-fpn", path});
    }
    MStatus transfer(const std::string& from, const std::string& to, const std::string& fromSet,
                     const std::string& toSet) {
        return run("KTransferUVs", {"-sm", from, "-tm", to, "-sUV", fromSet, "-tUV", toSet});
    }

    std::string file;
    std::vector<std::string> errors;
};

TEST_F(UVCommandsTest, ExportWritesTheExactFile) {
    makeSample("uvMesh");
    ASSERT_TRUE(exportUVs("uvMesh", "map1", file)) << (errors.empty() ? "" : errors[0]);
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(readBytes(file), Kelno::EncodeUVFile(sampleUVs()));
    // By shape name too; an empty set gives the face count, that many zeros, then 0 and 0.
    makeSample("bare", false);
    ASSERT_TRUE(exportUVs("bareShape", "map1", file));
    EXPECT_EQ(readBytes(file), Kelno::EncodeUVFile(KUVLayout{{0, 0, 0}, {}, {}, {}}));
    // A set other than the current one is written with the current set's UV count.
    MString second("second");
    ASSERT_TRUE(mesh("uvMesh").createUVSet(second));
    const KUVLayout small{{4, 0, 0}, {0, 1, 1, 0}, {0.25f, 0.75f}, {0.5f, 0.5f}};
    setUVs("uvMesh", "second", small);
    ASSERT_TRUE(exportUVs("uvMesh", "second", file));
    KUVLayout expected = small;
    expected.u.resize(7, 0.0f); // map1 has 7 UVs: the short set is padded with zeros
    expected.v.resize(7, 0.0f);
    EXPECT_EQ(readBytes(file), Kelno::EncodeUVFile(expected));
}

TEST_F(UVCommandsTest, ImportRoundTripsThroughTheFile) {
    makeSample("from");
    makeSample("to", false);
    ASSERT_TRUE(exportUVs("from", "map1", file));
    const std::string written = readBytes(file);
    // Into the current set, and into a set the mesh does not have yet (created and filled).
    for (const char* set : {"map1", "imported"}) {
        SCOPED_TRACE(set);
        ASSERT_TRUE(importUVs("to", set, file));
        EXPECT_TRUE(errors.empty()) << errors[0];
        EXPECT_EQ(state("to", set), stateOf(sampleUVs()));
    }
    EXPECT_EQ(setNames("to"), (std::vector<std::string>{"map1", "imported"}));
    ASSERT_TRUE(exportUVs("to", "map1", file));
    EXPECT_EQ(readBytes(file), written) << "import then export reproduces the file";
    // Importing over UVs replaces them all, however many there were.
    const KUVLayout fewer{{0, 3, 0}, {0, 0, 0}, {0.5f}, {0.5f}};
    writeBytes(file, Kelno::EncodeUVFile(fewer));
    ASSERT_TRUE(importUVs("to", "map1", file));
    EXPECT_EQ(state("to", "map1"), stateOf(fewer));
}

TEST_F(UVCommandsTest, FailuresShowTheirMessage) {
    makeSample("uvMesh");
    Host::createNode("transform", "empty");
    Host::createNode("KEnvSphere", "", Host::createNode("transform", "sky"));
    const struct {
        const char* command;
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {"KExportUVs", {"-uvs", "map1", "-fpn", "x.uv"}, "Failed to get shape object."},
        {"KImportUVs", {"-uvs", "map1", "-fpn", "x.uv"}, "Failed to get shape object."},
        {"KExportUVs", {"-mNm", "nowhere", "-fpn", "x.uv"}, "Failed to get shape object.nowhere"},
        {"KImportUVs", {"-mNm", "empty"}, "Failed to get shape object.empty"},
        {"KExportUVs", {"-mNm", "sky"}, "Failed to get mesh object.sky"},
        {"KTransferUVs", {"-sm", "sky"}, "Failed to get source mesh object.sky"},
        {"KTransferUVs", {"-sm", "uvMesh", "-tm", "sky"}, "Failed to get target mesh object.sky"},
        {"KExportUVs", {"-mNm", "uvMesh", "-fpn"}, "Failed to get the input parameters."},
        {"KImportUVs", {"-mNm", "uvMesh", "-bogus", "1"}, "Failed to get the input parameters."},
        {"KExportUVs", {"-mNm", "uvMesh", "-uvs", "Map1", "-fpn", "x.uv"}, "No uv set name of Map1"},
        {"KExportUVs",
         {"-mNm", "uvMesh", "-uvs", "map1", "-fpn", "/nonexistent/a.uv"},
         "Failed to open /nonexistent/a.uv"},
        {"KImportUVs",
         {"-mNm", "uvMesh", "-uvs", "map1", "-fpn", "/nonexistent/a.uv"},
         "Failed to open /nonexistent/a.uv"},
        {"KImportUVs", {"-mNm", "uvMesh", "-uvs", "map1"}, "Failed to open "},
        {"KTransferUVs", {"-tm", "uvMesh", "-sUV", "map1"}, "Failed to get source mesh shape object."},
        {"KTransferUVs", {"-sm", "empty", "-tm", "uvMesh"}, "Failed to get source mesh shape object.empty"},
        {"KTransferUVs",
         {"-sm", "uvMesh", "-tm", "nowhere"},
         "Failed to get target mesh shape object.nowhere"},
        {"KTransferUVs", {"-sm", "uvMesh", "-tm", "uvMesh", "-sUV", "map2"}, "No uv set name of map2"},
        {"KTransferUVs", {"-sm", "uvMesh", "-tUV"}, "Failed to get the input parameters."},
    };
    const SetState before = state("uvMesh", "map1");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_EQ(run(c.command, c.args), MS::kFailure);
        // The host reports a bad command line itself before the command's own line.
        ASSERT_FALSE(errors.empty());
        EXPECT_EQ(errors.back(), c.message);
    }
    EXPECT_EQ(state("uvMesh", "map1"), before);
    EXPECT_EQ(setNames("uvMesh"), std::vector<std::string>{"map1"});
    EXPECT_NE(access("x.uv", F_OK), 0) << "no file written";
    // A set named for an import exists afterwards even when the file cannot be opened.
    EXPECT_FALSE(importUVs("uvMesh", "fresh", "/nonexistent/a.uv"));
    EXPECT_EQ(setNames("uvMesh"), (std::vector<std::string>{"map1", "fresh"}));
}

TEST_F(UVCommandsTest, DamagedOrMisfittingFilesLeaveTheMeshAsItWas) {
    makeSample("uvMesh");
    const std::string good = Kelno::EncodeUVFile(sampleUVs());
    std::string badId = good;
    const int past = 99;
    std::memcpy(&badId[4 * 5], &past, 4); // the first UV index
    const SetState before = state("uvMesh", "map1");
    const struct {
        const char* what;
        std::string bytes;
        std::string reason;
    } damaged[] = {
        {"empty", "", "file ends at byte 0 before faceCount"},
        {"bad index", badId, "UV index 0 is 99, outside the 7 UVs"},
    };
    for (const auto& d : damaged) {
        SCOPED_TRACE(d.what);
        writeBytes(file, d.bytes);
        for (const char* set : {"map1", "newSet"}) {
            EXPECT_EQ(importUVs("uvMesh", set, file), MS::kFailure);
            EXPECT_EQ(errors, std::vector<std::string>{"Failed to read UV file " + file + ": " + d.reason});
        }
        EXPECT_EQ(state("uvMesh", "map1"), before);
        EXPECT_EQ(setNames("uvMesh"), std::vector<std::string>{"map1"}) << "no set made for a damaged file";
    }
    // A sound file for other faces: reported as a refused assignment, but the command succeeds.
    KUVLayout other = sampleUVs();
    other.uvCounts = {4, 0, 4}; // the pentagon with four UVs
    other.uvIds = {0, 1, 2, 3, 1, 4, 5, 6};
    writeBytes(file, Kelno::EncodeUVFile(other));
    EXPECT_EQ(importUVs("uvMesh", "map1", file), MS::kSuccess);
    EXPECT_EQ(errors,
              std::vector<std::string>{"Failed to write UV info at uvMesh. Maybe there are some history to "
                                       "change the original mesh. Pleaze, check the original intermediate "
                                       "mesh."});
    EXPECT_EQ(state("uvMesh", "map1"), before);
    // A set that cannot be made (an empty name) refuses the assignment the same way.
    writeBytes(file, good);
    EXPECT_EQ(importUVs("uvMesh", "", file), MS::kSuccess);
    EXPECT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors.at(0).rfind("Failed to write UV info at uvMesh. ", 0), 0u);
    EXPECT_EQ(state("uvMesh", "map1"), before);
}

TEST_F(UVCommandsTest, TransferCopiesBetweenSetsAndMeshes) {
    makeSample("source");
    makeSample("target", false);
    ASSERT_TRUE(transfer("source", "source", "map1", "copy")) << "between two sets of one mesh";
    EXPECT_EQ(state("source", "copy"), stateOf(sampleUVs()));
    ASSERT_TRUE(transfer("sourceShape", "target", "copy", "map1")) << "between two meshes";
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(state("target", "map1"), stateOf(sampleUVs()));
    // An empty source set empties the target set.
    MString blank("blank");
    ASSERT_TRUE(mesh("source").createUVSet(blank));
    ASSERT_TRUE(transfer("source", "target", "blank", "map1"));
    EXPECT_EQ(state("target", "map1"), (SetState{{0, 0, 0}, {}, {}, {}}));
    // Other faces: the target keeps its UVs, with a warning; the command still succeeds.
    makeMesh("quad", {4}, {0, 1, 2, 3}, 4, nullptr);
    const KUVLayout quadUVs{{4}, {0, 1, 2, 3}, {0, 1, 1, 0}, {0, 0, 1, 1}};
    setUVs("quad", "map1", quadUVs);
    Host::clearMessages();
    ASSERT_TRUE(transfer("source", "quad", "map1", "map1"));
    EXPECT_EQ(state("quad", "map1"), stateOf(quadUVs));
    EXPECT_EQ(Host::messages(Host::MessageKind::Warning),
              std::vector<std::string>{"KTransferUVs: quad keeps its UVs: the file has 3 faces, the mesh 1"});
}

} // namespace
