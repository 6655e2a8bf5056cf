// Runs the built `kelno` tool as a user would and checks its JSON, messages and exit codes.
#include <kelno/KObjSequence.h>

#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

const std::string kSamples = std::string(KELNO_SOURCE_DIR) + "/samples/obj_sequence";

// Checks the summary (and, when present, the full arrays) against the library's reader and the
// loader's face rule.
void expectJsonMatchesReader(const nlohmann::json& json, const std::string& fileName, bool full) {
    Kelno::KObjMesh mesh;
    ASSERT_TRUE(Kelno::ReadObjFile(fileName, mesh)) << fileName;
    EXPECT_EQ(json.at("facesLeftOut"), Kelno::RemoveUnbuildableFaces(mesh));
    EXPECT_EQ(json.at("file"), fileName);
    EXPECT_EQ(json.at("vertices"), mesh.points.size());
    EXPECT_EQ(json.at("polygons"), mesh.polygonCounts.size());
    EXPECT_EQ(json.at("faceVertices"), mesh.polygonConnects.size());
    if (!full) {
        EXPECT_FALSE(json.contains("points"));
        EXPECT_FALSE(json.contains("polygonCounts"));
        return;
    }
    const nlohmann::json& points = json.at("points");
    ASSERT_EQ(points.size(), mesh.points.size());
    for (std::size_t i = 0; i < points.size(); ++i) // the JSON numbers round-trip exactly
        EXPECT_EQ(points[i].get<std::vector<double>>(),
                  (std::vector<double>{mesh.points[i].x, mesh.points[i].y, mesh.points[i].z}));
    EXPECT_EQ(json.at("polygonCounts").get<std::vector<int>>(),
              static_cast<const std::vector<int>&>(mesh.polygonCounts));
    EXPECT_EQ(json.at("polygonConnects").get<std::vector<int>>(),
              static_cast<const std::vector<int>&>(mesh.polygonConnects));
}

} // namespace

TEST(ObjSeqCommand, ResolvesTheFrameAndReportsThatFilesMesh) {
    // Two faces the loader cannot build, left out and counted.
    const std::string faces = testing::TempDir() + "kelno_cli_faces_" + std::to_string(getpid()) + ".obj";
    std::ofstream(faces) << "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2\nf 1 2 4\n";
    const std::string first = kSamples + "/wave_0001.obj";
    const struct {
        std::vector<std::string> args;
        std::string file;
        bool full;
    } cases[] = {
        {{"obj-seq", first, "3"}, kSamples + "/wave_0003.obj", false},
        {{"obj-seq", first, "7", "--offset", "-2", "--full"}, kSamples + "/wave_0005.obj", true},
        // Frames truncate toward zero, as the node converts its time.
        {{"obj-seq", first, "11.9", "--offset", "0"}, kSamples + "/wave_0011.obj", false},
        {{"obj-seq", first, "-0.5", "--offset", "1"}, kSamples + "/wave_0001.obj", false},
        {{"obj", kSamples + "/wave_0012.obj", "--full"}, kSamples + "/wave_0012.obj", true},
        {{"obj", faces, "--full"}, faces, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const KelnoTest::ToolRun run = KelnoTest::RunTool(c.args);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_TRUE(run.err.empty()) << run.err;
        EXPECT_EQ(run.out.rfind("{\"file\":", 0), 0u) << "keys in the documented order: " << run.out;
        expectJsonMatchesReader(nlohmann::json::parse(run.out), c.file, c.full);
    }
    std::remove(faces.c_str());
}

TEST(ObjSeqCommand, UnreadableFilesPrintTheLoadersMessageAndExitOne) {
    const struct {
        std::vector<std::string> args;
        std::string fileInMessage;
    } cases[] = {
        {{"obj-seq", kSamples + "/wave_0001.obj", "13"}, kSamples + "/wave_0013.obj"},
        {{"obj-seq", kSamples + "/wave_0001.obj", "-3"}, kSamples + "/wave_-003.obj"},
        // Frames beyond the int range clamp to it, as in the node.
        {{"obj-seq", kSamples + "/wave_0001.obj", "1e12"}, kSamples + "/wave_2147483647.obj"},
        {{"obj-seq", kSamples + "/wave.obj", "1"}, "NOT A SEQUENCE FILE"},
        {{"obj-seq", "", "1"}, "NULL"},
        {{"obj", "/nonexistent/mesh.obj"}, "/nonexistent/mesh.obj"},
    };
    for (const auto& c : cases) {
        const KelnoTest::ToolRun run = KelnoTest::RunTool(c.args);
        EXPECT_EQ(run.exitCode, 1) << c.fileInMessage;
        EXPECT_TRUE(run.out.empty()) << run.out;
        EXPECT_EQ(run.err, "kelno: Failed to open the file: " + c.fileInMessage + "\n");
    }
}

TEST(ObjCommand, HelpOnEveryLevelAndUsageErrors) {
    const struct {
        std::vector<std::string> args;
        std::string mentions;
    } helps[] = {{{"--help"}, "obj-seq"}, {{"obj-seq", "--help"}, "--offset"}, {{"obj", "--help"}, "Usage:"}};
    for (const auto& c : helps) {
        const KelnoTest::ToolRun run = KelnoTest::RunTool(c.args);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_NE(run.out.find("Usage:"), std::string::npos) << run.out;
        EXPECT_NE(run.out.find(c.mentions), std::string::npos) << run.out;
    }
    const struct {
        std::vector<std::string> args;
        std::string error; // the parser's line
    } usage[] = {{{"obj"}, "FILE is required"},
                 {{"obj-seq", kSamples + "/wave_0001.obj"}, "FRAME is required"},
                 {{"obj-seq", kSamples + "/wave_0001.obj", "two"}, "Could not convert: FRAME = two"}};
    for (const auto& c : usage) {
        const KelnoTest::ToolRun run = KelnoTest::RunTool(c.args);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, c.error + "\nRun with --help for more information.\n");
    }
}
