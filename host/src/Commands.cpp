// Commands in the host stand-in: syntax, argument lists and parsing, the command base class,
// running registered commands, and MDGModifier.
#include "HostInternal.h"

#include <maya/MArgDatabase.h>
#include <maya/MArgList.h>
#include <maya/MArgParser.h>
#include <maya/MDGModifier.h>
#include <maya/MGlobal.h>
#include <maya/MPlug.h>
#include <maya/MPxCommand.h>
#include <maya/MSelectionList.h>
#include <maya/MSyntax.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>

using mhost::setStatus;

using mhost::session;

namespace {
bool isFlagWord(const MString& w) {
    const char* s = w.asChar();
    return s[0] == '-' && std::isalpha(static_cast<unsigned char>(s[1]));
}
} // namespace

// ---- MSyntax --------------------------------------------------------------------------------

MSyntax::MSyntax() : fObjectFormat(kNone), fMinObjects(0), fMaxObjects(UINT_MAX), fUseSelection(false) {}
MSyntax::MSyntax(const MSyntax& o) = default;
MSyntax::~MSyntax() {}
MSyntax& MSyntax::operator=(const MSyntax& o) = default;

// Flag names are compared without their leading dash: the host takes the names as given, with
// or without it, and a word "-xPv" on a command line matches a flag added as "xPv".
std::string MSyntax::bareName(const char* name) {
    return name[0] == '-' ? std::string(name + 1) : std::string(name);
}

MStatus MSyntax::addFlag(const char* shortName, const char* longName, MArgType a1, MArgType a2, MArgType a3,
                         MArgType a4, MArgType a5, MArgType a6) {
    if (!shortName || !longName)
        return MS::kFailure;
    const std::string bareShort = bareName(shortName);
    const std::string bareLong = bareName(longName);
    if (bareShort.empty() || bareShort.size() > 4 || bareLong.empty() || findFlag(shortName) ||
        findFlag(longName))
        return MS::kFailure;
    Flag f{shortName, longName, {}, false};
    for (MArgType t : {a1, a2, a3, a4, a5, a6})
        if (t != kNoArg && t != kInvalidArgType)
            f.args.push_back(t);
    fFlags.push_back(f);
    return MS::kSuccess;
}
MStatus MSyntax::makeFlagMultiUse(const char* flagName) {
    const Flag* named = findFlag(flagName);
    for (Flag& f : fFlags)
        if (&f == named) {
            f.multiUse = true;
            return MS::kSuccess;
        }
    return MS::kFailure;
}
MStatus MSyntax::addArg(MArgType arg) {
    fArgs.push_back(arg);
    return MS::kSuccess;
}
MStatus MSyntax::setObjectType(MObjectFormat f, unsigned int minimum) {
    if (f <= kInvalidObjectFormat || f >= kLastObjectFormat)
        return MS::kInvalidParameter;
    fObjectFormat = f;
    fMinObjects = minimum;
    return MS::kSuccess;
}
MStatus MSyntax::setObjectType(MObjectFormat f, unsigned int minimum, unsigned int maximum) {
    if (f <= kInvalidObjectFormat || f >= kLastObjectFormat || maximum < minimum)
        return MS::kInvalidParameter;
    fObjectFormat = f;
    fMinObjects = minimum;
    fMaxObjects = maximum;
    return MS::kSuccess;
}
MStatus MSyntax::useSelectionAsDefault(bool use) {
    fUseSelection = use;
    return MS::kSuccess;
}
MStatus MSyntax::setMinObjects(unsigned int n) {
    fMinObjects = n;
    return MS::kSuccess;
}
MStatus MSyntax::setMaxObjects(unsigned int n) {
    fMaxObjects = n;
    return MS::kSuccess;
}
MStatus MSyntax::enableQuery(bool) { return MS::kSuccess; }
MStatus MSyntax::enableEdit(bool) { return MS::kSuccess; }
const MSyntax::Flag* MSyntax::findFlag(const char* name) const {
    if (!name || !name[0])
        return nullptr;
    const std::string bare = bareName(name);
    for (const Flag& f : fFlags)
        if (bareName(f.shortName.c_str()) == bare || bareName(f.longName.c_str()) == bare)
            return &f;
    return nullptr;
}

