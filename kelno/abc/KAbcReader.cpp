#include "KAbcReader.h"

#include "KAbcHdf5.h"
#include "KAbcOgawa.h"
#include "KAbcStorage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <unordered_set>

namespace Kelno {
namespace Abc {

std::size_t podSize(Pod pod) {
    switch (pod) {
    case Pod::Bool:
    case Pod::U8:
    case Pod::I8:
        return 1;
    case Pod::U16:
    case Pod::I16:
    case Pod::F16:
        return 2;
    case Pod::U32:
    case Pod::I32:
    case Pod::F32:
        return 4;
    case Pod::U64:
    case Pod::I64:
    case Pod::F64:
        return 8;
    default:
        return 0;
    }
}

const char* podName(Pod pod) {
    static const char* const names[] = {"bool",    "uint8",   "int8",   "uint16", "int16",
                                        "uint32",  "int32",   "uint64", "int64",  "float16",
                                        "float32", "float64", "string", "wstring"};
    const unsigned code = static_cast<unsigned>(pod);
    return code < 14 ? names[code] : "unknown";
}

// ---------------------------------------------------------------------------------------------

void MetaData::parse(const std::string& serialized) {
    m_entries.clear();
    // A set keeps "first key wins" linear even for damaged strings with thousands of pairs.
    std::unordered_set<std::string> seen;
    std::size_t start = 0;
    while (start < serialized.size()) {
        std::size_t end = serialized.find(';', start);
        if (end == std::string::npos)
            end = serialized.size();
        const std::size_t eq = serialized.find('=', start);
        if (eq == std::string::npos || eq > end)
            break;
        std::string key = serialized.substr(start, eq - start);
        if (seen.insert(key).second)
            m_entries.emplace_back(std::move(key), serialized.substr(eq + 1, end - eq - 1));
        start = end + 1;
    }
}

const std::string& MetaData::get(const std::string& key) const {
    static const std::string empty;
    for (const auto& entry : m_entries)
        if (entry.first == key)
            return entry.second;
    return empty;
}

bool MetaData::has(const std::string& key) const {
    for (const auto& entry : m_entries)
        if (entry.first == key)
            return true;
    return false;
}

// ---------------------------------------------------------------------------------------------

double TimeSampling::acyclicTimePerCycle() {
    // The largest finite double divided by 32: bytes ff ff ff ff ff ff 9f 7f.
    const std::uint64_t bits = 0x7f9fffffffffffffULL;
    double value;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

TimeSampling::Kind TimeSampling::kind() const {
    if (timePerCycle == acyclicTimePerCycle())
        return Kind::Acyclic;
    return storedTimes.size() > 1 ? Kind::Cyclic : Kind::Uniform;
}

double TimeSampling::sampleTime(std::uint64_t i) const {
    if (storedTimes.empty())
        return 0.0;
    switch (kind()) {
    case Kind::Acyclic:
        return storedTimes[i < storedTimes.size() ? i : storedTimes.size() - 1];
    case Kind::Uniform:
        return storedTimes[0] + timePerCycle * static_cast<double>(i);
    case Kind::Cyclic:
    default: {
        const std::uint64_t k = storedTimes.size();
        return storedTimes[i % k] + timePerCycle * static_cast<double>(i / k);
    }
    }
}

// ---------------------------------------------------------------------------------------------

const AbcPropertyNode* AbcPropertyNode::child(const std::string& childName) const {
    for (const auto& c : children)
        if (c->name == childName)
            return c.get();
    return nullptr;
}

std::uint32_t AbcPropertyNode::slotOf(std::uint32_t i) const {
    if (firstChanged == 0 && lastChanged == 0)
        return 0;
    if (i < firstChanged)
        return 0;
    if (i >= lastChanged)
        return lastChanged - firstChanged + 1;
    return i - firstChanged + 1;
}

std::uint32_t AbcPropertyNode::numSlots() const {
    if (numSamples == 0)
        return 0;
    if (firstChanged == 0 && lastChanged == 0)
        return 1;
    return lastChanged - firstChanged + 2;
}

// ---------------------------------------------------------------------------------------------

ArchiveReader::~ArchiveReader() = default;

namespace {

// Larger expansions are refused: nested instances multiply, and a few levels of them can
// describe more objects than any viewer could show.
const std::size_t kMaxExpandedObjects = std::size_t(1) << 21;

void cloneProperty(const AbcPropertyNode& from, AbcPropertyNode& to) {
    to.name = from.name;
    to.kind = from.kind;
    to.pod = from.pod;
    to.scalarLike = from.scalarLike;
    to.extent = from.extent;
    to.numSamples = from.numSamples;
    to.firstChanged = from.firstChanged;
    to.lastChanged = from.lastChanged;
    to.timeSampling = from.timeSampling;
    to.metaData = from.metaData;
    to.storage = from.storage;
    to.children.clear();
    for (const auto& child : from.children) {
        std::unique_ptr<AbcPropertyNode> copy(new AbcPropertyNode);
        cloneProperty(*child, *copy);
        to.children.push_back(std::move(copy));
    }
}

class InstanceExpander {
  public:
    InstanceExpander(const ArchiveReader& reader, const AbcObjectNode& storedRoot)
        : m_reader(reader), m_storedRoot(storedRoot) {}

    bool hasInstances(const AbcObjectNode& node) const {
        if (instanceProperty(node))
            return true;
        for (const auto& child : node.children)
            if (hasInstances(*child))
                return true;
        return false;
    }

    // Builds out (name, path and parent already set) from the stored object.
    bool build(const AbcObjectNode& stored, AbcObjectNode& out, int depth) {
        if (depth > 400)
            return fail("instances nest too deeply");
        if (++m_count > kMaxExpandedObjects)
            return fail("instances expand to too many objects");
        const AbcObjectNode* content = &stored;
        std::size_t pushed = 0;
        while (const AbcPropertyNode* source = instanceProperty(*content)) {
            std::string path;
            if (!sourcePath(*source, path))
                return fail("unreadable instance source of " + stored.fullPath);
            const AbcObjectNode* target = find(path);
            if (!target)
                break; // a dangling instance stays what it is
            if (std::find(m_path.begin(), m_path.end(), target) != m_path.end() || target == content)
                return fail("instance " + stored.fullPath + " of " + path + " forms a cycle");
            m_path.push_back(target);
            ++pushed;
            content = target;
        }
        m_path.push_back(content);
        ++pushed;
        out.metaData = content->metaData;
        cloneProperty(content->properties, out.properties);
        for (const auto& child : content->children) {
            std::unique_ptr<AbcObjectNode> node(new AbcObjectNode);
            node->name = child->name;
            node->parent = &out;
            node->fullPath = (out.parent ? out.fullPath + "/" : std::string("/")) + child->name;
            AbcObjectNode& built = *node;
            out.children.push_back(std::move(node));
            if (!build(*child, built, depth + 1))
                return false;
        }
        m_path.resize(m_path.size() - pushed);
        return true;
    }

    std::size_t count() const { return m_count; }
    const std::string& error() const { return m_error; }

  private:
    static const AbcPropertyNode* instanceProperty(const AbcObjectNode& node) {
        const AbcPropertyNode* p = node.properties.child(".instanceSource");
        return p && p->kind == PropertyKind::Scalar && p->pod == Pod::String && p->numSamples > 0 ? p
                                                                                                  : nullptr;
    }

    bool sourcePath(const AbcPropertyNode& property, std::string& path) const {
        SampleView view;
        if (!m_reader.readSample(property, 0, view, nullptr))
            return false;
        path.assign(reinterpret_cast<const char*>(view.data), view.size);
        path.erase(std::find(path.begin(), path.end(), '\0'), path.end());
        return true;
    }

    // The stored object at a full path ("/a/b", "/" for the root); null when there is none.
    const AbcObjectNode* find(const std::string& path) const {
        if (path.empty() || path[0] != '/')
            return nullptr;
        const AbcObjectNode* node = &m_storedRoot;
        std::size_t start = 0;
        while (start < path.size()) {
            std::size_t end = path.find('/', start);
            if (end == std::string::npos)
                end = path.size();
            if (end > start) {
                const std::string name = path.substr(start, end - start);
                const AbcObjectNode* next = nullptr;
                for (const auto& child : node->children)
                    if (child->name == name)
                        next = child.get();
                if (!next)
                    return nullptr;
                node = next;
            }
            start = end + 1;
        }
        return node;
    }

    bool fail(const std::string& what) {
        if (m_error.empty())
            m_error = what;
        return false;
    }

    const ArchiveReader& m_reader;
    const AbcObjectNode& m_storedRoot;
    // Objects whose content is being built, from the root down: an instance of one of them
    // would contain itself.
    std::vector<const AbcObjectNode*> m_path;
    std::size_t m_count = 0;
    std::string m_error;
};

} // namespace

bool ArchiveReader::resolveInstances(std::string& error) {
    InstanceExpander expander(*this, m_root);
    if (!expander.hasInstances(m_root))
        return true;
    AbcObjectNode expanded;
    expanded.name = m_root.name;
    expanded.fullPath = m_root.fullPath;
    if (!expander.build(m_root, expanded, 0)) {
        error = "bad instance: " + expander.error();
        return false;
    }
    m_root.metaData = expanded.metaData;
    m_root.properties = std::move(expanded.properties);
    m_root.children = std::move(expanded.children);
    for (auto& child : m_root.children)
        child->parent = &m_root;
    m_numObjects = expander.count();
    return true;
}

namespace {

// Recognises the back end from the first bytes. The HDF5 back end reads through the HDF5
// library, so it opens the path (or a copy of the bytes) itself; path is empty for memory.
std::unique_ptr<ArchiveReader> openStorage(std::shared_ptr<Storage> storage, const std::string& path,
                                           const void* memory, std::string& error) {
    const std::uint64_t size = storage->size();
    unsigned char bytes[16] = {};
    if (!storage->read(0, bytes, static_cast<std::size_t>(size < 16 ? size : 16))) {
        error = "cannot read the file";
        return nullptr;
    }
    if (isHdf5Signature(bytes, size)) {
        if (!checkHdf5Extents(*storage, error))
            return nullptr;
        if (memory)
            return openHdf5Memory(memory, static_cast<std::size_t>(size), error);
        storage.reset();
        return openHdf5File(path, size, error);
    }
    if (isOgawaSignature(bytes, size)) {
        if (size < 16) {
            error = "damaged Ogawa archive: file shorter than its 16-byte header";
            return nullptr;
        }
        return openOgawa(std::move(storage), error);
    }
    error = size < 16 ? "not an Alembic archive (file too short)"
                      : "not an Alembic archive (neither the Ogawa nor the HDF5 signature)";
    return nullptr;
}

// Instances are resolved the same way for every back end.
std::unique_ptr<ArchiveReader> withInstances(std::unique_ptr<ArchiveReader> reader, std::string& error) {
    if (reader && !reader->resolveInstances(error))
        return nullptr;
    return reader;
}

} // namespace

std::unique_ptr<ArchiveReader> openArchiveReader(const std::string& path, std::string& error) {
    std::shared_ptr<Storage> storage = openFileStorage(path, error);
    if (!storage)
        return nullptr;
    return withInstances(openStorage(std::move(storage), path, nullptr, error), error);
}

std::unique_ptr<ArchiveReader> openArchiveReaderFromMemory(const void* data, std::size_t size,
                                                           std::string& error) {
    return withInstances(openStorage(copyToStorage(data, size), std::string(), data ? data : "", error),
                         error);
}

} // namespace Abc
} // namespace Kelno
