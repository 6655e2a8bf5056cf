// `kelno obj-seq` and `kelno obj`: what the OBJ sequence loader reads at a frame, without Maya.
#include "Commands.h"

#include <kelno/KObjSequence.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct ObjOptions {
    std::string path;
    double frame = 0.0;
    int offset = 0;
    bool full = false;
};

// Reads the file as the loader does, leaving out the faces it leaves out, and prints the
// summary of the mesh it builds (and with `full` its arrays).
void printObj(const std::string& fileName, bool full) {
    Kelno::KObjMesh mesh;
    std::string error;
    if (!Kelno::ReadObjFile(fileName, mesh, error))
        fail(error);
    const int leftOut = Kelno::RemoveUnbuildableFaces(mesh);

    nlohmann::ordered_json out;
    out["file"] = fileName;
    out["vertices"] = mesh.points.size();
    out["polygons"] = mesh.polygonCounts.size();
    out["faceVertices"] = mesh.polygonConnects.size();
    out["facesLeftOut"] = leftOut;
    if (full) {
        nlohmann::ordered_json points = nlohmann::ordered_json::array();
        for (const Kelno::KObjPoint& p : mesh.points)
            points.push_back({p.x, p.y, p.z});
        out["points"] = std::move(points);
        out["polygonCounts"] = static_cast<const std::vector<int>&>(mesh.polygonCounts);
        out["polygonConnects"] = static_cast<const std::vector<int>&>(mesh.polygonConnects);
    }
    // File names are bytes, not necessarily UTF-8: invalid sequences are replaced, not fatal.
    std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

} // namespace

void registerObjCommand(CLI::App& app) {
    auto options = std::make_shared<ObjOptions>();

    CLI::App* seq = app.add_subcommand(
        "obj-seq", "Resolve the file the OBJ sequence loader reads at a frame and report its mesh.\n"
                   "The name rule is the loader's: the file name's digits are replaced by FRAME + offset,\n"
                   "zero-padded to the number of digits in the name, and the result is rooted at \"/\"\n"
                   "(give an absolute path, e.g. \"$PWD/samples/obj_sequence/wave_0001.obj\").");
    seq->add_option("PATH", options->path, "any file of the sequence, e.g. /shots/a/mesh_0001.obj")
        ->required();
    seq->add_option("FRAME", options->frame,
                    "frame number (truncated toward zero and clamped to the int range, as the node does)")
        ->required();
    seq->add_option("--offset", options->offset, "frame offset added to FRAME (the node's frameOffset)");
    seq->add_flag("--full", options->full, "also print points, polygonCounts and polygonConnects");
    seq->callback([options]() {
        const int frame = Kelno::ObjSequenceFrame(options->frame);
        printObj(Kelno::ObjSequenceFileName(options->path, frame, options->offset), options->full);
    });

    CLI::App* one =
        app.add_subcommand("obj", "Read one OBJ file as the OBJ sequence loader reads it and report "
                                  "its mesh (v and f records only).");
    one->add_option("FILE", options->path, "the OBJ file")->required();
    one->add_flag("--full", options->full, "also print points, polygonCounts and polygonConnects");
    one->callback([options]() { printObj(options->path, options->full); });
}

} // namespace KelnoCli
