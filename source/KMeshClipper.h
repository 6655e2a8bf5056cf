// KMeshClipper: cuts away the faces of one mesh that touch, or do not touch, the bounding box of
// a second mesh.
//
// A dependency node. mesh0 is clipped by the axis-aligned box of mesh1 (both read in world
// space); viceVersa exchanges their roles. deleteMode "Inside AABB" deletes the faces with at
// least one vertex in the box (boundary included), "Outside AABB" the others, and the result
// (positions and faces only: UVs and normals are not carried over; every vertex is kept, used
// or not) goes to outMesh. "None" outputs a full copy of mesh0, UVs and all, whatever viceVersa
// says. The face selection is the host-free Kelno::FacesToClip.
// Nothing is reported: an unconnected or empty input gives an empty mesh or an empty box (no
// face touches an empty box). compute returns kUnknownParameter for any plug but outMesh. Only
// the "None" path cleans outMesh; the clip path leaves that to the host, on purpose.
#pragma once

#include <maya/MDataBlock.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

class KMeshClipper : public MPxNode {
  public:
    static void* creator();
    static MStatus initialize();
    MStatus compute(const MPlug& plug, MDataBlock& data) override;

    // Registration statics: "KMeshClipper", 0x90001.
    static MString nodeTypeName;
    static MTypeId nodeTypeId;

    // Attributes (long and short names alike).
    static MObject deleteMode; // "deleteMode": 0 "None", 1 "Inside AABB" (default), 2 "Outside AABB"
    static MObject viceVersa;  // "viceVersa": clip mesh1 by mesh0's box instead, default false
    static MObject mesh0;      // "mesh0": the mesh clipped, hidden
    static MObject mesh1;      // "mesh1": the mesh whose box clips, hidden
    static MObject outMesh;    // "outMesh": the result, hidden
};
