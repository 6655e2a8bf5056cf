// Internal state of the host stand-in: objects behind MObject handles (nodes, attributes,
// data, plug-ins), node types, the scene and the evaluation engine.
#pragma once

#include <host/Host.h>

#include <maya/MFnData.h>
#include <maya/MFnNumericData.h>
#include <maya/MFnUnitAttribute.h>
#include <maya/MMatrix.h>
#include <maya/MPoint.h>
#include <maya/MPxCommand.h>
#include <maya/MPxNode.h>
#include <maya/MString.h>
#include <maya/MTime.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace mhost {

bool isA(MFn::Type type, MFn::Type base);

struct Object : std::enable_shared_from_this<Object> {
    explicit Object(MFn::Type t) : apiType(t) {}
    virtual ~Object() {}
    MFn::Type apiType;
};

template <typename T> T* as(const MObject& obj) { return dynamic_cast<T*>(obj.hostObject().get()); }

struct NodeType;

struct Attribute : Object {
    enum Kind { Numeric, Typed, Enum, Matrix, Unit, Compound };
    explicit Attribute(MFn::Type t, Kind k) : Object(t), kind(k) {}

    std::string name;
    std::string shortName;
    Kind kind;
    MFnNumericData::Type numericType = MFnNumericData::kInvalid;
    MFnData::Type dataType = MFnData::kInvalid;
    MFnUnitAttribute::Type unitType = MFnUnitAttribute::kInvalid;
    bool usedAsColor = false;

    double defaults[3] = {0.0, 0.0, 0.0};
    MTime timeDefault;
    MObject dataDefault;
    MMatrix matrixDefault;

    bool readable = true, writable = true, connectable = true, storable = true, cached = true;
    bool array = false, indexMatters = true, keyable = false, channelBox = false, hidden = false;
    bool indeterminant = false, renderSource = false, affectsAppearance = false, affectsWorldSpace = false;
    bool usesArrayDataBuilder = false;
    int disconnectBehavior = 2;
    std::string niceName;

    bool hasMin = false, hasMax = false, hasSoftMin = false, hasSoftMax = false;
    double minValue[3] = {0, 0, 0}, maxValue[3] = {0, 0, 0}, softMin = 0, softMax = 0;
    std::vector<std::pair<std::string, short>> fields;

    std::vector<std::shared_ptr<Attribute>> children;
    Attribute* parent = nullptr;
    int childIndex = -1;
    NodeType* owner = nullptr;

    // Numeric compounds keep their children's values in their own slot.
    Attribute* storage() { return (parent && parent->kind == Numeric) ? parent : this; }
    int component() const { return (parent && parent->kind == Numeric) ? childIndex : 0; }
};

// Plain data objects: mesh data, string data, int array data.
// A named UV set: the UV values and, per face vertex (in connects order), the index of the UV
// assigned to it (-1: none). `ids` is empty until UVs are assigned.
struct UVSetData {
    std::string name;
    std::vector<float> u, v;
    std::vector<int> ids;
};
struct MeshGeometry {
    std::vector<MPoint> points;
    std::vector<int> counts;
    std::vector<int> connects;
    std::vector<UVSetData> uvSets;
    int currentUVSet = -1; // index into uvSets; -1 when the mesh has none
};
struct Data : Object {
    explicit Data(MFn::Type t) : Object(t) {}
    MeshGeometry mesh;
    // Mesh data read from a shape's "worldMesh": the shape's world matrix, which
    // MDataHandle::asMeshTransformed applies (asMesh gives the points as stored).
    bool hasWorldMatrix = false;
    MMatrix worldMatrix;
    MString string;
    std::vector<int> ints;
};

struct Value {
    bool b = false;
    short sh[3] = {0, 0, 0};
    int in[3] = {0, 0, 0};
    float fl[3] = {0, 0, 0};
    double db[3] = {0, 0, 0};
    MTime time;
    MString str;
    MObject data;
    MMatrix matrix;
    // Array attributes: the elements by logical index.
    std::map<unsigned int, std::shared_ptr<Value>> elements;

    double getNumber(const Attribute* attr, int component) const;
    void setNumber(const Attribute* attr, int component, double v);
    void initFrom(const Attribute* attr);
};

struct Node;

struct NodeType {
    std::string name;
    unsigned int id = 0;
    MPxNode::Type kind = MPxNode::kDependNode;
    MFn::Type apiType = MFn::kPluginDependNode;
    std::string classification;
    MCreatorFunction creator = nullptr;
    std::string plugin; // empty: one of the host's own types
    bool isDag = false;
    bool isShape = false;
    // Top-level and child attributes, in the order they were added.
    std::vector<std::shared_ptr<Attribute>> attributes;
    std::map<Attribute*, std::vector<Attribute*>> affects;

    Attribute* findAttribute(const std::string& name) const;
    bool isAffected(Attribute* attr) const;
};

struct PlugEnd {
    Node* node;
    Attribute* attr;
    int index; // -1: the whole attribute
    bool operator<(const PlugEnd& o) const {
        return node != o.node ? node < o.node : (attr != o.attr ? attr < o.attr : index < o.index);
    }
    bool operator==(const PlugEnd& o) const { return node == o.node && attr == o.attr && index == o.index; }
};

