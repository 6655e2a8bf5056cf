// Attribute function sets of the host stand-in. Attributes are plain records; every flag set
// through a function set is kept and can be read back.
#include "HostInternal.h"

#include <maya/MFnAttribute.h>
#include <maya/MFnEnumAttribute.h>
#include <maya/MFnMatrixAttribute.h>
#include <maya/MFnNumericAttribute.h>
#include <maya/MFnTypedAttribute.h>
#include <maya/MFnUnitAttribute.h>

using mhost::setStatus;

using mhost::Attribute;

namespace {

Attribute* attrOf(const MObject& o) { return mhost::as<Attribute>(o); }

MObject makeAttribute(MFn::Type api, Attribute::Kind kind, const MString& full, const MString& brief) {
    auto a = std::make_shared<Attribute>(api, kind);
    a->name = full.asChar();
    a->shortName = brief.asChar();
    return MObject(a);
}

int componentCount(MFnNumericData::Type t) {
    switch (t) {
    case MFnNumericData::k2Short:
    case MFnNumericData::k2Int:
    case MFnNumericData::k2Float:
    case MFnNumericData::k2Double:
        return 2;
    case MFnNumericData::k3Short:
    case MFnNumericData::k3Int:
    case MFnNumericData::k3Float:
    case MFnNumericData::k3Double:
        return 3;
    default:
        return 1;
    }
}

MFnNumericData::Type scalarOf(MFnNumericData::Type t) {
    switch (t) {
    case MFnNumericData::k2Short:
    case MFnNumericData::k3Short:
        return MFnNumericData::kShort;
    case MFnNumericData::k2Int:
    case MFnNumericData::k3Int:
        return MFnNumericData::kInt;
    case MFnNumericData::k2Float:
    case MFnNumericData::k3Float:
        return MFnNumericData::kFloat;
    case MFnNumericData::k2Double:
    case MFnNumericData::k3Double:
        return MFnNumericData::kDouble;
    default:
        return t;
    }
}

// Numeric compounds get one numeric child per component, named with the given suffixes.
void addNumericChildren(Attribute* parent, const char* const suffixes[3]) {
    int n = componentCount(parent->numericType);
    if (n < 2)
        return;
    for (int i = 0; i < n; ++i) {
        auto c = std::make_shared<Attribute>(MFn::kNumericAttribute, Attribute::Numeric);
        c->name = parent->name + suffixes[i];
        c->shortName = parent->shortName + suffixes[i];
        c->numericType = scalarOf(parent->numericType);
        c->parent = parent;
        c->childIndex = i;
        parent->children.push_back(c);
    }
}

const char* const kDigitSuffixes[3] = {"0", "1", "2"};
const char* const kXYZSuffixes[3] = {"X", "Y", "Z"};
const char* const kRGBSuffixes[3] = {"R", "G", "B"};

} // namespace

// ---- MFnAttribute ---------------------------------------------------------------------------

MFnAttribute::MFnAttribute() {}
MFnAttribute::MFnAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnAttribute::MFnAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnAttribute::~MFnAttribute() {}
MFn::Type MFnAttribute::type() const { return MFn::kAttribute; }

#define KHOST_FLAG(getter, setter, member)                                                                   \
    bool MFnAttribute::getter(MStatus* st) const {                                                           \
        Attribute* a = attrOf(fObject);                                                                      \
        setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);                                             \
        return a && a->member;                                                                               \
    }                                                                                                        \
    MStatus MFnAttribute::setter(bool state) {                                                               \
        Attribute* a = attrOf(fObject);                                                                      \
        if (!a)                                                                                              \
            return MS::kInvalidParameter;                                                                    \
        a->member = state;                                                                                   \
        return MS::kSuccess;                                                                                 \
    }

