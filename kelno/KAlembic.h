// Alembic archive access: the wrappers the Alembic viewer reads polygon caches through.
//
// Owns:
//   KAlembicArchive      an open archive (read-only; the file stays open and is read by offset)
//   KAlembicObject       one object of its hierarchy (shares the archive's parsed data)
//   KAlembicObjectArray  an ordered list of objects
//   KAlembicProperty     one property of an object (compound, scalar or array)
//   GetAllDescendantObjects  depth-first gathering of a subtree
//
// The reader is our own, written from the file format; it needs no Alembic library. Storage
// back ends sit behind an internal seam: Ogawa archives are read directly, HDF5 archives
// through the HDF5 C library. Both answer every question below the same way.
//
// Conventions:
//   - Sample indices are 0-based per property. Any index is accepted: indices below 0 read
//     sample 0, indices past the end read the last sample (each property clamps on its own, so
//     a constant topology serves every frame of a deforming mesh).
//   - Positions come in the object's own space; getPolyMeshData's xform is the object's
//     world placement at that sample: the product of its ancestors' transform samples from
//     the parent upwards (W = L_parent * L_grandparent * ...), stopping after a transform
//     whose "inherits" flag is false; ancestors that are not transforms contribute nothing.
//     Ancestors are sampled by time, not by index: the mesh sample's time is taken from its
//     positions' time sampling, and each transform property is read at the last of its own
//     samples at or before that time (its first sample for earlier times), so meshes and
//     transforms written with different samplings line up as they were written. A static mesh
//     (one sample, valid at every time) takes the time of sampleIndex in the archive's main
//     time sampling instead, so that it follows the transforms animated above it.
//   - KMatrix is row-major with points as row vectors: world = [x y z 1] * xform, translation
//     in the last row (the file's own convention, so matrices are copied without transposing).
//   - Times are seconds.
//
// Threading: after open() the archive's parsed data never change. Any number of threads may
// call getPolyMeshData, getValue and the other const readers at once, on distinct objects or
// the same one. Ogawa reads use no shared cursor and take no locks. The HDF5 library is not
// built thread-safe, so every call into it (open, each HDF5 sample read, close) holds one
// process-wide lock: HDF5 reads from many threads are safe but run one at a time. open() and
// reset() must not run
// while other threads read the same KAlembicArchive (objects already handed out stay valid:
// they keep the archive's data alive until they are destroyed).
//
// Damage: every offset, size and count in the file is checked against the file's size at open
// before use (HDF5 archives: the HDF5 library's own checks, plus group cycles and sample sizes
// checked here; its error printing is silenced). A damaged archive makes open() fail, or a later read return
// false, without crashing and without allocating more than a small multiple of the file's size.
//
// Files changing underneath: open() parses the hierarchy and headers once; samples are read
// from the file when asked for (positioned reads, never a memory mapping). If another process
// truncates, rewrites or appends to an Ogawa file while it is open, a read whose bytes are gone
// or no longer fit the sizes seen at open returns false with a reason, and a read of rewritten
// bytes returns those bytes, checked like any other (topology validated, sizes matched). The
// process is never signalled. HDF5 files are read through the HDF5 library and its caches: a
// truncated file makes reads fail, but bytes rewritten in place after open are not checked
// beyond what that library checks. Reopen the archive to see the new contents properly.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

#include <cstddef>
#include <memory>

namespace Kelno {

namespace Abc {
class ArchiveReader;
struct AbcObjectNode;
struct AbcPropertyNode;
} // namespace Abc

// Values of KAlembicObject::typeId(), decided by the object's schema.
enum KAlembicTypeId {
    kAbcTypeUnknown = 0,  // no schema or one not listed here (also the archive root)
    kAbcTypeXform = 1,    // "AbcGeom_Xform_v3": a transform
    kAbcTypeSubD = 2,     // "AbcGeom_SubD_v1": a subdivision surface (not read as a mesh)
    kAbcTypePolyMesh = 3, // "AbcGeom_PolyMesh_v1": a polygon mesh (the viewer's kind)
    kAbcTypeCurves = 4,   // "AbcGeom_Curve_v2"
    kAbcTypePoints = 5,   // "AbcGeom_Points_v1"
    kAbcTypeNuPatch = 6,  // "AbcGeom_NuPatch_v2"
    kAbcTypeCamera = 7,   // "AbcGeom_Camera_v1"
    kAbcTypeLight = 8,    // "AbcGeom_Light_v1"
    kAbcTypeFaceSet = 9   // "AbcGeom_FaceSet_v1": a face subset, child of a polygon mesh
};

// One property of an object: a compound (children only) or a scalar or array property
// (samples only). A default-constructed property is invalid: no children, no name, no value.
class KELNO_API KAlembicProperty {
  public:
    KAlembicProperty();
    ~KAlembicProperty();
    KAlembicProperty(const KAlembicProperty&);
    KAlembicProperty& operator=(const KAlembicProperty&);

