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
#include <maya/MStringArray.h>

#include <set>

using mhost::setStatus;

using mhost::Data;
using mhost::MeshGeometry;
using mhost::Node;

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

// Puts a built mesh where create and copy put it: into a mesh data owner, or into a new shape
// under the given transform or under a new transform (the null object).
MObject placeMesh(MFnMesh& fn, const MeshGeometry& mesh, MObject parentOrOwner, MStatus* st) {
    if (parentOrOwner.hasFn(MFn::kMeshData)) {
        mhost::as<Data>(parentOrOwner)->mesh = mesh;
        fn.setObject(parentOrOwner);
        setStatus(st, MS::kSuccess);
        return parentOrOwner;
    }
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
    fn.setObject(shape->handle());
    setStatus(st, MS::kSuccess);
    // Under a given transform the new shape is returned; otherwise the transform made for it.
    return parent ? shape->handle() : shape->parents[0]->handle();
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
    mesh.uvSets.push_back(mhost::UVSetData());
    mesh.uvSets[0].name = "map1";
    mesh.currentUVSet = 0;
    if (valid) {
        for (int v = 0; v < numVertices; ++v)
            mesh.points.push_back(vertexArray[v]);
        for (int p = 0; p < numPolygons; ++p)
            mesh.counts.push_back(polygonCounts[p]);
        for (long long i = 0; i < total; ++i)
            mesh.connects.push_back(polygonConnects[static_cast<unsigned int>(i)]);
    }

    if (!valid) {
        // A data owner is left empty.
        if (parentOrOwner.hasFn(MFn::kMeshData))
            mhost::as<Data>(parentOrOwner)->mesh = MeshGeometry();
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    return placeMesh(*this, mesh, parentOrOwner, st);
}

MObject MFnMesh::create(int numVertices, int numPolygons, const MPointArray& vertexArray,
                        const MIntArray& polygonCounts, const MIntArray& polygonConnects,
                        const MFloatArray& uArray, const MFloatArray& vArray, MObject parentOrOwner,
                        MStatus* st) {
    if (uArray.length() != vArray.length()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MStatus made;
    MObject result =
        create(numVertices, numPolygons, vertexArray, polygonCounts, polygonConnects, parentOrOwner, &made);
    setStatus(st, made);
    if (made)
        setUVs(uArray, vArray);
    return result;
}

MObject MFnMesh::copy(const MObject& source, MObject parentOrOwner, MStatus* st) {
    MeshGeometry* from = geometry(source);
    if (!from) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    // Copied first: the owner may hold the source itself.
    const MeshGeometry mesh = *from;
    return placeMesh(*this, mesh, parentOrOwner, st);
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

// ---- triangulation ---------------------------------------------------------------------------

namespace {
struct D3 {
    double x, y, z;
};
D3 sub(const MPoint& a, const MPoint& b) { return D3{a.x - b.x, a.y - b.y, a.z - b.z}; }
D3 cross(const D3& a, const D3& b) {
    return D3{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dot(const D3& a, const D3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// Corner triples (indices within the face) of one face of n corners; see MFnMesh.h.
void triangulateFace(const std::vector<MPoint>& points, const int* face, int n, std::vector<int>& out) {
    auto P = [&](int corner) -> const MPoint& { return points[face[corner]]; };
    D3 normal{0, 0, 0};
    for (int i = 0; i < n; ++i) {
        const MPoint& a = P(i);
        const MPoint& b = P((i + 1) % n);
        normal.x += (a.y - b.y) * (a.z + b.z);
        normal.y += (a.z - b.z) * (a.x + b.x);
        normal.z += (a.x - b.x) * (a.y + b.y);
    }
    const bool flat = dot(normal, normal) <= 1e-40;
    std::vector<int> left(n);
    for (int i = 0; i < n; ++i)
        left[i] = i;
    auto isEar = [&](int prev, int ear, int next) {
        if (flat)
            return false;
        const MPoint &a = P(prev), &b = P(ear), &c = P(next);
        if (dot(cross(sub(b, a), sub(c, b)), normal) <= 0.0)
            return false; // reflex or collinear corner
        for (int k : left) {
            if (k == prev || k == ear || k == next)
                continue;
            const MPoint& p = P(k);
            if (dot(cross(sub(b, a), sub(p, a)), normal) >= 0.0 &&
                dot(cross(sub(c, b), sub(p, b)), normal) >= 0.0 &&
                dot(cross(sub(a, c), sub(p, c)), normal) >= 0.0)
                return false; // another corner inside or on the candidate
        }
        return true;
    };
    while (left.size() > 3) {
        const int m = static_cast<int>(left.size());
        int chosen = 1; // no clean ear: fan from the first corner still left
        for (int step = 0; step < m; ++step) {
            const int i = (1 + step) % m;
            if (isEar(left[(i + m - 1) % m], left[i], left[(i + 1) % m])) {
                chosen = i;
                break;
            }
        }
        out.push_back(left[(chosen + m - 1) % m]);
        out.push_back(left[chosen]);
        out.push_back(left[(chosen + 1) % m]);
        left.erase(left.begin() + chosen);
    }
    if (left.size() == 3)
        out.insert(out.end(), left.begin(), left.end());
}
} // namespace

MStatus MFnMesh::getTriangles(MIntArray& triangleCounts, MIntArray& triangleVertices) const {
    triangleCounts.clear();
    triangleVertices.clear();
    MeshGeometry* g = geometry(fObject);
    if (!g)
        return MS::kFailure;
    size_t offset = 0;
    std::vector<int> corners;
    for (int count : g->counts) {
        corners.clear();
        triangulateFace(g->points, &g->connects[offset], count, corners);
        triangleCounts.append(static_cast<int>(corners.size() / 3));
        for (int c : corners)
            triangleVertices.append(g->connects[offset + c]);
        offset += count;
    }
    return MS::kSuccess;
}

// ---- UV sets -----------------------------------------------------------------------------------

namespace {
mhost::UVSetData* findUVSet(MeshGeometry* g, const MString* name) {
    if (!g)
        return nullptr;
    if (!name)
        return g->currentUVSet >= 0 && g->currentUVSet < static_cast<int>(g->uvSets.size())
                   ? &g->uvSets[g->currentUVSet]
                   : nullptr;
    for (mhost::UVSetData& set : g->uvSets)
        if (set.name == name->asChar())
            return &set;
    return nullptr;
}
} // namespace

int MFnMesh::numUVSets(MStatus* st) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    return g ? static_cast<int>(g->uvSets.size()) : 0;
}
MStatus MFnMesh::getUVSetNames(MStringArray& setNames) const {
    setNames.clear();
    MeshGeometry* g = geometry(fObject);
    if (!g)
        return MS::kFailure;
    for (const mhost::UVSetData& set : g->uvSets)
        setNames.append(MString(set.name.c_str()));
    return MS::kSuccess;
}
MString MFnMesh::currentUVSetName(MStatus* st, int) const {
    MeshGeometry* g = geometry(fObject);
    setStatus(st, g ? MS::kSuccess : MS::kFailure);
    mhost::UVSetData* set = findUVSet(g, nullptr);
    return set ? MString(set->name.c_str()) : MString();
}
MStatus MFnMesh::setCurrentUVSetName(const MString& setName, MDGModifier*, int) {
    MeshGeometry* g = geometry(fObject);
    mhost::UVSetData* set = findUVSet(g, &setName);
    if (!set)
        return MS::kInvalidParameter;
    g->currentUVSet = static_cast<int>(set - g->uvSets.data());
    return MS::kSuccess;
}
MString MFnMesh::createUVSetWithName(const MString& setName, MDGModifier*, MStatus* st) {
    MeshGeometry* g = geometry(fObject);
    if (!g || setName.length() == 0) {
        setStatus(st, MS::kInvalidParameter);
        return MString();
    }
    std::string name = setName.asChar();
    for (int k = 1;; ++k) {
        MString candidate(name.c_str());
        if (!findUVSet(g, &candidate))
            break;
        name = std::string(setName.asChar()) + std::to_string(k);
    }
    g->uvSets.push_back(mhost::UVSetData());
    g->uvSets.back().name = name;
    if (g->currentUVSet < 0)
        g->currentUVSet = 0;
    setStatus(st, MS::kSuccess);
    return MString(name.c_str());
}
MStatus MFnMesh::createUVSet(MString& uvSetName, MDGModifier* modifier, const MIntArray*) {
    MStatus status;
    const MString name = createUVSetWithName(uvSetName, modifier, &status);
    if (status)
        uvSetName = name;
    return status;
}
MStatus MFnMesh::clearUVs(const MString* uvSet) {
    mhost::UVSetData* set = findUVSet(geometry(fObject), uvSet);
    if (!set)
        return MS::kInvalidParameter;
    set->u.clear();
    set->v.clear();
    set->ids.clear();
    return MS::kSuccess;
}
int MFnMesh::numUVs(MStatus* st) const {
    mhost::UVSetData* set = findUVSet(geometry(fObject), nullptr);
    setStatus(st, set ? MS::kSuccess : MS::kInvalidParameter);
    return set ? static_cast<int>(set->u.size()) : 0;
}
int MFnMesh::numUVs(const MString& uvSet, MStatus* st) const {
    mhost::UVSetData* set = findUVSet(geometry(fObject), &uvSet);
    setStatus(st, set ? MS::kSuccess : MS::kInvalidParameter);
    return set ? static_cast<int>(set->u.size()) : 0;
}
MStatus MFnMesh::getUVs(MFloatArray& uArray, MFloatArray& vArray, const MString* uvSet) const {
    uArray.clear();
    vArray.clear();
    mhost::UVSetData* set = findUVSet(geometry(fObject), uvSet);
    if (!set)
        return MS::kInvalidParameter;
    for (size_t i = 0; i < set->u.size(); ++i) {
        uArray.append(set->u[i]);
        vArray.append(set->v[i]);
    }
    return MS::kSuccess;
}
MStatus MFnMesh::setUVs(const MFloatArray& uArray, const MFloatArray& vArray, const MString* uvSet) {
    mhost::UVSetData* set = findUVSet(geometry(fObject), uvSet);
    if (!set || uArray.length() != vArray.length() || uArray.length() < set->u.size())
        return MS::kInvalidParameter;
    set->u.assign(uArray.length(), 0.0f);
    set->v.assign(vArray.length(), 0.0f);
    for (unsigned int i = 0; i < uArray.length(); ++i) {
        set->u[i] = uArray[i];
        set->v[i] = vArray[i];
    }
    return MS::kSuccess;
}
MStatus MFnMesh::assignUVs(const MIntArray& uvCounts, const MIntArray& uvIds, const MString* uvSet) {
    MeshGeometry* g = geometry(fObject);
    mhost::UVSetData* set = findUVSet(g, uvSet);
    if (!set || uvCounts.length() != g->counts.size())
        return MS::kInvalidParameter;
    std::vector<int> ids;
    ids.reserve(g->connects.size());
    unsigned int next = 0;
    for (size_t f = 0; f < g->counts.size(); ++f) {
        const int count = uvCounts[static_cast<unsigned int>(f)];
        if (count != 0 && count != g->counts[f])
            return MS::kInvalidParameter;
        for (int k = 0; k < g->counts[f]; ++k) {
            if (count == 0) {
                ids.push_back(-1);
                continue;
            }
            if (next >= uvIds.length() || uvIds[next] < 0 || uvIds[next] >= static_cast<int>(set->u.size()))
                return MS::kInvalidParameter;
            ids.push_back(uvIds[next++]);
        }
    }
    if (next != uvIds.length())
        return MS::kInvalidParameter;
    set->ids.swap(ids);
    return MS::kSuccess;
}
MStatus MFnMesh::getAssignedUVs(MIntArray& uvCounts, MIntArray& uvIds, const MString* uvSet) const {
    uvCounts.clear();
    uvIds.clear();
    MeshGeometry* g = geometry(fObject);
    mhost::UVSetData* set = findUVSet(g, uvSet);
    if (!set)
        return MS::kInvalidParameter;
    size_t offset = 0;
    for (int count : g->counts) {
        // A face has UVs only when every corner has one.
        bool mapped = set->ids.size() == g->connects.size();
        for (int k = 0; mapped && k < count; ++k)
            mapped = set->ids[offset + k] >= 0;
        uvCounts.append(mapped ? count : 0);
        for (int k = 0; mapped && k < count; ++k)
            uvIds.append(set->ids[offset + k]);
        offset += count;
    }
    return MS::kSuccess;
}
MStatus MFnMesh::getPolygonUVid(int polygonId, int vertexIndex, int& uvId, const MString* uvSet) const {
    MeshGeometry* g = geometry(fObject);
    mhost::UVSetData* set = findUVSet(g, uvSet);
    if (!set || polygonId < 0 || polygonId >= static_cast<int>(g->counts.size()) || vertexIndex < 0 ||
        vertexIndex >= g->counts[polygonId])
        return MS::kInvalidParameter;
    if (set->ids.size() != g->connects.size())
        return MS::kFailure;
    size_t offset = 0;
    for (int p = 0; p < polygonId; ++p)
        offset += g->counts[p];
    if (set->ids[offset + vertexIndex] < 0)
        return MS::kFailure;
    uvId = set->ids[offset + vertexIndex];
    return MS::kSuccess;
}
