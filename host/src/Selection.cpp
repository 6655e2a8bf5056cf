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
    return MS::kSuccess;
}
bool MSelectionList::isEmpty(MStatus* st) const { return length(st) == 0; }
unsigned int MSelectionList::length(MStatus* st) const {
    if (st)
        *st = MS::kSuccess;
    return static_cast<unsigned int>(fNodes.size());
}
MStatus MSelectionList::add(const MString& matchString, bool) {
    std::string name = matchString.asChar();
    size_t bar = name.rfind('|');
    if (bar != std::string::npos)
        name = name.substr(bar + 1);
    mhost::Node* n = mhost::findNode(name);
    if (!n)
        return MS::kInvalidParameter;
    return add(n->handle());
}
MStatus MSelectionList::add(const MObject& object, bool) {
    if (object.isNull())
        return MS::kInvalidParameter;
    if (hasItem(object))
        return MS::kSuccess;
    MDagPath path;
    MDagPath::getAPathTo(object, path);
    fNodes.push_back(object);
    fPaths.push_back(path);
    return MS::kSuccess;
}
MStatus MSelectionList::add(const MDagPath& object, const MObject&, bool) {
    if (!object.isValid())
        return MS::kInvalidParameter;
    if (hasItem(object.node()))
        return MS::kSuccess;
    fNodes.push_back(object.node());
    fPaths.push_back(object);
    return MS::kSuccess;
}
MStatus MSelectionList::remove(unsigned int index) {
    if (index >= fNodes.size())
        return MS::kInvalidParameter;
    fNodes.erase(fNodes.begin() + index);
    fPaths.erase(fPaths.begin() + index);
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
        if (n && n->alive)
            array.append(fPaths[i].isValid() ? fPaths[i].partialPathName() : MString(n->name.c_str()));
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
