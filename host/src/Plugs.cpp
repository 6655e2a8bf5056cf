// Plugs, data blocks and data handles of the host stand-in.
#include "HostInternal.h"

#include <maya/MArrayDataHandle.h>
#include <maya/MDataBlock.h>
#include <maya/MDataHandle.h>
#include <maya/MPlug.h>
#include <maya/MPlugArray.h>

using mhost::nodeOf;
using mhost::setStatus;

using mhost::Attribute;
using mhost::Node;
using mhost::PlugEnd;
using mhost::Value;

// ---- MPlug ----------------------------------------------------------------------------------

MPlug::MPlug() : fIndex(-1) {}
MPlug::MPlug(const MPlug& o) : fNode(o.fNode), fAttr(o.fAttr), fIndex(o.fIndex) {}
MPlug::MPlug(const MObject& node, const MObject& attribute) : fIndex(-1) {
    Node* n = nodeOf(node);
    Attribute* a = mhost::as<Attribute>(attribute);
    if (n && a && a->owner == n->type) {
        fNode = node;
        fAttr = attribute;
    }
}
MPlug::~MPlug() {}
MPlug& MPlug::operator=(const MPlug& o) {
    fNode = o.fNode;
    fAttr = o.fAttr;
    fIndex = o.fIndex;
    return *this;
}
bool MPlug::operator==(const MPlug& o) const {
    return fNode == o.fNode && fAttr == o.fAttr && fIndex == o.fIndex;
}
bool MPlug::operator==(const MObject& attr) const { return fAttr == attr; }
bool MPlug::operator!=(const MPlug& o) const { return !(*this == o); }
bool MPlug::operator!=(const MObject& attr) const { return !(*this == attr); }
bool MPlug::isNull(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return fNode.isNull() || fAttr.isNull();
}
MObject MPlug::attribute(MStatus* st) const {
    setStatus(st, isNull() ? MS::kFailure : MS::kSuccess);
    return fAttr;
}
MObject MPlug::node(MStatus* st) const {
    setStatus(st, isNull() ? MS::kFailure : MS::kSuccess);
    return fNode;
}
MString MPlug::name(MStatus* st) const {
    if (isNull()) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    setStatus(st, MS::kSuccess);
    return MString(nodeOf(fNode)->name.c_str()) + "." + partialName(false, false, false, false, false, true);
}
MString MPlug::partialName(bool includeNodeName, bool, bool, bool, bool useFullAttributePath,
                           bool useLongNames, MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (isNull() || !a) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    setStatus(st, MS::kSuccess);
    std::string s = useLongNames ? a->name : a->shortName;
    if (fIndex >= 0)
        s += "[" + std::to_string(fIndex) + "]";
    if (useFullAttributePath && a->parent)
        s = (useLongNames ? a->parent->name : a->parent->shortName) + "." + s;
    if (includeNodeName)
        s = nodeOf(fNode)->name + "." + s;
    return MString(s.c_str());
}
bool MPlug::isArray(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    setStatus(st, a ? MS::kSuccess : MS::kFailure);
    return a && a->array && fIndex < 0;
}
bool MPlug::isElement(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return fIndex >= 0;
}
bool MPlug::isCompound(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    setStatus(st, a ? MS::kSuccess : MS::kFailure);
    return a && !a->children.empty();
}
bool MPlug::isChild(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    setStatus(st, a ? MS::kSuccess : MS::kFailure);
    return a && a->parent;
}
unsigned int MPlug::numChildren(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    setStatus(st, a ? MS::kSuccess : MS::kFailure);
    return a ? static_cast<unsigned int>(a->children.size()) : 0u;
}
MPlug MPlug::child(unsigned int index, MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!a || index >= a->children.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MPlug();
    }
    setStatus(st, MS::kSuccess);
    return MPlug(fNode, MObject(a->children[index]));
}
MPlug MPlug::child(const MObject& attr, MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (a)
        for (unsigned int i = 0; i < a->children.size(); ++i)
            if (MObject(a->children[i]) == attr)
                return child(i, st);
    setStatus(st, MS::kInvalidParameter);
    return MPlug();
}
MPlug MPlug::parent(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!a || !a->parent) {
        setStatus(st, MS::kInvalidParameter);
        return MPlug();
    }
    setStatus(st, MS::kSuccess);
    return MPlug(fNode, MObject(a->parent->shared_from_this()));
}
unsigned int MPlug::logicalIndex(MStatus* st) const {
    setStatus(st, fIndex >= 0 ? MS::kSuccess : MS::kFailure);
    return fIndex >= 0 ? static_cast<unsigned int>(fIndex) : 0u;
}
MPlug MPlug::elementByLogicalIndex(unsigned int i, MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!a || !a->array || fIndex >= 0) {
        setStatus(st, MS::kFailure);
        return MPlug();
    }
    setStatus(st, MS::kSuccess);
    MPlug p(*this);
    p.fIndex = static_cast<int>(i);
    if (Node* n = nodeOf(fNode))
        n->slot(a, p.fIndex); // elements exist once asked for
    return p;
}
unsigned int MPlug::numElements(MStatus* st) const {
    Attribute* a = mhost::as<Attribute>(fAttr);
    Node* n = nodeOf(fNode);
    if (!a || !n || !a->array) {
        setStatus(st, MS::kFailure);
        return 0;
    }
    setStatus(st, MS::kSuccess);
    return static_cast<unsigned int>(n->slot(a).elements.size());
}
bool MPlug::isDestination(MStatus* st) const {
    Node* n = nodeOf(fNode);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n && n->inputs.count(std::make_pair(mhost::as<Attribute>(fAttr), fIndex)) != 0;
}
bool MPlug::isSource(MStatus* st) const {
    Node* n = nodeOf(fNode);
    setStatus(st, n ? MS::kSuccess : MS::kFailure);
    return n && n->outputs.count(std::make_pair(mhost::as<Attribute>(fAttr), fIndex)) != 0;
}
bool MPlug::isConnected(MStatus* st) const { return isDestination(st) || isSource(st); }
bool MPlug::connectedTo(MPlugArray& array, bool asDst, bool asSrc, MStatus* st) const {
    array.clear();
    Node* n = nodeOf(fNode);
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!n || !a) {
        setStatus(st, MS::kFailure);
        return false;
    }
    setStatus(st, MS::kSuccess);
    auto plugOf = [](const PlugEnd& e) {
        MPlug p(e.node->handle(), MObject(e.attr->shared_from_this()));
        return e.index >= 0 ? p.elementByLogicalIndex(static_cast<unsigned int>(e.index)) : p;
    };
    auto key = std::make_pair(a, fIndex);
    if (asDst) {
        auto in = n->inputs.find(key);
        if (in != n->inputs.end())
            array.append(plugOf(in->second));
    }
    if (asSrc) {
        auto out = n->outputs.find(key);
        if (out != n->outputs.end())
            for (const PlugEnd& e : out->second)
                array.append(plugOf(e));
    }
    return array.length() > 0;
}

