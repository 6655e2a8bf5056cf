// Plug-in loading and registration, application state and messages of the host stand-in,
// and the test-facing controls of host/Host.h.
#include "HostInternal.h"

#include <maya/MDataBlock.h>
#include <maya/MDrawRegistry.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MThreadUtils.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

using mhost::setStatus;

using mhost::Node;
using mhost::Plugin;
using mhost::Session;
using mhost::session;

namespace {
std::string hex(unsigned int v) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%x", v);
    return buf;
}
Plugin* pluginOf(const MObject& o) { return mhost::as<Plugin>(o); }
} // namespace

// ---- MFnPlugin ------------------------------------------------------------------------------

MFnPlugin::MFnPlugin() {}
MFnPlugin::MFnPlugin(MObject& object, const char* vendor, const char* version, const char* requiredApiVersion,
                     MStatus* st) {
    Plugin* p = pluginOf(object);
    if (!p) {
        setStatus(st, MS::kInvalidParameter);
        return;
    }
    fObject = object;
    // What the plug-in declares while loading is what the host shows for it.
    if (p->loading) {
        p->vendor = vendor ? vendor : "";
        p->version = version ? version : "";
        p->apiVersion = requiredApiVersion ? requiredApiVersion : "";
    }
    setStatus(st, MS::kSuccess);
}
MFnPlugin::~MFnPlugin() {}
MFn::Type MFnPlugin::type() const { return MFn::kPlugin; }
MString MFnPlugin::vendor(MStatus* st) const {
    Plugin* p = pluginOf(fObject);
    setStatus(st, p ? MS::kSuccess : MS::kFailure);
    return p ? MString(p->vendor.c_str()) : MString();
}
MString MFnPlugin::version(MStatus* st) const {
    Plugin* p = pluginOf(fObject);
    setStatus(st, p ? MS::kSuccess : MS::kFailure);
    return p ? MString(p->version.c_str()) : MString();
}
MString MFnPlugin::apiVersion(MStatus* st) const {
    Plugin* p = pluginOf(fObject);
    setStatus(st, p ? MS::kSuccess : MS::kFailure);
    return p ? MString(p->apiVersion.c_str()) : MString();
}
MString MFnPlugin::name(MStatus* st) const {
    Plugin* p = pluginOf(fObject);
    setStatus(st, p ? MS::kSuccess : MS::kFailure);
    return p ? MString(p->name.c_str()) : MString();
}
MString MFnPlugin::loadPath(MStatus* st) const {
    Plugin* p = pluginOf(fObject);
    setStatus(st, p ? MS::kSuccess : MS::kFailure);
    if (!p)
        return MString();
    size_t slash = p->path.rfind('/');
    return MString(slash == std::string::npos ? "." : p->path.substr(0, slash).c_str());
}

MStatus MFnPlugin::registerNode(const MString& typeName, const MTypeId& typeId,
                                MCreatorFunction creatorFunction, MInitializeFunction initFunction,
                                MPxNode::Type type, const MString* classification) {
    Plugin* p = pluginOf(fObject);
    const std::string name = typeName.asChar();
    const std::string id = hex(typeId.id());
    if (mhost::injectFailure(Host::Call::RegisterNode) || !p || !creatorFunction || name.empty() ||
        mhost::findType(name) || mhost::findType(typeId.id())) {
        mhost::logCall(Host::Call::RegisterNode, name, id, false);
        return MS::kFailure;
    }
    mhost::NodeType* t = mhost::addType(name, typeId.id(), type, creatorFunction, p->name);
    if (classification)
        t->classification = classification->asChar();
    MStatus st = mhost::initializeType(t, initFunction);
    mhost::logCall(Host::Call::RegisterNode, name, id, bool(st));
    return st ? MStatus(MS::kSuccess) : MStatus(MS::kFailure);
}

MStatus MFnPlugin::deregisterNode(const MTypeId& typeId) {
    Plugin* p = pluginOf(fObject);
    mhost::NodeType* t = mhost::findType(typeId.id());
    const std::string name = t ? t->name : std::string();
    if (mhost::injectFailure(Host::Call::DeregisterNode) || !p || !t || t->plugin != p->name) {
        mhost::logCall(Host::Call::DeregisterNode, name, hex(typeId.id()), false);
        return MS::kFailure;
    }
    mhost::removeType(t);
    mhost::logCall(Host::Call::DeregisterNode, name, hex(typeId.id()), true);
    return MS::kSuccess;
}

