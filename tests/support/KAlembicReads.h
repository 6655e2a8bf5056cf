// Mesh reads of the Alembic reader as comparable values, for the damage and concurrency tests.
#pragma once

#include <kelno/KAlembic.h>

#include <gtest/gtest.h>

namespace KelnoTest {

struct MeshRead {
    bool ok = false;
    Kelno::KVectorArray positions;
    Kelno::KIntArray counts;
    Kelno::KIntArray indices;
    Kelno::KMatrix xform;
    Kelno::KBoundingBox bounds; // read, not compared
    bool operator==(const MeshRead& o) const {
        return ok == o.ok && positions == o.positions && counts == o.counts && indices == o.indices &&
               xform == o.xform;
    }
};

inline MeshRead readMesh(const Kelno::KAlembicObject& mesh, int sample) {
    MeshRead r;
    r.ok = mesh.getPolyMeshData(&r.positions, nullptr, &r.counts, &r.indices, &r.bounds, &r.xform, nullptr,
                                nullptr, sample);
    return r;
}

// A successful read must describe a usable mesh whatever the bytes it came from.
inline void expectConsistent(const Kelno::KIntArray& counts, const Kelno::KIntArray& indices, int points) {
    long long sum = 0;
    for (int c : counts) {
        EXPECT_GE(c, 0);
        sum += c;
    }
    EXPECT_EQ(sum, indices.length());
    for (int v : indices) {
        EXPECT_GE(v, 0);
        EXPECT_LT(v, points);
    }
}

} // namespace KelnoTest
