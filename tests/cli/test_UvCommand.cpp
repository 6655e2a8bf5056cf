// `kelno uv export|info|apply`, run in process: the files written, the JSON reports, and the
// failures that leave no output file behind.
#include "Commands.h"

#include <kelno/KUVFile.h>

#include "support/KTestData.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

struct ToolRun {
    int exitCode;
    std::string out, err;
};

ToolRun kelno(std::vector<std::string> args) {
    args.insert(args.begin(), "kelno");
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int code = KelnoCli::run(static_cast<int>(argv.size()), argv.data());
    std::string out = testing::internal::GetCapturedStdout();
    return {code, out, testing::internal::GetCapturedStderr()};
}

using KelnoTest::readBytes;

class UvCommandTest : public testing::Test {
  protected:
    void SetUp() override {
        dir = testing::TempDir() + "kelno_uvcli_" + std::to_string(getpid()) + "_";
        std::ofstream(path("mesh.obj")) << "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\n"
                                           "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
                                           "f 1/1/1 2/2/1 3/3/1 4/4/1\nf 2 5 3\nf 1 2\n";
    }
    void TearDown() override {
        for (const char* name : {"mesh.obj", "mesh.uv", "out.obj", "bad.uv", "again.uv"})
            std::remove(path(name).c_str());
    }
    std::string path(const std::string& name) const { return dir + name; }
    std::string dir;
};

TEST_F(UvCommandTest, ExportInfoAndApplyRoundTrip) {
    ToolRun r = kelno({"uv", "export", path("mesh.obj"), "--out", path("mesh.uv")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto report = nlohmann::json::parse(r.out);
    EXPECT_EQ(report["faces"], 2);
    EXPECT_EQ(report["facesWithUVs"], 1);
    EXPECT_EQ(report["facesLeftOut"], 1) << "f 1 2 is not a face the loader builds";
    EXPECT_EQ(readBytes(path("mesh.uv")),
              Kelno::EncodeUVFile({{4, 0}, {0, 1, 2, 3}, {0, 1, 1, 0}, {0, 0, 1, 1}}));

    r = kelno({"uv", "info", path("mesh.uv")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    report = nlohmann::json::parse(r.out);
    EXPECT_EQ(report["valid"], true);
    EXPECT_EQ(report["bytes"], Kelno::UVFileSize(2, 4, 4));
    EXPECT_EQ(report["uvs"], 4);
    EXPECT_EQ(report["range"]["v"], nlohmann::json::array({0.0, 1.0}));

    r = kelno({"uv", "apply", path("mesh.uv"), "--mesh", path("mesh.obj"), "--out", path("out.obj")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(readBytes(path("out.obj")), "# written by kelno uv apply\n"
                                          "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\n"
                                          "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                                          "f 1/1 2/2 3/3 4/4\nf 2 5 3\n");
    ASSERT_EQ(kelno({"uv", "export", path("out.obj"), "--out", path("again.uv")}).exitCode, 0);
    EXPECT_EQ(readBytes(path("again.uv")), readBytes(path("mesh.uv")));
}

TEST_F(UvCommandTest, FailuresSayWhyAndWriteNothing) {
    // A truncated file (each way of damage is test_KUVFile's): apply writes nothing, info says why.
    ASSERT_EQ(kelno({"uv", "export", path("mesh.obj"), "--out", path("mesh.uv")}).exitCode, 0);
    std::ofstream(path("bad.uv"), std::ios::binary) << readBytes(path("mesh.uv")).substr(0, 20);
    const std::string why = "uvIds needs 20 more bytes at byte 16 but the file has 4";
    ToolRun r = kelno({"uv", "apply", path("bad.uv"), "--mesh", path("mesh.obj"), "--out", path("out.obj")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find(why), std::string::npos) << r.err;
    EXPECT_NE(access(path("out.obj").c_str(), F_OK), 0) << "nothing written";
    r = kelno({"uv", "info", path("bad.uv")});
    EXPECT_EQ(r.exitCode, 1);
    const auto report = nlohmann::json::parse(r.out);
    EXPECT_EQ(report["valid"], false);
    EXPECT_EQ(report["error"], why);
    EXPECT_EQ(kelno({"uv", "info", path("none.uv")}).err, "kelno: cannot open " + path("none.uv") + "\n");
    EXPECT_EQ(kelno({"uv", "export", path("none.obj"), "--out", path("x.uv")}).exitCode, 1);
}

} // namespace