MStatus MFnPlugin::registerCommand(const MString& commandName, MCreatorFunction creatorFunction,
                                   MCreateSyntaxFunction createSyntaxFunction) {
    Plugin* p = pluginOf(fObject);
    Session& s = session();
    const std::string name = commandName.asChar();
    bool taken = std::any_of(s.commands.begin(), s.commands.end(),
                             [&](const mhost::CommandType& c) { return c.name == name; });
    if (mhost::injectFailure(Host::Call::RegisterCommand) || !p || !creatorFunction || name.empty() ||
        taken) {
        mhost::logCall(Host::Call::RegisterCommand, name, "", false);
        return MS::kFailure;
    }
    s.commands.push_back(mhost::CommandType{name, creatorFunction, createSyntaxFunction, p->name});
    mhost::logCall(Host::Call::RegisterCommand, name, "", true);
    return MS::kSuccess;
}

MStatus MFnPlugin::deregisterCommand(const MString& commandName) {
    Plugin* p = pluginOf(fObject);
    Session& s = session();
    const std::string name = commandName.asChar();
    auto it = std::find_if(s.commands.begin(), s.commands.end(),
                           [&](const mhost::CommandType& c) { return c.name == name; });
    if (mhost::injectFailure(Host::Call::DeregisterCommand) || !p || it == s.commands.end() ||
        it->plugin != p->name) {
        mhost::logCall(Host::Call::DeregisterCommand, name, "", false);
        return MS::kFailure;
    }
    s.commands.erase(it);
    mhost::logCall(Host::Call::DeregisterCommand, name, "", true);
    return MS::kSuccess;
}

MStatus MFnPlugin::registerUI(const MString& creationProc, const MString& deletionProc,
                              const MString& creationBatchProc, const MString& deletionBatchProc) {
    Plugin* p = pluginOf(fObject);
    if (mhost::injectFailure(Host::Call::RegisterUI) || !p) {
        mhost::logCall(Host::Call::RegisterUI, creationProc.asChar(), deletionProc.asChar(), false);
        return MS::kFailure;
    }
    p->ui = {creationProc.asChar(), deletionProc.asChar(), creationBatchProc.asChar(),
             deletionBatchProc.asChar()};
    mhost::logCall(Host::Call::RegisterUI, creationProc.asChar(), deletionProc.asChar(), true);
    return MS::kSuccess;
}

MObject MFnPlugin::findPlugin(const MString& pluginName) {
    for (auto& p : session().plugins)
        if (p->name == pluginName.asChar())
            return MObject(p);
    return MObject();
}

// ---- MDrawRegistry --------------------------------------------------------------------------

MStatus MHWRender::MDrawRegistry::registerDrawOverrideCreator(const MString& drawClassification,
                                                              const MString& registrantId,
                                                              DrawOverrideCreator creator) {
    Session& s = session();
    const std::string c = drawClassification.asChar(), r = registrantId.asChar();
    bool taken =
        std::any_of(s.drawOverrides.begin(), s.drawOverrides.end(), [&](const Host::DrawOverrideInfo& d) {
            return d.classification == c && d.registrantId == r;
        });
    if (mhost::injectFailure(Host::Call::RegisterDrawOverride) || !creator || c.empty() || taken) {
        mhost::logCall(Host::Call::RegisterDrawOverride, c, r, false);
        return MS::kFailure;
    }
    s.drawOverrides.push_back(Host::DrawOverrideInfo{c, r, creator, s.current ? s.current->name : ""});
    mhost::logCall(Host::Call::RegisterDrawOverride, c, r, true);
    return MS::kSuccess;
}

MStatus MHWRender::MDrawRegistry::deregisterDrawOverrideCreator(const MString& drawClassification,
                                                                const MString& registrantId) {
    Session& s = session();
    const std::string c = drawClassification.asChar(), r = registrantId.asChar();
    auto it =
        std::find_if(s.drawOverrides.begin(), s.drawOverrides.end(), [&](const Host::DrawOverrideInfo& d) {
            return d.classification == c && d.registrantId == r;
        });
    if (mhost::injectFailure(Host::Call::DeregisterDrawOverride) || it == s.drawOverrides.end()) {
        mhost::logCall(Host::Call::DeregisterDrawOverride, c, r, false);
        return MS::kFailure;
    }
    s.drawOverrides.erase(it);
    mhost::logCall(Host::Call::DeregisterDrawOverride, c, r, true);
    return MS::kSuccess;
}