    bool isValid() const { return m_node != nullptr; }
    bool isCompound() const;
    bool isScalar() const;
    // Array properties, including "scalar-like" arrays (one element per sample).
    bool isArray() const;

    // Sub-properties of a compound, in stored order (0 for scalar, array and invalid ones).
    int numChildren() const;
    // Sets child to sub-property i; false (child untouched) when i is out of range.
    bool getChild(int i, KAlembicProperty& child) const;
    // Sets child to the sub-property of that name; false when there is none.
    bool getChild(const char* childName, KAlembicProperty& child) const;

    KString name() const;
    // Number of samples (0 for compounds), data type word ("int8", "float32", ... as in
    // the file) and values per element (3 for a point).
    int numSamples() const;
    KString podName() const;
    int extent() const;

    // Reads the first byte of a one-byte scalar sample (bool, int8, uint8), as the "visible"
    // property of a transform is stored: 1 visible, 0 hidden, -1 deferred to the parent.
    // The index is clamped. False, value untouched, for other properties or damaged samples.
    bool getValue(char& value, int sampleIndex) const;

  private:
    friend class KAlembicObject;
    std::shared_ptr<const Abc::ArchiveReader> m_archive;
    const Abc::AbcPropertyNode* m_node;
};

// One object of an archive's hierarchy. Copies share the archive's parsed data, which stays
// alive as long as any object or property of it exists, even after the archive is reset.
class KELNO_API KAlembicObject {
  public:
    KAlembicObject();
    ~KAlembicObject();
    KAlembicObject(const KAlembicObject&);
    KAlembicObject& operator=(const KAlembicObject&);

    bool isValid() const { return m_node != nullptr; }
    // The object's name ("ABC" for the archive root) and full path ("/" for the root,
    // "/xform/shape" below it). Empty for an invalid object.
    KString name() const;
    KString fullPath() const;
    // The "schema" value of the object's metadata, e.g. "AbcGeom_PolyMesh_v1"; "" when none.
    KString schema() const;
    // A value of KAlembicTypeId; 3 is a polygon mesh.
    int typeId() const;
    // Samples of the object's schema, as the writing library counts them: a transform's
    // "inherits"; a mesh's, curve's or NURBS patch's positions; points: positions or ids,
    // whichever has more; a subdivision surface: its property with the most; a face set: its
    // faces; a camera: its core values; a light: its children's bounds, else its camera's core
    // values. 0 without a schema.
    int numSamples() const;

    int numChildren() const;
    bool getChild(int i, KAlembicObject& child) const;
    // Sets parent to the object above this one; false (parent untouched) for the root or an
    // invalid object.
    bool getParent(KAlembicObject& parent) const;

    // The object's top compound property (schema compounds such as ".geom" and ".xform" and
    // values such as "visible" are its children). Invalid for an invalid object.
    KAlembicProperty& topProperty() { return m_topProperty; }
    const KAlembicProperty& topProperty() const { return m_topProperty; }

    // Reads mesh sample sampleIndex (clamped per property) and fills every output whose pointer
    // is not null, leaving the others alone:
    //   positions           points in the object's space, one per vertex
    //   velocities          one per vertex; emptied when the mesh stores none
    //   polygonCounts       vertices of each polygon
    //   polygonConnections  0-based vertex indices of all polygons, polygon after polygon, in
    //                       the order stored (no winding change)
    //   bounds              box of the sample's points in the object's space (non-finite
    //                       points skipped; uninitialised for an empty sample)
    //   xform               world placement at that sample (see the header comment); assigned
    //   uvs                 texture coordinates as u, v pairs (2 floats per value); emptied
    //                       when the mesh has none
    //   uvIndices           one index into the uv values per face-vertex when the uvs are
    //                       indexed; emptied when they are not (value k then belongs to
    //                       face-vertex k) or absent
    // Topology is checked when counts or connections are asked for: counts not negative,
    // their sum equal to the number of connections, every connection a valid point index.
    // Returns false, with all outputs untouched and a reason in *error when given, for objects
    // that are not polygon meshes, meshes without samples, and damaged data. One exception:
    // when the file has changed on disk since open and the positions themselves can no longer
    // be read, positions is emptied (the other outputs stay untouched).
    bool getPolyMeshData(KVectorArray* positions, KVectorArray* velocities, KIntArray* polygonCounts,
                         KIntArray* polygonConnections, KBoundingBox* bounds, KMatrix* xform,
                         KFloatArray* uvs, KIntArray* uvIndices, int sampleIndex,
                         KString* error = nullptr) const;