// ---- MArgList -------------------------------------------------------------------------------

const unsigned int MArgList::kInvalidArgIndex = 0xffffffffu;
MArgList::MArgList() {}
MArgList::MArgList(const MArgList& o) : fArgs(o.fArgs) {}
MArgList::~MArgList() {}
MArgList& MArgList::operator=(const MArgList& o) {
    fArgs = o.fArgs;
    return *this;
}
unsigned int MArgList::length(MStatus* st) const {
    setStatus(st, MS::kSuccess);
    return static_cast<unsigned int>(fArgs.size());
}
bool MArgList::asBool(unsigned int i, MStatus* st) const {
    if (i >= fArgs.size()) {
        setStatus(st, MS::kFailure);
        return false;
    }
    const MString& w = fArgs[i];
    if (w == "true" || w == "on" || w == "yes")
        return setStatus(st, MS::kSuccess), true;
    if (w == "false" || w == "off" || w == "no")
        return setStatus(st, MS::kSuccess), false;
    setStatus(st, w.isInt() ? MS::kSuccess : MS::kInvalidParameter);
    return w.isInt() && w.asInt() != 0;
}
int MArgList::asInt(unsigned int i, MStatus* st) const {
    if (i >= fArgs.size() || !fArgs[i].isInt()) {
        setStatus(st, MS::kInvalidParameter);
        return 0;
    }
    setStatus(st, MS::kSuccess);
    return fArgs[i].asInt();
}
double MArgList::asDouble(unsigned int i, MStatus* st) const {
    if (i >= fArgs.size() || !fArgs[i].isDouble()) {
        setStatus(st, MS::kInvalidParameter);
        return 0.0;
    }
    setStatus(st, MS::kSuccess);
    return fArgs[i].asDouble();
}
MString MArgList::asString(unsigned int i, MStatus* st) const {
    if (i >= fArgs.size()) {
        setStatus(st, MS::kFailure);
        return MString();
    }
    setStatus(st, MS::kSuccess);
    return fArgs[i];
}
MStringArray MArgList::asStringArray(unsigned int& index, MStatus* st) const {
    MStringArray out;
    if (index >= fArgs.size()) {
        setStatus(st, MS::kFailure);
        return out;
    }
    out.append(fArgs[index++]);
    setStatus(st, MS::kSuccess);
    return out;
}
unsigned int MArgList::flagIndex(const char* shortFlag, const char* longFlag) const {
    for (unsigned int i = 0; i < fArgs.size(); ++i)
        if ((shortFlag && fArgs[i] == shortFlag) || (longFlag && fArgs[i] == longFlag))
            return i;
    return kInvalidArgIndex;
}
MArgList& MArgList::addArg(bool arg) {
    fArgs.push_back(arg ? "true" : "false");
    return *this;
}
MArgList& MArgList::addArg(int arg) {
    MString s;
    s += arg;
    fArgs.push_back(s);
    return *this;
}
MArgList& MArgList::addArg(double arg) {
    MString s;
    s.set(arg, 17);
    fArgs.push_back(s);
    return *this;
}
MArgList& MArgList::addArg(const MString& arg) {
    fArgs.push_back(arg);
    return *this;
}

// ---- MArgParser, MArgDatabase ---------------------------------------------------------------

