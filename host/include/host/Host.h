// Test-facing controls of the host stand-in: what a test does "from the host's side" that the
// plug-in never does itself. Load and unload plug-ins, inspect what they registered, make a
// chosen registration fail, set the application state and the time, build a scene, run
// registered commands, and read the messages and MEL the plug-in sent to the host.
//
// Nothing here is part of the host API the plug-in compiles against; plug-in code includes
// only <maya/...> headers.
//
// Where the stand-in is simpler than the host, and why that cannot matter to the plug-in
// (tests must not rely on more than the host promises):
//   - node names are unique across the whole scene (the host only needs unique DAG paths), so a
//     partial path name is the node's own name: the plug-in looks nodes up by the names it is
//     given and never builds a partial path itself;
//   - MEL is not interpreted: MGlobal::executeCommand runs registered plug-in commands and
//     records everything else as done (kSuccess): the plug-in only fires MEL at the host
//     ("select -r", "setAttr") and never reads a MEL result back;
//   - dirtiness is kept per attribute (all elements of an array attribute together): every
//     output of the plug-in's nodes is a whole attribute, cleaned as a whole;
//   - MStatus::perror writes "<text>: (kCode): <description>" and numbers appended to an MString
//     print like printf's "%g": the plug-in writes these texts but never parses them;
//   - mesh shapes have no history of their own (their outMesh is a copy of their inMesh) and
//     MFnMesh::create refuses invalid topology, leaving a data object empty: the host promises
//     nothing there, so the plug-in validates faces before calling it and tests check that
//     validation, not the refusal;
//   - MFnMesh::getTriangles clips ears in each face's plane (a convex face becomes the fan of
//     its corner 0; MFnMesh.h has the rule); the host may pick other diagonals, so the plug-in
//     and tests rely only on n - 2 triangles per face, wound like the face and tiling it;
//   - UV sets are per mesh, not per instance, and there is no deleteUVSet, so every mesh made by
//     MFnMesh::create keeps "map1": the plug-in reads and writes UVs of uninstanced meshes and
//     never deletes a set;
//   - transforms compose scale, rotate (X then Y then Z, radians) and translate only, without
//     pivots, shear or joint orients: the plug-in only reads world matrices through the host,
//     and the tests place objects with those three attributes;
//   - MArgDatabase::getObjects gives only the objects named on the command line (an empty list
//     when none is named, even with useSelectionAsDefault); tests name the objects a command
//     works on. The active selection (MGlobal::getActiveSelectionList) holds nodes and
//     components, the latter only as their text (getSelectionStrings gives "pCube1.vtx[3]"
//     back, getDagPath a null component); MEL "select" with -r, -add, -d, -tgl or -cl and
//     names changes it (a name matching nothing fails and changes nothing; "select -r;" empties
//     it), and a deleted node leaves it;
//   - an MTime unit of kInvalid or kUserDef stands for the user interface unit: the plug-in
//     only uses named units and MTime::uiUnit();
//   - MDGModifier cannot undo deleteNode or newPlugValue (kNotImplemented) and undoing
//     commandToExecute does not undo the MEL: the plug-in's commands are not undoable and use a
//     modifier only to run their "select -r" command;
//   - the host never calls MPxNode::setDependentsDirty and inheritAttributesFrom is not
//     implemented: the plug-in's nodes declare attributeAffects and override neither;
//   - with instancing, MDagPath::getAPathTo follows each node's first parent: the plug-in reads
//     the first instance of an instanced shape, as its helpers document;
//   - MTransformationMatrix keeps only the matrix it is built from: getRotation decomposes its
//     rotation (rows scaled to unit length) in the order it is given and leaves that order as it
//     is, rather than using an order stored with the transformation; an order outside kXYZ ..
//     kZYX fails. The plug-in passes the order it wants and reads only the angles;
//   - MDagPath::extendToShape follows the class reference (exactly one non-intermediate shape
//     below, otherwise kFailure); an older guide page says the host takes the first shape, so
//     the mesh helpers choose the shape themselves and do not depend on either reading.
// Host type IDs are taken from 0x7fff0001 upwards, a range no plug-in registers.
#pragma once

#include <maya/MDataBlock.h>
#include <maya/MDrawRegistry.h>
#include <maya/MGlobal.h>
#include <maya/MObject.h>
#include <maya/MPlug.h>
#include <maya/MPxCommand.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTime.h>

#include <string>
#include <vector>

