// Stand-in for Maya's MFnPlugin: the function set of a loaded plug-in, through which
// initializePlugin registers and uninitializePlugin deregisters node types, commands and UI.
//
// As in the host, this header is included by exactly one file of a plug-in; a library that
// needs it as well defines MNoVersionString and MNoPluginEntry first.
#pragma once

#include <maya/MFnBase.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>
#include <maya/MTypes.h>

class OPENMAYA_EXPORT MFnPlugin : public MFnBase {
  public:
    MFnPlugin();
    MFnPlugin(MObject& object, const char* vendor = "Unknown", const char* version = "Unknown",
              const char* requiredApiVersion = "Any", MStatus* ReturnStatus = 0L);
    ~MFnPlugin() override;
    MFn::Type type() const override;

    MString vendor(MStatus* ReturnStatus = NULL) const;
    MString version(MStatus* ReturnStatus = NULL) const;
    MString apiVersion(MStatus* ReturnStatus = NULL) const;
    MString name(MStatus* ReturnStatus = NULL) const;
    MString loadPath(MStatus* ReturnStatus = NULL) const;

    // Registers a node type: creates nothing yet, runs initialize (which adds the static
    // attributes). Fails when the name or the ID is taken or initialize fails.
    MStatus registerNode(const MString& typeName, const MTypeId& typeId, MCreatorFunction creatorFunction,
                         MInitializeFunction initFunction, MPxNode::Type type = MPxNode::kDependNode,
                         const MString* classification = NULL);
    MStatus deregisterNode(const MTypeId& typeId);
    MStatus registerCommand(const MString& commandName, MCreatorFunction creatorFunction,
                            MCreateSyntaxFunction createSyntaxFunction = NULL);
    MStatus deregisterCommand(const MString& commandName);
    MStatus registerUI(const MString& creationProc, const MString& deletionProc,
                       const MString& creationBatchProc = "", const MString& deletionBatchProc = "");

    static MObject findPlugin(const MString& pluginName);
};
