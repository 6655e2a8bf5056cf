#include "KMayaMesh.h"

#include <maya/MDagPath.h>
#include <maya/MFloatArray.h>
#include <maya/MFn.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MFnMesh.h>
#include <maya/MPoint.h>
#include <maya/MSelectionList.h>
#include <maya/MSpace.h>
#include <maya/MStringArray.h>

#include <cstring>
#include <utility>

namespace Kelno {

namespace {

// A mesh to read: mesh data (points as stored) or a DAG path to a mesh shape (world space).
struct MeshSource {
    MObject data;
    MDagPath path;
    bool hasPath = false;
    MString name;
};

MStatus fail(MString* errorMessage, const char* function, const MString& text, MStatus::MStatusCode code) {
    if (errorMessage) {
        *errorMessage = MString("Error@") + function + "(): " + text;
    }
    return MStatus(code);
}

MString nodeName(const MObject& object) {
    MStatus status;
    MFnDependencyNode fn(object, &status);
    return status ? fn.name() : MString("the object");
}

// Resolves a DAG path to a mesh shape: the path itself, or the one shape below its transform
// that is not an intermediate object (a deformed mesh keeps its undeformed input beside it).
// Intermediate shapes are skipped here rather than left to extendToShape.
bool pathToMesh(MDagPath& path) {
    if (path.hasFn(MFn::kMesh))
        return true;
    if (!path.hasFn(MFn::kTransform))
        return false;
    MObject visible;
    int visibleShapes = 0;
    for (unsigned int i = 0; i < path.childCount(); ++i) {
        const MObject child = path.child(i);
        if (!child.hasFn(MFn::kShape) || MFnDagNode(child).isIntermediateObject())
            continue;
        visible = child;
        ++visibleShapes;
    }
    return visibleShapes == 1 && visible.hasFn(MFn::kMesh) && path.push(visible);
}

MStatus resolve(const MObject& object, MeshSource& source, MString* errorMessage, const char* function) {
    if (object.isNull())
        return fail(errorMessage, function, "the mesh object is null.", MS::kInvalidParameter);
    if (object.hasFn(MFn::kMeshData)) {
        source.data = object;
        source.name = "mesh data";
        return MS::kSuccess;
    }
    source.name = nodeName(object);
    MDagPath path;
    if (!object.hasFn(MFn::kDagNode) || !MDagPath::getAPathTo(object, path) || !pathToMesh(path))
        return fail(errorMessage, function, source.name + " is not a mesh.", MS::kInvalidParameter);
    source.path = path;
    source.hasPath = true;
    return MS::kSuccess;
}

// The host mesh as read once: positions in the source's space, faces, and its function set.
struct HostMesh {
    MPointArray points;
    MIntArray counts;
    MIntArray connects;
};

MStatus attach(const MeshSource& source, MFnMesh& fn) {
    return source.hasPath ? fn.setObject(source.path.node()) : fn.setObject(source.data);
}

MStatus readFaces(const MeshSource& source, MFnMesh& fn, HostMesh& mesh, MString* errorMessage,
                  const char* function) {
    const MSpace::Space space = source.hasPath ? MSpace::kWorld : MSpace::kObject;
    MStatus status;
    if (source.hasPath) {
        // World space needs the function set on the path, not on the node.
        MFnMesh onPath(source.path, &status);
        if (status)
            status = onPath.getPoints(mesh.points, space);
    } else {
        status = fn.getPoints(mesh.points, space);
    }
    if (status)
        status = fn.getVertices(mesh.counts, mesh.connects);
    if (!status)
        return fail(errorMessage, function, "cannot read the mesh " + source.name + ".", MS::kFailure);
    if (mesh.points.length() == 0)
        return fail(errorMessage, function, source.name + " has no vertices.", MS::kFailure);
    return MS::kSuccess;
}

KVector toVector(const MPoint& p) {
    return KVector(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z));
}

void copyPositions(const MPointArray& points, KVectorArray& positions) {
    positions.resize(points.length());
    for (unsigned int i = 0; i < points.length(); ++i)
        positions[i] = toVector(points[i]);
}

// Which UV set to read: `useUVs` false when none is asked for (or "currentUVSet" on a mesh
// without UV sets).
MStatus chooseUVSet(MFnMesh& fn, const char* uvSetName, bool& useUVs, MString& setName,
                    const MString& meshName, MString* errorMessage, const char* function) {
    useUVs = false;
    if (!uvSetName || !*uvSetName)
        return MS::kSuccess;
    MStringArray names;
    fn.getUVSetNames(names);
    for (unsigned int i = 0; i < names.length(); ++i) {
        if (names[i] == uvSetName) {
            setName = names[i];
            useUVs = true;
            return MS::kSuccess;
        }
    }
    if (std::strcmp(uvSetName, "currentUVSet") == 0) {
        setName = fn.currentUVSetName();
        useUVs = setName.length() > 0;
        return MS::kSuccess;
    }
    return fail(errorMessage, function, meshName + " has no UV set " + uvSetName + ".", MS::kNotFound);
}

// Per face vertex (connects order), the UV of the set as a KVector; (0, 0, 0) where unassigned.
MStatus readCornerUVs(MFnMesh& fn, const MString& setName, const HostMesh& mesh, KVectorArray& cornerUVs,
                      MString* errorMessage, const char* function, const MString& meshName) {
    MFloatArray u, v;
    MIntArray uvCounts, uvIds;
    if (!fn.getUVs(u, v, &setName) || !fn.getAssignedUVs(uvCounts, uvIds, &setName))
        return fail(errorMessage, function, "cannot read the UV set " + setName + " of " + meshName + ".",
                    MS::kFailure);
    cornerUVs.assign(mesh.connects.length(), KVector());
    unsigned int corner = 0, next = 0;
    for (unsigned int f = 0; f < mesh.counts.length(); ++f) {
        const int count = mesh.counts[f];
        const int assigned = f < uvCounts.length() ? uvCounts[f] : 0;
        for (int k = 0; k < count; ++k, ++corner) {
            if (assigned != count || next >= uvIds.length())
                continue;
            const int id = uvIds[next++];
            if (id >= 0 && static_cast<unsigned int>(id) < u.length() && corner < cornerUVs.size())
                cornerUVs[corner] =
                    KVector(u[static_cast<unsigned int>(id)], v[static_cast<unsigned int>(id)], 0.0f);
        }
        if (assigned != count)
            next += static_cast<unsigned int>(assigned > 0 ? assigned : 0);
    }
    return MS::kSuccess;
}

bool facesValid(const HostMesh& mesh) {
    long long total = 0;
    for (unsigned int f = 0; f < mesh.counts.length(); ++f) {
        if (mesh.counts[f] < 0)
            return false;
        total += mesh.counts[f];
    }
    if (total != static_cast<long long>(mesh.connects.length()))
        return false;
    const int vertexCount = static_cast<int>(mesh.points.length());
    for (unsigned int i = 0; i < mesh.connects.length(); ++i)
        if (mesh.connects[i] < 0 || mesh.connects[i] >= vertexCount)
            return false;
    return true;
}

// Triangles (and, with cornerUVs, per-corner UVs) of the host's triangulation.
MStatus triangulate(MFnMesh& fn, const HostMesh& mesh, const KVectorArray* cornerUVs, KInt3Array& triangles,
                    KVectorArray& uvs, MString* errorMessage, const char* function, const MString& meshName) {
    MIntArray triangleCounts, triangleVertices;
    if (!fn.getTriangles(triangleCounts, triangleVertices) || triangleCounts.length() != mesh.counts.length())
        return fail(errorMessage, function, "cannot triangulate " + meshName + ".", MS::kFailure);
    const int vertexCount = static_cast<int>(mesh.points.length());
    triangles.clear();
    uvs.clear();
    unsigned int offset = 0, read = 0;
    for (unsigned int f = 0; f < mesh.counts.length(); ++f) {
        const int count = mesh.counts[f];
        for (int t = 0; t < triangleCounts[f]; ++t) {
            if (read + 3 > triangleVertices.length())
                return fail(errorMessage, function, "cannot triangulate " + meshName + ".", MS::kFailure);
            KInt3 triangle{{triangleVertices[read], triangleVertices[read + 1], triangleVertices[read + 2]}};
            read += 3;
            for (int k = 0; k < 3; ++k) {
                if (triangle[k] < 0 || triangle[k] >= vertexCount)
                    return fail(errorMessage, function, "cannot triangulate " + meshName + ".", MS::kFailure);
                if (!cornerUVs)
                    continue;
                // The host gives mesh vertex indices; the UV belongs to the face corner holding
                // that vertex.
                KVector uv;
                for (int c = 0; c < count; ++c) {
                    if (mesh.connects[offset + static_cast<unsigned int>(c)] == triangle[k]) {
                        uv = (*cornerUVs)[offset + static_cast<unsigned int>(c)];
                        break;
                    }
                }
                uvs.push_back(uv);
            }
            triangles.push_back(triangle);
        }
        offset += static_cast<unsigned int>(count);
    }
    return MS::kSuccess;
}

// Everything a full triangle-mesh conversion needs, into `result`.
MStatus convertTriMesh(const MeshSource& source, bool positionsOnly, const char* uvSetName, KTriMesh& out,
                       MString* errorMessage, const char* function) {
    MFnMesh fn;
    if (!attach(source, fn))
        return fail(errorMessage, function, source.name + " is not a mesh.", MS::kInvalidParameter);
    HostMesh mesh;
    MStatus status = readFaces(source, fn, mesh, errorMessage, function);
    if (!status)
        return status;
    if (!facesValid(mesh))
        return fail(errorMessage, function, "cannot read the mesh " + source.name + ".", MS::kFailure);

    if (positionsOnly) {
        const int expected =
            static_cast<int>(mesh.connects.length()) - 2 * static_cast<int>(mesh.counts.length());
        if (out.vertexCount() == static_cast<int>(mesh.points.length()) && out.triangleCount() == expected &&
            (out.uvs.empty() || out.uvs.length() == 3 * expected) && out.indicesValid()) {
            copyPositions(mesh.points, out.positions);
            return MS::kSuccess;
        }
    }

    bool useUVs = false;
    MString setName;
    status = chooseUVSet(fn, uvSetName, useUVs, setName, source.name, errorMessage, function);
    if (!status)
        return status;
    KVectorArray cornerUVs;
    if (useUVs) {
        status = readCornerUVs(fn, setName, mesh, cornerUVs, errorMessage, function, source.name);
        if (!status)
            return status;
    }
    KTriMesh result;
    status = triangulate(fn, mesh, useUVs ? &cornerUVs : nullptr, result.triangles, result.uvs, errorMessage,
                         function, source.name);
    if (!status)
        return status;
    copyPositions(mesh.points, result.positions);
    std::swap(out, result);
    return MS::kSuccess;
}

} // namespace

