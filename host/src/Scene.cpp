// The scene of the host stand-in: node types, nodes, names, DAG parenting, connections, dirty
// propagation and pull evaluation.
#include "HostInternal.h"

#include <maya/MDataBlock.h>
#include <maya/MFnAttribute.h>
#include <maya/MPlug.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <thread>

namespace mhost {

Session& session() {
    // Never destroyed: plug-in statics may still reach the host while the process exits.
    static Session* s = nullptr;
    if (!s) {
        s = new Session;
        s->numThreads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
        registerHostTypes();
    }
    return *s;
}

bool injectFailure(Host::Call call) {
    Session& s = session();
    int n = ++s.callCount[call];
    auto it = s.failAt.find(call);
    return it != s.failAt.end() && it->second.count(n) != 0;
}

void logCall(Host::Call call, const std::string& name, const std::string& detail, bool ok) {
    session().log.push_back(Host::CallRecord{call, name, detail, ok});
}

void record(Host::MessageKind kind, const MString& text) {
    session().messages.push_back(Host::Message{kind, text.asChar()});
}

// ---- values ---------------------------------------------------------------------------------

namespace {
enum class Canon { Bool, Short, Int, Float, Double, Time };
Canon canon(const Attribute* a) {
    if (a->kind == Attribute::Unit)
        return a->unitType == MFnUnitAttribute::kTime ? Canon::Time : Canon::Double;
    if (a->kind == Attribute::Enum)
        return Canon::Short;
    switch (a->numericType) {
    case MFnNumericData::kBoolean:
        return Canon::Bool;
    case MFnNumericData::kShort:
    case MFnNumericData::k2Short:
    case MFnNumericData::k3Short:
        return Canon::Short;
    case MFnNumericData::kByte:
    case MFnNumericData::kChar:
    case MFnNumericData::kInt:
    case MFnNumericData::k2Int:
    case MFnNumericData::k3Int:
    case MFnNumericData::kInt64:
        return Canon::Int;
    case MFnNumericData::kFloat:
    case MFnNumericData::k2Float:
    case MFnNumericData::k3Float:
        return Canon::Float;
    default:
        return Canon::Double;
    }
}
} // namespace

double Value::getNumber(const Attribute* a, int c) const {
    c = std::max(0, std::min(2, c));
    switch (canon(a)) {
    case Canon::Bool:
        return b ? 1.0 : 0.0;
    case Canon::Short:
        return sh[c];
    case Canon::Int:
        return in[c];
    case Canon::Float:
        return fl[c];
    case Canon::Time:
        return time.as(MTime::uiUnit());
    default:
        return db[c];
    }
}

void Value::setNumber(const Attribute* a, int c, double v) {
    c = std::max(0, std::min(2, c));
    switch (canon(a)) {
    case Canon::Bool:
        b = v != 0.0;
        break;
    case Canon::Short:
        sh[c] = static_cast<short>(v);
        break;
    case Canon::Int:
        in[c] = static_cast<int>(v);
        break;
    case Canon::Float:
        fl[c] = static_cast<float>(v);
        break;
    case Canon::Time:
        time = MTime(v, MTime::uiUnit());
        break;
    default:
        db[c] = v;
        break;
    }
}

void Value::initFrom(const Attribute* a) {
    switch (a->kind) {
    case Attribute::Numeric:
    case Attribute::Enum:
    case Attribute::Unit:
        for (int c = 0; c < 3; ++c)
            setNumber(a, c, a->defaults[c]);
        if (a->kind == Attribute::Unit && a->unitType == MFnUnitAttribute::kTime)
            time = a->timeDefault;
        break;
    case Attribute::Typed:
        if (auto* d = as<Data>(a->dataDefault)) {
            if (a->dataType == MFnData::kString)
                str = d->string;
            else
                data = a->dataDefault;
        }
        break;
    case Attribute::Matrix:
        matrix = a->matrixDefault;
        break;
    case Attribute::Compound:
        break;
    }
}

// ---- types ----------------------------------------------------------------------------------

Attribute* NodeType::findAttribute(const std::string& n) const {
    for (const auto& a : attributes)
        if (a->name == n || a->shortName == n)
            return a.get();
    return nullptr;
}

bool NodeType::isAffected(Attribute* attr) const {
    for (const auto& entry : affects)
        if (std::find(entry.second.begin(), entry.second.end(), attr) != entry.second.end())
            return true;
    return false;
}

NodeType* findType(const std::string& name) {
    for (auto& t : session().types)
        if (t->name == name)
            return t.get();
    return nullptr;
}

NodeType* findType(unsigned int id) {
    for (auto& t : session().types)
        if (t->id == id)
            return t.get();
    return nullptr;
}

NodeType* addType(const std::string& name, unsigned int id, MPxNode::Type kind, MCreatorFunction creator,
                  const std::string& plugin) {
    auto t = std::unique_ptr<NodeType>(new NodeType);
    t->name = name;
    t->id = id;
    t->kind = kind;
    t->creator = creator;
    t->plugin = plugin;
    switch (kind) {
    case MPxNode::kDependNode:
        t->apiType = MFn::kPluginDependNode;
        break;
    case MPxNode::kLocatorNode:
        t->apiType = MFn::kPluginLocatorNode;
        t->isDag = t->isShape = true;
        break;
    case MPxNode::kTransformNode:
        t->apiType = MFn::kPluginTransformNode;
        t->isDag = true;
        break;
    default:
        t->apiType = MFn::kPluginDependNode;
        break;
    }
    session().types.push_back(std::move(t));
    return session().types.back().get();
}

MStatus initializeType(NodeType* type, MInitializeFunction init) {
    Session& s = session();
    s.initializing = type;
    MStatus st = MS::kSuccess;
    try {
        st = init ? init() : MStatus(MS::kSuccess);
    } catch (...) {
        st = MS::kFailure;
    }
    s.initializing = nullptr;
    if (!st)
        removeType(type);
    return st;
}

void removeType(NodeType* type) {
    auto& types = session().types;
    types.erase(std::remove_if(types.begin(), types.end(),
                               [type](const std::unique_ptr<NodeType>& t) { return t.get() == type; }),
                types.end());
}

// ---- nodes ----------------------------------------------------------------------------------

Node::~Node() { delete user; }

Value& Node::slot(Attribute* attr, int index) {
    Attribute* top = attr->storage();
    auto it = values.find(top);
    if (it == values.end()) {
        it = values.emplace(top, Value()).first;
        it->second.initFrom(top);
    }
    if (index < 0)
        return it->second;
    auto& element = it->second.elements[static_cast<unsigned int>(index)];
    if (!element) {
        element = std::make_shared<Value>();
        element->initFrom(top);
    }
    return *element;
}

Node* findNode(const std::string& name) {
    for (auto& n : session().nodes)
        if (n->alive && n->name == name)
            return n.get();
    return nullptr;
}

namespace {
bool nameTaken(const std::string& name, const Node* self) {
    Node* n = findNode(name);
    return n && n != self;
}
} // namespace

std::string uniqueName(const std::string& wanted, const Node* self) {
    std::string base = wanted.empty() ? std::string("node#") : wanted;
    size_t hash = base.find('#');
    if (hash == std::string::npos) {
        if (!nameTaken(base, self))
            return base;
        // Taken: renumber, replacing any trailing number.
        size_t end = base.size();
        while (end > 0 && std::isdigit(static_cast<unsigned char>(base[end - 1])))
            --end;
        base = base.substr(0, end) + "#";
        hash = base.size() - 1;
    }
    for (int n = 1;; ++n) {
        std::string candidate = base.substr(0, hash) + std::to_string(n) + base.substr(hash + 1);
        if (!nameTaken(candidate, self))
            return candidate;
    }
}

std::string fullPathName(const Node* node) {
    if (!node->type->isDag)
        return "";
    std::string path;
    for (const Node* n = node; n; n = n->parents.empty() ? nullptr : n->parents[0])
        path = "|" + n->name + path;
    return path;
}

std::shared_ptr<Node> createNode(NodeType* type, const std::string& name, Node* parent, MStatus* status) {
    Session& s = session();
    if (status)
        *status = MS::kSuccess;
    if (parent && (!parent->type->isDag || parent->type->isShape || !type->isDag)) {
        if (status)
            *status = MS::kInvalidParameter;
        return nullptr;
    }
    if (type->isShape && !parent) {
        std::string base = name.empty() ? type->name : name;
        std::string transformName = base;
        size_t shape = transformName.rfind("Shape");
        if (shape != std::string::npos && shape > 0)
            transformName = transformName.substr(0, shape) + transformName.substr(shape + 5);
        else
            transformName = "transform#";
        if (!transformName.empty())
            transformName[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(transformName[0])));
        auto transform = createNode(findType("transform"), transformName, nullptr, status);
        if (!transform)
            return nullptr;
        parent = transform.get();
    }

