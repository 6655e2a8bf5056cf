#include "KAbcOgawa.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Kelno {
namespace Abc {

namespace {

const std::uint64_t kDataBit = 0x8000000000000000ULL;
const std::uint64_t kOffsetMask = 0x7fffffffffffffffULL;
const std::uint64_t kHeaderSize = 16;
// Objects and compound properties nest by recursion; real archives stay far below this.
const int kMaxDepth = 400;
// Bytes per cached window of the open-time walk.
const std::uint64_t kWindowSize = 64 * 1024;

std::uint64_t loadU64(const unsigned char* p) {
    std::uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}
std::uint32_t loadU32(const unsigned char* p) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
double loadF64(const unsigned char* p) {
    double v;
    std::memcpy(&v, p, 8);
    return v;
}

bool isDataRef(std::uint64_t ref) { return (ref & kDataBit) != 0; }

// A stored group: where its child references start in the file and how many there are.
struct Group {
    std::uint64_t refsOffset = 0;
    std::uint64_t count = 0;
};

// A stored data block: where its bytes start in the file and how many there are.
struct Block {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

// Sequential reader over a header blob; every read is checked against the end.
class BlobCursor {
  public:
    BlobCursor(const unsigned char* data, std::uint64_t size) : m_p(data), m_end(data + size) {}
    explicit BlobCursor(const std::string& blob)
        : BlobCursor(reinterpret_cast<const unsigned char*>(blob.data()), blob.size()) {}
    std::uint64_t remaining() const { return static_cast<std::uint64_t>(m_end - m_p); }
    bool atEnd() const { return m_p == m_end; }
    bool u8(std::uint32_t& v) {
        if (remaining() < 1)
            return false;
        v = *m_p++;
        return true;
    }
    bool u32(std::uint32_t& v) {
        if (remaining() < 4)
            return false;
        v = loadU32(m_p);
        m_p += 4;
        return true;
    }
    // A little-endian unsigned integer of 1, 2 or 4 bytes.
    bool sized(std::uint32_t width, std::uint32_t& v) {
        if (remaining() < width)
            return false;
        v = 0;
        for (std::uint32_t i = 0; i < width; ++i)
            v |= static_cast<std::uint32_t>(m_p[i]) << (8 * i);
        m_p += width;
        return true;
    }
    bool bytes(std::uint64_t n, std::string& out) {
        if (remaining() < n)
            return false;
        out.assign(reinterpret_cast<const char*>(m_p), static_cast<std::size_t>(n));
        m_p += n;
        return true;
    }

  private:
    const unsigned char* m_p;
    const unsigned char* m_end;
};

// Serves the many small reads of the open-time walk (group counts and references, block
// lengths, header blobs) from a few windows of the file, so that opening costs a few reads per
// region of headers instead of several per object. Writers store headers near the samples
// they describe, so the walk alternates between regions: one window alone would thrash.
// Fixed size; used by the opening thread only.
class ReadWindows {
  public:
    explicit ReadWindows(const Storage& storage) : m_storage(storage) {}
    bool read(std::uint64_t offset, void* destination, std::size_t size) {
        if (size > kWindowSize / 4)
            return m_storage.read(offset, destination, size);
        const std::uint64_t fileSize = m_storage.size();
        if (offset > fileSize || size > fileSize - offset)
            return false;
        Window* window = nullptr;
        for (Window& w : m_windows)
            if (offset >= w.start && offset - w.start <= w.bytes.size() &&
                size <= w.bytes.size() - (offset - w.start))
                window = &w;
        if (!window) {
            // Replace the least recently used window with one aligned to half its size, so that
            // any read of at most a quarter of it fits.
            window = &m_windows[0];
            for (Window& w : m_windows)
                if (w.lastUse < window->lastUse)
                    window = &w;
            const std::uint64_t start = offset - offset % (kWindowSize / 2);
            window->bytes.resize(
                static_cast<std::size_t>(std::min<std::uint64_t>(kWindowSize, fileSize - start)));
            if (!m_storage.read(start, window->bytes.data(), window->bytes.size())) {
                window->bytes.clear();
                return false;
            }
            window->start = start;
        }
        window->lastUse = ++m_clock;
        if (size)
            std::memcpy(destination, window->bytes.data() + (offset - window->start), size);
        return true;
    }

