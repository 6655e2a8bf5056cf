// libFuzzer target for the command-line tool's argument handling: the input is split at NUL bytes
// into at most 24 arguments and run through the whole tool in process (parsing, help, every
// subcommand and its failures). Standard output is discarded. The tool must return 0 or 1 and
// never crash.
//
// Arguments that could reach outside a scratch folder (absolute paths, "..") are left out, so a
// subcommand that writes files only ever writes below the folder the fuzzer runs in.
#include "Commands.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    (void)quiet;

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

    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    const int code = KelnoCli::run(static_cast<int>(args.size()), argv.data());
    if (code != 0 && code != 1)
        std::abort();
    return 0;
}
