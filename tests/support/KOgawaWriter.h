// A small writer of Ogawa-backed Alembic archives, for tests and benchmarks only.
//
// It writes just what the reader's tests and the benchmark need: uniform time samplings,
// transforms with one translate op, polygon meshes with positions per sample and constant or
// animated topology, plain scalar/array properties (for instance "visible") and instances (an
// object whose string property ".instanceSource" names the object it stands for). Everything is
// written bottom-up (children before the groups that list them), as the official writer does;
// sample payloads are not de-duplicated and metadata is always written inline.
//
// Usage: make a writer on a file, write property samples (returning group references), wrap
// them in compounds and objects, then finish() with the root object.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace KelnoTest {

class OgawaWriter {
  public:
    // POD codes as the file stores them.
    enum Pod : std::uint32_t { Bool = 0, U8 = 1, I8 = 2, U32 = 5, I32 = 6, F32 = 10, F64 = 11, String = 12 };

    // One entry of a compound's property-headers blob.
    struct Property {
        std::string name;
        std::uint32_t type = 0; // 0 compound, 1 scalar, 2 array
        std::uint32_t pod = 0;
        std::uint32_t extent = 1;
        std::uint32_t numSamples = 0;
        bool constant = true; // every sample equals sample 0 (one stored slot)
        std::uint32_t timeSampling = 0;
        std::string metaData;
        std::uint64_t group = 0; // reference of the property's group
    };

    // One entry of an object's headers blob.
    struct Child {
        std::string name;
        std::string metaData;
        std::uint64_t group = 0;
    };