  private:
    struct Window {
        std::vector<unsigned char> bytes;
        std::uint64_t start = 0;
        std::uint64_t lastUse = 0;
    };
    const Storage& m_storage;
    Window m_windows[4];
    std::uint64_t m_clock = 0;
};

class OgawaReader : public ArchiveReader {
  public:
    explicit OgawaReader(std::shared_ptr<Storage> storage) : m_storage(std::move(storage)) {
        m_fileSize = m_storage->size();
        // Every stored reference is visited once by a tree walk, so more visits than the file
        // can hold references means shared or cyclic groups: treat as damage.
        m_budget = m_fileSize / 8 + 64;
        // Header blobs may be shared (identical blocks are stored once), so they can be parsed
        // more than once; this caps the work and memory of that at a few times the file size.
        m_byteBudget = 8 * m_fileSize + (1u << 20);
    }

    const char* backendName() const override { return "Ogawa"; }

    bool parse(std::string& error);

    bool readSample(const AbcPropertyNode& property, std::uint32_t sampleIndex, SampleView& out,
                    std::string* error) const override;
    bool sampleSize(const AbcPropertyNode& property, std::uint32_t sampleIndex, std::size_t& size,
                    std::string* error) const override;
    bool readSampleInto(const AbcPropertyNode& property, std::uint32_t sampleIndex, void* destination,
                        std::size_t size, std::string* error) const override;

  private:
    bool _read(std::uint64_t offset, void* destination, std::size_t size) const;
    bool _group(std::uint64_t ref, Group& group) const;
    bool _groupRefs(const Group& group, std::vector<std::uint64_t>& refs) const;
    bool _groupChild(const Group& group, std::uint64_t i, std::uint64_t& ref) const;
    bool _block(std::uint64_t ref, Block& block) const;
    bool _blockBytes(const Block& block, std::string& bytes) const;
    bool _parse(std::string& error);
    bool _spend(std::uint64_t n);
    bool _spendBytes(std::uint64_t n);
    bool _fail(const std::string& what);

    bool _parseTimeSamplings(const std::string& blob);
    bool _parseIndexedMetaData(const std::string& blob);
    bool _metaDataByIndex(std::uint32_t index, std::string& out);
    bool _parseObject(std::uint64_t ref, AbcObjectNode& node, int depth);
    bool _parseCompound(std::uint64_t ref, AbcPropertyNode& node, int depth);
    bool _parsePropertyHeader(BlobCursor& cursor, AbcPropertyNode& node);
    bool _locateValues(const AbcPropertyNode& property, std::uint32_t sampleIndex, Block& values,
                       std::string* error) const;