MArgParser::MArgParser() {}
MArgParser::MArgParser(const MSyntax& syntax, const MArgList& args, MStatus* st) : fSyntax(syntax) {
    MStatus result = MS::kSuccess;
    for (unsigned int i = 0; i < args.length(); ++i) {
        MString word = args.asString(i);
        if (!isFlagWord(word)) {
            fObjects.push_back(word);
            continue;
        }
        const MSyntax::Flag* flag = fSyntax.findFlag(word.asChar());
        if (!flag) {
            MGlobal::displayError(MString("Invalid flag '") + word + "'");
            result = MS::kInvalidParameter;
            break;
        }
        FlagUse use{flag, {}};
        for (size_t k = 0; k < flag->args.size(); ++k) {
            if (i + 1 >= args.length()) {
                MGlobal::displayError(MString("Flag '") + word + "' must be passed a value");
                result = MS::kInvalidParameter;
                break;
            }
            use.args.push_back(args.asString(++i));
        }
        if (!result)
            break;
        fUses.push_back(use);
    }
    // Objects named on the command line must be as many as the syntax allows; none at all is
    // fine when the selection stands in for them.
    const size_t named = fObjects.size();
    if (result && fSyntax.objectFormat() != MSyntax::kNone && !(named == 0 && fSyntax.selectionIsDefault()) &&
        (named < fSyntax.minObjects() || named > fSyntax.maxObjects())) {
        MGlobal::displayError("Wrong number of objects on the command line");
        result = MS::kInvalidParameter;
    }
    setStatus(st, result);
}
MArgParser::~MArgParser() {}
const MArgParser::FlagUse* MArgParser::_findUse(const char* flag) const {
    const MSyntax::Flag* f = fSyntax.findFlag(flag);
    if (!f)
        return nullptr;
    for (const FlagUse& u : fUses)
        if (u.flag->shortName == f->shortName)
            return &u;
    return nullptr;
}
const MString* MArgParser::_flagArgument(const char* flag, unsigned int index) const {
    const FlagUse* use = _findUse(flag);
    if (!use || index >= use->args.size())
        return nullptr;
    return &use->args[index];
}
bool MArgParser::isFlagSet(const char* flag, MStatus* st) const {
    setStatus(st, fSyntax.findFlag(flag) ? MS::kSuccess : MS::kInvalidParameter);
    return _findUse(flag) != nullptr;
}
bool MArgParser::isEdit(MStatus* st) const { return isFlagSet("-e", st); }
bool MArgParser::isQuery(MStatus* st) const { return isFlagSet("-q", st); }
unsigned int MArgParser::numberOfFlagsUsed() const { return static_cast<unsigned int>(fUses.size()); }
unsigned int MArgParser::numberOfFlagUses(const char* flag) const {
    const MSyntax::Flag* f = fSyntax.findFlag(flag);
    unsigned int n = 0;
    for (const FlagUse& u : fUses)
        n += (f && u.flag->shortName == f->shortName) ? 1u : 0u;
    return n;
}

MStatus MArgParser::getFlagArgument(const char* flag, unsigned int index, bool& result) const {
    const MString* a = _flagArgument(flag, index);
    if (!a)
        return MS::kFailure;
    MArgList l;
    l.addArg(*a);
    MStatus st;
    bool v = l.asBool(0, &st);
    if (st)
        result = v;
    return st;
}
MStatus MArgParser::getFlagArgument(const char* flag, unsigned int index, int& result) const {
    const MString* a = _flagArgument(flag, index);
    if (!a || !a->isInt())
        return MS::kFailure;
    result = a->asInt();
    return MS::kSuccess;
}
MStatus MArgParser::getFlagArgument(const char* flag, unsigned int index, double& result) const {
    const MString* a = _flagArgument(flag, index);
    if (!a || !a->isDouble())
        return MS::kFailure;
    result = a->asDouble();
    return MS::kSuccess;
}
MStatus MArgParser::getFlagArgument(const char* flag, unsigned int index, MString& result) const {
    const MString* a = _flagArgument(flag, index);
    if (!a)
        return MS::kFailure;
    result = *a;
    return MS::kSuccess;
}
MStatus MArgParser::getFlagArgument(const char* flag, unsigned int index, unsigned int& result) const {
    const MString* a = _flagArgument(flag, index);
    if (!a || !a->isUnsigned())
        return MS::kFailure;
    result = a->asUnsigned();
    return MS::kSuccess;
}
MStatus MArgParser::getCommandArgument(unsigned int index, int& result) const {
    if (index >= fObjects.size() || !fObjects[index].isInt())
        return MS::kFailure;
    result = fObjects[index].asInt();
    return MS::kSuccess;
}
MStatus MArgParser::getCommandArgument(unsigned int index, double& result) const {
    if (index >= fObjects.size() || !fObjects[index].isDouble())
        return MS::kFailure;
    result = fObjects[index].asDouble();
    return MS::kSuccess;
}
MStatus MArgParser::getCommandArgument(unsigned int index, MString& result) const {
    if (index >= fObjects.size())
        return MS::kFailure;
    result = fObjects[index];
    return MS::kSuccess;
}
MStatus MArgParser::getCommandArgument(unsigned int index, bool& result) const {
    if (index >= fObjects.size())
        return MS::kFailure;
    MArgList l;
    l.addArg(fObjects[index]);
    MStatus st;
    const bool v = l.asBool(0, &st);
    if (st)
        result = v;
    return st;
}
MStatus MArgParser::getObjects(MStringArray& result) const {
    result.clear();
    for (const MString& o : fObjects)
        result.append(o);
    return MS::kSuccess;
}