KHOST_FLAG(isReadable, setReadable, readable)
KHOST_FLAG(isWritable, setWritable, writable)
KHOST_FLAG(isConnectable, setConnectable, connectable)
KHOST_FLAG(isStorable, setStorable, storable)
KHOST_FLAG(isCached, setCached, cached)
KHOST_FLAG(isArray, setArray, array)
KHOST_FLAG(indexMatters, setIndexMatters, indexMatters)
KHOST_FLAG(isKeyable, setKeyable, keyable)
KHOST_FLAG(isChannelBoxFlagSet, setChannelBox, channelBox)
KHOST_FLAG(isHidden, setHidden, hidden)
KHOST_FLAG(isUsedAsColor, setUsedAsColor, usedAsColor)
KHOST_FLAG(isIndeterminant, setIndeterminant, indeterminant)
KHOST_FLAG(isRenderSource, setRenderSource, renderSource)
KHOST_FLAG(isAffectsAppearance, setAffectsAppearance, affectsAppearance)
KHOST_FLAG(isAffectsWorldSpace, setAffectsWorldSpace, affectsWorldSpace)
KHOST_FLAG(usesArrayDataBuilder, setUsesArrayDataBuilder, usesArrayDataBuilder)
#undef KHOST_FLAG

bool MFnAttribute::isDynamic(MStatus* st) const {
    setStatus(st, attrOf(fObject) ? MS::kSuccess : MS::kInvalidParameter);
    return false;
}
MFnAttribute::DisconnectBehavior MFnAttribute::disconnectBehavior(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? static_cast<DisconnectBehavior>(a->disconnectBehavior) : kNothing;
}
MStatus MFnAttribute::setDisconnectBehavior(DisconnectBehavior b) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->disconnectBehavior = b;
    return MS::kSuccess;
}
MStatus MFnAttribute::setNiceNameOverride(const MString& n) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->niceName = n.asChar();
    return MS::kSuccess;
}
MString MFnAttribute::name(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? MString(a->name.c_str()) : MString();
}
MString MFnAttribute::shortName(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? MString(a->shortName.c_str()) : MString();
}
MObject MFnAttribute::parent(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return (a && a->parent) ? MObject(a->parent->shared_from_this()) : MObject();
}

// ---- MFnNumericAttribute --------------------------------------------------------------------

MFnNumericAttribute::MFnNumericAttribute() {}
MFnNumericAttribute::MFnNumericAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnNumericAttribute::MFnNumericAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnNumericAttribute::~MFnNumericAttribute() {}
MFn::Type MFnNumericAttribute::type() const { return MFn::kNumericAttribute; }

MObject MFnNumericAttribute::create(const MString& full, const MString& brief, MFnNumericData::Type t,
                                    double def, MStatus* st) {
    if (t <= MFnNumericData::kInvalid || t >= MFnNumericData::kLast || full.length() == 0) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MObject o = makeAttribute(MFn::kNumericAttribute, Attribute::Numeric, full, brief);
    Attribute* a = attrOf(o);
    a->numericType = t;
    a->defaults[0] = a->defaults[1] = a->defaults[2] = def;
    addNumericChildren(a, kDigitSuffixes);
    for (auto& c : a->children)
        c->defaults[0] = def;
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}

MObject MFnNumericAttribute::createColor(const MString& full, const MString& brief, MStatus* st) {
    MObject o = makeAttribute(MFn::kNumericAttribute, Attribute::Numeric, full, brief);
    Attribute* a = attrOf(o);
    a->numericType = MFnNumericData::k3Float;
    a->usedAsColor = true;
    addNumericChildren(a, kRGBSuffixes);
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}

MObject MFnNumericAttribute::createPoint(const MString& full, const MString& brief, MStatus* st) {
    MObject o = makeAttribute(MFn::kNumericAttribute, Attribute::Numeric, full, brief);
    Attribute* a = attrOf(o);
    a->numericType = MFnNumericData::k3Double;
    addNumericChildren(a, kXYZSuffixes);
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}

