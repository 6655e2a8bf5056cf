// What every `kelno` subcommand does with bad input: missing and unwritable files, empty meshes,
// objects of the wrong kind and out-of-range values. Each gets its one-line message and exit 1,
// or a well-formed empty result and exit 0, and a failed run leaves no output file behind.
#include "support/KTestData.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

class BadInput : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_dir = testing::TempDir() + "kelno_bad_input_" + std::to_string(getpid()) + "/";
        ::mkdir(s_dir.c_str(), 0755);
        std::ofstream(s_dir + "empty.obj");
        std::ofstream(s_dir + "nofaces.obj") << "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
        std::ofstream(s_dir + "tri.obj")
            << "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 0 1\nf 1/1 2/2 3/3\n";
        // Unparsable numbers, a stray line, a face past the vertices and a malformed face.
        std::ofstream(s_dir + "damaged.obj")
            << "v 0 0 0\nv 1 0 x\nbogus line\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2 99\nf 1/x 2\n";
        std::ofstream(s_dir + "points.txt") << "0 0 0\n1 0 0\n0 0 1\n";
        KelnoTest::RunTool({"uv", "export", s_dir + "tri.obj", "--out", s_dir + "tri.uv"});
    }

    // `{}` in a text or an argument stands for the scratch folder.
    static std::string expand(std::string text) {
        for (std::size_t at; (at = text.find("{}")) != std::string::npos;)
            text.replace(at, 2, s_dir);
        return text;
    }
    static KelnoTest::ToolRun run(std::vector<std::string> args) {
        for (std::string& arg : args)
            arg = expand(arg);
        return KelnoTest::RunTool(args);
    }

    static std::string s_dir;
};

std::string BadInput::s_dir;

TEST_F(BadInput, FailuresGiveOneMessageAndExitOne) {
    const std::string xforms = KelnoTest::dataPath("alembic/animated_xforms.abc");
    struct Case {
        std::vector<std::string> args;
        std::string message; // the whole first line of standard error
        std::string leftOut; // a file the run must not leave behind ("" when none)
    };
    const Case cases[] = {
        {{"uv", "export", "{}tri.obj", "--out", "/nonexistent/x.uv"},
         "kelno: cannot open /nonexistent/x.uv for writing: No such file or directory",
         ""},
        {{"uv", "apply", "{}missing.uv", "--mesh", "{}tri.obj", "--out", "{}a1.obj"},
         "kelno: {}missing.uv: cannot open {}missing.uv",
         "{}a1.obj"},
        {{"uv", "apply", "{}tri.uv", "--mesh", "{}missing.obj", "--out", "{}a2.obj"},
         "kelno: Failed to open the file: {}missing.obj",
         "{}a2.obj"},
        {{"uv", "apply", "{}tri.uv", "--mesh", "{}empty.obj", "--out", "{}a3.obj"},
         "kelno: {}tri.uv does not fit {}empty.obj: the file has 1 faces, the mesh 0",
         "{}a3.obj"},
        {{"uv", "apply", "{}tri.uv", "--mesh", "{}tri.obj", "--out", "/nonexistent/a.obj"},
         "kelno: cannot write /nonexistent/a.obj",
         ""},
        {{"check-collision", "{}missing.abc"},
         "kelno: cannot open {}missing.abc: cannot open the file: No such file or directory",
         ""},
        {{"check-collision", "{}tri.obj", "--obj", "/nonexistent/e.obj"},
         "kelno: cannot write /nonexistent/e.obj",
         ""},
        {{"inside", "--mesh", "{}missing.obj", "--colliders", "{}tri.obj"},
         "kelno: Failed to open the file: {}missing.obj",
         ""},
        {{"inside", "--mesh", "{}tri.obj"}, "--colliders is required", ""},
        {{"inside", "--mesh", "{}tri.obj", "--colliders", "{}tri.obj", "--mode", "-1"},
         "Could not convert: --mode = -1",
         ""},
        {{"clip", "{}tri.obj", "--box-of", "{}tri.obj", "--out", "/nonexistent/c.obj"},
         "kelno: cannot write /nonexistent/c.obj",
         ""},
        {{"delaunay", "{}points.txt", "--obj", "/nonexistent/d.obj"},
         "kelno: cannot write /nonexistent/d.obj",
         ""},
        {{"skeleton", "{}tri.obj", "--obj", "/nonexistent/s.obj"},
         "kelno: cannot write /nonexistent/s.obj",
         ""},
        {{"abc", "dump", xforms, "--object", "/base"},
         "kelno: object /base in " + xforms + " is not a polygon mesh",
         ""},
    };
    for (const Case& c : cases) {
        const KelnoTest::ToolRun r = run(c.args);
        const std::string message = expand(c.message), leftOut = expand(c.leftOut);
        EXPECT_EQ(r.exitCode, 1) << message;
        EXPECT_EQ(r.out, "") << message;
        EXPECT_EQ(r.err.substr(0, r.err.find('\n')), message);
        if (!leftOut.empty()) {
            EXPECT_FALSE(std::ifstream(leftOut).good()) << leftOut;
        }
    }
}