struct Node : Object {
    explicit Node(NodeType* t, MFn::Type api) : Object(api), type(t) {}
    ~Node() override;

    NodeType* type;
    std::string name;
    MPxNode* user = nullptr;
    bool alive = true;
    std::map<Attribute*, Value> values;
    std::set<Attribute*> dirty;
    std::set<Attribute*> evaluating;
    std::map<std::pair<Attribute*, int>, PlugEnd> inputs;
    std::map<std::pair<Attribute*, int>, std::vector<PlugEnd>> outputs;
    std::vector<Node*> parents;
    std::vector<Node*> children;

    Value& slot(Attribute* attr, int index = -1);
    MObject handle() { return MObject(shared_from_this()); }
};

struct Plugin : Object {
    Plugin() : Object(MFn::kPlugin) {}
    std::string name, path, vendor, version, apiVersion;
    void* handle = nullptr;
    bool loading = false;
    std::vector<std::string> ui;
};

struct NodeAccess {
    static void setInstance(MPxNode* user, Node* node) { user->instance = node; }
    static Node* node(const MPxNode* user) { return static_cast<Node*>(user->instance); }
    static void setSyntax(MPxCommand* cmd, const MSyntax& syntax) { cmd->fSyntax = syntax; }
    static void setCommandString(MPxCommand* cmd, const MString& s) { cmd->fCommandString = s; }
};

// ---- the session ---------------------------------------------------------------------------

struct CommandType {
    std::string name;
    MCreatorFunction creator;
    MCreateSyntaxFunction syntax;
    std::string plugin;
};

struct Result {
    MPxCommand::MResultType type = MPxCommand::kNoArg;
    bool isArray = false;
    std::vector<MString> strings;
    std::vector<double> numbers;
};

struct Session {
    MGlobal::MMayaState state = MGlobal::kInteractive;
    int numThreads = 0;
    MTime::Unit uiUnit = MTime::kFilm;

    std::vector<std::unique_ptr<NodeType>> types;
    std::vector<std::shared_ptr<Node>> nodes;
    NodeType* initializing = nullptr;
    Node* timeNode = nullptr;

    std::vector<CommandType> commands;
    std::vector<Host::DrawOverrideInfo> drawOverrides;
    std::vector<std::shared_ptr<Plugin>> plugins;
    // Modules whose initializePlugin failed: kept open (their registrations point into them)
    // until resetSession purges what they registered.
    std::vector<std::shared_ptr<Plugin>> failed;
    Plugin* current = nullptr; // the plug-in whose entry point is running

    std::vector<Host::Message> messages;
    std::vector<std::string> executed;
    std::vector<Host::SourcedScript> scripts;
    std::vector<std::string> scriptPaths;
    std::vector<Host::CallRecord> log;
    std::map<Host::Call, std::set<int>> failAt;
    std::map<Host::Call, int> callCount;

    Result result;
    // Undoable commands, oldest first; undone ones wait in `redoable` until a new command runs.
    std::vector<MPxCommand*> undoable;
    std::vector<MPxCommand*> redoable;
};
Session& session();
// Deletes every command object on the undo and redo queues.
void flushUndoQueue();

// Counts a registration call; true when this one is to fail.
bool injectFailure(Host::Call call);
void logCall(Host::Call call, const std::string& name, const std::string& detail, bool ok);

NodeType* findType(const std::string& name);
NodeType* findType(unsigned int id);
NodeType* addType(const std::string& name, unsigned int id, MPxNode::Type kind, MCreatorFunction creator,
                  const std::string& plugin);
// Runs the type's initialize with the type current for addAttribute; removes the type on failure.
MStatus initializeType(NodeType* type, MInitializeFunction init);
void removeType(NodeType* type);

std::shared_ptr<Node> createNode(NodeType* type, const std::string& name, Node* parent, MStatus* status);
MStatus deleteNode(Node* node);
Node* findNode(const std::string& name);
std::string uniqueName(const std::string& wanted, const Node* self);
std::string fullPathName(const Node* node);

// Evaluation.
void evaluate(Node* node, Attribute* attr);
void markDirty(Node* node, Attribute* attr);
// A value written from outside compute: dirties what depends on it.
void valueChanged(Node* node, Attribute* attr);
MStatus connect(const PlugEnd& src, const PlugEnd& dst);
MStatus disconnect(const PlugEnd& src, const PlugEnd& dst);

void registerHostTypes();
// Drawing (Draw.cpp): the "camera" node type, and what the drawing side keeps for a node.
void registerCameraType();
// NurbsCurve.cpp: the "nurbsCurve" shape type.
void registerCurveType();
void releaseDrawState(Node* node);
void record(Host::MessageKind kind, const MString& text);
MStatus runCommandLine(const std::string& line, Host::CommandResult* out);
// The active selection (ActiveSelection.cpp): emptied with the session; "select" as MEL runs it.
void clearActiveSelection();
MStatus runSelect(const std::vector<std::string>& words);

// Writes v through the optional status out-parameter of an API call.
inline void setStatus(MStatus* st, MStatus v) {
    if (st)
        *st = v;
}

// The live node behind an object handle, or null (no node, or a deleted one).
inline Node* nodeOf(const MObject& o) {
    Node* n = as<Node>(o);
    return (n && n->alive) ? n : nullptr;
}

} // namespace mhost