    auto node = std::make_shared<Node>(type, type->apiType);
    std::string defaultName = type->name;
    if (!defaultName.empty())
        defaultName[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(defaultName[0])));
    node->name = uniqueName(name.empty() ? defaultName + "#" : name, nullptr);
    s.nodes.push_back(node);
    if (parent) {
        node->parents.push_back(parent);
        parent->children.push_back(node.get());
    }
    // Outputs start dirty so the first request computes them.
    for (const auto& a : type->attributes)
        if (type->isAffected(a.get()))
            node->dirty.insert(a->storage());

    if (type->creator) {
        void* made = nullptr;
        try {
            made = type->creator();
        } catch (...) {
            made = nullptr;
        }
        if (!made) {
            node->alive = false;
            s.nodes.pop_back();
            if (status)
                *status = MS::kFailure;
            return nullptr;
        }
        node->user = static_cast<MPxNode*>(made);
        NodeAccess::setInstance(node->user, node.get());
        try {
            node->user->postConstructor();
        } catch (...) {
            std::cerr << "host: postConstructor of " << node->name << " threw" << std::endl;
        }
    }
    return node;
}

MStatus deleteNode(Node* node) {
    if (!node || !node->alive)
        return MS::kInvalidParameter;
    if (node == session().timeNode)
        return MS::kFailure;
    // Children go with their parent.
    std::vector<Node*> children = node->children;
    for (Node* c : children)
        deleteNode(c);
    for (auto in : std::map<std::pair<Attribute*, int>, PlugEnd>(node->inputs))
        disconnect(in.second, PlugEnd{node, in.first.first, in.first.second});
    for (auto out : std::map<std::pair<Attribute*, int>, std::vector<PlugEnd>>(node->outputs))
        for (const PlugEnd& dst : out.second)
            disconnect(PlugEnd{node, out.first.first, out.first.second}, dst);
    for (Node* p : node->parents)
        p->children.erase(std::remove(p->children.begin(), p->children.end(), node), p->children.end());
    node->parents.clear();
    releaseDrawState(node); // its draw override may live in the same plug-in as the node
    node->alive = false;
    // The user object goes now, as in the host, not when the last handle to the node goes: its
    // code may live in a plug-in that is unloaded before that.
    delete node->user;
    node->user = nullptr;
    auto& nodes = session().nodes;
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                               [node](const std::shared_ptr<Node>& n) { return n.get() == node; }),
                nodes.end());
    return MS::kSuccess;
}