MObject MFnNumericAttribute::create(const MString& full, const MString& brief, const MObject& c1,
                                    const MObject& c2, const MObject& c3, MStatus* st) {
    Attribute* a1 = attrOf(c1);
    Attribute* a2 = attrOf(c2);
    Attribute* a3 = attrOf(c3);
    if (!a1 || !a2 || a1->kind != Attribute::Numeric || a2->kind != Attribute::Numeric ||
        a1->numericType != a2->numericType || (a3 && a3->numericType != a1->numericType)) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MObject o = makeAttribute(MFn::kNumericAttribute, Attribute::Numeric, full, brief);
    Attribute* a = attrOf(o);
    const bool three = a3 != nullptr;
    switch (a1->numericType) {
    case MFnNumericData::kShort:
        a->numericType = three ? MFnNumericData::k3Short : MFnNumericData::k2Short;
        break;
    case MFnNumericData::kInt:
        a->numericType = three ? MFnNumericData::k3Int : MFnNumericData::k2Int;
        break;
    case MFnNumericData::kFloat:
        a->numericType = three ? MFnNumericData::k3Float : MFnNumericData::k2Float;
        break;
    default:
        a->numericType = three ? MFnNumericData::k3Double : MFnNumericData::k2Double;
        break;
    }
    Attribute* children[3] = {a1, a2, a3};
    for (int i = 0; i < (three ? 3 : 2); ++i) {
        children[i]->parent = a;
        children[i]->childIndex = i;
        a->defaults[i] = children[i]->defaults[0];
        a->children.push_back(std::static_pointer_cast<Attribute>(children[i]->shared_from_this()));
    }
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}

MFnNumericData::Type MFnNumericAttribute::unitType(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? a->numericType : MFnNumericData::kInvalid;
}
MObject MFnNumericAttribute::child(unsigned int i, MStatus* st) const {
    Attribute* a = attrOf(fObject);
    if (!a || i >= a->children.size()) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    setStatus(st, MS::kSuccess);
    return MObject(a->children[i]);
}

#define KHOST_HAS(fn, member)                                                                                \
    bool MFnNumericAttribute::fn(MStatus* st) const {                                                        \
        Attribute* a = attrOf(fObject);                                                                      \
        setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);                                             \
        return a && a->member;                                                                               \
    }
KHOST_HAS(hasMin, hasMin)
KHOST_HAS(hasMax, hasMax)
KHOST_HAS(hasSoftMin, hasSoftMin)
KHOST_HAS(hasSoftMax, hasSoftMax)
#undef KHOST_HAS

namespace {
MStatus getLimit(const MObject& o, bool Attribute::*has, double (Attribute::*values)[3], double* out[3]) {
    Attribute* a = attrOf(o);
    if (!a || !(a->*has))
        return MS::kFailure;
    for (int i = 0; i < 3; ++i)
        if (out[i])
            *out[i] = (a->*values)[i];
    return MS::kSuccess;
}
MStatus setLimit(const MObject& o, bool Attribute::*has, double (Attribute::*values)[3], double v0, double v1,
                 double v2) {
    Attribute* a = attrOf(o);
    if (!a)
        return MS::kInvalidParameter;
    a->*has = true;
    (a->*values)[0] = v0;
    (a->*values)[1] = v1;
    (a->*values)[2] = v2;
    return MS::kSuccess;
}
} // namespace

MStatus MFnNumericAttribute::getMin(double& m1) const {
    double* o[3] = {&m1, nullptr, nullptr};
    return getLimit(fObject, &Attribute::hasMin, &Attribute::minValue, o);
}
MStatus MFnNumericAttribute::getMin(double& m1, double& m2) const {
    double* o[3] = {&m1, &m2, nullptr};
    return getLimit(fObject, &Attribute::hasMin, &Attribute::minValue, o);
}
MStatus MFnNumericAttribute::getMin(double& m1, double& m2, double& m3) const {
    double* o[3] = {&m1, &m2, &m3};
    return getLimit(fObject, &Attribute::hasMin, &Attribute::minValue, o);
}
MStatus MFnNumericAttribute::getMax(double& m1) const {
    double* o[3] = {&m1, nullptr, nullptr};
    return getLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, o);
}
MStatus MFnNumericAttribute::getMax(double& m1, double& m2) const {
    double* o[3] = {&m1, &m2, nullptr};
    return getLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, o);
}
MStatus MFnNumericAttribute::getMax(double& m1, double& m2, double& m3) const {
    double* o[3] = {&m1, &m2, &m3};
    return getLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, o);
}
MStatus MFnNumericAttribute::getSoftMin(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasSoftMin)
        return MS::kFailure;
    m = a->softMin;
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getSoftMax(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasSoftMax)
        return MS::kFailure;
    m = a->softMax;
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::setMin(int m) { return setMin(static_cast<double>(m)); }
MStatus MFnNumericAttribute::setMin(double m) {
    return setLimit(fObject, &Attribute::hasMin, &Attribute::minValue, m, m, m);
}
MStatus MFnNumericAttribute::setMin(double a, double b) {
    return setLimit(fObject, &Attribute::hasMin, &Attribute::minValue, a, b, 0);
}
MStatus MFnNumericAttribute::setMin(double a, double b, double c) {
    return setLimit(fObject, &Attribute::hasMin, &Attribute::minValue, a, b, c);
}
MStatus MFnNumericAttribute::setMax(int m) { return setMax(static_cast<double>(m)); }
MStatus MFnNumericAttribute::setMax(double m) {
    return setLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, m, m, m);
}
MStatus MFnNumericAttribute::setMax(double a, double b) {
    return setLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, a, b, 0);
}
MStatus MFnNumericAttribute::setMax(double a, double b, double c) {
    return setLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, a, b, c);
}
MStatus MFnNumericAttribute::setSoftMin(double m) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->hasSoftMin = true;
    a->softMin = m;
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::setSoftMax(double m) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->hasSoftMax = true;
    a->softMax = m;
    return MS::kSuccess;
}