    explicit OgawaWriter(const std::string& path) : m_out(path, std::ios::binary | std::ios::trunc) {
        if (!m_out)
            throw std::runtime_error("cannot write " + path);
        const unsigned char header[16] = {'O', 'g', 'a', 'w', 'a', 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
        _raw(header, sizeof(header));
    }

    // A data block; returns its child reference.
    std::uint64_t data(const void* bytes, std::uint64_t size) {
        if (size == 0)
            return kDataBit;
        const std::uint64_t at = m_pos;
        _u64(size);
        _raw(bytes, size);
        return kDataBit | at;
    }
    // A sample block: 16-byte content key (zeros; readers ignore it) then the value bytes.
    std::uint64_t sample(const void* bytes, std::uint64_t size) {
        const std::uint64_t at = m_pos;
        _u64(size + 16);
        const unsigned char key[16] = {};
        _raw(key, 16);
        _raw(bytes, size);
        return kDataBit | at;
    }
    // A group; returns its child reference (0, the empty group, when it has no children).
    std::uint64_t group(const std::vector<std::uint64_t>& children) {
        if (children.empty())
            return 0;
        const std::uint64_t at = m_pos;
        _u64(children.size());
        for (std::uint64_t c : children)
            _u64(c);
        return at;
    }

    // Scalar property storage: one sample block per stored slot.
    std::uint64_t scalarSamples(const std::vector<std::vector<unsigned char>>& slots) {
        std::vector<std::uint64_t> refs;
        for (const auto& s : slots)
            refs.push_back(sample(s.data(), s.size()));
        return group(refs);
    }
    // Array property storage: (values, empty dimensions) per stored slot.
    std::uint64_t arraySamples(const std::vector<std::pair<const void*, std::uint64_t>>& slots) {
        std::vector<std::uint64_t> refs;
        for (const auto& s : slots) {
            refs.push_back(s.second ? sample(s.first, s.second) : kDataBit);
            refs.push_back(kDataBit);
        }
        return group(refs);
    }

    // A compound property: its sub-property groups then the headers blob.
    std::uint64_t compound(const std::vector<Property>& properties) {
        if (properties.empty())
            return 0;
        std::vector<unsigned char> blob;
        std::vector<std::uint64_t> refs;
        for (const Property& p : properties) {
            _propertyHeader(p, blob);
            refs.push_back(p.group);
        }
        refs.push_back(data(blob.data(), blob.size()));
        return group(refs);
    }

    // An object: top compound, child objects, headers blob (records then 32 hash bytes).
    std::uint64_t object(std::uint64_t topCompound, const std::vector<Child>& children) {
        std::vector<unsigned char> blob;
        std::vector<std::uint64_t> refs{topCompound};
        for (const Child& c : children) {
            _put32(blob, static_cast<std::uint32_t>(c.name.size()));
            blob.insert(blob.end(), c.name.begin(), c.name.end());
            if (c.metaData.empty()) {
                blob.push_back(0);
            } else {
                blob.push_back(255);
                _put32(blob, static_cast<std::uint32_t>(c.metaData.size()));
                blob.insert(blob.end(), c.metaData.begin(), c.metaData.end());
            }
            refs.push_back(c.group);
        }
        blob.insert(blob.end(), 32, 0);
        refs.push_back(data(blob.data(), blob.size()));
        return group(refs);
    }

    // Adds a uniform time sampling (index 1, 2, ...; 0 is the default) and returns its index.
    std::uint32_t uniformSampling(double step, double start, std::uint32_t maxSamples) {
        m_samplings.push_back({maxSamples, step, start});
        return static_cast<std::uint32_t>(m_samplings.size());
    }

    // Writes the archive's top group and closes the file (frozen).
    void finish(std::uint64_t rootObject, const std::string& archiveMetaData = "") {
        const std::int32_t zero = 0;
        const std::int32_t version = 10812;
        std::vector<unsigned char> ts;
        auto record = [&ts](std::uint32_t maxSamples, double step, double start) {
            _put32(ts, maxSamples);
            _putRaw(ts, &step, 8);
            _put32(ts, 1);
            _putRaw(ts, &start, 8);
        };
        record(1, 1.0, 0.0);
        for (const auto& s : m_samplings)
            record(s.maxSamples, s.step, s.start);
        std::vector<std::uint64_t> top;
        top.push_back(data(&zero, 4));
        top.push_back(data(&version, 4));
        top.push_back(rootObject);
        top.push_back(data(archiveMetaData.data(), archiveMetaData.size()));
        top.push_back(data(ts.data(), ts.size()));
        top.push_back(kDataBit);
        const std::uint64_t topGroup = group(top);
        m_out.seekp(8);
        m_out.write(reinterpret_cast<const char*>(&topGroup), 8);
        m_out.seekp(5);
        const char frozen = static_cast<char>(0xff);
        m_out.write(&frozen, 1);
        m_out.close();
        if (!m_out)
            throw std::runtime_error("writing the archive failed");
    }

    // Helpers that build complete property entries.
    template <class T> Property scalarProperty(const std::string& name, Pod pod,
                                               const std::vector<T>& perSample, std::uint32_t timeSampling) {
        Property p;
        p.name = name;
        p.type = 1;
        p.pod = pod;
        p.numSamples = static_cast<std::uint32_t>(perSample.size());
        p.timeSampling = timeSampling;
        p.constant = _allSame(perSample);
        std::vector<std::vector<unsigned char>> slots;
        for (std::size_t i = 0;
             i < (p.constant ? std::min<std::size_t>(1, perSample.size()) : perSample.size()); ++i) {
            const auto* b = reinterpret_cast<const unsigned char*>(&perSample[i]);
            slots.emplace_back(b, b + sizeof(T));
        }
        p.extent = static_cast<std::uint32_t>(sizeof(T) / _podBytes(pod));
        p.group = scalarSamples(slots);
        return p;
    }

    // An array property whose samples are given as byte runs (one per sample).
    Property arrayProperty(const std::string& name, Pod pod, std::uint32_t extent,
                           const std::vector<std::pair<const void*, std::uint64_t>>& perSample,
                           std::uint32_t timeSampling, bool constant) {
        Property p;
        p.name = name;
        p.type = 2;
        p.pod = pod;
        p.extent = extent;
        p.numSamples = static_cast<std::uint32_t>(perSample.size());
        p.timeSampling = timeSampling;
        p.constant = constant || perSample.size() <= 1;
        std::vector<std::pair<const void*, std::uint64_t>> slots = perSample;
        if (p.constant && slots.size() > 1)
            slots.resize(1);
        p.group = arraySamples(slots);
        return p;
    }

    // A constant string scalar (stored NUL-terminated).
    Property stringProperty(const std::string& name, const std::string& value) {
        Property p;
        p.name = name;
        p.type = 1;
        p.pod = String;
        p.numSamples = 1;
        p.group =
            scalarSamples({std::vector<unsigned char>(value.c_str(), value.c_str() + value.size() + 1)});
        return p;
    }

    static Property compoundProperty(const std::string& name, const std::string& metaData,
                                     std::uint64_t group) {
        Property p;
        p.name = name;
        p.metaData = metaData;
        p.group = group;
        return p;
    }

    static constexpr std::uint64_t kDataBit = 0x8000000000000000ULL;

  private:
    struct Sampling {
        std::uint32_t maxSamples;
        double step;
        double start;
    };

    template <class T> static bool _allSame(const std::vector<T>& v) {
        for (std::size_t i = 1; i < v.size(); ++i)
            if (std::memcmp(&v[i], &v[0], sizeof(T)) != 0)
                return false;
        return true;
    }
    static std::uint32_t _podBytes(std::uint32_t pod) {
        return pod <= 2 ? 1 : (pod <= 4 ? 2 : (pod <= 6 || pod == 10 ? 4 : 8));
    }
    static void _put32(std::vector<unsigned char>& b, std::uint32_t v) { _putRaw(b, &v, 4); }
    static void _putRaw(std::vector<unsigned char>& b, const void* p, std::size_t n) {
        const auto* c = static_cast<const unsigned char*>(p);
        b.insert(b.end(), c, c + n);
    }
    static void _putSized(std::vector<unsigned char>& b, std::uint32_t width, std::uint32_t v) {
        for (std::uint32_t i = 0; i < width; ++i)
            b.push_back(static_cast<unsigned char>(v >> (8 * i)));
    }

    void _propertyHeader(const Property& p, std::vector<unsigned char>& blob) {
        const std::uint64_t largest =
            std::max<std::uint64_t>({p.numSamples, p.name.size(), p.timeSampling, p.metaData.size()});
        const std::uint32_t hint = largest < 256 ? 0 : (largest < 65536 ? 1 : 2);
        const std::uint32_t width = hint == 0 ? 1 : (hint == 1 ? 2 : 4);
        std::uint32_t info = p.type | (hint << 2);
        const std::uint32_t metaIndex = p.metaData.empty() ? 0 : 255;
        if (p.type != 0) {
            info |= p.pod << 4;
            if (p.timeSampling)
                info |= 0x100;
            if (p.constant)
                info |= 0x800;
            info |= (p.extent & 0xff) << 12;
        }
        info |= metaIndex << 20;
        _put32(blob, info);
        if (p.type != 0) {
            _putSized(blob, width, p.numSamples);
            if (p.timeSampling)
                _putSized(blob, width, p.timeSampling);
        }
        _putSized(blob, width, static_cast<std::uint32_t>(p.name.size()));
        blob.insert(blob.end(), p.name.begin(), p.name.end());
        if (metaIndex == 255) {
            _putSized(blob, width, static_cast<std::uint32_t>(p.metaData.size()));
            blob.insert(blob.end(), p.metaData.begin(), p.metaData.end());
        }
    }

    void _raw(const void* p, std::uint64_t n) {
        m_out.write(static_cast<const char*>(p), static_cast<std::streamsize>(n));
        m_pos += n;
    }
    void _u64(std::uint64_t v) { _raw(&v, 8); }

    std::ofstream m_out;
    std::uint64_t m_pos = 0;
    std::vector<Sampling> m_samplings;
};

// A small scene: /xform (a translate along x per sample, "visible" per sample) over /xform/mesh, a
// polygon mesh whose positions change every sample and whose topology is constant. The mesh
// and the transform may use different uniform samplings. With an instance source, a second
// transform /group (translate (0, 10, 0)) holds "inst", an instance of that object path.
struct MeshScene {
    std::vector<std::vector<float>> positions; // 3 floats per point, one run per mesh sample
    std::vector<std::int32_t> faceCounts;
    std::vector<std::int32_t> faceIndices;
    std::vector<double> translateX;   // one per transform sample
    std::vector<std::int8_t> visible; // one per transform sample, or none
    double meshStep = 1.0 / 24.0;
    double meshStart = 1.0 / 24.0;
    double xformStep = 0.0; // 0: the transform uses the mesh's sampling
    double xformStart = 0.0;
    std::string instanceSource;
};

inline const char* meshSchemaMetaData() {
    return "schema=AbcGeom_PolyMesh_v1;schemaObjTitle=AbcGeom_PolyMesh_v1:.geom";
}
inline const char* xformSchemaMetaData() {
    return "schema=AbcGeom_Xform_v3;schemaObjTitle=AbcGeom_Xform_v3:.xform";
}

inline void writeMeshScene(const std::string& path, const MeshScene& scene) {
    OgawaWriter w(path);
    const std::uint32_t samples = static_cast<std::uint32_t>(scene.positions.size());
    const std::uint32_t xformSamples = static_cast<std::uint32_t>(scene.translateX.size());
    const std::uint32_t ts = w.uniformSampling(
        scene.meshStep, scene.meshStart, scene.xformStep > 0 ? samples : std::max(samples, xformSamples));
    const std::uint32_t xts =
        scene.xformStep > 0 ? w.uniformSampling(scene.xformStep, scene.xformStart, xformSamples) : ts;

    std::vector<std::pair<const void*, std::uint64_t>> p, counts, indices;
    for (const auto& s : scene.positions) {
        p.emplace_back(s.data(), s.size() * 4);
        counts.emplace_back(scene.faceCounts.data(), scene.faceCounts.size() * 4);
        indices.emplace_back(scene.faceIndices.data(), scene.faceIndices.size() * 4);
    }
    std::vector<OgawaWriter::Property> geom;
    auto pointsProperty = w.arrayProperty("P", OgawaWriter::F32, 3, p, ts, false);
    pointsProperty.metaData = "geoScope=vtx;interpretation=point";
    geom.push_back(pointsProperty);
    geom.push_back(w.arrayProperty(".faceIndices", OgawaWriter::I32, 1, indices, ts, true));
    geom.push_back(w.arrayProperty(".faceCounts", OgawaWriter::I32, 1, counts, ts, true));
    const std::uint64_t geomGroup = w.compound(geom);
    const std::uint64_t meshTop = w.compound({OgawaWriter::compoundProperty(
        ".geom", "schema=AbcGeom_PolyMesh_v1;schemaBaseType=AbcGeom_GeomBase_v1", geomGroup)});
    const std::uint64_t meshObject = w.object(meshTop, {});

    struct Vec3 {
        double v[3];
    };
    auto xformCompound = [&w](const std::vector<Vec3>& vals, std::uint32_t timeSampling) {
        std::vector<OgawaWriter::Property> xform;
        xform.push_back(w.scalarProperty(".inherits", OgawaWriter::Bool,
                                         std::vector<unsigned char>(vals.size(), 1), timeSampling));
        xform.push_back(
            w.scalarProperty(".ops", OgawaWriter::U8, std::vector<std::uint8_t>(vals.size(), 0x10), 0));
        xform.push_back(w.scalarProperty(".vals", OgawaWriter::F64, vals, timeSampling));
        return OgawaWriter::compoundProperty(".xform", "schema=AbcGeom_Xform_v3", w.compound(xform));
    };
    std::vector<Vec3> vals;
    for (double x : scene.translateX)
        vals.push_back({{x, 0.0, 0.0}});
    std::vector<OgawaWriter::Property> xformTop{xformCompound(vals, xts)};
    if (!scene.visible.empty())
        xformTop.push_back(w.scalarProperty("visible", OgawaWriter::I8, scene.visible, xts));
    const std::uint64_t xformObject =
        w.object(w.compound(xformTop), {{"mesh", meshSchemaMetaData(), meshObject}});
    std::vector<OgawaWriter::Child> rootChildren{{"xform", xformSchemaMetaData(), xformObject}};
    if (!scene.instanceSource.empty()) {
        const std::uint64_t instance =
            w.object(w.compound({w.stringProperty(".instanceSource", scene.instanceSource)}), {});
        const std::uint64_t group = w.object(w.compound({xformCompound({{{0.0, 10.0, 0.0}}}, 0)}),
                                             {{"inst", "isInstance=1", instance}});
        rootChildren.push_back({"group", xformSchemaMetaData(), group});
    }
    w.finish(w.object(0, rootChildren), "_ai_Application=kelno test writer");
}

} // namespace KelnoTest