MArgDatabase::MArgDatabase() {}
MArgDatabase::MArgDatabase(const MSyntax& syntax, const MArgList& argList, MStatus* st)
    : MArgParser(syntax, argList, st) {}
MArgDatabase::~MArgDatabase() {}
namespace {
MStatus addByName(const MString& name, MSelectionList& list) {
    if (!list.add(name)) {
        MGlobal::displayError(MString("No object matches name: ") + name);
        return MS::kInvalidParameter;
    }
    return MS::kSuccess;
}
} // namespace
MStatus MArgDatabase::getFlagArgument(const char* flag, unsigned int index, MSelectionList& result) const {
    const MString* a = _flagArgument(flag, index);
    return a ? addByName(*a, result) : MStatus(MS::kFailure);
}
MStatus MArgDatabase::getCommandArgument(unsigned int index, MSelectionList& result) const {
    if (index >= fObjects.size())
        return MS::kFailure;
    return addByName(fObjects[index], result);
}
MStatus MArgDatabase::getObjects(MSelectionList& result) const {
    result.clear();
    for (const MString& o : fObjects) {
        MStatus st = addByName(o, result);
        if (!st)
            return st;
    }
    // The stand-in has no active selection: with no object named the list stays empty.
    return MS::kSuccess;
}

// ---- MPxCommand -----------------------------------------------------------------------------

MPxCommand::MPxCommand() : fHistoryOn(false) {}
MPxCommand::~MPxCommand() {}
MStatus MPxCommand::doIt(const MArgList&) { return MS::kFailure; }
MStatus MPxCommand::undoIt() { return MS::kFailure; }
MStatus MPxCommand::redoIt() { return MS::kFailure; }
bool MPxCommand::isUndoable() const { return false; }
bool MPxCommand::hasSyntax() const { return true; }
MSyntax MPxCommand::syntax() const { return fSyntax; }
bool MPxCommand::isHistoryOn() const { return fHistoryOn; }
MString MPxCommand::commandString() const { return fCommandString; }
MStatus MPxCommand::setHistoryOn(bool state) {
    fHistoryOn = state;
    return MS::kSuccess;
}
MStatus MPxCommand::setCommandString(const MString& s) {
    fCommandString = s;
    return MS::kSuccess;
}
void MPxCommand::displayInfo(const MString& m) { MGlobal::displayInfo(m); }
void MPxCommand::displayWarning(const MString& m, bool) { MGlobal::displayWarning(m); }
void MPxCommand::displayError(const MString& m, bool) { MGlobal::displayError(m); }

