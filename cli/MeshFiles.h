// Mesh input shared by the collision subcommands: OBJ files and the polygon meshes of Alembic
// caches as triangle meshes, and progress reporting on standard error.
#pragma once

#include <kelno/KCollision.h>
#include <kelno/KMesh.h>

#include <string>
#include <vector>

namespace KelnoCli {

// One mesh read from a file: an OBJ file is one part; an Alembic cache gives one part per
// polygon mesh, in depth-first order, named by its object path.
struct MeshPart {
    std::string file;
    std::string object;        // the Alembic object path; empty for OBJ
    Kelno::KTriMesh triangles; // positions and each polygon fanned from its corner 0
    Kelno::KIntArrayList polygons;
};

// Reads a file by its extension: ".abc" as Alembic at `sample` (positions in world space, each
// mesh placed by its transforms), anything else as OBJ (v and f records; faces with fewer than
// three corners or a vertex index out of range are left out, as the sequence loader does).
// Fails (through fail()) with the reader's reason.
std::vector<MeshPart> readMeshParts(const std::string& file, int sample);

// Appends `part` to `merged`, its vertices after those already there.
void appendMesh(Kelno::KTriMesh& merged, const Kelno::KTriMesh& part);

// A progress callback writing "<label> NN%" to standard error: in place when standard error is
// a terminal, otherwise one line per tenth. Returns an empty callback when `items` is small.
Kelno::KProgressCallback progressOnStderr(const std::string& label, long long items);

} // namespace KelnoCli