    // The world placement of this object's children at the time of its sample sampleIndex (see
    // numSamples; objects without samples use the archive's main time sampling), i.e. what
    // getPolyMeshData gives as xform for a mesh below this object: for a transform, its own
    // local matrix times its ancestors'. Computed in double precision. False when a transform
    // on the way is damaged.
    bool getWorldMatrix(double matrix[16], int sampleIndex, KString* error = nullptr) const;

  private:
    friend class KAlembicArchive;
    KAlembicObject(const std::shared_ptr<const Abc::ArchiveReader>& archive, const Abc::AbcObjectNode* node);
    bool _placement(const Abc::AbcObjectNode* start, double time, double matrix[16],
                    std::string* error) const;
    double _sampleTime(int sampleIndex) const;

    std::shared_ptr<const Abc::ArchiveReader> m_archive;
    const Abc::AbcObjectNode* m_node;
    KAlembicProperty m_topProperty;
};

// An ordered list of objects: KArray's members (length(), operator[], push_back, remove by
// indices keeping the order of the rest) plus reset().
class KAlembicObjectArray : public KArray<KAlembicObject> {
  public:
    KAlembicObjectArray() = default;
    // Empties the list.
    void reset() { this->clear(); }
};

// Replaces the contents of out with the descendants of root in depth-first pre-order
// (children in stored order, root itself not included): the whole subtree when recursive is
// true, the direct children only when false.
KELNO_API void GetAllDescendantObjects(const KAlembicObject& root, KAlembicObjectArray& out, bool recursive);

// An archive open for reading.
class KELNO_API KAlembicArchive {
  public:
    KAlembicArchive();
    ~KAlembicArchive();
    KAlembicArchive(const KAlembicArchive&) = delete;
    KAlembicArchive& operator=(const KAlembicArchive&) = delete;

    // Opens the file, closing any archive open before. False when the file cannot be read as
    // an archive (missing, unreadable, not an Alembic archive, damaged); errorString()
    // then says why in one line, and the archive is empty.
    bool open(const char* path);
    // The same over bytes in memory (copied), for embedded data, tests and fuzzing.
    bool openFromMemory(const void* data, std::size_t size);
    // Closes the archive: back to the empty state (errorString() cleared too).
    void reset();

    bool isOpen() const { return m_archive != nullptr; }
    // Why the last open() failed; "" after a successful one.
    KString errorString() const { return m_error; }

    // The root object ("/"); an invalid object when nothing is open.
    const KAlembicObject& topObject() const { return m_top; }

    // First and last sample times of the archive in seconds, from its time samplings: over
    // the samplings other than the default one that some property uses with more than one
    // sample, the earliest first time and the latest last time; else over those used with one
    // sample; else the default sampling's. 0 when nothing is open.
    double startTime() const;
    double endTime() const;
    // Seconds between two samples of the archive's main time sampling (the first one after
    // the default when there are several): uniform, the time per sample (1 / frame rate);
    // cyclic, the cycle time divided by the samples per cycle; acyclic, the mean spacing of
    // its stored times. Always finite and greater than 0 (1.0 when nothing better exists).
    double timeStepSize() const;

    // The storage back end as one word: "Ogawa" or "HDF5"; "none" when nothing is open.
    KString archiveTypeStr() const;
    // The kind of the main time sampling as one word: "uniform", "cyclic" or "acyclic";
    // "none" when nothing is open.
    KString timeSamplingTypeStr() const;

    // Extras for tools: the writing library's version (e.g. 10812 for 1.8.12), the archive
    // metadata value of a key ("" when absent), the number of objects including the root.
    int libraryVersion() const;
    KString archiveMetaData(const char* key) const;
    int numObjects() const;

  private:
    bool _adopt(std::unique_ptr<Abc::ArchiveReader> reader);

    std::shared_ptr<const Abc::ArchiveReader> m_archive;
    KAlembicObject m_top;
    KString m_error;
};

} // namespace Kelno
