// Data function sets of the host stand-in: mesh and string data, and MFnMesh.
#include "HostInternal.h"

#include <maya/MFloatArray.h>
#include <maya/MFnData.h>
#include <maya/MFnMesh.h>
#include <maya/MFnMeshData.h>
#include <maya/MFnNumericData.h>
#include <maya/MFnStringData.h>
#include <maya/MIntArray.h>
#include <maya/MPointArray.h>

#include <set>

using mhost::Data;
using mhost::MeshGeometry;
using mhost::Node;

namespace {
void setStatus(MStatus* st, MStatus v) {
    if (st)
        *st = v;
}
} // namespace

MFnData::MFnData() {}
MFnData::~MFnData() {}
MFn::Type MFnData::type() const { return MFn::kData; }
MFnNumericData::MFnNumericData() {}
MFnNumericData::~MFnNumericData() {}
MFn::Type MFnNumericData::type() const { return MFn::kNumericData; }

// ---- MFnMeshData ----------------------------------------------------------------------------

MFnMeshData::MFnMeshData() {}
MFnMeshData::MFnMeshData(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnMeshData::MFnMeshData(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnMeshData::~MFnMeshData() {}
MFn::Type MFnMeshData::type() const { return MFn::kMeshData; }
MObject MFnMeshData::create(MStatus* st) {
    fObject = MObject(std::make_shared<Data>(MFn::kMeshData));
    setStatus(st, MS::kSuccess);
    return fObject;
}

// ---- MFnStringData --------------------------------------------------------------------------

MFnStringData::MFnStringData() {}
MFnStringData::MFnStringData(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnStringData::MFnStringData(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnStringData::~MFnStringData() {}
MFn::Type MFnStringData::type() const { return MFn::kStringData; }
MObject MFnStringData::create(MStatus* st) { return create(MString(), st); }
MObject MFnStringData::create(const MString& str, MStatus* st) {
    auto d = std::make_shared<Data>(MFn::kStringData);
    d->string = str;
    fObject = MObject(d);
    setStatus(st, MS::kSuccess);
    return fObject;
}
MString MFnStringData::string(MStatus* st) const {
    Data* d = mhost::as<Data>(fObject);
    setStatus(st, d ? MS::kSuccess : MS::kFailure);
    return d ? d->string : MString();
}
MStatus MFnStringData::set(const MString& s) {
    Data* d = mhost::as<Data>(fObject);
    if (!d)
        return MS::kFailure;
    d->string = s;
    return MS::kSuccess;
}

// ---- MFnMesh --------------------------------------------------------------------------------

namespace {
// The geometry behind a mesh data object, or the current output of a mesh shape.
MeshGeometry* geometry(const MObject& o) {
    if (Data* d = mhost::as<Data>(o))
        return d->apiType == MFn::kMeshData ? &d->mesh : nullptr;
    Node* n = mhost::as<Node>(o);
    if (!n || !n->alive || !n->type->isShape)
        return nullptr;
    mhost::Attribute* out = n->type->findAttribute("outMesh");
    if (!out)
        return nullptr;
    mhost::evaluate(n, out);
    mhost::Value& v = n->slot(out);
    if (!v.data.hasFn(MFn::kMeshData)) {
        // A shape without geometry yet owns an empty mesh.
        v.data = MObject(std::make_shared<Data>(MFn::kMeshData));
    }
    return &mhost::as<Data>(v.data)->mesh;
}
} // namespace

MFnMesh::MFnMesh() {}
MFnMesh::MFnMesh(MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnMesh::MFnMesh(const MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnMesh::MFnMesh(const MDagPath& p, MStatus* st) { setStatus(st, MFnDagNode::setObject(p)); }
MFnMesh::~MFnMesh() {}
MFn::Type MFnMesh::type() const { return MFn::kMesh; }
MStatus MFnMesh::setObject(MObject& o) { return setObject(static_cast<const MObject&>(o)); }
MStatus MFnMesh::setObject(const MObject& o) {
    if (o.hasFn(MFn::kMeshData)) {
        fObject = o;
        return MS::kSuccess;
    }
    return MFnDagNode::setObject(o);
}

MObject MFnMesh::create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                        const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                        MObject parentOrOwner, MStatus* st) {
    bool valid = numVertices >= 0 && numPolygons >= 0 &&
                 static_cast<unsigned int>(numVertices) <= vertexArray.length() &&
                 static_cast<unsigned int>(numPolygons) <= polygonCounts.length();
    long long total = 0;
    for (int p = 0; valid && p < numPolygons; ++p) {
        if (polygonCounts[p] < 3)
            valid = false;
        total += polygonCounts[p];
    }
    valid = valid && total <= static_cast<long long>(polygonConnects.length());
    for (long long i = 0; valid && i < total; ++i)
        if (polygonConnects[static_cast<unsigned int>(i)] < 0 ||
            polygonConnects[static_cast<unsigned int>(i)] >= numVertices)
            valid = false;

    MeshGeometry mesh;
    if (valid) {
        for (int v = 0; v < numVertices; ++v)
            mesh.points.push_back(vertexArray[v]);
        for (int p = 0; p < numPolygons; ++p)
            mesh.counts.push_back(polygonCounts[p]);
        for (long long i = 0; i < total; ++i)
            mesh.connects.push_back(polygonConnects[static_cast<unsigned int>(i)]);
    }

    if (parentOrOwner.hasFn(MFn::kMeshData)) {
        Data* d = mhost::as<Data>(parentOrOwner);
        d->mesh = valid ? mesh : MeshGeometry();
        if (!valid) {
            setStatus(st, MS::kInvalidParameter);
            return MObject();
        }
        fObject = parentOrOwner;
        setStatus(st, MS::kSuccess);
        return parentOrOwner;
    }
    if (!valid) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    // A new shape, under the given transform or a new one.
    Node* parent = mhost::as<Node>(parentOrOwner);
    if (parent && (!parent->alive || !parentOrOwner.hasFn(MFn::kTransform))) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MStatus made;
    auto shape = mhost::createNode(mhost::findType("mesh"), "polySurfaceShape#", parent, &made);
    if (!shape) {
        setStatus(st, made);
        return MObject();
    }
    auto data = std::make_shared<Data>(MFn::kMeshData);
    data->mesh = mesh;
    mhost::Attribute* inMesh = shape->type->findAttribute("inMesh");
    shape->slot(inMesh).data = MObject(data);
    mhost::valueChanged(shape.get(), inMesh);
    MFnDagNode::setObject(shape->handle());
    setStatus(st, MS::kSuccess);
    return parent ? parentOrOwner : shape->parents[0]->handle();
}

MObject MFnMesh::create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                        const MIntArray& polygonCounts, const MIntArray& polygonConnects, const MFloatArray&,
                        const MFloatArray&, MObject parentOrOwner, MStatus* st) {
    return create(numVertices, numPolygons, vertexArray, polygonCounts, polygonConnects, parentOrOwner, st);
}

MStatus MFnMesh::copyInPlace(const MObject& source) {
    MeshGeometry* to = geometry(fObject);
    MeshGeometry* from = geometry(source);
    if (!to || !from)
        return MS::kInvalidParameter;
    *to = *from;
    return MS::kSuccess;
}

int MFnMesh::numVertices(MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    return g ? static_cast<int>(g->points.size()) : 0;
}
int MFnMesh::numPolygons(MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    return g ? static_cast<int>(g->counts.size()) : 0;
}
int MFnMesh::numFaceVertices(MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    return g ? static_cast<int>(g->connects.size()) : 0;
}
int MFnMesh::numEdges(MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    if (!g)
        return 0;
    std::set<std::pair<int, int>> edges;
    size_t offset = 0;
    for (int count : g->counts) {
        for (int i = 0; i < count; ++i) {
            int a = g->connects[offset + i], b = g->connects[offset + (i + 1) % count];
            edges.insert(std::make_pair(std::min(a, b), std::max(a, b)));
        }
        offset += count;
    }
    return static_cast<int>(edges.size());
}
int MFnMesh::polygonVertexCount(int polygonId, MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    if (!g || polygonId < 0 || polygonId >= static_cast<int>(g->counts.size())) {
        setStatus(st, MS::kInvalidParameter);
        return 0;
    }
    setStatus(st, MS::kSuccess);
    return g->counts[polygonId];
}
MStatus MFnMesh::getPolygonVertices(int polygonId, MIntArray& vertexList) const {
    vertexList.clear();
    MeshGeometry* g = geometry(fObject);
    if (!g || polygonId < 0 || polygonId >= static_cast<int>(g->counts.size()))
        return MS::kInvalidParameter;
    size_t offset = 0;
    for (int p = 0; p < polygonId; ++p)
        offset += g->counts[p];
    for (int i = 0; i < g->counts[polygonId]; ++i)
        vertexList.append(g->connects[offset + i]);
    return MS::kSuccess;
}
MStatus MFnMesh::getVertices(MIntArray& vertexCount, MIntArray& vertexList) const {
    vertexCount.clear();
    vertexList.clear();
    MeshGeometry* g = geometry(fObject);
    if (!g)
        return MS::kFailure;
    for (int c : g->counts)
        vertexCount.append(c);
    for (int v : g->connects)
        vertexList.append(v);
    return MS::kSuccess;
}
MStatus MFnMesh::getPoints(MPointArray& vertexArray, MSpace::Space space) const {
    vertexArray.clear();
    MeshGeometry* g = geometry(fObject);
    if (!g)
        return MS::kFailure;
    MMatrix world;
    if (space == MSpace::kWorld) {
        MDagPath path;
        if (getPath(path))
            world = path.inclusiveMatrix();
    }
    for (const MPoint& p : g->points)
        vertexArray.append(space == MSpace::kWorld ? p * world : p);
    return MS::kSuccess;
}
MStatus MFnMesh::setPoints(MPointArray& vertexArray, MSpace::Space) {
    MeshGeometry* g = geometry(fObject);
    if (!g || vertexArray.length() != g->points.size())
        return MS::kInvalidParameter;
    for (unsigned int i = 0; i < vertexArray.length(); ++i)
        g->points[i] = vertexArray[i];
    return MS::kSuccess;
}
MStatus MFnMesh::getPoint(int vertexId, MPoint& pos, MSpace::Space space) const {
    MPointArray all;
    MStatus st = getPoints(all, space);
    if (!st || vertexId < 0 || static_cast<unsigned int>(vertexId) >= all.length())
        return MS::kInvalidParameter;
    pos = all[static_cast<unsigned int>(vertexId)];
    return MS::kSuccess;
}
MStatus MFnMesh::setPoint(int vertexId, const MPoint& pos, MSpace::Space) {
    MeshGeometry* g = geometry(fObject);
    if (!g || vertexId < 0 || vertexId >= static_cast<int>(g->points.size()))
        return MS::kInvalidParameter;
    g->points[vertexId] = pos;
    return MS::kSuccess;
}
MStatus MFnMesh::updateSurface() { return MS::kSuccess; }
