// Runs the built `kelno` tool as a user would and checks its JSON, messages and exit codes.
#include <kelno/KObjSequence.h>

#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>
#include <string>
#include <tuple>
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
    for (std::size_t i = 0; i < points.size(); ++i) {
        ASSERT_EQ(points[i].size(), 3u);
        // The JSON numbers round-trip exactly.
        EXPECT_EQ(points[i][0].get<double>(), mesh.points[i].x);
        EXPECT_EQ(points[i][1].get<double>(), mesh.points[i].y);
        EXPECT_EQ(points[i][2].get<double>(), mesh.points[i].z);
    }
    EXPECT_EQ(json.at("polygonCounts").get<std::vector<int>>(),
              static_cast<const std::vector<int>&>(mesh.polygonCounts));
    EXPECT_EQ(json.at("polygonConnects").get<std::vector<int>>(),
              static_cast<const std::vector<int>&>(mesh.polygonConnects));
}

} // namespace

TEST(ObjSeqCommand, ResolvesTheFrameAndReportsThatFilesMesh) {
    const KelnoTest::ToolRun run = KelnoTest::RunTool({"obj-seq", kSamples + "/wave_0001.obj", "3"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(run.err.empty()) << run.err;
    const nlohmann::json json = nlohmann::json::parse(run.out);
    expectJsonMatchesReader(json, kSamples + "/wave_0003.obj", false);
    EXPECT_EQ(json.at("vertices"), 36);
    EXPECT_EQ(json.at("polygons"), 30);
    EXPECT_EQ(json.at("faceVertices"), 20 * 4 + 10 * 3);
    // Keys in the documented order.
    EXPECT_EQ(run.out.rfind("{\"file\":", 0), 0u) << run.out;
}

TEST(ObjSeqCommand, OffsetFractionalFramesAndFullArrays) {
    KelnoTest::ToolRun run =
        KelnoTest::RunTool({"obj-seq", kSamples + "/wave_0001.obj", "7", "--offset", "-2", "--full"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    expectJsonMatchesReader(nlohmann::json::parse(run.out), kSamples + "/wave_0005.obj", true);

    // Frames truncate toward zero, as the node converts its time.
    for (const auto& [frame, offset, file] :
         {std::tuple{"11.9", "0", "wave_0011.obj"}, std::tuple{"-0.5", "1", "wave_0001.obj"}}) {
        run = KelnoTest::RunTool({"obj-seq", kSamples + "/wave_0001.obj", frame, "--offset", offset});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(nlohmann::json::parse(run.out).at("file"), kSamples + "/" + file);
    }
}

TEST(ObjSeqCommand, FacesTheLoaderCannotBuildAreLeftOutAndCounted) {
    char name[] = "/tmp/kelno_cli_faces_0001_XXXXXX";
    const int fd = ::mkstemp(name);
    ASSERT_GE(fd, 0);
    const std::string text = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2\nf 1 2 4\n";
    ASSERT_EQ(::write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    ::close(fd);
    const KelnoTest::ToolRun run = KelnoTest::RunTool({"obj", name, "--full"});
    std::remove(name);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json.at("polygons"), 1);
    EXPECT_EQ(json.at("facesLeftOut"), 2);
    EXPECT_EQ(json.at("polygonConnects").get<std::vector<int>>(), (std::vector<int>{0, 1, 2}));
}

TEST(ObjSeqCommand, UnreadableFilesPrintTheLoadersMessageAndExitOne) {
    struct Case {
        std::vector<std::string> args;
        std::string fileInMessage;
    };
    const Case cases[] = {
        {{"obj-seq", kSamples + "/wave_0001.obj", "13"}, kSamples + "/wave_0013.obj"},
        {{"obj-seq", kSamples + "/wave_0001.obj", "-3"}, kSamples + "/wave_-003.obj"},
        // Frames beyond the int range clamp to it, as in the node.
        {{"obj-seq", kSamples + "/wave_0001.obj", "1e12"}, kSamples + "/wave_2147483647.obj"},
        {{"obj-seq", kSamples + "/wave.obj", "1"}, "NOT A SEQUENCE FILE"},
        {{"obj-seq", "", "1"}, "NULL"},
        {{"obj", "/nonexistent/mesh.obj"}, "/nonexistent/mesh.obj"},
    };
    for (const Case& c : cases) {
        const KelnoTest::ToolRun run = KelnoTest::RunTool(c.args);
        EXPECT_EQ(run.exitCode, 1) << c.fileInMessage;
        EXPECT_TRUE(run.out.empty()) << run.out;
        EXPECT_EQ(run.err, "kelno: Failed to open the file: " + c.fileInMessage + "\n");
    }
}

TEST(ObjCommand, ReportsOneFileFullyAndAgreesWithTheReader) {
    const KelnoTest::ToolRun run = KelnoTest::RunTool({"obj", kSamples + "/wave_0012.obj", "--full"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    expectJsonMatchesReader(nlohmann::json::parse(run.out), kSamples + "/wave_0012.obj", true);
}

TEST(ObjCommand, HelpOnEveryLevelAndUsageErrors) {
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"--help"}, std::vector<std::string>{"obj-seq", "--help"},
          std::vector<std::string>{"obj", "--help"}}) {
        const KelnoTest::ToolRun run = KelnoTest::RunTool(args);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_NE(run.out.find("Usage:"), std::string::npos) << run.out;
    }
    EXPECT_NE(KelnoTest::RunTool({"--help"}).out.find("obj-seq"), std::string::npos);
    EXPECT_NE(KelnoTest::RunTool({"obj-seq", "--help"}).out.find("--offset"), std::string::npos);

    EXPECT_NE(KelnoTest::RunTool({"obj"}).exitCode, 0);
    EXPECT_NE(KelnoTest::RunTool({"obj-seq", kSamples + "/wave_0001.obj"}).exitCode, 0);
    EXPECT_NE(KelnoTest::RunTool({"obj-seq", kSamples + "/wave_0001.obj", "two"}).exitCode, 0);
}
