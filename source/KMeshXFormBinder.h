// KMeshXFormBinder: glues a point to a deforming mesh and derives a translation and a rotation
// from it.
//
// A dependency node. At bind time it finds the triangle of inMesh (in world space) closest to
// inPosition, builds an orthonormal frame on it and stores the binding in closestTriangle,
// farthestVertex, localCoordinates and initialMatrix. Every evaluation rebuilds the frame from
// the current mesh: outTranslate is the displacement of the bound point from inPosition and
// outRotate the rotation of the frame since the bind, as Euler angles (radians) in
// rotationOrder. Connected to a transform's translate and rotate, they carry an object whose
// rest place is inPosition along with the surface. The geometry is the host-free
// Kelno::BindPoint / Kelno::EvaluateBinding.
//
// Rebinding happens at the first evaluation after creation or scene load (the binding stored in
// the scene is deliberately replaced), when the input's vertex or triangle count changes, and
// when closestTriangle or farthestVertex is set negative. Only inMesh and rotationOrder trigger
// an evaluation: changing inPosition alone does not.
// Nothing is reported: an unconnected or empty mesh leaves the node unbound, and a stored
// binding that does not fit the mesh gives a zero outTranslate and a zero outRotate. compute
// always succeeds and cleans the plug it was asked for.
#pragma once

#include <kelno/KMesh.h>

#include <maya/MDataBlock.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

class KMeshXFormBinder : public MPxNode {
  public:
    KMeshXFormBinder();
    ~KMeshXFormBinder() override;

    static void* creator();
    static MStatus initialize();
    // Keeps the node's own object, binds the function sets to it and renames the node
    // "KMeshXFormBinder#".
    void postConstructor() override;
    // Binds when needed and writes outTranslate or outRotate, whichever is asked for (neither
    // for another plug); always kSuccess.
    MStatus compute(const MPlug& plug, MDataBlock& data) override;

    // Registration statics: "KMeshXFormBinder", 0x90002.
    static MString nodeTypeName;
    static MTypeId nodeTypeId;

    // Attributes (long and short names alike), all hidden but rotationOrder.
    static MObject inMesh;           // "inMesh": the mesh, read in world space
    static MObject inPosition;       // "inPosition": the rest point P, three floats
    static MObject closestTriangle;  // "closestTriangle": bound triangle, -1 = not bound
    static MObject farthestVertex;   // "farthestVertex": frame vertex, -1 = not bound
    static MObject localCoordinates; // "localCoordinates": P in the bind frame, three doubles
    static MObject initialMatrix;    // "initialMatrix": inverse of the bind frame
    static MObject outTranslate;     // "outTranslate": displacement of the point, three doubles
    static MObject outRotate;        // "outRotate": rotation since the bind, radians
    static MObject rotationOrder;    // "rotationOrder": XYZ, YZX, ZXY, XZY, YXZ, ZYX (channel box)

  private:
    MObject m_node;
    MString m_name; // refreshed at each compute; part of the common node frame
    MFnDependencyNode m_dgFn;
    MFnDagNode m_dagFn;     // stays detached: a dependency node is not a DAG node
    Kelno::KTriMesh m_mesh; // inMesh as triangles, reconverted at every evaluation
    int m_numVertices;      // vertex count of m_mesh at the last bind-time conversion
    int m_numTriangles;     // triangle count of m_mesh at the last bind-time conversion
};
