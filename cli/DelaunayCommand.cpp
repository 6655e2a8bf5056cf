// `kelno delaunay [FILE|-] [--obj OUT.obj] [--triangles]`: the plug-in's Delaunay 2D command on
// a point file, with the same projection, so that the tool and the plug-in make the same faces.
#include "Commands.h"

#include <kelno/KDelaunay2D.h>
#include <kelno/KTypes.h>

#include <nlohmann/json.hpp>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace KelnoCli {

namespace {

struct DelaunayOptions {
    std::string input = "-";
    std::string obj;
    bool triangles = false;
};

struct PointText {
    std::vector<double> values; // x y z per point, in order
    int ignored = 0;            // trailing values of the one-line form that make no whole point
};

// Either one point per line ("x y z"; blank lines and lines starting with # skipped), or the
// command's form: all numbers on one line, three per point, a trailing remainder ignored.
PointText readPoints(std::istream& in) {
    std::vector<std::pair<int, std::vector<double>>> lines; // (line number, numbers)
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::size_t start = line.find_first_not_of(" \t\r");
        if (start == std::string::npos || line[start] == '#')
            continue;
        std::vector<double> numbers;
        std::istringstream words(line);
        std::string word;
        while (words >> word) {
            double v = 0.0;
            const char* first = word.data();
            const char* last = word.data() + word.size();
            if (*first == '+')
                ++first;
            const auto parsed = std::from_chars(first, last, v);
            if (parsed.ec == std::errc::result_out_of_range)
                v = word[0] == '-' ? -HUGE_VAL : HUGE_VAL; // beyond float anyway: left out as non-finite
            else if (parsed.ec != std::errc() || parsed.ptr != last)
                fail("line " + std::to_string(number) + ": \"" + word + "\" is not a number");
            numbers.push_back(v);
        }
        lines.emplace_back(number, std::move(numbers));
    }
    PointText text;
    if (lines.size() == 1) {
        text.values = lines[0].second;
        text.ignored = static_cast<int>(text.values.size() % 3);
        text.values.resize(text.values.size() - static_cast<std::size_t>(text.ignored));
        return text;
    }
    for (const auto& l : lines) {
        if (l.second.size() != 3)
            fail("line " + std::to_string(l.first) + ": expected 3 numbers (x y z), found " +
                 std::to_string(l.second.size()));
        text.values.insert(text.values.end(), l.second.begin(), l.second.end());
    }
    return text;
}

void writeObj(const std::string& path, const Kelno::KVectorArray& vertices, const Kelno::KIntArray& corners) {
    const std::string temporary = path + ".part";
    {
        std::ofstream out(temporary);
        if (!out)
            fail("cannot write " + path);
        out.precision(9);
        out << "# kelno delaunay: " << vertices.size() << " vertices, " << corners.size() / 3
            << " triangles\n";
        for (const Kelno::KVector& v : vertices)
            out << "v " << v.x << ' ' << v.y << ' ' << v.z << '\n';
        for (std::size_t i = 0; i + 2 < corners.size(); i += 3)
            out << "f " << corners[i] + 1 << ' ' << corners[i + 1] + 1 << ' ' << corners[i + 2] + 1 << '\n';
        out.flush();
        if (!out) {
            std::remove(temporary.c_str());
            fail("cannot write " + path);
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        fail("cannot write " + path);
    }
}

void run(const DelaunayOptions& options) {
    PointText text;
    if (options.input == "-") {
        text = readPoints(std::cin);
    } else {
        std::ifstream in(options.input);
        if (!in)
            fail("cannot open " + options.input);
        text = readPoints(in);
    }
    const int n = static_cast<int>(text.values.size() / 3);
    if (n < 3)
        fail("At least three points are needed.");

    // As the plug-in command: single-precision vertices, triangulated at (z, x).
    Kelno::KVectorArray vertices;
    Kelno::KFloat2Array plane(n);
    for (int i = 0; i < n; ++i) {
        const std::size_t k = 3 * static_cast<std::size_t>(i);
        vertices.push_back(Kelno::KVector(static_cast<float>(text.values[k]),
                                          static_cast<float>(text.values[k + 1]),
                                          static_cast<float>(text.values[k + 2])));
        plane[static_cast<std::size_t>(i)] = Kelno::GroundPlanePoint(vertices.back());
    }
    int count = 0;
    Kelno::KIntArray corners, neighbours;
    const Kelno::KDelaunay2D dt(plane, count, corners, neighbours);
    if (count == 0)
        fail("Mesh construction failed. The points lie on one line or at one place in the (z, x) plane.");
    if (!options.obj.empty())
        writeObj(options.obj, vertices, corners);

    nlohmann::ordered_json out;
    out["pointsRead"] = n;
    out["pointsUsed"] = dt.usedPointCount();
    out["duplicates"] = dt.duplicateCount();
    out["nonFinite"] = dt.nonFiniteCount();
    out["valuesIgnored"] = text.ignored;
    out["triangles"] = count;
    if (options.triangles)
        out["triangleVertices"] = static_cast<const std::vector<int>&>(corners);
    std::cout << out.dump() << std::endl;
}

} // namespace

void registerDelaunayCommand(CLI::App& app) {
    auto options = std::make_shared<DelaunayOptions>();
    CLI::App* cmd = app.add_subcommand(
        "delaunay",
        "Triangulate 3D points in the ground plane, as the plug-in's KDelaunay2DCmd does: the 2D\n"
        "Delaunay triangles of (z, x), heights kept, faces counter-clockwise seen from +y.\n"
        "Input: \"x y z\" per line (blank lines and # comments allowed), or the command's form:\n"
        "all numbers on one line, separated by spaces (a remainder that makes no point is ignored).\n"
        "Points repeating an earlier (z, x), or with a non-finite coordinate, are in no triangle.\n"
        "Prints counts as JSON; --obj writes the mesh (every point a vertex, in input order).");
    cmd->add_option("input", options->input, "point file, or - for standard input (the default)");
    cmd->add_option("--obj", options->obj, "write the mesh to this OBJ file");
    cmd->add_flag("--triangles", options->triangles,
                  "list the triangles' point indices (0-based) in the JSON");
    cmd->callback([options]() { run(*options); });
}

} // namespace KelnoCli
