// The active selection of the host stand-in, the "select" command that changes it, and the two
// iterators over selections and mesh polygons.
#include "HostInternal.h"

#include <maya/MFnMesh.h>
#include <maya/MGlobal.h>
#include <maya/MIntArray.h>
#include <maya/MItMeshPolygon.h>
#include <maya/MItSelectionList.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

MSelectionList& activeList() {
    static MSelectionList list;
    return list;
}

std::vector<std::string> strings(const MSelectionList& list) {
    MStringArray array;
    list.getSelectionStrings(array);
    std::vector<std::string> out;
    for (unsigned int i = 0; i < array.length(); ++i)
        out.push_back(array[i].asChar());
    return out;
}

bool contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

} // namespace

namespace mhost {

void clearActiveSelection() { activeList().clear(); }

// select [-r | -add | -d | -tgl | -cl] [names...]: names and components ("pCube1.vtx[3]") as
// MSelectionList::add takes them. A name that matches nothing fails the whole command with the
// host's message and leaves the selection as it was; -r with no names empties the selection.
MStatus runSelect(const std::vector<std::string>& words) {
    MGlobal::ListAdjustment mode = MGlobal::kReplaceList;
    bool clear = false;
    MSelectionList items;
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string& w = words[i];
        if (w == "-r" || w == "-replace")
            mode = MGlobal::kReplaceList;
        else if (w == "-add")
            mode = MGlobal::kAddToList;
        else if (w == "-d" || w == "-deselect")
            mode = MGlobal::kRemoveFromList;
        else if (w == "-tgl" || w == "-toggle")
            mode = MGlobal::kXORWithList;
        else if (w == "-cl" || w == "-clear")
            clear = true;
        else if (!items.add(MString(w.c_str()))) {
            MGlobal::displayError(MString("No object matches name: ") + w.c_str());
            return MS::kFailure;
        }
    }
    if (clear)
        return MGlobal::setActiveSelectionList(MSelectionList());
    return MGlobal::setActiveSelectionList(items, mode);
}

} // namespace mhost

// ---- MGlobal --------------------------------------------------------------------------------

MStatus MGlobal::getActiveSelectionList(MSelectionList& dest, bool) {
    dest = activeList();
    for (unsigned int i = dest.length(); i-- > 0;) {
        MObject node;
        dest.getDependNode(i, node);
        if (!mhost::nodeOf(node))
            dest.remove(i);
    }
    return MS::kSuccess;
}

MStatus MGlobal::setActiveSelectionList(const MSelectionList& src, ListAdjustment adjustment) {
    MSelectionList current;
    getActiveSelectionList(current);
    const std::vector<std::string> have = strings(current);
    const std::vector<std::string> given = strings(src);
    std::vector<std::string> result;
    switch (adjustment) {
    case kReplaceList:
        activeList() = src;
        return MS::kSuccess;
    case kAddToList:
        result = have;
        for (const std::string& s : given)
            if (!contains(result, s))
                result.push_back(s);
        break;
    case kAddToHeadOfList:
        result = given;
        for (const std::string& s : have)
            if (!contains(result, s))
                result.push_back(s);
        break;
    case kRemoveFromList:
        for (const std::string& s : have)
            if (!contains(given, s))
                result.push_back(s);
        break;
    case kXORWithList:
        for (const std::string& s : have)
            if (!contains(given, s))
                result.push_back(s);
        for (const std::string& s : given)
            if (!contains(have, s))
                result.push_back(s);
        break;
    }
    MSelectionList list;
    for (const std::string& s : result)
        list.add(MString(s.c_str()));
    activeList() = list;
    return MS::kSuccess;
}

// ---- MItSelectionList -----------------------------------------------------------------------

MItSelectionList::MItSelectionList(const MSelectionList& list, MFn::Type filter, MStatus* st)
    : fList(list), fFilter(filter), fIndex(0) {
    build();
    mhost::setStatus(st, MS::kSuccess);
}
MItSelectionList::~MItSelectionList() {}

void MItSelectionList::build() {
    fPaths.clear();
    fNodes.clear();
    fComponents.clear();
    fStrings.clear();
    fIndex = 0;
    MStringArray texts;
    fList.getSelectionStrings(texts);
    unsigned int live = 0;
    for (unsigned int i = 0; i < fList.length(); ++i) {
        MObject node;
        fList.getDependNode(i, node);
        if (!mhost::nodeOf(node))
            continue;
        const MString text = live < texts.length() ? texts[live] : MString();
        ++live;
        const bool component = std::string(text.asChar()).find('.') != std::string::npos;
        MDagPath path;
        const bool isDag = static_cast<bool>(fList.getDagPath(i, path));
        // Under a type filter an item with components is skipped (component filters are not
        // supported).
        if (component && fFilter != MFn::kInvalid)
            continue;
        if (fFilter == MFn::kInvalid || node.hasFn(fFilter)) {
            fNodes.push_back(node);
            fPaths.push_back(path);
            fComponents.push_back(component);
            fStrings.push_back(text);
            continue;
        }
        if (!isDag)
            continue;
        for (unsigned int c = 0; c < path.childCount(); ++c) {
            MObject child = path.child(c);
            if (!child.hasFn(fFilter))
                continue;
            MDagPath childPath(path);
            childPath.push(child);
            fNodes.push_back(child);
            fPaths.push_back(childPath);
            fComponents.push_back(false);
            fStrings.push_back(childPath.partialPathName());
        }
    }
}

