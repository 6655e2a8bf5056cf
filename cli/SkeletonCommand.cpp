// `kelno skeleton`: centre chains of tree meshes (the tree skeleton node's result) and the curve
// hierarchy the skeleton curve command would write, without Maya.
#include "Commands.h"

#include <kelno/KNurbsCurve.h>
#include <kelno/KObjSequence.h>
#include <kelno/KTreeSkeleton.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

struct SkeletonOptions {
    std::string path;
    int iterations = 1;
    float step = 1.0f;
    bool split = false;
    bool curves = false;
    std::string objOut;
};

// The file as one triangle mesh (polygons fanned from their first corner), after leaving out
// the faces the loader leaves out.
Kelno::KTriMesh readMesh(const std::string& path) {
    Kelno::KObjMesh obj;
    std::string error;
    if (!Kelno::ReadObjFile(path, obj, error))
        fail(error);
    Kelno::RemoveUnbuildableFaces(obj);
    Kelno::KTriMesh mesh;
    for (const Kelno::KObjPoint& p : obj.points)
        mesh.positions.push_back(
            Kelno::KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    int first = 0;
    for (int count : obj.polygonCounts) {
        const int* face = obj.polygonConnects.data() + first;
        for (int k = 2; k < count; ++k)
            mesh.triangles.push_back(Kelno::KInt3{{face[0], face[k - 1], face[k]}});
        first += count;
    }
    return mesh;
}

void writeObj(const std::string& path, const std::vector<Kelno::KVectorArray>& chains) {
    std::ofstream out(path);
    if (!out)
        fail("cannot write " + path);
    out << "# centre chains, one polyline per mesh\n";
    int base = 1;
    for (std::size_t i = 0; i < chains.size(); ++i) {
        out << "o chain" << i << "\n";
        for (const Kelno::KVector& p : chains[i])
            out << "v " << p.x << " " << p.y << " " << p.z << "\n";
        if (!chains[i].empty()) {
            out << (chains[i].length() == 1 ? "p" : "l");
            for (int k = 0; k < chains[i].length(); ++k)
                out << " " << base + k;
            out << "\n";
        }
        base += chains[i].length();
    }
    if (!out)
        fail("cannot write " + path);
}

void runSkeleton(const SkeletonOptions& o) {
    const Kelno::KTriMesh whole = readMesh(o.path);
    std::vector<Kelno::KTriMesh> meshes;
    if (o.split)
        meshes = Kelno::KTreeSkeleton::splitConnected(whole);
    else
        meshes.push_back(whole);

    const int n = static_cast<int>(meshes.size());
    std::vector<Kelno::KVectorArray> chains(meshes.size());
    bool failed = false;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < n; ++i) {
        try {
            Kelno::KTriMeshConnectionInfo conn;
            conn.set(meshes[static_cast<std::size_t>(i)]);
            conn.calculate_v2e();
            conn.calculate_t2e();
            conn.calculate_e2t();
            Kelno::KTreeSkeleton::findCenter(meshes[static_cast<std::size_t>(i)], conn, o.iterations, o.step,
                                             chains[static_cast<std::size_t>(i)]);
        } catch (...) {
            // Nothing may leave the parallel region; reported below.
#pragma omp atomic write
            failed = true;
        }
    }
    if (failed)
        fail("out of memory while marching (is --iter very large with --dist 0?)");

    nlohmann::ordered_json out;
    out["file"] = o.path;
    out["iter"] = o.iterations;
    out["dist"] = o.step;
    out["meshes"] = n;
    nlohmann::ordered_json jc = nlohmann::ordered_json::array();
    for (const Kelno::KVectorArray& chain : chains) {
        nlohmann::ordered_json pts = nlohmann::ordered_json::array();
        for (const Kelno::KVector& p : chain)
            pts.push_back({p.x, p.y, p.z});
        jc.push_back(std::move(pts));
    }
    out["chains"] = std::move(jc);

    if (o.curves) {
        // One cubic curve per chain through its centres, as the curve command makes them; a chain
        // that cannot become a curve stops the command there.
        std::vector<Kelno::KNurbsCurve> curves(chains.size());
        for (std::size_t i = 0; i < chains.size(); ++i) {
            std::vector<Kelno::KNurbsCurve::Point> ep;
            for (const Kelno::KVector& p : chains[i])
                ep.push_back({{p.x, p.y, p.z}});
            if (!curves[i].createWithEditPoints(ep, 3, true))
                fail("chain " + std::to_string(i) + " of " + o.path + " cannot become a curve (" +
                     std::to_string(chains[i].length()) + " point(s)); the curve command stops there");
        }
        const Kelno::KTreeSkeleton::Hierarchy h = Kelno::KTreeSkeleton::buildHierarchy(curves);
        nlohmann::ordered_json jh;
        jh["mainBranch"] = h.mainBranch;
        jh["parentCurves"] = h.parentCurves;
        jh["parentCVs"] = h.parentCVs;
        jh["curveNumCVs"] = h.curveNumCVs;
        out["curves"] = std::move(jh);
    }
    if (!o.objOut.empty())
        writeObj(o.objOut, chains);
    std::cout << out.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

} // namespace

void registerSkeletonCommand(CLI::App& app) {
    auto options = std::make_shared<SkeletonOptions>();
    CLI::App* sk = app.add_subcommand(
        "skeleton", "Centre chains of tree meshes as the tree skeleton node computes them, one per mesh.");
    sk->add_option("FILE", options->path, "the OBJ file (one mesh, or several pieces with --split)")
        ->required();
    sk->add_option("--iter", options->iterations, "maximum number of steps per chain (the node's iter)")
        ->check(CLI::Range(1, 1 << 30));
    sk->add_option("--dist", options->step, "step between cross-sections (the node's dist)")
        ->check(CLI::Validator(
            [](std::string& text) {
                double value = 0.0;
                const bool ok =
                    CLI::detail::lexical_cast(text, value) && std::isfinite(value) && value >= 0.0;
                return ok ? std::string() : "Value " + text + " is not a number of 0 or more";
            },
            "NONNEGATIVE"));
    sk->add_flag("--split", options->split, "separate the file into connected pieces first, one chain each");
    sk->add_flag("--curves", options->curves,
                 "also print the hierarchy the skeleton curve command would write (main branch, parent "
                 "curves, parent CVs, CV counts)");
    sk->add_option("--obj", options->objOut, "write the chains as OBJ polylines to this file");
    sk->callback([options]() { runSkeleton(*options); });
}

} // namespace KelnoCli