namespace {
mhost::Result& result() { return session().result; }
void setScalar(MPxCommand::MResultType t, const MString& s, double n) {
    mhost::Result& r = result();
    r = mhost::Result();
    r.type = t;
    r.strings.push_back(s);
    if (t != MPxCommand::kString)
        r.numbers.push_back(n);
}
void append(MPxCommand::MResultType t, const MString& s, double n) {
    mhost::Result& r = result();
    if (r.type == MPxCommand::kNoArg)
        r.type = t;
    r.isArray = true;
    r.strings.push_back(s);
    if (t != MPxCommand::kString)
        r.numbers.push_back(n);
}
MString text(double v) {
    MString s;
    s += v;
    return s;
}
MString text(int v) {
    MString s;
    s += v;
    return s;
}
} // namespace

void MPxCommand::clearResult() { result() = mhost::Result(); }
void MPxCommand::setResult(unsigned int v) { setScalar(kLong, text(static_cast<int>(v)), v); }
void MPxCommand::setResult(int v) { setScalar(kLong, text(v), v); }
void MPxCommand::setResult(float v) { setScalar(kDouble, text(static_cast<double>(v)), v); }
void MPxCommand::setResult(double v) { setScalar(kDouble, text(v), v); }
void MPxCommand::setResult(bool v) { setScalar(kLong, text(v ? 1 : 0), v ? 1 : 0); }
void MPxCommand::setResult(const char* v) { setScalar(kString, MString(v), 0); }
void MPxCommand::setResult(const MString& v) { setScalar(kString, v, 0); }
void MPxCommand::setResult(const MDoubleArray& v) {
    clearResult();
    result().type = kDouble;
    result().isArray = true;
    for (unsigned int i = 0; i < v.length(); ++i)
        append(kDouble, text(v[i]), v[i]);
}
void MPxCommand::setResult(const MIntArray& v) {
    clearResult();
    result().type = kLong;
    result().isArray = true;
    for (unsigned int i = 0; i < v.length(); ++i)
        append(kLong, text(v[i]), v[i]);
}
void MPxCommand::setResult(const MStringArray& v) {
    clearResult();
    result().type = kString;
    result().isArray = true;
    for (unsigned int i = 0; i < v.length(); ++i)
        append(kString, v[i], 0);
}
void MPxCommand::appendToResult(int v) { append(kLong, text(v), v); }
void MPxCommand::appendToResult(double v) { append(kDouble, text(v), v); }
void MPxCommand::appendToResult(bool v) { append(kLong, text(v ? 1 : 0), v ? 1 : 0); }
void MPxCommand::appendToResult(const char* v) { append(kString, MString(v), 0); }
void MPxCommand::appendToResult(const MString& v) { append(kString, v, 0); }
void MPxCommand::appendToResult(const MStringArray& v) {
    for (unsigned int i = 0; i < v.length(); ++i)
        append(kString, v[i], 0);
}
bool MPxCommand::isCurrentResultArray() { return result().isArray; }
MPxCommand::MResultType MPxCommand::currentResultType() { return result().type; }
int MPxCommand::currentIntResult(MStatus* st) {
    setStatus(st, result().numbers.empty() ? MS::kFailure : MS::kSuccess);
    return result().numbers.empty() ? 0 : static_cast<int>(result().numbers[0]);
}
double MPxCommand::currentDoubleResult(MStatus* st) {
    setStatus(st, result().numbers.empty() ? MS::kFailure : MS::kSuccess);
    return result().numbers.empty() ? 0.0 : result().numbers[0];
}
MString MPxCommand::currentStringResult(MStatus* st) {
    setStatus(st, result().strings.empty() ? MS::kFailure : MS::kSuccess);
    return result().strings.empty() ? MString() : result().strings[0];
}

// ---- running commands -----------------------------------------------------------------------

