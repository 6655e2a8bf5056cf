// `kelno inside --mesh FILE --colliders FILE [FILE ...] --mode M`: the plug-in's inside-component
// detection on mesh files.
#include "Commands.h"
#include "MeshFiles.h"

#include <kelno/KCollision.h>
#include <kelno/KTriMeshDistTree.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct InsideOptions {
    std::string mesh;
    std::vector<std::string> colliders;
    unsigned int mode = 0;
    bool modeGiven = false;
    int sample = 0;
};

void run(const InsideOptions& options) {
    nlohmann::ordered_json out;
    out["insideVertices"] = nlohmann::ordered_json::array();
    out["faces"] = nlohmann::ordered_json::array();
    // Mode 0 asks for nothing, as the command's "-mode 0" does.
    if (options.modeGiven && options.mode == 0) {
        std::cout << out.dump() << std::endl;
        return;
    }
    Kelno::KTriMesh mesh;
    Kelno::KIntArrayList polygons;
    for (const MeshPart& part : readMeshParts(options.mesh, options.sample)) {
        const int offset = mesh.vertexCount();
        appendMesh(mesh, part.triangles);
        for (Kelno::KIntArray polygon : part.polygons) {
            for (int& v : polygon)
                v += offset;
            polygons.push_back(std::move(polygon));
        }
    }
    Kelno::KTriMesh colliders;
    for (const std::string& file : options.colliders)
        for (const MeshPart& part : readMeshParts(file, options.sample))
            appendMesh(colliders, part.triangles);
    Kelno::KTriMeshDistTree tree(10, 10);
    tree.set(colliders);

    Kelno::KIntArray inside;
    Kelno::FindInsideVertices(mesh, colliders, tree, inside,
                              progressOnStderr("testing vertices", mesh.vertexCount()));
    Kelno::KIntArray flags(mesh.vertexCount());
    for (int v : inside)
        flags[v] = 1;
    Kelno::KIntArray faces;
    Kelno::SelectFacesByMode(polygons, flags, options.mode, faces);
    out["insideVertices"] = static_cast<const std::vector<int>&>(inside);
    out["faces"] = static_cast<const std::vector<int>&>(faces);
    std::cout << out.dump() << std::endl;
}

} // namespace

void registerInsideCommand(CLI::App& app) {
    auto options = std::make_shared<InsideOptions>();
    CLI::App* cmd = app.add_subcommand(
        "inside",
        "Find the vertices of a mesh that lie inside collider meshes (on or behind the nearest\n"
        "collider triangle, by its winding), as the plug-in's inside-component detection does.\n"
        "Prints the inside vertices and, by mode, polygon indices: 2 polygons with every vertex\n"
        "inside, 3 with at least one, 4 with vertices both inside and outside; 1 or no mode: none.\n"
        "Mode 0 does nothing. Several meshes in one file are merged in order (indices run on).");
    cmd->add_option("--mesh", options->mesh, "the mesh tested (OBJ, or Alembic .abc)")->required();
    cmd->add_option("--colliders", options->colliders, "collider meshes (OBJ or .abc)")->required();
    cmd->add_option("--mode", options->mode, "what to list besides the vertices (0-4)")
        ->each([options](const std::string&) { options->modeGiven = true; });
    cmd->add_option("--sample", options->sample, "Alembic sample index (default 0)");
    cmd->callback([options]() { run(*options); });
}

} // namespace KelnoCli
