// The Alembic reader against the shared fixtures: every value their expected-value files
// list (written by the official library's reading API) must come out of our reader.
#include <kelno/KAlembic.h>
#include <kelno/KPolyMesh.h>

#include "support/KTestData.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

using namespace Kelno;
using nlohmann::json;

namespace {

// Fixtures with an expected-value file: the Ogawa ones and their HDF5 twins ("hdf5/NAME"), which
// must read exactly alike. (alembic/static_cube_hdf5.abc is an older copy of a twin.)
std::vector<std::string> fixtureNames() {
    std::vector<std::string> names;
    for (const std::string sub : {"", "hdf5/"}) {
        const std::filesystem::path dir = KelnoTest::dataPath("alembic/" + sub);
        std::error_code ec;
        for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
            const std::filesystem::path p = entry.path();
            if (p.extension() == ".abc" && p.stem() != "static_cube_hdf5" &&
                std::filesystem::exists(dir / (p.stem().string() + ".expected.json")))
                names.push_back(sub + p.stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    if (names.empty())
        names.push_back("missing-fixtures");
    return names;
}

// |a - b| within rel of the larger magnitude (and of 1, so values near 0 compare absolutely).
void expectNear(double actual, double expected, double rel, const std::string& what) {
    const double scale = std::max({1.0, std::fabs(actual), std::fabs(expected)});
    EXPECT_LE(std::fabs(actual - expected), rel * scale) << what << ": " << actual << " vs " << expected;
}

KAlembicObject findObject(const KAlembicArchive& archive, const std::string& path) {
    KAlembicObjectArray all;
    GetAllDescendantObjects(archive.topObject(), all, true);
    for (int i = 0; i < all.length(); ++i)
        if (all[i].fullPath() == path.c_str())
            return all[i];
    return KAlembicObject();
}

void collectProperties(const KAlembicProperty& compound, const std::string& prefix, std::vector<json>& out) {
    for (int i = 0; i < compound.numChildren(); ++i) {
        KAlembicProperty child;
        ASSERT_TRUE(compound.getChild(i, child));
        const std::string path = prefix.empty() ? child.name().str() : prefix + "/" + child.name().str();
        json p = {{"path", path},
                  {"kind", child.isCompound() ? "compound" : (child.isScalar() ? "scalar" : "array")}};
        if (!child.isCompound()) {
            p["pod"] = child.podName().str();
            p["extent"] = child.extent();
            p["num_samples"] = child.numSamples();
        }
        out.push_back(p);
        if (child.isCompound())
            collectProperties(child, path, out);
    }
}

using Matrix = std::vector<double>;

std::vector<std::vector<double>> rows(const KVectorArray& points) {
    std::vector<std::vector<double>> out;
    for (const KVector& p : points)
        out.push_back({p.x, p.y, p.z});
    return out;
}

Matrix multiply(const Matrix& a, const Matrix& b) {
    Matrix r(16, 0.0);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k)
                r[4 * i + j] += a[4 * i + k] * b[4 * k + j];
    return r;
}

class AlembicFixture : public ::testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        KELNO_REQUIRE_DATA("alembic/" + GetParam() + ".abc");
        m_expected =
            json::parse(std::ifstream(KelnoTest::dataPath("alembic/" + GetParam() + ".expected.json")));
        m_opened = m_archive.open(KelnoTest::dataPath("alembic/" + GetParam() + ".abc").c_str());
    }

    json m_expected;
    bool m_opened = false;
    KAlembicArchive m_archive;
};

