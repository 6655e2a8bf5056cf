// Node function sets, DAG paths and the user-node base class of the host stand-in.
#include "HostInternal.h"

#include <maya/MDagPath.h>
#include <maya/MFnBase.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MPlug.h>
#include <maya/MPlugArray.h>
#include <maya/MPxNode.h>

#include <algorithm>
#include <cmath>

using mhost::nodeOf;
using mhost::setStatus;

using mhost::Attribute;
using mhost::Node;

// ---- MFnBase --------------------------------------------------------------------------------

MFnBase::MFnBase() {}
MFnBase::~MFnBase() {}
MFn::Type MFnBase::type() const { return MFn::kBase; }
bool MFnBase::hasObj(MFn::Type tp) const { return mhost::isA(type(), tp); }
bool MFnBase::hasObj(const MObject& obj) const { return obj.hasFn(type()); }
MObject MFnBase::object(MStatus* st) const {
    setStatus(st, fObject.isNull() ? MS::kFailure : MS::kSuccess);
    return fObject;
}
MStatus MFnBase::setObject(MObject& o) { return _attach(o); }
MStatus MFnBase::setObject(const MObject& o) { return _attach(o); }
MStatus MFnBase::_attach(const MObject& o) {
    if (!o.hasFn(type())) {
        fObject = MObject();
        return MS::kInvalidParameter;
    }
    fObject = o;
    return MS::kSuccess;
}

// ---- MFnDependencyNode ----------------------------------------------------------------------

