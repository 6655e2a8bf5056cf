// libFuzzer target for the Alembic reader: any bytes given to openFromMemory, then every read
// the viewer and the command-line tool make. Must never crash, hang or allocate without bound.
#include <kelno/KAlembic.h>
#include <kelno/KPolyMesh.h>

#include <cstddef>
#include <cstdint>

using namespace Kelno;

namespace {

void walkProperties(const KAlembicProperty& compound, int depth) {
    for (int i = 0; i < compound.numChildren(); ++i) {
        KAlembicProperty child;
        if (!compound.getChild(i, child))
            continue;
        child.name();
        child.podName();
        char value = 0;
        child.getValue(value, 0);
        child.getValue(value, child.numSamples() + 3);
        if (child.isCompound() && depth < 64)
            walkProperties(child, depth + 1);
    }
}

} // namespace

// The HDF5 library leaks a few bytes on some damaged object headers (its own error path, not
// ours); leaks whose stacks pass through it are not findings of this target.
extern "C" const char* __lsan_default_suppressions() { return "leak:libhdf5_serial.so\n"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    KAlembicArchive archive;
    if (!archive.openFromMemory(data, size))
        return 0;
    archive.startTime();
    archive.endTime();
    archive.timeStepSize();
    archive.timeSamplingTypeStr();
    KAlembicObjectArray objects;
    GetAllDescendantObjects(archive.topObject(), objects, true);
    for (int i = 0; i < objects.length(); ++i) {
        const KAlembicObject& object = objects[i];
        object.schema();
        walkProperties(object.topProperty(), 0);
        double world[16];
        object.getWorldMatrix(world, 1);
        if (object.typeId() != kAbcTypePolyMesh)
            continue;
        const int n = object.numSamples();
        for (int s : {-1, 0, 1, n - 1, n + 5}) {
            KPolyMesh mesh;
            KVectorArray velocities;
            KBoundingBox bounds;
            KMatrix xform;
            KFloatArray uvs;
            KIntArray uvIndices;
            if (!object.getPolyMeshData(&mesh.m_positions, &velocities, &mesh.m_polygonCounts,
                                        &mesh.m_polygonConnections, &bounds, &xform, &uvs, &uvIndices, s))
                continue;
            mesh.transform(xform, true);
            mesh.computeBoundingBox();
            mesh.computeVertexNormals();
        }
    }
    return 0;
}
