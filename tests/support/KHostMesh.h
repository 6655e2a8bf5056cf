// Mesh shapes in the host stand-in built from core meshes, for the plug-in's node tests.
#pragma once

#include <kelno/KMesh.h>
#include <maya/MFnDependencyNode.h>

#include <maya/MFnDagNode.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MIntArray.h>
#include <maya/MPoint.h>
#include <maya/MPointArray.h>

#include <host/Host.h>

#include <string>

namespace KelnoTest {

// Mesh data holding the polygons of `m` (positions as given).
inline MObject meshData(const Kelno::KMesh& m) {
    MPointArray points;
    for (const Kelno::KVector& p : m.positions)
        points.append(MPoint(p.x, p.y, p.z));
    MIntArray counts, connects;
    for (const Kelno::KIntArray& f : m.faces) {
        counts.append(static_cast<int>(f.size()));
        for (int v : f)
            connects.append(v);
    }
    MFnMeshData data;
    MObject object = data.create();
    MFnMesh().create(static_cast<int>(points.length()), static_cast<int>(counts.length()), points, counts,
                     connects, object);
    return object;
}

inline Kelno::KMesh polygons(const Kelno::KTriMesh& m) {
    Kelno::KMesh out;
    out.positions = m.positions;
    for (const Kelno::KInt3& t : m.triangles)
        out.faces.push_back(Kelno::KIntArray{t[0], t[1], t[2]});
    return out;
}

// A new mesh shape (under a new transform) holding `m`; its name.
inline std::string addShape(const Kelno::KMesh& m) {
    MObject shape = Host::createNode("mesh");
    MObject data = meshData(m);
    const std::string name = MFnDependencyNode(shape).name().asChar();
    Host::plug(name + ".inMesh").setValue(data);
    return name;
}

// Replaces the geometry of a shape made by addShape (what an upstream deformer would do).
inline void setShape(const std::string& shape, const Kelno::KMesh& m) {
    MObject data = meshData(m);
    Host::plug(shape + ".inMesh").setValue(data);
}

} // namespace KelnoTest