MFnDependencyNode::MFnDependencyNode() {}
MFnDependencyNode::MFnDependencyNode(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnDependencyNode::MFnDependencyNode(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnDependencyNode::~MFnDependencyNode() {}
MFn::Type MFnDependencyNode::type() const { return MFn::kDependencyNode; }
MStatus MFnDependencyNode::setObject(MObject& o) { return _attach(o); }
MStatus MFnDependencyNode::setObject(const MObject& o) { return _attach(o); }

MObject MFnDependencyNode::create(const MTypeId& id, MStatus* st) { return create(id, MString(), st); }
MObject MFnDependencyNode::create(const MTypeId& id, const MString& name, MStatus* st) {
    mhost::NodeType* t = mhost::findType(id.id());
    if (!t) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    auto n = mhost::createNode(t, name.asChar(), nullptr, st);
    if (!n)
        return MObject();
    fObject = n->handle();
    return fObject;
}
MObject MFnDependencyNode::create(const MString& type, MStatus* st) { return create(type, MString(), st); }
MObject MFnDependencyNode::create(const MString& type, const MString& name, MStatus* st) {
    mhost::NodeType* t = mhost::findType(type.asChar());
    if (!t) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    return create(MTypeId(t->id), name, st);
}
MTypeId MFnDependencyNode::typeId(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? MTypeId(n->type->id) : MTypeId();
}
MString MFnDependencyNode::typeName(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? MString(n->type->name.c_str()) : MString();
}
MString MFnDependencyNode::name(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? MString(n->name.c_str()) : MString();
}
MString MFnDependencyNode::setName(const MString& name, bool, MStatus* st) {
    Node* n = nodeOf(fObject);
    if (!n || name.length() == 0) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    n->name = mhost::uniqueName(name.asChar(), n);
    setStatus(st, MS::kSuccess);
    return MString(n->name.c_str());
}
MStatus MFnDependencyNode::getConnections(MPlugArray& array) const {
    array.clear();
    Node* n = nodeOf(fObject);
    if (!n)
        return MS::kFailure;
    std::vector<Attribute*> seen;
    auto add = [&](Attribute* a) {
        if (std::find(seen.begin(), seen.end(), a) == seen.end()) {
            seen.push_back(a);
            array.append(MPlug(fObject, MObject(a->shared_from_this())));
        }
    };
    for (const auto& in : n->inputs)
        add(in.first.first);
    for (const auto& out : n->outputs)
        add(out.first.first);
    return MS::kSuccess;
}
unsigned int MFnDependencyNode::attributeCount(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? static_cast<unsigned int>(n->type->attributes.size()) : 0u;
}
MObject MFnDependencyNode::attribute(unsigned int i, MStatus* st) const {
    Node* n = nodeOf(fObject);
    if (!n || i >= n->type->attributes.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return MObject(n->type->attributes[i]);
}
MObject MFnDependencyNode::attribute(const MString& attrName, MStatus* st) const {
    Node* n = nodeOf(fObject);
    Attribute* a = n ? n->type->findAttribute(attrName.asChar()) : nullptr;
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? MObject(a->shared_from_this()) : MObject();
}
bool MFnDependencyNode::hasAttribute(const MString& name, MStatus* st) const {
    MStatus s;
    attribute(name, &s);
    setStatus(st, MS::kSuccess);
    return bool(s);
}
MPlug MFnDependencyNode::findPlug(const MObject& attr, bool, MStatus* st) const {
    Node* n = nodeOf(fObject);
    Attribute* a = mhost::as<Attribute>(attr);
    if (!n || !a || !a->owner || a->owner != n->type) {
        setStatus(st, MS::kInvalidParameter);
        return MPlug();
    }
    setStatus(st, MS::kSuccess);
    return MPlug(fObject, attr);
}
MPlug MFnDependencyNode::findPlug(const MString& attrName, bool wantNetworked, MStatus* st) const {
    MStatus s;
    MObject a = attribute(attrName, &s);
    if (!s) {
        setStatus(st, MS::kInvalidParameter);
        return MPlug();
    }
    return findPlug(a, wantNetworked, st);
}
MPlug MFnDependencyNode::findPlug(const MObject& attr, MStatus* st) const { return findPlug(attr, true, st); }
MPlug MFnDependencyNode::findPlug(const MString& attrName, MStatus* st) const {
    return findPlug(attrName, true, st);
}
MPxNode* MFnDependencyNode::userNode(MStatus* st) const {
    Node* n = nodeOf(fObject);
    MPxNode* u = (n && !n->type->plugin.empty()) ? n->user : nullptr;
    setStatus(st, u ? MS::kSuccess : MS::kFailure);
    return u;
}
bool MFnDependencyNode::isFromReferencedFile(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return false;
}
bool MFnDependencyNode::isLocked(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return false;
}
bool MFnDependencyNode::isShared(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return false;
}
bool MFnDependencyNode::isDefaultNode(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    Node* n = nodeOf(fObject);
    return n && n == mhost::session().timeNode;
}
MString MFnDependencyNode::classification(const MString& nodeTypeName) {
    mhost::NodeType* t = mhost::findType(nodeTypeName.asChar());
    return t ? MString(t->classification.c_str()) : MString();
}

// ---- MDagPath -------------------------------------------------------------------------------

MDagPath::MDagPath() {}
MDagPath::MDagPath(const MDagPath& o) : fNodes(o.fNodes) {}
MDagPath::~MDagPath() {}
MDagPath& MDagPath::operator=(const MDagPath& o) {
    fNodes = o.fNodes;
    return *this;
}
bool MDagPath::operator==(const MDagPath& o) const { return fNodes == o.fNodes; }
MStatus MDagPath::getAPathTo(const MObject& node, MDagPath& path) {
    path.fNodes.clear();
    Node* n = nodeOf(node);
    if (!n || !n->type->isDag)
        return MS::kInvalidParameter;
    for (Node* p = n; p; p = p->parents.empty() ? nullptr : p->parents[0])
        path.fNodes.insert(path.fNodes.begin(), p->handle());
    return MS::kSuccess;
}
bool MDagPath::hasFn(MFn::Type type, MStatus* st) const { return node(st).hasFn(type); }
MFn::Type MDagPath::apiType(MStatus* st) const { return node(st).apiType(); }
bool MDagPath::isValid(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    if (fNodes.empty())
        return false;
    for (const MObject& o : fNodes)
        if (o.isNull())
            return false;
    return true;
}
MObject MDagPath::node(MStatus* st) const {
    if (!isValid()) {
        setStatus(st, MS::kFailure);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return fNodes.back();
}
MObject MDagPath::transform(MStatus* st) const {
    for (auto it = fNodes.rbegin(); it != fNodes.rend(); ++it)
        if (it->hasFn(MFn::kTransform)) {
            setStatus(st, MS::kSuccess);
            return *it;
        }
    setStatus(st, MS::kInvalidParameter);
    return MObject();
}
unsigned int MDagPath::length(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    // The world is not counted; a transform directly under it has length 1.
    return static_cast<unsigned int>(fNodes.size());
}
MStatus MDagPath::extendToShape() {
    Node* n = nodeOf(node());
    if (!n)
        return MS::kFailure;
    if (n->type->isShape)
        return MS::kSuccess;
    std::vector<Node*> shapes;
    for (Node* c : n->children)
        if (c->type->isShape && !MFnDagNode(c->handle()).isIntermediateObject())
            shapes.push_back(c);
    if (shapes.size() != 1)
        return MS::kFailure;
    fNodes.push_back(shapes[0]->handle());
    return MS::kSuccess;
}
MStatus MDagPath::push(const MObject& child) {
    Node* n = nodeOf(node());
    Node* c = nodeOf(child);
    if (!n || !c || std::find(n->children.begin(), n->children.end(), c) == n->children.end())
        return MS::kInvalidParameter;
    fNodes.push_back(child);
    return MS::kSuccess;
}
MStatus MDagPath::pop(unsigned int num) {
    if (num > fNodes.size())
        return MS::kInvalidParameter;
    fNodes.resize(fNodes.size() - num);
    return MS::kSuccess;
}
unsigned int MDagPath::childCount(MStatus* st) const {
    Node* n = nodeOf(node(st));
    return n ? static_cast<unsigned int>(n->children.size()) : 0u;
}
MObject MDagPath::child(unsigned int i, MStatus* st) const {
    Node* n = nodeOf(node());
    if (!n || i >= n->children.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return n->children[i]->handle();
}
MString MDagPath::fullPathName(MStatus* st) const {
    if (!isValid()) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    setStatus(st, MS::kSuccess);
    std::string path;
    for (const MObject& o : fNodes)
        path += "|" + nodeOf(o)->name;
    return MString(path.c_str());
}
MString MDagPath::partialPathName(MStatus* st) const {
    // Node names are unique in the stand-in, so the shortest unique path is the node's name.
    if (!isValid()) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    setStatus(st, MS::kSuccess);
    return MString(nodeOf(fNodes.back())->name.c_str());
}

namespace {
MMatrix localMatrix(Node* n) {
    MMatrix m;
    if (!n->type->isDag || n->type->isShape)
        return m;
    auto number = [n](const char* attrName, int c, double fallback) {
        Attribute* a = n->type->findAttribute(attrName);
        if (!a)
            return fallback;
        mhost::evaluate(n, a);
        return n->slot(a).getNumber(a, c);
    };
    double t[3], r[3], s[3];
    for (int c = 0; c < 3; ++c) {
        t[c] = number("translate", c, 0.0);
        r[c] = number("rotate", c, 0.0);
        s[c] = number("scale", c, 1.0);
    }
    MMatrix S, RX, RY, RZ, T;
    S[0][0] = s[0];
    S[1][1] = s[1];
    S[2][2] = s[2];
    RX[1][1] = std::cos(r[0]);
    RX[1][2] = std::sin(r[0]);
    RX[2][1] = -std::sin(r[0]);
    RX[2][2] = std::cos(r[0]);
    RY[0][0] = std::cos(r[1]);
    RY[0][2] = -std::sin(r[1]);
    RY[2][0] = std::sin(r[1]);
    RY[2][2] = std::cos(r[1]);
    RZ[0][0] = std::cos(r[2]);
    RZ[0][1] = std::sin(r[2]);
    RZ[1][0] = -std::sin(r[2]);
    RZ[1][1] = std::cos(r[2]);
    T[3][0] = t[0];
    T[3][1] = t[1];
    T[3][2] = t[2];
    return S * RX * RY * RZ * T;
}
} // namespace

MMatrix MDagPath::inclusiveMatrix(MStatus* st) const {
    MMatrix m;
    if (!isValid()) {
        setStatus(st, MS::kFailure);
        return m;
    }
    setStatus(st, MS::kSuccess);
    for (auto it = fNodes.rbegin(); it != fNodes.rend(); ++it)
        m = m * localMatrix(nodeOf(*it));
    return m;
}
MMatrix MDagPath::exclusiveMatrix(MStatus* st) const {
    MDagPath parent(*this);
    parent.pop();
    return parent.fNodes.empty() ? MMatrix() : parent.inclusiveMatrix(st);
}

// ---- MFnDagNode -----------------------------------------------------------------------------

MFnDagNode::MFnDagNode() {}
MFnDagNode::MFnDagNode(MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnDagNode::MFnDagNode(const MObject& o, MStatus* st) { setStatus(st, setObject(o)); }
MFnDagNode::MFnDagNode(const MDagPath& p, MStatus* st) { setStatus(st, setObject(p)); }
MFnDagNode::~MFnDagNode() {}
MFn::Type MFnDagNode::type() const { return MFn::kDagNode; }
MStatus MFnDagNode::setObject(MObject& o) { return setObject(static_cast<const MObject&>(o)); }
MStatus MFnDagNode::setObject(const MObject& o) {
    MStatus st = _attach(o);
    if (st)
        MDagPath::getAPathTo(o, fPath);
    else
        fPath = MDagPath();
    return st;
}
MStatus MFnDagNode::setObject(const MDagPath& p) {
    MStatus st = _attach(p.node());
    fPath = st ? p : MDagPath();
    return st;
}
MObject MFnDagNode::create(const MTypeId& id, const MObject& parent, MStatus* st) {
    return create(id, MString(), parent, st);
}
MObject MFnDagNode::create(const MTypeId& id, const MString& name, const MObject& parent, MStatus* st) {
    mhost::NodeType* t = mhost::findType(id.id());
    if (!t || !t->isDag) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    auto n = mhost::createNode(t, name.asChar(), nodeOf(parent), st);
    if (!n)
        return MObject();
    setObject(n->handle());
    return fObject;
}
MObject MFnDagNode::create(const MString& type, const MObject& parent, MStatus* st) {
    return create(type, MString(), parent, st);
}
MObject MFnDagNode::create(const MString& type, const MString& name, const MObject& parent, MStatus* st) {
    mhost::NodeType* t = mhost::findType(type.asChar());
    if (!t) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    return create(MTypeId(t->id), name, parent, st);
}
unsigned int MFnDagNode::parentCount(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? static_cast<unsigned int>(n->parents.size()) : 0u;
}
MObject MFnDagNode::parent(unsigned int i, MStatus* st) const {
    Node* n = nodeOf(fObject);
    if (!n || i >= n->parents.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return n->parents[i]->handle();
}
MStatus MFnDagNode::addChild(MObject& child, unsigned int index, bool keepExistingParents) {
    Node* n = nodeOf(fObject);
    Node* c = nodeOf(child);
    if (!n || !c || !c->type->isDag || n->type->isShape || c == n)
        return MS::kInvalidParameter;
    if (!keepExistingParents) {
        for (Node* p : c->parents)
            p->children.erase(std::remove(p->children.begin(), p->children.end(), c), p->children.end());
        c->parents.clear();
    }
    if (index >= n->children.size())
        n->children.push_back(c);
    else
        n->children.insert(n->children.begin() + index, c);
    c->parents.push_back(n);
    return MS::kSuccess;
}
MStatus MFnDagNode::removeChild(MObject& child) {
    Node* n = nodeOf(fObject);
    Node* c = nodeOf(child);
    if (!n || !c)
        return MS::kInvalidParameter;
    auto it = std::find(n->children.begin(), n->children.end(), c);
    if (it == n->children.end())
        return MS::kInvalidParameter;
    n->children.erase(it);
    c->parents.erase(std::remove(c->parents.begin(), c->parents.end(), n), c->parents.end());
    return MS::kSuccess;
}
unsigned int MFnDagNode::childCount(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? static_cast<unsigned int>(n->children.size()) : 0u;
}
MObject MFnDagNode::child(unsigned int i, MStatus* st) const {
    Node* n = nodeOf(fObject);
    if (!n || i >= n->children.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return n->children[i]->handle();
}
bool MFnDagNode::hasChild(const MObject& node, MStatus* st) const {
    Node* n = nodeOf(fObject);
    Node* c = nodeOf(node);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n && c && std::find(n->children.begin(), n->children.end(), c) != n->children.end();
}
MStatus MFnDagNode::getPath(MDagPath& path) const {
    path = fPath;
    return fPath.isValid() ? MS::kSuccess : MS::kFailure;
}
MDagPath MFnDagNode::dagPath(MStatus* st) const {
    setStatus(st, fPath.isValid() ? MS::kSuccess : MS::kFailure);
    return fPath;
}
MString MFnDagNode::fullPathName(MStatus* st) const { return fPath.fullPathName(st); }
MString MFnDagNode::partialPathName(MStatus* st) const { return fPath.partialPathName(st); }
bool MFnDagNode::isIntermediateObject(MStatus* st) const {
    Node* n = nodeOf(fObject);
    mhost::Attribute* a = n ? n->type->findAttribute("intermediateObject") : nullptr;
    setStatus(st, n ? MS::kSuccess : MS::kInvalidParameter);
    if (!a)
        return false;
    mhost::evaluate(n, a);
    return n->slot(a).getNumber(a, 0) != 0.0;
}
MStatus MFnDagNode::setIntermediateObject(bool isIntermediate) {
    Node* n = nodeOf(fObject);
    mhost::Attribute* a = n ? n->type->findAttribute("intermediateObject") : nullptr;
    if (!a)
        return MS::kInvalidParameter;
    n->slot(a).setNumber(a, 0, isIntermediate ? 1.0 : 0.0);
    mhost::valueChanged(n, a);
    return MS::kSuccess;
}
MMatrix MFnDagNode::transformationMatrix(MStatus* st) const {
    Node* n = nodeOf(fObject);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n ? localMatrix(n) : MMatrix();
}

// ---- MPxNode --------------------------------------------------------------------------------

MObject MPxNode::message;
MObject MPxNode::isHistoricallyInteresting;
MObject MPxNode::caching;
MObject MPxNode::state;
MObject MPxNode::frozen;

MPxNode::MPxNode() : instance(nullptr) {}
MPxNode::~MPxNode() {}
void MPxNode::postConstructor() {}
MStatus MPxNode::compute(const MPlug&, MDataBlock&) { return MS::kUnknownParameter; }
MPxNode::Type MPxNode::type() const {
    Node* n = mhost::NodeAccess::node(this);
    return n ? n->type->kind : kDependNode;
}
bool MPxNode::isAbstractClass() const { return false; }
MStatus MPxNode::setDependentsDirty(const MPlug&, MPlugArray&) { return MS::kSuccess; }
MTypeId MPxNode::typeId() const {
    Node* n = mhost::NodeAccess::node(this);
    return n ? MTypeId(n->type->id) : MTypeId();
}
MString MPxNode::typeName() const {
    Node* n = mhost::NodeAccess::node(this);
    return n ? MString(n->type->name.c_str()) : MString();
}
MString MPxNode::name() const {
    Node* n = mhost::NodeAccess::node(this);
    return n ? MString(n->name.c_str()) : MString();
}
MObject MPxNode::thisMObject() const {
    Node* n = mhost::NodeAccess::node(this);
    return n ? n->handle() : MObject();
}

MStatus MPxNode::addAttribute(const MObject& attr) {
    mhost::NodeType* t = mhost::session().initializing;
    Attribute* a = mhost::as<Attribute>(attr);
    if (!t || !a || a->parent || a->owner)
        return MS::kFailure;
    if (t->findAttribute(a->name) || t->findAttribute(a->shortName))
        return MS::kFailure;
    a->owner = t;
    t->attributes.push_back(std::static_pointer_cast<Attribute>(a->shared_from_this()));
    for (auto& c : a->children) {
        c->owner = t;
        t->attributes.push_back(c);
    }
    return MS::kSuccess;
}
MStatus MPxNode::inheritAttributesFrom(const MString&) { return MS::kNotImplemented; }
MStatus MPxNode::attributeAffects(const MObject& whenChanges, const MObject& isAffected) {
    mhost::NodeType* t = mhost::session().initializing;
    Attribute* a = mhost::as<Attribute>(whenChanges);
    Attribute* b = mhost::as<Attribute>(isAffected);
    if (!t || !a || !b || a->owner != t || b->owner != t)
        return MS::kFailure;
    auto& list = t->affects[a->storage()];
    if (std::find(list.begin(), list.end(), b->storage()) == list.end())
        list.push_back(b->storage());
    return MS::kSuccess;
}
