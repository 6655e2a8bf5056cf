// libFuzzer target for the OBJ reader and the sequence name rule: any bytes as OBJ text, through
// both the in-memory parser and the block-wise file reader (which must agree), and the first line
// as a sequence path at a few frames. Must never crash, hang or allocate without bound.
#include <kelno/KObjSequence.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

using namespace Kelno;

namespace {

bool sameMesh(const KObjMesh& a, const KObjMesh& b) {
    if (a.points.length() != b.points.length() || a.polygonCounts.length() != b.polygonCounts.length() ||
        a.polygonConnects.length() != b.polygonConnects.length())
        return false;
    for (int i = 0; i < a.points.length(); ++i)
        if (std::memcmp(&a.points[i], &b.points[i], sizeof(KObjPoint)) != 0)
            return false;
    for (int i = 0; i < a.polygonCounts.length(); ++i)
        if (a.polygonCounts[i] != b.polygonCounts[i])
            return false;
    for (int i = 0; i < a.polygonConnects.length(); ++i)
        if (a.polygonConnects[i] != b.polygonConnects[i])
            return false;
    return true;
}

// One scratch file per process, removed at exit.
const std::string& scratchFile() {
    static const std::string path = [] {
        char name[] = "/tmp/kelno_fuzz_obj_XXXXXX";
        const int fd = mkstemp(name);
        if (fd >= 0)
            close(fd);
        std::atexit([] { std::remove(scratchFile().c_str()); });
        return std::string(name);
    }();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    KObjMesh parsed;
    ParseObjBuffer(text, size, parsed);

    if (FILE* file = std::fopen(scratchFile().c_str(), "wb")) {
        const bool written = size == 0 || std::fwrite(text, 1, size, file) == size;
        std::fclose(file);
        KObjMesh read;
        if (written && ReadObjFile(scratchFile(), read) && !sameMesh(parsed, read))
            std::abort(); // the file reader must parse exactly as the buffer parser
    }

    const std::string firstLine(text, std::find(text, text + size, '\n'));
    for (int frame : {0, 1, -7, 2147483647, -2147483647 - 1})
        ObjSequenceFileName(firstLine, frame, frame);
    return 0;
}