namespace mhost {

namespace {
// MEL words: blanks separate, double quotes group (with \" and \\ escapes), ";" ends.
std::vector<std::string> tokenize(const std::string& line) {
    std::vector<std::string> words;
    std::string w;
    bool inWord = false, quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (quoted) {
            if (c == '\\' && i + 1 < line.size())
                w += line[++i];
            else if (c == '"')
                quoted = false;
            else
                w += c;
        } else if (c == '"') {
            quoted = inWord = true;
        } else if (std::isspace(static_cast<unsigned char>(c)) || c == ';') {
            if (inWord)
                words.push_back(w);
            w.clear();
            inWord = false;
        } else {
            w += c;
            inWord = true;
        }
    }
    if (inWord)
        words.push_back(w);
    return words;
}

Host::CommandResult run(const CommandType& type, const std::vector<std::string>& args,
                        const std::string& line) {
    Host::CommandResult out{MS::kFailure, MPxCommand::kNoArg, false, {}, {}};
    MPxCommand::clearResult();
    MPxCommand* cmd = nullptr;
    try {
        cmd = static_cast<MPxCommand*>(type.creator());
    } catch (...) {
        cmd = nullptr;
    }
    if (!cmd)
        return out;
    NodeAccess::setSyntax(cmd, type.syntax ? type.syntax() : MSyntax());
    NodeAccess::setCommandString(cmd, MString(line.c_str()));
    MArgList list;
    for (const std::string& a : args)
        list.addArg(MString(a.c_str()));
    try {
        out.status = cmd->doIt(list);
    } catch (const std::exception& e) {
        std::cerr << "host: command " << type.name << " threw: " << e.what() << std::endl;
        out.status = MS::kFailure;
    } catch (...) {
        std::cerr << "host: command " << type.name << " threw" << std::endl;
        out.status = MS::kFailure;
    }
    // As in the host, only a command that succeeded and says it is undoable is kept, on the undo
    // queue; a new command drops what was undone before it.
    bool keep = false;
    try {
        keep = out.status == MS::kSuccess && cmd->isUndoable();
    } catch (...) {
        keep = false;
    }
    if (keep) {
        for (MPxCommand* undone : session().redoable)
            delete undone;
        session().redoable.clear();
        session().undoable.push_back(cmd);
    } else {
        delete cmd;
    }
    const Result& r = session().result;
    out.type = r.type;
    out.isArray = r.isArray;
    for (const MString& s : r.strings)
        out.strings.push_back(s.asChar());
    out.numbers = r.numbers;
    return out;
}
} // namespace

void flushUndoQueue() {
    Session& s = session();
    for (MPxCommand* c : s.undoable)
        delete c;
    for (MPxCommand* c : s.redoable)
        delete c;
    s.undoable.clear();
    s.redoable.clear();
}

MStatus runCommandLine(const std::string& line, Host::CommandResult* out) {
    std::vector<std::string> words = tokenize(line);
    if (words.empty())
        return MS::kSuccess;
    for (const CommandType& c : session().commands)
        if (c.name == words[0]) {
            Host::CommandResult r = run(c, std::vector<std::string>(words.begin() + 1, words.end()), line);
            if (out)
                *out = r;
            return r.status;
        }
    if (words[0] == "select") {
        if (out)
            *out = Host::CommandResult{MS::kSuccess, MPxCommand::kNoArg, false, {}, {}};
        return runSelect(words);
    }
    // MEL the stand-in does not interpret: recorded by the caller, reported as done.
    if (out)
        *out = Host::CommandResult{MS::kSuccess, MPxCommand::kNoArg, false, {}, {}};
    return MS::kSuccess;
}

} // namespace mhost

Host::CommandResult Host::runCommand(const std::string& name, const std::vector<std::string>& args) {
    for (const mhost::CommandType& c : session().commands)
        if (c.name == name) {
            std::string line = name;
            for (const std::string& a : args)
                line += " " + a;
            return mhost::run(c, args, line);
        }
    MGlobal::displayError(MString("Cannot find procedure \"") + name.c_str() + "\".");
    return CommandResult{MS::kNotFound, MPxCommand::kNoArg, false, {}, {}};
}

namespace {
MStatus step(std::vector<MPxCommand*>& from, std::vector<MPxCommand*>& to, bool undo) {
    if (from.empty())
        return MS::kFailure;
    MPxCommand* cmd = from.back();
    MStatus st;
    try {
        st = undo ? cmd->undoIt() : cmd->redoIt();
    } catch (...) {
        st = MS::kFailure;
    }
    from.pop_back();
    to.push_back(cmd);
    return st;
}
} // namespace

