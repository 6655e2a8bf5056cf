// Numbered OBJ sequences: the frame-to-file-name rule and the OBJ subset reader.
//
// Owns the host-free half of the OBJ sequence loader node: the pure function that turns a
// path, a frame and a frame offset into the file name of that frame, and the reader that turns
// such a file into vertex positions and polygon arrays ready for a mesh. The command-line tool
// and the tests use the same functions the node uses.
//
// Caveats (kept on purpose; pipelines depend on them):
//   - the name rule is literal, not clever: every result is rooted at "/", every digit of the
//     file name counts towards the padding width and middle dot-pieces of the name are dropped;
//   - the reader keeps no state between calls (safe to call from several threads on different
//     meshes); it throws nothing but std::bad_alloc when the arrays cannot grow, and assumes the
//     floating-point unit rounds to nearest (the default);
//   - the reader validates nothing: face indices are stored as written minus one, so zero and
//     relative (negative) indices, out-of-range indices and faces of any size pass unchanged.
//     The host makes no promise about such faces, so the loader drops them before building its
//     mesh with RemoveUnbuildableFaces (the rule is written there).
// No host (Maya) types; C++14.
#pragma once

#include "KTypes.h"
#include "KelnoExport.h"

#include <cstddef>
#include <string>

namespace Kelno {

// ---------------------------------------------------------------------------------------------
// Frame-to-file-name rule
// ---------------------------------------------------------------------------------------------

// The number in decimal, padded on the left with '0' to at least `width` characters; a number
// wider than `width` is written in full and a width of zero or less adds no padding.
// A negative number is written as printf's "%0*d" writes it: the minus sign first, then the
// zeros, then the digits, the sign counting towards the width (-5 at width 4 gives "-005",
// -12345 at width 4 gives "-12345"). Every int, INT_MIN included, is written correctly.
KELNO_API std::string PadNumber(int number, int width);

// The file the sequence loader reads at `frame`, for a sequence named by `path` (any one file of
// the sequence, e.g. "/shots/a/mesh_0001.obj"). The rule, applied literally:
//   1. an empty path gives "NULL";
//   2. the path is split at every "/", empty pieces dropped; no piece at all gives "NULL";
//      the last piece is the file name, the others are directories;
//   3. a file name without any decimal digit gives "NOT A SEQUENCE FILE";
//   4. first = index of the first digit of the file name, width = number of digits in the
//      whole file name (extension and later digit runs included);
//   5. number = PadNumber(frame + frameOffset, width); the sum wraps around like 32-bit
//      two's-complement arithmetic instead of overflowing;
//   6. the file name is split at every "." (empty pieces dropped); prefix = the first 'first'
//      characters of the first piece (all of it when it is shorter), extension = the last piece;
//   7. result = "/" + each directory + "/" ... + prefix + number + "." + extension.
// So relative paths become rooted ("data/a_01.obj" -> "/data/a_01.obj"), "shot1_0010.obj" at
// frame 12 gives "shot00012.obj" (width 5 from all five digits), "mesh.0001.obj" at frame 5
// gives "mesh0005.obj" and "0001.obj" gives "/0005.obj". The frame's own digits never matter.
KELNO_API std::string ObjSequenceFileName(const std::string& path, int frame, int frameOffset);

// The frame the loader reads at a time given in frames: truncation toward zero (12.9 gives 12,
// -0.5 gives 0). Times beyond the int range clamp to INT_MIN or INT_MAX, and NaN is frame 0.
KELNO_API int ObjSequenceFrame(double time);

// ---------------------------------------------------------------------------------------------
// OBJ subset reader
// ---------------------------------------------------------------------------------------------

// One vertex position as a host point wants it: x, y, z and the homogeneous w, which the reader
// always sets to 1.0. Double precision, because the node extracts the numbers of a "v " line
// with stream extraction straight into the double coordinates of its point; the reader gives the
// same doubles. Four packed doubles, so an array of them reads as a `double[][4]` run (the form a
// host point array can be built from in one call).
struct KObjPoint {
    double x;
    double y;
    double z;
    double w;
};

using KObjPointArray = KArray<KObjPoint>;

// What one OBJ file gives the loader: positions and polygons, nothing else (no UVs, normals,
// groups or materials). Polygons are stored as a count per face record and one flat list of
// zero-based vertex indices, faces one after another in file order.
struct KObjMesh {
    KObjPointArray points;     // one per "v " line, in file order
    KIntArray polygonCounts;   // one per "f " line: the number of index tokens on it (may be 0)
    KIntArray polygonConnects; // every index token's value minus one, in file order