TEST_F(BadInput, EmptyMeshesGiveEmptyResults) {
    using nlohmann::json;
    struct Case {
        std::vector<std::string> args;
        json expected; // fields of the JSON that must hold these values
    };
    const Case cases[] = {
        {{"obj", "{}empty.obj"},
         {{"vertices", 0}, {"polygons", 0}, {"faceVertices", 0}, {"facesLeftOut", 0}}},
        {{"uv", "export", "{}nofaces.obj", "--out", "{}nofaces.uv"},
         {{"faces", 0}, {"uvs", 0}, {"bytes", 12}}},
        {{"check-collision", "{}empty.obj"}, {{"intersectingEdges", 0}}},
        {{"check-collision", "{}tri.obj", "--sample", "99"}, {{"intersectingEdges", 0}}},
        {{"inside", "--mesh", "{}empty.obj", "--colliders", "{}tri.obj"},
         {{"insideVertices", json::array()}, {"faces", json::array()}}},
        {{"skeleton", "{}empty.obj"}, {{"meshes", 1}, {"chains", {{{0.0, 0.0, 0.0}}}}}},
        {{"clip", "{}tri.obj", "--box-of", "{}empty.obj", "--out", "{}clipped.obj"},
         {{"facesInside", 0}, {"facesKept", 1}, {"box", nullptr}}},
        // A damaged OBJ is read as the loader reads it: what parses is used, the rest skipped.
        {{"check-collision", "{}damaged.obj"}, {{"intersectingEdges", 0}}},
        {{"xform", "--source", "{}damaged.obj", "--target", "{}damaged.obj"}, {{"sourceVertices", 4}}},
        {{"clip", "{}damaged.obj", "--box-of", "{}tri.obj", "--out", "{}clipped2.obj"}, {{"faces", 1}}},
    };
    for (const Case& c : cases) {
        const KelnoTest::ToolRun r = run(c.args);
        ASSERT_EQ(r.exitCode, 0) << c.args[0] << ": " << r.err;
        const json got = json::parse(r.out);
        for (const auto& field : c.expected.items())
            EXPECT_EQ(got.at(field.key()), field.value()) << c.args[0] << " " << field.key();
    }
    // A mesh with no points in an archive dumps with no bounds.
    const KelnoTest::ToolRun r = run({"abc", "dump", KelnoTest::dataPath("alembic/empty_mesh.abc")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    int emptyMeshes = 0;
    const json dump = json::parse(r.out);
    for (const json& mesh : dump.at("meshes")) {
        if (mesh.at("pointCount").get<int>() == 0) {
            EXPECT_TRUE(mesh.at("bounds").is_null());
            ++emptyMeshes;
        }
    }
    EXPECT_EQ(emptyMeshes, 1);
}

} // namespace