MStatus Convert(KTriMesh& out, MObject& mesh, bool positionsOnly, const char* uvSetName,
                MString* errorMessage) {
    MeshSource source;
    MStatus status = resolve(mesh, source, errorMessage, "Convert");
    if (!status)
        return status;
    return convertTriMesh(source, positionsOnly, uvSetName, out, errorMessage, "Convert");
}

MStatus Convert(KMesh& out, MObject& object, bool positionsOnly, const char* uvSetName,
                MString* errorMessage) {
    const char* function = "Convert";
    MeshSource source;
    MStatus status = resolve(object, source, errorMessage, function);
    if (!status)
        return status;
    MFnMesh fn;
    if (!attach(source, fn))
        return fail(errorMessage, function, source.name + " is not a mesh.", MS::kInvalidParameter);
    HostMesh mesh;
    status = readFaces(source, fn, mesh, errorMessage, function);
    if (!status)
        return status;
    if (!facesValid(mesh))
        return fail(errorMessage, function, "cannot read the mesh " + source.name + ".", MS::kFailure);

    if (positionsOnly && out.vertexCount() == static_cast<int>(mesh.points.length()) &&
        out.faceCount() == static_cast<int>(mesh.counts.length())) {
        int corners = 0;
        bool valid = true;
        for (const KIntArray& face : out.faces) {
            corners += face.length();
            for (int v : face)
                valid = valid && v >= 0 && v < out.vertexCount();
        }
        if (valid && corners == static_cast<int>(mesh.connects.length()) &&
            (out.uvs.empty() || out.uvs.length() == corners)) {
            copyPositions(mesh.points, out.positions);
            return MS::kSuccess;
        }
    }

    bool useUVs = false;
    MString setName;
    status = chooseUVSet(fn, uvSetName, useUVs, setName, source.name, errorMessage, function);
    if (!status)
        return status;
    KMesh result;
    if (useUVs) {
        status = readCornerUVs(fn, setName, mesh, result.uvs, errorMessage, function, source.name);
        if (!status)
            return status;
    }
    copyPositions(mesh.points, result.positions);
    result.faces.resize(mesh.counts.length());
    unsigned int corner = 0;
    for (unsigned int f = 0; f < mesh.counts.length(); ++f) {
        KIntArray& face = result.faces[f];
        face.resize(static_cast<size_t>(mesh.counts[f]));
        for (int k = 0; k < mesh.counts[f]; ++k)
            face[static_cast<size_t>(k)] = mesh.connects[corner++];
    }
    out.exchange(result);
    return MS::kSuccess;
}