// ---- MGlobal, MThreadUtils ------------------------------------------------------------------

MGlobal::MMayaState MGlobal::mayaState(MStatus* st) {
    setStatus(st, MS::kSuccess);
    return session().state;
}
MString MGlobal::mayaVersion() { return "2018"; }
int MGlobal::apiVersion() { return MAYA_API_VERSION; }
void MGlobal::displayInfo(const MString& m) { mhost::record(Host::MessageKind::Info, m); }
void MGlobal::displayWarning(const MString& m) { mhost::record(Host::MessageKind::Warning, m); }
void MGlobal::displayError(const MString& m) { mhost::record(Host::MessageKind::Error, m); }

MStatus MGlobal::executeCommand(const char* command, bool displayEnabled, bool undoEnabled) {
    return executeCommand(MString(command), displayEnabled, undoEnabled);
}
MStatus MGlobal::executeCommand(const MString& command, bool, bool) {
    session().executed.push_back(command.asChar());
    return mhost::runCommandLine(command.asChar(), nullptr);
}
MStatus MGlobal::executeCommand(const MString& command, MString& result, bool, bool) {
    session().executed.push_back(command.asChar());
    Host::CommandResult r;
    MStatus st = mhost::runCommandLine(command.asChar(), &r);
    result = r.strings.empty() ? MString() : MString(r.strings[0].c_str());
    return st;
}
MStatus MGlobal::executeCommand(const MString& command, int& result, bool, bool) {
    session().executed.push_back(command.asChar());
    Host::CommandResult r;
    MStatus st = mhost::runCommandLine(command.asChar(), &r);
    result = r.numbers.empty() ? 0 : static_cast<int>(r.numbers[0]);
    return st;
}
MStatus MGlobal::executeCommand(const MString& command, double& result, bool, bool) {
    session().executed.push_back(command.asChar());
    Host::CommandResult r;
    MStatus st = mhost::runCommandLine(command.asChar(), &r);
    result = r.numbers.empty() ? 0.0 : r.numbers[0];
    return st;
}
MStatus MGlobal::executeCommand(const MString& command, MStringArray& result, bool, bool) {
    session().executed.push_back(command.asChar());
    Host::CommandResult r;
    MStatus st = mhost::runCommandLine(command.asChar(), &r);
    result.clear();
    for (const auto& s : r.strings)
        result.append(MString(s.c_str()));
    return st;
}
MStatus MGlobal::executeCommandOnIdle(const MString& command, bool displayEnabled) {
    return executeCommand(command, displayEnabled);
}
MStatus MGlobal::sourceFile(const MString& fileName) {
    Session& s = session();
    const std::string name = fileName.asChar();
    bool found = false;
    if (!name.empty() && name[0] == '/') {
        found = std::ifstream(name).good();
    } else {
        for (const std::string& folder : s.scriptPaths)
            if (std::ifstream(folder + "/" + name).good()) {
                found = true;
                break;
            }
    }
    s.scripts.push_back(Host::SourcedScript{name, found});
    if (!found)
        mhost::record(Host::MessageKind::Error,
                      MString("Cannot find file \"") + fileName + "\" for source statement.");
    return found ? MS::kSuccess : MS::kFailure;
}

int MThreadUtils::getNumThreads() { return session().numThreads; }
void MThreadUtils::syncNumOpenMPThreads() {}

// ---- Host controls --------------------------------------------------------------------------

