// kelno: the Maya-free command-line tool over the core library, for pipelines and render farms.
#include "Commands.h"

#include <iostream>

namespace KelnoCli {

void fail(const std::string& message, int exitCode) {
    std::cerr << "kelno: " << message << std::endl;
    throw CliFailure(message, exitCode);
}

} // namespace KelnoCli

int main(int argc, char** argv) {
    CLI::App app{"kelno: geometry jobs of the Kelno toolkit without Maya (JSON on standard output)"};
    app.set_version_flag("--version", std::string("kelno ") + KELNO_VERSION);
    app.require_subcommand(1);

    // Subcommands register here, one line each.
    KelnoCli::registerObjCommand(app);
    KelnoCli::registerAbcCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const KelnoCli::CliFailure& e) {
        return e.exitCode();
    } catch (const std::exception& e) {
        std::cerr << "kelno: " << e.what() << std::endl;
        return 1;
    }
    return 0;
}
