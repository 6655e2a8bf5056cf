// Runs the `kelno` tool as a user would, in its own process: arguments passed as they are (no
// shell), optional text on standard input, standard output and standard error captured whole.
// One runner for every tool test.
// The test target defines KELNO_TOOL_PATH, the tool's file.
#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace KelnoTest {

struct ToolRun {
    int exitCode = -1; // -1 when the tool did not exit normally
    std::string out;
    std::string err;
};

namespace detail {

inline std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline std::string scratchFile(const char* what) {
    std::string name = testing::TempDir() + "kelno_run_" + what + "_XXXXXX";
    const int fd = ::mkstemp(&name[0]);
    if (fd >= 0)
        ::close(fd);
    return name;
}

} // namespace detail

inline ToolRun RunTool(const std::vector<std::string>& args, const std::string& input = std::string()) {
    const std::string inName = detail::scratchFile("in"), outName = detail::scratchFile("out"),
                      errName = detail::scratchFile("err");
    std::ofstream(inName, std::ios::binary) << input;
    ToolRun run;
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int in = ::open(inName.c_str(), O_RDONLY);
        const int out = ::open(outName.c_str(), O_WRONLY | O_TRUNC);
        const int err = ::open(errName.c_str(), O_WRONLY | O_TRUNC);
        if (in < 0 || out < 0 || err < 0 || ::dup2(in, 0) < 0 || ::dup2(out, 1) < 0 || ::dup2(err, 2) < 0)
            ::_exit(127);
        std::vector<char*> argv;
        std::string tool = KELNO_TOOL_PATH;
        argv.push_back(&tool[0]);
        std::vector<std::string> copies(args);
        for (std::string& arg : copies)
            argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
        run.exitCode = WEXITSTATUS(status);
    run.out = detail::readWhole(outName);
    run.err = detail::readWhole(errName);
    for (const std::string& name : {inName, outName, errName})
        std::remove(name.c_str());
    return run;
}

// The same with the arguments written as one line: split at spaces, single quotes keep a piece
// whole ('a b' is one argument; no other quoting or escapes).
inline ToolRun RunToolLine(const std::string& line) {
    std::vector<std::string> args;
    std::string piece;
    bool quoted = false, any = false;
    for (char c : line) {
        if (c == '\'') {
            quoted = !quoted;
            any = true;
        } else if (c == ' ' && !quoted) {
            if (any)
                args.push_back(piece);
            piece.clear();
            any = false;
        } else {
            piece += c;
            any = true;
        }
    }
    if (any)
        args.push_back(piece);
    return RunTool(args);
}

} // namespace KelnoTest
