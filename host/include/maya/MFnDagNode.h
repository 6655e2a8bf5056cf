// Stand-in for Maya's MFnDagNode: DAG nodes (transforms and shapes), their parents, children
// and path names. Only DAG nodes attach; a dependency node does not.
//
// A transform may hold several shapes: a deformed mesh keeps its undeformed input as an
// intermediate object beside the shape the user sees.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MFnDependencyNode.h>

class OPENMAYA_EXPORT MFnDagNode : public MFnDependencyNode {
  public:
    enum { kNextPos = 0xff };

    MFnDagNode();
    MFnDagNode(MObject& object, MStatus* ReturnStatus = NULL);
    MFnDagNode(const MObject& object, MStatus* ReturnStatus = NULL);
    MFnDagNode(const MDagPath& object, MStatus* ReturnStatus = NULL);
    ~MFnDagNode() override;

    MFn::Type type() const override;
    MStatus setObject(MObject& object) override;
    MStatus setObject(const MObject& object) override;
    MStatus setObject(const MDagPath& path);

    // Creates a DAG node under the parent (a new transform is made for a shape created without
    // one) and attaches to the created node.
    MObject create(const MTypeId& typeId, const MObject& parent = MObject::kNullObj,
                   MStatus* ReturnStatus = NULL);
    MObject create(const MTypeId& typeId, const MString& name, const MObject& parent = MObject::kNullObj,
                   MStatus* ReturnStatus = NULL);
    MObject create(const MString& type, const MObject& parent = MObject::kNullObj,
                   MStatus* ReturnStatus = NULL);
    MObject create(const MString& type, const MString& name, const MObject& parent = MObject::kNullObj,
                   MStatus* ReturnStatus = NULL);

    unsigned int parentCount(MStatus* ReturnStatus = NULL) const;
    MObject parent(unsigned int i, MStatus* ReturnStatus = NULL) const;
    MStatus addChild(MObject& child, unsigned int index = kNextPos, bool keepExistingParents = false);
    MStatus removeChild(MObject& child);
    unsigned int childCount(MStatus* ReturnStatus = NULL) const;
    MObject child(unsigned int i, MStatus* ReturnStatus = NULL) const;
    bool hasChild(const MObject& node, MStatus* ReturnStatus = NULL) const;
    MStatus getPath(MDagPath& path) const;
    MDagPath dagPath(MStatus* ReturnStatus = NULL) const;
    MString fullPathName(MStatus* ReturnStatus = NULL) const;
    MString partialPathName(MStatus* ReturnStatus = NULL) const;
    MMatrix transformationMatrix(MStatus* ReturnStatus = NULL) const;
    // The node's "intermediateObject" attribute: true for a shape kept as the input of its
    // history (the undeformed "Orig" shape of a deformed mesh), hidden from the user.
    bool isIntermediateObject(MStatus* ReturnStatus = NULL) const;
    MStatus setIntermediateObject(bool isIntermediate);

  private:
    MDagPath fPath;
};