namespace {
// The plug's value, evaluated.
Value* readSlot(const MObject& node, const MObject& attr, int index, Attribute** attrOut) {
    Node* n = nodeOf(node);
    Attribute* a = mhost::as<Attribute>(attr);
    if (!n || !a)
        return nullptr;
    mhost::evaluate(n, a);
    *attrOut = a;
    return &n->slot(a, index);
}
template <typename T> MStatus getNumber(const MObject& node, const MObject& attr, int index, T& out) {
    Attribute* a = nullptr;
    Value* v = readSlot(node, attr, index, &a);
    if (!v || a->kind == Attribute::Typed || a->kind == Attribute::Matrix || !a->children.empty())
        return MS::kFailure;
    out = static_cast<T>(v->getNumber(a, a->component()));
    return MS::kSuccess;
}
template <typename T> MStatus setNumber(const MObject& node, const MObject& attr, int index, T value) {
    Node* n = nodeOf(node);
    Attribute* a = mhost::as<Attribute>(attr);
    if (!n || !a || a->kind == Attribute::Typed || a->kind == Attribute::Matrix || !a->children.empty())
        return MS::kFailure;
    n->slot(a, index).setNumber(a, a->component(), static_cast<double>(value));
    mhost::valueChanged(n, a);
    return MS::kSuccess;
}
} // namespace

