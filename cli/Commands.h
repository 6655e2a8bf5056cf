// Subcommands of the `kelno` command-line tool.
//
// Each subcommand lives in its own file and adds itself to the application through one
// register function called from main.cpp. A subcommand prints its result as JSON on standard
// output; on failure it writes one line to standard error and throws CliFailure, which main
// turns into exit code 1.
#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace KelnoCli {

// A failure already reported to the user; carries the exit code.
class CliFailure : public std::runtime_error {
  public:
    explicit CliFailure(const std::string& what, int exitCode = 1)
        : std::runtime_error(what), m_exitCode(exitCode) {}
    int exitCode() const { return m_exitCode; }

  private:
    int m_exitCode;
};

// The whole tool: parses the arguments, runs the subcommand and returns the exit code (0, or 1 on
// any failure, after one line on standard error). Nothing escapes it as an exception.
int run(int argc, char** argv);

// Writes "kelno: <message>" to standard error and throws CliFailure.
[[noreturn]] void fail(const std::string& message, int exitCode = 1);

// `obj-seq` (the file an OBJ sequence loader reads at a frame) and `obj` (one OBJ file).
void registerObjCommand(CLI::App& app);
// `kelno abc info|ls|dump`: Alembic caches as JSON.
void registerAbcCommand(CLI::App& app);
// `kelno skeleton`: tree skeleton chains and their curve hierarchy as JSON.
void registerSkeletonCommand(CLI::App& app);
// `kelno uv export|info|apply`: UV files made from, checked and applied to OBJ meshes.
void registerUvCommand(CLI::App& app);
void registerUvExportCommand(CLI::App& uv);
void registerUvInfoCommand(CLI::App& uv);
void registerUvApplyCommand(CLI::App& uv);
// `kelno check-collision` (edges piercing triangles) and `kelno inside` (vertices inside
// colliders): the plug-in's collision tools on mesh files.
void registerCheckCollisionCommand(CLI::App& app);
void registerInsideCommand(CLI::App& app);
// `kelno xform`: the best rigid transform from one mesh file onto another, per copy.
void registerXformCommand(CLI::App& app);
// `kelno clip`: the mesh clipper on mesh files.
void registerClipCommand(CLI::App& app);
// `kelno delaunay`: the plug-in's Delaunay 2D command on a point file.
void registerDelaunayCommand(CLI::App& app);

} // namespace KelnoCli
