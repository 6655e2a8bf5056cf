#include "KAlembic.h"

#include "abc/KAbcReader.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

namespace Kelno {

using Abc::AbcObjectNode;
using Abc::AbcPropertyNode;
using Abc::ArchiveReader;
using Abc::Pod;
using Abc::PropertyKind;
using Abc::SampleView;

namespace {

std::uint32_t clampIndex(int sampleIndex, std::uint32_t numSamples) {
    if (sampleIndex <= 0 || numSamples == 0)
        return 0;
    const std::uint32_t i = static_cast<std::uint32_t>(sampleIndex);
    return i < numSamples ? i : numSamples - 1;
}

int typeIdOfSchema(const std::string& schema) {
    static const struct {
        const char* name;
        int id;
    } table[] = {{"AbcGeom_Xform_v3", kAbcTypeXform},       {"AbcGeom_SubD_v1", kAbcTypeSubD},
                 {"AbcGeom_PolyMesh_v1", kAbcTypePolyMesh}, {"AbcGeom_Curve_v2", kAbcTypeCurves},
                 {"AbcGeom_Points_v1", kAbcTypePoints},     {"AbcGeom_NuPatch_v2", kAbcTypeNuPatch},
                 {"AbcGeom_Camera_v1", kAbcTypeCamera},     {"AbcGeom_Light_v1", kAbcTypeLight},
                 {"AbcGeom_FaceSet_v1", kAbcTypeFaceSet}};
    for (const auto& entry : table)
        if (schema == entry.name)
            return entry.id;
    return kAbcTypeUnknown;
}

// The schema name of an object: its "schema" key, or the part of "schemaObjTitle" before the
// ':' (older writers put the title under "schema" too).
std::string schemaOf(const AbcObjectNode& node) {
    std::string schema = node.metaData.get("schema");
    if (schema.empty())
        schema = node.metaData.get("schemaObjTitle");
    const std::size_t colon = schema.find(':');
    if (colon != std::string::npos)
        schema.erase(colon);
    return schema;
}

const AbcPropertyNode* schemaCompound(const AbcObjectNode& node, const char* name) {
    const AbcPropertyNode* compound = node.properties.child(name);
    return compound && compound->kind == PropertyKind::Compound ? compound : nullptr;
}

// The property whose sample count and time sampling are the object's, by schema (as the
// writing library reports them); null without a schema or when the property is missing.
const AbcPropertyNode* sampledProperty(const AbcObjectNode& node) {
    auto larger = [](const AbcPropertyNode* a, const AbcPropertyNode* b) {
        return !a || (b && b->numSamples > a->numSamples) ? b : a;
    };
    auto largestOf = [&](const AbcPropertyNode* compound, bool arraysOnly) {
        const AbcPropertyNode* best = nullptr;
        if (compound)
            for (const auto& p : compound->children)
                if (p->kind == PropertyKind::Array || (!arraysOnly && p->kind == PropertyKind::Scalar))
                    best = larger(best, p.get());
        return best;
    };
    const AbcPropertyNode* geom = schemaCompound(node, ".geom");
    switch (typeIdOfSchema(schemaOf(node))) {
    case kAbcTypeXform: {
        const AbcPropertyNode* xform = schemaCompound(node, ".xform");
        return xform ? xform->child(".inherits") : nullptr;
    }
    case kAbcTypePolyMesh:
    case kAbcTypeCurves:
    case kAbcTypeNuPatch:
        return geom ? geom->child("P") : nullptr;
    case kAbcTypePoints:
        return geom ? larger(geom->child("P"), geom->child(".pointIds")) : nullptr;
    case kAbcTypeSubD:
        return largestOf(geom, false);
    case kAbcTypeFaceSet:
        return largestOf(schemaCompound(node, ".faceset"), true);
    case kAbcTypeCamera:
        return geom ? geom->child(".core") : nullptr;
    case kAbcTypeLight: {
        if (!geom)
            return nullptr;
        if (const AbcPropertyNode* bounds = geom->child(".childBnds"))
            return bounds;
        const AbcPropertyNode* camera = geom->child(".camera");
        return camera ? camera->child(".core") : nullptr;
    }
    default:
        return nullptr;
    }
}

bool setError(std::string* error, const std::string& what) {
    if (error)
        *error = what;
    return false;
}

// A sample of a numeric property checked to hold elements of the expected type.
bool readTyped(const ArchiveReader& archive, const AbcPropertyNode& property, Pod pod, std::uint32_t extent,
               int sampleIndex, SampleView& view, std::string* error) {
    if (property.kind == PropertyKind::Compound || property.pod != pod || property.extent != extent)
        return setError(error, "property " + property.name + " has an unexpected type");
    if (property.numSamples == 0)
        return setError(error, "property " + property.name + " has no samples");
    if (!archive.readSample(property, clampIndex(sampleIndex, property.numSamples), view, error))
        return false;
    if (view.size / (Abc::podSize(pod) * extent) > static_cast<std::size_t>(INT_MAX))
        return setError(error, "property " + property.name + " has too many elements");
    return true;
}

// A located array sample of a numeric property checked to hold elements of the expected type:
// its clamped index and byte size, without reading the values.
struct Located {
    const AbcPropertyNode* property = nullptr;
    std::uint32_t index = 0;
    std::size_t bytes = 0;
};

bool locateTyped(const ArchiveReader& archive, const AbcPropertyNode& property, Pod pod, std::uint32_t extent,
                 int sampleIndex, Located& out, std::string* error) {
    if (property.kind == PropertyKind::Compound || property.pod != pod || property.extent != extent)
        return setError(error, "property " + property.name + " has an unexpected type");
    if (property.numSamples == 0)
        return setError(error, "property " + property.name + " has no samples");
    out.property = &property;
    out.index = clampIndex(sampleIndex, property.numSamples);
    if (!archive.sampleSize(property, out.index, out.bytes, error))
        return false;
    if (out.bytes / (Abc::podSize(pod) * extent) > static_cast<std::size_t>(INT_MAX))
        return setError(error, "property " + property.name + " has too many elements");
    return true;
}

// Reads a located sample straight into out, sized to its element count: no staging copy.
template <class Array>
bool readInto(const ArchiveReader& archive, const Located& located, Array& out, std::string* error) {
    using Element = typename Array::value_type;
    if (located.bytes % sizeof(Element) != 0)
        return setError(error, "property " + located.property->name + " has an unexpected size");
    const std::size_t count = located.bytes / sizeof(Element);
    if (out.size() != count)
        out.resize(count);
    return archive.readSampleInto(*located.property, located.index, static_cast<void*>(out.data()),
                                  located.bytes, error);
}

void multiply(const double a[16], const double b[16], double out[16]) {
    double r[16];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r[4 * i + j] = a[4 * i] * b[j] + a[4 * i + 1] * b[4 + j] + a[4 * i + 2] * b[8 + j] +
                           a[4 * i + 3] * b[12 + j];
    std::memcpy(out, r, sizeof(r));
}

void identity(double m[16]) {
    for (int i = 0; i < 16; ++i)
        m[i] = (i % 5 == 0) ? 1.0 : 0.0;
}

void rotation(double ax, double ay, double az, double degrees, double m[16]) {
    identity(m);
    const double length = std::sqrt(ax * ax + ay * ay + az * az);
    if (length > 0.0) {
        ax /= length;
        ay /= length;
        az /= length;
    }
    const double kPi = 3.14159265358979323846;
    const double radians = degrees * (kPi / 180.0);
    const double c = std::cos(radians);
    const double s = std::sin(radians);
    const double t = 1.0 - c;
    m[0] = ax * ax * t + c;
    m[1] = ax * ay * t + az * s;
    m[2] = ax * az * t - ay * s;
    m[4] = ax * ay * t - az * s;
    m[5] = ay * ay * t + c;
    m[6] = ay * az * t + ax * s;
    m[8] = ax * az * t + ay * s;
    m[9] = ay * az * t - ax * s;
    m[10] = az * az * t + c;
}

// The sample of a property at time t (seconds) through its own time sampling: the last one at or
// before t, with the writing library's tolerance of 1e-5 s; the first sample for earlier times.
std::uint32_t sampleAtTime(const ArchiveReader& archive, const AbcPropertyNode& property, double t) {
    if (property.numSamples <= 1 || property.timeSampling >= archive.timeSamplings().size())
        return 0;
    const Abc::TimeSampling& ts = archive.timeSamplings()[property.timeSampling];
    // Sample times increase with the index for every kind of sampling.
    std::uint32_t low = 0;
    std::uint32_t high = property.numSamples - 1;
    if (!(ts.sampleTime(0) <= t + 1e-5))
        return 0;
    while (low < high) {
        const std::uint32_t mid = low + (high - low + 1) / 2;
        if (ts.sampleTime(mid) <= t + 1e-5)
            low = mid;
        else
            high = mid - 1;
    }
    return low;
}

// Time in seconds of sample sampleIndex (clamped) of a property.
double timeOfSample(const ArchiveReader& archive, const AbcPropertyNode& property, int sampleIndex) {
    if (property.timeSampling >= archive.timeSamplings().size())
        return 0.0;
    return archive.timeSamplings()[property.timeSampling].sampleTime(
        clampIndex(sampleIndex, property.numSamples));
}

// Local matrix and inherits flag of a transform at time t, each of its properties sampled
// through its own time sampling. Properties without samples keep their defaults (inherit, no
// ops: the identity).
bool localMatrix(const ArchiveReader& archive, const AbcPropertyNode& xform, double t, double local[16],
                 bool& inherits, std::string* error) {
    identity(local);
    inherits = true;
    SampleView view;
    const AbcPropertyNode* inheritsProperty = xform.child(".inherits");
    if (inheritsProperty && inheritsProperty->numSamples > 0) {
        const int i = static_cast<int>(sampleAtTime(archive, *inheritsProperty, t));
        if (!readTyped(archive, *inheritsProperty, Pod::Bool, 1, i, view, error))
            return false;
        inherits = view.data[0] != 0;
    }
    const AbcPropertyNode* opsProperty = xform.child(".ops");
    if (!opsProperty || opsProperty->numSamples == 0)
        return true; // no ops: the identity
    if (opsProperty->kind != PropertyKind::Scalar || opsProperty->pod != Pod::U8)
        return setError(error, "transform ops of an unexpected type");
    if (!readTyped(archive, *opsProperty, Pod::U8, opsProperty->extent,
                   static_cast<int>(sampleAtTime(archive, *opsProperty, t)), view, error))
        return false;
    // The extent of a scalar is at most 255, so the ops fit a fixed buffer.
    unsigned char opBuffer[256];
    const std::size_t numOps = std::min<std::size_t>(view.size, sizeof(opBuffer));
    std::memcpy(opBuffer, view.data, numOps);
    std::size_t channels = 0;
    static const unsigned char channelsOf[7] = {3, 3, 4, 16, 1, 1, 1};
    for (std::size_t k = 0; k < numOps; ++k) {
        const unsigned char op = opBuffer[k];
        if ((op >> 4) > 6)
            return setError(error, "unknown transform op");
        channels += channelsOf[op >> 4];
    }
    if (channels == 0)
        return true;

    const AbcPropertyNode* valsProperty = xform.child(".vals");
    if (!valsProperty || valsProperty->kind == PropertyKind::Compound || valsProperty->pod != Pod::F64 ||
        valsProperty->numSamples == 0)
        return setError(error, "transform values missing");
    if (!archive.readSample(*valsProperty, sampleAtTime(archive, *valsProperty, t), view, error))
        return false;
    if (view.size < channels * 8)
        return setError(error, "transform has fewer values than its ops need");
    std::vector<double> vals(channels);
    std::memcpy(vals.data(), view.data, channels * 8);

    const double* v = vals.data();
    for (std::size_t k = 0; k < numOps; ++k) {
        const unsigned char op = opBuffer[k];
        double m[16];
        identity(m);
        switch (op >> 4) {
        case 0: // scale
            m[0] = v[0];
            m[5] = v[1];
            m[10] = v[2];
            break;
        case 1: // translate
            m[12] = v[0];
            m[13] = v[1];
            m[14] = v[2];
            break;
        case 2:
            rotation(v[0], v[1], v[2], v[3], m);
            break;
        case 3:
            std::memcpy(m, v, sizeof(m));
            break;
        case 4:
            rotation(1, 0, 0, v[0], m);
            break;
        case 5:
            rotation(0, 1, 0, v[0], m);
            break;
        default:
            rotation(0, 0, 1, v[0], m);
            break;
        }
        v += channelsOf[op >> 4];
        // The last op applies to a point first: R = O * R.
        multiply(m, local, local);
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// KAlembicProperty

KAlembicProperty::KAlembicProperty() : m_node(nullptr) {}
KAlembicProperty::~KAlembicProperty() = default;
KAlembicProperty::KAlembicProperty(const KAlembicProperty&) = default;
KAlembicProperty& KAlembicProperty::operator=(const KAlembicProperty&) = default;

bool KAlembicProperty::isCompound() const { return m_node && m_node->kind == PropertyKind::Compound; }
bool KAlembicProperty::isScalar() const { return m_node && m_node->kind == PropertyKind::Scalar; }
bool KAlembicProperty::isArray() const { return m_node && m_node->kind == PropertyKind::Array; }

int KAlembicProperty::numChildren() const { return m_node ? static_cast<int>(m_node->children.size()) : 0; }

bool KAlembicProperty::getChild(int i, KAlembicProperty& child) const {
    if (!m_node || i < 0 || i >= numChildren())
        return false;
    child.m_archive = m_archive;
    child.m_node = m_node->children[static_cast<std::size_t>(i)].get();
    return true;
}

bool KAlembicProperty::getChild(const char* childName, KAlembicProperty& child) const {
    if (!m_node || !childName)
        return false;
    const AbcPropertyNode* node = m_node->child(childName);
    if (!node)
        return false;
    child.m_archive = m_archive;
    child.m_node = node;
    return true;
}

KString KAlembicProperty::name() const { return m_node ? KString(m_node->name) : KString(); }
int KAlembicProperty::numSamples() const {
    return m_node ? static_cast<int>(std::min<std::uint32_t>(m_node->numSamples, INT_MAX)) : 0;
}
KString KAlembicProperty::podName() const {
    return m_node && m_node->kind != PropertyKind::Compound ? KString(Abc::podName(m_node->pod)) : KString();
}
int KAlembicProperty::extent() const { return m_node ? static_cast<int>(m_node->extent) : 0; }

bool KAlembicProperty::getValue(char& value, int sampleIndex) const {
    if (!m_node || m_node->kind != PropertyKind::Scalar || Abc::podSize(m_node->pod) != 1 ||
        m_node->numSamples == 0)
        return false;
    SampleView view;
    if (!m_archive->readSample(*m_node, clampIndex(sampleIndex, m_node->numSamples), view, nullptr) ||
        view.size < 1)
        return false;
    value = static_cast<char>(view.data[0]);
    return true;
}

// ---------------------------------------------------------------------------------------------
// KAlembicObject

KAlembicObject::KAlembicObject() : m_node(nullptr) {}
KAlembicObject::~KAlembicObject() = default;
KAlembicObject::KAlembicObject(const KAlembicObject&) = default;
KAlembicObject& KAlembicObject::operator=(const KAlembicObject&) = default;

KAlembicObject::KAlembicObject(const std::shared_ptr<const ArchiveReader>& archive, const AbcObjectNode* node)
    : m_archive(archive), m_node(node) {
    m_topProperty.m_archive = archive;
    m_topProperty.m_node = &node->properties;
}

KString KAlembicObject::name() const { return m_node ? KString(m_node->name) : KString(); }
KString KAlembicObject::fullPath() const { return m_node ? KString(m_node->fullPath) : KString(); }
KString KAlembicObject::schema() const { return m_node ? KString(schemaOf(*m_node)) : KString(); }
int KAlembicObject::typeId() const { return m_node ? typeIdOfSchema(schemaOf(*m_node)) : kAbcTypeUnknown; }

int KAlembicObject::numSamples() const {
    const AbcPropertyNode* property = m_node ? sampledProperty(*m_node) : nullptr;
    return property ? static_cast<int>(std::min<std::uint32_t>(property->numSamples, INT_MAX)) : 0;
}

int KAlembicObject::numChildren() const { return m_node ? static_cast<int>(m_node->children.size()) : 0; }

bool KAlembicObject::getChild(int i, KAlembicObject& child) const {
    if (!m_node || i < 0 || i >= numChildren())
        return false;
    child = KAlembicObject(m_archive, m_node->children[static_cast<std::size_t>(i)].get());
    return true;
}

bool KAlembicObject::getParent(KAlembicObject& parent) const {
    if (!m_node || !m_node->parent)
        return false;
    parent = KAlembicObject(m_archive, m_node->parent);
    return true;
}

bool KAlembicObject::_placement(const AbcObjectNode* start, double t, double matrix[16],
                                std::string* error) const {
    identity(matrix);
    for (const AbcObjectNode* obj = start; obj && obj->parent; obj = obj->parent) {
        if (typeIdOfSchema(schemaOf(*obj)) != kAbcTypeXform)
            continue;
        const AbcPropertyNode* xform = schemaCompound(*obj, ".xform");
        if (!xform)
            continue;
        double local[16];
        bool inherits = true;
        if (!localMatrix(*m_archive, *xform, t, local, inherits, error))
            return false;
        multiply(matrix, local, matrix);
        if (!inherits)
            break;
    }
    return true;
}

double KAlembicObject::_sampleTime(int sampleIndex) const {
    const AbcPropertyNode* property = sampledProperty(*m_node);
    if (property && property->numSamples > 1)
        return timeOfSample(*m_archive, *property, sampleIndex);
    // Static (one sample, valid at all times) or without samples: the index counts samples of
    // the archive's main time sampling, so that a static mesh follows animated transforms.
    const auto& samplings = m_archive->timeSamplings();
    if (samplings.empty())
        return 0.0;
    return samplings[samplings.size() > 1 ? 1 : 0].sampleTime(sampleIndex > 0 ? sampleIndex : 0);
}

bool KAlembicObject::getWorldMatrix(double matrix[16], int sampleIndex, KString* error) const {
    if (!m_node) {
        if (error)
            *error = "invalid object";
        return false;
    }
    std::string reason;
    double m[16];
    if (!_placement(m_node, _sampleTime(sampleIndex), m, &reason)) {
        if (error)
            *error = reason;
        return false;
    }
    std::memcpy(matrix, m, sizeof(m));
    return true;
}

bool KAlembicObject::getPolyMeshData(KVectorArray* positions, KVectorArray* velocities,
                                     KIntArray* polygonCounts, KIntArray* polygonConnections,
                                     KBoundingBox* bounds, KMatrix* xform, KFloatArray* uvs,
                                     KIntArray* uvIndices, int sampleIndex, KString* error) const {
    std::string reason;
    auto fail = [&](const std::string& what) {
        if (error)
            *error = what.empty() ? reason : what;
        return false;
    };
    if (!m_node || typeId() != kAbcTypePolyMesh)
        return fail("not a polygon mesh");
    const AbcPropertyNode* geom = schemaCompound(*m_node, ".geom");
    const AbcPropertyNode* pointsProperty = geom ? geom->child("P") : nullptr;
    if (!pointsProperty)
        return fail("polygon mesh without positions");
    const ArchiveReader& archive = *m_archive;

    // Everything is located, read into local arrays and checked first so that a failure leaves
    // every output as it was. The positions, the per-frame bulk, come last and are read straight
    // into the caller's array.
    Located points;
    const bool wantPoints = positions || bounds;
    const bool wantTopology = polygonCounts || polygonConnections;
    std::size_t pointCount = 0;
    if (wantPoints || wantTopology) {
        if (!locateTyped(archive, *pointsProperty, Pod::F32, 3, sampleIndex, points, &reason))
            return fail("");
        pointCount = points.bytes / sizeof(KVector);
    }

    KIntArray counts;
    KIntArray indices;
    if (wantTopology) {
        const AbcPropertyNode* countsProperty = geom->child(".faceCounts");
        const AbcPropertyNode* indicesProperty = geom->child(".faceIndices");
        if (!countsProperty || !indicesProperty)
            return fail("polygon mesh without face counts or indices");
        Located countsAt;
        Located indicesAt;
        if (!locateTyped(archive, *countsProperty, Pod::I32, 1, sampleIndex, countsAt, &reason) ||
            !locateTyped(archive, *indicesProperty, Pod::I32, 1, sampleIndex, indicesAt, &reason) ||
            !readInto(archive, countsAt, counts, &reason) || !readInto(archive, indicesAt, indices, &reason))
            return fail("");
        std::uint64_t sum = 0;
        for (const int c : counts) {
            if (c < 0)
                return fail("negative polygon size");
            sum += static_cast<std::uint64_t>(c);
        }
        if (sum != indices.size())
            return fail("polygon sizes do not add up to the number of face indices");
        // Unsigned compare catches negative indices too.
        std::uint32_t worst = 0;
        for (const int index : indices) {
            const std::uint32_t v = static_cast<std::uint32_t>(index);
            worst = v > worst ? v : worst;
        }
        if (!indices.empty() && worst >= pointCount)
            return fail("face index beyond the mesh's points");
    }

    KVectorArray velocityValues;
    const AbcPropertyNode* velocityProperty = geom->child(".velocities");
    if (velocities && velocityProperty) {
        Located at;
        if (!locateTyped(archive, *velocityProperty, Pod::F32, 3, sampleIndex, at, &reason) ||
            !readInto(archive, at, velocityValues, &reason))
            return fail("");
    }

    KFloatArray uvValues;
    KIntArray uvIndexValues;
    if (uvs || uvIndices) {
        if (const AbcPropertyNode* uv = geom->child("uv")) {
            const bool indexed = uv->kind == PropertyKind::Compound;
            const AbcPropertyNode* vals = indexed ? uv->child(".vals") : uv;
            const AbcPropertyNode* idx = indexed ? uv->child(".indices") : nullptr;
            if (indexed && (!vals || !idx))
                return fail("indexed uvs without values or indices");
            Located valsAt;
            if (!locateTyped(archive, *vals, Pod::F32, 2, sampleIndex, valsAt, &reason) ||
                !readInto(archive, valsAt, uvValues, &reason))
                return fail("");
            Located idxAt;
            if (indexed && (!locateTyped(archive, *idx, Pod::U32, 1, sampleIndex, idxAt, &reason) ||
                            !readInto(archive, idxAt, uvIndexValues, &reason)))
                return fail("");
        }
    }

    double world[16];
    if (xform && !_placement(m_node->parent, _sampleTime(sampleIndex), world, &reason))
        return fail("");

    if (wantPoints) {
        // The positions were located and checked above, so this read fails only when the file
        // changed on disk in between or cannot be read; the caller's positions are then
        // emptied, never left half old and half new.
        KVectorArray localPoints;
        KVectorArray& target = positions ? *positions : localPoints;
        if (!readInto(archive, points, target, &reason)) {
            target.clear();
            return fail("");
        }
        if (bounds) {
            KBoundingBox box;
            for (const KVector& p : target)
                if (std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z))
                    box.expand(p);
            *bounds = box;
        }
    }

    // All reads and checks passed: hand over the local arrays.
    if (polygonCounts)
        polygonCounts->swap(counts);
    if (polygonConnections)
        polygonConnections->swap(indices);
    if (velocities)
        velocities->swap(velocityValues); // empty when the mesh stores none
    if (uvs)
        uvs->swap(uvValues);
    if (uvIndices)
        uvIndices->swap(uvIndexValues); // empty when not indexed
    if (xform)
        for (int i = 0; i < 16; ++i)
            xform->m[i / 4][i % 4] = static_cast<float>(world[i]);
    return true;
}

// ---------------------------------------------------------------------------------------------

void GetAllDescendantObjects(const KAlembicObject& root, KAlembicObjectArray& out, bool recursive) {
    out.clear();
    if (!root.isValid())
        return;
    if (!recursive) {
        for (int i = 0; i < root.numChildren(); ++i) {
            KAlembicObject child;
            root.getChild(i, child);
            out.push_back(child);
        }
        return;
    }
    // Explicit stack: hierarchies can be deep, and pre-order needs children pushed in reverse.
    std::vector<KAlembicObject> stack;
    for (int i = root.numChildren() - 1; i >= 0; --i) {
        KAlembicObject child;
        root.getChild(i, child);
        stack.push_back(child);
    }
    while (!stack.empty()) {
        KAlembicObject object = stack.back();
        stack.pop_back();
        for (int i = object.numChildren() - 1; i >= 0; --i) {
            KAlembicObject child;
            object.getChild(i, child);
            stack.push_back(child);
        }
        out.push_back(std::move(object));
    }
}

// ---------------------------------------------------------------------------------------------
// KAlembicArchive

KAlembicArchive::KAlembicArchive() = default;
KAlembicArchive::~KAlembicArchive() = default;

bool KAlembicArchive::_adopt(std::unique_ptr<ArchiveReader> reader) {
    if (!reader) {
        m_archive.reset();
        m_top = KAlembicObject();
        return false;
    }
    m_archive = std::shared_ptr<const ArchiveReader>(std::move(reader));
    m_top = KAlembicObject(m_archive, &m_archive->root());
    m_error = KString();
    return true;
}

bool KAlembicArchive::open(const char* path) {
    reset();
    if (!path || !*path) {
        m_error = "no file name given";
        return false;
    }
    std::string error;
    std::unique_ptr<ArchiveReader> reader = Abc::openArchiveReader(path, error);
    m_error = error;
    return _adopt(std::move(reader));
}

bool KAlembicArchive::openFromMemory(const void* data, std::size_t size) {
    reset();
    if (!data && size) {
        m_error = "no data given";
        return false;
    }
    std::string error;
    std::unique_ptr<ArchiveReader> reader = Abc::openArchiveReaderFromMemory(data, size, error);
    m_error = error;
    return _adopt(std::move(reader));
}

void KAlembicArchive::reset() {
    m_archive.reset();
    m_top = KAlembicObject();
    m_error = KString();
}

namespace {

const Abc::TimeSampling* primarySampling(const ArchiveReader* archive) {
    if (!archive || archive->timeSamplings().empty())
        return nullptr;
    const auto& samplings = archive->timeSamplings();
    return samplings.size() > 1 ? &samplings[1] : &samplings[0];
}

// The archive's time range, as the writing library's tools define it.
bool timeRange(const ArchiveReader* archive, double& start, double& end) {
    if (!archive)
        return false;
    const auto& samplings = archive->timeSamplings();
    for (int pass = 0; pass < 2; ++pass) {
        bool found = false;
        for (std::size_t i = 1; i < samplings.size(); ++i) {
            const std::uint32_t m = samplings[i].maxSamples;
            if (pass == 0 ? m <= 1 : m != 1)
                continue;
            const double first = samplings[i].sampleTime(0);
            const double last = samplings[i].sampleTime(m - 1);
            start = found ? std::min(start, first) : first;
            end = found ? std::max(end, last) : last;
            found = true;
        }
        if (found)
            return true;
    }
    if (!samplings.empty() && samplings[0].maxSamples > 0) {
        start = samplings[0].sampleTime(0);
        end = samplings[0].sampleTime(samplings[0].maxSamples - 1);
        return true;
    }
    return false;
}

} // namespace

double KAlembicArchive::startTime() const {
    double start = 0.0, end = 0.0;
    return timeRange(m_archive.get(), start, end) ? start : 0.0;
}

double KAlembicArchive::endTime() const {
    double start = 0.0, end = 0.0;
    return timeRange(m_archive.get(), start, end) ? end : 0.0;
}

double KAlembicArchive::timeStepSize() const {
    const Abc::TimeSampling* ts = primarySampling(m_archive.get());
    if (!ts)
        return 1.0;
    double step = 1.0;
    switch (ts->kind()) {
    case Abc::TimeSampling::Kind::Uniform:
        step = ts->timePerCycle;
        break;
    case Abc::TimeSampling::Kind::Cyclic:
        step = ts->timePerCycle / static_cast<double>(ts->storedTimes.size());
        break;
    case Abc::TimeSampling::Kind::Acyclic:
        if (ts->storedTimes.size() > 1)
            step = (ts->storedTimes.back() - ts->storedTimes.front()) /
                   static_cast<double>(ts->storedTimes.size() - 1);
        break;
    }
    return std::isfinite(step) && step > 0.0 ? step : 1.0;
}

KString KAlembicArchive::archiveTypeStr() const {
    return m_archive ? KString(m_archive->backendName()) : KString("none");
}

KString KAlembicArchive::timeSamplingTypeStr() const {
    const Abc::TimeSampling* ts = primarySampling(m_archive.get());
    if (!ts)
        return KString("none");
    switch (ts->kind()) {
    case Abc::TimeSampling::Kind::Uniform:
        return KString("uniform");
    case Abc::TimeSampling::Kind::Cyclic:
        return KString("cyclic");
    default:
        return KString("acyclic");
    }
}

int KAlembicArchive::libraryVersion() const { return m_archive ? m_archive->libraryVersion() : 0; }

KString KAlembicArchive::archiveMetaData(const char* key) const {
    return m_archive && key ? KString(m_archive->archiveMetaData().get(key)) : KString();
}

int KAlembicArchive::numObjects() const {
    return m_archive ? static_cast<int>(std::min<std::size_t>(m_archive->numObjects(), INT_MAX)) : 0;
}

} // namespace Kelno
