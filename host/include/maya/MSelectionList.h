// Stand-in for Maya's MSelectionList: a list of dependency nodes and DAG paths, filled by name
// or by object. Components are kept as their text: add("pCube1.vtx[3]") holds the node with
// ".vtx[3]", which getSelectionStrings gives back; getDagPath returns a null component object.
#pragma once

#include <maya/MDagPath.h>
#include <maya/MObject.h>
#include <maya/MString.h>

#include <string>
#include <vector>

class MStringArray;

class OPENMAYA_EXPORT MSelectionList {
  public:
    enum MergeStrategy { kMergeNormal, kXORWithList, kRemoveFromList };

    MSelectionList();
    MSelectionList(const MSelectionList& src);
    ~MSelectionList();
    MSelectionList& operator=(const MSelectionList& src);

    MStatus clear();
    bool isEmpty(MStatus* ReturnStatus = NULL) const;
    unsigned int length(MStatus* ReturnStatus = NULL) const;
    // Adds the node of that name ("name" or a DAG path "|a|b"); kInvalidParameter when there is
    // none.
    MStatus add(const MString& matchString, bool searchChildNamespacesToo = false);
    MStatus add(const MObject& object, bool mergeWithExisting = false);
    MStatus add(const MDagPath& object, const MObject& component = MObject::kNullObj,
                bool mergeWithExisting = false);
    MStatus remove(unsigned int index);
    MStatus getDependNode(unsigned int index, MObject& depNode) const;
    MStatus getDagPath(unsigned int index, MDagPath& dagPath, MObject& component) const;
    MStatus getDagPath(unsigned int index, MDagPath& dagPath) const;
    MStatus getSelectionStrings(MStringArray& array) const;
    bool hasItem(const MObject& item, MStatus* ReturnStatus = NULL) const;

  private:
    std::vector<MObject> fNodes;
    std::vector<MDagPath> fPaths;
    std::vector<std::string> fComponents; // ".vtx[3]", ".f[0:2]" ...; empty for a whole node
};
