// `kelno abc` end to end: the built tool run on the shared fixtures, its JSON compared with
// the expected-value files.
#include "support/KTestData.h"
#include "support/KToolRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

using nlohmann::json;

namespace {

std::string fixture(const std::string& name) { return KelnoTest::dataPath("alembic/" + name); }

json expected(const std::string& name) {
    std::ifstream in(fixture(name + ".expected.json"));
    return json::parse(in);
}

// Numbers, or arrays of them nested alike, equal to a relative 1e-6.
void expectClose(const json& a, const json& b, const std::string& what) {
    if (!b.is_array()) {
        const double x = a.get<double>(), y = b.get<double>();
        EXPECT_LE(std::fabs(x - y), 1e-6 * std::max({1.0, std::fabs(x), std::fabs(y)})) << what;
        return;
    }
    ASSERT_EQ(a.size(), b.size()) << what;
    for (std::size_t i = 0; i < b.size(); ++i)
        expectClose(a[i], b[i], what);
}

TEST(AbcCommand, InfoReportsBackendTimingAndCounts) {
    KELNO_REQUIRE_DATA("alembic/offset_start.abc");
    const KelnoTest::ToolRun run = KelnoTest::RunToolLine("abc info " + fixture("offset_start.abc"));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json j = json::parse(run.out);
    const json e = expected("offset_start");
    EXPECT_EQ(j.at("backend"), "Ogawa");
    EXPECT_EQ(j.at("timeSampling"), e.at("time_sampling_kind"));
    EXPECT_EQ(j.at("startTime").get<double>(), e.at("start_time").get<double>());
    EXPECT_EQ(j.at("endTime").get<double>(), e.at("end_time").get<double>());
    EXPECT_EQ(j.at("timeStep").get<double>(), e.at("time_step").get<double>());
    expectClose(j.at("frameRange"), json::array({101.0, 110.0}), "frame range");
    EXPECT_EQ(j.at("objects").get<std::size_t>(), e.at("objects").size());
    EXPECT_EQ(j.at("meshes").get<std::size_t>(), e.at("polymeshes").size());
}

TEST(AbcCommand, LsListsEveryObjectDepthFirst) {
    KELNO_REQUIRE_DATA("alembic/mixed_schemas.abc");
    const KelnoTest::ToolRun run = KelnoTest::RunToolLine("abc ls " + fixture("mixed_schemas.abc"));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json j = json::parse(run.out);
    const json e = expected("mixed_schemas").at("objects");
    ASSERT_EQ(j.size(), e.size());
    for (std::size_t i = 0; i < e.size(); ++i) {
        EXPECT_EQ(j[i].at("path"), e[i].at("path"));
        EXPECT_EQ(j[i].at("schema"), e[i].at("schema"));
        EXPECT_EQ(j[i].at("typeId") == 3, e[i].at("schema") == "AbcGeom_PolyMesh_v1") << e[i].at("path");
    }
}

TEST(AbcCommand, DumpGivesWorldSpaceMeshesAndVisibility) {
    KELNO_REQUIRE_DATA("alembic/visibility.abc");
    const json e = expected("visibility");
    for (int sample : {0, 4, 9}) {
        const KelnoTest::ToolRun run = KelnoTest::RunToolLine("abc dump " + fixture("visibility.abc") +
                                                              " --sample " + std::to_string(sample));
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const json j = json::parse(run.out);
        EXPECT_EQ(j.at("sample"), sample);
        const json& meshes = j.at("meshes");
        ASSERT_EQ(meshes.size(), e.at("polymeshes").size());
        for (std::size_t m = 0; m < meshes.size(); ++m) {
            const json& em = e.at("polymeshes")[m];
            const json& es = em.at("samples")[static_cast<std::size_t>(sample)];
            const json& jm = meshes[m];
            EXPECT_EQ(jm.at("path"), em.at("path"));
            EXPECT_EQ(jm.at("pointCount"), es.at("point_count"));
            EXPECT_EQ(jm.at("faceCount"), es.at("face_count"));
            EXPECT_EQ(jm.at("faceCounts"), es.at("face_counts"));
            EXPECT_EQ(jm.at("faceIndices"), es.at("face_indices"));
            expectClose(jm.at("worldMatrix"), es.at("world_matrix"), "matrix");
            expectClose(jm.at("positions"), es.at("world_positions"), "positions");
            for (const char* end : {"min", "max"})
                expectClose(jm.at("bounds").at(end), es.at("world_bounds").at(end), end);
            // The parent's "visible" value, or null when the parent has none.
            const std::string parent =
                em.at("path").get<std::string>().substr(0, em.at("path").get<std::string>().rfind('/'));
            json visible = nullptr;
            for (const json& v : e.at("visibility"))
                if (v.at("object") == parent)
                    visible = v.at("values")[static_cast<std::size_t>(sample)];
            EXPECT_EQ(jm.at("visible"), visible) << em.at("path") << " sample " << sample;
        }
    }
}

TEST(AbcCommand, DumpOfOneObjectAndOfSamplesPastTheEnd) {
    KELNO_REQUIRE_DATA("alembic/deforming_mesh.abc");
    const json e = expected("deforming_mesh").at("polymeshes")[0];
    const std::string path = e.at("path");
    const KelnoTest::ToolRun run = KelnoTest::RunToolLine("abc dump " + fixture("deforming_mesh.abc") +
                                                          " --object " + path + " --sample 500");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const json j = json::parse(run.out);
    ASSERT_EQ(j.at("meshes").size(), 1u);
    expectClose(j.at("meshes")[0].at("positions"), e.at("samples").back().at("world_positions"), "clamped");

    const KelnoTest::ToolRun missing =
        KelnoTest::RunToolLine("abc dump " + fixture("deforming_mesh.abc") + " --object /no/such");
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_NE(missing.err.find("no object /no/such"), std::string::npos) << missing.err;
}

TEST(AbcCommand, Hdf5TwinsPrintWhatTheirOgawaOriginalsPrint) {
    // The reader gives every twin the same values (test_KAlembic checks each against one expected
    // file); here the tool's output on a few of them.
    const std::pair<std::string, std::string> twins[] = {
        {"visibility.abc", "hdf5/visibility.abc"},
        {"variable_topology.abc", "hdf5/variable_topology.abc"},
        {"../real/alembic/cortex_animatedCube_ogawa.abc", "../real/alembic/cortex_animatedCube_hdf5.abc"},
    };
    for (const auto& twin : twins) {
        KELNO_REQUIRE_DATA("alembic/" + twin.second);
        for (const std::string command : {"info", "ls", "dump --sample 0", "dump --sample 5"}) {
            SCOPED_TRACE(twin.second + ": " + command);
            const KelnoTest::ToolRun ogawa =
                KelnoTest::RunToolLine("abc " + command + " " + fixture(twin.first));
            const KelnoTest::ToolRun hdf5 =
                KelnoTest::RunToolLine("abc " + command + " " + fixture(twin.second));
            ASSERT_EQ(hdf5.exitCode, 0) << hdf5.err;
            json a = json::parse(ogawa.out);
            json b = json::parse(hdf5.out);
            if (command == "info") {
                EXPECT_EQ(a.at("backend"), "Ogawa");
                EXPECT_EQ(b.at("backend"), "HDF5");
                // The Ogawa twin of the production cube was rewritten by a newer library.
                for (const char* key : {"backend", "libraryVersion"}) {
                    a.erase(key);
                    b.erase(key);
                }
            }
            EXPECT_EQ(a, b);
        }
    }
}

TEST(AbcCommand, UnopenableFilesExitOneWithOneReasonLine) {
    KELNO_REQUIRE_DATA("alembic/hdf5/static_cube.abc");
    // A truncated HDF5 archive.
    const std::string truncated =
        ::testing::TempDir() + "kelno_abc_truncated_" + std::to_string(getpid()) + ".abc";
    const std::string bytes = KelnoTest::readBytes(fixture("hdf5/static_cube.abc"));
    KelnoTest::writeBytes(truncated, bytes.substr(0, bytes.size() / 2));
    const struct {
        std::string file;
        std::string reason;
    } cases[] = {
        {truncated, "damaged HDF5 archive"},
        {"/no/such/file.abc", "No such file"},
        {fixture("static_cube.expected.json"), "not an Alembic archive"},
    };
    for (const auto& c : cases) {
        for (const char* sub : {"info", "ls", "dump"}) {
            const KelnoTest::ToolRun run = KelnoTest::RunToolLine(std::string("abc ") + sub + " " + c.file);
            EXPECT_EQ(run.exitCode, 1) << sub << " " << c.file;
            EXPECT_TRUE(run.out.empty());
            EXPECT_EQ(run.err.rfind("kelno: cannot open " + c.file + ": ", 0), 0u) << run.err;
            EXPECT_NE(run.err.find(c.reason), std::string::npos) << run.err;
            EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        }
    }
    std::remove(truncated.c_str());
}

} // namespace