TEST_P(AlembicFixture, ArchiveFactsTimeRangeSamplingHierarchySchemasAndPropertyTrees) {
    ASSERT_TRUE(m_opened) << m_archive.errorString().str();
    EXPECT_EQ(m_archive.errorString().str(), "");
    EXPECT_EQ(m_archive.archiveTypeStr().str(), m_expected.at("backend").get<std::string>());
    EXPECT_EQ(m_archive.libraryVersion(), m_expected.at("library_version").get<int>());
    for (const auto& item : m_expected.at("archive_metadata").items())
        EXPECT_EQ(m_archive.archiveMetaData(item.key().c_str()).str(), item.value().get<std::string>());
    EXPECT_DOUBLE_EQ(m_archive.startTime(), m_expected.at("start_time").get<double>());
    EXPECT_DOUBLE_EQ(m_archive.endTime(), m_expected.at("end_time").get<double>());
    EXPECT_EQ(m_archive.timeSamplingTypeStr().str(), m_expected.at("time_sampling_kind").get<std::string>());
    const json& step = m_expected.at("time_step");
    if (!step.is_null()) {
        EXPECT_DOUBLE_EQ(m_archive.timeStepSize(), step.get<double>());
    }
    EXPECT_GT(m_archive.timeStepSize(), 0.0);

    const KAlembicObject& top = m_archive.topObject();
    EXPECT_EQ(top.fullPath().str(), "/");
    KAlembicObject none;
    EXPECT_FALSE(top.getParent(none));

    KAlembicObjectArray objects;
    objects.push_back(top); // replaced, not appended to
    GetAllDescendantObjects(top, objects, true);
    const json& expected = m_expected.at("objects");
    ASSERT_EQ(objects.length(), static_cast<int>(expected.size()));
    EXPECT_EQ(m_archive.numObjects(), objects.length() + 1);
    for (int i = 0; i < objects.length(); ++i) {
        const json& e = expected[static_cast<std::size_t>(i)];
        const KAlembicObject& o = objects[i];
        SCOPED_TRACE(e.at("path").get<std::string>());
        EXPECT_EQ(o.fullPath().str(), e.at("path").get<std::string>());
        EXPECT_EQ(o.name().str(), e.at("name").get<std::string>());
        EXPECT_EQ(o.schema().str(), e.at("schema").get<std::string>());
        KAlembicObject parent;
        ASSERT_TRUE(o.getParent(parent));
        EXPECT_EQ(parent.fullPath().str(), e.at("parent").get<std::string>());
        EXPECT_EQ(o.typeId() == kAbcTypePolyMesh, e.at("schema") == "AbcGeom_PolyMesh_v1");
        if (e.at("schema") == "AbcGeom_Xform_v3") {
            EXPECT_EQ(o.typeId(), kAbcTypeXform);
        }
        EXPECT_EQ(o.numSamples(), e.at("num_samples").is_null() ? 0 : e.at("num_samples").get<int>());

        std::vector<json> properties;
        collectProperties(o.topProperty(), "", properties);
        const json& eprops = e.at("properties");
        ASSERT_EQ(properties.size(), eprops.size());
        for (std::size_t k = 0; k < properties.size(); ++k) {
            json want; // the expected entry's values of the keys read
            for (const auto& item : properties[k].items())
                want[item.key()] = eprops[k].at(item.key());
            EXPECT_EQ(properties[k], want);
        }
    }

    // Direct children only when not recursive.
    GetAllDescendantObjects(top, objects, false);
    EXPECT_EQ(objects.length(), top.numChildren());
}

TEST_P(AlembicFixture, MeshSamplesTopologyPositionsWorldPlacementAndClampedIndices) {
    ASSERT_TRUE(m_opened) << m_archive.errorString().str();
    for (const json& mesh : m_expected.at("polymeshes")) {
        const std::string path = mesh.at("path");
        SCOPED_TRACE(path);
        const KAlembicObject object = findObject(m_archive, path);
        ASSERT_TRUE(object.isValid());
        ASSERT_EQ(object.typeId(), kAbcTypePolyMesh);
        EXPECT_EQ(object.numSamples(), mesh.at("num_samples").get<int>());
        for (const json& s : mesh.at("samples")) {
            const int index = s.at("index");
            SCOPED_TRACE("sample " + std::to_string(index));
            KVectorArray positions, velocities;
            KIntArray counts, indices, uvIndices;
            KFloatArray uvs;
            KBoundingBox bounds;
            KMatrix xform;
            KString error;
            ASSERT_TRUE(object.getPolyMeshData(&positions, &velocities, &counts, &indices, &bounds, &xform,
                                               &uvs, &uvIndices, index, &error))
                << error.str();

            // Exact integers and, stored positions being floats, exact positions: the fixtures
            // list every value (so their checksums add nothing).
            ASSERT_EQ(positions.length(), s.at("point_count").get<int>());
            ASSERT_EQ(counts.length(), s.at("face_count").get<int>());
            ASSERT_EQ(indices.length(), s.at("face_index_count").get<int>());
            EXPECT_EQ(std::vector<int>(counts.begin(), counts.end()),
                      s.at("face_counts").get<std::vector<int>>());
            EXPECT_EQ(std::vector<int>(indices.begin(), indices.end()),
                      s.at("face_indices").get<std::vector<int>>());
            EXPECT_EQ(rows(positions), s.at("positions").get<std::vector<std::vector<double>>>());

            // Local bounds are the box of the points.
            if (positions.empty()) {
                EXPECT_FALSE(bounds.initialized());
            } else {
                const KBoundingBox box = positions.boundingBox(true);
                EXPECT_EQ(bounds.min(), box.min());
                EXPECT_EQ(bounds.max(), box.max());
            }

            // World matrix (float) and world positions (the viewer's transform) within 1e-6.
            const std::vector<double> ew = s.at("world_matrix");
            for (int k = 0; k < 16; ++k)
                expectNear(xform.m[k / 4][k % 4], ew[static_cast<std::size_t>(k)], 1e-6, "world matrix");
            double world[16];
            ASSERT_TRUE(object.getWorldMatrix(world, index));
            // A mesh's own world matrix is its parent's placement (meshes carry no transform).
            for (int k = 0; k < 16; ++k)
                expectNear(world[k], ew[static_cast<std::size_t>(k)], 1e-12, "double world matrix");

            KPolyMesh poly;
            poly.m_positions = positions;
            poly.transform(xform, false);
            poly.computeBoundingBox();
            const json& ewp = s.at("world_positions");
            for (std::size_t i = 0; i < ewp.size(); ++i)
                for (int c = 0; c < 3; ++c)
                    expectNear(poly.m_positions[i][c], ewp[i][c].get<double>(), 1e-6, "world position");
            if (s.at("world_bounds").is_null()) {
                EXPECT_FALSE(poly.m_boundingBox.initialized());
            } else {
                for (int c = 0; c < 3; ++c) {
                    expectNear(poly.m_boundingBox.min()[c], s.at("world_bounds").at("min")[c], 1e-6, "min");
                    expectNear(poly.m_boundingBox.max()[c], s.at("world_bounds").at("max")[c], 1e-6, "max");
                }
            }

            EXPECT_EQ(rows(velocities),
                      s.value("velocities", json::array()).get<std::vector<std::vector<double>>>());
            if (s.contains("uv")) {
                std::vector<double> flat;
                for (const auto& uv : s.at("uv").at("values"))
                    flat.insert(flat.end(), {uv[0].get<double>(), uv[1].get<double>()});
                EXPECT_EQ(std::vector<double>(uvs.begin(), uvs.end()), flat);
                EXPECT_EQ(std::vector<int>(uvIndices.begin(), uvIndices.end()),
                          s.at("uv").at("indices").get<std::vector<int>>());
            } else {
                EXPECT_TRUE(uvs.empty());
                EXPECT_TRUE(uvIndices.empty());
            }
        }
        // Indices outside the range read the first or the last sample.
        const int n = mesh.at("num_samples");
        for (const auto& clamped : {std::make_pair(-7, 0), std::make_pair(n + 1000, n - 1)}) {
            KVectorArray p[2];
            KMatrix m[2];
            for (int k = 0; k < 2; ++k)
                ASSERT_TRUE(object.getPolyMeshData(&p[k], nullptr, nullptr, nullptr, nullptr, &m[k], nullptr,
                                                   nullptr, k ? clamped.second : clamped.first));
            EXPECT_EQ(p[0], p[1]) << "sample " << clamped.first;
            EXPECT_EQ(m[0], m[1]) << "sample " << clamped.first;
        }
    }
}