namespace {
MStatus setDefaults(const MObject& o, int n, double v0, double v1, double v2) {
    Attribute* a = attrOf(o);
    if (!a)
        return MS::kInvalidParameter;
    double v[3] = {v0, v1, v2};
    for (int i = 0; i < n; ++i) {
        a->defaults[i] = v[i];
        if (i < static_cast<int>(a->children.size()))
            a->children[i]->defaults[0] = v[i];
    }
    return MS::kSuccess;
}
} // namespace

MStatus MFnNumericAttribute::getDefault(bool& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = a->defaults[0] != 0.0;
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getDefault(int& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = static_cast<int>(a->defaults[0]);
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getDefault(float& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = static_cast<float>(a->defaults[0]);
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getDefault(double& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = a->defaults[0];
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getDefault(float& d1, float& d2, float& d3) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d1 = static_cast<float>(a->defaults[0]);
    d2 = static_cast<float>(a->defaults[1]);
    d3 = static_cast<float>(a->defaults[2]);
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::getDefault(double& d1, double& d2, double& d3) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d1 = a->defaults[0];
    d2 = a->defaults[1];
    d3 = a->defaults[2];
    return MS::kSuccess;
}
MStatus MFnNumericAttribute::setDefault(bool d) { return setDefaults(fObject, 1, d ? 1.0 : 0.0, 0, 0); }
MStatus MFnNumericAttribute::setDefault(int d) { return setDefaults(fObject, 1, d, 0, 0); }
MStatus MFnNumericAttribute::setDefault(float d) { return setDefaults(fObject, 1, d, 0, 0); }
MStatus MFnNumericAttribute::setDefault(double d) { return setDefaults(fObject, 1, d, 0, 0); }
MStatus MFnNumericAttribute::setDefault(float a, float b) { return setDefaults(fObject, 2, a, b, 0); }
MStatus MFnNumericAttribute::setDefault(double a, double b) { return setDefaults(fObject, 2, a, b, 0); }
MStatus MFnNumericAttribute::setDefault(float a, float b, float c) {
    return setDefaults(fObject, 3, a, b, c);
}
MStatus MFnNumericAttribute::setDefault(double a, double b, double c) {
    return setDefaults(fObject, 3, a, b, c);
}

// ---- MFnTypedAttribute ----------------------------------------------------------------------

MFnTypedAttribute::MFnTypedAttribute() {}
MFnTypedAttribute::MFnTypedAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnTypedAttribute::MFnTypedAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnTypedAttribute::~MFnTypedAttribute() {}
MFn::Type MFnTypedAttribute::type() const { return MFn::kTypedAttribute; }

MObject MFnTypedAttribute::create(const MString& full, const MString& brief, const MTypeId&, MObject def,
                                  MStatus* st) {
    return create(full, brief, MFnData::kPlugin, def, st);
}
MObject MFnTypedAttribute::create(const MString& full, const MString& brief, MFnData::Type t, MObject def,
                                  MStatus* st) {
    if (t <= MFnData::kInvalid || t >= MFnData::kLast || full.length() == 0) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MObject o = makeAttribute(MFn::kTypedAttribute, Attribute::Typed, full, brief);
    Attribute* a = attrOf(o);
    a->dataType = t;
    a->dataDefault = def;
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}
MFnData::Type MFnTypedAttribute::attrType(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? a->dataType : MFnData::kInvalid;
}
MStatus MFnTypedAttribute::getDefault(MObject& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = a->dataDefault;
    return MS::kSuccess;
}
MStatus MFnTypedAttribute::setDefault(const MObject& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->dataDefault = d;
    return MS::kSuccess;
}

// ---- MFnEnumAttribute -----------------------------------------------------------------------

MFnEnumAttribute::MFnEnumAttribute() {}
MFnEnumAttribute::MFnEnumAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnEnumAttribute::MFnEnumAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnEnumAttribute::~MFnEnumAttribute() {}
MFn::Type MFnEnumAttribute::type() const { return MFn::kEnumAttribute; }

MObject MFnEnumAttribute::create(const MString& full, const MString& brief, short def, MStatus* st) {
    MObject o = makeAttribute(MFn::kEnumAttribute, Attribute::Enum, full, brief);
    attrOf(o)->defaults[0] = def;
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}
MStatus MFnEnumAttribute::addField(const MString& n, short index) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    for (const auto& f : a->fields)
        if (f.first == n.asChar() || f.second == index)
            return MS::kFailure;
    a->fields.emplace_back(n.asChar(), index);
    return MS::kSuccess;
}
MString MFnEnumAttribute::fieldName(short index, MStatus* st) const {
    Attribute* a = attrOf(fObject);
    if (a)
        for (const auto& f : a->fields)
            if (f.second == index) {
                setStatus(st, MS::kSuccess);
                return MString(f.first.c_str());
            }
    setStatus(st, MS::kFailure);
    return MString();
}
short MFnEnumAttribute::fieldIndex(const MString& n, MStatus* st) const {
    Attribute* a = attrOf(fObject);
    if (a)
        for (const auto& f : a->fields)
            if (f.first == n.asChar()) {
                setStatus(st, MS::kSuccess);
                return f.second;
            }
    setStatus(st, MS::kFailure);
    return 0;
}
MStatus MFnEnumAttribute::getMin(short& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || a->fields.empty())
        return MS::kFailure;
    m = a->fields[0].second;
    for (const auto& f : a->fields)
        m = std::min(m, f.second);
    return MS::kSuccess;
}
MStatus MFnEnumAttribute::getMax(short& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || a->fields.empty())
        return MS::kFailure;
    m = a->fields[0].second;
    for (const auto& f : a->fields)
        m = std::max(m, f.second);
    return MS::kSuccess;
}
MStatus MFnEnumAttribute::setDefault(short index) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->defaults[0] = index;
    return MS::kSuccess;
}
MStatus MFnEnumAttribute::setDefault(const MString& n) {
    MStatus st;
    short i = fieldIndex(n, &st);
    return st ? setDefault(i) : st;
}
MStatus MFnEnumAttribute::getDefault(short& index) const {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    index = static_cast<short>(a->defaults[0]);
    return MS::kSuccess;
}
MString MFnEnumAttribute::defaultValue(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    if (!a) {
        setStatus(st, MS::kInvalidParameter);
        return MString();
    }
    return fieldName(static_cast<short>(a->defaults[0]), st);
}