MStatus MPlug::getValue(MObject& val) const {
    Attribute* a = nullptr;
    Value* v = readSlot(fNode, fAttr, fIndex, &a);
    if (!v || a->kind != Attribute::Typed)
        return MS::kFailure;
    val = v->data;
    return MS::kSuccess;
}
MStatus MPlug::getValue(double& val) const { return getNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::getValue(float& val) const { return getNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::getValue(int& val) const { return getNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::getValue(short& val) const { return getNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::getValue(bool& val) const {
    double d = 0.0;
    MStatus st = getNumber(fNode, fAttr, fIndex, d);
    if (st)
        val = d != 0.0;
    return st;
}
MStatus MPlug::getValue(MString& val) const {
    Attribute* a = nullptr;
    Value* v = readSlot(fNode, fAttr, fIndex, &a);
    if (!v || a->kind != Attribute::Typed || a->dataType != MFnData::kString)
        return MS::kFailure;
    val = v->str;
    return MS::kSuccess;
}
MStatus MPlug::getValue(MTime& val) const {
    Attribute* a = nullptr;
    Value* v = readSlot(fNode, fAttr, fIndex, &a);
    if (!v || a->kind != Attribute::Unit || a->unitType != MFnUnitAttribute::kTime)
        return MS::kFailure;
    val = v->time;
    return MS::kSuccess;
}
MStatus MPlug::setValue(MObject& val) {
    Node* n = nodeOf(fNode);
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!n || !a || a->kind != Attribute::Typed)
        return MS::kFailure;
    if (a->dataType == MFnData::kString) {
        auto* d = mhost::as<mhost::Data>(val);
        if (!d)
            return MS::kInvalidParameter;
        n->slot(a, fIndex).str = d->string;
    } else {
        n->slot(a, fIndex).data = val;
    }
    mhost::valueChanged(n, a);
    return MS::kSuccess;
}
MStatus MPlug::setValue(double val) { return setNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::setValue(float val) { return setNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::setValue(int val) { return setNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::setValue(short val) { return setNumber(fNode, fAttr, fIndex, val); }
MStatus MPlug::setValue(bool val) { return setNumber(fNode, fAttr, fIndex, val ? 1 : 0); }
MStatus MPlug::setValue(const MString& val) {
    Node* n = nodeOf(fNode);
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!n || !a || a->kind != Attribute::Typed || a->dataType != MFnData::kString)
        return MS::kFailure;
    n->slot(a, fIndex).str = val;
    mhost::valueChanged(n, a);
    return MS::kSuccess;
}
MStatus MPlug::setValue(MTime& val) { return setMTime(val); }
MStatus MPlug::setMTime(const MTime& val) {
    Node* n = nodeOf(fNode);
    Attribute* a = mhost::as<Attribute>(fAttr);
    if (!n || !a || a->kind != Attribute::Unit || a->unitType != MFnUnitAttribute::kTime)
        return MS::kFailure;
    n->slot(a, fIndex).time = val;
    mhost::valueChanged(n, a);
    return MS::kSuccess;
}
bool MPlug::asBool(MStatus* st) const {
    bool v = false;
    setStatus(st, getValue(v));
    return v;
}
int MPlug::asInt(MStatus* st) const {
    int v = 0;
    setStatus(st, getValue(v));
    return v;
}
short MPlug::asShort(MStatus* st) const {
    short v = 0;
    setStatus(st, getValue(v));
    return v;
}
float MPlug::asFloat(MStatus* st) const {
    float v = 0;
    setStatus(st, getValue(v));
    return v;
}
double MPlug::asDouble(MStatus* st) const {
    double v = 0;
    setStatus(st, getValue(v));
    return v;
}
MString MPlug::asString(MStatus* st) const {
    MString v;
    setStatus(st, getValue(v));
    return v;
}
MObject MPlug::asMObject(MStatus* st) const {
    MObject v;
    setStatus(st, getValue(v));
    return v;
}
MTime MPlug::asMTime(MStatus* st) const {
    MTime v;
    setStatus(st, getValue(v));
    return v;
}

// ---- MDataBlock -----------------------------------------------------------------------------

MDataBlock::MDataBlock(mhost::Node* node) : fNode(node) {}
MDataBlock::~MDataBlock() {}

namespace {
Attribute* ownAttribute(Node* n, const MObject& attr) {
    Attribute* a = mhost::as<Attribute>(attr);
    return (n && a && a->owner == n->type) ? a : nullptr;
}
} // namespace

MDataHandle MDataBlock::inputValue(const MPlug& plug, MStatus* st) {
    return inputValue(plug.attribute(), st);
}
MDataHandle MDataBlock::inputValue(const MObject& attribute, MStatus* st) {
    Attribute* a = ownAttribute(fNode, attribute);
    if (!a) {
        setStatus(st, MS::kInvalidParameter);
        return MDataHandle();
    }
    mhost::evaluate(fNode, a);
    setStatus(st, MS::kSuccess);
    return MDataHandle(fNode, a, false);
}
MDataHandle MDataBlock::outputValue(const MPlug& plug, MStatus* st) {
    return outputValue(plug.attribute(), st);
}
MDataHandle MDataBlock::outputValue(const MObject& attribute, MStatus* st) {
    Attribute* a = ownAttribute(fNode, attribute);
    if (!a) {
        setStatus(st, MS::kInvalidParameter);
        return MDataHandle();
    }
    setStatus(st, MS::kSuccess);
    return MDataHandle(fNode, a, true);
}
MArrayDataHandle MDataBlock::inputArrayValue(const MPlug& plug, MStatus* st) {
    return inputArrayValue(plug.attribute(), st);
}
MArrayDataHandle MDataBlock::inputArrayValue(const MObject& attribute, MStatus* st) {
    Attribute* a = ownAttribute(fNode, attribute);
    if (!a || !a->array) {
        setStatus(st, MS::kInvalidParameter);
        return MArrayDataHandle(nullptr, nullptr, false);
    }
    mhost::evaluate(fNode, a);
    setStatus(st, MS::kSuccess);
    return MArrayDataHandle(fNode, a, false);
}
MArrayDataHandle MDataBlock::outputArrayValue(const MPlug& plug, MStatus* st) {
    return outputArrayValue(plug.attribute(), st);
}
MArrayDataHandle MDataBlock::outputArrayValue(const MObject& attribute, MStatus* st) {
    Attribute* a = ownAttribute(fNode, attribute);
    if (!a || !a->array) {
        setStatus(st, MS::kInvalidParameter);
        return MArrayDataHandle(nullptr, nullptr, false);
    }
    setStatus(st, MS::kSuccess);
    return MArrayDataHandle(fNode, a, true);
}
MStatus MDataBlock::setClean(const MPlug& plug) { return setClean(plug.attribute()); }
MStatus MDataBlock::setClean(const MObject& attribute) {
    Attribute* a = ownAttribute(fNode, attribute);
    if (!a)
        return MS::kInvalidParameter;
    fNode->dirty.erase(a->storage());
    return MS::kSuccess;
}
bool MDataBlock::isClean(const MObject& attribute, MStatus* st) {
    Attribute* a = ownAttribute(fNode, attribute);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a && !fNode->dirty.count(a->storage());
}
bool MDataBlock::isClean(const MPlug& plug) { return isClean(plug.attribute()); }

// ---- MDataHandle ----------------------------------------------------------------------------

MDataHandle::MDataHandle() : fNode(nullptr), fAttr(nullptr), fOutput(false), fIndex(-1) {}
MDataHandle::MDataHandle(mhost::Node* node, mhost::Attribute* attribute, bool output, int index)
    : fNode(node), fAttr(attribute), fOutput(output), fIndex(index) {}

namespace {
// Handles of an invalid data block read and write this scratch value (the host gives garbage).
Value& scratch() {
    static Value v;
    return v;
}
} // namespace

Value& MDataHandle::_value() const {
    if (!fNode || !fAttr)
        return scratch();
    return fNode->slot(fAttr, fIndex);
}

bool MDataHandle::isNumeric() const {
    return fAttr && (fAttr->kind == Attribute::Numeric || fAttr->kind == Attribute::Enum ||
                     fAttr->kind == Attribute::Unit);
}
bool MDataHandle::isGeneric(bool& numeric, bool& null) const {
    numeric = isNumeric();
    null = !fAttr;
    return false;
}
MFnData::Type MDataHandle::type() const {
    if (!fAttr)
        return MFnData::kInvalid;
    switch (fAttr->kind) {
    case Attribute::Typed:
        return fAttr->dataType;
    case Attribute::Matrix:
        return MFnData::kMatrix;
    default:
        return MFnData::kNumeric;
    }
}
MFnNumericData::Type MDataHandle::numericType() const {
    return fAttr && fAttr->kind == Attribute::Numeric ? fAttr->numericType : MFnNumericData::kInvalid;
}
MObject MDataHandle::data() { return _value().data; }
MStatus MDataHandle::copy(const MDataHandle& src) {
    if (!fAttr || !src.fAttr)
        return MS::kFailure;
    _value() = src._value();
    return MS::kSuccess;
}
MObject MDataHandle::attribute() { return fAttr ? MObject(fAttr->shared_from_this()) : MObject(); }

bool& MDataHandle::asBool() const {
    Value& v = _value();
    if (fAttr)
        v.b = v.getNumber(fAttr, fAttr->component()) != 0.0;
    return v.b;
}
short& MDataHandle::asShort() const {
    Value& v = _value();
    if (fAttr)
        v.sh[0] = static_cast<short>(v.getNumber(fAttr, fAttr->component()));
    return v.sh[0];
}
int& MDataHandle::asInt() const {
    Value& v = _value();
    if (fAttr)
        v.in[0] = static_cast<int>(v.getNumber(fAttr, fAttr->component()));
    return v.in[0];
}
float& MDataHandle::asFloat() const {
    Value& v = _value();
    if (fAttr)
        v.fl[0] = static_cast<float>(v.getNumber(fAttr, fAttr->component()));
    return v.fl[0];
}
double& MDataHandle::asDouble() const {
    Value& v = _value();
    if (fAttr)
        v.db[0] = v.getNumber(fAttr, fAttr->component());
    return v.db[0];
}
MTime MDataHandle::asTime() const {
    Value& v = _value();
    if (fAttr && fAttr->kind == Attribute::Unit && fAttr->unitType == MFnUnitAttribute::kTime)
        return v.time;
    return MTime(fAttr ? v.getNumber(fAttr, 0) : 0.0, MTime::uiUnit());
}
float2& MDataHandle::asFloat2() const { return reinterpret_cast<float2&>(asFloat3()); }
double2& MDataHandle::asDouble2() const { return reinterpret_cast<double2&>(asDouble3()); }
float3& MDataHandle::asFloat3() const {
    Value& v = _value();
    if (fAttr)
        for (int c = 0; c < 3; ++c)
            v.fl[c] = static_cast<float>(v.getNumber(fAttr, c));
    return v.fl;
}
double3& MDataHandle::asDouble3() const {
    Value& v = _value();
    if (fAttr)
        for (int c = 0; c < 3; ++c)
            v.db[c] = v.getNumber(fAttr, c);
    return v.db;
}
MVector& MDataHandle::asVector() const {
    static thread_local MVector vector;
    double3& d = asDouble3();
    vector = MVector(d[0], d[1], d[2]);
    return vector;
}
MMatrix& MDataHandle::asMatrix() const { return _value().matrix; }
MString& MDataHandle::asString() const { return _value().str; }
MObject MDataHandle::asMesh() const {
    Value& v = _value();
    return v.data.hasFn(MFn::kMeshData) ? v.data : MObject();
}
MObject MDataHandle::asMeshTransformed() const {
    MObject mesh = asMesh();
    auto* data = mhost::as<mhost::Data>(mesh);
    if (!data || !data->hasWorldMatrix)
        return mesh;
    auto world = std::make_shared<mhost::Data>(MFn::kMeshData);
    world->mesh = data->mesh;
    for (MPoint& p : world->mesh.points)
        p = p * data->worldMatrix;
    return MObject(world);
}
MObject MDataHandle::asNurbsCurve() const {
    Value& v = _value();
    return v.data.hasFn(MFn::kNurbsCurveData) ? v.data : MObject();
}
MObject MDataHandle::asNurbsCurveTransformed() const { return asNurbsCurve(); }

void MDataHandle::set(bool val) { set(val ? 1.0 : 0.0); }
void MDataHandle::set(short val) { set(static_cast<double>(val)); }
void MDataHandle::set(int val) { set(static_cast<double>(val)); }
void MDataHandle::set(float val) { set(static_cast<double>(val)); }
void MDataHandle::set(double val) {
    if (fAttr)
        _value().setNumber(fAttr, fAttr->component(), val);
}
void MDataHandle::set(const MMatrix& val) { _value().matrix = val; }
void MDataHandle::set(const MVector& val) { set(val.x, val.y, val.z); }
void MDataHandle::set(const MString& val) { _value().str = val; }
void MDataHandle::set(const MTime& val) { _value().time = val; }
void MDataHandle::set(float a, float b) { set(static_cast<double>(a), static_cast<double>(b)); }
void MDataHandle::set(double a, double b) {
    if (!fAttr)
        return;
    _value().setNumber(fAttr, 0, a);
    _value().setNumber(fAttr, 1, b);
}
void MDataHandle::set(float a, float b, float c) {
    set(static_cast<double>(a), static_cast<double>(b), static_cast<double>(c));
}
void MDataHandle::set(double a, double b, double c) {
    if (!fAttr)
        return;
    _value().setNumber(fAttr, 0, a);
    _value().setNumber(fAttr, 1, b);
    _value().setNumber(fAttr, 2, c);
}
MStatus MDataHandle::set(const MObject& data) {
    if (!fAttr || fAttr->kind != Attribute::Typed)
        return MS::kFailure;
    if (fAttr->dataType == MFnData::kString) {
        auto* d = mhost::as<mhost::Data>(data);
        if (!d)
            return MS::kInvalidParameter;
        _value().str = d->string;
        return MS::kSuccess;
    }
    _value().data = data;
    return MS::kSuccess;
}
void MDataHandle::setMObject(const MObject& data) { set(data); }
void MDataHandle::setClean() {
    if (fNode && fAttr)
        fNode->dirty.erase(fAttr->storage());
}

// ---- MArrayDataHandle -----------------------------------------------------------------------

MArrayDataHandle::MArrayDataHandle(mhost::Node* node, mhost::Attribute* attribute, bool output)
    : fNode(node), fAttr(attribute), fOutput(output), fPosition(0) {
    if (fNode && fAttr)
        for (const auto& e : fNode->slot(fAttr).elements)
            fIndices.push_back(e.first);
}
MDataHandle MArrayDataHandle::inputValue(MStatus* st) {
    if (fPosition >= fIndices.size()) {
        setStatus(st, MS::kFailure);
        return MDataHandle();
    }
    setStatus(st, MS::kSuccess);
    return MDataHandle(fNode, fAttr, fOutput, static_cast<int>(fIndices[fPosition]));
}
MDataHandle MArrayDataHandle::outputValue(MStatus* st) { return inputValue(st); }
MStatus MArrayDataHandle::jumpToElement(unsigned int index) {
    for (unsigned int i = 0; i < fIndices.size(); ++i)
        if (fIndices[i] == index) {
            fPosition = i;
            return MS::kSuccess;
        }
    return MS::kInvalidParameter;
}
MStatus MArrayDataHandle::jumpToArrayElement(unsigned int position) {
    if (position >= fIndices.size())
        return MS::kInvalidParameter;
    fPosition = position;
    return MS::kSuccess;
}
MStatus MArrayDataHandle::next() {
    if (fPosition + 1 >= fIndices.size()) {
        fPosition = static_cast<unsigned int>(fIndices.size());
        return MS::kFailure;
    }
    ++fPosition;
    return MS::kSuccess;
}
unsigned int MArrayDataHandle::elementCount(MStatus* st) {
    setStatus(st, fAttr ? MS::kSuccess : MS::kFailure);
    return static_cast<unsigned int>(fIndices.size());
}
unsigned int MArrayDataHandle::elementIndex(MStatus* st) {
    if (fPosition >= fIndices.size()) {
        setStatus(st, MS::kFailure);
        return 0;
    }
    setStatus(st, MS::kSuccess);
    return fIndices[fPosition];
}
MStatus MArrayDataHandle::setAllClean() {
    if (fNode && fAttr)
        fNode->dirty.erase(fAttr->storage());
    return MS::kSuccess;
}
void MArrayDataHandle::setClean() { setAllClean(); }