namespace Host {

void resetSession() {
    Session& s = session();
    mhost::flushUndoQueue();
    std::vector<Node*> roots;
    for (auto& n : s.nodes)
        if (n.get() != s.timeNode && n->parents.empty())
            roots.push_back(n.get());
    for (Node* n : roots)
        mhost::deleteNode(n);
    s.state = MGlobal::kInteractive;
    s.uiUnit = MTime::kFilm;
    setCurrentTime(MTime(0.0, MTime::kFilm));
    s.messages.clear();
    s.executed.clear();
    s.scripts.clear();
    s.log.clear();
    mhost::clearActiveSelection();
    clearFailures();
    // In-process plug-ins end with the session, and so do the leftovers of failed loads.
    auto purge = [&s](const std::string& name) {
        s.types.erase(
            std::remove_if(s.types.begin(), s.types.end(),
                           [&](const std::unique_ptr<mhost::NodeType>& t) { return t->plugin == name; }),
            s.types.end());
        s.commands.erase(std::remove_if(s.commands.begin(), s.commands.end(),
                                        [&](const mhost::CommandType& c) { return c.plugin == name; }),
                         s.commands.end());
    };
    for (auto it = s.plugins.begin(); it != s.plugins.end();) {
        if ((*it)->handle) {
            ++it;
            continue;
        }
        purge((*it)->name);
        it = s.plugins.erase(it);
    }
    std::vector<std::shared_ptr<Plugin>> failed;
    failed.swap(s.failed);
    for (auto& p : failed)
        purge(p->name);
    s.drawOverrides.erase(std::remove_if(s.drawOverrides.begin(), s.drawOverrides.end(),
                                         [](const DrawOverrideInfo& d) { return !isPluginLoaded(d.plugin); }),
                          s.drawOverrides.end());
    s.current = nullptr;
    for (auto& p : failed)
        dlclose(p->handle);
}

void setMayaState(MGlobal::MMayaState state) { session().state = state; }
void setNumThreads(int count) { session().numThreads = std::max(1, count); }

const std::vector<Message>& messages() { return session().messages; }
std::vector<std::string> messages(MessageKind kind) {
    std::vector<std::string> out;
    for (const Message& m : session().messages)
        if (m.kind == kind)
            out.push_back(m.text);
    return out;
}
void clearMessages() { session().messages.clear(); }
const std::vector<std::string>& executedCommands() { return session().executed; }
void clearExecutedCommands() { session().executed.clear(); }
const std::vector<SourcedScript>& sourcedScripts() { return session().scripts; }
void addScriptPath(const std::string& folder) { session().scriptPaths.push_back(folder); }

const std::vector<CallRecord>& registrationLog() { return session().log; }
void clearRegistrationLog() { session().log.clear(); }
void failNthCall(Call call, int k) {
    Session& s = session();
    s.failAt[call].insert(s.callCount[call] + k);
}
void clearFailures() { session().failAt.clear(); }

MStatus loadPlugin(const std::string& path, std::string* error) {
    Session& s = session();
    std::string name = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
    name = name.substr(0, name.find('.'));
    if (isPluginLoaded(name)) {
        if (error)
            *error = "plug-in already loaded: " + name;
        return MS::kFailure;
    }
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        if (error)
            *error = dlerror();
        return MS::kFailure;
    }
    typedef MStatus (*Entry)(MObject);
    auto init = reinterpret_cast<Entry>(dlsym(handle, "initializePlugin"));
    auto uninit = reinterpret_cast<Entry>(dlsym(handle, "uninitializePlugin"));
    if (!init || !uninit) {
        if (error)
            *error = "not a plug-in (initializePlugin/uninitializePlugin missing): " + path;
        dlclose(handle);
        return MS::kFailure;
    }
    auto plugin = std::make_shared<Plugin>();
    plugin->name = name;
    plugin->path = path;
    plugin->handle = handle;
    plugin->loading = true;
    s.plugins.push_back(plugin);
    Plugin* previous = s.current;
    s.current = plugin.get();
    MStatus st;
    try {
        st = init(MObject(plugin));
    } catch (...) {
        st = MS::kFailure;
    }
    s.current = previous;
    plugin->loading = false;
    if (!st) {
        // The host reports the failure and leaves the plug-in unloaded; what it registered
        // before failing stays registered (nothing undoes it).
        s.plugins.pop_back();
        s.failed.push_back(plugin);
        if (error)
            *error = "initializePlugin failed: " + std::string(st.errorString().asChar());
        return st;
    }
    if (s.state == MGlobal::kInteractive || s.state == MGlobal::kBaseUIMode) {
        if (!plugin->ui.empty() && !plugin->ui[0].empty())
            MGlobal::executeCommand(MString(plugin->ui[0].c_str()));
    } else if (!plugin->ui.empty() && !plugin->ui[2].empty()) {
        MGlobal::executeCommand(MString(plugin->ui[2].c_str()));
    }
    return MS::kSuccess;
}