    std::shared_ptr<Storage> m_storage;
    // Set while parse() runs, null afterwards: sample reads go to the storage directly.
    ReadWindows* m_window = nullptr;
    std::vector<std::string> m_indexedMetaData;
    std::uint64_t m_budget = 0;
    std::uint64_t m_byteBudget = 0;
    std::string m_error;
};

bool OgawaReader::_fail(const std::string& what) {
    if (m_error.empty())
        m_error = what;
    return false;
}

bool OgawaReader::_spend(std::uint64_t n) {
    if (n > m_budget)
        return _fail("group references form a cycle or are shared");
    m_budget -= n;
    return true;
}

bool OgawaReader::_spendBytes(std::uint64_t n) {
    if (n > m_byteBudget)
        return _fail("header blocks are shared too often");
    m_byteBudget -= n;
    return true;
}

bool OgawaReader::_read(std::uint64_t offset, void* destination, std::size_t size) const {
    return m_window ? m_window->read(offset, destination, size) : m_storage->read(offset, destination, size);
}

bool OgawaReader::_group(std::uint64_t ref, Group& group) const {
    group = Group();
    if (isDataRef(ref))
        return false;
    if (ref == 0)
        return true; // the empty group
    const std::uint64_t size = m_fileSize;
    if (ref < kHeaderSize || ref > size - 8)
        return false;
    unsigned char raw[8];
    if (!_read(ref, raw, 8))
        return false;
    const std::uint64_t count = loadU64(raw);
    if (count > (size - ref - 8) / 8)
        return false;
    group.refsOffset = ref + 8;
    group.count = count;
    return true;
}

// The count was checked against the file size, so the allocation is bounded by it.
bool OgawaReader::_groupRefs(const Group& group, std::vector<std::uint64_t>& refs) const {
    refs.resize(static_cast<std::size_t>(group.count));
    return group.count == 0 || _read(group.refsOffset, refs.data(), refs.size() * 8);
}

bool OgawaReader::_groupChild(const Group& group, std::uint64_t i, std::uint64_t& ref) const {
    unsigned char raw[8];
    if (i >= group.count || !_read(group.refsOffset + 8 * i, raw, 8))
        return false;
    ref = loadU64(raw);
    return true;
}

bool OgawaReader::_block(std::uint64_t ref, Block& block) const {
    block = Block();
    if (!isDataRef(ref))
        return false;
    const std::uint64_t offset = ref & kOffsetMask;
    if (offset == 0)
        return true; // the empty data block
    const std::uint64_t size = m_fileSize;
    if (offset < kHeaderSize || offset > size - 8)
        return false;
    unsigned char raw[8];
    if (!_read(offset, raw, 8))
        return false;
    const std::uint64_t length = loadU64(raw);
    if (length > size - offset - 8)
        return false;
    block.offset = offset + 8;
    block.size = length;
    return true;
}

// The size was checked against the file size, so the allocation is bounded by it.
bool OgawaReader::_blockBytes(const Block& block, std::string& bytes) const {
    bytes.resize(static_cast<std::size_t>(block.size));
    return block.size == 0 || _read(block.offset, &bytes[0], bytes.size());
}

bool OgawaReader::parse(std::string& error) {
    ReadWindows window(*m_storage);
    m_window = &window;
    const bool ok = _parse(error);
    m_window = nullptr;
    return ok;
}

bool OgawaReader::_parse(std::string& error) {
    unsigned char bytes[kHeaderSize];
    if (!m_storage->read(0, bytes, sizeof(bytes))) {
        error = "damaged Ogawa archive: cannot read the file header";
        return false;
    }
    if (bytes[5] != 0xff) {
        error = "damaged Ogawa archive: the writer never finished the file (not frozen)";
        return false;
    }
    if (bytes[6] != 0 || bytes[7] != 1) {
        error = "unsupported Ogawa container version " + std::to_string(bytes[6] * 256 + bytes[7]);
        return false;
    }
    Group top;
    std::vector<std::uint64_t> topRefs;
    if (!_group(loadU64(bytes + 8), top) || top.count < 6 || !_groupRefs(top, topRefs)) {
        error = "damaged Ogawa archive: bad top-level group";
        return false;
    }
    // The top-level blocks are small apart from the metadata tables, and each is bounded by
    // the file size; they are read once into owned buffers.
    std::string blocks[6];
    const int groupChild = 2;
    for (int i = 0; i < 6; ++i) {
        if (i == groupChild)
            continue;
        Block block;
        if (!_block(topRefs[static_cast<std::size_t>(i)], block) || !_blockBytes(block, blocks[i])) {
            error = "damaged Ogawa archive: bad top-level child " + std::to_string(i);
            return false;
        }
    }
    const unsigned char* version = reinterpret_cast<const unsigned char*>(blocks[0].data());
    if (blocks[0].size() != 4 || loadU32(version) != 0) {
        error = "unsupported Alembic layout version";
        return false;
    }
    if (blocks[1].size() != 4) {
        error = "damaged Ogawa archive: bad library version";
        return false;
    }
    m_libraryVersion =
        static_cast<std::int32_t>(loadU32(reinterpret_cast<const unsigned char*>(blocks[1].data())));
    if (m_libraryVersion < 9999) {
        error = "archive written by an unsupported library version " + std::to_string(m_libraryVersion);
        return false;
    }
    m_archiveMetaData.parse(blocks[3]);
    const bool ok = _parseTimeSamplings(blocks[4]) && _parseIndexedMetaData(blocks[5]);
    if (ok) {
        m_root.name = "ABC";
        m_root.fullPath = "/";
        const std::uint64_t rootRef = topRefs[groupChild];
        if (rootRef == 0 || isDataRef(rootRef))
            _fail("the root object is missing");
        else
            _parseObject(rootRef, m_root, 0);
    }
    if (!m_error.empty()) {
        error = "damaged Ogawa archive: " + m_error;
        return false;
    }
    return true;
}

bool OgawaReader::_parseTimeSamplings(const std::string& blob) {
    m_timeSamplings.clear();
    BlobCursor cursor(blob);
    while (!cursor.atEnd()) {
        TimeSampling ts;
        std::uint32_t maxSamples = 0;
        std::uint32_t count = 0;
        std::string raw;
        if (!cursor.u32(maxSamples) || !cursor.bytes(8, raw))
            return _fail("time sampling record runs past its end");
        ts.maxSamples = maxSamples;
        std::memcpy(&ts.timePerCycle, raw.data(), 8);
        if (!cursor.u32(count) || count == 0 || count > cursor.remaining() / 8)
            return _fail("time sampling with a bad number of stored times");
        ts.storedTimes.resize(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            if (!cursor.bytes(8, raw))
                return _fail("time sampling record runs past its end");
            ts.storedTimes[i] = loadF64(reinterpret_cast<const unsigned char*>(raw.data()));
            if (!std::isfinite(ts.storedTimes[i]))
                return _fail("time sampling with a non-finite time");
        }
        if (!std::isfinite(ts.timePerCycle) || !(ts.timePerCycle > 0.0))
            return _fail("time sampling with a bad time per cycle");
        m_timeSamplings.push_back(std::move(ts));
    }
    if (m_timeSamplings.empty())
        m_timeSamplings.push_back(TimeSampling()); // the default sampling always exists
    return true;
}

bool OgawaReader::_parseIndexedMetaData(const std::string& blob) {
    m_indexedMetaData.clear();
    BlobCursor cursor(blob);
    while (!cursor.atEnd()) {
        std::uint32_t length = 0;
        std::string entry;
        if (!cursor.u8(length) || !cursor.bytes(length, entry))
            return _fail("indexed metadata table runs past its end");
        if (m_indexedMetaData.size() >= 254)
            return _fail("indexed metadata table has more than 254 entries");
        m_indexedMetaData.push_back(std::move(entry));
    }
    return true;
}

bool OgawaReader::_metaDataByIndex(std::uint32_t index, std::string& out) {
    if (index == 0) {
        out.clear();
        return true;
    }
    if (index > m_indexedMetaData.size())
        return _fail("metadata index beyond the indexed table");
    out = m_indexedMetaData[index - 1];
    return true;
}

bool OgawaReader::_parseObject(std::uint64_t ref, AbcObjectNode& node, int depth) {
    if (depth > kMaxDepth)
        return _fail("object hierarchy nested too deeply");
    Group group;
    if (!_group(ref, group) || group.count < 2)
        return _fail("bad object group at " + std::to_string(ref));
    if (!_spend(group.count))
        return false;
    ++m_numObjects;
    std::vector<std::uint64_t> refs;
    if (!_groupRefs(group, refs))
        return _fail("bad object group at " + std::to_string(ref));

    Block headers;
    if (!_block(refs.back(), headers) || headers.size < 32)
        return _fail("bad object headers at " + std::to_string(ref));
    if (!_spendBytes(headers.size))
        return false;
    std::string blob;
    if (!_blockBytes(headers, blob))
        return _fail("bad object headers at " + std::to_string(ref));
    BlobCursor cursor(reinterpret_cast<const unsigned char*>(blob.data()),
                      blob.size() - 32); // the trailing 32 bytes are hashes
    while (!cursor.atEnd()) {
        std::unique_ptr<AbcObjectNode> child(new AbcObjectNode);
        std::uint32_t nameLength = 0;
        std::uint32_t metaIndex = 0;
        std::string meta;
        if (!cursor.u32(nameLength) || nameLength == 0 || !cursor.bytes(nameLength, child->name) ||
            !cursor.u8(metaIndex))
            return _fail("object header runs past its end");
        if (child->name.find('/') != std::string::npos)
            return _fail("object name contains '/'");
        if (metaIndex == 255) {
            std::uint32_t metaLength = 0;
            if (!cursor.u32(metaLength) || !cursor.bytes(metaLength, meta))
                return _fail("object metadata runs past its end");
        } else if (!_metaDataByIndex(metaIndex, meta)) {
            return false;
        }
        child->metaData.parse(meta);
        if (node.children.size() + 3 > group.count)
            return _fail("object headers name more children than the group holds");
        child->parent = &node;
        child->fullPath = (node.parent ? node.fullPath + "/" : std::string("/")) + child->name;
        node.children.push_back(std::move(child));
    }

    if (!_parseCompound(refs[0], node.properties, depth + 1))
        return false;
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        const std::uint64_t childRef = refs[i + 1];
        if (childRef == 0 || isDataRef(childRef))
            return _fail("child object is not a stored group");
        if (!_parseObject(childRef, *node.children[i], depth + 1))
            return false;
    }
    return true;
}

bool OgawaReader::_parseCompound(std::uint64_t ref, AbcPropertyNode& node, int depth) {
    node.kind = PropertyKind::Compound;
    node.storage = ref;
    if (depth > kMaxDepth)
        return _fail("properties nested too deeply");
    Group group;
    if (!_group(ref, group))
        return _fail("bad compound property group at " + std::to_string(ref));
    if (group.count == 0)
        return true; // no sub-properties
    if (!_spend(group.count))
        return false;
    std::vector<std::uint64_t> refs;
    if (!_groupRefs(group, refs))
        return _fail("bad compound property group at " + std::to_string(ref));
    Block headers;
    if (!_block(refs.back(), headers))
        return _fail("bad property headers at " + std::to_string(ref));
    if (!_spendBytes(headers.size))
        return false;
    std::string blob;
    if (!_blockBytes(headers, blob))
        return _fail("bad property headers at " + std::to_string(ref));
    BlobCursor cursor(blob);
    while (!cursor.atEnd()) {
        std::unique_ptr<AbcPropertyNode> child(new AbcPropertyNode);
        if (!_parsePropertyHeader(cursor, *child))
            return false;
        if (node.children.size() + 2 > group.count)
            return _fail("property headers name more properties than the group holds");
        node.children.push_back(std::move(child));
    }
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        AbcPropertyNode& child = *node.children[i];
        const std::uint64_t childRef = refs[i];
        if (isDataRef(childRef))
            return _fail("property storage is not a group");
        if (child.kind == PropertyKind::Compound) {
            if (!_parseCompound(childRef, child, depth + 1))
                return false;
        } else {
            child.storage = childRef;
        }
    }
    return true;
}

bool OgawaReader::_parsePropertyHeader(BlobCursor& cursor, AbcPropertyNode& node) {
    std::uint32_t info = 0;
    if (!cursor.u32(info))
        return _fail("property header runs past its end");
    const std::uint32_t type = info & 0x3;
    const std::uint32_t hint = (info >> 2) & 0x3;
    if (hint == 3)
        return _fail("property header with a bad size hint");
    const std::uint32_t width = hint == 0 ? 1 : (hint == 1 ? 2 : 4);
    const std::uint32_t metaIndex = (info >> 20) & 0xff;

    if (type == 0) {
        node.kind = PropertyKind::Compound;
    } else {
        node.kind = type == 1 ? PropertyKind::Scalar : PropertyKind::Array;
        node.scalarLike = type == 3;
        const std::uint32_t pod = (info >> 4) & 0xf;
        if (pod > static_cast<std::uint32_t>(Pod::WString))
            return _fail("property header with an unknown data type");
        node.pod = static_cast<Pod>(pod);
        node.extent = (info >> 12) & 0xff;
        if (node.extent == 0)
            return _fail("property header with extent 0");
        if (!cursor.sized(width, node.numSamples))
            return _fail("property header runs past its end");
        if (info & 0x200) {
            if (!cursor.sized(width, node.firstChanged) || !cursor.sized(width, node.lastChanged))
                return _fail("property header runs past its end");
            if (node.firstChanged > node.lastChanged || node.lastChanged > node.numSamples)
                return _fail("property header with bad changed-sample indices");
        } else if ((info & 0x800) || node.numSamples <= 1) {
            node.firstChanged = 0;
            node.lastChanged = 0;
        } else {
            node.firstChanged = 1;
            node.lastChanged = node.numSamples - 1;
        }
        if (info & 0x100) {
            if (!cursor.sized(width, node.timeSampling))
                return _fail("property header runs past its end");
            if (node.timeSampling >= m_timeSamplings.size())
                return _fail("property uses a time sampling that does not exist");
        }
    }
    std::uint32_t nameLength = 0;
    if (!cursor.sized(width, nameLength) || nameLength == 0 || !cursor.bytes(nameLength, node.name))
        return _fail("property name runs past its header");
    std::string meta;
    if (metaIndex == 255) {
        std::uint32_t metaLength = 0;
        if (!cursor.sized(width, metaLength) || !cursor.bytes(metaLength, meta))
            return _fail("property metadata runs past its header");
    } else if (!_metaDataByIndex(metaIndex, meta)) {
        return false;
    }
    node.metaData.parse(meta);
    return true;
}

bool OgawaReader::_locateValues(const AbcPropertyNode& property, std::uint32_t sampleIndex, Block& values,
                                std::string* error) const {
    auto fail = [error](const char* what) {
        if (error)
            *error = what;
        return false;
    };
    if (property.kind == PropertyKind::Compound)
        return fail("a compound property has no samples");
    if (sampleIndex >= property.numSamples)
        return fail("sample index beyond the property's samples");
    Group group;
    if (!_group(property.storage, group))
        return fail("damaged archive (or changed on disk since open): bad sample group");
    const std::uint64_t slot = property.slotOf(sampleIndex);
    const std::uint64_t position = property.kind == PropertyKind::Array ? 2 * slot : slot;
    if (position >= group.count)
        return fail("damaged archive (or changed on disk since open): sample slot beyond its group");
    std::uint64_t blockRef = 0;
    if (!_groupChild(group, position, blockRef) || !_block(blockRef, values))
        return fail("damaged archive (or changed on disk since open): bad sample block");
    // Every stored sample starts with a 16-byte content key; an empty array may be stored as
    // an empty block or as the key alone.
    if (values.size < 16) {
        if (property.kind == PropertyKind::Array && values.size == 0)
            return true;
        return fail("damaged archive (or changed on disk since open): sample shorter than its key");
    }
    values.offset += 16;
    values.size -= 16;
    const std::uint64_t element = podSize(property.pod) * property.extent;
    if (element != 0) {
        if (property.kind == PropertyKind::Scalar && values.size != element)
            return fail("damaged archive (or changed on disk since open): scalar sample of the wrong size");
        if (values.size % element != 0)
            return fail("damaged archive (or changed on disk since open): array sample not a whole number of "
                        "elements");
    }
    return true;
}

bool OgawaReader::readSample(const AbcPropertyNode& property, std::uint32_t sampleIndex, SampleView& out,
                             std::string* error) const {
    Block values;
    if (!_locateValues(property, sampleIndex, values, error))
        return false;
    // The size was checked against the file size, so the allocation is bounded by it.
    out.owned.resize(static_cast<std::size_t>(values.size));
    if (values.size && !m_storage->read(values.offset, out.owned.data(), out.owned.size())) {
        out.owned.clear();
        out.data = nullptr;
        out.size = 0;
        if (error)
            *error = "cannot read a sample: the file has changed or cannot be read";
        return false;
    }
    out.data = out.owned.data();
    out.size = out.owned.size();
    return true;
}

bool OgawaReader::readSampleInto(const AbcPropertyNode& property, std::uint32_t sampleIndex,
                                 void* destination, std::size_t size, std::string* error) const {
    Block values;
    if (!_locateValues(property, sampleIndex, values, error))
        return false;
    // The size was taken earlier; a different one now means the file changed in between.
    if (values.size != size) {
        if (error)
            *error = "cannot read a sample: the file has changed";
        return false;
    }
    if (size && !m_storage->read(values.offset, destination, size)) {
        if (error)
            *error = "cannot read a sample: the file has changed or cannot be read";
        return false;
    }
    return true;
}

bool OgawaReader::sampleSize(const AbcPropertyNode& property, std::uint32_t sampleIndex, std::size_t& size,
                             std::string* error) const {
    Block values;
    if (!_locateValues(property, sampleIndex, values, error))
        return false;
    size = static_cast<std::size_t>(values.size);
    return true;
}

} // namespace

bool isOgawaSignature(const unsigned char* data, std::uint64_t size) {
    return size >= 5 && std::memcmp(data, "Ogawa", 5) == 0;
}

std::unique_ptr<ArchiveReader> openOgawa(std::shared_ptr<Storage> storage, std::string& error) {
    std::unique_ptr<OgawaReader> reader(new OgawaReader(std::move(storage)));
    if (!reader->parse(error))
        return nullptr;
    return std::unique_ptr<ArchiveReader>(reader.release());
}

} // namespace Abc
} // namespace Kelno