bool MItSelectionList::isDone(MStatus* st) {
    mhost::setStatus(st, MS::kSuccess);
    return fIndex >= fNodes.size();
}
MStatus MItSelectionList::next() {
    if (fIndex >= fNodes.size())
        return MS::kFailure;
    ++fIndex;
    return MS::kSuccess;
}
MStatus MItSelectionList::reset() {
    build();
    return MS::kSuccess;
}
MStatus MItSelectionList::getDependNode(MObject& depNode) {
    if (fIndex >= fNodes.size())
        return MS::kFailure;
    depNode = fNodes[fIndex];
    return MS::kSuccess;
}
MStatus MItSelectionList::getDagPath(MDagPath& dagPath, MObject& component) {
    component = MObject();
    return getDagPath(dagPath);
}
MStatus MItSelectionList::getDagPath(MDagPath& dagPath) {
    if (fIndex >= fNodes.size() || !fPaths[fIndex].isValid())
        return MS::kFailure;
    dagPath = fPaths[fIndex];
    return MS::kSuccess;
}
MStatus MItSelectionList::getStrings(MStringArray& array) {
    array.clear();
    if (fIndex >= fNodes.size())
        return MS::kFailure;
    array.append(fStrings[fIndex]);
    return MS::kSuccess;
}
MStatus MItSelectionList::setFilter(MFn::Type filter) {
    fFilter = filter;
    build();
    return MS::kSuccess;
}
bool MItSelectionList::hasComponents(MStatus* st) const {
    mhost::setStatus(st, fIndex < fNodes.size() ? MS::kSuccess : MS::kFailure);
    return fIndex < fNodes.size() && fComponents[fIndex];
}

// ---- MItMeshPolygon -------------------------------------------------------------------------

MItMeshPolygon::MItMeshPolygon(const MObject& polyObject, MStatus* st) : fIndex(0) {
    mhost::setStatus(st, read(polyObject));
}
MItMeshPolygon::~MItMeshPolygon() {}

MStatus MItMeshPolygon::read(const MObject& polyObject) {
    fMesh = polyObject;
    fCounts.clear();
    fFirst.clear();
    fConnects.clear();
    fIndex = 0;
    MStatus st;
    MFnMesh mesh(polyObject, &st);
    if (!st)
        return MS::kInvalidParameter;
    MIntArray counts, connects;
    st = mesh.getVertices(counts, connects);
    if (!st)
        return st;
    int first = 0;
    for (unsigned int i = 0; i < counts.length(); ++i) {
        fCounts.push_back(counts[i]);
        fFirst.push_back(first);
        first += counts[i];
    }
    for (unsigned int i = 0; i < connects.length(); ++i)
        fConnects.push_back(connects[i]);
    return MS::kSuccess;
}

bool MItMeshPolygon::isDone(MStatus* st) {
    mhost::setStatus(st, MS::kSuccess);
    return fIndex >= fCounts.size();
}
MStatus MItMeshPolygon::next() {
    if (fIndex >= fCounts.size())
        return MS::kFailure;
    ++fIndex;
    return MS::kSuccess;
}
MStatus MItMeshPolygon::reset() { return read(fMesh); }
MStatus MItMeshPolygon::reset(const MObject& polyObject) { return read(polyObject); }
unsigned int MItMeshPolygon::count(MStatus* st) {
    mhost::setStatus(st, MS::kSuccess);
    return static_cast<unsigned int>(fCounts.size());
}
unsigned int MItMeshPolygon::polygonVertexCount(MStatus* st) {
    const bool valid = fIndex < fCounts.size();
    mhost::setStatus(st, valid ? MS::kSuccess : MS::kFailure);
    return valid ? static_cast<unsigned int>(fCounts[fIndex]) : 0u;
}
int MItMeshPolygon::index(MStatus* st) {
    const bool valid = fIndex < fCounts.size();
    mhost::setStatus(st, valid ? MS::kSuccess : MS::kFailure);
    return valid ? static_cast<int>(fIndex) : -1;
}
MStatus MItMeshPolygon::getVertices(MIntArray& vertices) {
    vertices.clear();
    if (fIndex >= fCounts.size())
        return MS::kFailure;
    for (int k = 0; k < fCounts[fIndex]; ++k)
        vertices.append(fConnects[static_cast<size_t>(fFirst[fIndex] + k)]);
    return MS::kSuccess;
}