// ---- MFnMatrixAttribute ---------------------------------------------------------------------

MFnMatrixAttribute::MFnMatrixAttribute() {}
MFnMatrixAttribute::MFnMatrixAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnMatrixAttribute::MFnMatrixAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnMatrixAttribute::~MFnMatrixAttribute() {}
MFn::Type MFnMatrixAttribute::type() const { return MFn::kMatrixAttribute; }
MObject MFnMatrixAttribute::create(const MString& full, const MString& brief, Type, MStatus* st) {
    MObject o = makeAttribute(MFn::kMatrixAttribute, Attribute::Matrix, full, brief);
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}
MStatus MFnMatrixAttribute::getDefault(MMatrix& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = a->matrixDefault;
    return MS::kSuccess;
}
MStatus MFnMatrixAttribute::setDefault(const MMatrix& d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->matrixDefault = d;
    return MS::kSuccess;
}

// ---- MFnUnitAttribute -----------------------------------------------------------------------

MFnUnitAttribute::MFnUnitAttribute() {}
MFnUnitAttribute::MFnUnitAttribute(MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnUnitAttribute::MFnUnitAttribute(const MObject& o, MStatus* st) { setStatus(st, _attach(o)); }
MFnUnitAttribute::~MFnUnitAttribute() {}
MFn::Type MFnUnitAttribute::type() const { return MFn::kUnitAttribute; }

MObject MFnUnitAttribute::create(const MString& full, const MString& brief, Type t, double def, MStatus* st) {
    if (t <= kInvalid || t >= kLast) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    MObject o = makeAttribute(MFn::kUnitAttribute, Attribute::Unit, full, brief);
    Attribute* a = attrOf(o);
    a->unitType = t;
    a->defaults[0] = def;
    if (t == kTime)
        a->timeDefault = MTime(def, MTime::uiUnit());
    fObject = o;
    setStatus(st, MS::kSuccess);
    return o;
}
MObject MFnUnitAttribute::create(const MString& full, const MString& brief, const MTime& def, MStatus* st) {
    MObject o = create(full, brief, kTime, def.as(MTime::uiUnit()), st);
    if (Attribute* a = attrOf(o))
        a->timeDefault = def;
    return o;
}
MFnUnitAttribute::Type MFnUnitAttribute::unitType(MStatus* st) const {
    Attribute* a = attrOf(fObject);
    setStatus(st, a ? MS::kSuccess : MS::kInvalidParameter);
    return a ? a->unitType : kInvalid;
}
bool MFnUnitAttribute::hasMin(MStatus*) const {
    Attribute* a = attrOf(fObject);
    return a && a->hasMin;
}
bool MFnUnitAttribute::hasMax(MStatus*) const {
    Attribute* a = attrOf(fObject);
    return a && a->hasMax;
}
bool MFnUnitAttribute::hasSoftMin(MStatus*) const {
    Attribute* a = attrOf(fObject);
    return a && a->hasSoftMin;
}
bool MFnUnitAttribute::hasSoftMax(MStatus*) const {
    Attribute* a = attrOf(fObject);
    return a && a->hasSoftMax;
}
MStatus MFnUnitAttribute::getMin(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasMin)
        return MS::kFailure;
    m = a->minValue[0];
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::getMax(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasMax)
        return MS::kFailure;
    m = a->maxValue[0];
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::getSoftMin(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasSoftMin)
        return MS::kFailure;
    m = a->softMin;
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::getSoftMax(double& m) const {
    Attribute* a = attrOf(fObject);
    if (!a || !a->hasSoftMax)
        return MS::kFailure;
    m = a->softMax;
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::setMin(double m) {
    return setLimit(fObject, &Attribute::hasMin, &Attribute::minValue, m, m, m);
}
MStatus MFnUnitAttribute::setMax(double m) {
    return setLimit(fObject, &Attribute::hasMax, &Attribute::maxValue, m, m, m);
}
MStatus MFnUnitAttribute::setSoftMin(double m) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->hasSoftMin = true;
    a->softMin = m;
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::setSoftMax(double m) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->hasSoftMax = true;
    a->softMax = m;
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::getDefault(double& d) const {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    d = a->unitType == kTime ? a->timeDefault.as(MTime::uiUnit()) : a->defaults[0];
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::getDefault(MTime& d) const {
    Attribute* a = attrOf(fObject);
    if (!a || a->unitType != kTime)
        return MS::kInvalidParameter;
    d = a->timeDefault;
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::setDefault(double d) {
    Attribute* a = attrOf(fObject);
    if (!a)
        return MS::kInvalidParameter;
    a->defaults[0] = d;
    if (a->unitType == kTime)
        a->timeDefault = MTime(d, MTime::uiUnit());
    return MS::kSuccess;
}
MStatus MFnUnitAttribute::setDefault(const MTime& d) {
    Attribute* a = attrOf(fObject);
    if (!a || a->unitType != kTime)
        return MS::kInvalidParameter;
    a->timeDefault = d;
    a->defaults[0] = d.as(MTime::uiUnit());
    return MS::kSuccess;
}
