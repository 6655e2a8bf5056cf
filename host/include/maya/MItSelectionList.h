// Stand-in for Maya's MItSelectionList: walks the items of a selection list, optionally only
// those of one type. An item that does not match the filter but is a DAG node contributes its
// matching children instead (a selected transform yields its mesh shape under MFn::kMesh), in
// child order. Under a type filter, items with components are skipped (the host's component
// filters, e.g. MFn::kMeshVertComponent, are not supported). The list is copied when the
// iterator is built or reset.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MFn.h>
#include <maya/MObject.h>
#include <maya/MSelectionList.h>
#include <maya/MStatus.h>

#include <vector>

class MStringArray;

class OPENMAYA_EXPORT MItSelectionList {
  public:
    MItSelectionList(const MSelectionList& list, MFn::Type = MFn::kInvalid, MStatus* ReturnStatus = NULL);
    virtual ~MItSelectionList();

    bool isDone(MStatus* ReturnStatus = NULL);
    MStatus next();
    MStatus reset();
    MStatus getDependNode(MObject& depNode);
    MStatus getDagPath(MDagPath& dagPath, MObject& component);
    MStatus getDagPath(MDagPath& dagPath);
    MStatus getStrings(MStringArray& array);
    MStatus setFilter(MFn::Type filter);
    bool hasComponents(MStatus* ReturnStatus = NULL) const;

  private:
    void build();
    MSelectionList fList;
    MFn::Type fFilter;
    std::vector<MDagPath> fPaths;
    std::vector<MObject> fNodes;
    std::vector<bool> fComponents;
    std::vector<MString> fStrings;
    unsigned int fIndex;
};
