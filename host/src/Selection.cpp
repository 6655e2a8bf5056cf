// Selection lists and the animation control of the host stand-in.
#include "HostInternal.h"

#include <maya/MAnimControl.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>

#include <algorithm>

MSelectionList::MSelectionList() {}
MSelectionList::MSelectionList(const MSelectionList& src) = default;
MSelectionList::~MSelectionList() {}
MSelectionList& MSelectionList::operator=(const MSelectionList& src) = default;

MStatus MSelectionList::clear() {
    fNodes.clear();
    fPaths.clear();
    fComponents.clear();
    return MS::kSuccess;
}
bool MSelectionList::isEmpty(MStatus* st) const { return length(st) == 0; }
unsigned int MSelectionList::length(MStatus* st) const {
    if (st)
        *st = MS::kSuccess;
    return static_cast<unsigned int>(fNodes.size());
}

namespace {
// Splits "a|b|name.vtx[1:3]" into the node name and the component text (".vtx[1:3]"); false
// when the component is not a mesh vertex, edge, face or UV (vtx, e, f, map) with "[<n>]" or
// "[<n>:<m>]", n <= m.
bool splitComponent(const std::string& text, std::string& node, std::string& component) {
    const size_t bar = text.rfind('|');
    const std::string name = bar == std::string::npos ? text : text.substr(bar + 1);
    const size_t dot = name.find('.');
    node = name.substr(0, dot);
    component.clear();
    if (dot == std::string::npos)
        return true;
    component = name.substr(dot);
    const size_t open = component.find('[');
    if (open == std::string::npos || component.back() != ']')
        return false;
    const std::string kind = component.substr(1, open - 1);
    if (kind != "vtx" && kind != "e" && kind != "f" && kind != "map")
        return false;
    const std::string range = component.substr(open + 1, component.size() - open - 2);
    const size_t colon = range.find(':');
    const auto number = [](const std::string& n, long& out) {
        if (n.empty() || n.size() > 9 || n.find_first_not_of("0123456789") != std::string::npos)
            return false;
        out = std::stol(n);
        return true;
    };
    long first = 0, last = 0;
    if (!number(range.substr(0, colon), first))
        return false;
    if (colon != std::string::npos && (!number(range.substr(colon + 1), last) || last < first))
        return false;
    return true;
}
} // namespace

MStatus MSelectionList::add(const MString& matchString, bool) {
    std::string name, component;
    if (!splitComponent(matchString.asChar(), name, component))
        return MS::kInvalidParameter;
    mhost::Node* n = mhost::findNode(name);
    if (!n)
        return MS::kInvalidParameter;
    if (component.empty())
        return add(n->handle());
    if (!n->type->isDag)
        return MS::kInvalidParameter;
    // Components belong to the shape; a transform stands for its one shape.
    MDagPath path;
    MDagPath::getAPathTo(n->handle(), path);
    if (!path.extendToShape())
        return MS::kInvalidParameter;
    for (size_t i = 0; i < fNodes.size(); ++i)
        if (fNodes[i] == path.node() && fComponents[i] == component)
            return MS::kSuccess;
    fNodes.push_back(path.node());
    fPaths.push_back(path);
    fComponents.push_back(component);
    return MS::kSuccess;
}
MStatus MSelectionList::add(const MObject& object, bool) {
    if (object.isNull())
        return MS::kInvalidParameter;
    for (size_t i = 0; i < fNodes.size(); ++i)
        if (fNodes[i] == object && fComponents[i].empty())
            return MS::kSuccess;
    MDagPath path;
    MDagPath::getAPathTo(object, path);
    fNodes.push_back(object);
    fPaths.push_back(path);
    fComponents.push_back(std::string());
    return MS::kSuccess;
}
MStatus MSelectionList::add(const MDagPath& object, const MObject&, bool) {
    if (!object.isValid())
        return MS::kInvalidParameter;
    for (size_t i = 0; i < fNodes.size(); ++i)
        if (fNodes[i] == object.node() && fComponents[i].empty())
            return MS::kSuccess;
    fNodes.push_back(object.node());
    fPaths.push_back(object);
    fComponents.push_back(std::string());
    return MS::kSuccess;
}
MStatus MSelectionList::remove(unsigned int index) {
    if (index >= fNodes.size())
        return MS::kInvalidParameter;
    fNodes.erase(fNodes.begin() + index);
    fPaths.erase(fPaths.begin() + index);
    fComponents.erase(fComponents.begin() + index);
    return MS::kSuccess;
}
MStatus MSelectionList::getDependNode(unsigned int index, MObject& depNode) const {
    if (index >= fNodes.size() || fNodes[index].isNull())
        return MS::kInvalidParameter;
    depNode = fNodes[index];
    return MS::kSuccess;
}
MStatus MSelectionList::getDagPath(unsigned int index, MDagPath& dagPath, MObject& component) const {
    component = MObject();
    return getDagPath(index, dagPath);
}
MStatus MSelectionList::getDagPath(unsigned int index, MDagPath& dagPath) const {
    if (index >= fPaths.size() || !fPaths[index].isValid())
        return MS::kFailure;
    dagPath = fPaths[index];
    return MS::kSuccess;
}
MStatus MSelectionList::getSelectionStrings(MStringArray& array) const {
    array.clear();
    for (size_t i = 0; i < fNodes.size(); ++i) {
        mhost::Node* n = mhost::as<mhost::Node>(fNodes[i]);
        if (n && n->alive) {
            // Components print with the shape's transform, as the host shows them.
            MDagPath path = fPaths[i];
            if (!fComponents[i].empty() && path.length() > 1)
                path.pop();
            MString text = path.isValid() ? path.partialPathName() : MString(n->name.c_str());
            array.append(text + fComponents[i].c_str());
        }
    }
    return MS::kSuccess;
}
bool MSelectionList::hasItem(const MObject& item, MStatus* st) const {
    if (st)
        *st = MS::kSuccess;
    return std::find(fNodes.begin(), fNodes.end(), item) != fNodes.end();
}

// ---- MAnimControl ---------------------------------------------------------------------------

namespace {
struct Playback {
    MTime minTime{1.0, MTime::kFilm};
    MTime maxTime{120.0, MTime::kFilm};
    double by = 1.0;
};
Playback& playback() {
    static Playback p;
    return p;
}
} // namespace

MTime MAnimControl::currentTime() { return Host::currentTime(); }
MStatus MAnimControl::setCurrentTime(const MTime& t) {
    Host::setCurrentTime(t);
    return MS::kSuccess;
}
MTime MAnimControl::minTime() { return playback().minTime; }
MTime MAnimControl::maxTime() { return playback().maxTime; }
MStatus MAnimControl::setMinTime(MTime t) {
    playback().minTime = t;
    return MS::kSuccess;
}
MStatus MAnimControl::setMaxTime(MTime t) {
    playback().maxTime = t;
    return MS::kSuccess;
}
MTime MAnimControl::animationStartTime() { return playback().minTime; }
MTime MAnimControl::animationEndTime() { return playback().maxTime; }
double MAnimControl::playbackBy() { return playback().by; }
MStatus MAnimControl::setPlaybackBy(double increment) {
    if (increment <= 0.0)
        return MS::kInvalidParameter;
    playback().by = increment;
    return MS::kSuccess;
}
