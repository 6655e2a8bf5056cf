// libFuzzer target for the UV file reader and the OBJ texture-coordinate parser. Any bytes as a
// UV file: a file that is accepted is consistent and encodes back to exactly the same bytes; a
// refused one leaves the layout as it was. The same bytes as OBJ text: the layout is consistent,
// fits the faces found, and those faces are the OBJ sequence loader's. Must never crash, hang or
// allocate more than the input's size.
#include <kelno/KObjSequence.h>
#include <kelno/KUVFile.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace Kelno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* bytes = reinterpret_cast<const char*>(data);

    KUVLayout layout;
    layout.uvIds = {-7};
    std::string error;
    if (DecodeUVFile(bytes, size, layout, error)) {
        if (!error.empty() || !CheckUVLayout(layout).empty() ||
            EncodeUVFile(layout) != std::string(bytes, size) ||
            !UVLayoutFitsFaces(layout, layout.uvCounts).empty())
            std::abort();
    } else if (error.empty() || layout.uvIds.length() != 1 || layout.uvIds[0] != -7 || !layout.u.empty()) {
        std::abort();
    }

    KObjUVs uvs;
    ParseObjUVs(bytes, size, uvs);
    if (!CheckUVLayout(uvs.layout).empty() || !UVLayoutFitsFaces(uvs.layout, uvs.polygonCounts).empty())
        std::abort();
    KObjMesh mesh;
    ParseObjBuffer(bytes, size, mesh);
    const int leftOut = RemoveUnbuildableFaces(mesh);
    if (leftOut != uvs.facesLeftOut || mesh.points.length() != uvs.pointCount ||
        mesh.polygonCounts != uvs.polygonCounts || mesh.polygonConnects != uvs.polygonConnects)
        std::abort(); // the faces must be the loader's faces
    return 0;
}
