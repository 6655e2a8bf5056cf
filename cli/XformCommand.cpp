// `kelno xform --source A --target B [--order N] [--pivot X Y Z]`: the best rigid transform from
// one mesh file onto another, per copy of the source in the target, as the transform extraction
// command returns it.
#include "Commands.h"
#include "MeshFiles.h"

#include <kelno/KRigidFit.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct XformOptions {
    std::string source;
    std::string target;
    double order = 0.0;
    std::vector<double> pivot;
    int sample = 0;
};

// Every mesh of the file merged in order: the vertices the fit pairs up.
Kelno::KVectorArray readPoints(const std::string& file, int sample) {
    Kelno::KTriMesh merged;
    for (const MeshPart& part : readMeshParts(file, sample))
        appendMesh(merged, part.triangles);
    if (merged.positions.empty())
        fail(file + " has no vertices");
    return merged.positions;
}

void run(const XformOptions& options) {
    const Kelno::KVectorArray source = readPoints(options.source, options.sample);
    const Kelno::KVectorArray target = readPoints(options.target, options.sample);
    if (target.length() < source.length())
        fail(options.target + " has fewer vertices (" + std::to_string(target.length()) + ") than " +
             options.source + " (" + std::to_string(source.length()) + "): the meshes do not correspond");
    Kelno::KVector pivot;
    if (!options.pivot.empty())
        pivot = Kelno::KVector(static_cast<float>(options.pivot[0]), static_cast<float>(options.pivot[1]),
                               static_cast<float>(options.pivot[2]));
    const std::vector<double> values =
        Kelno::ShapeMatchingMatrices(source, target, options.pivot.empty() ? nullptr : &pivot, options.order);
    nlohmann::ordered_json out;
    out["sourceVertices"] = source.length();
    out["targetVertices"] = target.length();
    out["copies"] = values.size() / 16;
    out["values"] = values;
    std::cout << out.dump() << std::endl;
}

} // namespace

void registerXformCommand(CLI::App& app) {
    auto options = std::make_shared<XformOptions>();
    CLI::App* cmd = app.add_subcommand(
        "xform",
        "The best rigid transform (rotation and translation, least squares over corresponding\n"
        "vertices) carrying the source mesh onto the target, as the transform extraction command\n"
        "returns it: 16 numbers per matrix in storage order (row-major, points as row vectors,\n"
        "translation in numbers 12 to 14). A target holding k whole copies of the source, one after\n"
        "the other, gives k matrices; points after the last whole copy are ignored, and a target\n"
        "with fewer vertices than the source is refused. Several meshes in one file are merged in\n"
        "order.");
    cmd->add_option("--source", options->source, "the source mesh (OBJ, or Alembic .abc)")->required();
    cmd->add_option("--target", options->target, "the moved mesh (OBJ, or Alembic .abc)")->required();
    cmd->add_option("--order", options->order, "exactly 1 transposes each matrix; any other value keeps it");
    cmd->add_option("--pivot", options->pivot,
                    "X Y Z: express each transform about this rotate pivot (rotation unchanged,\n"
                    "translation t + pivot * R - pivot)")
        ->expected(3);
    cmd->add_option("--sample", options->sample, "Alembic sample index (default 0)");
    cmd->callback([options]() { run(*options); });
}

} // namespace KelnoCli
