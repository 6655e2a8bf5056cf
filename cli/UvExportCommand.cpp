// `kelno uv export MESH.obj --out FILE`: the texture coordinates an OBJ assigns, as a UV file.
#include "Commands.h"

#include <kelno/KUVFile.h>

#include <nlohmann/json.hpp>

#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct UvExportOptions {
    std::string mesh;
    std::string out;
};

int facesWithUVs(const Kelno::KUVLayout& layout) {
    int count = 0;
    for (int c : layout.uvCounts)
        count += c > 0 ? 1 : 0;
    return count;
}

} // namespace

void registerUvExportCommand(CLI::App& uv) {
    auto options = std::make_shared<UvExportOptions>();
    CLI::App* cmd = uv.add_subcommand(
        "export",
        "Write the UVs of an OBJ mesh (its vt records and the faces' texture indices) as a UV file.\n"
        "The faces are the ones the OBJ sequence loader builds; a face gets UVs only when every\n"
        "corner names a vt record.");
    cmd->add_option("MESH", options->mesh, "the OBJ file")->required();
    cmd->add_option("--out", options->out, "the UV file to write")->required();
    cmd->callback([options]() {
        Kelno::KObjUVs uvs;
        std::string error;
        if (!Kelno::ReadObjUVs(options->mesh, uvs, error))
            fail(error);
        if (!Kelno::WriteUVFile(options->out, uvs.layout, error))
            fail(error);
        nlohmann::ordered_json out;
        out["mesh"] = options->mesh;
        out["out"] = options->out;
        out["faces"] = uvs.layout.uvCounts.size();
        out["facesWithUVs"] = facesWithUVs(uvs.layout);
        out["facesLeftOut"] = uvs.facesLeftOut;
        out["uvIds"] = uvs.layout.uvIds.size();
        out["uvs"] = uvs.layout.u.size();
        out["bytes"] =
            Kelno::UVFileSize(uvs.layout.uvCounts.size(), uvs.layout.uvIds.size(), uvs.layout.u.size());
        std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
    });
}

} // namespace KelnoCli
