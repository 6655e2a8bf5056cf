// Host conversions: Maya polygon meshes into the core library's KTriMesh and KMesh, and core
// arrays into Maya arrays.
//
// What a mesh object may be (the `mesh` argument of Convert, the entries of the array form):
//   - mesh data (an MFnMeshData object, e.g. from MDataHandle::asMesh or asMeshTransformed):
//     its points are taken as stored (asMeshTransformed data is already in world space);
//   - a mesh shape node: its points are taken in WORLD space, through the shape's first DAG
//     path (MDagPath::getAPathTo; the first instance of an instanced shape);
//   - a transform with exactly one shape below it that is not an intermediate object (the
//     undeformed "Orig" input of a deformed mesh is skipped), that shape a mesh: as that shape.
// Anything else (a null object, another node type, a transform with no or several such shapes)
// is refused.
//
// Triangulation is the host's (MFnMesh::getTriangles): a face of n corners gives n - 2
// triangles, faces in order, each triangle in the winding of its face. Vertex indices and
// order are the host's; positions are narrowed from double to float.
//
// UVs (`uvSetName`):
//   ""              no UVs are read; `uvs` of the result is empty;
//   "currentUVSet"  the UV set of that name when the mesh has one, otherwise the mesh's current
//                   UV set; a mesh with no UV set at all converts without UVs (empty `uvs`);
//   any other name  that UV set; a mesh without it is refused.
// A face corner with no UV assigned in the set gets (0, 0, 0). A triangle corner takes the UV
// of the face corner it came from (for a face that lists a vertex twice, its first corner with
// that vertex).
//
// `positionsOnly` (the boolean of Convert and GetMesh): false converts everything. true is for
// re-reading a mesh whose topology has not changed since `out` was filled from it (animation,
// deformation): when `out` already has the host mesh's vertex count and, for a KTriMesh, as many
// triangles as the host's faces give (n - 2 per face of n corners), or, for a KMesh, as many
// faces and face corners as the host mesh, only `positions` is rewritten; the triangles or
// faces and the UVs are kept and the UV set is not looked at. When any count differs it converts
// everything as with false. A topology change that keeps all those counts is not detected.
//
// Failures: every function returns kSuccess or a failure status and then leaves `out` exactly as
// it was. When `errorMessage` is given it receives a one-line reason on failure ("Error@Convert():
// ..." / "Error@GetMesh(): ..."); nothing is shown in the host, the caller decides.
//   kInvalidParameter  null object (single-mesh forms), not a mesh, null or empty name
//   kNotFound          no node of that name, or the named UV set is missing
//   kFailure           the mesh has no vertices, or the host could not read it
//
// Thread safety: these call the host API and belong on the thread the host runs the plug-in on.
#pragma once

#include "KMayaExport.h"

#include <kelno/KMesh.h>
#include <kelno/KTypes.h>

#include <maya/MIntArray.h>
#include <maya/MObject.h>
#include <maya/MObjectArray.h>
#include <maya/MPointArray.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

namespace Kelno {

// One host mesh into a triangle mesh: positions (one per host vertex, host order), triangles
// (the host's triangulation, see above) and, when uvSetName names a set, per-corner UVs
// (3 per triangle).
KELNO_MAYA_API MStatus Convert(KTriMesh& out, MObject& mesh, bool positionsOnly, const char* uvSetName,
                               MString* errorMessage = nullptr);

// One host mesh into a polygon mesh: positions, one face per host face with its corners in host
// order, and, when uvSetName names a set, per-corner UVs face after face.
KELNO_MAYA_API MStatus Convert(KMesh& out, MObject& mesh, bool positionsOnly, const char* uvSetName,
                               MString* errorMessage = nullptr);

// Several host meshes merged into one triangle mesh, replacing `out`: the meshes are appended in
// array order, each with its vertices in its own order, so vertex v of the k-th converted mesh
// becomes vertex v + (vertex count of the meshes before it). Null objects are skipped; a mesh
// with no vertices adds nothing. Spaces as for the single-mesh form; no UVs are read (`uvs` is
// empty). An empty array, or one holding only null objects, gives an empty mesh and kSuccess.
// Any other object that is not a mesh fails the whole call (`out` untouched).
KELNO_MAYA_API MStatus Convert(KTriMesh& out, MObjectArray& meshes, MString* errorMessage = nullptr);

// Element-wise copies into host arrays; `out` is replaced (same length as `in`). Points get
// w = 1.
KELNO_MAYA_API void Copy(MIntArray& out, const KIntArray& in);
KELNO_MAYA_API void Copy(MPointArray& out, const KVectorArray& in);

// The mesh named nodeName (a mesh shape, or a transform whose only shape is a mesh; "name" or a
// DAG path "|parent|name") converted as Convert does for a shape: world space, and
// positionsOnly and uvSetName as above.
KELNO_MAYA_API MStatus GetMesh(KTriMesh& out, const char* nodeName, bool positionsOnly, const char* uvSetName,
                               MString* errorMessage = nullptr);

} // namespace Kelno