namespace Host {

// ---- application state ------------------------------------------------------------------

// Back to a fresh session: deletes every node but time1 (frame 0, film units), clears the
// message, command and script logs, sets the interactive state and forgets injected failures.
// Loaded plug-ins stay loaded.
void resetSession();
void setMayaState(MGlobal::MMayaState state);
// What MThreadUtils::getNumThreads answers (default: the machine's hardware threads).
void setNumThreads(int count);

// ---- messages, MEL and scripts -----------------------------------------------------------

enum class MessageKind { Info, Warning, Error };
struct Message {
    MessageKind kind;
    std::string text;
};
// Everything shown through MGlobal::display* and MPxCommand::display*, in order.
const std::vector<Message>& messages();
std::vector<std::string> messages(MessageKind kind);
void clearMessages();

// Every command string given to MGlobal::executeCommand or MDGModifier::commandToExecute, and
// the UI procedures the host ran on the plug-in's behalf, in order.
const std::vector<std::string>& executedCommands();
void clearExecutedCommands();

struct SourcedScript {
    std::string name; // as passed to MGlobal::sourceFile
    bool found;       // found on the script path (and so "sourced")
};
const std::vector<SourcedScript>& sourcedScripts();
// Folders MGlobal::sourceFile searches for relative names.
void addScriptPath(const std::string& folder);

// ---- plug-ins ---------------------------------------------------------------------------

// The kinds of registration call a plug-in makes, for the log and for failure injection.
enum class Call {
    RegisterNode,
    RegisterDrawOverride,
    RegisterCommand,
    RegisterUI,
    DeregisterNode,
    DeregisterDrawOverride,
    DeregisterCommand
};

// One registration call as the plug-in made it, successful or not. `name` is the node type
// name, the draw classification or the command name (for UI, the creation procedure).
struct CallRecord {
    Call call;
    std::string name;
    std::string detail; // registerNode: type ID in hex; draw overrides: the registrant ID
    bool succeeded;
};
const std::vector<CallRecord>& registrationLog();
void clearRegistrationLog();

// Makes the k-th call (1-based, counted from now) of that kind fail with kFailure without
// doing anything. Several may be armed at once; resetSession and clearFailures disarm them.
void failNthCall(Call call, int k);
void clearFailures();

struct NodeTypeInfo {
    std::string name;
    unsigned int id;
    MPxNode::Type kind;
    std::string classification;
    std::string plugin; // empty for the host's own types
};
struct DrawOverrideInfo {
    std::string classification;
    std::string registrantId;
    MHWRender::MDrawRegistry::DrawOverrideCreator creator;
    std::string plugin; // the plug-in whose entry point registered it
};
struct CommandInfo {
    std::string name;
    bool hasSyntaxFunction;
    std::string plugin;
};
struct PluginInfo {
    std::string name; // file name without folder and extension
    std::string path;
    std::string vendor;
    std::string version;
    std::string requiredApiVersion;
    std::vector<std::string> uiProcedures; // creation, deletion, batch creation, batch deletion
};

// Opens the module, calls its initializePlugin and, in interactive mode, the UI creation
// procedure it registered. A failed initializePlugin leaves what it registered registered (as
// the host does) and the plug-in not loaded. `error` receives the loader's message if any.
MStatus loadPlugin(const std::string& path, std::string* error = nullptr);
// Runs the UI deletion procedure, calls uninitializePlugin and closes the module. Fails,
// leaving the plug-in loaded, when nodes of its types are in the scene or uninitializePlugin
// fails.
MStatus unloadPlugin(const std::string& name);
// A plug-in object for code linked into the test itself, so that it can build an MFnPlugin and
// register through it as a loaded module would. It stays "loaded" until resetSession.
MObject inProcessPlugin(const std::string& name);
bool isPluginLoaded(const std::string& name);
const PluginInfo* pluginInfo(const std::string& name);

std::vector<NodeTypeInfo> registeredNodeTypes(bool includeHostTypes = false);
const NodeTypeInfo* nodeType(const std::string& name);
std::vector<DrawOverrideInfo> registeredDrawOverrides();
std::vector<CommandInfo> registeredCommands();

// Node types and commands defined by a test itself, without a plug-in module: registered as
// if by a plug-in named "<test>" (initialize runs now, as with MFnPlugin::registerNode).
MStatus registerNodeType(const std::string& name, unsigned int id, MCreatorFunction creator,
                         MInitializeFunction initialize, MPxNode::Type kind = MPxNode::kDependNode);
MStatus deregisterNodeType(const std::string& name);
MStatus registerCommand(const std::string& name, MCreatorFunction creator, MCreateSyntaxFunction syntax);
MStatus deregisterCommand(const std::string& name);

// ---- scene ------------------------------------------------------------------------------

// Creates a node of a registered type (host types: "transform", "mesh", "time"). A shape
// made without a parent gets a new transform. An empty name keeps the default name (the
// type name, first letter lower case, followed by a number), which postConstructor may change.
MObject createNode(const std::string& type, const std::string& name = "",
                   const MObject& parent = MObject::kNullObj, MStatus* status = nullptr);
MObject findNode(const std::string& name);
MStatus deleteNode(const MObject& node);
std::vector<MObject> nodesOfType(const std::string& type);

// The data block the host hands to the node's compute, so that a test can call compute itself
// (for example with a plug the node does not compute). Valid while the node exists.
MDataBlock dataBlock(const MObject& node);

// "node.attribute" (or "node.attribute[3]"); a null plug when either is unknown.
MPlug plug(const std::string& nodeDotAttribute);
MStatus connect(const std::string& source, const std::string& destination);
MStatus disconnect(const std::string& source, const std::string& destination);

// Moves the scene to a time (sets time1.outTime, dirtying what depends on it).
void setCurrentTime(const MTime& time);
MTime currentTime();

// ---- commands ---------------------------------------------------------------------------

struct CommandResult {
    MStatus status;
    MPxCommand::MResultType type; // kNoArg when nothing was set
    bool isArray;
    std::vector<std::string> strings; // the result as text, one entry per element
    std::vector<double> numbers;      // numeric results (empty for strings)
};
// Runs a registered command with the words of its invocation ("-flag", "value", ...), as MEL
// would, and returns the status of doIt and the result it set.
CommandResult runCommand(const std::string& name, const std::vector<std::string>& args);
// The Edit menu's undo and redo: the last undoable command's undoIt, or the last undone one's
// redoIt. kFailure when there is nothing to undo or redo. The queue is flushed by resetSession
// and when a plug-in is unloaded.
MStatus undo();
MStatus redo();

} // namespace Host
