// `kelno uv apply FILE --mesh MESH.obj --out OUT.obj`: an OBJ mesh written again with a UV
// file's UVs, as KImportUVs would put them on the mesh the OBJ sequence loader builds.
#include "Commands.h"

#include <kelno/KObjSequence.h>
#include <kelno/KUVFile.h>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct UvApplyOptions {
    std::string uvFile;
    std::string mesh;
    std::string out;
};

// Positions, the file's UVs as vt records and every face, "v/vt" corners where it has UVs.
bool writeObj(const std::string& path, const Kelno::KObjMesh& mesh, const Kelno::KUVLayout& layout) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    bool ok = std::fprintf(file, "# written by kelno uv apply\n") > 0;
    for (const Kelno::KObjPoint& p : mesh.points)
        ok = ok && std::fprintf(file, "v %.17g %.17g %.17g\n", p.x, p.y, p.z) > 0;
    for (int i = 0; i < layout.u.length(); ++i)
        ok = ok && std::fprintf(file, "vt %.9g %.9g\n", double(layout.u[i]), double(layout.v[i])) > 0;
    int corner = 0, uvCorner = 0;
    for (int f = 0; f < mesh.polygonCounts.length(); ++f) {
        ok = ok && std::fputc('f', file) != EOF;
        const bool mapped = layout.uvCounts[f] > 0;
        for (int k = 0; k < mesh.polygonCounts[f]; ++k) {
            const int vertex = mesh.polygonConnects[corner++] + 1;
            if (mapped)
                ok = ok && std::fprintf(file, " %d/%d", vertex, layout.uvIds[uvCorner++] + 1) > 0;
            else
                ok = ok && std::fprintf(file, " %d", vertex) > 0;
        }
        ok = ok && std::fputc('\n', file) != EOF;
    }
    return std::fclose(file) == 0 && ok;
}

} // namespace

void registerUvApplyCommand(CLI::App& uv) {
    auto options = std::make_shared<UvApplyOptions>();
    CLI::App* cmd = uv.add_subcommand(
        "apply",
        "Write an OBJ mesh again with the UVs of a UV file. The file must be sound and fit the faces\n"
        "the OBJ sequence loader builds from the mesh (same count; each face with no UVs or one per\n"
        "corner). Normals, groups and materials are not kept. Nothing is written on failure.");
    cmd->add_option("FILE", options->uvFile, "the UV file")->required();
    cmd->add_option("--mesh", options->mesh, "the OBJ mesh")->required();
    cmd->add_option("--out", options->out, "the OBJ file to write")->required();
    cmd->callback([options]() {
        Kelno::KUVLayout layout;
        std::string error;
        if (!Kelno::ReadUVFile(options->uvFile, layout, error))
            fail(options->uvFile + ": " + error);
        Kelno::KObjMesh mesh;
        if (!Kelno::ReadObjFile(options->mesh, mesh, error))
            fail(error);
        const int leftOut = Kelno::RemoveUnbuildableFaces(mesh);
        const std::string misfit = Kelno::UVLayoutFitsFaces(layout, mesh.polygonCounts);
        if (!misfit.empty())
            fail(options->uvFile + " does not fit " + options->mesh + ": " + misfit);
        // Written beside the target and renamed, so a failed write leaves no half file behind.
        const std::string partial = options->out + ".partial";
        if (!writeObj(partial, mesh, layout) || std::rename(partial.c_str(), options->out.c_str()) != 0) {
            std::remove(partial.c_str());
            fail("cannot write " + options->out);
        }
        nlohmann::ordered_json out;
        out["mesh"] = options->mesh;
        out["uvFile"] = options->uvFile;
        out["out"] = options->out;
        out["vertices"] = mesh.points.size();
        out["faces"] = mesh.polygonCounts.size();
        out["facesLeftOut"] = leftOut;
        out["uvs"] = layout.u.size();
        std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
    });
}

} // namespace KelnoCli
