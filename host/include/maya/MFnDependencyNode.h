// Stand-in for Maya's MFnDependencyNode: name, type, attributes and plugs of any node.
#pragma once

#include <maya/MFnBase.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

class MPlug;
class MPlugArray;
class MPxNode;

class OPENMAYA_EXPORT MFnDependencyNode : public MFnBase {
  public:
    enum MAttrClass { kLocalDynamicAttr = 1, kNormalAttr, kExtensionAttr, kInvalidAttr };

    MFnDependencyNode();
    MFnDependencyNode(MObject& object, MStatus* ReturnStatus = NULL);
    MFnDependencyNode(const MObject& object, MStatus* ReturnStatus = NULL);
    ~MFnDependencyNode() override;

    MFn::Type type() const override;
    MStatus setObject(MObject& object) override;
    MStatus setObject(const MObject& object) override;

    // Creates a node of a registered type and attaches to it.
    MObject create(const MTypeId& typeId, MStatus* ReturnStatus = NULL);
    MObject create(const MTypeId& typeId, const MString& name, MStatus* ReturnStatus = NULL);
    MObject create(const MString& type, MStatus* ReturnStatus = NULL);
    MObject create(const MString& type, const MString& name, MStatus* ReturnStatus = NULL);

    MTypeId typeId(MStatus* ReturnStatus = NULL) const;
    MString typeName(MStatus* ReturnStatus = NULL) const;
    MString name(MStatus* ReturnStatus = NULL) const;
    // Renames the node. A "#" in the name is replaced by the lowest number (from 1) that makes
    // the name unique; a name already taken gets such a number appended. Returns the new name.
    MString setName(const MString& name, bool createNamespace = false, MStatus* ReturnStatus = NULL);

    MStatus getConnections(MPlugArray& array) const;
    unsigned int attributeCount(MStatus* ReturnStatus = NULL) const;
    MObject attribute(unsigned int index, MStatus* ReturnStatus = NULL) const;
    MObject attribute(const MString& attrName, MStatus* ReturnStatus = NULL) const;
    bool hasAttribute(const MString& name, MStatus* ReturnStatus = NULL) const;
    MPlug findPlug(const MObject& attr, bool wantNetworkedPlug, MStatus* ReturnStatus = NULL) const;
    MPlug findPlug(const MString& attrName, bool wantNetworkedPlug, MStatus* ReturnStatus = NULL) const;
    MPlug findPlug(const MObject& attr, MStatus* ReturnStatus = NULL) const;
    MPlug findPlug(const MString& attrName, MStatus* ReturnStatus = NULL) const;

    // The user (plug-in) node object behind the node, NULL for the host's own node types.
    MPxNode* userNode(MStatus* ReturnStatus = NULL) const;
    bool isFromReferencedFile(MStatus* ReturnStatus = NULL) const;
    bool isLocked(MStatus* ReturnStatus = NULL) const;
    bool isShared(MStatus* ReturnStatus = NULL) const;
    bool isDefaultNode(MStatus* ReturnStatus = NULL) const;

    static MString classification(const MString& nodeTypeName);
};
