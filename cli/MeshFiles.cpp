#include "MeshFiles.h"

#include "Commands.h"

#include <kelno/KAlembic.h>
#include <kelno/KObjSequence.h>

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>

namespace KelnoCli {

namespace {

bool endsWithAbc(const std::string& file) {
    if (file.size() < 4)
        return false;
    std::string ext = file.substr(file.size() - 4);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext == ".abc";
}

void addPolygons(MeshPart& part, const Kelno::KIntArray& counts, const Kelno::KIntArray& connects) {
    int first = 0;
    for (int count : counts) {
        Kelno::KIntArray polygon(connects.begin() + first, connects.begin() + first + count);
        for (int k = 2; k < count; ++k)
            part.triangles.triangles.push_back(Kelno::KInt3{{polygon[0], polygon[k - 1], polygon[k]}});
        part.polygons.push_back(std::move(polygon));
        first += count;
    }
}

std::vector<MeshPart> readObj(const std::string& file) {
    Kelno::KObjMesh obj;
    std::string error;
    if (!Kelno::ReadObjFile(file, obj, error))
        fail(error);
    Kelno::RemoveUnbuildableFaces(obj);
    MeshPart part;
    part.file = file;
    part.triangles.positions.reserve(obj.points.size());
    for (const Kelno::KObjPoint& p : obj.points)
        part.triangles.positions.push_back(
            Kelno::KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    addPolygons(part, obj.polygonCounts, obj.polygonConnects);
    return {std::move(part)};
}

std::vector<MeshPart> readAbc(const std::string& file, int sample) {
    Kelno::KAlembicArchive archive;
    if (!archive.open(file.c_str()))
        fail("cannot open " + file + ": " + archive.errorString().str());
    Kelno::KAlembicObjectArray objects;
    Kelno::GetAllDescendantObjects(archive.topObject(), objects, true);
    std::vector<MeshPart> parts;
    for (const Kelno::KAlembicObject& object : objects) {
        if (object.typeId() != Kelno::kAbcTypePolyMesh)
            continue;
        MeshPart part;
        part.file = file;
        part.object = object.fullPath().str();
        Kelno::KIntArray counts, connects;
        Kelno::KMatrix xform;
        Kelno::KString error;
        if (!object.getPolyMeshData(&part.triangles.positions, nullptr, &counts, &connects, nullptr, &xform,
                                    nullptr, nullptr, sample, &error))
            fail("cannot read " + part.object + " in " + file + ": " + error.str());
        for (Kelno::KVector& p : part.triangles.positions)
            p = xform.transformPoint(p);
        addPolygons(part, counts, connects);
        parts.push_back(std::move(part));
    }
    return parts;
}

} // namespace

std::vector<MeshPart> readMeshParts(const std::string& file, int sample) {
    return endsWithAbc(file) ? readAbc(file, sample) : readObj(file);
}

void appendMesh(Kelno::KTriMesh& merged, const Kelno::KTriMesh& part) {
    const int offset = merged.vertexCount();
    merged.positions.insert(merged.positions.end(), part.positions.begin(), part.positions.end());
    for (Kelno::KInt3 t : part.triangles)
        merged.triangles.push_back(Kelno::KInt3{{t[0] + offset, t[1] + offset, t[2] + offset}});
}

Kelno::KProgressCallback progressOnStderr(const std::string& label, long long items) {
    if (items < 200000)
        return Kelno::KProgressCallback();
    const bool terminal = isatty(STDERR_FILENO) != 0;
    auto last = std::make_shared<int>(-1);
    return [label, terminal, last](float fraction) {
        const int percent = static_cast<int>(fraction * 100.0f);
        const int step = terminal ? percent : percent / 10 * 10;
        if (step == *last)
            return;
        *last = step;
        if (terminal)
            std::cerr << "\r" << label << " " << step << "%" << (step >= 100 ? "\n" : "") << std::flush;
        else
            std::cerr << "kelno: " << label << " " << step << "%" << std::endl;
    };
}

} // namespace KelnoCli
