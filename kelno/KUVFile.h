// UV files: one UV set's coordinates and per-face assignment in a small binary file, and the
// texture coordinates of an OBJ file in the same form.
//
// A UV file holds exactly what a host mesh gives and takes for one UV set, in this order, in
// the machine's native byte order (little-endian on every supported platform), with no header,
// magic number, version or padding:
//   faceCount  int32                    entries of uvCounts (the mesh's face count)
//   uvCounts   faceCount x int32        UVs assigned to each face (0 for a face without UVs)
//   uvIdCount  int32                    entries of uvIds
//   uvIds      uvIdCount x int32        UV indices, face after face, corner after corner
//   uvCount    int32                    entries of each of uArray and vArray
//   uArray     uvCount x float32        every u first ...
//   vArray     uvCount x float32        ... then every v (not interleaved)
// so a file is 12 + 4 x (faceCount + uvIdCount + 2 x uvCount) bytes. The set's name is not
// stored, and the file is only meaningful for a mesh with the same faces in the same order.
//
// Caveats:
//   - the reader trusts nothing: every count is checked against the bytes that are really there
//     before anything is allocated, so a damaged file costs no more memory than its own size;
//   - a layout is "consistent" when no count is negative, the per-face counts add up to the
//     number of UV indices and every index names one of the UVs; the reader accepts nothing
//     else. Whether the faces fit a particular mesh is UVLayoutFitsFaces's question;
//   - nothing here throws except std::bad_alloc; no state is kept between calls.
// No host (Maya) types; C++14.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

#include <cstddef>
#include <string>

namespace Kelno {

// One UV set of a mesh as a UV file stores it.
struct KUVLayout {
    KIntArray uvCounts; // per face: the number of UVs assigned to it, 0 or its corner count
    KIntArray uvIds;    // per assigned face corner, face after face: an index into u and v
    KFloatArray u;      // u coordinate of every UV
    KFloatArray v;      // v coordinate of every UV (as many as u)
};

// The size in bytes of the file that holds these counts: 12 + 4 x (faces + ids + 2 x uvs).
inline std::size_t UVFileSize(std::size_t faceCount, std::size_t uvIdCount, std::size_t uvCount) {
    return 12u + 4u * (faceCount + uvIdCount + 2u * uvCount);
}

// The bytes of a UV file for `layout`. Writes min(u, v) coordinates of each kind when the two
// arrays differ in length (a layout never should).
KELNO_API std::string EncodeUVFile(const KUVLayout& layout);

// Writes `layout` to `path` (created or truncated) in one block. False, with `error` saying why,
// when the file cannot be opened or fully written; a partly written file is then removed.
KELNO_API bool WriteUVFile(const std::string& path, const KUVLayout& layout, std::string& error);

// Parses `size` bytes as a UV file into `layout`. False, with `error` naming the field and the
// byte offset, for a file that is short, longer than its counts say, has a negative count, or is
// not consistent (see above); `layout` is then left exactly as it was. `error` is empty on
// success.
KELNO_API bool DecodeUVFile(const char* data, std::size_t size, KUVLayout& layout, std::string& error);

// Reads the UV file at `path` (at most its own size in memory) and decodes it as DecodeUVFile
// does. A file that cannot be opened gives "cannot open <path>". `layout` is untouched on failure.
KELNO_API bool ReadUVFile(const std::string& path, KUVLayout& layout, std::string& error);

// Empty when `layout` is consistent (see above), otherwise the first problem found.
KELNO_API std::string CheckUVLayout(const KUVLayout& layout);

// Empty when `layout` can be assigned to a mesh whose faces have the given corner counts: one
// entry per face, each face with no UVs or one per corner. Otherwise the first misfit.
KELNO_API std::string UVLayoutFitsFaces(const KUVLayout& layout, const KIntArray& faceVertexCounts);

// ---------------------------------------------------------------------------------------------
// OBJ texture coordinates
// ---------------------------------------------------------------------------------------------

// The UVs an OBJ file assigns to its faces: its "vt" records and, for every "f" record, the
// corner tokens' vertex and texture indices. The faces are the OBJ sequence loader's faces (the
// same tokens as ParseObjBuffer reads, with the unbuildable ones left out as
// RemoveUnbuildableFaces leaves them), so the layout fits the mesh the loader builds.
struct KObjUVs {
    KIntArray polygonCounts;   // corners of each face kept
    KIntArray polygonConnects; // zero-based vertex index of every corner
    KUVLayout layout;          // the faces' UVs; a face gets UVs only when every corner has one
    int pointCount = 0;        // "v " records
    int facesLeftOut = 0;      // "f " records the loader would leave out
};

// Parses OBJ text for texture coordinates. "vt " records give (u, v) (missing or unreadable
// numbers are 0; a third number is ignored); in an "f " record each token "a/b/c", "a/b" or
// "a//c" names vertex a and texture coordinate b (1-based; negative values count back from the
// last record read so far, as OBJ allows). A face keeps its UVs only when every corner names an
// existing "vt" record. Separate from ParseObjBuffer, which it leaves as it is.
KELNO_API void ParseObjUVs(const char* data, std::size_t size, KObjUVs& uvs);

// Reads the OBJ file at `path` with ParseObjUVs. False, with `error`, when it cannot be read.
KELNO_API bool ReadObjUVs(const std::string& path, KObjUVs& uvs, std::string& error);

} // namespace Kelno
