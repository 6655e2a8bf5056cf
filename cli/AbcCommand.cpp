// `kelno abc info|ls|dump FILE`: inspect an Alembic cache without Maya, as JSON.
#include "Commands.h"

#include <kelno/KAlembic.h>
#include <kelno/KPolyMesh.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace KelnoCli {

namespace {

using Json = nlohmann::ordered_json;

void openOrFail(Kelno::KAlembicArchive& archive, const std::string& file) {
    if (!archive.open(file.c_str()))
        fail("cannot open " + file + ": " + archive.errorString().str());
}

Json vec3(const Kelno::KVector& v) { return Json::array({v.x, v.y, v.z}); }

void runInfo(const std::string& file) {
    Kelno::KAlembicArchive archive;
    openOrFail(archive, file);
    Kelno::KAlembicObjectArray objects;
    Kelno::GetAllDescendantObjects(archive.topObject(), objects, true);
    int meshes = 0;
    for (int i = 0; i < objects.length(); ++i)
        meshes += objects[i].typeId() == Kelno::kAbcTypePolyMesh ? 1 : 0;
    // Frame numbers as the viewer computes them: times times the reciprocal of the step.
    const double perSecond = 1.0 / archive.timeStepSize();
    Json out;
    out["backend"] = archive.archiveTypeStr().str();
    out["timeSampling"] = archive.timeSamplingTypeStr().str();
    out["startTime"] = archive.startTime();
    out["endTime"] = archive.endTime();
    out["timeStep"] = archive.timeStepSize();
    out["frameRange"] = Json::array({archive.startTime() * perSecond, archive.endTime() * perSecond});
    out["objects"] = objects.length();
    out["meshes"] = meshes;
    out["libraryVersion"] = archive.libraryVersion();
    out["application"] = archive.archiveMetaData("_ai_Application").str();
    std::cout << out.dump(2) << std::endl;
}

void runLs(const std::string& file) {
    Kelno::KAlembicArchive archive;
    openOrFail(archive, file);
    Kelno::KAlembicObjectArray objects;
    Kelno::GetAllDescendantObjects(archive.topObject(), objects, true);
    Json out = Json::array();
    for (int i = 0; i < objects.length(); ++i) {
        Json entry;
        entry["path"] = objects[i].fullPath().str();
        entry["schema"] = objects[i].schema().str();
        entry["typeId"] = objects[i].typeId();
        entry["numSamples"] = objects[i].numSamples();
        out.push_back(entry);
    }
    std::cout << out.dump(2) << std::endl;
}

void runDump(const std::string& file, int sample, const std::string& objectPath) {
    Kelno::KAlembicArchive archive;
    openOrFail(archive, file);
    Kelno::KAlembicObjectArray objects;
    Kelno::GetAllDescendantObjects(archive.topObject(), objects, true);
    Json meshes = Json::array();
    bool found = objectPath.empty();
    for (int i = 0; i < objects.length(); ++i) {
        const Kelno::KAlembicObject& object = objects[i];
        const std::string path = object.fullPath().str();
        if (!objectPath.empty() && path != objectPath)
            continue;
        if (object.typeId() != Kelno::kAbcTypePolyMesh) {
            if (!objectPath.empty())
                fail("object " + objectPath + " in " + file + " is not a polygon mesh");
            continue;
        }
        found = true;
        Kelno::KPolyMesh mesh;
        Kelno::KMatrix xform;
        Kelno::KString error;
        if (!object.getPolyMeshData(&mesh.m_positions, nullptr, &mesh.m_polygonCounts,
                                    &mesh.m_polygonConnections, nullptr, &xform, nullptr, nullptr, sample,
                                    &error))
            fail("cannot read mesh " + path + " of " + file + " at sample " + std::to_string(sample) + ": " +
                 error.str());
        mesh.transform(xform, false);
        mesh.computeBoundingBox();

        Json entry;
        entry["path"] = path;
        entry["pointCount"] = mesh.m_positions.length();
        entry["faceCount"] = mesh.m_polygonCounts.length();
        entry["faceCounts"] = std::vector<int>(mesh.m_polygonCounts.begin(), mesh.m_polygonCounts.end());
        entry["faceIndices"] =
            std::vector<int>(mesh.m_polygonConnections.begin(), mesh.m_polygonConnections.end());
        Json matrix = Json::array();
        for (int k = 0; k < 16; ++k)
            matrix.push_back(xform.m[k / 4][k % 4]);
        entry["worldMatrix"] = matrix;
        Json positions = Json::array();
        for (const Kelno::KVector& p : mesh.m_positions)
            positions.push_back(vec3(p));
        entry["positions"] = positions;
        if (mesh.m_boundingBox.initialized())
            entry["bounds"] = {{"min", vec3(mesh.m_boundingBox.min())},
                               {"max", vec3(mesh.m_boundingBox.max())}};
        else
            entry["bounds"] = nullptr;
        // Visibility as the viewer reads it: the parent's "visible" property.
        entry["visible"] = nullptr;
        Kelno::KAlembicObject parent;
        Kelno::KAlembicProperty visible;
        char value = 0;
        if (object.getParent(parent) && parent.topProperty().getChild("visible", visible) &&
            visible.getValue(value, sample))
            entry["visible"] = static_cast<int>(static_cast<signed char>(value));
        meshes.push_back(entry);
    }
    if (!found)
        fail("no object " + objectPath + " in " + file);
    Json out;
    out["sample"] = sample;
    out["meshes"] = meshes;
    // Compact: dumps of production meshes run to millions of numbers.
    std::cout << out.dump() << std::endl;
}

} // namespace

void registerAbcCommand(CLI::App& app) {
    CLI::App* abc = app.add_subcommand("abc", "Inspect an Alembic cache (Ogawa or HDF5 archives)");
    abc->require_subcommand(1);

    auto file = std::make_shared<std::string>();
    CLI::App* info = abc->add_subcommand("info", "Back end, time sampling, time and frame range, counts");
    info->add_option("FILE", *file, "Alembic archive")->required();
    info->callback([file]() { runInfo(*file); });

    CLI::App* ls = abc->add_subcommand("ls", "Every object depth-first with its schema and type id");
    ls->add_option("FILE", *file, "Alembic archive")->required();
    ls->callback([file]() { runLs(*file); });

    auto sample = std::make_shared<int>(0);
    auto object = std::make_shared<std::string>();
    CLI::App* dump = abc->add_subcommand("dump", "Polygon meshes at one sample, in world space");
    dump->add_option("FILE", *file, "Alembic archive")->required();
    dump->add_option("--sample", *sample, "Sample index (clamped to each property's samples)")
        ->capture_default_str();
    dump->add_option("--object", *object, "Full path of one polygon mesh, e.g. /xform/shape");
    dump->callback([file, sample, object]() { runDump(*file, *sample, *object); });
}

} // namespace KelnoCli