// ---- evaluation -----------------------------------------------------------------------------

void markDirty(Node* node, Attribute* attr) {
    Attribute* top = attr->storage();
    if (!node->dirty.insert(top).second)
        return;
    auto affected = node->type->affects.find(top);
    if (affected != node->type->affects.end())
        for (Attribute* b : affected->second)
            markDirty(node, b);
    for (const auto& out : node->outputs)
        if (out.first.first->storage() == top)
            for (const PlugEnd& dst : out.second)
                markDirty(dst.node, dst.attr);
}

void valueChanged(Node* node, Attribute* attr) {
    Attribute* top = attr->storage();
    // Other elements of an array may still wait to be pulled through their connections.
    bool connected = false;
    for (const auto& in : node->inputs)
        connected = connected || in.first.first->storage() == top;
    if (!connected)
        node->dirty.erase(top);
    auto affected = node->type->affects.find(top);
    if (affected != node->type->affects.end())
        for (Attribute* b : affected->second)
            markDirty(node, b);
    for (const auto& out : node->outputs)
        if (out.first.first->storage() == top)
            for (const PlugEnd& dst : out.second)
                markDirty(dst.node, dst.attr);
}

namespace {
void copyValue(Node* srcNode, const PlugEnd& src, Node* dstNode, const PlugEnd& dst) {
    Value& from = srcNode->slot(src.attr, src.index);
    Value& to = dstNode->slot(dst.attr, dst.index);
    const bool srcScalar = src.attr->parent && src.attr->parent->kind == Attribute::Numeric;
    const bool dstScalar = dst.attr->parent && dst.attr->parent->kind == Attribute::Numeric;
    if (srcScalar || dstScalar || src.attr->kind != dst.attr->kind) {
        to.setNumber(dst.attr, dst.attr->component(), from.getNumber(src.attr, src.attr->component()));
        if (dst.attr->kind == Attribute::Unit && dst.attr->unitType == MFnUnitAttribute::kTime &&
            src.attr->kind == Attribute::Unit && src.attr->unitType == MFnUnitAttribute::kTime)
            to.time = from.time;
        return;
    }
    if (src.attr->kind == Attribute::Numeric && !src.attr->children.empty()) {
        // A numeric compound into one of other storage (a double3 point into a float3):
        // component by component, converted as a child-to-child connection would.
        for (std::size_t k = 0; k < dst.attr->children.size(); ++k)
            to.setNumber(dst.attr, static_cast<int>(k), from.getNumber(src.attr, static_cast<int>(k)));
        return;
    }
    auto elements = to.elements;
    to = from;
    if (dst.index >= 0 || src.index >= 0)
        to.elements = elements;
}
} // namespace

