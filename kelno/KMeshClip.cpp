#include "KMeshClip.h"

namespace Kelno {

void SelectFacesTouchingBox(const KMesh& mesh, const KBoundingBox& box, KCharArray& mask) {
    const int faceCount = mesh.faceCount();
    const int vertexCount = mesh.vertexCount();
    mask.assign(static_cast<std::size_t>(faceCount), 0);
    for (int f = 0; f < faceCount; ++f) {
        for (int v : mesh.faces[static_cast<std::size_t>(f)]) {
            if (v >= 0 && v < vertexCount && box.contains(mesh.positions[static_cast<std::size_t>(v)])) {
                mask[static_cast<std::size_t>(f)] = 1;
                break;
            }
        }
    }
}

void FacesToClip(const KMesh& mesh, const KBoundingBox& box, KClipMode mode, KIntArray& ids) {
    ids.clear();
    if (mode != KClipMode::InsideBox && mode != KClipMode::OutsideBox)
        return;
    KCharArray mask;
    SelectFacesTouchingBox(mesh, box, mask);
    const char wanted = mode == KClipMode::InsideBox ? 1 : 0;
    for (int f = 0; f < mask.length(); ++f)
        if (mask[static_cast<std::size_t>(f)] == wanted)
            ids.push_back(f);
}

int ClipMesh(KMesh& mesh, const KBoundingBox& box, KClipMode mode) {
    KIntArray ids;
    FacesToClip(mesh, box, mode, ids);
    mesh.deleteElements(ids);
    return ids.length();
}

} // namespace Kelno