MStatus Host::undo() { return step(session().undoable, session().redoable, true); }
MStatus Host::redo() { return step(session().redoable, session().undoable, false); }

// ---- MDGModifier ----------------------------------------------------------------------------

namespace mhost {
struct ModifierOp {
    virtual ~ModifierOp() {}
    virtual MStatus doIt() = 0;
    virtual MStatus undoIt() = 0;
};
} // namespace mhost

namespace {
struct CreateOp : mhost::ModifierOp {
    mhost::NodeType* type;
    std::shared_ptr<mhost::Node> node;
    bool first = true;
    MStatus doIt() override {
        if (first) {
            first = false;
            return node ? MS::kSuccess : MS::kFailure;
        }
        MStatus st;
        node = mhost::createNode(type, node ? node->name : "", nullptr, &st);
        return st;
    }
    MStatus undoIt() override { return node ? mhost::deleteNode(node.get()) : MS::kFailure; }
};
struct DeleteOp : mhost::ModifierOp {
    MObject node;
    MStatus doIt() override { return mhost::deleteNode(mhost::as<mhost::Node>(node)); }
    MStatus undoIt() override { return MS::kNotImplemented; }
};
struct RenameOp : mhost::ModifierOp {
    MObject node;
    std::string name, old;
    MStatus doIt() override {
        auto* n = mhost::as<mhost::Node>(node);
        if (!n || !n->alive)
            return MS::kFailure;
        old = n->name;
        n->name = mhost::uniqueName(name, n);
        return MS::kSuccess;
    }
    MStatus undoIt() override {
        auto* n = mhost::as<mhost::Node>(node);
        if (!n || !n->alive)
            return MS::kFailure;
        n->name = old;
        return MS::kSuccess;
    }
};
struct ConnectOp : mhost::ModifierOp {
    MObject srcNode, srcAttr, dstNode, dstAttr;
    bool connectIt;
    mhost::PlugEnd src() const {
        return mhost::PlugEnd{mhost::as<mhost::Node>(srcNode), mhost::as<mhost::Attribute>(srcAttr), -1};
    }
    mhost::PlugEnd dst() const {
        return mhost::PlugEnd{mhost::as<mhost::Node>(dstNode), mhost::as<mhost::Attribute>(dstAttr), -1};
    }
    MStatus doIt() override {
        return connectIt ? mhost::connect(src(), dst()) : mhost::disconnect(src(), dst());
    }
    MStatus undoIt() override {
        return connectIt ? mhost::disconnect(src(), dst()) : mhost::connect(src(), dst());
    }
};
struct CommandOp : mhost::ModifierOp {
    MString command;
    MStatus doIt() override { return MGlobal::executeCommand(command); }
    MStatus undoIt() override { return MS::kSuccess; }
};
struct PlugValueOp : mhost::ModifierOp {
    MPlug plug;
    double number = 0.0;
    MString string;
    bool isString = false;
    MStatus doIt() override { return isString ? plug.setValue(string) : plug.setValue(number); }
    MStatus undoIt() override { return MS::kNotImplemented; }
};
} // namespace

MDGModifier::MDGModifier() : fDone(0) {}
MDGModifier::~MDGModifier() {}

