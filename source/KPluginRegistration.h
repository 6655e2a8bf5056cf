// The registration frame of the plug-in: tables of what the plug-in registers, and the two walks
// over them that initializePlugin and uninitializePlugin make.
//
// Registration goes in table order: every node type, each locator immediately followed by its
// Viewport 2.0 draw-override creator; then every command; then the MEL scripts are sourced
// (a script that cannot be sourced is not a failure) and the menu procedures are registered.
// Deregistration goes in the same order (not reversed), each draw override before its node.
// Both walks stop at the first failure, report it with MStatus::perror and return it; nothing
// already done is undone.
#pragma once

#include <maya/MDrawRegistry.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTypeId.h>
#include <maya/MTypes.h>

class MFnPlugin;

// One node type. The pointers refer to the node class's own statics (built when the library is
// loaded), so a table can be a constant array in another source file. A dependency node has
// no draw classification, registrant ID or draw-override creator (all null).
struct KNodeRegistration {
    const MString* typeName;
    const MTypeId* typeId;
    MCreatorFunction creator;
    MInitializeFunction initialize;
    MPxNode::Type kind;
    const MString* drawClassification;
    const MString* drawRegistrantId;
    MHWRender::MDrawRegistry::DrawOverrideCreator drawOverrideCreator;
};

// One command; the command name is the class name.
struct KCommandRegistration {
    const MString* name;
    MCreatorFunction creator;
    MCreateSyntaxFunction newSyntax;
};

// Everything the plug-in registers. Each list ends with an entry whose name is null, so a list
// may be empty.
struct KPluginTables {
    const KNodeRegistration* nodes;
    const KCommandRegistration* commands;
    const char* const* scripts;
    const char* menuCreationProc;
    const char* menuDeletionProc;
};

// Registers the tables through the plug-in function set. Messages on failure: "Failed to
// register: " + the node type or command name, or + the draw-registrant ID for a draw override.
// Returns kSuccess or the first failing status. Exceptions end the walk as kFailure.
MStatus KRegisterPlugin(MFnPlugin& plugin, const KPluginTables& tables);

// Deregisters the tables. Messages on failure: "Failed to deregister: " + the node type or
// command name (for a draw override too, the node type name). Returns kSuccess or the first
// failing status.
MStatus KDeregisterPlugin(MFnPlugin& plugin, const KPluginTables& tables);
