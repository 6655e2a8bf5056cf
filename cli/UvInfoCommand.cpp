// `kelno uv info FILE`: the counts of a UV file and whether it is sound, as JSON.
#include "Commands.h"

#include <kelno/KUVFile.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace KelnoCli {

void registerUvInfoCommand(CLI::App& uv) {
    auto file = std::make_shared<std::string>();
    CLI::App* cmd = uv.add_subcommand(
        "info", "Report a UV file's counts and whether it is sound (sizes agree with the counts, counts add\n"
                "up, every index names a UV). Prints the report either way; exits 1 for an unsound file.");
    cmd->add_option("FILE", *file, "the UV file")->required();
    cmd->callback([file]() {
        std::ifstream in(*file, std::ios::binary);
        if (!in)
            fail("cannot open " + *file);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        const std::string data = bytes.str();

        Kelno::KUVLayout layout;
        std::string error;
        const bool valid = Kelno::DecodeUVFile(data.data(), data.size(), layout, error);
        nlohmann::ordered_json out;
        out["file"] = *file;
        out["bytes"] = data.size();
        out["valid"] = valid;
        if (!valid) {
            out["error"] = error;
        } else {
            int mapped = 0;
            for (int c : layout.uvCounts)
                mapped += c > 0 ? 1 : 0;
            out["faces"] = layout.uvCounts.size();
            out["facesWithUVs"] = mapped;
            out["uvIds"] = layout.uvIds.size();
            out["uvs"] = layout.u.size();
            int nonFinite = 0;
            float lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
            for (std::size_t i = 0; i < layout.u.size(); ++i) {
                const float uv[2] = {layout.u[i], layout.v[i]};
                if (!std::isfinite(uv[0]) || !std::isfinite(uv[1])) {
                    ++nonFinite;
                    continue;
                }
                for (int k = 0; k < 2; ++k) {
                    lo[k] = std::min(lo[k], uv[k]);
                    hi[k] = std::max(hi[k], uv[k]);
                }
            }
            out["nonFiniteUVs"] = nonFinite;
            if (lo[0] <= hi[0])
                out["range"] = {{"u", {lo[0], hi[0]}}, {"v", {lo[1], hi[1]}}};
        }
        std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
        if (!valid)
            fail(*file + ": " + error);
    });
}

} // namespace KelnoCli