MObject MDGModifier::createNode(const MTypeId& typeId, MStatus* st) {
    mhost::NodeType* t = mhost::findType(typeId.id());
    if (!t || t->isDag) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    // The node exists (as the host's handle) from here; doIt makes it part of the graph.
    auto op = std::make_shared<CreateOp>();
    op->type = t;
    op->node = mhost::createNode(t, "", nullptr, st);
    fOps.push_back(op);
    return op->node ? op->node->handle() : MObject();
}
MObject MDGModifier::createNode(const MString& type, MStatus* st) {
    mhost::NodeType* t = mhost::findType(type.asChar());
    if (!t) {
        setStatus(st, MS::kInvalidParameter);
        return MObject();
    }
    return createNode(MTypeId(t->id), st);
}
MStatus MDGModifier::deleteNode(const MObject& node) {
    if (!mhost::as<mhost::Node>(node))
        return MS::kInvalidParameter;
    auto op = std::make_shared<DeleteOp>();
    op->node = node;
    fOps.push_back(op);
    return MS::kSuccess;
}
MStatus MDGModifier::renameNode(const MObject& node, const MString& newName) {
    if (!mhost::as<mhost::Node>(node) || newName.length() == 0)
        return MS::kInvalidParameter;
    auto op = std::make_shared<RenameOp>();
    op->node = node;
    op->name = newName.asChar();
    fOps.push_back(op);
    return MS::kSuccess;
}
MStatus MDGModifier::connect(const MObject& sn, const MObject& sa, const MObject& dn, const MObject& da) {
    if (!mhost::as<mhost::Node>(sn) || !mhost::as<mhost::Node>(dn) || !mhost::as<mhost::Attribute>(sa) ||
        !mhost::as<mhost::Attribute>(da))
        return MS::kInvalidParameter;
    auto op = std::make_shared<ConnectOp>();
    op->srcNode = sn;
    op->srcAttr = sa;
    op->dstNode = dn;
    op->dstAttr = da;
    op->connectIt = true;
    fOps.push_back(op);
    return MS::kSuccess;
}
MStatus MDGModifier::disconnect(const MObject& sn, const MObject& sa, const MObject& dn, const MObject& da) {
    MStatus st = connect(sn, sa, dn, da);
    if (st)
        static_cast<ConnectOp*>(fOps.back().get())->connectIt = false;
    return st;
}
MStatus MDGModifier::connect(const MPlug& s, const MPlug& d) {
    return connect(s.node(), s.attribute(), d.node(), d.attribute());
}
MStatus MDGModifier::disconnect(const MPlug& s, const MPlug& d) {
    return disconnect(s.node(), s.attribute(), d.node(), d.attribute());
}
namespace {
std::shared_ptr<PlugValueOp> plugValue(const MPlug& plug, double number) {
    auto op = std::make_shared<PlugValueOp>();
    op->plug = plug;
    op->number = number;
    return op;
}
} // namespace
MStatus MDGModifier::newPlugValueInt(const MPlug& plug, int v) {
    fOps.push_back(plugValue(plug, v));
    return MS::kSuccess;
}
MStatus MDGModifier::newPlugValueDouble(const MPlug& plug, double v) {
    fOps.push_back(plugValue(plug, v));
    return MS::kSuccess;
}
MStatus MDGModifier::newPlugValueFloat(const MPlug& plug, float v) {
    fOps.push_back(plugValue(plug, v));
    return MS::kSuccess;
}
MStatus MDGModifier::newPlugValueBool(const MPlug& plug, bool v) {
    fOps.push_back(plugValue(plug, v ? 1.0 : 0.0));
    return MS::kSuccess;
}
MStatus MDGModifier::newPlugValueString(const MPlug& plug, const MString& v) {
    auto op = plugValue(plug, 0.0);
    op->string = v;
    op->isString = true;
    fOps.push_back(op);
    return MS::kSuccess;
}
MStatus MDGModifier::commandToExecute(const MString& command) {
    auto op = std::make_shared<CommandOp>();
    op->command = command;
    fOps.push_back(op);
    return MS::kSuccess;
}
MStatus MDGModifier::doIt() {
    // Operations queued since the last doIt run now; a later doIt (redo) runs them all again.
    if (fDone == fOps.size())
        fDone = 0;
    MStatus result = MS::kSuccess;
    for (; fDone < fOps.size(); ++fDone) {
        MStatus st = fOps[fDone]->doIt();
        if (!st)
            result = st;
    }
    return result;
}
MStatus MDGModifier::undoIt() {
    MStatus result = MS::kSuccess;
    for (size_t i = fDone; i-- > 0;) {
        MStatus st = fOps[i]->undoIt();
        if (!st && st != MS::kNotImplemented)
            result = st;
    }
    fDone = 0;
    return result;
}