TEST_P(AlembicFixture, TransformsComposeAlongTheHierarchyAndVisibilityPerSample) {
    ASSERT_TRUE(m_opened) << m_archive.errorString().str();
    // Expected local matrices by path; world = local * parent's world unless inherits is off.
    std::map<std::string, const json*> locals;
    for (const json& x : m_expected.at("xforms"))
        locals[x.at("path")] = &x;
    std::function<Matrix(const std::string&, int)> expectedWorld = [&](const std::string& path,
                                                                       int i) -> Matrix {
        if (path == "/" || path.empty())
            return Matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        const std::string parent = path.rfind('/') == 0 ? "/" : path.substr(0, path.rfind('/'));
        auto it = locals.find(path);
        if (it == locals.end())
            return expectedWorld(parent, i);
        const json& samples = it->second->at("samples");
        const json& s =
            samples[static_cast<std::size_t>(std::min<int>(i, static_cast<int>(samples.size()) - 1))];
        const Matrix local = s.at("local_matrix").get<Matrix>();
        return s.at("inherits").get<bool>() ? multiply(local, expectedWorld(parent, i)) : local;
    };
    for (const json& x : m_expected.at("xforms")) {
        const std::string path = x.at("path");
        const KAlembicObject object = findObject(m_archive, path);
        ASSERT_TRUE(object.isValid()) << path;
        const int n = static_cast<int>(x.at("samples").size());
        for (int i = 0; i < n; ++i) {
            double world[16];
            ASSERT_TRUE(object.getWorldMatrix(world, i)) << path;
            const Matrix e = expectedWorld(path, i);
            for (int k = 0; k < 16; ++k)
                expectNear(world[k], e[static_cast<std::size_t>(k)], 1e-9,
                           path + " sample " + std::to_string(i));
        }
    }

    for (const json& v : m_expected.at("visibility")) {
        KAlembicObject object = findObject(m_archive, v.at("object"));
        ASSERT_TRUE(object.isValid());
        // Found the way the viewer finds it: by name among the top compound's children.
        KAlembicProperty visible;
        bool found = false;
        for (int i = 0; i < object.topProperty().numChildren() && !found; ++i) {
            ASSERT_TRUE(object.topProperty().getChild(i, visible));
            found = visible.name() == "visible";
        }
        ASSERT_TRUE(found) << v.at("object");
        const std::vector<int> values = v.at("values");
        for (std::size_t i = 0; i <= values.size(); ++i) { // and one far past the end: the last value
            char value = 42;
            ASSERT_TRUE(visible.getValue(value, static_cast<int>(i < values.size() ? i : i + 50)));
            EXPECT_EQ(static_cast<int>(value), values[std::min(i, values.size() - 1)])
                << v.at("object") << " sample " << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(SharedFixtures, AlembicFixture, ::testing::ValuesIn(fixtureNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             std::replace(name.begin(), name.end(), '/', '_');
                             return name;
                         });

} // namespace
