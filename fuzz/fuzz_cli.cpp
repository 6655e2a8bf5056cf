// libFuzzer target for the command-line tool's argument handling: the input is split at NUL bytes
// into at most 24 arguments and run through the whole tool in process (parsing, help, every
// subcommand and its failures). Standard output is discarded and standard input is empty. The
// tool must return 0 or 1 and never crash.
//
// Inputs with arguments that could reach outside the folder the fuzzer runs in (absolute paths,
// "..") are skipped, and every file a subcommand is asked to write ("--out", "--obj") is redirected
// to one scratch file in the temporary folder, so the tool can be fuzzed from the project's root
// (where the seeds' relative sample paths resolve) without touching the project's files.
#include "Commands.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdlib.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Nothing to read on standard input (subcommands that read "-" see an empty file).
    static const bool quiet =
        std::freopen("/dev/null", "w", stdout) != nullptr && std::freopen("/dev/null", "r", stdin) != nullptr;
    (void)quiet;
    // Subcommands that read standard input ("kelno delaunay -") find it empty.
    static const bool noInput = std::freopen("/dev/null", "r", stdin) != nullptr;
    (void)noInput;

    std::vector<std::string> args{"kelno"};
    std::string current;
    for (std::size_t i = 0; i < size && args.size() < 24; ++i) {
        if (data[i] == 0) {
            args.push_back(current);
            current.clear();
        } else {
            current += static_cast<char>(data[i]);
        }
    }
    if (!current.empty() && args.size() < 24)
        args.push_back(current);
    for (const std::string& arg : args)
        if (!arg.empty() && (arg[0] == '/' || arg.find("..") != std::string::npos))
            return 0;
    // Plain arrays: the clean-up at exit must not outlive them.
    static char scratchFolder[] = "/tmp/kelno_fuzz_cli_XXXXXX";
    static char scratchFile[sizeof scratchFolder + 8];
    static const bool made = [] {
        if (!mkdtemp(scratchFolder))
            return false;
        std::snprintf(scratchFile, sizeof scratchFile, "%s/written", scratchFolder);
        std::atexit([] {
            std::remove(scratchFile);
            std::remove(scratchFolder);
        });
        return true;
    }();
    if (!made)
        return 0;
    const std::string scratch = scratchFile;
    for (std::size_t i = 1; i < args.size(); ++i) {
        for (const char* flag : {"--out", "--obj"}) {
            const std::string name(flag);
            if (args[i] == name && i + 1 < args.size())
                args[i + 1] = scratch;
            else if (args[i].compare(0, name.size() + 1, name + "=") == 0)
                args[i] = name + "=" + scratch;
        }
    }

    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    const int code = KelnoCli::run(static_cast<int>(args.size()), argv.data());
    if (code != 0 && code != 1)
        std::abort();
    return 0;
}