MStatus unloadPlugin(const std::string& name) {
    Session& s = session();
    auto it = std::find_if(s.plugins.begin(), s.plugins.end(),
                           [&](const std::shared_ptr<Plugin>& p) { return p->name == name; });
    if (it == s.plugins.end())
        return MS::kNotFound;
    std::shared_ptr<Plugin> plugin = *it;
    for (auto& n : s.nodes)
        if (n->type->plugin == name)
            return MS::kFailure; // in use
    // Command objects on the undo queue may be of this plug-in's classes.
    mhost::flushUndoQueue();
    if (s.state == MGlobal::kInteractive || s.state == MGlobal::kBaseUIMode) {
        if (plugin->ui.size() > 1 && !plugin->ui[1].empty())
            MGlobal::executeCommand(MString(plugin->ui[1].c_str()));
    } else if (plugin->ui.size() > 3 && !plugin->ui[3].empty()) {
        MGlobal::executeCommand(MString(plugin->ui[3].c_str()));
    }
    typedef MStatus (*Entry)(MObject);
    auto uninit = reinterpret_cast<Entry>(dlsym(plugin->handle, "uninitializePlugin"));
    Plugin* previous = s.current;
    s.current = plugin.get();
    MStatus st;
    try {
        st = uninit(MObject(plugin));
    } catch (...) {
        st = MS::kFailure;
    }
    s.current = previous;
    if (!st)
        return st;
    // Whatever the plug-in left registered goes with it, so the module can be closed safely.
    auto& types = s.types;
    types.erase(std::remove_if(types.begin(), types.end(),
                               [&](const std::unique_ptr<mhost::NodeType>& t) { return t->plugin == name; }),
                types.end());
    s.commands.erase(std::remove_if(s.commands.begin(), s.commands.end(),
                                    [&](const mhost::CommandType& c) { return c.plugin == name; }),
                     s.commands.end());
    s.plugins.erase(std::find(s.plugins.begin(), s.plugins.end(), plugin));
    dlclose(plugin->handle);
    plugin->handle = nullptr;
    return MS::kSuccess;
}

MObject inProcessPlugin(const std::string& name) {
    auto plugin = std::make_shared<Plugin>();
    plugin->name = name;
    plugin->path = "<in-process>/" + name;
    plugin->loading = true;
    session().plugins.push_back(plugin);
    session().current = plugin.get();
    return MObject(plugin);
}

bool isPluginLoaded(const std::string& name) { return pluginInfo(name) != nullptr; }

const PluginInfo* pluginInfo(const std::string& name) {
    static PluginInfo info;
    for (auto& p : session().plugins)
        if (p->name == name) {
            info = PluginInfo{p->name, p->path, p->vendor, p->version, p->apiVersion, p->ui};
            return &info;
        }
    return nullptr;
}

std::vector<NodeTypeInfo> registeredNodeTypes(bool includeHostTypes) {
    std::vector<NodeTypeInfo> out;
    for (auto& t : session().types)
        if (includeHostTypes || !t->plugin.empty())
            out.push_back(NodeTypeInfo{t->name, t->id, t->kind, t->classification, t->plugin});
    return out;
}

const NodeTypeInfo* nodeType(const std::string& name) {
    static NodeTypeInfo info;
    mhost::NodeType* t = mhost::findType(name);
    if (!t)
        return nullptr;
    info = NodeTypeInfo{t->name, t->id, t->kind, t->classification, t->plugin};
    return &info;
}

std::vector<DrawOverrideInfo> registeredDrawOverrides() { return session().drawOverrides; }

std::vector<CommandInfo> registeredCommands() {
    std::vector<CommandInfo> out;
    for (auto& c : session().commands)
        out.push_back(CommandInfo{c.name, c.syntax != nullptr, c.plugin});
    return out;
}

namespace {
const char* const kTestPlugin = "<test>";
}

