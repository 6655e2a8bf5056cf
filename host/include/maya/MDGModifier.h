// Stand-in for Maya's MDGModifier: a queue of dependency-graph edits (create, delete,
// rename, connect, disconnect, commands to execute) carried out in order by doIt and undone
// in reverse order by undoIt.
#pragma once

#include <maya/MObject.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>

#include <memory>
#include <vector>

class MPlug;

namespace mhost {
struct ModifierOp;
}

class OPENMAYA_EXPORT MDGModifier {
  public:
    MDGModifier();
    virtual ~MDGModifier();

    MObject createNode(const MTypeId& typeId, MStatus* ReturnStatus = NULL);
    MObject createNode(const MString& type, MStatus* ReturnStatus = NULL);
    MStatus deleteNode(const MObject& node);
    MStatus renameNode(const MObject& node, const MString& newName);
    MStatus connect(const MObject& sourceNode, const MObject& sourceAttr, const MObject& destNode,
                    const MObject& destAttr);
    MStatus disconnect(const MObject& sourceNode, const MObject& sourceAttr, const MObject& destNode,
                       const MObject& destAttr);
    MStatus connect(const MPlug& source, const MPlug& dest);
    MStatus disconnect(const MPlug& source, const MPlug& dest);
    MStatus newPlugValueInt(const MPlug& plug, int plugValue);
    MStatus newPlugValueDouble(const MPlug& plug, double plugValue);
    MStatus newPlugValueFloat(const MPlug& plug, float plugValue);
    MStatus newPlugValueBool(const MPlug& plug, bool plugValue);
    MStatus newPlugValueString(const MPlug& plug, const MString& plugValue);
    MStatus commandToExecute(const MString& command);
    MStatus doIt();
    MStatus undoIt();

  private:
    MDGModifier(const MDGModifier&);
    MDGModifier& operator=(const MDGModifier&);
    std::vector<std::shared_ptr<mhost::ModifierOp>> fOps;
    size_t fDone;
};