MStatus Convert(KTriMesh& out, MObjectArray& meshes, MString* errorMessage) {
    const char* function = "Convert";
    KTriMesh merged;
    for (unsigned int i = 0; i < meshes.length(); ++i) {
        if (meshes[i].isNull())
            continue;
        MeshSource source;
        MStatus status = resolve(meshes[i], source, errorMessage, function);
        if (!status)
            return status;
        MFnMesh fn;
        if (!attach(source, fn))
            return fail(errorMessage, function, source.name + " is not a mesh.", MS::kInvalidParameter);
        if (fn.numVertices() == 0)
            continue;
        KTriMesh part;
        status = convertTriMesh(source, false, "", part, errorMessage, function);
        if (!status)
            return status;
        const int offset = merged.vertexCount();
        merged.positions.insert(merged.positions.end(), part.positions.begin(), part.positions.end());
        for (const KInt3& t : part.triangles)
            merged.triangles.push_back(KInt3{{t[0] + offset, t[1] + offset, t[2] + offset}});
    }
    std::swap(out, merged);
    return MS::kSuccess;
}

void Copy(MIntArray& out, const KIntArray& in) {
    out.setLength(static_cast<unsigned int>(in.size()));
    for (unsigned int i = 0; i < out.length(); ++i)
        out[i] = in[i];
}

void Copy(MPointArray& out, const KVectorArray& in) {
    out.setLength(static_cast<unsigned int>(in.size()));
    for (unsigned int i = 0; i < out.length(); ++i)
        out[i] = MPoint(in[i].x, in[i].y, in[i].z, 1.0);
}

MStatus GetMesh(KTriMesh& out, const char* nodeName, bool positionsOnly, const char* uvSetName,
                MString* errorMessage) {
    const char* function = "GetMesh";
    if (!nodeName || !*nodeName)
        return fail(errorMessage, function, "no mesh name.", MS::kInvalidParameter);
    MSelectionList list;
    if (!list.add(MString(nodeName)) || list.length() == 0)
        return fail(errorMessage, function, MString("no node named ") + nodeName + ".", MS::kNotFound);
    MeshSource source;
    source.name = nodeName;
    MDagPath path;
    if (!list.getDagPath(0, path) || !pathToMesh(path))
        return fail(errorMessage, function, source.name + " is not a mesh.", MS::kInvalidParameter);
    source.path = path;
    source.hasPath = true;
    return convertTriMesh(source, positionsOnly, uvSetName, out, errorMessage, function);
}

} // namespace Kelno