void evaluate(Node* node, Attribute* attr) {
    Attribute* top = attr->storage();
    if (!node->dirty.count(top) || node->evaluating.count(top))
        return;
    node->evaluating.insert(top);
    bool pulled = false;
    for (const auto& in : std::map<std::pair<Attribute*, int>, PlugEnd>(node->inputs)) {
        if (in.first.first->storage() != top)
            continue;
        const PlugEnd& src = in.second;
        evaluate(src.node, src.attr);
        copyValue(src.node, src, node, PlugEnd{node, in.first.first, in.first.second});
        pulled = true;
    }
    if (!pulled && node->user && node->type->isAffected(top)) {
        // As in the host, only compute cleans its output (MDataBlock::setClean or the output
        // handle's setClean): an output left dirty is computed again on the next request.
        MPlug plug(node->handle(), MObject(attr->shared_from_this()));
        MDataBlock block(node);
        try {
            node->user->compute(plug, block);
        } catch (const std::exception& e) {
            std::cerr << "host: compute of " << node->name << " threw: " << e.what() << std::endl;
        } catch (...) {
            std::cerr << "host: compute of " << node->name << " threw" << std::endl;
        }
    } else {
        node->dirty.erase(top);
    }
    node->evaluating.erase(top);
}

namespace {
// Numbers connect to numbers (numeric, enum, unit), data to data of the same type, matrices
// to matrices; compounds need the same number of children.
bool compatible(const Attribute* a, const Attribute* b) {
    auto numeric = [](const Attribute* x) {
        return x->kind == Attribute::Numeric || x->kind == Attribute::Enum || x->kind == Attribute::Unit;
    };
    if (a->children.size() != b->children.size())
        return false;
    if (numeric(a) && numeric(b))
        return true;
    if (a->kind == Attribute::Typed && b->kind == Attribute::Typed)
        return a->dataType == b->dataType || a->dataType == MFnData::kAny || b->dataType == MFnData::kAny;
    return a->kind == b->kind;
}
} // namespace

MStatus connect(const PlugEnd& src, const PlugEnd& dst) {
    if (!src.node || !dst.node || !src.attr || !dst.attr || !src.node->alive || !dst.node->alive)
        return MS::kInvalidParameter;
    if (!src.attr->connectable || !dst.attr->connectable || !src.attr->readable || !dst.attr->writable)
        return MS::kInvalidParameter;
    if (!compatible(src.attr, dst.attr))
        return MS::kInvalidParameter;
    auto key = std::make_pair(dst.attr, dst.index);
    if (dst.node->inputs.count(key))
        return MS::kFailure; // already has an incoming connection
    dst.node->inputs[key] = src;
    if (dst.index >= 0)
        dst.node->slot(dst.attr, dst.index); // a connected element exists
    src.node->outputs[std::make_pair(src.attr, src.index)].push_back(dst);
    markDirty(dst.node, dst.attr);
    return MS::kSuccess;
}

MStatus disconnect(const PlugEnd& src, const PlugEnd& dst) {
    auto key = std::make_pair(dst.attr, dst.index);
    auto in = dst.node->inputs.find(key);
    if (in == dst.node->inputs.end() || !(in->second == src))
        return MS::kFailure;
    dst.node->inputs.erase(in);
    auto& outs = src.node->outputs[std::make_pair(src.attr, src.index)];
    outs.erase(std::remove(outs.begin(), outs.end(), dst), outs.end());
    if (outs.empty())
        src.node->outputs.erase(std::make_pair(src.attr, src.index));
    // An array element whose attribute deletes on disconnect goes away with its connection.
    if (dst.index >= 0 && dst.attr->array && dst.attr->disconnectBehavior == MFnAttribute::kDelete) {
        dst.node->slot(dst.attr).elements.erase(static_cast<unsigned int>(dst.index));
        valueChanged(dst.node, dst.attr);
    }
    return MS::kSuccess;
}

} // namespace mhost
