// KTreeSkeletonGen: a locator that turns tree meshes (typically the separated trunk and branch
// tubes of a tree) into chains of cross-section centres, draws them, and hands them to
// KTreeSkeletonGenCmd, which makes curves of them.
//
// Evaluating "output" (hidden; "inMeshes", "iter" and "dist" affect it) reads every element of
// "inMeshes" in world space (by position in the array, not by logical index), builds its edge
// tables and marches along it (KTreeSkeleton::findCenter of the core library, `iter` steps of
// `dist` at most), one mesh per OpenMP iteration with static contiguous blocks. "numOutput"
// receives the mesh count. An empty "inMeshes" shows "<node>: Invalid input data." and fails,
// keeping the previous chains. Mesh conversion failures are not reported: such a mesh takes part
// as the converter left it (empty), and gives the single centre (0,0,0).
//
// Drawing (draw(int), reached from both viewports): a yellow line strip (width 3) per chain and
// the centres as red points (size 5). All chains' points go into one GL_POINTS block: a
// glBegin per chain and a single glEnd after the last, which GL reports as an invalid operation
// for the nested glBegin calls; existing scenes draw this way and it is kept. The first draw
// connects "output" to the parent transform's "dynamics" plug, so that drawing pulls a compute;
// after every successful compute the next draw runs "updateAE <node name>" to refresh the
// attribute editor.
//
// "parentCurves", "parentCVs" and "curveNumCVs" are never read or written by the node: the curve
// command stores the branch hierarchy there.
#pragma once

#include <kelno/KMesh.h>
#include <kelno/KTypes.h>

#include <maya/M3dView.h>
#include <maya/MBoundingBox.h>
#include <maya/MDagPath.h>
#include <maya/MDataBlock.h>
#include <maya/MFnDagNode.h>
#include <maya/MFnDependencyNode.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPxLocatorNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

#include <vector>

class KTreeSkeletonGen : public MPxLocatorNode {
  public:
    KTreeSkeletonGen();
    ~KTreeSkeletonGen() override;

    static void* creator();
    static MStatus initialize();
    // Keeps the node's own object, binds the function sets and renames the node
    // "KTreeSkeletonGenShape#".
    void postConstructor() override;
    MStatus compute(const MPlug& plug, MDataBlock& data) override;

    // Legacy viewport: draw(0) between beginGL and endGL; nothing in batch mode.
    void draw(M3dView& view, const MDagPath& path, M3dView::DisplayStyle style,
              M3dView::DisplayStatus status) override;
    // The chains in the current GL context (see the file comment); the style is not used.
    void draw(int style);
    bool isBounded() const override;
    // The union of the input meshes' boxes (the origin when none of them has a vertex); without
    // meshes a box of half-size 1e-30 around the active view camera's centre of interest (world
    // space), or around the origin when there is no camera to ask.
    MBoundingBox boundingBox() const override;

    // The chains of the last successful compute, one per input mesh.
    std::vector<Kelno::KVectorArray>* getSkeletons() { return &m_skeletons; }

    // The centre march of one mesh (see KTreeSkeleton.h in the core library).
    static void findCenter(const Kelno::KTriMesh& mesh, const Kelno::KTriMeshConnectionInfo& conn,
                           const int& iterations, const float& step, Kelno::KVectorArray& centres);
    static bool fitPlane(const Kelno::KVectorArray& points, Kelno::KVector* normal, Kelno::KVector* centroid);
    static bool linePlaneIntersection(const Kelno::KVector& planeNormal, const Kelno::KVector& planePoint,
                                      const Kelno::KVector& a, const Kelno::KVector& b, Kelno::KVector& hit);

    // Registration statics: "KTreeSkeletonGen", 0x90006, "drawdb/geometry/KTreeSkeletonGen",
    // "KTreeSkeletonGenNodePlugin".
    static MString nodeTypeName;
    static MTypeId nodeTypeId;
    static MString drawDbClassification;
    static MString drawRegistrantId;

    // Attributes.
    static MObject inMeshes;     // "inMeshes": mesh array, keyable, elements deleted on disconnect
    static MObject output;       // "output": float, hidden, not storable
    static MObject iter;         // "iter": int >= 1 (soft max 100), default 1, channel box
    static MObject dist;         // "dist": float >= 0 (soft max 1), default 1, channel box
    static MObject numOutput;    // "numOutput": int, hidden, read-only: the mesh count
    static MObject parentCurves; // "parentCurves": int array, hidden
    static MObject parentCVs;    // "parentCVs": int array, hidden
    static MObject curveNumCVs;  // "curveNumCVs": int array, hidden

  private:
    MStatus _compute(const MPlug& plug, MDataBlock& data);
    void _drawChains() const;

    MObject m_node;
    MString m_name;
    MFnDependencyNode m_dgFn;
    MFnDagNode m_dagFn;
    bool m_firstDraw;
    bool m_refreshEditor;
    int m_meshCount;
    Kelno::KBoundingBox m_bounds;
    std::vector<Kelno::KTriMesh> m_meshes;
    std::vector<Kelno::KTriMeshConnectionInfo> m_connections;
    std::vector<Kelno::KVectorArray> m_skeletons;
};
