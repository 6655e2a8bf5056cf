// Internal: the seam between the Alembic layer (KAlembic.cpp: schemas, meshes, transforms,
// visibility) and the storage container of an archive (Ogawa or HDF5).
//
// A back end parses an archive once, at open, into an immutable tree of object and property
// headers (AbcObjectNode, AbcPropertyNode) and then answers sample reads. After open nothing
// in the tree changes, so any number of threads may read samples at once; a back end must keep
// its sample reads free of shared cursors, or (HDF5, whose library is not thread-safe) hold one
// lock around the library for each read.
//
// Samples are read from the file on demand, never through a mapping. If the file changes on
// disk after open, the tree still describes the file as it was: a sample read then fails when
// its bytes are gone or no longer fit the stored sizes, or returns the bytes now on disk. The
// Alembic layer validates what it reads (sizes, topology), so either outcome is safe.
//
// Sample indices at this level are exact (0 <= i < numSamples); clamping is the Alembic
// layer's job. Not part of the public headers: only the library's own sources include this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Kelno {
namespace Abc {

// Plain data types of property values, numbered as the file stores them.
enum class Pod : std::uint8_t {
    Bool = 0,
    U8,
    I8,
    U16,
    I16,
    U32,
    I32,
    U64,
    I64,
    F16,
    F32,
    F64,
    String,
    WString,
    Unknown = 255
};

// Bytes of one value of the POD; 0 for strings (variable) and Unknown.
std::size_t podSize(Pod pod);
// "bool", "uint8", ..., "float64", "string", "wstring".
const char* podName(Pod pod);

enum class PropertyKind : std::uint8_t { Compound, Scalar, Array };

// A parsed "key=value;key=value" metadata string.
class MetaData {
  public:
    MetaData() = default;
    explicit MetaData(const std::string& serialized) { parse(serialized); }
    // Splits at ';' then at the first '='; the first occurrence of a key wins; a piece without
    // '=' ends the parse.
    void parse(const std::string& serialized);
    // Value of key, or "" when absent.
    const std::string& get(const std::string& key) const;
    bool has(const std::string& key) const;
    const std::vector<std::pair<std::string, std::string>>& entries() const { return m_entries; }

  private:
    std::vector<std::pair<std::string, std::string>> m_entries;
};

// One time sampling. Kind follows from the record: acyclic when timePerCycle is the acyclic
// sentinel, uniform with one stored time, cyclic with several.
struct TimeSampling {
    enum class Kind { Uniform, Cyclic, Acyclic };

    static double acyclicTimePerCycle();

    double timePerCycle = 1.0;
    std::vector<double> storedTimes{0.0};
    std::uint32_t maxSamples = 0; // largest sample count of a property on this sampling

    Kind kind() const;
    // Time in seconds of sample i (i >= 0), computed as the writer's library does.
    double sampleTime(std::uint64_t i) const;
};

// A property header plus where its samples live in the container.
struct AbcPropertyNode {
    std::string name;
    PropertyKind kind = PropertyKind::Compound;
    Pod pod = Pod::Unknown;
    bool scalarLike = false; // an array whose every sample has one element
    std::uint32_t extent = 0;
    std::uint32_t numSamples = 0;
    std::uint32_t firstChanged = 0;
    std::uint32_t lastChanged = 0;
    std::uint32_t timeSampling = 0;
    MetaData metaData;

    // Sub-properties of a compound, in stored order.
    std::vector<std::unique_ptr<AbcPropertyNode>> children;

    // Back-end handle of the property's storage (the Ogawa group reference; for HDF5 an index
    // into the reader's table of sample locations).
    std::uint64_t storage = 0;

    const AbcPropertyNode* child(const std::string& childName) const;
    bool isConstant() const { return firstChanged == 0; }
    // Stored slot of sample i (0 <= i < numSamples).
    std::uint32_t slotOf(std::uint32_t i) const;
    // Number of stored slots (0 for a property without samples).
    std::uint32_t numSlots() const;
};

struct AbcObjectNode {
    std::string name;     // "ABC" for the root
    std::string fullPath; // "/" for the root, "/a/b" below it
    MetaData metaData;
    const AbcObjectNode* parent = nullptr;
    std::vector<std::unique_ptr<AbcObjectNode>> children;
    // Top-level compound property; a compound without children when the object has none.
    AbcPropertyNode properties;
};

// A copy of one sample's bytes (the value part, without any content key). data points into
// owned (or is null for an empty sample) and stays valid until the view is reused.
struct SampleView {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    std::vector<unsigned char> owned;
};

// The container interface. Implementations are immutable after construction and safe to read
// from many threads at once.
class ArchiveReader {
  public:
    virtual ~ArchiveReader();

    // The back end's word: "Ogawa" or "HDF5".
    virtual const char* backendName() const = 0;

    const AbcObjectNode& root() const { return m_root; }
    const std::vector<TimeSampling>& timeSamplings() const { return m_timeSamplings; }
    const MetaData& archiveMetaData() const { return m_archiveMetaData; }
    std::int32_t libraryVersion() const { return m_libraryVersion; }
    std::uint64_t fileSize() const { return m_fileSize; }
    std::size_t numObjects() const { return m_numObjects; }

    // Reads sample i of a scalar or array property into out.owned. For a scalar: its value
    // bytes. For an array: all its elements packed. False (with a reason) when the storage is
    // damaged, the file can no longer deliver the bytes, or the property has no such sample.
    // Meant for small values; large arrays go through readSampleInto.
    virtual bool readSample(const AbcPropertyNode& property, std::uint32_t sampleIndex, SampleView& out,
                            std::string* error) const = 0;

    // Byte size of sample i without copying or touching the values (used to validate topology
    // against the point count cheaply). False when damaged.
    virtual bool sampleSize(const AbcPropertyNode& property, std::uint32_t sampleIndex, std::size_t& size,
                            std::string* error) const = 0;

    // Reads sample i's value bytes straight into destination, which holds size bytes: the size
    // sampleSize gave. False (with a reason) when the stored size is not size any more, the
    // storage is damaged or the file cannot deliver the bytes; destination may then be partly
    // written.
    virtual bool readSampleInto(const AbcPropertyNode& property, std::uint32_t sampleIndex, void* destination,
                                std::size_t size, std::string* error) const = 0;

    // Replaces every instance (an object whose top compound holds a string ".instanceSource"
    // naming another object) with what it stands for: the source's metadata and properties
    // under the instance's own name and path, and the source's subtree below it. Called once
    // after parsing, before the reader is shared. False with a reason when instances form a
    // cycle (a source that contains its instance) or expand beyond a sane size.
    bool resolveInstances(std::string& error);

  protected:
    AbcObjectNode m_root;
    std::vector<TimeSampling> m_timeSamplings;
    MetaData m_archiveMetaData;
    std::int32_t m_libraryVersion = 0;
    std::uint64_t m_fileSize = 0;
    std::size_t m_numObjects = 0;
};

// Opens the archive at path with the back end its first bytes name. Returns null and sets
// error (one line, without the path) when the file is missing, unreadable, not an Alembic
// archive or damaged.
std::unique_ptr<ArchiveReader> openArchiveReader(const std::string& path, std::string& error);

// Same, over bytes already in memory (tests and fuzzing). The bytes are copied.
std::unique_ptr<ArchiveReader> openArchiveReaderFromMemory(const void* data, std::size_t size,
                                                           std::string& error);

} // namespace Abc
} // namespace Kelno