MStatus registerNodeType(const std::string& name, unsigned int id, MCreatorFunction creator,
                         MInitializeFunction initialize, MPxNode::Type kind) {
    if (name.empty() || !creator || mhost::findType(name) || mhost::findType(id))
        return MS::kFailure;
    mhost::NodeType* t = mhost::addType(name, id, kind, creator, kTestPlugin);
    return mhost::initializeType(t, initialize);
}

MStatus deregisterNodeType(const std::string& name) {
    mhost::NodeType* t = mhost::findType(name);
    if (!t || t->plugin != kTestPlugin)
        return MS::kFailure;
    for (auto& n : session().nodes)
        if (n->type == t)
            return MS::kFailure;
    mhost::removeType(t);
    return MS::kSuccess;
}

MStatus registerCommand(const std::string& name, MCreatorFunction creator, MCreateSyntaxFunction syntax) {
    Session& s = session();
    for (const auto& c : s.commands)
        if (c.name == name)
            return MS::kFailure;
    s.commands.push_back(mhost::CommandType{name, creator, syntax, kTestPlugin});
    return MS::kSuccess;
}

MStatus deregisterCommand(const std::string& name) {
    Session& s = session();
    for (auto it = s.commands.begin(); it != s.commands.end(); ++it)
        if (it->name == name && it->plugin == kTestPlugin) {
            s.commands.erase(it);
            return MS::kSuccess;
        }
    return MS::kFailure;
}

MObject createNode(const std::string& type, const std::string& name, const MObject& parent, MStatus* status) {
    mhost::NodeType* t = mhost::findType(type);
    if (!t) {
        setStatus(status, MS::kInvalidParameter);
        return MObject();
    }
    Node* p = mhost::as<Node>(parent);
    auto n = mhost::createNode(t, name, p && p->alive ? p : nullptr, status);
    return n ? n->handle() : MObject();
}

MObject findNode(const std::string& name) {
    Node* n = mhost::findNode(name);
    return n ? n->handle() : MObject();
}

MStatus deleteNode(const MObject& node) { return mhost::deleteNode(mhost::as<Node>(node)); }

std::vector<MObject> nodesOfType(const std::string& type) {
    std::vector<MObject> out;
    for (auto& n : session().nodes)
        if (n->type->name == type)
            out.push_back(n->handle());
    return out;
}

MDataBlock dataBlock(const MObject& node) {
    Node* n = mhost::as<Node>(node);
    return MDataBlock(n && n->alive ? n : nullptr);
}

namespace {
bool parsePlug(const std::string& text, mhost::PlugEnd& end) {
    size_t dot = text.find('.');
    if (dot == std::string::npos)
        return false;
    std::string attr = text.substr(dot + 1);
    int index = -1;
    size_t bracket = attr.find('[');
    if (bracket != std::string::npos) {
        index = std::atoi(attr.c_str() + bracket + 1);
        attr = attr.substr(0, bracket);
    }
    Node* n = mhost::findNode(text.substr(0, dot));
    mhost::Attribute* a = n ? n->type->findAttribute(attr) : nullptr;
    if (!a)
        return false;
    end = mhost::PlugEnd{n, a, index};
    return true;
}
} // namespace

MPlug plug(const std::string& text) {
    mhost::PlugEnd e{};
    if (!parsePlug(text, e))
        return MPlug();
    MPlug p(e.node->handle(), MObject(e.attr->shared_from_this()));
    return e.index >= 0 ? p.elementByLogicalIndex(static_cast<unsigned int>(e.index)) : p;
}

MStatus connect(const std::string& source, const std::string& destination) {
    mhost::PlugEnd s{}, d{};
    if (!parsePlug(source, s) || !parsePlug(destination, d))
        return MS::kInvalidParameter;
    return mhost::connect(s, d);
}

MStatus disconnect(const std::string& source, const std::string& destination) {
    mhost::PlugEnd s{}, d{};
    if (!parsePlug(source, s) || !parsePlug(destination, d))
        return MS::kInvalidParameter;
    return mhost::disconnect(s, d);
}

void setCurrentTime(const MTime& time) {
    Node* t = session().timeNode;
    mhost::Attribute* out = t->type->findAttribute("outTime");
    t->slot(out).time = time;
    mhost::valueChanged(t, out);
}

MTime currentTime() {
    Node* t = session().timeNode;
    return t->slot(t->type->findAttribute("outTime")).time;
}

} // namespace Host
