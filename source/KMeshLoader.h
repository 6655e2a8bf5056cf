// KMeshLoader: plays a numbered sequence of OBJ files as an animated mesh.
//
// A dependency node. On every evaluation of outMesh it turns the current time (in the user
// interface's time unit, truncated toward zero to a whole frame) plus frameOffset into the
// name of one file of the sequence named by filePathName, reads that file's positions and
// faces, and outputs them as a new mesh. Nothing is cached between evaluations: the file is
// read again each time. UVs, normals, groups and materials in the files are ignored.
//
// The name rule and the reader are the host-free Kelno::ObjSequenceFileName and
// Kelno::ReadObjFile; this class feeds them from the data block and builds the mesh.
// A file that cannot be opened shows "Failed to open the file: <name>" and gives an empty
// mesh; compute still succeeds. Faces the host cannot build (fewer than three corners, an index
// outside the vertex list) are left out. compute marks outMesh clean once it is set.
#pragma once

#include <maya/MDataBlock.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MIntArray.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPointArray.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

class KMeshLoader : public MPxNode {
  public:
    KMeshLoader();
    ~KMeshLoader() override;

    static void* creator();
    static MStatus initialize();
    // Keeps the node's own object, binds the function sets to it and renames the node
    // "KMeshLoader#".
    void postConstructor() override;
    // Computes outMesh; kUnknownParameter for any other plug.
    MStatus compute(const MPlug& plug, MDataBlock& data) override;

    // Registration statics: "KMeshLoader", 0x90003.
    static MString nodeTypeName;
    static MTypeId nodeTypeId;

    // Attributes (long and short names alike).
    static MObject time;         // "time": scene time, hidden; connect time1.outTime to it
    static MObject frameOffset;  // "frameOffset": int added to the frame, default 0
    static MObject outMesh;      // "outMesh": the mesh read, hidden
    static MObject filePathName; // "filePathName": any one file of the sequence, default ""

  private:
    // The file name for that frame (see Kelno::ObjSequenceFileName): "NULL" for an empty path,
    // "NOT A SEQUENCE FILE" for a file name without digits.
    static MString _getFilePathName(const MString& path, int frame, int frameOffset);
    // Fills the three arrays from the file (cleared first), leaving out the faces the host
    // cannot build (Kelno::RemoveUnbuildableFaces). False, with the error message, when the file
    // cannot be opened; true otherwise, even if nothing in it was usable.
    bool _loadObjFile(const MString& fileName);

    MObject m_node;
    MString m_name; // unused; part of the common node frame
    MFnDependencyNode m_dgFn;
    MFnDagNode m_dagFn;          // stays detached: a dependency node is not a DAG node
    MPointArray m_vertices;      // positions of the last file read, in file order, w = 1
    MIntArray m_polygonCounts;   // one entry per face record
    MIntArray m_polygonConnects; // zero-based vertex indices, faces one after another
};
