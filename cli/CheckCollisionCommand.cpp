// `kelno check-collision FILE [FILE ...]`: the collision check of the plug-in on mesh files.
#include "Commands.h"
#include "MeshFiles.h"

#include <kelno/KCollision.h>
#include <kelno/KTriMeshDistTree.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <memory>
#include <unordered_map>

namespace KelnoCli {

namespace {

struct CheckCollisionOptions {
    std::vector<std::string> files;
    int sample = 0;
    std::string objOut;
};

// The flagged edges as OBJ line records over the vertices they use (renumbered from 1).
void writeEdges(const std::string& path, const Kelno::KTriMesh& mesh,
                const Kelno::KTriMeshConnectionInfo& connections, const Kelno::KIntArray& hit) {
    std::ofstream out(path);
    if (!out)
        fail("cannot write " + path);
    out << "# edges of the checked meshes that pierce a triangle\n";
    std::unordered_map<int, int> number;
    std::string lines;
    for (int e = 0; e < hit.length(); ++e) {
        if (!hit[e])
            continue;
        lines += "l";
        for (int k = 0; k < 2; ++k) {
            const int v = connections.e2v[e][k];
            auto it = number.emplace(v, static_cast<int>(number.size()) + 1);
            if (it.second) {
                const Kelno::KVector& p = mesh.positions[v];
                out << "v " << p.x << " " << p.y << " " << p.z << "\n";
            }
            lines += " " + std::to_string(it.first->second);
        }
        lines += "\n";
    }
    out << lines;
    if (!out.flush())
        fail("cannot write " + path);
}

void run(const CheckCollisionOptions& options) {
    std::vector<MeshPart> parts;
    for (const std::string& file : options.files) {
        std::vector<MeshPart> read = readMeshParts(file, options.sample);
        for (MeshPart& p : read)
            parts.push_back(std::move(p));
    }
    Kelno::KTriMesh merged;
    for (const MeshPart& part : parts)
        appendMesh(merged, part.triangles);

    const Kelno::KTriMeshDistTree tree(merged, 10, 10);
    Kelno::KTriMeshConnectionInfo connections;
    connections.set(merged);
    connections.calculate_t2v();
    connections.calculate_v2e();
    connections.calculate_e2v();
    Kelno::KIntArray hit;
    Kelno::FindIntersectingEdges(merged, tree, connections, hit,
                                 progressOnStderr("checking edges", connections.e2v.length()));
    Kelno::KIntArray flagged;
    Kelno::CollidingVertices(connections, hit, merged.vertexCount(), flagged);

    nlohmann::ordered_json vertices = nlohmann::ordered_json::array();
    int first = 0;
    size_t next = 0;
    for (const MeshPart& part : parts) {
        const int end = first + part.triangles.vertexCount();
        std::vector<int> indices;
        for (; next < flagged.size() && flagged[next] < end; ++next)
            indices.push_back(flagged[next] - first);
        nlohmann::ordered_json entry;
        entry["file"] = part.file;
        if (!part.object.empty())
            entry["object"] = part.object;
        entry["indices"] = indices;
        vertices.push_back(std::move(entry));
        first = end;
    }
    nlohmann::ordered_json out;
    out["intersectingEdges"] = Kelno::CountHits(hit);
    out["vertices"] = std::move(vertices);
    if (!options.objOut.empty())
        writeEdges(options.objOut, merged, connections, hit);
    std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

} // namespace

void registerCheckCollisionCommand(CLI::App& app) {
    auto options = std::make_shared<CheckCollisionOptions>();
    CLI::App* cmd = app.add_subcommand(
        "check-collision",
        "Find the edges of the meshes that pass through a triangle (of another mesh or their own),\n"
        "as the plug-in's collision check does on the selected meshes: the meshes are merged in the\n"
        "order given, triangles sharing a vertex with an edge are not tested against it. Prints the\n"
        "number of such edges and, per mesh, the vertices on them (ascending).");
    cmd->add_option("FILE", options->files,
                    "OBJ files, or Alembic caches (.abc: every polygon mesh, in world space)")
        ->required();
    cmd->add_option("--sample", options->sample, "Alembic sample index (clamped per mesh; default 0)");
    cmd->add_option("--obj", options->objOut,
                    "also write the flagged edges to this OBJ file as line records");
    cmd->callback([options]() { run(*options); });
}

} // namespace KelnoCli
