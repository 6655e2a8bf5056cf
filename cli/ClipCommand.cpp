// `kelno clip MESH --box-of OTHER [--mode inside|outside|none] [--vice-versa] --out OUT.obj`:
// the mesh clipper node on mesh files.
#include "Commands.h"
#include "MeshFiles.h"

#include <kelno/KMesh.h>
#include <kelno/KMeshClip.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <map>
#include <memory>

namespace KelnoCli {

namespace {

struct ClipOptions {
    std::string mesh;
    std::string boxOf;
    Kelno::KClipMode mode = Kelno::KClipMode::InsideBox;
    bool viceVersa = false;
    std::string out;
    int sample = 0;
};

// Every part of the file as one polygon mesh, parts appended in order.
Kelno::KMesh readPolygons(const std::string& file, int sample) {
    Kelno::KMesh mesh;
    for (MeshPart& part : readMeshParts(file, sample)) {
        const int offset = mesh.vertexCount();
        mesh.positions.insert(mesh.positions.end(), part.triangles.positions.begin(),
                              part.triangles.positions.end());
        for (Kelno::KIntArray& polygon : part.polygons) {
            for (int& v : polygon)
                v += offset;
            mesh.faces.push_back(std::move(polygon));
        }
    }
    return mesh;
}

void writeObj(const std::string& path, const Kelno::KMesh& mesh) {
    std::ofstream out(path);
    if (!out)
        fail("cannot write " + path);
    out.precision(9);
    out << "# clipped mesh: " << mesh.vertexCount() << " vertices, " << mesh.faceCount() << " faces\n";
    for (const Kelno::KVector& p : mesh.positions)
        out << "v " << p.x << " " << p.y << " " << p.z << "\n";
    for (const Kelno::KIntArray& face : mesh.faces) {
        out << "f";
        for (int v : face)
            out << " " << v + 1;
        out << "\n";
    }
    if (!out)
        fail("cannot write " + path);
}

void run(const ClipOptions& o) {
    Kelno::KMesh clipped = readPolygons(o.mesh, o.sample);
    Kelno::KMesh clipping = readPolygons(o.boxOf, o.sample);
    // As the node: "none" always gives MESH unchanged, whatever --vice-versa says.
    if (o.viceVersa && o.mode != Kelno::KClipMode::None)
        clipped.exchange(clipping);
    const Kelno::KBoundingBox box = clipping.boundingBox();

    Kelno::KCharArray mask;
    Kelno::SelectFacesTouchingBox(clipped, box, mask);
    int inside = 0;
    for (char flag : mask)
        inside += flag;
    const int faces = clipped.faceCount();
    const int removed = Kelno::ClipMesh(clipped, box, o.mode);
    writeObj(o.out, clipped);

    nlohmann::ordered_json json;
    json["faces"] = faces;
    json["facesInside"] = inside;
    json["facesOutside"] = faces - inside;
    json["facesRemoved"] = removed;
    json["facesKept"] = clipped.faceCount();
    json["vertices"] = clipped.vertexCount();
    if (box.initialized()) {
        json["box"] = {{"min", {box.min().x, box.min().y, box.min().z}},
                       {"max", {box.max().x, box.max().y, box.max().z}}};
    } else {
        json["box"] = nullptr;
    }
    json["out"] = o.out;
    std::cout << json.dump() << std::endl;
}

} // namespace

void registerClipCommand(CLI::App& app) {
    auto options = std::make_shared<ClipOptions>();
    CLI::App* cmd = app.add_subcommand(
        "clip",
        "Delete the faces of a mesh that touch (inside) or do not touch (outside) the axis-aligned\n"
        "bounding box of another mesh, as the plug-in's mesh clipper does. A face touches the box when\n"
        "at least one of its vertices lies in it (boundary included). Every vertex is kept. With\n"
        "--vice-versa the other mesh is clipped by MESH's box; mode none writes MESH unchanged.\n"
        "Writes the result as OBJ (positions and faces only) and prints face counts as JSON.");
    cmd->add_option("mesh", options->mesh, "the mesh clipped (OBJ, or Alembic .abc)")->required();
    cmd->add_option("--box-of", options->boxOf, "the mesh whose bounding box clips (OBJ or .abc)")
        ->required();
    const std::map<std::string, Kelno::KClipMode> modes = {{"inside", Kelno::KClipMode::InsideBox},
                                                           {"outside", Kelno::KClipMode::OutsideBox},
                                                           {"none", Kelno::KClipMode::None}};
    cmd->add_option("--mode", options->mode, "what to delete: inside (default), outside or none")
        ->transform(CLI::CheckedTransformer(modes, CLI::ignore_case));
    cmd->add_flag("--vice-versa", options->viceVersa, "clip the --box-of mesh by MESH's box instead");
    cmd->add_option("--out", options->out, "the OBJ file written")->required();
    cmd->add_option("--sample", options->sample, "Alembic sample index (default 0)");
    cmd->callback([options]() { run(*options); });
}

} // namespace KelnoCli
