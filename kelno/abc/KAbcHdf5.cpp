#include "KAbcHdf5.h"

#include <hdf5.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>

#if !defined(_WIN32)
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELNO_ADDRESS_SANITIZER 1
extern "C" void __sanitizer_set_death_callback(void (*callback)(void));
#endif
#endif
#ifndef KELNO_ADDRESS_SANITIZER
#define KELNO_ADDRESS_SANITIZER 0
#endif

namespace Kelno {
namespace Abc {

namespace {

// Objects and compound properties nest by recursion; real archives stay far below this.
const int kMaxDepth = 400;
// Longest header ("NAME.info") and time array we accept from an attribute.
const hsize_t kMaxInfoElements = 5;
const hsize_t kMaxAttributeElements = 1u << 24;

// The one lock around the HDF5 library (see the header).
std::mutex& libraryLock() {
    static std::mutex lock;
    return lock;
}

// Closes an HDF5 identifier when it goes out of scope.
class Handle {
  public:
    Handle() = default;
    Handle(hid_t id, herr_t (*close)(hid_t)) : m_id(id), m_close(close) {}
    ~Handle() { reset(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    Handle(Handle&& other) noexcept : m_id(other.m_id), m_close(other.m_close) { other.m_id = -1; }
    Handle& operator=(Handle&& other) noexcept {
        if (this != &other) {
            reset();
            m_id = other.m_id;
            m_close = other.m_close;
            other.m_id = -1;
        }
        return *this;
    }
    void reset() {
        if (m_id >= 0 && m_close)
            m_close(m_id);
        m_id = -1;
    }
    bool ok() const { return m_id >= 0; }
    hid_t id() const { return m_id; }

  private:
    hid_t m_id = -1;
    herr_t (*m_close)(hid_t) = nullptr;
};

Handle openGroup(hid_t location, const std::string& name) {
    return Handle(H5Gopen2(location, name.c_str(), H5P_DEFAULT), H5Gclose);
}
Handle openAttribute(hid_t location, const std::string& name) {
    return Handle(H5Aopen(location, name.c_str(), H5P_DEFAULT), H5Aclose);
}
Handle openDataset(hid_t location, const std::string& name) {
    return Handle(H5Dopen2(location, name.c_str(), H5P_DEFAULT), H5Dclose);
}
bool attributeExists(hid_t location, const std::string& name) {
    return H5Aexists(location, name.c_str()) > 0;
}
bool linkExists(hid_t location, const std::string& name) {
    return H5Lexists(location, name.c_str(), H5P_DEFAULT) > 0;
}

// The native memory type values of the POD are read as; -1 for those we cannot convert.
hid_t nativeType(Pod pod) {
    switch (pod) {
    case Pod::Bool:
    case Pod::U8:
        return H5T_NATIVE_UINT8;
    case Pod::I8:
        return H5T_NATIVE_INT8;
    case Pod::U16:
        return H5T_NATIVE_UINT16;
    case Pod::I16:
        return H5T_NATIVE_INT16;
    case Pod::U32:
        return H5T_NATIVE_UINT32;
    case Pod::I32:
        return H5T_NATIVE_INT32;
    case Pod::U64:
        return H5T_NATIVE_UINT64;
    case Pod::I64:
        return H5T_NATIVE_INT64;
    case Pod::F32:
        return H5T_NATIVE_FLOAT;
    case Pod::F64:
        return H5T_NATIVE_DOUBLE;
    default:
        return -1;
    }
}

// Number of elements of a dataspace: 0 for a null one, -1 when it cannot be read.
long long spaceElements(hid_t space) {
    const H5S_class_t kind = H5Sget_simple_extent_type(space);
    if (kind == H5S_NULL)
        return 0;
    if (kind != H5S_SCALAR && kind != H5S_SIMPLE)
        return -1;
    const hssize_t n = H5Sget_simple_extent_npoints(space);
    return n < 0 ? -1 : static_cast<long long>(n);
}

// Reads a numeric attribute of at most maxElements elements, converted to memType.
template <class T> bool readNumbers(hid_t location, const std::string& name, hid_t memType,
                                    hsize_t maxElements, std::vector<T>& out) {
    Handle attribute = openAttribute(location, name);
    if (!attribute.ok())
        return false;
    Handle space(H5Aget_space(attribute.id()), H5Sclose);
    if (!space.ok())
        return false;
    const long long n = spaceElements(space.id());
    if (n <= 0 || static_cast<unsigned long long>(n) > maxElements)
        return false;
    out.resize(static_cast<std::size_t>(n));
    return H5Aread(attribute.id(), memType, out.data()) >= 0;
}

// Reads one string from an attribute (fixed or variable length, as the writer stored it).
bool readString(hid_t attribute, std::string& out) {
    Handle type(H5Aget_type(attribute), H5Tclose);
    if (!type.ok() || H5Tget_class(type.id()) != H5T_STRING)
        return false;
    Handle space(H5Aget_space(attribute), H5Sclose);
    if (!space.ok() || spaceElements(space.id()) != 1)
        return false;
    const htri_t variable = H5Tis_variable_str(type.id());
    if (variable < 0)
        return false;
    if (variable) {
        Handle memType(H5Tcopy(H5T_C_S1), H5Tclose);
        if (!memType.ok() || H5Tset_size(memType.id(), H5T_VARIABLE) < 0)
            return false;
        char* text = nullptr;
        if (H5Aread(attribute, memType.id(), &text) < 0)
            return false;
        out = text ? text : "";
        H5free_memory(text);
        return true;
    }
    const std::size_t size = H5Tget_size(type.id());
    if (size == 0 || size > kMaxAttributeElements)
        return false;
    Handle memType(H5Tcopy(H5T_C_S1), H5Tclose);
    if (!memType.ok() || H5Tset_size(memType.id(), size + 1) < 0 ||
        H5Tset_strpad(memType.id(), H5T_STR_NULLTERM) < 0)
        return false;
    std::vector<char> buffer(size + 1, '\0');
    if (H5Aread(attribute, memType.id(), buffer.data()) < 0)
        return false;
    out.assign(buffer.data(), std::strlen(buffer.data()));
    return true;
}

bool readStringAttribute(hid_t location, const std::string& name, std::string& out) {
    Handle attribute = openAttribute(location, name);
    return attribute.ok() && readString(attribute.id(), out);
}

herr_t collectLink(hid_t, const char* name, const H5L_info_t* info, void* data) {
    if (info && info->type == H5L_TYPE_HARD)
        static_cast<std::vector<std::string>*>(data)->push_back(name);
    return 0;
}

herr_t collectAttribute(hid_t, const char* name, const H5A_info_t*, void* data) {
    static_cast<std::vector<std::string>*>(data)->push_back(name);
    return 0;
}

// Link names of a group in creation order, or in name order when the writer did not track the
// creation order.
bool linkNames(hid_t group, std::vector<std::string>& names) {
    names.clear();
    hsize_t index = 0;
    if (H5Literate(group, H5_INDEX_CRT_ORDER, H5_ITER_INC, &index, collectLink, &names) >= 0)
        return true;
    names.clear();
    index = 0;
    return H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, &index, collectLink, &names) >= 0;
}

bool attributeNames(hid_t location, std::vector<std::string>& names) {
    names.clear();
    hsize_t index = 0;
    if (H5Aiterate2(location, H5_INDEX_CRT_ORDER, H5_ITER_INC, &index, collectAttribute, &names) >= 0)
        return true;
    names.clear();
    index = 0;
    return H5Aiterate2(location, H5_INDEX_NAME, H5_ITER_INC, &index, collectAttribute, &names) >= 0;
}

bool endsWith(const std::string& s, const char* suffix) {
    const std::size_t n = std::strlen(suffix);
    return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// Where a scalar or array property's samples live: its parent compound's group and its name.
struct Location {
    std::string group;
    std::string name;
};

class Hdf5Reader : public ArchiveReader {
  public:
    ~Hdf5Reader() override {
        std::lock_guard<std::mutex> lock(libraryLock());
        m_file.reset();
    }

    const char* backendName() const override { return "HDF5"; }

    // Makes this reader the probe process's: it takes no lock (the forking thread holds it).
    void setProbing() { m_probing = true; }
    // Opens every stored sample of every property (and reads the scalar ones): all the header
    // decoding later sample reads will do.
    void probe() { _probeObjects(m_root); }

    // Both run with the library lock held by the caller.
    bool openFile(const std::string& path, std::uint64_t fileSize, std::string& error);
    bool openMemory(const void* data, std::size_t size, std::string& error);

    bool readSample(const AbcPropertyNode& property, std::uint32_t sampleIndex, SampleView& out,
                    std::string* error) const override;
    bool sampleSize(const AbcPropertyNode& property, std::uint32_t sampleIndex, std::size_t& size,
                    std::string* error) const override;
    bool readSampleInto(const AbcPropertyNode& property, std::uint32_t sampleIndex, void* destination,
                        std::size_t size, std::string* error) const override;

  private:
    bool _parse(std::string& error);
    bool _fail(const std::string& what);
    // Most elements of that many bytes an attribute of this file can hold (attributes are
    // stored uncompressed).
    hsize_t _maxElements(std::size_t bytes) const {
        return std::min<hsize_t>(kMaxAttributeElements, m_fileSize / bytes + 1);
    }
    bool _visit(hid_t group);
    bool _parseTimeSamplings(hid_t root);
    bool _parseObject(hid_t group, const std::string& path, AbcObjectNode& node, int depth);
    bool _parseCompound(hid_t group, const std::string& path, AbcPropertyNode& node, int depth);
    bool _parseHeader(hid_t parent, const std::string& name, AbcPropertyNode& node);
    void _countMaxSamples(const AbcObjectNode& node);
    void _countMaxSamples(const AbcPropertyNode& node);

    // With the lock held: opens the sample's attribute or dataset and hands it to use().
    template <class Use> bool _withSample(const AbcPropertyNode& property, std::uint32_t sampleIndex,
                                          std::string* error, Use use) const;
    // Element count of an open sample, checked against the property's extent and the file.
    bool _elements(const AbcPropertyNode& property, hid_t sample, bool dataset, std::size_t& bytes,
                   std::string* error) const;

    void _probeSamples(const AbcPropertyNode& compound);
    void _probeObjects(const AbcObjectNode& node);

    Handle m_file;
    bool m_probing = false;
    std::vector<Location> m_locations;
    std::set<std::pair<unsigned long, haddr_t>> m_visited;
    bool m_haveMaxSamples = false;
    std::string m_error;
};

bool Hdf5Reader::_fail(const std::string& what) {
    if (m_error.empty())
        m_error = what;
    return false;
}

bool Hdf5Reader::openFile(const std::string& path, std::uint64_t fileSize, std::string& error) {
    m_fileSize = fileSize;
    Handle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose);
    // No file locks: we only read, and locking fails on network file systems without it.
    if (!access.ok() || H5Pset_fclose_degree(access.id(), H5F_CLOSE_STRONG) < 0 ||
        H5Pset_file_locking(access.id(), 0, 1) < 0) {
        error = "cannot set up the HDF5 library";
        return false;
    }
    m_file = Handle(H5Fopen(path.c_str(), H5F_ACC_RDONLY, access.id()), H5Fclose);
    if (!m_file.ok()) {
        error = "damaged HDF5 archive: the HDF5 library cannot open it";
        return false;
    }
    return _parse(error);
}

bool Hdf5Reader::openMemory(const void* data, std::size_t size, std::string& error) {
    m_fileSize = size;
    Handle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose);
    // The image is copied by the library; nothing is written back.
    if (!access.ok() || H5Pset_fclose_degree(access.id(), H5F_CLOSE_STRONG) < 0 ||
        H5Pset_fapl_core(access.id(), 64 * 1024, 0) < 0 ||
        H5Pset_file_image(access.id(), const_cast<void*>(data), size) < 0) {
        error = "cannot set up the HDF5 library";
        return false;
    }
    m_file = Handle(H5Fopen("in-memory archive", H5F_ACC_RDONLY, access.id()), H5Fclose);
    if (!m_file.ok()) {
        error = "damaged HDF5 archive: the HDF5 library cannot open it";
        return false;
    }
    return _parse(error);
}

bool Hdf5Reader::_visit(hid_t group) {
    H5O_info_t info;
    if (H5Oget_info2(group, &info, H5O_INFO_BASIC) < 0)
        return _fail("cannot inspect a group");
    if (info.type != H5O_TYPE_GROUP)
        return _fail("an object or property is not a group");
    if (!m_visited.insert(std::make_pair(info.fileno, info.addr)).second)
        return _fail("groups are linked in a cycle or shared");
    return true;
}

bool Hdf5Reader::_parse(std::string& error) {
    Handle root = openGroup(m_file.id(), "/");
    if (!root.ok()) {
        error = "damaged HDF5 archive: no root group";
        return false;
    }
    std::vector<std::int32_t> version;
    if (!readNumbers(root.id(), "abc_version", H5T_NATIVE_INT32, 1, version)) {
        error = "not an Alembic archive (an HDF5 file without the Alembic version attribute)";
        return false;
    }
    if (version[0] != -8) {
        error = "unsupported Alembic HDF5 layout version " + std::to_string(version[0]);
        return false;
    }
    std::vector<std::int32_t> release;
    if (readNumbers(root.id(), "abc_release_version", H5T_NATIVE_INT32, 1, release))
        m_libraryVersion = release[0];

    if (_parseTimeSamplings(root.id())) {
        Handle top = openGroup(root.id(), "ABC");
        if (!top.ok()) {
            _fail("the top object group ABC is missing");
        } else {
            std::string meta;
            if (attributeExists(top.id(), ".prop.meta") && !readStringAttribute(top.id(), ".prop.meta", meta))
                _fail("unreadable archive metadata");
            m_archiveMetaData.parse(meta);
            m_root.name = "ABC";
            m_root.fullPath = "/";
            if (m_error.empty() && _visit(top.id()))
                _parseObject(top.id(), "/ABC", m_root, 0);
        }
    }
    if (!m_error.empty()) {
        error = "damaged HDF5 archive: " + m_error;
        return false;
    }
    if (!m_haveMaxSamples)
        _countMaxSamples(m_root);
    m_visited.clear();
    return true;
}

bool Hdf5Reader::_parseTimeSamplings(hid_t root) {
    m_timeSamplings.assign(1, TimeSampling());
    for (std::uint32_t i = 1;; ++i) {
        const std::string prefix = std::to_string(i);
        const bool hasTspc = attributeExists(root, prefix + ".tspc");
        const bool hasTtpc = attributeExists(root, prefix + ".ttpc");
        if (!hasTspc && !hasTtpc)
            break;
        if (i > 100000)
            return _fail("too many time samplings");
        TimeSampling ts;
        std::vector<double> ttpc;
        std::vector<std::uint32_t> tspc;
        if ((hasTtpc && !readNumbers(root, prefix + ".ttpc", H5T_NATIVE_DOUBLE, 1, ttpc)) ||
            (hasTspc && !readNumbers(root, prefix + ".tspc", H5T_NATIVE_UINT32, 1, tspc)) ||
            !readNumbers(root, prefix + ".time", H5T_NATIVE_DOUBLE, _maxElements(8), ts.storedTimes))
            return _fail("unreadable time sampling " + prefix);
        if (hasTspc && tspc[0] == 0xffffffffu) {
            ts.timePerCycle = TimeSampling::acyclicTimePerCycle();
        } else {
            ts.timePerCycle = hasTtpc ? ttpc[0] : 1.0;
            if (!std::isfinite(ts.timePerCycle) || !(ts.timePerCycle > 0.0))
                return _fail("time sampling with a bad time per cycle");
            const std::size_t perCycle = hasTspc ? tspc[0] : 1;
            if (perCycle <= 1)
                ts.storedTimes.resize(1);
            else if (ts.storedTimes.size() != perCycle)
                return _fail("cyclic time sampling whose stored times do not fill a cycle");
        }
        for (const double t : ts.storedTimes)
            if (!std::isfinite(t))
                return _fail("time sampling with a non-finite time");
        m_timeSamplings.push_back(std::move(ts));
    }
    std::vector<std::int64_t> maxSamples;
    if (attributeExists(root, "abc_max_samples")) {
        if (!readNumbers(root, "abc_max_samples", H5T_NATIVE_INT64, _maxElements(8), maxSamples))
            return _fail("unreadable maximum sample counts");
        m_haveMaxSamples = true;
        for (std::size_t i = 0; i < maxSamples.size() && i < m_timeSamplings.size(); ++i)
            m_timeSamplings[i].maxSamples = static_cast<std::uint32_t>(
                std::min<std::int64_t>(std::max<std::int64_t>(maxSamples[i], 0), 0xffffffffLL));
    }
    return true;
}

// Older writers store no maximum sample counts: derive them as the writer would have, with a
// property that never changed counting as one sample.
void Hdf5Reader::_countMaxSamples(const AbcPropertyNode& node) {
    for (const auto& child : node.children) {
        if (child->kind == PropertyKind::Compound) {
            _countMaxSamples(*child);
            continue;
        }
        const std::uint32_t n =
            child->isConstant() ? std::min<std::uint32_t>(child->numSamples, 1) : child->numSamples;
        TimeSampling& ts = m_timeSamplings[child->timeSampling];
        ts.maxSamples = std::max(ts.maxSamples, n);
    }
}

void Hdf5Reader::_countMaxSamples(const AbcObjectNode& node) {
    _countMaxSamples(node.properties);
    for (const auto& child : node.children)
        _countMaxSamples(*child);
}

bool Hdf5Reader::_parseObject(hid_t group, const std::string& path, AbcObjectNode& node, int depth) {
    if (depth > kMaxDepth)
        return _fail("object hierarchy nested too deeply");
    ++m_numObjects;
    if (node.parent) {
        std::string meta;
        if (attributeExists(group, ".prop.meta") && !readStringAttribute(group, ".prop.meta", meta))
            return _fail("unreadable metadata of object " + node.fullPath);
        node.metaData.parse(meta);
    }
    std::vector<std::string> links;
    if (!linkNames(group, links))
        return _fail("cannot list the children of object " + node.fullPath);
    node.properties.kind = PropertyKind::Compound;
    for (const std::string& link : links) {
        if (link == ".prop") {
            Handle properties = openGroup(group, link);
            if (!properties.ok() || !_visit(properties.id()))
                return _fail("bad property group of object " + node.fullPath);
            if (!_parseCompound(properties.id(), path + "/.prop", node.properties, depth + 1))
                return false;
            continue;
        }
        std::unique_ptr<AbcObjectNode> child(new AbcObjectNode);
        child->name = link;
        child->parent = &node;
        child->fullPath = (node.parent ? node.fullPath + "/" : std::string("/")) + link;
        node.children.push_back(std::move(child));
    }
    for (auto& child : node.children) {
        Handle childGroup = openGroup(group, child->name);
        if (!childGroup.ok() || !_visit(childGroup.id()))
            return _fail("bad object group " + child->fullPath);
        if (!_parseObject(childGroup.id(), path + "/" + child->name, *child, depth + 1))
            return false;
    }
    return true;
}

bool Hdf5Reader::_parseCompound(hid_t group, const std::string& path, AbcPropertyNode& node, int depth) {
    if (depth > kMaxDepth)
        return _fail("properties nested too deeply");
    std::vector<std::string> attributes;
    if (!attributeNames(group, attributes))
        return _fail("cannot list the properties in " + path);
    for (const std::string& attribute : attributes) {
        if (attribute.size() <= 5 || !endsWith(attribute, ".info"))
            continue;
        std::unique_ptr<AbcPropertyNode> child(new AbcPropertyNode);
        child->name = attribute.substr(0, attribute.size() - 5);
        if (!_parseHeader(group, child->name, *child))
            return false;
        if (child->kind == PropertyKind::Compound) {
            Handle sub = openGroup(group, child->name);
            if (!sub.ok() || !_visit(sub.id()))
                return _fail("compound property " + child->name + " without its group in " + path);
            if (!_parseCompound(sub.id(), path + "/" + child->name, *child, depth + 1))
                return false;
        } else {
            child->storage = m_locations.size();
            m_locations.push_back(Location{path, child->name});
        }
        node.children.push_back(std::move(child));
    }
    return true;
}

bool Hdf5Reader::_parseHeader(hid_t parent, const std::string& name, AbcPropertyNode& node) {
    std::vector<std::uint32_t> v;
    if (!readNumbers(parent, name + ".info", H5T_NATIVE_UINT32, kMaxInfoElements, v))
        return _fail("unreadable header of property " + name);
    std::string meta;
    if (attributeExists(parent, name + ".meta") && !readStringAttribute(parent, name + ".meta", meta))
        return _fail("unreadable metadata of property " + name);
    node.metaData.parse(meta);
    const std::size_t n = v.size();
    if (n == 1 && v[0] == 0) {
        node.kind = PropertyKind::Compound;
        return true;
    }
    const std::uint32_t type = v[0] & 0x3;
    if (type == 0)
        return _fail("property " + name + " with a bad header");
    node.kind = type == 1 ? PropertyKind::Scalar : PropertyKind::Array;
    node.scalarLike = type == 3;
    const std::uint32_t pod = (v[0] >> 2) & 0xf;
    if (pod > static_cast<std::uint32_t>(Pod::WString))
        return _fail("property " + name + " with an unknown data type");
    node.pod = static_cast<Pod>(pod);
    node.extent = (v[0] >> 8) & 0xff;
    if (node.extent == 0)
        return _fail("property " + name + " with extent 0");
    std::size_t used = 1;
    if ((v[0] & 0x40) && n > 1) {
        node.timeSampling = v[n - 1];
        used = 2;
        if (node.timeSampling >= m_timeSamplings.size())
            return _fail("property " + name + " uses a time sampling that does not exist");
    }
    if (n > used) {
        node.numSamples = v[1];
        if (n >= 4) {
            node.firstChanged = v[2];
            node.lastChanged = v[3];
        } else if ((v[0] & 0x80) && node.numSamples > 1) {
            node.firstChanged = 1;
            node.lastChanged = node.numSamples - 1;
        }
    } else {
        const std::string first = name + ".smp0";
        node.numSamples =
            (node.kind == PropertyKind::Scalar ? attributeExists(parent, first) : linkExists(parent, first))
                ? 1
                : 0;
    }
    if (node.firstChanged > node.lastChanged || (node.lastChanged > 0 && node.lastChanged >= node.numSamples))
        return _fail("property " + name + " with bad changed-sample indices");
    if (node.lastChanged == 0)
        node.firstChanged = 0;
    return true;
}

template <class Use> bool Hdf5Reader::_withSample(const AbcPropertyNode& property, std::uint32_t sampleIndex,
                                                  std::string* error, Use use) const {
    auto fail = [error](const std::string& what) {
        if (error)
            *error = what;
        return false;
    };
    if (property.kind == PropertyKind::Compound)
        return fail("a compound property has no samples");
    if (sampleIndex >= property.numSamples)
        return fail("sample index beyond the property's samples");
    if (property.storage >= m_locations.size())
        return fail("property without storage");
    const Location& at = m_locations[static_cast<std::size_t>(property.storage)];
    const std::uint32_t last = property.lastChanged;
    const std::uint32_t k =
        sampleIndex > last ? last : (sampleIndex < property.firstChanged ? 0 : sampleIndex);
    char slot[16];
    std::snprintf(slot, sizeof(slot), "%04u", k);

    // A probe (see probeInIsolation) runs alone in its own process, where the lock is already
    // taken by the thread that forked.
    std::unique_lock<std::mutex> lock(libraryLock(), std::defer_lock);
    if (!m_probing)
        lock.lock();
    Handle group = openGroup(m_file.id(), at.group);
    if (!group.ok())
        return fail("damaged archive: the group of property " + at.name + " is gone");
    Handle holder;
    hid_t location = group.id();
    if (k > 0) {
        holder = openGroup(group.id(), at.name + ".smpi");
        if (!holder.ok())
            return fail("damaged archive: the samples of property " + at.name + " are missing");
        location = holder.id();
    }
    const std::string sampleName = k > 0 ? std::string(slot) : at.name + ".smp0";
    if (property.kind == PropertyKind::Scalar) {
        Handle attribute = openAttribute(location, sampleName);
        if (!attribute.ok())
            return fail("damaged archive: sample " + std::to_string(k) + " of property " + at.name +
                        " is missing");
        return use(attribute.id(), false);
    }
    Handle dataset = openDataset(location, sampleName);
    if (!dataset.ok())
        return fail("damaged archive: sample " + std::to_string(k) + " of property " + at.name +
                    " is missing");
    return use(dataset.id(), true);
}

bool Hdf5Reader::_elements(const AbcPropertyNode& property, hid_t sample, bool dataset, std::size_t& bytes,
                           std::string* error) const {
    auto fail = [error](const std::string& what) {
        if (error)
            *error = what;
        return false;
    };
    Handle space(dataset ? H5Dget_space(sample) : H5Aget_space(sample), H5Sclose);
    const long long n = space.ok() ? spaceElements(space.id()) : -1;
    if (n < 0)
        return fail("damaged archive: unreadable sample of property " + property.name);
    const std::size_t element = podSize(property.pod);
    if (element == 0)
        return fail("property " + property.name + " holds values this reader does not convert");
    const unsigned long long count = static_cast<unsigned long long>(n);
    if (count % property.extent != 0)
        return fail("damaged archive: sample of property " + property.name +
                    " not a whole number of elements");
    if (!dataset && count != property.extent)
        return fail("damaged archive: scalar sample of property " + property.name + " of the wrong size");
    // Values are stored uncompressed (or compressed, at most a thousand to one): anything
    // larger than that cannot be in the file and is not allocated.
    const unsigned long long limit = (m_fileSize + 4096) * 1024 / element;
    if (count > limit)
        return fail("damaged archive: sample of property " + property.name + " larger than the file");
    // The library converts from the stored type through buffers of the stored size, and allocates
    // a whole chunk to read a chunked dataset: both are held to the same bound.
    {
        Handle stored(dataset ? H5Dget_type(sample) : H5Aget_type(sample), H5Tclose);
        const std::size_t storedSize = stored.ok() ? H5Tget_size(stored.id()) : 0;
        if (storedSize == 0 || count > (m_fileSize + 4096) * 1024 / storedSize)
            return fail("damaged archive: sample of property " + property.name + " larger than the file");
    }
    if (dataset) {
        Handle layout(H5Dget_create_plist(sample), H5Pclose);
        if (!layout.ok())
            return fail("damaged archive: unreadable sample of property " + property.name);
        if (H5Pget_layout(layout.id()) == H5D_CHUNKED) {
            hsize_t chunk[H5S_MAX_RANK] = {};
            const int rank = H5Pget_chunk(layout.id(), H5S_MAX_RANK, chunk);
            unsigned long long chunkElements = rank > 0 ? 1 : 0;
            for (int d = 0; d < rank && chunkElements <= limit; ++d)
                chunkElements = chunk[d] == 0 || chunk[d] > limit ? limit + 1 : chunkElements * chunk[d];
            if (rank <= 0 || chunkElements > limit)
                return fail("damaged archive: sample of property " + property.name +
                            " stored in chunks larger than the file");
        }
    }
    bytes = static_cast<std::size_t>(count) * element;
    return true;
}

bool Hdf5Reader::readSample(const AbcPropertyNode& property, std::uint32_t sampleIndex, SampleView& out,
                            std::string* error) const {
    out.owned.clear();
    out.data = nullptr;
    out.size = 0;
    const bool ok = _withSample(property, sampleIndex, error, [&](hid_t sample, bool dataset) {
        if (property.pod == Pod::String && !dataset) {
            // A string scalar: its text, NUL-terminated (as the other back end gives it).
            std::string text;
            if (!readString(sample, text)) {
                if (error)
                    *error = "damaged archive: unreadable string sample of property " + property.name;
                return false;
            }
            out.owned.assign(text.begin(), text.end());
            out.owned.push_back(0);
            return true;
        }
        std::size_t bytes = 0;
        if (!_elements(property, sample, dataset, bytes, error))
            return false;
        out.owned.resize(bytes);
        if (bytes == 0)
            return true;
        const hid_t type = nativeType(property.pod);
        if ((dataset ? H5Dread(sample, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, out.owned.data())
                     : H5Aread(sample, type, out.owned.data())) < 0) {
            out.owned.clear();
            if (error)
                *error = "cannot read a sample of property " + property.name + ": damaged or changed on disk";
            return false;
        }
        return true;
    });
    if (ok) {
        out.data = out.owned.data();
        out.size = out.owned.size();
    }
    return ok;
}

bool Hdf5Reader::sampleSize(const AbcPropertyNode& property, std::uint32_t sampleIndex, std::size_t& size,
                            std::string* error) const {
    if (property.pod == Pod::String || property.pod == Pod::WString) {
        SampleView view;
        if (!readSample(property, sampleIndex, view, error))
            return false;
        size = view.size;
        return true;
    }
    return _withSample(property, sampleIndex, error, [&](hid_t sample, bool dataset) {
        return _elements(property, sample, dataset, size, error);
    });
}

bool Hdf5Reader::readSampleInto(const AbcPropertyNode& property, std::uint32_t sampleIndex, void* destination,
                                std::size_t size, std::string* error) const {
    if (property.pod == Pod::String || property.pod == Pod::WString) {
        SampleView view;
        if (!readSample(property, sampleIndex, view, error))
            return false;
        if (view.size != size) {
            if (error)
                *error = "cannot read a sample: the file has changed";
            return false;
        }
        if (size)
            std::memcpy(destination, view.data, size);
        return true;
    }
    return _withSample(property, sampleIndex, error, [&](hid_t sample, bool dataset) {
        std::size_t bytes = 0;
        if (!_elements(property, sample, dataset, bytes, error))
            return false;
        if (bytes != size) {
            if (error)
                *error = "cannot read a sample: the file has changed";
            return false;
        }
        if (size == 0)
            return true;
        const hid_t type = nativeType(property.pod);
        if ((dataset ? H5Dread(sample, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, destination)
                     : H5Aread(sample, type, destination)) < 0) {
            if (error)
                *error = "cannot read a sample of property " + property.name + ": damaged or changed on disk";
            return false;
        }
        return true;
    });
}

void Hdf5Reader::_probeSamples(const AbcPropertyNode& compound) {
    for (const auto& child : compound.children) {
        if (child->kind == PropertyKind::Compound) {
            _probeSamples(*child);
            continue;
        }
        if (child->numSamples == 0)
            continue;
        std::vector<std::uint32_t> slots{0};
        for (std::uint32_t k = std::max<std::uint32_t>(child->firstChanged, 1); k <= child->lastChanged; ++k)
            slots.push_back(k);
        for (const std::uint32_t k : slots) {
            SampleView view;
            std::size_t size = 0;
            if (child->kind == PropertyKind::Scalar)
                readSample(*child, k, view, nullptr);
            else
                sampleSize(*child, k, size, nullptr);
        }
    }
}

void Hdf5Reader::_probeObjects(const AbcObjectNode& node) {
    _probeSamples(node.properties);
    for (const auto& child : node.children)
        _probeObjects(*child);
}

void silenceLibrary() {
    // The library prints its error stack on every failed call by default; failures here are
    // reported as reasons instead.
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

} // namespace

bool isHdf5Signature(const unsigned char* data, std::uint64_t size) {
    static const unsigned char signature[8] = {0x89, 0x48, 0x44, 0x46, 0x0d, 0x0a, 0x1a, 0x0a};
    return size >= 8 && std::memcmp(data, signature, 8) == 0;
}

namespace {

const std::uint64_t kUndefinedAddress = ~std::uint64_t(0);

// A little-endian file address of `width` bytes: all ones is "undefined"; one that does not fit
// 64 bits comes back as the largest defined value, past the end of any file.
std::uint64_t decodeAddress(const unsigned char* at, unsigned width) {
    bool allOnes = true;
    std::uint64_t value = 0;
    bool wide = false;
    for (unsigned k = 0; k < width; ++k) {
        allOnes = allOnes && at[k] == 0xff;
        if (k < 8)
            value |= std::uint64_t(at[k]) << (8 * k);
        else if (at[k] != 0)
            wide = true;
    }
    if (allOnes)
        return kUndefinedAddress;
    return wide ? kUndefinedAddress - 1 : value;
}

} // namespace

bool checkHdf5Extents(const Storage& storage, std::string& error) {
    // Superblock versions 0 and 1: version at byte 8, the sizes of addresses at 13, then (after
    // the B-tree figures and flags) base, free-space, end-of-file and driver-block addresses.
    // Versions 2 and 3: sizes of addresses at 9, then base, extension, end of file and root.
    unsigned char head[32 + 4 * 32] = {};
    const std::uint64_t fileSize = storage.size();
    const std::size_t headSize = static_cast<std::size_t>(std::min<std::uint64_t>(fileSize, sizeof(head)));
    if (headSize < 16 || !storage.read(0, head, headSize))
        return true; // too short to hold the figures: the library refuses it on its own
    const unsigned version = head[8];
    unsigned width = 0;
    std::size_t addresses = 0;
    if (version <= 1) {
        width = head[13];
        addresses = version == 0 ? 24 : 28;
    } else if (version <= 3) {
        width = head[9];
        addresses = 12;
    } else {
        return true; // a layout we do not know: the library decides
    }
    if (width != 2 && width != 4 && width != 8 && width != 16 && width != 32)
        return true; // refused by the library before it reads anything else
    if (addresses + 4 * std::size_t(width) > headSize)
        return true;
    const std::uint64_t base = decodeAddress(head + addresses, width);
    const std::uint64_t end = decodeAddress(head + addresses + 2 * width, width);
    // The library reads blocks as long as the file's own headers say, up to this end, and a
    // read past the real end is filled with zeros in memory: a damaged end in a small file can
    // cost gigabytes. It refuses such a file once its superblock is read; refuse it before.
    // (The library counts the end from the base address.)
    if (base == kUndefinedAddress || end == kUndefinedAddress || end < base || end - base > fileSize) {
        error = "damaged HDF5 archive: its superblock records an end of file past the file's size";
        return false;
    }
    const std::uint64_t usable = end - base;
    if (version <= 1) {
        // The optional driver information block: a 16-byte header whose bytes 4-7 give the
        // length of what follows.
        const std::uint64_t driver = decodeAddress(head + addresses + 3 * width, width);
        if (driver != kUndefinedAddress) {
            unsigned char block[16];
            const bool inside = driver <= usable && usable - driver >= 16 && storage.read(driver, block, 16);
            const std::uint64_t length = inside ? std::uint64_t(block[4]) | std::uint64_t(block[5]) << 8 |
                                                      std::uint64_t(block[6]) << 16 |
                                                      std::uint64_t(block[7]) << 24
                                                : 0;
            if (!inside || length > usable - driver - 16) {
                error = "damaged HDF5 archive: its driver information block runs past the end of the file";
                return false;
            }
        }
    }
    return true;
}

namespace {

// The HDF5 library trusts the structures it decodes: some damaged files crash it (a flipped byte
// in an object header is enough). Before the library reads a file in this process, a child
// process opens it, parses it as we do and opens every stored sample; only when the child gets
// through is the file read here. Parse errors are not the child's business (this process
// reports them itself): the child only has to survive.
enum class Probe { Survived, Failed, Unavailable };
const int kProbeSeconds = 60;

template <class Open> Probe probeInIsolation(Open open) {
#if defined(_WIN32)
    (void)open;
    return Probe::Unavailable;
#else
    int channel[2];
    if (::pipe(channel) != 0)
        return Probe::Unavailable;
    const pid_t child = ::fork();
    if (child < 0) {
        ::close(channel[0]);
        ::close(channel[1]);
        return Probe::Unavailable;
    }
    if (child == 0) {
        // The child: default signal handling (a crash ends it quietly) and no output.
        for (int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
            ::signal(sig, SIG_DFL);
        const int quiet = ::open("/dev/null", O_WRONLY);
        if (quiet >= 0)
            ::dup2(quiet, 2);
#if KELNO_ADDRESS_SANITIZER
        // Under a sanitizer a crash here is the probe doing its job, not a finding: nobody
        // else (a fuzzer, say) is told about it.
        __sanitizer_set_death_callback(nullptr);
#endif
        ::close(channel[0]);
        Hdf5Reader reader;
        reader.setProbing();
        std::string ignored;
        if (open(reader, ignored))
            reader.probe();
        const char done = 1;
        const ssize_t written = ::write(channel[1], &done, 1);
        ::_exit(written == 1 ? 0 : 1);
    }
    ::close(channel[1]);
    // A damaged file may also send the library round in circles: a probe that has not finished
    // after a generous time is stopped and counts as a failure.
    char done = 0;
    ssize_t got = -1;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kProbeSeconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd wait = {channel[0], POLLIN, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready > 0) {
            do {
                got = ::read(channel[0], &done, 1);
            } while (got < 0 && errno == EINTR);
        }
        break;
    }
    ::close(channel[0]);
    if (got != 1)
        ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return got == 1 && done == 1 ? Probe::Survived : Probe::Failed;
#endif
}

template <class Open> std::unique_ptr<ArchiveReader> openChecked(Open open, std::string& error) {
    std::unique_ptr<Hdf5Reader> reader(new Hdf5Reader);
    bool ok = false;
    {
        std::lock_guard<std::mutex> lock(libraryLock());
        silenceLibrary();
        if (probeInIsolation(open) == Probe::Failed)
            error = "damaged HDF5 archive: the HDF5 library crashes or stalls on it";
        else
            ok = open(*reader, error);
    }
    // A failed reader is destroyed outside the lock: its destructor takes the lock itself.
    if (!ok)
        return nullptr;
    return std::unique_ptr<ArchiveReader>(reader.release());
}

} // namespace

std::unique_ptr<ArchiveReader> openHdf5File(const std::string& path, std::uint64_t fileSize,
                                            std::string& error) {
    return openChecked(
        [&](Hdf5Reader& reader, std::string& why) { return reader.openFile(path, fileSize, why); }, error);
}

std::unique_ptr<ArchiveReader> openHdf5Memory(const void* data, std::size_t size, std::string& error) {
    return openChecked(
        [&](Hdf5Reader& reader, std::string& why) { return reader.openMemory(data, size, why); }, error);
}

} // namespace Abc
} // namespace Kelno
