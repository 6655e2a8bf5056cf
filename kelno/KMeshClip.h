// Clipping a polygon mesh by an axis-aligned box: the geometric core of the mesh clipper.
//
// A face touches the box when at least one of its corners lies in it (KBoundingBox::contains:
// closed box, a corner on a face of the box counts). Neither the face's centre nor its area is
// looked at, so a face that spans the box without a corner inside it does not touch it.
// Corner indices outside the mesh's positions are skipped (such a corner never touches the box).
// Plain C++14, host-free; the functions are safe to call concurrently on different meshes.
#pragma once

#include "KMesh.h"
#include "KTypes.h"
#include "KelnoExport.h"

namespace Kelno {

// What a clip removes.
enum class KClipMode {
    None = 0,       // nothing
    InsideBox = 1,  // the faces that touch the box
    OutsideBox = 2, // the faces that do not touch the box
};

// One flag per face of `mesh` (mask is replaced): 1 when the face touches `box`, 0 otherwise.
// An empty (uninitialised) box touches nothing.
KELNO_API void SelectFacesTouchingBox(const KMesh& mesh, const KBoundingBox& box, KCharArray& mask);

// The indices, in increasing order, of the faces that `mode` removes from `mesh` (ids is
// replaced): with InsideBox those that touch the box, with OutsideBox the others, with None
// (or any other value) none.
KELNO_API void FacesToClip(const KMesh& mesh, const KBoundingBox& box, KClipMode mode, KIntArray& ids);

// Removes those faces from `mesh` (KMesh::deleteElements: vertices stay) and returns how many
// were removed.
KELNO_API int ClipMesh(KMesh& mesh, const KBoundingBox& box, KClipMode mode);

} // namespace Kelno