    // Empties all three arrays and keeps their storage, so reading frame after frame into the
    // same mesh does not reallocate once the arrays have grown.
    void clear() {
        points.clear();
        polygonCounts.clear();
        polygonConnects.clear();
    }
};

// Reads an OBJ file into `mesh` (which is cleared first). Returns false when the file cannot be
// opened (the mesh is then empty; the caller reports "Failed to open the file: <name>", see
// ObjOpenFailureMessage), true otherwise, even when nothing in it was usable. A path that names a
// directory opens but reads as an empty file, as a text stream would. The file is read in large
// blocks (1 MiB, or the file's size when smaller; one read call each, into one buffer reused for
// the whole file; lines longer than a block grow it, up to kObjMaxLineBytes) and parsed exactly as
// ParseObjBuffer parses the whole text. No memory mapping: a cache file rewritten while it is mapped would
// kill the host. If not even the first buffer can be allocated the mesh stays empty and the result is still
// true.
KELNO_API bool ReadObjFile(const std::string& fileName, KObjMesh& mesh);

// The longest line ReadObjFile accepts (256 MiB; a face of some thirty million corners). A
// hostile or broken file (gigabytes without a line break) must not take all the host's memory.
constexpr std::size_t kObjMaxLineBytes = std::size_t(256) << 20;

// The same, saying why it fails: `error` gets ObjOpenFailureMessage(fileName) when the file
// cannot be opened, or names the byte offset of a line longer than `maxLineBytes` (at least one
// read block is always accepted) or of one the memory cannot hold. The mesh is then empty and no
// buffer of more than `maxLineBytes` (plus a little padding) was ever allocated. `error` is empty
// on success.
KELNO_API bool ReadObjFile(const std::string& fileName, KObjMesh& mesh, std::string& error,
                           std::size_t maxLineBytes = kObjMaxLineBytes);

// Parses `size` bytes of OBJ text into `mesh` (cleared first). The buffer need not end with a
// newline or a NUL. The records read, line by line (a line ends at "\n"; a "\r" before it stays
// part of the line and is blank space to the number parsing below):
//   "v " (v and a blank) - three numbers are extracted from the rest of the line exactly as
//        `std::istringstream >> double` extracts them in the classic "C" locale: blank space
//        (space, tab, \v, \f, \r) skipped, then sign, digits, one '.', and an exponent
//        "e"/"E" with optional sign; the characters taken are converted correctly rounded.
//        Numbers after the third are ignored. Where extraction fails it fails as a stream does,
//        and the remaining coordinates are not read:
//          - no number left on the line: that coordinate and the later ones are 0.0;
//          - text that is not a number ("abc", ".", "-", "1e" or "1e+" without exponent digits,
//            "inf", "nan"): that coordinate is 0.0, and the later ones are 0.0;
//          - a number too large for a double: +/-DBL_MAX (the largest finite double), and the
//            later coordinates are 0.0. Values too small underflow to zero or a denormal.
//        "1.5abc" gives 1.5 and then fails on "abc"; "1.2.3" gives 1.2 and then 0.3.
//        (A stream leaves the unread coordinates as they were; the reader makes them 0.0.)
//   "f " (f and a blank) - the rest of the line is split at every single blank, as reading it
//        with getline(stream, token, ' ') does: two blanks in a row make an empty token, a
//        single trailing blank makes none, two trailing blanks make one, an empty rest makes no
//        token (a face of count 0). Each token is converted with base-10 strtol semantics
//        (leading tab, \r, \v, \f skipped, optional sign, digits up to the first other character,
//        0 when there are none, clamped to the range of a 64-bit long), so "7/3/2" and "7//2"
//        give 7, "" gives 0 and tabs do not separate indices. The face's token count goes to
//        polygonCounts and each value minus one to polygonConnects; a value outside the int
//        range wraps to 32 bits as a two's-complement conversion does.
//   anything else - "vt", "vn", "vp", comments, o/g/s/usemtl/mtllib/l records, blank lines and
//        "v" or "f" followed by a tab - is skipped.
KELNO_API void ParseObjBuffer(const char* data, std::size_t size, KObjMesh& mesh);

// Leaves out the faces a host mesh cannot be made of, before the mesh is handed to the host:
//   - a face with fewer than three corners (counts 0, 1 and 2, e.g. "f 1 2" or an empty "f "),
//   - a face with a corner index outside [0, number of points) ("f 0 1 2" gives index -1,
//     relative indices such as "f -1 -2 -3" are negative, "f 1 2 99" may pass the end).
// Every other face is kept with its corners as read, in file order (a face naming one vertex
// twice is kept: it is valid input to the host). Points are never removed. Returns the number
// of faces left out.
KELNO_API int RemoveUnbuildableFaces(KObjMesh& mesh);

// The loader's message for a file it cannot open: "Failed to open the file: " + fileName.
KELNO_API std::string ObjOpenFailureMessage(const std::string& fileName);

} // namespace Kelno
