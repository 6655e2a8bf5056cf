#include "KAbcReader.h"

#include "KAbcHdf5.h"
#include "KAbcOgawa.h"
#include "KAbcStorage.h"

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

} // namespace

std::unique_ptr<ArchiveReader> openArchiveReader(const std::string& path, std::string& error) {
    std::shared_ptr<Storage> storage = openFileStorage(path, error);
    if (!storage)
        return nullptr;
    return openStorage(std::move(storage), path, nullptr, error);
}

std::unique_ptr<ArchiveReader> openArchiveReaderFromMemory(const void* data, std::size_t size,
                                                           std::string& error) {
    return openStorage(copyToStorage(data, size), std::string(), data ? data : "", error);
}

} // namespace Abc
} // namespace Kelno
