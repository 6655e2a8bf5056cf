// `kelno uv`: UV files without Maya. The subcommands live in their own files.
#include "Commands.h"

namespace KelnoCli {

void registerUvCommand(CLI::App& app) {
    CLI::App* uv = app.add_subcommand(
        "uv", "UV files as KExportUVs writes and KImportUVs reads them (one UV set: per-face UV counts,\n"
              "UV indices, u and v arrays), made from and applied to OBJ meshes.");
    uv->require_subcommand(1);
    registerUvExportCommand(*uv);
    registerUvInfoCommand(*uv);
    registerUvApplyCommand(*uv);
}

} // namespace KelnoCli
