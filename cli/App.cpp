// kelno: the Maya-free command-line tool over the core library, for pipelines and render farms.
// The application itself (KelnoCli::run); main.cpp only calls it, so the argument fuzzer and the
// tests can run the same code in process.
#include "Commands.h"

#include <iostream>

namespace KelnoCli {

void fail(const std::string& message, int exitCode) {
    std::cerr << "kelno: " << message << std::endl;
    throw CliFailure(message, exitCode);
}

int run(int argc, char** argv) {
    CLI::App app{"kelno: geometry jobs of the Kelno toolkit without Maya (JSON on standard output)"};
    app.set_version_flag("--version", std::string("kelno ") + KELNO_VERSION);
    app.require_subcommand(1);

    // Subcommands register here, one line each.
    KelnoCli::registerObjCommand(app);
    KelnoCli::registerAbcCommand(app);
    KelnoCli::registerSkeletonCommand(app);
    KelnoCli::registerUvCommand(app);
    KelnoCli::registerCheckCollisionCommand(app);
    KelnoCli::registerInsideCommand(app);
    KelnoCli::registerXformCommand(app);
    KelnoCli::registerClipCommand(app);
    KelnoCli::registerDelaunayCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // --help and --version exit 0; every usage error exits 1 like any other failure.
        return app.exit(e) == 0 ? 0 : 1;
    } catch (const KelnoCli::CliFailure& e) {
        return e.exitCode();
    } catch (const std::exception& e) {
        std::cerr << "kelno: " << e.what() << std::endl;
        return 1;
    } catch (...) {
        std::cerr << "kelno: unexpected failure" << std::endl;
        return 1;
    }
    return 0;
}

} // namespace KelnoCli
